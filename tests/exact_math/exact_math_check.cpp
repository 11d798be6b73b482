// Checks ExactCbrt, ExactAcos, ExactCos and ExactCosThirdQuadrant against MPFR's correctly rounded results.
//
// Usage: exact_math_check [--count N] [--seed S] [--only cbrt|acos|cos|cos-third]
// Prints, per function, the number of arguments, misrounded results, a hash of all results (equal
// across compilers and optimisation levels iff the results are bit-identical) and, in builds with
// -DCRV_EXACT_MATH_STATS, how many arguments failed the fast path's rounding test. Exits 1 if any
// result is misrounded.
#include <mpfr.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/exact_math.h"

#ifdef CRV_EXACT_MATH_STATS
namespace crv {
extern std::atomic<long> g_cbrt_slow, g_acos_slow, g_cos_slow;
}
#endif

namespace {

uint64_t Bits(double x) {
  uint64_t u;
  std::memcpy(&u, &x, sizeof u);
  return u;
}
double FromBits(uint64_t u) {
  double x;
  std::memcpy(&x, &u, sizeof x);
  return x;
}

struct Rng {  // splitmix64: seeded, reproducible, identical everywhere.
  uint64_t s;
  uint64_t Next() {
    uint64_t z = (s += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
  }
  uint64_t Below(uint64_t n) { return Next() % n; }  // bias irrelevant here
  double Unit() { return static_cast<double>(Next() >> 11) * 0x1p-53; }  // [0, 1), exact
  int64_t Ulps(int64_t max) { return static_cast<int64_t>(Below(2 * max + 1)) - max; }
  // Log-uniform integer in [0, 2^bits).
  uint64_t LogUniform(int bits) {
    const int b = static_cast<int>(Below(bits + 1));
    return b == 0 ? 0 : Next() >> (64 - b);
  }
};

// Moves x by k ulps along the bit patterns of |x| (keeps the sign, clamps at 0).
double AddUlps(double x, int64_t k) {
  const uint64_t u = Bits(x), sign = u & 0x8000000000000000ULL, a = u ^ sign;
  const int64_t v = static_cast<int64_t>(a) + k;
  return FromBits((v < 0 ? 0 : static_cast<uint64_t>(v)) | sign);
}

mpfr_t g_x, g_y;

double Ref(int (*f)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t), double x) {
  mpfr_set_d(g_x, x, MPFR_RNDN);
  int t = f(g_y, g_x, MPFR_RNDN);
  t = mpfr_subnormalize(g_y, t, MPFR_RNDN);
  return mpfr_get_d(g_y, MPFR_RNDN);
}

bool SameResult(double a, double b) {
  if (a != a || b != b) return a != a && b != b;
  return Bits(a) == Bits(b);
}

uint64_t HashStep(uint64_t h, double r) {
  const uint64_t v = r != r ? 0x7ff8000000000000ULL : Bits(r);
  for (int i = 0; i < 8; ++i) h = (h ^ ((v >> (8 * i)) & 0xff)) * 0x100000001b3ULL;
  return h;
}

// --- argument generators -----------------------------------------------------------------------

double CbrtArg(Rng& g, uint64_t i) {
  switch (i % 6) {
    case 0:  // Uniform over all bit patterns (includes NaN, inf, subnormals, negatives).
      return FromBits(g.Next());
    case 1: {  // Solver shape: log-uniform magnitudes ~1e-6 .. 1e3.
      const int e = static_cast<int>(g.Below(31)) - 20;
      return FromBits((static_cast<uint64_t>(1023 + e) << 52) | (g.Next() >> 12));
    }
    case 2: {  // Exact cubes (17-bit mantissa) and neighbours +-1..4 ulps.
      const int e = static_cast<int>(g.Below(680)) - 340;
      const double y = FromBits((static_cast<uint64_t>(1023 + e) << 52) | ((g.Next() >> 47) << 35));
      const double x = y * y * y;  // exact: 51-bit product, normal range
      const double s = (g.Next() & 1) ? -x : x;
      return AddUlps(s, g.Ulps(4));
    }
    case 3: {  // Near-midpoint cases: x = RN(M^3), M a midpoint between doubles, scaled by 2^(3q).
      const double r = FromBits(0x3ff0000000000000ULL | (g.Next() >> 12));
      mpfr_t m;
      mpfr_init2(m, 200);
      mpfr_set_d(m, r, MPFR_RNDN);
      mpfr_add_d(m, m, 0x1p-53, MPFR_RNDN);
      mpfr_pow_ui(m, m, 3, MPFR_RNDN);
      double x = mpfr_get_d(m, MPFR_RNDN);
      mpfr_clear(m);
      const int q = static_cast<int>(g.Below(600)) - 300;
      x = FromBits(Bits(x) + (static_cast<uint64_t>(static_cast<int64_t>(3 * q)) << 52));
      return AddUlps(x, g.Ulps(1));
    }
    case 4: {  // Powers of two +- ulps, subnormal boundaries, huge values.
      const uint64_t k = g.Below(4);
      double x;
      if (k == 0) {
        x = FromBits(static_cast<uint64_t>(g.Below(2046) + 1) << 52);
      } else if (k == 1) {
        x = FromBits(g.Below(2) ? 1 : 0x0010000000000000ULL);  // min subnormal / min normal
      } else if (k == 2) {
        x = FromBits(0x7fefffffffffffffULL);  // DBL_MAX
      } else {
        x = FromBits(g.Next() & 0x000fffffffffffffULL);  // random subnormal
      }
      x = AddUlps(x, g.Ulps(4));
      return (g.Next() & 1) ? -x : x;
    }
    default: {  // Specials.
      static const double kSpecial[] = {0.0, -0.0, 1.0, -1.0, 8.0, 27.0, 1e300};
      const uint64_t k = g.Below(10);
      if (k < 7) return kSpecial[k];
      if (k == 7) return FromBits(0x7ff0000000000000ULL | (g.Next() & 0x8000000000000000ULL));
      return FromBits(0x7ff0000000000001ULL | g.Next());  // NaN with random payload/sign
    }
  }
}

double AcosArg(Rng& g, uint64_t i) {
  switch (i % 6) {
    case 0: {  // Uniform over the bit patterns of [-1, 1].
      const double x = FromBits(g.Below(0x3ff0000000000001ULL));
      return (g.Next() & 1) ? -x : x;
    }
    case 1:  // Uniform in value over [-1, 1].
      return 2 * g.Unit() - 1;
    case 2: {  // Within many ulps of +-1.
      const double x = 1.0 - static_cast<double>(g.LogUniform(40)) * 0x1p-53;
      return (g.Next() & 1) ? -x : x;
    }
    case 3: {  // Around 0 (all exponents) and around +-1/2 (a branch point).
      double x;
      if (g.Next() & 1) {
        x = FromBits(g.Below(0x3fe0000000000000ULL));
      } else {
        x = AddUlps(0.5, g.Ulps(1 << 20));
      }
      return (g.Next() & 1) ? -x : x;
    }
    case 4: {  // Solver shape: values near +-1 and 0 in value terms.
      const double u = g.Unit() * g.Unit() * 0.1;
      const uint64_t k = g.Below(3);
      return k == 0 ? 1 - u : (k == 1 ? u - 1 : (g.Unit() - 0.5) * 1e-3);
    }
    default: {  // Outside the domain, specials.
      static const double kSpecial[] = {0.0, -0.0, 1.0, -1.0, 0.5, -0.5};
      const uint64_t k = g.Below(10);
      if (k < 6) return kSpecial[k];
      if (k == 6) return AddUlps((g.Next() & 1) ? 1.0 : -1.0, static_cast<int64_t>(g.Below(4) + 1));
      if (k == 7) return FromBits(0x3ff0000000000000ULL + g.Below(0x4000000000000000ULL)) *
                         ((g.Next() & 1) ? -1 : 1);
      if (k == 8) return (g.Next() & 1) ? 1.0 / 0.0 : -1.0 / 0.0;
      return FromBits(0x7ff0000000000001ULL | g.Next());
    }
  }
}

// RN(k pi / 2).
double RoundedHalfPiMultiple(uint64_t k) {
  mpfr_t p;
  mpfr_init2(p, 300);
  mpfr_const_pi(p, MPFR_RNDN);
  mpfr_mul_ui(p, p, k, MPFR_RNDN);
  mpfr_div_2ui(p, p, 1, MPFR_RNDN);
  const double r = mpfr_get_d(p, MPFR_RNDN);
  mpfr_clear(p);
  return r;
}

double CosArg(Rng& g, uint64_t i) {
  static const double kPiOver2 = 1.5707963267948966;
  switch (i % 6) {
    case 0: {  // Uniform over the bit patterns of [-8, 8].
      const double x = FromBits(g.Below(Bits(8.0) + 1));
      return (g.Next() & 1) ? -x : x;
    }
    case 1:  // Uniform in value over [0, 8].
      return 8 * g.Unit();
    case 2: {  // Near zeros (k odd) and extrema (k even) of cos: k pi/2 +- many ulps, k = 0..5.
      const uint64_t k = g.Below(6);
      const double c = k == 0 ? 0x1p-26 : RoundedHalfPiMultiple(k);
      const int64_t n = static_cast<int64_t>(g.LogUniform(36));
      const double x = AddUlps(c, (g.Next() & 1) ? n : -n);
      return (g.Next() & 1) ? -x : x;
    }
    case 3: {  // Solver shape: (theta + 2 pi j) / 3, theta in [0, pi].
      const double theta = g.Unit() * 3.141592653589793;
      const uint64_t j = g.Below(3);
      return (theta + static_cast<double>(j) * 6.283185307179586) / 3;
    }
    case 4: {  // Small arguments, every exponent.
      return FromBits(g.Below(Bits(0.125)));
    }
    default: {
      static const double kSpecial[] = {0.0, -0.0, 8.0, -8.0, 0x1p-27, 0x1p-26, kPiOver2};
      const uint64_t k = g.Below(9);
      if (k < 7) {
        const int64_t n = g.Ulps(2);
        return AddUlps(kSpecial[k], k == 2 || k == 3 ? -(n < 0 ? -n : n) : n);  // stay in |x| <= 8
      }
      return FromBits(0x7ff0000000000001ULL | g.Next());
    }
  }
}

// The cosine of the solver's third angle, (theta + 4 pi) / 3 in [4 pi/3, 5 pi/3]: its shape, the
// bit patterns of the interval, and the zero at 3 pi/2.
double CosThirdArg(Rng& g, uint64_t i) {
  static const double kLow = 4.1887902047863905, kHigh = 5.235987755982989;
  switch (i % 3) {
    case 0:
      return (g.Unit() * 3.141592653589793 + 12.566370614359172) / 3;
    case 1:
      return FromBits(Bits(kLow) + g.Below(Bits(kHigh) - Bits(kLow) + 1));
    default: {
      const int64_t n = static_cast<int64_t>(g.LogUniform(36));
      return AddUlps(RoundedHalfPiMultiple(3), (g.Next() & 1) ? n : -n);
    }
  }
}

}  // namespace

