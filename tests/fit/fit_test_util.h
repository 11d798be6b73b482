// Helpers shared by the curve-fitting tests: sampled curves, the caller's lists, live host counts,
// fault arming and an independent distance from a point to a cubic.
#ifndef CRV_TESTS_FIT_FIT_TEST_UTIL_H
#define CRV_TESTS_FIT_FIT_TEST_UTIL_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "host/host_test.h"
#include "host/seq.h"
#include "support/curves.h"
#include "support/host_controls.h"

namespace fittest {

using crvtest::OwnedList;

// Not a code that the host or the library produces on its own.
constexpr int32_t kCode = -7777;

inline int32_t Count(SEQ_ListH list) {
  int32_t count;
  std::memcpy(&count, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
  return count;
}

inline int32_t ItemSize(SEQ_ListH list) {
  int32_t size;
  std::memcpy(&size, static_cast<const char*>(*list) + SEQ_BLOCK_ITEM_SIZE_OFFSET, sizeof size);
  return size;
}

// The items of a point list of `dims` doubles each, flattened; empty for a null list.
inline std::vector<double> Points(SEQ_ListH list, int dims) {
  std::vector<double> out;
  if (list == nullptr) return out;
  const int32_t count = Count(list);
  out.resize(static_cast<size_t>(count) * static_cast<size_t>(dims));
  for (int32_t i = 0; i < count; ++i)
    EXPECT_EQ(SEQ_GetItem(list, i, out.data() + static_cast<size_t>(i) * dims), 0);
  return out;
}

inline std::vector<int32_t> Indices(SEQ_ListH list) {
  std::vector<int32_t> out;
  if (list == nullptr) return out;
  out.resize(static_cast<size_t>(Count(list)));
  for (size_t i = 0; i < out.size(); ++i)
    EXPECT_EQ(SEQ_GetItem(list, static_cast<int32_t>(i), &out[i]), 0);
  return out;
}

// A list of `count` items of `itemSize` bytes, all bytes 0x5A.
inline SEQ_ListH FilledList(int32_t itemSize, int32_t count) {
  SEQ_ListH list = nullptr;
  EXPECT_EQ(SEQ_New(0, itemSize, 8, 1, &list), 0);
  std::vector<unsigned char> item(static_cast<size_t>(itemSize), 0x5A);
  for (int32_t i = 0; i < count; ++i) EXPECT_EQ(SEQ_Insert(item.data(), -1, list), 0);
  return list;
}

struct LiveCounts {
  int64_t handles, lists, blocks, locks;
  bool operator==(const LiveCounts& o) const {
    return handles == o.handles && lists == o.lists && blocks == o.blocks && locks == o.locks;
  }
};

inline LiveCounts Live() {
  return {HOST_LiveHandles(), HOST_LiveLists(), HOST_LiveSmallBlocks(), HOST_HeldLocks()};
}

// Arms a failure of host call k of this thread (k = 0: none, but the calls are counted).
inline void Arm(int64_t k) {
  if (k > 0)
    HOST_FailNthCall(k, kCode);
  else
    HOST_ClearFaults();
}

// Disarms and returns the number of host calls made since Arm.
inline int64_t Disarm() {
  const int64_t calls = HOST_CallCount();
  HOST_ClearFaults();
  return calls;
}

// attempt(k) runs the export with call k failing (0: none), checks what it must, disposes of the
// caller's lists and returns the calls it made. Every call is failed once in turn; the live
// counts must come back each time.
template <typename Attempt>
void SweepFaults(Attempt attempt) {
  const LiveCounts before = Live();
  const int64_t calls = attempt(0);
  ASSERT_GT(calls, 0);
  ASSERT_TRUE(Live() == before);
  for (int64_t k = 1; k <= calls; ++k) {
    attempt(k);
    EXPECT_TRUE(Live() == before) << "fault at call " << k << " of " << calls;
  }
}

// n samples of the curve at evenly spaced parameters, each coordinate moved by Gaussian noise
// of deviation sigma (none for 0), packed dims doubles a point.
inline std::vector<double> SampleCurve(const CRV_Curve& curve, int32_t n, double sigma,
                                       uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::normal_distribution<double> noise(0.0, sigma > 0 ? sigma : 1.0);
  const int dims = curve.dims;
  std::vector<double> samples(static_cast<size_t>(n) * static_cast<size_t>(dims));
  for (int32_t i = 0; i < n; ++i) {
    const double t = static_cast<double>(i) / (n - 1);
    CRV_EvaluatePoint(&curve, t, samples.data() + static_cast<size_t>(i) * dims);
    if (sigma > 0)
      for (int k = 0; k < dims; ++k) samples[static_cast<size_t>(i) * dims + k] += noise(engine);
  }
  return samples;
}

// A record bound to four points of a flattened point list, starting at point `first`.
inline CRV_Curve SegmentAt(std::vector<double>& points, int dims, size_t first) {
  CRV_Curve c;
  c.dims = static_cast<int16_t>(dims);
  for (int i = 0; i < 4; ++i) c.ctpts[i] = points.data() + (first + static_cast<size_t>(i)) * dims;
  return c;
}

// The squared distance from p to the nearest point of the cubic polynomial over t in [lo, hi],
// computed apart from the library: the Bernstein form in long double on a grid of 512 intervals,
// then golden section search in the two intervals around the best grid point. Squared distance
// along a cubic has at most a few minima, each far wider than a grid interval for the curves used
// here. The fit measures each sample at its own parameter, which Newton steps may move a little
// outside [0, 1]; the default range allows for that.
inline long double SquaredAt(const CRV_Curve& c, const double* p, long double t) {
  const long double s = 1.0L - t;
  const long double w[4] = {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
  long double sum = 0;
  for (int k = 0; k < c.dims; ++k) {
    long double v = 0;
    for (int i = 0; i < 4; ++i) v += w[i] * c.ctpts[i][k];
    sum += (v - p[k]) * (v - p[k]);
  }
  return sum;
}

inline double SquaredDistanceToCurve(const CRV_Curve& c, const double* p,
                                     long double from = -0.25L, long double to = 1.25L) {
  constexpr int kGrid = 512;
  const auto at = [&](int i) { return from + (to - from) * i / kGrid; };
  int best = 0;
  long double bestValue = SquaredAt(c, p, from);
  for (int i = 1; i <= kGrid; ++i) {
    const long double v = SquaredAt(c, p, at(i));
    if (v < bestValue) {
      bestValue = v;
      best = i;
    }
  }
  long double lo = at(std::max(best - 1, 0));
  long double hi = at(std::min(best + 1, kGrid));
  const long double ratio = 0.6180339887498948482L;
  for (int step = 0; step < 80; ++step) {
    const long double a = hi - (hi - lo) * ratio, b = lo + (hi - lo) * ratio;
    if (SquaredAt(c, p, a) < SquaredAt(c, p, b))
      hi = b;
    else
      lo = a;
  }
  return static_cast<double>(std::min(bestValue, SquaredAt(c, p, (lo + hi) / 2)));
}

}  // namespace fittest

#endif
