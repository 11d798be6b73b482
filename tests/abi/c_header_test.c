/* The plain interface is C: this file must compile as C99 without a warning and link against
 * libcrv.so. The host headers it brings in are C as well. */
#include <stdio.h>

#include "crv/crv.h"
#include "host/geo.h"

#if CRV_VERSION != CRV_VERSION_MAJOR * 10000 + CRV_VERSION_MINOR * 100 + CRV_VERSION_PATCH
#error "CRV_VERSION disagrees with its parts"
#endif

/* Flattening with the library's own test, passed as a callback without a cast. */
static int FlattenedPoints(CRV_Curve* curve) {
  CRV_LinearityParams params = {0.0, 0.0005, CRV_LINEARITY_CHECK_WORD, 2, 10};
  SEQ_ListH list = NULL;
  bool haveRange = false;
  double yMin = 0, yMax = 0;
  int32_t count = -1;
  if (SEQ_New(0, 16, 32, 1, &list) == 0 &&
      CRV_EvaluateAdaptively(CRV_IsLinearCallback, &params, NULL, NULL, curve, &haveRange, &yMin,
                             &yMax, &list) == CRV_ErrNone)
    count = *(const int32_t*)((const char*)*list + SEQ_BLOCK_COUNT_OFFSET);
  if (list) SEQ_Dispose(list, 0);
  return count;
}

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
  /* At least the four pieces of minDepth 2, at most the 2^11 of maxDepth 10 (one point each,
   * and the first). */
  {
    const int32_t points = FlattenedPoints(&curve);
    failures += points < 5 || points > 2049;
  }
  failures += CRV_Death() != CRV_ErrNone;
  if (failures) printf("%d checks failed\n", failures);
  return failures != 0;
}
