// Host failures: for every host call the fitting exports make, a failure at that call comes back
// with its code, the caller's curve and lists hold what crv.h documents, and no handle, list,
// small block or lock is left behind.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "fit_test_util.h"
#include "host/host_test.h"
#include "host/hs.h"
#include "support/curves.h"

namespace {

using crvtest::OwnedCurve;
using fittest::Arm;
using fittest::Disarm;
using fittest::Indices;
using fittest::kCode;
using fittest::OwnedList;
using fittest::Points;

// The three kinds of failable call the fits make, seen from the result they produce.
enum class Call { kList, kSmallBlock, kHandle };

int32_t ExpectedCode(Call call) {
  switch (call) {
    case Call::kList: return kCode;
    case Call::kSmallBlock: return HS_ERR_BAD_ALLOC;  // std::bad_alloc, translated by the host
    case Call::kHandle: return CRV_ErrOutOfMemory;
  }
  return 0;
}

std::vector<double> Samples(int32_t n, int dims) {
  const OwnedCurve truth = crvtest::Random(631).Curve(dims, -50, 50);
  return fittest::SampleCurve(*truth.get(), n, 0.3, 632);
}

// The single fit makes, in order: SEQ_New, two small blocks, per least-squares solve of more than
// 256 samples a handle, four inserts, SEQ_Lock, SEQ_Unlock, SEQ_Dispose.
std::vector<Call> OneCurveCalls(int32_t n, int solves) {
  std::vector<Call> calls = {Call::kList, Call::kSmallBlock, Call::kSmallBlock};
  if (n > 256) calls.insert(calls.end(), static_cast<size_t>(solves), Call::kHandle);
  calls.insert(calls.end(), 7, Call::kList);
  return calls;
}

void SweepOneCurve(int32_t n, int dims, uint16_t iterations) {
  const std::vector<double> samples = Samples(n, dims);
  OwnedCurve reference(dims);
  double referenceError = 0;
  ASSERT_EQ(CRV_FitOneCurveError(samples.data(), n, 1e-9, 2, 2, iterations, &referenceError,
                                 reference.get()),
            0);
  // A bound that is never met: 1 + iterations solves.
  const std::vector<Call> calls = OneCurveCalls(n, 1 + iterations);
  fittest::SweepFaults([&](int64_t k) {
    OwnedCurve curve(dims);
    for (int i = 0; i < 4; ++i)
      for (int c = 0; c < dims; ++c) curve.at(i, c) = -1;
    double maxError = -5;
    Arm(k);
    const int32_t code = CRV_FitOneCurveError(samples.data(), n, 1e-9, 2, 2, iterations,
                                              &maxError, curve.get());
    const int64_t made = Disarm();
    if (k == 0) {
      EXPECT_EQ(code, 0);
      EXPECT_EQ(made, static_cast<int64_t>(calls.size()));
      return made;
    }
    const Call failed = calls[static_cast<size_t>(k - 1)];
    EXPECT_EQ(code, ExpectedCode(failed)) << "fault at call " << k;
    if (failed == Call::kSmallBlock) {
        EXPECT_EQ(std::string(HOST_LastReportedException()).empty(), false);
    }
    // The curve is written only once the fit is complete, just before the unlock.
    const bool written = k >= static_cast<int64_t>(calls.size()) - 1;
    for (int i = 0; i < 4; ++i)
      for (int c = 0; c < dims; ++c)
        EXPECT_EQ(curve.at(i, c), written ? reference.at(i, c) : -1.0) << "fault at call " << k;
    return made;
  });
}

TEST(FitFaults, OneCurveWithItsRowsOnTheStack) { SweepOneCurve(40, 2, 3); }

TEST(FitFaults, OneCurveWithItsRowsInHostHandles) { SweepOneCurve(300, 3, 2); }

// The chain fit makes: list creation or emptying (and for the index list the same plus inserting
// index 0), two small blocks, then per segment its handles (long segments) and inserts.
TEST(FitFaults, MultipleCurvesIntoNewAndReusedLists) {
  constexpr int32_t n = 300;
  const std::vector<double> samples = Samples(n, 2);
  OwnedList refPoints, refIndices;
  ASSERT_EQ(CRV_FitMultipleCurvesIterate(samples.data(), 2, n, 0.5, 2, &refPoints.handle,
                                         &refIndices.handle),
            0);
  const std::vector<double> points = Points(refPoints.handle, 2);
  const std::vector<int32_t> indices = Indices(refIndices.handle);
  ASSERT_GT(indices.size(), 3u);
  int outOfMemory = 0, translated = 0;
  for (bool reuse : {false, true}) {
    // The kinds of the calls, recorded from a run without faults by failing each in turn: a
    // translated small-block failure and an out-of-memory handle are told apart by their codes.
    fittest::SweepFaults([&](int64_t k) {
      OwnedList pointList, indexList;
      if (reuse) {
        pointList.handle = fittest::FilledList(16, 7);
        indexList.handle = fittest::FilledList(4, 7);
      }
      const SEQ_ListH givenPoints = pointList.handle, givenIndices = indexList.handle;
      Arm(k);
      const int32_t code = CRV_FitMultipleCurvesIterate(samples.data(), 2, n, 0.5, 2,
                                                        &pointList.handle, &indexList.handle);
      const int64_t made = Disarm();
      const std::vector<double> gotPoints = Points(pointList.handle, 2);
      const std::vector<int32_t> gotIndices = Indices(indexList.handle);
      if (k == 0) {
        EXPECT_EQ(code, 0);
        EXPECT_EQ(gotPoints, points);
        EXPECT_EQ(gotIndices, indices);
        return made;
      }
      EXPECT_TRUE(code == kCode || code == HS_ERR_BAD_ALLOC || code == CRV_ErrOutOfMemory)
          << "fault at call " << k << ": " << code;
      outOfMemory += code == CRV_ErrOutOfMemory;
      translated += code == HS_ERR_BAD_ALLOC;
      if (reuse) {
        EXPECT_EQ(pointList.handle, givenPoints);
        EXPECT_EQ(indexList.handle, givenIndices);
      }
      if (k == 1) {
        // Creating or emptying the point list failed: nothing else was done.
        EXPECT_EQ(code, kCode);
        EXPECT_EQ(pointList.handle == nullptr, !reuse);
        if (reuse) {
          EXPECT_EQ(gotPoints.size(), 7u * 2);
        }
        EXPECT_EQ(indexList.handle == nullptr, !reuse);
        if (reuse) {
          EXPECT_EQ(gotIndices.size(), 7u);
        }
        return made;
      }
      if (k == 2) {
        // Creating or emptying the index list failed: the point list is ready and empty.
        EXPECT_EQ(code, kCode);
        EXPECT_TRUE(gotPoints.empty());
        EXPECT_EQ(indexList.handle == nullptr, !reuse);
        if (reuse) {
          EXPECT_EQ(gotIndices.size(), 7u);
        }
        return made;
      }
      // Whatever was appended before the failure is a prefix of the full chain, and the index
      // list never runs ahead of the segments in the point list.
      EXPECT_LE(gotPoints.size(), points.size());
      EXPECT_TRUE(std::equal(gotPoints.begin(), gotPoints.end(), points.begin()))
          << "fault at call " << k;
      EXPECT_LE(gotIndices.size(), indices.size());
      EXPECT_TRUE(std::equal(gotIndices.begin(), gotIndices.end(), indices.begin()));
      if (gotIndices.size() > 1) {
        EXPECT_GE(gotPoints.size(), (3 * (gotIndices.size() - 1) + 1) * 2);
      }
      if (k <= 3) {
        EXPECT_TRUE(gotPoints.empty()) << "no segment before the index list is ready";
      }
      if (code == HS_ERR_BAD_ALLOC) {
        EXPECT_TRUE(gotPoints.empty());
        EXPECT_EQ(gotIndices, std::vector<int32_t>{0});
      }
      return made;
    });
  }
  // Both runs met both small blocks and the handle of the 300-sample first segment at least.
  EXPECT_EQ(translated, 4);
  EXPECT_GE(outOfMemory, 2);
}

TEST(FitFaults, MultipleCurvesCallsInOrder) {
  // Two samples and an index list: SEQ_New (points), SEQ_New (indices), SEQ_Insert of index 0,
  // two small blocks, four point inserts and the index insert.
  const double samples[] = {0, 0, 1, 1};
  const std::vector<Call> calls = {Call::kList, Call::kList, Call::kList, Call::kSmallBlock,
                                   Call::kSmallBlock, Call::kList, Call::kList, Call::kList,
                                   Call::kList, Call::kList};
  fittest::SweepFaults([&](int64_t k) {
    OwnedList points, indices;
    Arm(k);
    const int32_t code =
        CRV_FitMultipleCurvesIterate(samples, 2, 2, 1.0, 4, &points.handle, &indices.handle);
    const int64_t made = Disarm();
    if (k == 0) {
      EXPECT_EQ(made, static_cast<int64_t>(calls.size()));
      EXPECT_EQ(code, 0);
    } else {
      EXPECT_EQ(code, ExpectedCode(calls[static_cast<size_t>(k - 1)])) << "fault at call " << k;
      // Points appended: those whose inserts came before the failing one.
      const size_t appended = k > 6 ? static_cast<size_t>(std::min<int64_t>(k - 6, 4)) : 0;
      EXPECT_EQ(Points(points.handle, 2).size(), 2 * appended) << "fault at call " << k;
    }
    return made;
  });
}

}  // namespace
