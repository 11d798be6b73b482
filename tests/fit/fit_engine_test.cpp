// The steps of the fitting engine on hand-made inputs whose answers are known, and the chain walk
// against the recursive form it replaces.
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "fit/fit_engine.h"
#include "fit_test_util.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using fittest::OwnedList;

TEST(ChordLengthParameters, CumulativeChordsScaledByTheReciprocalOfTheTotal) {
  // Chords 5, 0, 5: a coincident pair shares its parameter.
  const double samples[] = {0, 0, 3, 4, 3, 4, 6, 8};
  double u[4];
  crv::ChordLengthParameters(samples, 2, 0, 3, u);
  EXPECT_EQ(u[0], 0.0);
  EXPECT_EQ(u[1], 5.0 * (1.0 / 10.0));
  EXPECT_EQ(u[2], u[1]);
  EXPECT_EQ(u[3], 10.0 * (1.0 / 10.0));

  // A total of 49 along x: 49 * (1/49) rounds to 1 - 2^-53, not 1. The last parameter keeps that
  // rounding, which a division by the total would lose.
  ASSERT_NE(49.0 * (1.0 / 49.0), 1.0);
  const double line[] = {0, 0, 0, 20, 0, 0, 49, 0, 0};
  double v[3];
  crv::ChordLengthParameters(line, 3, 0, 2, v);
  EXPECT_EQ(v[1], 20.0 * (1.0 / 49.0));
  EXPECT_EQ(v[2], 49.0 * (1.0 / 49.0));

  // Parameters run from the segment's first sample, whatever its index.
  double w[2];
  crv::ChordLengthParameters(samples, 2, 2, 3, w);
  EXPECT_EQ(w[0], 0.0);
  EXPECT_EQ(w[1], 1.0);

  // All samples at one place: total 0, factor 0, every parameter 0.
  const double same[] = {7, 7, 7, 7, 7, 7};
  double z[3] = {9, 9, 9};
  crv::ChordLengthParameters(same, 2, 0, 2, z);
  EXPECT_EQ(z[0], 0.0);
  EXPECT_EQ(z[1], 0.0);
  EXPECT_EQ(z[2], 0.0);
}

TEST(EstimateEndTangent, MeanOfTheDifferencesNormalised) {
  const double samples[] = {0, 0, 2, 0, 2, 2, 5, 9};
  double out[3];
  crv::EstimateEndTangent(samples, 2, 0, 1, 2, out);  // ((2,0) + (2,2)) / 2 = (2, 1)
  EXPECT_EQ(out[0], 2.0 / std::sqrt(5.0));
  EXPECT_EQ(out[1], 1.0 / std::sqrt(5.0));
  crv::EstimateEndTangent(samples, 2, 3, -1, 1, out);  // (2,2) - (5,9) = (-3, -7)
  EXPECT_EQ(out[0], -3.0 / std::sqrt(58.0));
  EXPECT_EQ(out[1], -7.0 / std::sqrt(58.0));
  // A zero mean stays zero rather than becoming NaN.
  const double back[] = {1, 1, 1, 2, 2, 1, 0, 0, 1};
  crv::EstimateEndTangent(back, 3, 0, 1, 2, out);
  EXPECT_EQ(out[0], 0.0);
  EXPECT_EQ(out[1], 0.0);
  EXPECT_EQ(out[2], 0.0);
}

TEST(CenterTangent, PointsBackTowardsThePreviousSample) {
  const double samples[] = {0, 0, 1, 0, 1, 1};
  double out[3] = {9, 9, 9};
  EXPECT_EQ(crv::CenterTangent(samples, 2, 1, out), 0);
  // ((1,0) - (1,1)) + ((0,0) - (1,0)) = (-1, -1), halved and normalised.
  EXPECT_EQ(out[0], -0.5 / std::sqrt(0.5));
  EXPECT_EQ(out[1], out[0]);
  const double fold[] = {0, 0, 0, 1, 1, 1, 0, 0, 0};  // the path doubles back: no direction
  EXPECT_EQ(crv::CenterTangent(fold, 3, 1, out), 0);
  EXPECT_EQ(out[0], 0.0);
  EXPECT_EQ(out[1], 0.0);
  EXPECT_EQ(out[2], 0.0);
}

