// Points and first derivatives at n evenly spaced parameters, by forward differencing: after the
// first sample, each costs a handful of additions per coordinate. Sample i stands for t0 + i h,
// h = (t1 - t0) / (n - 1); the last sample equals the curve at t1 only up to the rounding that
// the running sums gather.
//
// 2-D records walk x and y side by side in the two lanes of one register, 3-D records all three
// coordinates in one pass over the samples, other dimension counts one coordinate at a time. Each
// coordinate's running sums are the same in every order, so the results are too.
#include "core/lanes.h"
#include "crv/crv.h"

namespace {

// A running value and its K - 1 differences: each step adds every difference to the one before
// it, lowest first, so each sum takes the next difference as it was before the step.
template <typename T, int K>
struct Walk {
  static_assert(K == 3 || K == 4, "a quadratic or a cubic");
  T d[K];
  void Step() {  // written out, so that the differences stay in registers
    d[0] = d[0] + d[1];
    d[1] = d[1] + d[2];
    if constexpr (K == 4) d[2] = d[2] + d[3];
  }
};

// Start value and differences of one coordinate's cubic B(t) = P0 + c t + b t^2 + a t^3.
using CubicWalk = Walk<double, 4>;

CubicWalk StartCubic(const CRV_Curve& curve, int k, double t0, double h, double h2, double h3) {
  const double p0 = curve.ctpts[0][k], p1 = curve.ctpts[1][k];
  const double p2 = curve.ctpts[2][k], p3 = curve.ctpts[3][k];
  const double c = 3.0 * (p1 - p0);
  const double b = 3.0 * ((p0 - 2.0 * p1) + p2);
  const double a = (p3 - p0) + 3.0 * (p1 - p2);
  const double d3 = a * (6.0 * h3);
  if (t0 == 0.0) return {p0, (c * h + h2 * b) + a * h3, (b + b) * h2 + a * (6.0 * h3), d3};
  // The differences of B expanded about t0 (with D1 = B(t0 + h) - B(t0), and so on).
  return {p0 + ((t0 * a + b) * t0 + c) * t0,
          (c + a * (3.0 * (t0 * t0))) * h + ((b * h2 + a * h3) + (h * (b + b) + a * (3.0 * h2)) * t0),
          ((b + b) + a * (6.0 * t0)) * h2 + a * (6.0 * h3), d3};
}

// Start value and differences of one coordinate's quadratic B'(t) = c + B2 t + A3 t^2.
using QuadraticWalk = Walk<double, 3>;

QuadraticWalk StartQuadratic(const CRV_Curve& curve, int k, double t0, double h, double h2) {
  const double p0 = curve.ctpts[0][k], p1 = curve.ctpts[1][k];
  const double p2 = curve.ctpts[2][k], p3 = curve.ctpts[3][k];
  const double c = 3.0 * (p1 - p0);
  const double b2 = 6.0 * ((p0 - 2.0 * p1) + p2);
  const double a3 = 3.0 * ((p3 - p0) + 3.0 * (p1 - p2));
  if (t0 == 0.0) return {c, b2 * h + a3 * h2, h2 * (a3 + a3)};
  return {c + (t0 * a3 + b2) * t0, (b2 + t0 * (a3 + a3)) * h + a3 * h2, (a3 + a3) * h2};
}

// Walks x and y side by side over n samples.
template <int K>
void WalkPaired(const Walk<double, K>& x, const Walk<double, K>& y, int32_t n, double* out) {
  Walk<crv::Lanes2, K> xy;
  for (int j = 0; j < K; ++j) xy.d[j] = crv::Lanes2::Of(x.d[j], y.d[j]);
  xy.d[0].Store(out);
  for (int32_t i = 1; i < n; ++i) {
    out += 2;
    xy.Step();
    xy.d[0].Store(out);
  }
}

// Walks D coordinates together over n samples (D known at compile time).
template <int D, int K>
void WalkTogether(Walk<double, K> (&walks)[D], int32_t n, double* out) {
  for (int k = 0; k < D; ++k) out[k] = walks[k].d[0];
  for (int32_t i = 1; i < n; ++i) {
    out += D;
    for (int k = 0; k < D; ++k) {
      walks[k].Step();
      out[k] = walks[k].d[0];
    }
  }
}

template <int K>
void WalkOneByOne(Walk<double, K> walk, int k, int dims, int32_t n, double* out) {
  out[k] = walk.d[0];
  for (int32_t i = 1; i < n; ++i) {
    walk.Step();
    out[static_cast<int64_t>(i) * dims + k] = walk.d[0];
  }
}

// Runs `start(k)` for every coordinate and walks the results over the n samples.
template <typename W, typename Start>
void WalkSamples(const CRV_Curve& curve, int32_t n, double* out, Start start) {
  switch (curve.dims) {
    case 2:
      WalkPaired(start(0), start(1), n, out);
      return;
    case 3: {
      W walks[3] = {start(0), start(1), start(2)};
      WalkTogether<3>(walks, n, out);
      return;
    }
    default:
      for (int k = 0; k < curve.dims; ++k) WalkOneByOne(start(k), k, curve.dims, n, out);
  }
}

}  // namespace

int32_t CRV_EvaluatePoints(const CRV_Curve* curve, double t0, double t1, int32_t n, double* out) {
  if (n < 1 || curve->dims <= 0) return CRV_ErrNone;
  // With n = 1, h is 0/0 or x/0; no sample after the first reads it.
  const double h = (t1 - t0) / static_cast<double>(n - 1);
  const double h2 = h * h, h3 = h2 * h;
  WalkSamples<CubicWalk>(*curve, n, out,
                  [&](int k) { return StartCubic(*curve, k, t0, h, h2, h3); });
  return CRV_ErrNone;
}

int32_t CRV_EvaluateDerivs(const CRV_Curve* curve, double t0, double t1, int32_t n, double* out) {
  if (n < 1 || curve->dims <= 0) return CRV_ErrNone;
  const double h = (t1 - t0) / static_cast<double>(n - 1);
  const double h2 = h * h;
  WalkSamples<QuadraticWalk>(*curve, n, out, [&](int k) { return StartQuadratic(*curve, k, t0, h, h2); });
  return CRV_ErrNone;
}
