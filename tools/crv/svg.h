// A small SVG writer for the tool's pictures. Drawing happens in view coordinates (pixels, y
// down); ViewTransform maps world coordinates (y up) into them.
#ifndef CRV_TOOL_SVG_H
#define CRV_TOOL_SVG_H

#include <filesystem>
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
};

// Fits a world box into a viewport less a margin on every side: one scale for both axes so shapes
// keep their proportions, centred, with world y pointing up the picture.
class ViewTransform {
 public:
  ViewTransform(const Box& world, const Box& viewport, double margin);

  Point operator()(Point world) const;

 private:
  double scale_ = 1;
  Point worldCentre_{}, viewCentre_{};
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

  std::string Str() const;

  // Writes through a temporary file in the same directory and renames it into place, so the
  // target is either the whole new picture or untouched. Throws std::runtime_error on failure.
  void Save(const std::filesystem::path& path) const;

 private:
  double width_, height_;
  std::ostringstream body_;
};

// Writes `text` to a temporary file beside `path` and renames it into place: the target is either
// the whole new content or untouched, and no temporary file stays behind. Throws
// std::runtime_error on failure.
void WriteAtomically(const std::filesystem::path& path, const std::string& text);

}  // namespace crvtool::svg

#endif
