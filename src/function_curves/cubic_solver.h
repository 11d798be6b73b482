// TFromCoordinate: the parameter t at which one coordinate of a cubic reaches a target value V.
// Every lookup by time or value on a function curve rests on it.
//
// Coordinate k of the curve, in power form, minus the target:
//   x_k(t) - V = c3 t^3 + c2 t^2 + c1 t + c0
//   c1 = 3 (p1 - p0),  c2 = 3 (p0 - 2 p1 + p2),  c3 = 3 (p1 - p2) - p0 + p3,  c0 = p0 - V
// solved in closed form: a line, a quadratic, or Cardano's cubic (one real root, or three by the
// trigonometric form). Every grouping below is the one the results are pinned to, bit for bit.
// The cube root, arc cosine and cosine are the library's own correctly rounded ones
// (core/exact_math.h), not the platform's: every C library rounds its own way, and only the
// nearest double is the same everywhere, so the answers are the same bits on every platform.
#ifndef CRV_FUNCTION_CURVES_CUBIC_SOLVER_H
#define CRV_FUNCTION_CURVES_CUBIC_SOLVER_H

#include <cmath>
#include <cstdint>

#include "core/exact_math.h"
#include "core/quadratic.h"
#include "crv/crv.h"

namespace crv {

// The one tolerance of the solver, absolute in the coordinate's own units (never scaled by the
// curve): how close V must be to an end value to clamp there, and how small a power coefficient,
// discriminant or Q must be to count as zero. A coordinate spanning less than twice this has every
// target within reach of an end, so it yields only t = 0 or t = 1.
constexpr double kSolverEpsilon = 1e-10;

namespace solver_detail {

// The terms of one coordinate that do not depend on the target. The cubic ones are valid only
// when |c3| >= kSolverEpsilon; the others are never read then.
struct Terms {
  double p0, p3;
  double c1, c2, c3;
  bool cubic;        // |c3| >= kSolverEpsilon
  double a, b;       // normalised: t^3 + a t^2 + b t + c, with a = c2 / c3, b = c1 / c3
  double aThird;     // a / 3
  double q, q3;      // Q = (a a - 3 b) / 9 and Q^3 = (Q Q) Q
  double rHead;      // ((2a) a - 9b) a, so that R = (rHead + 27 c) / 54
};

inline Terms MakeTerms(const double* p0, const double* p1, const double* p2, const double* p3,
                       int k) {
  Terms s{};
  s.p0 = p0[k];
  s.p3 = p3[k];
  s.c1 = 3.0 * (p1[k] - p0[k]);
  s.c2 = 3.0 * (p0[k] - 2.0 * p1[k] + p2[k]);
  s.c3 = 3.0 * (p1[k] - p2[k]) - p0[k] + p3[k];
  s.cubic = !(std::fabs(s.c3) < kSolverEpsilon);
  if (s.cubic) {
    s.a = s.c2 / s.c3;
    s.b = s.c1 / s.c3;
    s.aThird = s.a / 3.0;
    s.q = (s.a * s.a - 3.0 * s.b) / 9.0;
    s.q3 = s.q * s.q * s.q;
    s.rHead = (2.0 * s.a * s.a - 9.0 * s.b) * s.a;
  }
  return s;
}

// The start clamp wins over the end clamp: a coordinate that falls (p3 < p0) gives 0 for every
// V below p0 + eps and 1 for every other.
inline bool Clamp(double p0, double p3, double v, double* t) {
  if (p0 > v || std::fabs(v - p0) < kSolverEpsilon) {
    *t = 0.0;
    return true;
  }
  if (v > p3 || std::fabs(v - p3) < kSolverEpsilon) {
    *t = 1.0;
    return true;
  }
  return false;
}

// |c3| < eps: the quadratic c2 t^2 + c1 t + c0 by the library's shared quadratic rule. A single
// root (line or double root) is taken wherever it lies; of two roots the first in [0, 1] wins.
inline void SolveQuadraticPart(const Terms& s, double c0, double* t) {
  int32_t count = 0;
  double roots[2];
  SolveQuadratic(s.c2, s.c1, c0, &count, roots);
  if (count == 1) {
    *t = roots[0];
  } else if (count == 2) {
    if (roots[0] >= 0.0 && roots[0] <= 1.0)
      *t = roots[0];
    else if (roots[1] >= 0.0 && roots[1] <= 1.0)
      *t = roots[1];
  }
}

// Three real roots, from the angle's cosine R / sqrt(Q^3) and m = -2 sqrt(Q) < 0: sets t to the
// first accepted of t1, t2, t3, or leaves it. Out of line: acos and cos outweigh a call.
void SolveThreeRoots(double cosArg, double m, double aThird, double* t);

// Both forms keep these for the three-root branch: the prepared one forms them once per call.
struct ThreeRootTerms {
  double invRootQ3;      // 1 / sqrt(Q^3)
  double minusTwoRootQ;  // -2 sqrt(Q)
};

// Everything after the clamps, for one target. kPrepared selects the angle's cosine as R times
// the stored reciprocal instead of R / sqrt(Q^3); every other value is the same.
template <bool kPrepared>
inline void SolveUnclamped(const Terms& s, const ThreeRootTerms& three, double v, double* t) {
  const double c0 = s.p0 - v;
  if (!s.cubic) {
    SolveQuadraticPart(s, c0, t);
    return;
  }
  const double c = c0 / s.c3;
  const double r = (s.rHead + 27.0 * c) / 54.0;
  const double r2 = r * r;
  if (s.q3 < r2) {
    // One real root, Cardano: A = -sign(R) cbrt(|R| + S), written per sign so that cbrt always
    // sees a non-negative argument; |A| >= cbrt(S) > 0, so Q / A is finite. Taken wherever it is.
    const double root = std::sqrt(r2 - s.q3);
    if (r >= 0.0) {
      const double big = ExactCbrt(r + root);
      *t = -(s.aThird + big) - s.q / big;
    } else {
      const double big = ExactCbrt(root - r);
      *t = big - s.aThird + s.q / big;
    }
    return;
  }
  if (std::fabs(s.q) < kSolverEpsilon) {
    *t = -s.aThird;  // triple root
    return;
  }
  // Q >= eps > 0 here, so both square roots are real.
  if (kPrepared)
    SolveThreeRoots(r * three.invRootQ3, three.minusTwoRootQ, s.aThird, t);
  else
    SolveThreeRoots(r / std::sqrt(s.q3), -2.0 * std::sqrt(s.q), s.aThird, t);
}

}  // namespace solver_detail

// Solves x_k(t) = v for t on coordinate k of the curve (k = 0: time, k = 1: value), reading only
// coordinate k of the four control points (the record's dims is not read: it must exceed k).
//
// In order, the first rule that applies decides:
//   v below p0 or within eps of it          -> t = 0
//   v above p3 or within eps of it          -> t = 1
//   |c3| < eps, |c2| < eps                  -> the line: t = (v - p0) / c1, or 0 when |c1| < eps
//   |c3| < eps                              -> the quadratic's double root, or its first root in
//                                              [0, 1]; no root in [0, 1]: t untouched
//   one real root (Q^3 < R^2) or triple one -> that root
//   three real roots                        -> the smallest if in (0, 1), else the largest if in
//                                              [0, 1], else the middle one if in [0, 1]; else
//                                              t untouched
// Single roots are taken wherever they lie, so t may leave [0, 1] and callers then extrapolate.
// For a rising coordinate an exact root in (0, 1) always exists; "untouched" arises only from
// rounding next to an end. The caller puts its fallback in t beforehand.
//
// Accuracy: dividing by c3 makes the normalised coefficients grow like 1/c3, and Cardano's sums
// then cancel; on a unit span the residual |x_k(t) - v| is ~1e-16 for |c3| near 1 but grows like
// 1e-16 / c3^2 (3e-9 at |c3| = 1e-4, 3e-5 at 1e-6) until the quadratic rule takes over at 1e-10.
inline void TFromCoordinate(const CRV_Curve& curve, int k, double v, double* t) {
  const double p0 = curve.ctpts[0][k];
  const double p3 = curve.ctpts[3][k];
  if (solver_detail::Clamp(p0, p3, v, t)) return;
  const solver_detail::Terms s =
      solver_detail::MakeTerms(curve.ctpts[0], curve.ctpts[1], curve.ctpts[2], curve.ctpts[3], k);
  solver_detail::SolveUnclamped<false>(s, solver_detail::ThreeRootTerms{}, v, t);
}

// TFromCoordinate for many targets on one coordinate: the terms that do not depend on the target
// are formed once, and with them 1 / sqrt(Q^3), so that the three-root angle takes R times that
// reciprocal instead of R / sqrt(Q^3). Every other value is the single solver's, so the two agree
// bit for bit except on that branch, where the angle may differ in its last bit.
class PreparedSolver {
 public:
  PreparedSolver(const CRV_Curve& curve, int k)
      : s_(solver_detail::MakeTerms(curve.ctpts[0], curve.ctpts[1], curve.ctpts[2],
                                    curve.ctpts[3], k)) {
    // Q^3 > 0 only where Q > 0, which the three-root branch needs; elsewhere these stay unused.
    if (s_.cubic && s_.q3 > 0.0) {
      three_.invRootQ3 = 1.0 / std::sqrt(s_.q3);
      three_.minusTwoRootQ = -2.0 * std::sqrt(s_.q);
    }
  }

  // As TFromCoordinate: t is set, or left as it was when no root is accepted.
  void Solve(double v, double* t) const {
    if (solver_detail::Clamp(s_.p0, s_.p3, v, t)) return;
    solver_detail::SolveUnclamped<true>(s_, three_, v, t);
  }

 private:
  solver_detail::Terms s_;
  solver_detail::ThreeRootTerms three_{};
};

}  // namespace crv

#endif
