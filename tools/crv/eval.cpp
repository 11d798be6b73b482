// `crv eval`: points and first and second derivatives at given parameters or at n even samples.
#include <algorithm>
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

// B, B' and B'' at each parameter, `dims` coordinates each.
struct EvalResult {
  Curve curve;
  std::vector<double> ts, points, d1, d2;
};

EvalResult Compute(const Args& a) {
  EvalResult r;
  r.curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  const Curve& curve = r.curve;
  RequireDrawable(a, curve);
  if (a["--t"].given && a["--n"].given) throw InputError("give --t or --n, not both");
  const int dims = curve.dims();

  std::vector<double>& ts = r.ts;
  if (a["--t"].given) {
    ts = ParseList(a["--t"].text, "--t", 0, -kMaxParameter, kMaxParameter);
  } else {
    const long n = a["--n"].given ? ParseCount(a["--n"].text, "--n", 1, kMaxSamples) : 5;
    for (long i = 0; i < n; ++i) ts.push_back(n == 1 ? 0.0 : double(i) / double(n - 1));
  }
  r.points.resize(ts.size() * dims);
  r.d1.resize(ts.size() * dims);
  r.d2.resize(ts.size() * dims);
  if (a["--t"].given) {
    for (size_t i = 0; i < ts.size(); ++i) {
      CRV_EvaluatePoint(curve.get(), ts[i], &r.points[i * dims]);
      CRV_EvaluateDeriv(curve.get(), ts[i], &r.d1[i * dims]);
    }
  } else {
    // Even samples come from the forward-differencing routines, as a host drawing a curve would.
    const auto n = static_cast<int32_t>(ts.size());
    CRV_EvaluatePoints(curve.get(), 0, 1, n, r.points.data());
    CRV_EvaluateDerivs(curve.get(), 0, 1, n, r.d1.data());
  }
  for (size_t i = 0; i < ts.size(); ++i)
    CRV_EvaluateDeriv2(curve.get(), ts[i], &r.d2[i * dims]);
  return r;
}

void Report(const Args& a, const EvalResult& r, Session& s) {
  const int dims = r.curve.dims();
  nlohmann::json result{{"curve", CurveJson(r.curve)}, {"samples", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(r.curve) << "\n";
  auto slice = [dims](const std::vector<double>& v, size_t i) {
    return std::vector<double>(v.begin() + i * dims, v.begin() + (i + 1) * dims);
  };
  for (size_t i = 0; i < r.ts.size(); ++i) {
    result["samples"].push_back({{"t", r.ts[i]},
                                 {"point", slice(r.points, i)},
                                 {"d1", slice(r.d1, i)},
                                 {"d2", slice(r.d2, i)}});
    text << "t " << Num(r.ts[i]) << "  B " << Point(slice(r.points, i)) << "  B' "
         << Point(slice(r.d1, i)) << "  B'' " << Point(slice(r.d2, i)) << "\n";
  }
  Emit(a, result, text.str(), s);
}

void Draw(const Args& a, const EvalResult& r, Session& s) {
  const int dims = r.curve.dims();
  const std::vector<double>& ts = r.ts;
  // A third of the derivative is the handle length at the ends, so the picture's tangents have
  // the size of the control polygon's legs. Where one would reach further than an eighth of the
  // extent of the polygon and the points, all are shortened alike: the axes stay the curve's.
  svg::Box box;
  double longest = 0;
  for (int i = 0; i < 4; ++i) box.Include({r.curve.at(i, 0), r.curve.at(i, 1)});
  for (size_t i = 0; i < ts.size(); ++i) {
    box.Include({r.points[i * dims], r.points[i * dims + 1]});
    longest = std::max(longest, std::hypot(r.d1[i * dims], r.d1[i * dims + 1]) / 3);
  }
  const double reach = std::hypot(box.xmax - box.xmin, box.ymax - box.ymin) / 8;
  const double scale = longest > reach ? reach / longest / 3 : 1.0 / 3;
  const std::string drawn = longest > reach ? "B'(t) x " + Short(scale) : "B'(t)/3";
  Figure fig("crv eval: points and tangents");
  fig.Subtitle("B(t) at " + Count(ts.size(), "parameter") + "; tangents drawn as " + drawn);
  fig.Input(r.curve);
  std::vector<svg::Point> dots;
  for (size_t i = 0; i < ts.size(); ++i) {
    const svg::Point p{r.points[i * dims], r.points[i * dims + 1]};
    fig.Polyline({p, {p.x + r.d1[i * dims] * scale, p.y + r.d1[i * dims + 1] * scale}}, ink::kRed,
                 i == 0 ? "tangent " + drawn : "");
    dots.push_back(p);
  }
  fig.Dots(dots, ink::kBlueDot, 5, "B(t)");
  if (ts.size() <= 12)
    for (size_t i = 0; i < ts.size(); ++i) fig.Note(dots[i], "t=" + Short(ts[i]), "#1f77b4");
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const EvalResult r = Compute(a);
  Report(a, r, s);
  if (a["--svg"].given) Draw(a, r, s);
}

const Registered kRegistered("eval", Run);

}  // namespace
}  // namespace crvtool
