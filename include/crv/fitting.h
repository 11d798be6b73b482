/* CRV: cubics fitted to sampled points, one or a tangent-continuous chain. */
#ifndef CRV_FITTING_H
#define CRV_FITTING_H

#include "crv/curve.h"

#include "host/seq.h"

#ifdef __cplusplus
extern "C" {
#endif

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
 * - Any count >= 2 is fitted (the 32-bit loop counters have no 16-bit limit). */
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
 * Splitting runs without recursion: any count >= 2 is fitted, however the splits fall.
 * Cost: where samples coincide or their deviations tie, a split peels one sample off a segment
 * and refits the rest, so the work grows with the square of the count: 10^5 coincident samples
 * with a bound of 0 take longer than 10 s. Large runs want a positive
 * bound and distinct samples; the arc-length spline fits 128. */
CRV_API int32_t CRV_FitMultipleCurvesIterate(const double* samples, uint16_t dims, int32_t count,
                                             double bound, uint16_t maxIterations,
                                             SEQ_ListH* points, SEQ_ListH* indices);

/* CRV_FitMultipleCurvesIterate with 4 iterations and no index list. */
CRV_API int32_t CRV_FitMultipleCurves(const double* samples, uint16_t dims, int32_t count,
                                      double bound, SEQ_ListH* points);

#ifdef __cplusplus
}
#endif

#endif
