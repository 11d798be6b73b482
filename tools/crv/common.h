// What the subcommands share: the curve given on the command line, strict number parsing within
// the range where the library's answers hold, the errors and exit statuses, and the --json /
// --svg output options.
#ifndef CRV_TOOL_COMMON_H
#define CRV_TOOL_COMMON_H

#include <cstdint>
#include <iosfwd>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "crv/crv.hpp"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace crvtool {

// Exit statuses, one meaning each in every subcommand, listed in `crv --help` (kExitText).
constexpr int kExitCheckFailed = 1;  // done, but a check failed: a value undefined, a bound not
                                     // reached, bits that differ from the reference
constexpr int kExitBadInput = 2;     // refused: bad usage or bad input
constexpr int kExitWrite = 3;        // an output (standard output, --svg, --out) not written
extern const char* const kExitText;

// Input the tool refuses: main() prints "crv SUBCOMMAND: what" on one line, exits kExitBadInput.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Output that could not be written: one line, exit kExitWrite.
class WriteError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A library call that failed; a one-line message and exit status 2.
void Check(int32_t code, const char* call);

// Where a subcommand's report goes and what it exits with. main() owns one; `crv demo` makes one
// per picture with a sink for the report.
struct Session {
  std::ostream& out;
  int status = 0;
};

// The numbers the tool accepts. Beyond kMaxMagnitude squared lengths and the fit's sums overflow;
// distinct points closer than kMinExtent meet the library's absolute tolerances (the bounds treat
// a discriminant below 1e-10 as zero: a turning point is lost once the curve spans about 1e-6),
// and closer than kMinRelativeExtent of their largest coordinate they keep too few digits.
constexpr double kMaxMagnitude = 1e100;
constexpr double kMinExtent = 1e-4;
constexpr double kMinRelativeExtent = 1e-9;
constexpr int kMaxDims = 16;
// What the help says about the range, in one place.
extern const char* const kRangeText;

// The owning curve of 1 to kMaxDims coordinates: the catalogue's.
using Curve = crvcat::Curve;

// A host list handle the tool owns, disposed of when it goes out of scope: the catalogue's.
using OwnedList = crvcat::List;

// A token for a message: quoted, every byte outside printable ASCII shown as \xHH, and cut to
// about `shown` characters so that a huge or binary argument cannot make a huge message.
std::string Quote(const std::string& text, size_t shown = 60);
// "1 point", "2 points".
std::string Count(size_t n, const std::string& noun);

// Strict parsing: the whole text must be the number, within [lo, hi]; NaN and infinities are
// refused.
double ParseNumber(const std::string& text, const std::string& what, double lo = -kMaxMagnitude,
                   double hi = kMaxMagnitude);
// Comma-separated numbers ("1,2.5,-3") within [lo, hi]; `count` > 0 demands exactly that many.
std::vector<double> ParseList(const std::string& text, const std::string& what, size_t count = 0,
                              double lo = -kMaxMagnitude, double hi = kMaxMagnitude);
// Four points separated by blanks, each of comma-separated coordinates, all of one dimension
// count between 1 and kMaxDims: "x,y x,y x,y x,y". Checked with RequireExtent.
Curve ParseCurve(const std::string& text);
// A number in (0, kMaxMagnitude], or in [0, kMaxMagnitude] when `zero` is allowed.
double ParsePositive(const std::string& text, const std::string& what, bool zero = false);
// A whole count in [lo, hi]; `why` explains a bound that comes from the input.
long ParseCount(const std::string& text, const std::string& what, long lo, long hi,
                const std::string& why = "");
void RequireDims(const Curve& c, int lo, int hi, const std::string& why);
// Refuses a function curve (time on coordinate 0) whose time runs backwards somewhere in [0, 1]:
// the lookups by time assume x(t) non-decreasing.
void RequireForwardTime(const Curve& c);
// Refuses points that are distinct but closer than the library resolves (see kMinExtent);
// `coords` holds points of `dims` coordinates each.
void RequireExtent(const std::vector<double>& coords, int dims, const std::string& what);

// Text formatting: 10 significant digits, enough to read and short enough to line up; a
// non-finite value prints as "undefined".
std::string Num(double v);
std::string Short(double v);                   // 4 significant digits, for titles and labels
// `digits` significant digits, the exponent bare as the help writes limits: 1e100, 5.6e4, 1e-6.
std::string Compact(double v, int digits);
std::string Point(const double* p, int dims);  // "(x, y)"
std::string Point(const std::vector<double>& p);
std::string ShortPoint(const std::vector<double>& p);
std::string CurveText(const Curve& c);     // "P0 (x, y)  P1 ..." on one line
nlohmann::json CurveJson(const Curve& c);  // [[x, y], [x, y], [x, y], [x, y]]

// An option's text and whether the command line gave it (the text holds the default until then;
// a flag has no text).
struct Arg {
  std::string text;
  bool given = false;
};

// Adds option `name` (or a positional argument when it does not start with '-') storing into
// `arg`. An empty value is refused; a non-empty default shows in the help.
CLI::Option* AddArg(CLI::App* cmd, const std::string& name, Arg& arg, const std::string& help,
                    const std::string& typeName);

// The options of one subcommand as commands.json declares them, by name ("--t", "file"): what
// its code reads once parsing is complete. Every subcommand but demo has --json and --svg
// ("-": the picture goes to standard output instead of the report), most --curve.
class Args {
 public:
  // Throws std::logic_error for a name the subcommand does not declare.
  const Arg& operator[](const std::string& name) const;
  Arg& Slot(const std::string& name) { return values_[name]; }

 private:
  std::map<std::string, Arg> values_;
};

// Refuses --svg for a curve of fewer than 2 coordinates (the picture shows coordinates 0, 1).
void RequireDrawable(const Args& a, const Curve& c);

// The curve of --curve, or `fallback` when none was given.
Curve CurveOrDefault(const Args& a, const Curve& fallback);

// Refuses an option that the rest of the command line makes meaningless.
void RefuseUnless(bool applies, const Arg& arg, const std::string& name, const std::string& why);

// Prints `result` as indented JSON when --json was given, else `text`; nothing when the picture
// goes to standard output. A non-finite number in `result` is undefined: JSON shows it as null
// and lists it under "undefined", the session exits with kExitCheckFailed, and a line on standard
// error says so.
void Emit(const Args& a, nlohmann::json result, const std::string& text, Session& s);

// Adds a subcommand whose help ends with an example command line.
CLI::App* AddSubcommand(CLI::App& app, const std::string& name, const std::string& what,
                        const std::string& example);

}  // namespace crvtool

#endif
