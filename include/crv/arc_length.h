/* CRV: arc length: tables, parameter and point at a distance, the arc-length spline and even
 * spacing by distance. */
#ifndef CRV_ARC_LENGTH_H
#define CRV_ARC_LENGTH_H

#include "crv/curve.h"

#include "host/seq.h"

#ifdef __cplusplus
extern "C" {
#endif

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
 * Limit: a table is consistent, its last t equal to 1 within the 1e-10 tolerance of the lookups'
 * key comparisons, for n up to 1,800,000 samples. The step 1/(n - 1) is rounded by a relative
 * 2^-53 and each of the n - 1 additions by half an ulp of a number below 1 (2^-54, 2^-53 for a
 * sum at 1), so the last t lies within (n + 2) 2^-54 of 1, below 1e-10 while n <= 1,801,437.
 * From a few million samples on the drift can pass 1e-10 (n = 3,648,032 leaves the last t
 * 1.01e-10 below 1): CRV_SFromT at t = 1 then finds no entry and answers the chord P0..P3 in
 * place of L, and CRV_TFromS and CRV_EvaluatePointFromS answer differently on the call that
 * builds the table (L from the build) and on a call that reuses it (L from s at t = 1).
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
 * one spline serialise their lookups.
 * - A spline list of fewer than 4 points gives CRV_ErrBadRecord without being read.
 * - A list that is not 3m + 1 points long, or a NaN s, falls back to the last whole segment
 *   when the scan runs past it.
 * On failure *t is not written. */
CRV_API int32_t CRV_TFromSSpline(const CRV_Curve* curve, double s, double bound,
                                 SEQ_ListH* spline, double* t);

#ifdef __cplusplus
}
#endif

#endif
