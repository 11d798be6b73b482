#include <cmath>
#include <string>
#include <vector>

#include "accuracy/accuracy.h"
#include "figure.h"
#include "nearest.h"

namespace crvtool {
namespace accuracy {
using namespace crvref;  // NOLINT: the references are the measurements' vocabulary

std::string PlotTFromX() {
  const Curve c(2, {0, 0, 0.25, 0.1, 0.25, 1, 1, 1});
  Figure fig("Error of CRV_TFromX on the easing curve (0,0) (0.25,0.1) (0.25,1) (1,1)",
             Figure::Frame::kFunction);
  fig.Axes("time x", "|t - t*|");
  fig.Subtitle("999 even times; t* by bisection in long double");
  std::vector<svg::Point> pts;
  for (int i = 1; i < 1000; ++i) {
    double t = 0;
    CRV_TFromX(c.get(), i / 1000.0, &t);
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
    Check(CRV_BuildArcTable(kArch.get(), n, &table.handle, &L), "CRV_BuildArcTable");
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
    Check(CRV_TFromS(kArch.get(), s, kTableSamples, &table.handle, &t1), "CRV_TFromS");
    Check(CRV_TFromSSpline(kArch.get(), s, double(length * length) * 1e-6, &spline.handle, &t2),
          "CRV_TFromSSpline");
    a.push_back({s, double(std::fabs(t1 - ts))});
    b.push_back({s, double(std::fabs(t2 - ts))});
  }
  fig.Polyline(a, ink::kBlue, "table");
  fig.Polyline(b, ink::kRed, "spline");
  return fig.Svg();
}

std::string PlotNearestBySize(const std::vector<svg::Point>& asGiven,
                              const std::vector<svg::Point>& unitBox) {
  Figure fig("Error of the nearest point against the size of the curve", Figure::Frame::kFunction);
  fig.Axes("log10 side of the control box", "log10 (error / side)");
  fig.Subtitle("family sizes, the worst of 48 queries at each side; an error at the "
               "reference's resolution is drawn at -20");
  fig.Polyline(asGiven, ink::kBlue, "CRV_NearestPointOnCurve as given");
  fig.Polyline(unitBox, ink::kRed,
               "in the unit box (crv nearest past " + Compact(kNearestAccurateSize, 2) + ")");
  const double tol = std::log10(kNearestTolerance);
  fig.Polyline({{asGiven.front().x, tol}, {asGiven.back().x, tol}},
               ink::Thin(ink::kGreen, 1.5, "6 4"), "tolerance " + Compact(kNearestTolerance, 2));
  return fig.Svg();
}

}  // namespace accuracy
}  // namespace crvtool
