// Benchmarks ExactCbrt/ExactAcos/ExactCos against the C library on the solver's argument shapes.
// Reports time per call (each iteration evaluates the whole array of kN arguments).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "catalogue/catalogue.h"
#include "catalogue/reference.h"
#include "core/exact_math.h"

namespace {

constexpr int kN = 4096;

using Rng = crvcat::Rng;  // the same arguments on every platform

// cbrt: |R| + sqrt(R^2 - Q^3), magnitudes spread log-uniformly over 1e-6 .. 1e3.
std::vector<double> CbrtArgs() {
  Rng g{1};
  std::vector<double> v(kN);
  for (double& x : v) x = std::pow(10.0, -6 + 9 * g.Unit());
  return v;
}

// acos: [-1, 1], a third each near +1, near -1 and near 0, plus uniform.
std::vector<double> AcosArgs() {
  Rng g{2};
  std::vector<double> v(kN);
  for (int i = 0; i < kN; ++i) {
    const double u = g.Unit();
    switch (i % 4) {
      case 0: v[i] = 1 - u * u * 0.01; break;
      case 1: v[i] = u * u * 0.01 - 1; break;
      case 2: v[i] = (u - 0.5) * 0.02; break;
      default: v[i] = 2 * u - 1; break;
    }
  }
  return v;
}

// cos: (theta + 2 pi j) / 3 with theta in [0, pi].
std::vector<double> CosArgs() {
  Rng g{3};
  std::vector<double> v(kN);
  for (int i = 0; i < kN; ++i) v[i] = (g.Unit() * crvref::kPi + 2 * crvref::kPi * (i % 3)) / 3;
  return v;
}

template <double (*F)(double), std::vector<double> (*Args)()>
void Run(benchmark::State& state) {
  const std::vector<double> args = Args();
  for (auto _ : state) {
    double sum = 0;
    for (double x : args) sum += F(x);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kN);
  state.counters["ns_per_call"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kN,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Latency form: each argument depends on the previous result (x_i = base_i + 2^-1000 y_{i-1};
// the addend is far below half an ulp of base_i, so the argument values are unchanged, but the
// next call cannot start before the previous one has finished).
template <double (*F)(double), std::vector<double> (*Args)()>
void RunChained(benchmark::State& state) {
  const std::vector<double> args = Args();
  double y = 0;
  for (auto _ : state) {
    for (double x : args) y = F(x + 0x1p-1000 * y);
    benchmark::DoNotOptimize(y);
  }
  state.SetItemsProcessed(state.iterations() * kN);
  state.counters["ns_per_call"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kN,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

double LibCbrt(double x) { return std::cbrt(x); }
double LibAcos(double x) { return std::acos(x); }
double LibCos(double x) { return std::cos(x); }

BENCHMARK_TEMPLATE(Run, crv::ExactCbrt, CbrtArgs)->Name("ExactCbrt");
BENCHMARK_TEMPLATE(Run, LibCbrt, CbrtArgs)->Name("std::cbrt");
BENCHMARK_TEMPLATE(RunChained, crv::ExactCbrt, CbrtArgs)->Name("ExactCbrt/latency");
BENCHMARK_TEMPLATE(RunChained, LibCbrt, CbrtArgs)->Name("std::cbrt/latency");
BENCHMARK_TEMPLATE(Run, crv::ExactAcos, AcosArgs)->Name("ExactAcos");
BENCHMARK_TEMPLATE(Run, LibAcos, AcosArgs)->Name("std::acos");
BENCHMARK_TEMPLATE(RunChained, crv::ExactAcos, AcosArgs)->Name("ExactAcos/latency");
BENCHMARK_TEMPLATE(RunChained, LibAcos, AcosArgs)->Name("std::acos/latency");
BENCHMARK_TEMPLATE(Run, crv::ExactCos, CosArgs)->Name("ExactCos");
BENCHMARK_TEMPLATE(Run, LibCos, CosArgs)->Name("std::cos");
BENCHMARK_TEMPLATE(RunChained, crv::ExactCos, CosArgs)->Name("ExactCos/latency");
BENCHMARK_TEMPLATE(RunChained, LibCos, CosArgs)->Name("std::cos/latency");

}  // namespace

BENCHMARK_MAIN();
