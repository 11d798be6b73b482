// The single-curve fit: its documented special inputs, the wrappers, the refused inputs, and the
// geometry of fits of random sampled curves.
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "fit_test_util.h"
#include "host/host_test.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;

// A curve record whose coordinates are all `fill`, to show what a call left untouched.
OwnedCurve Marked(int dims, double fill = -123.0) {
  OwnedCurve c(dims);
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < dims; ++k) c.at(i, k) = fill;
  return c;
}

std::vector<double> Coordinates(const OwnedCurve& c) {
  std::vector<double> out;
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < c.dims(); ++k) out.push_back(c.at(i, k));
  return out;
}

// An S-shaped run of 40 samples that one cubic fits only roughly.
std::vector<double> Wave(int dims) {
  std::vector<double> samples;
  for (int i = 0; i < 40; ++i) {
    samples.push_back(i);
    samples.push_back(10 * std::sin(i * 0.2));
    if (dims == 3) samples.push_back(0.1 * i * i);
  }
  return samples;
}

TEST(FitOneCurve, TwoSamplesGetHandlesAThirdOfTheChordLong) {
  const double samples[] = {1, 2, 4, 6};  // chord (3, 4), length 5
  for (double bound : {-1.0, 0.0, 1e9}) {
    OwnedCurve curve = Marked(2);
    double maxError = 42.0;
    ASSERT_EQ(CRV_FitOneCurveError(samples, 2, bound, 1, 1, 10, &maxError, curve.get()), 0);
    const double handle = 5.0 * 0.333333333333333;
    // The fifteen-threes constant, not 1/3: the two differ in these very coordinates.
    ASSERT_NE(1 + handle * (3.0 / 5.0), 1 + 5.0 / 3.0 * (3.0 / 5.0));
    EXPECT_EQ(curve.at(0, 0), 1.0);
    EXPECT_EQ(curve.at(1, 0), 1 + handle * (3.0 / 5.0));
    EXPECT_EQ(curve.at(1, 1), 2 + handle * (4.0 / 5.0));
    EXPECT_EQ(curve.at(2, 0), 4 + handle * (-3.0 / 5.0));
    EXPECT_EQ(curve.at(2, 1), 6 + handle * (-4.0 / 5.0));
    EXPECT_EQ(curve.at(3, 1), 6.0);
    EXPECT_EQ(maxError, 42.0) << "nothing is measured between two samples";
  }
}

TEST(FitOneCurve, CoincidentSamplesGiveAPoint) {
  std::vector<double> samples;
  for (int i = 0; i < 6; ++i) samples.insert(samples.end(), {3.5, -1.25, 8});
  OwnedCurve curve = Marked(3);
  double maxError = -1;
  ASSERT_EQ(CRV_FitOneCurveError(samples.data(), 6, 1.0, 2, 2, 10, &maxError, curve.get()), 0);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(curve.at(i, 0), 3.5);
    EXPECT_EQ(curve.at(i, 1), -1.25);
    EXPECT_EQ(curve.at(i, 2), 8.0);
  }
  EXPECT_EQ(maxError, 0.0);
}

TEST(FitOneCurve, IterationCountsAsTheEngineReadsThem) {
  for (int dims : {2, 3}) {
    const std::vector<double> samples = Wave(dims);
    auto fit = [&](uint16_t iterations) {
      OwnedCurve curve = Marked(dims);
      EXPECT_EQ(CRV_FitOneCurveIter(samples.data(), 40, 1e-9, iterations, 3, curve.get()), 0);
      return Coordinates(curve);
    };
    const std::vector<double> none = fit(0);
    EXPECT_NE(fit(1), none) << "the first Newton step changes this fit";
    EXPECT_NE(fit(2), fit(1));
    // 32768 and above are negative as signed 16-bit: no iterations.
    EXPECT_EQ(fit(32768), none);
    EXPECT_EQ(fit(65535), none);
    // CRV_FitOneCurve is the ten-iteration fit.
    OwnedCurve ten = Marked(dims);
    ASSERT_EQ(CRV_FitOneCurve(samples.data(), 40, 1e-9, 3, ten.get()), 0);
    EXPECT_EQ(Coordinates(ten), fit(10));
  }
}

