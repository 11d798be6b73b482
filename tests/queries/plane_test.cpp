// Where a 3-D curve meets a plane.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "crv/crv.hpp"
#include "support/alloc_counter.h"
#include "support/curves.h"

namespace {

using V3 = GEO_Vector3T<double>;

CRV_CurveClass3D RandomCurve(crvtest::Random& rng) {
  const crvtest::OwnedCurve c = rng.Curve(3);
  CRV_CurveClass3D curve;
  for (int i = 0; i < 4; ++i) curve.points[i] = {c.at(i, 0), c.at(i, 1), c.at(i, 2)};
  return curve;
}

std::vector<double> Intersect(const CRV_CurveClass3D& curve, const GEO_PlaneEq& plane,
                              std::vector<double> start = {}) {
  CRV_IntersectPlane(curve, plane, &start);
  return start;
}

// The plane function at B(t), from the long-double Bernstein reference point.
long double PlaneValue(const CRV_CurveClass3D& curve, const GEO_PlaneEq& plane, double t) {
  const std::vector<double> p = crvtest::ReferencePoint(*curve.Curve(), t);
  return static_cast<long double>(plane.a) * p[0] + static_cast<long double>(plane.b) * p[1] +
         static_cast<long double>(plane.c) * p[2] + plane.d;
}

TEST(IntersectPlane, CurveInThePlaneGivesZeroOnce) {
  // Every control point has z = 0, so the plane function is exactly the zero polynomial.
  const CRV_CurveClass3D curve(V3{1, 2, 0}, V3{-3, 5, 0}, V3{4, -1, 0}, V3{2, 2, 0});
  EXPECT_EQ(Intersect(curve, {0, 0, 1, 0}), std::vector<double>({0.0}));
  // So is the all-zero "plane", for any curve.
  const CRV_CurveClass3D lifted(V3{1, 2, 3}, V3{-3, 5, 1}, V3{4, -1, 2}, V3{2, 2, 7});
  EXPECT_EQ(Intersect(lifted, {0, 0, 0, 0}), std::vector<double>({0.0}));
  // A constant non-zero function (a = b = c = 0) meets nothing.
  EXPECT_TRUE(Intersect(lifted, {0, 0, 0, 1}).empty());
}

TEST(IntersectPlane, MissKeepsContentsSorted) {
  const CRV_CurveClass3D curve(V3{0, 0, 1}, V3{1, 0, 2}, V3{2, 0, 3}, V3{3, 0, 1});
  // Every point has z >= 1: z = 0 is never reached.
  EXPECT_EQ(Intersect(curve, {0, 0, 1, 0}, {0.7, -3.0, 0.2}),
            std::vector<double>({-3.0, 0.2, 0.7}));
}

TEST(IntersectPlane, CrossingsAtBothEndsAndBetween) {
  // z control values 0, 1, -1, 0 give z(t) = 3t (1 - t)(1 - 2t): roots 0, 0.5 and 1, found
  // exactly (each is a fixed point of the polish). Merged into what the vector held, sorted.
  const CRV_CurveClass3D curve(V3{0, 0, 0}, V3{1, 5, 1}, V3{2, -5, -1}, V3{3, 1, 0});
  EXPECT_EQ(Intersect(curve, {0, 0, 1, 0}), std::vector<double>({0.0, 0.5, 1.0}));
  EXPECT_EQ(Intersect(curve, {0, 0, 2, 0}, {0.75, 0.25}),
            std::vector<double>({0.0, 0.25, 0.5, 0.75, 1.0}));

  // A straight run from z = 0 to z = 1 (power form of degree 1 after trimming): the ends of the
  // line's closed form are inclusive too.
  const CRV_CurveClass3D line(V3{0, 0, 0}, V3{0, 0, 1.0 / 3.0}, V3{0, 0, 2.0 / 3.0}, V3{0, 0, 1});
  EXPECT_EQ(Intersect(line, {0, 0, 1, 0}), std::vector<double>({0.0}));
  EXPECT_EQ(Intersect(line, {0, 0, 1, -1}), std::vector<double>({1.0}));
  EXPECT_EQ(Intersect(line, {0, 0, 1, -0.25}), std::vector<double>({0.25}));
}

TEST(IntersectPlane, TouchingPointComesTwice) {
  // z Bernstein values 3, -1, -1, 3: z(t) = 3 - 12t + 12t^2 = 3 (2t - 1)^2, tangent to z = 0 at
  // t = 0.5. The double root is found twice (the slope vanishes there, so the polish keeps it).
  const CRV_CurveClass3D curve(V3{0, 0, 3}, V3{1, 0, -1}, V3{2, 0, -1}, V3{3, 0, 3});
  EXPECT_EQ(Intersect(curve, {0, 0, 1, 0}), std::vector<double>({0.5, 0.5}));
}

TEST(IntersectPlane, NaNsLeftInTheVectorGoLast) {
  // A caller's NaNs must not make the sort run off the vector: enough values that the sort
  // partitions rather than only inserting.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> held;
  crvtest::Random rng(8301);
  for (int i = 0; i < 200; ++i) held.push_back(i % 7 == 0 ? nan : rng.Uniform(-1.0, 2.0));
  const CRV_CurveClass3D curve(V3{0, 0, 0}, V3{1, 5, 1}, V3{2, -5, -1}, V3{3, 1, 0});
  CRV_IntersectPlane(curve, {0, 0, 1, 0}, &held);
  ASSERT_EQ(held.size(), 203u);
  const auto firstNaN =
      std::find_if(held.begin(), held.end(), [](double v) { return std::isnan(v); });
  EXPECT_EQ(held.end() - firstNaN, 29);
  EXPECT_TRUE(std::all_of(firstNaN, held.end(), [](double v) { return std::isnan(v); }));
  EXPECT_TRUE(std::is_sorted(held.begin(), firstNaN));
}

TEST(IntersectPlane, RandomCurvesAndPlanes) {
  crvtest::Random rng(8302);
  constexpr int kSamples = 2000;  // brackets of width 5e-4 in t
  std::vector<double> found;
  int brackets = 0, multiple = 0;
  for (int trial = 0; trial < 400; ++trial) {
    const CRV_CurveClass3D curve = RandomCurve(rng);
    // A random normal through a random point of the curve, so that most planes cross it.
    GEO_PlaneEq plane = {rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(-1, 1), 0.0};
    double on[3];
    CRV_EvaluatePoint(curve.Curve(), rng.Uniform(0, 1), on);
    plane.d = -(plane.a * on[0] + plane.b * on[1] + plane.c * on[2]) + rng.Uniform(-5, 5);

    found.clear();
    CRV_IntersectPlane(curve, plane, &found);
    ASSERT_TRUE(std::is_sorted(found.begin(), found.end()));

    // On the plane, relative to the size of the plane function's terms over the curve.
    double scale = std::fabs(plane.d);
    for (const V3& p : curve.points)
      scale = std::fmax(scale, std::fabs(plane.a * p.x) + std::fabs(plane.b * p.y) +
                                   std::fabs(plane.c * p.z) + std::fabs(plane.d));
    for (double t : found) {
      EXPECT_TRUE(t >= 0.0 && t <= 1.0) << t;
      EXPECT_LE(std::fabs(static_cast<double>(PlaneValue(curve, plane, t))), 1e-9 * scale)
          << "trial " << trial << " t " << t;
    }

    // Every isolated sign change along dense samples (none other within 1e-3) brackets a root.
    std::vector<int> sign(kSamples + 1);
    for (int i = 0; i <= kSamples; ++i) {
      const long double v = PlaneValue(curve, plane, static_cast<double>(i) / kSamples);
      sign[i] = (v > 0) - (v < 0);
    }
    std::vector<int> changes;
    for (int i = 0; i < kSamples; ++i)
      if (sign[i] * sign[i + 1] < 0) changes.push_back(i);
    for (size_t k = 0; k < changes.size(); ++k) {
      const bool isolated = (k == 0 || changes[k] - changes[k - 1] > 2) &&
                            (k + 1 == changes.size() || changes[k + 1] - changes[k] > 2);
      if (!isolated) continue;
      ++brackets;
      const double lo = static_cast<double>(changes[k]) / kSamples;
      const double hi = static_cast<double>(changes[k] + 1) / kSamples;
      EXPECT_TRUE(
          std::any_of(found.begin(), found.end(), [&](double t) { return t >= lo && t <= hi; }))
          << "trial " << trial << " bracket [" << lo << ", " << hi << "]";
    }
    multiple += changes.size() >= 2;
  }
  // The planes cross most curves, several of them more than once.
  EXPECT_GT(brackets, 450);
  EXPECT_GT(multiple, 100);
}

TEST(IntersectPlane, ScaleOfThePlaneDoesNotMatter) {
  // Scaling by a power of two is exact in every coefficient, so the roots agree bit for bit.
  crvtest::Random rng(8303);
  for (int trial = 0; trial < 200; ++trial) {
    const CRV_CurveClass3D curve = RandomCurve(rng);
    const GEO_PlaneEq plane = {rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(-1, 1),
                               rng.Uniform(-50, 50)};
    const double s = std::ldexp(1.0, rng.Int(-20, 20));
    EXPECT_EQ(Intersect(curve, plane),
              Intersect(curve, {plane.a * s, plane.b * s, plane.c * s, plane.d * s}));
  }
}

TEST(IntersectPlane, AllocatesOnlyThroughTheVector) {
  const CRV_CurveClass3D curve(V3{0, 0, 0}, V3{1, 5, 1}, V3{2, -5, -1}, V3{3, 1, 0});
  std::vector<double> found;
  found.reserve(8);
  crvtest::AllocCounter counter;
  CRV_IntersectPlane(curve, {0, 0, 1, 0}, &found);
  EXPECT_EQ(counter.count(), 0);
  EXPECT_EQ(found.size(), 3u);
}

}  // namespace
