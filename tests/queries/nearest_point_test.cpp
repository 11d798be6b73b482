// The parameter of the curve point nearest to a given point, and the root search behind it.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.hpp"
#include "queries/nearest_point.h"
#include "support/alloc_counter.h"
#include "support/curves.h"

namespace {

using crv::nearest::ControlPoint;
using V2 = GEO_Vector2T<double>;

CRV_CurveClass2D RandomCurve(crvtest::Random& rng, double lo, double hi) {
  CRV_CurveClass2D c;
  for (V2& p : c.points) p = {rng.Uniform(lo, hi), rng.Uniform(lo, hi)};
  return c;
}

// Squared distance from p to B(t), evaluated as the query evaluates its candidates.
double SquaredDistance(V2 p, const CRV_CurveClass2D& c, double t) {
  const ControlPoint v[4] = {{c.points[0].x, c.points[0].y}, {c.points[1].x, c.points[1].y},
                             {c.points[2].x, c.points[2].y}, {c.points[3].x, c.points[3].y}};
  const ControlPoint q = crv::nearest::CubicPointAt(v, t);
  return (p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y);
}

// The candidates of the query: the roots of its distance quintic.
std::vector<double> Candidates(V2 p, const CRV_CurveClass2D& c) {
  ControlPoint w[6];
  crv::nearest::BuildDistanceQuintic(p, c.points, w);
  double roots[5];
  const int n = crv::nearest::FindQuinticRoots(w, 0, roots, 5);
  return std::vector<double>(roots, roots + n);
}

// The Bernstein polygon over [0, 1] of the quintic with power coefficients a[0..5]:
// b_k = sum over i <= k of C(k, i) / C(5, i) a_i.
void BernsteinPolygon(const long double a[6], ControlPoint w[6]) {
  const long double c5[6] = {1, 5, 10, 10, 5, 1};
  for (int k = 0; k <= 5; ++k) {
    long double sum = 0, binom = 1;  // C(k, i)
    for (int i = 0; i <= k; ++i) {
      sum += binom / c5[i] * a[i];
      binom = binom * (k - i) / (i + 1);
    }
    w[k] = {k / 5.0, static_cast<double>(sum)};
  }
}

// Power coefficients of prod (t - r_i) over the given roots (degree 5 with a leading factor).
void PowerFromRoots(std::initializer_list<long double> roots, long double scale, long double a[6]) {
  long double p[6] = {scale, 0, 0, 0, 0, 0};
  int degree = 0;
  for (long double r : roots) {
    for (int i = degree + 1; i > 0; --i) p[i] = p[i - 1] - r * p[i];
    p[0] = -r * p[0];
    ++degree;
  }
  std::copy(p, p + 6, a);
}

// ---- The query's answers

TEST(NearestPointOnCurve, FootOfThePerpendicular) {
  // Control points evenly spaced on the x axis make x(t) = t (up to the rounding of 1/3 and 2/3),
  // so the foot of the perpendicular from (0.3, 1) is t = 0.3.
  const CRV_CurveClass2D curve(V2{0, 0}, V2{1.0 / 3, 0}, V2{2.0 / 3, 0}, V2{1, 0});
  EXPECT_NEAR(CRV_NearestPointOnCurve(V2{0.3, 1.0}, curve), 0.3, 1e-15);
}

TEST(NearestPointOnCurve, EndsAndDegenerateInput) {
  const CRV_CurveClass2D curve(V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0});
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{0, 0}, curve), 0.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{4, 0}, curve), 1.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{-3, -1}, curve), 0.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{7, -1}, curve), 1.0);

  // A closed curve queried at its end point: both ends are at distance 0, and t = 0 wins.
  const CRV_CurveClass2D closed(V2{1, 1}, V2{5, 3}, V2{-2, 6}, V2{1, 1});
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{1, 1}, closed), 0.0);

  // All control points equal: the quintic is 0 everywhere, there is no sign change, and the tie
  // between the two ends goes to t = 0.
  const CRV_CurveClass2D point(V2{2, 3}, V2{2, 3}, V2{2, 3}, V2{2, 3});
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{5, -1}, point), 0.0);

  // A straight segment, queried beyond either end along its line.
  const CRV_CurveClass2D line(V2{0, 0}, V2{1, 1}, V2{2, 2}, V2{3, 3});
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{5, 5}, line), 1.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{-1, -1}, line), 0.0);

  // A NaN coordinate: no sign change is counted and no comparison succeeds.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{nan, 1}, curve), 0.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{1, nan}, curve), 0.0);
}

