// `crv drag`: moves the curve point at t by a vector, through the two inner control points.
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDrawable(a, curve);
  const int dims = curve.dims();
  const double t = ParseNumber(a["--t"].text, "--t", 0, 1);

  std::vector<double> delta(dims, 0.0);
  if (a["--by"].given) {
    delta = ParseList(a["--by"].text, "--by");
    if (delta.size() != static_cast<size_t>(dims))
      throw InputError("--by: the curve has " + std::to_string(dims) +
                       " coordinates per point, --by has " + std::to_string(delta.size()));
  } else {
    // Without --by: lift the point by a quarter of the curve's extent in its last coordinate.
    std::vector<double> lo(dims), hi(dims);
    Check(CRV_EvaluateBounds(curve.get(), lo.data(), hi.data()), "CRV_EvaluateBounds");
    const double extent = hi[dims - 1] - lo[dims - 1];
    delta[dims - 1] = extent > 0 ? extent / 4 : 1;
  }

  double weights[4];
  Check(CRV_DirectManipSetup(t, weights), "CRV_DirectManipSetup");
  Curve moved = curve;
  Check(CRV_DirectManipCurve(moved.get(), delta.data(), weights), "CRV_DirectManipCurve");
  std::vector<double> before(dims), after(dims);
  Check(CRV_EvaluatePoint(curve.get(), t, before.data()), "CRV_EvaluatePoint");
  Check(CRV_EvaluatePoint(moved.get(), t, after.data()), "CRV_EvaluatePoint");
  const bool pinned = weights[1] == 0 && weights[2] == 0;

  std::ostringstream text;
  text << "drag B(" << Num(t) << ") by " << Point(delta) << "\nweights of P1, P2 "
       << Num(weights[1]) << ", " << Num(weights[2]) << "\nbefore " << CurveText(curve)
       << "\nafter  " << CurveText(moved) << "\nB(" << Num(t) << ") " << Point(before) << " -> "
       << Point(after) << "\n";
  if (pinned) text << "note: an end point cannot be dragged this way; the curve is unchanged\n";
  Emit(a,
       {{"t", t},
        {"delta", delta},
        {"weights", std::vector<double>(weights, weights + 4)},
        {"before", CurveJson(curve)},
        {"after", CurveJson(moved)},
        {"point_before", before},
        {"point_after", after},
        {"end_point", pinned}},
       text.str(), s);

  if (!a["--svg"].given) return;
  Figure fig("crv drag: the point at t = " + Short(t) + " moved by " +
             ShortPoint({delta[0], delta[1]}));
  fig.Subtitle("P1 and P2 move by the least change that carries B(t) exactly");
  fig.Input(curve, "curve before");
  fig.Curve(moved, ink::kBlue, "curve after, and its polygon (dashed)");
  std::vector<svg::Point> movedPolygon;
  for (int i = 0; i < 4; ++i) movedPolygon.push_back({moved.at(i, 0), moved.at(i, 1)});
  fig.Polyline(movedPolygon, ink::Thin(ink::kBlue, 1, "3 3"), "");
  fig.Polyline({{before[0], before[1]}, {after[0], after[1]}}, ink::kRed, "drag");
  fig.Dots({{before[0], before[1]}}, ink::kRedDot, 5, "B(t) before");
  fig.Dots({{after[0], after[1]}}, ink::kBlueDot, 5, "B(t) after");
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("drag", Run);

}  // namespace
}  // namespace crvtool
