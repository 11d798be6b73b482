// Helpers shared by the lookups on function curves (time on coordinate 0, value on coordinate 1).
#ifndef CRV_FUNCTION_CURVES_FUNCTION_CURVE_H
#define CRV_FUNCTION_CURVES_FUNCTION_CURVE_H

#include "crv/crv.h"

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

// The same control points seen as a 2-D curve: the lookups need time and value only, and the
// evaluation exports write `dims` doubles, so handing them this view keeps their output on the
// stack however many coordinates the caller's curve carries. Each coordinate is evaluated on its
// own, so coordinates 0 and 1 come out exactly as from the full record.
inline CRV_Curve TimeValueView(const CRV_Curve& curve) {
  CRV_Curve view = curve;
  view.dims = 2;
  return view;
}

}  // namespace crv

#endif
