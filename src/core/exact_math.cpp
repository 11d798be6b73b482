// Correctly rounded cbrt, acos and cos. See exact_math.h for the contract.
//
// Each function has a fast path that computes an approximation together with a proven bound on its
// error, followed by a rounding test: if the error interval contains no rounding boundary (a
// midpoint between two doubles) the rounded approximation is the correctly rounded result. The
// rare arguments that fail the test go to an accurate path: exact integer arithmetic for cbrt, and
// multi-word fixed-point arithmetic for acos and cos.
//
// Rounding test used by acos and cos (cbrt uses an equivalent direct test on its remainder lo,
// see there): with v the exact value, hi + lo the approximation and
// |v - (hi + lo)| <= b, if RN(hi + (lo - b')) == RN(hi + (lo + b')) with b' >= b + ulp(lo + b') then
// RN(v) is that common value (RN is monotone, and the inner roundings move lo -+ b' by less than
// b' - b). acos takes b' = 2 b with b far above ulp(lo); cos, whose hi + lo is not renormalised,
// sizes b' from its error terms and shows b' >= b + ulp(lo + b') there.
#include "core/exact_math.h"

#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>

#ifdef CRV_EXACT_MATH_STATS
#include <atomic>
namespace crv {
// Counts of arguments that failed the fast path's rounding test (checker builds only).
std::atomic<long> g_cbrt_slow{0}, g_acos_slow{0}, g_cos_slow{0};
}  // namespace crv
#define CRV_COUNT_SLOW(counter) (++crv::counter)
#else
#define CRV_COUNT_SLOW(counter) ((void)0)
#endif

#if defined(__GNUC__)
#define CRV_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define CRV_ALWAYS_INLINE inline
#endif

// Test builds may widen every fast-path error bound by this factor (a power of two) so that many
// arguments take the accurate paths, which are otherwise reached too rarely to be tested directly.
#ifndef CRV_EXACT_MATH_WIDEN
#define CRV_EXACT_MATH_WIDEN 1.0
#endif

