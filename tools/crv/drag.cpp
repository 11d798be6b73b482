// `crv drag`: moves the curve point at t by a vector, through the two inner control points.
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// The curve before and after the drag, and B(t) on each.
struct DragResult {
  Curve curve, moved;
  double t = 0;
  std::vector<double> delta;
  double weights[4];
  std::vector<double> before, after;
  bool pinned = false;  // t at an end: the weights of P1 and P2 are 0
};

DragResult Compute(const Args& a) {
  DragResult r;
  r.curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  const Curve& curve = r.curve;
  RequireDrawable(a, curve);
  const int dims = curve.dims();
  r.t = ParseNumber(a["--t"].text, "--t", 0, 1);
  const double t = r.t;

  std::vector<double>& delta = r.delta;
  delta.assign(dims, 0.0);
  if (a["--by"].given) {
    delta = ParseList(a["--by"].text, "--by");
    if (delta.size() != static_cast<size_t>(dims))
      throw InputError("--by: the curve has " + std::to_string(dims) +
                       " coordinates per point, --by has " + std::to_string(delta.size()));
  } else {
    // Without --by: lift the point by a quarter of the curve's extent in its last coordinate.
    std::vector<double> lo(dims), hi(dims);
    CRV_EvaluateBounds(curve.get(), lo.data(), hi.data());
    const double extent = hi[dims - 1] - lo[dims - 1];
    delta[dims - 1] = extent > 0 ? extent / 4 : 1;
  }

  CRV_DirectManipSetup(t, r.weights);
  r.moved = curve;
  CRV_DirectManipCurve(r.moved.get(), delta.data(), r.weights);
  r.before.resize(dims);
  r.after.resize(dims);
  CRV_EvaluatePoint(curve.get(), t, r.before.data());
  CRV_EvaluatePoint(r.moved.get(), t, r.after.data());
  r.pinned = r.weights[1] == 0 && r.weights[2] == 0;
  return r;
}

void Report(const Args& a, const DragResult& r, Session& s) {
  std::ostringstream text;
  text << "drag B(" << Num(r.t) << ") by " << Point(r.delta) << "\nweights of P1, P2 "
       << Num(r.weights[1]) << ", " << Num(r.weights[2]) << "\nbefore " << CurveText(r.curve)
       << "\nafter  " << CurveText(r.moved) << "\nB(" << Num(r.t) << ") " << Point(r.before)
       << " -> " << Point(r.after) << "\n";
  if (r.pinned) text << "note: an end point cannot be dragged this way; the curve is unchanged\n";
  Emit(a,
       {{"t", r.t},
        {"delta", r.delta},
        {"weights", std::vector<double>(r.weights, r.weights + 4)},
        {"before", CurveJson(r.curve)},
        {"after", CurveJson(r.moved)},
        {"point_before", r.before},
        {"point_after", r.after},
        {"end_point", r.pinned}},
       text.str(), s);
}

void Draw(const Args& a, const DragResult& r, Session& s) {
  const std::vector<double>& before = r.before;
  const std::vector<double>& after = r.after;
  Figure fig("crv drag: the point at t = " + Short(r.t) + " moved by " +
             ShortPoint({r.delta[0], r.delta[1]}));
  fig.Subtitle("P1 and P2 move by the least change that carries B(t) exactly");
  fig.Input(r.curve, "curve before");
  fig.Curve(r.moved, ink::kBlue, "curve after, and its polygon (dashed)");
  std::vector<svg::Point> movedPolygon;
  for (int i = 0; i < 4; ++i) movedPolygon.push_back({r.moved.at(i, 0), r.moved.at(i, 1)});
  fig.Polyline(movedPolygon, ink::Thin(ink::kBlue, 1, "3 3"), "");
  fig.Polyline({{before[0], before[1]}, {after[0], after[1]}}, ink::kRed, "drag");
  fig.Dots({{before[0], before[1]}}, ink::kRedDot, 5, "B(t) before");
  fig.Dots({{after[0], after[1]}}, ink::kBlueDot, 5, "B(t) after");
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const DragResult r = Compute(a);
  Report(a, r, s);
  if (a["--svg"].given) Draw(a, r, s);
}

const Registered kRegistered("drag", Run);

}  // namespace
}  // namespace crvtool
