// `crv flatten`: adaptive flattening of a function curve into a polyline, clipped to a time range.
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
  std::string minChord = "0", angleTol = "0.0005", minDepth = "2", maxDepth = "10", from, to;
};

// Each depth doubles the possible point count: 20 allows a million points, more would only
// exhaust memory.
constexpr long kMaxDepth = 20;

// The library's depth-bounded flatness test, called with the parameter record as context. A
// forwarding function keeps the call type-correct instead of casting the function pointer.
int32_t IsFlat(void* context, uint32_t depth, double t0, double t1, const double* p0,
               const double* p1, const CRV_Curve* curve, bool* accept) {
  return CRV_IsLinearFunc(static_cast<const CRV_LinearityParams*>(context), depth, t0, t1, p0, p1,
                          curve, accept);
}

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultFunctionCurve()));
  RequireDims(curve, 2, kMaxDims, "a function curve (time, value)");

  CRV_LinearityParams params{};
  const double minChord = ParseNumber(o.minChord, "--min-chord");
  if (minChord < 0) throw InputError("--min-chord: must not be negative");
  params.minChordSq = minChord * minChord;
  params.angleTol = ParseNumber(o.angleTol, "--angle-tol");
  if (params.angleTol < 0) throw InputError("--angle-tol: must not be negative");
  params.checkWord = CRV_LINEARITY_CHECK_WORD;
  params.minDepth = uint32_t(ParseCount(o.minDepth, "--min-depth", 0, kMaxDepth));
  params.maxDepth = uint32_t(ParseCount(o.maxDepth, "--max-depth", 0, kMaxDepth));
  if (params.minDepth > params.maxDepth + 1)
    throw InputError("--min-depth: above --max-depth + 1, where every piece is already straight");
  double xLow = 0, xHigh = 0;
  if (!o.from.empty()) xLow = ParseNumber(o.from, "--from");
  if (!o.to.empty()) xHigh = ParseNumber(o.to, "--to");
  if (!o.from.empty() && !o.to.empty() && xLow > xHigh)
    throw InputError("--from: " + o.from + " is after --to " + o.to);

  OwnedList list;
  Check(SEQ_New(0, 16, 32, 1, &list.handle), "SEQ_New");
  bool haveRange = false;
  double yMin = 0, yMax = 0;
  Check(CRV_EvaluateAdaptively(&IsFlat, &params, o.from.empty() ? nullptr : &xLow,
                               o.to.empty() ? nullptr : &xHigh, curve.Record(), &haveRange, &yMin,
                               &yMax, &list.handle),
        "CRV_EvaluateAdaptively");
  const std::vector<double> xy = list.Doubles(2);
  const size_t count = xy.size() / 2;

  nlohmann::json points = nlohmann::json::array();
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n" << count << " points";
  if (haveRange) text << ", y from " << Num(yMin) << " to " << Num(yMax);
  text << "\n";
  for (size_t i = 0; i < count; ++i) {
    points.push_back({xy[2 * i], xy[2 * i + 1]});
    text << Point(&xy[2 * i], 2) << "\n";
  }
  nlohmann::json result{{"curve", CurveJson(curve)}, {"points", points}};
  if (haveRange) result["y_range"] = {yMin, yMax};
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv flatten: " + std::to_string(count) + " points for a function curve");
  fig.Subtitle("pieces are halved until their tangents run along the chord (depth " + o.minDepth +
               " to " + o.maxDepth + ")");
  fig.Input(curve, "function curve y(x)");
  std::vector<svg::Point> v;
  for (size_t i = 0; i < count; ++i) v.push_back({xy[2 * i], xy[2 * i + 1]});
  svg::Style line = ink::kRed;
  line.strokeWidth = 1.5;
  fig.Polyline(v, line, "polyline");
  fig.Dots(v, ink::kRedDot, 3.5, "points");
  if (haveRange) {
    svg::Style range = ink::kGreen;
    range.strokeWidth = 1;
    range.dash = "4 3";
    const double x0 = count ? xy[0] : 0, x1 = count ? xy[2 * count - 2] : 0;
    fig.Polyline({{x0, yMin}, {x1, yMin}}, range, "y range of the points");
    fig.Polyline({{x0, yMax}, {x1, yMax}}, range, "");
  }
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterFlatten(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "flatten",
      "Flatten a function curve (time, value) into a polyline adaptively: pieces are halved "
      "until both end tangents lie along the chord within --angle-tol (or the chord is shorter "
      "than --min-chord), between --min-depth and --max-depth halvings; --from and --to clip "
      "the time range. Prints the points and the value range.",
      "crv flatten --curve \"0,0 40,100 60,-50 100,50\" --from 10 --to 90");
  AddCommonOptions(cmd, o->common,
                   "The function curve: 4 points of 2 or more coordinates, time then value", true);
  cmd->add_option("--min-chord", o->minChord, "A chord shorter than this is straight")
      ->type_name("LEN")
      ->capture_default_str();
  cmd->add_option("--angle-tol", o->angleTol,
                  "Tolerance on the cosine between each end tangent and the chord")
      ->type_name("TOL")
      ->capture_default_str();
  cmd->add_option("--min-depth", o->minDepth, "Halvings always made, 0 to 20")
      ->type_name("N")
      ->capture_default_str();
  cmd->add_option("--max-depth", o->maxDepth, "Halvings at most, 0 to 20")
      ->type_name("N")
      ->capture_default_str();
  cmd->add_option("--from", o->from, "Clip before this time")->type_name("X");
  cmd->add_option("--to", o->to, "Clip after this time")->type_name("X");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryFlatten(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
