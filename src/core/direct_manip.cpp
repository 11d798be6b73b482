// Dragging the curve point at t by moving only the inner control points.
//
// The point at t moves by b1 dP1 + b2 dP2 (b1, b2 the Bernstein weights of P1 and P2). Taking
// dP1 = (b1 / n) delta and dP2 = (b2 / n) delta with n = b1^2 + b2^2 moves it by exactly delta,
// and is the least-squares smallest such change.
#include "crv/crv.h"

int32_t CRV_DirectManipSetup(double t, double* weights) {
  const double s = 1.0 - t;
  const double b1 = ((3.0 * t) * s) * s;
  const double b2 = ((3.0 * t) * t) * s;
  const double n = b2 * b2 + b1 * b1;
  weights[0] = 0.0;
  weights[3] = 0.0;
  // Both inner weights vanish at t = 0 and t = 1 (and n underflows next to them), where a drag
  // cannot move the curve: zero weights then, rather than dividing zero by zero.
  if (n == 0.0) {
    weights[1] = 0.0;
    weights[2] = 0.0;
  } else {
    weights[1] = b1 / n;
    weights[2] = b2 / n;
  }
  return CRV_ErrNone;
}

int32_t CRV_DirectManipCurve(CRV_Curve* curve, const double* delta, const double* weights) {
  double* p1 = curve->ctpts[1];
  double* p2 = curve->ctpts[2];
  for (int k = 0; k < curve->dims; ++k) {
    p1[k] += weights[1] * delta[k];
    p2[k] += weights[2] * delta[k];
  }
  return CRV_ErrNone;
}