TEST(FitOneCurve, UnreachableBoundsRunEveryIterationAndReportTheLastMaximum) {
  const std::vector<double> samples = Wave(2);
  // A bound <= 0 is never met, so every such bound gives the same fit: the one after all the
  // iterations. Its maximum is the largest squared deviation of an interior sample from the curve
  // at that sample's parameter, so no sample lies farther from the curve than that.
  std::vector<double> reference;
  for (double bound : {0.0, -1.0, -1e300}) {
    OwnedCurve curve = Marked(2);
    double maxError = -1;
    ASSERT_EQ(CRV_FitOneCurveError(samples.data(), 40, bound, 2, 2, 7, &maxError, curve.get()), 0);
    if (reference.empty()) reference = Coordinates(curve);
    EXPECT_EQ(Coordinates(curve), reference);
    EXPECT_GT(maxError, 0.0);
    double nearest = 0;
    for (int i = 1; i < 39; ++i)
      nearest = std::max(nearest, fittest::SquaredDistanceToCurve(*curve.get(), &samples[2 * i]));
    EXPECT_LE(nearest, maxError * (1 + 1e-12));
  }
  // A bound above the first maximum stops before any iteration.
  OwnedCurve first = Marked(2), stopped = Marked(2);
  double firstError = -1, stoppedError = -1;
  ASSERT_EQ(CRV_FitOneCurveError(samples.data(), 40, 0, 2, 2, 0, &firstError, first.get()), 0);
  ASSERT_EQ(CRV_FitOneCurveError(samples.data(), 40, firstError * 1.001, 2, 2, 10, &stoppedError,
                                 stopped.get()),
            0);
  EXPECT_EQ(Coordinates(stopped), Coordinates(first));
  EXPECT_EQ(stoppedError, firstError);
  // A bound equal to the maximum fails the strict test, and the iterations run.
  OwnedCurve equal = Marked(2);
  ASSERT_EQ(CRV_FitOneCurveIter(samples.data(), 40, firstError, 10, 2, equal.get()), 0);
  EXPECT_NE(Coordinates(equal), Coordinates(first));
}

TEST(FitOneCurve, SamplesThatBendBackPlaceBothHandlesAtAThirdOfTheChord) {
  // A zigzag whose least-squares handle lengths come out negative (found by a seeded search over
  // small integer samples): the fit places both handles a third of the chord along the tangents.
  const double samples[] = {0, 1, -4, -1, 4, -1, -2, 1, 2, 0};
  OwnedCurve curve = Marked(2);
  ASSERT_EQ(CRV_FitOneCurveIter(samples, 5, 1e-9, 0, 1, curve.get()), 0);
  const double chord = std::sqrt(2.0 * 2 + 1.0 * 1);
  double start[2] = {-4, -2}, end[2] = {-4, 1};  // d1 - d0 and d3 - d4
  for (double* v : {start, end}) {
    const double length = std::sqrt(v[0] * v[0] + v[1] * v[1]);
    v[0] = v[0] / length;
    v[1] = v[1] / length;
  }
  const double handle = chord * 0.333333333333333;
  EXPECT_EQ(curve.at(1, 0), 0 + handle * start[0]);
  EXPECT_EQ(curve.at(1, 1), 1 + handle * start[1]);
  EXPECT_EQ(curve.at(2, 0), 2 + handle * end[0]);
  EXPECT_EQ(curve.at(2, 1), 0 + handle * end[1]);
}

TEST(FitOneCurve, TangentCountsAreClampedToTheSamples) {
  const std::vector<double> samples = Wave(3);
  auto fit = [&](int32_t left, int32_t right) {
    OwnedCurve curve = Marked(3);
    EXPECT_EQ(CRV_FitOneCurveError(samples.data(), 40, 1e-9, left, right, 3, nullptr, curve.get()),
              0);
    return Coordinates(curve);
  };
  EXPECT_EQ(fit(0, -5), fit(1, 1));
  EXPECT_EQ(fit(-2147483647 - 1, 1), fit(1, 1));
  EXPECT_EQ(fit(39, 1000), fit(39, 39));
  EXPECT_EQ(fit(2147483647, 1), fit(39, 1));
  EXPECT_NE(fit(5, 5), fit(1, 1));
}

TEST(FitOneCurve, RefusesUnsupportedInputsWithoutTouchingAnything) {
  const std::vector<double> samples = Wave(3);
  for (int dims : {-1, 0, 1, 4, 100}) {
    OwnedCurve curve = Marked(dims > 0 ? dims : 0);
    fittest::Arm(0);
    EXPECT_EQ(CRV_FitOneCurve(samples.data(), 40, 1.0, 2, curve.get()), CRV_ErrBadRecord);
    EXPECT_EQ(fittest::Disarm(), 0) << "no host call";
    if (dims > 0) {
      EXPECT_EQ(Coordinates(curve), Coordinates(Marked(dims)));
    }
  }
  for (int32_t count : {1, 0, -1, -2147483647 - 1}) {
    OwnedCurve curve = Marked(2);
    double maxError = 5;
    fittest::Arm(0);
    EXPECT_EQ(CRV_FitOneCurveError(samples.data(), count, 1.0, 1, 1, 4, &maxError, curve.get()),
              CRV_ErrBadRecord);
    EXPECT_EQ(fittest::Disarm(), 0);
    EXPECT_EQ(Coordinates(curve), Coordinates(Marked(2)));
    EXPECT_EQ(maxError, 5.0);
  }
}

