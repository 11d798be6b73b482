// The average value between two times, taken over the curve parameter.
#include <cmath>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "function_curves/easing_curves.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;

double Average(const OwnedCurve& curve, double x1, double x2) {
  double out = NAN;
  EXPECT_EQ(CRV_EvaluateYAverageFromXToX(curve.get(), x1, x2, &out), CRV_ErrNone);
  return out;
}

TEST(EvaluateYAverageFromXToX, AveragesOverTheParameter) {
  // y = 3t(1 - t) over t in [0, 1]: mean 0.5.
  const OwnedCurve hump{{0.0, 0.0}, {1.0, 1.0}, {2.0, 1.0}, {3.0, 0.0}};
  EXPECT_EQ(Average(hump, 0.0, 3.0), 0.5);
  EXPECT_EQ(Average(hump, -10.0, 10.0), 0.5);  // bounds clamp to the ends
  // The same values with time easing in and out (times 0, 0, 3, 3): still 0.5 over the
  // parameter, where the mean over time is 0.6 (checked here by Simpson's rule over time).
  const OwnedCurve eased{{0.0, 0.0}, {0.0, 1.0}, {3.0, 1.0}, {3.0, 0.0}};
  EXPECT_EQ(Average(eased, 0.0, 3.0), 0.5);
  const int n = 3000;
  double sum = 0.0;
  for (int i = 0; i <= n; ++i) {
    double y = 0.0;
    CRV_EvaluateYFromX(eased.get(), 3.0 * i / n, &y);
    sum += (i == 0 || i == n ? 1.0 : i % 2 ? 4.0 : 2.0) * y;
  }
  EXPECT_NEAR(sum / (3.0 * n), 0.6, 1e-4);  // y ~ sqrt(x) at the start slows Simpson down
}

TEST(EvaluateYAverageFromXToX, EqualAndCollapsedBounds) {
  const OwnedCurve curve{{1.0, -2.0}, {1.5, 7.0}, {2.5, -9.0}, {3.0, 4.0}};
  for (double x : {1.2, 2.0, 2.9}) {
    double y = 0.0;
    CRV_EvaluateYFromX(curve.get(), x, &y);
    EXPECT_EQ(Average(curve, x, x), y);
  }
  EXPECT_EQ(Average(curve, 0.0, 0.0), -2.0);  // one bound before the start: P0.y
  EXPECT_EQ(Average(curve, 0.0, 0.5), 0.0);   // two bounds before the start: t2 - t1 = 0
  EXPECT_EQ(Average(curve, 3.5, 9.0), 0.0);   // likewise after the end
}

// Found by the function-curves fuzz target (fuzz/function_curves_fuzz.cpp): swapping the bounds
// changes the sign of both differences exactly, so the average keeps its value, but a zero
// average keeps the sign of the quotient: +0 one way, -0 the other.
TEST(EvaluateYAverageFromXToX, SwappedBoundsAgreeUpToTheSignOfZero) {
  const OwnedCurve flat{{0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}};
  const double x2 = 0x1.1a17ec78693e4p-30;
  const double forward = Average(flat, 0.0, x2), backward = Average(flat, x2, 0.0);
  EXPECT_EQ(forward, backward);
  EXPECT_FALSE(std::signbit(forward));
  EXPECT_TRUE(std::signbit(backward));
}

// The antiderivative of the value from 0 to t, written out once more in its pinned grouping:
//   q0 t + (3 q1 - 3 q0)(0.5 t^2) + (q0 - 2 q1 + q2) t^3 + (3 (q1 - q2) + (q3 - q0))(0.25 t^4).
double Antiderivative(const OwnedCurve& c, double t) {
  const double q0 = c.at(0, 1), q1 = c.at(1, 1), q2 = c.at(2, 1), q3 = c.at(3, 1);
  const double t2 = t * t, t3 = t * t2, t4 = t * t3;
  return q0 * t + (3.0 * q1 - 3.0 * q0) * (0.5 * t2) + (q0 - 2.0 * q1 + q2) * t3 +
         (3.0 * (q1 - q2) + (q3 - q0)) * (0.25 * t4);
}

TEST(EvaluateYAverageFromXToX, MatchesTheAntiderivativeAndAnIntegralInEitherOrder) {
  crvtest::Random random(0x61d);
  for (int i = 0; i < 3000; ++i) {
    const OwnedCurve curve = crvtest::EasingCurve(random, i % 2 ? -0.5 : 0.0, i % 2 ? 1.5 : 1.0);
    const double x1 = random.Uniform(-0.1, 1.1), x2 = random.Uniform(-0.1, 1.1);
    const double average = Average(curve, x1, x2);
    const double swapped = Average(curve, x2, x1);
    EXPECT_BITS_EQ(&average, &swapped, 1);

    double t1 = 0.0, t2 = 0.0;
    CRV_TFromX(curve.get(), x1, &t1);
    CRV_TFromX(curve.get(), x2, &t2);
    if (t1 != t2) {
      const double exact = (Antiderivative(curve, t2) - Antiderivative(curve, t1)) / (t2 - t1);
      EXPECT_BITS_EQ(&average, &exact, 1);
    }
    if (std::fabs(t2 - t1) < 1e-3) continue;
    // Composite Simpson over the parameter, exact for a cubic up to rounding.
    const int n = 16;
    long double sum = 0.0L;
    for (int k = 0; k <= n; ++k) {
      const long double t = t1 + (static_cast<long double>(t2) - t1) * k / n;
      sum += (k == 0 || k == n ? 1 : k % 2 ? 4 : 2) * crvtest::CoordinateAt(*curve.get(), 1, t);
    }
    const double reference = static_cast<double>(sum / (3 * n));
    EXPECT_NEAR(average, reference, 1e-11 * (1.0 + std::fabs(reference))) << i;
  }
}

}  // namespace
