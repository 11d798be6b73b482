// Values by time, singly and sampled; the time of a value; turning points; the non-decreasing
// repair of the inner handles.
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "function_curves/easing_curves.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;

double YFromX(const OwnedCurve& curve, double x) {
  double y = NAN;
  EXPECT_EQ(CRV_EvaluateYFromX(curve.get(), x, &y), CRV_ErrNone);
  return y;
}

// The same curve with three more coordinates, all NaN: lookups read only time and value.
OwnedCurve Widened(const OwnedCurve& curve) {
  OwnedCurve wide(5);
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < 5; ++k) wide.at(i, k) = k < 2 ? curve.at(i, k) : NAN;
  return wide;
}

TEST(EvaluateYFromX, ValuesInsideAndClampedOutside) {
  // Evenly spaced times, values 0, 1, 1, 0: y = 3t(1 - t) and t = x / 3.
  const OwnedCurve hump{{0.0, 0.0}, {1.0, 1.0}, {2.0, 1.0}, {3.0, 0.0}};
  EXPECT_EQ(YFromX(hump, 1.5), 0.75);
  EXPECT_NEAR(YFromX(hump, 1.0), 2.0 / 3.0, 1e-15);
  const OwnedCurve curve{{1.0, -2.0}, {1.5, 7.0}, {2.5, -9.0}, {3.0, 4.0}};
  EXPECT_EQ(YFromX(curve, 0.0), -2.0);
  EXPECT_EQ(YFromX(curve, 1.0), -2.0);
  EXPECT_EQ(YFromX(curve, 3.0), 4.0);
  EXPECT_EQ(YFromX(curve, 1e6), 4.0);
}

TEST(EvaluateYFromX, ValueIsTheNestedFormAtTheSolvedParameter) {
  // Results are pinned bit for bit: the value is
  //   t^3 q3 + (1 - t)(((3 q1) t + q0 (1 - t))(1 - t) + (3 q2) t^2),  t^3 = t t^2,
  // written out once more here, at the parameter the solver gives.
  crvtest::Random random(0x0b1);
  for (int i = 0; i < 200; ++i) {
    const OwnedCurve curve = crvtest::EasingCurve(random, -0.5, 1.5);
    const double x = random.Uniform(-0.1, 1.1);
    double t = 0.0;
    CRV_TFromX(curve.get(), x, &t);
    const double u = 1.0 - t, t2 = t * t, t3 = t * t2;
    const double expected =
        t3 * curve.at(3, 1) +
        u * (((3.0 * curve.at(1, 1)) * t + curve.at(0, 1) * u) * u + (3.0 * curve.at(2, 1)) * t2);
    const double y = YFromX(curve, x);
    EXPECT_BITS_EQ(&y, &expected, 1);
  }
}

TEST(EvaluateYFromX, ReadsOnlyTimeAndValue) {
  crvtest::Random random(0xa11);
  for (int i = 0; i < 50; ++i) {
    const OwnedCurve curve = crvtest::EasingCurve(random, 0.0, 1.0);
    const OwnedCurve wide = Widened(curve);
    const double x = random.Uniform(-0.1, 1.1);
    double narrowOut[6] = {}, wideOut[6] = {};
    int32_t counts[2] = {};
    CRV_EvaluateYFromX(curve.get(), x, &narrowOut[0]);
    CRV_EvaluateYFromX(wide.get(), x, &wideOut[0]);
    CRV_EvaluateXFromY(curve.get(), x, &narrowOut[1]);
    CRV_EvaluateXFromY(wide.get(), x, &wideOut[1]);
    CRV_EvaluateYFromXs(curve.get(), 0.0, x, 2, &narrowOut[2]);
    CRV_EvaluateYFromXs(wide.get(), 0.0, x, 2, &wideOut[2]);
    // Exactly two entries for the turning points, however wide the record (ASan sees a third).
    CRV_EvaluateXFromYPrime(curve.get(), nullptr, &counts[0], &narrowOut[4]);
    CRV_EvaluateXFromYPrime(wide.get(), nullptr, &counts[1], &wideOut[4]);
    EXPECT_EQ(counts[0], counts[1]);
    EXPECT_BITS_EQ(narrowOut, wideOut, 4 + counts[0]);
  }
}

