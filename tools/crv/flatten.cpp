// `crv flatten`: adaptive flattening of a function curve into a polyline, clipped to a time range.
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// Each depth doubles the possible point count: 20 allows a million points, more would only
// exhaust memory.
constexpr long kMaxDepth = 20;

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultFunctionCurve()));
  RequireDims(curve, 2, kMaxDims, "a function curve (time, value)");

  CRV_LinearityParams params{};
  const double minChord = ParseNumber(a["--min-chord"].text, "--min-chord");
  if (minChord < 0) throw InputError("--min-chord: must not be negative");
  params.minChordSq = minChord * minChord;
  params.angleTol = ParseNumber(a["--angle-tol"].text, "--angle-tol");
  if (params.angleTol < 0) throw InputError("--angle-tol: must not be negative");
  params.checkWord = CRV_LINEARITY_CHECK_WORD;
  params.minDepth = uint32_t(ParseCount(a["--min-depth"].text, "--min-depth", 0, kMaxDepth));
  params.maxDepth = uint32_t(ParseCount(a["--max-depth"].text, "--max-depth", 0, kMaxDepth));
  if (params.minDepth > params.maxDepth + 1)
    throw InputError("--min-depth: above --max-depth + 1, where every piece is already straight");
  double xLow = 0, xHigh = 0;
  if (a["--from"].given) xLow = ParseNumber(a["--from"].text, "--from");
  if (a["--to"].given) xHigh = ParseNumber(a["--to"].text, "--to");
  if (a["--from"].given && a["--to"].given && xLow > xHigh)
    throw InputError("--from: " + Short(xLow) + " is after --to " + Short(xHigh));

  OwnedList list;
  Check(SEQ_New(0, 16, 32, 1, &list.handle), "SEQ_New");
  bool haveRange = false;
  double yMin = 0, yMax = 0;
  Check(CRV_EvaluateAdaptively(CRV_IsLinearCallback, &params, a["--from"].given ? &xLow : nullptr,
                               a["--to"].given ? &xHigh : nullptr, curve.get(), &haveRange, &yMin,
                               &yMax, &list.handle),
        "CRV_EvaluateAdaptively");
  const std::vector<double> xy = list.Doubles();
  const size_t count = xy.size() / 2;

  nlohmann::json points = nlohmann::json::array();
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n" << Count(count, "point");
  if (haveRange) text << ", y from " << Num(yMin) << " to " << Num(yMax);
  text << "\n";
  for (size_t i = 0; i < count; ++i) {
    points.push_back({xy[2 * i], xy[2 * i + 1]});
    text << Point(&xy[2 * i], 2) << "\n";
  }
  nlohmann::json result{{"curve", CurveJson(curve)}, {"points", points}};
  if (haveRange) result["y_range"] = {yMin, yMax};
  Emit(a, result, text.str(), s);

  if (!a["--svg"].given) return;
  Figure fig("crv flatten: " + Count(count, "point") + " for a function curve",
             Figure::Frame::kFunction);
  fig.Axes("time x", "value y");
  fig.Subtitle("pieces are halved until their tangents run along the chord (depth " +
               a["--min-depth"].text + " to " + a["--max-depth"].text + ")");
  fig.Input(curve, "function curve y(x)");
  std::vector<svg::Point> v;
  for (size_t i = 0; i < count; ++i) v.push_back({xy[2 * i], xy[2 * i + 1]});
  fig.Polyline(v, ink::Thin(ink::kRed, 1.5), "polyline");
  fig.Dots(v, ink::kRedDot, 3.5, "points");
  if (haveRange) {
    const svg::Style range = ink::Thin(ink::kGreen, 1, "4 3");
    const double x0 = count ? xy[0] : 0, x1 = count ? xy[2 * count - 2] : 0;
    fig.Polyline({{x0, yMin}, {x1, yMin}}, range, "y range of the points");
    fig.Polyline({{x0, yMax}, {x1, yMax}}, range, "");
  }
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("flatten", Run);

}  // namespace
}  // namespace crvtool
