// Straightness tests of a 2-D piece, and the depth-bounded flatness callback.
#include "adaptive/straightness.h"
#include "core/evaluate.h"
#include "crv/crv.h"

int32_t CRV_IsCurveLinear(const double* A, const double* B, const double* u, const double* v,
                          double minChordSq, double tol, bool* out) {
  *out = crv::IsStraight(A, B, u, v, minChordSq, tol);
  return CRV_ErrNone;
}

int32_t CRV_IsSubCurveLinear(double t0, double t1, const CRV_Curve* curve, double minChordSq,
                             double tol, bool* out) {
  const CRV_Curve plane = crv::XYView(*curve);
  // A record of fewer than two coordinates leaves the missing ones 0.
  double u[2] = {0.0, 0.0}, v[2] = {0.0, 0.0}, a[2] = {0.0, 0.0}, b[2] = {0.0, 0.0};
  crv::DerivAt(plane, t0, u);
  crv::DerivAt(plane, t1, v);
  if (plane.dims == 2) {
    crv::PointAtXY(plane, t0, a);
    crv::PointAtXY(plane, t1, b);
  } else if (plane.dims == 1) {  // outside the documented range: x alone
    crv::EvaluatePointScalar(plane, t0, a);
    crv::EvaluatePointScalar(plane, t1, b);
  }
  *out = crv::IsStraight(a, b, u, v, minChordSq, tol);
  return CRV_ErrNone;
}

int32_t CRV_IsLinearFunc(const CRV_LinearityParams* params, uint32_t depth, double t0, double t1,
                         const double* /*p0*/, const double* /*p1*/, const CRV_Curve* curve,
                         bool* out) {
  *out = false;
  if (params == nullptr || params->checkWord != CRV_LINEARITY_CHECK_WORD) return CRV_ErrBadRecord;
  if (depth > params->maxDepth) {
    *out = true;
    return CRV_ErrNone;
  }
  if (depth < params->minDepth) return CRV_ErrNone;
  return CRV_IsSubCurveLinear(t0, t1, curve, params->minChordSq, params->angleTol, out);
}
