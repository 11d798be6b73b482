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

#include <stdbool.h>
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
/* A function curve plots a value y (coordinate 1) against time x (coordinate 0); only those two
 * coordinates are read, and the record's dims must be at least 2. Every lookup first solves
 * x(t) = x (or y(t) = y) for the parameter t with one closed-form cubic solver:
 *  - x at or below P0.x + 1e-10 gives t = 0, then x at or above P3.x - 1e-10 gives t = 1 (the
 *    start clamp is tested first, so a falling coordinate yields only 0 or 1);
 *  - otherwise the root of the cubic (or of the quadratic or line it degenerates to, when its
 *    power coefficients are below 1e-10): a single root is taken wherever it lies, so t may leave
 *    [0, 1] and the curve is then extrapolated; of three real roots the smallest wins if inside
 *    (0, 1), else the largest, else the middle one, each if inside [0, 1];
 *  - where no root is accepted (on a rising coordinate only by rounding next to an end) t keeps a
 *    fallback, stated with each function.
 * The tolerance 1e-10 is absolute, in the coordinate's own units. Accuracy: the solved t
 * reproduces the time to ~1e-16 of the span for well-shaped curves, but the cubic is normalised
 * by its leading coefficient c3 = 3 (P1.x - P2.x) + (P3.x - P0.x). With r = |c3| / span, small
 * when the inner handles lie 1/3 of the span apart, the error grows like 1e-16 / r^2 of the span
 * (3e-9 at r = 1e-4, 3e-5 at 1e-6) until the quadratic rule takes over at |c3| < 1e-10. All of
 * these return 0 and allocate nothing. */

/* *t = the parameter at which x(t) = x (CRV_TFromX) or y(t) = y (CRV_TFromY). Where no root is
 * accepted *t keeps the value the caller left there. */
CRV_API int32_t CRV_TFromX(const CRV_Curve* curve, double x, double* t);
CRV_API int32_t CRV_TFromY(const CRV_Curve* curve, double y, double* t);

/* *y = the value at time x: P0.y before the start, P3.y after the end. Fallback t = 0. */
CRV_API int32_t CRV_EvaluateYFromX(const CRV_Curve* curve, double x, double* y);

/* ys[count] = the values at the times x1 + i step, step = (x2 - x1) / (count - 1), i = 0 ..
 * count - 1, the times accumulated by repeated addition of step. x2 < x1 runs backwards;
 * count = 1 writes the value at x1 only; count <= 0 writes nothing. A sample with no accepted
 * root reuses the previous sample's t (the first: 0); otherwise a sample equals
 * CRV_EvaluateYFromX at the same time bit for bit, except where three real roots are solved: the
 * cosine of their angle is formed as R times a reciprocal computed once per call, not R over a
 * square root, so it may differ in its last bit (which acos magnifies next to a double root). */
CRV_API int32_t CRV_EvaluateYFromXs(const CRV_Curve* curve, double x1, double x2, int16_t count,
                                    double* ys);

/* *x = the time at which the value reaches y, solved on the value coordinate (which should
 * rise): P0.x below P0.y, P3.x above P3.y. Fallback t = 0. */
CRV_API int32_t CRV_EvaluateXFromY(const CRV_Curve* curve, double y, double* x);

/* The times of the value's turning points: the roots of dy/dt = A t^2 + B t + C in [0, 1] (ends
 * included, smaller first when both have one sign), found with the absolute tolerance 1e-10 on
 * A, B and the discriminant; xs[0 .. *count) receive the time coordinate of the curve point at
 * each, *count in 0..2. A value coordinate with |A|, |B| < 1e-10 (a straight line in t) reports
 * one root at t = 0. `unused` is never read and may be null. */
CRV_API int32_t CRV_EvaluateXFromYPrime(const CRV_Curve* curve, const void* unused, int32_t* count,
                                        double xs[2]);

/* For a curve whose value rises or stays level (P3.y >= P0.y): pulls P1 down to P3's height when
 * P1.y > P3.y, sliding it along the line from P0 through P1 (the start tangent keeps its
 * direction), then pulls P2 up to P0's height when P2.y < P0.y, sliding it along the line from
 * P3 through P2. For P3.y = P0.y such a handle collapses onto its end point. Only coordinates 0
 * and 1 of P1 and P2 are written. Inner values on the other side (P1.y < P0.y, P2.y > P3.y) are
 * left alone, so the result need not be monotonic. A falling curve (P3.y < P0.y) is not touched
 * and reports 0. *changed (when not null) receives 1 if a handle moved, else 0. */
