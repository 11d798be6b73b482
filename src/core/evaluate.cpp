// The exported evaluations: core/evaluate.h holds the formulas.
#include "core/evaluate.h"

int32_t CRV_EvaluatePoint(const CRV_Curve* curve, double t, double* out) {
  crv::PointAt(*curve, t, out);
  return CRV_ErrNone;
}

int32_t CRV_EvaluateDeriv(const CRV_Curve* curve, double t, double* out) {
  crv::DerivAt(*curve, t, out);
  return CRV_ErrNone;
}

int32_t CRV_EvaluateDeriv2(const CRV_Curve* curve, double t, double* out) {
  crv::Deriv2At(*curve, t, out);
  return CRV_ErrNone;
}
