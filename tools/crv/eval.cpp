// `crv eval`: points and first and second derivatives at given parameters or at n even samples.
#include <cmath>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// Parameters far outside [0, 1] raise the coordinates' range to the third power: 1e6 keeps
// every result finite for coordinates within the tool's range.
constexpr double kMaxParameter = 1e6;
constexpr long kMaxSamples = 100000;

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDrawable(a, curve);
  if (a["--t"].given && a["--n"].given) throw InputError("give --t or --n, not both");
  const int dims = curve.dims();

  std::vector<double> ts;
  if (a["--t"].given) {
    ts = ParseList(a["--t"].text, "--t");
    for (double t : ts)
      if (std::fabs(t) > kMaxParameter)
        throw InputError("--t: " + Num(t) + " is outside [-1e6, 1e6]");
  } else {
    const long n = a["--n"].given ? ParseCount(a["--n"].text, "--n", 1, kMaxSamples) : 5;
    for (long i = 0; i < n; ++i) ts.push_back(n == 1 ? 0.0 : double(i) / double(n - 1));
  }
  std::vector<double> points(ts.size() * dims), d1(ts.size() * dims), d2(ts.size() * dims);
  if (a["--t"].given) {
    for (size_t i = 0; i < ts.size(); ++i) {
      Check(CRV_EvaluatePoint(curve.get(), ts[i], &points[i * dims]), "CRV_EvaluatePoint");
      Check(CRV_EvaluateDeriv(curve.get(), ts[i], &d1[i * dims]), "CRV_EvaluateDeriv");
    }
  } else {
    // Even samples come from the forward-differencing routines, as a host drawing a curve would.
    const auto n = static_cast<int32_t>(ts.size());
    Check(CRV_EvaluatePoints(curve.get(), 0, 1, n, points.data()), "CRV_EvaluatePoints");
    Check(CRV_EvaluateDerivs(curve.get(), 0, 1, n, d1.data()), "CRV_EvaluateDerivs");
  }
  for (size_t i = 0; i < ts.size(); ++i)
    Check(CRV_EvaluateDeriv2(curve.get(), ts[i], &d2[i * dims]), "CRV_EvaluateDeriv2");

  nlohmann::json result{{"curve", CurveJson(curve)}, {"samples", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n";
  auto slice = [dims](const std::vector<double>& v, size_t i) {
    return std::vector<double>(v.begin() + i * dims, v.begin() + (i + 1) * dims);
  };
  for (size_t i = 0; i < ts.size(); ++i) {
    result["samples"].push_back({{"t", ts[i]},
                                 {"point", slice(points, i)},
                                 {"d1", slice(d1, i)},
                                 {"d2", slice(d2, i)}});
    text << "t " << Num(ts[i]) << "  B " << Point(slice(points, i)) << "  B' "
         << Point(slice(d1, i)) << "  B'' " << Point(slice(d2, i)) << "\n";
  }
  Emit(a, result, text.str(), s);

  if (!a["--svg"].given) return;
  Figure fig("crv eval: points and tangents");
  fig.Subtitle("B(t) at " + Count(ts.size(), "parameter") + "; tangents drawn as B'(t)/3");
  fig.Input(curve);
  std::vector<svg::Point> dots;
  for (size_t i = 0; i < ts.size(); ++i) {
    const svg::Point p{points[i * dims], points[i * dims + 1]};
    // A third of the derivative is the handle length at the ends, so the picture's tangents
    // have the size of the control polygon's legs.
    fig.Polyline({p, {p.x + d1[i * dims] / 3, p.y + d1[i * dims + 1] / 3}}, ink::kRed,
                 i == 0 ? "tangent B'(t)/3" : "");
    dots.push_back(p);
  }
  fig.Dots(dots, ink::kBlueDot, 5, "B(t)");
  if (ts.size() <= 12)
    for (size_t i = 0; i < ts.size(); ++i) fig.Note(dots[i], "t=" + Short(ts[i]), "#1f77b4");
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("eval", Run);

}  // namespace
}  // namespace crvtool
