/* CRV: cubic Bezier curve mathematics, plain C interface.
 *
 * Every plain function takes curve records by pointer, writes its results through the caller's
 * pointers, arrays and lists, and returns a 32-bit result code: 0 on success, CRV_ErrBadRecord or
 * CRV_ErrOutOfMemory for the library's own failures, and any other value for a host code passed
 * back unchanged. Inputs are trusted: records, counts and lists are not validated unless stated.
 * The library keeps no state and no pointer after a call returns; any function may run on any
 * thread while others run, as long as callers do not share outputs or lists. */
#ifndef CRV_CRV_H
#define CRV_CRV_H

#include <stdint.h>

#include "host/seq.h"

#if defined(__GNUC__) || defined(__clang__)
#define CRV_API __attribute__((visibility("default")))
#else
#define CRV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Curve record and result codes ---------------------------------------------------------- */

/* One cubic Bezier segment of `dims` coordinates per point:
 *   B(t) = P0 (1-t)^3 + 3 P1 (1-t)^2 t + 3 P2 (1-t) t^2 + P3 t^3,  t in [0, 1].
 * ctpts[i] points to the `dims` coordinates of Pi. A record with dims <= 0 is empty: evaluation
 * writes nothing for it. A function curve is a record of dims >= 2 whose coordinate 0 is the time
 * x and coordinate 1 the value y. The caller owns the record and its arrays. */
typedef struct CRV_Curve {
  int16_t dims;
  double* ctpts[4];
} CRV_Curve;

enum {
  CRV_ErrNone = 0,
  CRV_ErrBadRecord = 2,   /* a parameter record is null or lacks its check word */
  CRV_ErrOutOfMemory = 4  /* a temporary host handle could not be allocated */
};

/* Type tags of the handles the library asks the host for. */
#define CRV_TAG_CURVE 0x290002u
#define CRV_TAG_PARAM_VALUES 0x290015u

/* ---- Message table -------------------------------------------------------------------------- */

/* The layout of the message table is shared with the host's string service, field by field. */
typedef struct CRV_LStrEntry {
  const char* text;    /* "key=default text"; null in the end mark */
  uint64_t host[3];    /* the host's words: zero at load, written only by the host */
} CRV_LStrEntry;

typedef struct CRV_LStrTable {
  const char* shortName; /* "CRV" */
  uint64_t count;        /* 9: eight messages and the end mark */
  CRV_LStrEntry* entries;
  uint64_t reserved;     /* 0 */
} CRV_LStrTable;

/* Points at the library's message table from load on. Message 6 names curve handles, message 7
 * the temporary parameter-list handle of curve fitting; messages 0 to 5 are for the host. */
CRV_API extern CRV_LStrTable* const CRV_G_zref;

/* ---- Library frame -------------------------------------------------------------------------- */

/* Start and end entry points for the host. They do nothing and return 0. */
CRV_API int32_t CRV_Birth(void);
CRV_API int32_t CRV_Death(void);

/* Looks up the curve-handle name, asks the host for a cleared curve-sized handle and frees it at
 * once: no curve is handed out and nothing is kept (callers build CRV_Curve records themselves).
 * Returns 0, also when the host has no memory. */
CRV_API int32_t CRV_NewCurve(void);

/* Reserved entry points: they read none of their arguments (any may be null), change nothing and
 * return 0. */
CRV_API int32_t CRV_CurveSetCtpts(CRV_Curve* curve, double* const* ctpts);
CRV_API int32_t CRV_DisposeCurve(CRV_Curve* curve);
CRV_API int32_t CRV_EvaluateByCurvature(const CRV_Curve* curve, double tolerance, void* out);

/* ---- Point and derivative evaluation -------------------------------------------------------- */
/* Each writes `dims` doubles per sample, coordinate 0 first, and returns 0. t is not restricted
 * to [0, 1]. Nothing is written for dims <= 0. */

/* out[dims] = B(t). Takes the paired (SSE3) path when word 3 of the host's capability record is
 * non-zero and dims >= 2; both paths agree to a few units in the last place. */
CRV_API int32_t CRV_EvaluatePoint(const CRV_Curve* curve, double t, double* out);

/* out[n * dims] = B at the n parameters t0 + i (t1 - t0) / (n - 1), by forward differencing
 * (only the first sample is evaluated afresh; the last equals B(t1) up to accumulated rounding).
 * n = 1 writes B(t0) alone; n <= 0 writes nothing. */
CRV_API int32_t CRV_EvaluatePoints(const CRV_Curve* curve, double t0, double t1, int32_t n,
                                   double* out);

/* out[dims] = B'(t). */
CRV_API int32_t CRV_EvaluateDeriv(const CRV_Curve* curve, double t, double* out);

/* out[n * dims] = B' at n even parameters from t0 to t1, as CRV_EvaluatePoints. */
CRV_API int32_t CRV_EvaluateDerivs(const CRV_Curve* curve, double t0, double t1, int32_t n,
                                   double* out);

/* out[dims] = B''(t). */
CRV_API int32_t CRV_EvaluateDeriv2(const CRV_Curve* curve, double t, double* out);

/* ---- Bounds --------------------------------------------------------------------------------- */

/* Tight axis-aligned bounds over t in [0, 1]: minima[dims] and maxima[dims], from the end points
 * and the roots of each coordinate's derivative. The root test is absolute (1e-10), so a
 * coordinate whose derivative coefficients are all below it is bounded by its end points alone.
 * Returns 0; writes nothing for dims <= 0. */
CRV_API int32_t CRV_EvaluateBounds(const CRV_Curve* curve, double* minima, double* maxima);

/* ---- Subdivision and direct manipulation ---------------------------------------------------- */

/* Splits at t by de Casteljau and writes the five new points q0, r0, m, r1, q2 into
 * out[5 * dims], point-major; the left part is (P0, q0, r0, m), the right (m, r1, q2, P3). P0 and
 * P3 are unchanged and not written. Returns 0; writes nothing for dims <= 0. */
CRV_API int32_t CRV_SubdivideCurve(const CRV_Curve* curve, double t, double* out);

/* weights[4] for dragging the curve point at t: [0, b1 / n, b2 / n, 0] with b1, b2 the Bernstein
 * weights of P1 and P2 and n = b1^2 + b2^2. At t = 0 and t = 1 both inner weights vanish and the
 * point cannot be dragged this way: the weights are then [0, 0, 0, 0], so a drag changes nothing
 * (move P0 or P3 instead). Returns 0. */
CRV_API int32_t CRV_DirectManipSetup(double t, double* weights);

/* Moves P1 by weights[1] delta and P2 by weights[2] delta (delta[dims]), so that the curve point
 * at the t of the weights moves by exactly delta, with the least-squares smallest change of the
 * inner points. P0 and P3 stay. Returns 0. */
CRV_API int32_t CRV_DirectManipCurve(CRV_Curve* curve, const double* delta,
                                     const double* weights);

/* ---- Function curves ------------------------------------------------------------------------ */

/* ---- Arc length ----------------------------------------------------------------------------- */

/* ---- Curve fitting -------------------------------------------------------------------------- */

/* ---- Linearity and adaptive flattening ------------------------------------------------------ */

#ifdef __cplusplus
}
#endif

#endif
