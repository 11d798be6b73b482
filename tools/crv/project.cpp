// `crv project`: a 3-D curve under a 4x4 transform as 2-D screen cubics, adaptively.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// A camera at z = -d looking along +z with focal length f: x' = f x / (z + d), likewise y.
GEO_Matrix4 Perspective(double f, double d) {
  return GEO_Matrix4{{{f, 0, 0, 0}, {0, f, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, d}}};
}

// The library halves a piece at most 11 times (crv.hpp) and cuts the screen cubics at the
// midpoints of the pieces it kept: multiples of 2^-12, odd multiples exactly for the pieces at
// that cap, which it kept whatever their distance.
constexpr int kMaxHalvings = 11;
constexpr int kCuts = 1 << (kMaxHalvings + 1);
constexpr int kProbes = 7;  // points of each screen cubic where the distance is measured

// The curve, the transform and the screen cubics it gave.
struct ProjectResult {
  Curve curve;
  GEO_Matrix4 m;
  std::string camera;  // the transform, for the report and the title
  double tolerance = 0;
  std::vector<CRV_CurveClass2D> screen;
  bool capped = false;   // the halving cap, not the tolerance, ended some piece
  double reached = NAN;  // then: the greatest distance measured to the true projection
};

// The true projection at parameters t, x and y of each.
std::vector<svg::Point> Project(const ProjectResult& r, const std::vector<double>& ts) {
  std::vector<double> xyz(3 * ts.size());
  for (size_t i = 0; i < ts.size(); ++i) CRV_EvaluatePoint(r.curve.get(), ts[i], &xyz[3 * i]);
  const int32_t code = GEO_Transform3DFloatPoints(&r.m, int32_t(ts.size()), xyz.data());
  if (code != 0) throw InputError("the transform failed with host code " + std::to_string(code));
  std::vector<svg::Point> points;
  for (size_t i = 0; i < ts.size(); ++i) points.push_back({xyz[3 * i], xyz[3 * i + 1]});
  return points;
}

// Finds the parameter of each cut among the multiples of 2^-12 (the first, in order, whose
// projection is the cubics' join), whether one lies at the cap, and then how far the screen
// cubics stray from the true projection.
void MeasureCap(ProjectResult& r) {
  std::vector<double> grid;
  for (int k = 0; k <= kCuts; ++k) grid.push_back(double(k) / kCuts);
  const std::vector<svg::Point> at = Project(r, grid);
  double extent = 1;
  for (const svg::Point& p : at) extent = std::max({extent, std::fabs(p.x), std::fabs(p.y)});
  std::vector<int> cut{0};
  for (size_t i = 0; i + 1 < r.screen.size(); ++i) {
    const GEO_Vector2T<double>& join = r.screen[i].points[3];
    int k = cut.back() + 1;
    while (k < kCuts && std::hypot(at[k].x - join.x, at[k].y - join.y) > 1e-9 * extent) ++k;
    if (k >= kCuts) return;  // no cut found: the cap cannot be told
    cut.push_back(k);
    r.capped = r.capped || k % 2 == 1;
  }
  cut.push_back(kCuts);
  if (!r.capped) return;
  r.reached = 0;
  for (size_t i = 0; i < r.screen.size(); ++i) {
    std::vector<double> ts;
    for (int j = 1; j <= kProbes; ++j)
      ts.push_back(grid[cut[i]] + (grid[cut[i + 1]] - grid[cut[i]]) * j / (kProbes + 1));
    const Curve piece(r.screen[i]);
    for (const svg::Point& p : Project(r, ts)) {
      double q[2];
      CRV_EvaluatePoint(piece.get(), CRV_NearestPointOnCurve({p.x, p.y}, r.screen[i]), q);
      r.reached = std::max(r.reached, std::hypot(q[0] - p.x, q[1] - p.y));
    }
  }
}

