#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "accuracy/accuracy.h"
#include "nearest.h"

namespace crvtool {
namespace accuracy {
using namespace crvref;  // NOLINT: the references are the measurements' vocabulary

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
        CRV_EvaluatePoint(c.get(), t, out[0]);
        CRV_EvaluateDeriv(c.get(), t, out[1]);
        CRV_EvaluateDeriv2(c.get(), t, out[2]);
        double e = 0;
        for (int order = 0; order < 3; ++order)
          for (int k = 0; k < 2; ++k)
            e = std::max<double>(e, std::fabs(out[order][k] - Bez(c, k, t, order)));
        point.Row(f.name).Add(e, [&] { return In(c) + ", t = " + Num(t); });
      }
      std::vector<double> xy(2 * 1001);
      CRV_EvaluatePoints(c.get(), 0, 1, 1001, xy.data());
      double e = 0;
      for (int i = 0; i < 1001; ++i)
        for (int k = 0; k < 2; ++k)
          e = std::max<double>(e, std::fabs(xy[2 * i + k] - Bez(c, k, i / 1000.0L)));
      points.Row(f.name).Add(e, [&] { return In(c); });
      double lo[2], hi[2];
      CRV_EvaluateBounds(c.get(), lo, hi);
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
      const CRV_Curve* rec = c.get();
      for (int i = 0; i < 24; ++i) {
        const double x = r.Uniform(c.at(0, 0), c.at(3, 0));
        const LD t = Solve(c, 0, x), xs = Bez(c, 0, t, 1);
        double lt = 0, y = 0, slope = 0, second = 0;
        CRV_TFromX(rec, x, &lt);
        CRV_EvaluateYFromX(rec, x, &y);
        CRV_Evaluate1dDerivFromX(rec, x, &slope);
        CRV_Evaluate1dDeriv2FromX(rec, x, &second);
        auto at = [&] { return In(c) + ", x = " + Num(x); };
        tx.Row(f.name).Add(std::fabs(lt - t), at);
        yx.Row(f.name).Add(std::fabs(y - Bez(c, 1, t)), at);
        if (std::fabs(xs) >= 1e-12L) {
          d1.Row(f.name).Add(std::fabs(slope - Bez(c, 1, t, 1) / xs), at);
          d2.Row(f.name).Add(std::fabs(second - Bez(c, 1, t, 2) / xs), at);
        }
        const double x2 = r.Uniform(c.at(0, 0), c.at(3, 0));
        const LD t2 = Solve(c, 0, x2);
        auto value = [&](LD u) { return Bez(c, 1, u); };
        const LD mean = t2 == t ? Bez(c, 1, t) : kGauss.Rule(value, t, t2) / (t2 - t);
        double average = 0;
        CRV_EvaluateYAverageFromXToX(rec, x, x2, &average);
        av.Row(f.name).Add(std::fabs(average - mean),
                           [&] { return In(c) + ", x1 = " + Num(x) + ", x2 = " + Num(x2); });
        if (f.name != "remap") continue;
        const double v = r.Uniform(c.at(0, 1), c.at(3, 1));
        const LD tv = Solve(c, 1, v);
        double ly = 0, lx = 0;
        CRV_TFromY(rec, v, &ly);
        CRV_EvaluateXFromY(rec, v, &lx);
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
      const CRV_Curve* rec = c.get();
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
      Check(CRV_FitOneCurve(samples.data(), 40, bound, 3, fitted.get()), "CRV_FitOneCurve");
      one.Row(f.name).Add(double(FitError(samples, fitted.coords()) / bound),
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
      Check(CRV_EvaluateAdaptively(CRV_IsLinearCallback, &params, nullptr, nullptr, c.get(),
                                   &have, &lo, &hi, &a.handle),
            "CRV_EvaluateAdaptively");
      adaptive.Row(f.name).Add(double(Deviation(c, a.Doubles())), [&] { return In(c); });
      Check(CRV_LinearlyInterpolateCurve(CRV_IsLinearCallback, &params, c.at(0, 0), c.at(3, 0),
                                         c.get(), &have, &lo, &hi, &b.handle),
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
      CRV_EvaluateBounds(c.get(), lo, hi);
      for (int k = 0; k < 3; ++k) size = std::max(size, hi[k] - lo[k]);
      for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k) cube.at(i, k) = (c.at(i, k) - (lo[k] + hi[k]) / 2) * 200 / size;
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
        CRV_EvaluatePoint(c.get(), t0, p0);
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

void MeasureNearestBySize(const Family& sizes, Report& report, std::vector<svg::Point>* asGiven,
                          std::vector<svg::Point>* unitBox) {
  Section& section = Add(
      report, "CRV_NearestPointOnCurve by size",
      "The family sizes, 8 points a curve in its box widened by a fifth (the same points of the "
      "shape at every size): the distance to B(t) less the least distance (as above), as a "
      "fraction of the box's largest side, by decade of that side.");
  for (size_t first = 0; first < sizes.curves.size(); first += kSizeShapes) {
    const double side = ControlBoxSide(sizes.curves[first].As2D());  // the loop's: 10^(k/4)
    const int decade = int(std::floor(std::log10(side) + 1e-9));
    const std::string row = decade == 9 ? "1e9"
                                        : "[1e" + std::to_string(decade) + ", 1e" +
                                              std::to_string(decade + 1) + ")";
    Rng r(20240602);  // the same points of each shape at every size
    LD worst = 0, worstUnit = 0;
    for (size_t i = first; i < first + kSizeShapes; ++i) {
      const Curve& c = sizes.curves[i];
      const CRV_CurveClass2D c2 = c.As2D();
      const double own = ControlBoxSide(c2);
      double lo[2], hi[2];
      CRV_EvaluateBounds(c.get(), lo, hi);
      for (int j = 0; j < 8; ++j) {
        double q[2];
        for (int k = 0; k < 2; ++k)
          q[k] = lo[k] - (hi[k] - lo[k]) * 0.1 + (hi[k] - lo[k]) * 1.2 * r.Uniform(0, 1);
        const LD best = std::sqrt(Minimize([&](LD u) { return DistSq(c, u, q, 2); }, 0, 1));
        auto error = [&](double t) { return (std::sqrt(DistSq(c, t, q, 2)) - best) / own; };
        const LD e = error(CRV_NearestPointOnCurve({q[0], q[1]}, c2));
        const LD u = error(NearestInUnitBox({q[0], q[1]}, c2));
        section.Row(row).Add(double(e), [&] { return In(c) + ", point " + Point(q, 2); });
        worst = std::max(worst, e), worstUnit = std::max(worstUnit, u);
      }
    }
    // An error at or below the reference's resolution is drawn at 1e-20.
    auto at = [&](LD e) {
      return svg::Point{std::log10(side), std::log10(std::max(double(e), 1e-20))};
    };
    asGiven->push_back(at(worst));
    unitBox->push_back(at(worstUnit));
  }
}

}  // namespace accuracy
}  // namespace crvtool
