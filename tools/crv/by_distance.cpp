// `crv by-distance`: the curve as points closer together than a distance, by halving.
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
  std::string distance;
};

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve2D()));
  RequireDims(curve, 2, kMaxDims, "evaluation by distance (on x and y)");
  const CRV_Curve* c = curve.Record();

  double distance = 0;
  if (!o.distance.empty()) {
    distance = ParseNumber(o.distance, "--distance");
    if (distance <= 0) throw InputError("--distance: must be positive");
  } else {
    // A sixteenth of the x-y box's diagonal gives a picture with a few dozen points.
    std::vector<double> lo(curve.Dims()), hi(curve.Dims());
    Check(CRV_EvaluateBounds(c, lo.data(), hi.data()), "CRV_EvaluateBounds");
    distance = std::hypot(hi[0] - lo[0], hi[1] - lo[1]) / 16;
    if (!(distance > 0)) distance = 1;
  }

  OwnedList list;
  Check(CRV_EvaluateByDistance(c, distance, 0, &list.handle), "CRV_EvaluateByDistance");
  const std::vector<double> xy = list.Doubles(2);
  const size_t count = xy.size() / 2;

  nlohmann::json points = nlohmann::json::array();
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n"
       << count << " points, each step shorter than " << Num(distance) << "\n";
  double longest = 0;
  for (size_t i = 0; i < count; ++i) {
    points.push_back({xy[2 * i], xy[2 * i + 1]});
    text << Point(&xy[2 * i], 2) << "\n";
    if (i > 0)
      longest =
          std::max(longest, std::hypot(xy[2 * i] - xy[2 * i - 2], xy[2 * i + 1] - xy[2 * i - 1]));
  }
  text << "longest step " << Num(longest) << "\n";
  Emit(o.common,
       {{"curve", CurveJson(curve)},
        {"distance", distance},
        {"longest_step", longest},
        {"points", points}},
       text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv by-distance: points less than " + Num(distance) + " apart");
  fig.Subtitle(std::to_string(count) + " points at parameters k / 2^m; the longest step is " +
               Num(longest));
  fig.Input(curve);
  std::vector<svg::Point> v;
  for (size_t i = 0; i < count; ++i) v.push_back({xy[2 * i], xy[2 * i + 1]});
  svg::Style chord = ink::kBlue;
  chord.strokeWidth = 1.5;
  fig.Polyline(v, chord, "chords");
  fig.Dots(v, ink::kBlueDot, 3.5, "points");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterByDistance(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "by-distance",
      "Cut the curve's x-y projection into points whose successive straight distances are "
      "below --distance (by halving the parameter, at least into eighths).",
      "crv by-distance --curve \"0,0 0,1 1,1 1,0\" --distance 0.1");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of 2 or more coordinates", true);
  cmd->add_option("--distance", o->distance,
                  "The greatest step, positive (default: a sixteenth of the bounds' diagonal)")
      ->type_name("D");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryByDistance(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
