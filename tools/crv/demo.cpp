#include "demo.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "commands.h"
#include "crv/crv.hpp"
#include "default_curves.h"
#include "svg.h"

namespace crvtool {
namespace {

namespace fs = std::filesystem;

constexpr double kSampleTs[] = {0, 0.25, 0.5, 0.75, 1};
constexpr int kNumSampleTs = sizeof kSampleTs / sizeof kSampleTs[0];
constexpr double kSplitT = 0.4;
constexpr const char* kSvgName = "crv-demo.svg";

void Check(int32_t code, const char* call) {
  if (code != CRV_ErrNone)
    throw std::runtime_error(std::string(call) + " failed with code " + std::to_string(code));
}

std::string Format(const char* format, double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, format, v);
  return buf;
}

std::string Num(double v) { return Format("%.3f", v); }

// Plain-text table: a left-aligned label column, then value columns right-aligned to one common
// width, with a wider gap before each group so related columns read together.
class Table {
 public:
  explicit Table(std::vector<size_t> groupStarts) : groupStarts_(std::move(groupStarts)) {}

  void Row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

  void Print(std::ostream& out, int indent) const {
    size_t labelWidth = 0, valueWidth = 0;
    for (const auto& row : rows_) {
      labelWidth = std::max(labelWidth, row.at(0).size());
      for (size_t c = 1; c < row.size(); ++c) valueWidth = std::max(valueWidth, row[c].size());
    }
    for (const auto& row : rows_) {
      std::string line(indent, ' ');
      for (size_t c = 0; c < row.size(); ++c) {
        if (c == 0) {
          line += row[c] + std::string(labelWidth - row[c].size(), ' ');
          continue;
        }
        const bool groupStart =
            std::find(groupStarts_.begin(), groupStarts_.end(), c) != groupStarts_.end();
        line += std::string(groupStart ? 5 : 2, ' ');
        line += std::string(valueWidth - row[c].size(), ' ') + row[c];
      }
      out << line << '\n';
    }
  }

