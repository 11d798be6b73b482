#include "common.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

namespace crvtool {

const char* const kRangeText =
    "Numbers are finite and within [-1e100, 1e100]; distinct points of a curve or of the\n"
    "samples differ by at least 1e-4 and by 1e-9 of their largest coordinate. Outside that the\n"
    "library's answers do not hold, and such input is refused.";

const char* const kExitText =
    "Exit status, the same in every subcommand: 0 success; 1 done, but a check failed: some\n"
    "value is undefined (printed as 'undefined', null in JSON and listed under \"undefined\"),\n"
    "a halving cap stopped short of the asked distance or tolerance (by-distance, project), or\n"
    "bits differ from the reference (selftest); 2 bad usage or bad input, with a one-line\n"
    "message; 3 an output could not be written (standard output, the --svg file, the files\n"
    "under --out).";

void Check(int32_t code, const char* call) {
  if (code != CRV_ErrNone)
    throw std::runtime_error(std::string(call) + " failed with code " + std::to_string(code));
}

std::string Quote(const std::string& text, size_t most) {
  std::string shown;
  for (size_t i = 0; i < text.size() && i < most; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 32 && c < 127) {
      shown += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      shown += hex;
    }
  }
  if (text.size() > most) shown += "...";
  return "'" + shown + "'";
}

std::string Count(size_t n, const std::string& noun) {
  return std::to_string(n) + " " + noun + (n == 1 ? "" : "s");
}

double ParseNumber(const std::string& text, const std::string& what, double lo, double hi) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(begin, &end);
  // strtod skips leading blanks and accepts "nan" and "inf": neither is a usable number.
  if (text.empty() || end == begin || *end != '\0' ||
      std::isspace(static_cast<unsigned char>(text[0])))
    throw InputError(what + ": " + Quote(text) + " is not a number");
  if (!std::isfinite(v)) throw InputError(what + ": " + Quote(text) + " is not a finite number");
  if (v < lo || v > hi)
    throw InputError(what + ": " + Quote(text) + " is outside [" + Compact(lo, 4) + ", " +
                     Compact(hi, 4) + "]" +
                     (lo == -kMaxMagnitude && hi == kMaxMagnitude
                          ? std::string(", the range where crv's answers hold")
                          : ""));
  return v;
}

double ParsePositive(const std::string& text, const std::string& what, bool zero) {
  const double v = ParseNumber(text, what, zero ? 0 : -kMaxMagnitude);
  if (!zero && v <= 0) throw InputError(what + ": " + Quote(text) + " is outside (0, 1e100]");
  return v;
}

std::vector<double> ParseList(const std::string& text, const std::string& what, size_t count,
                              double lo, double hi) {
  std::vector<double> values;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    values.push_back(ParseNumber(text.substr(start, comma - start), what, lo, hi));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (count > 0 && values.size() != count)
    throw InputError(what + ": expected " + std::to_string(count) +
                     " comma-separated numbers, got " + std::to_string(values.size()));
  return values;
}

Curve ParseCurve(const std::string& text) {
  std::vector<std::string> points;
  std::istringstream in(text);
  for (std::string word; points.size() <= 4 && in >> word;) points.push_back(word);
  if (points.size() != 4)
    throw InputError("--curve: a cubic needs 4 points, got " +
                     (points.size() > 4 ? std::string("more") : std::to_string(points.size())) +
                     " (write \"x,y x,y x,y x,y\")");
  std::vector<double> coords;
  size_t dims = 0;
  for (size_t i = 0; i < 4; ++i) {
    const std::vector<double> p = ParseList(points[i], "--curve: P" + std::to_string(i));
    if (i == 0) dims = p.size();
    if (p.size() != dims)
      throw InputError("--curve: P" + std::to_string(i) + " has " + std::to_string(p.size()) +
                       " coordinates but P0 has " + std::to_string(dims));
    if (dims > static_cast<size_t>(kMaxDims))
      throw InputError("--curve: at most " + std::to_string(kMaxDims) + " coordinates per point");
    coords.insert(coords.end(), p.begin(), p.end());
  }
  RequireExtent(coords, static_cast<int>(dims), "--curve");
  return Curve(static_cast<int>(dims), coords);
}

