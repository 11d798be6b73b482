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

// The polyline and the range of its values.
struct FlattenResult {
  Curve curve;
  std::vector<double> xy;  // x, y of each point
  bool haveRange = false;
  double yMin = 0, yMax = 0;
  size_t Count() const { return xy.size() / 2; }
};

FlattenResult Compute(const Args& a) {
  FlattenResult r;
  r.curve = CurveOrDefault(a, Curve(DefaultFunctionCurve()));
  RequireDims(r.curve, 2, kMaxDims, "a function curve (time, value)");
  RequireForwardTime(r.curve);

  CRV_LinearityParams params{};
  const double minChord = ParsePositive(a["--min-chord"].text, "--min-chord", true);
  params.minChordSq = minChord * minChord;
  // The test compares |cos| >= 1 - tol: from 1 on every piece is straight.
  params.angleTol = ParseNumber(a["--angle-tol"].text, "--angle-tol", 0, 1);
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
  Check(CRV_EvaluateAdaptively(CRV_IsLinearCallback, &params, a["--from"].given ? &xLow : nullptr,
                               a["--to"].given ? &xHigh : nullptr, r.curve.get(), &r.haveRange,
                               &r.yMin, &r.yMax, &list.handle),
        "CRV_EvaluateAdaptively");
  r.xy = list.Doubles();
  return r;
}

void Report(const Args& a, const FlattenResult& r, Session& s) {
  const std::vector<double>& xy = r.xy;
  const size_t count = r.Count();
  nlohmann::json points = nlohmann::json::array();
  std::ostringstream text;
  text << "curve " << CurveText(r.curve) << "\n" << Count(count, "point");
  if (r.haveRange) text << ", y from " << Num(r.yMin) << " to " << Num(r.yMax);
  text << "\n";
  for (size_t i = 0; i < count; ++i) {
    points.push_back({xy[2 * i], xy[2 * i + 1]});
    text << Point(&xy[2 * i], 2) << "\n";
  }
  nlohmann::json result{{"curve", CurveJson(r.curve)}, {"points", points}};
  if (r.haveRange) result["y_range"] = {r.yMin, r.yMax};
  Emit(a, result, text.str(), s);
}

void Draw(const Args& a, const FlattenResult& r, Session& s) {
  const std::vector<double>& xy = r.xy;
  const size_t count = r.Count();
  Figure fig("crv flatten: " + Count(count, "point") + " for a function curve",
             Figure::Frame::kFunction);
  fig.Axes("time x", "value y");
  fig.Subtitle("pieces are halved until their tangents run along the chord (" +
               a["--min-depth"].text + " to " + a["--max-depth"].text + " + 1 halvings)");
  fig.Input(r.curve, "function curve y(x)");
  std::vector<svg::Point> v;
  for (size_t i = 0; i < count; ++i) v.push_back({xy[2 * i], xy[2 * i + 1]});
  fig.Polyline(v, ink::Thin(ink::kRed, 1.5), "polyline");
  fig.Dots(v, ink::kRedDot, 3.5, "points");
  if (r.haveRange) {
    const svg::Style range = ink::Thin(ink::kGreen, 1, "4 3");
    const double x0 = count ? xy[0] : 0, x1 = count ? xy[2 * count - 2] : 0;
    fig.Polyline({{x0, r.yMin}, {x1, r.yMin}}, range, "y range of the points");
    fig.Polyline({{x0, r.yMax}, {x1, r.yMax}}, range, "");
  }
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const FlattenResult r = Compute(a);
  Report(a, r, s);
  if (a["--svg"].given) Draw(a, r, s);
}

const Registered kRegistered("flatten", Run);

}  // namespace
}  // namespace crvtool
