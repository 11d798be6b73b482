// Arc length: the table against an independent quadrature, the lookups both ways, the spline
// against the table, even spacing by distance, list reuse and a few answers worked by hand.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "catalogue/reference.h"
#include "support/curves.h"
#include "support/host_controls.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;
using crvtest::OwnedList;
using crvtest::Random;
using Pair = std::array<double, 2>;  // a table entry {t, s} or a point {x, y}

// The items of a table or a walk's list, which hold two doubles each: a host reads them in place
// at that stride.
std::vector<Pair> Items(SEQ_ListH list) {
  int32_t count, itemSize;
  std::memcpy(&count, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
  std::memcpy(&itemSize, static_cast<const char*>(*list) + SEQ_BLOCK_ITEM_SIZE_OFFSET, sizeof itemSize);
  EXPECT_EQ(itemSize, int32_t(sizeof(Pair)));
  std::vector<Pair> items(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) EXPECT_EQ(SEQ_GetItem(list, i, items[size_t(i)].data()), 0);
  return items;
}

// Arc length by the long-double reference's adaptive quadrature: nothing shared with the library.
double ReferenceLength(const CRV_Curve& c) { return double(crvref::Arc(c, 0, 1)); }

const OwnedCurve kArch({0, 0}, {10, 30}, {40, 30}, {50, 0});  // symmetric about x = 25

TEST(ArcTable, TotalLengthConvergesToTheQuadratureOverRandomCurves) {
  // Chords fall short of the arc by about L h^2 kappa^2 / 24 a step: never above it, and four
  // times closer each time the sample count doubles.
  Random random(503);
  for (int trial = 0; trial < 12; ++trial) {
    const OwnedCurve curve = random.Curve(2 + trial % 2);
    const double reference = ReferenceLength(*curve.get());
    double previous = 0;
    for (int32_t n : {128, 256}) {
      OwnedList table;
      double length = 0;
      ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &length), 0);
      EXPECT_EQ(Items(table.handle).back()[1], length);
      const double error = reference - length;
      EXPECT_GE(error, -1e-12 * reference) << "chords never exceed the arc";
      EXPECT_LT(error, 1e-3 * reference) << "trial " << trial;
      if (previous > 0) { EXPECT_NEAR(previous / error, 4.0, 0.5) << "trial " << trial; }
      previous = error;
    }
  }
}

TEST(ArcTable, HandCheckedAnswers) {
  // A straight line run evenly: the length is the chord and the parameter the fraction of it.
  const OwnedCurve line({0, 0}, {1, 4.0 / 3}, {2, 8.0 / 3}, {3, 4});
  OwnedList table;
  double length = 0, s = 0, t = 0, point[2];
  ASSERT_EQ(CRV_BuildArcTable(line.get(), 50, &table.handle, &length), 0);
  EXPECT_NEAR(length, 5.0, 1e-13);
  ASSERT_EQ(CRV_TFromS(line.get(), 1.25, 50, &table.handle, &t), 0);
  EXPECT_NEAR(t, 0.25, 1e-13);
  // A length within the key tolerance (1e-10) of either end is that end, exactly: a host that
  // sums lengths itself lands on the ends.
  for (const auto& [near, end] : {Pair{4e-11, 0}, Pair{-4e-11, 0}, Pair{5 - 4e-11, 1}, Pair{5 + 4e-11, 1}}) {
    ASSERT_EQ(CRV_TFromS(line.get(), near, 50, &table.handle, &t), 0);
    EXPECT_EQ(t, end) << near;
  }
  // The arch: 71.9062525227 long (a fine midpoint sum, apart from the quadrature above); by
  // symmetry half of it is reached at t = 0.5, the apex B(0.5) = (25, 22.5).
  EXPECT_NEAR(ReferenceLength(*kArch.get()), 71.9062525227, 1e-9);
  OwnedList arch;
  ASSERT_EQ(CRV_BuildArcTable(kArch.get(), 1024, &arch.handle, &length), 0);
  EXPECT_NEAR(length, 71.9062525227, 1e-4);
  ASSERT_EQ(CRV_SFromT(kArch.get(), 0.5, 1024, &arch.handle, &s), 0);
  EXPECT_NEAR(s, length / 2, 1e-9);
  ASSERT_EQ(CRV_EvaluatePointFromS(kArch.get(), length / 2, 1024, &arch.handle, point), 0);
  EXPECT_POINT_NEAR(point, (Pair{25, 22.5}).data(), 2, 1e-7);
  // A reused table of ten entries refilled with five ends with exactly five.
  for (int32_t n : {10, 5}) ASSERT_EQ(CRV_BuildArcTable(kArch.get(), n, &table.handle, &length), 0);
  EXPECT_EQ(Items(table.handle).size(), 5u);
  EXPECT_EQ(Items(table.handle)[4], (Pair{1, length}));
}

// Handles count as retracted within a millionth of the coordinate (above a floor of 5.4e-4): at
// 10^4, 0.005 off the end points is answered in closed form without a table, 0.05 off is not.
TEST(ArcTable, RetractedWithinAMillionthOfTheCoordinate) {
  for (double off : {0.005, 0.05}) {
    const OwnedCurve c({1e4, 1e4}, {1e4 + off, 1e4}, {2e4 - off, 1e4}, {2e4, 1e4});
    OwnedList table;
    double s = 0;
    ASSERT_EQ(CRV_SFromT(c.get(), 0.5, 16, &table.handle, &s), 0);
    EXPECT_EQ(table.handle == nullptr, off < 0.01) << off;
  }
}

