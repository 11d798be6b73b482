// Host failures: for every host call each arc-length export makes, a failure at that call is
// returned unchanged, leaves the outputs as documented and leaks no handle, list or lock.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "arc_test_util.h"
#include "crv/crv.h"
#include "host/host_test.h"
#include "support/curves.h"

namespace {

using arctest::Items;
using arctest::MakeList;
using arctest::OwnedList;
using arctest::Pair;
using crvtest::OwnedCurve;

constexpr int32_t kCode = -7777;  // not a code the host or the library produces on its own
constexpr double kUntouched = -12345.0;

// Arms a failure of host call k of this thread (k = 0: none).
void Arm(int64_t k) {
  if (k > 0)
    HOST_FailNthCall(k, kCode);
  else
    HOST_ClearFaults();
}

// Disarms and returns the number of host calls made since Arm.
int64_t Disarm() {
  const int64_t calls = HOST_CallCount();
  HOST_ClearFaults();
  return calls;
}

// attempt(k) prepares the caller's state, runs the export with call k failing (0: none), checks
// the result and outputs, disposes of the caller's lists and returns the calls made. Every call
// of the fault-free run is failed once in turn; the live counts must come back each time.
template <typename Attempt>
void SweepFaults(Attempt attempt) {
  const auto before = arctest::Live();
  const int64_t calls = attempt(0);
  ASSERT_GT(calls, 0);
  for (int64_t k = 1; k <= calls; ++k) {
    attempt(k);
    EXPECT_EQ(arctest::Live(), before) << "fault at call " << k << " of " << calls;
  }
  EXPECT_EQ(arctest::Live(), before);
}

OwnedCurve Arch() { return OwnedCurve({0, 0}, {10, 30}, {40, 30}, {50, 0}); }

std::vector<Pair> Sentinels(int count) {
  std::vector<Pair> items;
  for (int i = 0; i < count; ++i) items.push_back({100.0 + i, -1.0});
  return items;
}

TEST(ArcFaults, BuildArcTable) {
  // Calls: SEQ_New and SEQ_SetFuncs for a null handle, n stores, SEQ_SetNumItems. A failed store
  // ends the fill: the length is the sum reached and the list is not truncated.
  const OwnedCurve curve = Arch();
  constexpr int32_t n = 12;
  std::vector<Pair> reference;
  {
    OwnedList table;
    double length;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &length), 0);
    reference = Items(table.handle);
  }
  const std::vector<Pair> old = Sentinels(30);
  for (bool reuse : {false, true}) {
    SCOPED_TRACE(reuse ? "reused list" : "new list");
    const int64_t setup = reuse ? 0 : 2;
    SweepFaults([&](int64_t k) {
      OwnedList table;
      if (reuse) table.handle = MakeList(old);
      double length = kUntouched;
      Arm(k);
      const int32_t code = CRV_BuildArcTable(curve.get(), n, &table.handle, &length);
      const int64_t calls = Disarm();
      EXPECT_EQ(code, k == 0 ? 0 : kCode) << "fault at call " << k;
      if (k == 0) {
        EXPECT_EQ(calls, setup + n + 1);
      }
      if (k == 1 && !reuse) {
        EXPECT_EQ(table.handle, nullptr);
      }
      if (k == 2 && !reuse) {
        EXPECT_NE(table.handle, nullptr) << "the new list is the caller's";
      }
      if (k > 0 && k <= setup) {
        EXPECT_EQ(length, kUntouched);
        return calls;
      }
      // Entries 0 .. i - 1 were stored; i = n when only the truncation failed.
      const size_t i = k == 0 ? n : std::min<size_t>(static_cast<size_t>(k - 1 - setup), n);
      EXPECT_EQ(length, reference[std::min<size_t>(i, n - 1)][1]) << "fault at call " << k;
      std::vector<Pair> want = reuse && k != 0 ? old : std::vector<Pair>(i);
      std::copy(reference.begin(), reference.begin() + static_cast<ptrdiff_t>(i), want.begin());
      EXPECT_EQ(Items(table.handle), want) << "fault at call " << k;
      return calls;
    });
  }
}

TEST(ArcFaults, SFromT) {
  // Between entries: SEQ_GetSortedItem, SEQ_Lock, SEQ_GetAddress of hi and of lo, SEQ_Unlock,
  // after the build's n + 3 calls when the handle is null.
  const OwnedCurve curve = Arch();
  constexpr int32_t n = 9;
  const double t = 0.3;
  double expected, total;
  {
    OwnedList table;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &total), 0);
    ASSERT_EQ(CRV_SFromT(curve.get(), t, n, &table.handle, &expected), 0);
  }
  for (bool build : {false, true}) {
    SCOPED_TRACE(build ? "null table" : "built table");
    const int64_t setup = build ? n + 3 : 0;
    SweepFaults([&](int64_t k) {
      OwnedList table;
      double s = kUntouched;
      if (!build) {
        EXPECT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &s), 0);
      }
      s = kUntouched;
      Arm(k);
      const int32_t code = CRV_SFromT(curve.get(), t, n, &table.handle, &s);
      const int64_t calls = Disarm();
      const int64_t step = k == 0 ? 0 : k - setup;  // 1 search, 2 lock, 3 hi, 4 lo, 5 unlock
      if (k == 0) {
        EXPECT_EQ(calls, setup + 5);
      }
      if (k == 0 || step == 4) {
        // lo needs no address of its own: it is the item before hi in the locked block.
        EXPECT_EQ(code, 0);
        EXPECT_EQ(s, expected);
      } else if (step == 5) {
        EXPECT_EQ(code, kCode);
        EXPECT_EQ(s, expected);  // written before the unlock failed
      } else {
        EXPECT_EQ(code, kCode) << "fault at call " << k;
        // The build reports its length, partial or whole, through s; the lookup writes no more.
        if (step >= 1) {
          EXPECT_EQ(s, build ? total : kUntouched) << "fault at call " << k;
        }
      }
      return calls;
    });
  }
}

