// The point of a 2-D cubic nearest to a given point, by the Bernstein-form root search of the
// perpendicularity quintic (B(t) - P) . B'(t) = 0.
#include "queries/nearest_point.h"

#include <cmath>
#include <cstdint>

namespace crv::nearest {
namespace {

// z[j][i] = C(3, i) C(2, j) / C(5, i + j): the weight with which the product of Bernstein
// coefficient i of the cubic B - P and coefficient j of the quadratic B' enters coefficient i + j
// of their quintic product.
constexpr double kProductWeights[3][4] = {
    {1.0, 0.6, 0.3, 0.1},
    {0.4, 0.6, 0.6, 0.4},
    {0.1, 0.3, 0.6, 1.0},
};

// The search keeps each control point as one (x, y) pair of a 16-byte vector, so that a halving
// is fifteen pair operations held in registers. Every lane computes exactly the scalar formula.
typedef double Pair __attribute__((vector_size(16)));
typedef int64_t PairMask __attribute__((vector_size(16)));

struct Polygon {
  Pair p[kDegree + 1];
};

inline Pair MakePair(double x, double y) { return Pair{x, y}; }

// Halves the polygon at t = 0.5: every de Casteljau point is 0.5 a + 0.5 b, and the half of each
// point is formed once and shared by its two neighbours.
inline void Halve(const Polygon& w, Polygon* left, Polygon* right) {
  const Pair half = {0.5, 0.5};
  Pair h0 = half * w.p[0], h1 = half * w.p[1], h2 = half * w.p[2], h3 = half * w.p[3];
  Pair h4 = half * w.p[4], h5 = half * w.p[5];
  const Pair a0 = h0 + h1, a1 = h1 + h2, a2 = h2 + h3, a3 = h3 + h4, a4 = h4 + h5;
  h0 = half * a0, h1 = half * a1, h2 = half * a2, h3 = half * a3, h4 = half * a4;
  const Pair b0 = h0 + h1, b1 = h1 + h2, b2 = h2 + h3, b3 = h3 + h4;
  h0 = half * b0, h1 = half * b1, h2 = half * b2, h3 = half * b3;
  const Pair c0 = h0 + h1, c1 = h1 + h2, c2 = h2 + h3;
  h0 = half * c0, h1 = half * c1, h2 = half * c2;
  const Pair d0 = h0 + h1, d1 = h1 + h2;
  const Pair e0 = half * d0 + half * d1;
  left->p[0] = w.p[0], left->p[1] = a0, left->p[2] = b0, left->p[3] = c0, left->p[4] = d0;
  left->p[5] = e0;
  right->p[0] = e0, right->p[1] = d1, right->p[2] = c2, right->p[3] = b3, right->p[4] = a4;
  right->p[5] = w.p[5];
}

// Sign changes among the y values, a negative value counting as -1 and anything else (0, -0,
// NaN) as +1: the six signs form a bit mask, and a table counts its changes.
constexpr int kChangesOfMask[64] = {
    0, 1, 2, 1, 2, 3, 2, 1, 2, 3, 4, 3, 2, 3, 2, 1, 2, 3, 4, 3, 4, 5, 4, 3, 2, 3, 4, 3, 2, 3, 2, 1,
    1, 2, 3, 2, 3, 4, 3, 2, 3, 4, 5, 4, 3, 4, 3, 2, 1, 2, 3, 2, 3, 4, 3, 2, 1, 2, 3, 2, 1, 2, 1, 0};

inline int SignChanges(const Polygon& w) {
  const Pair zero = {0.0, 0.0};
  const PairMask n01 = (PairMask)(Pair{w.p[0][1], w.p[1][1]} < zero);
  const PairMask n23 = (PairMask)(Pair{w.p[2][1], w.p[3][1]} < zero);
  const PairMask n45 = (PairMask)(Pair{w.p[4][1], w.p[5][1]} < zero);
  const int mask = static_cast<int>((n01[0] & 1) | (n01[1] & 2) | (n23[0] & 4) | (n23[1] & 8) |
                                    (n45[0] & 16) | (n45[1] & 32));
  return kChangesOfMask[mask];
}

// Keeps the lanes of v where mask is set and makes the others +0.
inline Pair Masked(Pair v, PairMask mask) { return (Pair)((PairMask)v & mask); }

// The largest of the four lanes of a and b.
inline double LargestLane(Pair a, Pair b) {
  const double ab0 = a[0] > b[0] ? a[0] : b[0], ab1 = a[1] > b[1] ? a[1] : b[1];
  return ab0 > ab1 ? ab0 : ab1;
}

// Whether the polygon is flat enough (the half-spread of its axis crossings below 2^-65) to take
// its chord's axis crossing as the root. Needs w[0].y != w[5].y.
inline bool IsFlat(const Polygon& w) {
  // The chord as a x + b y + c = 0; a != 0 since the end values differ in sign.
  const double x0 = w.p[0][0], y0 = w.p[0][1], x5 = w.p[5][0], y5 = w.p[5][1];
  const double a = y0 - y5;
  const double b = x5 - x0;
  const double c = x0 * y5 - x5 * y0;
  const double s = a * a + b * b;

  // The largest signed squared distances e^2 / s of the inner points above and below the chord.
  // When s overflows, every e^2 / s is 0 or NaN (an infinite square over s): none moves them off 0.
  double above = 0.0, below = 0.0;
  if (std::isfinite(s)) {
    const Pair av = {a, a}, bv = {b, b}, cv = {c, c}, zero = {0.0, 0.0};
    const Pair x12 = {w.p[1][0], w.p[2][0]}, y12 = {w.p[1][1], w.p[2][1]};
    const Pair x34 = {w.p[3][0], w.p[4][0]}, y34 = {w.p[3][1], w.p[4][1]};
    const Pair e12 = av * x12 + bv * y12 + cv;
    const Pair e34 = av * x34 + bv * y34 + cv;
    const Pair sq12 = e12 * e12, sq34 = e34 * e34;
    // The largest square on each side of the chord; squares on the other side (or of a NaN) are
    // masked to +0 and so never the largest.
    const double aboveSq =
        LargestLane(Masked(sq12, (PairMask)(e12 > zero)), Masked(sq34, (PairMask)(e34 > zero)));
    const double belowSq =
        LargestLane(Masked(sq12, (PairMask)(e12 < zero)), Masked(sq34, (PairMask)(e34 < zero)));
    // Correctly rounded division by s > 0 keeps the order of the squares: dividing the largest
    // square gives the largest quotient.
    if (aboveSq > 0.0) above = aboveSq / s;
    if (belowSq > 0.0) below = -(belowSq / s);
  }

  // The axis crossings of the chord's line shifted by `above` and by `below`, added to c as they
  // stand. Their spread is |x1 - x2|, so that a NaN from either side makes the polygon not flat.
  const double q = 1.0 / -a;
  const double x1 = (above + c) * q;
  const double x2 = (c + below) * q;
  // 2^-65, half the width of the narrowest interval that kMaxDepth halvings of [0, 1] produce.
  return 0.5 * std::fabs(x1 - x2) < std::ldexp(1.0, -kMaxDepth - 1);
}

// Where the chord from w[0] to w[5] meets y = 0.
inline double ChordRoot(const Polygon& w) {
  const double x0 = w.p[0][0], y0 = w.p[0][1], x5 = w.p[5][0], y5 = w.p[5][1];
  return ((x5 - x0) * y0 - (y5 - y0) * x0) / (y0 - y5);
}

// The search proper, with the sign changes of w already counted (s >= 1). Intervals are visited
// left to right, so the roots come out ascending. One of the two halves of a polygon with a
// single sign change has none, so such a descent continues in a loop on the other half; only
// intervals whose halves both hold sign changes recurse, and at most kMaxDepth deep.
int FindRoots(Polygon w, int s, int depth, double* store, int capacity) {
  int found = 0;
  for (;;) {
    if (found == capacity) return found;
    if (depth >= kMaxDepth) {
      store[found++] = (w.p[0][0] + w.p[kDegree][0]) * 0.5;
      return found;
    }
    if (s == 1 && IsFlat(w)) {
      store[found++] = ChordRoot(w);
      return found;
    }
    Polygon left, right;
    Halve(w, &left, &right);
    ++depth;
    const int sLeft = SignChanges(left);
    const int sRight = SignChanges(right);
    if (sLeft != 0) {
      if (sRight == 0) {
        w = left;
        s = sLeft;
        continue;
      }
      found += FindRoots(left, sLeft, depth, store + found, capacity - found);
    }
    if (sRight == 0) return found;
    w = right;
    s = sRight;
  }
}

}  // namespace

void BuildDistanceQuintic(GEO_Vector2T<double> p, const GEO_Vector2T<double> v[4],
                          ControlPoint w[kDegree + 1]) {
  GEO_Vector2T<double> c[4], d[3];
  for (int i = 0; i < 4; ++i) c[i] = v[i] - p;                // B(t) - P
  for (int j = 0; j < 3; ++j) d[j] = (v[j + 1] - v[j]) * 3.0;  // B'(t)
  double cd[3][4];
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 4; ++i) cd[j][i] = d[j].x * c[i].x + d[j].y * c[i].y;
  for (int k = 0; k <= kDegree; ++k) {
    w[k].x = k / 5.0;
    w[k].y = 0.0;
  }
  for (int k = 0; k <= kDegree; ++k) {
    const int first = k - 2 > 0 ? k - 2 : 0, last = k < 3 ? k : 3;
    for (int i = first; i <= last; ++i) {
      const int j = k - i;
      w[k].y += cd[j][i] * kProductWeights[j][i];
    }
  }
}

