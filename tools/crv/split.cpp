// `crv split`: the two parts of the curve either side of a parameter, by de Casteljau.
#include <CLI/CLI.hpp>
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
  std::string t = "0.5";
};

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve2D()));
  RequireDrawable(o.common, curve);
  const double t = ParseNumber(o.t, "--t");
  if (t < 0 || t > 1) throw InputError("--t: " + o.t + " is outside [0, 1]");

  const int dims = curve.Dims();
  std::vector<double> five(5 * static_cast<size_t>(dims));
  Check(CRV_SubdivideCurve(curve.Record(), t, five.data()), "CRV_SubdivideCurve");
  // The five new points q0, r0, m, r1, q2: left = P0 q0 r0 m, right = m r1 q2 P3.
  Curve left = curve, right = curve;
  for (int k = 0; k < dims; ++k) {
    left.At(1, k) = five[0 * dims + k];
    left.At(2, k) = five[1 * dims + k];
    left.At(3, k) = five[2 * dims + k];
    right.At(0, k) = five[2 * dims + k];
    right.At(1, k) = five[3 * dims + k];
    right.At(2, k) = five[4 * dims + k];
  }

  std::ostringstream text;
  text << "split at t " << Num(t) << "\nleft  " << CurveText(left) << "\nright " << CurveText(right)
       << "\n";
  Emit(o.common, {{"t", t}, {"left", CurveJson(left)}, {"right", CurveJson(right)}}, text.str(),
       out);

  if (o.common.svg.empty()) return;
  Figure fig("crv split: the curve cut at t = " + Num(t));
  fig.Subtitle("de Casteljau: the parts are exact cubics of their own");
  fig.Curve(curve, ink::kCurve, "curve");
  fig.ControlPolygon(curve);
  fig.Curve(left, ink::kBlue, "left part, t in [0, " + Num(t) + "]");
  fig.Curve(right, ink::kRed, "right part, t in [" + Num(t) + ", 1]");
  svg::Style leftPolygon = ink::kBlue, rightPolygon = ink::kRed;
  leftPolygon.strokeWidth = rightPolygon.strokeWidth = 1;
  leftPolygon.dash = rightPolygon.dash = "3 3";
  fig.Polyline({{left.At(0, 0), left.At(0, 1)},
                {left.At(1, 0), left.At(1, 1)},
                {left.At(2, 0), left.At(2, 1)},
                {left.At(3, 0), left.At(3, 1)}},
               leftPolygon, "");
  fig.Polyline({{right.At(0, 0), right.At(0, 1)},
                {right.At(1, 0), right.At(1, 1)},
                {right.At(2, 0), right.At(2, 1)},
                {right.At(3, 0), right.At(3, 1)}},
               rightPolygon, "");
  fig.Dots({{right.At(0, 0), right.At(0, 1)}}, ink::kGreenDot, 6, "split point B(t)");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterSplit(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "split",
      "Split the curve at a parameter into two cubics that together trace it exactly.",
      "crv split --curve \"0,0 0,1 1,1 1,0\" --t 0.3 --svg split.svg");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of any dimension count", true);
  cmd->add_option("--t", o->t, "Where to split, in [0, 1]")->type_name("T")->capture_default_str();
  cmd->callback([o] { Run(*o, std::cout); });
}

void GallerySplit(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  o.t = "0.4";
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
