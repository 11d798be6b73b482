// `crv drag`: moves the curve point at t by a vector, through the two inner control points.
#include <CLI/CLI.hpp>
#include <algorithm>
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
  std::string t = "0.5", by;
};

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve2D()));
  RequireDrawable(o.common, curve);
  const int dims = curve.Dims();
  const double t = ParseNumber(o.t, "--t");
  if (t < 0 || t > 1) throw InputError("--t: " + o.t + " is outside [0, 1]");

  std::vector<double> delta(dims, 0.0);
  if (!o.by.empty()) {
    delta = ParseList(o.by, "--by");
    if (delta.size() != static_cast<size_t>(dims))
      throw InputError("--by: the curve has " + std::to_string(dims) +
                       " coordinates per point, --by has " + std::to_string(delta.size()));
  } else {
    // Without --by: lift the point by a quarter of the curve's extent in its last coordinate.
    std::vector<double> lo(dims), hi(dims);
    Check(CRV_EvaluateBounds(curve.Record(), lo.data(), hi.data()), "CRV_EvaluateBounds");
    const double extent = hi[dims - 1] - lo[dims - 1];
    delta[dims - 1] = extent > 0 ? extent / 4 : 1;
  }

  double weights[4];
  Check(CRV_DirectManipSetup(t, weights), "CRV_DirectManipSetup");
  Curve moved = curve;
  Check(CRV_DirectManipCurve(moved.Record(), delta.data(), weights), "CRV_DirectManipCurve");
  std::vector<double> before(dims), after(dims);
  Check(CRV_EvaluatePoint(curve.Record(), t, before.data()), "CRV_EvaluatePoint");
  Check(CRV_EvaluatePoint(moved.Record(), t, after.data()), "CRV_EvaluatePoint");
  const bool pinned = weights[1] == 0 && weights[2] == 0;

  std::ostringstream text;
  text << "drag B(" << Num(t) << ") by " << Point(delta) << "\nweights of P1, P2 "
       << Num(weights[1]) << ", " << Num(weights[2]) << "\nbefore " << CurveText(curve)
       << "\nafter  " << CurveText(moved) << "\nB(" << Num(t) << ") " << Point(before) << " -> "
       << Point(after) << "\n";
  if (pinned) text << "note: an end point cannot be dragged this way; the curve is unchanged\n";
  Emit(o.common,
       {{"t", t},
        {"delta", delta},
        {"weights", std::vector<double>(weights, weights + 4)},
        {"before", CurveJson(curve)},
        {"after", CurveJson(moved)},
        {"point_before", before},
        {"point_after", after},
        {"end_point", pinned}},
       text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv drag: the point at t = " + Num(t) + " moved by " + Point(delta));
  fig.Subtitle("P1 and P2 move by the least change that carries B(t) exactly");
  fig.Input(curve, "curve before");
  fig.Curve(moved, ink::kBlue, "curve after");
  svg::Style polygon = ink::kBlue;
  polygon.strokeWidth = 1;
  polygon.dash = "3 3";
  std::vector<svg::Point> movedPolygon;
  for (int i = 0; i < 4; ++i) movedPolygon.push_back({moved.At(i, 0), moved.At(i, 1)});
  fig.Polyline(movedPolygon, polygon, "control polygon after");
  fig.Polyline({{before[0], before[1]}, {after[0], after[1]}}, ink::kRed, "drag");
  fig.Dots({{before[0], before[1]}}, ink::kRedDot, 5, "B(t) before");
  fig.Dots({{after[0], after[1]}}, ink::kBlueDot, 5, "B(t) after");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterDrag(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "drag",
      "Drag the curve point at t by a vector: P1 and P2 move so that B(t) moves by exactly that "
      "vector; the end points stay. At t = 0 or 1 the curve cannot be dragged this way.",
      "crv drag --curve \"0,0 0,1 1,1 1,0\" --t 0.5 --by 0,0.25");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of any dimension count", true);
  cmd->add_option("--t", o->t, "The parameter of the point to drag, in [0, 1]")
      ->type_name("T")
      ->capture_default_str();
  cmd->add_option("--by", o->by,
                  "The move, one number per coordinate (default: a quarter of the curve's extent "
                  "in its last coordinate)")
      ->type_name("DX,DY,...");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryDrag(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  o.t = "0.3";
  o.by = "-30,60";
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
