// `crv accuracy`: how far the library's answers lie from the mathematical quantities they
// approximate, on seeded families of curves. The references are the catalogue's, computed
// independently in long double (64-bit mantissa, about 1e-19 relative), so what the tables show
// is the library's error, not the reference's. One file per step: the families, the measurements,
// the plots, the document, and the command that writes them.
#ifndef CRV_TOOL_ACCURACY_ACCURACY_H
#define CRV_TOOL_ACCURACY_ACCURACY_H

#include <cmath>
#include <deque>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "catalogue/reference.h"
#include "common.h"
#include "svg.h"

namespace crvtool {
namespace accuracy {

using LD = long double;
// The catalogue's SplitMix64: the same sequence on every platform, unlike the std::
// distributions.
using Rng = crvcat::Rng;

constexpr int kCurvesPerFamily = 24;
constexpr int kTableSamples = 128;  // the tool's and the arc-length spline's table

// ---- Families of curves

struct Family {
  std::string name, what;
  bool function;  // time on x, rising: the function-curve lookups apply
  std::vector<Curve> curves;
};

std::vector<Family> Families(Rng& r);
// Six shapes at sides 10^(k/4) from 1e-6 to 1e9, for the nearest point's dependence on size
// alone (measured by that query only): kSizeShapes curves a size, the sizes rising.
constexpr int kSizeShapes = 6;
Family Sizes();
// A 3-D curve from a 2-D one: z in +-half its largest extent.
Curve Lift(Rng& r, const Curve& c);

// ---- The report

// The errors of one export on one family, and the input of the largest.
struct Stat {
  std::string family;
  std::vector<double> errors;
  double worst = -INFINITY;
  std::string input;
  template <class F>
  void Add(double e, F describe) {
    if (std::isnan(e)) e = INFINITY;
    errors.push_back(e);
    if (e > worst) worst = e, input = describe();
  }
};

struct Section {
  std::string title, how;
  std::vector<Stat> rows;
  Stat& Row(const std::string& family) {
    for (Stat& s : rows)
      if (s.family == family) return s;
    rows.push_back({family, {}, -INFINITY, ""});
    return rows.back();
  }
};

// The tolerance of the nearest point by size, a fraction of the control box's largest side.
constexpr double kNearestTolerance = 1e-6;

using Report = std::deque<Section>;  // a deque: sections stay put while more are added

Section& Add(Report& report, std::string title, std::string how);
std::string In(const Curve& c);  // the control points, for "input of the largest"
std::string E(double v);         // 3 significant digits

// ---- Measurements: each adds its sections to the report

void MeasureEvaluation(Rng& r, const std::vector<Family>& families, Report& report);
void MeasureFunctionCurves(Rng& r, const std::vector<Family>& families, Report& report);
void MeasureArcLength(Rng& r, const std::vector<Family>& families, Report& report);
void MeasureFits(Rng& r, const std::vector<Family>& families, Report& report);
void MeasureFlattening(const std::vector<Family>& families, Report& report);
void MeasureSpace(Rng& r, const std::vector<Family>& families, Report& report);
// The nearest point against the curve's size; the worst error at each size, as given and in the
// unit box, goes to `asGiven` and `unitBox` (log10 side, log10 error) for the plot.
void MeasureNearestBySize(const Family& sizes, Report& report, std::vector<svg::Point>* asGiven,
                          std::vector<svg::Point>* unitBox);

// ---- Plots, as SVG text

std::string PlotTFromX();
std::string PlotArcTable();
std::string PlotTFromS();
std::string PlotNearestBySize(const std::vector<svg::Point>& asGiven,
                              const std::vector<svg::Point>& unitBox);

// ---- The document: accuracy.md

// `nearestBySize`: the plot's points of the nearest point as given.
std::string Document(const std::vector<Family>& families, const Report& report,
                     const std::vector<svg::Point>& nearestBySize,
                     const std::vector<svg::Point>& nearestInUnitBox);

}  // namespace accuracy
}  // namespace crvtool

#endif
