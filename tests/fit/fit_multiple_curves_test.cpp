// The multiple-curve fit: list layout and reuse, its documented special bounds, the refused
// inputs, the chain's geometry over random sampled curves, and runs whose splits nest deeply.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "fit_test_util.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;
using fittest::Indices;
using fittest::OwnedList;
using fittest::Points;

struct Chain {
  std::vector<double> points;
  std::vector<int32_t> indices;
};

Chain FitChain(const std::vector<double>& samples, int dims, double bound, uint16_t iterations) {
  OwnedList points, indices;
  const int32_t n = static_cast<int32_t>(samples.size()) / dims;
  EXPECT_EQ(CRV_FitMultipleCurvesIterate(samples.data(), static_cast<uint16_t>(dims), n, bound,
                                         iterations, &points.handle, &indices.handle),
            0);
  return {Points(points.handle, dims), Indices(indices.handle)};
}

// Checks the layout every successful chain has: 3k + 1 points and k + 1 rising indices from 0 to
// n - 1, each join the sample of its index, the first and last points the end samples.
void ExpectChainLayout(const Chain& chain, const std::vector<double>& samples, int dims) {
  const size_t n = samples.size() / static_cast<size_t>(dims);
  ASSERT_GE(chain.indices.size(), 2u);
  const size_t k = chain.indices.size() - 1;
  ASSERT_EQ(chain.points.size(), (3 * k + 1) * static_cast<size_t>(dims));
  EXPECT_EQ(chain.indices.front(), 0);
  EXPECT_EQ(chain.indices.back(), static_cast<int32_t>(n - 1));
  for (size_t j = 0; j <= k; ++j) {
    if (j > 0) {
      EXPECT_LT(chain.indices[j - 1], chain.indices[j]);
    }
    EXPECT_BITS_EQ(&chain.points[3 * j * dims],
                   &samples[static_cast<size_t>(chain.indices[j]) * dims], dims)
        << "join " << j;
  }
}

std::vector<double> Wave(int n, double amplitude) {
  std::vector<double> samples;
  for (int i = 0; i < n; ++i) {
    samples.push_back(i);
    samples.push_back(amplitude * std::sin(i * 0.3));
  }
  return samples;
}

TEST(FitMultipleCurves, TwoSamplesMakeOneSegment) {
  const double samples[] = {0, 0, 0, 2, 3, 6};  // chord (2, 3, 6), length 7
  OwnedList points, indices;
  ASSERT_EQ(CRV_FitMultipleCurvesIterate(samples, 3, 2, 1.0, 4, &points.handle, &indices.handle),
            0);
  EXPECT_EQ(fittest::ItemSize(points.handle), 24);
  EXPECT_EQ(fittest::ItemSize(indices.handle), 4);
  const std::vector<double> got = Points(points.handle, 3);
  const double handle = 7.0 * 0.333333333333333;
  const std::vector<double> expected = {0, 0, 0,
                                        handle * (2.0 / 7), handle * (3.0 / 7), handle * (6.0 / 7),
                                        2 + handle * (-2.0 / 7), 3 + handle * (-3.0 / 7),
                                        6 + handle * (-6.0 / 7),
                                        2, 3, 6};
  EXPECT_EQ(got, expected);
  EXPECT_EQ(Indices(indices.handle), (std::vector<int32_t>{0, 1}));
}