namespace crv {
namespace {

constexpr double kWiden = CRV_EXACT_MATH_WIDEN;

inline uint64_t Bits(double x) {
  uint64_t u;
  std::memcpy(&u, &x, sizeof u);
  return u;
}

inline double FromBits(uint64_t u) {
  double x;
  std::memcpy(&x, &u, sizeof x);
  return x;
}

constexpr uint64_t kSignMask = 0x8000000000000000ULL;
constexpr uint64_t kExpMask = 0x7ff0000000000000ULL;
constexpr uint64_t kMantMask = 0x000fffffffffffffULL;
constexpr uint64_t kHiddenBit = 0x0010000000000000ULL;
// Adding and subtracting this rounds |v| < 2^51 to an integer (its ulp is 1), and the sum's low
// mantissa bits hold that integer.
constexpr double kRoundToInt = 0x1.8p52;
// The same for multiples of 1/64 (the ulp of 1.5 * 2^46 is 2^-6), for |v| < 2^45.
constexpr double kRoundToSixtyFourth = 0x1.8p46;

// Veltkamp split: a == hi + lo exactly, hi and lo with at most 26 significant bits each.
// Valid for |a| < 2^996 (no overflow of 2^27 * a); all our operands are far smaller.
inline void Split(double a, double* hi, double* lo) {
  const double t = 134217729.0 * a;  // 2^27 + 1
  *hi = t - (t - a);
  *lo = a - *hi;
}

// Returns p = RN(a * b) and sets *e so that a * b == p + *e exactly (no underflow).
// Dekker's algorithm takes 17 operations. A fused multiply-add gives the same pair in 2: a * b - p
// is a double (it is the exact e above), so fma(a, b, -p) returns it unrounded. The pair, and so
// every result built on it, is bit for bit the same either way; only where a product underflows
// can the two e differ, by less than 2^-1000, which no rounding test here can see.
// kFma selects the fused form; it must be inlined into code compiled for a processor that has it
// (see the dispatch below), or the compiler would call the C library's fma.
template <bool kFma>
CRV_ALWAYS_INLINE double TwoProd(double a, double b, double* e) {
  const double p = a * b;
  if (kFma) {
    *e = __builtin_fma(a, b, -p);
  } else {
    double ah, al, bh, bl;
    Split(a, &ah, &al);
    Split(b, &bh, &bl);
    *e = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
  }
  return p;
}

// Returns s = RN(a + b), *e = a + b - s exactly, given |a| >= |b| (or a == 0).
inline double FastTwoSum(double a, double b, double* e) {
  const double s = a + b;
  *e = b - (s - a);
  return s;
}

// Returns s = RN(a + b), *e = a + b - s exactly, for any a, b.
inline double TwoSum(double a, double b, double* e) {
  const double s = a + b;
  const double bb = s - a;
  *e = (a - (s - bb)) + (b - bb);
  return s;
}

// Rounding test (see top of file). Returns true and sets *r if RN(hi + lo +- b) agree.
inline bool RoundsSame(double hi, double lo, double b, double* r) {
  const double r1 = hi + (lo - b);
  const double r2 = hi + (lo + b);
  *r = r1;
  return r1 == r2;
}

// 64 x 64 -> 128-bit unsigned product from 32-bit halves (no __int128).
inline void Mul64(uint64_t a, uint64_t b, uint64_t* hi, uint64_t* lo) {
  const uint64_t a0 = a & 0xffffffffu, a1 = a >> 32, b0 = b & 0xffffffffu, b1 = b >> 32;
  const uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
  const uint64_t mid = (p00 >> 32) + (p01 & 0xffffffffu) + (p10 & 0xffffffffu);
  *lo = (mid << 32) | (p00 & 0xffffffffu);
  *hi = p11 + (p01 >> 32) + (p10 >> 32) + (mid >> 32);
}

// ---------------------------------------------------------------------------------------------
// Cube root.
//
// x = +-m * 2^e, m in [1, 2), e = 3q + r with r in {0, 1, 2}; t = m * 2^r in [1, 8) (exact) and
// cbrt(x) = +-cbrt(t) * 2^q, the scaling being exact because cbrt of any double is normal.
// Write R = cbrt(t), R in [1, 2). All bounds below are absolute errors on R unless said otherwise.
//
// Fast path on t:
//  1. y0 = P_i(m) * RN(2^(r/3)) ~ R, P_i(m) = a0 + a1 m + a2 m^2 ~ m^(1/3) on the 16th of [1, 2)
//     that holds m (index: top 4 mantissa bits; 512-byte table). Relative error of every P_i on
//     its interval < 2^-21.15 (sollya fpminimax + supnorm, exact_math_seed.sollya); evaluation
//     roundings < 6 * 2^-53 (5 operations, values < 4, P_i >= 1), the factor and the product
//     2^-52: relative error of y0 < 2^-21.14.
//  2. y = y0 rounded to a multiple of 2^-16 ((y0 + 1.5*2^36) - 1.5*2^36, the sum's ulp being
//     2^-16). y0 < 2 (1 + 2^-21) < 2 + 2^-17, so y <= 2 and y = k 2^-16 with k <= 2^17: y^3
//     = k^3 2^-48 has k^3 <= 2^51 (exact), (3y) y^2 = 3 k^3 2^-48 < 2^53 2^-48 (exact), and
//     d = t - y^3 is exact (Sterbenz, y^3/2 <= t <= 2 y^3). y = R (1 + eta) with
//     |eta| <= 2^-21.14 + 2^-17 < 2^-16.92.
//  3. v = RN(d / (3 y^3)): the exact quotient v* = (t / y^3 - 1) / 3 = ((1 + eta)^-3 - 1) / 3
//     satisfies |v*| <= V = 2^-16.91. R = y (1 + 3v*)^(1/3) = y (1 + f(v*)),
//     f(v) = v - v^2 + 5/3 v^3 - 10/3 v^4 + 22/3 v^5 - ... = v h(v) + O(v^5),
//     h(v) = (1 - v) + v^2 (5/3 - 10/3 v).
//  4. u = RN(y v), s = RN(RN(u RN(1 - v)) + u v^2 (5/3 - 10/3 v)) ~ y f(v); hi = RN(y + s),
//     lo = (y - hi) + s exactly (Fast2Sum, |y| > |s|), so hi + lo = y + s. The code runs this
//     step on y and u multiplied by sc = +-2^q: every intermediate is then exactly sc times its
//     unscaled value (|sc| >= 2^-358 and nothing drops below 2^-200 before scaling, so no
//     subnormals; |sc| <= 2^341, no overflow), which takes the final scaling off the critical path.
//  Error of y + s against R (y <= 2, |y v| <= 2^-15.91, every "(1 + ...)" factor below < 1 + 2^-15):
//    v's rounding: 2^-53 V times d(y v h)/dv <= y (1 + 2V)        <= 2^-68.9
//    u = RN(y v): 2^-53 |y v|, times |h| <= 1 + 2V                 <= 2^-68.9
//    RN(1 - v): 2^-53, times |u|; RN(u (1 - v)): 2^-53 |u| (1 + V)  <= 2 * 2^-68.9
//    u v^2 (5/3 - 10/3 v), |.| < 2^-48.9: 6 roundings              <  2^-99
//    s = RN(.): 2^-53 |s|                                          <= 2^-68.9
//    truncation after v^4: y * 22/3 V^5 (1 + 4V)                   <  2^-80.6
//  Total B < 5 * 2^-68.9 + 2^-80.6 < 2^-66.5 < kCbrtErr = 2^-66.
//  Rounding test: R < 2 - 2^-52.58 (t <= 8 - 2^-49) and R >= 1 give hi in [1, 2), whose ulp is
//  2^-52; RN(R) = hi whenever |lo| + B < 2^-53 (R is then strictly inside hi's rounding interval).
//  We test |lo| < 2^-53 - 2 kCbrtErr; it fails with probability ~ 2^-64 / 2^-52 = 2^-12 for
//  uniformly distributed lo.
// Accurate path: the test failed, so |lo| >= 2^-54 > B and R lies on lo's side of hi: the
// candidates are r1 = hi or its predecessor (lo < 0) and r2 = r1 + ulp (adjacent doubles). The
// midpoint M = (2a + 1) 2^-53 is compared with R through M^3 <=> t in exact integer arithmetic.
// M^3 has an odd numerator, t an even one, so they are never equal: no ties.

// Test builds widen by at most 2^11 here: the threshold 2^-53 - 2 kCbrtErr must stay >= 2^-54 (> B)
// so that the accurate path's candidates stay valid.
constexpr double kCbrtErr = 0x1p-66 * (kWiden < 0x1p11 ? kWiden : 0x1p11);
constexpr double kCbrtLoMax = 0x1p-53 - 2 * kCbrtErr;

// Seed polynomials a0 + a1 m + a2 m^2 on [1 + i/16, 1 + (i+1)/16], from exact_math_seed.sollya (the
// fourth column pads rows to 32 bytes).
constexpr double kCbrtSeed[16][4] = {
    {0x1.1f53636e43994p-1, 0x1.16bf3543f6672p-1, -0x1.b09452335fa2ap-4, 0.0},
    {0x1.2505cbd9ca4d9p-1, 0x1.0c040d7e3801fp-1, -0x1.88261fa0337f3p-4, 0.0},
    {0x1.2a81862027cfep-1, 0x1.0242fb9f7b41p-1, -0x1.65718dffd7631p-4, 0.0},
    {0x1.2fcb6e668d303p-1, 0x1.f2b2e332d4a3dp-2, -0x1.4767a2146742ep-4, 0.0},
    {0x1.34e7b89e78fffp-1, 0x1.e2563fb1e2b7cp-2, -0x1.2d3615643b058p-4, 0.0},
    {0x1.39da0e517ffc4p-1, 0x1.d3412d95a1a81p-2, -0x1.16379449634ccp-4, 0.0},
    {0x1.3ea5a602c12b4p-1, 0x1.c54c830ff99d5p-2, -0x1.01e895f0e2dc9p-4, 0.0},
    {0x1.434d55c0e25dp-1, 0x1.b857403d95908p-2, -0x1.dfbea6a4d7af8p-5, 0.0},
    {0x1.47d3a20f876c5p-1, 0x1.ac456000502b1p-2, -0x1.bf8bccdf501bap-5, 0.0},
    {0x1.4c3ac9ff6756ap-1, 0x1.a0feecca92339p-2, -0x1.a2abdbdf0e7bfp-5, 0.0},
    {0x1.5084d11436a86p-1, 0x1.966f481f1074cp-2, -0x1.88aa8c3a0defbp-5, 0.0},
    {0x1.54b3876fcc83dp-1, 0x1.8c849860ccc5bp-2, -0x1.712715bf38441p-5, 0.0},
    {0x1.58c8909d20b07p-1, 0x1.832f53eb5ed65p-2, -0x1.5bd05a77ac759p-5, 0.0},
    {0x1.5cc56940af402p-1, 0x1.7a61e2c8f71f6p-2, -0x1.4861ece354f84p-5, 0.0},
    {0x1.60ab6be42dd5p-1, 0x1.7210520ba9c92p-2, -0x1.36a1baeccd1b2p-5, 0.0},
    {0x1.647bd507c79d8p-1, 0x1.6a301507e8f19p-2, -0x1.265e35e868149p-5, 0.0},
};

// {RN(2^(r/3)), 2^r}, r = 0, 1, 2.
constexpr double kCbrtPow2[3][2] = {{1.0, 1.0}, {0x1.428a2f98d728bp0, 2.0}, {0x1.965fea53d6e3dp0, 4.0}};

// Adding and subtracting this rounds a value in [0.5, 4) to a multiple of 2^-16.
constexpr double kCbrtGrid = 0x1.8p36;

// Exact decision between adjacent doubles r1 < r2 (r1 in [1 - 2^-53, 2)) for cbrt(t),
// t = tm * 2^-52 with tm < 2^55: returns r2 iff cbrt(t) > (r1 + r2) / 2.
// Kept out of line so that the fast path does not pay for its register pressure.
#if defined(__GNUC__)
__attribute__((noinline, cold))
#endif
double CbrtDecide(uint64_t tm, double r1, double r2) {
  // r1 = a * 2^(E - 52) with E = 0 or -1; midpoint = m * 2^(E - 53); compare m^3 * 2^(3E - 159)
  // with tm * 2^-52, i.e. m^3 with tm * 2^k, k = 107 - 3E.
  const bool below_one = r1 < 1.0;
  const int k = below_one ? 110 : 107;
  const uint64_t a = (Bits(r1) & kMantMask) | kHiddenBit;
  const uint64_t m = 2 * a + 1;  // < 2^54
  uint64_t s_hi, s_lo;
  Mul64(m, m, &s_hi, &s_lo);  // m^2 < 2^108
  uint64_t p1_hi, p1_lo, p2_hi, p2_lo;
  Mul64(s_lo, m, &p1_hi, &p1_lo);
  Mul64(s_hi, m, &p2_hi, &p2_lo);
  const uint64_t w1 = p1_hi + p2_lo;
  const uint64_t w2 = p2_hi + (w1 < p1_hi ? 1 : 0);
  // m^3 = (w2, w1, p1_lo) in 64-bit words; tm * 2^k = (v2, v1, 0). m^3 is odd and tm * 2^k even,
  // so they differ (no ties) and, when the upper words agree, m^3 is the larger.
  const uint64_t v2 = tm >> (128 - k), v1 = tm << (k - 64);
  const bool cube_below = w2 != v2 ? w2 < v2 : (w1 != v1 ? w1 < v1 : false);
  return cube_below ? r2 : r1;
}

}  // namespace

double ExactCbrt(double x) {
  uint64_t ux = Bits(x);
  const uint64_t sign = ux & kSignMask;
  ux ^= sign;
  if (ux >= kExpMask || ux == 0) return x + x;  // +-inf, NaN (quietened), +-0.
  int be = static_cast<int>(ux >> 52);  // biased exponent
  if (be == 0) {  // Subnormal: scale by 2^54 (exact) to normalise.
    ux = Bits(FromBits(ux) * 0x1p54);
    be = static_cast<int>(ux >> 52) - 54;
  }
  // e = be - 1023 = 3q + r; eb = e + 1203 = 3 (q + 401) + r >= 126 (1203 = 3 * 401).
  const unsigned eb = static_cast<unsigned>(be + 180);
  const unsigned q401 = eb / 3;
  const unsigned r = eb - 3 * q401;
  // 2^q, and 2^q with x's sign: the result is scaled by multiplying exactly (see step 4).
  const uint64_t scale_bits = static_cast<uint64_t>(q401 + 622) << 52;
  const double scale = FromBits(scale_bits | sign);
  const uint64_t mant = ux & kMantMask;
  const double m = FromBits(mant | 0x3ff0000000000000ULL);  // [1, 2)
  const double t = m * kCbrtPow2[r][1];                      // m * 2^r, exact

  // Step 1: seed. The factor 2^(r/3) is applied last: r arrives late (integer division) and the
  // polynomial does not wait for it. Row offset in doubles: top 4 mantissa bits times 4.
  const double* a = &kCbrtSeed[0][0] + ((ux >> 46) & (15 << 2));
  const double pm = (a[0] + a[1] * m) + a[2] * (m * m);
  const double y0 = pm * kCbrtPow2[r][0];
  // Step 2: 17 significant bits, so that the cube and the residual are exact.
  const double y = (y0 + kCbrtGrid) - kCbrtGrid;
  const double y2 = y * y;
  const double d = t - y2 * y;
  // Step 3.
  const double v = d / ((3 * y) * y2);
  // Step 4, on values scaled by +-2^q (exact, see above).
  const double ys = y * scale;
  const double us = ys * v;
  const double ss = us * (1 - v) + (us * (v * v)) * ((5.0 / 3) - (10.0 / 3) * v);
  const double hs = ys + ss;
  const double ls = (ys - hs) + ss;
  if (!(std::fabs(ls) < kCbrtLoMax * FromBits(scale_bits))) {
    CRV_COUNT_SLOW(g_cbrt_slow);
    // Unscaled hi and lo (|ls| / 2^q and hi in [1, 2)), then the exact decision.
    const double u = y * v;
    const double s = u * (1 - v) + (u * (v * v)) * ((5.0 / 3) - (10.0 / 3) * v);
    const double hi = y + s;
    const double lo = (y - hi) + s;
    const double r1 = FromBits(Bits(hi) - (lo < 0 ? 1 : 0));
    return CbrtDecide(((mant | kHiddenBit) << r), r1, FromBits(Bits(r1) + 1)) * scale;
  }
  return hs;
}

}  // namespace crv

