/* The plain interface is C: this file must compile as C99 and link against libcrv.so. */
#include <stdio.h>

#include "crv/crv.h"

int main(void) {
  double p[4][2] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
  CRV_Curve curve;
  double out[2], lo[2], hi[2], split[10];
  int failures = 0;
  curve.dims = 2;
  curve.ctpts[0] = p[0];
  curve.ctpts[1] = p[1];
  curve.ctpts[2] = p[2];
  curve.ctpts[3] = p[3];

  failures += CRV_Birth() != CRV_ErrNone;
  failures += CRV_EvaluatePoint(&curve, 0.5, out) != CRV_ErrNone;
  failures += out[0] != 0.5 || out[1] != 0.75;
  failures += CRV_EvaluateBounds(&curve, lo, hi) != CRV_ErrNone;
  failures += lo[1] != 0.0 || hi[1] != 0.75;
  failures += CRV_SubdivideCurve(&curve, 0.5, split) != CRV_ErrNone;
  failures += split[4] != 0.5 || split[5] != 0.75;
  failures += CRV_G_zref->count != 9;
  failures += CRV_Death() != CRV_ErrNone;
  if (failures) printf("%d checks failed\n", failures);
  return failures != 0;
}
