// The mean value of a function curve between two times, averaged over the curve parameter.
#include "crv/crv.h"
#include "function_curves/cubic_solver.h"
#include "function_curves/function_curve.h"

namespace {

// F(t) = integral of coordinate k from 0 to t. With B(t) = q0 + 3(q1 - q0) t + 3(q0 - 2q1 + q2) t^2
// + a t^3, a = 3(q1 - q2) + (q3 - q0), the powers' 1/2, 1/3, 1/4 cancel the 3s where they can:
//   F(t) = q0 t + (3q1 - 3q0)(0.5 t^2) + (q0 - 2q1 + q2) t^3 + a (0.25 t^4),  F(0) = 0.
double Antiderivative(const CRV_Curve& curve, int k, double t) {
  const double q0 = curve.ctpts[0][k], q1 = curve.ctpts[1][k];
  const double q2 = curve.ctpts[2][k], q3 = curve.ctpts[3][k];
  const double t2 = t * t;
  const double t3 = t * t2;
  const double t4 = t * t3;
  return q0 * t + (3.0 * q1 - 3.0 * q0) * (0.5 * t2) + (q0 - 2.0 * q1 + q2) * t3 +
         (3.0 * (q1 - q2) + (q3 - q0)) * (0.25 * t4);
}

}  // namespace

int32_t CRV_EvaluateYAverageFromXToX(const CRV_Curve* curve, double x1, double x2,
                                     double* average) {
  *average = 0.0;
  if (x1 == x2) {
    double t = 0.0;
    crv::TFromCoordinate(*curve, 0, x1, &t);
    *average = crv::EvaluateCoordinate(*curve, 1, t);
    return CRV_ErrNone;
  }
  double t1 = 0.0;
  double t2 = 0.0;
  crv::TFromCoordinate(*curve, 0, x1, &t1);
  crv::TFromCoordinate(*curve, 0, x2, &t2);
  const double dt = t2 - t1;
  if (dt == 0.0) return CRV_ErrNone;  // both bounds at one parameter, e.g. both before the start
  *average = (Antiderivative(*curve, 1, t2) - Antiderivative(*curve, 1, t1)) / dt;
  return CRV_ErrNone;
}
