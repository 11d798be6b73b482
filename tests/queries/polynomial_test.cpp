// The polynomial type and its real-root finder.
#include "queries/polynomial.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/alloc_counter.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using Polynomial = crv::CRVp_Polynomial<double>;
using Complex = Polynomial::Complex;

Polynomial Make(std::initializer_list<double> c) {
  Polynomial p;
  p.SetCoefficients(static_cast<int>(c.size()) - 1, c.begin());
  return p;
}

std::vector<double> Roots(const Polynomial& p, double lo = 0.0, double hi = 1.0) {
  std::vector<double> r;
  p.RootsInInterval(lo, hi, &r);
  return r;
}

// The monic polynomial with the given roots, expanded in long double.
Polynomial FromRoots(const std::vector<double>& roots) {
  std::vector<long double> c = {1.0L};
  for (double r : roots) {
    std::vector<long double> next(c.size() + 1, 0.0L);
    for (size_t k = 0; k < c.size(); ++k) {
      next[k + 1] += c[k];
      next[k] -= c[k] * r;
    }
    c = next;
  }
  std::vector<double> d(c.begin(), c.end());
  Polynomial p;
  p.SetCoefficients(static_cast<int>(d.size()) - 1, d.data());
  return p;
}

TEST(Polynomial, ConstructionAndSetCoefficients) {
  const Polynomial zero;
  EXPECT_EQ(zero.degree, 0);
  for (double c : zero.coef) EXPECT_EQ(c, 0.0);

  const Polynomial five(5.0);
  EXPECT_EQ(five.degree, 0);
  EXPECT_EQ(five.coef[0], 5.0);
  EXPECT_EQ(five.Evaluate(123.0), 5.0);
  EXPECT_EQ(five.EvaluateDerivative(123.0), 0.0);

  // n = 12 keeps degree 10 and reads only the first 11 values (the last two are poison).
  double c[13];
  for (int k = 0; k < 11; ++k) c[k] = k + 1.0;
  c[11] = c[12] = std::numeric_limits<double>::quiet_NaN();
  Polynomial p;
  p.SetCoefficients(12, c);
  EXPECT_EQ(p.degree, 10);
  EXPECT_EQ(p.coef[10], 11.0);
  EXPECT_EQ(p.deriv[9], 10.0 * 11.0);
  EXPECT_EQ(p.deriv[0], 2.0);
  EXPECT_FALSE(std::isnan(p.Evaluate(0.5)));

  // No trimming: a zero leading coefficient keeps its degree.
  EXPECT_EQ(Make({1.0, 2.0, 0.0}).degree, 2);

  // A negative degree reads nothing and gives the zero polynomial.
  p.SetCoefficients(-1, nullptr);
  EXPECT_EQ(p.degree, 0);
  EXPECT_EQ(p.coef[0], 0.0);
}

TEST(Polynomial, TrimDropsOnlyLeadingCoefficientsStrictlyBelowTolerance) {
  Polynomial p = Make({3.0, 1e-20, 1e-21, 0.0});
  p.Trim(1e-20);
  EXPECT_EQ(p.degree, 1);  // 1e-20 itself is not below the tolerance

  p = Make({0.0, 0.0, 0.0});
  p.Trim(1e-20);
  EXPECT_EQ(p.degree, 0);  // the constant is never dropped

  p = Make({1.0, std::numeric_limits<double>::quiet_NaN(), 0.0});
  p.Trim(1e-20);
  EXPECT_EQ(p.degree, 1);  // NaN < tol is false: trimming stops there
}

TEST(Polynomial, EvaluatesInAscendingPowersNotHorner) {
  // 0.1 + 0.2 x + 0.3 x^2 at x = 0.7: the two evaluation orders round differently here, so the
  // value pins the ascending order.
  const double ascending = (0.1 + 0.2 * 0.7) + 0.3 * (0.7 * 0.7);
  const double horner = 0.1 + 0.7 * (0.2 + 0.7 * 0.3);
  ASSERT_NE(ascending, horner);
  const Polynomial p = Make({0.1, 0.2, 0.3});
  EXPECT_EQ(p.Evaluate(0.7), ascending);
  EXPECT_EQ(p.EvaluateDerivative(0.7), 0.2 + 0.6 * 0.7);

  // x^3 - 2x + 2 and its derivative 3x^2 - 2, exactly representable.
  const Polynomial q = Make({2.0, -2.0, 0.0, 1.0});
  EXPECT_EQ(q.Evaluate(-2.0), -2.0);
  EXPECT_EQ(q.EvaluateDerivative(-2.0), 10.0);
}

