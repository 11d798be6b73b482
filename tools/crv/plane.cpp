// `crv plane`: where a 3-D curve meets the plane a x + b y + c z + d = 0.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "common.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

struct Options {
  CommonOptions common;
  std::string plane = "0,1,0,-50";
};

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve3D()));
  RequireDims(curve, 3, 3, "plane intersection");
  const std::vector<double> e = ParseList(o.plane, "--plane", 4);
  if (e[0] == 0 && e[1] == 0 && e[2] == 0)
    throw InputError("--plane: a, b and c are all 0, which is no plane");
  const GEO_PlaneEq plane{e[0], e[1], e[2], e[3]};

  std::vector<double> ts;
  CRV_IntersectPlane(curve.As3D(), plane, &ts);

  nlohmann::json result{
      {"curve", CurveJson(curve)}, {"plane", e}, {"crossings", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\nplane " << Num(e[0]) << " x + " << Num(e[1]) << " y + "
       << Num(e[2]) << " z + " << Num(e[3]) << " = 0\n"
       << ts.size() << " crossing(s)\n";
  std::vector<svg::Point> dots;
  for (double t : ts) {
    double p[3];
    Check(CRV_EvaluatePoint(curve.Record(), t, p), "CRV_EvaluatePoint");
    result["crossings"].push_back({{"t", t}, {"point", std::vector<double>(p, p + 3)}});
    text << "t " << Num(t) << "  point " << Point(p, 3) << "\n";
    dots.push_back({p[0], p[1]});
  }
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv plane: " + std::to_string(ts.size()) + " crossing(s) with a plane");
  fig.Subtitle("seen from above (x right, y up); plane " + o.plane + " as a x + b y + c z + d = 0");
  fig.Input(curve);
  // A plane upright in this view (c = 0) shows as its trace, the line a x + b y + d = 0, drawn
  // across the curve's bounds.
  if (e[2] == 0) {
    double lo[3], hi[3];
    Check(CRV_EvaluateBounds(curve.Record(), lo, hi), "CRV_EvaluateBounds");
    const double pad = 0.1 * std::max(hi[0] - lo[0], hi[1] - lo[1]);
    std::vector<svg::Point> trace;
    if (std::fabs(e[1]) >= std::fabs(e[0])) {
      for (double x : {lo[0] - pad, hi[0] + pad}) trace.push_back({x, -(e[0] * x + e[3]) / e[1]});
    } else {
      for (double y : {lo[1] - pad, hi[1] + pad}) trace.push_back({-(e[1] * y + e[3]) / e[0], y});
    }
    svg::Style line = ink::kGreen;
    line.strokeWidth = 1.5;
    line.dash = "8 4";
    fig.Polyline(trace, line, "the plane");
  }
  fig.Dots(dots, ink::kRedDot, 6, "crossings");
  for (size_t i = 0; i < ts.size() && i < 8; ++i) fig.Note(dots[i], "t=" + Short(ts[i]), "#d62728");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterPlane(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "plane",
      "Find the parameters where a 3-D curve meets the plane a x + b y + c z + d = 0, in "
      "ascending order, with the points there.",
      "crv plane --curve \"0,0,-1 1,0,3 2,0,3 3,0,-1\" --plane 0,0,1,0");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of 3 coordinates", true);
  cmd->add_option("--plane", o->plane, "The plane's a, b, c, d")
      ->type_name("A,B,C,D")
      ->capture_default_str();
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryPlane(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
