// Two doubles operated on side by side, for the x and y of a point. Each lane runs exactly the
// scalar operation (no fused or reordered arithmetic), so a formula written once for `double` and
// once for Lanes2 gives the same bits in both. SSE2 on x86-64, where every processor has it; a
// plain pair elsewhere.
#ifndef CRV_CORE_LANES_H
#define CRV_CORE_LANES_H

#include <cmath>

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

// Lane masks: all ones where a comparison holds (false for a NaN, as in scalar code).
struct Mask2 {
  __m128d m;
  bool Any() const { return _mm_movemask_pd(m) != 0; }
};

inline Lanes2 operator+(Lanes2 a, Lanes2 b) { return {_mm_add_pd(a.v, b.v)}; }
inline Lanes2 operator-(Lanes2 a, Lanes2 b) { return {_mm_sub_pd(a.v, b.v)}; }
inline Lanes2 operator-(Lanes2 a) { return {_mm_xor_pd(a.v, _mm_set1_pd(-0.0))}; }
inline Lanes2 operator*(Lanes2 a, Lanes2 b) { return {_mm_mul_pd(a.v, b.v)}; }
inline Lanes2 operator*(Lanes2 a, double b) { return {_mm_mul_pd(a.v, _mm_set1_pd(b))}; }
inline Lanes2 operator/(Lanes2 a, Lanes2 b) { return {_mm_div_pd(a.v, b.v)}; }
inline Lanes2 Sqrt(Lanes2 a) { return {_mm_sqrt_pd(a.v)}; }
inline Lanes2 Abs(Lanes2 a) { return {_mm_andnot_pd(_mm_set1_pd(-0.0), a.v)}; }
inline Mask2 operator<(Lanes2 a, Lanes2 b) { return {_mm_cmplt_pd(a.v, b.v)}; }
inline Mask2 operator>(Lanes2 a, Lanes2 b) { return {_mm_cmpgt_pd(a.v, b.v)}; }
inline Mask2 operator<=(Lanes2 a, Lanes2 b) { return {_mm_cmple_pd(a.v, b.v)}; }
inline Mask2 operator>=(Lanes2 a, Lanes2 b) { return {_mm_cmpge_pd(a.v, b.v)}; }
inline Mask2 operator&(Mask2 a, Mask2 b) { return {_mm_and_pd(a.m, b.m)}; }
inline Mask2 operator|(Mask2 a, Mask2 b) { return {_mm_or_pd(a.m, b.m)}; }
// Per lane: a where the mask holds, else b.
inline Lanes2 Select(Mask2 mask, Lanes2 a, Lanes2 b) {
  return {_mm_or_pd(_mm_and_pd(mask.m, a.v), _mm_andnot_pd(mask.m, b.v))};
}

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

struct Mask2 {
  bool lo, hi;
  bool Any() const { return lo || hi; }
};

inline Lanes2 operator+(Lanes2 a, Lanes2 b) { return {a.lo + b.lo, a.hi + b.hi}; }
inline Lanes2 operator-(Lanes2 a, Lanes2 b) { return {a.lo - b.lo, a.hi - b.hi}; }
inline Lanes2 operator-(Lanes2 a) { return {-a.lo, -a.hi}; }
inline Lanes2 operator*(Lanes2 a, Lanes2 b) { return {a.lo * b.lo, a.hi * b.hi}; }
inline Lanes2 operator*(Lanes2 a, double b) { return {a.lo * b, a.hi * b}; }
inline Lanes2 operator/(Lanes2 a, Lanes2 b) { return {a.lo / b.lo, a.hi / b.hi}; }
inline Lanes2 Sqrt(Lanes2 a) { return {std::sqrt(a.lo), std::sqrt(a.hi)}; }
inline Lanes2 Abs(Lanes2 a) { return {std::fabs(a.lo), std::fabs(a.hi)}; }
inline Mask2 operator<(Lanes2 a, Lanes2 b) { return {a.lo < b.lo, a.hi < b.hi}; }
inline Mask2 operator>(Lanes2 a, Lanes2 b) { return {a.lo > b.lo, a.hi > b.hi}; }
inline Mask2 operator<=(Lanes2 a, Lanes2 b) { return {a.lo <= b.lo, a.hi <= b.hi}; }
inline Mask2 operator>=(Lanes2 a, Lanes2 b) { return {a.lo >= b.lo, a.hi >= b.hi}; }
inline Mask2 operator&(Mask2 a, Mask2 b) { return {a.lo && b.lo, a.hi && b.hi}; }
inline Mask2 operator|(Mask2 a, Mask2 b) { return {a.lo || b.lo, a.hi || b.hi}; }
inline Lanes2 Select(Mask2 mask, Lanes2 a, Lanes2 b) {
  return {mask.lo ? a.lo : b.lo, mask.hi ? a.hi : b.hi};
}

#endif

}  // namespace crv

#endif