// Samples of the cubic P0 = (0,0), P1 = (1,2), P2 = (3,2), P3 = (4,0) at their true parameters:
// with the true tangents the least squares recovers the handle lengths |P1 - P0| = |P2 - P3| =
// sqrt 5 up to rounding.
TEST(SolveInnerControlPoints, RecoversTheHandlesOfAnExactCubic) {
  const crvtest::OwnedCurve truth({0, 0}, {1, 2}, {3, 2}, {4, 0});
  constexpr int32_t n = 9;
  std::vector<double> samples(2 * n), u(n);
  for (int32_t i = 0; i < n; ++i) {
    u[static_cast<size_t>(i)] = i / 8.0;
    CRV_EvaluatePoint(truth.get(), i / 8.0, &samples[2 * static_cast<size_t>(i)]);
  }
  const double root5 = std::sqrt(5.0);
  const double start[3] = {1 / root5, 2 / root5, 0}, end[3] = {-1 / root5, 2 / root5, 0};
  crv::WorkingCurve curve(2);
  ASSERT_EQ(crv::SolveInnerControlPoints(samples.data(), 0, n - 1, u.data(), start, end, &curve),
            0);
  for (int i = 0; i < 4; ++i) EXPECT_POINT_NEAR(curve.points[i], truth.get()->ctpts[i], 2, 1e-12);
  EXPECT_EQ(curve.points[0][0], 0.0);  // the ends are the samples themselves
  EXPECT_EQ(curve.points[3][0], 4.0);
}

TEST(SolveInnerControlPoints, CoincidentSamplesCollapseTheCurve) {
  // Every row is zero, so det = 0; C00 C11 * 1e-3 is 0 as well, and 0.001 stands in. Both
  // numerators are 0, so both handles have length 0.
  const double samples[] = {2, 3, 4, 2, 3, 4, 2, 3, 4, 2, 3, 4};
  const double u[4] = {0, 0, 0, 0}, zero[3] = {0, 0, 0};
  crv::WorkingCurve curve(3);
  ASSERT_EQ(crv::SolveInnerControlPoints(samples, 0, 3, u, zero, zero, &curve), 0);
  for (auto& p : curve.points) {
    EXPECT_EQ(p[0], 2.0);
    EXPECT_EQ(p[1], 3.0);
    EXPECT_EQ(p[2], 4.0);
  }
}

// A near-singular system: two interior samples with almost the same parameter make the rows
// almost proportional. The stand-in determinant C00 C11 * 10 * 1e-4 scales both handles; the
// sums here are formed as the least squares forms them (only the sample at u = 0.5 and its twin
// at 0.5 + 1e-6 contribute to the inner handles) and checked to be near-singular first. Opposite
// residuals (+0.5 and -0.5 in x) keep both numerators positive.
TEST(SolveInnerControlPoints, NearSingularSystemsUseTheStandInDeterminant) {
  const double samples[] = {0, 0, 2.5, 1, 1.5, 1.5, 4, 0};
  const double u[4] = {0, 0.5, 0.5 + 1e-6, 1};
  const double start[3] = {2, 0, 0}, end[3] = {-2, 0, 0};  // long tangents: C00 C11 well above 1
  double c00 = 0, c01 = 0, c11 = 0, x0 = 0, x1 = 0;
  for (int i = 0; i < 4; ++i) {
    const double t = u[i], s = 1 - t;
    const double b0 = (s * s) * s, b1 = (s * s) * (3 * t), b2 = ((3 * t) * t) * s, b3 = (t * t) * t;
    const double a0 = start[0] * b1, a1 = end[0] * b2;  // both rows lie along x
    const double rx = samples[2 * i] - (((0 * b0 + 0 * b1) + 4 * b2) + 4 * b3);
    c00 = c00 + a0 * a0;
    c01 = c01 + a0 * a1;
    c11 = c11 + a1 * a1;
    x0 = x0 + a0 * rx;
    x1 = x1 + a1 * rx;
  }
  const double det = c00 * c11 - c01 * c01;
  ASSERT_LT(std::fabs(det), 1e-4);
  const double standIn = ((c00 * c11) * 10.0) * 0.0001;
  ASSERT_GE(standIn, 1e-4);
  const double alphaStart = (x0 * c11 - x1 * c01) / standIn;
  const double alphaEnd = (c00 * x1 - x0 * c01) / standIn;
  ASSERT_GE(alphaStart, 0.0);
  ASSERT_GE(alphaEnd, 0.0);
  crv::WorkingCurve curve(2);
  ASSERT_EQ(crv::SolveInnerControlPoints(samples, 0, 3, u, start, end, &curve), 0);
  EXPECT_EQ(curve.points[1][0], 0 + alphaStart * 2);
  EXPECT_EQ(curve.points[2][0], 4 + alphaEnd * -2);
  EXPECT_EQ(curve.points[1][1], 0.0);
  EXPECT_EQ(curve.points[2][1], 0.0);
}

