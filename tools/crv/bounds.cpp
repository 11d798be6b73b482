// `crv bounds`: the tight axis-aligned box of the curve over t in [0, 1].
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

void Run(const CommonOptions& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o, Curve(DefaultCurve2D()));
  RequireDrawable(o, curve);
  std::vector<double> lo(curve.Dims()), hi(curve.Dims());
  Check(CRV_EvaluateBounds(curve.Record(), lo.data(), hi.data()), "CRV_EvaluateBounds");

  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\nmin " << Point(lo) << "\nmax " << Point(hi) << "\n";
  Emit(o, {{"curve", CurveJson(curve)}, {"min", lo}, {"max", hi}}, text.str(), out);

  if (o.svg.empty()) return;
  Figure fig("crv bounds: the tight box of the curve");
  fig.Subtitle("from the end points and the turning points of each coordinate");
  fig.Box({lo[0], lo[1]}, {hi[0], hi[1]}, ink::kBox, "bounds");
  fig.Input(curve);
  fig.Note({lo[0], lo[1]}, "min " + Point(lo), "#52606d");
  fig.Note({hi[0], hi[1]}, "max " + Point(hi), "#52606d");
  fig.Save(o.svg);
}

}  // namespace

void RegisterBounds(CLI::App& app) {
  auto o = std::make_shared<CommonOptions>();
  CLI::App* cmd = AddSubcommand(
      app, "bounds",
      "Print the tight axis-aligned bounds of the curve over t in [0, 1], per coordinate.",
      "crv bounds --curve \"0,0,0 1,2,0 2,-1,1 3,0,0\" --json");
  AddCommonOptions(cmd, *o, "The curve: 4 points of any dimension count", true);
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryBounds(const std::filesystem::path& svg) {
  CommonOptions o;
  o.svg = svg.string();
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
