// Point and derivative evaluation, singly and by forward differencing, on both paths.
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "core/evaluate_paired.h"
#include "crv/crv.h"
#include "host/hs.h"
#include "support/curves.h"
#include "support/host_controls.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;
using crvtest::CapabilityOverride;
using crvtest::Random;

bool MachineHasPairedPath() { return HS_G_CPU_DataP[3] != 0; }

// The scalar formula written out once more, term for term.
double ScalarFormula(const CRV_Curve& c, int k, double t) {
  const double s = 1.0 - t, t3 = 3.0 * t, tt = t * t;
  return ((c.ctpts[0][k] * s + c.ctpts[1][k] * t3) * s + (c.ctpts[2][k] * 3.0) * tt) * s +
         (c.ctpts[3][k] * t) * tt;
}

// Largest term of the Bernstein sum: the scale against which two summation orders are compared.
double TermScale(const CRV_Curve& c, int k) {
  double scale = 0.0;
  for (int i = 0; i < 4; ++i) scale = std::fmax(scale, std::fabs(c.ctpts[i][k]));
  return scale;
}

// The paired order written out in scalar code: (P0 w0 + P1 w1) + (P2 w2 + P3 w3), weights
// w0 = s (s s), w1 = (s s)(3t), w2 = s ((t t) 3), w3 = t (t t).
void PairedFormula(const CRV_Curve& c, double t, double* out) {
  const double s = 1.0 - t, ss = s * s, tt = t * t;
  const double w0 = s * ss, w1 = ss * (3.0 * t), w2 = s * (tt * 3.0), w3 = t * tt;
  for (int k = 0; k < c.dims; ++k)
    out[k] = (c.ctpts[0][k] * w0 + c.ctpts[1][k] * w1) + (c.ctpts[2][k] * w2 + c.ctpts[3][k] * w3);
}

TEST(EvaluatePoint, KnownValuesAndEndPointsOnBothPaths) {
  const OwnedCurve curve({0, 0}, {0, 1}, {1, 1}, {1, 0});
  for (int32_t paired : {0, 1}) {
    if (paired && !MachineHasPairedPath()) continue;
    CapabilityOverride flag(paired);
    double out[2];
    CRV_EvaluatePoint(curve.get(), 0.5, out);
    EXPECT_EQ(out[0], 0.5);
    EXPECT_EQ(out[1], 0.75);
    Random random(11);
    for (int trial = 0; trial < 200; ++trial) {
      const OwnedCurve c = random.Curve(random.Int(1, 5));
      std::vector<double> p(static_cast<size_t>(c.dims()));
      CRV_EvaluatePoint(c.get(), 0.0, p.data());
      for (int k = 0; k < c.dims(); ++k) EXPECT_EQ(p[k], c.at(0, k));
      CRV_EvaluatePoint(c.get(), 1.0, p.data());
      for (int k = 0; k < c.dims(); ++k) EXPECT_EQ(p[k], c.at(3, k));
    }
  }
}

TEST(EvaluatePoint, EachPathMatchesItsOwnSummationOrder) {
  if (!MachineHasPairedPath()) GTEST_SKIP() << "no SSE3 on this machine";
  Random random(12);
  for (int trial = 0; trial < 2000; ++trial) {
    const OwnedCurve c = random.Curve(random.Int(1, 6), -1e3, 1e3);
    const double t = random.Uniform(-0.5, 1.5);
    const int dims = c.dims();
    std::vector<double> scalar(static_cast<size_t>(dims)), paired(scalar), emulated(scalar);
    {
      CapabilityOverride flag(0);
      CRV_EvaluatePoint(c.get(), t, scalar.data());
    }
    {
      CapabilityOverride flag(1);
      CRV_EvaluatePoint(c.get(), t, paired.data());
    }
    for (int k = 0; k < dims; ++k) {
      const double formula = ScalarFormula(*c.get(), k, t);
      EXPECT_BITS_EQ(&scalar[k], &formula, 1);
    }
    if (dims >= 2) {
      PairedFormula(*c.get(), t, emulated.data());
      EXPECT_BITS_EQ(paired.data(), emulated.data(), dims);
    } else {
      EXPECT_BITS_EQ(paired.data(), scalar.data(), dims);  // one coordinate: scalar formula
    }
    // The two orders differ only in rounding, relative to the largest term of the sum.
    const double weight = std::fmax(1.0, std::pow(std::fabs(t) + 1.0, 3.0)) * 8.0;
    for (int k = 0; k < dims; ++k)
      EXPECT_NEAR(paired[k], scalar[k], 8 * 2.3e-16 * weight * TermScale(*c.get(), k));
  }
}