TEST(SolveInnerControlPoints, NegativeDistancesFallBackToAThirdOfTheChord) {
  // Samples of a curve whose handles point backwards along the given tangents: the exact
  // solution has alpha = -1 at both ends.
  const crvtest::OwnedCurve truth({0, 0}, {-1, 0}, {5, 0}, {4, 0});
  std::vector<double> samples(10), u(5);
  for (int i = 0; i < 5; ++i) {
    u[static_cast<size_t>(i)] = i / 4.0;
    CRV_EvaluatePoint(truth.get(), i / 4.0, &samples[2 * static_cast<size_t>(i)]);
  }
  const double start[3] = {1, 0, 0}, end[3] = {-1, 0, 0};
  crv::WorkingCurve curve(2);
  ASSERT_EQ(crv::SolveInnerControlPoints(samples.data(), 0, 4, u.data(), start, end, &curve), 0);
  EXPECT_EQ(curve.points[1][0], 0 + 4 * 0.333333333333333);
  EXPECT_EQ(curve.points[2][0], 4 - 4 * 0.333333333333333);
}

TEST(SolveInnerControlPoints, LongSegmentsBorrowAHostHandleAndReportItsAbsence) {
  const crvtest::OwnedCurve truth({0, 0}, {1, 2}, {3, 2}, {4, 0});
  for (int32_t n : {256, 257}) {
    std::vector<double> samples = fittest::SampleCurve(*truth.get(), n, 0, 1);
    std::vector<double> u(static_cast<size_t>(n));
    crv::ChordLengthParameters(samples.data(), 2, 0, n - 1, u.data());
    const double start[3] = {1, 0, 0}, end[3] = {-1, 0, 0};
    crv::WorkingCurve curve(2);
    fittest::Arm(0);
    ASSERT_EQ(crv::SolveInnerControlPoints(samples.data(), 0, n - 1, u.data(), start, end, &curve),
              0);
    EXPECT_EQ(fittest::Disarm(), n > 256 ? 1 : 0) << n << " samples";
    if (n > 256) {
      const int64_t handles = HOST_LiveHandles();
      const double before = curve.points[1][0];
      fittest::Arm(1);
      EXPECT_EQ(crv::SolveInnerControlPoints(samples.data(), 0, n - 1, u.data(), start, end,
                                             &curve),
                CRV_ErrOutOfMemory);
      fittest::Disarm();
      EXPECT_EQ(curve.points[1][0], before);
      EXPECT_EQ(HOST_LiveHandles(), handles);
    }
  }
}

// The straight working curve B(u) = (3u, 0).
std::unique_ptr<crv::WorkingCurve> Straight() {
  auto curve = std::make_unique<crv::WorkingCurve>(2);
  for (int i = 0; i < 4; ++i) curve->points[i][0] = i;
  return curve;
}

