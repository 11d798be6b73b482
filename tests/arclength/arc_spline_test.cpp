// The arc-length spline: what a build stores, lookups by distance (ends, segment ends, the
// in-place repair), agreement with the table's lookup, malformed lists, and host failures.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "arc_test_util.h"
#include "crv/crv.h"
#include "host/host_test.h"
#include "support/alloc_counter.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using arctest::Items;
using arctest::Live;
using arctest::MakeList;
using arctest::OwnedList;
using arctest::Pair;
using crvtest::OwnedCurve;
using crvtest::Random;

constexpr double kUntouched = -12345.0;

OwnedCurve Arch() { return OwnedCurve({0, 0}, {10, 30}, {40, 30}, {50, 0}); }

// The spline built independently of CRV_BuildArcSpline, from the exports it is made of: the
// 128-sample table, its parameters times L, the chain fitted to that, parameters divided back.
struct Reference {
  std::vector<Pair> fitted;  // the chain in (t L, s)
  double length;
};

Reference ReferenceSpline(const OwnedCurve& curve, double bound) {
  OwnedList table, chain;
  double length = 0;
  EXPECT_EQ(CRV_BuildArcTable(curve.get(), 128, &table.handle, &length), 0);
  std::vector<Pair> samples = Items(table.handle);
  for (Pair& p : samples) p[0] = p[0] * length;
  EXPECT_EQ(CRV_FitMultipleCurves(samples.front().data(), 2, 128, bound, &chain.handle), 0);
  return {Items(chain.handle), length};
}

TEST(BuildArcSpline, IsTheChainFittedToTheScaledTableWithAnExactEnd) {
  Random random(651);
  for (int trial = 0; trial < 30; ++trial) {
    const OwnedCurve curve = random.Curve(2 + trial % 2);
    const double bound = trial % 3 == 0 ? 0.0 : random.Uniform(1e-6, 10.0);
    const Reference reference = ReferenceSpline(curve, bound);
    OwnedList spline;
    double length = kUntouched;
    ASSERT_EQ(CRV_BuildArcSpline(curve.get(), bound, &spline.handle, &length), 0);
    EXPECT_EQ(length, reference.length);
    const std::vector<Pair> points = Items(spline.handle);
    ASSERT_EQ(points.size(), reference.fitted.size());
    ASSERT_EQ(points.size() % 3, 1u);
    const double unscale = 1.0 / reference.length;
    for (size_t i = 0; i + 1 < points.size(); ++i) {
      EXPECT_EQ(points[i][0], reference.fitted[i][0] * unscale) << "trial " << trial << " " << i;
      EXPECT_EQ(points[i][1], reference.fitted[i][1]);
    }
    EXPECT_EQ(points.front()[0], 0.0);
    EXPECT_EQ(points.front()[1], 0.0);
    EXPECT_EQ(points.back()[0], 1.0);  // exactly, not 1 up to rounding
    EXPECT_EQ(points.back()[1], reference.fitted.back()[1]);
    EXPECT_EQ(points.back()[1], length);
  }
}

TEST(BuildArcSpline, RefillsTheCallersListAndSurvivesZeroLength) {
  OwnedList spline;
  spline.handle = MakeList(std::vector<Pair>(300, Pair{7, 7}));
  const SEQ_ListH given = spline.handle;
  double length = 0;
  ASSERT_EQ(CRV_BuildArcSpline(Arch().get(), 0.01, &spline.handle, &length), 0);
  EXPECT_EQ(spline.handle, given);
  const std::vector<Pair> points = Items(spline.handle);
  EXPECT_EQ(points.size(), ReferenceSpline(Arch(), 0.01).fitted.size());
  EXPECT_EQ(points.back()[0], 1.0);

  // A curve without extent: L = 0, so every parameter is multiplied by 0 but the last. (At the
  // origin every evaluation is exactly 0; elsewhere the weights' rounding leaves steps of 1e-14.)
  const OwnedCurve dot({0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0});
  ASSERT_EQ(CRV_BuildArcSpline(dot.get(), 0.5, &spline.handle, &length), 0);
  EXPECT_EQ(length, 0.0);
  const std::vector<Pair> still = Items(spline.handle);
  ASSERT_GE(still.size(), 4u);
  for (size_t i = 0; i + 1 < still.size(); ++i) EXPECT_EQ(still[i], (Pair{0.0, 0.0}));
  EXPECT_EQ(still.back(), (Pair{1.0, 0.0}));
}

