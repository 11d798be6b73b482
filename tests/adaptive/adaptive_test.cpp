// Straightness, flattening of function curves, the typed adaptive driver and screen projection.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.hpp"
#include "catalogue/reference.h"
#include "support/curves.h"
#include "support/host_controls.h"

namespace {

using crvtest::OwnedCurve;
using crvtest::Random;
using V2 = GEO_Vector2T<double>;
using V3 = GEO_Vector3T<double>;

std::vector<V2> Items(SEQ_ListH list) {
  int32_t n;
  std::memcpy(&n, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof n);
  std::vector<V2> items(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) SEQ_GetItem(list, i, &items[size_t(i)].x);
  return items;
}

V2 At(const CRV_Curve* c, double t) {
  const std::vector<double> p = crvref::Point(*c, t);
  return {p[0], p[1]};
}

TEST(Linearity, HandMadeStraightAndBentCurves) {
  const OwnedCurve line({0, 2}, {1, 2}, {5, 2}, {6, 2}), arch({0, 0}, {0, 1}, {1, 1}, {1, 0});
  bool out = false;
  // Straight to the bit; the arch is bent, a short piece of it straight, and its chord of 1
  // shorter than sqrt(minChordSq).
  const struct { const OwnedCurve* c; double t0, t1, minChordSq, tol; bool straight; } pieces[] = {
      {&line, 0.1, 0.7, 0, 0, true}, {&arch, 0, 1, 0, 1e-3, false},
      {&arch, 0.5, 0.5 + 1e-4, 0, 1e-3, true}, {&arch, 0, 1, 1 + 1e-9, 0, true}};
  for (const auto& p : pieces) {
    out = !p.straight;
    EXPECT_EQ(CRV_IsSubCurveLinear(p.t0, p.t1, p.c->get(), p.minChordSq, p.tol, &out), 0);
    EXPECT_EQ(out, p.straight) << p.t0 << " " << p.t1;
  }
  const CRV_LinearityParams damaged{0.0, 1e-3, 0, 3, 7};  // no check word: refused
  EXPECT_EQ(CRV_IsLinearFunc(&damaged, 5, 0, 1, nullptr, nullptr, line.get(), &out), CRV_ErrBadRecord);
}

// CRV_IsLinearCallback, noting the pieces it accepts.
struct Judge {
  CRV_LinearityParams params;
  std::vector<std::pair<double, double>> accepted;
};
int32_t Noting(void* context, uint32_t depth, double t0, double t1, const double* p0,
               const double* p1, const CRV_Curve* curve, bool* accept) {
  auto* judge = static_cast<Judge*>(context);
  const int32_t code = CRV_IsLinearCallback(&judge->params, depth, t0, t1, p0, p1, curve, accept);
  if (*accept) judge->accepted.push_back({t0, t1});
  return code;
}

TEST(Flattening, PolylineStaysWithinTheToleranceOfTheCurve) {
  // Function curves (x rising). An accepted piece has both end tangents within angle theta of
  // its chord, cos theta = 1 - tol, so its control polygon, and with it the piece, lies within
  // (t1 - t0) / 3 max|B'| sin theta of the chord's line. Measured by 64 points a piece.
  Random random(72);
  for (int trial = 0; trial < 60; ++trial) {
    OwnedCurve c({0, random.Uniform(-500, 500)}, {random.Uniform(0, 1000), random.Uniform(-500, 500)},
                 {random.Uniform(0, 1000), random.Uniform(-500, 500)}, {1000, random.Uniform(-500, 500)});
    const double tol = random.Uniform(1e-5, 1e-2), sine = std::sqrt(1 - (1 - tol) * (1 - tol));
    Judge judge{{0.0, tol, CRV_LINEARITY_CHECK_WORD, 0, 40}, {}};
    crvtest::OwnedList list;
    ASSERT_EQ(SEQ_New(0, 16, 32, 1, &list.handle), 0);
    ASSERT_EQ(CRV_EvaluateAdaptively(Noting, &judge, nullptr, nullptr, c.get(), nullptr, nullptr, nullptr, &list.handle), 0);
    const std::vector<V2> points = Items(list.handle);
    ASSERT_EQ(points.size(), judge.accepted.size() + 1);
    double t = 0;
    for (size_t i = 0; i < points.size(); ++i) {
      const V2 expect = At(c.get(), t);  // every point is on the curve, at its piece's end
      EXPECT_LT(std::hypot(points[i].x - expect.x, points[i].y - expect.y), 1e-9) << "trial " << trial;
      if (i + 1 == points.size()) break;
      const auto [t0, t1] = judge.accepted[i];
      ASSERT_EQ(t0, t) << "the pieces tile [0, 1]";
      double d0[2], d1[2];
      CRV_EvaluateDeriv(c.get(), t0, d0);
      CRV_EvaluateDeriv(c.get(), t1, d1);
      const double bound = (t1 - t0) / 3 * std::max(std::hypot(d0[0], d0[1]), std::hypot(d1[0], d1[1])) * sine;
      const V2 a = At(c.get(), t0), b = At(c.get(), t1);
      const double chord = std::hypot(b.x - a.x, b.y - a.y);
      for (int k = 1; k < 64; ++k) {
        const V2 p = At(c.get(), t0 + (t1 - t0) * k / 64);
        const double off = std::fabs((p.x - a.x) * (b.y - a.y) - (p.y - a.y) * (b.x - a.x)) / chord;
        ASSERT_LE(off, bound * (1 + 1e-6) + 1e-9) << "trial " << trial << " piece " << i;
      }
      t = t1;
    }
    EXPECT_EQ(t, 1.0);
  }
}

int32_t FromDepth2(void*, uint32_t depth, double, double, const double*, const double*,
                   const CRV_Curve*, bool* accept) {
  *accept = depth >= 2;
  return 0;
}

TEST(Flattening, MidpointWalkByHand) {
  const OwnedCurve wave({0, 0}, {1, 3}, {2, -1}, {3, 2});  // x = 3t
  crvtest::OwnedList mids;
  ASSERT_EQ(SEQ_New(0, 16, 32, 1, &mids.handle), 0);
  bool have = false;
  double lo, hi;
  // Quarters accepted: their midpoints B(1/8), B(3/8), B(5/8), B(7/8).
  ASSERT_EQ(CRV_LinearlyInterpolateCurve(FromDepth2, nullptr, -1, 10, wave.get(), &have, &lo, &hi, &mids.handle), 0);
  const std::vector<V2> m = Items(mids.handle);
  ASSERT_EQ(m.size(), 4u);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(m[size_t(i)].x, 3 * (2 * i + 1) / 8.0);
  EXPECT_TRUE(have);
}

// Halves pieces by a rule and notes what the driver reports.
struct Recorder : CRV_CurveAdaptiveEvaluator<2, V2> {
  explicit Recorder(uint64_t seed) : random(seed) {}
  bool NeedsSubdivision(uint32_t depth, double, double, const CRV_CurveClass2D&) override {
    return depth < 2 || (depth < 9 && random.Int(0, 2) != 0);
  }
  void AddParameter(double t, const CRV_CurveClass2D&) override { parameters.push_back(t); }
  Random random;
  std::vector<double> parameters;
};

TEST(TypedEvaluateAdaptively, ParametersRiseAndCoverTheInterval) {
  const CRV_CurveClass2D curve(V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0});
  Random random(90);
  for (int trial = 0; trial < 50; ++trial) {
    const double t0 = random.Uniform(-0.5, 0.5), t1 = t0 + random.Uniform(0.1, 1.5);
    Recorder r{uint64_t(trial)};
    CRV_EvaluateAdaptively(t0, t1, curve, &r);
    const std::vector<double>& p = r.parameters;
    ASSERT_GE(p.size(), 6u);
    EXPECT_TRUE(p.front() == t0 && p.back() == t1);
    // Interior parameters are midpoints of the unhalved pieces, which tile [t0, t1]: each
    // piece's end is twice its midpoint less its start, and the last one ends at t1.
    double a = t0;
    for (size_t i = 1; i + 1 < p.size(); ++i) {
      EXPECT_LT(p[i - 1], p[i]);
      const double b = 2 * p[i] - a;
      EXPECT_GT(b, a) << "trial " << trial << " parameter " << i;
      a = b;
    }
    EXPECT_NEAR(a, t1, 1e-12) << "trial " << trial;
  }
}

