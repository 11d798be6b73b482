// `crv project`: a 3-D curve under a 4x4 transform as 2-D screen cubics, adaptively.
#include <cmath>
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

// The curve, the transform and the screen cubics it gave.
struct ProjectResult {
  Curve curve;
  GEO_Matrix4 m;
  std::string camera;  // the transform, for the report and the title
  double tolerance = 0;
  std::vector<CRV_CurveClass2D> screen;
};

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
    if (fd[0] <= 0) throw InputError("--perspective: the focal length must be positive");
    m = Perspective(fd[0], fd[1]);
    camera = "perspective, focal length " + Short(fd[0]) + ", eye at z = " + Short(-fd[1]);
  }
  const double tolerance = ParseNumber(a["--tolerance"].text, "--tolerance");
  if (tolerance < 0) throw InputError("--tolerance: must not be negative");

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
  return {curve, m, std::move(camera), tolerance, std::move(screen)};
}

void Report(const Args& a, const ProjectResult& r, Session& s) {
  nlohmann::json result{{"curve", CurveJson(r.curve)},
                        {"tolerance", r.tolerance},
                        {"screen_curves", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(r.curve) << "\n"
       << r.camera << "\n"
       << Count(r.screen.size(), "screen cubic") << " within " << Num(r.tolerance) << "\n";
  for (size_t i = 0; i < r.screen.size(); ++i) {
    const Curve c(r.screen[i]);
    result["screen_curves"].push_back(CurveJson(c));
    text << CurveText(c) << "\n";
  }
  Emit(a, result, text.str(), s);
}

void Draw(const Args& a, const ProjectResult& r, Session& s) {
  const std::vector<CRV_CurveClass2D>& screen = r.screen;
  Figure fig("crv project: " + Count(screen.size(), "screen cubic") + " for a 3-D curve");
  fig.Subtitle(r.camera + "; tolerance " + Short(r.tolerance) + " screen units");
  // The exact projection, point by point, underneath.
  constexpr int kSamples = 201;
  std::vector<double> xyz(3 * kSamples);
  CRV_EvaluatePoints(r.curve.get(), 0, 1, kSamples, xyz.data());
  const int32_t code = GEO_Transform3DFloatPoints(&r.m, kSamples, xyz.data());
  if (code != 0) throw InputError("the transform failed with host code " + std::to_string(code));
  std::vector<svg::Point> exact;
  for (int i = 0; i < kSamples; ++i) exact.push_back({xyz[3 * i], xyz[3 * i + 1]});
  fig.Polyline(exact, ink::kCurve, "exact projection");
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
