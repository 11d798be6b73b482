// Small power-basis polynomials (degree at most 10) and their real roots in an interval, the
// arithmetic under the plane intersection. A polynomial is a fixed-size value: nothing here
// allocates except the caller's result vector.
//
// Roots from degree 2 on come from Laguerre's method, run root after root on a complex working
// copy that is deflated after each root; the roots that come out real are polished by Newton's
// method on the undeflated polynomial. Every loop is bounded by the degree cap or an iteration
// limit, and nothing is reported as an error: non-finite values travel into the estimates and are
// dropped by the real-root and interval tests.
#ifndef CRV_QUERIES_POLYNOMIAL_H
#define CRV_QUERIES_POLYNOMIAL_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace crv {

// Real is the scalar type; the library uses double, for which the constants below are chosen.
template <typename Real>
class CRVp_Polynomial {
 public:
  static constexpr int kMaxDegree = 10;

  // A complex number of the root finder: (re, im), modulus sqrt(re^2 + im^2).
  struct Complex {
    Real re, im;
  };

  // coef[k] is the coefficient of t^k for k = 0 .. degree; deriv[k] = (k + 1) coef[k + 1] for
  // k = 0 .. degree - 1. Entries above the degree are not part of the value and every operation
  // reads them as 0 (Trim leaves stale values there).
  int32_t degree;
  Real coef[kMaxDegree + 1];
  Real deriv[kMaxDegree];

  // The zero polynomial.
  CRVp_Polynomial() { Clear(); }
  // The constant v (degree 0).
  explicit CRVp_Polynomial(Real v) {
    Clear();
    coef[0] = v;
  }

  // Copies c[0 .. min(n, 10)] (ascending powers) and sets the degree to min(n, 10): at most 11
  // coefficients are read, whatever n says. No trimming: zero leading coefficients keep their
  // degree. A negative n reads nothing and leaves the zero polynomial.
  void SetCoefficients(int n, const Real* c) {
    Clear();
    if (n < 0) return;
    degree = n < kMaxDegree ? n : kMaxDegree;
    for (int k = 0; k <= degree; ++k) coef[k] = c[k];
    RefreshDerivative();
  }

  // Lowers the degree while the leading coefficient is smaller than tol in magnitude (strictly).
  // The constant term is never dropped, and a NaN leading coefficient stops the trimming. The
  // derivative's lower entries stay valid, so nothing is recomputed.
  void Trim(Real tol) {
    while (degree > 0 && std::fabs(coef[degree]) < tol) --degree;
  }

  // Sum of coef[k] x^k in ascending order of k, the powers by repeated multiplication
  // (1, x, x x, ...). Not Horner's rule: results are pinned to this order bit for bit.
  Real Evaluate(Real x) const { return AscendingSum(coef, degree, x); }

  // The derivative's value at x, by the same ascending sum over deriv (0 for degree 0).
  Real EvaluateDerivative(Real x) const {
    return degree > 0 ? AscendingSum(deriv, degree - 1, x) : Real(0);
  }

  // a b. A product beyond degree 10 is the zero polynomial (not an error). Leading coefficients
  // below kTrimTolerance are trimmed.
  static CRVp_Polynomial Multiply(const CRVp_Polynomial& a, const CRVp_Polynomial& b) {
    CRVp_Polynomial r;
    if (a.degree + b.degree > kMaxDegree) return r;
    for (int i = 0; i <= a.degree; ++i)
      for (int j = 0; j <= b.degree; ++j) r.coef[i + j] += a.coef[i] * b.coef[j];
    r.degree = a.degree + b.degree;
    r.Finish();
    return r;
  }

  // a + b, of the larger degree before leading coefficients below kTrimTolerance are trimmed.
  static CRVp_Polynomial Add(const CRVp_Polynomial& a, const CRVp_Polynomial& b) {
    CRVp_Polynomial r;
    r.degree = a.degree > b.degree ? a.degree : b.degree;
    for (int k = 0; k <= r.degree; ++k)
      r.coef[k] = (k <= a.degree ? a.coef[k] : Real(0)) + (k <= b.degree ? b.coef[k] : Real(0));
    r.Finish();
    return r;
  }