TEST(ComputeMaxError, LargestInteriorDeviationWithTiesToTheLaterSample) {
  const auto curve = Straight();
  // Interior samples at B(0.25) = (0.75, 0) and B(0.5) = (1.5, 0), moved 2 off the line on
  // opposite sides: a tie at squared distance 4. The end samples are far off and not measured.
  const double samples[] = {0, 50, 0.75, 2, 1.5, -2, 3, 50};
  const double u[4] = {0, 0.25, 0.5, 1};
  double error = -1;
  int32_t split = -1;
  ASSERT_EQ(crv::ComputeMaxError(samples, 0, 3, *curve, u, &error, &split), 0);
  EXPECT_EQ(error, 4.0);
  EXPECT_EQ(split, 2);
  // The same run at index 10: the split index is absolute, the parameters relative.
  std::vector<double> shifted(28, 0.0);
  std::copy(samples, samples + 8, shifted.begin() + 20);
  ASSERT_EQ(crv::ComputeMaxError(shifted.data(), 10, 13, *curve, u, &error, &split), 0);
  EXPECT_EQ(split, 12);
  // A sample on the curve everywhere: the maximum 0 is still matched, by the last interior one.
  const double exact[] = {0, 0, 0.75, 0, 1.5, 0, 3, 0};
  ASSERT_EQ(crv::ComputeMaxError(exact, 0, 3, *curve, u, &error, &split), 0);
  EXPECT_EQ(error, 0.0);
  EXPECT_EQ(split, 2);
  // NaN distances never count: the midpoint (first + last + 1) / 2 is kept.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double lost[] = {0, 0, nan, 0, nan, 0, nan, 0, 3, 0};
  const double v[5] = {0, 0.25, 0.5, 0.75, 1};
  ASSERT_EQ(crv::ComputeMaxError(lost, 0, 4, *curve, v, &error, &split), 0);
  EXPECT_EQ(error, 0.0);
  EXPECT_EQ(split, 2);
}

TEST(NewtonReparameterize, OneStepTowardsTheFootOfTheSample) {
  const auto curve = Straight();
  // On a straight line B'' = 0 and one step lands on the foot: from u = 0.25 at (0.75, 0) the
  // sample (1.5, 7) has its foot at u = 0.5. A sample beyond the end leaves [0, 1].
  const double samples[] = {1.5, 7, 6, -1};
  const double u[2] = {0.25, 0.9};
  double out[2];
  ASSERT_EQ(crv::NewtonReparameterize(samples, 0, 1, u, *curve, out), 0);
  EXPECT_EQ(out[0], 0.5);
  EXPECT_NEAR(out[1], 2.0, 1e-15);
  // A curve without extent has B' = B'' = 0: the denominator is 0 and u stays.
  crv::WorkingCurve point(2);
  ASSERT_EQ(crv::NewtonReparameterize(samples, 0, 1, u, point, out), 0);
  EXPECT_EQ(out[0], 0.25);
  EXPECT_EQ(out[1], 0.9);
}

TEST(EmitSegment, StartPointOnlyIntoAnEmptyList) {
  OwnedList points, indices;
  ASSERT_EQ(SEQ_New(0, 24, 4, 1, &points.handle), 0);
  ASSERT_EQ(SEQ_New(0, 4, 4, 1, &indices.handle), 0);
  crv::WorkingCurve curve(3);
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < 3; ++k) curve.points[i][k] = 10 * i + k;
  ASSERT_EQ(crv::EmitSegment(curve, 7, points.handle, &indices.handle), 0);
  ASSERT_EQ(crv::EmitSegment(curve, 9, points.handle, nullptr), 0);
  const std::vector<double> got = fittest::Points(points.handle, 3);
  ASSERT_EQ(got.size(), 7u * 3);
  for (size_t i = 0; i < 7; ++i) {
    const size_t source = i < 4 ? i : i - 3;  // P0 P1 P2 P3, then P1 P2 P3 again
    EXPECT_EQ(got[3 * i], 10.0 * static_cast<double>(source));
    EXPECT_EQ(got[3 * i + 2], 10.0 * static_cast<double>(source) + 2);
  }
  EXPECT_EQ(fittest::Indices(indices.handle), std::vector<int32_t>{7});
}