TEST(Polynomial, MultiplyAndAdd) {
  // (1 + x)(1 - x) = 1 - x^2.
  Polynomial r = Polynomial::Multiply(Make({1.0, 1.0}), Make({1.0, -1.0}));
  ASSERT_EQ(r.degree, 2);
  EXPECT_EQ(r.coef[0], 1.0);
  EXPECT_EQ(r.coef[1], 0.0);
  EXPECT_EQ(r.coef[2], -1.0);
  EXPECT_EQ(r.deriv[1], -2.0);

  // The degree cap: 5 + 5 fits, 6 + 5 gives the zero polynomial.
  const Polynomial five = Make({1, 1, 1, 1, 1, 2});
  const Polynomial six = Make({1, 1, 1, 1, 1, 1, 3});
  r = Polynomial::Multiply(five, five);
  EXPECT_EQ(r.degree, 10);
  EXPECT_EQ(r.coef[10], 4.0);
  r = Polynomial::Multiply(six, five);
  EXPECT_EQ(r.degree, 0);
  EXPECT_EQ(r.coef[0], 0.0);

  // A product whose leading coefficient underflows the trimming tolerance loses that degree.
  r = Polynomial::Multiply(Make({1.0, 1e-15}), Make({1.0, 1e-15}));
  EXPECT_EQ(r.degree, 1);
  EXPECT_EQ(r.deriv[0], 2e-15);

  // Cancelled leading terms are trimmed, and the derivative follows the result.
  r = Polynomial::Add(Make({1.0, 2.0, 3.0}), Make({0.5, 1.0, -3.0}));
  EXPECT_EQ(r.degree, 1);
  EXPECT_EQ(r.coef[0], 1.5);
  EXPECT_EQ(r.deriv[0], 3.0);

  // Coefficients a Trim left above the degree are not part of the value in either operation.
  Polynomial stale = Make({1.0, 2.0, 1e-30});
  stale.Trim(1e-20);
  ASSERT_EQ(stale.degree, 1);
  r = Polynomial::Add(stale, Make({0.0, 0.0, 0.0, 1.0}));
  EXPECT_EQ(r.degree, 3);
  EXPECT_EQ(r.coef[2], 0.0);
  r = Polynomial::Multiply(stale, Polynomial(2.0));
  EXPECT_EQ(r.degree, 1);
  EXPECT_EQ(r.coef[2], 0.0);
}

TEST(Polynomial, ComplexDivideAndSqrt) {
  // (1 + 2i) / (3 + 4i) = (11 + 2i) / 25 and (1 + 2i) / (4 + 3i) = (10 + 5i) / 25: one case for
  // each branch of Smith's method.
  Complex q = Polynomial::ComplexDivide({1.0, 2.0}, {3.0, 4.0});
  EXPECT_NEAR(q.re, 0.44, 1e-16);
  EXPECT_NEAR(q.im, 0.08, 1e-16);
  q = Polynomial::ComplexDivide({1.0, 2.0}, {4.0, 3.0});
  EXPECT_NEAR(q.re, 0.4, 1e-16);
  EXPECT_NEAR(q.im, 0.2, 1e-16);

  // Principal roots: exact for these perfect squares; the sign of im picks the branch on the
  // negative axis, with -0 counted as non-negative.
  struct Case {
    Complex z, root;
  };
  const Case cases[] = {{{3, 4}, {2, 1}},  {{-3, 4}, {1, 2}},       {{-3, -4}, {1, -2}},
                        {{-4, 0}, {0, 2}}, {{-4, -0.0}, {-0.0, 2}}, {{4, 0}, {2, 0}},
                        {{0, 0}, {0, 0}}};
  for (const Case& c : cases) {
    const Complex s = Polynomial::ComplexSqrt(c.z);
    EXPECT_BITS_EQ(&s.re, &c.root.re, 1) << c.z.re << " " << c.z.im;
    EXPECT_BITS_EQ(&s.im, &c.root.im, 1) << c.z.re << " " << c.z.im;
  }

  // Over random z: the root squares back to z and lies in the right half plane; the quotient
  // times the divisor gives the dividend back.
  crvtest::Random rng(8201);
  for (int i = 0; i < 1000; ++i) {
    const Complex z = {rng.Uniform(-1e3, 1e3), rng.Uniform(-1e3, 1e3)};
    const Complex s = Polynomial::ComplexSqrt(z);
    EXPECT_GE(s.re, 0.0);
    EXPECT_NEAR(s.re * s.re - s.im * s.im, z.re, 1e-12 * 1e3);
    EXPECT_NEAR(2.0 * s.re * s.im, z.im, 1e-12 * 1e3);
    const Complex w = {rng.Uniform(-1e3, 1e3), rng.Uniform(-1e3, 1e3)};
    const Complex d = Polynomial::ComplexDivide(z, w);
    EXPECT_NEAR(d.re * w.re - d.im * w.im, z.re, 1e-12 * 1e3);
    EXPECT_NEAR(d.re * w.im + d.im * w.re, z.im, 1e-12 * 1e3);
  }
}

