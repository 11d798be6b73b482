// The point transform: known matrices, a random comparison against a direct evaluation, and the
// all-or-nothing failure for points at or behind the eye.
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "host/geo.h"
#include "support/near.h"

namespace {

GEO_Matrix4 Identity() {
  GEO_Matrix4 m = {};
  for (int i = 0; i < 4; ++i) m.m[i][i] = 1;
  return m;
}

TEST(Transform, IdentityLeavesPointsBitForBit) {
  GEO_Matrix4 m = Identity();
  std::vector<double> p = {1.5, -2.25, 1e300, -4.5, 3e-310, 7};
  std::vector<double> before = p;
  ASSERT_EQ(GEO_Transform3DFloatPoints(&m, 2, p.data()), 0);
  EXPECT_TRUE(crvtest::BitsEqual(p.data(), before.data(), 6));
}

TEST(Transform, AffineAndPerspectiveKnownValues) {
  // x' = 1 - y, y' = 2x + 2, z' = z + 3.
  GEO_Matrix4 affine = {{{0, -1, 0, 1}, {2, 0, 0, 2}, {0, 0, 1, 3}, {0, 0, 0, 1}}};
  double p[6] = {1, 1, 1, -2, 0.5, 0};
  ASSERT_EQ(GEO_Transform3DFloatPoints(&affine, 2, p), 0);
  const double affineExpected[6] = {0, 4, 4, 0.5, -2, 3};
  EXPECT_TRUE(crvtest::PointsNear(p, affineExpected, 6, 0));

  // Pinhole camera: w = z, so points at depth z shrink by 1/z; w = 0.5 enlarges.
  GEO_Matrix4 persp = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};
  double q[9] = {2, 4, 2, 3, -6, 3, 1, 1, 0.5};
  ASSERT_EQ(GEO_Transform3DFloatPoints(&persp, 3, q), 0);
  const double perspExpected[9] = {1, 2, 1, 1, -2, 1, 2, 2, 1};
  EXPECT_TRUE(crvtest::PointsNear(q, perspExpected, 9, 0));
}

TEST(Transform, RandomMatricesMatchDirectEvaluation) {
  std::mt19937_64 rng(77);
  std::uniform_real_distribution<double> u(-2, 2);
  for (int trial = 0; trial < 200; ++trial) {
    GEO_Matrix4 m;
    for (auto& row : m.m)
      for (double& e : row) e = u(rng);
    m.m[3][0] = m.m[3][1] = m.m[3][2] = 0.1 * u(rng);
    m.m[3][3] = 1;  // keeps w in [0.4, 1.6] for coordinates in [-2, 2]
    std::vector<double> p(3 * 16);
    for (double& c : p) c = u(rng);
    std::vector<double> expected(p.size());
    for (size_t i = 0; i < p.size(); i += 3) {
      double h[4];
      for (int r = 0; r < 4; ++r)
        h[r] = m.m[r][0] * p[i] + m.m[r][1] * p[i + 1] + m.m[r][2] * p[i + 2] + m.m[r][3];
      for (int r = 0; r < 3; ++r) expected[i + r] = h[r] / h[3];
    }
    ASSERT_EQ(GEO_Transform3DFloatPoints(&m, 16, p.data()), 0);
    ASSERT_TRUE(crvtest::PointsNear(p.data(), expected.data(), 48, 1e-13)) << "trial " << trial;
  }
}

TEST(Transform, PointAtOrBehindEyeFailsAndChangesNothing) {
  GEO_Matrix4 persp = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // The bad point comes last, so a transform that writes as it goes would be caught.
  for (double badZ : {0.0, -0.0, -1.0, inf, -inf, nan}) {
    double p[9] = {1, 2, 3, 4, 5, 6, 7, 8, badZ};
    double before[9];
    std::memcpy(before, p, sizeof p);
    EXPECT_EQ(GEO_Transform3DFloatPoints(&persp, 3, p), GEO_ERR_BEHIND_EYE) << badZ;
    EXPECT_TRUE(crvtest::BitsEqual(p, before, 9)) << badZ;
  }
  // A non-finite x is caught even where w does not use x.
  double p[3] = {nan, 1, 1};
  EXPECT_EQ(GEO_Transform3DFloatPoints(&persp, 1, p), GEO_ERR_BEHIND_EYE);
}

TEST(Transform, BadArguments) {
  GEO_Matrix4 m = Identity();
  double p[3] = {1, 2, 3};
  EXPECT_EQ(GEO_Transform3DFloatPoints(nullptr, 1, p), GEO_ERR_BAD_ARGUMENT);
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, nullptr), GEO_ERR_BAD_ARGUMENT);
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, -1, p), GEO_ERR_BAD_ARGUMENT);
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 0, p), 0);
}

}  // namespace
