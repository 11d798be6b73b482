// Lookups in the arc-length table: s from t, t from s, the point at a distance, and the closed
// form of retracted straight segments.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "arc_test_util.h"
#include "crv/crv.h"
#include "support/alloc_counter.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using arctest::Items;
using arctest::OwnedList;
using arctest::Pair;
using crvtest::OwnedCurve;
using crvtest::Random;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// P0 = P1 = (0, 0), P2 = P3 = (3, 4): the retracted 3-4-5 segment.
OwnedCurve RetractedSegment() { return OwnedCurve({0, 0}, {0, 0}, {3, 4}, {3, 4}); }

// A curve with no straight or retracted part.
OwnedCurve Arch() { return OwnedCurve({0, 0}, {10, 30}, {40, 30}, {50, 0}); }

TEST(SFromT, RetractedSegmentInClosedFormWithoutATable) {
  const OwnedCurve curve = RetractedSegment();
  SEQ_ListH table = nullptr;
  double s = -1;
  const struct {
    double t, s;
  } cases[] = {{0.5, 2.5}, {1.5, 5.0}, {1.0, 5.0}, {0.0, 0.0}, {-2.0, 0.0}, {0.25, 0.78125}};
  for (const auto& c : cases) {
    EXPECT_EQ(CRV_SFromT(curve.get(), c.t, 128, &table, &s), 0);
    EXPECT_DOUBLE_EQ(s, c.s) << "t = " << c.t;  // 5 (3t^2 - 2t^3)
  }
  EXPECT_EQ(table, nullptr);
}

TEST(SFromT, BuildsOnceThenInterpolatesBetweenEntries) {
  const OwnedCurve curve = Arch();
  OwnedList table;
  double s = -1;
  ASSERT_EQ(CRV_SFromT(curve.get(), 0.0, 9, &table.handle, &s), 0);
  ASSERT_NE(table.handle, nullptr);
  EXPECT_EQ(s, 0.0);
  const std::vector<Pair> entries = Items(table.handle);
  ASSERT_EQ(entries.size(), 9u);  // t at eighths, all exact
  // Entries answer with their own s; t within 1e-10 of an entry counts as it.
  for (const Pair& e : entries) {
    ASSERT_EQ(CRV_SFromT(curve.get(), e[0], 500, &table.handle, &s), 0);
    EXPECT_EQ(s, e[1]);
    ASSERT_EQ(CRV_SFromT(curve.get(), e[0] + 5e-11, 500, &table.handle, &s), 0);
    EXPECT_EQ(s, e[1]);
  }
  // Between entries 2 and 3 (t = 0.25, 0.375): the straight line through them.
  ASSERT_EQ(CRV_SFromT(curve.get(), 0.3, 500, &table.handle, &s), 0);
  EXPECT_DOUBLE_EQ(s, entries[2][1] + (0.3 - 0.25) / 0.125 * (entries[3][1] - entries[2][1]));
  // Clamped at both ends.
  ASSERT_EQ(CRV_SFromT(curve.get(), 7.0, 500, &table.handle, &s), 0);
  EXPECT_EQ(s, entries.back()[1]);
  ASSERT_EQ(CRV_SFromT(curve.get(), -7.0, 500, &table.handle, &s), 0);
  EXPECT_EQ(s, 0.0);
  ASSERT_EQ(CRV_SFromT(curve.get(), kNaN, 500, &table.handle, &s), 0);
  EXPECT_TRUE(std::isnan(s));
  EXPECT_EQ(Items(table.handle).size(), 9u) << "an existing table is used as it stands";
}

TEST(SFromT, NotRetractedStraightSegmentUsesTheTable) {
  const OwnedCurve curve({0, 0}, {1, 4.0 / 3}, {2, 8.0 / 3}, {3, 4});
  OwnedList table;
  double s = 0;
  ASSERT_EQ(CRV_SFromT(curve.get(), 0.5, 128, &table.handle, &s), 0);
  EXPECT_NE(table.handle, nullptr);
  EXPECT_NEAR(s, 2.5, 1e-13);
}

TEST(SFromT, OneEntryTableGivesZeroAtTheStartAndTheChordBeyond) {
  const OwnedCurve curve = Arch();
  OwnedList table;
  double s = -1;
  ASSERT_EQ(CRV_SFromT(curve.get(), 0.0, 1, &table.handle, &s), 0);
  EXPECT_EQ(s, 0.0);
  ASSERT_EQ(CRV_SFromT(curve.get(), 1e-9, 1, &table.handle, &s), 0);
  EXPECT_EQ(s, 50.0);
  ASSERT_EQ(CRV_SFromT(curve.get(), 5e-11, 1, &table.handle, &s), 0);
  EXPECT_EQ(s, 0.0);
}

