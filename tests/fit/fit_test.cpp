// Curve fitting: one cubic recovered from its samples, chains of cubics within the bound of their
// samples, and the special inputs a host meets.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "catalogue/reference.h"
#include "support/curves.h"
#include "support/host_controls.h"

namespace {

using crvtest::OwnedCurve;
using crvtest::OwnedList;
using crvtest::Random;
using Samples = std::vector<double>;

template <typename T>
std::vector<T> Items(SEQ_ListH list, int width) {
  int32_t count;
  std::memcpy(&count, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
  std::vector<T> out(size_t(count) * size_t(width));
  for (int32_t i = 0; i < count; ++i) EXPECT_EQ(SEQ_GetItem(list, i, &out[size_t(i * width)]), 0);
  return out;
}

// n samples at even parameters, each coordinate moved by uniform noise up to `noise`.
Samples Sample(const OwnedCurve& c, int n, double noise, Random& random) {
  Samples s;
  for (int i = 0; i < n; ++i)
    for (double v : crvref::Point(*c.get(), double(i) / (n - 1)))
      s.push_back(v + (noise > 0 ? random.Uniform(-noise, noise) : 0.0));
  return s;
}

// Squared distance from p to the cubic over t in [-0.25, 1.25] (Newton steps may move a sample's
// parameter a little outside [0, 1]), by the long-double reference's search.
double SquaredDistance(const CRV_Curve& c, const double* p) {
  return double(crvref::Minimize([&](long double t) { return crvref::DistSq(c, t, p, c.dims); },
                                 -0.25L, 1.25L));
}

TEST(FitOneCurve, RecoversASampledCubic) {
  // Samples of gently bending cubics (handles within 0.3 chords of the thirds) are met within
  // (1e-2 chord)^2, and so is the cubic between them.
  Random random(611);
  for (int trial = 0; trial < 40; ++trial) {
    const int dims = 2 + trial % 2, n = random.Int(20, 200);
    OwnedCurve truth = random.Curve(dims, -50, 50);
    double chord2 = 0;
    for (int k = 0; k < dims; ++k) chord2 += std::pow(truth.at(3, k) - truth.at(0, k), 2);
    for (int i = 1; i < 3; ++i)
      for (int k = 0; k < dims; ++k)
        truth.at(i, k) = truth.at(0, k) + (truth.at(3, k) - truth.at(0, k)) * i / 3 +
                         random.Uniform(-0.3, 0.3) * std::sqrt(chord2);
    const Samples samples = Sample(truth, n, 0.0, random);
    const double bound = 1e-4 * chord2;
    OwnedCurve fit(dims);
    double maxError = -1;
    ASSERT_EQ(CRV_FitOneCurveError(samples.data(), n, bound, 1, 1, 100, &maxError, fit.get()), 0);
    double worst = 0;
    for (int i = 1; i < n - 1; ++i)
      worst = std::max(worst, SquaredDistance(*fit.get(), &samples[size_t(i * dims)]));
    EXPECT_LE(worst, maxError * (1 + 1e-9) + 1e-20) << "trial " << trial;
    EXPECT_LT(maxError, bound) << "trial " << trial << " n " << n;
    for (int i = 0; i <= 50; ++i)  // and the cubic between the samples
      EXPECT_LT(SquaredDistance(*fit.get(), crvref::Point(*truth.get(), i / 50.0).data()), 4 * bound);
  }
}

TEST(FitMultipleCurves, ChainIsContinuousAndEachPieceWithinTheBound) {
  Random random(621);
  for (int trial = 0; trial < 30; ++trial) {
    const int dims = 2 + trial % 2, n = random.Int(2, 300);
    const Samples samples = Sample(random.Curve(dims), n, trial % 4 < 2 ? 0.0 : 1.0, random);
    const double bound = random.Uniform(0.001, 3.0);
    OwnedList pointList, indexList;
    ASSERT_EQ(CRV_FitMultipleCurvesIterate(samples.data(), uint16_t(dims), n, bound, 4,
                                           &pointList.handle, &indexList.handle), 0);
    std::vector<double> points = Items<double>(pointList.handle, dims);
    const std::vector<int32_t> index = Items<int32_t>(indexList.handle, 1);
    const size_t k = index.size() - 1;
    ASSERT_EQ(points.size(), (3 * k + 1) * size_t(dims));
    EXPECT_TRUE(index.front() == 0 && index.back() == n - 1);
    for (size_t j = 0; j < k; ++j) {  // every join is its sample, and each piece near its own
      EXPECT_EQ(std::memcmp(&points[3 * j * dims], &samples[size_t(index[j] * dims)], 8 * size_t(dims)), 0);
      EXPECT_LT(index[j], index[j + 1]);
      CRV_Curve piece{int16_t(dims), {}};
      for (int i = 0; i < 4; ++i) piece.ctpts[i] = &points[(3 * j + size_t(i)) * dims];
      for (int32_t i = index[j] + 1; i < index[j + 1]; ++i)
        EXPECT_LT(SquaredDistance(piece, &samples[size_t(i * dims)]), bound)
            << "trial " << trial << " sample " << i << " piece " << j;
    }
  }
}

TEST(Fit, EdgeCasesAHostMeets) {
  // Each case: samples, dims, and the expected control points of the single fit (tangents from
  // one neighbour, no Newton step), which the chain's one segment repeats.
  const double h2 = 5 * 0.333333333333333, hz = std::sqrt(5.0) * 0.333333333333333;
  const struct { Samples samples; int dims; Samples want; } cases[] = {
      // Two samples: the handles a third of the chord along it (chord (3, 4), length 5).
      {{1, 2, 4, 6}, 2, {1, 2, 1 + 0.6 * h2, 2 + 0.8 * h2, 4 - 0.6 * h2, 6 - 0.8 * h2, 4, 6}},
      // Coincident samples: all four points there.
      {Samples(18, 2.5), 3, Samples(12, 2.5)},
      // Samples that bend back, so that least squares would put a handle behind its end: both
      // a third of the chord (0,1)-(2,0) along the tangents (-4, -2) and (-4, 1).
      {{0, 1, -4, -1, 4, -1, -2, 1, 2, 0}, 2,
       {0, 1, -4 * hz / std::sqrt(20.0), 1 - 2 * hz / std::sqrt(20.0), 2 - 4 * hz / std::sqrt(17.0),
        hz / std::sqrt(17.0), 2, 0}},
  };
  for (const auto& c : cases) {
    const int n = int(c.samples.size()) / c.dims;
    OwnedCurve one(c.dims);
    ASSERT_EQ(CRV_FitOneCurveIter(c.samples.data(), n, 1e-9, 0, 1, one.get()), 0);
    for (int i = 0; i < 4 * c.dims; ++i) EXPECT_NEAR(one.at(i / c.dims, i % c.dims), c.want[size_t(i)], 1e-14) << n;
    if (n == 5) continue;  // the chain splits the zigzag
    OwnedList chain;
    ASSERT_EQ(CRV_FitMultipleCurves(c.samples.data(), uint16_t(c.dims), n, 1e-9, &chain.handle), 0);
    const Samples points = Items<double>(chain.handle, c.dims);
    ASSERT_EQ(points.size(), c.want.size());
    for (size_t i = 0; i < points.size(); ++i) EXPECT_NEAR(points[i], c.want[i], 1e-14) << n;
  }
  // Too few samples or a dimension count it cannot fit: refused.
  OwnedCurve untouched(2);
  EXPECT_EQ(CRV_FitOneCurve(cases[0].samples.data(), 1, 1.0, 1, untouched.get()), CRV_ErrBadRecord);
  SEQ_ListH none = nullptr;
  EXPECT_EQ(CRV_FitMultipleCurves(cases[0].samples.data(), 4, 1, 1.0, &none), CRV_ErrBadRecord);
  EXPECT_EQ(none, nullptr);
  // Two coincident interior samples share a parameter and so tie as the worst: the chain splits
  // at the later one, whose halves then fit exactly.
  const Samples tied = {0, 0, 1, 5, 1, 5, 2, 0.3};
  OwnedList points, indices;
  ASSERT_EQ(CRV_FitMultipleCurvesIterate(tied.data(), 2, 4, 1e-300, 0, &points.handle, &indices.handle), 0);
  EXPECT_EQ(Items<int32_t>(indices.handle, 1), std::vector<int32_t>({0, 2, 3}));
}

}  // namespace
