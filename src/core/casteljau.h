// The de Casteljau split at any t, for CRV_SubdivideCurve and the curve class. One template
// serves the scalar form (one coordinate at a time) and the paired one (x and y side by side in
// Lanes2): every lane takes the same steps, so both give the same bits, and the paired form only
// halves the work for the common 2-D curve. The halvings at t = 0.5 of the walk by distance and
// of the nearest-point search keep their own midpoint form, (a + b) 0.5 and 0.5 a + 0.5 b, which
// is what their results are pinned to and rounds differently from p0 + (p1 - p0) 0.5.
#ifndef CRV_CORE_CASTELJAU_H
#define CRV_CORE_CASTELJAU_H

namespace crv {

// The five new points of a split at t. Left part: (P0, q0, r0, m); right part: (m, r1, q2, P3).
template <typename T>
struct SplitPoints {
  T q0, r0, m, r1, q2;
};

// T is a double (one coordinate) or a vector with component-wise + - and scaling, which computes
// every component by the same steps.
template <typename T>
inline SplitPoints<T> SplitAt(const T& p0, const T& p1, const T& p2, const T& p3, double t) {
  const T q0 = p0 + (p1 - p0) * t;
  const T q1 = p1 + (p2 - p1) * t;
  const T q2 = p2 + (p3 - p2) * t;
  const T r0 = q0 + (q1 - q0) * t;
  const T r1 = q1 + (q2 - q1) * t;
  const T m = r0 + (r1 - r0) * t;
  return {q0, r0, m, r1, q2};
}

// Where t falls within the part [from, 1] left over after a split at `from`, for cutting that
// part next. At from = 1 the part is a single point and any cut of it will do: it is cut at 1
// rather than dividing by zero.
inline double ParameterInRemainder(double t, double from) {
  const double span = 1.0 - from;
  return span == 0.0 ? 1.0 : (t - from) / span;
}

}  // namespace crv

#endif
