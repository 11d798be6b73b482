// The catalogue of exports: one row per export (typed variants are exports of their own), each
// drawing valid inputs from a seeded generator, making its one call and recording the result code
// and outputs. `crv selftest` checks a build against the reference outputs it installs with; the
// test suite's golden table, thread run, fault sweep, allocation check and fuzz target run the
// same rows, so a new export needs one new row. Rows draw first use and reuse of a caller's list
// and the curve shapes that take other branches at random; all run on both capability paths.
#ifndef CRV_CATALOGUE_H
#define CRV_CATALOGUE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "crv/crv.hpp"
#include "host/seq.h"

namespace crvcat {

// A CRV_Curve that owns its coordinates (point-major), of any dimension: the one owning curve of
// the catalogue, the tool and the tests. Copies rebind the record to their own storage, so get()
// is always safe to hand to the library.
class Curve {
 public:
  explicit Curve(int dims = 0) : coords_(4 * static_cast<size_t>(dims > 0 ? dims : 0)) {
    record_.dims = static_cast<int16_t>(dims);
    Bind();
  }
  // 4 * dims coordinates, point-major; throws std::logic_error for another count.
  Curve(int dims, std::vector<double> coords);
  // Four points given as lists of equal length.
  Curve(std::initializer_list<double> p0, std::initializer_list<double> p1,
        std::initializer_list<double> p2, std::initializer_list<double> p3);
  template <int N, typename V>
  explicit Curve(const CRV_CurveClass<N, V>& c) : Curve(N) {
    for (int i = 0; i < 4; ++i)
      for (int k = 0; k < N; ++k) at(i, k) = c.record.ctpts[i][k];
  }
  Curve(const Curve& other) : record_{other.record_.dims, {}}, coords_(other.coords_) { Bind(); }
  Curve& operator=(const Curve& other) {
    coords_ = other.coords_;
    record_.dims = other.record_.dims;
    Bind();
    return *this;
  }
  int dims() const { return record_.dims; }
  const CRV_Curve* get() const { return &record_; }
  CRV_Curve* get() { return &record_; }
  operator const CRV_Curve&() const { return record_; }  // NOLINT: a curve is its record
  double& at(int point, int k) { return coords_[static_cast<size_t>(point * dims() + k)]; }
  double at(int point, int k) const { return coords_[static_cast<size_t>(point * dims() + k)]; }
  const std::vector<double>& coords() const { return coords_; }
  std::vector<double> Point(int i) const;  // control point i

  CRV_CurveClass2D As2D() const;  // dims must be 2
  CRV_CurveClass3D As3D() const;  // dims must be 3

 private:
  void Bind() {
    for (int i = 0; i < 4; ++i) record_.ctpts[i] = coords_.data() + i * (dims() > 0 ? dims() : 0);
  }
  CRV_Curve record_{};
  std::vector<double> coords_;
};

// A caller's host list variable, disposed of at the end of the scope.
class List {
 public:
  List() = default;
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  ~List() { Dispose(); }
  void Dispose();
  SEQ_ListH* address() { return &handle; }
  int32_t Count() const;  // its items, 0 while there is no list
  // A new list of `count` items of `itemSize` bytes, the doubles in them numbered.
  void Fill(int32_t itemSize, int32_t count);
  // The items read as doubles (item size a multiple of 8), or as int32_t indices.
  std::vector<double> Doubles() const;
  SEQ_ListH handle = nullptr;
};

// Points the host's capability record at one whose word 3 is `paired`, for one scope.
class CapabilityPath {
 public:
  explicit CapabilityPath(int32_t paired);
  CapabilityPath(const CapabilityPath&) = delete;
  CapabilityPath& operator=(const CapabilityPath&) = delete;
  ~CapabilityPath();

 private:
  const int32_t* saved_;
  int32_t record_[8] = {};
};

// SplitMix64: the same numbers from every compiler and library (the standard distributions are
// not pinned across implementations); doubles take the top 53 bits. A fuzzer may feed the raw
// numbers instead, and then now and then a double is one that breaks numerical code.
class Rng {
 public:
  explicit Rng(uint64_t seed) : state_(seed) {}
  Rng(const uint8_t* data, size_t size) : state_(size), data_(data), size_(size) {}
  uint64_t Next();
  double Unit();
  double Uniform(double lo, double hi) { return lo + (hi - lo) * Unit(); }
  int Int(int lo, int hi) { return lo + static_cast<int>(Next() % uint64_t(hi - lo + 1)); }
  bool OneIn(int n) { return Next() % static_cast<uint64_t>(n) == 0; }
  // A parameter: mostly inside [0, 1], sometimes an end or the middle, sometimes outside.
  double Parameter();

 private:
  uint64_t state_;
  const uint8_t* data_ = nullptr;
  size_t size_ = 0, pos_ = 0;
};

// What a harness does around a row's export call (not around the drawing of its inputs).
class Hook {
 public:
  virtual ~Hook() = default;
  virtual void Before() {}
  virtual void After() {}
};

// One call's result code and outputs as words: integers in decimal, doubles as the 16 hex digits
// of their bits (every NaN as "nan": compilers may swap the operands that decide which NaN
// travels on), arrays of more than four doubles as [length:FNV-1a hash of their bits] unless
// `full`.
class Payload {
 public:
  Payload(bool full, Hook& hook) : full_(full), hook_(hook) {}
  // Makes the row's export call under the harness's hook and records its result code.
  template <typename F>
  Payload& Call(F&& call) {
    hook_.Before();
    const int32_t code = call();
    hook_.After();
    return Code(code);
  }
  // The same for a call without a result code.
  template <typename F>
  Payload& Do(F&& call) {
    hook_.Before();
    call();
    hook_.After();
    return *this;
  }
  Payload& Code(int32_t code) { return Word(std::to_string(code)); }
  Payload& Int(int64_t v) { return Word(std::to_string(v)); }
  Payload& Value(double v);
  Payload& Values(const double* v, size_t n);
  Payload& Values(const std::vector<double>& v);
  const std::string& str() const { return text_; }

 private:
  Payload& Word(const std::string& w);
  bool full_;
  Hook& hook_;
  std::string text_;
};

enum RowFlags : unsigned {
  kReachesHost = 1,       // makes failable host calls; its payload starts with the result code
  kAllocatesNothing = 2,  // evaluation, solving and queries: no heap allocation in the call
  kGoesOnAfterFault = 4,  // may document a host failure that leaves the result clean
  kKeepsOutputsOnFault = 8,  // writes no output (all drawn as -7) when a host call fails
};

struct Row {
  std::string name;
  unsigned flags;
  int calls;  // golden calls per capability path
  std::function<void(Rng&, Payload&)> body;
  Rng Seeded() const;  // the generator its golden calls start from
};

const std::vector<Row>& Catalogue();

// One call of a row: its body on `rng`, as the payload text.
std::string RunCall(const Row& row, Rng& rng, Hook& hook, bool full = false);

// Every row's golden calls on the capability path in force, "<row> <call> <payload>" a line.
std::vector<std::string> RunPath(bool full = false);

// The golden table: comment lines, then both paths merged as
// "<row> <call> <scalar payload>[ | <paired payload>]".
std::vector<std::string> GoldenTable(bool full = false);
std::vector<std::string> MergePaths(const std::vector<std::string>& scalar,
                                    const std::vector<std::string>& paired);

bool HasPairedPath();  // whether the machine can take the paired path

}  // namespace crvcat

#endif
