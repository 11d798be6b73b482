// 3-D curves projected into runs of screen-space 2-D cubics.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.hpp"
#include "host/geo.h"
#include "host/host_test.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using V2 = GEO_Vector2T<double>;
using V3 = GEO_Vector3T<double>;
using Pieces = std::vector<CRV_CurveClass2D>;

// A pinhole camera looking down +z from the origin: screen x = 800 X / Z + 640,
// y = 800 Y / Z + 360, w = Z.
const GEO_Matrix4 kCamera{{{800, 0, 640, 0}, {0, 800, 360, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};

// A camera at a random orientation whose eye is `distance` from the origin: a point p lies at a
// depth of at least distance - |p| in front of it.
GEO_Matrix4 RandomCamera(crvtest::Random& rng, double distance) {
  // A random rotation from a unit quaternion.
  double q[4];
  double norm = 0;
  for (double& v : q) {
    v = rng.Uniform(-1, 1);
    norm += v * v;
  }
  norm = std::sqrt(norm);
  for (double& v : q) v /= norm;
  const double w = q[0], x = q[1], y = q[2], z = q[3];
  const double r[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
                          {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
                          {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}};
  const double t[3] = {rng.Uniform(-0.3, 0.3), rng.Uniform(-0.3, 0.3), distance};
  GEO_Matrix4 m{};
  for (int j = 0; j < 3; ++j) {
    m.m[0][j] = 800 * r[0][j] + 640 * r[2][j];
    m.m[1][j] = 800 * r[1][j] + 360 * r[2][j];
    m.m[2][j] = r[2][j];
    m.m[3][j] = r[2][j];
  }
  m.m[0][3] = 800 * t[0] + 640 * t[2];
  m.m[1][3] = 800 * t[1] + 360 * t[2];
  m.m[2][3] = t[2];
  m.m[3][3] = t[2];
  return m;
}

// A gently bending curve inside the cube [-1, 1]^3: control points spread along a random chord
// with offsets of at most a fifth of its length, so that no projection has a loop or a cusp.
CRV_CurveClass3D RandomCurve(crvtest::Random& rng) {
  const V3 a{rng.Uniform(-0.6, 0.6), rng.Uniform(-0.6, 0.6), rng.Uniform(-0.6, 0.6)};
  const V3 b{rng.Uniform(-0.6, 0.6), rng.Uniform(-0.6, 0.6), rng.Uniform(-0.6, 0.6)};
  const V3 chord = b - a;
  const double bend = 0.2 * std::sqrt(chord.x * chord.x + chord.y * chord.y + chord.z * chord.z);
  CRV_CurveClass3D c;
  for (int i = 0; i < 4; ++i) {
    const V3 offset{rng.Uniform(-bend, bend), rng.Uniform(-bend, bend), rng.Uniform(-bend, bend)};
    c.points[i] = a + chord * (i / 3.0) + (i == 0 || i == 3 ? V3{0, 0, 0} : offset);
  }
  return c;
}

V2 Project(const GEO_Matrix4& m, V3 p) {
  double xyz[3] = {p.x, p.y, p.z};
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, xyz), 0);
  return {xyz[0], xyz[1]};
}

V2 PointAt(const CRV_CurveClass2D& c, double t) {
  V2 p;
  CRV_EvaluatePoint(c.Curve(), t, &p.x);
  return p;
}

// Distance from p to the polyline through pts.
double DistanceToPolyline(V2 p, const std::vector<V2>& pts) {
  double best = INFINITY;
  for (size_t i = 1; i < pts.size(); ++i) {
    const V2 a = pts[i - 1], d = pts[i] - pts[i - 1];
    const double len = d.x * d.x + d.y * d.y;
    const double u = len > 0 ? std::clamp(((p.x - a.x) * d.x + (p.y - a.y) * d.y) / len, 0.0, 1.0)
                             : 0.0;
    const V2 e = a + d * u - p;
    best = std::min(best, std::hypot(e.x, e.y));
  }
  return best;
}

// The largest distance, either way, between the true projection of the curve and the pieces,
// both taken at dense points and measured to a dense polyline of the other.
double ProjectionError(const GEO_Matrix4& m, const CRV_CurveClass3D& curve, const Pieces& pieces) {
  constexpr int kDense = 2000, kPerPiece = 48;
  std::vector<V2> truth;
  for (int k = 0; k <= kDense; ++k) {
    V3 p;
    CRV_EvaluatePoint(curve.Curve(), static_cast<double>(k) / kDense, &p.x);
    truth.push_back(Project(m, p));
  }
  std::vector<V2> drawn;
  for (const CRV_CurveClass2D& piece : pieces)
    for (int k = 0; k <= kPerPiece; ++k) drawn.push_back(PointAt(piece, double(k) / kPerPiece));
  double error = 0;
  for (size_t k = 0; k < truth.size(); k += 5) error = std::max(error, DistanceToPolyline(truth[k], drawn));
  for (size_t k = 0; k < drawn.size(); k += 3) error = std::max(error, DistanceToPolyline(drawn[k], truth));
  return error;
}

TEST(ScreenCurve, AffineTransformGivesOneCurve) {
  // w = 1: the cubic of the projected control points is the projection itself, so the whole
  // curve passes at depth 0.
  const GEO_Matrix4 affine{{{2, 0.5, -1, 10}, {-0.3, 3, 0.2, -4}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  const CRV_CurveClass3D curve(V3{0, 0, 1}, V3{1, 2, 3}, V3{3, 2, -1}, V3{4, 0, 2});
  Pieces out(1);  // what the caller had stays
  out[0].points[0] = {-1, -1};
  CRV_3DScreenCurveAdaptiveEvaluator(0.01, affine, curve, &out);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0].points[0], (V2{-1, -1}));
  for (int i = 0; i < 4; ++i) {
    const V2 expected = Project(affine, curve.points[i]);
    EXPECT_POINT_NEAR(&out[1].points[i].x, &expected.x, 2, 1e-12);
  }
  // The output binds its own points.
  EXPECT_EQ(out[1].record.ctpts[2], &out[1].points[2].x);
}

TEST(ScreenCurve, ZeroToleranceHalvesEveryPieceToDepthEleven) {
  const CRV_CurveClass3D curve(V3{-1, -0.5, 3}, V3{-0.3, 1.0, 2}, V3{0.6, -0.8, 4}, V3{1.2, 0.4, 6});
  Pieces out;
  CRV_3DScreenCurveAdaptiveEvaluator(0.0, kCamera, curve, &out);
  // 2^11 accepted pieces give 2^11 + 2 parameters and 2^11 + 1 cubics.
  ASSERT_EQ(out.size(), 2049u);
  // The run is continuous to the bit and starts and ends at the projected end points.
  for (size_t i = 1; i < out.size(); ++i)
    ASSERT_EQ(out[i - 1].points[3], out[i].points[0]) << "between pieces " << i - 1 << " and " << i;
  EXPECT_EQ(out.front().points[0], Project(kCamera, curve.points[0]));
  EXPECT_EQ(out.back().points[3], Project(kCamera, curve.points[3]));
}

TEST(ScreenCurve, FailingTransformIsThrownAsInt) {
  constexpr int32_t kCode = -5151;
  const CRV_CurveClass3D curve(V3{-1, -0.5, 3}, V3{-0.3, 1.0, 2}, V3{0.6, -0.8, 4}, V3{1.2, 0.4, 6});
  Pieces clean;
  HOST_ClearFaults();
  CRV_3DScreenCurveAdaptiveEvaluator(0.5, kCamera, curve, &clean);
  const int64_t calls = HOST_CallCount();
  // One transform per output cubic comes last; the tests before it take two each.
  const int64_t testing = calls - static_cast<int64_t>(clean.size());
  ASSERT_GT(clean.size(), 2u);
  ASSERT_EQ(testing % 2, 0);
  for (int64_t k = 1; k <= calls; ++k) {
    Pieces out(1);
    HOST_FailNthCall(k, kCode);
    int32_t thrown = 0;
    try {
      CRV_3DScreenCurveAdaptiveEvaluator(0.5, kCamera, curve, &out);
    } catch (int code) {
      thrown = code;
    }
    HOST_ClearFaults();
    EXPECT_EQ(thrown, kCode) << "call " << k;
    // Cubics appended before the failure stay, after what the caller had.
    const size_t kept = k > testing ? static_cast<size_t>(k - testing - 1) : 0;
    ASSERT_EQ(out.size(), 1 + kept) << "call " << k;
    for (size_t i = 0; i < kept; ++i) EXPECT_EQ(out[1 + i].points[3], clean[i].points[3]);
  }

  // A curve that reaches behind the eye fails in the host's transform the same way.
  const CRV_CurveClass3D behind(V3{0, 0, 2}, V3{0, 1, -3}, V3{1, 0, 2}, V3{1, 1, 3});
  Pieces out;
  EXPECT_THROW(CRV_3DScreenCurveAdaptiveEvaluator(0.5, kCamera, behind, &out), int);
  EXPECT_TRUE(out.empty());
}

// Under random perspective cameras the screen run follows the true projection of a gently bending
// curve within a small multiple of the tolerance, and more closely as the tolerance shrinks. Only
// two points of each piece are tested, and the run is cut at the tested pieces' midpoints, so the
// error elsewhere may exceed the tolerance: over 1200 such cases (300 cameras, these four
// tolerances) the largest error measured was 1.3 times the tolerance; 2 is allowed. (A curve with
// a tight turn can pass both test points while missing the turn by many times the tolerance.) The
// curves stay at least 0.7 units in front of the eye.
TEST(ScreenCurve, FollowsThePerspectiveProjectionWithinTheTolerance) {
  crvtest::Random rng(81);
  double worstRatio = 0;
  for (int trial = 0; trial < 10; ++trial) {
    const GEO_Matrix4 camera = RandomCamera(rng, rng.Uniform(2.5, 5.0));
    const CRV_CurveClass3D curve = RandomCurve(rng);
    double previous = INFINITY;
    for (double tolerance : {8.0, 2.0, 0.5, 0.125}) {
      Pieces out;
      CRV_3DScreenCurveAdaptiveEvaluator(tolerance, camera, curve, &out);
      const double error = ProjectionError(camera, curve, out);
      worstRatio = std::max(worstRatio, error / tolerance);
      EXPECT_LE(error, 2.0 * tolerance) << "trial " << trial << ", " << out.size() << " pieces";
      EXPECT_LE(error, previous) << "trial " << trial;
      previous = error;
    }
  }
  RecordProperty("worst_error_over_tolerance", std::to_string(worstRatio));
}

}  // namespace
