#include "core/evaluate_paired.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <pmmintrin.h>
#define CRV_HAVE_SSE3_PATH 1
#endif

namespace crv {

void EvaluatePointPairedEmulated(const CRV_Curve& curve, double t, double* out) {
  const double s = 1.0 - t;
  const double ss = s * s, tt = t * t;
  const double w0 = s * ss, w1 = ss * (3.0 * t);
  const double w2 = s * (tt * 3.0), w3 = t * tt;
  const double* p0 = curve.ctpts[0];
  const double* p1 = curve.ctpts[1];
  const double* p2 = curve.ctpts[2];
  const double* p3 = curve.ctpts[3];
  const int dims = curve.dims;
  const double x = (p0[0] * w0 + p1[0] * w1) + (p2[0] * w2 + p3[0] * w3);
  const double y = (p0[1] * w0 + p1[1] * w1) + (p2[1] * w2 + p3[1] * w3);
  out[0] = x;
  out[1] = y;
  for (int k = 2; k < dims; ++k) out[k] = (p0[k] * w0 + p1[k] * w1) + (p2[k] * w2 + p3[k] * w3);
}

#ifdef CRV_HAVE_SSE3_PATH

__attribute__((target("sse3"))) void EvaluatePointPaired(const CRV_Curve& curve, double t,
                                                         double* out) {
  const double s = 1.0 - t;
  const double ss = s * s, tt = t * t;
  // Two weights a multiply (_mm_set_pd takes the high lane first).
  const __m128d w01 = _mm_mul_pd(_mm_set_pd(ss, s), _mm_set_pd(3.0 * t, ss));  // [w0, w1]
  const __m128d w23 = _mm_mul_pd(_mm_set_pd(t, s), _mm_set_pd(tt, tt * 3.0));  // [w2, w3]
  const double* p0 = curve.ctpts[0];
  const double* p1 = curve.ctpts[1];
  const double* p2 = curve.ctpts[2];
  const double* p3 = curve.ctpts[3];
  const int dims = curve.dims;

  // Coordinates 0 and 1: [P0x w0, P1x w1] and [P0y w0, P1y w1] summed horizontally in one step.
  const __m128d a = _mm_loadu_pd(p0), b = _mm_loadu_pd(p1);
  const __m128d c = _mm_loadu_pd(p2), d = _mm_loadu_pd(p3);
  const __m128d first = _mm_hadd_pd(_mm_mul_pd(_mm_unpacklo_pd(a, b), w01),
                                    _mm_mul_pd(_mm_unpackhi_pd(a, b), w01));
  const __m128d second = _mm_hadd_pd(_mm_mul_pd(_mm_unpacklo_pd(c, d), w23),
                                     _mm_mul_pd(_mm_unpackhi_pd(c, d), w23));
  _mm_storeu_pd(out, _mm_add_pd(first, second));

  for (int k = 2; k < dims; ++k) {
    const __m128d lo = _mm_mul_pd(_mm_set_pd(p1[k], p0[k]), w01);
    const __m128d hi = _mm_mul_pd(_mm_set_pd(p3[k], p2[k]), w23);
    const __m128d sums = _mm_hadd_pd(lo, hi);
    _mm_store_sd(out + k, _mm_add_sd(sums, _mm_unpackhi_pd(sums, sums)));
  }
}

#else

void EvaluatePointPaired(const CRV_Curve& curve, double t, double* out) {
  EvaluatePointPairedEmulated(curve, t, out);
}

#endif

}  // namespace crv
