// The parameter of a function curve at a given time or value.
#include "crv/crv.h"
#include "function_curves/cubic_solver.h"

int32_t CRV_TFromX(const CRV_Curve* curve, double x, double* t) {
  crv::TFromCoordinate(*curve, 0, x, t);
  return CRV_ErrNone;
}

int32_t CRV_TFromY(const CRV_Curve* curve, double y, double* t) {
  crv::TFromCoordinate(*curve, 1, y, t);
  return CRV_ErrNone;
}
