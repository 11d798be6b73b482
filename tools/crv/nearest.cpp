// `crv nearest`: the parameter of the curve point nearest to given points.
#include <CLI/CLI.hpp>
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
  std::string points;
};

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve2D()));
  RequireDims(curve, 2, 2, "the nearest-point query");
  const CRV_CurveClass2D c2 = curve.As2D();

  std::vector<std::vector<double>> probes;
  std::istringstream words(o.points.empty() ? "170,230 120,80 330,160 20,120 250,40" : o.points);
  for (std::string w; words >> w;) probes.push_back(ParseList(w, "--point", 2));
  if (probes.empty()) throw InputError("--point: no points given");

  nlohmann::json result{{"curve", CurveJson(curve)}, {"queries", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n";
  std::vector<svg::Point> from, to;
  for (const auto& q : probes) {
    const double t = CRV_NearestPointOnCurve({q[0], q[1]}, c2);
    double p[2];
    Check(CRV_EvaluatePoint(curve.Record(), t, p), "CRV_EvaluatePoint");
    const double d = std::hypot(p[0] - q[0], p[1] - q[1]);
    result["queries"].push_back(
        {{"point", q}, {"t", t}, {"nearest", std::vector<double>(p, p + 2)}, {"distance", d}});
    text << "point " << Point(q) << " -> t " << Num(t) << "  nearest " << Point(p, 2)
         << "  distance " << Num(d) << "\n";
    from.push_back({q[0], q[1]});
    to.push_back({p[0], p[1]});
  }
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv nearest: the closest curve point to each query");
  fig.Subtitle("roots of (B(t) - q) . B'(t), compared with both ends");
  fig.Input(curve);
  svg::Style link = ink::kOrange;
  link.strokeWidth = 1.5;
  for (size_t i = 0; i < from.size(); ++i)
    fig.Polyline({from[i], to[i]}, link, i == 0 ? "shortest distance" : "");
  fig.Dots(from, ink::kOrangeDot, 5, "query points");
  fig.Dots(to, ink::kBlueDot, 5, "nearest curve points");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterNearest(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "nearest",
      "Find the parameter t of the point of a 2-D curve nearest to each query point, with that "
      "point and its distance.",
      "crv nearest --curve \"0,0 0,1 1,1 1,0\" --point \"0.5,1 2,0\"");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of 2 coordinates", true);
  cmd->add_option("--point", o->points, "Query points, separated by blanks")
      ->type_name("\"x,y ...\"");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryNearest(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
