#include "figure.h"

#include <algorithm>
#include <stdexcept>

namespace crvtool {

namespace {

constexpr double kWidth = 820, kHeight = 540, kLegendX = 590, kTop = 52;
const std::string kInk = "#1f2933";

}  // namespace

std::vector<svg::Point> SampleCurve(const crvtool::Curve& c, int n) {
  std::vector<double> out(static_cast<size_t>(n) * c.Dims());
  Check(CRV_EvaluatePoints(c.Record(), 0, 1, n, out.data()), "CRV_EvaluatePoints");
  std::vector<svg::Point> points;
  for (int i = 0; i < n; ++i) {
    const double* p = &out[static_cast<size_t>(i) * c.Dims()];
    points.push_back(c.Dims() >= 2 ? svg::Point{p[0], p[1]}
                                   : svg::Point{n > 1 ? double(i) / (n - 1) : 0.0, p[0]});
  }
  return points;
}

void Figure::Legend(const std::string& label, const svg::Style& style, Kind kind) {
  if (!label.empty()) legend_.push_back({label, style, kind});
}

void Figure::Curve(const crvtool::Curve& c, const svg::Style& style, const std::string& label,
                   int samples) {
  Polyline(SampleCurve(c, samples), style, label);
}

void Figure::ControlPolygon(const crvtool::Curve& c, const std::string& prefix) {
  std::vector<svg::Point> polygon;
  for (int i = 0; i < 4; ++i)
    polygon.push_back(c.Dims() >= 2 ? svg::Point{c.At(i, 0), c.At(i, 1)}
                                    : svg::Point{i / 3.0, c.At(i, 0)});
  Polyline(polygon, ink::kPolygon, "control polygon");
  Dots(polygon, ink::kControlPoint, 4, "");
  for (int i = 0; i < 4; ++i) Note(polygon[i], prefix + std::to_string(i));
}

void Figure::Input(const crvtool::Curve& c, const std::string& label) {
  Curve(c, ink::kCurve, label);
  ControlPolygon(c);
}

void Figure::Polyline(const std::vector<svg::Point>& world, const svg::Style& style,
                      const std::string& label) {
  items_.push_back({Kind::Polyline, world, style, 0, ""});
  Legend(label, style, Kind::Polyline);
}

void Figure::Dots(const std::vector<svg::Point>& world, const svg::Style& style, double radius,
                  const std::string& label) {
  items_.push_back({Kind::Dots, world, style, radius, ""});
  Legend(label, style, Kind::Dots);
}

void Figure::Box(svg::Point lo, svg::Point hi, const svg::Style& style, const std::string& label) {
  items_.push_back({Kind::Box, {lo, hi}, style, 0, ""});
  Legend(label, style, Kind::Box);
}

void Figure::Note(svg::Point world, const std::string& text, const std::string& colour) {
  items_.push_back({Kind::Note, {world}, svg::Style{"none", colour}, 0, text});
}

void Figure::Save(const std::filesystem::path& path) const {
  svg::Box world;
  for (const Item& item : items_)
    for (const svg::Point& p : item.points) world.Include(p);
  if (world.empty) world.Include({0, 0});

  try {
    const svg::ViewTransform view(world, {0, kTop, kLegendX - 8, kHeight, false}, 36);
    svg::Document doc(kWidth, kHeight);
    doc.Rect({0, 0}, {kWidth, kHeight}, {"none", "#ffffff"});
    doc.Text({16, 26}, title_, 15, kInk);
    if (!subtitle_.empty()) doc.Text({16, 44}, subtitle_, 12, "#52606d");

    // Boxes first, then lines, then dots and text, so nothing hides a marker.
    for (Kind pass : {Kind::Box, Kind::Polyline, Kind::Dots, Kind::Note}) {
      for (const Item& item : items_) {
        if (item.kind != pass) continue;
        std::vector<svg::Point> v;
        for (const svg::Point& p : item.points) v.push_back(view(p));
        switch (item.kind) {
          case Kind::Box: doc.Rect(v[0], v[1], item.style); break;
          case Kind::Polyline:
            if (v.size() >= 2) doc.Polyline(v, item.style);
            break;
          case Kind::Dots:
            for (const svg::Point& p : v) doc.Circle(p, item.radius, item.style);
            break;
          case Kind::Note:
            doc.Text({v[0].x + 8, v[0].y - 8}, item.text, 12, item.style.fill);
            break;
        }
      }
    }

    if (!legend_.empty()) {
      const double step = 24, top = kTop;
      doc.Rect({kLegendX, top}, {kWidth - 10, top + step * legend_.size() + 8},
               {"#d9e2ec", "#ffffff", 1});
      double y = top + 20;
      for (const LegendEntry& e : legend_) {
        const double x0 = kLegendX + 12, x1 = x0 + 30, mid = y - 4;
        switch (e.kind) {
          case Kind::Polyline: {
            svg::Style s = e.style;
            s.strokeWidth = std::min(s.strokeWidth, 6.0);
            doc.Line({x0, mid}, {x1, mid}, s);
            break;
          }
          case Kind::Dots: doc.Circle({(x0 + x1) / 2, mid}, 4.5, e.style); break;
          default: doc.Rect({x0 + 4, mid - 7}, {x1 - 4, mid + 7}, e.style); break;
        }
        doc.Text({x1 + 10, y}, e.label, 12, kInk);
        y += step;
      }
    }
    doc.Save(path);
  } catch (const InputError&) {
    throw;
  } catch (const std::runtime_error& e) {
    throw InputError(std::string("--svg: ") + e.what());
  }
}

}  // namespace crvtool
