// Curves for tests: an owning record of any dimension and seeded random generators.
#ifndef CRV_TESTS_SUPPORT_CURVES_H
#define CRV_TESTS_SUPPORT_CURVES_H

#include <array>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

#include "crv/crv.h"

namespace crvtest {

// A CRV_Curve that owns its coordinates. Copies rebind the record to their own storage.
class OwnedCurve {
 public:
  explicit OwnedCurve(int dims = 0) : coords_(4 * static_cast<size_t>(dims > 0 ? dims : 0)) {
    record_.dims = static_cast<int16_t>(dims);
    Bind();
  }
  // Four points given as lists of equal length.
  OwnedCurve(std::initializer_list<double> p0, std::initializer_list<double> p1,
             std::initializer_list<double> p2, std::initializer_list<double> p3);
  OwnedCurve(const OwnedCurve& other) : coords_(other.coords_) {
    record_.dims = other.record_.dims;
    Bind();
  }
  OwnedCurve& operator=(const OwnedCurve& other) {
    coords_ = other.coords_;
    record_.dims = other.record_.dims;
    Bind();
    return *this;
  }

  int dims() const { return record_.dims; }
  const CRV_Curve* get() const { return &record_; }
  CRV_Curve* get() { return &record_; }
  double& at(int point, int k) { return coords_[static_cast<size_t>(point * dims() + k)]; }
  double at(int point, int k) const { return coords_[static_cast<size_t>(point * dims() + k)]; }
  const std::vector<double>& coords() const { return coords_; }

 private:
  void Bind() {
    const int d = dims() > 0 ? dims() : 0;
    for (int i = 0; i < 4; ++i) record_.ctpts[i] = coords_.data() + i * d;
  }
  CRV_Curve record_{};
  std::vector<double> coords_;
};

// Seeded source of random curves and numbers; the same seed gives the same sequence everywhere.
class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}
  double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(engine_); }
  int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(engine_); }
  // A curve whose coordinates are uniform in [lo, hi].
  OwnedCurve Curve(int dims, double lo = -100.0, double hi = 100.0);
  std::mt19937_64& engine() { return engine_; }

 private:
  std::mt19937_64 engine_;
};

// Reference value of B(t) by the Bernstein form in long double, for accuracy checks.
std::vector<double> ReferencePoint(const CRV_Curve& curve, double t);

}  // namespace crvtest

#endif