TEST(EvaluatePoint, IsAccurateAgainstAnExtendedPrecisionReference) {
  Random random(13);
  for (int trial = 0; trial < 1000; ++trial) {
    const OwnedCurve c = random.Curve(3);
    const double t = random.Uniform(0.0, 1.0);
    double out[3];
    CRV_EvaluatePoint(c.get(), t, out);
    const std::vector<double> ref = crvtest::ReferencePoint(*c.get(), t);
    EXPECT_POINT_NEAR(out, ref.data(), 3, 1e-12);
  }
}

TEST(Evaluate, EmptyRecordsLeaveOutputsUntouched) {
  for (int16_t dims : {int16_t{0}, int16_t{-3}}) {
    double p[4] = {1, 2, 3, 4};
    CRV_Curve c{dims, {p, p + 1, p + 2, p + 3}};
    double out[8];
    for (double& v : out) v = 42.0;
    EXPECT_EQ(CRV_EvaluatePoint(&c, 0.5, out), CRV_ErrNone);
    EXPECT_EQ(CRV_EvaluateDeriv(&c, 0.5, out), CRV_ErrNone);
    EXPECT_EQ(CRV_EvaluateDeriv2(&c, 0.5, out), CRV_ErrNone);
    EXPECT_EQ(CRV_EvaluatePoints(&c, 0.0, 1.0, 4, out), CRV_ErrNone);
    EXPECT_EQ(CRV_EvaluateDerivs(&c, 0.0, 1.0, 4, out), CRV_ErrNone);
    for (double v : out) EXPECT_EQ(v, 42.0);
  }
}

TEST(EvaluateDeriv, MatchesTheDifferentiatedPolynomial) {
  Random random(14);
  for (int trial = 0; trial < 1000; ++trial) {
    const OwnedCurve c = random.Curve(2);
    const double t = random.Uniform(-0.2, 1.2);
    double d1[2], d2[2];
    CRV_EvaluateDeriv(c.get(), t, d1);
    CRV_EvaluateDeriv2(c.get(), t, d2);
    for (int k = 0; k < 2; ++k) {
      // Derivatives of the Bernstein form, in long double.
      const long double u = t, s = 1 - u;
      const long double p0 = c.at(0, k), p1 = c.at(1, k), p2 = c.at(2, k), p3 = c.at(3, k);
      const long double first = 3 * s * s * (p1 - p0) + 6 * s * u * (p2 - p1) + 3 * u * u * (p3 - p2);
      const long double second = 6 * s * (p2 - 2 * p1 + p0) + 6 * u * (p3 - 2 * p2 + p1);
      EXPECT_NEAR(d1[k], static_cast<double>(first), 1e-11);
      EXPECT_NEAR(d2[k], static_cast<double>(second), 1e-11);
    }
  }
}

TEST(EvaluatePoints, FiveSamplesFromZeroAreTheQuarterPoints) {
  const OwnedCurve c({0, 0}, {0, 1}, {1, 1}, {1, 0});
  double out[10];
  CRV_EvaluatePoints(c.get(), 0.0, 1.0, 5, out);
  for (int i = 0; i < 5; ++i) {
    double expected[2];
    CRV_EvaluatePoint(c.get(), i * 0.25, expected);
    EXPECT_POINT_NEAR(out + 2 * i, expected, 2, 1e-15);
  }
}

