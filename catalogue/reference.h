// References in long double (64-bit mantissa on x86-64, about 1e-19 relative): the Bernstein
// form, arc length by adaptive quadrature, parameters by bisection and Newton, extrema and minima.
// Nothing here shares a formula with the library, so a test or a measurement against them sees
// the library's error and not its own. `crv accuracy` and the tests use them.
#ifndef CRV_CATALOGUE_REFERENCE_H
#define CRV_CATALOGUE_REFERENCE_H

#include <algorithm>
#include <cmath>
#include <vector>

#include "crv/crv.h"

namespace crvref {

using LD = long double;

// M_PI is not standard C++ (MinGW leaves it out in strict mode).
constexpr double kPi = 3.14159265358979323846;

// Coordinate k of B (order 0), B' (1) or B'' (2) at t, by the Bernstein form.
LD Bez(const CRV_Curve& c, int k, LD t, int order = 0);

// |B'(t)|.
LD Speed(const CRV_Curve& c, LD t);

// Squared distance from B(t) to q (coordinates 0 .. dims - 1).
LD DistSq(const CRV_Curve& c, LD t, const double* q, int dims);

// 10-point Gauss-Legendre nodes and weights, found by Newton on the Legendre polynomial in long
// double rather than copied as decimal constants of double precision.
struct GaussLegendre {
  static constexpr int kN = 10;
  LD x[kN], w[kN];
  GaussLegendre();
  template <class F>
  LD Rule(F f, LD a, LD b) const {
    LD sum = 0;
    for (int i = 0; i < kN; ++i) sum += w[i] * f((a + b) / 2 + (b - a) / 2 * x[i]);
    return sum * (b - a) / 2;
  }
  // Halves until the two halves agree with the whole within `tol`, at most 50 times. The
  // tolerance is absolute, set from the whole integral: a relative one per piece would never be
  // met next to a near-cusp, where |B'| has a kink but contributes almost nothing.
  template <class F>
  LD Adaptive(F f, LD a, LD b, LD whole, LD tol, int depth = 0) const {
    const LD m = (a + b) / 2, l = Rule(f, a, m), r = Rule(f, m, b);
    if (depth >= 50 || std::fabs(l + r - whole) <= tol) return l + r;
    return Adaptive(f, a, m, l, tol, depth + 1) + Adaptive(f, m, b, r, tol, depth + 1);
  }
};
extern const GaussLegendre kGauss;

// Arc length from t0 to t1: adaptive Gauss-Legendre quadrature of |B'|, to 1e-18 of the whole
// (a hundredth of double precision; long double rounds at 5e-20).
LD Arc(const CRV_Curve& c, LD t0, LD t1);

// The parameter at arc length s: Newton on Arc(0, t) = s, kept inside a bisection bracket
// (|B'| vanishes at a cusp).
LD TAtArc(const CRV_Curve& c, LD s, LD total);

// The parameter where coordinate k, rising over [0, 1], reaches v: bisection to the last bit.
LD Solve(const CRV_Curve& c, int k, LD v);

// The least of f over [lo, hi]: the best of `samples` even parameters, then golden-section
// search between its neighbours (90 steps shrink the bracket below long double resolution).
template <class F>
LD Minimize(F f, LD lo, LD hi, int samples = 512) {
  int best = 0;
  LD bestValue = f(lo);
  for (int i = 1; i <= samples; ++i) {
    const LD v = f(lo + (hi - lo) * i / samples);
    if (v < bestValue) bestValue = v, best = i;
  }
  LD a = lo + (hi - lo) * std::max(best - 1, 0) / samples;
  LD b = lo + (hi - lo) * std::min(best + 1, samples) / samples;
  const LD g = (std::sqrt(5.0L) - 1) / 2;
  for (int i = 0; i < 90; ++i) {
    const LD m1 = b - g * (b - a), m2 = a + g * (b - a);
    (f(m1) < f(m2) ? b : a) = f(m1) < f(m2) ? m2 : m1;
  }
  return std::min(bestValue, f((a + b) / 2));
}

// The true extrema of coordinate k over [0, 1]: the ends and the roots of B'/3 = A t^2 + B t + C,
// each polished by Newton.
void TrueBounds(const CRV_Curve& c, int k, LD* lo, LD* hi);

// B(t) rounded to doubles, every coordinate.
std::vector<double> Point(const CRV_Curve& c, double t);

}  // namespace crvref

#endif
