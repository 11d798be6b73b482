#include "figure.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

#include "output.h"

namespace crvtool {

namespace ink {
svg::Style Thin(svg::Style s, double width, const std::string& dash) {
  s.strokeWidth = width;
  s.dash = dash;
  return s;
}
}  // namespace ink

namespace {

constexpr double kWidth = 900, kHeight = 560;
// The plot area; tick labels sit left of and below it, the legend right of it.
const svg::Box kPlot{78, 70, 604, 494, false};
constexpr double kPad = 18;  // between the plot's frame and the furthest world point
constexpr double kLegendX = 620, kLegendRight = 890;
// Items with more points are drawn thinned: a picture stays a few hundred kilobytes, and more
// markers than this would only pile up into a band.
constexpr size_t kMaxDrawnPoints = 4000, kMaxDrawnMarkers = 400;
const std::string kInk = "#1f2933", kGrey = "#52606d", kLight = "#9aa5b1";

// A tick step of 1, 2 or 5 times a power of ten that cuts `range` into at most `most` parts.
double NiceStep(double range, int most) {
  const double raw = range / most;
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (double m : {1.0, 2.0, 5.0, 10.0})
    if (m * power >= raw) return m * power;
  return 10 * power;
}

std::vector<double> Ticks(double lo, double hi, double step) {
  std::vector<double> ticks;
  for (double k = std::ceil(lo / step); k * step <= hi && ticks.size() < 40; ++k)
    ticks.push_back(k * step == 0 ? 0.0 : k * step);
  return ticks;
}

std::set<std::string> Colours(const svg::Style& s) {
  std::set<std::string> c;
  for (const std::string& v : {s.stroke, s.fill})
    if (v != "none" && v != "#ffffff") c.insert(v);
  return c;
}

}  // namespace

// World to view: one scale (kShape) or one per axis (kFunction), centred in the plot less kPad.
class Figure::View {
 public:
  View(svg::Box world, Frame frame) {
    // A world of no width or height gets some, so the scale stays finite.
    auto widen = [](double& lo, double& hi) {
      const double d = std::max(std::fabs(lo) * 0.05, 1.0);
      lo -= d;
      hi += d;
    };
    const bool flatX = !(world.xmax > world.xmin), flatY = !(world.ymax > world.ymin);
    if (frame == Frame::kFunction || (flatX && flatY)) {
      if (flatX) widen(world.xmin, world.xmax);
      if (flatY) widen(world.ymin, world.ymax);
    }
    const double iw = kPlot.xmax - kPlot.xmin - 2 * kPad, ih = kPlot.ymax - kPlot.ymin - 2 * kPad;
    const double ww = world.xmax - world.xmin, wh = world.ymax - world.ymin;
    sx_ = ww > 0 ? iw / ww : INFINITY;
    sy_ = wh > 0 ? ih / wh : INFINITY;
    if (frame == Frame::kShape) sx_ = sy_ = std::min(sx_, sy_);
    if (!std::isfinite(sx_) || !std::isfinite(sy_) || sx_ <= 0 || sy_ <= 0)
      throw InputError("--svg: cannot fit the picture to the plot");
    cx_ = (world.xmin + world.xmax) / 2;
    cy_ = (world.ymin + world.ymax) / 2;
  }

  svg::Point operator()(svg::Point p) const {
    return {Mid(kPlot.xmin, kPlot.xmax) + (p.x - cx_) * sx_,
            Mid(kPlot.ymin, kPlot.ymax) - (p.y - cy_) * sy_};
  }
  // The world range the plot area shows, across and up.
  double XAt(double vx) const { return cx_ + (vx - Mid(kPlot.xmin, kPlot.xmax)) / sx_; }
  double YAt(double vy) const { return cy_ - (vy - Mid(kPlot.ymin, kPlot.ymax)) / sy_; }

