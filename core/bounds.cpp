// Tight axis-aligned bounds: a coordinate of a cubic takes its extremes at an end or where its
// derivative, a quadratic, vanishes inside [0, 1].
#include "core/quadratic.h"
#include "crv/crv.h"

int32_t CRV_EvaluateBounds(const CRV_Curve* curve, double* minima, double* maxima) {
  for (int16_t d = 0; d < curve->dims; ++d) {
    const double p0 = curve->ctpts[0][d], p1 = curve->ctpts[1][d];
    const double p2 = curve->ctpts[2][d], p3 = curve->ctpts[3][d];
    double lo = p0 < p3 ? p0 : p3;
    double hi = p0 > p3 ? p0 : p3;

    // B'(t) = a t^2 + b t + c for this coordinate.
    const double a = 3.0 * ((p3 - p0) + 3.0 * (p1 - p2));
    const double b = 6.0 * ((p0 - 2.0 * p1) + p2);
    const double c = 3.0 * (p1 - p0);
    int32_t count = 0;
    double roots[2];
    crv::SolveQuadratic(a, b, c, &count, roots);
    for (int32_t i = 0; i < count; ++i) {
      const double t = roots[i];
      if (!(t >= 0.0 && t <= 1.0)) continue;  // also skips NaN
      const double u = 1.0 - t;
      const double tt = t * t;
      // The Bernstein form regrouped: P3 t t^2 + (1-t)(((3 P1) t + P0 (1-t))(1-t) + (3 P2) t^2).
      const double v = p3 * t * tt + u * (((3.0 * p1) * t + p0 * u) * u + (3.0 * p2) * tt);
      if (v < lo) lo = v;
      if (v > hi) hi = v;
    }
    minima[d] = lo;
    maxima[d] = hi;
  }
  return CRV_ErrNone;
}
