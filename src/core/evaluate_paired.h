// The paired path of point evaluation: B(t) for dims >= 2 from the four Bernstein weights
//   w0 = s (s s), w1 = (s s)(3t), w2 = s ((t t) 3), w3 = t (t t)      (s = 1 - t)
// as (P0 w0 + P1 w1) + (P2 w2 + P3 w3) per coordinate. Coordinates 0 and 1 go together, side by
// side in one pair of lanes, the rest one at a time.
#ifndef CRV_CORE_EVALUATE_PAIRED_H
#define CRV_CORE_EVALUATE_PAIRED_H

#include "core/force_inline.h"
#include "core/lanes.h"
#include "crv/crv.h"

namespace crv {

struct BernsteinWeights {
  double w0, w1, w2, w3;
};

CRV_FORCE_INLINE BernsteinWeights WeightsAt(double t) {
  const double s = 1.0 - t;
  const double ss = s * s, tt = t * t;
  return {s * ss, ss * (3.0 * t), s * (tt * 3.0), t * tt};
}

// One coordinate (T = double, from P[k]) or coordinates 0 and 1 (T = Lanes2, from P[0..1]).
template <typename T>
CRV_FORCE_INLINE T PairedSum(const T& p0, const T& p1, const T& p2, const T& p3, const BernsteinWeights& w) {
  return (p0 * w.w0 + p1 * w.w1) + (p2 * w.w2 + p3 * w.w3);
}

// x and y on the paired path.
CRV_FORCE_INLINE void PairedXY(const CRV_Curve& curve, const BernsteinWeights& w, double out[2]) {
  const double* const* p = curve.ctpts;
  PairedSum(Lanes2::Load(p[0]), Lanes2::Load(p[1]), Lanes2::Load(p[2]), Lanes2::Load(p[3]), w)
      .Store(out);
}

CRV_FORCE_INLINE void EvaluatePointPaired(const CRV_Curve& curve, double t, double* out) {
  // Read before anything is stored: out may not alias the record, but the compiler cannot know.
  const int dims = curve.dims;
  const BernsteinWeights w = WeightsAt(t);
  PairedXY(curve, w, out);
  const double* const* p = curve.ctpts;
  for (int k = 2; k < dims; ++k) out[k] = PairedSum(p[0][k], p[1][k], p[2][k], p[3][k], w);
}

}  // namespace crv

#endif