CRV_API int32_t CRV_CurveSetNonDecreasing(CRV_Curve* curve, uint8_t* changed);

/* *slope = dy/dx at time x, as y'(t) / x'(t). Where |x'(t)| < 1e-12 (a vertical tangent, as at an
 * end whose handle is retracted in time) it is +1e10 when y'(t) >= 0, else -1e10. Fallback
 * t = 0. */
CRV_API int32_t CRV_Evaluate1dDerivFromX(const CRV_Curve* curve, double x, double* slope);

/* *out = y''(t) / x'(t) at time x, with derivatives taken in the parameter: not d2y/dx2, which
 * would be (y'' x' - y' x'') / x'^3. Only an exact x'(t) = 0 is caught, giving 0. Fallback
 * t = 0. */
CRV_API int32_t CRV_Evaluate1dDeriv2FromX(const CRV_Curve* curve, double x, double* out);

/* slopes[count] = y'(t) / x'(t) at the times of CRV_EvaluateYFromXs (same sampling, same
 * fallback), divided without a guard: x'(t) = 0 gives an infinity, or NaN for 0/0. count <= 0
 * writes nothing. */
CRV_API int32_t CRV_Evaluate1dDerivsFromX(const CRV_Curve* curve, double x1, double x2,
                                          int16_t count, double* slopes);

/* *average = the mean of y over the parameter between the times x1 and x2:
 *   (F(t2) - F(t1)) / (t2 - t1),  F(t) = integral of y from 0 to t,
 * unweighted by dx/dt (it equals the mean over time only where x is linear in t). The bounds'
 * order does not matter. x1 = x2 gives the value there; bounds that solve to one parameter (both
 * before the start, or both after the end) give 0. Fallback t = 0 for each bound. */
CRV_API int32_t CRV_EvaluateYAverageFromXToX(const CRV_Curve* curve, double x1, double x2,
                                             double* average);

/* ---- Arc length ----------------------------------------------------------------------------- */
/* The relation between the parameter t and the distance s travelled from P0, kept as an arc-length
 * table: a host list of 16-byte entries {double t; double s;}, sorted by t (and therefore by s),
 * that the caller owns. Every call takes the address of the caller's handle variable: a null
 * handle means "no table yet", and the library then creates the list (SEQ_New with item size 16)
 * and stores its handle there, also when a later step of the same call fails. The library never
 * disposes of a table; after the curve changes the caller rebuilds it or disposes of it and sets
 * the variable back to null. Lengths are absolute, in the curve's units.
 *
 * A table of n samples holds n entries: (0, 0) first, then t rising by 1/(n - 1) (accumulated by
 * repeated addition, so the last t is 1 up to rounding) with s the sum of the straight distances
 * between consecutive curve points; the last s is the total length L. Only curves of 2 or 3
 * dimensions are measured.
 *
 * A retracted straight segment (P1 within a small tolerance of P0 and P2 of P3 in every
 * coordinate, after rounding to single precision) is the segment P0..P3 run through with the
 * smooth-step profile 3t^2 - 2t^3: CRV_SFromT and CRV_EvaluatePointFromS answer it in closed form
 * and neither build nor read a table for it.
 *
 * Every function returns 0 or the unchanged code of the first host list operation that failed
 * (a failed unlock's code replaces the result, since the unlock comes last). */

/* Creates the table when *table is null, then (re)fills it for this curve with n samples and
 * writes L to *length. An existing table is always refilled: shorter ones are extended, longer
 * ones truncated to n entries.
 * - n = 1 gives the single entry (0, 0) and L = 0. A sample count below 1 is treated as 1, so the
 *   table is never asked to hold a negative number of entries.
 * - A curve of other than 2 or 3 dimensions is not measured: entry 0 is written, L = 0, and the
 *   other n - 1 entries are whatever the host list holds at those positions (what it held before,
 *   or what growing it supplies).
 * - On a failure the remaining samples are skipped, *length receives the partial sum reached and
 *   the table is not truncated. */