TEST(EvaluateYFromXs, CountsBelowTwo) {
  const OwnedCurve curve{{0.0, 5.0}, {0.2, 1.0}, {0.7, 2.0}, {1.0, 3.0}};
  double ys[3] = {-1.0, -1.0, -1.0};
  for (int16_t count : {0, -1, INT16_MIN}) {
    EXPECT_EQ(CRV_EvaluateYFromXs(curve.get(), 0.0, 1.0, count, ys), CRV_ErrNone);
    EXPECT_EQ(ys[0], -1.0);
  }
  EXPECT_EQ(CRV_EvaluateYFromXs(curve.get(), 0.3, 1.0, 1, ys), CRV_ErrNone);
  EXPECT_EQ(ys[0], YFromX(curve, 0.3));
  EXPECT_EQ(ys[1], -1.0);
}

TEST(EvaluateYFromXs, SamplesForwardsBackwardsAndInPlace) {
  const OwnedCurve hump{{0.0, 0.0}, {1.0, 1.0}, {2.0, 1.0}, {3.0, 0.0}};
  double ys[5];
  ASSERT_EQ(CRV_EvaluateYFromXs(hump.get(), 0.0, 3.0, 5, ys), CRV_ErrNone);
  const double forwards[5] = {0.0, 0.5625, 0.75, 0.5625, 0.0};  // 3t(1 - t), t = 0, 1/4, ...
  EXPECT_POINT_NEAR(ys, forwards, 5, 1e-15);
  ASSERT_EQ(CRV_EvaluateYFromXs(hump.get(), 3.0, 0.75, 4, ys), CRV_ErrNone);
  const double backwards[4] = {0.0, 0.5625, 0.75, 0.5625};
  EXPECT_POINT_NEAR(ys, backwards, 4, 1e-15);
  ASSERT_EQ(CRV_EvaluateYFromXs(hump.get(), 1.5, 1.5, 3, ys), CRV_ErrNone);
  EXPECT_EQ(ys[0], 0.75);
  EXPECT_EQ(ys[1], 0.75);
  EXPECT_EQ(ys[2], 0.75);
}

TEST(EvaluateYFromXs, MatchesTheSingleLookupSampleBySample) {
  crvtest::Random random(0x5a3);
  const int16_t count = 257;
  std::vector<double> ys(count);
  int threeRootKind = 0;
  for (int i = 0; i < 400; ++i) {
    const OwnedCurve curve = crvtest::EasingCurve(random, i % 2 ? -0.5 : 0.0, i % 2 ? 1.5 : 1.0);
    const double x1 = random.Uniform(-0.2, 0.5), x2 = random.Uniform(0.5, 1.2);
    ASSERT_EQ(CRV_EvaluateYFromXs(curve.get(), x1, x2, count, ys.data()), CRV_ErrNone);
    // Q > 0 (c2^2 > 3 c1 c3) is where the three-root branch can run; only its angle is formed
    // differently (R times a stored 1/sqrt(Q^3)), so elsewhere samples match bit for bit.
    const double c1 = 3.0 * curve.at(1, 0), c2 = 3.0 * (curve.at(2, 0) - 2.0 * curve.at(1, 0));
    const double c3 = 3.0 * (curve.at(1, 0) - curve.at(2, 0)) + 1.0;
    const bool mayHaveThreeRoots = c2 * c2 > 3.0 * c1 * c3 - 1e-9;
    threeRootKind += mayHaveThreeRoots;
    const double step = (x2 - x1) / (count - 1);
    double x = x1;
    for (int16_t s = 0; s < count; ++s, x += step) {
      double t = NAN;
      CRV_TFromX(curve.get(), x, &t);
      if (std::isnan(t)) continue;  // no root: the sampled form keeps the previous t
      if (mayHaveThreeRoots)
        EXPECT_NEAR(ys[s], YFromX(curve, x), 1e-12) << "curve " << i << " sample " << s;
      else
        EXPECT_EQ(ys[s], YFromX(curve, x)) << "curve " << i << " sample " << s;
    }
  }
  EXPECT_GT(threeRootKind, 40);  // both kinds were exercised
}

