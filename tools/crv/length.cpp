// `crv length`: arc length through the library's table or its spline: the total, s at t and t
// at s.
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDims(curve, 2, 3, "arc length");
  const CRV_Curve* c = curve.get();
  const bool spline = a["--method"].text == "spline";
  if (!spline && a["--method"].text != "table")
    throw InputError("--method: " + Quote(a["--method"].text) + " is neither table nor spline");
  RefuseUnless(!spline, a["--t"], "--t", "s at t is answered by the table only (drop --method spline)");
  RefuseUnless(!spline, a["--samples"], "--samples", "applies to --method table only");
  RefuseUnless(spline, a["--bound"], "--bound", "applies to --method spline only");
  const auto n = static_cast<int32_t>(ParseCount(a["--samples"].text, "--samples", 2, 1000000));
  const double bound = ParseNumber(a["--bound"].text, "--bound");
  if (bound <= 0) throw InputError("--bound: the fit's error bound must be positive");

  OwnedList list;
  double total = 0;
  if (spline)
    Check(CRV_BuildArcSpline(c, bound, &list.handle, &total), "CRV_BuildArcSpline");
  else
    Check(CRV_BuildArcTable(c, n, &list.handle, &total), "CRV_BuildArcTable");

  auto tFromS = [&](double arc) {
    double t = 0;
    if (spline)
      Check(CRV_TFromSSpline(c, arc, bound, &list.handle, &t), "CRV_TFromSSpline");
    else
      Check(CRV_TFromS(c, arc, n, &list.handle, &t), "CRV_TFromS");
    return t;
  };

  std::vector<double> ss;
  if (a["--s"].given) ss = ParseList(a["--s"].text, "--s");
  const std::vector<double> ts = a["--t"].given ? ParseList(a["--t"].text, "--t") : std::vector<double>{};
  if (ss.empty() && ts.empty())
    for (int k = 0; k <= 4; ++k) ss.push_back(total * k / 4);

  const int32_t segments = (list.Count() - 1) / 3;
  nlohmann::json result{{"curve", CurveJson(curve)},
                        {"method", a["--method"].text},
                        {"length", total},
                        {"s_at_t", nlohmann::json::array()},
                        {"t_at_s", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\nlength " << Num(total) << " (";
  if (spline)
    text << "spline of " << Count(segments, "segment") << ", bound " << Num(bound) << ")\n";
  else
    text << "table of " << n << " samples)\n";
  result[spline ? "segments" : "samples"] = spline ? segments : n;
  for (double t : ts) {
    double arc = 0;
    Check(CRV_SFromT(c, t, n, &list.handle, &arc), "CRV_SFromT");
    result["s_at_t"].push_back({{"t", t}, {"s", arc}});
    text << "t " << Num(t) << " -> s " << Num(arc) << "\n";
  }
  for (double arc : ss) {
    const double t = tFromS(arc);
    result["t_at_s"].push_back({{"s", arc}, {"t", t}});
    text << "s " << Num(arc) << " -> t " << Num(t) << "\n";
  }
  Emit(a, result, text.str(), s);

  if (!a["--svg"].given) return;
  constexpr int kSteps = 12;
  Figure fig("crv length: " + std::to_string(kSteps) + " equal steps of arc length (" +
             a["--method"].text + ")");
  fig.Subtitle("length " + Short(total) + "; blue dots at s = k L / " + std::to_string(kSteps) +
               ", small red dots at t = k / " + std::to_string(kSteps) + " for comparison");
  fig.Input(curve);
  std::vector<svg::Point> even, byT;
  for (int k = 0; k <= kSteps; ++k) {
    double p[3], q[3];
    Check(CRV_EvaluatePoint(c, tFromS(total * k / kSteps), p), "CRV_EvaluatePoint");
    Check(CRV_EvaluatePoint(c, double(k) / kSteps, q), "CRV_EvaluatePoint");
    even.push_back({p[0], p[1]});
    byT.push_back({q[0], q[1]});
  }
  fig.Dots(byT, ink::kRedDot, 3, "even steps in t");
  fig.Dots(even, ink::kBlueDot, 5.5, "even steps in s");
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("length", Run);

}  // namespace
}  // namespace crvtool
