// Geometric queries: plane intersection through libcrv.so, and the private root finder under it
// (a header-only template, compiled here with the library's flags).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "crv/crv.hpp"
#include "queries/polynomial.h"

namespace {

constexpr int kPool = 64;

// Random curves in [-100, 100]^3, each with a plane of random normal through a random point of
// the curve, so that most pairs cross (between one and three times).
void BM_IntersectPlane(benchmark::State& state) {
  std::mt19937_64 engine(83);
  std::uniform_real_distribution<double> coordinate(-100.0, 100.0), unit(-1.0, 1.0), t(0.0, 1.0);
  std::vector<CRV_CurveClass3D> curves(kPool);
  std::vector<GEO_PlaneEq> planes(kPool);
  for (int i = 0; i < kPool; ++i) {
    for (GEO_Vector3T<double>& p : curves[i].points)
      p = {coordinate(engine), coordinate(engine), coordinate(engine)};
    GEO_PlaneEq& plane = planes[i];
    plane = {unit(engine), unit(engine), unit(engine), 0.0};
    double on[3];
    CRV_EvaluatePoint(curves[i].Curve(), t(engine), on);
    plane.d = -(plane.a * on[0] + plane.b * on[1] + plane.c * on[2]);
  }
  std::vector<double> roots;
  roots.reserve(8);  // room reserved: the timing is the library's, not the allocator's
  int i = 0;
  for (auto _ : state) {
    roots.clear();
    CRV_IntersectPlane(curves[i], planes[i], &roots);
    benchmark::DoNotOptimize(roots.data());
    benchmark::ClobberMemory();
    i = (i + 1) % kPool;
  }
}
BENCHMARK(BM_IntersectPlane);

// Random coefficients in [-1, 1] of the degree given by the argument, roots sought in [0, 1].
void BM_RootsInInterval(benchmark::State& state) {
  using Polynomial = crv::CRVp_Polynomial<double>;
  const int degree = static_cast<int>(state.range(0));
  std::mt19937_64 engine(84);
  std::uniform_real_distribution<double> coefficient(-1.0, 1.0);
  std::vector<Polynomial> pool(kPool);
  for (Polynomial& p : pool) {
    double c[Polynomial::kMaxDegree + 1];
    for (int k = 0; k <= degree; ++k) c[k] = coefficient(engine);
    p.SetCoefficients(degree, c);
  }
  std::vector<double> roots;
  roots.reserve(16);
  int i = 0;
  for (auto _ : state) {
    roots.clear();
    pool[i].RootsInInterval(0.0, 1.0, &roots);
    benchmark::DoNotOptimize(roots.data());
    benchmark::ClobberMemory();
    i = (i + 1) % kPool;
  }
}
BENCHMARK(BM_RootsInInterval)->Arg(3)->Arg(10);

}  // namespace