struct Func {
  const char* name;
  double (*mine)(double);
  int (*ref)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
  double (*arg)(Rng&, uint64_t);
  long (*slow)();
};

int main(int argc, char** argv) {
  uint64_t count = 10000000, seed = 1;
  std::string only;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--count" && i + 1 < argc) {
      count = std::strtoull(argv[++i], nullptr, 10);
    } else if (a == "--seed" && i + 1 < argc) {
      seed = std::strtoull(argv[++i], nullptr, 10);
    } else if (a == "--only" && i + 1 < argc) {
      only = argv[++i];
    } else {
      std::fprintf(stderr, "usage: %s [--count N] [--seed S] [--only cbrt|acos|cos|cos-third]\n", argv[0]);
      return 2;
    }
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  mpfr_set_emin(-1073);  // double's exponent range, for mpfr_subnormalize
  mpfr_set_emax(1024);
  mpfr_init2(g_x, 53);
  mpfr_init2(g_y, 53);

#ifdef CRV_EXACT_MATH_STATS
  auto slow_cbrt = [] { return crv::g_cbrt_slow.load(); };
  auto slow_acos = [] { return crv::g_acos_slow.load(); };
  auto slow_cos = [] { return crv::g_cos_slow.load(); };
#else
  auto slow_cbrt = [] { return -1L; };
  auto slow_acos = slow_cbrt, slow_cos = slow_cbrt;
