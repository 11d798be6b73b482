// `crv split`: the two parts of the curve either side of a parameter, by de Casteljau.
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// The control polygon of a part, dashed in the part's colour.
void PartPolygon(Figure& fig, const Curve& part, const svg::Style& style) {
  std::vector<svg::Point> polygon;
  for (int i = 0; i < 4; ++i) polygon.push_back({part.at(i, 0), part.at(i, 1)});
  fig.Polyline(polygon, ink::Thin(style, 1, "3 3"), "");
}

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDrawable(a, curve);
  const double t = ParseNumber(a["--t"].text, "--t", 0, 1);

  const int dims = curve.dims();
  std::vector<double> five(5 * static_cast<size_t>(dims));
  CRV_SubdivideCurve(curve.get(), t, five.data());
  // The five new points q0, r0, m, r1, q2: left = P0 q0 r0 m, right = m r1 q2 P3.
  Curve left = curve, right = curve;
  for (int k = 0; k < dims; ++k) {
    for (int i = 1; i <= 3; ++i) left.at(i, k) = five[(i - 1) * dims + k];
    for (int i = 0; i <= 2; ++i) right.at(i, k) = five[(i + 2) * dims + k];
  }

  std::ostringstream text;
  text << "split at t " << Num(t) << "\nleft  " << CurveText(left) << "\nright "
       << CurveText(right) << "\n";
  Emit(a, {{"t", t}, {"left", CurveJson(left)}, {"right", CurveJson(right)}}, text.str(),
       s);

  if (!a["--svg"].given) return;
  Figure fig("crv split: the curve cut at t = " + Short(t));
  fig.Subtitle("de Casteljau: the parts are exact cubics of their own, dashed: their polygons");
  fig.Input(curve);
  fig.Curve(left, ink::kBlue, "left part, t in [0, " + Short(t) + "], and its polygon");
  fig.Curve(right, ink::kRed, "right part, t in [" + Short(t) + ", 1], and its polygon");
  PartPolygon(fig, left, ink::kBlue);
  PartPolygon(fig, right, ink::kRed);
  fig.Dots({{right.at(0, 0), right.at(0, 1)}}, ink::kGreenDot, 6, "split point B(t)");
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("split", Run);

}  // namespace
}  // namespace crvtool