TEST(Polynomial, ModulusLessAgreesWithComparingSquareRoots) {
  // The shortcut must answer exactly as sqrt(a) < sqrt(b) of the same square sums, above all
  // where the sums differ by a few ulps (the roots may then round equal) and where the squares
  // are subnormal or overflow.
  const auto reference = [](Complex p, Complex q) {
    return std::sqrt(p.re * p.re + p.im * p.im) < std::sqrt(q.re * q.re + q.im * q.im);
  };
  crvtest::Random rng(8203);
  int ties = 0;
  for (int i = 0; i < 200000; ++i) {
    const double scale = std::ldexp(1.0, rng.Int(-560, 520));
    const Complex p = {rng.Uniform(-1.0, 1.0) * scale,
                       rng.Int(0, 3) == 0 ? 0.0 : rng.Uniform(-1.0, 1.0) * scale};
    Complex q = p;
    // Nudge one part of q by a few ulps, or swap its parts (same modulus up to rounding).
    const int how = rng.Int(0, 2);
    if (how == 0) {
      for (int k = rng.Int(-4, 4); k != 0; k += k > 0 ? -1 : 1)
        q.re = std::nextafter(q.re, k > 0 ? 1e308 : -1e308);
    } else if (how == 1) {
      q = {p.im, p.re};
    } else {
      q = {rng.Uniform(-1.0, 1.0) * scale, rng.Uniform(-1.0, 1.0) * scale};
    }
    const bool expected = reference(p, q);
    ASSERT_EQ(Polynomial::ModulusLess(p, q), expected)
        << std::hexfloat << p.re << " " << p.im << " vs " << q.re << " " << q.im;
    ASSERT_EQ(Polynomial::ModulusLess(q, p), reference(q, p));
    const double a = p.re * p.re + p.im * p.im, b = q.re * q.re + q.im * q.im;
    ties += a < b && !expected;  // sums apart but roots equal: only the slow path gets these
  }
  EXPECT_GT(ties, 100);  // the sample reaches the cases the shortcut must not decide
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(Polynomial::ModulusLess({nan, 0.0}, {1.0, 0.0}));
  EXPECT_FALSE(Polynomial::ModulusLess({1.0, 0.0}, {nan, 0.0}));
}

TEST(Polynomial, LaguerreRoot) {
  // From 0 on (t - 1)(t - 2)(t - 3) the nearest root, 1, is reached.
  const Complex a[4] = {{-6, 0}, {11, 0}, {-6, 0}, {1, 0}};
  Complex x = {0.0, 0.0};
  Polynomial::LaguerreRoot(a, 3, &x, 2e-6);
  EXPECT_NEAR(x.re, 1.0, 1e-6);
  EXPECT_NEAR(x.im, 0.0, 1e-6);

  // t^2 + 1 from a point off the real axis: the root i.
  const Complex b[3] = {{1, 0}, {0, 0}, {1, 0}};
  x = {0.1, 0.3};
  Polynomial::LaguerreRoot(b, 2, &x, 2e-6);
  EXPECT_NEAR(x.re, 0.0, 1e-6);
  EXPECT_NEAR(x.im, 1.0, 1e-6);

  // A NaN coefficient never converges: the iteration limit ends the search with NaN.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Complex c[3] = {{nan, 0}, {1, 0}, {1, 0}};
  x = {0.0, 0.0};
  Polynomial::LaguerreRoot(c, 2, &x, 2e-6);
  EXPECT_TRUE(std::isnan(x.re));
}