TEST(NearestPointOnCurve, TiesGoToTheEarlierContender) {
  // Ends at the same distance from P (26 each) with the curve bulging away from P: t = 0 wins.
  const CRV_CurveClass2D arch(V2{0, 0}, V2{0, 1}, V2{2, 1}, V2{2, 0});
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{1, -5}, arch), 0.0);

  // The curve touches the circle of radius 25 about the origin at (25, 0) = B(0.5) and starts and
  // ends on it at (7, +-24), lying outside it elsewhere. The root at 0.5 evaluates to a squared
  // distance of exactly 625, as does P0, which therefore wins. Checked before the query is asked.
  const V2 origin{0, 0};
  const CRV_CurveClass2D touching(V2{7, 24}, V2{31, 20}, V2{31, -20}, V2{7, -24});
  const std::vector<double> roots = Candidates(origin, touching);
  ASSERT_TRUE(std::any_of(roots.begin(), roots.end(), [&](double t) {
    return t > 0.0 && t < 1.0 && SquaredDistance(origin, touching, t) == 625.0;
  }));
  EXPECT_EQ(CRV_NearestPointOnCurve(origin, touching), 0.0);

  // A curve symmetric about the x axis with two nearest points, mirror images at t ~ 0.127 and
  // t ~ 0.873, whose squared distances (125/9) come out equal to the last bit: the smaller wins.
  const CRV_CurveClass2D mirrored(V2{-4, 3}, V2{8, 7}, V2{8, -7}, V2{-4, -3});
  const std::vector<double> pair = Candidates(origin, mirrored);
  ASSERT_EQ(pair.size(), 3u);
  ASSERT_EQ(SquaredDistance(origin, mirrored, pair[0]), SquaredDistance(origin, mirrored, pair[2]));
  ASSERT_LT(SquaredDistance(origin, mirrored, pair[0]), 25.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(origin, mirrored), pair[0]);
}

// The true minimum distance, by dense sampling and then golden-section refinement of the best
// samples in long double. The library's answer must be as near within 1e-9 of the curve's size.
TEST(NearestPointOnCurve, MatchesTheTrueMinimumOnRandomCurves) {
  crvtest::Random rng(61);
  constexpr int kSamples = 1000;
  for (int trial = 0; trial < 300; ++trial) {
    const CRV_CurveClass2D curve = RandomCurve(rng, 0.0, 1000.0);
    const V2 p{rng.Uniform(0.0, 1000.0), rng.Uniform(0.0, 1000.0)};
    auto distance = [&](long double t) {
      const std::vector<double> b = crvtest::ReferencePoint(*curve.Curve(), static_cast<double>(t));
      return std::hypot(static_cast<long double>(b[0]) - p.x, static_cast<long double>(b[1]) - p.y);
    };
    long double best = std::min(distance(0), distance(1));
    std::vector<long double> d(kSamples + 1);
    for (int k = 0; k <= kSamples; ++k) d[k] = distance(static_cast<long double>(k) / kSamples);
    for (int k = 1; k < kSamples; ++k) {
      if (d[k] > d[k - 1] || d[k] > d[k + 1]) continue;  // not a sampled local minimum
      long double lo = (k - 1.0L) / kSamples, hi = (k + 1.0L) / kSamples;
      const long double g = (std::sqrt(5.0L) - 1) / 2;
      for (int it = 0; it < 80; ++it) {
        const long double a = hi - g * (hi - lo), b = lo + g * (hi - lo);
        if (distance(a) < distance(b)) hi = b; else lo = a;
      }
      best = std::min(best, distance((lo + hi) / 2));
    }
    double size = 0.0;
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j < i; ++j)
        size = std::max(size, std::hypot(curve.points[i].x - curve.points[j].x,
                                          curve.points[i].y - curve.points[j].y));
    const double t = CRV_NearestPointOnCurve(p, curve);
    ASSERT_GE(t, 0.0);
    ASSERT_LE(t, 1.0);
    EXPECT_LE(static_cast<double>(distance(t) - best), 1e-9 * size)
        << "trial " << trial << " t " << t;
  }
}