TEST(FitMultipleCurves, ARunThatOneCubicFitsIsOneSegment) {
  // 30 samples of one cubic: the chord-length fit deviates by 3.44 (squared), one Newton step
  // brings that to 0.33 (both measured below with the single fit and the chain's one-sample
  // tangents).
  const OwnedCurve truth({0, 0}, {10, 30}, {40, 30}, {50, 0});
  const std::vector<double> samples = fittest::SampleCurve(*truth.get(), 30, 0.0, 1);
  OwnedCurve first(2), refined(2);
  double firstError = 0, refinedError = 0;
  ASSERT_EQ(CRV_FitOneCurveError(samples.data(), 30, 0, 1, 1, 0, &firstError, first.get()), 0);
  ASSERT_EQ(CRV_FitOneCurveError(samples.data(), 30, 0, 1, 1, 1, &refinedError, refined.get()), 0);
  ASSERT_GT(firstError, 2.0);
  ASSERT_LT(firstError, 4.0);
  ASSERT_LT(refinedError, 2.0);
  // Bound 2: the gate 2^2 > 3.44 lets the Newton step run, and the refined cubic is the chain.
  const Chain chain = FitChain(samples, 2, 2.0, 4);
  EXPECT_EQ(chain.indices, (std::vector<int32_t>{0, 29}));
  std::vector<double> expected;
  for (int i = 0; i < 4; ++i) expected.insert(expected.end(), {refined.at(i, 0), refined.at(i, 1)});
  EXPECT_EQ(chain.points, expected);
  // Bound 1: the gate fails as well, so the run is split without trying the step.
  EXPECT_GT(FitChain(samples, 2, 1.0, 4).indices.size(), 2u);
}

TEST(FitMultipleCurves, SeveralSegmentsShareTheirJoins) {
  const std::vector<double> samples = Wave(60, 10);
  const Chain chain = FitChain(samples, 2, 0.5, 4);
  EXPECT_GT(chain.indices.size(), 3u);
  ExpectChainLayout(chain, samples, 2);
}

TEST(FitMultipleCurves, BoundsThatCannotBeMetSplitDownToSamplePairs) {
  const std::vector<double> samples = Wave(25, 3);
  std::vector<int32_t> every(25);
  for (int32_t i = 0; i < 25; ++i) every[static_cast<size_t>(i)] = i;
  for (double bound : {0.0, -1.0, std::nan("")}) {
    const Chain chain = FitChain(samples, 2, bound, 4);
    EXPECT_EQ(chain.indices, every) << "bound " << bound;
    EXPECT_EQ(chain.points.size(), (3u * 24 + 1) * 2);
  }
}

TEST(FitMultipleCurves, ATieSplitsAtTheLaterSample) {
  // Samples 1 and 2 coincide, and so do 3 and 4: each pair shares its parameter and so its
  // deviation from any fit, and every split goes to the later sample of a pair.
  const std::vector<double> samples = {0, 0, 1, 4, 1, 4, 3, 4, 3, 4, 4, 0};
  EXPECT_EQ(FitChain(samples, 2, 1e-6, 0).indices, (std::vector<int32_t>{0, 2, 4, 5}));
}

TEST(FitMultipleCurves, BoundsUpToOneSplitWithoutIterating) {
  // With 0 < bound <= 1 the gate bound^2 > maximum fails whenever acceptance does, so the
  // iteration count cannot matter; above 1 it does.
  const std::vector<double> samples = Wave(80, 20);
  for (double bound : {0.05, 0.5, 1.0}) {
    const Chain none = FitChain(samples, 2, bound, 0);
    const Chain many = FitChain(samples, 2, bound, 50);
    EXPECT_EQ(none.points, many.points) << "bound " << bound;
    EXPECT_EQ(none.indices, many.indices);
  }
  EXPECT_NE(FitChain(samples, 2, 4.0, 0).points, FitChain(samples, 2, 4.0, 50).points);
  // As for the single fit, 32768 and above iterate not at all.
  EXPECT_EQ(FitChain(samples, 2, 4.0, 32768).points, FitChain(samples, 2, 4.0, 0).points);
}

TEST(FitMultipleCurves, IsTheIterateFitWithFourIterations) {
  const std::vector<double> samples = Wave(80, 20);
  OwnedList plain;
  ASSERT_EQ(CRV_FitMultipleCurves(samples.data(), 2, 80, 4.0, &plain.handle), 0);
  EXPECT_EQ(Points(plain.handle, 2), FitChain(samples, 2, 4.0, 4).points);
  EXPECT_NE(Points(plain.handle, 2), FitChain(samples, 2, 4.0, 3).points);
}

