#include "common.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

namespace crvtool {

void Check(int32_t code, const char* call) {
  if (code != CRV_ErrNone)
    throw std::runtime_error(std::string(call) + " failed with code " + std::to_string(code));
}

Curve::Curve(int dims) : dims_(dims), coords_(4 * static_cast<size_t>(dims), 0.0) { Bind(); }

Curve::Curve(int dims, const std::vector<double>& coords) : dims_(dims), coords_(coords) {
  if (coords_.size() != 4 * static_cast<size_t>(dims))
    throw std::logic_error("a curve needs 4 * dims coordinates");
  Bind();
}

Curve& Curve::operator=(const Curve& other) {
  dims_ = other.dims_;
  coords_ = other.coords_;
  Bind();
  return *this;
}

void Curve::Bind() {
  record_.dims = static_cast<int16_t>(dims_);
  for (int i = 0; i < 4; ++i) record_.ctpts[i] = coords_.data() + i * dims_;
}

std::vector<double> Curve::Point(int i) const {
  return {coords_.begin() + i * dims_, coords_.begin() + (i + 1) * dims_};
}

CRV_CurveClass2D Curve::As2D() const {
  CRV_CurveClass2D c;
  for (int i = 0; i < 4; ++i) c.points[i] = {At(i, 0), At(i, 1)};
  return c;
}

CRV_CurveClass3D Curve::As3D() const {
  CRV_CurveClass3D c;
  for (int i = 0; i < 4; ++i) c.points[i] = {At(i, 0), At(i, 1), At(i, 2)};
  return c;
}

int32_t OwnedList::Count() const {
  if (!handle) return 0;
  return *reinterpret_cast<const int32_t*>(static_cast<const char*>(*handle) +
                                           SEQ_BLOCK_COUNT_OFFSET);
}

std::vector<double> OwnedList::Doubles(int perItem) const {
  const int32_t n = Count();
  std::vector<double> out(static_cast<size_t>(n) * perItem);
  for (int32_t i = 0; i < n; ++i)
    Check(SEQ_GetItem(handle, i, &out[static_cast<size_t>(i) * perItem]), "SEQ_GetItem");
  return out;
}

void RequireDrawable(const CommonOptions& o, const Curve& c) {
  if (!o.svg.empty() && c.Dims() < 2)
    throw InputError("--svg: a picture needs at least 2 coordinates per point");
}

double ParseNumber(const std::string& text, const std::string& what) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(begin, &end);
  // strtod skips leading blanks and accepts "nan" and "inf": neither is a usable coordinate.
  if (text.empty() || end == begin || *end != '\0' ||
      std::isspace(static_cast<unsigned char>(text[0])))
    throw InputError(what + ": '" + text + "' is not a number");
  if (!std::isfinite(v)) throw InputError(what + ": '" + text + "' is not a finite number");
  return v;
}

std::vector<double> ParseList(const std::string& text, const std::string& what, size_t count) {
  std::vector<double> values;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    values.push_back(ParseNumber(text.substr(start, comma - start), what));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (count > 0 && values.size() != count)
    throw InputError(what + ": expected " + std::to_string(count) +
                     " comma-separated numbers, got " + std::to_string(values.size()));
  return values;
}

Curve ParseCurve(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> points;
  for (std::string word; in >> word;) points.push_back(word);
  if (points.size() != 4)
    throw InputError("--curve: a cubic needs 4 points, got " + std::to_string(points.size()) +
                     " (write \"x,y x,y x,y x,y\")");
  std::vector<double> coords;
  size_t dims = 0;
  for (size_t i = 0; i < 4; ++i) {
    const std::string name = "--curve: P" + std::to_string(i);
    const std::vector<double> p = ParseList(points[i], name);
    if (i == 0) dims = p.size();
    if (p.size() != dims)
      throw InputError("--curve: P" + std::to_string(i) + " has " + std::to_string(p.size()) +
                       " coordinates but P0 has " + std::to_string(dims));
    coords.insert(coords.end(), p.begin(), p.end());
  }
  if (dims > static_cast<size_t>(kMaxDims))
    throw InputError("--curve: at most " + std::to_string(kMaxDims) + " coordinates per point");
  return Curve(static_cast<int>(dims), coords);
}

long ParseCount(const std::string& text, const std::string& what, long lo, long hi) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(begin, &end, 10);
  if (text.empty() || end == begin || *end != '\0' ||
      std::isspace(static_cast<unsigned char>(text[0])))
    throw InputError(what + ": '" + text + "' is not a whole number");
  if (errno == ERANGE || v < lo || v > hi)
    throw InputError(what + ": " + text + " is out of range [" + std::to_string(lo) + ", " +
                     std::to_string(hi) + "]");
  return v;
}

void RequireDims(const Curve& c, int lo, int hi, const std::string& why) {
  if (c.Dims() < lo || c.Dims() > hi) {
    const std::string range =
        lo == hi ? std::to_string(lo) : std::to_string(lo) + " to " + std::to_string(hi);
    throw InputError("--curve: " + why + " needs " + range + " coordinates per point, got " +
                     std::to_string(c.Dims()));
  }
}

std::string Num(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.10g", v == 0 ? 0.0 : v);  // no "-0"
  return buf;
}

std::string Short(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.4g", v == 0 ? 0.0 : v);
  return buf;
}

std::string Point(const double* p, int dims) {
  std::string s = "(";
  for (int k = 0; k < dims; ++k) s += (k ? ", " : "") + Num(p[k]);
  return s + ")";
}

std::string Point(const std::vector<double>& p) {
  return Point(p.data(), static_cast<int>(p.size()));
}

std::string CurveText(const Curve& c) {
  std::string s;
  for (int i = 0; i < 4; ++i)
    s += (i ? "  P" : "P") + std::to_string(i) + " " + Point(c.Record()->ctpts[i], c.Dims());
  return s;
}

nlohmann::json CurveJson(const Curve& c) {
  nlohmann::json points = nlohmann::json::array();
  for (int i = 0; i < 4; ++i) points.push_back(c.Point(i));
  return points;
}

void AddCommonOptions(CLI::App* cmd, CommonOptions& o, const char* curveHelp, bool svg) {
  if (curveHelp)
    cmd->add_option_function<std::string>(
           "--curve",
           [&o](const std::string& text) {
             o.curve = text;
             o.curveGiven = true;
           },
           curveHelp)
        ->type_name("\"x,y x,y x,y x,y\"");
  cmd->add_flag("--json", o.json, "Print the result as JSON");
  if (svg)
    cmd->add_option("--svg", o.svg, "Also draw the result into an SVG picture")->type_name("FILE");
}

Curve CurveOrDefault(const CommonOptions& o, const Curve& fallback) {
  return o.curveGiven ? ParseCurve(o.curve) : fallback;
}

void Emit(const CommonOptions& o, const nlohmann::json& result, const std::string& text,
          std::ostream& out) {
  if (o.json)
    out << result.dump(2) << '\n';
  else
    out << text;
}

CLI::App* AddSubcommand(CLI::App& app, const std::string& name, const std::string& what,
                        const std::string& example) {
  CLI::App* cmd = app.add_subcommand(name, what);
  cmd->footer("Example:\n  " + example);
  return cmd;
}

}  // namespace crvtool
