// The straightness criterion of a 2-D piece, shared by the linearity exports and the flattening
// walks, which call it directly when CRV_IsLinearFunc is their callback.
#ifndef CRV_ADAPTIVE_STRAIGHTNESS_H
#define CRV_ADAPTIVE_STRAIGHTNESS_H

#include <cmath>

#include "crv/crv.h"

namespace crv {

// v.y v.y + v.x v.x, the squared length of a tangent as the criterion forms it.
inline double TangentSq(const double v[2]) { return v[1] * v[1] + v[0] * v[0]; }

// The criterion as stated: |cosine| of each tangent with the chord, each formed as
// (chord . tangent) / (|tangent| |chord|), or 1 when that product is 0, against 1 - tol.
inline bool TangentsAlongChord(double ex, double ey, double chordSq, const double u[2],
                               double uSq, const double v[2], double vSq, double tol) {
  typedef double Pair __attribute__((vector_size(16)));
  const double chord = std::sqrt(chordSq);
  // (cosU, cosV) = ((e.y u.y + e.x u.x) / (Lu L), (v.y e.y + v.x e.x) / (Lv L)), side by side.
  const Pair dots = Pair{u[1], v[1]} * Pair{ey, ey} + Pair{u[0], v[0]} * Pair{ex, ex};
  const Pair norms = Pair{std::sqrt(uSq), std::sqrt(vSq)} * Pair{chord, chord};
  const Pair cosines = dots / norms;
  const double cosU = norms[0] == 0.0 ? 1.0 : std::fabs(cosines[0]);
  const double cosV = norms[1] == 0.0 ? 1.0 : std::fabs(cosines[1]);
  return cosU >= 1.0 - tol && cosV >= 1.0 - tol;
}

// True when the piece from a (tangent u) to b (tangent v) may be drawn as its chord: the squared
// chord is below minChordSq, or both tangents make an angle with the chord whose |cosine| is at
// least 1 - tol. A zero tangent or a zero chord makes its cosine 1, so it never fails the test;
// a NaN cosine fails it. uSq and vSq are TangentSq of u and v.
//
// Most answers are settled without square roots or division: with c the cosine and
// h = 1 - tol > 1/2, the stated test compares a rounded c, which lies within 3 units in the last
// place of |dot| / sqrt(uSq chordSq), with h; so dot^2 >= h^2 uSq chordSq (1 + 1e-12) makes it
// certainly pass and dot^2 <= h^2 uSq chordSq (1 - 1e-12) certainly fail. The margin dwarfs the
// few units of rounding on either side; the squares are kept between 1e-140 and 1e140 so that no
// product leaves the normal range. Anything in between, or outside those ranges, runs the stated
// test.
inline bool IsStraight(const double a[2], const double b[2], const double u[2], double uSq,
                       const double v[2], double vSq, double minChordSq, double tol) {
  typedef double Pair __attribute__((vector_size(16)));
  const double dx = a[0] - b[0], dy = a[1] - b[1];
  const double chordSq = dx * dx + dy * dy;
  if (minChordSq > chordSq) return true;
  const double ex = b[0] - a[0], ey = b[1] - a[1];  // -d exactly: e.e is chordSq to the bit
  const double h = 1.0 - tol;
  auto inRange = [](double sq) { return sq >= 1e-140 && sq <= 1e140; };
  if (h > 0.5 && inRange(chordSq) && inRange(uSq) && inRange(vSq)) {
    const Pair dots = Pair{u[1], v[1]} * Pair{ey, ey} + Pair{u[0], v[0]} * Pair{ex, ex};
    const Pair dotsSq = dots * dots;
    const Pair bound = Pair{uSq, vSq} * Pair{chordSq, chordSq} * Pair{h * h, h * h};
    const Pair above = bound * Pair{1.0 + 1e-12, 1.0 + 1e-12};
    const Pair below = bound * Pair{1.0 - 1e-12, 1.0 - 1e-12};
    if (dotsSq[0] <= below[0] || dotsSq[1] <= below[1]) return false;
    if (dotsSq[0] >= above[0] && dotsSq[1] >= above[1]) return true;
  }
  return TangentsAlongChord(ex, ey, chordSq, u, uSq, v, vSq, tol);
}

inline bool IsStraight(const double a[2], const double b[2], const double u[2], const double v[2],
                       double minChordSq, double tol) {
  return IsStraight(a, b, u, TangentSq(u), v, TangentSq(v), minChordSq, tol);
}

// The first two coordinates of a record as a 2-D record: evaluation into two-double buffers
// then stays in bounds for a function curve of more dimensions.
inline CRV_Curve PlaneView(const CRV_Curve& curve) {
  CRV_Curve view = curve;
  if (view.dims > 2) view.dims = 2;
  return view;
}

}  // namespace crv

#endif
