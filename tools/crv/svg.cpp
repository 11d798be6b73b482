#include "svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace crvtool::svg {

namespace {

std::string Num(double v) {
  if (!std::isfinite(v)) throw std::runtime_error("cannot draw a non-finite coordinate");
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.2f", v);
  return buf;
}

std::string StyleAttrs(const Style& s) {
  std::string a = " stroke=\"" + Escape(s.stroke) + "\" fill=\"" + Escape(s.fill) + "\"";
  if (s.stroke != "none") a += " stroke-width=\"" + Num(s.strokeWidth) + "\"";
  if (!s.dash.empty()) a += " stroke-dasharray=\"" + Escape(s.dash) + "\"";
  return a;
}

}  // namespace

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

void Box::Include(Point p) {
  if (empty) {
    xmin = xmax = p.x;
    ymin = ymax = p.y;
    empty = false;
    return;
  }
  xmin = std::min(xmin, p.x);
  xmax = std::max(xmax, p.x);
  ymin = std::min(ymin, p.y);
  ymax = std::max(ymax, p.y);
}

bool Box::Overlaps(const Box& o) const {
  return !empty && !o.empty && xmin < o.xmax && o.xmin < xmax && ymin < o.ymax && o.ymin < ymax;
}

bool Box::Contains(const Box& o) const {
  return !empty && xmin <= o.xmin && o.xmax <= xmax && ymin <= o.ymin && o.ymax <= ymax;
}

double TextWidth(const std::string& text, double size) {
  // Advance widths of DejaVu Sans for ' ' to '~', in em, measured from rsvg-convert renderings;
  // anything else counts as a full em.
  static const double kAdvance[95] = {
      0.318, 0.401, 0.460, 0.838, 0.636, 0.950, 0.780, 0.275, 0.390, 0.390, 0.500, 0.838,
      0.318, 0.361, 0.318, 0.337, 0.636, 0.636, 0.636, 0.636, 0.636, 0.636, 0.636, 0.636,
      0.636, 0.636, 0.337, 0.337, 0.838, 0.838, 0.838, 0.531, 1.000, 0.685, 0.686, 0.698,
      0.770, 0.632, 0.575, 0.775, 0.752, 0.295, 0.295, 0.656, 0.557, 0.863, 0.748, 0.787,
      0.603, 0.787, 0.695, 0.635, 0.611, 0.732, 0.685, 0.989, 0.685, 0.611, 0.685, 0.390,
      0.337, 0.390, 0.838, 0.500, 0.500, 0.613, 0.635, 0.550, 0.635, 0.615, 0.352, 0.635,
      0.634, 0.278, 0.278, 0.579, 0.278, 0.974, 0.634, 0.612, 0.635, 0.635, 0.411, 0.521,
      0.392, 0.634, 0.592, 0.818, 0.592, 0.592, 0.525, 0.636, 0.337, 0.636, 0.838};
  double em = 0;
  for (unsigned char c : text) {
    if ((c & 0xC0) == 0x80) continue;  // a UTF-8 continuation byte: counted with its lead byte
    em += c >= 32 && c < 127 ? kAdvance[c - 32] : 1.0;
  }
  // 2% more covers what the rounding of the measured widths and the renderer's hinting add up
  // to over a long line.
  return em * size * 1.02;
}

Box TextBox(Point at, const std::string& text, double size, Anchor anchor) {
  const double w = TextWidth(text, size);
  const double x0 = anchor == Anchor::Start ? at.x : anchor == Anchor::Middle ? at.x - w / 2 : at.x - w;
  return {x0, at.y - 0.8 * size, x0 + w, at.y + 0.25 * size, false};
}

Document::Document(double width, double height) : width_(width), height_(height) {}

void Document::Polyline(const std::vector<Point>& points, const Style& style) {
  std::string pts;
  for (const Point& p : points) {
    if (!pts.empty()) pts += ' ';
    pts += Num(p.x) + ',' + Num(p.y);
  }
  body_ << "  <polyline points=\"" << pts << "\"" << StyleAttrs(style)
        << " stroke-linejoin=\"round\" stroke-linecap=\"round\"/>\n";
}

void Document::Line(Point from, Point to, const Style& style) {
  body_ << "  <line x1=\"" << Num(from.x) << "\" y1=\"" << Num(from.y) << "\" x2=\""
        << Num(to.x) << "\" y2=\"" << Num(to.y) << "\"" << StyleAttrs(style) << "/>\n";
}

void Document::Circle(Point c, double radius, const Style& style) {
  body_ << "  <circle cx=\"" << Num(c.x) << "\" cy=\"" << Num(c.y) << "\" r=\"" << Num(radius)
        << "\"" << StyleAttrs(style) << "/>\n";
}

void Document::Rect(Point corner, Point opposite, const Style& style) {
  const double x = std::min(corner.x, opposite.x), y = std::min(corner.y, opposite.y);
  body_ << "  <rect x=\"" << Num(x) << "\" y=\"" << Num(y) << "\" width=\""
        << Num(std::fabs(opposite.x - corner.x)) << "\" height=\""
        << Num(std::fabs(opposite.y - corner.y)) << "\"" << StyleAttrs(style) << "/>\n";
}

void Document::Text(Point at, const std::string& text, double size, const std::string& fill,
                    Anchor anchor) {
  static const char* const kAnchors[] = {"start", "middle", "end"};
  // The box goes along, so that a test can check that no two labels meet.
  const Box box = TextBox(at, text, size, anchor);
  body_ << "  <text x=\"" << Num(at.x) << "\" y=\"" << Num(at.y) << "\" font-size=\"" << Num(size)
        << "\" fill=\"" << Escape(fill) << "\" text-anchor=\"" << kAnchors[static_cast<int>(anchor)]
        << "\" data-box=\"" << Num(box.xmin) << ' ' << Num(box.ymin) << ' ' << Num(box.xmax) << ' '
        << Num(box.ymax) << "\">" << Escape(text) << "</text>\n";
}

std::string Document::Str() const {
  std::ostringstream out;
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << Num(width_) << "\" height=\""
      << Num(height_) << "\" viewBox=\"0 0 " << Num(width_) << ' ' << Num(height_)
      << "\" font-family=\"sans-serif\">\n"
      << body_.str() << "</svg>\n";
  return out.str();
}

void Document::Group(const std::string& id) { body_ << "  <g id=\"" << Escape(id) << "\">\n"; }

void Document::EndGroup() { body_ << "  </g>\n"; }

}  // namespace crvtool::svg