CRV_API int32_t CRV_BuildArcTable(const CRV_Curve* curve, int32_t n, SEQ_ListH* table,
                                  double* length);

/* *s = s(t), t clamped to [0, 1]: linear interpolation between the two table entries around t
 * (an entry within 1e-10 of t in parameter gives its own s). The table is built with n samples
 * only when *table is null; otherwise it is used as it stands, without checking that it belongs
 * to this curve. On a retracted segment *s = (3t^2 - 2t^3) |P3 - P0| with no table. A one-entry
 * table gives 0 at t = 0 and |P3 - P0| at any t more than 1e-10 above 0. A NaN t gives a NaN s. */
CRV_API int32_t CRV_SFromT(const CRV_Curve* curve, double t, int32_t n, SEQ_ListH* table,
                           double* s);

/* *t = the parameter at arc length s, the inverse of the table's piecewise-linear relation (no
 * iterative refinement; the accuracy is the table's). s below 0 or within 1e-10 (length) of 0
 * gives 0; s above L or within 1e-10 of L gives 1; a NaN s gives 0. The table is built with n
 * samples when *table is null (for a retracted segment too), and used as it stands otherwise. On
 * failure *t is not written. */
CRV_API int32_t CRV_TFromS(const CRV_Curve* curve, double s, int32_t n, SEQ_ListH* table,
                           double* t);

/* point[dims] = B(t) at t = CRV_TFromS(s), so P0 before the start and P3 beyond the end. On a
 * retracted segment, with no table: P0 + (P3 - P0) u for u = s / |P3 - P0| clamped to [0, 1]
 * (exact there), or P0 when P0 = P3. On failure the point is not written. */
CRV_API int32_t CRV_EvaluatePointFromS(const CRV_Curve* curve, double s, int32_t n,
                                       SEQ_ListH* table, double* point);

/* Turns the x-y projection of the curve into points whose successive straight distances are
 * below |distance|, stored as 16-byte items {double x; double y;} in the caller's host list. The
 * curve is halved at parameter midpoints, always at least into eighths; below that a piece whose
 * squared chord is strictly below distance^2 is accepted and its end point stored, and a longer
 * one is halved again. The points lie at parameters k / 2^m in increasing order: P0, then the end
 * of every accepted piece, the last being P3.
 *
 * P0 goes to position `start` and the rest follow; the list's length is then set to the last
 * position written plus one, so earlier items stay and later ones are dropped. When *list is null
 * a list is created, stored in *list (and left there also on failure), and filled from position
 * 0 whatever `start` says. A start below 0 is taken as 0 and one beyond the list's item count as
 * the count, so the points never leave a gap in the list.
 *
 * Halving stops at pieces of parameter length 2^-20, which are accepted whatever their chord: a
 * distance whose square is not positive (0, NaN), NaN or infinite coordinates, or a distance tiny
 * beside the curve still end, with at most 2^20 + 1 points from one call. A record with fewer
 * than two dimensions reads its missing coordinates as 0 (dims = 1 walks along x).
 *
 * On a failed store the walk stops at once, the length is not set (the list keeps the points
 * stored so far, followed by what it held before behind them) and the code is returned. */
CRV_API int32_t CRV_EvaluateByDistance(const CRV_Curve* curve, double distance, int32_t start,
                                       SEQ_ListH* list);

/* The arc-length spline: the table's relation fitted with a chain of cubics, for smooth
 * constant-speed motion. A host list of 16-byte points {double t; double s;} that the caller
 * owns (null handle: none yet; the caller disposes of it when the curve changes): the 3m + 1
 * control points of m segments joined end to end (segment j is points 3j .. 3j + 3), the first
 * (0, 0) and the last (1.0, L). Coordinate 0 is the parameter, coordinate 1 the arc length.
 *
 * Builds from a 128-sample table of a curve of 2 or 3 dimensions; a curve of any other dims
 * returns CRV_ErrBadRecord (2) with no host call. The table's points (t L, s) are fitted by
 * CRV_FitMultipleCurves within `bound`, a squared length: each sample lies within sqrt(bound) of
 * the chain, an error dt in the parameter weighing as much as dt L in length. The chain's
 * parameters are then divided by L (multiplied by 1/L, or by 0 when L = 0) and the last set to
 * exactly 1.0. *spline is created by the fit when null (and left there also when a later step
 * fails), else emptied and refilled. *length receives L (the partial sum when the table's
 * filling fails). Returns 0, 2, or the first failing code of the table, the fit or a lock, the
 * temporary table's unlock and disposal counting only when nothing failed before. */
