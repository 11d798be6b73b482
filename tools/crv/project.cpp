// `crv project`: a 3-D curve under a 4x4 transform as 2-D screen cubics, adaptively.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "common.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

struct Options {
  CommonOptions common;
  std::string matrix, perspective, tolerance = "0.5";
};

// A camera at z = -d looking along +z with focal length f: x' = f x / (z + d), likewise y.
GEO_Matrix4 Perspective(double f, double d) {
  return GEO_Matrix4{{{f, 0, 0, 0}, {0, f, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, d}}};
}

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve3D()));
  RequireDims(curve, 3, 3, "projection");
  if (!o.matrix.empty() && !o.perspective.empty())
    throw InputError("give --matrix or --perspective, not both");
  GEO_Matrix4 m;
  std::string camera;
  if (!o.matrix.empty()) {
    const std::vector<double> v = ParseList(o.matrix, "--matrix", 16);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) m.m[r][c] = v[4 * r + c];
    camera = "matrix";
  } else {
    const std::vector<double> fd =
        ParseList(o.perspective.empty() ? "400,400" : o.perspective, "--perspective", 2);
    if (fd[0] <= 0) throw InputError("--perspective: the focal length must be positive");
    m = Perspective(fd[0], fd[1]);
    camera = "perspective, focal length " + Num(fd[0]) + ", eye at z = " + Num(-fd[1]);
  }
  const double tolerance = ParseNumber(o.tolerance, "--tolerance");
  if (tolerance < 0) throw InputError("--tolerance: must not be negative");

  const CRV_CurveClass3D c3 = curve.As3D();
  std::vector<CRV_CurveClass2D> screen;
  try {
    CRV_3DScreenCurveAdaptiveEvaluator(tolerance, m, c3, &screen);
  } catch (int code) {
    throw InputError(
        "the transform failed with host code " + std::to_string(code) +
        (code == GEO_ERR_BEHIND_EYE ? " (the curve reaches the eye or behind it)" : ""));
  }

  nlohmann::json result{{"curve", CurveJson(curve)},
                        {"tolerance", tolerance},
                        {"screen_curves", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n"
       << camera << "\n"
       << screen.size() << " screen cubic(s) within " << Num(tolerance) << "\n";
  for (size_t i = 0; i < screen.size(); ++i) {
    const Curve c(screen[i]);
    result["screen_curves"].push_back(CurveJson(c));
    text << CurveText(c) << "\n";
  }
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv project: " + std::to_string(screen.size()) + " screen cubic(s) for a 3-D curve");
  fig.Subtitle(camera + "; tolerance " + Num(tolerance) + " screen units");
  // The exact projection, point by point, underneath.
  constexpr int kSamples = 201;
  std::vector<double> xyz(3 * kSamples);
  Check(CRV_EvaluatePoints(curve.Record(), 0, 1, kSamples, xyz.data()), "CRV_EvaluatePoints");
  const int32_t code = GEO_Transform3DFloatPoints(&m, kSamples, xyz.data());
  if (code != 0) throw InputError("the transform failed with host code " + std::to_string(code));
  std::vector<svg::Point> exact;
  for (int i = 0; i < kSamples; ++i) exact.push_back({xyz[3 * i], xyz[3 * i + 1]});
  fig.Polyline(exact, ink::kCurve, "exact projection");
  std::vector<svg::Point> joins;
  for (size_t i = 0; i < screen.size(); ++i) {
    const Curve c(screen[i]);
    fig.Curve(c, i % 2 ? ink::kRed : ink::kBlue, i == 0 ? "screen cubics, alternating" : "");
    joins.push_back({c.At(0, 0), c.At(0, 1)});
  }
  if (!screen.empty()) joins.push_back({screen.back().points[3].x, screen.back().points[3].y});
  fig.Dots(joins, ink::kGreenDot, 4, "cubic ends");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterProject(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "project",
      "Project a 3-D curve to the screen: the curve is halved until the 2-D cubic of each "
      "piece's projected control points is within --tolerance of the true projection. The "
      "transform is a 4x4 matrix (row-major, acting on (x, y, z, 1), divided by w) or "
      "--perspective f,d: a camera at z = -d looking along +z with focal length f (default "
      "400,400).",
      "crv project --curve \"0,0,0 100,200,-50 200,-100,150 300,100,0\" --perspective 300,250");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of 3 coordinates", true);
  cmd->add_option("--matrix", o->matrix, "16 numbers, row by row")->type_name("M00,M01,...,M33");
  cmd->add_option("--perspective", o->perspective, "Focal length and eye distance")
      ->type_name("F,D");
  cmd->add_option("--tolerance", o->tolerance, "Greatest screen distance, not negative")
      ->type_name("PIXELS")
      ->capture_default_str();
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryProject(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  o.perspective = "300,150";
  o.tolerance = "0.5";
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