TEST(Polynomial, PolishRootNewtonLimits) {
  // sqrt(2) from 1.4: converged to within an ulp.
  const Polynomial two = Make({-2.0, 0.0, 1.0});
  EXPECT_LE(crvtest::UlpDistance(two.PolishRoot(1.4), std::sqrt(2.0)), 1.0);

  // A slope below 1e-18 is not stepped on: the estimate comes back unchanged.
  EXPECT_EQ(two.PolishRoot(0.0), 0.0);
  EXPECT_EQ(two.PolishRoot(4e-19), 4e-19);

  // Newton on x^3 - 2x + 2 cycles exactly 0 -> 1 -> 0 -> ... . After the first step (to 1) the
  // 30 further steps end on 1 (odd steps land on 0); the 31st is computed and dropped, and the
  // estimate before it, 1, is returned. A limit of 29 or 31, or returning the dropped step, gives
  // 0.
  const Polynomial cycle = Make({2.0, -2.0, 0.0, 1.0});
  EXPECT_EQ(cycle.PolishRoot(0.0), 1.0);
}

TEST(Polynomial, AllRealRoots) {
  // Found from 0 outwards (1, 2, 3), written in reverse.
  double r[10];
  int n = FromRoots({1.0, 2.0, 3.0}).AllRealRoots(r);
  ASSERT_EQ(n, 3);
  EXPECT_NEAR(r[0], 3.0, 1e-12);
  EXPECT_NEAR(r[1], 2.0, 1e-12);
  EXPECT_NEAR(r[2], 1.0, 1e-12);

  // (t^2 + 1)(t - 0.5): the complex pair is dropped.
  n = Make({-0.5, 1.0, -0.5, 1.0}).AllRealRoots(r);
  ASSERT_EQ(n, 1);
  EXPECT_EQ(r[0], 0.5);

  // (t - 0.5)^2 + delta^2 has roots 0.5 +- delta i. The pair counts as real while
  // delta <= 4e-6 * 0.5 = 2e-6 (Laguerre lands within 1e-8 of delta here), and is dropped above.
  n = Make({0.25 + 1.9e-6 * 1.9e-6, -1.0, 1.0}).AllRealRoots(r);
  EXPECT_EQ(n, 2);
  n = Make({0.25 + 2.1e-6 * 2.1e-6, -1.0, 1.0}).AllRealRoots(r);
  EXPECT_EQ(n, 0);

  // Degree 0 has no roots to find and writes nothing.
  EXPECT_EQ(Polynomial(3.0).AllRealRoots(r), 0);
}

TEST(Polynomial, RootsInIntervalCases) {
  // The zero polynomial gives lo once; any other constant nothing.
  EXPECT_EQ(Roots(Polynomial(), 0.25, 1.0), std::vector<double>({0.25}));
  EXPECT_TRUE(Roots(Polynomial(1e-30)).empty());

  // 1e-21 t is below the trimming tolerance, so this is the zero polynomial (lo), not the line
  // with root -0 outside [0.25, 1].
  EXPECT_EQ(Roots(Make({0.0, 1e-21}), 0.25, 1.0), std::vector<double>({0.25}));

  // Degree 1: -c0 / c1 with no tolerance at either end.
  const Polynomial line = Make({-1.0, 2.0});
  EXPECT_EQ(Roots(line, 0.0, 0.5), std::vector<double>({0.5}));
  EXPECT_EQ(Roots(line, 0.5, 1.0), std::vector<double>({0.5}));
  EXPECT_TRUE(Roots(line, 0.0, std::nextafter(0.5, 0.0)).empty());
  EXPECT_TRUE(Roots(line, std::nextafter(0.5, 1.0), 1.0).empty());

  // t^2 - t: both ends, exactly, in the finder's order.
  EXPECT_EQ(Roots(Make({0.0, -1.0, 1.0})), std::vector<double>({1.0, 0.0}));

  // (t - 0.5)^2: the double root comes once per landing, here twice, exactly (the slope vanishes
  // at 0.5, so polishing keeps it).
  EXPECT_EQ(Roots(Make({0.25, -1.0, 1.0})), std::vector<double>({0.5, 0.5}));

  // A NaN root fails the interval test.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(Roots(Make({nan, 1.0})).empty());
  EXPECT_TRUE(Roots(Make({nan, 1.0, 1.0})).empty());

  // Appends: what the vector held stays in front, and this polynomial is not trimmed.
  std::vector<double> held = {7.0};
  const Polynomial untrimmed = Make({-1.0, 2.0, 0.0});
  untrimmed.RootsInInterval(0.0, 1.0, &held);
  EXPECT_EQ(held, std::vector<double>({7.0, 0.5}));
  EXPECT_EQ(untrimmed.degree, 2);
}

