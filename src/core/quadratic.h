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

inline double Discriminant(double a, double b, double c) { return b * b - (2.0 * a) * (2.0 * c); }

// The two roots of a t^2 + b t + c from its discriminant, each formed without subtracting nearly
// equal numbers: with m = -(b + sqrt(disc)) when b > 0, else sqrt(disc) - b, they are 2c / m and
// m / 2a (negating the divisor instead of the quotient gives the same bits). A negative
// discriminant gives two NaN roots.
inline void TwoQuadraticRoots(double a, double b, double c, double roots[2]) {
  const double q = std::sqrt(Discriminant(a, b, c));
  const double m = b > 0.0 ? -(b + q) : q - b;
  roots[0] = (2.0 * c) / m;
  roots[1] = m / (2.0 * a);
}

// Roots of a t^2 + b t + c into roots[0..*count) (count 0, 1 or 2), unsorted:
//  - |a| < eps: taken as linear, one root -c / b, or 0.0 when |b| < eps as well;
//  - disc = b^2 - (2a)(2c) < 0: none; |disc| < eps: the double root -b / (2a);
//  - otherwise the two roots of TwoQuadraticRoots.
// A NaN coefficient yields NaN roots, which callers' range tests skip.
inline void SolveQuadratic(double a, double b, double c, int32_t* count, double roots[2]) {
  if (std::fabs(a) < kQuadraticEpsilon) {
    *count = 1;
    roots[0] = std::fabs(b) < kQuadraticEpsilon ? 0.0 : -c / b;
    return;
  }
  const double disc = Discriminant(a, b, c);
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
  TwoQuadraticRoots(a, b, c, roots);
}

}  // namespace crv

#endif