TEST(BuildArcSpline, RefusesCurvesItCannotMeasure) {
  for (int dims : {0, 1, 4}) {
    OwnedCurve curve(dims);
    SEQ_ListH spline = nullptr;
    double length = kUntouched, t = kUntouched;
    HOST_ClearFaults();
    EXPECT_EQ(CRV_BuildArcSpline(curve.get(), 1.0, &spline, &length), CRV_ErrBadRecord);
    EXPECT_EQ(CRV_TFromSSpline(curve.get(), 1.0, 1.0, &spline, &t), CRV_ErrBadRecord);
    EXPECT_EQ(HOST_CallCount(), 0) << "no host call";
    EXPECT_EQ(spline, nullptr);
    EXPECT_EQ(length, kUntouched);
    EXPECT_EQ(t, kUntouched);
  }
}

TEST(TFromSSpline, EndsAreClampedAndTheSplineIsBuiltOnce) {
  const OwnedCurve curve = Arch();
  OwnedList spline;
  double t = kUntouched;
  ASSERT_EQ(CRV_TFromSSpline(curve.get(), 0.0, 0.01, &spline.handle, &t), 0);
  EXPECT_EQ(t, 0.0);
  ASSERT_NE(spline.handle, nullptr);
  const SEQ_ListH built = spline.handle;
  const std::vector<Pair> points = Items(spline.handle);
  const double length = points.back()[1];
  const struct {
    double s, t;
  } cases[] = {{-1.0, 0.0},         {5e-11, 0.0},           {-5e-11, 0.0},
               {length, 1.0},       {length + 1.0, 1.0},    {length - 5e-11, 1.0},
               {1e300, 1.0},        {-std::numeric_limits<double>::infinity(), 0.0}};
  for (const auto& c : cases) {
    t = kUntouched;
    // A different bound does not matter once the spline exists.
    ASSERT_EQ(CRV_TFromSSpline(curve.get(), c.s, 99.0, &spline.handle, &t), 0);
    EXPECT_EQ(t, c.t) << "s = " << c.s;
  }
  EXPECT_EQ(spline.handle, built);
  EXPECT_EQ(Items(spline.handle), points);
}

TEST(TFromSSpline, SegmentEndsAnswerWithTheirOwnParameter) {
  const OwnedCurve curve = Arch();
  OwnedList spline;
  double length = 0;
  ASSERT_EQ(CRV_BuildArcSpline(curve.get(), 1e-4, &spline.handle, &length), 0);
  const std::vector<Pair> points = Items(spline.handle);
  ASSERT_GT(points.size(), 7u) << "several segments";
  for (size_t k = 3; k + 1 < points.size(); k += 3) {
    for (double offset : {0.0, 5e-11, -5e-11}) {
      double t = kUntouched;
      ASSERT_EQ(CRV_TFromSSpline(curve.get(), points[k][1] + offset, 0, &spline.handle, &t), 0);
      EXPECT_EQ(t, points[k][0]) << "end point " << k << " offset " << offset;
    }
  }
}

// The solve of the four points p[first .. first + 3] at length s, on a copy.
double SolveOn(std::vector<Pair> p, size_t first, double s) {
  CRV_Curve segment;
  segment.dims = 2;
  for (int i = 0; i < 4; ++i) segment.ctpts[i] = p[first + static_cast<size_t>(i)].data();
  double t = kUntouched;
  EXPECT_EQ(CRV_EvaluateXFromY(&segment, s, &t), 0);
  return t;
}