// Over random cubics sampled with and without noise: the ends are the end samples, the handles
// lie on the tangent rays, and no interior sample lies farther from the fitted curve than the
// reported maximum, which is below the bound whenever the fit stopped early.
TEST(FitOneCurve, FitsOfRandomSampledCurves) {
  crvtest::Random random(611);
  for (int trial = 0; trial < 40; ++trial) {
    const int dims = 2 + trial % 2;
    const OwnedCurve truth = random.Curve(dims, -50, 50);
    const int32_t n = random.Int(3, 300);
    const double sigma = trial % 4 == 0 ? 0.0 : random.Uniform(0.01, 0.5);
    const std::vector<double> samples = fittest::SampleCurve(*truth.get(), n, sigma, 800 + trial);
    const double bound = random.Uniform(0.01, 5);
    OwnedCurve curve = Marked(dims);
    double maxError = -1;
    ASSERT_EQ(CRV_FitOneCurveError(samples.data(), n, bound, 1, 1, 10, &maxError, curve.get()), 0);
    EXPECT_BITS_EQ(curve.get()->ctpts[0], samples.data(), dims);
    EXPECT_BITS_EQ(curve.get()->ctpts[3], &samples[static_cast<size_t>(n - 1) * dims], dims);
    // P1 - P0 along d1 - d0 and P2 - P3 along d[n-2] - d[n-1], never against them.
    for (int end = 0; end < 2; ++end) {
      const double* tip = curve.get()->ctpts[end == 0 ? 0 : 3];
      const double* handle = curve.get()->ctpts[end == 0 ? 1 : 2];
      const double* next = &samples[static_cast<size_t>(end == 0 ? 1 : n - 2) * dims];
      double h[3] = {0, 0, 0}, d[3] = {0, 0, 0};
      for (int k = 0; k < dims; ++k) {
        h[k] = handle[k] - tip[k];
        d[k] = next[k] - tip[k];
      }
      const double hh = h[0] * h[0] + h[1] * h[1] + h[2] * h[2];
      const double dd = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
      const double cross = (h[1] * d[2] - h[2] * d[1]) * (h[1] * d[2] - h[2] * d[1]) +
                           (h[2] * d[0] - h[0] * d[2]) * (h[2] * d[0] - h[0] * d[2]) +
                           (h[0] * d[1] - h[1] * d[0]) * (h[0] * d[1] - h[1] * d[0]);
      EXPECT_LE(cross, 1e-20 * hh * dd + 1e-300) << "trial " << trial << " end " << end;
      EXPECT_GE(h[0] * d[0] + h[1] * d[1] + h[2] * d[2], 0.0);
    }
    double nearest = 0;
    for (int32_t i = 1; i < n - 1; ++i)
      nearest = std::max(nearest, fittest::SquaredDistanceToCurve(
                                      *curve.get(), &samples[static_cast<size_t>(i) * dims]));
    EXPECT_LE(nearest, maxError * (1 + 1e-9) + 1e-20) << "trial " << trial;
  }
}

TEST(FitOneCurve, RunsBeyondTheSixteenBitRange) {
  // 40000 samples: the tangent counts, the parameters and the rows (in a host handle) all span
  // the whole run.
  const OwnedCurve truth({0, 0}, {100, 300}, {400, -200}, {500, 100});
  const std::vector<double> samples = fittest::SampleCurve(*truth.get(), 40000, 0.0, 1);
  const int64_t handles = HOST_LiveHandles();
  OwnedCurve curve = Marked(2);
  double maxError = -1;
  ASSERT_EQ(CRV_FitOneCurveError(samples.data(), 40000, 1e-6, 35000, 35000, 3, &maxError,
                                 curve.get()),
            0);
  EXPECT_EQ(HOST_LiveHandles(), handles);
  EXPECT_EQ(curve.at(0, 1), 0.0);
  EXPECT_EQ(curve.at(3, 0), 500.0);
  EXPECT_TRUE(std::isfinite(maxError));
  EXPECT_GT(maxError, 0.0);
}

}  // namespace
