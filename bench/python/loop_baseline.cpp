// The C++ side of bench/python/bench_python.py: the loops crv.evaluate and crv.y_from_x run,
// written directly against the exports, timed the same way (fresh output buffer per run, best
// of the runs). Prints "name nanoseconds-per-element" lines.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "crv/crv.h"

namespace {

volatile double g_sink;  // keeps the results alive for the optimiser

template <typename F>
double BestNsPerElement(int n, int runs, F&& loop) {
  double best = 1e300;
  for (int r = 0; r < runs; ++r) {
    const auto start = std::chrono::steady_clock::now();
    loop();
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
    if (took.count() < best) best = took.count();
  }
  return best / n;
}

}  // namespace

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 1000000;
  const int runs = argc > 2 ? std::atoi(argv[2]) : 7;
  std::vector<double> t(n);
  for (int i = 0; i < n; ++i) t[i] = (i + 0.5) / n;
  double p0[2] = {0, 0}, p1[2] = {0.42, 0}, p2[2] = {0.58, 1}, p3[2] = {1, 1};
  const CRV_Curve curve = {2, {p0, p1, p2, p3}};

  const double evaluate = BestNsPerElement(n, runs, [&] {
    std::unique_ptr<double[]> out(new double[2 * static_cast<size_t>(n)]);
    for (int i = 0; i < n; ++i) CRV_EvaluatePoint(&curve, t[i], out.get() + 2 * i);
    g_sink = out[n];
  });
  const double y_from_x = BestNsPerElement(n, runs, [&] {
    std::unique_ptr<double[]> out(new double[n]);
    for (int i = 0; i < n; ++i) CRV_EvaluateYFromX(&curve, t[i], out.get() + i);
    g_sink = out[n / 2];
  });
  std::printf("evaluate %.4f\ny_from_x %.4f\n", evaluate, y_from_x);
  return 0;
}
