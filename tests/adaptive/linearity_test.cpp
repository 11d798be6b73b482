// Straightness of 2-D pieces and the depth-bounded flatness callback.
#include <cmath>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "support/alloc_counter.h"
#include "support/curves.h"

namespace {

using crvtest::OwnedCurve;

bool Linear(const double a[2], const double b[2], const double u[2], const double v[2],
            double minChordSq, double tol) {
  bool out = true;  // the function must clear it first
  EXPECT_EQ(CRV_IsCurveLinear(a, b, u, v, minChordSq, tol, &out), 0);
  return out;
}

TEST(IsCurveLinear, ChordBranch) {
  const double a[2] = {1, 1}, b[2] = {4, 5};  // chord length 5
  const double up[2] = {0, 1}, right[2] = {1, 0};
  // Coincident ends: the chord is 0, both cosines are 1.
  EXPECT_TRUE(Linear(a, a, up, right, 0.0, 0.0));
  // A chord shorter than sqrt(minChordSq) is straight whatever the tangents.
  EXPECT_TRUE(Linear(a, b, up, right, 25.0 + 1e-9, 0.0));
  // Exactly as long is not short (strict): the tangents decide, and these are far off.
  EXPECT_FALSE(Linear(a, b, up, right, 25.0, 0.1));
}

TEST(IsCurveLinear, TangentBranch) {
  const double a[2] = {0, 0}, b[2] = {3, 4};
  const double along[2] = {0.6, 0.8}, back[2] = {-3, -4}, zero[2] = {0, 0};
  const double off[2] = {0.6, 0.81}, across[2] = {-4, 3};
  EXPECT_TRUE(Linear(a, b, along, along, 0.0, 0.0));  // exactly parallel at tol = 0
  EXPECT_TRUE(Linear(a, b, back, along, 0.0, 0.0));   // backwards along the chord counts
  EXPECT_FALSE(Linear(a, b, off, along, 0.0, 0.0));
  EXPECT_TRUE(Linear(a, b, off, along, 0.0, 1e-4));   // 1 - cos = 1.8e-5
  EXPECT_FALSE(Linear(a, b, off, along, 0.0, 1e-5));
  // A retracted handle (u = 0) has cosine 1: v alone decides.
  EXPECT_TRUE(Linear(a, b, zero, along, 0.0, 0.0));
  EXPECT_FALSE(Linear(a, b, zero, across, 0.0, 0.5));
  // tol = 1 accepts perpendicular tangents; a NaN cosine fails even then.
  EXPECT_TRUE(Linear(a, b, across, across, 0.0, 1.0));
  const double nan[2] = {std::numeric_limits<double>::quiet_NaN(), 0};
  EXPECT_FALSE(Linear(a, b, nan, along, 0.0, 1.0));
}

// The criterion with both cosines formed by their square roots and divisions.
bool CosineTest(const double a[2], const double b[2], const double u[2], const double v[2],
                double minChordSq, double tol) {
  const double dx = a[0] - b[0], dy = a[1] - b[1];
  if (minChordSq > dx * dx + dy * dy) return true;
  const double ex = b[0] - a[0], ey = b[1] - a[1];
  const double l = std::sqrt(ex * ex + ey * ey);
  const double lu = std::sqrt(u[1] * u[1] + u[0] * u[0]), lv = std::sqrt(v[1] * v[1] + v[0] * v[0]);
  const double cosU = lu * l == 0.0 ? 1.0 : (ey * u[1] + ex * u[0]) / (lu * l);
  const double cosV = lv * l == 0.0 ? 1.0 : (v[1] * ey + v[0] * ex) / (lv * l);
  return std::fabs(cosU) >= 1.0 - tol && std::fabs(cosV) >= 1.0 - tol;
}

// The library settles most answers from squares, without roots or division; on tangents whose
// cosine lies within a few units in the last place of 1 - tol, at scales from 2^-230 to 2^230, it
// must still answer as the cosines do.
TEST(IsCurveLinear, AgreesWithTheCosinesAtTheThreshold) {
  crvtest::Random rng(73);
  int passed = 0;
  for (int trial = 0; trial < 200000; ++trial) {
    const double tol = std::ldexp(1.0, -rng.Int(1, 40)) * rng.Uniform(0.5, 1.0);
    const double phi = rng.Uniform(-M_PI, M_PI);
    const double chord = std::ldexp(rng.Uniform(0.5, 1.0), rng.Int(-230, 230));
    const double a[2] = {rng.Uniform(-1, 1) * chord, rng.Uniform(-1, 1) * chord};
    const double b[2] = {a[0] + chord * std::cos(phi), a[1] + chord * std::sin(phi)};
    // Tangents at the threshold angle acos(1 - tol), nudged by a relative 1e-16 to 1e-7, either
    // way, and possibly reversed.
    double t[2][2];
    for (auto& tangent : t) {
      const double nudge = (rng.Int(0, 1) ? 1 : -1) * std::pow(10.0, rng.Uniform(-16, -7));
      const double theta = std::acos(1.0 - tol) * (1 + nudge) * (rng.Int(0, 1) ? 1 : -1);
      const double length = std::ldexp(rng.Uniform(0.5, 1.0), rng.Int(-230, 230));
      const double sign = rng.Int(0, 3) == 0 ? -1 : 1;
      tangent[0] = sign * length * std::cos(phi + theta);
      tangent[1] = sign * length * std::sin(phi + theta);
    }
    bool out = false;
    CRV_IsCurveLinear(a, b, t[0], t[1], 0.0, tol, &out);
    ASSERT_EQ(out, CosineTest(a, b, t[0], t[1], 0.0, tol)) << "trial " << trial;
    passed += out;
  }
  // Both answers occur often enough to matter.
  EXPECT_GT(passed, 20000);
  EXPECT_LT(passed, 180000);
}

TEST(IsSubCurveLinear, TestsTheEvaluatedPiece) {
  // Control points on one horizontal line: every derivative is horizontal, exactly parallel.
  const OwnedCurve line({0, 2}, {1, 2}, {5, 2}, {6, 2});
  bool out = false;
  EXPECT_EQ(CRV_IsSubCurveLinear(0.1, 0.7, line.get(), 0.0, 0.0, &out), 0);
  EXPECT_TRUE(out);

  // An arch: the whole curve is not straight, a short piece of it is.
  const OwnedCurve arch({0, 0}, {0, 1}, {1, 1}, {1, 0});
  EXPECT_EQ(CRV_IsSubCurveLinear(0.0, 1.0, arch.get(), 0.0, 1e-3, &out), 0);
  EXPECT_FALSE(out);
  EXPECT_EQ(CRV_IsSubCurveLinear(0.5, 0.5 + 1e-4, arch.get(), 0.0, 1e-3, &out), 0);
  EXPECT_TRUE(out);

  // On random curves the answer is the criterion applied to the evaluated points and
  // derivatives; a record of more dimensions is tested on its first two coordinates.
  crvtest::Random rng(71);
  for (int trial = 0; trial < 500; ++trial) {
    const OwnedCurve c = rng.Curve(2);
    OwnedCurve c3(3);
    for (int i = 0; i < 4; ++i) {
      c3.at(i, 0) = c.at(i, 0);
      c3.at(i, 1) = c.at(i, 1);
      c3.at(i, 2) = rng.Uniform(-100, 100);
    }
    const double t0 = rng.Uniform(0, 1), t1 = rng.Uniform(0, 1);
    const double minChordSq = rng.Uniform(0, 200), tol = rng.Uniform(0, 0.05);
    double a[2], b[2], u[2], v[2];
    CRV_EvaluatePoint(c.get(), t0, a);
    CRV_EvaluatePoint(c.get(), t1, b);
    CRV_EvaluateDeriv(c.get(), t0, u);
    CRV_EvaluateDeriv(c.get(), t1, v);
    bool expected = false, plane = false, space = false;
    CRV_IsCurveLinear(a, b, u, v, minChordSq, tol, &expected);
    CRV_IsSubCurveLinear(t0, t1, c.get(), minChordSq, tol, &plane);
    CRV_IsSubCurveLinear(t0, t1, c3.get(), minChordSq, tol, &space);
    EXPECT_EQ(plane, expected);
    EXPECT_EQ(space, expected);
  }
}

TEST(IsLinearFunc, RecordAndDepthEdges) {
  const OwnedCurve arch({0, 0}, {0, 1}, {1, 1}, {1, 0});
  const OwnedCurve line({0, 2}, {1, 2}, {5, 2}, {6, 2});
  // A record whose control points cannot be read: only the depth rules may answer for it.
  const CRV_Curve unreadable{2, {nullptr, nullptr, nullptr, nullptr}};
  CRV_LinearityParams params{0.0, 1e-3, CRV_LINEARITY_CHECK_WORD, 3, 7};
  bool out = true;

  EXPECT_EQ(CRV_IsLinearFunc(nullptr, 5, 0, 1, nullptr, nullptr, line.get(), &out), 2);
  EXPECT_FALSE(out);
  CRV_LinearityParams damaged = params;
  damaged.checkWord = 0;
  out = true;
  EXPECT_EQ(CRV_IsLinearFunc(&damaged, 5, 0, 1, nullptr, nullptr, line.get(), &out), 2);
  EXPECT_FALSE(out);

  // Just outside the depth range the answer comes without evaluating the curve.
  EXPECT_EQ(CRV_IsLinearFunc(&params, 8, 0, 1, nullptr, nullptr, &unreadable, &out), 0);
  EXPECT_TRUE(out);
  EXPECT_EQ(CRV_IsLinearFunc(&params, 2, 0, 1, nullptr, nullptr, &unreadable, &out), 0);
  EXPECT_FALSE(out);

  // At both edges of the range the full test runs.
  for (uint32_t depth : {3u, 7u}) {
    EXPECT_EQ(CRV_IsLinearFunc(&params, depth, 0, 1, nullptr, nullptr, line.get(), &out), 0);
    EXPECT_TRUE(out);
    EXPECT_EQ(CRV_IsLinearFunc(&params, depth, 0, 1, nullptr, nullptr, arch.get(), &out), 0);
    EXPECT_FALSE(out);
  }

  // The comparisons are unsigned: no depth exceeds the largest maxDepth.
  params.maxDepth = UINT32_MAX;
  params.minDepth = 0;
  EXPECT_EQ(CRV_IsLinearFunc(&params, UINT32_MAX, 0, 1, nullptr, nullptr, arch.get(), &out), 0);
  EXPECT_FALSE(out);
}

TEST(Linearity, AllocatesNothing) {
  const OwnedCurve arch({0, 0}, {0, 1}, {1, 1}, {1, 0});
  const CRV_LinearityParams params{0.0, 1e-3, CRV_LINEARITY_CHECK_WORD, 0, 9};
  const double a[2] = {0, 0}, b[2] = {3, 4}, u[2] = {1, 1}, v[2] = {0.6, 0.8};
  bool out = false;
  crvtest::AllocCounter counter;
  CRV_IsCurveLinear(a, b, u, v, 0.0, 1e-3, &out);
  CRV_IsSubCurveLinear(0.2, 0.4, arch.get(), 0.0, 1e-3, &out);
  CRV_IsLinearFunc(&params, 3, 0.2, 0.4, nullptr, nullptr, arch.get(), &out);
  EXPECT_EQ(counter.count(), 0);
}

}  // namespace