#endif
  const Func funcs[] = {
      {"cbrt", crv::ExactCbrt, mpfr_cbrt, CbrtArg, slow_cbrt},
      {"acos", crv::ExactAcos, mpfr_acos, AcosArg, slow_acos},
      {"cos", crv::ExactCos, mpfr_cos, CosArg, slow_cos},
      {"cos-third", crv::ExactCosThirdQuadrant, mpfr_cos, CosThirdArg, slow_cos},
  };
  bool ok = true;
  for (const Func& f : funcs) {
    if (!only.empty() && only != f.name) continue;
    Rng g{seed * 0x2545f4914f6cdd1dULL + static_cast<uint64_t>(f.name[1])};
    uint64_t bad = 0, hash = 0xcbf29ce484222325ULL;
    const long slow0 = f.slow();
    const auto t0 = std::chrono::steady_clock::now();
    for (uint64_t i = 0; i < count; ++i) {
      const double x = f.arg(g, i);
      const double mine = f.mine(x), ref = Ref(f.ref, x);
      hash = HashStep(hash, mine);
      if (!SameResult(mine, ref)) {
        if (++bad <= 10) {
          std::printf("  %s(%a) = %a, expected %a\n", f.name, x, mine, ref);
        }
      }
    }
    const double secs =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    const long slow = f.slow() - slow0;
    std::printf("%s: %llu arguments, %llu misrounded", f.name,
                static_cast<unsigned long long>(count), static_cast<unsigned long long>(bad));
    std::printf("  [hash %016llx, %.1f s", static_cast<unsigned long long>(hash), secs);
    if (slow >= 0) std::printf(", rounding test failed %ld times", slow);
    std::printf("]\n");
    if (bad) ok = false;
  }
  mpfr_clear(g_x);
  mpfr_clear(g_y);
  mpfr_free_cache();
  return ok ? 0 : 1;
}
