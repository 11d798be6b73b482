// Flattening, screen projection and the nearest-point query, called through libcrv.so as a host
// would.
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "crv/crv.hpp"
#include "host/seq.h"

namespace {

std::vector<CRV_CurveClass2D> RandomCurves2D(int count, double lo, double hi, uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::uniform_real_distribution<double> coordinate(lo, hi);
  std::vector<CRV_CurveClass2D> curves;
  for (int i = 0; i < count; ++i) {
    CRV_CurveClass2D c;
    for (auto& p : c.points) p = {coordinate(engine), coordinate(engine)};
    curves.push_back(c);
  }
  return curves;
}

// Random curves and query points with coordinates in [0, 1000].
void BM_NearestPointOnCurve(benchmark::State& state) {
  constexpr int kCount = 256;
  const std::vector<CRV_CurveClass2D> curves = RandomCurves2D(kCount, 0.0, 1000.0, 41);
  std::mt19937_64 engine(42);
  std::uniform_real_distribution<double> coordinate(0.0, 1000.0);
  std::vector<GEO_Vector2T<double>> points(kCount);
  for (auto& p : points) p = {coordinate(engine), coordinate(engine)};
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(CRV_NearestPointOnCurve(points[i], curves[i]));
    i = (i + 1) & (kCount - 1);
  }
}
BENCHMARK(BM_NearestPointOnCurve);

// Function curves over 1000 time units with values in [0, 1000], flattened with CRV_IsLinearFunc
// as a graph editor would: at least 4 pieces, at most 2^10, a 1-unit chord and a 1e-4 cosine
// tolerance. Reported per emitted point.
void BM_EvaluateAdaptivelyIsLinearFunc(benchmark::State& state) {
  constexpr int kCount = 16;
  std::mt19937_64 engine(43);
  std::uniform_real_distribution<double> value(0.0, 1000.0), inner(0.05, 0.95);
  std::vector<CRV_CurveClass2D> curves;
  for (int i = 0; i < kCount; ++i) {
    CRV_CurveClass2D c;
    c.points[0] = {0.0, value(engine)};
    c.points[1] = {1000.0 * inner(engine), value(engine)};
    c.points[2] = {1000.0 * inner(engine), value(engine)};
    c.points[3] = {1000.0, value(engine)};
    curves.push_back(c);
  }
  CRV_LinearityParams params{1.0, 1e-4, CRV_LINEARITY_CHECK_WORD, 2, 10};
  const auto callback = reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc);
  SEQ_ListH list = nullptr;
  SEQ_New(0, 16, 256, 1, &list);
  int i = 0;
  int64_t points = 0;
  for (auto _ : state) {
    SEQ_SetNumItems(0, list, 0);
    bool have = false;
    double lo = 0.0, hi = 0.0;
    benchmark::DoNotOptimize(CRV_EvaluateAdaptively(callback, &params, nullptr, nullptr,
                                                    curves[i].Curve(), &have, &lo, &hi, &list));
    points += *reinterpret_cast<const int32_t*>(static_cast<const char*>(*list) +
                                                SEQ_BLOCK_COUNT_OFFSET);
    i = (i + 1) & (kCount - 1);
  }
  SEQ_Dispose(list, 0);
  state.counters["points"] = benchmark::Counter(static_cast<double>(points),
                                                benchmark::Counter::kAvgIterations);
  state.counters["ns_per_point"] = benchmark::Counter(
      static_cast<double>(points) * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_EvaluateAdaptivelyIsLinearFunc);