 private:
  static double Mid(double a, double b) { return (a + b) / 2; }
  double sx_, sy_, cx_, cy_;
};

std::vector<svg::Point> SampleCurve(const crvtool::Curve& c, int n) {
  std::vector<double> out(static_cast<size_t>(n) * c.dims());
  CRV_EvaluatePoints(c.get(), 0, 1, n, out.data());
  std::vector<svg::Point> points;
  for (int i = 0; i < n; ++i) {
    const double* p = &out[static_cast<size_t>(i) * c.dims()];
    points.push_back(c.dims() >= 2 ? svg::Point{p[0], p[1]}
                                   : svg::Point{n > 1 ? double(i) / (n - 1) : 0.0, p[0]});
  }
  return points;
}

void Figure::Curve(const crvtool::Curve& c, const svg::Style& style, const std::string& label,
                   int samples) {
  Polyline(SampleCurve(c, samples), style, label);
}

void Figure::ControlPolygon(const crvtool::Curve& c) {
  std::vector<svg::Point> polygon;
  for (int i = 0; i < 4; ++i)
    polygon.push_back(c.dims() >= 2 ? svg::Point{c.at(i, 0), c.at(i, 1)}
                                    : svg::Point{i / 3.0, c.at(i, 0)});
  Polyline(polygon, ink::kPolygon, "control polygon");
  Dots(polygon, ink::kControlPoint, 4, "control points P0 to P3");
  for (int i = 0; i < 4; ++i) Note(polygon[i], "P" + std::to_string(i));
}

void Figure::Input(const crvtool::Curve& c, const std::string& label) {
  Curve(c, ink::kCurve, label);
  ControlPolygon(c);
}

void Figure::Add(Kind kind, std::vector<svg::Point> world, const svg::Style& style,
                 double radius, const std::string& label) {
  const size_t most = kind == Kind::kPolyline ? kMaxDrawnPoints : kMaxDrawnMarkers;
  if (world.size() > most) {
    const size_t stride = (world.size() + most - 1) / most;
    std::vector<svg::Point> kept;
    for (size_t i = 0; i < world.size(); i += stride) kept.push_back(world[i]);
    if (kind == Kind::kPolyline) kept.push_back(world.back());
    if (world.size() > thinnedFrom_) {
      thinnedFrom_ = world.size();
      thinnedTo_ = kept.size();
    }
    world = std::move(kept);
  }
  items_.push_back({kind, std::move(world), style, radius});
  if (!label.empty()) legend_.push_back({label, style, kind});
}

void Figure::Polyline(const std::vector<svg::Point>& world, const svg::Style& style,
                      const std::string& label) {
  Add(Kind::kPolyline, world, style, 0, label);
}

void Figure::Dots(const std::vector<svg::Point>& world, const svg::Style& style, double radius,
                  const std::string& label, bool under) {
  Add(under ? Kind::kDotsUnder : Kind::kDots, world, style, radius, label);
}

void Figure::Box(svg::Point lo, svg::Point hi, const svg::Style& style, const std::string& label) {
  Add(Kind::kBox, {lo, hi}, style, 0, label);
}

void Figure::Note(svg::Point world, const std::string& text, const std::string& colour) {
  labels_.push_back({world, text, colour});
}

void Figure::DrawAxes(svg::Document& doc, const View& view) const {
  const bool function = frame_ == Frame::kFunction;
  const double size = function ? 11 : 10;
  const std::string text = function ? "#3e4c59" : kLight;
  const svg::Style grid{"#eef2f6", "none", 1};
  doc.Group("axes");
  // Across: ticks close enough that their labels still keep apart.
  const double x0 = view.XAt(kPlot.xmin), x1 = view.XAt(kPlot.xmax);
  for (int most = 8;; most = std::max(1, most / 2)) {
    const std::vector<double> ticks = Ticks(x0, x1, NiceStep(x1 - x0, most));
    bool apart = true;
    for (size_t i = 1; i < ticks.size(); ++i) {
      const svg::Box a = svg::TextBox({view({ticks[i - 1], 0}).x, 0}, Short(ticks[i - 1]), size,
                                      svg::Anchor::Middle);
      const svg::Box b =
          svg::TextBox({view({ticks[i], 0}).x, 0}, Short(ticks[i]), size, svg::Anchor::Middle);
      apart = apart && a.xmax + 8 < b.xmin;
    }
    if (!apart && most > 1) continue;
    for (double v : ticks) {
      const double x = view({v, 0}).x;
      doc.Line({x, kPlot.ymin}, {x, kPlot.ymax}, grid);
      if (function) doc.Line({x, kPlot.ymax}, {x, kPlot.ymax + 5}, {kGrey, "none", 1});
      doc.Text({x, kPlot.ymax + 18}, Short(v), size, text, svg::Anchor::Middle);
    }
    break;
  }
  // Up: labels one line apart at most 10 to the plot's height.
  const double y0 = view.YAt(kPlot.ymax), y1 = view.YAt(kPlot.ymin);
  for (double v : Ticks(y0, y1, NiceStep(y1 - y0, 8))) {
    const double y = view({0, v}).y;
    doc.Line({kPlot.xmin, y}, {kPlot.xmax, y}, grid);
    if (function) doc.Line({kPlot.xmin - 5, y}, {kPlot.xmin, y}, {kGrey, "none", 1});
    doc.Text({kPlot.xmin - 8, y + size * 0.35}, Short(v), size, text, svg::Anchor::End);
  }
  if (function) {
    doc.Line({kPlot.xmin, kPlot.ymax}, {kPlot.xmax, kPlot.ymax}, {kGrey, "none", 1.2});
    doc.Line({kPlot.xmin, kPlot.ymin}, {kPlot.xmin, kPlot.ymax}, {kGrey, "none", 1.2});
  } else {
    doc.Rect({kPlot.xmin, kPlot.ymin}, {kPlot.xmax, kPlot.ymax}, {"#d9e2ec", "none", 1});
  }
  doc.Text({(kPlot.xmin + kPlot.xmax) / 2, kPlot.ymax + 40}, xName_ + " \u2192", 12, kInk,
           svg::Anchor::Middle);
  doc.Text({kPlot.xmin, kPlot.ymin - 8}, "\u2191 " + yName_, 12, kInk);
  doc.EndGroup();
}

void Figure::DrawLabels(svg::Document& doc, const View& view) const {
  constexpr double kSize = 12, kMarkerGap = 2;
  std::vector<svg::Box> taken;   // labels placed and point markers: never covered
  std::vector<svg::Point> lines;  // points of lines: covered only when nothing else is free
  for (const Item& item : items_) {
    if (item.kind == Kind::kDots || item.kind == Kind::kDotsUnder)
      for (const svg::Point& w : item.points) {
        const svg::Point p = view(w);
        const double r = item.radius + kMarkerGap;
        taken.push_back({p.x - r, p.y - r, p.x + r, p.y + r, false});
      }
    if (item.kind == Kind::kPolyline) {
      const size_t stride = item.points.size() / 400 + 1;
      for (size_t i = 0; i < item.points.size(); i += stride) lines.push_back(view(item.points[i]));
    }
  }
  doc.Group("labels");
  for (const Label& label : labels_) {
    const svg::Point p = view(label.at);
    const double w = svg::TextWidth(label.text, kSize), h = 1.05 * kSize;
    // Beside the point in eight directions, nearest first; a label further out than the first
    // ring gets a leader line to its point.
    double bestCost = INFINITY;
    svg::Box best;
    for (double d : {6.0, 12.0, 22.0, 36.0, 54.0, 80.0, 120.0}) {
      for (int dir = 0; dir < 8; ++dir) {
        static const int kDx[] = {1, 1, -1, -1, 1, -1, 0, 0}, kDy[] = {-1, 1, -1, 1, 0, 0, -1, 1};
        const double x0 = kDx[dir] > 0 ? p.x + d : kDx[dir] < 0 ? p.x - d - w : p.x - w / 2;
        const double y0 = kDy[dir] > 0 ? p.y + d : kDy[dir] < 0 ? p.y - d - h : p.y - h / 2;
        const svg::Box box{x0, y0, x0 + w, y0 + h, false};
        if (!kPlot.Contains(box)) continue;
        if (std::any_of(taken.begin(), taken.end(), [&](const svg::Box& t) { return t.Overlaps(box); }))
          continue;
        double cost = d;
        for (const svg::Point& q : lines)
          if (q.x > box.xmin && q.x < box.xmax && q.y > box.ymin && q.y < box.ymax) cost += 25;
        if (cost < bestCost) {
          bestCost = cost;
          best = box;
        }
      }
    }
    if (best.empty) continue;  // nowhere free: better no label than one over another
    taken.push_back(best);
    const svg::Point near{std::clamp(p.x, best.xmin, best.xmax), std::clamp(p.y, best.ymin, best.ymax)};
    if (std::hypot(near.x - p.x, near.y - p.y) > 14)
      doc.Line(p, near, {kLight, "none", 0.8});
    doc.Text({best.xmin, best.ymin + 0.8 * kSize}, label.text, kSize, label.colour);
  }
  doc.EndGroup();
}

void Figure::DrawLegend(svg::Document& doc) const {
  if (legend_.empty()) return;
  constexpr double kSize = 12, kLine = 15, kTextX = kLegendX + 52;
  // Entries wrap at word boundaries to the legend's width.
  std::vector<std::vector<std::string>> lines;
  double height = 8;
  for (const LegendEntry& e : legend_) {
    lines.emplace_back(1, "");
    std::string word;
    for (size_t i = 0; i <= e.label.size(); ++i) {
      if (i < e.label.size() && e.label[i] != ' ') {
        word += e.label[i];
        continue;
      }
      std::string& last = lines.back().back();
      const std::string joined = last.empty() ? word : last + " " + word;
      if (!last.empty() && svg::TextWidth(joined, kSize) > kLegendRight - 8 - kTextX)
        lines.back().push_back(word);
      else
        last = joined;
      word.clear();
    }
    height += 24 + kLine * (lines.back().size() - 1);
  }
  doc.Group("legend");
  doc.Rect({kLegendX, kPlot.ymin}, {kLegendRight, kPlot.ymin + height}, {"#d9e2ec", "#ffffff", 1});
  double y = kPlot.ymin + 20;
  for (size_t i = 0; i < legend_.size(); ++i) {
    const LegendEntry& e = legend_[i];
    const double x0 = kLegendX + 12, x1 = x0 + 30, mid = y - 4;
    switch (e.kind) {
      case Kind::kPolyline: doc.Line({x0, mid}, {x1, mid}, ink::Thin(e.style, std::min(e.style.strokeWidth, 6.0), e.style.dash)); break;
      case Kind::kDots:
      case Kind::kDotsUnder: doc.Circle({(x0 + x1) / 2, mid}, 4.5, e.style); break;
      case Kind::kBox: doc.Rect({x0 + 4, mid - 7}, {x1 - 4, mid + 7}, e.style); break;
    }
    for (const std::string& line : lines[i]) {
      doc.Text({kTextX, y}, line, kSize, kInk);
      y += kLine;
    }
    y += 24 - kLine;
  }
  doc.EndGroup();
}

std::string Figure::Svg() const {
  std::set<std::string> named;
  for (const LegendEntry& e : legend_)
    for (const std::string& c : Colours(e.style)) named.insert(c);
  svg::Box world;
  for (const Item& item : items_) {
    for (const std::string& c : Colours(item.style))
      if (!named.count(c)) throw std::logic_error("picture: colour " + c + " is not in the legend");
    for (const svg::Point& p : item.points) world.Include(p);
  }
  for (const Label& l : labels_) world.Include(l.at);
  if (world.empty) world.Include({0, 0});

  try {
    const View view(world, frame_);
    svg::Document doc(kWidth, kHeight);
    doc.Rect({0, 0}, {kWidth, kHeight}, {"none", "#ffffff"});
    doc.Text({16, 26}, title_, 15, kInk);
    std::string subtitle = subtitle_;
    if (thinnedFrom_)
      subtitle += (subtitle.empty() ? "" : "; ") + std::string("drawing thinned: ") +
                  std::to_string(thinnedTo_) + " of " + std::to_string(thinnedFrom_) +
                  " points shown";
    if (!subtitle.empty()) doc.Text({16, 46}, subtitle, 12, kGrey);
    DrawAxes(doc, view);

    // Boxes first, then lines, then dots, so nothing hides a marker but what is drawn over it on
    // purpose.
    doc.Group("plot");
    for (Kind pass : {Kind::kBox, Kind::kDotsUnder, Kind::kPolyline, Kind::kDots}) {
      for (const Item& item : items_) {
        if (item.kind != pass) continue;
        std::vector<svg::Point> v;
        for (const svg::Point& p : item.points) v.push_back(view(p));
        if (pass == Kind::kBox) doc.Rect(v[0], v[1], item.style);
        if (pass == Kind::kPolyline && v.size() >= 2) doc.Polyline(v, item.style);
        if (pass == Kind::kDots || pass == Kind::kDotsUnder)
          for (const svg::Point& p : v) doc.Circle(p, item.radius, item.style);
      }
    }
    doc.EndGroup();
    DrawLabels(doc, view);
    DrawLegend(doc);
    return doc.Str();
  } catch (const InputError&) {
    throw;
  } catch (const std::runtime_error& e) {
    throw InputError(std::string("--svg: ") + e.what());
  }
}

void Figure::Save(const std::string& target, Session& s) const {
  WriteTarget(target, Svg(), "--svg", s);
}

}  // namespace crvtool
