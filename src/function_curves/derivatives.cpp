// Slopes of function curves by time: dy/dx = y'(t) / x'(t) at the parameter of the time.
#include "core/evaluate.h"
#include "core/time_tolerance.h"
#include "crv/crv.h"
#include "function_curves/cubic_solver.h"
#include "function_curves/function_curve.h"

namespace {

// The slope reported at a vertical tangent (|x'| below the time tolerance), with the sign of y',
// instead of dividing by almost nothing.
constexpr double kVerticalSlope = 1e10;

}  // namespace

int32_t CRV_Evaluate1dDerivFromX(const CRV_Curve* curve, double x, double* slope) {
  double t = 0.0;
  crv::TFromCoordinate(*curve, 0, x, &t);
  double d[2];
  crv::DerivAt(crv::XYView(*curve), t, d);
  if (d[0] > -crv::kTimeEpsilon && d[0] < crv::kTimeEpsilon)
    *slope = d[1] >= 0.0 ? kVerticalSlope : -kVerticalSlope;  // a NaN y' counts as falling
  else
    *slope = d[1] / d[0];
  return CRV_ErrNone;
}

int32_t CRV_Evaluate1dDeriv2FromX(const CRV_Curve* curve, double x, double* out) {
  double t = 0.0;
  crv::TFromCoordinate(*curve, 0, x, &t);
  const CRV_Curve view = crv::XYView(*curve);
  double d[2];
  double d2[2];
  crv::DerivAt(view, t, d);
  crv::Deriv2At(view, t, d2);
  *out = d[0] == 0.0 ? 0.0 : d2[1] / d[0];
  return CRV_ErrNone;
}

int32_t CRV_Evaluate1dDerivsFromX(const CRV_Curve* curve, double x1, double x2, int16_t count,
                                  double* slopes) {
  const CRV_Curve view = crv::XYView(*curve);
  crv::ForEachSampleTime(*curve, x1, x2, count, [&](int16_t i, double t) {
    double d[2];
    crv::DerivAt(view, t, d);
    slopes[i] = d[1] / d[0];  // unguarded: x' = 0 gives an infinity or NaN
  });
  return CRV_ErrNone;
}
