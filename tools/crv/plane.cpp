// `crv plane`: where a 3-D curve meets the plane a x + b y + c z + d = 0.
#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// The picture looks along the plane, so that it shows as a line whatever its tilt: across runs
// u, the coordinate axis least aligned with the normal n made perpendicular to it; up runs the
// signed distance from the plane, (p . n + d) / |n|. Both are affine, so the curve's image is the
// cubic of its control points' images.
struct EdgeView {
  double u[3], n[3], d;
  int axis = 0;  // the coordinate axis that u comes from

  explicit EdgeView(const std::vector<double>& e) {
    const double len = std::sqrt(e[0] * e[0] + e[1] * e[1] + e[2] * e[2]);
    int k = 0;
    for (int i = 0; i < 3; ++i) {
      n[i] = e[i] / len;
      if (std::fabs(n[i]) < std::fabs(n[k])) k = i;
    }
    d = e[3] / len;
    axis = k;
    double along = 0;
    for (int i = 0; i < 3; ++i) u[i] = (i == k) - n[k] * n[i];
    for (double v : u) along += v * v;
    for (double& v : u) v /= std::sqrt(along);
  }
  svg::Point operator()(const double* p) const {
    return {p[0] * u[0] + p[1] * u[1] + p[2] * u[2], p[0] * n[0] + p[1] * n[1] + p[2] * n[2] + d};
  }
};

// "a x + b y + c z + d = 0" with the numbers as `format` writes them.
std::string Equation(const std::vector<double>& e, std::string (*format)(double)) {
  const bool below = e[3] < 0;
  return format(e[0]) + " x + " + format(e[1]) + " y + " + format(e[2]) + " z " +
         (below ? "- " : "+ ") + format(below ? -e[3] : e[3]) + " = 0";
}

// The crossings: their parameters and points.
struct PlaneResult {
  Curve curve;
  std::vector<double> e;  // a, b, c, d
  std::vector<double> ts;
  std::vector<std::vector<double>> points;
};

PlaneResult Compute(const Args& a) {
  PlaneResult r;
  r.curve = CurveOrDefault(a, Curve(DefaultCurve3D()));
  RequireDims(r.curve, 3, 3, "plane intersection");
  r.e = ParseList(a["--plane"].text, "--plane", 4);
  const std::vector<double>& e = r.e;
  if (e[0] == 0 && e[1] == 0 && e[2] == 0)
    throw InputError("--plane: a, b and c are all 0, which is no plane");
  const GEO_PlaneEq plane{e[0], e[1], e[2], e[3]};

  CRV_IntersectPlane(r.curve.As3D(), plane, &r.ts);
  for (double t : r.ts) {
    double p[3];
    CRV_EvaluatePoint(r.curve.get(), t, p);
    r.points.emplace_back(p, p + 3);
  }
  return r;
}

void Report(const Args& a, const PlaneResult& r, Session& s) {
  nlohmann::json result{
      {"curve", CurveJson(r.curve)}, {"plane", r.e}, {"crossings", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(r.curve) << "\nplane " << Equation(r.e, Num) << "\n"
       << Count(r.ts.size(), "crossing") << "\n";
  for (size_t i = 0; i < r.ts.size(); ++i) {
    result["crossings"].push_back({{"t", r.ts[i]}, {"point", r.points[i]}});
    text << "t " << Num(r.ts[i]) << "  point " << Point(r.points[i].data(), 3) << "\n";
  }
  Emit(a, result, text.str(), s);
}

void Draw(const Args& a, const PlaneResult& r, Session& s) {
  const EdgeView view(r.e);
  Curve edge(2);
  for (int i = 0; i < 4; ++i) {
    const svg::Point q = view(r.curve.get()->ctpts[i]);
    edge.at(i, 0) = q.x;
    edge.at(i, 1) = q.y;
  }
  Figure fig("crv plane: " + Count(r.ts.size(), "crossing") + " with " + Equation(r.e, Short));
  fig.Subtitle("seen along the plane: up is the signed distance from it, across a direction in it");
  fig.Axes(std::string(1, "xyz"[view.axis]) + " axis made parallel to the plane",
           "signed distance from the plane");
  fig.Input(edge);
  double lo[2], hi[2];
  CRV_EvaluateBounds(edge.get(), lo, hi);
  const double pad = 0.1 * (hi[0] - lo[0]);
  fig.Polyline({{lo[0] - pad, 0}, {hi[0] + pad, 0}}, ink::Thin(ink::kGreen, 1.5, "8 4"),
               "the plane, edge-on");
  std::vector<svg::Point> dots;
  for (const auto& p : r.points) dots.push_back({view(p.data()).x, 0});
  fig.Dots(dots, ink::kRedDot, 6, "crossings");
  for (size_t i = 0; i < r.ts.size() && i < 8; ++i)
    fig.Note(dots[i], "t=" + Short(r.ts[i]), "#d62728");
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const PlaneResult r = Compute(a);
  Report(a, r, s);
  if (a["--svg"].given) Draw(a, r, s);
}

const Registered kRegistered("plane", Run);

}  // namespace
}  // namespace crvtool
