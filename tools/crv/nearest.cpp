// `crv nearest`: the parameter of the curve point nearest to given points.
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDims(curve, 2, 2, "the nearest-point query");
  const CRV_CurveClass2D c2 = curve.As2D();

  std::vector<std::vector<double>> probes;
  std::istringstream words(a["--point"].text);
  for (std::string w; words >> w;) probes.push_back(ParseList(w, "--point", 2));
  if (probes.empty()) throw InputError("--point: no points given");

  nlohmann::json result{{"curve", CurveJson(curve)}, {"queries", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n";
  std::vector<svg::Point> from, to;
  for (const auto& q : probes) {
    const double t = CRV_NearestPointOnCurve({q[0], q[1]}, c2);
    double p[2];
    CRV_EvaluatePoint(curve.get(), t, p);
    const double d = std::hypot(p[0] - q[0], p[1] - q[1]);
    result["queries"].push_back(
        {{"point", q}, {"t", t}, {"nearest", std::vector<double>(p, p + 2)}, {"distance", d}});
    text << "point " << Point(q) << " -> t " << Num(t) << "  nearest " << Point(p, 2)
         << "  distance " << Num(d) << "\n";
    from.push_back({q[0], q[1]});
    to.push_back({p[0], p[1]});
  }
  Emit(a, result, text.str(), s);

  if (!a["--svg"].given) return;
  Figure fig("crv nearest: the closest curve point to each query");
  fig.Subtitle("roots of (B(t) - q) . B'(t), compared with both ends");
  fig.Input(curve);
  fig.Dots(from, ink::kOrangeDot, 5, "query points");
  fig.Dots(to, ink::kBlueDot, 5, "nearest curve points");
  const svg::Style link = ink::Thin(ink::kOrange, 1.5);
  for (size_t i = 0; i < from.size(); ++i)
    fig.Polyline({from[i], to[i]}, link, i == 0 ? "shortest distance" : "");
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("nearest", Run);

}  // namespace
}  // namespace crvtool
