// The arc-length table: its building blocks (compare functions, retracted-handle test, chord,
// step distance) and CRV_BuildArcTable's contents, reuse and accuracy.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "arc_test_util.h"
#include "arclength/arc_table.h"
#include "core/evaluate_paired.h"
#include "crv/crv.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using arctest::CapabilityOverride;
using arctest::Items;
using arctest::OwnedList;
using arctest::Pair;
using crvtest::OwnedCurve;
using crvtest::Random;

bool MachineHasPairedPath() { return HS_G_CPU_DataP[3] != 0; }

TEST(CompareArcEntries, OrderTheirOwnFieldWithAnAbsoluteTolerance) {
  auto* host = reinterpret_cast<void*>(0x1);  // the host's arguments are not read
  const Pair a{0.5, 7.0}, near{0.5 + 5e-11, -3.0}, above{0.5 + 2e-10, 7.0};
  EXPECT_EQ(crv::CompareArcEntriesByT(host, 77, a.data(), near.data()), 0);
  EXPECT_EQ(crv::CompareArcEntriesByT(host, 77, a.data(), above.data()), -1);
  EXPECT_EQ(crv::CompareArcEntriesByT(host, 77, above.data(), a.data()), 1);
  // By s: the t fields are ignored.
  const Pair s1{0.0, 100.0}, s2{9.0, 100.0 + 5e-11}, s3{-9.0, 100.0 - 2e-10};
  EXPECT_EQ(crv::CompareArcEntriesByS(host, 77, s1.data(), s2.data()), 0);
  EXPECT_EQ(crv::CompareArcEntriesByS(host, 77, s1.data(), s3.data()), 1);
  EXPECT_EQ(crv::CompareArcEntriesByS(host, 77, s3.data(), s1.data()), -1);
  const Pair nan{std::nan(""), std::nan("")};  // a NaN difference sorts above
  EXPECT_EQ(crv::CompareArcEntriesByT(host, 77, nan.data(), a.data()), 1);
  EXPECT_EQ(crv::CompareArcEntriesByS(host, 77, s1.data(), nan.data()), 1);
}

bool Retracted(const OwnedCurve& curve) { return crv::HasRetractedHandles(*curve.get()); }

TEST(HasRetractedHandles, NearnessInSinglePrecisionWithAFloorNearZero) {
  // Near zero the floor 563/2^20 (about 5.37e-4) decides.
  EXPECT_TRUE(Retracted(OwnedCurve({0, 0}, {0.0005, 0}, {3, 4}, {3, 4})));
  EXPECT_FALSE(Retracted(OwnedCurve({0, 0}, {0.0006, 0}, {3, 4}, {3, 4})));
  EXPECT_FALSE(Retracted(OwnedCurve({0, 0}, {0, 0}, {3, 4.0006}, {3, 4})));  // P2 against P3
  EXPECT_FALSE(Retracted(OwnedCurve({0, 0}, {1, 4.0 / 3}, {2, 8.0 / 3}, {3, 4})));
  // At 1000 the relative bound 1e-6 * 1000 = 1e-3 decides. 1000.0009 rounds to 1000.00091553 in
  // single precision; 1000.001005 is 1.005e-3 away in double but rounds to 1000.00097656.
  EXPECT_TRUE(Retracted(OwnedCurve({1000}, {1000.0009}, {0}, {0})));
  EXPECT_TRUE(Retracted(OwnedCurve({1000}, {1000.001005}, {0}, {0})));
  EXPECT_FALSE(Retracted(OwnedCurve({1000}, {1000.002}, {0}, {0})));
  // Two negatives: the relative bound uses the larger magnitude, not the larger value (which
  // would fall back to the floor and fail this pair).
  EXPECT_TRUE(Retracted(OwnedCurve({-1000}, {-1000.0009}, {0}, {0})));
  // Any coordinate fails the whole test; a curve without coordinates passes.
  EXPECT_FALSE(Retracted(OwnedCurve({0, 0, 0}, {0, 0, 0.01}, {1, 1, 1}, {1, 1, 1})));
  EXPECT_TRUE(Retracted(OwnedCurve(0)));
  EXPECT_FALSE(Retracted(OwnedCurve({0}, {std::nan("")}, {1}, {1})));
}

TEST(ChordLength, DistanceBetweenTheEndPointsOverAllDimensions) {
  EXPECT_EQ(crv::ChordLength(*OwnedCurve({1, 2, 3}, {9, 9, 9}, {-9, 9, 9}, {4, 6, 15}).get()),
            13.0);  // (3, 4, 12)
  EXPECT_EQ(crv::ChordLength(*OwnedCurve(0).get()), 0.0);
}