void RequireExtent(const std::vector<double>& coords, int dims, const std::string& what) {
  double extent = 0, largest = 0;
  const size_t n = coords.size() / dims;
  for (int k = 0; k < dims; ++k) {
    double lo = coords[k], hi = coords[k];
    for (size_t i = 0; i < n; ++i) {
      lo = std::min(lo, coords[i * dims + k]);
      hi = std::max(hi, coords[i * dims + k]);
    }
    extent = std::max(extent, hi - lo);
    largest = std::max({largest, std::fabs(lo), std::fabs(hi)});
  }
  if (extent > 0 && (extent < kMinExtent || extent < kMinRelativeExtent * largest))
    throw InputError(what + ": the points span only " + Short(extent) +
                     "; distinct points must differ by at least 1e-4 and by 1e-9 of their "
                     "largest coordinate (" + Short(largest) + ") for crv's answers to hold");
}

long ParseCount(const std::string& text, const std::string& what, long lo, long hi,
                const std::string& why) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(begin, &end, 10);
  if (text.empty() || end == begin || *end != '\0' ||
      std::isspace(static_cast<unsigned char>(text[0])))
    throw InputError(what + ": " + Quote(text) + " is not a whole number");
  if (errno == ERANGE || v < lo || v > hi)
    throw InputError(what + ": " + Quote(text) + " is outside [" + std::to_string(lo) + ", " +
                     std::to_string(hi) + "]" + (why.empty() ? "" : " (" + why + ")"));
  return v;
}

void RequireDims(const Curve& c, int lo, int hi, const std::string& why) {
  if (c.dims() < lo || c.dims() > hi) {
    const std::string range =
        lo == hi ? std::to_string(lo) : std::to_string(lo) + " to " + std::to_string(hi);
    throw InputError("--curve: " + why + " needs " + range + " coordinates per point, got " +
                     std::to_string(c.dims()));
  }
}

void RequireForwardTime(const Curve& c) {
  // x'(t) / 3 = d0 (1-t)^2 + 2 d1 (1-t) t + d2 t^2 with the steps d0, d1, d2 of the control
  // points' x. Divided by (1-t)^2 it is d0 + 2 d1 s + d2 s^2 in s = t / (1-t) >= 0: never negative
  // exactly when d0 >= 0, d2 >= 0 and, if d1 < 0, the discriminant d1^2 - d0 d2 is not positive.
  const double d0 = c.at(1, 0) - c.at(0, 0), d1 = c.at(2, 0) - c.at(1, 0);
  const double d2 = c.at(3, 0) - c.at(2, 0);
  if (d0 >= 0 && d2 >= 0 && (d1 >= 0 || d1 * d1 <= d0 * d2)) return;
  throw InputError(
      "--curve: the time x runs backwards somewhere in t in [0, 1]; a function curve needs x "
      "non-decreasing: keep P1.x and P2.x within [P0.x, P3.x]; the library's repair, "
      "CRV_CurveSetNonDecreasing, pulls back handles that overshoot an end (on coordinate 1: "
      "swap x and y to use it)");
}

namespace {

std::string Format(const char* format, double v) {
  if (!std::isfinite(v)) return "undefined";
  char buf[40];
  std::snprintf(buf, sizeof buf, format, v == 0 ? 0.0 : v);  // no "-0"
  return buf;
}

}  // namespace

std::string Num(double v) { return Format("%.10g", v); }
std::string Short(double v) { return Format("%.4g", v); }

std::string Compact(double v, int digits) {
  char format[8];
  std::snprintf(format, sizeof format, "%%.%dg", digits);
  std::string s = Format(format, v);
  // %g writes a signed exponent of at least two digits: 1e+100, 5.6e+04, 1e-06.
  for (const char* from : {"e+0", "e+", "e-0"}) {
    const size_t at = s.find(from);
    if (at != std::string::npos)
      s.replace(at, std::string(from).size(), from[1] == '-' ? "e-" : "e");
  }
  return s;
}

