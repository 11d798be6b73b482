#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "accuracy/accuracy.h"
#include "nearest.h"

namespace crvtool {
namespace accuracy {
using namespace crvref;  // NOLINT: the references are the measurements' vocabulary

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

// The largest error of a section over its families.
double Largest(const Report& report, const std::string& title) {
  double worst = 0;
  for (const Section& s : report)
    if (s.title == title)
      for (const Stat& row : s.rows) worst = std::max(worst, row.worst);
  return worst;
}

// The sides around 1 within which every measured error stays at or below the tolerance, from the
// plot's points (log10 side, log10 error): the first side on each side of 1 that fails ends it.
void AccurateSides(const std::vector<svg::Point>& pts, double* lo, double* hi) {
  const double tol = std::log10(kNearestTolerance);
  *lo = *hi = 1;
  for (const svg::Point& p : pts)  // rising sides
    if (p.x >= 0) {
      if (p.y > tol) break;
      *hi = std::pow(10.0, p.x);
    }
  for (auto p = pts.rbegin(); p != pts.rend(); ++p)
    if (p->x <= 0) {
      if (p->y > tol) break;
      *lo = std::pow(10.0, p->x);
    }
}

// The distance from `point` to the curve at t.
double DistanceAt(const CRV_CurveClass2D& c, double t, const GEO_Vector2T<double>& point) {
  double p[2];
  CRV_EvaluatePoint(c.Curve(), t, p);
  return std::hypot(p[0] - point.x, p[1] - point.y);
}

std::string Document(const std::vector<Family>& families, const Report& report,
                     const std::vector<svg::Point>& nearestBySize,
                     const std::vector<svg::Point>& nearestInUnitBox) {
  double lo = 1, hi = 1, unitWorst = -INFINITY;
  AccurateSides(nearestBySize, &lo, &hi);
  for (const svg::Point& p : nearestInUnitBox) unitWorst = std::max(unitWorst, p.y);
  // The curve and point of docs/host-integration.md.
  const CRV_CurveClass2D big({-1e7, -1e7}, {3e7, 2e7}, {-1e7, 2e7}, {2e7, -1e7});
  const GEO_Vector2T<double> origin{0, 0};
  char example[160];
  std::snprintf(example, sizeof example, "distance %.0f found, %.0f in the unit box",
                DistanceAt(big, CRV_NearestPointOnCurve(origin, big), origin),
                DistanceAt(big, NearestInUnitBox(origin, big), origin));
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
      "## The same bits on every platform\n\n"
      "The cubic solver behind every lookup by time or value takes a cube root (one real root) "
      "or an arc cosine and cosines (three real roots). These are the library's own, correctly "
      "rounded: each returns the double nearest the exact value, ties to even, for every "
      "argument of its domain (every double for the cube root, [-1, 1] for the arc cosine, "
      "|x| <= 8 for the cosine; the solver's angles lie in [0, 2 pi]). The C library is not "
      "called, so every export gives the same bits on every platform: the test command checks "
      "x86-64 (gcc and clang, -O0 and -O3), aarch64, Windows x64 and WebAssembly with `crv "
      "selftest`, which checks any other build the same way. Against MPFR (tests/exact_math, "
      "label full), 10^7 arguments a function, drawn uniformly over the bit patterns of each "
      "domain and crowded around the hard cases (exact cubes and their neighbours, powers of two, "
      "subnormal boundaries; the arc cosine near -1, 0 and 1; the cosine near 0 and its zeros): "
      "0 misrounded for each of the three. Compared with glibc's versions, which are not "
      "correctly rounded, the solver's results moved by a unit in the last place in 72 of the "
      "2,087 reference calls, and the medians below fell slightly.\n\n"
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
      "The nearest point against the size of the curve (the family sizes): the root search is "
      "accurate near a side of 1 and loses digits as the side grows or shrinks; the same queries "
      "moved into the unit box stay at the reference's resolution.\n\n"
      "![error of the nearest point against the side](accuracy-nearest-by-size.svg)\n\n"
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
      "5. Nearest point: the flatness test of the root search compares a squared length with "
      "the fixed 2^-65, so how early it accepts a root depends on the size of the curve. The "
      "distance found stays within " + Compact(kNearestTolerance, 2) +
      " of the control box's largest side for sides from " + Compact(lo, 2) + " to " +
      Compact(hi, 2) +
      " (the table by size and its plot) and grows beyond: to " +
      E(Largest(report, "CRV_NearestPointOnCurve by size")) +
      " of the side from 1e7 on. The curve (-1e7,-1e7) (3e7,2e7) (-1e7,2e7) (2e7,-1e7) and the "
      "point (0,0) give " + example +
      " (the least). The same queries on the curve and point moved into the unit box "
      "(translated by the box's lower corner, scaled by a power of two, as "
      "[host integration](host-integration.md) shows) stay within " +
      Compact(std::pow(10.0, unitWorst), 2) +
      " of the side at every size; `crv nearest` searches there when the side passes " +
      Compact(kNearestAccurateSize, 2) + ". On the random families the distance found exceeds the "
      "least by up to " + E(Largest(report, "CRV_NearestPointOnCurve")) +
      " (the scaled curves, up to 1e6), while the medians stay near the rounding.\n"
      "6. Errors of points, lengths and distances are absolute and grow with the coordinates: "
      "the scaled family, up to 1e6, carries the largest of most tables.\n";
  return md;
}

}  // namespace accuracy
}  // namespace crvtool