// Checks what every table built for n >= 2 samples of a 2- or 3-D curve holds.
void ExpectTableInvariants(SEQ_ListH table, int32_t n, double length) {
  const std::vector<Pair> items = Items(table);
  ASSERT_EQ(static_cast<int32_t>(items.size()), n);
  EXPECT_EQ(items[0][0], 0.0);
  EXPECT_EQ(items[0][1], 0.0);
  const double dt = 1.0 / static_cast<double>(n - 1);
  double t = 0.0;
  for (int32_t i = 1; i < n; ++i) {
    t = t + dt;  // accumulated, not i * dt
    EXPECT_EQ(items[static_cast<size_t>(i)][0], t) << "entry " << i;
    EXPECT_GE(items[static_cast<size_t>(i)][1], items[static_cast<size_t>(i) - 1][1]);
  }
  EXPECT_NEAR(items.back()[0], 1.0, 1e-13);
  EXPECT_EQ(items.back()[1], length);
}

TEST(BuildArcTable, HoldsNSortedEntriesEndingAtTheTotalLength) {
  Random random(502);
  for (int trial = 0; trial < 40; ++trial) {
    const int dims = 2 + trial % 2;
    const OwnedCurve curve = random.Curve(dims);
    const int32_t n = random.Int(2, 300);
    for (int32_t flag : {0, 1}) {
      if (flag && !MachineHasPairedPath()) continue;
      CapabilityOverride capability(flag);
      OwnedList table;
      double length = -1;
      ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &length), 0);
      ASSERT_NE(table.handle, nullptr);
      int32_t itemSize;
      std::memcpy(&itemSize, static_cast<const char*>(*table.handle) + SEQ_BLOCK_ITEM_SIZE_OFFSET,
                  sizeof itemSize);
      EXPECT_EQ(itemSize, 16);
      ExpectTableInvariants(table.handle, n, length);
    }
  }
}

TEST(BuildArcTable, ConvergesToTheArcLengthFourfoldPerDoubling) {
  // Chords underestimate the arc, by about L h^2 kappa^2 / 24 a step of parameter length h: the
  // error of the sum falls by 4 when n doubles. The reference is an adaptive Gauss-Legendre
  // quadrature of |B'| in long double, far more accurate than the table.
  Random random(503);
  for (int trial = 0; trial < 12; ++trial) {
    const int dims = 2 + trial % 2;
    const OwnedCurve curve = random.Curve(dims);
    const double reference = arctest::ReferenceLength(*curve.get());
    ASSERT_GT(reference, 0.0);
    double previousError = 0.0;
    for (int32_t n : {64, 128, 256, 512}) {
      OwnedList table;
      double length = 0;
      ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &length), 0);
      const double error = reference - length;
      EXPECT_GE(error, -1e-12 * reference) << "chords never exceed the arc";
      if (n == 128) {
        EXPECT_LT(error / reference, 1e-3);
      }
      if (previousError > 0.0) {
        EXPECT_GT(previousError / error, 3.5) << "trial " << trial << " n " << n;
        EXPECT_LT(previousError / error, 4.5) << "trial " << trial << " n " << n;
      }
      previousError = error;
    }
  }
}

TEST(BuildArcTable, ReusesTheCallersTableAtAnyNewLength) {
  const OwnedCurve curve({0, 0}, {10, 30}, {40, -20}, {50, 10});
  OwnedList table;
  double length = 0;
  ASSERT_EQ(CRV_BuildArcTable(curve.get(), 128, &table.handle, &length), 0);
  const SEQ_ListH first = table.handle;
  for (int32_t n : {5, 200, 2}) {
    double again = 0;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &again), 0);
    EXPECT_EQ(table.handle, first) << "the caller's list is refilled, not replaced";
    ExpectTableInvariants(table.handle, n, again);
    OwnedList fresh;
    double freshLength = 0;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &fresh.handle, &freshLength), 0);
    EXPECT_EQ(Items(fresh.handle), Items(table.handle)) << "n = " << n;
  }
}

TEST(BuildArcTable, SampleCountsBelowTwoKeepTheSingleStartEntry) {
  const OwnedCurve curve({0, 0}, {1, 2}, {3, 1}, {4, 4});
  for (int32_t n : {1, 0, -7}) {
    OwnedList table;
    table.handle = arctest::MakeList({{1, 1}, {2, 2}, {3, 3}});
    double length = -1;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &length), 0) << n;
    EXPECT_EQ(length, 0.0);
    EXPECT_EQ(Items(table.handle), (std::vector<Pair>{{0, 0}})) << "n = " << n;
  }
}

TEST(BuildArcTable, OtherDimensionCountsWriteOnlyTheStartEntry) {
  for (int dims : {1, 4}) {
    Random random(504);
    const OwnedCurve curve = random.Curve(dims);
    // A fresh list is grown to n by the host (zeroed items in this host).
    OwnedList fresh;
    double length = -1;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), 6, &fresh.handle, &length), 0);
    EXPECT_EQ(length, 0.0);
    EXPECT_EQ(Items(fresh.handle), std::vector<Pair>(6, Pair{0, 0}));
    // A reused list keeps what it held behind entry 0, truncated to n.
    OwnedList reused;
    reused.handle = arctest::MakeList({{5, 5}, {6, 6}, {7, 7}, {8, 8}});
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), 3, &reused.handle, &length), 0);
    EXPECT_EQ(Items(reused.handle), (std::vector<Pair>{{0, 0}, {6, 6}, {7, 7}}));
  }
}

}  // namespace