CRV_API int32_t CRV_BuildArcSpline(const CRV_Curve* curve, double bound, SEQ_ListH* spline,
                                   double* length);

/* *t = the parameter at arc length s. Builds the spline with `bound` when *spline is null;
 * otherwise uses it as it stands (L = the last point's s), without checking that it belongs to
 * this curve or bound. s below 0 or within 1e-10 (length) of 0 gives 0; above L or within 1e-10
 * of L gives 1. Otherwise the first segment whose end point's s exceeds s is solved for the
 * parameter coordinate at length s (CRV_EvaluateXFromY; s within 1e-10 of a segment end gives
 * that end's t exactly, unsolved). A segment whose length coordinate dips by 1e-10 or more
 * (P1 below P0, P3 below P1, P2 below P0 or P3 below P2) is first repaired with
 * CRV_CurveSetNonDecreasing in place: lookups may rewrite the stored spline, so threads sharing
 * one spline serialise their lookups. Points are read in place without a lock; a lookup on a built
 * spline makes one host call (SEQ_GetItem, for L) and allocates nothing.
 * - A spline list of fewer than 4 points gives CRV_ErrBadRecord without being read.
 * - A list that is not 3m + 1 points long, or a NaN s, falls back to the last whole segment
 *   when the scan runs past it.
 * On failure *t is not written. */
CRV_API int32_t CRV_TFromSSpline(const CRV_Curve* curve, double s, double bound,
                                 SEQ_ListH* spline, double* t);

/* ---- Curve fitting -------------------------------------------------------------------------- */
/* Cubics fitted to sampled points: samples[count * dims], point i at element i * dims, with dims
 * 2 or 3. Every error and error bound is a squared distance (length units squared), and a fit is
 * accepted only when bound > its largest squared deviation (strictly), measured at the interior
 * samples against their own parameters. The end control points are the first and last samples;
 * the end tangents are estimated from the samples and point into the run; P1 and P2 lie on those
 * tangent rays at distances found by least squares over chord-length parameters, each never
 * negative (a negative one puts both at a third of the chord, 0.333333333333333 |P3 - P0|).
 * Newton steps then refine the parameters, one refit per step.
 *
 * The sample array must hold count * dims doubles; the bound's square gates the Newton steps of
 * a chain (below). Out of range inputs are refused before anything is read or written: dims other
 * than 2 or 3, or fewer than 2 samples, return CRV_ErrBadRecord (2) with no host call. Results:
 * 0, 2, CRV_ErrOutOfMemory (4) when a segment of more than 256 samples cannot get its host
 * handle, the code of a failed host list operation, or the host's code for an exception of the
 * host's small-block allocator. */

/* One cubic through samples[count * curve->dims] (the record's dims is the samples' stride),
 * written to curve->ctpts[0..3] (dims doubles each) only once the fit is complete: on a failure
 * before that the curve is untouched (a failing unlock or disposal of the temporary list comes
 * after the copy).
 * - Tangents: the mean of d[k] - d[0] over the leftCount samples after the first, and of
 *   d[k] - d[n-1] over the rightCount samples before the last, each normalised (a zero mean stays
 *   zero). Counts below 1 are taken as 1 and above count - 1 as count - 1.
 * - Two samples give the handles a third of the chord along the tangents, whatever the bound;
 *   *maxError is then not written.
 * - Otherwise up to maxIterations Newton steps (as signed 16-bit: 32768 and above run none) stop
 *   early once bound > the maximum; the last curve is delivered either way, and *maxError
 *   receives its maximum squared deviation. maxError may be null.
 * - Coincident samples give P0 = P1 = P2 = P3.
 * - Any count >= 2 is fitted (the 32-bit loop counters have no 16-bit limit).
 * Host calls: a temporary point list (SEQ_New, 4 inserts, lock, unlock, dispose), two small
 * blocks of count * 8 bytes, and a handle of 48 bytes a sample when count > 256. */