// An easing curve over a time span of 1e6 on which the solver accepts no root at one time just
// before the end (see the solver's tests).
constexpr double kNoRootX1 = 0x1.1bc92b1033e8bp+14, kNoRootX2 = 0x1.686cb675de565p+19;
constexpr double kNoRootTime = 0x1.e847ffffffffcp+19;

TEST(EvaluateYFromXs, SampleWithoutRootReusesThePreviousParameter) {
  const OwnedCurve curve{{0.0, 10.0}, {kNoRootX1, 20.0}, {kNoRootX2, 30.0}, {1e6, 40.0}};
  double t = NAN;
  CRV_TFromX(curve.get(), kNoRootTime, &t);
  ASSERT_TRUE(std::isnan(t));
  // The single lookup falls back to t = 0, the start value, although the time is at the end.
  EXPECT_EQ(YFromX(curve, kNoRootTime), 10.0);
  // Sampled from x1, the second time is exactly kNoRootTime (x1 + (v - x1) rounds to v).
  const double x1 = 5e5;
  ASSERT_EQ(x1 + (kNoRootTime - x1), kNoRootTime);
  double ys[2];
  ASSERT_EQ(CRV_EvaluateYFromXs(curve.get(), x1, kNoRootTime, 2, ys), CRV_ErrNone);
  EXPECT_NEAR(ys[0], YFromX(curve, x1), 1e-12);  // three real roots: the angle may differ
  EXPECT_EQ(ys[1], ys[0]);
  // As the first sample it falls back to 0 like the single lookup.
  ASSERT_EQ(CRV_EvaluateYFromXs(curve.get(), kNoRootTime, x1, 2, ys), CRV_ErrNone);
  EXPECT_EQ(ys[0], 10.0);
}

TEST(EvaluateXFromY, TimeOfAValue) {
  // Times 0, 1, 2, 3 and values rising 1, 1.5, 3.5, 4.
  const OwnedCurve curve{{0.0, 1.0}, {1.0, 1.5}, {2.0, 3.5}, {3.0, 4.0}};
  double x = NAN;
  EXPECT_EQ(CRV_EvaluateXFromY(curve.get(), 2.5, &x), CRV_ErrNone);
  EXPECT_NEAR(x, 1.5, 1e-15);  // symmetric about the middle
  EXPECT_EQ(CRV_EvaluateXFromY(curve.get(), 0.0, &x), CRV_ErrNone);
  EXPECT_EQ(x, 0.0);
  EXPECT_EQ(CRV_EvaluateXFromY(curve.get(), 9.0, &x), CRV_ErrNone);
  EXPECT_EQ(x, 3.0);

  // Round trip value -> time -> value on easing curves whose value rises throughout.
  crvtest::Random random(0x2b7);
  for (int i = 0; i < 500; ++i) {
    OwnedCurve c = crvtest::EasingCurve(random, 0.0, 1.0);
    c.at(1, 1) = random.Uniform(0.0, 1.0);
    c.at(2, 1) = random.Uniform(0.0, 1.0);
    if (std::fabs(3.0 * (c.at(1, 1) - c.at(2, 1)) + 1.0) < 1e-3) continue;  // see EasingCurve
    const double y = random.Uniform(0.01, 0.99);
    ASSERT_EQ(CRV_EvaluateXFromY(c.get(), y, &x), CRV_ErrNone);
    EXPECT_NEAR(YFromX(c, x), y, 1e-9) << i;
  }
}