TEST(FitMultipleCurves, ReusedListsAreEmptiedAndRefilled) {
  const std::vector<double> samples = Wave(60, 10);
  const Chain reference = FitChain(samples, 2, 0.5, 4);
  OwnedList points, indices;
  points.handle = fittest::FilledList(16, 500);
  indices.handle = fittest::FilledList(4, 500);
  const SEQ_ListH pointList = points.handle, indexList = indices.handle;
  ASSERT_EQ(CRV_FitMultipleCurvesIterate(samples.data(), 2, 60, 0.5, 4, &points.handle,
                                         &indices.handle),
            0);
  EXPECT_EQ(points.handle, pointList);
  EXPECT_EQ(indices.handle, indexList);
  EXPECT_EQ(Points(points.handle, 2), reference.points);
  EXPECT_EQ(Indices(indices.handle), reference.indices);
  // Without an index list, only the point list is touched.
  ASSERT_EQ(CRV_FitMultipleCurves(samples.data(), 2, 2, 0.5, &points.handle), 0);
  EXPECT_EQ(fittest::Count(points.handle), 4);
  EXPECT_EQ(Indices(indices.handle), reference.indices);
}

TEST(FitMultipleCurves, RefusesUnsupportedInputsWithoutTouchingTheLists) {
  const std::vector<double> samples = Wave(10, 1);
  OwnedList points, indices;
  points.handle = fittest::FilledList(16, 3);
  for (uint16_t dims : {0, 1, 4, 65535}) {
    fittest::Arm(0);
    EXPECT_EQ(CRV_FitMultipleCurvesIterate(samples.data(), dims, 5, 1.0, 4, &points.handle,
                                           &indices.handle),
              CRV_ErrBadRecord);
    EXPECT_EQ(fittest::Disarm(), 0);
  }
  for (int32_t count : {1, 0, -5}) {
    fittest::Arm(0);
    EXPECT_EQ(CRV_FitMultipleCurves(samples.data(), 2, count, 1.0, &points.handle),
              CRV_ErrBadRecord);
    EXPECT_EQ(fittest::Disarm(), 0);
  }
  EXPECT_EQ(fittest::Count(points.handle), 3);
  EXPECT_EQ(indices.handle, nullptr);
}

