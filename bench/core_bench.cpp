// Evaluation, bounds and splitting, called through libcrv.so as a host would.
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "catalogue/catalogue.h"
#include "crv/crv.hpp"

namespace {

// A pool of curves from a fixed seed, cycled through so that no single input is special.
struct CurvePool {
  static constexpr int kCount = 64;
  explicit CurvePool(int dims) : dims(dims), coords(static_cast<size_t>(kCount * 4 * dims)) {
    std::mt19937_64 engine(7);
    std::uniform_real_distribution<double> coordinate(0.0, 1000.0);
    for (double& v : coords) v = coordinate(engine);
    for (int i = 0; i < kCount; ++i) {
      CRV_Curve c{static_cast<int16_t>(dims), {}};
      for (int p = 0; p < 4; ++p) c.ctpts[p] = &coords[static_cast<size_t>((i * 4 + p) * dims)];
      curves.push_back(c);
    }
  }
  int dims;
  std::vector<double> coords;
  std::vector<CRV_Curve> curves;
};

void BM_EvaluatePoint(benchmark::State& state) {
  const CurvePool pool(static_cast<int>(state.range(0)));
  const crvcat::CapabilityPath path(static_cast<int32_t>(state.range(1)));
  double out[3];
  int i = 0;
  double t = 0.0;
  for (auto _ : state) {
    CRV_EvaluatePoint(&pool.curves[i], t, out);
    benchmark::DoNotOptimize(out);
    i = (i + 1) & (CurvePool::kCount - 1);
    t = t < 0.99 ? t + 0.01 : 0.0;
  }
}
BENCHMARK(BM_EvaluatePoint)->ArgNames({"dims", "paired"})->Args({2, 0})->Args({2, 1})->Args({3, 0})->Args({3, 1});

// One call at a fixed parameter on one 2-D curve of the pool after another, N doubles out.
template <size_t N, typename Call>
void AtParameter(benchmark::State& state, double t, Call call) {
  const CurvePool pool(2);
  double out[N];
  int i = 0;
  for (auto _ : state) {
    call(&pool.curves[i], t, out);
    benchmark::DoNotOptimize(out);
    i = (i + 1) & (CurvePool::kCount - 1);
  }
}

void BM_EvaluateDeriv(benchmark::State& state) { AtParameter<2>(state, 0.37, CRV_EvaluateDeriv); }
BENCHMARK(BM_EvaluateDeriv);

// n even samples over [0, 1] of one curve of the pool after another.
template <typename Sampler>
void Samples(benchmark::State& state, Sampler sample) {
  const CurvePool pool(2);
  const int32_t n = static_cast<int32_t>(state.range(0));
  std::vector<double> out(static_cast<size_t>(2 * n));
  int i = 0;
  for (auto _ : state) {
    sample(&pool.curves[i], 0.0, 1.0, n, out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
    i = (i + 1) & (CurvePool::kCount - 1);
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void BM_EvaluatePoints(benchmark::State& state) { Samples(state, CRV_EvaluatePoints); }
BENCHMARK(BM_EvaluatePoints)->Arg(100)->Arg(10000);

void BM_EvaluateDerivs(benchmark::State& state) { Samples(state, CRV_EvaluateDerivs); }
BENCHMARK(BM_EvaluateDerivs)->Arg(100)->Arg(10000);

void BM_EvaluateBounds(benchmark::State& state) {
  const CurvePool pool(static_cast<int>(state.range(0)));
  double lo[3], hi[3];
  int i = 0;
  for (auto _ : state) {
    CRV_EvaluateBounds(&pool.curves[i], lo, hi);
    benchmark::DoNotOptimize(lo);
    benchmark::DoNotOptimize(hi);
    i = (i + 1) & (CurvePool::kCount - 1);
  }
}
BENCHMARK(BM_EvaluateBounds)->ArgName("dims")->Arg(2)->Arg(3);

void BM_SubdivideCurve(benchmark::State& state) {
  AtParameter<10>(state, 0.4, [](const CRV_Curve* c, double t, double* out) {
    return CRV_SubdivideCurve(c, t, out);
  });
}
BENCHMARK(BM_SubdivideCurve);

void BM_SubdivideCurveTyped(benchmark::State& state) {
  std::vector<CRV_CurveClass2D> curves;
  std::mt19937_64 engine(7);
  std::uniform_real_distribution<double> coordinate(0.0, 1000.0);
  for (int i = 0; i < CurvePool::kCount; ++i) {
    CRV_CurveClass2D c;
    for (auto& p : c.points) p = {coordinate(engine), coordinate(engine)};
    curves.push_back(c);
  }
  CRV_CurveClass2D left, right;
  int i = 0;
  for (auto _ : state) {
    CRV_SubdivideCurve(curves[static_cast<size_t>(i)], 0.4, &left, &right);
    benchmark::DoNotOptimize(&left);
    benchmark::DoNotOptimize(&right);
    benchmark::ClobberMemory();
    i = (i + 1) & (CurvePool::kCount - 1);
  }
}
BENCHMARK(BM_SubdivideCurveTyped);

void BM_DirectManip(benchmark::State& state) {
  CurvePool pool(2);
  const double delta[2] = {1e-9, -1e-9};
  double w[4];
  int i = 0;
  for (auto _ : state) {
    CRV_DirectManipSetup(0.3, w);
    CRV_DirectManipCurve(&pool.curves[i], delta, w);
    benchmark::ClobberMemory();
    i = (i + 1) & (CurvePool::kCount - 1);
  }
}
BENCHMARK(BM_DirectManip);

}  // namespace