TEST(TFromSSpline, SolvesTheSegmentHoldingTheDistance) {
  // A nearly straight curve and a loose bound: one segment, on which every inner s is solved.
  const OwnedCurve curve({0, 0}, {10, 1}, {20, 2}, {30, 2});
  OwnedList spline;
  double length = 0;
  ASSERT_EQ(CRV_BuildArcSpline(curve.get(), 1.0, &spline.handle, &length), 0);
  const std::vector<Pair> one = Items(spline.handle);
  ASSERT_EQ(one.size(), 4u);
  for (int i = 1; i < 50; ++i) {
    const double s = length * i / 50;
    double t = kUntouched;
    ASSERT_EQ(CRV_TFromSSpline(curve.get(), s, 1.0, &spline.handle, &t), 0);
    EXPECT_EQ(t, SolveOn(one, 0, s)) << "s = " << s;
  }
  // With several segments, the first whose end lies beyond s.
  OwnedList many;
  ASSERT_EQ(CRV_BuildArcSpline(Arch().get(), 1e-4, &many.handle, &length), 0);
  const std::vector<Pair> points = Items(many.handle);
  Random random(652);
  for (int i = 0; i < 200; ++i) {
    const double s = random.Uniform(1e-6, length - 1e-6);
    size_t end = 3;
    while (points[end][1] <= s) end += 3;
    double t = kUntouched;
    ASSERT_EQ(CRV_TFromSSpline(Arch().get(), s, 1e-4, &many.handle, &t), 0);
    if (std::fabs(points[end][1] - s) < 1e-10) continue;
    EXPECT_EQ(t, SolveOn(points, end - 3, s)) << "s = " << s;
  }
}

TEST(TFromSSpline, RepairsADippingSegmentInTheCallersList) {
  // A one-segment spline whose P1 overshoots P3 in length by 1e-6: the lookup repairs the stored
  // segment exactly as CRV_CurveSetNonDecreasing does, and solves the repaired one.
  const std::vector<Pair> overshoot = {{0, 0}, {0.3, 10 + 1e-6}, {0.7, 9.5}, {1, 10}};
  std::vector<Pair> repaired = overshoot;
  CRV_Curve copy;
  copy.dims = 2;
  for (int i = 0; i < 4; ++i) copy.ctpts[i] = repaired[static_cast<size_t>(i)].data();
  uint8_t changed = 0;
  ASSERT_EQ(CRV_CurveSetNonDecreasing(&copy, &changed), 0);
  ASSERT_EQ(changed, 1);
  OwnedList spline;
  spline.handle = MakeList(overshoot);
  double t = kUntouched;
  ASSERT_EQ(CRV_TFromSSpline(Arch().get(), 4.0, 0, &spline.handle, &t), 0);
  EXPECT_EQ(Items(spline.handle), repaired) << "the repair persists";
  EXPECT_EQ(t, SolveOn(repaired, 0, 4.0));

  // The first pair tested that dips sends the segment to the repair, whichever it is: here P2
  // below P0, which the repair lifts to P0's height.
  const std::vector<Pair> sagging = {{0, 1}, {0.3, 4}, {0.7, 1 - 1e-6}, {1, 10}};
  OwnedList second;
  second.handle = MakeList(sagging);
  ASSERT_EQ(CRV_TFromSSpline(Arch().get(), 4.0, 0, &second.handle, &t), 0);
  EXPECT_EQ(Items(second.handle)[2][1], 1.0);

  // A dip below 1e-10 is left alone.
  const std::vector<Pair> slight = {{0, 0}, {0.3, 10 + 5e-11}, {0.7, 9.5}, {1, 10}};
  OwnedList third;
  third.handle = MakeList(slight);
  ASSERT_EQ(CRV_TFromSSpline(Arch().get(), 4.0, 0, &third.handle, &t), 0);
  EXPECT_EQ(Items(third.handle), slight);
  EXPECT_EQ(t, SolveOn(slight, 0, 4.0));
}

