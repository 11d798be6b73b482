// Near-checks that print both values and the threshold when they fail.
#ifndef CRV_TESTS_SUPPORT_NEAR_H
#define CRV_TESTS_SUPPORT_NEAR_H

#include <cmath>
#include <cstring>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace crvtest {

// |a[k] - b[k]| <= eps for every k < n.
inline ::testing::AssertionResult PointsNear(const double* a, const double* b, int n, double eps) {
  for (int k = 0; k < n; ++k) {
    if (!(std::fabs(a[k] - b[k]) <= eps)) {
      std::ostringstream msg;
      msg.precision(17);
      msg << "coordinate " << k << ": " << a[k] << " vs " << b[k] << " differ by "
          << std::fabs(a[k] - b[k]) << " > " << eps;
      return ::testing::AssertionFailure() << msg.str();
    }
  }
  return ::testing::AssertionSuccess();
}

// Bit-for-bit equality of n doubles (NaNs with the same bits are equal).
inline ::testing::AssertionResult BitsEqual(const double* a, const double* b, int n) {
  for (int k = 0; k < n; ++k) {
    if (std::memcmp(&a[k], &b[k], sizeof(double)) != 0) {
      std::ostringstream msg;
      msg.precision(17);
      msg << "coordinate " << k << ": " << a[k] << " vs " << b[k] << " differ in their bits";
      return ::testing::AssertionFailure() << msg.str();
    }
  }
  return ::testing::AssertionSuccess();
}

// Distance in units in the last place between two finite doubles of the same sign.
inline double UlpDistance(double a, double b) {
  if (a == b) return 0.0;
  const double ulp = std::fabs(std::nextafter(a, b) - a);
  return std::fabs(a - b) / ulp;
}

}  // namespace crvtest

#define EXPECT_POINT_NEAR(a, b, n, eps) EXPECT_TRUE(::crvtest::PointsNear((a), (b), (n), (eps)))
#define EXPECT_BITS_EQ(a, b, n) EXPECT_TRUE(::crvtest::BitsEqual((a), (b), (n)))

#endif
