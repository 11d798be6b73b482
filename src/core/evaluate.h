// Evaluation for the library's own use: the same formulas, and the same choice between the scalar
// and the paired path, as the exported functions, without their result codes (evaluation cannot
// fail). Where a subsystem's answer is defined as the exported B(t), it evaluates through these,
// so it gives the bits a caller would get from the export. Two forms exist because both are
// pinned: the host's capability record chooses the path, and each path's sums run in their own
// order (the scalar path nested, the paired one by the four weights of evaluate_paired.h), so
// the results may differ in the last bit and neither can stand in for the other. Other
// subsystems evaluate by their own formulas where those are what their results are pinned to:
// the bounds' regrouped Bernstein form, the forward differences of CRV_EvaluatePoints, the
// nearest-point search's de Casteljau on its own control polygon.
//
// Per coordinate, with P0..P3 its control values:
//   c = 3 (P1 - P0),  b = 3 ((P0 - 2 P1) + P2),  a = (P3 - P0) + 3 (P1 - P2)
//   B(t) = P0 + c t + b t^2 + a t^3,  B'(t) = c + 2b t + 3a t^2,  B''(t) = 2b + 6a t.
// Every formula keeps the grouping written beside it: results are pinned bit for bit. They are
// inline so that the subsystems' loops evaluate without a call.
#ifndef CRV_CORE_EVALUATE_H
#define CRV_CORE_EVALUATE_H

#include "core/evaluate_paired.h"
#include "core/force_inline.h"
#include "core/host_adapters/capability.h"
#include "crv/crv.h"

namespace crv {

// ((P0 s + P1 (3t)) s + (P2 3) t^2) s + (P3 t) t^2: the Bernstein form, nested.
CRV_FORCE_INLINE double NestedCoordinate(const CRV_Curve& curve, int k, double s, double t3,
                                         double tt, double t) {
  return ((curve.ctpts[0][k] * s + curve.ctpts[1][k] * t3) * s + (curve.ctpts[2][k] * 3.0) * tt) *
             s +
         (curve.ctpts[3][k] * t) * tt;
}

// x and y in the nested form, both read before either is written.
CRV_FORCE_INLINE void NestedXY(const CRV_Curve& curve, double t, double out[2]) {
  const double s = 1.0 - t;
  const double t3 = 3.0 * t;
  const double tt = t * t;
  const double x = NestedCoordinate(curve, 0, s, t3, tt, t);
  const double y = NestedCoordinate(curve, 1, s, t3, tt, t);
  out[0] = x;
  out[1] = y;
}

CRV_FORCE_INLINE void EvaluatePointScalar(const CRV_Curve& curve, double t, double* out) {
  if (curve.dims == 2) {
    NestedXY(curve, t, out);
    return;
  }
  const double s = 1.0 - t;
  const double t3 = 3.0 * t;
  const double tt = t * t;
  const int dims = curve.dims;  // read once: the compiler cannot rule out that out aliases it
  for (int k = 0; k < dims; ++k) out[k] = NestedCoordinate(curve, k, s, t3, tt, t);
}

// out[dims] = B(t); nothing is written for dims <= 0. The paired path handles coordinates two at a
// time, so it needs at least two.
CRV_FORCE_INLINE void PointAt(const CRV_Curve& curve, double t, double* out) {
  // Every x86-64 host of this decade reports the paired path: it is laid out as the straight one.
  if (curve.dims >= 2 && __builtin_expect(UsePairedPath(), 1))
    EvaluatePointPaired(curve, t, out);
  else
    EvaluatePointScalar(curve, t, out);
}

// x and y of B(t) for a record of at least two coordinates on the given path: what PointAt gives
// for XYView(curve) when UsePairedPath() is `paired`. Loops over many parameters of one call read
// the capability word once and pass it here.
CRV_FORCE_INLINE void PointAtXYOnPath(const CRV_Curve& curve, double t, bool paired,
                                      double out[2]) {
  if (paired)
    PairedXY(curve, WeightsAt(t), out);
  else
    NestedXY(curve, t, out);
}

// x and y of B(t) for a record of at least two coordinates, for callers that keep only those.
CRV_FORCE_INLINE void PointAtXY(const CRV_Curve& curve, double t, double out[2]) {
  PointAtXYOnPath(curve, t, UsePairedPath(), out);
}

// out[k] = f(P0[k], P1[k], P2[k], P3[k]) for every coordinate k.
template <typename PerCoordinate>
inline void ForEachCoordinate(const CRV_Curve& curve, double* out, PerCoordinate f) {
  const int dims = curve.dims;
  for (int k = 0; k < dims; ++k)
    out[k] = f(curve.ctpts[0][k], curve.ctpts[1][k], curve.ctpts[2][k], curve.ctpts[3][k]);
}

// out[dims] = B'(t).
CRV_FORCE_INLINE void DerivAt(const CRV_Curve& curve, double t, double* out) {
  ForEachCoordinate(curve, out, [t](double p0, double p1, double p2, double p3) {
    const double a = (p3 - p0) + 3.0 * (p1 - p2);
    // 3 ((P1 - P0) + (2 ((P0 - 2 P1) + P2) + a t) t)
    return 3.0 * ((p1 - p0) + (2.0 * ((p0 - 2.0 * p1) + p2) + a * t) * t);
  });
}

// out[dims] = B''(t).
CRV_FORCE_INLINE void Deriv2At(const CRV_Curve& curve, double t, double* out) {
  ForEachCoordinate(curve, out, [t](double p0, double p1, double p2, double p3) {
    const double a = (p3 - p0) + 3.0 * (p1 - p2);
    // ((((P0 - 2 P1) + P2) + a t) 3) 2: times 3, then times 2.
    return ((((p0 - 2.0 * p1) + p2) + a * t) * 3.0) * 2.0;
  });
}

// The record's first two coordinates (x and y, or time and value) as a record of its own, so that
// evaluating it writes at most two doubles whatever the caller's record carries. Each coordinate is
// evaluated on its own, so x and y come out exactly as from the full record. A record of fewer
// than two coordinates is left as it is.
inline CRV_Curve XYView(const CRV_Curve& curve) {
  CRV_Curve view = curve;
  if (view.dims > 2) view.dims = 2;
  return view;
}

}  // namespace crv

#endif
