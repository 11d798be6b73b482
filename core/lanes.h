// Two doubles operated on side by side, for the x and y of a point. Each lane runs exactly the
// scalar operation (no fused or reordered arithmetic), so a formula written once for `double` and
// once for Lanes2 gives the same bits in both. SSE2 on x86-64, where every processor has it; a
// plain pair elsewhere.
#ifndef CRV_CORE_LANES_H
#define CRV_CORE_LANES_H

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace crv {

#if defined(__SSE2__)

struct Lanes2 {
  __m128d v;

  static Lanes2 Load(const double* p) { return {_mm_loadu_pd(p)}; }
  static Lanes2 Both(double a) { return {_mm_set1_pd(a)}; }
  static Lanes2 Of(double lo, double hi) { return {_mm_set_pd(hi, lo)}; }
  void Store(double* p) const { _mm_storeu_pd(p, v); }
};

inline Lanes2 operator+(Lanes2 a, Lanes2 b) { return {_mm_add_pd(a.v, b.v)}; }
inline Lanes2 operator-(Lanes2 a, Lanes2 b) { return {_mm_sub_pd(a.v, b.v)}; }
inline Lanes2 operator*(Lanes2 a, Lanes2 b) { return {_mm_mul_pd(a.v, b.v)}; }
inline Lanes2 operator*(Lanes2 a, double b) { return {_mm_mul_pd(a.v, _mm_set1_pd(b))}; }

#else

struct Lanes2 {
  double lo, hi;

  static Lanes2 Load(const double* p) { return {p[0], p[1]}; }
  static Lanes2 Both(double a) { return {a, a}; }
  static Lanes2 Of(double lo, double hi) { return {lo, hi}; }
  void Store(double* p) const {
    p[0] = lo;
    p[1] = hi;
  }
};

inline Lanes2 operator+(Lanes2 a, Lanes2 b) { return {a.lo + b.lo, a.hi + b.hi}; }
inline Lanes2 operator-(Lanes2 a, Lanes2 b) { return {a.lo - b.lo, a.hi - b.hi}; }
inline Lanes2 operator*(Lanes2 a, Lanes2 b) { return {a.lo * b.lo, a.hi * b.hi}; }
inline Lanes2 operator*(Lanes2 a, double b) { return {a.lo * b, a.hi * b}; }

#endif

}  // namespace crv

#endif