 private:
  std::vector<size_t> groupStarts_;
  std::vector<std::vector<std::string>> rows_;
};

// Everything the demo asks the library about one curve.
template <int N, typename V>
struct Report {
  CRV_CurveClass<N, V> curve, left, right;
  double value[kNumSampleTs][3][N];  // [t][derivative order][coordinate]
  double minima[N], maxima[N];
};

template <int N, typename V>
Report<N, V> Examine(const CRV_CurveClass<N, V>& curve) {
  Report<N, V> r{curve, {}, {}, {}, {}, {}};
  const CRV_Curve* c = r.curve.Curve();
  for (int i = 0; i < kNumSampleTs; ++i) {
    Check(CRV_EvaluatePoint(c, kSampleTs[i], r.value[i][0]), "CRV_EvaluatePoint");
    Check(CRV_EvaluateDeriv(c, kSampleTs[i], r.value[i][1]), "CRV_EvaluateDeriv");
    Check(CRV_EvaluateDeriv2(c, kSampleTs[i], r.value[i][2]), "CRV_EvaluateDeriv2");
  }
  Check(CRV_EvaluateBounds(c, r.minima, r.maxima), "CRV_EvaluateBounds");
  CRV_SubdivideCurve(r.curve, kSplitT, &r.left, &r.right);
  return r;
}

std::string Axis(int k) { return std::string(1, "xyz"[k]); }

template <int N, typename V>
void Print(const char* title, const Report<N, V>& r, std::ostream& out) {
  out << title << "\n\n  control points\n";
  Table points({1});
  std::vector<std::string> head{""};
  for (int k = 0; k < N; ++k) head.push_back(Axis(k));
  points.Row(head);
  for (int i = 0; i < 4; ++i) {
    std::vector<std::string> row{"P" + std::to_string(i)};
    for (int k = 0; k < N; ++k) row.push_back(Num(r.curve.record.ctpts[i][k]));
    points.Row(row);
  }
  points.Print(out, 4);

  out << "\n  point B, first derivative B', second derivative B''\n";
  Table eval({1, 1 + N, 1 + 2 * N});
  head = {"t"};
  for (const char* name : {"B", "B'", "B''"})
    for (int k = 0; k < N; ++k) head.push_back(name + ("." + Axis(k)));
  eval.Row(head);
  for (int i = 0; i < kNumSampleTs; ++i) {
    std::vector<std::string> row{Format("%.2f", kSampleTs[i])};
    for (int order = 0; order < 3; ++order)
      for (int k = 0; k < N; ++k) row.push_back(Num(r.value[i][order][k]));
    eval.Row(row);
  }
  eval.Print(out, 4);

  out << "\n  bounds over t in [0, 1]\n";
  Table bounds({1});
  head = {""};
  for (int k = 0; k < N; ++k) head.push_back(Axis(k));
  bounds.Row(head);
  std::vector<std::string> lo{"min"}, hi{"max"};
  for (int k = 0; k < N; ++k) {
    lo.push_back(Num(r.minima[k]));
    hi.push_back(Num(r.maxima[k]));
  }
  bounds.Row(lo);
  bounds.Row(hi);
  bounds.Print(out, 4);

  const std::string t = Format("%g", kSplitT);
  out << "\n  split at t = " << t << ": left part [0, " << t << "], right part [" << t << ", 1]\n";
  Table split({1, 1 + N});
  head = {""};
  for (const char* part : {"left", "right"})
    for (int k = 0; k < N; ++k) head.push_back(part + ("." + Axis(k)));
  split.Row(head);
  for (int i = 0; i < 4; ++i) {
    std::vector<std::string> row{"P" + std::to_string(i)};
    for (const auto* part : {&r.left, &r.right})
      for (int k = 0; k < N; ++k) row.push_back(Num(part->record.ctpts[i][k]));
    split.Row(row);
  }
  split.Print(out, 4);
  out << '\n';
}

std::vector<svg::Point> Sample(const CRV_Curve* curve, int n, const svg::ViewTransform& view) {
  std::vector<double> xy(2 * static_cast<size_t>(n));
  Check(CRV_EvaluatePoints(curve, 0, 1, n, xy.data()), "CRV_EvaluatePoints");
  std::vector<svg::Point> points;
  for (int i = 0; i < n; ++i) points.push_back(view({xy[2 * i], xy[2 * i + 1]}));
  return points;
}

svg::Point ControlPoint(const CRV_CurveClass2D& c, int i) { return {c.points[i].x, c.points[i].y}; }

void DrawDemo(const Report<2, GEO_Vector2T<double>>& r, const fs::path& path) {
  constexpr double kWidth = 780, kHeight = 520, kLegendX = 572;
  constexpr int kSamples = 201;
  const std::string kInk = "#1f2933", kSplitColour = "#2ca02c", kWhite = "#ffffff";
  const svg::Style curveStyle{"#cbd2d9", "none", 9}, leftStyle{"#1f77b4", "none", 2.5},
      rightStyle{"#d62728", "none", 2.5}, polygonStyle{"#7b8794", "none", 1.2, "6 4"},
      pointStyle{"#3e4c59", kWhite, 1.5}, splitStyle{kWhite, kSplitColour, 1.5},
      boundsStyle{"#9aa5b1", "#eef2f6", 1};
  const std::string split = Format("%g", kSplitT);

  // Fit the control polygon as well as the curve: it usually reaches further.
  svg::Box world;
  for (int i = 0; i < 4; ++i) world.Include(ControlPoint(r.curve, i));
  world.Include({r.minima[0], r.minima[1]});
  world.Include({r.maxima[0], r.maxima[1]});
  const svg::ViewTransform view(world, {0, 36, kLegendX - 8, kHeight, false}, 36);

  svg::Document doc(kWidth, kHeight);
  doc.Rect({0, 0}, {kWidth, kHeight}, {"none", kWhite});
  doc.Text({16, 26}, "crv demo: 2-D cubic Bezier, split at t = " + split, 15, kInk);

  doc.Rect(view({r.minima[0], r.minima[1]}), view({r.maxima[0], r.maxima[1]}), boundsStyle);
  std::vector<svg::Point> polygon;
  for (int i = 0; i < 4; ++i) polygon.push_back(view(ControlPoint(r.curve, i)));
  doc.Polyline(polygon, polygonStyle);

  // The whole curve goes underneath, wide and pale, so a part that strays from it shows.
  doc.Polyline(Sample(r.curve.Curve(), kSamples, view), curveStyle);
  doc.Polyline(Sample(r.left.Curve(), kSamples, view), leftStyle);
  doc.Polyline(Sample(r.right.Curve(), kSamples, view), rightStyle);

  for (int i = 0; i < 4; ++i) {
    const svg::Point p = view(ControlPoint(r.curve, i));
    doc.Circle(p, 4, pointStyle);
    doc.Text({p.x + 8, p.y - 8}, "P" + std::to_string(i), 12, kInk);
  }
  const svg::Point m = view(ControlPoint(r.left, 3));
  doc.Circle(m, 5.5, splitStyle);
  doc.Text({m.x + 10, m.y + 16}, "t = " + split, 12, kSplitColour);

  enum class Swatch { Stroke, Dot, Box };
  struct Entry {
    std::string label;
    const svg::Style& style;
    Swatch swatch;
  };
  const Entry legend[] = {
      {"curve, " + std::to_string(kSamples) + " samples", curveStyle, Swatch::Stroke},
      {"left part, t in [0, " + split + "]", leftStyle, Swatch::Stroke},
      {"right part, t in [" + split + ", 1]", rightStyle, Swatch::Stroke},
      {"control polygon", polygonStyle, Swatch::Stroke},
      {"control points", pointStyle, Swatch::Dot},
      {"split point", splitStyle, Swatch::Dot},
      {"bounds", boundsStyle, Swatch::Box},
  };
  const double top = 48, step = 24;
  doc.Rect({kLegendX, top}, {kWidth - 10, top + step * std::size(legend) + 8},
           {"#d9e2ec", kWhite, 1});
  double y = top + 20;
  for (const Entry& e : legend) {
    const double x0 = kLegendX + 12, x1 = x0 + 30, mid = y - 4;
    switch (e.swatch) {
      case Swatch::Stroke: doc.Line({x0, mid}, {x1, mid}, e.style); break;
      case Swatch::Dot: doc.Circle({(x0 + x1) / 2, mid}, 4.5, e.style); break;
      case Swatch::Box: doc.Rect({x0 + 4, mid - 7}, {x1 - 4, mid + 7}, e.style); break;
    }
    doc.Text({x1 + 10, y}, e.label, 12, kInk);
    y += step;
  }

  doc.Save(path);
}

// The gallery: one picture per subcommand, drawn on the subcommand's default input, and the
// caption index.html shows under it.
struct GalleryEntry {
  const char* file;
  const char* title;
  const char* caption;
  void (*draw)(const fs::path&);
};

const GalleryEntry kGallery[] = {
    {"eval.svg", "crv eval",
     "Points B(t) at seven even parameters, with the tangent B'(t)/3 at each.", GalleryEval},
    {"bounds.svg", "crv bounds",
     "The tight bounding box: the end points and the turning points of each coordinate, tighter "
     "than the control polygon.",
     GalleryBounds},
    {"split.svg", "crv split",
     "De Casteljau split at t = 0.4: two cubics, each with its own control polygon, that trace the "
     "curve exactly.",
     GallerySplit},
    {"drag.svg", "crv drag",
     "Dragging the point at t = 0.3: P1 and P2 move by the least change that carries B(t) by "
     "exactly the drag.",
     GalleryDrag},
    {"ease.svg", "crv ease",
     "The CSS 'ease' curve as a function of time: values and slopes at nine times, and the mean "
     "value over [0.25, 0.75].",
     GalleryEase},
    {"length.svg", "crv length",
     "Equal steps of arc length (blue) against equal steps of the parameter (red): the "
     "parameter does not run at constant speed along the curve.",
     GalleryLength},
    {"by-distance.svg", "crv by-distance",
     "Points by halving until every step is shorter than the distance: finer where the curve runs "
     "fast.",
     GalleryByDistance},
    {"fit.svg", "crv fit",
     "A tangent-continuous chain of cubics fitted to 41 noisy samples within an error bound.",
     GalleryFit},
    {"flatten.svg", "crv flatten",
     "Adaptive flattening of a function curve: pieces are halved until their tangents lie along "
     "the chord, so the bends get the points and the straight middle few.",
     GalleryFlatten},
    {"project.svg", "crv project",
     "A 3-D curve seen in perspective, as 2-D screen cubics within half a pixel of the true "
     "projection.",
     GalleryProject},
    {"nearest.svg", "crv nearest", "The nearest curve point to each of five query points.",
     GalleryNearest},
    {"plane.svg", "crv plane", "A 3-D curve crossing the plane y = 50, seen from above.",
     GalleryPlane},
};

fs::path WriteGallery(const fs::path& outDir) {
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<title>crv gallery</title>\n<style>\n"
      "body { font-family: sans-serif; margin: 2em; color: #1f2933; }\n"
      "figure { margin: 0 0 2.5em 0; }\n"
      "img { max-width: 100%; border: 1px solid #d9e2ec; }\n"
      "figcaption { margin-top: 0.4em; max-width: 820px; }\n"
      "</style>\n</head>\n<body>\n<h1>crv gallery</h1>\n"
      "<p>One picture per subcommand of the <code>crv</code> tool, each on its built-in input. "
      "Run <code>crv SUBCOMMAND --help</code> to see how to draw your own curve.</p>\n";
  html += "<figure>\n<img src=\"" + std::string(kSvgName) +
          "\" alt=\"crv demo\">\n<figcaption><b>crv demo</b>: evaluation, bounds and a split of "
          "the built-in 2-D curve in one picture.</figcaption>\n</figure>\n";
  for (const GalleryEntry& e : kGallery) {
    e.draw(outDir / e.file);
    html += "<figure>\n<img src=\"" + std::string(e.file) + "\" alt=\"" + svg::Escape(e.title) +
            "\">\n<figcaption><b>" + svg::Escape(e.title) + "</b>: " + svg::Escape(e.caption) +
            "</figcaption>\n</figure>\n";
  }
  html += "</body>\n</html>\n";
  const fs::path index = (outDir / "index.html").lexically_normal();
  svg::WriteAtomically(index, html);
  return index;
}

}  // namespace