TEST(TFromSSpline, MalformedListsAreNeitherOverreadNorTrusted) {
  double t = kUntouched;
  for (size_t count : {0u, 1u, 3u}) {
    OwnedList spline;
    spline.handle = MakeList(std::vector<Pair>(count, Pair{0.5, 0.5}));
    EXPECT_EQ(CRV_TFromSSpline(Arch().get(), 0.25, 0, &spline.handle, &t), CRV_ErrBadRecord);
    EXPECT_EQ(t, kUntouched);
  }
  // Five points: one whole segment and a stray point. s beyond the segment but below the last
  // point's length is solved on the whole segment.
  const std::vector<Pair> five = {{0, 0}, {0.2, 1}, {0.4, 2}, {0.6, 3}, {1, 10}};
  OwnedList spline;
  spline.handle = MakeList(five);
  ASSERT_EQ(CRV_TFromSSpline(Arch().get(), 5.0, 0, &spline.handle, &t), 0);
  EXPECT_EQ(t, SolveOn(five, 0, 5.0));
  // A NaN distance passes every test and reaches the last segment's solve.
  ASSERT_EQ(CRV_TFromSSpline(Arch().get(), std::nan(""), 0, &spline.handle, &t), 0);
}

// Over random curves whose x control points rise (so the speed never falls below a third of
// the smallest rise): the spline's parameter agrees with the table's. Both read the same 128
// samples; the spline passes within sqrt(bound) of each sample (t L, s), which moves the
// parameter at a given s by at most sqrt(bound) (1 + the slope d(t L)/ds) / L, and between
// samples the table interpolates linearly where the spline bends: that gap shrinks with the
// square of the spacing, far below 1e-4 of the parameter range here.
TEST(TFromSSpline, AgreesWithTheTableWithinTheBound) {
  Random random(653);
  for (int trial = 0; trial < 20; ++trial) {
    const int dims = 2 + trial % 2;
    OwnedCurve curve(dims);
    double x = 0, minRise = 1e300;
    for (int i = 0; i < 4; ++i) {
      const double rise = i == 0 ? 0.0 : random.Uniform(5, 50);
      if (i > 0) minRise = std::min(minRise, rise);
      x += rise;
      curve.at(i, 0) = x;
      for (int k = 1; k < dims; ++k) curve.at(i, k) = random.Uniform(-40, 40);
    }
    OwnedList table, spline;
    double length = 0;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), 128, &table.handle, &length), 0);
    const double distance = 1e-3 * length;  // the chain may stray 0.1% of L from the samples
    ASSERT_EQ(CRV_BuildArcSpline(curve.get(), distance * distance, &spline.handle, &length), 0);
    const double slope = length / (3 * minRise);  // d(t L)/ds = L / |B'| <= L / (3 minRise)
    const double tolerance = distance * (1 + slope) / length + 1e-4;
    for (int i = 0; i <= 400; ++i) {
      const double s = length * i / 400;
      double fromTable = kUntouched, fromSpline = kUntouched;
      ASSERT_EQ(CRV_TFromS(curve.get(), s, 128, &table.handle, &fromTable), 0);
      ASSERT_EQ(CRV_TFromSSpline(curve.get(), s, 0, &spline.handle, &fromSpline), 0);
      EXPECT_NEAR(fromSpline, fromTable, tolerance) << "trial " << trial << " s = " << s;
    }
  }
}

TEST(TFromSSpline, LooksUpWithoutAllocating) {
  const OwnedCurve curve = Arch();
  OwnedList spline;
  double length = 0, t = 0;
  ASSERT_EQ(CRV_BuildArcSpline(curve.get(), 1e-4, &spline.handle, &length), 0);
  crvtest::AllocCounter counter;
  for (int i = 0; i <= 64; ++i)
    CRV_TFromSSpline(curve.get(), length * i / 64, 1e-4, &spline.handle, &t);
  EXPECT_EQ(counter.count(), 0);
}

}  // namespace