TEST(TFromS, EndsAndToleranceBand) {
  const OwnedCurve curve = Arch();
  OwnedList table;
  double t = -1, length = 0;
  ASSERT_EQ(CRV_TFromS(curve.get(), 1.0, 64, &table.handle, &t), 0);
  ASSERT_EQ(Items(table.handle).size(), 64u) << "a null handle gets a table of n entries";
  ASSERT_EQ(CRV_SFromT(curve.get(), 1.0, 64, &table.handle, &length), 0);
  for (double s : {0.0, -3.0, 5e-11, -5e-11, kNaN}) {
    t = -1;
    ASSERT_EQ(CRV_TFromS(curve.get(), s, 64, &table.handle, &t), 0);
    EXPECT_EQ(t, 0.0) << "s = " << s;
  }
  for (double s : {length, length + 1.0, length - 5e-11, 1e300}) {
    t = -1;
    ASSERT_EQ(CRV_TFromS(curve.get(), s, 64, &table.handle, &t), 0);
    EXPECT_EQ(t, 1.0) << "s = " << s;
  }
  // A second call with another n reuses the table as it stands.
  ASSERT_EQ(CRV_TFromS(curve.get(), length / 2, 7, &table.handle, &t), 0);
  EXPECT_EQ(Items(table.handle).size(), 64u);
}

TEST(TFromS, InterpolatesBetweenEntriesAndMatchesEntries) {
  const OwnedCurve curve = Arch();
  OwnedList table;
  double unused;
  ASSERT_EQ(CRV_BuildArcTable(curve.get(), 9, &table.handle, &unused), 0);
  const std::vector<Pair> e = Items(table.handle);
  double t = -1;
  for (size_t i = 1; i + 1 < e.size(); ++i) {
    ASSERT_EQ(CRV_TFromS(curve.get(), e[i][1] + 5e-11, 9, &table.handle, &t), 0);
    EXPECT_EQ(t, e[i][0]);
  }
  const double s = 0.3 * e[4][1] + 0.7 * e[5][1];
  ASSERT_EQ(CRV_TFromS(curve.get(), s, 9, &table.handle, &t), 0);
  EXPECT_DOUBLE_EQ(t, e[4][0] + (s - e[4][1]) / (e[5][1] - e[4][1]) * 0.125);
  // The point there, and P0 and P3 beyond the ends.
  double point[2], expected[2];
  for (const double distance : {s, -1.0, 1e9}) {
    ASSERT_EQ(CRV_TFromS(curve.get(), distance, 9, &table.handle, &t), 0);
    ASSERT_EQ(CRV_EvaluatePoint(curve.get(), t, expected), 0);
    ASSERT_EQ(CRV_EvaluatePointFromS(curve.get(), distance, 9, &table.handle, point), 0);
    EXPECT_BITS_EQ(point, expected, 2);
  }
  EXPECT_EQ(point[0], 50.0);
}

TEST(TFromS, InvertsSFromTOverRandomCurves) {
  // Both interpolate linearly between the same entries, so t -> s -> t returns t to rounding.
  Random random(601);
  for (int trial = 0; trial < 30; ++trial) {
    const OwnedCurve curve = random.Curve(2 + trial % 2);
    OwnedList table;
    const int32_t n = random.Int(2, 200);
    for (int k = 0; k < 50; ++k) {
      const double t = random.Uniform(0, 1);
      double s = -1, back = -1;
      ASSERT_EQ(CRV_SFromT(curve.get(), t, n, &table.handle, &s), 0);
      ASSERT_EQ(CRV_TFromS(curve.get(), s, n, &table.handle, &back), 0);
      // Exact but for the rounding of two interpolations (a step whose length change were
      // below the 1e-10 match tolerance could not be resolved; these curves have none).
      EXPECT_NEAR(back, t, 1e-14) << "trial " << trial << " n " << n;
    }
  }
}

TEST(EvaluatePointFromS, RetractedSegmentMovesLinearlyWithoutATable) {
  const OwnedCurve curve = RetractedSegment();
  SEQ_ListH table = nullptr;
  const struct {
    double s, x, y;
  } cases[] = {{2.5, 1.5, 2.0}, {10.0, 3.0, 4.0}, {-1.0, 0.0, 0.0}, {5.0, 3.0, 4.0}};
  for (const auto& c : cases) {
    double point[2] = {-1, -1};
    EXPECT_EQ(CRV_EvaluatePointFromS(curve.get(), c.s, 128, &table, point), 0);
    const double expected[2] = {c.x, c.y};
    EXPECT_POINT_NEAR(point, expected, 2, 1e-15);
  }
  EXPECT_EQ(table, nullptr);
  // Four coincident points: P0 whatever the distance, still without a table.
  const OwnedCurve dot({2, -1, 7}, {2, -1, 7}, {2, -1, 7}, {2, -1, 7});
  for (double s : {-1.0, 0.0, 3.0}) {
    double point[3] = {0, 0, 0};
    EXPECT_EQ(CRV_EvaluatePointFromS(dot.get(), s, 128, &table, point), 0);
    const double expected[3] = {2, -1, 7};
    EXPECT_BITS_EQ(point, expected, 3);
  }
  EXPECT_EQ(table, nullptr);
}

TEST(ArcLookups, AllocateNothingOnABuiltTable) {
  const OwnedCurve curve = Arch();
  OwnedList table;
  double length = 0;
  ASSERT_EQ(CRV_BuildArcTable(curve.get(), 128, &table.handle, &length), 0);
  double s = 0, t = 0, point[2];
  crvtest::AllocCounter counter;
  for (int k = 0; k < 100; ++k) {
    CRV_SFromT(curve.get(), k / 99.0, 128, &table.handle, &s);
    CRV_TFromS(curve.get(), s, 128, &table.handle, &t);
    CRV_EvaluatePointFromS(curve.get(), s, 128, &table.handle, point);
  }
  EXPECT_EQ(counter.count(), 0);
}

}  // namespace