// Found by the polynomial fuzz target (fuzz/polynomial_fuzz.cpp): the zero polynomial vanishes
// everywhere and yields lo itself, unchecked against hi, so a NaN lo comes back as the one root
// and so does a lo above hi.
TEST(Polynomial, ZeroPolynomialYieldsLoEvenWhenNaNOrAboveHi) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> roots = Roots(Polynomial(), nan, 1.0);
  ASSERT_EQ(roots.size(), 1u);
  EXPECT_TRUE(std::isnan(roots[0]));
  EXPECT_EQ(Roots(Polynomial(), 0x1.8p+1, 0x1p-1), std::vector<double>({0x1.8p+1}));
  // A line's root is checked against both ends, so nothing comes back for either interval.
  EXPECT_TRUE(Roots(Make({-1.0, 2.0}), nan, 1.0).empty());
  EXPECT_TRUE(Roots(Make({-1.0, 2.0}), 0x1.8p+1, 0x1p-1).empty());
}

TEST(Polynomial, RootsOfRandomPolynomials) {
  crvtest::Random rng(8202);
  std::vector<double> found;
  found.reserve(16);
  for (int trial = 0; trial < 2000; ++trial) {
    // Distinct roots at least 0.05 apart in [0, 1]: each is found to near double precision.
    const int m = rng.Int(2, 6);
    std::vector<double> roots;
    while (static_cast<int>(roots.size()) < m) {
      const double r = rng.Uniform(0.0, 1.0);
      bool apart = true;
      for (double q : roots) apart = apart && std::fabs(q - r) >= 0.05;
      if (apart) roots.push_back(r);
    }
    found.clear();
    FromRoots(roots).RootsInInterval(-0.5, 1.5, &found);
    ASSERT_EQ(found.size(), roots.size()) << "trial " << trial;
    for (double r : roots) {
      double nearest = 1e300;
      for (double f : found) nearest = std::fmin(nearest, std::fabs(f - r));
      EXPECT_LE(nearest, 1e-9) << "trial " << trial << " root " << r;
    }

    // Random coefficients of degree up to 10: every reported root lies in the interval and
    // nearly zeroes the polynomial, relative to the size of its terms there.
    double c[11];
    const int n = rng.Int(2, 10);
    for (int k = 0; k <= n; ++k) c[k] = rng.Uniform(-1.0, 1.0);
    Polynomial p;
    p.SetCoefficients(n, c);
    found.clear();
    p.RootsInInterval(-2.0, 2.0, &found);
    for (double r : found) {
      EXPECT_TRUE(r >= -2.0 && r <= 2.0);
      double scale = 0.0;
      for (int k = 0; k <= n; ++k) scale += std::fabs(c[k]) * std::pow(std::fabs(r), k);
      EXPECT_LE(std::fabs(p.Evaluate(r)), 1e-12 * scale) << "trial " << trial << " root " << r;
    }
  }
}

TEST(Polynomial, RootFindingAllocatesNothing) {
  const Polynomial p = FromRoots({0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1.0});
  std::vector<double> found;
  found.reserve(16);
  double all[10];
  crvtest::AllocCounter counter;
  p.RootsInInterval(0.0, 1.0, &found);
  const int n = p.AllRealRoots(all);
  const Polynomial q = Polynomial::Add(Polynomial::Multiply(p, Polynomial(2.0)), p);
  EXPECT_EQ(counter.count(), 0);
  EXPECT_EQ(n, 10);
  EXPECT_EQ(found.size(), 10u);
  EXPECT_EQ(q.degree, 10);
}

}  // namespace