ProjectResult Compute(const Args& a) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve3D()));
  RequireDims(curve, 3, 3, "projection");
  if (a["--matrix"].given && a["--perspective"].given)
    throw InputError("give --matrix or --perspective, not both");
  GEO_Matrix4 m;
  std::string camera;
  if (a["--matrix"].given) {
    const std::vector<double> v = ParseList(a["--matrix"].text, "--matrix", 16);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) m.m[r][c] = v[4 * r + c];
    camera = "matrix";
  } else {
    const std::vector<double> fd = ParseList(a["--perspective"].text, "--perspective", 2);
    if (fd[0] <= 0)
      throw InputError("--perspective: the focal length " + Short(fd[0]) +
                       " is outside (0, 1e100]");
    m = Perspective(fd[0], fd[1]);
    camera = "perspective, focal length " + Short(fd[0]) + ", eye at z = " + Short(-fd[1]);
  }
  const double tolerance = ParsePositive(a["--tolerance"].text, "--tolerance", true);

  // The screen distances are squared against the tolerance: the projected control points must
  // stay within the tool's range too.
  std::vector<double> projected = curve.coords();
  if (GEO_Transform3DFloatPoints(&m, 4, projected.data()) == 0)
    for (double v : projected)
      if (!(std::fabs(v) <= kMaxMagnitude))
        throw InputError("the transform takes the curve outside [-1e100, 1e100] on the screen, "
                         "the range where crv's answers hold");

  const CRV_CurveClass3D c3 = curve.As3D();
  std::vector<CRV_CurveClass2D> screen;
  try {
    CRV_3DScreenCurveAdaptiveEvaluator(tolerance, m, c3, &screen);
  } catch (int code) {
    throw InputError(
        "the transform failed with host code " + std::to_string(code) +
        (code == GEO_ERR_BEHIND_EYE ? " (the curve reaches the eye or behind it)" : ""));
  }
  ProjectResult r{curve, m, std::move(camera), tolerance, std::move(screen)};
  MeasureCap(r);
  return r;
}

// What the screen cubics reached: the tolerance, or where the cap stopped them.
std::string Reached(const ProjectResult& r, std::string (*format)(double)) {
  if (!r.capped) return "within " + format(r.tolerance);
  return "not within " + format(r.tolerance) + ": the halving stopped at its cap of " +
         std::to_string(kMaxHalvings) + " levels, within " + format(r.reached) +
         " (measured at " + std::to_string(kProbes) + " points of each cubic)";
}

void Report(const Args& a, const ProjectResult& r, Session& s) {
  nlohmann::json result{{"curve", CurveJson(r.curve)},
                        {"tolerance", r.tolerance},
                        {"cap_reached", r.capped},
                        {"screen_curves", nlohmann::json::array()}};
  if (r.capped) result["reached"] = r.reached;
  std::ostringstream text;
  text << "curve " << CurveText(r.curve) << "\n"
       << r.camera << "\n"
       << Count(r.screen.size(), "screen cubic") << " " << Reached(r, Num) << "\n";
  for (size_t i = 0; i < r.screen.size(); ++i) {
    const Curve c(r.screen[i]);
    result["screen_curves"].push_back(CurveJson(c));
    text << CurveText(c) << "\n";
  }
  Emit(a, result, text.str(), s);
  if (r.capped) {
    std::cerr << "crv project: " << Reached(r, Num) << "\n";
    s.status = kExitCheckFailed;
  }
}

void Draw(const Args& a, const ProjectResult& r, Session& s) {
  const std::vector<CRV_CurveClass2D>& screen = r.screen;
  Figure fig("crv project: " + Count(screen.size(), "screen cubic") + " for a 3-D curve");
  fig.Subtitle(r.camera + "; " +
               (r.capped ? "tolerance " + Short(r.tolerance) + " not reached (halving cap)"
                         : "tolerance " + Short(r.tolerance) + " screen units"));
  fig.Axes("screen x", "screen y");
  // The exact projection, point by point, underneath.
  constexpr int kSamples = 201;
  std::vector<double> ts;
  for (int i = 0; i < kSamples; ++i) ts.push_back(double(i) / (kSamples - 1));
  fig.Polyline(Project(r, ts), ink::kCurve, "exact projection");
  std::vector<svg::Point> joins;
  for (size_t i = 0; i < screen.size(); ++i) {
    const Curve c(screen[i]);
    const char* label = i == 0   ? "screen cubics 1, 3, 5, ..."
                        : i == 1 ? "screen cubics 2, 4, 6, ..."
                                 : "";
    fig.Curve(c, i % 2 ? ink::kRed : ink::kBlue, label);
    joins.push_back({c.at(0, 0), c.at(0, 1)});
  }
  if (!screen.empty()) joins.push_back({screen.back().points[3].x, screen.back().points[3].y});
  fig.Dots(joins, ink::kGreenDot, 4, "cubic ends");
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const ProjectResult r = Compute(a);
  Report(a, r, s);
  if (a["--svg"].given) Draw(a, r, s);
}

const Registered kRegistered("project", Run);

}  // namespace
}  // namespace crvtool
