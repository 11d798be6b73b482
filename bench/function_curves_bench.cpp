// Lookups by time on easing curves, called through libcrv.so as a host would.
//
// Two kinds of easing curve (time 0 -> 1, value 0 -> 1), which take different solver branches:
//  - one real root: time handles close together (c2^2 < 3 c1 c3), every time solves by Cardano;
//  - three real roots: time handles more than 1/3 apart (c3 < 0), and times away from the ends
//    solve by the trigonometric form (acos and up to three cosines).
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "crv/crv.h"

namespace {

enum Kind { kOneRoot = 0, kThreeRoots = 1 };

// A pool of easing curves of one kind and of times to look up, from a fixed seed.
struct EasingPool {
  static constexpr int kCurves = 64;
  static constexpr int kTimes = 256;

  explicit EasingPool(int kind) : coords(kCurves * 8) {
    std::mt19937_64 engine(11);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < kCurves; ++i) {
      double x1 = 0.0, x2 = 0.0;
      for (;;) {
        x1 = unit(engine);
        x2 = unit(engine);
        const double c1 = 3.0 * x1, c2 = 3.0 * (x2 - 2.0 * x1), c3 = 3.0 * (x1 - x2) + 1.0;
        if (kind == kOneRoot ? c2 * c2 < 3.0 * c1 * c3 : c3 < -0.1) break;
      }
      double* p = &coords[static_cast<size_t>(i * 8)];
      const double values[8] = {0.0, 0.0, x1, unit(engine), x2, unit(engine), 1.0, 1.0};
      for (int k = 0; k < 8; ++k) p[k] = values[k];
      curves.push_back(CRV_Curve{2, {p, p + 2, p + 4, p + 6}});
    }
    for (int i = 0; i < kTimes; ++i) times.push_back(unit(engine));
  }

  std::vector<double> coords;
  std::vector<CRV_Curve> curves;
  std::vector<double> times;
};

// Runs one lookup per iteration, cycling through curves and times.
template <typename Lookup>
void RunSingle(benchmark::State& state, Lookup lookup) {
  const EasingPool pool(static_cast<int>(state.range(0)));
  int c = 0, x = 0;
  double out = 0.0;
  for (auto _ : state) {
    lookup(&pool.curves[static_cast<size_t>(c)], pool.times[static_cast<size_t>(x)], &out);
    benchmark::DoNotOptimize(out);
    c = (c + 1) & (EasingPool::kCurves - 1);
    x = (x + 1) & (EasingPool::kTimes - 1);
  }
}

void BM_TFromX(benchmark::State& state) { RunSingle(state, CRV_TFromX); }
void BM_EvaluateYFromX(benchmark::State& state) { RunSingle(state, CRV_EvaluateYFromX); }
void BM_Evaluate1dDerivFromX(benchmark::State& state) {
  RunSingle(state, CRV_Evaluate1dDerivFromX);
}
void BM_Evaluate1dDeriv2FromX(benchmark::State& state) {
  RunSingle(state, CRV_Evaluate1dDeriv2FromX);
}

void BM_EvaluateYAverageFromXToX(benchmark::State& state) {
  const EasingPool pool(static_cast<int>(state.range(0)));
  int c = 0, x = 0;
  double out = 0.0;
  for (auto _ : state) {
    CRV_EvaluateYAverageFromXToX(&pool.curves[static_cast<size_t>(c)],
                                 pool.times[static_cast<size_t>(x)],
                                 pool.times[static_cast<size_t>(x + 1)], &out);
    benchmark::DoNotOptimize(out);
    c = (c + 1) & (EasingPool::kCurves - 1);
    x = (x + 2) & (EasingPool::kTimes - 1);
  }
}

// One call samples a whole curve; items are samples, so the rate reads as time per sample.
template <typename Sampled>
void RunSampled(benchmark::State& state, Sampled sampled) {
  const EasingPool pool(static_cast<int>(state.range(0)));
  const int16_t count = static_cast<int16_t>(state.range(1));
  std::vector<double> out(static_cast<size_t>(count));
  int c = 0;
  for (auto _ : state) {
    sampled(&pool.curves[static_cast<size_t>(c)], 0.0, 1.0, count, out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
    c = (c + 1) & (EasingPool::kCurves - 1);
  }
  state.SetItemsProcessed(state.iterations() * count);
}

void BM_EvaluateYFromXs(benchmark::State& state) { RunSampled(state, CRV_EvaluateYFromXs); }
void BM_Evaluate1dDerivsFromX(benchmark::State& state) {
  RunSampled(state, CRV_Evaluate1dDerivsFromX);
}

BENCHMARK(BM_TFromX)->ArgName("three_roots")->Arg(kOneRoot)->Arg(kThreeRoots);
BENCHMARK(BM_EvaluateYFromX)->ArgName("three_roots")->Arg(kOneRoot)->Arg(kThreeRoots);
BENCHMARK(BM_Evaluate1dDerivFromX)->ArgName("three_roots")->Arg(kOneRoot)->Arg(kThreeRoots);
BENCHMARK(BM_Evaluate1dDeriv2FromX)->ArgName("three_roots")->Arg(kOneRoot)->Arg(kThreeRoots);
BENCHMARK(BM_EvaluateYAverageFromXToX)->ArgName("three_roots")->Arg(kOneRoot)->Arg(kThreeRoots);
BENCHMARK(BM_EvaluateYFromXs)
    ->ArgNames({"three_roots", "samples"})
    ->Args({kOneRoot, 1000})
    ->Args({kThreeRoots, 1000});
BENCHMARK(BM_Evaluate1dDerivsFromX)
    ->ArgNames({"three_roots", "samples"})
    ->Args({kOneRoot, 1000})
    ->Args({kThreeRoots, 1000});

}  // namespace
