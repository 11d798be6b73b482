// Polynomials of degree up to 10 (and the degrees asked beyond it), their arithmetic and real
// roots, and the plane intersection built on them: coefficients anywhere (tiny leading ones,
// multiple roots, NaN and infinities), intervals anywhere, result vectors that already hold
// values (NaN among them).
#include <algorithm>
#include <cstdint>
#include <vector>

#include "crv/crv.hpp"
#include "fuzz/fuzz_input.h"
#include "queries/polynomial.h"

namespace {

using crvfuzz::Input;
using crvfuzz::SameValue;
using Polynomial = crv::CRVp_Polynomial<double>;

bool AscendingNaNLast(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }
bool InUnit(double v) { return v >= 0.0 && v <= 1.0; }

// A polynomial from coefficients, or as a product of (t - r) factors (multiple roots when the
// input repeats a value), or with leading coefficients around the trimming tolerance.
Polynomial Make(Input& in) {
  Polynomial p;
  switch (in.Byte() % 4) {
    case 0: {
      p = Polynomial(in.Double());
      const int factors = in.Byte() % 11;
      for (int i = 0; i < factors; ++i) {
        double c[2] = {-in.Parameter(), 1.0};
        Polynomial f;
        f.SetCoefficients(1, c);
        p = Polynomial::Multiply(p, f);
      }
      break;
    }
    case 1: {
      double c[13];
      const int n = static_cast<int>(in.Int(0, 10));
      for (int k = 0; k <= n; ++k) c[k] = in.Moderate();
      c[n] =
          (in.Bool() ? 1.0 : -1.0) * 1e-20 * (in.Byte() % 3 == 0 ? 1.0 : 0.5 + in.Byte() / 128.0);
      p.SetCoefficients(n, c);
      break;
    }
    default: {
      double c[13];
      const int n = static_cast<int>(in.Int(-2, 12));  // beyond 10 keeps 11 coefficients
      for (double& v : c) v = in.Double();
      p.SetCoefficients(n, c);
      CRVFUZZ_CHECK(p.degree == (n < 0 ? 0 : (n > 10 ? 10 : n)));
      break;
    }
  }
  return p;
}

void CheckShape(const Polynomial& p) { CRVFUZZ_CHECK(p.degree >= 0 && p.degree <= 10); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  Polynomial slots[3] = {Make(in), Make(in), Make(in)};

  for (int op = 0; op < 24 && !in.empty(); ++op) {
    Polynomial& p = slots[in.Byte() % 3];
    const Polynomial& q = slots[in.Byte() % 3];
    switch (in.Byte() % 9) {
      case 0: p = Make(in); break;
      case 1: {
        const int before = p.degree;
        p.Trim(in.Bool() ? in.Double() : 1e-20);
        CRVFUZZ_CHECK(p.degree <= before);
        break;
      }
      case 2: {
        const double x = in.Double();
        (void)p.Evaluate(x);
        (void)p.EvaluateDerivative(x);
        break;
      }
      case 3: {
        const Polynomial product = Polynomial::Multiply(p, q);
        CheckShape(product);
        if (p.degree + q.degree > 10) CRVFUZZ_CHECK(product.degree == 0 && product.coef[0] == 0.0);
        p = product;
        break;
      }
      case 4: {
        const Polynomial sum = Polynomial::Add(p, q);
        CheckShape(sum);
        CRVFUZZ_CHECK(sum.degree <= std::max(p.degree, q.degree));
        p = sum;
        break;
      }
      case 5: {
        std::vector<double> roots(in.Byte() % 3, 0.5);
        const size_t before = roots.size();
        const double lo = in.Bool() ? 0.0 : in.Double(), hi = in.Bool() ? 1.0 : in.Double();
        Polynomial trimmed = p;
        trimmed.Trim(1e-20);
        p.RootsInInterval(lo, hi, &roots);
        CRVFUZZ_CHECK(roots.size() - before <= static_cast<size_t>(p.degree > 0 ? p.degree : 1));
        // A polynomial vanishing everywhere yields lo itself, whatever hi is; other roots lie in
        // [lo, hi].
        const bool zero = trimmed.degree == 0 && trimmed.coef[0] == 0.0;
        for (size_t i = before; i < roots.size(); ++i)
          CRVFUZZ_CHECK(zero ? SameValue(roots[i], lo) : lo <= roots[i] && roots[i] <= hi);
        break;
      }
      case 6: {
        if (p.degree < 1) break;
        double roots[Polynomial::kMaxDegree];
        const int count = p.AllRealRoots(roots);
        CRVFUZZ_CHECK(count >= 0 && count <= p.degree);
        break;
      }
      case 7: {  // the root finder's modulus comparison against the moduli themselves
        const Polynomial::Complex a = {in.Double(), in.Double()}, b = {in.Double(), in.Double()};
        const bool less =
            std::sqrt(a.re * a.re + a.im * a.im) < std::sqrt(b.re * b.re + b.im * b.im);
        CRVFUZZ_CHECK(Polynomial::ModulusLess(a, b) == less);
        (void)Polynomial::ComplexDivide(a, b);
        (void)Polynomial::ComplexSqrt(a);
        break;
      }
      default: {
        CRV_CurveClass3D curve;
        for (auto& point : curve.points) point = {in.Double(), in.Double(), in.Double()};
        if (in.Byte() % 4 == 0) curve.points[in.Byte() % 4] = curve.points[in.Byte() % 4];
        const GEO_PlaneEq plane = {in.Double(), in.Double(), in.Double(), in.Double()};
        std::vector<double> result;
        const int held = in.Byte() % 4;
        for (int i = 0; i < held; ++i) result.push_back(in.Double());
        const auto outside = [](const std::vector<double>& v) {
          return std::count_if(v.begin(), v.end(), [](double x) { return !InUnit(x); });
        };
        const auto outsideBefore = outside(result);
        const size_t before = result.size();
        CRV_IntersectPlane(curve, plane, &result);
        // At most three roots, all in [0, 1]; what was there is kept; all sorted, NaNs last.
        CRVFUZZ_CHECK(result.size() - before <= 3);
        CRVFUZZ_CHECK(outside(result) == outsideBefore);
        CRVFUZZ_CHECK(std::is_sorted(result.begin(), result.end(), AscendingNaNLast));
        break;
      }
    }
    CheckShape(p);
  }
  return 0;
}
