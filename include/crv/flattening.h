/* CRV: straightness tests and adaptive flattening of function curves. */
#ifndef CRV_FLATTENING_H
#define CRV_FLATTENING_H

#include "crv/curve.h"

#include <stdbool.h>

#include "host/seq.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Straightness of a 2-D piece: it may be drawn as its chord when the chord is shorter than
 * sqrt(minChordSq) (a squared length), or when the tangents at both ends are parallel to the chord
 * within tol, a tolerance on the cosine: |cos| >= 1 - tol for both (a tangent pointing back along
 * the chord counts as parallel). A zero tangent, or a zero chord, has cosine 1 and never fails the
 * test. tol = 0 demands exactly parallel tangents, tol >= 1 accepts any (a NaN cosine fails). */

/* The check word a CRV_LinearityParams must carry; any other value marks a damaged record. */
#define CRV_LINEARITY_CHECK_WORD 0x0BADBEEFu

/* The context of CRV_IsLinearFunc, filled by the caller. */
typedef struct CRV_LinearityParams {
  double minChordSq;  /* squared chord length below which a piece is straight */
  double angleTol;    /* tol of the tangent test */
  uint32_t checkWord; /* CRV_LINEARITY_CHECK_WORD */
  uint32_t minDepth;  /* pieces at depths below this are never straight */
  uint32_t maxDepth;  /* pieces at depths above this are always straight */
} CRV_LinearityParams;

/* The flatness callback of the flattening functions. Given the piece [t0, t1] of `curve` at
 * `depth` (0 for the whole curve, one more for each halving) and the curve points p0 = B(t0) and
 * p1 = B(t1) (x then y), it sets *accept (false on entry) to true when the piece may be drawn as
 * its chord. It returns a result code; a non-zero code ends the whole operation with that code.
 * `context` is the caller's pointer, passed through untouched. */
typedef int32_t (*CRV_FlatnessFunc)(void* context, uint32_t depth, double t0, double t1,
                                    const double* p0, const double* p1, const CRV_Curve* curve,
                                    bool* accept);

/* *out = whether the piece from A (tangent u) to B (tangent v) is straight by the test above
 * (each argument two doubles, x then y). Returns 0. */
CRV_API int32_t CRV_IsCurveLinear(const double* A, const double* B, const double* u,
                                  const double* v, double minChordSq, double tol, bool* out);

/* *out = the test above for the piece [t0, t1] of a 2-D curve, with A = B(t0), B = B(t1),
 * u = B'(t0), v = B'(t1). Returns 0. A record of more than two dimensions is tested on its
 * coordinates 0 and 1; one of fewer is not supported. */
CRV_API int32_t CRV_IsSubCurveLinear(double t0, double t1, const CRV_Curve* curve,
                                     double minChordSq, double tol, bool* out);

/* A flatness test bounded in depth, for the flattening functions below: pass
 * CRV_IsLinearCallback, which calls it, with a CRV_LinearityParams as context. Depths compare
 * unsigned: depth > maxDepth is straight and depth < minDepth is not, without evaluating the
 * curve (p0 and p1 are not read); depths from minDepth to maxDepth run
 * CRV_IsSubCurveLinear with the record's minChordSq and angleTol. As the callback this forces at
 * least minDepth halvings and stops every branch at depth maxDepth + 1. Returns 0, or
 * CRV_ErrBadRecord with *out = false when `params` is null or lacks its check word. */
CRV_API int32_t CRV_IsLinearFunc(const CRV_LinearityParams* params, uint32_t depth, double t0,
                                 double t1, const double* p0, const double* p1,
                                 const CRV_Curve* curve, bool* out);

/* CRV_IsLinearFunc as a CRV_FlatnessFunc, `context` being its CRV_LinearityParams. Casting
 * CRV_IsLinearFunc itself to CRV_FlatnessFunc would call it through an incompatible function
 * type, which ISO C leaves undefined; this adapter has the callback's exact type. It is inline in
 * the header, so the library exports nothing more for it. */
static inline int32_t CRV_IsLinearCallback(void* context, uint32_t depth, double t0, double t1,
                                           const double* p0, const double* p1,
                                           const CRV_Curve* curve, bool* accept) {
  return CRV_IsLinearFunc((const CRV_LinearityParams*)context, depth, t0, t1, p0, p1, curve,
                          accept);
}

/* Flattening of a function curve (coordinate 0 the time x, coordinate 1 the value y; further
 * coordinates are ignored) into a polyline of 16-byte items {double x; double y;} appended to the
 * caller's host list with SEQ_Insert at -1. The curve is halved at parameter midpoints until the
 * callback accepts each piece; a piece whose two end points both lie left of the low abscissa, or
 * both right of the high one, is dropped before the callback sees it, and an accepted piece that
 * crosses an end is clipped there by linear interpolation between its end points (taking y1 when
 * their x differ by less than 1e-12). A piece with a NaN x is neither dropped nor clipped.
 *
 * The y range: every appended y updates *haveRange, *yMin and *yMax: the first point sets
 * *haveRange and both extremes, later ones widen them. Set *haveRange = false before the first of
 * several calls that share one range.
 *
 * There is no depth limit beyond the callback's: a callback must end the halving (with
 * CRV_IsLinearFunc the depth stays at most maxDepth + 1). Each returns 0 or the first non-zero
 * code of the callback or of SEQ_Insert; points appended before a failure stay in the list. The
 * list's item size must be 16 bytes; it is not checked. */

/* The polyline from B(0) to B(1) clipped to [*xLow, *xHigh]: B(0) (or the clipped start), then the
 * end point of every accepted piece in increasing parameter order, the last one clipped, with no
 * point repeated. xLow and xHigh may each be null (no clipping at that end); haveRange, yMin and
 * yMax are all given or the range is not tracked. */
CRV_API int32_t CRV_EvaluateAdaptively(CRV_FlatnessFunc callback, void* context,
                                       const double* xLow, const double* xHigh,
                                       const CRV_Curve* curve, bool* haveRange, double* yMin,
                                       double* yMax, SEQ_ListH* list);

/* Each accepted piece [t0, t1], in increasing parameter order, appends: (xA, y at xA) when
 * xA >= B(t0).x; its midpoint B(tm) when xA < B(tm).x < xB; (xB, y at xB) when B(t1).x >= xB.
 * So the points are the midpoints inside the range between the clipped ends; with xA = xB the
 * piece holding it appends it twice. No start point. The range outputs are required. */
CRV_API int32_t CRV_LinearlyInterpolateCurve(CRV_FlatnessFunc callback, void* context, double xA,
                                             double xB, const CRV_Curve* curve, bool* haveRange,
                                             double* yMin, double* yMax, SEQ_ListH* list);

/* Appends one point: (x, y on the segment A-B at x) when A.x < x < B.x, otherwise P (A, B and P
 * two doubles each), and widens the y range by it (all outputs required; note that the list comes
 * between haveRange and yMin). Returns 0 or the code of SEQ_Insert, which leaves the range as it
 * was. */
CRV_API int32_t CRV_LinearlyInterpolateLine(double x, const double* A, const double* B,
                                            const double* P, bool* haveRange, SEQ_ListH* list,
                                            double* yMin, double* yMax);

#ifdef __cplusplus
}
#endif

#endif
