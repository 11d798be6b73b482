// `crv fit`: cubics fitted to sampled points from a CSV file, standard input or the built-in
// samples: one curve, or a tangent-continuous chain within an error bound.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "common.h"
#include "figure.h"

namespace crvtool {
namespace {

struct Options {
  CommonOptions common;
  std::string file, bound, tangents = "3", iterations;
  bool one = false;
};

constexpr long kMaxSamples = 1000000;

struct Samples {
  int dims = 0;
  std::vector<double> coords;  // count * dims
  size_t Count() const { return dims ? coords.size() / dims : 0; }
};

std::string Trim(const std::string& s) {
  const size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

// One sample per line, "x,y" or "x,y,z"; blank lines and lines starting with # are skipped, and
// so is a first line without a single number (a header such as "x,y").
Samples ReadCsv(std::istream& in, const std::string& name) {
  Samples s;
  std::string line;
  bool header = true;  // still at the first row
  for (long number = 1; std::getline(in, line); ++number) {
    line = Trim(line);
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> fields;
    std::stringstream row(line);
    for (std::string f; std::getline(row, f, ',');) fields.push_back(Trim(f));
    const std::string where = name + " line " + std::to_string(number);
    if (header) {
      header = false;
      bool anyNumber = false;
      for (const std::string& f : fields) {
        char* end = nullptr;
        std::strtod(f.c_str(), &end);
        anyNumber = anyNumber || (end != f.c_str());
      }
      if (!anyNumber) continue;
    }
    if (s.dims == 0) {
      if (fields.size() != 2 && fields.size() != 3)
        throw InputError(where + ": a sample has 2 or 3 coordinates, got " +
                         std::to_string(fields.size()));
      s.dims = int(fields.size());
    }
    if (fields.size() != size_t(s.dims))
      throw InputError(where + ": " + std::to_string(fields.size()) +
                       " coordinates where the first sample has " + std::to_string(s.dims));
    for (const std::string& f : fields) s.coords.push_back(ParseNumber(f, where));
    if (s.Count() > size_t(kMaxSamples))
      throw InputError(name + ": more than " + std::to_string(kMaxSamples) + " samples");
  }
  if (in.bad()) throw InputError("cannot read " + name);
  if (s.Count() == 0) throw InputError(name + ": no samples");
  if (s.Count() < 2) throw InputError(name + ": a fit needs at least 2 samples, got 1");
  return s;
}

// A wave with a fixed wobble: a few segments are needed at the default bound.
Samples BuiltInSamples() {
  Samples s;
  s.dims = 2;
  for (int i = 0; i < 41; ++i) {
    const double x = i * 10.0;
    s.coords.push_back(x);
    s.coords.push_back(100 * std::sin(x / 70) + 1.5 * std::sin(i * 2.3));
  }
  return s;
}

Samples Load(const std::string& file) {
  if (file.empty()) return BuiltInSamples();
  if (file == "-") return ReadCsv(std::cin, "standard input");
  std::ifstream in(file);
  if (!in) throw InputError("cannot open " + file);
  return ReadCsv(in, file);
}

void Run(const Options& o, std::ostream& out) {
  const Samples s = Load(o.file);
  const int dims = s.dims;
  const int32_t count = int32_t(s.Count());
  if (!o.common.svg.empty() && dims < 2) throw InputError("--svg: needs 2-D or 3-D samples");

  double bound = 0;
  if (!o.bound.empty()) {
    bound = ParseNumber(o.bound, "--bound");
    if (bound <= 0) throw InputError("--bound: must be positive");
  } else {
    // The squared distance of 1% of the samples' extent.
    double diag2 = 0;
    for (int k = 0; k < dims; ++k) {
      double lo = s.coords[k], hi = lo;
      for (int32_t i = 0; i < count; ++i) {
        lo = std::min(lo, s.coords[size_t(i) * dims + k]);
        hi = std::max(hi, s.coords[size_t(i) * dims + k]);
      }
      diag2 += (hi - lo) * (hi - lo);
    }
    bound = diag2 > 0 ? diag2 * 1e-4 : 1;
  }
  const long iterations =
      o.iterations.empty() ? (o.one ? 10 : 4) : ParseCount(o.iterations, "--iterations", 0, 1000);

  std::vector<Curve> curves;
  std::vector<int32_t> indices;
  double maxError = NAN;
  if (o.one) {
    const long tangents = ParseCount(o.tangents, "--tangents", 1, 1000);
    Curve fitted(dims);
    Check(CRV_FitOneCurveError(s.coords.data(), count, bound, int32_t(tangents), int32_t(tangents),
                               uint16_t(iterations), &maxError, fitted.Record()),
          "CRV_FitOneCurveError");
    curves.push_back(fitted);
    indices = {0, count - 1};
  } else {
    OwnedList points, index;
    Check(CRV_FitMultipleCurvesIterate(s.coords.data(), uint16_t(dims), count, bound,
                                       uint16_t(iterations), &points.handle, &index.handle),
          "CRV_FitMultipleCurvesIterate");
    const std::vector<double> p = points.Doubles(dims);
    const size_t n = p.size() / dims;
    for (size_t j = 0; j + 3 < n; j += 3)
      curves.emplace_back(dims,
                          std::vector<double>(p.begin() + j * dims, p.begin() + (j + 4) * dims));
    indices.resize(index.Count());
    for (int32_t i = 0; i < index.Count(); ++i)
      Check(SEQ_GetItem(index.handle, i, &indices[i]), "SEQ_GetItem");
  }

  nlohmann::json result{{"samples", count},
                        {"dims", dims},
                        {"bound", bound},
                        {"curves", nlohmann::json::array()},
                        {"indices", indices}};
  std::ostringstream text;
  text << count << " samples of " << dims << " coordinates; bound " << Num(bound)
       << " (squared distance)\n"
       << curves.size() << (o.one ? " curve" : " curve(s) in a chain") << "\n";
  for (size_t j = 0; j < curves.size(); ++j) {
    result["curves"].push_back(CurveJson(curves[j]));
    text << "curve " << j + 1;
    if (j + 1 < indices.size())
      text << " (samples " << indices[j] << " to " << indices[j + 1] << ")";
    text << ": " << CurveText(curves[j]) << "\n";
  }
  text << "indices";
  for (int32_t i : indices) text << ' ' << i;
  text << "\n";
  if (o.one) {
    result["max_error"] = std::isnan(maxError) ? nlohmann::json(nullptr) : nlohmann::json(maxError);
    text << "largest squared deviation "
         << (std::isnan(maxError) ? std::string("not measured (two samples)") : Num(maxError))
         << (maxError < bound ? " (within the bound)" : "") << "\n";
  }
  Emit(o.common, result, text.str(), out);

  if (o.common.svg.empty()) return;
  Figure fig(std::string("crv fit: ") +
             (o.one ? "one cubic" : std::to_string(curves.size()) + " cubics") + " through " +
             std::to_string(count) + " samples");
  fig.Subtitle("error bound " + Num(bound) + " (squared distance); joins are tangent-continuous");
  std::vector<svg::Point> dots;
  for (int32_t i = 0; i < count; ++i)
    dots.push_back({s.coords[size_t(i) * dims], s.coords[size_t(i) * dims + 1]});
  for (size_t j = 0; j < curves.size(); ++j) {
    fig.Curve(curves[j], j % 2 ? ink::kRed : ink::kBlue, j == 0 ? "fitted cubics" : "");
  }
  fig.Dots(dots, {"#52606d", "#cbd2d9", 1}, 3, "samples");
  std::vector<svg::Point> joins;
  for (const Curve& c : curves) joins.push_back({c.At(0, 0), c.At(0, 1)});
  joins.push_back({curves.back().At(3, 0), curves.back().At(3, 1)});
  fig.Dots(joins, ink::kGreenDot, 5, "segment ends");
  fig.Save(o.common.svg);
}

}  // namespace

void RegisterFit(CLI::App& app) {
  auto o = std::make_shared<Options>();
  CLI::App* cmd = AddSubcommand(
      app, "fit",
      "Fit cubics to sampled points: a chain of tangent-continuous cubics (or one cubic with "
      "--one) whose interior samples lie within the error bound. Samples come from a CSV file "
      "(x,y or x,y,z per line; '-' reads standard input), or from built-in samples when no file "
      "is given. Prints the curves and the index list of the segment ends.",
      "printf '0,0\\n1,2\\n2,3\\n3,2\\n4,0\\n' | crv fit - --bound 0.01");
  AddCommonOptions(cmd, o->common, nullptr, true);
  cmd->add_option("file", o->file, "CSV file of samples, '-' for standard input")
      ->type_name("FILE");
  cmd->add_option("--bound", o->bound,
                  "Error bound, a squared distance (default: (1% of the samples' extent)^2)")
      ->type_name("B");
  cmd->add_flag("--one", o->one, "Fit a single cubic and report its largest squared deviation");
  cmd->add_option("--tangents", o->tangents,
                  "With --one: samples averaged for each end tangent, 1 to 1000")
      ->type_name("N")
      ->capture_default_str();
  cmd->add_option("--iterations", o->iterations,
                  "Newton steps per fit, 0 to 1000 (default 4 for a chain, 10 with --one)")
      ->type_name("N");
  cmd->callback([o] { Run(*o, std::cout); });
}

void GalleryFit(const std::filesystem::path& svg) {
  Options o;
  o.common.svg = svg.string();
  std::ostringstream sink;
  Run(o, sink);
}

}  // namespace crvtool
