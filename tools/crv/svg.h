// A small SVG writer for the tool's pictures, in view coordinates (pixels, y down).
#ifndef CRV_TOOL_SVG_H
#define CRV_TOOL_SVG_H

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace crvtool::svg {

// Text made safe for XML and HTML content and attribute values (& < > ").
std::string Escape(const std::string& text);

struct Point {
  double x, y;
};

// An axis-aligned box; empty until the first point is included.
struct Box {
  double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
  bool empty = true;

  void Include(Point p);
  bool Overlaps(const Box& o) const;
  bool Contains(const Box& o) const;
};

struct Style {
  Style(std::string stroke, std::string fill, double strokeWidth = 1, std::string dash = "")
      : stroke(std::move(stroke)), fill(std::move(fill)), strokeWidth(strokeWidth),
        dash(std::move(dash)) {}

  std::string stroke, fill;  // colours, or "none"
  double strokeWidth;
  std::string dash;  // stroke-dasharray; empty draws solid
};

enum class Anchor { Start, Middle, End };

// The box that `text` covers at font size `size` with its baseline at `at`, in the font the
// pictures name (sans-serif, DejaVu Sans on Debian): advance widths per character, ascent 0.8
// and descent 0.25 of the size. The gallery test checks the estimate against rendered pixels.
Box TextBox(Point at, const std::string& text, double size, Anchor anchor = Anchor::Start);
double TextWidth(const std::string& text, double size);

// Collects elements in drawing order (later ones on top). Every coordinate must be finite: a
// non-finite one throws std::runtime_error rather than producing a picture that lies.
class Document {
 public:
  Document(double width, double height);

  void Polyline(const std::vector<Point>& points, const Style& style);
  void Line(Point from, Point to, const Style& style);
  void Circle(Point centre, double radius, const Style& style);
  void Rect(Point corner, Point opposite, const Style& style);
  void Text(Point baseline, const std::string& text, double size, const std::string& fill,
            Anchor anchor = Anchor::Start);
  // <g id="..."> around what follows until EndGroup; the tests find the legend and the plot so.
  void Group(const std::string& id);
  void EndGroup();

  std::string Str() const;

 private:
  double width_, height_;
  std::ostringstream body_;
};

}  // namespace crvtool::svg

#endif
