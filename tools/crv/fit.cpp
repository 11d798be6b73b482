// `crv fit`: cubics fitted to sampled points from a CSV file, standard input or the built-in
// samples: one curve, or a tangent-continuous chain within an error bound.
#include <algorithm>
#include <cmath>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "figure.h"

namespace crvtool {
namespace {

// Limits on the input, so that an endless or binary stream ends with a message instead of
// filling memory: a line's length, the lines read (blank and comment lines too) and the samples.
constexpr size_t kMaxLineLength = 1000;
constexpr long kMaxLines = 1000000;
constexpr size_t kMaxSamples = 100000;

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

// Reads one line into `line` without its newline; false at the end of the input. A line longer
// than kMaxLineLength is refused before more of it is read.
bool ReadLine(std::istream& in, std::string& line, const std::string& where) {
  line.clear();
  std::streambuf* buf = in.rdbuf();
  for (int c = buf->sbumpc(); c != std::char_traits<char>::eof(); c = buf->sbumpc()) {
    if (c == '\n') return true;
    if (line.size() == kMaxLineLength)
      throw InputError(where + ": longer than " + std::to_string(kMaxLineLength) + " characters");
    line += static_cast<char>(c);
  }
  return !line.empty();
}

// One sample per line, "x,y" or "x,y,z"; blank lines and lines starting with # are skipped, and
// so is a first line without a single number (a header such as "x,y").
Samples ReadCsv(std::istream& in, const std::string& name) {
  Samples s;
  std::string line;
  bool header = true;  // still at the first row
  for (long number = 1;; ++number) {
    const std::string where = name + " line " + std::to_string(number);
    if (number > kMaxLines)
      throw InputError(name + ": more than " + std::to_string(kMaxLines) + " lines");
    if (!ReadLine(in, line, where)) break;
    line = Trim(line);
    if (line.empty() || line[0] == '#') continue;
    // Binary data is named as such, with a short excerpt: echoing it would garble the terminal.
    for (const char c : line)
      if ((c < 32 || c > 126) && c != '\t')
        throw InputError(where + ": not text but binary data, starting " + Quote(line, 12) +
                         " (expected x,y or x,y,z)");
    std::vector<std::string> fields;
    std::stringstream row(line);
    for (std::string f; std::getline(row, f, ',');) fields.push_back(Trim(f));
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
    if (s.Count() == kMaxSamples)
      throw InputError(name + ": more than " + std::to_string(kMaxSamples) + " samples");
    for (const std::string& f : fields) s.coords.push_back(ParseNumber(f, where));
  }
  if (in.bad()) throw InputError("cannot read " + name);
  if (s.Count() == 0) throw InputError(name + ": no samples");
  if (s.Count() < 2) throw InputError(name + ": a fit needs at least 2 samples, got 1");
  RequireExtent(s.coords, s.dims, name);
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

Samples Load(const Arg& file) {
  if (!file.given) return BuiltInSamples();
  std::error_code ec;
  if (std::filesystem::is_directory(file.text, ec))
    throw InputError(Quote(file.text) + " is a directory, not a CSV file of samples");
  // The stream reports a failed read (EISDIR, EIO) by throwing from deep inside the library.
  try {
    if (file.text == "-") return ReadCsv(std::cin, "standard input");
    std::ifstream in(file.text);
    if (!in) throw InputError("cannot open " + Quote(file.text) + ": " + std::strerror(errno));
    return ReadCsv(in, Quote(file.text));
  } catch (const std::ios_base::failure&) {
    throw InputError("cannot read " + (file.text == "-" ? "standard input" : Quote(file.text)) +
                     ": " + std::strerror(errno));
  }
}

// The squared distance of 1% of the samples' extent.
double DefaultBound(const Samples& s) {
  const int dims = s.dims;
  const int32_t count = int32_t(s.Count());
  double diag2 = 0;
  for (int k = 0; k < dims; ++k) {
    double lo = s.coords[k], hi = lo;
    for (int32_t i = 0; i < count; ++i) {
      lo = std::min(lo, s.coords[size_t(i) * dims + k]);
      hi = std::max(hi, s.coords[size_t(i) * dims + k]);
    }
    diag2 += (hi - lo) * (hi - lo);
  }
  return diag2 > 0 ? diag2 * 1e-4 : 1;
}

// What the fit found, for the report and the picture.
struct FitResult {
  Samples samples;
  double bound = 0;
  std::vector<Curve> curves;
  std::vector<int32_t> indices;  // the samples at the segment ends
  double maxError = NAN;         // measured with --one only
};

FitResult Compute(const Args& a) {
  RefuseUnless(a["--one"].given, a["--tangents"], "--tangents", "applies to --one only");
  FitResult r;
  r.samples = Load(a["file"]);
  const Samples& s = r.samples;
  const int dims = s.dims;
  const int32_t count = int32_t(s.Count());

  if (a["--bound"].given) {
    r.bound = ParsePositive(a["--bound"].text, "--bound");
  } else {
    r.bound = DefaultBound(s);
  }
  const double bound = r.bound;
  const long iterations = a["--iterations"].given
                              ? ParseCount(a["--iterations"].text, "--iterations", 0, 1000)
                              : (a["--one"].given ? 10 : 4);

  if (a["--one"].given) {
    // Each end tangent averages the steps to that many samples beyond the end one, so there
    // must be that many: the default shrinks to fit, a given count is checked.
    const long most = std::min<long>(count - 1, 1000);
    const long tangents =
        a["--tangents"].given
            ? ParseCount(a["--tangents"].text, "--tangents", 1, most,
                         "at most 1000 and the sample count less one")
            : std::min(ParseCount(a["--tangents"].text, "--tangents", 1, 1000), most);
    Curve fitted(dims);
    Check(CRV_FitOneCurveError(s.coords.data(), count, bound, int32_t(tangents), int32_t(tangents),
                               uint16_t(iterations), &r.maxError, fitted.get()),
          "CRV_FitOneCurveError");
    r.curves.push_back(fitted);
    r.indices = {0, count - 1};
  } else {
    OwnedList points, index;
    Check(CRV_FitMultipleCurvesIterate(s.coords.data(), uint16_t(dims), count, bound,
                                       uint16_t(iterations), &points.handle, &index.handle),
          "CRV_FitMultipleCurvesIterate");
    const std::vector<double> p = points.Doubles();
    const size_t n = p.size() / dims;
    for (size_t j = 0; j + 3 < n; j += 3)
      r.curves.emplace_back(dims,
                            std::vector<double>(p.begin() + j * dims, p.begin() + (j + 4) * dims));
    r.indices.resize(index.Count());
    for (int32_t i = 0; i < index.Count(); ++i)
      Check(SEQ_GetItem(index.handle, i, &r.indices[i]), "SEQ_GetItem");
  }
  return r;
}

void Report(const Args& a, const FitResult& r, Session& session) {
  const int dims = r.samples.dims;
  const int32_t count = int32_t(r.samples.Count());
  const double bound = r.bound, maxError = r.maxError;
  nlohmann::json result{{"samples", count},
                        {"dims", dims},
                        {"bound", bound},
                        {"curves", nlohmann::json::array()},
                        {"indices", r.indices}};
  std::ostringstream text;
  text << count << " samples of " << dims << " coordinates; bound " << Num(bound)
       << " (squared distance)\n"
       << Count(r.curves.size(), "curve") << (a["--one"].given ? "" : " in a chain") << "\n";
  for (size_t j = 0; j < r.curves.size(); ++j) {
    result["curves"].push_back(CurveJson(r.curves[j]));
    text << "curve " << j + 1;
    if (j + 1 < r.indices.size())
      text << " (samples " << r.indices[j] << " to " << r.indices[j + 1] << ")";
    text << ": " << CurveText(r.curves[j]) << "\n";
  }
  text << "indices";
  for (int32_t i : r.indices) text << ' ' << i;
  text << "\n";
  if (a["--one"].given) {
    result["max_error"] = std::isnan(maxError) ? nlohmann::json(nullptr) : nlohmann::json(maxError);
    text << "largest squared deviation "
         << (std::isnan(maxError) ? std::string("not measured (two samples)") : Num(maxError))
         << (maxError < bound ? " (within the bound)" : "") << "\n";
  }
  Emit(a, result, text.str(), session);
}

void Draw(const Args& a, const FitResult& r, Session& session) {
  const Samples& s = r.samples;
  const int dims = s.dims;
  const int32_t count = int32_t(s.Count());
  const std::vector<Curve>& curves = r.curves;
  Figure fig(std::string("crv fit: ") +
             (a["--one"].given ? "one cubic" : Count(curves.size(), "cubic")) + " through " +
             Count(count, "sample"));
  fig.Subtitle("error bound " + Short(r.bound) +
               " (squared distance); joins are tangent-continuous");
  std::vector<svg::Point> dots;
  for (int32_t i = 0; i < count; ++i)
    dots.push_back({s.coords[size_t(i) * dims], s.coords[size_t(i) * dims + 1]});
  for (size_t j = 0; j < curves.size(); ++j) {
    const char* label = j == 0   ? "fitted cubics 1, 3, 5, ..."
                        : j == 1 ? "fitted cubics 2, 4, 6, ..."
                                 : "";
    fig.Curve(curves[j], j % 2 ? ink::kRed : ink::kBlue, label);
  }
  fig.Dots(dots, ink::kGreyDot, 3, "samples", true);
  std::vector<svg::Point> joins;
  for (const Curve& c : curves) joins.push_back({c.at(0, 0), c.at(0, 1)});
  joins.push_back({curves.back().at(3, 0), curves.back().at(3, 1)});
  fig.Dots(joins, ink::kGreenDot, 5, "segment ends");
  fig.Save(a["--svg"].text, session);
}

void Run(const Args& a, Session& session) {
  const FitResult r = Compute(a);
  Report(a, r, session);
  if (a["--svg"].given) Draw(a, r, session);
}

const Registered kRegistered("fit", Run);

}  // namespace
}  // namespace crvtool
