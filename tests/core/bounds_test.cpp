// Tight bounds and the quadratic solver behind them.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "core/quadratic.h"
#include "crv/crv.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;

struct Range {
  double lo, hi;
};

Range BoundsOf1D(double p0, double p1, double p2, double p3) {
  const OwnedCurve c({p0}, {p1}, {p2}, {p3});
  Range r{};
  EXPECT_EQ(CRV_EvaluateBounds(c.get(), &r.lo, &r.hi), CRV_ErrNone);
  return r;
}

TEST(SolveQuadratic, BranchesFollowTheAbsoluteThreshold) {
  int32_t count = -1;
  double roots[2];
  crv::SolveQuadratic(0.0, 2.0, -1.0, &count, roots);  // linear
  EXPECT_EQ(count, 1);
  EXPECT_EQ(roots[0], 0.5);
  crv::SolveQuadratic(5e-11, 5e-11, 1.0, &count, roots);  // degenerate: the root 0.0
  EXPECT_EQ(count, 1);
  EXPECT_EQ(roots[0], 0.0);
  crv::SolveQuadratic(1.0, 0.0, 1.0, &count, roots);  // no real root
  EXPECT_EQ(count, 0);
  crv::SolveQuadratic(1.0, -2.0, 1.0, &count, roots);  // double root
  EXPECT_EQ(count, 1);
  EXPECT_EQ(roots[0], 1.0);
  crv::SolveQuadratic(1.0, -3.0, 2.0, &count, roots);  // b <= 0: small root first
  EXPECT_EQ(count, 2);
  EXPECT_EQ(roots[0], 1.0);
  EXPECT_EQ(roots[1], 2.0);
  crv::SolveQuadratic(1.0, 3.0, 2.0, &count, roots);  // b > 0
  EXPECT_EQ(count, 2);
  EXPECT_EQ(roots[0], -1.0);
  EXPECT_EQ(roots[1], -2.0);
  // A discriminant just under zero gives nothing, one just above (under the threshold) one root.
  crv::SolveQuadratic(1.0, 2.0, 1.0 + 1e-12, &count, roots);
  EXPECT_EQ(count, 0);
  crv::SolveQuadratic(1.0, 2.0, 1.0 - 1e-12, &count, roots);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(roots[0], -1.0);
}

TEST(SolveQuadratic, AvoidsCancellation) {
  // t^2 - 1e8 t + 1 = 0: roots 1e-8 (to 1e-24 relative) and 1e8; the textbook formula loses
  // every digit of the small one.
  int32_t count = 0;
  double roots[2];
  crv::SolveQuadratic(1.0, -1e8, 1.0, &count, roots);
  ASSERT_EQ(count, 2);
  EXPECT_NEAR(roots[0], 1e-8, 1e-22);
  EXPECT_NEAR(roots[1], 1e8, 1e-7);
}

TEST(EvaluateBounds, KnownCoordinates) {
  Range r = BoundsOf1D(0, 1, 1, 0);  // a = 0: the linear branch finds t = 0.5
  EXPECT_EQ(r.lo, 0.0);
  EXPECT_EQ(r.hi, 0.75);
  r = BoundsOf1D(0, 1, -1, 0);  // turning points at 0.5 -+ sqrt(3)/6
  EXPECT_NEAR(r.lo, -std::sqrt(3.0) / 6.0, 1e-15);
  EXPECT_NEAR(r.hi, std::sqrt(3.0) / 6.0, 1e-15);
  r = BoundsOf1D(0, 1, 2, 3);  // straight: the solver's 0.0 changes nothing
  EXPECT_EQ(r.lo, 0.0);
  EXPECT_EQ(r.hi, 3.0);
  r = BoundsOf1D(5, 5, 5, 5);
  EXPECT_EQ(r.lo, 5.0);
  EXPECT_EQ(r.hi, 5.0);
  r = BoundsOf1D(3, 0, 0, 0);  // derivative root at exactly t = 1 is used
  EXPECT_EQ(r.lo, 0.0);
  EXPECT_EQ(r.hi, 3.0);
  // The threshold is absolute: a bump of 0.75e-11 is below it and is not seen.
  r = BoundsOf1D(0, 1e-11, 1e-11, 0);
  EXPECT_EQ(r.lo, 0.0);
  EXPECT_EQ(r.hi, 0.0);
}