namespace crv {
namespace {

// ---------------------------------------------------------------------------------------------
// Tables, generated by exact_math_tables.py (mpmath, 1000-bit arithmetic).
//  kAsinTable[i]: Taylor coefficients of asin at c_i = i/32: A0, A1, A2 as double-doubles
//    (hi, lo), then A3..A13 rounded to double. For |d| <= 2^-6 the omitted terms sum to < 2^-77.4.
//  kSinCosTable[j]: sin(j/64), cos(j/64) as double-doubles (error < 2^-106 relative).
//  kHalfPi1 + kHalfPi2 + kHalfPi3: pi/2 with residual < 2^-159.8; kHalfPi1 and kHalfPi2 have at
//    most 49 significant bits so that k * kHalfPi1 and k * kHalfPi2 are exact for k < 16.
//  kHalfPiLimbs, kPiLimbs: pi/2 and pi truncated to 24 fractional 32-bit limbs.
constexpr double kAsinTable[17][17] = {
    {0x0.0p+0, 0x0.0p+0, 0x1.0000000000000p+0, 0x0.0p+0,
     0x0.0p+0, 0x0.0p+0, 0x1.5555555555555p-3, 0x0.0p+0,
     0x1.3333333333333p-4, 0x0.0p+0, 0x1.6db6db6db6db7p-5, 0x0.0p+0,
     0x1.f1c71c71c71c7p-6, 0x0.0p+0, 0x1.6e8ba2e8ba2e9p-6, 0x0.0p+0,
     0x1.1c4ec4ec4ec4fp-6},
    {0x1.000aabde0b9c8p-5, 0x1.d6d94551be3e9p-61, 0x1.0020060140461p+0, -0x1.e3194a6d70f37p-59,
     0x1.00601e08c276bp-6, -0x1.4883b5943c1e4p-61, 0x1.56d61da71d91fp-3, 0x1.8190f57651b41p-7,
     0x1.36f709ca192f4p-4, 0x1.428fecb2dd781p-7, 0x1.7685ae5c79889p-5, 0x1.1bb69af2382f9p-7,
     0x1.02d481ce8a302p-5, 0x1.01010a0716062p-7, 0x1.84807218f7137p-6, 0x1.dad93b8d255efp-8,
     0x1.3433c8934e0fep-6},
    {0x1.002abde953619p-4, 0x1.182e2dc6ddeedp-58, 0x1.00806050463f4p+0, -0x1.828b6295ee621p-54,
     0x1.0181e23278b7fp-5, 0x1.e7ba2fd81e966p-61, 0x1.5b61e9ddafe71p-3, 0x1.864f6db9edae1p-6,
     0x1.427119fb2aadbp-4, 0x1.4a5f258b28dc2p-6, 0x1.91a6dfa5adec1p-5, 0x1.271ec0e36e2b1p-6,
     0x1.21d9766133866p-5, 0x1.10854fcf70322p-6, 0x1.ca14140dabc64p-6, 0x1.019044be0df5ep-6,
     0x1.814a40965c51bp-6},
    {0x1.809092913e52ep-4, 0x1.cf6b1f9befb16p-60, 0x1.0121e99650547p+0, -0x1.ef574385b7b2ap-54,
     0x1.851e62bfa7b80p-5, -0x1.6a31d568bf3a4p-59, 0x1.631588e23b648p-3, 0x1.2ac723cfd763cp-5,
     0x1.5630c74c11239p-4, 0x1.01db090c55949p-5, 0x1.c14e6b9bd36ddp-5, 0x1.d89487c1a54c1p-6,
     0x1.59bca8c47580ap-5, 0x1.c237b966a1ebfp-6, 0x1.259efd730488ap-5, 0x1.b94c078870f77p-6,
     0x1.0aafb86031a10p-5},
    {0x1.00abe0c129e1ep-3, 0x1.7ceb0ee49d42ap-60, 0x1.02061446ffa9ap+0, -0x1.3e4dd7a0f0c8dp-54,
     0x1.061e8e8103b88p-4, -0x1.82a648636f4eep-59, 0x1.6e228e2a0d52fp-3, 0x1.99fc94d904350p-5,
     0x1.7331fb4c6e147p-4, 0x1.6b89bd1c4ff93p-5, 0x1.04ba61ae9f4bbp-4, 0x1.5903c0422cd36p-5,
     0x1.b188268022b34p-5, 0x1.56d36fb5ede68p-5, 0x1.8f7f9c3842511p-5, 0x1.609dd529d0c8dp-5,
     0x1.8a019a3583fb3p-5},
    {0x1.41510cb011423p-3, -0x1.15d675180eda8p-58, 0x1.032ef3f5dc32cp+0, 0x1.b9f313919470ap-57,
     0x1.4c163be9c863ep-4, 0x1.54883fc9a927ap-60, 0x1.7cd1cbdad651ap-3, 0x1.09f2314e3cd56p-4,
     0x1.9af235aa4669dp-4, 0x1.e839f4c62cc13p-5, 0x1.382baffe36223p-4, 0x1.e434955f7ffe2p-5,
     0x1.1a6430f94de15p-4, 0x1.fab719c5e1232p-5, 0x1.1b3c453fd0fb2p-4, 0x1.14204aa42f6ddp-4,
     0x1.2f6e0f8f50904p-4},
    {0x1.82494ed0e78fcp-3, -0x1.443c2697a7d2fp-57, 0x1.049f4b0cadb3bp+0, 0x1.bb890653e497cp-54,
     0x1.952d8a70fd76cp-4, -0x1.c585649ab9680p-61, 0x1.8f871364b45f7p-3, 0x1.4e153e6ec33c2p-4,
     0x1.cf91aa6f3828bp-4, 0x1.3fcca03287c26p-4, 0x1.7fa5ed07e4435p-4, 0x1.4e3a70e328fa4p-4,
     0x1.7adc07fb4de3bp-4, 0x1.737ecb87d061cp-4, 0x1.9dd75e2d5bc25p-4, 0x1.b06e1c54803d4p-4,
     0x1.e15d9c1d0e2fap-4},
    {0x1.c3a6f13aae84bp-3, -0x1.7739d10fe8bc1p-57, 0x1.065a9d98132e6p+0, -0x1.549771762b513p-54,
     0x1.e231717821274p-4, -0x1.0d2970134ac4bp-61, 0x1.a6c69045eb07ep-3, 0x1.9ba2404c9cc04p-4,
     0x1.0a0269f0229f8p-3, 0x1.9de9c0e525a3dp-4, 0x1.e206b6dd81823p-4, 0x1.cb6a80d04ce9fp-4,
     0x1.0438fb4962617p-3, 0x1.1130d85b2e99fp-3, 0x1.35a8a4d1a14afp-3, 0x1.55dcd5ae2f1b2p-3,
     0x1.873627773546cp-3},
    {0x1.02be9ce0b87cdp-2, 0x1.e5d09da2e0f04p-58, 0x1.08654a2d4f6dbp+0, -0x1.fcd7aa9a877b8p-54,
     0x1.1a05a47498fd8p-3, 0x1.af1c7a6268cfbp-64, 0x1.c33c3a5427fc0p-3, 0x1.f55f5d410ffb9p-4,
     0x1.362eb5f045f67p-3, 0x1.0aaf844bee781p-3, 0x1.34b1f9c970a7cp-3, 0x1.3ca358067b593p-3,
     0x1.6cd161309b906p-3, 0x1.958f5873b2e02p-3, 0x1.d959eaaf40a20p-3, 0x1.124fac7838951p-2,
     0x1.453b784073928p-2},
    {0x1.23f0523c5dc2bp-2, 0x1.4fc2674a3d6b2p-59, 0x1.0ac4aa5195bf3p+0, -0x1.138c42820d226p-54,
     0x1.45e49457b8d60p-3, -0x1.7582c33a9e1c5p-59, 0x1.e5c6183ac4587p-3, 0x1.2f693e7e09901p-3,
     0x1.6f1adb5c8ae8ap-3, 0x1.57e4eb1106519p-3, 0x1.92541faf106e5p-3, 0x1.b7bc3ff02093bp-3,
     0x1.04942168d6689p-2, 0x1.311234218efdcp-2, 0x1.714b68aa335d5p-2, 0x1.c0575434ecfd8p-2,
     0x1.14a65cd8fac54p-1},
    {0x1.457393b90e2aap-2, 0x1.b1f64d329fe98p-56, 0x1.0d7f3c53851c3p+0, -0x1.95634658de958p-59,
     0x1.755446452737bp-3, -0x1.1ff4c84f34db4p-57, 0x1.07c130faff1d6p-2, 0x1.6e451a9f5f5c3p-3,
     0x1.b8a7ae2299f55p-3, 0x1.bd659333127ffp-3, 0x1.0a89831af219ep-2, 0x1.34a8081c9b80bp-2,
     0x1.7b2e694968063p-2, 0x1.d27beff51f52ep-2, 0x1.263d5dac7afb5p-1, 0x1.76261afffdf37p-1,
     0x1.e22c36e503d62p-1},
    {0x1.675441329986ep-2, 0x1.d027ed2bb2edap-56, 0x1.109cd94386664p+0, -0x1.825e2e62128bcp-54,
     0x1.a9120cbe5685ep-3, 0x1.9b9d589d2c81dp-59, 0x1.20f18b0be2ac0p-2, 0x1.ba42a20e8ba32p-3,
     0x1.0c2059c61b8f2p-2, 0x1.2284782be1355p-2, 0x1.66f1d7d122428p-2, 0x1.b728803f36897p-2,
     0x1.192a3fc3f438dp-1, 0x1.6b64035f0ec1fp-1, 0x1.df7523c7935c8p-1, 0x1.3fa0e08a8f3fep+0,
     0x1.af4bf1586aab7p+0},
    {0x1.899f4edc962d3p-2, 0x1.3e919701b7c6dp-60, 0x1.1426fac0654dbp+0, -0x1.094cdd1bdfbc0p-54,
     0x1.e202df90fb4b1p-3, 0x1.31485761fa2a4p-64, 0x1.3f64af08aaa6ap-2, 0x1.0bb20b9b6a221p-2,
     0x1.4ac896e03961dp-2, 0x1.7ea574d1b4122p-2, 0x1.eb800c9c5d2ecp-2, 0x1.3d60fa4e04a35p-1,
     0x1.a96f67c4bf48ap-1, 0x1.211bf811bfb6cp+0, 0x1.902d1d416d3d7p+0, 0x1.1839c344591ddp+1,
     0x1.8cef3368d9654p+1},
    {0x1.ac62fec0b2a92p-2, 0x1.cb9f9a052f11fp-56, 0x1.182915c92f066p+0, -0x1.96040f1fedc7dp-56,
     0x1.109fbef7deb6ep-2, -0x1.7171ddf4018e5p-56, 0x1.64562d09aa292p-2, 0x1.458e6f03ee033p-2,
     0x1.9dce487781efcp-2, 0x1.fdf49fcf1ed2fp-2, 0x1.56733ba605254p-1, 0x1.d311d218ee5b6p-1,
     0x1.48f0395474708p+0, 0x1.d6f88978ccc8fp+0, 0x1.56f357e84ad00p+1, 0x1.f9ab72ab183bep+1,
     0x1.78f011f508c80p+2},
    {0x1.cfaf27460fe9fp-2, -0x1.8bf75f355f723p-57, 0x1.1cb111f0a37bcp+0, -0x1.86634f69e42e2p-55,
     0x1.341278d2eebedp-2, -0x1.805d4ed51eb4cp-56, 0x1.91687471015e6p-2, 0x1.8e7b9b5b3dd4fp-2,
     0x1.069e7e5d35ba5p-1, 0x1.588e5aa2f5378p-1, 0x1.e647c0e02135ap-1, 0x1.5ebde54c356bdp+0,
     0x1.0476db8c324ffp+1, 0x1.89ce27faee3c7p+1, 0x1.2e9ddf9740d1ap+2, 0x1.d703c652272fdp+2,
     0x1.7295c36869e8cp+3},
    {0x1.f3958aecddef4p-2, -0x1.fc135930a7786p-58, 0x1.21cfe78a9e62ap+0, 0x1.be6debdf33777p-55,
     0x1.5c35b665d4687p-2, -0x1.52013fad2d043p-56, 0x1.c8cda1320fcb1p-2, 0x1.ebc9642da3280p-2,
     0x1.52886c9a5ab93p-1, 0x1.d9225c6a3ecbep-1, 0x1.607458864a77dp+0, 0x1.0d7d27ade5071p+1,
     0x1.a788247809bdcp+1, 0x1.53128bfc834bbp+2, 0x1.13d87157e1fcdp+3, 0x1.c69ad25c31db3p+3,
     0x1.7ab234f6d4610p+4},
    {0x1.0c152382d7366p-1, -0x1.ee6913347c2a6p-55, 0x1.279a74590331cp+0, 0x1.34863e0792bedp-54,
     0x1.8a2345cc04426p-2, -0x1.0f4d02a091ac5p-56, 0x1.06c22e8802d6ep-1, 0x1.328d364958a56p-1,
     0x1.bbc51b62dcf93p-1, 0x1.4ae18feda4c2cp+0, 0x1.055e46aa8225bp+1, 0x1.a8f48424a8f02p+1,
     0x1.62ab812d94297p+2, 0x1.2db5b187f835ep+3, 0x1.04c45b416caeap+4, 0x1.c89b5a1b57f3ep+4,
     0x1.941f3cf168c94p+5},
};
constexpr double kSinCosTable[52][4] = {  // sin hi, sin lo, cos hi, cos lo of j/64
    {0x0.0p+0, 0x0.0p+0, 0x1.0000000000000p+0, 0x0.0p+0},
    {0x1.fffaaaaeeeed5p-7, -0x1.2ab639a9f0776p-63, 0x1.fff000155549fp-1, 0x1.28a28a03a5ef3p-55},
    {0x1.ffeaaaeeee86fp-6, -0x1.cd406fb224ae2p-60, 0x1.ffc00155527d3p-1, -0x1.3b54492d89b5bp-55},
    {0x1.7fdc01032fba9p-5, -0x1.599bdf46e997ap-59, 0x1.ff7006bfdf99fp-1, -0x1.8b3b560648d5fp-56},
    {0x1.ffaaaeeed4edbp-5, -0x1.2d16d32684b69p-59, 0x1.ff0015549f4d3p-1, 0x1.328387b99426fp-55},
    {0x1.3facb12d1755bp-4, -0x1.921915299468bp-58, 0x1.fe7034129ef6fp-1, -0x1.cbf4337c96f97p-57},
    {0x1.7f701032550e4p-4, 0x1.afc2d1800501ap-60, 0x1.fdc06bf7e6b9bp-1, 0x1.31902b535f8dbp-55},
    {0x1.bf1b78568391dp-4, 0x1.e91841dea4cc8p-58, 0x1.fcf0c800e99b1p-1, 0x1.ea3d786d186acp-57},
    {0x1.feaaeee86ee36p-4, -0x1.afcb2bcc6f03bp-59, 0x1.fc015527d5bd3p-1, 0x1.b68f35094efb8p-55},
    {0x1.1f0d3d7afceafp-3, -0x1.6ef95099769a5p-57, 0x1.faf22263c4bd3p-1, -0x1.52ace133a2769p-58},
    {0x1.3eb312c5d66cbp-3, 0x1.47d666b66cb91p-57, 0x1.f9c340a7cc428p-1, 0x1.c5b6b063b7462p-55},
    {0x1.5e44fcfa126f3p-3, -0x1.6f443063f89b6p-57, 0x1.f874c2e1eecf6p-1, -0x1.c6514e1332b16p-55},
    {0x1.7dc102fbaf2b5p-3, 0x1.5ab50e23c97c3p-59, 0x1.f706bdf9ece1cp-1, -0x1.698c80c36dcb4p-55},
    {0x1.9d252d0cec312p-3, 0x1.9c43d80b1137dp-58, 0x1.f57948cff6797p-1, 0x1.e3a0d3e03b1d4p-57},
    {0x1.bc6f84edc6199p-3, 0x1.9c1a56a7b0cabp-57, 0x1.f3cc7c3b3d16ep-1, -0x1.21a3ad28a3494p-57},
    {0x1.db9e15fb5a5d0p-3, -0x1.32e20d6cc6fc2p-57, 0x1.f20073086649fp-1, 0x1.b940416c1984bp-56},
    {0x1.faaeed4f31577p-3, -0x1.15d88508e32b8p-57, 0x1.f01549f7deea1p-1, 0x1.d3c1e99e5cafdp-55},
    {0x1.0cd00cef36436p-2, -0x1.9fb0a0c93e2b4p-56, 0x1.ee0b1fbc0f11cp-1, -0x1.bfd2380bbc3b1p-59},
    {0x1.1c37d64c6b876p-2, 0x1.46076fe0dcff4p-56, 0x1.ebe214f76efa8p-1, -0x1.02f9f12ba543ep-55},
    {0x1.2b8ddc43eb49fp-2, 0x1.1553899f2d807p-57, 0x1.e99a4c3a7cd83p-1, -0x1.2264b1bc53ce8p-55},
    {0x1.3ad129769d3d8p-2, 0x1.03d550487839ap-63, 0x1.e733ea0193d40p-1, -0x1.6428b3546ce13p-55},
    {0x1.4a00c9b0f3d20p-2, 0x1.823ba6bb08eadp-56, 0x1.e4af14b2a449cp-1, -0x1.68ca02e8a6833p-55},
    {0x1.591bc9fa2f597p-2, 0x1.7c74bac3fe0cbp-57, 0x1.e20bf49acd6c1p-1, -0x1.660aec7ef636bp-58},
    {0x1.682138a38d7f7p-2, -0x1.d889202444aadp-56, 0x1.df4ab3ebd875ep-1, -0x1.e2d8a7e6736c4p-55},
    {0x1.7710255764214p-2, -0x1.6ead7314bb6cep-57, 0x1.dc6b7eb995912p-1, 0x1.4b364776dcd35p-58},
    {0x1.85e7a12826949p-2, 0x1.8a40e9b5face0p-56, 0x1.d96e82f71a9dcp-1, 0x1.ff61bd5d2039dp-55},
    {0x1.94a6be9f546c5p-2, -0x1.69ce13e683f58p-56, 0x1.d653f073e4040p-1, -0x1.76236434bec37p-55},
    {0x1.a34c91cc50ccap-2, -0x1.a310e3b50cecdp-58, 0x1.d31bf8d8d7c06p-1, 0x1.e60dd3089cbddp-56},
    {0x1.b1d8305321617p-2, -0x1.ae242cb99f519p-56, 0x1.cfc6cfa52ad9fp-1, 0x1.8b5b5508f2a0dp-55},
    {0x1.c048b17b140a3p-2, 0x1.19fe6757e9fa7p-57, 0x1.cc54aa2b2972ep-1, 0x1.4ee162ba83a98p-57},
    {0x1.ce9d2e3d4a51fp-2, -0x1.2fc8a12dae298p-57, 0x1.c8c5bf8ce1a84p-1, 0x1.ab3d1a1590123p-56},
    {0x1.dcd4c15329c9ap-2, 0x1.0d4c6e171fd9ap-56, 0x1.c51a48b8b175ep-1, -0x1.1bbb43b9aa880p-57},
    {0x1.eaee8744b05f0p-2, -0x1.789b43c9b027dp-58, 0x1.c1528065b7d50p-1, -0x1.892111312e828p-55},
    {0x1.f8e99e76abc97p-2, 0x1.9d950af2d00a3p-58, 0x1.bd6ea310294f5p-1, 0x1.31bbcc88c109dp-56},
    {0x1.0362939c69955p-1, -0x1.2d8cd78397b01p-55, 0x1.b96eeef58840ep-1, 0x1.45a3cc78fade0p-58},
    {0x1.0a4021e9e1001p-1, -0x1.6f643a13914f6p-55, 0x1.b553a410c104ep-1, 0x1.8ff7947027a15p-58},
    {0x1.110d0c4b69c3bp-1, 0x1.d918998809981p-55, 0x1.b11d04162a4c6p-1, 0x1.1dd561efbc0c2p-56},
    {0x1.17c8e5f2eedb0p-1, 0x1.35e57102e2488p-57, 0x1.accb526f69de5p-1, 0x1.8fb6a8dd6b6ccp-55},
    {0x1.1e7343236574cp-1, 0x1.22a3fa4f41d5ap-56, 0x1.a85ed4373e02dp-1, 0x1.9be06385ec792p-57},
    {0x1.250bb93788bbbp-1, 0x1.ea3d02457bccep-56, 0x1.a3d7d0352bdcfp-1, -0x1.68dbaeca19669p-55},
    {0x1.2b91dea88421ep-1, -0x1.fa371db216ab0p-55, 0x1.9f368ed912f85p-1, -0x1.1d200c5791606p-55},
    {0x1.32054b148bc4fp-1, 0x1.f6b42095a135bp-55, 0x1.9a7b5a36a6514p-1, 0x1.722cfcc9fa7a9p-55},
    {0x1.386597456282bp-1, -0x1.10fada93b07a8p-56, 0x1.95a67e00cb1fdp-1, -0x1.0befda21f862dp-55},
    {0x1.3eb25d36cd53ap-1, -0x1.be570e1570fc0p-58, 0x1.90b84784ddaf7p-1, -0x1.0feb10ab93b87p-56},
    {0x1.44eb381cf386bp-1, -0x1.3ed6c1e6a5505p-55, 0x1.8bb105a5dc900p-1, 0x1.863e03e9474c1p-55},
    {0x1.4b0fc46aab761p-1, 0x1.0da05738cc59cp-61, 0x1.869108d77a6c6p-1, 0x1.338ffe2bfe9ddp-56},
    {0x1.511f9fd7b351cp-1, -0x1.5c0e861c48831p-55, 0x1.8158a31916d5dp-1, -0x1.de8b90b8228dep-57},
    {0x1.571a6966d59b3p-1, 0x1.c843b4d0fb197p-58, 0x1.7c0827f09e54fp-1, -0x1.c73d6d72aee68p-57},
    {0x1.5cffc16bf8f0dp-1, 0x1.96cb370eb578ap-55, 0x1.769fec655211fp-1, -0x1.827d5cf8c68c5p-57},
    {0x1.62cf49921ac79p-1, -0x1.edd9855b6241ap-55, 0x1.712046fa77678p-1, 0x1.425b0a5029c81p-55},
    {0x1.6888a4e134b2fp-1, -0x1.6b7d37644d5e6p-55, 0x1.6b898fa9efb5dp-1, 0x1.15ac786ccf4b2p-56},
    {0x1.6e2b77c40bde1p-1, -0x1.0e729857fad53p-56, 0x1.65dc1fdeb8cbap-1, -0x1.97c1b47337c77p-58},
};
constexpr double kHalfPi1 = 0x1.921fb54442d10p+0, kHalfPi2 = 0x1.08d313198a2e0p-49, kHalfPi3 = 0x1.b839a252049c1p-104;
constexpr double kHalfPiHi = 0x1.921fb54442d18p+0, kHalfPiLo = 0x1.1a62633145c07p-54;
constexpr double kPiHi = 0x1.921fb54442d18p+1, kPiLo = 0x1.1a62633145c07p-53;
constexpr uint32_t kHalfPiLimbs[25] = {
    0xb5133f4bu, 0xdc70d7f6u, 0xe80d6fdbu, 0x17feb96du, 0x4c6fdad6u, 0xe89885d3u,
    0xc4bcfd8du, 0xc90b6aecu, 0xdaa3848bu, 0x9fc26adau, 0xe4be286eu, 0x605614dbu,
    0x9a748636u, 0xdf2a3367u, 0x1c6809bbu, 0xa29410f3u, 0x76273644u, 0x04177d4cu,
    0x14cf98e8u, 0x52049c11u, 0x01b839a2u, 0x898cc517u, 0x42d18469u, 0x921fb544u,
    0x00000001u,
};
constexpr uint32_t kPiLimbs[25] = {
    0x6a267e96u, 0xb8e1afedu, 0xd01adfb7u, 0x2ffd72dbu, 0x98dfb5acu, 0xd1310ba6u,
    0x8979fb1bu, 0x9216d5d9u, 0xb5470917u, 0x3f84d5b5u, 0xc97c50ddu, 0xc0ac29b7u,
    0x34e90c6cu, 0xbe5466cfu, 0x38d01377u, 0x452821e6u, 0xec4e6c89u, 0x082efa98u,
    0x299f31d0u, 0xa4093822u, 0x03707344u, 0x13198a2eu, 0x85a308d3u, 0x243f6a88u,
    0x00000003u,
};

// ---------------------------------------------------------------------------------------------
// Multi-word unsigned fixed point for the accurate paths: value = sum w[i] 2^(32 (i - N)), w[N]
// is the integer part. Every operation truncates, with the error stated; the callers bound the
// accumulated error in units of 2^(-32 N) ("units").

template <int N>
struct Fixed {
  uint32_t w[N + 1];
};

template <int N>
Fixed<N> FxConst(const uint32_t* limbs24) {  // truncation of a 24-fractional-limb constant
  Fixed<N> r;
  for (int i = 0; i <= N; ++i) r.w[i] = limbs24[24 - N + i];
  return r;
}

// Exact for 0 <= x < 2^32 whose lowest set bit is >= 2^(-32 N); truncated below that.
template <int N>
Fixed<N> FxFromDouble(double x) {
  Fixed<N> r{};
  const uint64_t u = Bits(x);
  if (x == 0) return r;
  const uint64_t m = (u & kMantMask) | kHiddenBit;
  const int s = static_cast<int>(u >> 52) - 1075 + 32 * N;  // x = m * 2^(s - 32 N)
  for (int i = 0; i <= N; ++i) {
    const int shift = 32 * i - s;  // limb i = bits [32 i, 32 i + 32) of m * 2^s
    uint64_t v = 0;
    if (shift >= 0) {
      v = shift < 64 ? m >> shift : 0;
    } else if (-shift < 64) {
      v = m << -shift;
    }
    r.w[i] = static_cast<uint32_t>(v);
  }
  return r;
}

template <int N>
Fixed<N> FxAdd(const Fixed<N>& a, const Fixed<N>& b) {
  Fixed<N> r;
  uint64_t carry = 0;
  for (int i = 0; i <= N; ++i) {
    const uint64_t s = static_cast<uint64_t>(a.w[i]) + b.w[i] + carry;
    r.w[i] = static_cast<uint32_t>(s);
    carry = s >> 32;
  }
  return r;
}

template <int N>
Fixed<N> FxSub(const Fixed<N>& a, const Fixed<N>& b) {  // requires a >= b
  Fixed<N> r;
  uint64_t borrow = 0;
  for (int i = 0; i <= N; ++i) {
    const uint64_t d = static_cast<uint64_t>(a.w[i]) - b.w[i] - borrow;
    r.w[i] = static_cast<uint32_t>(d);
    borrow = (d >> 63) & 1;
  }
  return r;
}

template <int N>
bool FxLess(const Fixed<N>& a, const Fixed<N>& b) {
  for (int i = N; i >= 0; --i) {
    if (a.w[i] != b.w[i]) return a.w[i] < b.w[i];
  }
  return false;
}

template <int N>
bool FxIsZero(const Fixed<N>& a) {
  for (int i = 0; i <= N; ++i) {
    if (a.w[i]) return false;
  }
  return true;
}

// Product truncated to N fractional limbs: error < 1 unit (integer part must not overflow).
template <int N>
Fixed<N> FxMul(const Fixed<N>& a, const Fixed<N>& b) {
  uint32_t t[2 * N + 2] = {};
  for (int i = 0; i <= N; ++i) {
    uint64_t carry = 0;
    for (int j = 0; j <= N; ++j) {
      const uint64_t cur = static_cast<uint64_t>(a.w[i]) * b.w[j] + t[i + j] + carry;
      t[i + j] = static_cast<uint32_t>(cur);
      carry = cur >> 32;
    }
    t[i + N + 1] = static_cast<uint32_t>(carry);
  }
  Fixed<N> r;
  for (int i = 0; i <= N; ++i) r.w[i] = t[i + N];
  return r;
}

template <int N>
Fixed<N> FxMulSmall(const Fixed<N>& a, uint32_t k) {  // exact (no overflow assumed)
  Fixed<N> r;
  uint64_t carry = 0;
  for (int i = 0; i <= N; ++i) {
    const uint64_t cur = static_cast<uint64_t>(a.w[i]) * k + carry;
    r.w[i] = static_cast<uint32_t>(cur);
    carry = cur >> 32;
  }
  return r;
}

template <int N>
Fixed<N> FxDivSmall(const Fixed<N>& a, uint32_t k) {  // error < 1 unit
  Fixed<N> r;
  uint64_t rem = 0;
  for (int i = N; i >= 0; --i) {
    const uint64_t cur = (rem << 32) | a.w[i];
    r.w[i] = static_cast<uint32_t>(cur / k);
    rem = cur % k;
  }
  return r;
}

template <int N>
Fixed<N> FxShiftRight(const Fixed<N>& a, int bits) {  // error < 1 unit
  Fixed<N> r{};
  const int limbs = bits / 32, b = bits % 32;
  for (int i = 0; i + limbs <= N; ++i) {
    uint64_t v = a.w[i + limbs];
    if (i + limbs + 1 <= N) v |= static_cast<uint64_t>(a.w[i + limbs + 1]) << 32;
    r.w[i] = static_cast<uint32_t>(v >> b);
  }
  return r;
}

template <int N>
bool FxBit(const Fixed<N>& a, int pos) {
  return (a.w[pos / 32] >> (pos % 32)) & 1;
}

// Sets *out = RN(a) (a > 0, < 2^32, with at least 2^70 units). Returns false if a is
// within err_units (< 2^31) of a midpoint between two doubles, i.e. if the exact value, known to
// lie within err_units of a, might round either way.
template <int N>
bool FxRound(const Fixed<N>& a, uint32_t err_units, double* out) {
  int top = 32 * N + 31;
  while (!FxBit(a, top)) --top;
  const int rb = top - 53;  // rounding bit; bits [0, rb) are the rest
  uint64_t m = 0;
  for (int p = top; p > rb; --p) m = (m << 1) | (FxBit(a, p) ? 1 : 0);
  const bool round_bit = FxBit(a, rb);
  // The distance to the midpoint is rest = bits [0, rb) if round_bit is set, else 2^rb - rest.
  // As rb > 32, it is <= err_units iff every bit of rest from 32 up equals !round_bit and the low
  // word w[0] is <= err_units (round_bit set) or 2^32 - 1 - w[0] < err_units (clear).
  bool near = true;
  for (int p = 32; p < rb && near; ++p) near = FxBit(a, p) != round_bit;
  const bool undecided = near && (round_bit ? a.w[0] <= err_units : ~a.w[0] < err_units);
  if (round_bit) ++m;
  if (m >> 53) {
    m >>= 1;
    ++top;
  }
  *out = FromBits((static_cast<uint64_t>(top - 32 * N + 1023) << 52) | (m & kMantMask));
  return !undecided;  // *out is the rounding of a either way
}

// asin(y) for 0 <= y <= 1/2 (+ a few units): sum of (2n)! / (4^n n!^2 (2n+1)) y^(2n+1).
// t_n = t_{n-1} y^2 (2n - 1) / (2n) is computed with error < 4 units (each step adds < 3 and
// scales the previous error by < 1/4); the sum thus gains < 3 units per term, < 32 N terms.
template <int N>
Fixed<N> FxAsin(const Fixed<N>& y) {
  const Fixed<N> y2 = FxMul(y, y);
  Fixed<N> t = y, sum = y;
  for (uint32_t n = 1;; ++n) {
    t = FxDivSmall(FxMulSmall(FxMul(t, y2), 2 * n - 1), 2 * n);
    if (FxIsZero(t)) break;
    sum = FxAdd(sum, FxDivSmall(t, 2 * n + 1));
  }
  return sum;
}

// acos(x) for 1/2 < |x| < 1 needs s = sqrt((1 - |x|) / 2): with u = (1 - |x|) / 2 = u' 4^-k,
// u' in [1/4, 1), r ~ 1/sqrt(u') starts from double precision and doubles its accuracy with each
// r <- r (3 - u' r^2) / 2 (self-correcting: the final error is a few units); s = (u' r) 2^-k.
template <int N>
Fixed<N> FxSqrtSmall(double u) {
  const int e = static_cast<int>(Bits(u) >> 52) - 1023;  // u in [2^e, 2^(e+1)), e <= -2
  const int k = (-e - 1) / 2;
  const double up = u * FromBits(static_cast<uint64_t>(1023 + 2 * k) << 52);  // exact
  const Fixed<N> uf = FxFromDouble<N>(up);
  Fixed<N> r = FxFromDouble<N>(1.0 / std::sqrt(up));
  const Fixed<N> three = FxFromDouble<N>(3.0);
  for (int bits = 50; bits < 2 * 32 * N + 64; bits *= 2) {
    const Fixed<N> ur2 = FxMul(uf, FxMul(r, r));
    r = FxShiftRight(FxMul(r, FxSub(three, ur2)), 1);
  }
  return FxShiftRight(FxMul(uf, r), k);
}

// Accurate acos with N fractional limbs; false if N limbs could not decide the rounding.
// Error: asin series < 3 * 32 N units (+ 1.2 x the error of its argument: < 8 units from the
// square root); doubling, pi/2 and pi add < 4 units. We test with 2^13 units.
template <int N>
bool AcosAccurate(double x, double* out) {
  const double ax = x < 0 ? -x : x;
  Fixed<N> r;
  if (ax <= 0.5) {
    const Fixed<N> a = FxAsin(FxFromDouble<N>(ax));
    const Fixed<N> hp = FxConst<N>(kHalfPiLimbs);
    r = x < 0 ? FxAdd(hp, a) : FxSub(hp, a);
  } else {
    const Fixed<N> a = FxAsin(FxSqrtSmall<N>((1.0 - ax) * 0.5));
    const Fixed<N> a2 = FxAdd(a, a);
    r = x < 0 ? FxSub(FxConst<N>(kPiLimbs), a2) : a2;
  }
  return FxRound(r, 1u << 13, out);
}

// Accurate |cos| for 2^-27 <= ax <= 8 and k = round(ax 2/pi) (any k with |ax - k pi/2| < 0.9).
// Taylor series of sin or cos of |r| < 0.9: each term < 3 units of error, < 32 N terms; the
// reduction adds k units. We test with 2^13 units. |cos x| > 2^-55 here, so far above 2^70 units.
template <int N>
bool CosAccurate(double ax, int k, double* out) {
  const Fixed<N> xf = FxFromDouble<N>(ax);
  const Fixed<N> kp = FxMulSmall(FxConst<N>(kHalfPiLimbs), static_cast<uint32_t>(k));
  const bool r_neg = FxLess(xf, kp);
  const Fixed<N> r = r_neg ? FxSub(kp, xf) : FxSub(xf, kp);
  // |cos x| = sin r (k odd) or cos r (k even); the caller applies the sign.
  const bool use_sin = k & 1;
  const Fixed<N> r2 = FxMul(r, r);
  Fixed<N> t = use_sin ? r : FxFromDouble<N>(1.0);
  Fixed<N> pos = t, neg{};
  bool subtract = true;
  for (uint32_t n = use_sin ? 2 : 1;; n += 2, subtract = !subtract) {
    t = FxDivSmall(FxDivSmall(FxMul(t, r2), n), n + 1);
    if (FxIsZero(t)) break;
    if (subtract) {
      neg = FxAdd(neg, t);
    } else {
      pos = FxAdd(pos, t);
    }
  }
  return FxRound(FxSub(pos, neg), 1u << 13, out);
}

// ---------------------------------------------------------------------------------------------
// Arc cosine.
//
// acos(x) = pi/2 - asin(x) for |x| <= 1/2; for |x| > 1/2, with s = sqrt((1 - |x|) / 2) <= 1/2
// (1 - |x| and the halving are exact), acos(x) = 2 asin(s) (x > 0) or pi - 2 asin(s) (x < 0).
// s = sh + sl as a double-double: sh = sqrt(u) (IEEE), sl = (u - sh^2) / (2 sh) with sh^2 exact,
// relative error < 2^-104.
// asin(y), y = yh + yl in [0, 1/2]: i = round(32 yh), d = yh - i/32 (exact, |d| <= 2^-6) and
//   asin(y) = A0 + d T + yl (A1 + 2 A2 d),  T = A1 + A2 d + d^2 H3,  H3 = A3 + A4 d + ... + A13 d^10,
// A0, A1, A2 double-double, d A2 exact (TwoProd), H3 in double (Estrin). Absolute error budget,
// for the worst interval (i = 16, |H3| < 0.56): truncation 2^-77.4; H3 rounding and coefficient
// rounding (relative 2^-52 of |d^3 H3| <= 2^-18.8) 2^-70.8; roundings in T's low part (|d^2 H3| <=
// 2^-12.8, times d) 3 * 2^-72.8; the rest below 2^-75. Total < 2^-69.2 absolute on asin; the
// errors scale with A3 ~ the size of asin for small i, so relative to the result acos (>= 2^-26.5)
// the error is < 2^-67.5 in every case (checker: measured maximum below 2^-69). kAcosErr = 2^-67.
constexpr double kAcosErr = 0x1p-67 * kWiden;

template <bool kFma>
CRV_ALWAYS_INLINE void AsinTable(double yh, double yl, const double** row, double* ph,
                                 double* pl) {
  // i = round(32 yh) by adding 1.5 * 2^52 (ulp 1): the integer is in the sum's low bits.
  const double it = yh * 32 + kRoundToInt;
  const double* a = kAsinTable[Bits(it) & 0x1f];
  const double d = yh - (it - kRoundToInt) * (1.0 / 32);
  const double d2 = d * d, d4 = d2 * d2, d8 = d4 * d4;
  const double h3 = ((a[6] + d * a[7]) + d2 * (a[8] + d * a[9])) +
                    d4 * ((a[10] + d * a[11]) + d2 * (a[12] + d * a[13])) +
                    d8 * ((a[14] + d * a[15]) + d2 * a[16]);
  const double w = d * h3;
  double ul, tl;
  const double uh = TwoProd<kFma>(d, a[4], &ul);
  const double th = FastTwoSum(a[2], uh, &tl);  // a[2] = A1 >= 1 > |uh|
  tl += a[3] + ul + d * (a[5] + w);
  *row = a;
  *ph = TwoProd<kFma>(d, th, pl);
  *pl += d * tl + yl * (a[2] + 2 * uh);
}

// acos x = c + f asin(y): c = pi/2, f = -sign(x), y = |x| for |x| <= 1/2; otherwise y = s,
// f = 2 sign(x), c = 0 (x > 0) or pi (x < 0). c + f A0 is formed by TwoSum while the polynomial
// runs (f A0 is exact), and then one FastTwoSum adds f (d T): |c + f A0| >= pi/2 - asin(1/2) >
// 1 > |f d T| for |x| <= 1/2 and x < 0; for x > 1/2 it is 2 A0 >= 2/32 > |2 d T|, or A0 = 0.
// The sign is applied by multiplying by f, not by a branch, which the solver's arguments would
// mispredict half the time.
template <bool kFma>
CRV_ALWAYS_INLINE double AcosImpl(double x) {
  const uint64_t ux = Bits(x);
  const uint64_t abits = ux & ~kSignMask;
  const uint64_t sign = ux & kSignMask;
  if (abits >= 0x3ff0000000000000ULL) {  // |x| >= 1 or NaN
    if (abits == 0x3ff0000000000000ULL) return sign ? kPiHi : 0.0;
    return (x - x) / (x - x);  // NaN (invalid) for |x| > 1, +-inf and NaN
  }
  const double ax = FromBits(abits);
  double yh = ax, yl = 0.0, c_hi = kHalfPiHi, c_lo = kHalfPiLo;
  double f = FromBits(Bits(1.0) | (sign ^ kSignMask));  // -sign(x)
  if (ax > 0.5) {
    const double u = (1.0 - ax) * 0.5;
    yh = std::sqrt(u);
    double e;
    const double p = TwoProd<kFma>(yh, yh, &e);
    yl = ((u - p) - e) / (yh + yh);
    const uint64_t keep = 0 - (sign >> 63);  // all ones for x < 0
    c_hi = FromBits(Bits(kPiHi) & keep);
    c_lo = FromBits(Bits(kPiLo) & keep);
    f = FromBits(Bits(2.0) | sign);
  }
  const double* a;
  double ph, pl;
  AsinTable<kFma>(yh, yl, &a, &ph, &pl);
  double bl, rl;
  const double bh = TwoSum(c_hi, f * a[0], &bl);
  bl += c_lo + f * a[1];
  const double rh = FastTwoSum(bh, f * ph, &rl);
  rl += bl + f * pl;
  double out;
  if (RoundsSame(rh, rl, rh * (2 * kAcosErr), &out)) return out;
  CRV_COUNT_SLOW(g_acos_slow);
  if (AcosAccurate<8>(x, &out)) return out;
  AcosAccurate<24>(x, &out);  // 768 bits; *out is its rounding even if undecided
  return out;
}

// ---------------------------------------------------------------------------------------------
// Cosine.
//
// |x| < 2^-27: 1 - x^2/2 > 1 - 2^-55 is above the midpoint 1 - 2^-54, so the result is 1.
// Otherwise k = round(|x| 2/pi) <= 5 and r = |x| - k pi/2 (Cody-Waite with the three-part pi/2:
// |x| - k P1 and k P1, k P2 are exact): r = rh + rl with absolute error < 2^-99.6, relative error
// < 2^-79 (|r| >= 2^-20) or < 2^-100 (|r| < 2^-20, through TwoSum; |r| >= 2^-53.8, the closest
// double to an odd multiple of pi/2 up to 5 pi/2, found with mpmath). cos x = +-cos r or +-sin r
// by the quadrant. With j ~ 64 |r|, delta = |r| - j/64 (|delta| <= 2^-7 + 2^-46.6), and
// S, C = sin, cos(j/64) as double-doubles:
//   sin|r| = S + C delta - S cm + C sm,   cos|r| = C - S delta - C cm - S sm,
//   cm = 1 - cos delta = delta^2 (1/2 - delta^2/24 + ... + delta^8/10!)   (omitted < 2^-84 cm)
//   sm = sin delta - delta = delta^3 (-1/6 + delta^2/120 - ... + delta^6/9!) (omitted < 2^-58 sm)
// written result = a + b delta - a cm + b sm, b delta an exact double-double product. The error
// is carried by the two small terms a cm and b sm: each is computed with relative error < 2^-51
// (cm, sm; < 2^-50.7 with the product) and enters a low part whose last two roundings add 2^-53
// of their sum each, so B < 2^-50.2 (|a cm| + |b sm|) + 2^-77.5 |result| (the reduction and the
// rounding of b dl, 2^-79 each; what the series leave out of dl's terms, < 2^-88 absolute, so
// < 2^-81 of a result >= 2^-7, and far less for j = 0 of sin; the table 2^-105). The rounding
// test takes b' = 2^-49 (|a cm| + |b sm|) + 2^-76 res_hi >= B + ulp(lo +- b') (|lo| < |a cm| +
// |b sm| + 2^-52 res_hi), so hi + lo need not be renormalised. Sized by the terms (a cm <= 2^-15
// of the result but for j = 1 of sin, up to 2^-14), it is on average some 2^-66 of the result.
constexpr double kCosErrTerms = 0x1p-49, kCosErrRest = 0x1p-76;

// kQuadrant >= 0: the caller guarantees round(|x| 2/pi) == kQuadrant, and the reduction takes it
// as a constant. Every value computed is then the one the general path computes (it would find
// the same k), so the result is the same bits.
template <bool kFma, int kQuadrant = -1>
CRV_ALWAYS_INLINE double CosImpl(double x) {
  const uint64_t abits = Bits(x) & ~kSignMask;
  assert(!(FromBits(abits) > 8.0) && "ExactCos: |x| <= 8 required");
  if (abits < 0x3e40000000000000ULL) return 1.0;  // |x| < 2^-27
  if (abits >= kExpMask) return x - x;            // +-inf, NaN
  const double ax = FromBits(abits);
  // k is rounded by adding 1.5 * 2^52, whose ulp is 1: the sum's low bits are the integer, and
  // subtracting the constant again gives it as a double, without a float-to-integer conversion
  // and back on the critical path. j below is rounded the same way, to a multiple of 1/64.
  int k = kQuadrant;
  double kd = kQuadrant;
  if (kQuadrant < 0) {
    const double kt = ax * 0.63661977236758134 + kRoundToInt;
    k = static_cast<int>(Bits(kt) & 0xf);
    kd = kt - kRoundToInt;
  }
  // r = a - k P2 - k P3 with a = |x| - k P1 exact. Away from a zero of cos (|a| >= 2^-20) the
  // tail is simply added up: k P2 is exact, so rl = RN(-k P2 - k P3) errs by < 2^-99.6 (|rl| <
  // 2^-46.6), under 2^-79 relative to r. Nearer a zero, TwoSum keeps the 2^-100 relative error.
  // Either way |rl| < 2^-26 |rh|, so rh has r's sign.
  const double a = ax - kd * kHalfPi1;
  double rh = a, rl = -(kd * kHalfPi2) - kd * kHalfPi3;
  if (std::fabs(a) < 0x1p-20) {
    rh = TwoSum(a, -(kd * kHalfPi2), &rl);
    rl -= kd * kHalfPi3;
  }
  // |r|: rh's sign bit cleared, rl's flipped with it (off the critical path).
  const uint64_t r_sign = Bits(rh) & kSignMask;
  const bool r_neg = r_sign != 0;
  rh = std::fabs(rh);
  rl = FromBits(Bits(rl) ^ r_sign);
  // delta = dh + dl with dh = rh - j/64 exact and dl = rl, not renormalised (|dl| may exceed |dh|;
  // the series below take dl to first order). j may be off by one from round(64 |r|), so
  // |delta| <= 2^-7 + 2^-46.6, inside the margins below.
  const double jt = rh + kRoundToSixtyFourth;
  const double* t = kSinCosTable[Bits(jt) & 0x3f];
  const double dh = rh - (jt - kRoundToSixtyFourth);
  const double dl = rl;
  const double d2 = dh * dh;
  const double d4 = d2 * d2;
  // cm and sm at dh, plus dl times their derivatives there, sin dh and -cm(dh), each to two
  // terms (dl is up to 2^-46.6; what is left out is below 2^-88).
  const double cm = d2 * ((0.5 - d2 * (1.0 / 24)) + d4 * ((1.0 / 720 - d2 * (1.0 / 40320)) +
                                                          d4 * (1.0 / 3628800))) +
                    (dh - dh * d2 * (1.0 / 6)) * dl;
  const double sm = d2 * dh * ((-1.0 / 6 + d2 * (1.0 / 120)) +
                               d4 * (-1.0 / 5040 + d2 * (1.0 / 362880))) -
                    (0.5 * d2 - d4 * (1.0 / 24)) * dl;
  // k odd: |cos x| = sin|r|; k even: |cos x| = cos|r|.
  const int use_sin = k & 1;
  const double a_hi = t[2 - 2 * use_sin], a_lo = t[3 - 2 * use_sin];  // S or C
  const uint64_t b_sign = static_cast<uint64_t>(1 - use_sin) << 63;     // C or -S
  const double b_hi = FromBits(Bits(t[2 * use_sin]) ^ b_sign);
  const double b_lo = FromBits(Bits(t[2 * use_sin + 1]) ^ b_sign);
  // result = a + b delta - a cm + b sm
  double pl;
  const double ph = TwoProd<kFma>(b_hi, dh, &pl);
  pl += b_hi * dl + b_lo * dh;
  // |a| >= |ph|: a = C(j/64) >= 0.69 > 2^-7 >= |S delta|; a = S(j/64) >= 2^-6.01 > |C delta| for
  // j >= 1, and a = 0 for j = 0.
  double res_lo;
  const double res_hi = FastTwoSum(a_hi, ph, &res_lo);
  const double acm = a_hi * cm, bsm = b_hi * sm;  // the two terms that carry the error
  res_lo = ((res_lo + (a_lo + pl)) + bsm) - acm;
  // The bound (see above), from the terms' own sizes rather than the worst case.
  const double bound = ((std::fabs(acm) + std::fabs(bsm)) * kCosErrTerms +
                        res_hi * kCosErrRest) * kWiden;
  // Sign: k mod 4 = 0: cos r; 1: -sin r' ; 2: -cos r; 3: sin r', with r' = +-|r|.
  const bool negative = use_sin ? (((k & 3) == 1) != r_neg) : ((k & 3) == 2);
  double out;
  if (!RoundsSame(res_hi, res_lo, bound, &out)) {
    CRV_COUNT_SLOW(g_cos_slow);
    if (!CosAccurate<8>(ax, k, &out)) CosAccurate<24>(ax, k, &out);
  }
  return FromBits(Bits(out) ^ (static_cast<uint64_t>(negative) << 63));
}

// ---------------------------------------------------------------------------------------------
// Dispatch. The fused products change no bit (see TwoProd), so each build may pick either form:
// the fused one wherever every processor of the target has it, a run-time choice on x86-64 (where
// a processor may lack it; the check is made once, at load), the portable one elsewhere.

#if !defined(CRV_EXACT_MATH_PORTABLE) && (defined(__aarch64__) || defined(__FMA__))
#define CRV_FMA_ALWAYS 1
#elif !defined(CRV_EXACT_MATH_PORTABLE) && defined(__x86_64__) && defined(__ELF__) && \
    defined(__GNUC__)
#define CRV_FMA_AT_RUN_TIME 1
#endif

// The two forms of each function, for Dispatch.
struct AcosForms {
  template <bool kFma>
  static CRV_ALWAYS_INLINE double Run(double x) { return AcosImpl<kFma>(x); }
};
template <int kQuadrant>
struct CosForms {
  template <bool kFma>
  static CRV_ALWAYS_INLINE double Run(double x) { return CosImpl<kFma, kQuadrant>(x); }
};

#if defined(CRV_FMA_AT_RUN_TIME)
// Zero until the library's initialisers run: a call before then takes the portable form.
const bool g_has_fma = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("fma") != 0;
}();

template <class Forms>
__attribute__((target("fma"))) double FusedForm(double x) {
  return Forms::template Run<true>(x);
}
#endif

template <class Forms>
double Dispatch(double x) {
#if defined(CRV_FMA_ALWAYS)
  return Forms::template Run<true>(x);
#elif defined(CRV_FMA_AT_RUN_TIME)
  return g_has_fma ? FusedForm<Forms>(x) : Forms::template Run<false>(x);
#else
  return Forms::template Run<false>(x);
#endif
}

}  // namespace

double ExactAcos(double x) { return Dispatch<AcosForms>(x); }

double ExactCos(double x) { return Dispatch<CosForms<-1>>(x); }

double ExactCosThirdQuadrant(double x) {
  // NaN passes (an arc cosine outside [-1, 1] makes one) and gives NaN, as ExactCos does.
  assert(!(std::fabs(x - 4.71238898038469) >= 0.78) && "ExactCosThirdQuadrant: x near 3 pi/2");
  return Dispatch<CosForms<3>>(x);
}

}  // namespace crv