  // Appends to *roots the real roots in [lo, hi], ends included, of this polynomial trimmed at
  // kTrimTolerance (this object is not changed):
  //  - degree 0: lo once when the constant is exactly 0 (it vanishes everywhere), else nothing;
  //  - degree 1: -(c0 / c1), with no tolerance at the ends;
  //  - degree 2 or more: those of AllRealRoots in its order (unsorted; a multiple root may come
  //    more than once).
  // A NaN root fails the interval test and is dropped. Appending may throw the vector's
  // exceptions; the roots appended before stay.
  void RootsInInterval(Real lo, Real hi, std::vector<Real>* roots) const {
    CRVp_Polynomial p = *this;
    p.Trim(kTrimTolerance);
    if (p.degree == 0) {
      if (p.coef[0] == Real(0)) roots->push_back(lo);
      return;
    }
    if (p.degree == 1) {
      const Real r = -(p.coef[0] / p.coef[1]);
      if (lo <= r && r <= hi) roots->push_back(r);
      return;
    }
    Real found[kMaxDegree];
    const int count = p.AllRealRoots(found);
    for (int i = 0; i < count; ++i)
      if (lo <= found[i] && found[i] <= hi) roots->push_back(found[i]);
  }

  // Writes the real roots into roots[0 .. count) and returns count, at most the degree (so the
  // array needs room for `degree` values; degree 0 writes nothing).
  // Laguerre's method finds root number j = degree down to 1, each from x = 0 on the working copy
  // deflated by the roots before it; a root whose imaginary part is at most kRealRatio times its
  // real part is taken as real. The real ones are then polished on this (undeflated) polynomial
  // and written in the order of root numbers 1 .. degree, the reverse of the order found. Not
  // sorted, and a multiple root can appear once per time Laguerre's method lands on it. Complex
  // roots are dropped.
  int AllRealRoots(Real roots[kMaxDegree]) const {
    Complex a[kMaxDegree + 1];
    for (int k = 0; k <= degree; ++k) a[k] = {coef[k], Real(0)};
    Complex found[kMaxDegree + 1];
    for (int j = degree; j >= 1; --j) {
      Complex x = {Real(0), Real(0)};
      LaguerreRoot(a, j, &x, kLaguerreStep);
      if (std::fabs(x.im) <= kRealRatio * std::fabs(x.re)) x.im = Real(0);
      found[j] = x;
      // Synthetic division by (t - x): a[0 .. j - 1] becomes the quotient.
      Complex b = a[j];
      for (int k = j - 1; k >= 0; --k) {
        const Complex c = a[k];
        a[k] = b;
        b = Plus(Times(x, b), c);
      }
    }
    int count = 0;
    for (int j = 1; j <= degree; ++j)
      if (found[j].im == Real(0)) roots[count++] = PolishRoot(found[j].re);
    return count;
  }