std::string Point(const double* p, int dims) {
  std::string s = "(";
  for (int k = 0; k < dims; ++k) s += (k ? ", " : "") + Num(p[k]);
  return s + ")";
}

std::string Point(const std::vector<double>& p) {
  return Point(p.data(), static_cast<int>(p.size()));
}

std::string ShortPoint(const std::vector<double>& p) {
  std::string s = "(";
  for (size_t k = 0; k < p.size(); ++k) s += (k ? ", " : "") + Short(p[k]);
  return s + ")";
}

std::string CurveText(const Curve& c) {
  std::string s;
  for (int i = 0; i < 4; ++i)
    s += (i ? "  P" : "P") + std::to_string(i) + " " + Point(c.get()->ctpts[i], c.dims());
  return s;
}

nlohmann::json CurveJson(const Curve& c) {
  nlohmann::json points = nlohmann::json::array();
  for (int i = 0; i < 4; ++i) points.push_back(c.Point(i));
  return points;
}

CLI::Option* AddArg(CLI::App* cmd, const std::string& name, Arg& arg, const std::string& help,
                    const std::string& typeName) {
  CLI::Option* opt = cmd->add_option_function<std::string>(
      name,
      [&arg, name](const std::string& text) {
        if (text.empty()) throw InputError(name + ": an empty value");
        arg.text = text;
        arg.given = true;
      },
      help);
  opt->type_name(typeName);
  if (!arg.text.empty()) opt->default_str(arg.text);
  return opt;
}

const Arg& Args::operator[](const std::string& name) const {
  const auto it = values_.find(name);
  if (it == values_.end()) throw std::logic_error("no option " + name + " in commands.json");
  return it->second;
}

Curve CurveOrDefault(const Args& a, const Curve& fallback) {
  return a["--curve"].given ? ParseCurve(a["--curve"].text) : fallback;
}

void RequireDrawable(const Args& a, const Curve& c) {
  if (a["--svg"].given && c.dims() < 2)
    throw InputError("--svg: a picture needs at least 2 coordinates per point");
}

void RefuseUnless(bool applies, const Arg& arg, const std::string& name, const std::string& why) {
  if (arg.given && !applies) throw InputError(name + ": " + why);
}

namespace {

// Replaces every non-finite number of `j` by null and collects its JSON pointer.
void NullUndefined(nlohmann::json& j, const std::string& at, std::vector<std::string>& found) {
  if (j.is_number_float() && !std::isfinite(j.get<double>())) {
    j = nullptr;
    found.push_back(at.empty() ? "/" : at);
  } else if (j.is_array()) {
    for (size_t i = 0; i < j.size(); ++i) NullUndefined(j[i], at + "/" + std::to_string(i), found);
  } else if (j.is_object()) {
    for (auto& [key, value] : j.items()) NullUndefined(value, at + "/" + key, found);
  }
}

}  // namespace

void Emit(const Args& a, nlohmann::json result, const std::string& text, Session& s) {
  if (a["--json"].given && a["--svg"].text == "-")
    throw InputError("--json: --svg - puts the picture on standard output in place of the report");
  std::vector<std::string> undefined;
  NullUndefined(result, "", undefined);
  if (!undefined.empty()) {
    result["undefined"] = undefined;
    s.status = kExitCheckFailed;
  }
  if (a["--svg"].text != "-") {
    if (a["--json"].given)
      s.out << result.dump(2) << '\n';
    else
      s.out << text;
  }
  if (!undefined.empty())
    std::cerr << "crv: " << Count(undefined.size(), "value") << " undefined (first "
              << undefined.front() << "); exit status " << kExitCheckFailed << '\n';
}

CLI::App* AddSubcommand(CLI::App& app, const std::string& name, const std::string& what,
                        const std::string& example) {
  CLI::App* cmd = app.add_subcommand(name, what);
  cmd->footer("Example:\n  " + example);
  return cmd;
}

}  // namespace crvtool