TEST(NearestPointOnCurve, AnswerIsAnEndOrACandidateAndAllocatesNothing) {
  crvtest::Random rng(62);
  for (int trial = 0; trial < 300; ++trial) {
    const CRV_CurveClass2D curve = RandomCurve(rng, -10.0, 10.0);
    const V2 p{rng.Uniform(-15.0, 15.0), rng.Uniform(-15.0, 15.0)};
    const std::vector<double> roots = Candidates(p, curve);
    crvtest::AllocCounter counter;
    const double t = CRV_NearestPointOnCurve(p, curve);
    EXPECT_EQ(counter.count(), 0);
    EXPECT_TRUE(t == 0.0 || t == 1.0 || std::count(roots.begin(), roots.end(), t) > 0) << t;
    EXPECT_TRUE(std::is_sorted(roots.begin(), roots.end()));
  }
}

// ---- The root search

TEST(FindQuinticRoots, FiveSimpleRootsAscendingAndTheStoreLimit) {
  long double a[6];
  PowerFromRoots({0.1L, 0.3L, 0.5L, 0.7L, 0.9L}, 1000.0L, a);
  ControlPoint w[6];
  BernsteinPolygon(a, w);
  double roots[5];
  ASSERT_EQ(crv::nearest::FindQuinticRoots(w, 0, roots, 5), 5);
  // The flatness test compares squared distances (not distances) with the chord's offset, so on a
  // polynomial of values this small a polygon counts as flat a little early: the roots come out
  // within 1e-10 (about 4e-11 measured), not to full precision.
  const double expected[5] = {0.1, 0.3, 0.5, 0.7, 0.9};
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(roots[i], expected[i], 1e-10);

  // A smaller store keeps the smallest roots and is never written past.
  double small[4] = {-1, -1, -1, -1};
  ASSERT_EQ(crv::nearest::FindQuinticRoots(w, 0, small, 3), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(small[i], roots[i]);
  EXPECT_EQ(small[3], -1.0);
}

TEST(FindQuinticRoots, DoubleRootEndsAtTheDepthLimit) {
  // 1000 (t - 1/3)^2 (t + 1)(t + 2)(t + 3): a double root at 1/3 that halving never separates
  // exactly; the search must end and report it once or twice near 1/3.
  long double a[6];
  PowerFromRoots({1.0L / 3, 1.0L / 3, -1, -2, -3}, 1000.0L, a);
  ControlPoint w[6];
  BernsteinPolygon(a, w);
  double roots[5];
  const int n = crv::nearest::FindQuinticRoots(w, 0, roots, 5);
  ASSERT_LE(n, 2);
  for (int i = 0; i < n; ++i) EXPECT_NEAR(roots[i], 1.0 / 3, 1e-7);

  // A polygon with two sign changes at the limit contributes its midpoint once.
  const ControlPoint two[6] = {{0.25, 1}, {0.3, -1}, {0.35, -1}, {0.4, -1}, {0.45, -1}, {0.5, 1}};
  double mid[5];
  ASSERT_EQ(crv::nearest::FindQuinticRoots(two, crv::nearest::kMaxDepth, mid, 5), 1);
  EXPECT_EQ(mid[0], 0.375);
}

}  // namespace