TEST(EvaluateXFromYPrime, TurningPoints) {
  int32_t count = -1;
  double xs[3] = {-1.0, -1.0, -1.0};
  // Values 0, 1, 1, 0: dy/dt = 3 - 6t, one root 0.5, at time 1.5 on evenly spaced times.
  const OwnedCurve hump{{0.0, 0.0}, {1.0, 1.0}, {2.0, 1.0}, {3.0, 0.0}};
  EXPECT_EQ(CRV_EvaluateXFromYPrime(hump.get(), nullptr, &count, xs), CRV_ErrNone);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(xs[0], 1.5);
  EXPECT_EQ(xs[1], -1.0);
  // Values 0, 2, -1, 1: 30t^2 - 30t + 6, roots (5 -+ sqrt 5) / 10, smaller first; times 3t.
  const OwnedCurve wave{{0.0, 0.0}, {1.0, 2.0}, {2.0, -1.0}, {3.0, 1.0}};
  EXPECT_EQ(CRV_EvaluateXFromYPrime(wave.get(), &count, &count, xs), CRV_ErrNone);
  EXPECT_EQ(count, 2);
  EXPECT_NEAR(xs[0], 0.3 * (5.0 - std::sqrt(5.0)), 1e-14);
  EXPECT_NEAR(xs[1], 0.3 * (5.0 + std::sqrt(5.0)), 1e-14);
  EXPECT_EQ(xs[2], -1.0);
  // A straight rise in t (values 0, 1, 2, 3) reports one root at t = 0: the start time.
  const OwnedCurve line{{4.0, 0.0}, {5.0, 1.0}, {7.0, 2.0}, {8.0, 3.0}};
  EXPECT_EQ(CRV_EvaluateXFromYPrime(line.get(), nullptr, &count, xs), CRV_ErrNone);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(xs[0], 4.0);
  // Values 0, -1, -3, 2: dy/dt = 24t^2 - 6t - 3, roots -0.25 (found first) and 0.5: the root
  // before the start is skipped without leaving a gap.
  const OwnedCurve dip{{0.0, 0.0}, {1.0, -1.0}, {2.0, -3.0}, {3.0, 2.0}};
  EXPECT_EQ(CRV_EvaluateXFromYPrime(dip.get(), nullptr, &count, xs), CRV_ErrNone);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(xs[0], 1.5);
  // Values 0, 1, 2, 4 (dy/dt = 3 + 3t^2 > 0 with no real root): nothing.
  const OwnedCurve steep{{0.0, 0.0}, {1.0, 1.0}, {2.0, 2.0}, {3.0, 4.0}};
  EXPECT_EQ(CRV_EvaluateXFromYPrime(steep.get(), nullptr, &count, xs), CRV_ErrNone);
  EXPECT_EQ(count, 0);
}

