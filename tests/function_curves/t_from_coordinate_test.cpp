// The cubic solver through CRV_TFromX and CRV_TFromY: clamps and their order, each branch with a
// known root, the choice among three roots, the untouched output when no root is accepted, and
// residuals over random easing curves.
#include <cmath>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "function_curves/easing_curves.h"
#include "support/curves.h"

namespace {

using crvtest::OwnedCurve;

// A curve whose time coordinate has control values x0..x3 (value coordinate 0, 1, 2, 3).
OwnedCurve TimeCurve(double x0, double x1, double x2, double x3) {
  return OwnedCurve{{x0, 0.0}, {x1, 1.0}, {x2, 2.0}, {x3, 3.0}};
}

// The control values of a time coordinate with x(t) - v = c3 (t - r1)(t - r2)(t - r3), v = 0.
OwnedCurve CurveWithRoots(double c3, double r1, double r2, double r3) {
  const double c2 = -c3 * (r1 + r2 + r3);
  const double c1 = c3 * (r1 * r2 + r1 * r3 + r2 * r3);
  const double p0 = -c3 * r1 * r2 * r3;
  const double p1 = p0 + c1 / 3.0;
  const double p2 = c2 / 3.0 - p0 + 2.0 * p1;
  return TimeCurve(p0, p1, p2, p0 + c1 + c2 + c3);
}

double TFromX(const OwnedCurve& curve, double x, double before = -7.0) {
  double t = before;
  EXPECT_EQ(CRV_TFromX(curve.get(), x, &t), CRV_ErrNone);
  return t;
}

TEST(TFromX, ClampsToTheEndsWithinTheTolerance) {
  const OwnedCurve ease = TimeCurve(0.0, 0.5, 0.5, 1.0);
  EXPECT_EQ(TFromX(ease, -5.0), 0.0);
  EXPECT_EQ(TFromX(ease, 0.0), 0.0);
  EXPECT_EQ(TFromX(ease, 0.9e-10), 0.0);
  EXPECT_EQ(TFromX(ease, 1.0), 1.0);
  EXPECT_EQ(TFromX(ease, 1.0 - 0.9e-10), 1.0);
  EXPECT_EQ(TFromX(ease, 7.0), 1.0);
  // Just outside the tolerance the cubic is solved: t ~ x / x'(0) = x / 1.5.
  EXPECT_NEAR(TFromX(ease, 1.5e-10), 1e-10, 1e-15);
}

TEST(TFromX, StartClampIsTestedFirst) {
  // Time falls from 1 to 0: below 1 + eps everything is "before the start", the rest after it.
  const OwnedCurve falling = TimeCurve(1.0, 0.7, 0.3, 0.0);
  EXPECT_EQ(TFromX(falling, 0.5), 0.0);
  EXPECT_EQ(TFromX(falling, -3.0), 0.0);
  EXPECT_EQ(TFromX(falling, 1.0 + 0.5e-10), 0.0);
  EXPECT_EQ(TFromX(falling, 1.0 + 2e-10), 1.0);
  // A span under 2e-10 leaves every time within reach of an end.
  const OwnedCurve tiny = TimeCurve(0.0, 0.5e-10, 1.0e-10, 1.5e-10);
  for (double x = -1e-10; x <= 3e-10; x += 1e-12) {
    const double t = TFromX(tiny, x);
    EXPECT_TRUE(t == 0.0 || t == 1.0) << x;
  }
}

TEST(TFromY, SolvesOnTheValueCoordinate) {
  const OwnedCurve curve{{5.0, 10.0}, {9.0, 11.0}, {-4.0, 12.0}, {6.0, 13.0}};
  double t = -1.0;
  EXPECT_EQ(CRV_TFromY(curve.get(), 11.5, &t), CRV_ErrNone);
  EXPECT_EQ(t, 0.5);  // value coordinate evenly spaced: the straight-line rule
  EXPECT_EQ(CRV_TFromY(curve.get(), 9.0, &t), CRV_ErrNone);
  EXPECT_EQ(t, 0.0);
  EXPECT_EQ(CRV_TFromY(curve.get(), 14.0, &t), CRV_ErrNone);
  EXPECT_EQ(t, 1.0);
}

TEST(TFromX, DegenerateCubicsUseTheLineAndQuadraticRules) {
  // Evenly spaced times: c3 = c2 = 0, and the line gives t = (x - p0) / c1 exactly.
  EXPECT_EQ(TFromX(TimeCurve(0.0, 1.0, 2.0, 3.0), 1.5), 0.5);
  // A span of 2.7e-10 whose c1 = c2 = c3 = 0.9e-10 are all below the tolerance: the line with no
  // slope gives t = 0 even halfway along.
  EXPECT_EQ(TFromX(TimeCurve(0.0, 0.3e-10, 0.9e-10, 2.7e-10), 1.35e-10), 0.0);
  // c1 = 1.05e-10 just above it, c2 = c3 = 0.9e-10: the line, unchecked, so t = 1.8 / 1.05 lies
  // past the end.
  EXPECT_NEAR(TFromX(TimeCurve(0.0, 0.35e-10, 1.0e-10, 2.85e-10), 1.8e-10), 1.8 / 1.05, 1e-9);
  // x = t^2 (c1 = 0): the root with c1 <= 0 comes second.
  EXPECT_NEAR(TFromX(TimeCurve(0.0, 0.0, 1.0 / 3.0, 1.0), 0.25), 0.5, 1e-15);
  // x = t^2 + t (c1 > 0): the first root.
  EXPECT_NEAR(TFromX(TimeCurve(0.0, 1.0 / 3.0, 1.0, 2.0), 0.75), 0.5, 1e-15);
  // x - v = -1e-4 (t - 0.97)(t - 1.05): its discriminant 6.4e-11 counts as zero, and the double
  // root 1.01 is taken although it lies past the end.
  const double c2 = -1e-4, c1 = 2.02e-4, p0 = -1.0185e-4;
  const double p1 = p0 + c1 / 3.0;
  EXPECT_NEAR(TFromX(TimeCurve(p0, p1, c2 / 3.0 - p0 + 2.0 * p1, p0 + c1 + c2), 0.0), 1.01, 1e-9);
}

TEST(TFromX, OneRealRootOfEitherSignOfR) {
  // x(t) = t^3 - 1.5 t^2 + 1.5 t rises throughout; R = 0.25 - x / 2 changes sign at x = 0.5.
  // Roots of x(t) = 0.25 and x(t) = 0.75 from a CAS to 30 digits; they sum to 1 by symmetry.
  const OwnedCurve ease = TimeCurve(0.0, 0.5, 0.5, 1.0);
  constexpr double kLow = 0.201964181008339238443597292800;
  constexpr double kHigh = 0.798035818991660761556402707200;
  ASSERT_NEAR(crvtest::CoordinateAt(*ease.get(), 0, kLow), 0.25, 1e-16);
  ASSERT_NEAR(crvtest::CoordinateAt(*ease.get(), 0, kHigh), 0.75, 1e-16);
  EXPECT_NEAR(TFromX(ease, 0.25), kLow, 4e-16);
  EXPECT_NEAR(TFromX(ease, 0.75), kHigh, 4e-16);
  EXPECT_NEAR(TFromX(ease, 0.5), 0.5, 3e-16);  // R = 0; cbrt(0.125) need not be exactly 0.5
}

TEST(TFromX, TripleRoot) {
  // x(t) - 1 = 8 (t - 0.5)^3: Q = R = 0 exactly, so t = -a/3 = 0.5 exactly.
  EXPECT_EQ(TFromX(TimeCurve(0.0, 2.0, 0.0, 2.0), 1.0), 0.5);
}

TEST(TFromX, ThreeRealRootsPreferSmallestThenLargestThenMiddle) {
  // Times 0, 1.5, -0.5, 1 double back: x(t) = 0.5 at 0.5 - sqrt(21)/14, 0.5, 0.5 + sqrt(21)/14.
  // Only the smallest lies where x rises, and it wins.
  EXPECT_NEAR(TFromX(TimeCurve(0.0, 1.5, -0.5, 1.0), 0.5), 0.5 - std::sqrt(21.0) / 14.0, 1e-15);
  // c3 > 0, roots -1, -0.5, 0.5: the smallest lies before the start, the largest is taken.
  EXPECT_NEAR(TFromX(CurveWithRoots(12.0, -1.0, -0.5, 0.5), 0.0), 0.5, 1e-15);
  // c3 < 0, roots -1, 0.5, 2: only the middle one is inside. This is the easing curve with time
  // handles 0.25 and 0.75, shifted and scaled (times -12, -6, 6, 12).
  const OwnedCurve middle = CurveWithRoots(-12.0, -1.0, 0.5, 2.0);
  ASSERT_EQ(middle.at(1, 0), -6.0);
  ASSERT_EQ(middle.at(2, 0), 6.0);
  EXPECT_NEAR(TFromX(middle, 0.0), 0.5, 1e-15);
}

// Found by a search over easing curves with three real roots: the root lies next to an end and
// rounds just outside the range its branch accepts, so no root is accepted. On a time span of
// 1e6 neighbouring times are 1.2e-10 apart, as coarse as the end tolerance; on a span of 1 it
// takes handles almost 1/3 apart (c3 = -2e-4, see EasingCurve) to round that far.
struct NoRootCase {
  double x1, x2, x3;  // time handles and end; the start is at 0
  double time;
};
constexpr NoRootCase kNoRootLongSpan = {0x1.1bc92b1033e8bp+14, 0x1.686cb675de565p+19, 1e6,
                                        0x1.e847ffffffffcp+19};
constexpr NoRootCase kNoRootNearStart = {0x1.ae94894b98e89p-4, 0x1.c0ec751a6eef1p-2, 1.0,
                                         0x1.57da2ac17511cp-33};

TEST(TFromX, NoAcceptedRootLeavesTheOutputAsTheCallerSetIt) {
  for (const NoRootCase& c : {kNoRootLongSpan, kNoRootNearStart}) {
    const OwnedCurve curve = TimeCurve(0.0, c.x1, c.x2, c.x3);
    EXPECT_EQ(TFromX(curve, c.time, 0.625), 0.625);
    EXPECT_TRUE(std::isnan(TFromX(curve, c.time, NAN)));
    // Well inside the same curve a root is found.
    EXPECT_NE(TFromX(curve, 0.5 * c.x3, 0.625), 0.625);
  }
}

// Found by searches that compared the solver with a variant of one acceptance rule; inputs as bit
// patterns so that nothing is lost in printing.
TEST(TFromX, AcceptanceRulesAtTheLastBit) {
  // Time doubles back (handles -148.6 and -40.8, end 100): the smallest of three roots computes
  // to exactly 0 and is turned down, since it must lie strictly inside; a later root is taken.
  const OwnedCurve back = TimeCurve(0.0, -0x1.291e5bad1d9bap+6, -0x1.46c8708bc0a91p+5, 100.0);
  EXPECT_EQ(TFromX(back, 0x1.46dbcb6b79762p-28), 0.69005236901153921);
  // A time 5 ulp short of the end on a span of 1e7: the one real root rounds to 1 + 2^-52 and is
  // taken as it lies.
  const OwnedCurve wide = TimeCurve(0.0, 0x1.454c7bc997dd3p+23, -0x1.822acb96c80cdp+21, 1e7);
  EXPECT_EQ(TFromX(wide, 0x1.312cffffffffbp+23), 1.0 + 0x1p-52);
}

TEST(TFromX, RootsOfRandomEasingCurvesReproduceTheTime) {
  crvtest::Random random(0x7f1);
  for (int i = 0; i < 6000; ++i) {
    // Half with time rising throughout, half with handles beyond [0, 1] (time doubles back).
    const bool rising = i % 2 == 0;
    const OwnedCurve curve = crvtest::EasingCurve(random, rising ? 0.0 : -0.5, rising ? 1.0 : 1.5);
    for (int j = 0; j < 8; ++j) {
      const double x = random.Uniform(1e-6, 1.0 - 1e-6);
      const double t = TFromX(curve, x, NAN);
      // x(0) < x < x(1) always has a root in (0, 1), and away from the ends it is accepted.
      ASSERT_FALSE(std::isnan(t)) << "curve " << i << " time " << x;
      EXPECT_GE(t, 0.0);
      EXPECT_LE(t, 1.0);
      EXPECT_NEAR(static_cast<double>(crvtest::CoordinateAt(*curve.get(), 0, t)), x, 1e-9)
          << "curve " << i << " handles " << curve.at(1, 0) << ", " << curve.at(2, 0);
    }
  }
}

}  // namespace