CRV_API int32_t CRV_FitOneCurveError(const double* samples, int32_t count, double bound,
                                     int32_t leftTangentCount, int32_t rightTangentCount,
                                     uint16_t maxIterations, double* maxError, CRV_Curve* curve);

/* CRV_FitOneCurveError with tangentCount at both ends and no maximum error. */
CRV_API int32_t CRV_FitOneCurveIter(const double* samples, int32_t count, double bound,
                                    uint16_t maxIterations, int32_t tangentCount,
                                    CRV_Curve* curve);

/* CRV_FitOneCurveIter with 10 iterations. */
CRV_API int32_t CRV_FitOneCurve(const double* samples, int32_t count, double bound,
                                int32_t tangentCount, CRV_Curve* curve);

/* A tangent-continuous chain of k cubics through samples[count * dims], every interior sample
 * within the bound of its own segment (at its fitted parameter, which Newton steps may move a
 * little outside [0, 1]):
 * - *points receives 3k + 1 items of dims doubles: P0 of the first segment, then P1, P2, P3 of
 *   each; segment j is items 3j .. 3j + 3. The first item is sample 0, the last sample count - 1.
 * - *indices (when indices is not null) receives k + 1 int32_t items: 0, then the last sample of
 *   each segment, rising; segment j runs from sample item j to item j + 1, both included.
 * - A null handle gets a new list (item size dims * 8, or 4 for indices); a list already there is
 *   emptied and refilled, and must have that item size. The lists are the caller's, also when the
 *   fit fails: they then keep the segments appended before the failure.
 * - The end tangents come from the immediate neighbours of the end samples. A segment that fails
 *   the bound is split at its sample of largest deviation (the later one on a tie) after up to
 *   maxIterations Newton steps (as signed 16-bit), or at once when also bound^2 > maximum fails
 *   (so a bound in (0, 1] never iterates). The halves share the direction at the cut, from the
 *   cut's two neighbours, so the two inner points beside a join and the join are collinear with
 *   the join between them.
 * - A bound <= 0 (or NaN) is never met: the chain has count - 1 segments, one per sample pair.
 * Splitting runs without recursion: any count >= 2 is fitted, however the splits fall. */
CRV_API int32_t CRV_FitMultipleCurvesIterate(const double* samples, uint16_t dims, int32_t count,
                                             double bound, uint16_t maxIterations,
                                             SEQ_ListH* points, SEQ_ListH* indices);

/* CRV_FitMultipleCurvesIterate with 4 iterations and no index list. */
CRV_API int32_t CRV_FitMultipleCurves(const double* samples, uint16_t dims, int32_t count,
                                      double bound, SEQ_ListH* points);

/* ---- Linearity and adaptive flattening ------------------------------------------------------ */
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
 * u = B'(t0), v = B'(t1). Returns 0; *out is untouched when an evaluation fails. A record of
 * more than two dimensions is tested on its coordinates 0 and 1; one of fewer is outside the
 * contract. */
CRV_API int32_t CRV_IsSubCurveLinear(double t0, double t1, const CRV_Curve* curve,
                                     double minChordSq, double tol, bool* out);

/* A flatness callback bounded in depth, for the flattening functions below: pass it (cast to
 * CRV_FlatnessFunc; the context pointer arrives unchanged) with a CRV_LinearityParams as context.
 * Depths compare unsigned: depth > maxDepth is straight and depth < minDepth is not, without
 * evaluating the curve (p0 and p1 are not read); depths from minDepth to maxDepth run
 * CRV_IsSubCurveLinear with the record's minChordSq and angleTol. As the callback this forces at
 * least minDepth halvings and stops every branch at depth maxDepth + 1. Returns 0,
 * CRV_ErrBadRecord with *out = false when `params` is null or lacks its check word, or the code of
 * CRV_IsSubCurveLinear. */
CRV_API int32_t CRV_IsLinearFunc(const CRV_LinearityParams* params, uint32_t depth, double t0,
                                 double t1, const double* p0, const double* p1,
                                 const CRV_Curve* curve, bool* out);

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
