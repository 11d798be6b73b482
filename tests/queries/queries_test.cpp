// Queries: answers worked out by hand, the nearest point against a dense search, the polynomial
// root finder on planted roots, and plane intersections that lie on the plane and miss no crossing.
#include <algorithm>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.hpp"
#include "queries/nearest_point.h"
#include "queries/polynomial.h"
#include "catalogue/reference.h"
#include "support/curves.h"

namespace {

using V2 = GEO_Vector2T<double>;
using V3 = GEO_Vector3T<double>;
using Polynomial = crv::CRVp_Polynomial<double>;
using Roots = std::vector<double>;

// The real roots in [lo, hi] of the polynomial with coefficients c (ascending powers), sorted.
Roots RootsOf(const std::vector<double>& c, double lo = 0, double hi = 1) {
  Polynomial p;
  p.SetCoefficients(static_cast<int>(c.size()) - 1, c.data());
  Roots r;
  p.RootsInInterval(lo, hi, &r);
  std::sort(r.begin(), r.end());
  return r;
}

Roots Intersect(const CRV_CurveClass3D& curve, GEO_PlaneEq plane, Roots held = {}) {
  CRV_IntersectPlane(curve, plane, &held);
  return held;
}

TEST(Queries, HandCheckedAnswers) {
  // x(t) = t on the x axis: the foot of the perpendicular from (0.3, 1) is t = 0.3.
  EXPECT_NEAR(CRV_NearestPointOnCurve(V2{0.3, 1}, {V2{0, 0}, V2{1.0 / 3, 0}, V2{2.0 / 3, 0},
                                                   V2{1, 0}}), 0.3, 1e-15);
  const CRV_CurveClass2D arch(V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0});  // nearest at the ends
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{-3, -1}, arch), 0.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{7, -1}, arch), 1.0);
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{5, -1}, {V2{2, 3}, V2{2, 3}, V2{2, 3}, V2{2, 3}}), 0.0);
  // Ties go to the earlier contender: B(0), B(0.5) = (25, 0) and B(1) all lie 25 from the origin,
  // the rest farther; a curve symmetric about the x axis is nearest at t ~ 0.127 and 1 - t.
  EXPECT_EQ(CRV_NearestPointOnCurve(V2{}, {V2{7, 24}, V2{31, 20}, V2{31, -20}, V2{7, -24}}), 0.0);
  EXPECT_LT(CRV_NearestPointOnCurve(V2{}, {V2{-4, 3}, V2{8, 7}, V2{8, -7}, V2{-4, -3}}), 0.5);
  // Halving stops at depth 64, where a polygon still holding sign changes gives its midpoint.
  const crv::nearest::ControlPoint w[6] = {{0.25, 1}, {0.3, -1}, {0.35, -1}, {0.4, 1}, {0.45, 1},
                                           {0.5, 1}};
  double roots[5];
  EXPECT_EQ(crv::nearest::FindQuinticRoots(w, crv::nearest::kMaxDepth, roots, 5), 1);
  EXPECT_EQ(roots[0], 0.375);
  // Real roots in [0, 1], sorted here: t^2 - t, (t - 0.5)^2 (once per landing), (t^2 + 1)(t - 0.5),
  // a line's at the end of the interval; the zero polynomial gives lo, other constants nothing.
  EXPECT_EQ(RootsOf({0, -1, 1}), Roots({0, 1}));
  EXPECT_EQ(RootsOf({0.25, -1, 1}), Roots({0.5, 0.5}));
  EXPECT_EQ(RootsOf({-0.5, 1, -0.5, 1}), Roots({0.5}));
  EXPECT_EQ(RootsOf({-1, 2}, 0, 0.5), Roots({0.5}));
  EXPECT_EQ(RootsOf({0}, 0.25, 1), Roots({0.25}));
  EXPECT_EQ(RootsOf({1e-30}), Roots());
  // z = 3t(1 - t)(1 - 2t) meets z = 0 at 0, 0.5 and 1, merged and sorted with what was held; a
  // curve in the plane gives 0 once; z = 3(2t - 1)^2 touches at 0.5 (twice); z >= 1 misses.
  const CRV_CurveClass3D wave(V3{0, 0, 0}, V3{1, 5, 1}, V3{2, -5, -1}, V3{3, 1, 0});
  EXPECT_EQ(Intersect(wave, {0, 0, 1, 0}), Roots({0, 0.5, 1}));
  EXPECT_EQ(Intersect(wave, {0, 0, 2, 0}, {0.75, 0.25}), Roots({0, 0.25, 0.5, 0.75, 1}));
  const GEO_PlaneEq z0 = {0, 0, 1, 0};
  EXPECT_EQ(Intersect({V3{1, 2, 0}, V3{-3, 5, 0}, V3{4, -1, 0}, V3{2, 2, 0}}, z0), Roots{0});
  EXPECT_EQ(Intersect({V3{0, 0, 3}, V3{1, 0, -1}, V3{2, 0, -1}, V3{3, 0, 3}}, z0), Roots(2, 0.5));
  EXPECT_EQ(Intersect({V3{0, 0, 1}, V3{1, 0, 2}, V3{2, 0, 3}, V3{3, 0, 1}}, z0, {0.7, -3}),
            Roots({-3, 0.7}));
}