TEST(ScreenCurve, PiecesFollowThePerspectiveProjectionWithinTheTolerance) {
  // A pinhole camera down +z: screen x = 800 X / Z + 640, y = 800 Y / Z + 360. The true
  // projection, densely, must lie near a dense polyline of the screen cubics.
  const GEO_Matrix4 camera{{{800, 0, 640, 0}, {0, 800, 360, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};
  Random random(81);
  for (int trial = 0; trial < 8; ++trial) {
    // A gently bending curve in front of the eye: handles near the thirds of its chord.
    CRV_CurveClass3D curve;
    const V3 a{random.Uniform(-1, 1), random.Uniform(-1, 1), random.Uniform(2, 4)};
    const V3 chord{random.Uniform(-1, 1), random.Uniform(-1, 1), random.Uniform(-1, 1)};
    for (int i = 0; i < 4; ++i)
      curve.points[i] = a + chord * (i / 3.0) +
                        (i % 3 ? V3{random.Uniform(-.3, .3), random.Uniform(-.3, .3), random.Uniform(-.3, .3)} : V3{0, 0, 0});
    for (double tolerance : {4.0, 0.5}) {
      std::vector<CRV_CurveClass2D> out;
      CRV_3DScreenCurveAdaptiveEvaluator(tolerance, camera, curve, &out);
      std::vector<V2> drawn;
      for (size_t j = 0; j < out.size(); ++j) {
        if (j > 0) { EXPECT_EQ(out[j - 1].points[3], out[j].points[0]) << "the run is continuous"; }
        for (int k = 0; k <= 32; ++k) drawn.push_back(At(out[j].Curve(), k / 32.0));
      }
      double worst = 0;
      for (int k = 0; k <= 400; ++k) {
        V3 p;
        CRV_EvaluatePoint(curve.Curve(), k / 400.0, &p.x);
        const V2 q{800 * p.x / p.z + 640, 800 * p.y / p.z + 360};
        double best = 1e300;
        for (size_t i = 1; i < drawn.size(); ++i) {
          const V2 d = drawn[i] - drawn[i - 1];
          const double len = d.x * d.x + d.y * d.y;
          const double u = len > 0 ? std::clamp(((q.x - drawn[i - 1].x) * d.x + (q.y - drawn[i - 1].y) * d.y) / len, 0.0, 1.0) : 0;
          best = std::min(best, std::hypot(drawn[i - 1].x + d.x * u - q.x, drawn[i - 1].y + d.y * u - q.y));
        }
        worst = std::max(worst, best);
      }
      // Only two points of each piece are tested, so 2 tolerances are allowed.
      EXPECT_LE(worst, 2 * tolerance) << "trial " << trial << ", " << out.size() << " pieces";
    }
  }
}

}  // namespace
