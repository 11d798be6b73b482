// The straightness criterion of a 2-D piece, shared by the linearity exports and the flattening
// walks, which call it directly when CRV_IsLinearFunc is their callback.
#ifndef CRV_ADAPTIVE_STRAIGHTNESS_H
#define CRV_ADAPTIVE_STRAIGHTNESS_H

#include <cmath>

namespace crv {

// v.y v.y + v.x v.x, the squared length of a tangent as the criterion forms it.
inline double TangentSq(const double v[2]) { return v[1] * v[1] + v[0] * v[0]; }

// A tangent (two doubles) with its TangentSq, which a flattening walk forms once and shares
// between the two pieces that meet there.
struct Tangent {
  const double* d;
  double sq;
};

// The criterion with its square roots and divisions: |cosine| of each tangent with the chord
// e = (ex, ey), formed as (e . tangent) / (|tangent| |e|), or 1 when that product is 0, against
// 1 - tol.
inline bool TangentsAlongChord(double ex, double ey, double chordSq, Tangent u, Tangent v,
                               double tol) {
  typedef double Pair __attribute__((vector_size(16)));
  const double chord = std::sqrt(chordSq);
  // (cosU, cosV) = ((e.y u.y + e.x u.x) / (Lu L), (v.y e.y + v.x e.x) / (Lv L)), side by side.
  const Pair dots = Pair{u.d[1], v.d[1]} * Pair{ey, ey} + Pair{u.d[0], v.d[0]} * Pair{ex, ex};
  const Pair norms = Pair{std::sqrt(u.sq), std::sqrt(v.sq)} * Pair{chord, chord};
  const Pair cosines = dots / norms;
  const double cosU = norms[0] == 0.0 ? 1.0 : std::fabs(cosines[0]);
  const double cosV = norms[1] == 0.0 ? 1.0 : std::fabs(cosines[1]);
  return cosU >= 1.0 - tol && cosV >= 1.0 - tol;
}

// True when the piece from a (tangent u) to b (tangent v) may be drawn as its chord: the squared
// chord is below minChordSq, or both tangents make an angle with the chord whose |cosine| is at
// least 1 - tol. A zero tangent or a zero chord makes its cosine 1, so it never fails the test;
// a NaN cosine fails it.
//
// Most answers are settled without square roots or division: with c the cosine and
// h = 1 - tol > 1/2, TangentsAlongChord compares a rounded c, which lies within 3 units in the
// last place of |dot| / sqrt(uSq chordSq), with h; so dot^2 >= h^2 uSq chordSq (1 + 1e-12) makes
// it certainly pass and dot^2 <= h^2 uSq chordSq (1 - 1e-12) certainly fail. The margin dwarfs
// the few units of rounding on either side; the squares are kept between 1e-140 and 1e140 so that
// no product leaves the normal range. Anything in between, or outside those ranges, goes to
// TangentsAlongChord.
inline bool IsStraight(const double a[2], const double b[2], Tangent u, Tangent v,
                       double minChordSq, double tol) {
  typedef double Pair __attribute__((vector_size(16)));
  const double dx = a[0] - b[0], dy = a[1] - b[1];
  const double chordSq = dx * dx + dy * dy;
  if (minChordSq > chordSq) return true;
  const double ex = b[0] - a[0], ey = b[1] - a[1];  // -d exactly: e.e is chordSq to the bit
  const double h = 1.0 - tol;
  auto inRange = [](double sq) { return sq >= 1e-140 && sq <= 1e140; };
  if (h > 0.5 && inRange(chordSq) && inRange(u.sq) && inRange(v.sq)) {
    const Pair dots = Pair{u.d[1], v.d[1]} * Pair{ey, ey} + Pair{u.d[0], v.d[0]} * Pair{ex, ex};
    const Pair dotsSq = dots * dots;
    const Pair bound = Pair{u.sq, v.sq} * Pair{chordSq, chordSq} * Pair{h * h, h * h};
    const Pair above = bound * Pair{1.0 + 1e-12, 1.0 + 1e-12};
    const Pair below = bound * Pair{1.0 - 1e-12, 1.0 - 1e-12};
    if (dotsSq[0] <= below[0] || dotsSq[1] <= below[1]) return false;
    if (dotsSq[0] >= above[0] && dotsSq[1] >= above[1]) return true;
  }
  return TangentsAlongChord(ex, ey, chordSq, u, v, tol);
}

inline bool IsStraight(const double a[2], const double b[2], const double u[2], const double v[2],
                       double minChordSq, double tol) {
  return IsStraight(a, b, Tangent{u, TangentSq(u)}, Tangent{v, TangentSq(v)}, minChordSq, tol);
}

}  // namespace crv

#endif