fs::path RunDemo(const fs::path& outDir, std::ostream& out) {
  // The directory first, so an unusable --out fails before anything is printed.
  std::error_code ec;
  fs::create_directories(outDir, ec);
  if (ec) throw std::runtime_error("cannot create " + outDir.string() + ": " + ec.message());

  const auto r2 = Examine(DefaultCurve2D());
  const auto r3 = Examine(DefaultCurve3D());
  Print("2-D curve", r2, out);
  Print("3-D curve", r3, out);
  DrawDemo(r2, (outDir / kSvgName).lexically_normal());
  return WriteGallery(outDir);
}

void RegisterDemo(CLI::App& app) {
  auto outDir = std::make_shared<std::string>("crv-demo");
  CLI::App* demo = app.add_subcommand(
      "demo",
      "Evaluate, bound and split the built-in curves and print the results; then write a "
      "gallery into --out: one SVG picture per subcommand and an index.html that shows them with "
      "a caption each.");
  demo->footer("Example:\n  crv demo --out /tmp/gallery && xdg-open /tmp/gallery/index.html");
  demo->add_option("--out", *outDir, "Directory for the gallery (created if needed)")
      ->type_name("DIR")
      ->capture_default_str();
  demo->callback([outDir] {
    const fs::path index = RunDemo(*outDir, std::cout);
    std::cout << "gallery: " << std::size(kGallery) + 1 << " pictures, open "
              << fs::absolute(index).lexically_normal().string() << '\n';
  });
}

}  // namespace crvtool