int FindQuinticRoots(const ControlPoint w[kDegree + 1], int depth, double* store, int capacity) {
  Polygon polygon;
  for (int k = 0; k <= kDegree; ++k) polygon.p[k] = MakePair(w[k].x, w[k].y);
  const int s = SignChanges(polygon);
  if (s == 0 || capacity <= 0) return 0;
  return FindRoots(polygon, s, depth, store, capacity);
}

ControlPoint CubicPointAt(const ControlPoint v[4], double t) {
  ControlPoint r[4] = {v[0], v[1], v[2], v[3]};
  const double s = 1.0 - t;
  for (int i = 1; i <= 3; ++i)
    for (int j = 0; j <= 3 - i; ++j)
      r[j] = {s * r[j].x + t * r[j + 1].x, s * r[j].y + t * r[j + 1].y};
  return r[0];
}

}  // namespace crv::nearest

double CRV_NearestPointOnCurve(GEO_Vector2T<double> point, const CRV_CurveClass2D& curve) {
  using crv::nearest::ControlPoint;
  ControlPoint w[crv::nearest::kDegree + 1];
  crv::nearest::BuildDistanceQuintic(point, curve.points, w);

  // A quintic has at most five roots.
  double candidates[5];
  const int count = crv::nearest::FindQuinticRoots(w, 0, candidates, 5);

  const ControlPoint v[4] = {{curve.points[0].x, curve.points[0].y},
                             {curve.points[1].x, curve.points[1].y},
                             {curve.points[2].x, curve.points[2].y},
                             {curve.points[3].x, curve.points[3].y}};
  // Strict comparisons: ties go to the earlier contender, t = 0 first and t = 1 last.
  double dx = point.x - v[0].x, dy = point.y - v[0].y;
  double best = dx * dx + dy * dy;
  double bestT = 0.0;
  for (int i = 0; i < count; ++i) {
    const ControlPoint p = crv::nearest::CubicPointAt(v, candidates[i]);
    dx = point.x - p.x;
    dy = point.y - p.y;
    const double d = dx * dx + dy * dy;
    if (best > d) {
      best = d;
      bestT = candidates[i];
    }
  }
  dx = point.x - v[3].x;
  dy = point.y - v[3].y;
  if (best > dx * dx + dy * dy) bestT = 1.0;
  return bestT;
}
