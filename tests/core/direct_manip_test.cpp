// Dragging a curve point by its inner control points.
#include <gtest/gtest.h>

#include "crv/crv.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;

TEST(DirectManip, MidpointWeights) {
  double w[4] = {9, 9, 9, 9};
  EXPECT_EQ(CRV_DirectManipSetup(0.5, w), CRV_ErrNone);
  const double expected[4] = {0.0, 4.0 / 3.0, 4.0 / 3.0, 0.0};
  EXPECT_BITS_EQ(w, expected, 4);
}

TEST(DirectManip, EndPointsCannotBeDragged) {
  for (double t : {0.0, 1.0}) {
    double w[4] = {9, 9, 9, 9};
    CRV_DirectManipSetup(t, w);
    for (double v : w) EXPECT_EQ(v, 0.0);
    OwnedCurve c({0, 0}, {1, 2}, {3, 2}, {4, 0});
    const OwnedCurve before = c;
    const double delta[2] = {5, -5};
    CRV_DirectManipCurve(c.get(), delta, w);
    for (int i = 0; i < 4; ++i)
      for (int k = 0; k < 2; ++k) EXPECT_EQ(c.at(i, k), before.at(i, k));
  }
}

TEST(DirectManip, MovesThePointByExactlyDelta) {
  crvtest::Random random(41);
  for (int trial = 0; trial < 1000; ++trial) {
    OwnedCurve c = random.Curve(3);
    const OwnedCurve before = c;
    const double t = random.Uniform(0.02, 0.98);
    const double delta[3] = {random.Uniform(-10, 10), random.Uniform(-10, 10), random.Uniform(-10, 10)};
    double w[4], was[3], now[3];
    CRV_DirectManipSetup(t, w);
    CRV_EvaluatePoint(c.get(), t, was);
    CRV_DirectManipCurve(c.get(), delta, w);
    CRV_EvaluatePoint(c.get(), t, now);
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(now[k] - was[k], delta[k], 1e-10);
      EXPECT_EQ(c.at(0, k), before.at(0, k));
      EXPECT_EQ(c.at(3, k), before.at(3, k));
      // The inner points move along delta, in the proportion of their Bernstein weights.
      EXPECT_NEAR(c.at(1, k) - before.at(1, k), w[1] * delta[k], 1e-12);
      EXPECT_NEAR(c.at(2, k) - before.at(2, k), w[2] * delta[k], 1e-12);
    }
  }
}

}  // namespace