  // Moves *x onto a root of a[0] + a[1] t + ... + a[m] t^m by Laguerre's method, in at most
  // kLaguerreIterations steps (1 <= m <= 10; a negative m leaves *x as it is). It stops when the
  // value is within the rounding noise of its evaluation, when a step changes nothing, when a
  // step after the sixth fails to shrink, or when a step is at most eps times |x| (a relative
  // tolerance in parameter space). Without convergence the last estimate stands.
  static void LaguerreRoot(const Complex a[], int m, Complex* x, Real eps) {
    if (m < 0) return;
    const Complex cm = {Real(m), Real(0)};
    const Complex cm1 = {Real(m - 1), Real(0)};
    const Complex two = {Real(2), Real(0)};
    Complex xv = *x;  // kept in registers: every step of the search depends on it
    Real abx = Modulus(xv);
    Real dxold = abx;
    for (int iter = 1; iter <= kLaguerreIterations; ++iter) {
      // Value b, first derivative d and half the second derivative f at x, with err summing the
      // magnitudes the nested evaluation of b passes through.
      Complex b = a[m];
      Real err = Modulus(b);
      Complex d = {Real(0), Real(0)};
      Complex f = {Real(0), Real(0)};
      for (int k = m - 1; k >= 0; --k) {
        f = Plus(Times(xv, f), d);
        d = Plus(Times(xv, d), b);
        b = Plus(Times(xv, b), a[k]);
        err = Modulus(b) + abx * err;
      }
      if (err * kRoundoff >= Modulus(b)) break;
      const Complex g = ComplexDivide(d, b);
      const Complex g2 = Times(g, g);
      const Complex h = Minus(g2, Times(two, ComplexDivide(f, b)));
      const Complex sq = ComplexSqrt(Times(cm1, Minus(Times(cm, h), g2)));
      Complex gp = Plus(g, sq);
      const Complex gm = Minus(g, sq);
      // The larger denominator gives the smaller step, towards the nearer root.
      if (ModulusLess(gp, gm)) gp = gm;
      const Complex dx = ComplexDivide(cm, gp);
      const Complex x1 = Minus(xv, dx);
      if (x1.re == xv.re && x1.im == xv.im) break;
      xv = x1;
      abx = Modulus(xv);
      const Real cdx = Modulus(dx);
      if (iter > kSettlingSteps && cdx >= dxold) break;
      dxold = cdx;
      if (abx * eps >= cdx) break;
    }
    *x = xv;
  }

  // Newton's method on this polynomial from x0: one step, then at most 30 more, each taken as
  // x - p(x) (1 / p'(x)). Stops where |p'| < kFlatDerivative (returning the estimate there), or
  // when a step moves by at most kPolishStep (returning the new estimate). When the 30 further
  // steps do not settle, the estimate before a 31st step is returned (that step is computed but
  // not used). A NaN step counts as settled, so NaN comes back rather than looping.
  Real PolishRoot(Real x0) const {
    Real slope = EvaluateDerivative(x0);
    if (std::fabs(slope) < kFlatDerivative) return x0;
    Real current = x0 - Evaluate(x0) * (Real(1) / slope);
    if (!(std::fabs(current - x0) > kPolishStep)) return current;
    for (int steps = 0;;) {
      const Real prev = current;
      slope = EvaluateDerivative(current);
      if (std::fabs(slope) < kFlatDerivative) return current;
      const Real next = current - Evaluate(current) * (Real(1) / slope);
      if (++steps > kPolishSteps) return prev;
      if (!(std::fabs(next - prev) > kPolishStep)) return next;
      current = next;
    }
  }

  // p / q by Smith's method, which divides by the larger part of q so that |q|^2 is never formed
  // (no overflow or underflow for large or small q). q = 0 gives NaN parts.
  static Complex ComplexDivide(Complex p, Complex q) {
    if (std::fabs(q.re) >= std::fabs(q.im)) {
      const Real r = q.im / q.re;
      const Real s = Real(1) / (q.re + r * q.im);
      return {(p.re + r * p.im) * s, (p.im - r * p.re) * s};
    }
    const Real r = q.re / q.im;
    const Real s = Real(1) / (q.re * r + q.im);
    return {(p.re * r + p.im) * s, (p.im * r - p.re) * s};
  }

  // The principal square root (real part >= 0; on the negative real axis the sign of im z, with
  // -0 counted as >= 0, picks +i). Scaled by the larger part of z so that nothing squares z.
  static Complex ComplexSqrt(Complex z) {
    if (z.re == Real(0) && z.im == Real(0)) return {Real(0), Real(0)};
    const Real x = std::fabs(z.re), y = std::fabs(z.im);
    Real w;
    if (x >= y) {
      const Real r = y / x;
      w = std::sqrt(x) * std::sqrt((std::sqrt(r * r + Real(1)) + Real(1)) * Real(0.5));
    } else {
      const Real r = x / y;
      w = std::sqrt(y) * std::sqrt((std::sqrt(r * r + Real(1)) + r) * Real(0.5));
    }
    if (z.re >= Real(0)) return {w, z.im / (Real(2) * w)};
    const Real im = z.im >= Real(0) ? w : -w;
    return {z.im / (Real(2) * im), im};
  }

