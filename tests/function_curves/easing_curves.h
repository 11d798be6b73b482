// Function curves for the tests: seeded easing curves and a long-double reference coordinate.
#ifndef CRV_TESTS_FUNCTION_CURVES_EASING_CURVES_H
#define CRV_TESTS_FUNCTION_CURVES_EASING_CURVES_H

#include <cmath>

#include "support/curves.h"

namespace crvtest {

// An easing curve: time from (0, 0) to (1, 1), inner handles with times in [lo, hi] and values
// in [-1, 2]. lo = 0, hi = 1 is every handle a CSS-style easing allows (time rises throughout);
// a wider range makes time double back inside the curve.
//
// The solver normalises by c3 = 3 (x1 - x2) + 1, so its rounding grows like 1e-16 / c3^2 as the
// handles approach 1/3 apart (a residual of 3e-9 at |c3| = 1e-4, 3e-5 at 1e-6, until the quadratic
// rule takes over at 1e-10). minC3 keeps the draws where the 1e-9 residual bound holds.
inline OwnedCurve EasingCurve(Random& random, double lo, double hi, double minC3 = 1e-3) {
  OwnedCurve curve{{0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}, {1.0, 1.0}};
  do {
    curve.at(1, 0) = random.Uniform(lo, hi);
    curve.at(2, 0) = random.Uniform(lo, hi);
  } while (std::fabs(3.0 * (curve.at(1, 0) - curve.at(2, 0)) + 1.0) < minC3);
  curve.at(1, 1) = random.Uniform(-1.0, 2.0);
  curve.at(2, 1) = random.Uniform(-1.0, 2.0);
  return curve;
}

// Coordinate k of the cubic at t, Bernstein form in long double: an independent reference.
inline long double CoordinateAt(const CRV_Curve& curve, int k, long double t) {
  const long double s = 1.0L - t;
  return s * s * s * curve.ctpts[0][k] + 3.0L * s * s * t * curve.ctpts[1][k] +
         3.0L * s * t * t * curve.ctpts[2][k] + t * t * t * curve.ctpts[3][k];
}

}  // namespace crvtest

#endif
