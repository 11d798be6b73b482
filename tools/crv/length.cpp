// `crv length`: arc length through the library's table or its spline: the total, s at t and t
// at s.
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
  std::string method = "table", samples = "128", bound = "0.01", ts, ss;
};

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve2D()));
  RequireDims(curve, 2, 3, "arc length");
  const CRV_Curve* c = curve.Record();
  const bool spline = o.method == "spline";
  if (!spline && o.method != "table")
    throw InputError("--method: '" + o.method + "' is neither table nor spline");
  if (spline && !o.ts.empty())
    throw InputError("--t: s at t is answered by the table only (drop --method spline)");
  const int32_t n = int32_t(ParseCount(o.samples, "--samples", 2, 1000000));
  const double bound = ParseNumber(o.bound, "--bound");
  if (bound <= 0) throw InputError("--bound: the fit's error bound must be positive");

  OwnedList list;
  double total = 0;
  if (spline)
    Check(CRV_BuildArcSpline(c, bound, &list.handle, &total), "CRV_BuildArcSpline");
  else
    Check(CRV_BuildArcTable(c, n, &list.handle, &total), "CRV_BuildArcTable");

  auto tFromS = [&](double s) {
    double t = 0;
    if (spline)
      Check(CRV_TFromSSpline(c, s, bound, &list.handle, &t), "CRV_TFromSSpline");
    else
      Check(CRV_TFromS(c, s, n, &list.handle, &t), "CRV_TFromS");
    return t;
  };

  std::vector<double> ss;
  if (!o.ss.empty()) ss = ParseList(o.ss, "--s");
  const std::vector<double> ts = o.ts.empty() ? std::vector<double>{} : ParseList(o.ts, "--t");
  if (ss.empty() && ts.empty())
    for (int k = 0; k <= 4; ++k) ss.push_back(total * k / 4);

  nlohmann::json result{{"curve", CurveJson(curve)},
                        {"method", o.method},
                        {"length", total},
                        {"s_at_t", nlohmann::json::array()},
                        {"t_at_s", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\nlength " << Num(total) << " (";
  if (spline)
    text << "spline of " << (list.Count() - 1) / 3 << " segment(s), bound " << Num(bound) << ")\n";
  else
    text << "table of " << n << " samples)\n";
  result[spline ? "segments" : "samples"] = spline ? (list.Count() - 1) / 3 : n;
  for (double t : ts) {
    double s = 0;
    Check(CRV_SFromT(c, t, n, &list.handle, &s), "CRV_SFromT");
    result["s_at_t"].push_back({{"t", t}, {"s", s}});
    text << "t " << Num(t) << " -> s " << Num(s) << "\n";
  }
  for (double s : ss) {
    const double t = tFromS(s);
    result["t_at_s"].push_back({{"s", s}, {"t", t}});
    text << "s " << Num(s) << " -> t " << Num(t) << "\n";
  }
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  constexpr int kSteps = 12;
  Figure fig("crv length: " + std::to_string(kSteps) + " equal steps of arc length (" + o.method +
             ")");
  fig.Subtitle("length " + Num(total) + "; dots at s = k L / " + std::to_string(kSteps) +
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
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterLength(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "length",
      "Measure a 2-D or 3-D curve: the total arc length, s at each t (--t) and t at each s "
      "(--s), through an arc-length table of --samples entries or through the arc-length spline "
      "(--method spline, t at s only). Default: t at s = 0, L/4, L/2, 3L/4, L.",
      "crv length --curve \"0,0 0,1 1,1 1,0\" --s 0.5,1 --method spline");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of 2 or 3 coordinates", true);
  cmd->add_option("--method", o->method, "table or spline")->capture_default_str();
  cmd->add_option("--samples", o->samples, "Entries of the table, 2 to 1000000")
      ->type_name("N")
      ->capture_default_str();
  cmd->add_option("--bound", o->bound,
                  "Error bound of the spline's fit, a squared distance in the curve's units")
      ->type_name("B")
      ->capture_default_str();
  cmd->add_option("--t", o->ts, "Parameters, comma-separated: print s at each")->type_name("T,...");
  cmd->add_option("--s", o->ss, "Arc lengths, comma-separated: print t at each")
      ->type_name("S,...");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryLength(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
