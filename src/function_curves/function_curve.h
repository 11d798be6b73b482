// Helpers shared by the lookups on function curves (time on coordinate 0, value on coordinate 1).
#ifndef CRV_FUNCTION_CURVES_FUNCTION_CURVE_H
#define CRV_FUNCTION_CURVES_FUNCTION_CURVE_H

#include "crv/crv.h"
#include "function_curves/cubic_solver.h"

namespace crv {

// Coordinate k of the cubic at t, in the nested form every lookup by time shares:
//   t^3 q3 + (1 - t) (((3 q1) t + q0 (1 - t)) (1 - t) + (3 q2) t^2),  t^3 = t t^2.
inline double EvaluateCoordinate(const CRV_Curve& curve, int k, double t) {
  const double q0 = curve.ctpts[0][k], q1 = curve.ctpts[1][k];
  const double q2 = curve.ctpts[2][k], q3 = curve.ctpts[3][k];
  const double u = 1.0 - t;
  const double t2 = t * t;
  const double t3 = t * t2;
  return t3 * q3 + u * (((3.0 * q1) * t + q0 * u) * u + (3.0 * q2) * t2);
}

// Walks the count times x1 + i step, step = (x2 - x1) / (count - 1), accumulating the time by
// repeated addition (not x1 + i step), and calls sample(i, t) with the parameter of each. The
// target-independent terms are prepared once; a time with no accepted root reuses the previous
// sample's parameter (the first: 0). count <= 0 samples nothing; for count = 1 the step is an
// unused infinity or NaN.
template <typename Sample>
inline void ForEachSampleTime(const CRV_Curve& curve, double x1, double x2, int16_t count,
                              Sample&& sample) {
  const double step = (x2 - x1) / static_cast<double>(count - 1);
  if (count < 1) return;
  const PreparedSolver solver(curve, 0);
  double t = 0.0;
  double x = x1;
  for (int16_t i = 0; i < count; ++i) {
    solver.Solve(x, &t);
    sample(i, t);
    x += step;
  }
}

}  // namespace crv

#endif
