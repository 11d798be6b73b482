#include "catalogue/reference.h"

#include <cmath>

namespace crvref {

// Coordinate k of B (order 0), B' (1) or B'' (2) at t, by the Bernstein form.
LD Bez(const CRV_Curve& c, int k, LD t, int order) {
  const LD p0 = c.ctpts[0][k], p1 = c.ctpts[1][k], p2 = c.ctpts[2][k], p3 = c.ctpts[3][k], u = 1 - t;
  if (order == 0) return u * u * u * p0 + 3 * u * u * t * p1 + 3 * u * t * t * p2 + t * t * t * p3;
  if (order == 1) return 3 * (u * u * (p1 - p0) + 2 * u * t * (p2 - p1) + t * t * (p3 - p2));
  return 6 * (u * (p2 - 2 * p1 + p0) + t * (p3 - 2 * p2 + p1));
}

LD Speed(const CRV_Curve& c, LD t) {
  LD sum = 0;
  for (int k = 0; k < c.dims; ++k) sum += Bez(c, k, t, 1) * Bez(c, k, t, 1);
  return std::sqrt(sum);
}

// Squared distance from B(t) to q (coordinates 0 .. dims - 1).
LD DistSq(const CRV_Curve& c, LD t, const double* q, int dims) {
  LD sum = 0;
  for (int k = 0; k < dims; ++k) sum += (Bez(c, k, t) - q[k]) * (Bez(c, k, t) - q[k]);
  return sum;
}

GaussLegendre::GaussLegendre() {
  for (int i = 0; i < kN; ++i) {
    LD z = std::cos(kPi * (i + 0.75) / (kN + 0.5)), dp = 1;
    for (int it = 0; it < 100; ++it) {
      LD p0 = 1, p1 = z;
      for (int j = 1; j < kN; ++j) {
        const LD p2 = ((2 * j + 1) * z * p1 - j * p0) / (j + 1);
        p0 = p1;
        p1 = p2;
      }
      dp = kN * (z * p1 - p0) / (z * z - 1);
      const LD step = p1 / dp;
      z -= step;
      if (std::fabs(step) < 1e-21L) break;
    }
    x[i] = z;
    w[i] = 2 / ((1 - z * z) * dp * dp);
  }
}

const GaussLegendre kGauss;

// Arc length from t0 to t1: adaptive Gauss-Legendre quadrature of |B'|, to 1e-18 of the whole
// (a hundredth of double precision; long double rounds at 5e-20).
LD Arc(const CRV_Curve& c, LD t0, LD t1) {
  auto f = [&](LD t) { return Speed(c, t); };
  const LD whole = kGauss.Rule(f, t0, t1);
  return kGauss.Adaptive(f, t0, t1, whole, 1e-18L * std::fabs(whole));
}

// The parameter at arc length s: Newton on Arc(0, t) = s, kept inside a bisection bracket
// (|B'| vanishes at a cusp).
LD TAtArc(const CRV_Curve& c, LD s, LD total) {
  LD lo = 0, hi = 1, t = s / total;
  for (int it = 0; it < 100; ++it) {
    const LD f = Arc(c, 0, t) - s, v = Speed(c, t);
    (f > 0 ? hi : lo) = t;
    LD next = v > 0 ? t - f / v : (lo + hi) / 2;
    if (!(next > lo && next < hi)) next = (lo + hi) / 2;
    if (std::fabs(next - t) < 1e-19L || hi - lo < 1e-19L) return next;
    t = next;
  }
  return t;
}

// The parameter where coordinate k, rising over [0, 1], reaches v: bisection to the last bit.
LD Solve(const CRV_Curve& c, int k, LD v) {
  LD lo = 0, hi = 1;
  for (int i = 0; i < 70; ++i) (Bez(c, k, (lo + hi) / 2) < v ? lo : hi) = (lo + hi) / 2;
  return (lo + hi) / 2;
}

// The true extrema of coordinate k over [0, 1]: the ends and the roots of B'/3 = A t^2 + B t + C,
// each polished by Newton.
void TrueBounds(const CRV_Curve& c, int k, LD* lo, LD* hi) {
  const LD p0 = c.ctpts[0][k], p1 = c.ctpts[1][k], p2 = c.ctpts[2][k], p3 = c.ctpts[3][k];
  const LD A = -p0 + 3 * p1 - 3 * p2 + p3, B = 2 * (p0 - 2 * p1 + p2), C = p1 - p0;
  std::vector<LD> ts{0, 1};
  if (A == 0 && B != 0) ts.push_back(-C / B);
  const LD disc = B * B - 4 * A * C;
  if (A != 0 && disc >= 0) {
    const LD q = -(B + std::copysign(std::sqrt(disc), B)) / 2;
    if (q != 0) ts.insert(ts.end(), {q / A, C / q});
  }
  *lo = INFINITY, *hi = -INFINITY;
  for (LD t : ts) {
    for (int it = 0; it < 4 && t > 0 && t < 1; ++it)
      if (Bez(c, k, t, 2) != 0) t -= Bez(c, k, t, 1) / Bez(c, k, t, 2);
    if (!(t >= 0 && t <= 1)) continue;
    *lo = std::min(*lo, Bez(c, k, t));
    *hi = std::max(*hi, Bez(c, k, t));
  }
}

std::vector<double> Point(const CRV_Curve& c, double t) {
  std::vector<double> out(static_cast<size_t>(std::max<int>(c.dims, 0)));
  for (int k = 0; k < c.dims; ++k) out[static_cast<size_t>(k)] = static_cast<double>(Bez(c, k, t));
  return out;
}

}  // namespace crvref