// The header's limit: up to 1,800,000 samples the last entry's t is 1 within the lookups' key
// tolerance, so s at t = 1 is the length (not the chord, 50) and t from s answers alike on the
// call that builds the table and on one that reuses it.
TEST(ArcTable, ConsistentAtTheStatedLimitOfSamples) {
  constexpr int32_t kLimit = 1800000;
  OwnedList table, fresh;
  double length = 0, s = 0, first = 0, reused = 0;
  ASSERT_EQ(CRV_BuildArcTable(kArch.get(), kLimit, &table.handle, &length), 0);
  ASSERT_EQ(CRV_SFromT(kArch.get(), 1.0, kLimit, &table.handle, &s), 0);
  EXPECT_EQ(s, length);
  ASSERT_EQ(CRV_TFromS(kArch.get(), 60.0, kLimit, &fresh.handle, &first), 0);
  ASSERT_EQ(CRV_TFromS(kArch.get(), 60.0, kLimit, &fresh.handle, &reused), 0);
  EXPECT_EQ(first, reused);
  EXPECT_NEAR(first, 0.862, 1e-3);
}

TEST(ArcLookups, TFromSInvertsSFromTOverRandomCurves) {
  // Both interpolate between the same entries, so t -> s -> t gives t back to rounding.
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
      EXPECT_NEAR(back, t, 1e-13) << "trial " << trial << " n " << n;
    }
  }
}

TEST(ArcLookups, SplineAgreesWithTheTable) {
  // Curves whose x rises (speed at least 3 minRise): the spline passes within sqrt(bound) of the
  // table's samples (t L, s), which moves the parameter at a given s by at most
  // sqrt(bound) (1 + L / (3 minRise)) / L; the table's linear steps add under 1e-4.
  Random random(653);
  for (int trial = 0; trial < 12; ++trial) {
    const int dims = 2 + trial % 2;
    OwnedCurve curve(dims);
    double x = 0, minRise = 1e300;
    for (int i = 0; i < 4; ++i) {
      const double rise = i == 0 ? 0.0 : random.Uniform(5, 50);
      minRise = i ? std::min(minRise, rise) : minRise;
      curve.at(i, 0) = x += rise;
      for (int k = 1; k < dims; ++k) curve.at(i, k) = random.Uniform(-40, 40);
    }
    OwnedList table, spline;
    double length = 0;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), 128, &table.handle, &length), 0);
    const double distance = 1e-3 * length;
    ASSERT_EQ(CRV_BuildArcSpline(curve.get(), distance * distance, &spline.handle, &length), 0);
    const double tolerance = distance * (1 + length / (3 * minRise)) / length + 1e-4;
    for (int i = 0; i <= 200; ++i) {
      const double s = length * i / 200;
      double table_t = -1, spline_t = -1;
      ASSERT_EQ(CRV_TFromS(curve.get(), s, 128, &table.handle, &table_t), 0);
      ASSERT_EQ(CRV_TFromSSpline(curve.get(), s, 0, &spline.handle, &spline_t), 0);
      EXPECT_NEAR(spline_t, table_t, tolerance) << "trial " << trial << " s = " << s;
    }
  }
}

TEST(EvaluateByDistance, StraightSegmentEighthsAndSixteenths) {
  // x(t) = t: the points sit at their parameters. Never fewer than eighths; a chord equal to
  // the distance is halved again.
  const OwnedCurve unit({0, 0}, {1.0 / 3, 0}, {2.0 / 3, 0}, {1, 0});
  for (const auto& [distance, steps] : {std::pair{0.3, 8}, {0.125, 16}, {1e9, 8}}) {
    OwnedList list;
    ASSERT_EQ(CRV_EvaluateByDistance(unit.get(), distance, 0, &list.handle), 0);
    const std::vector<Pair> got = Items(list.handle);
    ASSERT_EQ(got.size(), size_t(steps + 1)) << distance;
    for (int i = 0; i <= steps; ++i) EXPECT_EQ(got[size_t(i)], (Pair{double(i) / steps, 0}));
  }
}

TEST(EvaluateByDistance, RandomCurvesAreWalkedInStepsBelowTheDistance) {
  // Each point is found on the curve by a forward scan over parameters k / 2^12: pieces that short
  // are under 0.15 long here, so no distance of 0.5 or more halves deeper.
  constexpr int kGrid = 1 << 12;
  Random random(701);
  for (int trial = 0; trial < 15; ++trial) {
    const OwnedCurve curve = random.Curve(2);
    const double distance = random.Uniform(0.5, 40);
    OwnedList list;
    ASSERT_EQ(CRV_EvaluateByDistance(curve.get(), distance, 0, &list.handle), 0);
    const std::vector<Pair> points = Items(list.handle);
    EXPECT_EQ(points.back(), (Pair{curve.at(3, 0), curve.at(3, 1)}));
    int k = -1;
    for (size_t i = 0; i < points.size(); ++i) {
      const Pair& last = points[i ? i - 1 : 0];
      EXPECT_LT(std::hypot(points[i][0] - last[0], points[i][1] - last[1]), distance) << "trial " << trial;
      int found = -1;
      for (int j = k + 1; j <= kGrid && found < 0; ++j) {
        const std::vector<double> p = crvref::Point(*curve.get(), double(j) / kGrid);
        if (std::fabs(p[0] - points[i][0]) < 1e-9 && std::fabs(p[1] - points[i][1]) < 1e-9) found = j;
      }
      ASSERT_GE(found, 0) << "trial " << trial << ": point " << i << " is not further along";
      k = found;
    }
  }
}

}  // namespace
