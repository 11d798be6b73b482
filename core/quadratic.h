// Real roots of a quadratic, shared by the bounds and by every routine that needs the turning
// points of a cubic.
#ifndef CRV_CORE_QUADRATIC_H
#define CRV_CORE_QUADRATIC_H

#include <cmath>
#include <cstdint>

namespace crv {

// The solver's threshold on |a|, |b| and |disc|. Absolute, never scaled by the coefficients:
// callers rely on the same answer for the same numbers whatever the curve's units.
constexpr double kQuadraticEpsilon = 1e-10;

// Roots of a t^2 + b t + c into roots[0..*count) (count 0, 1 or 2), unsorted:
//  - |a| < eps: taken as linear, one root -c / b, or 0.0 when |b| < eps as well;
//  - disc = b^2 - (2a)(2c) < 0: none; |disc| < eps: the double root -b / (2a);
//  - otherwise two roots, each formed without subtracting nearly equal numbers.
// A NaN coefficient yields NaN roots, which callers' range tests skip.
inline void SolveQuadratic(double a, double b, double c, int32_t* count, double roots[2]) {
  if (std::fabs(a) < kQuadraticEpsilon) {
    *count = 1;
    roots[0] = std::fabs(b) < kQuadraticEpsilon ? 0.0 : -c / b;
    return;
  }
  const double disc = b * b - (2.0 * a) * (2.0 * c);
  if (disc < 0.0) {
    *count = 0;
    return;
  }
  if (std::fabs(disc) < kQuadraticEpsilon) {
    *count = 1;
    roots[0] = -b / (2.0 * a);
    return;
  }
  *count = 2;
  const double q = std::sqrt(disc);
  if (b > 0.0) {
    roots[0] = -(2.0 * c) / (b + q);
    roots[1] = -(b + q) / (2.0 * a);
  } else {
    roots[0] = (2.0 * c) / (q - b);
    roots[1] = (q - b) / (2.0 * a);
  }
}

}  // namespace crv

#endif
