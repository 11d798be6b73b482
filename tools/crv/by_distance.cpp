// `crv by-distance`: the curve as points closer together than a distance, by halving.
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

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDims(curve, 2, kMaxDims, "evaluation by distance (on x and y)");
  const CRV_Curve* c = curve.get();

  double distance = 0;
  if (a["--distance"].given) {
    distance = ParseNumber(a["--distance"].text, "--distance");
    if (distance <= 0) throw InputError("--distance: must be positive");
  } else {
    // A sixteenth of the x-y box's diagonal gives a picture with a few dozen points.
    std::vector<double> lo(curve.dims()), hi(curve.dims());
    Check(CRV_EvaluateBounds(c, lo.data(), hi.data()), "CRV_EvaluateBounds");
    distance = std::hypot(hi[0] - lo[0], hi[1] - lo[1]) / 16;
    if (!(distance > 0)) distance = 1;
  }

  OwnedList list;
  Check(CRV_EvaluateByDistance(c, distance, 0, &list.handle), "CRV_EvaluateByDistance");
  const std::vector<double> xy = list.Doubles();
  const size_t count = xy.size() / 2;

  // The library stops halving at pieces of parameter length 2^-20 whatever their chord, so a
  // distance tiny beside the curve leaves steps that are not below it.
  double longest = 0;
  size_t tooLong = 0;
  nlohmann::json points = nlohmann::json::array();
  std::ostringstream list_text;
  for (size_t i = 0; i < count; ++i) {
    points.push_back({xy[2 * i], xy[2 * i + 1]});
    list_text << Point(&xy[2 * i], 2) << "\n";
    if (i == 0) continue;
    const double step = std::hypot(xy[2 * i] - xy[2 * i - 2], xy[2 * i + 1] - xy[2 * i - 1]);
    longest = std::max(longest, step);
    tooLong += step >= distance;
  }
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n" << Count(count, "point");
  if (tooLong)
    text << "; the halving cap (pieces of parameter length 2^-20) was reached: "
         << Count(tooLong, "step") << " not shorter than " << Num(distance) << "\n";
  else
    text << ", each step shorter than " << Num(distance) << "\n";
  text << list_text.str() << "longest step " << Num(longest) << "\n";
  Emit(a,
       {{"curve", CurveJson(curve)},
        {"distance", distance},
        {"longest_step", longest},
        {"cap_reached", tooLong > 0},
        {"steps_not_below_distance", tooLong},
        {"points", points}},
       text.str(), s);
  if (tooLong)
    std::cerr << "crv by-distance: the halving cap was reached; " << Count(tooLong, "step")
              << " not shorter than " << Num(distance) << "\n";

  if (!a["--svg"].given) return;
  // Beyond a few hundred the markers would merge into a band over the curve.
  constexpr size_t kMarkedPoints = 200;
  Figure fig("crv by-distance: " + Count(count, "point") + ", steps below " + Short(distance) +
             (tooLong ? " (cap reached)" : ""));
  fig.Subtitle("points at parameters k / 2^m; the longest step is " + Short(longest) +
               (count > kMarkedPoints ? "; too many points to mark each" : ""));
  fig.Input(curve);
  std::vector<svg::Point> v;
  for (size_t i = 0; i < count; ++i) v.push_back({xy[2 * i], xy[2 * i + 1]});
  fig.Polyline(v, ink::Thin(ink::kBlue, 1.5), "chords between the points");
  if (count <= kMarkedPoints) fig.Dots(v, ink::kBlueDot, 3.5, "points");
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("by-distance", Run);

}  // namespace
}  // namespace crvtool
