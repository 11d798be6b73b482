// `crv ease`: lookups by time on a function curve (time on coordinate 0, value on coordinate 1):
// the value, its slope, the second-derivative quantity and the average over an interval.
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// The counts of the sampled lookups are 16-bit in the library.
constexpr long kMaxSamples = 32767;
// Where the time runs slower than this per unit parameter the library reports a sentinel slope
// of +-1e10 (and a second-derivative quantity divided by ~0): the tangent is vertical and both
// are undefined, which the tool says instead of printing the sentinel.
constexpr double kFlatTimeSpeed = 1e-12;

Curve FunctionCurve(const Args& a) {
  if (a["--css"].given) {
    if (a["--curve"].given) throw InputError("give --curve or --css, not both");
    const std::vector<double> c = ParseList(a["--css"].text, "--css", 4);
    // As in CSS, the handles may overshoot in value but not leave the unit interval in time.
    if (c[0] < 0 || c[0] > 1 || c[2] < 0 || c[2] > 1)
      throw InputError("--css: x1 and x2 must lie in [0, 1]");
    return Curve(2, {0, 0, c[0], c[1], c[2], c[3], 1, 1});
  }
  const Curve curve = CurveOrDefault(a, Curve(DefaultEasing()));
  RequireDims(curve, 2, kMaxDims, "a function curve (time, value)");
  RequireForwardTime(curve);
  return curve;
}

// The lookups at each sampled time, and the average.
struct EaseResult {
  Curve curve;
  std::vector<double> xs, ts, ys, slopes, seconds;
  double a1 = 0, a2 = 0, average = 0;  // the average of y between times a1 and a2
};

EaseResult Compute(const Args& a) {
  EaseResult r;
  r.curve = FunctionCurve(a);
  const Curve& curve = r.curve;
  const CRV_Curve* c = curve.get();
  if (a["--x"].given && a["--n"].given) throw InputError("give --x or --n, not both");
  const double x0 = curve.at(0, 0), x3 = curve.at(3, 0);

  std::vector<double>& xs = r.xs;
  std::vector<double>& ys = r.ys;
  std::vector<double>& slopes = r.slopes;
  if (a["--x"].given) {
    xs = ParseList(a["--x"].text, "--x");
    for (double x : xs) {
      double y = 0, slope = 0;
      CRV_EvaluateYFromX(c, x, &y);
      CRV_Evaluate1dDerivFromX(c, x, &slope);
      ys.push_back(y);
      slopes.push_back(slope);
    }
  } else {
    const long n = a["--n"].given ? ParseCount(a["--n"].text, "--n", 1, kMaxSamples) : 5;
    ys.resize(n);
    slopes.resize(n);
    CRV_EvaluateYFromXs(c, x0, x3, int16_t(n), ys.data());
    CRV_Evaluate1dDerivsFromX(c, x0, x3, int16_t(n), slopes.data());
    // The times the library sampled at: x0 plus i steps, accumulated the same way.
    const double step = n > 1 ? (x3 - x0) / double(n - 1) : 0;
    double x = x0;
    for (long i = 0; i < n; ++i, x += step) xs.push_back(x);
  }

  r.a1 = x0;
  r.a2 = x3;
  if (a["--average"].given) {
    // Both ends before the start (or after the end) solve to one parameter, whose average the
    // library gives as 0: the interval stays within the curve's times.
    const std::vector<double> interval = ParseList(a["--average"].text, "--average", 2, x0, x3);
    r.a1 = interval[0];
    r.a2 = interval[1];
  }
  CRV_EvaluateYAverageFromXToX(c, r.a1, r.a2, &r.average);

  std::vector<double> speed(curve.dims());
  for (size_t i = 0; i < xs.size(); ++i) {
    double t = 0, second = 0;
    CRV_TFromX(c, xs[i], &t);
    CRV_Evaluate1dDeriv2FromX(c, xs[i], &second);
    CRV_EvaluateDeriv(c, t, speed.data());
    if (std::fabs(speed[0]) < kFlatTimeSpeed) slopes[i] = second = NAN;
    r.ts.push_back(t);
    r.seconds.push_back(second);
  }
  return r;
}

void Report(const Args& a, const EaseResult& r, Session& s) {
  nlohmann::json result{{"curve", CurveJson(r.curve)}, {"samples", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(r.curve) << "\n";
  for (size_t i = 0; i < r.xs.size(); ++i) {
    result["samples"].push_back({{"x", r.xs[i]},
                                 {"t", r.ts[i]},
                                 {"y", r.ys[i]},
                                 {"slope", r.slopes[i]},
                                 {"second", r.seconds[i]}});
    text << "x " << Num(r.xs[i]) << "  t " << Num(r.ts[i]) << "  y " << Num(r.ys[i])
         << "  dy/dx " << Num(r.slopes[i]) << "  y''/x' " << Num(r.seconds[i]) << "\n";
  }
  result["average"] = {{"x1", r.a1}, {"x2", r.a2}, {"y", r.average}};
  text << "average of y over the parameter t, between x = " << Num(r.a1) << " and " << Num(r.a2)
       << ": " << Num(r.average) << "\n";
  if (a["--css"].given) text << "css cubic-bezier(" << a["--css"].text << ")\n";
  Emit(a, result, text.str(), s);
}

void Draw(const Args& a, const EaseResult& r, Session& s) {
  const std::vector<double>& xs = r.xs;
  const std::vector<double>& ys = r.ys;
  const std::vector<double>& slopes = r.slopes;
  const double x0 = r.curve.at(0, 0), x3 = r.curve.at(3, 0);
  Figure fig("crv ease: value by time on a function curve", Figure::Frame::kFunction);
  fig.Axes("time x", "value y");
  fig.Subtitle("y at each x solves x(t) = x for t first; the average is over the parameter");
  fig.Input(r.curve, "function curve y(x)");
  std::vector<svg::Point> dots;
  for (size_t i = 0; i < xs.size(); ++i) dots.push_back({xs[i], ys[i]});
  fig.Polyline({{r.a1, r.average}, {r.a2, r.average}}, ink::kOrange,
               "average y over t, for x in [" + Short(r.a1) + ", " + Short(r.a2) + "]");
  // Slope marks, drawn after the curve so that they lie over it: a run of a twentieth of the
  // time span each side reaches out of the curve's pale band and the dot's disc.
  const double run = (x3 - x0) / 20;
  const svg::Style slope = ink::Thin(ink::kRed, 2);
  for (size_t i = 0; i < xs.size() && xs.size() <= 50; ++i)
    if (std::isfinite(slopes[i]) && std::fabs(slopes[i]) < 1e6)
      fig.Polyline({{xs[i] - run, ys[i] - run * slopes[i]}, {xs[i] + run, ys[i] + run * slopes[i]}},
                   slope, i == 0 ? "slope dy/dx" : "");
  fig.Dots(dots, ink::kBlueDot, 5, "y at the sampled times");
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const EaseResult r = Compute(a);
  Report(a, r, s);
  if (a["--svg"].given) Draw(a, r, s);
}

const Registered kRegistered("ease", Run);

}  // namespace
}  // namespace crvtool
