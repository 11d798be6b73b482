// Curve fitting, called through libcrv.so as a host would: one cubic through a stroke of 100
// samples, and chains through long noisy strokes.
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "crv/crv.h"

namespace {

// One cubic, about 700 units long, sampled at n even parameters, each coordinate moved by
// Gaussian noise of deviation sigma (units; none for 0), from a fixed seed.
std::vector<double> NoisyStroke(int32_t n, double sigma) {
  double p[4][2] = {{0, 0}, {100, 300}, {400, -200}, {500, 100}};
  const CRV_Curve curve{2, {p[0], p[1], p[2], p[3]}};
  std::mt19937_64 engine(17);
  std::normal_distribution<double> noise(0.0, sigma > 0.0 ? sigma : 1.0);
  std::vector<double> samples(static_cast<size_t>(2 * n));
  for (int32_t i = 0; i < n; ++i) {
    double* point = &samples[2 * static_cast<size_t>(i)];
    CRV_EvaluatePoint(&curve, static_cast<double>(i) / (n - 1), point);
    if (sigma == 0.0) continue;
    point[0] += noise(engine);
    point[1] += noise(engine);
  }
  return samples;
}

// CRV_FitOneCurve through 100 samples within a squared bound of 1, in the two regimes a host
// meets. Argument 0: exact samples with one-sample tangents; the bound is met after 3 Newton
// steps (4 least-squares solves). Argument 1: noise of 0.2 units with two-sample tangents; the
// noisy tangents keep the fit above 1.6, so all 10 steps run (11 solves). Each step evaluates
// the curve 4 times a sample through the exported evaluation functions.
void BM_FitOneCurve(benchmark::State& state) {
  const bool noisy = state.range(0) != 0;
  const std::vector<double> samples = NoisyStroke(100, noisy ? 0.2 : 0.0);
  const int32_t tangentSamples = noisy ? 2 : 1;
  double p[4][2];
  CRV_Curve curve{2, {p[0], p[1], p[2], p[3]}};
  for (auto _ : state) {
    benchmark::DoNotOptimize(CRV_FitOneCurve(samples.data(), 100, 1.0, tangentSamples, &curve));
    benchmark::DoNotOptimize(p);
  }
}
BENCHMARK(BM_FitOneCurve)->ArgName("all_iterations")->Arg(0)->Arg(1);

// CRV_FitMultipleCurves through n samples with noise of 0.2 units, within a squared bound of 1;
// the caller's point list is reused from call to call, as a host refitting a stroke would.
void BM_FitMultipleCurves(benchmark::State& state) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  const std::vector<double> samples = NoisyStroke(n, 0.2);
  SEQ_ListH points = nullptr;
  for (auto _ : state)
    benchmark::DoNotOptimize(CRV_FitMultipleCurves(samples.data(), 2, n, 1.0, &points));
  int32_t count = 0;
  if (points != nullptr) {
    std::memcpy(&count, static_cast<const char*>(*points) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
    SEQ_Dispose(points, 0);
  }
  state.counters["segments"] = (count - 1) / 3;
}
BENCHMARK(BM_FitMultipleCurves)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace
