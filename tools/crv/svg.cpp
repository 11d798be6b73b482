#include "svg.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <system_error>

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

ViewTransform::ViewTransform(const Box& world, const Box& viewport, double margin) {
  const double ww = world.xmax - world.xmin, wh = world.ymax - world.ymin;
  const double vw = viewport.xmax - viewport.xmin - 2 * margin;
  const double vh = viewport.ymax - viewport.ymin - 2 * margin;
  if (!std::isfinite(ww) || !std::isfinite(wh))
    throw std::runtime_error("cannot fit a picture to non-finite bounds");
  // A flat box (a straight horizontal or vertical curve) is fitted by its other side alone; a
  // single point keeps unit scale.
  double sx = ww > 0 ? vw / ww : INFINITY, sy = wh > 0 ? vh / wh : INFINITY;
  scale_ = std::min(sx, sy);
  if (!std::isfinite(scale_) || scale_ <= 0) scale_ = 1;
  worldCentre_ = {(world.xmin + world.xmax) / 2, (world.ymin + world.ymax) / 2};
  viewCentre_ = {(viewport.xmin + viewport.xmax) / 2, (viewport.ymin + viewport.ymax) / 2};
}

Point ViewTransform::operator()(Point p) const {
  return {viewCentre_.x + (p.x - worldCentre_.x) * scale_,
          viewCentre_.y - (p.y - worldCentre_.y) * scale_};
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
  body_ << "  <text x=\"" << Num(at.x) << "\" y=\"" << Num(at.y) << "\" font-size=\""
        << Num(size) << "\" fill=\"" << Escape(fill) << "\" text-anchor=\""
        << kAnchors[static_cast<int>(anchor)] << "\">" << Escape(text) << "</text>\n";
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

void Document::Save(const std::filesystem::path& path) const { WriteAtomically(path, Str()); }

void WriteAtomically(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::path tmp = path;
  tmp += ".tmp";

  auto fail = [&tmp](const std::string& why) {
    std::error_code ignored;
    std::filesystem::remove(tmp, ignored);
    throw std::runtime_error(why);
  };

  std::FILE* f = std::fopen(tmp.c_str(), "wb");
  if (!f) fail("cannot create " + tmp.string() + ": " + std::strerror(errno));
  const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  const int writeErr = errno;
  // fclose flushes, so a full disk may only show there.
  if (std::fclose(f) != 0 || !written)
    fail("cannot write " + tmp.string() + ": " + std::strerror(written ? errno : writeErr));

  std::error_code ec;
  std::filesystem::rename(tmp, path, ec);
  if (ec) fail("cannot rename " + tmp.string() + " to " + path.string() + ": " + ec.message());
}

}  // namespace crvtool::svg