// Found by the evaluation fuzz target (fuzz/evaluation_fuzz.cpp). The derivative of this
// coordinate has a = 2.5e-10, just above the solver's absolute threshold, and a discriminant of
// 3.1e-16, below it: its roots 0.501 and -69.8 are taken as the double root -34.7, outside
// [0, 1], so the bounds are the end values although the coordinate dips 2.2e-9 below them at
// t = 0.5. The thresholds are absolute; this pins what they cost (up to about 1e-5
// where a is tiny and the roots lie far apart).
TEST(EvaluateBounds, FarApartRootsWithATinyDiscriminantCountAsOneDoubleRoot) {
  const double p0 = -0x1.74b3333333334p+1, p1 = -0x1.74b3333973ef4p+1;
  const double p2 = -0x1.74b33339832e8p+1;
  const Range r = BoundsOf1D(p0, p1, p2, p0);
  EXPECT_EQ(r.lo, p0);
  EXPECT_EQ(r.hi, p0);
  const OwnedCurve c({p0}, {p1}, {p2}, {p0});
  double middle = 0.0;
  CRV_EvaluatePoint(c.get(), 0.5, &middle);
  EXPECT_LT(middle, r.lo - 2e-9);
}

TEST(EvaluateBounds, EmptyRecordWritesNothing) {
  double p[1] = {1};
  CRV_Curve c{0, {p, p, p, p}};
  double lo = 42, hi = 42;
  EXPECT_EQ(CRV_EvaluateBounds(&c, &lo, &hi), CRV_ErrNone);
  EXPECT_EQ(lo, 42.0);
  EXPECT_EQ(hi, 42.0);
}

// Largest value of coordinate k near t, by golden-section search on [t - h, t + h]: confirms that
// a bound is attained, to far better than the sample spacing.
double RefineExtreme(const CRV_Curve& c, int k, double t, double h, double sign) {
  auto f = [&](double u) {
    std::vector<double> p(static_cast<size_t>(c.dims));
    CRV_EvaluatePoint(&c, u, p.data());
    return sign * p[k];
  };
  double a = std::fmax(0.0, t - h), b = std::fmin(1.0, t + h);
  const double g = (std::sqrt(5.0) - 1) / 2;
  for (int i = 0; i < 100; ++i) {
    const double x1 = b - g * (b - a), x2 = a + g * (b - a);
    if (f(x1) > f(x2)) b = x2; else a = x1;
  }
  return sign * std::fmax(std::fmax(f(a), f(b)), f(0.5 * (a + b)));
}

TEST(EvaluateBounds, ContainDenseSamplesAndAreAttained) {
  crvtest::Random random(21);
  constexpr int kSamples = 1001;
  for (int trial = 0; trial < 300; ++trial) {
    const OwnedCurve c = random.Curve(random.Int(1, 4));
    const int dims = c.dims();
    std::vector<double> lo(static_cast<size_t>(dims)), hi(lo);
    CRV_EvaluateBounds(c.get(), lo.data(), hi.data());
    std::vector<double> samples(static_cast<size_t>(kSamples * dims));
    CRV_EvaluatePoints(c.get(), 0.0, 1.0, kSamples, samples.data());
    for (int k = 0; k < dims; ++k) {
      int argmin = 0, argmax = 0;
      for (int i = 0; i < kSamples; ++i) {
        const double v = samples[static_cast<size_t>(i * dims + k)];
        EXPECT_GE(v, lo[k] - 1e-9);
        EXPECT_LE(v, hi[k] + 1e-9);
        if (v < samples[static_cast<size_t>(argmin * dims + k)]) argmin = i;
        if (v > samples[static_cast<size_t>(argmax * dims + k)]) argmax = i;
      }
      const double h = 1.0 / (kSamples - 1);
      EXPECT_NEAR(RefineExtreme(*c.get(), k, argmin * h, h, -1.0), lo[k], 1e-9);
      EXPECT_NEAR(RefineExtreme(*c.get(), k, argmax * h, h, +1.0), hi[k], 1e-9);
    }
  }
}

// 2-D curves take a two-lane path and others a per-coordinate one: x and y of a curve must bound
// the same, bit for bit, with or without a third coordinate, on random and on near-degenerate
// coefficients (repeated control values make the leading coefficient or discriminant tiny).
TEST(EvaluateBounds, TwoDimensionsAgreeWithThePerCoordinatePath) {
  crvtest::Random random(22);
  const double grid[] = {0.0, 1.0, 2.0, 3.0, -1.0};
  for (int trial = 0; trial < 4000; ++trial) {
    double v[4][2];
    for (auto& point : v)
      for (double& x : point)
        x = trial % 2 ? random.Uniform(-1e3, 1e3) : grid[random.Int(0, 4)];
    const OwnedCurve flat({v[0][0], v[0][1]}, {v[1][0], v[1][1]}, {v[2][0], v[2][1]},
                          {v[3][0], v[3][1]});
    const OwnedCurve space({v[0][0], v[0][1], 0.0}, {v[1][0], v[1][1], 0.0},
                           {v[2][0], v[2][1], 0.0}, {v[3][0], v[3][1], 0.0});
    double lo2[2], hi2[2], lo3[3], hi3[3];
    CRV_EvaluateBounds(flat.get(), lo2, hi2);
    CRV_EvaluateBounds(space.get(), lo3, hi3);
    EXPECT_BITS_EQ(lo2, lo3, 2);
    EXPECT_BITS_EQ(hi2, hi3, 2);
  }
}

}  // namespace
