// What the subcommands share: the curve given on the command line, strict number parsing, the
// error that means "bad input", and the --json / --svg output options.
#ifndef CRV_TOOL_COMMON_H
#define CRV_TOOL_COMMON_H

#include <cstdint>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "crv/crv.hpp"

namespace CLI {
class App;
}

namespace crvtool {

// Input the tool refuses. main() prints "crv SUBCOMMAND: what" on one line and exits with 2.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A library call that failed; also a one-line message and exit status 2.
void Check(int32_t code, const char* call);

// A cubic of any dimension count that owns its coordinates. Copies rebind the record to their
// own storage, so Record() is always safe to hand to the library.
class Curve {
 public:
  Curve() : Curve(2) {}
  explicit Curve(int dims);                            // all coordinates 0
  Curve(int dims, const std::vector<double>& coords);  // 4 * dims coordinates, point-major
  template <int N, typename V>
  explicit Curve(const CRV_CurveClass<N, V>& c) : Curve(N) {
    for (int i = 0; i < 4; ++i)
      for (int k = 0; k < N; ++k) coords_[i * N + k] = c.record.ctpts[i][k];
  }
  Curve(const Curve& other) : Curve(other.dims_, other.coords_) {}
  Curve& operator=(const Curve& other);

  int Dims() const { return dims_; }
  const CRV_Curve* Record() const { return &record_; }
  CRV_Curve* Record() { return &record_; }
  double& At(int point, int coord) { return coords_[point * dims_ + coord]; }
  double At(int point, int coord) const { return coords_[point * dims_ + coord]; }
  std::vector<double> Point(int i) const;

  CRV_CurveClass2D As2D() const;  // dims must be 2
  CRV_CurveClass3D As3D() const;  // dims must be 3

 private:
  void Bind();

  int dims_;
  std::vector<double> coords_;
  CRV_Curve record_{};
};

struct CommonOptions;

// A host list handle the tool owns: disposed of when it goes out of scope.
class OwnedList {
 public:
  OwnedList() = default;
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() {
    if (handle) SEQ_Dispose(handle, 0);
  }
  int32_t Count() const;
  // Copies all items, `itemSize` bytes each (the list's own item size must match).
  std::vector<double> Doubles(int perItem) const;

  SEQ_ListH handle = nullptr;
};

// Refuses --svg for a curve of fewer than 2 coordinates (the picture shows coordinates 0, 1).
void RequireDrawable(const CommonOptions& o, const Curve& c);

// Strict parsing: the whole text must be the number; NaN and infinities are refused.
double ParseNumber(const std::string& text, const std::string& what);
// Comma-separated numbers ("1,2.5,-3"); `count` > 0 demands exactly that many.
std::vector<double> ParseList(const std::string& text, const std::string& what, size_t count = 0);
// Four points separated by blanks, each of comma-separated coordinates, all of one dimension
// count between 1 and kMaxDims: "x,y x,y x,y x,y".
Curve ParseCurve(const std::string& text);
// A whole count in [lo, hi].
long ParseCount(const std::string& text, const std::string& what, long lo, long hi);
void RequireDims(const Curve& c, int lo, int hi, const std::string& why);

constexpr int kMaxDims = 16;

// Text formatting: 10 significant digits, enough to read and short enough to line up.
std::string Num(double v);
std::string Short(double v);                   // 4 significant digits, for labels in pictures
std::string Point(const double* p, int dims);  // "(x, y)"
std::string Point(const std::vector<double>& p);
std::string CurveText(const Curve& c);     // "P0 (x, y)  P1 ..." on one line
nlohmann::json CurveJson(const Curve& c);  // [[x, y], [x, y], [x, y], [x, y]]

// The options every subcommand has. The callback reads them once parsing is complete.
struct CommonOptions {
  std::string curve;
  bool curveGiven = false;  // false: the subcommand's default curve
  bool json = false;
  std::string svg;  // empty: no picture
};

// Adds --curve (when `curveHelp` is given), --json and, when `svg` is true, --svg FILE.
void AddCommonOptions(CLI::App* cmd, CommonOptions& o, const char* curveHelp, bool svg);

// The curve of --curve, or `fallback` when none was given.
Curve CurveOrDefault(const CommonOptions& o, const Curve& fallback);

// Prints `result` as indented JSON when --json was given, else `text`.
void Emit(const CommonOptions& o, const nlohmann::json& result, const std::string& text,
          std::ostream& out);

// Adds a subcommand whose help ends with an example command line.
CLI::App* AddSubcommand(CLI::App& app, const std::string& name, const std::string& what,
                        const std::string& example);

}  // namespace crvtool

#endif