  // |p| < |q|, exactly as comparing the two moduli, but mostly without their square roots (the
  // root finder's choice between its two denominators; the roots would share the divider with
  // the search's critical divisions). sqrt is monotonic, so square sums a >= b decide "no". A sum
  // smaller by more than 4 epsilon relative (b a normal number) stays smaller through the two
  // roundings of the roots, at most epsilon / 2 relative each, so it decides "yes". Only nearer
  // sums need the roots; NaNs fail every comparison on both sides alike.
  static bool ModulusLess(Complex p, Complex q) {
    const Real a = p.re * p.re + p.im * p.im, b = q.re * q.re + q.im * q.im;
    if (!(a < b)) return false;
    constexpr Real kApart = Real(1) - Real(4) * std::numeric_limits<Real>::epsilon();
    if (b >= std::numeric_limits<Real>::min() && a < b * kApart) return true;
    return std::sqrt(a) < std::sqrt(b);
  }

  // Leading coefficients below 1e-20 in magnitude are rounding residue (a cancelled cubic term of
  // a plane function, an underflowing product): absolute, in the units of the coefficients.
  static constexpr Real kTrimTolerance = Real(1e-20);

 private:
  // Laguerre's method converges cubically near a simple root; 99 steps bound a search that never
  // settles (a NaN coefficient, a zero denominator).
  static constexpr int kLaguerreIterations = 99;
  // err sums the magnitudes the nested evaluation passes through; a value at most 6e-8 (about
  // 2^-24) times that is rounding noise at single precision: near enough to a root for the search,
  // which Newton then polishes in double.
  static constexpr Real kRoundoff = Real(6e-8);
  // Relative step size (parameter space) at which the search stops; polishing does the rest.
  static constexpr Real kLaguerreStep = Real(2e-6);
  // Early steps may grow while the search leaves a poor start (x = 0) for a root's neighbourhood;
  // after this many the iteration has settled, and a step that stops shrinking is rounding noise.
  static constexpr int kSettlingSteps = 6;
  // Twice the step tolerance: an imaginary part this small next to the real part is the search's
  // noise around a real root (a double root often splits into such a pair).
  static constexpr Real kRealRatio = Real(4e-6);
  // Newton is not attempted where the slope is below 1e-18 (the step would blow up), and stops
  // once a step is at most 1e-15 in parameter space, a few ulps near t = 1.
  static constexpr Real kFlatDerivative = Real(1e-18);
  static constexpr Real kPolishStep = Real(1e-15);
  static constexpr int kPolishSteps = 30;

  // Copied from a constant on purpose: zero-initialising the arrays compiles to a string store
  // whose start-up costs more than a few vector moves, on every polynomial made.
  void Clear() {
    static constexpr Real kZeros[kMaxDegree + 1] = {};
    degree = 0;
    std::memcpy(coef, kZeros, sizeof coef);
    std::memcpy(deriv, kZeros, sizeof deriv);
  }
  void RefreshDerivative() {
    for (int k = 0; k < degree; ++k) deriv[k] = Real(k + 1) * coef[k + 1];
  }
  void Finish() {
    Trim(kTrimTolerance);
    RefreshDerivative();
  }

  static Real AscendingSum(const Real* c, int n, Real x) {
    Real sum = c[0];
    Real power = x;
    for (int k = 1; k <= n; ++k) {
      sum += c[k] * power;
      power *= x;
    }
    return sum;
  }

  static Complex Plus(Complex p, Complex q) { return {p.re + q.re, p.im + q.im}; }
  static Complex Minus(Complex p, Complex q) { return {p.re - q.re, p.im - q.im}; }
  // Real factors enter as (r, 0) through the full product, so signed zeros and non-finite parts
  // come out as the complex formula gives them.
  static Complex Times(Complex p, Complex q) {
    return {p.re * q.re - p.im * q.im, p.re * q.im + p.im * q.re};
  }
  static Real Modulus(Complex p) { return std::sqrt(p.re * p.re + p.im * p.im); }
};

}  // namespace crv

#endif
