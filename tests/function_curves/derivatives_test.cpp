// Slopes by time: the single slope with its vertical-tangent substitute, the y''/x' quantity, and
// the sampled slopes.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "function_curves/easing_curves.h"
#include "support/curves.h"

namespace {

using crvtest::OwnedCurve;

double Slope(const OwnedCurve& curve, double x) {
  double out = NAN;
  EXPECT_EQ(CRV_Evaluate1dDerivFromX(curve.get(), x, &out), CRV_ErrNone);
  return out;
}

double Deriv2(const OwnedCurve& curve, double x) {
  double out = NAN;
  EXPECT_EQ(CRV_Evaluate1dDeriv2FromX(curve.get(), x, &out), CRV_ErrNone);
  return out;
}

TEST(Evaluate1dDerivFromX, KnownSlopes) {
  // Evenly spaced times, values 0, 1, 1, 0: x' = 3, y' = 3 - 6t, y'' = -6.
  const OwnedCurve hump{{0.0, 0.0}, {1.0, 1.0}, {2.0, 1.0}, {3.0, 0.0}};
  EXPECT_EQ(Slope(hump, 1.5), 0.0);
  EXPECT_EQ(Slope(hump, 0.0), 1.0);
  EXPECT_EQ(Slope(hump, -4.0), 1.0);  // clamped to the start
  EXPECT_EQ(Slope(hump, 3.0), -1.0);
  // y''/x' = -2, not d2y/dx2 = -2/3.
  EXPECT_EQ(Deriv2(hump, 1.5), -2.0);
  // Times t^3 - 1.5t^2 + 1.5t, values t^3; at time 0.5, t = 0.5: x' = y' = 0.75 and y'' = 3.
  // y''/x' = 4, where the quotient rule would give 16/3.
  const OwnedCurve ease{{0.0, 0.0}, {0.5, 0.0}, {0.5, 0.0}, {1.0, 1.0}};
  EXPECT_NEAR(Slope(ease, 0.5), 1.0, 1e-15);
  EXPECT_NEAR(Deriv2(ease, 0.5), 4.0, 1e-14);
}

TEST(Evaluate1dDerivFromX, VerticalTangentAtTheStart) {
  // P1.x = P0.x: x'(0) = 0. Within 1e-10 of the start, t = 0.
  const OwnedCurve rising{{0.0, 0.0}, {0.0, 1.0}, {2.0, 2.0}, {3.0, 3.0}};
  const OwnedCurve falling{{0.0, 0.0}, {0.0, -1.0}, {2.0, -2.0}, {3.0, -3.0}};
  const OwnedCurve level{{0.0, 0.0}, {0.0, 0.0}, {2.0, 2.0}, {3.0, 3.0}};
  const OwnedCurve noValue{{0.0, 0.0}, {0.0, NAN}, {2.0, 2.0}, {3.0, 3.0}};
  for (double x : {0.0, 0.5e-10, -1.0}) {
    EXPECT_EQ(Slope(rising, x), 1e10);
    EXPECT_EQ(Slope(falling, x), -1e10);
    EXPECT_EQ(Slope(level, x), 1e10);     // y' = 0 counts as rising
    EXPECT_EQ(Slope(noValue, x), -1e10);  // so does nothing else
    EXPECT_EQ(Deriv2(rising, x), 0.0);    // only an exact x' = 0 is caught there
  }
  // The band is |x'| < 1e-12 in time per unit parameter: x'(0) = 3 P1.x.
  const OwnedCurve inBand{{0.0, 0.0}, {1e-13 / 3.0, 1.0}, {2.0, 1.0}, {3.0, 3.0}};
  const OwnedCurve outOfBand{{0.0, 0.0}, {1e-12, 1.0}, {2.0, 2.0}, {3.0, 3.0}};
  EXPECT_EQ(Slope(inBand, 0.0), 1e10);
  EXPECT_NEAR(Slope(outOfBand, 0.0), 1e12, 1e-3);
  EXPECT_NEAR(Deriv2(inBand, 0.0) * 1e-13, -6.0, 1e-9);  // y'' = 6 (P0 - 2 P1 + P2) = -6
  // The sampled form divides as it stands.
  double slopes[2];
  ASSERT_EQ(CRV_Evaluate1dDerivsFromX(rising.get(), 0.0, 1.5, 2, slopes), CRV_ErrNone);
  EXPECT_EQ(slopes[0], std::numeric_limits<double>::infinity());
  EXPECT_EQ(slopes[1], Slope(rising, 1.5));
  ASSERT_EQ(CRV_Evaluate1dDerivsFromX(level.get(), 0.0, 1.5, 2, slopes), CRV_ErrNone);
  EXPECT_TRUE(std::isnan(slopes[0]));
}

TEST(Evaluate1dDerivsFromX, CountsBelowTwo) {
  const OwnedCurve curve{{0.0, 5.0}, {0.2, 1.0}, {0.7, 2.0}, {1.0, 3.0}};
  double slopes[2] = {-1.0, -1.0};
  for (int16_t count : {0, -5}) {
    EXPECT_EQ(CRV_Evaluate1dDerivsFromX(curve.get(), 0.0, 1.0, count, slopes), CRV_ErrNone);
    EXPECT_EQ(slopes[0], -1.0);
  }
  EXPECT_EQ(CRV_Evaluate1dDerivsFromX(curve.get(), 0.4, 1.0, 1, slopes), CRV_ErrNone);
  EXPECT_EQ(slopes[0], Slope(curve, 0.4));
  EXPECT_EQ(slopes[1], -1.0);
}

TEST(Evaluate1dDerivsFromX, MatchesTheSingleSlopeSampleBySample) {
  crvtest::Random random(0x3c9);
  const int16_t count = 129;
  std::vector<double> slopes(count);
  for (int i = 0; i < 300; ++i) {
    const OwnedCurve curve = crvtest::EasingCurve(random, 0.0, 1.0);
    const double x1 = random.Uniform(-0.2, 0.5), x2 = random.Uniform(0.5, 1.2);
    ASSERT_EQ(CRV_Evaluate1dDerivsFromX(curve.get(), x1, x2, count, slopes.data()), CRV_ErrNone);
    const double step = (x2 - x1) / (count - 1);
    double x = x1;
    for (int16_t s = 0; s < count; ++s, x += step) {
      double t = NAN;
      CRV_TFromX(curve.get(), x, &t);
      double d[2];
      CRV_EvaluateDeriv(curve.get(), std::isnan(t) ? 0.0 : t, d);
      if (std::isnan(t) || std::fabs(d[0]) < 1e-6) continue;  // fallback or substitute differ
      // Bit for bit off the three-root branch, whose angle is formed differently; relative
      // agreement everywhere.
      EXPECT_NEAR(slopes[s], Slope(curve, x), 1e-9 * (1.0 + std::fabs(slopes[s])))
          << "curve " << i << " sample " << s;
    }
  }
}

TEST(Evaluate1dDerivFromX, AgreesWithDifferencesOfTheValues) {
  crvtest::Random random(0x44e);
  int checked = 0;
  for (int i = 0; i < 2000; ++i) {
    const OwnedCurve curve = crvtest::EasingCurve(random, 0.0, 1.0);
    const double x = random.Uniform(0.05, 0.95);
    double t = 0.0, d[2];
    CRV_TFromX(curve.get(), x, &t);
    CRV_EvaluateDeriv(curve.get(), t, d);
    if (d[0] < 0.05) continue;  // steep in time: differences of values lose their digits
    const double h = 1e-5;
    double lo = 0.0, hi = 0.0;
    CRV_EvaluateYFromX(curve.get(), x - h, &lo);
    CRV_EvaluateYFromX(curve.get(), x + h, &hi);
    const double slope = Slope(curve, x);
    EXPECT_NEAR(slope, (hi - lo) / (2.0 * h), 1e-4 * (1.0 + std::fabs(slope))) << i;
    ++checked;
  }
  EXPECT_GT(checked, 1500);
}

}  // namespace