TEST(CurveSetNonDecreasing, PullsHandlesIntoTheValueRange) {
  uint8_t changed = 7;
  // P1 above P3: slides along P0 -> P1 to P3's height, r = 0.5.
  OwnedCurve a{{0.0, 0.0, 9.0}, {1.0, 2.0, 9.0}, {2.0, 1.0, 9.0}, {3.0, 1.0, 9.0}};
  EXPECT_EQ(CRV_CurveSetNonDecreasing(a.get(), &changed), CRV_ErrNone);
  EXPECT_EQ(changed, 1);
  const double a1[3] = {0.5, 1.0, 9.0}, a2[3] = {2.0, 1.0, 9.0};
  EXPECT_BITS_EQ(a.get()->ctpts[1], a1, 3);
  EXPECT_BITS_EQ(a.get()->ctpts[2], a2, 3);
  // P2 below P0: slides along P3 -> P2 to P0's height, r = 1/3.
  OwnedCurve b{{0.0, 1.0}, {1.0, 1.5}, {2.0, -1.0}, {3.0, 2.0}};
  EXPECT_EQ(CRV_CurveSetNonDecreasing(b.get(), &changed), CRV_ErrNone);
  EXPECT_EQ(changed, 1);
  EXPECT_NEAR(b.at(2, 0), 3.0 - 1.0 / 3.0, 1e-15);
  EXPECT_EQ(b.at(2, 1), 1.0);
  EXPECT_EQ(b.at(1, 0), 1.0);
  EXPECT_EQ(b.at(1, 1), 1.5);
  // Level ends: a handle above collapses onto its end point (r = 0), one below likewise.
  OwnedCurve c{{1.0, 2.0}, {2.0, 5.0}, {3.0, -1.0}, {4.0, 2.0}};
  EXPECT_EQ(CRV_CurveSetNonDecreasing(c.get(), nullptr), CRV_ErrNone);
  const double c1[2] = {1.0, 2.0}, c2[2] = {4.0, 2.0};
  EXPECT_BITS_EQ(c.get()->ctpts[1], c1, 2);
  EXPECT_BITS_EQ(c.get()->ctpts[2], c2, 2);
}

TEST(CurveSetNonDecreasing, LeavesInRangeAndFallingCurvesAlone) {
  uint8_t changed = 7;
  const OwnedCurve inRange{{0.0, 0.0}, {1.0, 0.0}, {2.0, 1.0}, {3.0, 1.0}};
  // Inner values on the far side of their own end are not repaired either.
  const OwnedCurve otherSide{{0.0, 0.0}, {1.0, -3.0}, {2.0, 4.0}, {3.0, 1.0}};
  // Falling: the formulas would give negative ratios; nothing moves and 0 is reported.
  const OwnedCurve falling{{0.0, 1.0}, {1.0, 5.0}, {2.0, -5.0}, {3.0, 0.0}};
  for (const OwnedCurve& original : {inRange, otherSide, falling}) {
    OwnedCurve curve = original;
    changed = 7;
    EXPECT_EQ(CRV_CurveSetNonDecreasing(curve.get(), &changed), CRV_ErrNone);
    EXPECT_EQ(changed, 0);
    for (int i = 0; i < 4; ++i) EXPECT_BITS_EQ(curve.get()->ctpts[i], original.get()->ctpts[i], 2);
  }
}

TEST(CurveSetNonDecreasing, RepairedHandlesKeepTheirTangents) {
  crvtest::Random random(0x9d2);
  for (int i = 0; i < 1000; ++i) {
    OwnedCurve curve = random.Curve(2, -10.0, 10.0);
    if (curve.at(3, 1) < curve.at(0, 1)) continue;
    const OwnedCurve before = curve;
    uint8_t changed = 7;
    ASSERT_EQ(CRV_CurveSetNonDecreasing(curve.get(), &changed), CRV_ErrNone);
    EXPECT_EQ(changed, before.at(1, 1) > before.at(3, 1) || before.at(2, 1) < before.at(0, 1));
    EXPECT_LE(curve.at(1, 1), curve.at(3, 1));
    EXPECT_GE(curve.at(2, 1), curve.at(0, 1));
    // Each handle stays on the line from its end point through its old position, on the same side.
    for (int h : {1, 2}) {
      const int end = h == 1 ? 0 : 3;
      const double ox = before.at(h, 0) - before.at(end, 0);
      const double oy = before.at(h, 1) - before.at(end, 1);
      const double nx = curve.at(h, 0) - curve.at(end, 0);
      const double ny = curve.at(h, 1) - curve.at(end, 1);
      EXPECT_NEAR(ox * ny - oy * nx, 0.0, 1e-9 * (1.0 + std::fabs(ox) + std::fabs(oy)));
      EXPECT_GE(ox * nx + oy * ny, 0.0);
    }
  }
}

}  // namespace
