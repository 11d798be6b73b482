// `crv accuracy`: measures how far the library's answers lie from the mathematical quantities
// they approximate, on seeded families of curves, and writes the report accuracy.md with its
// plots. The references are computed independently in long double (64-bit mantissa, about 1e-19
// relative), so what the tables show is the library's error, not the reference's.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "catalogue/catalogue.h"
#include "commands.h"
#include "figure.h"
#include "output.h"

namespace crvtool {
namespace {

namespace fs = std::filesystem;
using LD = long double;

// M_PI is not standard C++: MinGW's <cmath> leaves it out in strict mode.
constexpr double kPi = 3.14159265358979323846;
constexpr int kCurvesPerFamily = 24;
constexpr int kTableSamples = 128;  // the tool's and the arc-length spline's table

// The catalogue's SplitMix64: the same sequence on every platform, unlike the std::
// distributions.
using Rng = crvcat::Rng;

// ---- References in long double

// Coordinate k of B (order 0), B' (1) or B'' (2) at t, by the Bernstein form.
LD Bez(const Curve& c, int k, LD t, int order = 0) {
  const LD p0 = c.At(0, k), p1 = c.At(1, k), p2 = c.At(2, k), p3 = c.At(3, k), u = 1 - t;
  if (order == 0) return u * u * u * p0 + 3 * u * u * t * p1 + 3 * u * t * t * p2 + t * t * t * p3;
  if (order == 1) return 3 * (u * u * (p1 - p0) + 2 * u * t * (p2 - p1) + t * t * (p3 - p2));
  return 6 * (u * (p2 - 2 * p1 + p0) + t * (p3 - 2 * p2 + p1));
}

LD Speed(const Curve& c, LD t) {
  LD sum = 0;
  for (int k = 0; k < c.Dims(); ++k) sum += Bez(c, k, t, 1) * Bez(c, k, t, 1);
  return std::sqrt(sum);
}

// Squared distance from B(t) to q (coordinates 0 .. dims - 1).
LD DistSq(const Curve& c, LD t, const double* q, int dims) {
  LD sum = 0;
  for (int k = 0; k < dims; ++k) sum += (Bez(c, k, t) - q[k]) * (Bez(c, k, t) - q[k]);
  return sum;
}

// 10-point Gauss-Legendre nodes and weights, found by Newton on the Legendre polynomial in long
// double rather than copied as decimal constants of double precision.
struct GaussLegendre {
  static constexpr int kN = 10;
  LD x[kN], w[kN];
  GaussLegendre() {
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
const GaussLegendre kGauss;

// Arc length from t0 to t1: adaptive Gauss-Legendre quadrature of |B'|, to 1e-18 of the whole
// (a hundredth of double precision; long double rounds at 5e-20).
LD Arc(const Curve& c, LD t0, LD t1) {
  auto f = [&](LD t) { return Speed(c, t); };
  const LD whole = kGauss.Rule(f, t0, t1);
  return kGauss.Adaptive(f, t0, t1, whole, 1e-18L * std::fabs(whole));
}

// The parameter at arc length s: Newton on Arc(0, t) = s, kept inside a bisection bracket
// (|B'| vanishes at a cusp).
LD TAtArc(const Curve& c, LD s, LD total) {
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
LD Solve(const Curve& c, int k, LD v) {
  LD lo = 0, hi = 1;
  for (int i = 0; i < 70; ++i) (Bez(c, k, (lo + hi) / 2) < v ? lo : hi) = (lo + hi) / 2;
  return (lo + hi) / 2;
}

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
void TrueBounds(const Curve& c, int k, LD* lo, LD* hi) {
  const LD p0 = c.At(0, k), p1 = c.At(1, k), p2 = c.At(2, k), p3 = c.At(3, k);
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

// ---- Families of curves

struct Family {
  std::string name, what;
  bool function;  // time on x, rising: the function-curve lookups apply
  std::vector<Curve> curves;
};

// Rotated by a random angle, scaled by 10^[lo, hi) and moved by up to that scale.
Curve Place(Rng& r, std::vector<double> xy, double lo, double hi) {
  const double a = r.Uniform(0, 2 * kPi), s = std::pow(10.0, r.Uniform(lo, hi));
  const double dx = s * r.Uniform(-1, 1), dy = s * r.Uniform(-1, 1);
  for (size_t i = 0; i < 8; i += 2) {
    const double x = xy[i], y = xy[i + 1];
    xy[i] = s * (x * std::cos(a) - y * std::sin(a)) + dx;
    xy[i + 1] = s * (x * std::sin(a) + y * std::cos(a)) + dy;
  }
  return Curve(2, xy);
}

std::vector<Family> Families(Rng& r) {
  std::vector<Family> f{
      {"easing",
       "easing curves (0,0) (x1,y1) (x2,y2) (1,1), all four handle coordinates in [0, 1]",
       true,
       {}},
      {"overshoot",
       "easing curves with x1, x2 in [0, 1] and y1 in [-1, 0), y2 in (1, 2]: values beyond [0, 1]",
       true,
       {}},
      {"remap", "time remaps: x and y both rising, over 1 to 1000 frames", true, {}},
      {"loops", "curves that cross themselves, rotated, scaled by 1 to 100", false, {}},
      {"cusps",
       "(-a,0) (a,h) (-a,h) (a,0), a cusp at t = 0.5 up to the rounding of rotation and scale",
       false,
       {}},
      {"straight",
       "near-straight curves: handles on the chord, off it by 1e-8 to 1e-2 of its length",
       false,
       {}},
      {"scaled",
       "random control points in the unit square, scaled by 1e-3 to 1e6: short and long curves",
       false,
       {}}};
  for (int i = 0; i < kCurvesPerFamily; ++i) {
    f[0].curves.push_back(
        Curve(2, {0, 0, r.Uniform(0, 1), r.Uniform(0, 1), r.Uniform(0, 1), r.Uniform(0, 1), 1, 1}));
    const double x1 = r.Uniform(0, 1), y1 = r.Uniform(-1, 0), x2 = r.Uniform(0, 1),
                 y2 = r.Uniform(1, 2);
    f[1].curves.push_back(Curve(2, {0, 0, x1, y1, x2, y2, 1, 1}));
    const double span = std::pow(10.0, r.Uniform(0, 3));
    double x[4] = {0, r.Uniform(0, span), r.Uniform(0, span), span},
           y[4] = {0, r.Uniform(0, span), r.Uniform(0, span), span * r.Uniform(0.2, 2)};
    std::sort(x, x + 4);
    std::sort(y, y + 4);
    f[2].curves.push_back(Curve(2, {x[0], y[0], x[1], y[1], x[2], y[2], x[3], y[3]}));
    const double o = r.Uniform(0.3, 1.5), h = r.Uniform(0.8, 2);
    f[3].curves.push_back(Place(r, {0, 0, 1 + o, h, -o, h, 1, 0}, 0, 2));
    const double a = r.Uniform(0.5, 2), ch = r.Uniform(0.5, 2);
    f[4].curves.push_back(Place(r, {-a, 0, a, ch, -a, ch, a, 0}, 0, 2));
    const double e = std::pow(10.0, r.Uniform(-8, -2));
    f[5].curves.push_back(Place(r,
                                {0, 0, r.Uniform(0.1, 0.5), e * r.Uniform(-1, 1),
                                 r.Uniform(0.5, 0.9), e * r.Uniform(-1, 1), 1, 0},
                                0, 2));
    std::vector<double> u(8);
    for (double& v : u) v = r.Uniform(0, 1);
    f[6].curves.push_back(Place(r, u, -3, 6));
  }
  return f;
}

// A 3-D curve from a 2-D one: z in +-half its largest extent.
Curve Lift(Rng& r, const Curve& c) {
  double extent = 0;
  for (int k = 0; k < 2; ++k)
    for (int i = 0; i < 4; ++i) extent = std::max(extent, std::fabs(c.At(i, k) - c.At(0, k)));
  std::vector<double> xyz;
  for (int i = 0; i < 4; ++i)
    xyz.insert(xyz.end(), {c.At(i, 0), c.At(i, 1), extent * r.Uniform(-0.5, 0.5)});
  return Curve(3, xyz);
}

// ---- The report

// The errors of one export on one family, and the input of the largest.
struct Stat {
  std::string family;
  std::vector<double> errors;
  double worst = -INFINITY;
  std::string input;
  template <class F>
  void Add(double e, F describe) {
    if (std::isnan(e)) e = INFINITY;
    errors.push_back(e);
    if (e > worst) worst = e, input = describe();
  }
};

struct Section {
  std::string title, how;
  std::vector<Stat> rows;
  Stat& Row(const std::string& family) {
    for (Stat& s : rows)
      if (s.family == family) return s;
    rows.push_back({family, {}, -INFINITY, ""});
    return rows.back();
  }
};

using Report = std::deque<Section>;  // a deque: sections stay put while more are added

Section& Add(Report& report, std::string title, std::string how) {
  report.push_back({std::move(title), std::move(how), {}});
  return report.back();
}

std::string In(const Curve& c) {
  std::string s;
  for (int i = 0; i < 4; ++i) s += (i ? " " : "") + Point(c.Point(i));
  return s;
}

std::string E(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3g", v);
  return buf;
}

// ---- Measurements

void MeasureEvaluation(Rng& r, const std::vector<Family>& families, Report& report) {
  Section& point = Add(report, "CRV_EvaluatePoint, CRV_EvaluateDeriv, CRV_EvaluateDeriv2",
                       "The largest coordinate error of B, B' and B'' at 16 random t in [0, 1], "
                       "against the Bernstein form.");
  Section& points = Add(report, "CRV_EvaluatePoints",
                        "B at 1001 even parameters by forward differencing: the largest coordinate "
                        "error over the run.");
  Section& bounds = Add(report, "CRV_EvaluateBounds",
                        "The largest error of a minimum or maximum against the true extrema (the "
                        "roots of B' polished by Newton).");
  for (const Family& f : families)
    for (const Curve& c : f.curves) {
      for (int i = 0; i < 16; ++i) {
        const double t = r.Uniform(0, 1);
        double out[3][2];
        Check(CRV_EvaluatePoint(c.Record(), t, out[0]), "CRV_EvaluatePoint");
        Check(CRV_EvaluateDeriv(c.Record(), t, out[1]), "CRV_EvaluateDeriv");
        Check(CRV_EvaluateDeriv2(c.Record(), t, out[2]), "CRV_EvaluateDeriv2");
        double e = 0;
        for (int order = 0; order < 3; ++order)
          for (int k = 0; k < 2; ++k)
            e = std::max<double>(e, std::fabs(out[order][k] - Bez(c, k, t, order)));
        point.Row(f.name).Add(e, [&] { return In(c) + ", t = " + Num(t); });
      }
      std::vector<double> xy(2 * 1001);
      Check(CRV_EvaluatePoints(c.Record(), 0, 1, 1001, xy.data()), "CRV_EvaluatePoints");
      double e = 0;
      for (int i = 0; i < 1001; ++i)
        for (int k = 0; k < 2; ++k)
          e = std::max<double>(e, std::fabs(xy[2 * i + k] - Bez(c, k, i / 1000.0L)));
      points.Row(f.name).Add(e, [&] { return In(c); });
      double lo[2], hi[2];
      Check(CRV_EvaluateBounds(c.Record(), lo, hi), "CRV_EvaluateBounds");
      e = 0;
      for (int k = 0; k < 2; ++k) {
        LD tl, th;
        TrueBounds(c, k, &tl, &th);
        e = std::max({e, double(std::fabs(lo[k] - tl)), double(std::fabs(hi[k] - th))});
      }
      bounds.Row(f.name).Add(e, [&] { return In(c); });
    }
}

void MeasureFunctionCurves(Rng& r, const std::vector<Family>& families, Report& report) {
  Section& tx = Add(
      report, "CRV_TFromX",
      "Parameter error |t - t*| at 24 random times x inside the span; t* by bisection on x(t).");
  Section& yx = Add(report, "CRV_EvaluateYFromX", "Value error |y - y(t*)| at the same times.");
  Section& d1 = Add(report, "CRV_Evaluate1dDerivFromX",
                    "Slope error against y'(t*) / x'(t*), where |x'(t*)| >= 1e-12 (below, the "
                    "library answers a sentinel).");
  Section& d2 = Add(report, "CRV_Evaluate1dDeriv2FromX",
                    "Error of y''(t) / x'(t) against its value at t*, where |x'(t*)| >= 1e-12.");
  Section& av = Add(report, "CRV_EvaluateYAverageFromXToX",
                    "Error of the mean of y over the parameter between two random times, against "
                    "Gauss-Legendre quadrature (exact for a cubic) between their t*.");
  Section& ty = Add(report, "CRV_TFromY, CRV_EvaluateXFromY",
                    "On the rising values of the time remaps: the larger of the parameter error "
                    "and the time error at 24 random values.");
  for (const Family& f : families) {
    if (!f.function) continue;
    for (const Curve& c : f.curves) {
      const CRV_Curve* rec = c.Record();
      for (int i = 0; i < 24; ++i) {
        const double x = r.Uniform(c.At(0, 0), c.At(3, 0));
        const LD t = Solve(c, 0, x), xs = Bez(c, 0, t, 1);
        double lt = 0, y = 0, slope = 0, second = 0;
        Check(CRV_TFromX(rec, x, &lt), "CRV_TFromX");
        Check(CRV_EvaluateYFromX(rec, x, &y), "CRV_EvaluateYFromX");
        Check(CRV_Evaluate1dDerivFromX(rec, x, &slope), "CRV_Evaluate1dDerivFromX");
        Check(CRV_Evaluate1dDeriv2FromX(rec, x, &second), "CRV_Evaluate1dDeriv2FromX");
        auto at = [&] { return In(c) + ", x = " + Num(x); };
        tx.Row(f.name).Add(std::fabs(lt - t), at);
        yx.Row(f.name).Add(std::fabs(y - Bez(c, 1, t)), at);
        if (std::fabs(xs) >= 1e-12L) {
          d1.Row(f.name).Add(std::fabs(slope - Bez(c, 1, t, 1) / xs), at);
          d2.Row(f.name).Add(std::fabs(second - Bez(c, 1, t, 2) / xs), at);
        }
        const double x2 = r.Uniform(c.At(0, 0), c.At(3, 0));
        const LD t2 = Solve(c, 0, x2);
        auto value = [&](LD u) { return Bez(c, 1, u); };
        const LD mean = t2 == t ? Bez(c, 1, t) : kGauss.Rule(value, t, t2) / (t2 - t);
        double average = 0;
        Check(CRV_EvaluateYAverageFromXToX(rec, x, x2, &average), "CRV_EvaluateYAverageFromXToX");
        av.Row(f.name).Add(std::fabs(average - mean),
                           [&] { return In(c) + ", x1 = " + Num(x) + ", x2 = " + Num(x2); });
        if (f.name != "remap") continue;
        const double v = r.Uniform(c.At(0, 1), c.At(3, 1));
        const LD tv = Solve(c, 1, v);
        double ly = 0, lx = 0;
        Check(CRV_TFromY(rec, v, &ly), "CRV_TFromY");
        Check(CRV_EvaluateXFromY(rec, v, &lx), "CRV_EvaluateXFromY");
        ty.Row(f.name).Add(std::max<double>(std::fabs(ly - tv), std::fabs(lx - Bez(c, 0, tv))),
                           [&] { return In(c) + ", y = " + Num(v); });
      }
    }
  }
}

void MeasureArcLength(Rng& r, const std::vector<Family>& families, Report& report) {
  Section& total =
      Add(report, "CRV_BuildArcTable (total length)",
          "|L - L*| for a table of 128 samples; L* by adaptive Gauss-Legendre quadrature of |B'|.");
  Section& sft = Add(report, "CRV_SFromT", "|s - s*(t)| at 8 random t, table of 128 samples.");
  Section& tfs = Add(
      report, "CRV_TFromS",
      "|t - t*(s)| at 8 random s in (0, L), table of 128 samples; t* by Newton on the quadrature.");
  Section& pfs = Add(report, "CRV_EvaluatePointFromS",
                     "Distance from the point to B(t*(s)), same s and table.");
  Section& spl =
      Add(report, "CRV_TFromSSpline",
          "|t - t*(s)| at the same s through the arc-length spline with bound (L/1000)^2.");
  Section& byd = Add(report, "CRV_EvaluateByDistance",
                     "The longest arc between consecutive points less the distance asked, L/16 "
                     "(negative: every arc is shorter).");
  for (const Family& f : families)
    for (const Curve& c : f.curves) {
      const CRV_Curve* rec = c.Record();
      const LD length = Arc(c, 0, 1);
      OwnedList table, spline, walk;
      double L = 0;
      Check(CRV_BuildArcTable(rec, kTableSamples, &table.handle, &L), "CRV_BuildArcTable");
      total.Row(f.name).Add(std::fabs(L - length), [&] { return In(c); });
      const double bound = double(length * length) * 1e-6;
      for (int i = 0; i < 8; ++i) {
        const double t = r.Uniform(0, 1), s = double(length) * r.Uniform(0, 1);
        double ls = 0, lt = 0, st = 0, p[2];
        Check(CRV_SFromT(rec, t, kTableSamples, &table.handle, &ls), "CRV_SFromT");
        sft.Row(f.name).Add(std::fabs(ls - Arc(c, 0, t)),
                            [&] { return In(c) + ", t = " + Num(t); });
        const LD ts = TAtArc(c, s, length);
        auto at = [&] { return In(c) + ", s = " + Num(s); };
        Check(CRV_TFromS(rec, s, kTableSamples, &table.handle, &lt), "CRV_TFromS");
        tfs.Row(f.name).Add(std::fabs(lt - ts), at);
        Check(CRV_EvaluatePointFromS(rec, s, kTableSamples, &table.handle, p),
              "CRV_EvaluatePointFromS");
        pfs.Row(f.name).Add(std::sqrt(double(DistSq(c, ts, p, 2))), at);
        Check(CRV_TFromSSpline(rec, s, bound, &spline.handle, &st), "CRV_TFromSSpline");
        spl.Row(f.name).Add(std::fabs(st - ts), at);
      }
      // The points lie at parameters k / 2^m in increasing order: each is the previous one plus
      // the power of two whose curve point matches it best.
      const double d = double(length) / 16;
      Check(CRV_EvaluateByDistance(rec, d, 0, &walk.handle), "CRV_EvaluateByDistance");
      const std::vector<double> xy = walk.Doubles();
      LD prev = 0, longest = 0;
      for (size_t i = 2; i < xy.size(); i += 2) {
        LD next = 1, best = INFINITY;
        for (int m = 1; m <= 24; ++m) {
          const LD cand = prev + std::ldexp(1.0L, -m), e = DistSq(c, cand, &xy[i], 2);
          if (cand <= 1 && e < best) best = e, next = cand;
        }
        longest = std::max(longest, Arc(c, prev, next));
        prev = next;
      }
      byd.Row(f.name).Add(double(longest - d), [&] { return In(c) + ", distance " + Num(d); });
    }
}

// Largest squared distance from the samples to the chain of cubics (each item 2 doubles).
LD FitError(const std::vector<double>& samples, const std::vector<double>& chain) {
  LD worst = 0;
  for (size_t i = 0; i < samples.size(); i += 2) {
    LD best = INFINITY;
    for (size_t j = 0; j + 7 < chain.size(); j += 6) {
      const Curve seg(2, std::vector<double>(chain.begin() + j, chain.begin() + j + 8));
      best =
          std::min(best, Minimize([&](LD t) { return DistSq(seg, t, &samples[i], 2); }, 0, 1, 64));
    }
    worst = std::max(worst, best);
  }
  return worst;
}

void MeasureFits(Rng& r, const std::vector<Family>& families, Report& report) {
  Section& one = Add(report, "CRV_FitOneCurve",
                     "40 samples of the curve, jittered by 1e-3 of its extent, fitted with bound "
                     "(extent/100)^2 and 3 tangent samples: the largest squared distance of a "
                     "sample to the cubic, as a fraction of the bound (1 = at the bound).");
  Section& many = Add(report, "CRV_FitMultipleCurves",
                      "The same samples and bound: the largest squared distance of a sample to the "
                      "chain, as a fraction of the bound.");
  for (const Family& f : families)
    for (const Curve& c : f.curves) {
      double extent = 0;
      for (int k = 0; k < 2; ++k) {
        LD lo, hi;
        TrueBounds(c, k, &lo, &hi);
        extent = std::max<double>(extent, hi - lo);
      }
      std::vector<double> samples;
      for (int i = 0; i < 40; ++i)
        for (int k = 0; k < 2; ++k)
          samples.push_back(double(Bez(c, k, i / 39.0L)) + extent * 1e-3 * r.Uniform(-1, 1));
      const double bound = extent * extent * 1e-4;
      Curve fitted(2);
      Check(CRV_FitOneCurve(samples.data(), 40, bound, 3, fitted.Record()), "CRV_FitOneCurve");
      one.Row(f.name).Add(double(FitError(samples, fitted.Coords()) / bound),
                          [&] { return In(c); });
      OwnedList chain;
      Check(CRV_FitMultipleCurves(samples.data(), 2, 40, bound, &chain.handle),
            "CRV_FitMultipleCurves");
      many.Row(f.name).Add(double(FitError(samples, chain.Doubles()) / bound),
                           [&] { return In(c); });
    }
}

// Largest vertical distance between a function curve and a polyline through rising times.
LD Deviation(const Curve& c, const std::vector<double>& xy) {
  auto gap = [&](LD t) {
    const LD x = Bez(c, 0, t);
    size_t j = 2;
    while (j + 2 < xy.size() && xy[j] < x) j += 2;
    const LD x0 = xy[j - 2], y0 = xy[j - 1], x1 = xy[j], y1 = xy[j + 1];
    const LD y = x1 > x0 ? y0 + (y1 - y0) * (x - x0) / (x1 - x0) : y1;
    return -std::fabs(Bez(c, 1, t) - y);
  };
  return -Minimize(gap, 0, 1, 2048);
}

void MeasureFlattening(const std::vector<Family>& families, Report& report) {
  Section& adaptive = Add(
      report, "CRV_EvaluateAdaptively",
      "With CRV_IsLinearFunc (angle tolerance 5e-4, depths 2 to 10, the tool's defaults): the "
      "largest vertical distance, in value units, between the function curve and the polyline.");
  Section& interp = Add(report, "CRV_LinearlyInterpolateCurve",
                        "The same test, the polyline of piece midpoints from P0.x to P3.x: the "
                        "largest vertical distance.");
  CRV_LinearityParams params{0, 5e-4, CRV_LINEARITY_CHECK_WORD, 2, 10};
  for (const Family& f : families) {
    if (!f.function) continue;
    for (const Curve& c : f.curves) {
      OwnedList a, b;
      Check(SEQ_New(0, 16, 32, 1, &a.handle), "SEQ_New");
      Check(SEQ_New(0, 16, 32, 1, &b.handle), "SEQ_New");
      bool have = false;
      double lo = 0, hi = 0;
      Check(CRV_EvaluateAdaptively(CRV_IsLinearCallback, &params, nullptr, nullptr, c.Record(),
                                   &have, &lo, &hi, &a.handle),
            "CRV_EvaluateAdaptively");
      adaptive.Row(f.name).Add(double(Deviation(c, a.Doubles())), [&] { return In(c); });
      Check(CRV_LinearlyInterpolateCurve(CRV_IsLinearCallback, &params, c.At(0, 0), c.At(3, 0),
                                         c.Record(), &have, &lo, &hi, &b.handle),
            "CRV_LinearlyInterpolateCurve");
      interp.Row(f.name).Add(double(Deviation(c, b.Doubles())), [&] { return In(c); });
    }
  }
}

void MeasureSpace(Rng& r, const std::vector<Family>& families, Report& report) {
  Section& screen = Add(
      report, "CRV_3DScreenCurveAdaptiveEvaluator",
      "The curve lifted to 3-D (z within half its extent), fitted into a cube of side 200 at the "
      "origin, seen in perspective (focal length 400, eye at z = -400), tolerance 0.5: the largest "
      "screen distance from the screen cubics (17 points each) to the exact projection.");
  Section& nearest =
      Add(report, "CRV_NearestPointOnCurve",
          "At 8 random points in the curve's box widened by a fifth: the distance to B(t) less the "
          "least distance (dense search and golden-section refinement).");
  Section& plane = Add(report, "CRV_IntersectPlane",
                       "The lifted curve against 4 planes through random curve points with random "
                       "normals: the largest parameter distance between the roots and those found "
                       "by bisection in long double (infinite: a root missed).");
  const GEO_Matrix4 camera{{{400, 0, 0, 0}, {0, 400, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, 400}}};
  for (const Family& f : families)
    for (const Curve& flat : f.curves) {
      const Curve c = Lift(r, flat);
      // Projection, in long double on the exact curve.
      Curve cube = c;
      double lo[3], hi[3], size = 0;
      Check(CRV_EvaluateBounds(c.Record(), lo, hi), "CRV_EvaluateBounds");
      for (int k = 0; k < 3; ++k) size = std::max(size, hi[k] - lo[k]);
      for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k) cube.At(i, k) = (c.At(i, k) - (lo[k] + hi[k]) / 2) * 200 / size;
      std::vector<CRV_CurveClass2D> pieces;
      CRV_3DScreenCurveAdaptiveEvaluator(0.5, camera, cube.As3D(), &pieces);
      LD worst = 0;
      for (const CRV_CurveClass2D& p : pieces) {
        const Curve piece(p);
        for (int i = 0; i <= 16; ++i) {
          const LD qx = Bez(piece, 0, i / 16.0L), qy = Bez(piece, 1, i / 16.0L);
          auto d = [&](LD t) {
            const LD w = Bez(cube, 2, t) + 400, x = 400 * Bez(cube, 0, t) / w - qx,
                     y = 400 * Bez(cube, 1, t) / w - qy;
            return x * x + y * y;
          };
          worst = std::max(worst, std::sqrt(Minimize(d, 0, 1)));
        }
      }
      screen.Row(f.name).Add(double(worst),
                             [&] { return In(cube) + ", " + Count(pieces.size(), "piece"); });

      for (int i = 0; i < 8; ++i) {
        double q[2];
        for (int k = 0; k < 2; ++k)
          q[k] = lo[k] - (hi[k] - lo[k]) * 0.1 + (hi[k] - lo[k]) * 1.2 * r.Uniform(0, 1);
        const double t = CRV_NearestPointOnCurve({q[0], q[1]}, flat.As2D());
        const LD best = std::sqrt(Minimize([&](LD u) { return DistSq(flat, u, q, 2); }, 0, 1));
        nearest.Row(f.name).Add(double(std::sqrt(DistSq(flat, t, q, 2)) - best),
                                [&] { return In(flat) + ", point " + Point(q, 2); });
      }

      for (int i = 0; i < 4; ++i) {
        double n[3], len = 0;
        for (double& v : n) v = r.Uniform(-1, 1), len += v * v;
        const double t0 = r.Uniform(0.05, 0.95);
        GEO_PlaneEq e{n[0] / std::sqrt(len), n[1] / std::sqrt(len), n[2] / std::sqrt(len), 0};
        double p0[3];
        Check(CRV_EvaluatePoint(c.Record(), t0, p0), "CRV_EvaluatePoint");
        e.d = -(e.a * p0[0] + e.b * p0[1] + e.c * p0[2]);
        auto g = [&](LD t) {
          return e.a * Bez(c, 0, t) + e.b * Bez(c, 1, t) + e.c * Bez(c, 2, t) + e.d;
        };
        std::vector<LD> roots;  // sign changes over 1024 cells, each bisected to the last bit
        for (int j = 0; j < 1024; ++j) {
          LD a = j / 1024.0L, b = (j + 1) / 1024.0L;
          if (g(a) == 0) roots.push_back(a);
          if (g(a) * g(b) >= 0) continue;
          const bool rising = g(a) < 0;
          for (int it = 0; it < 70; ++it) ((g((a + b) / 2) < 0) == rising ? a : b) = (a + b) / 2;
          roots.push_back((a + b) / 2);
        }
        if (g(1) == 0) roots.push_back(1);
        std::vector<double> ts;
        CRV_IntersectPlane(c.As3D(), e, &ts);
        auto far = [](const auto& from, const auto& to) {
          LD most = 0;
          for (LD x : from) {
            LD near = INFINITY;
            for (LD y : to) near = std::min(near, std::fabs(x - y));
            most = std::max(most, near);
          }
          return most;
        };
        plane.Row(f.name).Add(double(std::max(far(ts, roots), far(roots, ts))), [&] {
          return In(c) + ", plane " + Num(e.a) + " x + " + Num(e.b) + " y + " + Num(e.c) + " z + " +
                 Num(e.d);
        });
      }
    }
}

// ---- Plots

std::string PlotTFromX() {
  const Curve c(2, {0, 0, 0.25, 0.1, 0.25, 1, 1, 1});
  Figure fig("Error of CRV_TFromX on the easing curve (0,0) (0.25,0.1) (0.25,1) (1,1)",
             Figure::Frame::kFunction);
  fig.Axes("time x", "|t - t*|");
  fig.Subtitle("999 even times; t* by bisection in long double");
  std::vector<svg::Point> pts;
  for (int i = 1; i < 1000; ++i) {
    double t = 0;
    Check(CRV_TFromX(c.Record(), i / 1000.0, &t), "CRV_TFromX");
    pts.push_back({i / 1000.0, double(std::fabs(t - Solve(c, 0, i / 1000.0L)))});
  }
  fig.Dots(pts, ink::kBlueDot, 1.5, "parameter error");
  return fig.Svg();
}

const Curve kArch(2, {0, 0, 10, 30, 40, 30, 50, 0});

std::string PlotArcTable() {
  Figure fig("Error of the arc-length table's total length against its samples",
             Figure::Frame::kFunction);
  fig.Axes("log10 n (samples)", "log10 |L - L*|");
  fig.Subtitle(
      "curve (0,0) (10,30) (40,30) (50,0), L* = 71.9 by quadrature; an exact 0 is drawn at -20");
  const LD length = Arc(kArch, 0, 1);
  std::vector<svg::Point> pts;
  for (int n = 2; n <= 4096; n = std::max(n + 1, int(n * 1.15))) {
    OwnedList table;
    double L = 0;
    Check(CRV_BuildArcTable(kArch.Record(), n, &table.handle, &L), "CRV_BuildArcTable");
    pts.push_back(
        {std::log10(double(n)), std::log10(std::max(std::fabs(double(L - length)), 1e-20))});
  }
  fig.Polyline(pts, ink::kBlue, "table total");
  return fig.Svg();
}

std::string PlotTFromS() {
  Figure fig("Error of t at arc length along the curve (0,0) (10,30) (40,30) (50,0)",
             Figure::Frame::kFunction);
  fig.Axes("arc length s", "|t - t*|");
  fig.Subtitle(
      "table of 128 samples (blue) and arc-length spline with bound (L/1000)^2 (red); t* by Newton "
      "on quadrature");
  const LD length = Arc(kArch, 0, 1);
  OwnedList table, spline;
  std::vector<svg::Point> a, b;
  for (int i = 0; i <= 400; ++i) {
    const double s = double(length) * i / 400;
    const LD ts = TAtArc(kArch, s, length);
    double t1 = 0, t2 = 0;
    Check(CRV_TFromS(kArch.Record(), s, kTableSamples, &table.handle, &t1), "CRV_TFromS");
    Check(CRV_TFromSSpline(kArch.Record(), s, double(length * length) * 1e-6, &spline.handle, &t2),
          "CRV_TFromSSpline");
    a.push_back({s, double(std::fabs(t1 - ts))});
    b.push_back({s, double(std::fabs(t2 - ts))});
  }
  fig.Polyline(a, ink::kBlue, "table");
  fig.Polyline(b, ink::kRed, "spline");
  return fig.Svg();
}

// ---- The document

// The largest error of a section over its families.
double Largest(const Report& report, const std::string& title) {
  double worst = 0;
  for (const Section& s : report)
    if (s.title == title)
      for (const Stat& row : s.rows) worst = std::max(worst, row.worst);
  return worst;
}

std::string Document(const std::vector<Family>& families, const Report& report) {
  std::string md =
      "# Accuracy of libcrv\n\n"
      "Written by `crv accuracy`; a test compares this file and its plots with what the tool "
      "writes, so they change only with the code.\n\n"
      "Each export whose result approximates a mathematical quantity is measured against an "
      "independent reference computed in long double (64-bit mantissa), on seeded families of "
      "curves (SplitMix64, the same curves on every run). **Errors are in the units of the "
      "quantity**: parameter units for t, the curve's units for points and lengths, value units "
      "for function-curve values; fits are the exception, given as a fraction of the bound asked. "
      "Each table gives, per family, the median and the largest error and the input of the "
      "largest (control points P0 to P3, then the argument).\n\n"
      "## Families\n\n";
  for (const Family& f : families)
    md += "- **" + f.name + "** (" + std::to_string(f.curves.size()) + "): " + f.what + "\n";
  md += "\n## Results\n";
  for (const Section& s : report) {
    md += "\n### " + s.title + "\n\n" + s.how +
          "\n\n| family | median | largest | input of the largest |\n|---|---|---|---|\n";
    for (const Stat& row : s.rows) {
      std::vector<double> e = row.errors;
      std::sort(e.begin(), e.end());
      md += "| " + row.family + " | " + E(e[e.size() / 2]) + " | " + E(row.worst) + " | " +
            row.input + " |\n";
    }
  }
  md +=
      "\n## Plots\n\n"
      "The parameter at a time on a typical easing curve: the error stays at the rounding of t.\n\n"
      "![error of t at x](accuracy-t-from-x.svg)\n\n"
      "The table's total length converges like 1/n^2 (its chords cut the corners): each "
      "doubling of the samples divides the error by four.\n\n"
      "![error of the table's length against n](accuracy-arc-length.svg)\n\n"
      "t at arc length: the table interpolates linearly between its entries, the spline within "
      "its bound.\n\n"
      "![error of t at s](accuracy-t-from-s.svg)\n\n"
      "## Limits\n\n"
      "1. Arc-length tables: the parameters rise by 1/(n - 1), accumulated by n - 1 additions. "
      "Each addition rounds by at most half an ulp of a number below 1, so the last entry's t "
      "drifts by at most (n - 1) 2^-54 plus the rounding of the step, which stays below the "
      "1e-10 tolerance on table keys for n up to 1,800,000 samples. From a few million samples "
      "on the drift can pass it (n = 3,648,032 leaves the last t 1.01e-10 below 1); then, on "
      "the curve (0,0) (10,30) (40,30) (50,0), s at t = 1 finds no entry and answers the chord, "
      "50, instead of the length 71.9, and t from s answers differently on first use and on "
      "reuse of the table. The tool's `--samples` cap (1,000,000) stays below the limit.\n"
      "2. Multiple-curve fits (and the arc-length spline built on them): a bound of 0 or less "
      "is never met, so every segment splits down to two samples; where samples coincide or tie "
      "each split peels off one sample and the work grows with the square of the count (10^5 "
      "coincident samples with bound 0 give no answer within 10 s).\n"
      "3. Screen projection: a piece is tested against the tolerance at its parameters 1/4 and "
      "3/4 only, so between them it may stray further: with tolerance 0.5 the measured screen "
      "distance reaches " +
      E(Largest(report, "CRV_3DScreenCurveAdaptiveEvaluator")) +
      ".\n"
      "4. Single-curve fits deliver their last curve whether or not it meets the bound: on loops "
      "and cusps the largest squared distance reaches " +
      E(Largest(report, "CRV_FitOneCurve")) +
      " times the bound. Chains of curves meet it.\n"
      "5. Nearest point: the distance found exceeds the least by up to " +
      E(Largest(report, "CRV_NearestPointOnCurve")) +
      " on the scaled curves (a relative error "
      "near 1e-4 at 1e6), while the medians stay near the rounding.\n"
      "6. Errors of points, lengths and distances are absolute and grow with the coordinates: "
      "the scaled family, up to 1e6, carries the largest of most tables.\n";
  return md;
}

// Writes the files into DIR, the only files this command is asked to write. A symbolic link in
// their place would make it replace a file elsewhere: any one refuses them all, before anything
// is written.
void WriteAll(const fs::path& dir, const std::vector<std::pair<std::string, std::string>>& files) {
  for (const auto& [name, text] : files) {
    std::error_code ec;
    if (fs::is_symlink(fs::symlink_status(dir / name, ec)))
      throw InputError("--out: " + Quote((dir / name).string()) +
                       " is a symbolic link; crv accuracy writes only its own files in DIR");
  }
  for (const auto& [name, text] : files) WriteFileSafely((dir / name).string(), text, "--out");
}

void Run(const Args& a, Session& s) {
  const fs::path dir = a["--out"].text;
  std::error_code ec;
  fs::create_directories(dir, ec);
  if (ec) throw WriteError("--out: cannot create " + Quote(dir.string()) + ": " + ec.message());
  Rng r(20240601);
  const std::vector<Family> families = Families(r);
  Report report;
  MeasureEvaluation(r, families, report);
  MeasureFunctionCurves(r, families, report);
  MeasureArcLength(r, families, report);
  MeasureFits(r, families, report);
  MeasureFlattening(families, report);
  MeasureSpace(r, families, report);
  WriteAll(dir, {{"accuracy-t-from-x.svg", PlotTFromX()},
                 {"accuracy-arc-length.svg", PlotArcTable()},
                 {"accuracy-t-from-s.svg", PlotTFromS()},
                 {"accuracy.md", Document(families, report)}});
  s.out << "wrote " << (dir / "accuracy.md").string() << " and 3 plots\n";
}

const Registered kRegistered("accuracy", Run);

}  // namespace
}  // namespace crvtool
