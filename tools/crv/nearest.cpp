// `crv nearest`: the parameter of the curve point nearest to given points.
#include "nearest.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {

double ControlBoxSide(const CRV_CurveClass2D& c) {
  double side = 0;
  for (int i = 1; i < 4; ++i)
    for (int j = 0; j < i; ++j)
      side = std::max({side, std::fabs(c.points[i].x - c.points[j].x),
                       std::fabs(c.points[i].y - c.points[j].y)});
  return side;
}

double NearestInUnitBox(GEO_Vector2T<double> point, const CRV_CurveClass2D& c) {
  double lo[2] = {c.points[0].x, c.points[0].y};
  for (const GEO_Vector2T<double>& v : c.points)
    lo[0] = std::min(lo[0], v.x), lo[1] = std::min(lo[1], v.y);
  int e = 0;
  std::frexp(ControlBoxSide(c), &e);  // side = m 2^e, m in [0.5, 1)
  CRV_CurveClass2D unit;
  for (int i = 0; i < 4; ++i)
    unit.points[i] = {std::ldexp(c.points[i].x - lo[0], -e), std::ldexp(c.points[i].y - lo[1], -e)};
  return CRV_NearestPointOnCurve({std::ldexp(point.x - lo[0], -e), std::ldexp(point.y - lo[1], -e)},
                                 unit);
}

namespace {

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDims(curve, 2, 2, "the nearest-point query");
  const CRV_CurveClass2D c2 = curve.As2D();
  // Past the size where the library's search is accurate, the query goes to the unit box.
  const bool scaled = ControlBoxSide(c2) > kNearestAccurateSize;

  std::vector<std::vector<double>> probes;
  std::istringstream words(a["--point"].text);
  for (std::string w; words >> w;) probes.push_back(ParseList(w, "--point", 2));
  if (probes.empty()) throw InputError("--point: no points given");

  nlohmann::json result{{"curve", CurveJson(curve)},
                        {"scaled_to_unit_box", scaled},
                        {"queries", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n";
  if (scaled)
    text << "the curve spans more than " << Num(kNearestAccurateSize)
         << ": searched in its unit box, where the library's answer is accurate\n";
  std::vector<svg::Point> from, to;
  for (const auto& q : probes) {
    const double t = scaled ? NearestInUnitBox({q[0], q[1]}, c2)
                            : CRV_NearestPointOnCurve({q[0], q[1]}, c2);
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