// The split in its recursive form: left half, then right half, each with its own
// call. The engine walks the same tree without recursion; both must produce identical lists.
int32_t RecursiveFit(const double* samples, int16_t dims, int32_t first, int32_t last,
                     const double* start, const double* end, double bound, int16_t iterations,
                     crv::FitWorkBuffers& work, double* maxError, SEQ_ListH points,
                     SEQ_ListH* indices) {
  const crv::SegmentOutcome outcome =
      crv::FitSegmentOnce(samples, dims, first, last, start, end, bound, iterations, true, work,
                          maxError, points, indices);
  if (outcome.code != 0 || !outcome.split) return outcome.code;
  const int32_t c = outcome.splitIndex;
  EXPECT_GT(c, first);
  EXPECT_LT(c, last);
  double center[3];
  crv::CenterTangent(samples, dims, c, center);
  const int32_t code = RecursiveFit(samples, dims, first, c, start, center, bound, iterations,
                                    work, maxError, points, indices);
  if (code != 0) return code;
  for (int k = 0; k < 3; ++k) center[k] = -center[k];
  return RecursiveFit(samples, dims, c, last, center, end, bound, iterations, work, maxError,
                      points, indices);
}

TEST(FitCubicSegment, WalksTheSplitsInTheOrderOfTheRecursiveForm) {
  crvtest::Random random(601);
  for (int trial = 0; trial < 60; ++trial) {
    const int dims = 2 + trial % 2;
    const crvtest::OwnedCurve curve = random.Curve(dims);
    const int32_t n = random.Int(3, 400);
    const double sigma = trial % 3 == 0 ? 0.0 : random.Uniform(0.01, 2.0);
    const std::vector<double> samples = fittest::SampleCurve(*curve.get(), n, sigma, 700 + trial);
    const double bound = trial % 5 == 0 ? 0.0 : random.Uniform(0.01, 20.0);
    const int16_t iterations = static_cast<int16_t>(random.Int(0, 5));
    double start[3] = {0, 0, 0}, end[3] = {0, 0, 0};
    crv::EstimateEndTangent(samples.data(), static_cast<int16_t>(dims), 0, 1, 1, start);
    crv::EstimateEndTangent(samples.data(), static_cast<int16_t>(dims), n - 1, -1, 1, end);

    OwnedList walked, walkedIdx, recursive, recursiveIdx;
    for (SEQ_ListH* list : {&walked.handle, &recursive.handle})
      ASSERT_EQ(SEQ_New(0, dims * 8, 32, 1, list), 0);
    for (SEQ_ListH* list : {&walkedIdx.handle, &recursiveIdx.handle})
      ASSERT_EQ(SEQ_New(0, 4, 16, 1, list), 0);
    auto work = crv::MakeFitWorkBuffers(n);
    double errorA = -1, errorB = -1;
    ASSERT_EQ(crv::FitCubicSegment(samples.data(), static_cast<int16_t>(dims), 0, n - 1, start,
                                   end, bound, iterations, true, *work, &errorA, walked.handle,
                                   &walkedIdx.handle),
              0);
    ASSERT_EQ(RecursiveFit(samples.data(), static_cast<int16_t>(dims), 0, n - 1, start, end,
                           bound, iterations, *work, &errorB, recursive.handle,
                           &recursiveIdx.handle),
              0);
    const std::vector<double> a = fittest::Points(walked.handle, dims);
    const std::vector<double> b = fittest::Points(recursive.handle, dims);
    ASSERT_EQ(a.size(), b.size()) << "trial " << trial;
    EXPECT_BITS_EQ(a.data(), b.data(), static_cast<int>(a.size()));
    EXPECT_EQ(fittest::Indices(walkedIdx.handle), fittest::Indices(recursiveIdx.handle));
    EXPECT_EQ(errorA, errorB);
  }
}

}  // namespace