// Over random cubics sampled in 2-D and 3-D, with and without noise: every interior sample lies
// within the bound of its own segment (its nearest point there, found apart from the library),
// the ends are the end samples, and at every join the two inner points and the join are
// collinear with the join between them.
TEST(FitMultipleCurves, ChainsOfRandomSampledCurves) {
  crvtest::Random random(621);
  for (int trial = 0; trial < 40; ++trial) {
    const int dims = 2 + trial % 2;
    const OwnedCurve truth = random.Curve(dims, -100, 100);
    const int32_t n = random.Int(2, 400);
    const double sigma = trial % 4 < 2 ? 0.0 : random.Uniform(0.05, 1.0);
    const std::vector<double> samples = fittest::SampleCurve(*truth.get(), n, sigma, 900 + trial);
    const double bound = random.Uniform(0.001, 3.0);
    Chain chain = FitChain(samples, dims, bound, static_cast<uint16_t>(random.Int(0, 6)));
    ExpectChainLayout(chain, samples, dims);
    for (size_t j = 0; j + 1 < chain.indices.size(); ++j) {
      const CRV_Curve segment = fittest::SegmentAt(chain.points, dims, 3 * j);
      for (int32_t i = chain.indices[j] + 1; i < chain.indices[j + 1]; ++i) {
        const double* d = &samples[static_cast<size_t>(i) * dims];
        EXPECT_LT(fittest::SquaredDistanceToCurve(segment, d), bound)
            << "trial " << trial << " sample " << i << " segment " << j;
      }
      if (j == 0) continue;
      // Join j: P2 of the segment before and P1 of the one after, on opposite rays from it. Both
      // were placed as J + alpha T and J - alpha' T, so each differs from an exact multiple of T
      // only by the rounding of its coordinates (an ulp of |J| + |alpha|); the cross product of
      // the two offsets is bounded by that rounding times their lengths.
      const double* join = &chain.points[3 * j * dims];
      double before[3] = {0, 0, 0}, after[3] = {0, 0, 0};
      double magnitude = 0;
      for (int k = 0; k < dims; ++k) {
        before[k] = chain.points[(3 * j - 1) * dims + k] - join[k];
        after[k] = chain.points[(3 * j + 1) * dims + k] - join[k];
        magnitude = std::max(magnitude, std::fabs(join[k]));
      }
      const double lb = std::sqrt(before[0] * before[0] + before[1] * before[1] +
                                  before[2] * before[2]);
      const double la = std::sqrt(after[0] * after[0] + after[1] * after[1] + after[2] * after[2]);
      const double cross[3] = {before[1] * after[2] - before[2] * after[1],
                               before[2] * after[0] - before[0] * after[2],
                               before[0] * after[1] - before[1] * after[0]};
      const double tolerance = 1e-14 * (lb + la) * (magnitude + lb + la);
      for (double c : cross) {
        EXPECT_LE(std::fabs(c), tolerance) << "trial " << trial << " join " << j;
      }
      EXPECT_LE(before[0] * after[0] + before[1] * after[1] + before[2] * after[2], 0.0);
    }
  }
}

// Samples on which every split peels off the second-to-last sample, so that the splits nest as
// deep as the run is long: all samples at one place. Every fit is then exact (all deviations 0),
// a bound of 0 is not met, and the tie rule sends each split to the last interior sample.
std::vector<double> PeelingRun(int32_t n) {
  std::vector<double> samples;
  for (int32_t i = 0; i < n; ++i) samples.insert(samples.end(), {2.5, -1.5});
  return samples;
}

// Runs the chain fit of `samples` (2-D) with bound 0 on a thread with a stack of `stackBytes`
// and returns its index list.
std::vector<int32_t> FitOnSmallStack(const std::vector<double>& samples, size_t stackBytes) {
  struct Job {
    const std::vector<double>* samples;
    int32_t code;
    std::vector<int32_t> indices;
  } job{&samples, -1, {}};
  pthread_attr_t attributes;
  EXPECT_EQ(pthread_attr_init(&attributes), 0);
  EXPECT_EQ(pthread_attr_setstacksize(&attributes, stackBytes), 0);
  pthread_t thread;
  const int created = pthread_create(
      &thread, &attributes,
      [](void* arg) -> void* {
        auto* j = static_cast<Job*>(arg);
        OwnedList points, indexList;
        j->code = CRV_FitMultipleCurvesIterate(
            j->samples->data(), 2, static_cast<int32_t>(j->samples->size() / 2), 0.0, 4,
            &points.handle, &indexList.handle);
        j->indices = Indices(indexList.handle);
        return nullptr;
      },
      &job);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(created, 0);
  if (created == 0) {
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
  }
  EXPECT_EQ(job.code, 0);
  return job.indices;
}

TEST(FitMultipleCurves, SplitsThatNestAsDeepAsTheRunUseNoStack) {
  constexpr int32_t n = 2000;
  const std::vector<double> samples = PeelingRun(n);
  // On a 64 KiB stack: the recursive form would keep one frame per pending right half (at least
  // a few hundred bytes each, over 12 KiB with its rows), here n - 2 of them.
  const std::vector<int32_t> indices = FitOnSmallStack(samples, 64 * 1024);
  ASSERT_EQ(indices.size(), static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) EXPECT_EQ(indices[static_cast<size_t>(i)], i);
}

}  // namespace
