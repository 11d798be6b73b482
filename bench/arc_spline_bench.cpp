// The arc-length spline, called through libcrv.so as a host would: building a spline, and the
// lookup of a parameter by distance on a built one.
#include <cstring>

#include <benchmark/benchmark.h>

#include "crv/crv.h"

namespace {

// An S-shaped curve about 700 units long; the bound lets the chain stray 0.1 units (squared:
// 0.01) from the (t L, s) samples.
struct Stroke {
  double p[4][2] = {{0, 0}, {100, 300}, {400, -200}, {500, 100}};
  CRV_Curve curve{2, {p[0], p[1], p[2], p[3]}};
  static constexpr double kBound = 0.01;
};

int32_t PointCount(SEQ_ListH list) {
  int32_t count;
  std::memcpy(&count, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
  return count;
}

// The caller's spline list is reused from call to call, as a host rebuilding after an edit would.
void BM_BuildArcSpline(benchmark::State& state) {
  const Stroke stroke;
  SEQ_ListH spline = nullptr;
  double length = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(CRV_BuildArcSpline(&stroke.curve, Stroke::kBound, &spline, &length));
    benchmark::DoNotOptimize(length);
  }
  state.counters["segments"] = (PointCount(spline) - 1) / 3;
  SEQ_Dispose(spline, 0);
}
BENCHMARK(BM_BuildArcSpline);

// Distances stepped through the whole length, so that every segment of the scan is visited.
void BM_TFromSSpline(benchmark::State& state) {
  const Stroke stroke;
  SEQ_ListH spline = nullptr;
  double length = 0;
  CRV_BuildArcSpline(&stroke.curve, Stroke::kBound, &spline, &length);
  const double step = length / 97.0;
  double s = 0.5 * step;
  double t = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(CRV_TFromSSpline(&stroke.curve, s, Stroke::kBound, &spline, &t));
    benchmark::DoNotOptimize(t);
    s = s + step < length ? s + step : s + step - length;
  }
  state.counters["segments"] = (PointCount(spline) - 1) / 3;
  SEQ_Dispose(spline, 0);
}
BENCHMARK(BM_TFromSSpline);

}  // namespace
