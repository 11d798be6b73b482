// Function curves (value y against time x): hand-checked answers, named regressions, the solver on
// planted roots, and lookups, slopes and averages against bisection, differences and quadrature.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "catalogue/reference.h"
#include "support/curves.h"

namespace {

using crvtest::OwnedCurve;
using Lookup = int32_t (*)(const CRV_Curve*, double, double*);

double Call(Lookup f, const OwnedCurve& c, double x, double out = NAN) {
  EXPECT_EQ(f(c.get(), x, &out), CRV_ErrNone);
  return out;
}

double Average(const OwnedCurve& c, double x1, double x2) {
  double out = NAN;
  EXPECT_EQ(CRV_EvaluateYAverageFromXToX(c.get(), x1, x2, &out), CRV_ErrNone);
  return out;
}

// An easing curve from (0, 0) to (1, 1): inner times in [lo, hi] (in [0, 1] time rises
// throughout), values in [-1, 2]. Inner times a third apart are redrawn: the solver's accuracy
// falls off there by design (function_curves.h).
OwnedCurve Easing(crvtest::Random& r, double lo = 0, double hi = 1) {
  const OwnedCurve c{{0, 0}, {r.Uniform(lo, hi), r.Uniform(-1, 2)},
                     {r.Uniform(lo, hi), r.Uniform(-1, 2)}, {1, 1}};
  return std::fabs(3 * (c.at(1, 0) - c.at(2, 0)) + 1) < 1e-3 ? Easing(r, lo, hi) : c;
}

TEST(FunctionCurves, HandCheckedAnswers) {
  // Times 0 1 2 3, values 0 1 1 0: x = 3t, y = 3t(1 - t), y' = 3 - 6t, y'' = -6.
  const OwnedCurve hump{{0, 0}, {1, 1}, {2, 1}, {3, 0}};
  EXPECT_EQ(Call(CRV_EvaluateYFromX, hump, 1.5), 0.75);
  EXPECT_EQ(Call(CRV_Evaluate1dDeriv2FromX, hump, 1.5), -2.0);  // y''/x', not d2y/dx2
  EXPECT_EQ(Average(hump, -10.0, 10.0), 0.5);  // bounds clamp to the ends
  // Times 0 0 3 3 ease in and out: the mean over the parameter stays 0.5 (0.6 over time).
  EXPECT_EQ(Average(OwnedCurve{{0, 0}, {0, 1}, {3, 1}, {3, 0}}, 0.0, 3.0), 0.5);
  int32_t count = -1;
  double xs[2];
  EXPECT_EQ(CRV_EvaluateXFromYPrime(hump.get(), nullptr, &count, xs), CRV_ErrNone);
  EXPECT_TRUE(count == 1 && xs[0] == 1.5) << count << " " << xs[0];  // the turning point
  // Times t^3 - 1.5t^2 + 1.5t: x = 0.25 at t = 0.2019641810083392384 (a CAS); the ends clamp
  // within 1e-10 and outside; a time reached vertically (x'(0) = 0) gets the slope 1e10.
  const OwnedCurve ease{{0, 0}, {0.5, 0}, {0.5, 0}, {1, 1}};
  EXPECT_NEAR(Call(CRV_TFromX, ease, 0.25), 0.2019641810083392384, 4e-16);
  for (double x : {-5.0, 0.9e-10}) EXPECT_EQ(Call(CRV_TFromX, ease, x), 0.0);
  for (double x : {1 - 0.9e-10, 7.0}) EXPECT_EQ(Call(CRV_TFromX, ease, x), 1.0);
  EXPECT_EQ(Call(CRV_Evaluate1dDerivFromX, OwnedCurve{{0, 0}, {0, 1}, {2, 2}, {3, 3}}, 0.0), 1e10);
  // x - 1 = 8 (t - 0.5)^3: the triple root. Values 10..13 evenly spaced: y = 11.5 at t = 0.5.
  EXPECT_EQ(Call(CRV_TFromX, OwnedCurve{{0, 0}, {2, 0}, {0, 0}, {2, 0}}, 1.0), 0.5);
  EXPECT_EQ(Call(CRV_TFromY, OwnedCurve{{5, 10}, {9, 11}, {-4, 12}, {6, 13}}, 11.5), 0.5);
  // Values 1 1.5 3.5 4 on times 0 1 2 3 reach 2.5 half-way.
  EXPECT_NEAR(Call(CRV_EvaluateXFromY, {{0, 1}, {1, 1.5}, {2, 3.5}, {3, 4}}, 2.5), 1.5, 1e-15);
  // P1 above P3 slides along P0 -> P1 down to P3's height: (1, 2) becomes (0.5, 1).
  OwnedCurve repair{{0, 0}, {1, 2}, {2, 1}, {3, 1}};
  uint8_t changed = 7;
  EXPECT_EQ(CRV_CurveSetNonDecreasing(repair.get(), &changed), CRV_ErrNone);
  EXPECT_TRUE(changed == 1 && repair.at(1, 0) == 0.5 && repair.at(1, 1) == 1.0);
}

TEST(FunctionCurves, NamedRegressions) {
  // Found by a search over easing curves: no root accepted next to the end of a long span.
  const OwnedCurve c{{0, 0}, {0x1.1bc92b1033e8bp+14, 0}, {0x1.686cb675de565p+19, 0}, {1e6, 0}};
  EXPECT_EQ(Call(CRV_TFromX, c, 0x1.e847ffffffffcp+19, 0.625), 0.625);
  EXPECT_NE(Call(CRV_TFromX, c, 5e5, 0.625), 0.625);
  // Found by the function-curves fuzz target: swapped bounds, the same average but for -0.
  const OwnedCurve flat{{0, 0}, {0, 0}, {0, 0}, {0, 0}};
  const double x2 = 0x1.1a17ec78693e4p-30;
  EXPECT_EQ(Average(flat, 0.0, x2), Average(flat, x2, 0.0));
  EXPECT_TRUE(std::signbit(Average(flat, x2, 0.0)));
}

// x(t) - v = c3 (t - r)(t^2 + b t + c) as a time coordinate: the solver returns the single real
// root, or of three the smallest in (0, 1), else the largest in [0, 1], else the middle one.
TEST(FunctionCurves, SolverFindsPlantedRoots) {
  crvtest::Random random(0x7f1);
  int three = 0;
  for (int trial = 0; trial < 20000; ++trial) {
    const double c3 = (random.Int(0, 1) ? 1 : -1) * std::pow(10.0, random.Uniform(-1, 2));
    const double r = random.Uniform(-1, 2), mid = random.Uniform(-1, 2);
    const double half = random.Uniform(-1, 1), v = random.Uniform(-5, 5);
    const double b = -2 * mid, c = mid * mid + half * std::fabs(half);
    const double c2 = c3 * (b - r), c1 = c3 * (c - r * b), p0 = v - c3 * r * c;
    const double p1 = p0 + c1 / 3, p3 = p0 + c1 + c2 + c3;
    std::vector<double> roots = {r};
    if (half < 0) roots = {r, mid + half, mid - half};
    std::sort(roots.begin(), roots.end());
    bool apart = std::fabs(half) > 0.05 && p0 < v - 1e-6 && p3 > v + 1e-6;
    for (size_t i = 0; i < roots.size(); ++i)
      apart = apart && std::fabs(roots[i]) > 1e-6 && std::fabs(roots[i] - 1) > 1e-6 &&
              (i == 0 || roots[i] - roots[i - 1] > 0.05);
    if (!apart) continue;
    double expected = roots[0];  // x(0) < v < x(1): one or three roots in (0, 1)
    if (roots.size() == 3 && roots[0] < 0) expected = roots[2] <= 1 ? roots[2] : roots[1];
    three += roots.size() == 3;
    const OwnedCurve curve{{p0, 0}, {p1, 0}, {c2 / 3 - p0 + 2 * p1, 0}, {p3, 0}};
    EXPECT_NEAR(Call(CRV_TFromX, curve, v), expected, 1e-9) << "trial " << trial;
  }
  EXPECT_GT(three, 1000);
}

// Round trips t -> x(t) -> t on easing curves. Where time doubles back (inner times outside
// [0, 1]) any root of a time inside the span will do.
TEST(FunctionCurves, TFromCoordinateInvertsTheCurve) {
  crvtest::Random random(0x2b7);
  for (int trial = 0; trial < 4000; ++trial) {
    const bool rising = trial % 2 == 0;
    const OwnedCurve c = Easing(random, rising ? 0 : -0.5, rising ? 1 : 1.5);
    const double t = random.Uniform(1e-3, 1 - 1e-3);
    const double x = rising ? static_cast<double>(crvref::Bez(c, 0, t)) : random.Uniform(1e-6, 1 - 1e-6);
    const double fromX = Call(CRV_TFromX, c, x);
    EXPECT_NEAR(static_cast<double>(crvref::Bez(c, 0, fromX)), x, 1e-9) << "trial " << trial;
    const double slope = static_cast<double>((crvref::Bez(c, 0, t + 1e-6) - crvref::Bez(c, 0, t - 1e-6)) / 2e-6);
    if (rising && slope > 1e-3) {
      EXPECT_NEAR(fromX, t, 1e-9 / slope) << "trial " << trial;
    }
  }
}

// Values, slopes and averages against bisection, central differences and Simpson's rule (exact
// for a cubic) in long double, singly and sampled.
TEST(FunctionCurves, LookupsMatchIndependentReferences) {
  crvtest::Random random(0x5a3);
  const int16_t n = 33;
  std::vector<double> ys(n), slopes(n);
  for (int trial = 0; trial < 1000; ++trial) {
    const OwnedCurve c = Easing(random);
    const double x1 = random.Uniform(0.01, 0.5), x2 = random.Uniform(0.5, 0.99), h = 1e-6;
    ASSERT_EQ(CRV_EvaluateYFromXs(c.get(), x1, x2, n, ys.data()), CRV_ErrNone);
    ASSERT_EQ(CRV_Evaluate1dDerivsFromX(c.get(), x1, x2, n, slopes.data()), CRV_ErrNone);
    double x = x1;
    for (int i = 0; i < n; ++i, x += (x2 - x1) / (n - 1)) {
      const long double t = crvref::Solve(c, 0, x);
      const double y = static_cast<double>(crvref::Bez(c, 1, t));
      const double dx = static_cast<double>((crvref::Bez(c, 0, t + h) - crvref::Bez(c, 0, t - h)) / (2 * h));
      const double dy = static_cast<double>((crvref::Bez(c, 1, t + h) - crvref::Bez(c, 1, t - h)) / (2 * h));
      if (dx < 1e-2) continue;  // steep in time: the time's rounding shows in the value
      EXPECT_NEAR(Call(CRV_EvaluateYFromX, c, x), y, 1e-9) << "trial " << trial;
      EXPECT_NEAR(ys[i], y, 1e-9) << "trial " << trial << " sample " << i;
      EXPECT_NEAR(Call(CRV_Evaluate1dDerivFromX, c, x), dy / dx, 1e-6 * (1 + std::fabs(dy / dx)));
      EXPECT_NEAR(slopes[i], dy / dx, 1e-6 * (1 + std::fabs(dy / dx))) << "sample " << i;
    }
    const long double t1 = crvref::Solve(c, 0, x1), t2 = crvref::Solve(c, 0, x2);
    long double sum = 0;
    for (int k = 0; k <= 16; ++k)
      sum += (k == 0 || k == 16 ? 1 : k % 2 ? 4 : 2) * crvref::Bez(c, 1, t1 + (t2 - t1) * k / 16);
    EXPECT_NEAR(Average(c, x1, x2), static_cast<double>(sum / 48), 1e-9) << "trial " << trial;
    EXPECT_EQ(Average(c, x2, x1), Average(c, x1, x2));
  }
}

}  // namespace
