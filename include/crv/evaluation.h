/* CRV: evaluation of points and derivatives, bounds, subdivision and direct manipulation. */
#ifndef CRV_EVALUATION_H
#define CRV_EVALUATION_H

#include "crv/curve.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Each writes `dims` doubles per sample, coordinate 0 first, and returns 0. t is not restricted
 * to [0, 1]. Nothing is written for dims <= 0. */

/* out[dims] = B(t). Where word 3 of the host's capability record is non-zero (and dims >= 2) the
 * sums run in another order, so two hosts may see results that differ in the last bits. */
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

/* Tight axis-aligned bounds over t in [0, 1]: minima[dims] and maxima[dims], from the end points
 * and the roots of each coordinate's derivative. The root test is absolute (1e-10), so a
 * coordinate whose derivative coefficients are all below it is bounded by its end points alone.
 * Returns 0; writes nothing for dims <= 0. */
CRV_API int32_t CRV_EvaluateBounds(const CRV_Curve* curve, double* minima, double* maxima);

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

#ifdef __cplusplus
}
#endif

#endif