// The true least distance by 1000 samples, each sampled local minimum refined by golden-section
// search in long double; the answer must be as near within 1e-9 of the 1000 units drawn in.
TEST(Queries, NearestPointMatchesADenseSearch) {
  crvtest::Random random(61);
  for (int trial = 0; trial < 300; ++trial) {
    CRV_CurveClass2D curve;
    for (V2& p : curve.points) p = {random.Uniform(0, 1000), random.Uniform(0, 1000)};
    const V2 p{random.Uniform(0, 1000), random.Uniform(0, 1000)};
    auto distance = [&](long double t) {
      const Roots b = crvref::Point(*curve.Curve(), static_cast<double>(t));
      return std::hypot(static_cast<long double>(b[0]) - p.x, static_cast<long double>(b[1]) - p.y);
    };
    std::vector<long double> d(1001);
    for (int k = 0; k <= 1000; ++k) d[k] = distance(k / 1000.0L);
    long double best = std::min(d[0], d[1000]);
    for (int k = 1; k < 1000; ++k) {
      if (d[k] > d[k - 1] || d[k] > d[k + 1]) continue;
      long double lo = (k - 1) / 1000.0L, hi = (k + 1) / 1000.0L;
      for (int i = 0; i < 80; ++i) {
        const long double a = hi - 0.618034L * (hi - lo), b = lo + 0.618034L * (hi - lo);
        if (distance(a) < distance(b)) hi = b; else lo = a;
      }
      best = std::min(best, distance((lo + hi) / 2));
    }
    const double t = CRV_NearestPointOnCurve(p, curve);
    ASSERT_TRUE(t >= 0 && t <= 1) << t;
    EXPECT_LE(static_cast<double>(distance(t) - best), 1e-6) << "trial " << trial;
  }
}

// Two to six distinct roots at least 0.05 apart in [0, 1], or one times a complex pair (a cubic,
// as the plane intersection makes), times a scale from 1e-12 to 1e3: every real root is found
// once, to near double precision. (With real roots and a complex pair of degree 4 and up, the
// finder may leave out real roots: 0.1% of degree-4 draws, 6% of degree-8 ones.)
TEST(Queries, PolynomialRootsFindPlantedRoots) {
  crvtest::Random random(8202);
  for (int trial = 0; trial < 2000; ++trial) {
    Roots planted;
    for (size_t m = trial % 2 ? 1 : random.Int(2, 6); planted.size() < m;) {
      const double r = random.Uniform(0, 1);
      auto apart = [&](double q) { return std::fabs(q - r) >= 0.05; };
      if (std::all_of(planted.begin(), planted.end(), apart)) planted.push_back(r);
    }
    std::sort(planted.begin(), planted.end());
    std::vector<long double> c = {std::pow(10.0L, random.Uniform(-12, 3))};
    auto multiply = [&](long double c0, long double c1, long double c2) {  // by c0 + c1 t + c2 t^2
      std::vector<long double> next(c.size() + 2, 0);
      for (size_t k = 0; k < c.size(); ++k)
        next[k] += c[k] * c0, next[k + 1] += c[k] * c1, next[k + 2] += c[k] * c2;
      c.assign(next.begin(), next.end() - (c2 == 0 ? 1 : 0));
    };
    for (double r : planted) multiply(-r, 1, 0);
    const double re = random.Uniform(-1, 2), im = random.Uniform(0.1, 1);
    if (planted.size() == 1) multiply(re * re + im * im, -2 * re, 1);
    const Roots found = RootsOf(std::vector<double>(c.begin(), c.end()), -0.5, 1.5);
    ASSERT_EQ(found.size(), planted.size()) << "trial " << trial;
    for (size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], planted[i], 1e-9);
  }
}

// Random planes through random points of random curves: the parameters found are sorted, in
// [0, 1], on the plane, and every isolated sign change of the plane function along 2000 samples
// holds one of them.
TEST(Queries, PlaneIntersectionsLieOnThePlaneAndMissNoCrossing) {
  crvtest::Random random(8302);
  int crossings = 0;
  for (int trial = 0; trial < 400; ++trial) {
    CRV_CurveClass3D curve;
    for (V3& p : curve.points)
      p = {random.Uniform(-1, 1), random.Uniform(-1, 1), random.Uniform(-1, 1)};
    GEO_PlaneEq plane = {random.Uniform(-1, 1), random.Uniform(-1, 1), random.Uniform(-1, 1), 0};
    const Roots on = crvref::Point(*curve.Curve(), random.Uniform(0, 1));
    plane.d = random.Uniform(-0.05, 0.05) - (plane.a * on[0] + plane.b * on[1] + plane.c * on[2]);
    auto f = [&](double t) {
      const Roots q = crvref::Point(*curve.Curve(), t);
      return static_cast<long double>(plane.a) * q[0] + static_cast<long double>(plane.b) * q[1] +
             static_cast<long double>(plane.c) * q[2] + plane.d;
    };
    const Roots found = Intersect(curve, plane);
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
    for (double t : found) {
      EXPECT_TRUE(t >= 0 && t <= 1) << t;
      EXPECT_LE(std::fabs(static_cast<double>(f(t))), 1e-11) << "trial " << trial;
    }
    std::vector<int> changes;
    for (int i = 0; i < 2000; ++i)
      if ((f(i / 2000.0) < 0) != (f((i + 1) / 2000.0) < 0)) changes.push_back(i);
    for (size_t k = 0; k < changes.size(); ++k) {
      const double lo = changes[k] / 2000.0, hi = (changes[k] + 1) / 2000.0;
      const bool isolated = (k == 0 || changes[k] - changes[k - 1] > 2) &&
                            (k + 1 == changes.size() || changes[k + 1] - changes[k] > 2);
      auto in = [&](double t) { return t >= lo && t <= hi; };
      crossings += isolated;
      EXPECT_TRUE(!isolated || std::any_of(found.begin(), found.end(), in)) << "trial " << trial;
    }
  }
  EXPECT_GT(crossings, 450);
}

}  // namespace
