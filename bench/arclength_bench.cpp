// Arc-length tables, lookups and evaluation by distance, called through libcrv.so as a host would.
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "catalogue/catalogue.h"
#include "crv/crv.h"
#include "host/seq.h"

namespace {

// One curve of `dims` dimensions with coordinates uniform in [lo, hi] from a fixed seed.
struct Curve {
  Curve(int dims, double lo, double hi, uint64_t seed) : coords(static_cast<size_t>(4 * dims)) {
    std::mt19937_64 engine(seed);
    std::uniform_real_distribution<double> coordinate(lo, hi);
    for (double& v : coords) v = coordinate(engine);
    record.dims = static_cast<int16_t>(dims);
    for (int p = 0; p < 4; ++p) record.ctpts[p] = &coords[static_cast<size_t>(p * dims)];
  }
  std::vector<double> coords;
  CRV_Curve record{};
};

// 256 inputs uniform in [lo, hi] from a fixed seed, cycled through by the lookups.
std::vector<double> Inputs(double lo, double hi) {
  std::mt19937_64 engine(11);
  std::uniform_real_distribution<double> value(lo, hi);
  std::vector<double> inputs(256);
  for (double& v : inputs) v = value(engine);
  return inputs;
}

void BM_BuildArcTable_Reused(benchmark::State& state) {
  const Curve curve(static_cast<int>(state.range(0)), 0.0, 1000.0, 3);
  const crvcat::CapabilityPath path(static_cast<int32_t>(state.range(1)));
  SEQ_ListH table = nullptr;
  double length = 0.0;
  CRV_BuildArcTable(&curve.record, 128, &table, &length);
  for (auto _ : state) {
    benchmark::DoNotOptimize(CRV_BuildArcTable(&curve.record, 128, &table, &length));
    benchmark::DoNotOptimize(length);
  }
  SEQ_Dispose(table, 0);
}
BENCHMARK(BM_BuildArcTable_Reused)
    ->ArgNames({"dims", "paired"})
    ->Args({2, 0})
    ->Args({2, 1})
    ->Args({3, 1});

// Creation, 128 entries grown into it, and the caller's disposal: a table's whole life.
void BM_BuildArcTable_New(benchmark::State& state) {
  const Curve curve(2, 0.0, 1000.0, 3);
  double length = 0.0;
  for (auto _ : state) {
    SEQ_ListH table = nullptr;
    benchmark::DoNotOptimize(CRV_BuildArcTable(&curve.record, 128, &table, &length));
    benchmark::DoNotOptimize(length);
    SEQ_Dispose(table, 0);
  }
}
BENCHMARK(BM_BuildArcTable_New);

// One lookup against a 128-sample table of a 2-D curve, cycling through 256 inputs: parameters
// in [0, 1] (byLength false) or lengths along the curve.
template <typename Lookup>
void TableLookup(benchmark::State& state, bool byLength, Lookup lookup) {
  const Curve curve(2, 0.0, 1000.0, 3);
  SEQ_ListH table = nullptr;
  double length = 0.0, out[2];
  CRV_BuildArcTable(&curve.record, 128, &table, &length);
  const std::vector<double> inputs = Inputs(0.0, byLength ? length : 1.0);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lookup(&curve.record, inputs[i], &table, out));
    benchmark::DoNotOptimize(out);
    i = (i + 1) & 255;
  }
  SEQ_Dispose(table, 0);
}

void BM_SFromT(benchmark::State& state) {
  TableLookup(state, false, [](const CRV_Curve* c, double t, SEQ_ListH* table, double* s) {
    return CRV_SFromT(c, t, 128, table, s);
  });
}
BENCHMARK(BM_SFromT);

void BM_TFromS(benchmark::State& state) {
  TableLookup(state, true, [](const CRV_Curve* c, double s, SEQ_ListH* table, double* t) {
    return CRV_TFromS(c, s, 128, table, t);
  });
}
BENCHMARK(BM_TFromS);

void BM_EvaluatePointFromS(benchmark::State& state) {
  TableLookup(state, true, [](const CRV_Curve* c, double s, SEQ_ListH* table, double* point) {
    return CRV_EvaluatePointFromS(c, s, 128, table, point);
  });
}
BENCHMARK(BM_EvaluatePointFromS);

// A curve a few thousand units long walked at distance 1: some thousands of points a call, into
// the caller's reused list (arg 1) or a new list disposed of after each call (arg 0). The
// per_point counter is the time per stored point.
void BM_EvaluateByDistance(benchmark::State& state) {
  const Curve curve(2, 0.0, 4000.0, 5);
  const bool reuse = state.range(0) != 0;
  SEQ_ListH list = nullptr;
  CRV_EvaluateByDistance(&curve.record, 1.0, 0, &list);
  int32_t points;
  std::memcpy(&points, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof points);
  if (!reuse) {
    SEQ_Dispose(list, 0);
    list = nullptr;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(CRV_EvaluateByDistance(&curve.record, 1.0, 0, &list));
    if (!reuse) {
      SEQ_Dispose(list, 0);
      list = nullptr;
    }
  }
  if (list != nullptr) SEQ_Dispose(list, 0);
  state.counters["points"] = points;
  state.counters["per_point"] = benchmark::Counter(
      static_cast<double>(points), benchmark::Counter::kIsIterationInvariantRate |
                                       benchmark::Counter::kInvert);
}
BENCHMARK(BM_EvaluateByDistance)->ArgName("reuse")->Arg(1)->Arg(0);

}  // namespace
