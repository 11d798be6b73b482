// Point, first and second derivative of a curve at one parameter.
//
// Per coordinate, with P0..P3 its control values:
//   c = 3 (P1 - P0),  b = 3 ((P0 - 2 P1) + P2),  a = (P3 - P0) + 3 (P1 - P2)
//   B(t) = P0 + c t + b t^2 + a t^3,  B'(t) = c + 2b t + 3a t^2,  B''(t) = 2b + 6a t.
// Every formula keeps the grouping written beside it: results are pinned bit for bit.
#include "core/evaluate.h"

#include "core/evaluate_paired.h"
#include "core/host_adapters/capability.h"

namespace {

void EvaluatePointScalar(const CRV_Curve& curve, double t, double* out) {
  const double* p0 = curve.ctpts[0];
  const double* p1 = curve.ctpts[1];
  const double* p2 = curve.ctpts[2];
  const double* p3 = curve.ctpts[3];
  const double s = 1.0 - t;
  const double t3 = 3.0 * t;
  const double tt = t * t;
  // ((P0 s + P1 (3t)) s + (P2 3) t^2) s + (P3 t) t^2: the Bernstein form, nested.
  if (curve.dims == 2) {  // both coordinates read before either is written
    const double x = ((p0[0] * s + p1[0] * t3) * s + (p2[0] * 3.0) * tt) * s + (p3[0] * t) * tt;
    const double y = ((p0[1] * s + p1[1] * t3) * s + (p2[1] * 3.0) * tt) * s + (p3[1] * t) * tt;
    out[0] = x;
    out[1] = y;
    return;
  }
  for (int k = 0; k < curve.dims; ++k)
    out[k] = ((p0[k] * s + p1[k] * t3) * s + (p2[k] * 3.0) * tt) * s + (p3[k] * t) * tt;
}

}  // namespace

namespace crv {

void PointAt(const CRV_Curve& curve, double t, double* out) {
  if (curve.dims <= 0) return;
  // The paired path handles coordinates two at a time, so it needs at least two.
  if (curve.dims >= 2 && UsePairedPath())
    EvaluatePointPaired(curve, t, out);
  else
    EvaluatePointScalar(curve, t, out);
}

namespace {

// out[k] = f(P0[k], P1[k], P2[k], P3[k]) for every coordinate k.
template <typename PerCoordinate>
void ForEachCoordinate(const CRV_Curve& curve, double* out, PerCoordinate f) {
  for (int k = 0; k < curve.dims; ++k)
    out[k] = f(curve.ctpts[0][k], curve.ctpts[1][k], curve.ctpts[2][k], curve.ctpts[3][k]);
}

}  // namespace

void DerivAt(const CRV_Curve& curve, double t, double* out) {
  ForEachCoordinate(curve, out, [t](double p0, double p1, double p2, double p3) {
    const double a = (p3 - p0) + 3.0 * (p1 - p2);
    // 3 ((P1 - P0) + (2 ((P0 - 2 P1) + P2) + a t) t)
    return 3.0 * ((p1 - p0) + (2.0 * ((p0 - 2.0 * p1) + p2) + a * t) * t);
  });
}

void Deriv2At(const CRV_Curve& curve, double t, double* out) {
  ForEachCoordinate(curve, out, [t](double p0, double p1, double p2, double p3) {
    const double a = (p3 - p0) + 3.0 * (p1 - p2);
    // ((((P0 - 2 P1) + P2) + a t) 3) 2: times 3, then times 2.
    return ((((p0 - 2.0 * p1) + p2) + a * t) * 3.0) * 2.0;
  });
}

}  // namespace crv

int32_t CRV_EvaluatePoint(const CRV_Curve* curve, double t, double* out) {
  crv::PointAt(*curve, t, out);
  return CRV_ErrNone;
}

int32_t CRV_EvaluateDeriv(const CRV_Curve* curve, double t, double* out) {
  crv::DerivAt(*curve, t, out);
  return CRV_ErrNone;
}

int32_t CRV_EvaluateDeriv2(const CRV_Curve* curve, double t, double* out) {
  crv::Deriv2At(*curve, t, out);
  return CRV_ErrNone;
}
