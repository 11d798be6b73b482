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

// The points and how their steps compare with the distance.
struct ByDistanceResult {
  Curve curve;
  double distance = 0;
  std::vector<double> xy;  // x, y of each point
  double longest = 0;      // the longest step
  size_t tooLong = 0;      // the steps not below the distance
  size_t Count() const { return xy.size() / 2; }
};

ByDistanceResult Compute(const Args& a) {
  ByDistanceResult r;
  r.curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  const Curve& curve = r.curve;
  RequireDims(curve, 2, kMaxDims, "evaluation by distance (on x and y)");
  const CRV_Curve* c = curve.get();

  double distance = 0;
  if (a["--distance"].given) {
    distance = ParsePositive(a["--distance"].text, "--distance");
  } else {
    // A sixteenth of the x-y box's diagonal gives a picture with a few dozen points.
    std::vector<double> lo(curve.dims()), hi(curve.dims());
    CRV_EvaluateBounds(c, lo.data(), hi.data());
    distance = std::hypot(hi[0] - lo[0], hi[1] - lo[1]) / 16;
    if (!(distance > 0)) distance = 1;
  }
  r.distance = distance;

  OwnedList list;
  Check(CRV_EvaluateByDistance(c, distance, 0, &list.handle), "CRV_EvaluateByDistance");
  r.xy = list.Doubles();
  const std::vector<double>& xy = r.xy;

  // The library stops halving at pieces of parameter length 2^-20 whatever their chord, so a
  // distance tiny beside the curve leaves steps that are not below it.
  for (size_t i = 1; i < r.Count(); ++i) {
    const double step = std::hypot(xy[2 * i] - xy[2 * i - 2], xy[2 * i + 1] - xy[2 * i - 1]);
    r.longest = std::max(r.longest, step);
    r.tooLong += step >= distance;
  }
  return r;
}

void Report(const Args& a, const ByDistanceResult& r, Session& s) {
  const std::vector<double>& xy = r.xy;
  const size_t count = r.Count();
  nlohmann::json points = nlohmann::json::array();
  std::ostringstream list_text;
  for (size_t i = 0; i < count; ++i) {
    points.push_back({xy[2 * i], xy[2 * i + 1]});
    list_text << Point(&xy[2 * i], 2) << "\n";
  }
  std::ostringstream text;
  text << "curve " << CurveText(r.curve) << "\n" << Count(count, "point");
  if (r.tooLong)
    text << "; the halving cap (pieces of parameter length 2^-20) was reached: "
         << Count(r.tooLong, "step") << " not shorter than " << Num(r.distance) << "\n";
  else
    text << ", each step shorter than " << Num(r.distance) << "\n";
  text << list_text.str() << "longest step " << Num(r.longest) << "\n";
  Emit(a,
       {{"curve", CurveJson(r.curve)},
        {"distance", r.distance},
        {"longest_step", r.longest},
        {"cap_reached", r.tooLong > 0},
        {"steps_not_below_distance", r.tooLong},
        {"points", points}},
       text.str(), s);
  if (r.tooLong) {
    std::cerr << "crv by-distance: the halving cap was reached; " << Count(r.tooLong, "step")
              << " not shorter than " << Num(r.distance) << "\n";
    s.status = kExitCheckFailed;
  }
}

void Draw(const Args& a, const ByDistanceResult& r, Session& s) {
  const std::vector<double>& xy = r.xy;
  const size_t count = r.Count();
  // Beyond a few hundred the markers would merge into a band over the curve.
  constexpr size_t kMarkedPoints = 200;
  Figure fig("crv by-distance: " + Count(count, "point") + ", steps below " + Short(r.distance) +
             (r.tooLong ? " (cap reached)" : ""));
  fig.Subtitle("points at parameters k / 2^m; the longest step is " + Short(r.longest) +
               (count > kMarkedPoints ? "; too many points to mark each" : ""));
  fig.Input(r.curve);
  std::vector<svg::Point> v;
  for (size_t i = 0; i < count; ++i) v.push_back({xy[2 * i], xy[2 * i + 1]});
  fig.Polyline(v, ink::Thin(ink::kBlue, 1.5), "chords between the points");
  if (count <= kMarkedPoints) fig.Dots(v, ink::kBlueDot, 3.5, "points");
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const ByDistanceResult r = Compute(a);
  Report(a, r, s);
  if (a["--svg"].given) Draw(a, r, s);
}

const Registered kRegistered("by-distance", Run);

}  // namespace
}  // namespace crvtool
