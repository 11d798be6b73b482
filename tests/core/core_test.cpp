// The curve core: answers worked out by hand, then properties over random curves checked against
// the long-double reference point: evaluation, bounds, splits and direct manipulation.
#include <cmath>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/quadratic.h"
#include "crv/crv.hpp"
#include "catalogue/reference.h"
#include "support/curves.h"
#include "support/host_controls.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;
using Pts = std::vector<double>;

Pts Ref(const OwnedCurve& c, double t) { return crvref::Point(*c.get(), t); }

TEST(Core, HandCheckedAnswers) {
  // P = (0,0) (0,1) (1,1) (1,0): x = 3t^2 - 2t^3, y = 3t(1 - t); at t = 0.5 the point, first and
  // second derivatives, the bounds, the split (q0 r0 m r1 q2), then the bounds of
  // x = 3t(1 - t)(1 - 2t), at t = 1/2 -+ sqrt(3)/6, and the drag weights at 0.5, 0 and 1.
  const OwnedCurve c({0, 0}, {0, 1}, {1, 1}, {1, 0}), wave({0}, {1}, {-1}, {0});
  double got[34];
  CRV_EvaluatePoint(c.get(), 0.5, got);
  CRV_EvaluateDeriv(c.get(), 0.5, got + 2);
  CRV_EvaluateDeriv2(c.get(), 0.5, got + 4);
  CRV_EvaluateBounds(c.get(), got + 6, got + 8);
  CRV_SubdivideCurve(c.get(), 0.5, got + 10);
  CRV_EvaluateBounds(wave.get(), got + 20, got + 21);
  for (int i = 0; i < 3; ++i) CRV_DirectManipSetup(i == 0 ? 0.5 : i - 1.0, got + 22 + 4 * i);
  const double s = std::sqrt(3.0) / 6, want[34] = {
      0.5, 0.75, 1.5, 0, 0, -6, 0, 0, 1, 0.75, 0, 0.5, 0.25, 0.75, 0.5, 0.75, 0.75, 0.75, 1, 0.5,
      -s, s, 0, 4.0 / 3, 4.0 / 3, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_POINT_NEAR(got, want, 34, 1e-14);
  EXPECT_STREQ(HS_ZLookupLStrCache(CRV_G_zref, 6, 0, 0), "Bezier Curve");  // the frame's messages
  // Quadratics a b c -> count and roots, sorted here: two, a double root, none, a line, and the
  // root 1e-8 without cancellation.
  const double quadratics[6][6] = {{1, -3, 2, 2, 1, 2}, {1, 3, 2, 2, -2, -1}, {1, -2, 1, 1, 1, 0},
                                   {1, 0, 1, 0}, {0, 2, -1, 1, 0.5}, {1, -1e8, 1, 2, 1e-8, 1e8}};
  for (const auto& q : quadratics) {
    int32_t n = -1;
    double r[2];
    crv::SolveQuadratic(q[0], q[1], q[2], &n, r);
    ASSERT_EQ(n, q[3]) << q[0] << " " << q[1] << " " << q[2];
    if (n == 2 && r[0] > r[1]) std::swap(r[0], r[1]);
    for (int i = 0; i < n; ++i) EXPECT_NEAR(r[i], q[4 + i], 4e-16 * std::fabs(r[i]));
  }
}

// Points by the reference, derivatives by its central differences (exact up to rounding for the
// second), singly and sampled (at times from 0, which starts its own way), on both paths.
TEST(Core, EvaluationMatchesTheReferenceOnRandomCurves) {
  for (int32_t paired : {0, 1}) {
    if (paired && HS_G_CPU_DataP[3] == 0) continue;  // no paired path on this machine
    crvtest::CapabilityOverride path(paired);
    crvtest::Random random(13);
    for (int trial = 0; trial < 400; ++trial) {
      const OwnedCurve c = random.Curve(random.Int(1, 5));
      const int d = c.dims(), n = random.Int(2, 40);
      const double t0 = trial % 3 ? random.Uniform(-0.5, 1.0) : 0.0, t1 = random.Uniform(t0, 1.5);
      Pts points(n * d), derivs(n * d), p(d), d1(d), d2(d);
      CRV_EvaluatePoints(c.get(), t0, t1, n, points.data());
      CRV_EvaluateDerivs(c.get(), t0, t1, n, derivs.data());
      for (int i = 0; i < n; ++i) {
        const double t = t0 + i * ((t1 - t0) / (n - 1));
        const double size = 100 * std::pow(std::fabs(t) + std::fabs(1 - t), 3);  // |terms| sum
        const Pts at = Ref(c, t), up = Ref(c, t + 1e-4), down = Ref(c, t - 1e-4);
        const Pts up2 = Ref(c, t + 1e-3), down2 = Ref(c, t - 1e-3);
        CRV_EvaluatePoint(c.get(), t, p.data());
        CRV_EvaluateDeriv(c.get(), t, d1.data());
        CRV_EvaluateDeriv2(c.get(), t, d2.data());
        for (int k = 0; k < d; ++k) {
          const double slope = (up[k] - down[k]) / 2e-4;
          EXPECT_NEAR(p[k], at[k], 2e-14 * size);
          EXPECT_NEAR(points[i * d + k], at[k], 1e-12 * size) << "sample " << i << " of " << n;
          EXPECT_NEAR(d1[k], slope, 1e-7 * size);
          EXPECT_NEAR(derivs[i * d + k], slope, 1e-7 * size) << "sample " << i << " of " << n;
          EXPECT_NEAR(d2[k], (up2[k] - 2 * at[k] + down2[k]) / 1e-6, 1e-6 * size);
        }
      }
    }
  }
}

// Bounds contain 1001 samples of the reference and are touched (golden-section search from the
// extreme sample); those of x and y do not change, bit for bit, with coordinates beside them (2-D
// takes a path of its own). Half the curves have small integers, making coefficients vanish.
TEST(Core, BoundsContainEverySampleAndAreTouched) {
  crvtest::Random random(21);
  for (int trial = 0; trial < 600; ++trial) {
    OwnedCurve c = random.Curve(random.Int(1, 4)), flat(2);
    const int d = c.dims();
    for (int i = 0; i < 4; ++i)
      for (int k = 0; k < d; ++k) {
        if (trial % 2) c.at(i, k) = random.Int(-1, 3);
        if (k < 2) flat.at(i, k) = c.at(i, k);
      }
    Pts lo(d), hi(d), lo2(2), hi2(2);
    CRV_EvaluateBounds(c.get(), lo.data(), hi.data());
    CRV_EvaluateBounds(flat.get(), lo2.data(), hi2.data());
    EXPECT_TRUE(d < 3 || (crvtest::BitsEqual(lo.data(), lo2.data(), 2) &&
                          crvtest::BitsEqual(hi.data(), hi2.data(), 2)));
    std::vector<Pts> samples(1001);
    for (int i = 0; i <= 1000; ++i) samples[i] = Ref(c, i / 1000.0);
    for (int k = 0; k < d; ++k)
      for (double sign : {-1.0, 1.0}) {
        auto f = [&](double t) { return sign * Ref(c, t)[k]; };
        const double bound = sign * (sign < 0 ? lo[k] : hi[k]);
        int best = 0;
        for (int i = 0; i <= 1000; ++i) {
          EXPECT_LE(sign * samples[i][k], bound + 1e-9) << "sample " << i;
          best = sign * samples[i][k] > sign * samples[best][k] ? i : best;
        }
        double a = std::fmax(0.0, (best - 1) / 1000.0), b = std::fmin(1.0, (best + 1) / 1000.0);
        for (int i = 0; i < 100; ++i) {
          const double x1 = b - 0.618034 * (b - a), x2 = a + 0.618034 * (b - a);
          if (f(x1) > f(x2)) b = x2; else a = x1;
        }
        EXPECT_NEAR(std::fmax(f(a), f(b)), bound, 1e-9) << "coordinate " << k;
      }
  }
}

// The halves of a split, (P0 q0 r0 m) and (m r1 q2 P3), reproduce the curve on [0, t] and [t, 1].
TEST(Core, SplitPiecesJoinAndReproduceTheCurve) {
  crvtest::Random random(31);
  for (int trial = 0; trial < 500; ++trial) {
    const OwnedCurve c = random.Curve(random.Int(1, 4));
    const int d = c.dims();
    const double t = random.Uniform(0.0, 1.0);
    Pts out(5 * d);
    CRV_SubdivideCurve(c.get(), t, out.data());
    OwnedCurve left(d), right(d);
    for (int i = 0; i < 4; ++i)
      for (int k = 0; k < d; ++k) {
        left.at(i, k) = i == 0 ? c.at(0, k) : out[(i - 1) * d + k];
        right.at(i, k) = i == 3 ? c.at(3, k) : out[(i + 2) * d + k];
      }
    for (double u : {0.0, 0.3, 0.7, 1.0}) {
      EXPECT_POINT_NEAR(Ref(left, u).data(), Ref(c, u * t).data(), d, 1e-11);
      EXPECT_POINT_NEAR(Ref(right, u).data(), Ref(c, t + u * (1 - t)).data(), d, 1e-11);
    }
  }
}

TEST(Core, DirectManipulationMovesThePointByExactlyTheDelta) {
  crvtest::Random random(41);
  for (int trial = 0; trial < 1000; ++trial) {
    OwnedCurve c = random.Curve(3);
    const OwnedCurve before = c;
    const double t = random.Uniform(0.02, 0.98);
    double delta[3], w[4];
    for (double& v : delta) v = random.Uniform(-10, 10);
    CRV_DirectManipSetup(t, w);
    CRV_DirectManipCurve(c.get(), delta, w);
    const Pts was = Ref(before, t), now = Ref(c, t);
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(now[k] - was[k], delta[k], 1e-10);
      EXPECT_TRUE(c.at(0, k) == before.at(0, k) && c.at(3, k) == before.at(3, k));  // ends stay
    }
  }
}

}  // namespace
