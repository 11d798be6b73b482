// `crv ease`: lookups by time on a function curve (time on coordinate 0, value on coordinate 1):
// the value, its slope, the second-derivative quantity and the average over an interval.
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
  std::string css, xs, n, average;
};

// The counts of the sampled lookups are 16-bit in the library.
constexpr long kMaxSamples = 32767;

Curve FunctionCurve(const Options& o) {
  if (!o.css.empty()) {
    if (o.common.curveGiven) throw InputError("give --curve or --css, not both");
    const std::vector<double> c = ParseList(o.css, "--css", 4);
    // As in CSS, the handles may overshoot in value but not leave the unit interval in time.
    if (c[0] < 0 || c[0] > 1 || c[2] < 0 || c[2] > 1)
      throw InputError("--css: x1 and x2 must lie in [0, 1]");
    return Curve(2, {0, 0, c[0], c[1], c[2], c[3], 1, 1});
  }
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultEasing()));
  RequireDims(curve, 2, kMaxDims, "a function curve (time, value)");
  return curve;
}

void Run(const Options& o, std::ostream& out) {
  const Curve curve = FunctionCurve(o);
  const CRV_Curve* c = curve.Record();
  if (!o.xs.empty() && !o.n.empty()) throw InputError("give --x or --n, not both");
  const double x0 = curve.At(0, 0), x3 = curve.At(3, 0);

  std::vector<double> xs, ys, slopes;
  if (!o.xs.empty()) {
    xs = ParseList(o.xs, "--x");
    for (double x : xs) {
      double y = 0, slope = 0;
      Check(CRV_EvaluateYFromX(c, x, &y), "CRV_EvaluateYFromX");
      Check(CRV_Evaluate1dDerivFromX(c, x, &slope), "CRV_Evaluate1dDerivFromX");
      ys.push_back(y);
      slopes.push_back(slope);
    }
  } else {
    const long n = o.n.empty() ? 5 : ParseCount(o.n, "--n", 1, kMaxSamples);
    ys.resize(n);
    slopes.resize(n);
    Check(CRV_EvaluateYFromXs(c, x0, x3, int16_t(n), ys.data()), "CRV_EvaluateYFromXs");
    Check(CRV_Evaluate1dDerivsFromX(c, x0, x3, int16_t(n), slopes.data()),
          "CRV_Evaluate1dDerivsFromX");
    // The times the library sampled at: x0 plus i steps, accumulated the same way.
    const double step = n > 1 ? (x3 - x0) / double(n - 1) : 0;
    double x = x0;
    for (long i = 0; i < n; ++i, x += step) xs.push_back(x);
  }

  double a1 = x0, a2 = x3;
  if (!o.average.empty()) {
    const std::vector<double> a = ParseList(o.average, "--average", 2);
    a1 = a[0];
    a2 = a[1];
  }
  double average = 0;
  Check(CRV_EvaluateYAverageFromXToX(c, a1, a2, &average), "CRV_EvaluateYAverageFromXToX");

  nlohmann::json result{{"curve", CurveJson(curve)}, {"samples", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n";
  for (size_t i = 0; i < xs.size(); ++i) {
    double t = 0, second = 0;
    Check(CRV_TFromX(c, xs[i], &t), "CRV_TFromX");
    Check(CRV_Evaluate1dDeriv2FromX(c, xs[i], &second), "CRV_Evaluate1dDeriv2FromX");
    result["samples"].push_back(
        {{"x", xs[i]}, {"t", t}, {"y", ys[i]}, {"slope", slopes[i]}, {"second", second}});
    text << "x " << Num(xs[i]) << "  t " << Num(t) << "  y " << Num(ys[i]) << "  dy/dx "
         << Num(slopes[i]) << "  y''/x' " << Num(second) << "\n";
  }
  result["average"] = {{"x1", a1}, {"x2", a2}, {"y", average}};
  text << "average of y over the parameter between x " << Num(a1) << " and " << Num(a2) << ": "
       << Num(average) << "\n";
  if (!o.css.empty()) text << "css cubic-bezier(" << o.css << ")\n";
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv ease: value by time on a function curve");
  fig.Subtitle("y at each x solves x(t) = x for t first; the average is over the parameter");
  fig.Input(curve, "function curve y(x)");
  std::vector<svg::Point> dots;
  for (size_t i = 0; i < xs.size(); ++i) dots.push_back({xs[i], ys[i]});
  fig.Dots(dots, ink::kBlueDot, 5, "y at the sampled times");
  // Short slope marks: a run of a fortieth of the time span each side.
  const double run = (x3 - x0) / 40;
  for (size_t i = 0; i < xs.size() && xs.size() <= 50; ++i)
    if (std::isfinite(slopes[i]) && std::fabs(slopes[i]) < 1e6)
      fig.Polyline({{xs[i] - run, ys[i] - run * slopes[i]}, {xs[i] + run, ys[i] + run * slopes[i]}},
                   ink::kRed, i == 0 ? "slope dy/dx" : "");
  fig.Polyline({{a1, average}, {a2, average}}, ink::kOrange,
               "average y over [" + Num(a1) + ", " + Num(a2) + "]");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterEase(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "ease",
      "Look up a function curve by time: for each time x the parameter t, the value y, the slope "
      "dy/dx and the second-derivative quantity y''(t)/x'(t), and the average value between two "
      "times. --css x1,y1,x2,y2 builds the easing curve (0,0) (x1,y1) (x2,y2) (1,1). Default: "
      "the CSS 'ease' curve, sampled at 5 even times.",
      "crv ease --css 0.42,0,0.58,1 --x 0.1,0.5,0.9 --average 0,0.5");
  AddCommonOptions(cmd, o->common,
                   "The function curve: 4 points of 2 or more coordinates, time then value", true);
  cmd->add_option("--css", o->css, "An easing curve as in CSS cubic-bezier(); x1, x2 in [0, 1]")
      ->type_name("X1,Y1,X2,Y2");
  cmd->add_option("--x", o->xs, "Times, comma-separated")->type_name("X,...");
  cmd->add_option("--n", o->n, "Number of even times from P0.x to P3.x, 1 to 32767")
      ->type_name("N");
  cmd->add_option("--average", o->average, "The interval of the average (default: P0.x to P3.x)")
      ->type_name("X1,X2");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryEase(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  o.n = "9";
  o.average = "0.25,0.75";
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
