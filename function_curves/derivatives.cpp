// Slopes of function curves by time: dy/dx = y'(t) / x'(t) at the parameter of the time.
#include "crv/crv.h"
#include "function_curves/cubic_solver.h"
#include "function_curves/function_curve.h"

namespace {

// |x'| below this (in time units per unit parameter) counts as a vertical tangent for the single
// slope, which then reports kVerticalSlope with the sign of y' instead of dividing by ~0.
constexpr double kFlatTimeSpeed = 1e-12;
constexpr double kVerticalSlope = 1e10;

}  // namespace

int32_t CRV_Evaluate1dDerivFromX(const CRV_Curve* curve, double x, double* slope) {
  double t = 0.0;
  crv::TFromCoordinate(*curve, 0, x, t);
  const CRV_Curve view = crv::TimeValueView(*curve);
  double d[2];
  const int32_t code = CRV_EvaluateDeriv(&view, t, d);
  if (code != CRV_ErrNone) return code;
  if (d[0] > -kFlatTimeSpeed && d[0] < kFlatTimeSpeed)
    *slope = d[1] >= 0.0 ? kVerticalSlope : -kVerticalSlope;  // a NaN y' counts as falling
  else
    *slope = d[1] / d[0];
  return CRV_ErrNone;
}

int32_t CRV_Evaluate1dDeriv2FromX(const CRV_Curve* curve, double x, double* out) {
  double t = 0.0;
  crv::TFromCoordinate(*curve, 0, x, t);
  const CRV_Curve view = crv::TimeValueView(*curve);
  double d[2];
  double d2[2];
  CRV_EvaluateDeriv(&view, t, d);
  const int32_t code = CRV_EvaluateDeriv2(&view, t, d2);
  if (code != CRV_ErrNone) return code;
  *out = d[0] == 0.0 ? 0.0 : d2[1] / d[0];
  return CRV_ErrNone;
}

int32_t CRV_Evaluate1dDerivsFromX(const CRV_Curve* curve, double x1, double x2, int16_t count,
                                  double* slopes) {
  const double step = (x2 - x1) / static_cast<double>(count - 1);
  if (count < 1) return CRV_ErrNone;
  const crv::PreparedSolver solver(*curve, 0);
  const CRV_Curve view = crv::TimeValueView(*curve);
  int32_t code = CRV_ErrNone;
  double t = 0.0;  // carries the previous sample's parameter into a sample with no root
  double x = x1;
  int16_t written = 0;
  for (int16_t i = 0; i < count; ++i) {
    solver.Solve(x, t);
    double d[2];
    code = CRV_EvaluateDeriv(&view, t, d);
    if (code == CRV_ErrNone) slopes[written++] = d[1] / d[0];  // unguarded: x' = 0 gives inf/NaN
    x += step;
  }
  return code;
}
