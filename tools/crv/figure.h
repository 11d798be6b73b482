// Pictures of results: everything is given in world coordinates (coordinates 0 and 1 of the
// curve), fitted into the plot area with one scale for both axes, and labelled in a legend.
#ifndef CRV_TOOL_FIGURE_H
#define CRV_TOOL_FIGURE_H

#include <filesystem>
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
inline const svg::Style kBox{"#9aa5b1", "#eef2f6", 1};
}  // namespace ink

class Figure {
 public:
  explicit Figure(std::string title) : title_(std::move(title)) {}

  // A line of text under the title.
  void Subtitle(std::string text) { subtitle_ = std::move(text); }

  // The curve sampled at `samples` even parameters (coordinates 0 and 1; a 1-D curve is drawn
  // against t).
  void Curve(const crvtool::Curve& c, const svg::Style& style, const std::string& label,
             int samples = 201);
  // The dashed control polygon with its four points labelled P0..P3.
  void ControlPolygon(const crvtool::Curve& c, const std::string& prefix = "P");
  // The input curve as the pictures show it: pale and wide, with its control polygon.
  void Input(const crvtool::Curve& c, const std::string& label = "curve");

  void Polyline(const std::vector<svg::Point>& world, const svg::Style& style,
                const std::string& label);
  void Dots(const std::vector<svg::Point>& world, const svg::Style& style, double radius,
            const std::string& label);
  void Box(svg::Point lo, svg::Point hi, const svg::Style& style, const std::string& label);
  // Text next to a world point (not part of the legend).
  void Note(svg::Point world, const std::string& text, const std::string& colour = "#1f2933");

  // Writes the picture atomically (see svg::Document::Save). Throws InputError when the curve
  // has non-finite coordinates or the file cannot be written.
  void Save(const std::filesystem::path& path) const;

 private:
  enum class Kind { Polyline, Dots, Box, Note };
  struct Item {
    Kind kind;
    std::vector<svg::Point> points;
    svg::Style style;
    double radius;
    std::string text;
  };
  struct LegendEntry {
    std::string label;
    svg::Style style;
    Kind kind;
  };

  void Legend(const std::string& label, const svg::Style& style, Kind kind);

  std::string title_, subtitle_;
  std::vector<Item> items_;
  std::vector<LegendEntry> legend_;
};

// Points of a curve at n even parameters, coordinates 0 and 1 (t and coordinate 0 for dims 1).
std::vector<svg::Point> SampleCurve(const crvtool::Curve& c, int n);

}  // namespace crvtool

#endif
