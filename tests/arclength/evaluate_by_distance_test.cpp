// Evaluation by distance: the straight-segment values, list reuse from a start position, the
// depth limit on degenerate input, and properties over random curves.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "arc_test_util.h"
#include "crv/crv.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using arctest::Items;
using arctest::MakeList;
using arctest::OwnedList;
using arctest::Pair;
using crvtest::OwnedCurve;
using crvtest::Random;

// (0, 0) to (1, 0) with evenly spaced handles: x(t) = t, so the points sit at their parameters.
OwnedCurve UnitSegment() { return OwnedCurve({0, 0}, {1.0 / 3, 0}, {2.0 / 3, 0}, {1, 0}); }

// The points (i / steps, 0), i = 0 .. steps.
std::vector<Pair> EvenPoints(int steps) {
  std::vector<Pair> points;
  for (int i = 0; i <= steps; ++i) points.push_back({static_cast<double>(i) / steps, 0.0});
  return points;
}

void ExpectPointsNear(const std::vector<Pair>& got, const std::vector<Pair>& want) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i)
    EXPECT_POINT_NEAR(got[i].data(), want[i].data(), 2, 1e-15) << "point " << i;
}

TEST(EvaluateByDistance, StraightSegmentEighthsAndSixteenths) {
  const OwnedCurve segment = UnitSegment();
  const struct {
    double distance;
    int steps;
  } cases[] = {
      {0.3, 8},     // the eighths (0.125 long) pass at once
      {0.125, 16},  // the eighths fail the strict test and are halved once more
      {0.1250001, 8},
      {1e9, 8},     // never fewer than eighths
      {-0.3, 8},    // only the square of the distance is used
  };
  for (const auto& c : cases) {
    OwnedList list;
    ASSERT_EQ(CRV_EvaluateByDistance(segment.get(), c.distance, 0, &list.handle), 0);
    SCOPED_TRACE(c.distance);
    ExpectPointsNear(Items(list.handle), EvenPoints(c.steps));
  }
}

TEST(EvaluateByDistance, NullListIsCreatedAndFilledFromTheStart) {
  const OwnedCurve segment = UnitSegment();
  OwnedList list;
  ASSERT_EQ(CRV_EvaluateByDistance(segment.get(), 0.3, 7, &list.handle), 0);
  ASSERT_NE(list.handle, nullptr);
  ExpectPointsNear(Items(list.handle), EvenPoints(8));
}

TEST(EvaluateByDistance, ReusesAListFromAStartPosition) {
  const OwnedCurve segment = UnitSegment();
  std::vector<Pair> old;
  for (int i = 0; i < 20; ++i) old.push_back({100.0 + i, -1.0});
  OwnedList list;
  list.handle = MakeList(old);
  const SEQ_ListH original = list.handle;
  ASSERT_EQ(CRV_EvaluateByDistance(segment.get(), 0.3, 5, &list.handle), 0);
  EXPECT_EQ(list.handle, original);
  std::vector<Pair> want(old.begin(), old.begin() + 5);
  for (const Pair& p : EvenPoints(8)) want.push_back(p);
  ExpectPointsNear(Items(list.handle), want);  // 14 items: the old tail is dropped

  // Sixteenths from position 10 run past the old end: stores turn into insertions.
  ASSERT_EQ(CRV_EvaluateByDistance(segment.get(), 0.125, 10, &list.handle), 0);
  want.resize(10);
  for (const Pair& p : EvenPoints(16)) want.push_back(p);
  ExpectPointsNear(Items(list.handle), want);
}

TEST(EvaluateByDistance, StartPositionsOutsideTheListLeaveNoGap) {
  const OwnedCurve segment = UnitSegment();
  const std::vector<Pair> old = {{7, 7}, {8, 8}, {9, 9}};
  {
    OwnedList list;
    list.handle = MakeList(old);
    ASSERT_EQ(CRV_EvaluateByDistance(segment.get(), 0.3, 50, &list.handle), 0);
    std::vector<Pair> want = old;  // appended right behind the last item
    for (const Pair& p : EvenPoints(8)) want.push_back(p);
    ExpectPointsNear(Items(list.handle), want);
  }
  {
    OwnedList list;
    list.handle = MakeList(old);
    ASSERT_EQ(CRV_EvaluateByDistance(segment.get(), 0.3, -4, &list.handle), 0);
    ExpectPointsNear(Items(list.handle), EvenPoints(8));  // taken as position 0
  }
}

