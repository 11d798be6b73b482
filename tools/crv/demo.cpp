#include "demo.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "commands.h"
#include "output.h"
#include "crv/crv.hpp"
#include "default_curves.h"
#include "svg.h"

namespace crvtool {
namespace {

namespace fs = std::filesystem;

constexpr double kSampleTs[] = {0, 0.25, 0.5, 0.75, 1};
constexpr int kNumSampleTs = sizeof kSampleTs / sizeof kSampleTs[0];
constexpr double kSplitT = 0.4;
std::string Format(const char* format, double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, format, v);
  return buf;
}

std::string Fixed(double v) { return Format("%.3f", v); }

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
    CRV_EvaluatePoint(c, kSampleTs[i], r.value[i][0]);
    CRV_EvaluateDeriv(c, kSampleTs[i], r.value[i][1]);
    CRV_EvaluateDeriv2(c, kSampleTs[i], r.value[i][2]);
  }
  CRV_EvaluateBounds(c, r.minima, r.maxima);
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
    for (int k = 0; k < N; ++k) row.push_back(Fixed(r.curve.record.ctpts[i][k]));
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
      for (int k = 0; k < N; ++k) row.push_back(Fixed(r.value[i][order][k]));
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
    lo.push_back(Fixed(r.minima[k]));
    hi.push_back(Fixed(r.maxima[k]));
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
      for (int k = 0; k < N; ++k) row.push_back(Fixed(part->record.ctpts[i][k]));
    split.Row(row);
  }
  split.Print(out, 4);
  out << '\n';
}

// The gallery: one picture per subcommand and the caption index.html shows under it. Each is
// drawn by the subcommand's own command line, which the page shows, so running that line
// reproduces the picture.
struct GalleryEntry {
  const char* file;
  const char* args;  // after "crv", before "--svg FILE"; words without quotes
  const char* caption;
};

const GalleryEntry kGallery[] = {
    {"eval.svg", "eval --n 7",
     "Points B(t) at seven even parameters, with the tangent B'(t) at each, all scaled alike to "
     "fit the plot."},
    {"bounds.svg", "bounds",
     "The tight bounding box: the end points and the turning points of each coordinate, tighter "
     "than the control polygon."},
    {"split.svg", "split --t 0.4",
     "De Casteljau split at t = 0.4: two cubics, each with its own control polygon, that trace "
     "the curve exactly."},
    {"drag.svg", "drag --t 0.3 --by=-30,60",
     "Dragging the point at t = 0.3: P1 and P2 move by the least change that carries B(t) by "
     "exactly the drag."},
    {"ease.svg", "ease --n 9 --average 0.25,0.75",
     "The CSS 'ease' curve as a function of time: values and slopes at nine times, and the mean "
     "value over the parameter between the times x = 0.25 and x = 0.75."},
    {"length.svg", "length",
     "Equal steps of arc length (blue) against equal steps of the parameter (red): the "
     "parameter does not run at constant speed along the curve."},
    {"by-distance.svg", "by-distance",
     "Points by halving until every step is shorter than the distance: finer where the curve "
     "runs fast."},
    {"fit.svg", "fit",
     "A tangent-continuous chain of cubics fitted to 41 noisy samples within an error bound."},
    {"flatten.svg", "flatten",
     "Adaptive flattening of a function curve: pieces are halved until their tangents lie along "
     "the chord, so the bends get the points and the straight middle few."},
    {"project.svg", "project --perspective 300,150",
     "A 3-D curve seen in perspective, as 2-D screen cubics within half a pixel of the true "
     "projection."},
    {"nearest.svg", "nearest", "The nearest curve point to each of five query points."},
    {"plane.svg", "plane",
     "A 3-D curve crossing the plane y = 50, seen along the plane so that it shows as a line."},
};

// Draws one picture by parsing its command line with a fresh tool; the report goes nowhere.
void Draw(const GalleryEntry& e, const fs::path& svg) {
  std::ostringstream sink;
  Session quiet{sink};
  const std::unique_ptr<CLI::App> app = MakeApp(quiet);
  std::vector<std::string> args;
  std::istringstream words(e.args);
  for (std::string w; words >> w;) args.push_back(w);
  args.push_back("--svg");
  args.push_back(svg.string());
  std::reverse(args.begin(), args.end());  // CLI11 takes them last first
  app->parse(args);
}

fs::path WriteGallery(const fs::path& outDir) {
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<title>crv gallery</title>\n<style>\n"
      "body { font-family: sans-serif; margin: 2em; color: #1f2933; }\n"
      "figure { margin: 0 0 2.5em 0; }\n"
      "img { max-width: 100%; border: 1px solid #d9e2ec; }\n"
      "figcaption { margin-top: 0.4em; max-width: 900px; }\n"
      "pre { background: #f5f7fa; padding: 0.4em 0.6em; max-width: 900px; overflow-x: auto; }\n"
      "</style>\n</head>\n<body>\n<h1>crv gallery</h1>\n"
      "<p>One picture per subcommand of the <code>crv</code> tool, each on its built-in input. "
      "Under each is the command that draws it: run it in this directory to draw the picture "
      "again, add <code>--curve \"x,y x,y x,y x,y\"</code> to draw your own curve, and see "
      "<code>crv SUBCOMMAND --help</code> for the rest.</p>\n";
  for (const GalleryEntry& e : kGallery) {
    Draw(e, outDir / e.file);
    const std::string command = std::string("crv ") + e.args + " --svg " + e.file;
    html += "<figure>\n<img src=\"" + std::string(e.file) + "\" alt=\"" + svg::Escape(command) +
            "\">\n<figcaption>" + svg::Escape(e.caption) + "\n<pre><code>" + svg::Escape(command) +
            "</code></pre></figcaption>\n</figure>\n";
  }
  html += "</body>\n</html>\n";
  const fs::path index = (outDir / "index.html").lexically_normal();
  WriteFileSafely(index.string(), html, "--out");
  return index;
}

}  // namespace

fs::path RunDemo(const fs::path& outDir, std::ostream& out) {
  // The directory first, so an unusable --out fails before anything is printed.
  std::error_code ec;
  fs::create_directories(outDir, ec);
  if (ec) throw WriteError("--out: cannot create " + Quote(outDir.string()) + ": " + ec.message());

  const auto r2 = Examine(DefaultCurve2D());
  const auto r3 = Examine(DefaultCurve3D());
  Print("2-D curve", r2, out);
  Print("3-D curve", r3, out);
  return WriteGallery(outDir);
}

namespace {

void Run(const Args& a, Session& s) {
  const fs::path index = RunDemo(a["--out"].text, s.out);
  s.out << "gallery: " << std::size(kGallery) << " pictures, open "
        << fs::absolute(index).lexically_normal().string() << '\n';
}

const Registered kRegistered("demo", Run);

}  // namespace
}  // namespace crvtool