TEST(ArcFaults, TFromSAndEvaluatePointFromS) {
  // On a built table: the search by t for the total length, the search by s and two item reads;
  // on a null table the build's n + 3 calls come first. On a failure nothing is written.
  const OwnedCurve curve = Arch();
  constexpr int32_t n = 9;
  double length, s, expectedT, expectedPoint[2];
  {
    OwnedList table;
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &length), 0);
    s = 0.41 * length;
    ASSERT_EQ(CRV_TFromS(curve.get(), s, n, &table.handle, &expectedT), 0);
    ASSERT_EQ(CRV_EvaluatePoint(curve.get(), expectedT, expectedPoint), 0);
  }
  for (bool build : {false, true}) {
    for (bool point : {false, true}) {
      SCOPED_TRACE(std::string(build ? "null table, " : "built table, ") +
                   (point ? "point" : "parameter"));
      SweepFaults([&](int64_t k) {
        OwnedList table;
        double out[2] = {kUntouched, kUntouched};
        if (!build) {
          EXPECT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, out), 0);
        }
        out[0] = kUntouched;
        Arm(k);
        const int32_t code = point ? CRV_EvaluatePointFromS(curve.get(), s, n, &table.handle, out)
                                   : CRV_TFromS(curve.get(), s, n, &table.handle, out);
        const int64_t calls = Disarm();
        if (k == 0) {
          EXPECT_EQ(code, 0);
          EXPECT_EQ(calls, (build ? n + 3 : 1) + 3);
          EXPECT_EQ(out[0], point ? expectedPoint[0] : expectedT);
        } else {
          EXPECT_EQ(code, kCode) << "fault at call " << k;
          EXPECT_EQ(out[0], kUntouched) << "fault at call " << k;
          EXPECT_EQ(out[1], kUntouched);
        }
        return calls;
      });
    }
  }
}

TEST(ArcFaults, RetractedSegmentsMakeNoHostCall) {
  const OwnedCurve curve({0, 0}, {0, 0}, {3, 4}, {3, 4});
  SEQ_ListH table = nullptr;
  double s, point[2];
  Arm(1);  // any host call would fail
  EXPECT_EQ(CRV_SFromT(curve.get(), 0.5, 128, &table, &s), 0);
  EXPECT_EQ(CRV_EvaluatePointFromS(curve.get(), 2.5, 128, &table, point), 0);
  EXPECT_EQ(Disarm(), 0);
  EXPECT_EQ(table, nullptr);
}

TEST(ArcFaults, EvaluateByDistance) {
  // Calls: SEQ_New for a null list, nine stores (the eighths of a straight segment), and
  // SEQ_SetNumItems. A failed store ends the walk: the points stored so far, then what the list
  // held behind them.
  const OwnedCurve curve({0, 0}, {1.0 / 3, 0}, {2.0 / 3, 0}, {1, 0});
  std::vector<Pair> reference;
  {
    OwnedList list;
    ASSERT_EQ(CRV_EvaluateByDistance(curve.get(), 0.3, 0, &list.handle), 0);
    reference = Items(list.handle);
    ASSERT_EQ(reference.size(), 9u);
  }
  const std::vector<Pair> old = Sentinels(20);
  for (bool reuse : {false, true}) {
    SCOPED_TRACE(reuse ? "reused list" : "new list");
    const int64_t setup = reuse ? 0 : 1;
    const size_t start = reuse ? 5 : 0;  // a new list starts at 0 whatever start says
    SweepFaults([&](int64_t k) {
      OwnedList list;
      if (reuse) list.handle = MakeList(old);
      Arm(k);
      const int32_t code = CRV_EvaluateByDistance(curve.get(), 0.3, 5, &list.handle);
      const int64_t calls = Disarm();
      EXPECT_EQ(code, k == 0 ? 0 : kCode) << "fault at call " << k;
      if (k == 0) {
        EXPECT_EQ(calls, setup + 10);
      }
      if (k == 1 && !reuse) {
        EXPECT_EQ(list.handle, nullptr);
        return calls;
      }
      const size_t stored = k == 0 ? 9 : std::min<size_t>(static_cast<size_t>(k - 1 - setup), 9);
      std::vector<Pair> want = reuse ? old : std::vector<Pair>(stored);
      if (k == 0) want.resize(start + 9);
      std::copy(reference.begin(), reference.begin() + static_cast<ptrdiff_t>(stored),
                want.begin() + static_cast<ptrdiff_t>(start));
      EXPECT_EQ(Items(list.handle), want) << "fault at call " << k;
      return calls;
    });
  }
}

}  // namespace
