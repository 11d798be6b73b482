// Curves for tests: the catalogue's owning record of any dimension and a seeded random generator.
#ifndef CRV_TESTS_SUPPORT_CURVES_H
#define CRV_TESTS_SUPPORT_CURVES_H

#include <array>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

#include "catalogue/catalogue.h"
#include "crv/crv.h"

namespace crvtest {

using OwnedCurve = crvcat::Curve;

// Seeded source of random curves and numbers; the same seed gives the same sequence everywhere.
class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}
  double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(engine_); }
  int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(engine_); }
  // A curve whose coordinates are uniform in [lo, hi].
  OwnedCurve Curve(int dims, double lo = -100.0, double hi = 100.0) {
    OwnedCurve curve(dims);
    for (int i = 0; i < 4; ++i)
      for (int k = 0; k < dims; ++k) curve.at(i, k) = Uniform(lo, hi);
    return curve;
  }
  std::mt19937_64& engine() { return engine_; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace crvtest

#endif
