/* CRV: function curves (a value against time): lookups by time or value, slopes, averages. */
#ifndef CRV_FUNCTION_CURVES_H
#define CRV_FUNCTION_CURVES_H

#include "crv/curve.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A function curve plots a value y (coordinate 1) against time x (coordinate 0); only those two
 * coordinates are read, and the record's dims must be at least 2. Every lookup first solves
 * x(t) = x (or y(t) = y) for the parameter t:
 *  - x at or below P0.x + 1e-10 gives t = 0, then x at or above P3.x - 1e-10 gives t = 1 (the
 *    tolerance is absolute, in the coordinate's own units);
 *  - otherwise a root of the cubic in [0, 1]; a single real root is taken wherever it lies, so t
 *    may leave [0, 1] and the curve is then extrapolated;
 *  - where no root is accepted (on a rising coordinate only by rounding next to an end) t keeps a
 *    fallback, stated with each function.
 * Accuracy: t reproduces the time to about 1e-16 of the span, less when the inner handles lie a
 * third of the span apart (the error grows like 1e-16 / r^2 of the span, with
 * r = |3 (P1.x - P2.x) + P3.x - P0.x| / span). All of these return 0 and allocate nothing. */

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
 * CRV_EvaluateYFromX at the same time, up to the last bits where the cubic has three real roots. */
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

#ifdef __cplusplus
}
#endif

#endif