TEST(EvaluatePoints, CountsBelowTwoWriteOnlyWhatTheyCover) {
  const OwnedCurve c({1, 2}, {3, 5}, {4, 0}, {7, 1});
  double out[6] = {9, 9, 9, 9, 9, 9};
  CRV_EvaluatePoints(c.get(), 0.25, 0.75, 1, out);
  double first[2];
  CRV_EvaluatePoint(c.get(), 0.25, first);
  EXPECT_POINT_NEAR(out, first, 2, 1e-14);
  EXPECT_EQ(out[2], 9.0);
  CRV_EvaluateDerivs(c.get(), 0.25, 0.75, 1, out + 2);
  CRV_EvaluateDeriv(c.get(), 0.25, first);
  EXPECT_POINT_NEAR(out + 2, first, 2, 1e-13);
  EXPECT_EQ(out[4], 9.0);
  for (int32_t n : {0, -1, INT32_MIN}) {
    double untouched[2] = {9, 9};
    CRV_EvaluatePoints(c.get(), 0.0, 1.0, n, untouched);
    CRV_EvaluateDerivs(c.get(), 0.0, 1.0, n, untouched);
    EXPECT_EQ(untouched[0], 9.0);
    EXPECT_EQ(untouched[1], 9.0);
  }
}

TEST(EvaluatePoints, TrackSingleEvaluationOnRandomCurves) {
  Random random(15);
  for (int trial = 0; trial < 300; ++trial) {
    const OwnedCurve c = random.Curve(random.Int(1, 5), -10, 10);
    const int dims = c.dims();
    const double t0 = trial % 3 == 0 ? 0.0 : random.Uniform(-0.5, 1.0);
    const double t1 = random.Uniform(t0, 1.5);
    const int32_t n = random.Int(2, 300);
    std::vector<double> points(static_cast<size_t>(n * dims)), derivs(points);
    CRV_EvaluatePoints(c.get(), t0, t1, n, points.data());
    CRV_EvaluateDerivs(c.get(), t0, t1, n, derivs.data());
    std::vector<double> p(static_cast<size_t>(dims)), d(p);
    for (int32_t i = 0; i < n; ++i) {
      const double t = t0 + i * ((t1 - t0) / (n - 1));
      CRV_EvaluatePoint(c.get(), t, p.data());
      CRV_EvaluateDeriv(c.get(), t, d.data());
      // Running sums gather rounding with the sample count.
      EXPECT_POINT_NEAR(points.data() + i * dims, p.data(), dims, 1e-9);
      EXPECT_POINT_NEAR(derivs.data() + i * dims, d.data(), dims, 1e-9);
    }
  }
}

// The 2-D and 3-D records walk all coordinates at once, others one at a time: the coordinates
// they share must come out bit for bit the same.
TEST(EvaluatePoints, WalkOrderDoesNotChangeTheBits) {
  Random random(16);
  for (int trial = 0; trial < 100; ++trial) {
    const OwnedCurve wide = random.Curve(4);
    const double t0 = trial % 2 ? 0.0 : random.Uniform(0, 1), t1 = random.Uniform(0, 1);
    const int32_t n = 17;
    for (int dims : {2, 3}) {
      OwnedCurve narrow(dims);
      for (int i = 0; i < 4; ++i)
        for (int k = 0; k < dims; ++k) narrow.at(i, k) = wide.at(i, k);
      std::vector<double> a(static_cast<size_t>(n * 4)), b(static_cast<size_t>(n * dims));
      for (bool derivs : {false, true}) {
        (derivs ? CRV_EvaluateDerivs : CRV_EvaluatePoints)(wide.get(), t0, t1, n, a.data());
        (derivs ? CRV_EvaluateDerivs : CRV_EvaluatePoints)(narrow.get(), t0, t1, n, b.data());
        for (int i = 0; i < n; ++i) EXPECT_BITS_EQ(a.data() + i * 4, b.data() + i * dims, dims);
      }
    }
  }
}

TEST(EvaluateDerivs, EqualBoundsRepeatTheDerivative) {
  const OwnedCurve c({0, 0}, {1, 3}, {2, -1}, {4, 2});
  double out[6], single[2];
  CRV_EvaluateDerivs(c.get(), 0.3, 0.3, 3, out);
  CRV_EvaluateDeriv(c.get(), 0.3, single);
  for (int i = 0; i < 3; ++i) EXPECT_POINT_NEAR(out + 2 * i, single, 2, 1e-14);
}

}  // namespace
