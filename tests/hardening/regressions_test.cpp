// Inputs the fuzz targets found, pinned bit for bit: each shows what a formula does at an edge
// that the golden table's draws do not reach.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "crv/crv.hpp"
#include "queries/polynomial.h"
#include "support/curves.h"

namespace {

// The derivative of this coordinate has a = 2.5e-10, just above the solver's absolute threshold,
// and a discriminant of 3.1e-16, below it: its roots 0.501 and -69.8 are taken as the double root
// -34.7, outside [0, 1], so the bounds are the end values although the coordinate dips 2.2e-9
// below them at t = 0.5. The thresholds are absolute; this pins what they cost.
TEST(Regressions, FarApartRootsWithATinyDiscriminantCountAsOneDoubleRoot) {
  const double p0 = -0x1.74b3333333334p+1, p1 = -0x1.74b3333973ef4p+1;
  const double p2 = -0x1.74b33339832e8p+1;
  const crvtest::OwnedCurve c({p0}, {p1}, {p2}, {p0});
  double lo = 0.0, hi = 0.0, middle = 0.0;
  ASSERT_EQ(CRV_EvaluateBounds(c.get(), &lo, &hi), 0);
  EXPECT_EQ(lo, p0);
  EXPECT_EQ(hi, p0);
  CRV_EvaluatePoint(c.get(), 0.5, &middle);
  EXPECT_LT(middle, lo - 2e-9);
}

// The zero polynomial vanishes everywhere and yields lo itself, unchecked against hi, so a NaN
// lo comes back as the one root and so does a lo above hi; a line's root is checked against both
// ends, so nothing comes back for either interval.
TEST(Regressions, ZeroPolynomialYieldsLoEvenWhenNaNOrAboveHi) {
  using Polynomial = crv::CRVp_Polynomial<double>;
  const auto roots = [](const Polynomial& p, double lo, double hi) {
    std::vector<double> r;
    p.RootsInInterval(lo, hi, &r);
    return r;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN(), line[2] = {-1.0, 2.0};
  Polynomial zero, linear;
  linear.SetCoefficients(1, line);
  ASSERT_EQ(roots(zero, nan, 1.0).size(), 1u);
  EXPECT_TRUE(std::isnan(roots(zero, nan, 1.0)[0]));
  EXPECT_EQ(roots(zero, 0x1.8p+1, 0x1p-1), std::vector<double>({0x1.8p+1}));
  EXPECT_TRUE(roots(linear, nan, 1.0).empty());
  EXPECT_TRUE(roots(linear, 0x1.8p+1, 0x1p-1).empty());
}

// The midpoint is (a + b) 0.5, so ends near the top of the double range overflow it and the
// parameters reported are no longer in order. Parameters are meant to lie around [0, 1]; this
// pins what happens far outside.
TEST(Regressions, HugeEndsOverflowTheEvaluatorsMidpoint) {
  struct Halving : CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>> {
    bool NeedsSubdivision(uint32_t depth, double, double, const CRV_CurveClass2D&) override {
      return depth < 2;
    }
    void AddParameter(double t, const CRV_CurveClass2D&) override { parameters.push_back(t); }
    std::vector<double> parameters;
  } evaluator;
  const CRV_CurveClass2D curve({0, 0}, {1, 2}, {3, 2}, {4, 0});
  const double top = 0x1.fffffffffffffp+1023, inf = std::numeric_limits<double>::infinity();
  CRV_EvaluateAdaptively(1.0, top, curve, &evaluator);
  EXPECT_EQ(evaluator.parameters, std::vector<double>({1.0, 0x1.fffffffffffffp+1020,
                                                       0x1.7ffffffffffffp+1022, inf, inf, top}));
}

}  // namespace
