/* A first program: one curve, a point on it, its bounds and a split. */
#include <stdio.h>

#include "crv/crv.h"

int main(void) {
  double p0[2] = {0, 0}, p1[2] = {0, 1}, p2[2] = {1, 1}, p3[2] = {1, 0};
  CRV_Curve curve = {2, {p0, p1, p2, p3}};

  double point[2], lo[2], hi[2], split[10];
  if (CRV_EvaluatePoint(&curve, 0.5, point) != CRV_ErrNone ||
      CRV_EvaluateBounds(&curve, lo, hi) != CRV_ErrNone ||
      CRV_SubdivideCurve(&curve, 0.5, split) != CRV_ErrNone)
    return 1;
  printf("B(0.5) = (%g, %g)\n", point[0], point[1]);
  printf("bounds: x in [%g, %g], y in [%g, %g]\n", lo[0], hi[0], lo[1], hi[1]);
  printf("halves meet at (%g, %g)\n", split[4], split[5]);
  return point[0] == 0.5 && point[1] == 0.75 && hi[1] == 0.75 ? 0 : 1;
}