// A user's flatness callback with a guaranteed bound: the piece's control polygon (cut out of the
// curve by two de Casteljau splits) has both inner points within `tol` of its chord segment, and
// the curve lies in that hull. The driver's own cost is what differs between library versions.
int32_t HullFlat(void* context, uint32_t depth, double t0, double t1, const double*,
                 const double*, const CRV_Curve* curve, bool* accept) {
  if (depth > 30) {
    *accept = true;
    return 0;
  }
  double p[4][2];
  for (int i = 0; i < 4; ++i) p[i][0] = curve->ctpts[i][0], p[i][1] = curve->ctpts[i][1];
  auto cut = [&p](double t, bool keepRight) {
    for (int k = 0; k < 2; ++k) {
      const double q0 = p[0][k] + (p[1][k] - p[0][k]) * t, q1 = p[1][k] + (p[2][k] - p[1][k]) * t;
      const double q2 = p[2][k] + (p[3][k] - p[2][k]) * t;
      const double r0 = q0 + (q1 - q0) * t, r1 = q1 + (q2 - q1) * t, m = r0 + (r1 - r0) * t;
      if (keepRight) p[0][k] = m, p[1][k] = r1, p[2][k] = q2;
      else p[1][k] = q0, p[2][k] = r0, p[3][k] = m;
    }
  };
  cut(t0, true);
  if (t0 < 1.0) cut((t1 - t0) / (1.0 - t0), false);
  const double dx = p[3][0] - p[0][0], dy = p[3][1] - p[0][1], chordSq = dx * dx + dy * dy;
  const double tolSq = *static_cast<const double*>(context);
  bool flat = true;
  for (int i = 1; i <= 2 && flat; ++i) {
    const double wx = p[i][0] - p[0][0], wy = p[i][1] - p[0][1];
    double u = chordSq > 0.0 ? (wx * dx + wy * dy) / chordSq : 0.0;
    u = u < 0.0 ? 0.0 : (u > 1.0 ? 1.0 : u);
    const double ex = wx - u * dx, ey = wy - u * dy;
    flat = ex * ex + ey * ey <= tolSq;
  }
  *accept = flat;
  return 0;
}

// Random cubics in [0, 1000] flattened to 0.25 units with HullFlat, into a reused list, with no
// clipping and no range: the flattening row of the comparison with other libraries.
void BM_EvaluateAdaptivelyHull(benchmark::State& state) {
  constexpr int kCount = 256;
  const std::vector<CRV_CurveClass2D> curves = RandomCurves2D(kCount, 0.0, 1000.0, 44);
  double tolSq = 0.25 * 0.25;
  SEQ_ListH list = nullptr;
  SEQ_New(0, 16, 64, 1, &list);
  int i = 0;
  for (auto _ : state) {
    SEQ_SetNumItems(0, list, 0);
    benchmark::DoNotOptimize(CRV_EvaluateAdaptively(HullFlat, &tolSq, nullptr, nullptr,
                                                    curves[i].Curve(), nullptr, nullptr, nullptr,
                                                    &list));
    i = (i + 1) & (kCount - 1);
  }
  SEQ_Dispose(list, 0);
}
BENCHMARK(BM_EvaluateAdaptivelyHull);

// 3-D curves in a box 1.5 to 4 units in front of a pinhole camera (focal length 800 px, 1280 x 720
// screen), close enough for strong perspective, projected at a tolerance of 0.5 px.
void BM_3DScreenCurveAdaptiveEvaluator(benchmark::State& state) {
  constexpr int kCount = 16;
  std::mt19937_64 engine(44);
  std::uniform_real_distribution<double> across(-1.5, 1.5), depth(1.5, 4.0);
  std::vector<CRV_CurveClass3D> curves;
  for (int i = 0; i < kCount; ++i) {
    CRV_CurveClass3D c;
    for (auto& p : c.points) p = {across(engine), across(engine), depth(engine)};
    curves.push_back(c);
  }
  // Screen x = 800 X / Z + 640, y = 800 Y / Z + 360; w = Z.
  const GEO_Matrix4 camera{{{800, 0, 640, 0}, {0, 800, 360, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};
  std::vector<CRV_CurveClass2D> out;
  int i = 0;
  int64_t pieces = 0;
  for (auto _ : state) {
    out.clear();
    CRV_3DScreenCurveAdaptiveEvaluator(0.5, camera, curves[i], &out);
    benchmark::DoNotOptimize(out.data());
    pieces += static_cast<int64_t>(out.size());
    i = (i + 1) & (kCount - 1);
  }
  state.counters["pieces"] = benchmark::Counter(static_cast<double>(pieces),
                                                benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_3DScreenCurveAdaptiveEvaluator);

}  // namespace
