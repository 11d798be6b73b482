// `crv eval`: points and first and second derivatives at given parameters or at n even samples.
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
  std::string ts, n;
};

constexpr long kMaxSamples = 100000;

void Run(const Options& o, std::ostream& out) {
  const Curve curve = CurveOrDefault(o.common, Curve(DefaultCurve2D()));
  RequireDrawable(o.common, curve);
  if (!o.ts.empty() && !o.n.empty()) throw InputError("give --t or --n, not both");
  const int dims = curve.Dims();

  std::vector<double> ts;
  std::vector<double> points, d1, d2;
  if (!o.ts.empty()) {
    ts = ParseList(o.ts, "--t");
    points.resize(ts.size() * dims);
    d1.resize(ts.size() * dims);
    for (size_t i = 0; i < ts.size(); ++i) {
      Check(CRV_EvaluatePoint(curve.Record(), ts[i], &points[i * dims]), "CRV_EvaluatePoint");
      Check(CRV_EvaluateDeriv(curve.Record(), ts[i], &d1[i * dims]), "CRV_EvaluateDeriv");
    }
  } else {
    // Even samples come from the forward-differencing routines, as a host drawing a curve would.
    const long n = o.n.empty() ? 5 : ParseCount(o.n, "--n", 1, kMaxSamples);
    for (long i = 0; i < n; ++i) ts.push_back(n == 1 ? 0.0 : double(i) / double(n - 1));
    points.resize(ts.size() * dims);
    d1.resize(ts.size() * dims);
    Check(CRV_EvaluatePoints(curve.Record(), 0, 1, int32_t(n), points.data()),
          "CRV_EvaluatePoints");
    Check(CRV_EvaluateDerivs(curve.Record(), 0, 1, int32_t(n), d1.data()), "CRV_EvaluateDerivs");
  }
  d2.resize(ts.size() * dims);
  for (size_t i = 0; i < ts.size(); ++i)
    Check(CRV_EvaluateDeriv2(curve.Record(), ts[i], &d2[i * dims]), "CRV_EvaluateDeriv2");

  nlohmann::json result{{"curve", CurveJson(curve)}, {"samples", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\n";
  for (size_t i = 0; i < ts.size(); ++i) {
    auto slice = [&](const std::vector<double>& v) {
      return std::vector<double>(v.begin() + i * dims, v.begin() + (i + 1) * dims);
    };
    result["samples"].push_back(
        {{"t", ts[i]}, {"point", slice(points)}, {"d1", slice(d1)}, {"d2", slice(d2)}});
    text << "t " << Num(ts[i]) << "  B " << Point(slice(points)) << "  B' " << Point(slice(d1))
         << "  B'' " << Point(slice(d2)) << "\n";
  }
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig("crv eval: points and tangents");
  fig.Subtitle("B(t) at " + std::to_string(ts.size()) + " parameter(s); tangents drawn as B'(t)/3");
  fig.Input(curve);
  std::vector<svg::Point> dots;
  for (size_t i = 0; i < ts.size(); ++i) {
    const svg::Point p{points[i * dims], points[i * dims + 1]};
    // A third of the derivative is the handle length at the ends, so the picture's tangents
    // have the size of the control polygon's legs.
    fig.Polyline({p, {p.x + d1[i * dims] / 3, p.y + d1[i * dims + 1] / 3}}, ink::kRed,
                 i == 0 ? "tangent B'(t)/3" : "");
    dots.push_back(p);
  }
  fig.Dots(dots, ink::kBlueDot, 5, "B(t)");
  if (ts.size() <= 12)
    for (size_t i = 0; i < ts.size(); ++i) fig.Note(dots[i], "t=" + Short(ts[i]), "#1f77b4");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterEval(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "eval",
      "Evaluate the curve point B(t) and the derivatives B'(t), B''(t) at the parameters of --t, "
      "or at --n even parameters from 0 to 1 (default 5).",
      "crv eval --curve \"0,0 0,1 1,1 1,0\" --t 0.25,0.5");
  AddCommonOptions(cmd, o->common, "The curve: 4 points of any dimension count", true);
  cmd->add_option("--t", o->ts, "Parameters, comma-separated (any finite value)")
      ->type_name("T,...");
  cmd->add_option("--n", o->n, "Number of even samples, 1 to 100000")->type_name("N");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryEval(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  o.n = "7";
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
