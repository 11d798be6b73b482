// Helpers shared by the arc-length tests: capability override, list contents, live host counts
// and an independent arc-length quadrature.
#ifndef CRV_TESTS_ARCLENGTH_ARC_TEST_UTIL_H
#define CRV_TESTS_ARCLENGTH_ARC_TEST_UTIL_H

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "host/host_test.h"
#include "support/host_controls.h"
#include "host/hs.h"
#include "host/seq.h"

namespace arctest {

using crvtest::CapabilityOverride;
using crvtest::OwnedList;

using Pair = std::array<double, 2>;  // a table entry {t, s} or a point {x, y}

inline int32_t Count(SEQ_ListH list) {
  int32_t count;
  std::memcpy(&count, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
  return count;
}

// Every item of a list of two-double items, read through the host.
inline std::vector<Pair> Items(SEQ_ListH list) {
  std::vector<Pair> items;
  if (list == nullptr) return items;
  const int32_t count = Count(list);
  items.resize(static_cast<size_t>(count));
  bool read = true;
  for (int32_t i = 0; i < count; ++i)
    read = read && SEQ_GetItem(list, i, items[static_cast<size_t>(i)].data()) == 0;
  EXPECT_TRUE(read);
  return items;
}

// A list of two-double items holding `items`.
inline SEQ_ListH MakeList(const std::vector<Pair>& items) {
  SEQ_ListH list = nullptr;
  EXPECT_EQ(SEQ_New(0, 16, 32, 1, &list), 0);
  for (const Pair& item : items) EXPECT_EQ(SEQ_Insert(item.data(), -1, list), 0);
  return list;
}

// Live handles, lists, small blocks and held locks of the host.
inline std::array<int64_t, 4> Live() {
  return {HOST_LiveHandles(), HOST_LiveLists(), HOST_LiveSmallBlocks(), HOST_HeldLocks()};
}

// Arc length by composite 5-point Gauss-Legendre quadrature of |B'(t)| over 4096 intervals, in
// long double: independent of the library (B' from the Bernstein form) and, for a speed without
// a cusp, accurate far beyond any table's error.
inline double ReferenceLength(const CRV_Curve& c) {
  static const long double x[5] = {0.0L, 0.53846931010568309104L, -0.53846931010568309104L,
                                   0.90617984593866399280L, -0.90617984593866399280L};
  static const long double w[5] = {0.56888888888888888889L, 0.47862867049936646804L,
                                   0.47862867049936646804L, 0.23692688505618908751L,
                                   0.23692688505618908751L};
  constexpr int kIntervals = 4096;
  long double total = 0;
  for (int i = 0; i < kIntervals; ++i) {
    for (int j = 0; j < 5; ++j) {
      const long double t = (i + 0.5L + 0.5L * x[j]) / kIntervals, s = 1 - t;
      long double speed2 = 0;
      for (int k = 0; k < c.dims; ++k) {
        const long double d = 3 * s * s * (static_cast<long double>(c.ctpts[1][k]) - c.ctpts[0][k]) +
                              6 * s * t * (static_cast<long double>(c.ctpts[2][k]) - c.ctpts[1][k]) +
                              3 * t * t * (static_cast<long double>(c.ctpts[3][k]) - c.ctpts[2][k]);
        speed2 += d * d;
      }
      total += w[j] * std::sqrt(speed2);
    }
  }
  return static_cast<double>(total / (2 * kIntervals));
}

}  // namespace arctest

#endif
