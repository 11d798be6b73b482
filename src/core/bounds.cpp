// Tight axis-aligned bounds: a coordinate of a cubic takes its extremes at an end or where its
// derivative, a quadratic, vanishes inside [0, 1].
#include "core/lanes.h"
#include "core/quadratic.h"
#include "crv/crv.h"

namespace {

// The coordinate at t (u = 1 - t), the Bernstein form regrouped:
//   P3 t t^2 + (1-t)(((3 P1) t + P0 (1-t))(1-t) + (3 P2) t^2).
// T is a double or a Lanes2 of x and y; every lane runs the scalar operations.
template <typename T>
inline T CoordinateAt(T p0, T p1, T p2, T p3, T t, T u) {
  const T tt = t * t;
  return p3 * t * tt + u * (((p1 * 3.0) * t + p0 * u) * u + (p2 * 3.0) * tt);
}

// Widens [*lo, *hi] by the coordinate at root t when t lies in [0, 1] (a NaN t does not).
inline void Widen(double p0, double p1, double p2, double p3, double t, double* lo, double* hi) {
  if (!(t >= 0.0 && t <= 1.0)) return;
  const double v = CoordinateAt(p0, p1, p2, p3, t, 1.0 - t);
  if (v < *lo) *lo = v;
  if (v > *hi) *hi = v;
}

// x and y side by side, branch-free, where neither coordinate takes a rare branch of the
// quadratic rule (a leading coefficient or discriminant below its threshold); returns false,
// having written nothing, where one does. A negative discriminant makes both roots NaN, which lie
// in no interval, exactly as "no root".
bool BoundsXY(const CRV_Curve& curve, double* minima, double* maxima) {
  using crv::Lanes2;
  using crv::Mask2;
  const Lanes2 p0 = Lanes2::Load(curve.ctpts[0]), p1 = Lanes2::Load(curve.ctpts[1]);
  const Lanes2 p2 = Lanes2::Load(curve.ctpts[2]), p3 = Lanes2::Load(curve.ctpts[3]);
  const Lanes2 a = ((p3 - p0) + (p1 - p2) * 3.0) * 3.0;
  const Lanes2 b = ((p0 - p1 * 2.0) + p2) * 6.0;
  const Lanes2 c = (p1 - p0) * 3.0;
  const Lanes2 disc = b * b - (a * 2.0) * (c * 2.0);
  const Lanes2 eps = Lanes2::Both(crv::kQuadraticEpsilon);
  if (((crv::Abs(a) < eps) | (crv::Abs(disc) < eps)).Any()) return false;
  const Lanes2 q = crv::Sqrt(disc);
  const Lanes2 m = crv::Select(b > Lanes2::Both(0.0), -(b + q), q - b);
  const Lanes2 roots[2] = {(c * 2.0) / m, m / (a * 2.0)};
  Lanes2 lo = crv::Select(p0 < p3, p0, p3);
  Lanes2 hi = crv::Select(p0 > p3, p0, p3);
  for (const Lanes2& t : roots) {
    const Mask2 inside = (t >= Lanes2::Both(0.0)) & (t <= Lanes2::Both(1.0));
    const Lanes2 v = CoordinateAt(p0, p1, p2, p3, t, Lanes2::Both(1.0) - t);
    lo = crv::Select(inside & (v < lo), v, lo);
    hi = crv::Select(inside & (v > hi), v, hi);
  }
  lo.Store(minima);
  hi.Store(maxima);
  return true;
}

}  // namespace

int32_t CRV_EvaluateBounds(const CRV_Curve* curve, double* minima, double* maxima) {
  if (curve->dims == 2 && BoundsXY(*curve, minima, maxima)) return CRV_ErrNone;
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
    for (int32_t i = 0; i < count; ++i) Widen(p0, p1, p2, p3, roots[i], &lo, &hi);
    minima[d] = lo;
    maxima[d] = hi;
  }
  return CRV_ErrNone;
}
