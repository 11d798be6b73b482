// Pictures of results. Everything is given in world coordinates (coordinates 0 and 1 of the
// curve) and fitted into the plot area: shapes with one scale for both axes and a light scale,
// function curves with a scale each and axes with ticks. Labels are placed where they cover no
// other label and no point marker, and the legend names every colour of the plot.
#ifndef CRV_TOOL_FIGURE_H
#define CRV_TOOL_FIGURE_H

#include <string>
#include <vector>

#include "common.h"
#include "svg.h"

namespace crvtool {

// The tool's palette: the input curve is wide and pale underneath, results are drawn over it.
namespace ink {
inline const svg::Style kCurve{"#cbd2d9", "none", 9};
inline const svg::Style kPolygon{"#7b8794", "none", 1.2, "6 4"};
inline const svg::Style kControlPoint{"#3e4c59", "#ffffff", 1.5};
inline const svg::Style kBlue{"#1f77b4", "none", 2.5};
inline const svg::Style kRed{"#d62728", "none", 2.5};
inline const svg::Style kGreen{"#2ca02c", "none", 2.5};
inline const svg::Style kOrange{"#ff7f0e", "none", 2.5};
inline const svg::Style kBlueDot{"#ffffff", "#1f77b4", 1.2};
inline const svg::Style kRedDot{"#ffffff", "#d62728", 1.2};
inline const svg::Style kGreenDot{"#ffffff", "#2ca02c", 1.2};
inline const svg::Style kOrangeDot{"#ffffff", "#ff7f0e", 1.2};
inline const svg::Style kGreyDot{"#52606d", "#cbd2d9", 1};
inline const svg::Style kBox{"#9aa5b1", "#eef2f6", 1};
// A thinner or dashed variant of a style.
svg::Style Thin(svg::Style s, double width, const std::string& dash = "");
}  // namespace ink

class Figure {
 public:
  // kShape: one scale for both axes (geometry keeps its proportions). kFunction: time across and
  // value up, each scaled to fill the plot. Both name their axes, "x" and "y" unless Axes()
  // says otherwise.
  enum class Frame { kShape, kFunction };

  explicit Figure(std::string title, Frame frame = Frame::kShape)
      : title_(std::move(title)), frame_(frame) {}

  void Subtitle(std::string text) { subtitle_ = std::move(text); }
  void Axes(std::string x, std::string y) {
    xName_ = std::move(x);
    yName_ = std::move(y);
  }

  // The curve sampled at `samples` even parameters (coordinates 0 and 1; a 1-D curve is drawn
  // against t).
  void Curve(const crvtool::Curve& c, const svg::Style& style, const std::string& label,
             int samples = 201);
  // The dashed control polygon with its four points, labelled P0..P3.
  void ControlPolygon(const crvtool::Curve& c);
  // The input curve as the pictures show it: pale and wide, with its control polygon.
  void Input(const crvtool::Curve& c, const std::string& label = "curve");

  // An item without a label must share its colour with one that has one (Svg() checks).
  void Polyline(const std::vector<svg::Point>& world, const svg::Style& style,
                const std::string& label);
  // Markers go over the lines, or under them (`under`) where the lines are the result.
  void Dots(const std::vector<svg::Point>& world, const svg::Style& style, double radius,
            const std::string& label, bool under = false);
  void Box(svg::Point lo, svg::Point hi, const svg::Style& style, const std::string& label);
  // A label for a world point, placed beside it (not part of the legend).
  void Note(svg::Point world, const std::string& text, const std::string& colour = "#1f2933");

  // The picture. Throws InputError when a coordinate is not finite.
  std::string Svg() const;
  // Writes the picture to `target` ("-": standard output), see WriteTarget.
  void Save(const std::string& target, Session& s) const;

 private:
  enum class Kind { kPolyline, kDots, kBox, kDotsUnder };
  struct Item {
    Kind kind;
    std::vector<svg::Point> points;
    svg::Style style;
    double radius;
  };
  struct Label {
    svg::Point at;
    std::string text, colour;
  };
  struct LegendEntry {
    std::string label;
    svg::Style style;
    Kind kind;
  };
  class View;

  void Add(Kind kind, std::vector<svg::Point> world, const svg::Style& style, double radius,
           const std::string& label);
  void DrawAxes(svg::Document& doc, const View& view) const;
  void DrawLabels(svg::Document& doc, const View& view) const;
  void DrawLegend(svg::Document& doc) const;

  std::string title_, subtitle_;
  Frame frame_;
  std::string xName_ = "x", yName_ = "y";
  std::vector<Item> items_;
  std::vector<Label> labels_;
  std::vector<LegendEntry> legend_;
  size_t thinnedFrom_ = 0, thinnedTo_ = 0;  // the largest item drawn thinned: points before, after
};

// Points of a curve at n even parameters, coordinates 0 and 1 (t and coordinate 0 for dims 1).
std::vector<svg::Point> SampleCurve(const crvtool::Curve& c, int n);

}  // namespace crvtool

#endif