TEST(EvaluateByDistance, StoresOnlyXAndYAndReadsMissingCoordinatesAsZero) {
  const OwnedCurve lifted({0, 0, 5}, {1.0 / 3, 0, -9}, {2.0 / 3, 0, 4}, {1, 0, 2});
  OwnedList list;
  ASSERT_EQ(CRV_EvaluateByDistance(lifted.get(), 0.3, 0, &list.handle), 0);
  ExpectPointsNear(Items(list.handle), EvenPoints(8));

  const OwnedCurve line({0}, {1.0 / 3}, {2.0 / 3}, {1});  // dims = 1: y reads as 0
  ASSERT_EQ(CRV_EvaluateByDistance(line.get(), 0.3, 0, &list.handle), 0);
  ExpectPointsNear(Items(list.handle), EvenPoints(8));

  const OwnedCurve empty(0);  // no coordinates at all: nine points at the origin
  ASSERT_EQ(CRV_EvaluateByDistance(empty.get(), 0.3, 0, &list.handle), 0);
  ExpectPointsNear(Items(list.handle), std::vector<Pair>(9, Pair{0, 0}));
}

TEST(EvaluateByDistance, DegenerateInputStopsAtTheDepthLimit) {
  // Nothing passes a strict test against a zero or NaN square, and NaN coordinates pass no test:
  // halving stops at pieces of 2^-20 in parameter, 2^20 + 1 points.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const OwnedCurve segment = UnitSegment();
  const OwnedCurve broken({0, 0}, {nan, 1}, {2, 2}, {3, 0});
  const struct {
    const OwnedCurve* curve;
    double distance;
  } cases[] = {{&segment, 0.0}, {&segment, nan}, {&segment, 1e-300}, {&broken, 1.0}};
  OwnedList list;  // shared, so that only the first case grows it to a million items
  for (const auto& c : cases) {
    ASSERT_EQ(CRV_EvaluateByDistance(c.curve->get(), c.distance, 0, &list.handle), 0);
    ASSERT_EQ(arctest::Count(list.handle), (1 << 20) + 1) << "distance " << c.distance;
    if (c.curve == &segment) {
      // Halving is exact here: the points are the multiples of 2^-20.
      for (int32_t i : {0, 1, 4097, 65536, 777777, (1 << 20) - 1, 1 << 20}) {
        Pair point;
        ASSERT_EQ(SEQ_GetItem(list.handle, i, point.data()), 0);
        EXPECT_EQ(point[0], std::ldexp(static_cast<double>(i), -20));
      }
    }
  }
}

TEST(EvaluateByDistance, PointsAreCloserThanTheDistanceInParameterOrderEndingAtP3) {
  // Each stored point is located on the curve by a forward scan over the parameters k / 2^12:
  // with coordinates in [-100, 100] the speed is at most 600, so pieces of 2^-12 have chords
  // below 0.15 and no distance of at least 0.5 halves deeper than that.
  constexpr int kGrid = 1 << 12;
  Random random(701);
  for (int trial = 0; trial < 25; ++trial) {
    const OwnedCurve curve = random.Curve(2);
    const double distance = random.Uniform(0.5, 40);
    OwnedList list;
    ASSERT_EQ(CRV_EvaluateByDistance(curve.get(), distance, 0, &list.handle), 0);
    const std::vector<Pair> points = Items(list.handle);
    ASSERT_GE(points.size(), 9u);
    EXPECT_EQ(points.front(), (Pair{curve.get()->ctpts[0][0], curve.get()->ctpts[0][1]}));
    EXPECT_EQ(points.back(), (Pair{curve.get()->ctpts[3][0], curve.get()->ctpts[3][1]}));
    int k = -1;
    for (size_t i = 0; i < points.size(); ++i) {
      if (i > 0) {
        const double dx = points[i][0] - points[i - 1][0], dy = points[i][1] - points[i - 1][1];
        EXPECT_LT(std::hypot(dx, dy), distance) << "trial " << trial << " point " << i;
      }
      // The next grid parameter past the previous point's at which the curve passes this point.
      int found = -1;
      for (int j = k + 1; j <= kGrid && found < 0; ++j) {
        const std::vector<double> p = crvtest::ReferencePoint(*curve.get(), double(j) / kGrid);
        if (std::fabs(p[0] - points[i][0]) < 1e-9 && std::fabs(p[1] - points[i][1]) < 1e-9)
          found = j;
      }
      ASSERT_GE(found, 0) << "trial " << trial << ": point " << i << " is not further along";
      k = found;
    }
    EXPECT_EQ(k, kGrid);
  }
}

}  // namespace
