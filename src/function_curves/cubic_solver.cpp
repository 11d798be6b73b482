// The three-real-root branch of the cubic solver (trigonometric form).
#include "core/exact_math.h"
#include "function_curves/cubic_solver.h"

namespace crv {
namespace solver_detail {

namespace {

// 2 pi and 4 pi as the double constants the three angles are pinned to.
constexpr double kTwoPi = 6.283185307179586;
constexpr double kFourPi = 12.566370614359172;

// Just under 1/2: a bound on |cos| of the two outer angles that the rounding of the angle and of
// cos cannot cross (the angle is off by a few units in the last place, cos by half a unit).
constexpr double kHalfLess = 0.4999999;

}  // namespace

void SolveThreeRoots(double cosArg, double m, double aThird, double* t) {
  // theta lies in [0, pi], so t1 is the smallest root, t2 the largest and t3 the middle one.
  // t1 must lie strictly inside (0, 1); the others may touch the ends.
  const double theta = ExactAcos(cosArg);
  // A cosine is taken only where its root could be accepted. The angle of t1 lies in [0, pi/3] and
  // that of t2 in [2pi/3, pi], so cos lies in [1/2, 1] for t1 and in [-1, -1/2] for t2. With m < 0
  // and rounding monotone, the computed root m cos - a/3 lies between the same expression taken
  // at the ends of that range: where that interval misses the accepted range, so does the root,
  // bit for bit. For a coordinate rising on [0, 1], [0, 1] lies between the turning points
  // -a/3 -+ sqrt(Q), which t1 and t2 lie outside of: the bounds spare both of their cosines.
  const double t1High = m * kHalfLess - aThird;
  const double t1Low = m - aThird;
  if (t1High > 0.0 && t1Low < 1.0) {
    const double t1 = m * ExactCos(theta / 3.0) - aThird;
    if (t1 > 0.0 && t1 < 1.0) {
      *t = t1;
      return;
    }
  }
  const double t2Low = m * -kHalfLess - aThird;
  const double t2High = -m - aThird;
  if (t2Low <= 1.0 && t2High >= 0.0) {
    const double t2 = m * ExactCos((theta + kTwoPi) / 3.0) - aThird;
    if (t2 >= 0.0 && t2 <= 1.0) {
      *t = t2;
      return;
    }
  }
  const double t3 = m * ExactCosThirdQuadrant((theta + kFourPi) / 3.0) - aThird;
  if (t3 >= 0.0 && t3 <= 1.0) *t = t3;
}

}  // namespace solver_detail
}  // namespace crv
