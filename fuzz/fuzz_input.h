// What every fuzz target shares: decoding the fuzzer's bytes into the inputs of the exports
// (numbers weighted towards the troublesome ones, curves, counts, list states, host faults) and
// the checks that hold after any call, whatever the input.
//
// Decoding never fails: past the end of the data every read yields zero bytes, so a short input
// is still a complete (if dull) call sequence. Counts are kept small so that one input runs in
// milliseconds; a target that needs a long run (a fit of a million samples) belongs to the
// stress tests, not here.
#ifndef CRV_FUZZ_FUZZ_INPUT_H
#define CRV_FUZZ_FUZZ_INPUT_H

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "crv/crv.h"
#include "host/host_test.h"
#include "host/hs.h"
#include "host/seq.h"

namespace crvfuzz {

// Reports a broken invariant and stops the run, so that libFuzzer keeps the input.
[[noreturn]] inline void Fail(const char* what) {
  std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
  std::abort();
}

#define CRVFUZZ_CHECK(condition)                                     \
  do {                                                               \
    if (!(condition)) ::crvfuzz::Fail(#condition " (" __FILE__ ")"); \
  } while (0)

// Bit-for-bit equality, every NaN equal to every other (NaN payloads may depend on operand
// order, which the compiler is free to swap in a commutative operation).
inline bool SameValue(double a, double b) {
  if (std::isnan(a) && std::isnan(b)) return true;
  return std::memcmp(&a, &b, sizeof a) == 0;
}

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return pos_ >= size_; }

  uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint16_t U16() { return static_cast<uint16_t>(Byte() | Byte() << 8); }
  uint32_t U32() { return static_cast<uint32_t>(U16()) | static_cast<uint32_t>(U16()) << 16; }
  uint64_t U64() { return static_cast<uint64_t>(U32()) | static_cast<uint64_t>(U32()) << 32; }
  bool Bool() { return (Byte() & 1) != 0; }

  // An integer in [lo, hi]; hi - lo must fit in 32 bits.
  int64_t Int(int64_t lo, int64_t hi) {
    const uint64_t span = static_cast<uint64_t>(hi - lo) + 1;
    return lo + static_cast<int64_t>(U32() % span);
  }

  // Any double, with the values that break numerical code over-represented: signed zeros, NaN,
  // infinities, denormals, the extremes of the range, the library's 1e-10 tolerance and its
  // neighbours, raw bit patterns, and repeats of recent values (coincident points).
  double Double() {
    const double value = Pick();
    recent_[recentNext_++ % kRecent] = value;
    return value;
  }

  // A moderate finite value: a 16-bit mantissa scaled by a power of ten from 1e-6 to 1e6.
  double Moderate() {
    const double m = static_cast<int16_t>(U16()) / 256.0;
    return m * kPowersOfTen[12 + Int(-6, 6)];
  }

  // A curve parameter: mostly inside [0, 1], often an end or the middle, now and then anything.
  double Parameter() {
    switch (Byte() % 16) {
      case 0: return 0.0;
      case 1: return 1.0;
      case 2: return 0.5;
      case 3: return std::nextafter(0.0, 1.0);
      case 4: return std::nextafter(1.0, 0.0);
      case 5: return -static_cast<double>(U16()) / 65535.0;
      case 6: return 1.0 + static_cast<double>(U16()) / 65535.0;
      case 7: return Double();
      default: return static_cast<double>(U32()) / 4294967295.0;
    }
  }

 private:
  static constexpr int kRecent = 8;
  static constexpr double kPowersOfTen[25] = {
      1e-12, 1e-11, 1e-10, 1e-9, 1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1, 1e0,
      1e1,   1e2,   1e3,   1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11, 1e12};

  double Pick() {
    const uint8_t selector = Byte();
    const double sign = (selector & 0x80) != 0 ? -1.0 : 1.0;
    switch (selector & 0x1f) {
      case 0: return sign * 0.0;
      case 1: return std::numeric_limits<double>::quiet_NaN();
      case 2: return sign * std::numeric_limits<double>::infinity();
      case 3: return sign * std::numeric_limits<double>::denorm_min();
      case 4: return sign * DBL_MIN;
      case 5: return sign * DBL_MAX;
      case 6: return sign * 1e-10;
      case 7: return sign * std::nextafter(1e-10, (selector & 0x40) != 0 ? 1.0 : 0.0);
      case 8: return sign * 1e300;
      case 9: return sign * 1e-300;
      case 10:
      case 11: {
        const uint64_t bits = U64();
        double raw;
        std::memcpy(&raw, &bits, sizeof raw);
        return raw;
      }
      case 12:
      case 13: return recent_[Byte() % kRecent];
      case 14: {  // a recent value moved by a few units in the last place
        const double base = recent_[Byte() % kRecent];
        return std::nextafter(base, sign * std::numeric_limits<double>::infinity());
      }
      case 15: return sign * (1.0 / 3.0);
      case 16:
      case 17:
      case 18:
      case 19: return static_cast<int8_t>(Byte()) / 4.0;  // a coarse grid: coincidences
      default: {
        const double m = static_cast<int16_t>(U16()) / 256.0;
        return m * kPowersOfTen[Byte() % 25];
      }
    }
  }

  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
  double recent_[kRecent] = {};
  uint32_t recentNext_ = 0;
};

// A curve record owning four heap arrays of exactly `dims` doubles (none for dims <= 0), so that
// AddressSanitizer reports any read or write past a control point's coordinates.
class Curve {
 public:
  explicit Curve(int dims) {
    const size_t n = dims > 0 ? static_cast<size_t>(dims) : 0;
    record_.dims = static_cast<int16_t>(dims);
    for (int i = 0; i < 4; ++i) {
      points_[i].reset(new double[n]());
      record_.ctpts[i] = points_[i].get();
    }
  }
  Curve(const Curve&) = delete;
  Curve& operator=(const Curve&) = delete;

  int dims() const { return record_.dims; }
  CRV_Curve* get() { return &record_; }
  const CRV_Curve* get() const { return &record_; }
  double& at(int point, int k) { return points_[point][k]; }
  double at(int point, int k) const { return points_[point][k]; }

 private:
  CRV_Curve record_{};
  std::unique_ptr<double[]> points_[4];
};

// Fills a curve from the input in one of several shapes: free coordinates, a coarse grid, a
// straight segment with retracted handles (exact or within a hair), a single point, collinear
// points, a function curve with rising time, or huge and tiny magnitudes.
inline void FillCurve(Input& in, Curve& curve) {
  const int dims = curve.dims();
  const uint8_t shape = in.Byte() % 10;
  for (int k = 0; k < dims; ++k) {
    double p[4];
    switch (shape) {
      case 0:
      case 1:
        for (double& v : p) v = in.Double();
        break;
      case 2:
        for (double& v : p) v = static_cast<int8_t>(in.Byte()) / 8.0;
        break;
      case 3: {  // retracted handles, exactly or off by a little
        p[0] = in.Moderate();
        p[3] = in.Moderate();
        const bool exact = in.Bool();
        p[1] = exact ? p[0] : p[0] + in.Moderate() * 1e-9;
        p[2] = exact ? p[3] : p[3] + in.Moderate() * 1e-9;
        break;
      }
      case 4:  // all four points coincide
        p[0] = p[1] = p[2] = p[3] = k == 0 ? in.Double() : in.Moderate();
        break;
      case 5: {  // on the line through P0 and P3
        p[0] = in.Moderate();
        p[3] = in.Moderate();
        const double a = in.Parameter(), b = in.Parameter();
        p[1] = p[0] + (p[3] - p[0]) * a;
        p[2] = p[0] + (p[3] - p[0]) * b;
        break;
      }
      case 6: {  // a function curve: time rising from P0 to P3, handles within the span
        const double start = in.Moderate();
        const double span = std::fabs(in.Moderate());
        if (k == 0) {
          p[0] = start;
          p[1] = start + span * (in.U16() / 65535.0);
          p[2] = start + span * (in.U16() / 65535.0);
          p[3] = start + span;
        } else {
          for (double& v : p) v = in.Moderate();
        }
        break;
      }
      case 7:
        for (double& v : p) v = in.Moderate() * 1e290;
        break;
      case 8:
        for (double& v : p) v = in.Moderate() * 1e-300;
        break;
      default:
        for (double& v : p) v = in.Moderate();
        break;
    }
    for (int i = 0; i < 4; ++i) curve.at(i, k) = p[i];
  }
}

// A host list owned by a target: disposed of when the target is done with the input.
class List {
 public:
  List() = default;
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  ~List() { Reset(); }

  SEQ_ListH* address() { return &handle_; }
  SEQ_ListH get() const { return handle_; }
  int32_t count() const {
    if (handle_ == nullptr) return 0;
    int32_t n;
    std::memcpy(&n, static_cast<const char*>(*handle_) + SEQ_BLOCK_COUNT_OFFSET, sizeof n);
    return n;
  }
  // Item `index` read in place (only between calls, so no lock is held by anyone).
  const void* item(int32_t index) const {
    int32_t size;
    std::memcpy(&size, static_cast<const char*>(*handle_) + SEQ_BLOCK_ITEM_SIZE_OFFSET,
                sizeof size);
    return static_cast<const char*>(*handle_) + SEQ_BLOCK_ITEMS_OFFSET +
           static_cast<size_t>(index) * static_cast<size_t>(size);
  }

  void Reset() {
    if (handle_ != nullptr) {
      HOST_ClearFaults();
      if (SEQ_Dispose(handle_, 0) != 0) Fail("SEQ_Dispose of a target's list failed");
      handle_ = nullptr;
    }
  }

  // A list state for a call: null (the call creates the list) or an existing list of items of
  // `itemSize` bytes, holding up to `maxItems` items of arbitrary content.
  void Prepare(Input& in, int32_t itemSize, int32_t maxItems) {
    Reset();
    if (in.Byte() % 3 == 0) return;
    HOST_ClearFaults();
    if (SEQ_New(0, itemSize, 1 + in.Byte() % 64, 1, &handle_) != 0) Fail("SEQ_New failed");
    const int32_t n = static_cast<int32_t>(in.Int(0, maxItems));
    std::vector<unsigned char> item(static_cast<size_t>(itemSize));
    for (int32_t i = 0; i < n; ++i) {
      for (size_t b = 0; b < item.size(); b += sizeof(double)) {
        const double v = in.Double();
        std::memcpy(&item[b], &v, item.size() - b < sizeof v ? item.size() - b : sizeof v);
      }
      if (SEQ_Insert(item.data(), -1, handle_) != 0) Fail("SEQ_Insert failed");
    }
  }

 private:
  SEQ_ListH handle_ = nullptr;
};

// The host's live counts when an input starts. Locks must be back to the start after every call;
// handles, lists and small blocks once the target has disposed of its own lists.
class Ledger {
 public:
  Ledger()
      : handles_(HOST_LiveHandles()),
        lists_(HOST_LiveLists()),
        blocks_(HOST_LiveSmallBlocks()),
        locks_(HOST_HeldLocks()) {}

  void CheckLocks() const {
    if (HOST_HeldLocks() != locks_) Fail("a list lock was left held");
  }
  // `ownLists`: lists the target still holds.
  void CheckAll(int64_t ownLists) const {
    CheckLocks();
    if (HOST_LiveHandles() != handles_) Fail("a host handle leaked");
    if (HOST_LiveSmallBlocks() != blocks_) Fail("a small block leaked");
    if (HOST_LiveLists() != lists_ + ownLists) Fail("a host list leaked");
  }

 private:
  int64_t handles_, lists_, blocks_, locks_;
};

// Host faults: now and then the k-th failable host call of the next export fails with a code
// that only this fault produces.
class Faults {
 public:
  // Arms a fault for the next call (or none); returns the code it would return.
  int32_t Arm(Input& in) {
    armed_ = (in.Byte() % 4) == 0;
    code_ = armed_ ? -7000 - static_cast<int32_t>(in.Byte() % 64) : 0;
    if (armed_)
      HOST_FailNthCall(1 + in.Byte() % 64, code_);
    else
      HOST_ClearFaults();
    return code_;
  }
  bool armed() const { return armed_; }

  // After the call: disarms, and checks that a result is 0, a code the library may return
  // itself, or the injected fault's code (as the list, the transform, or the translator for a
  // failed small block report it).
  void CheckResult(int32_t result) {
    HOST_ClearFaults();
    if (Expected(result)) return;
    std::fprintf(stderr, "unexpected result %d (fault code %d)\n", result, armed_ ? code_ : 0);
    Fail("a result code from nowhere");
  }

  bool Expected(int32_t result) const {
    if (result == 0 || result == CRV_ErrBadRecord || result == CRV_ErrOutOfMemory) return true;
    return armed_ && (result == code_ || result == HS_ERR_BAD_ALLOC);
  }

 private:
  bool armed_ = false;
  int32_t code_ = 0;
};

// Points the host's capability record at one whose word 3 selects the paired path or not.
class Capability {
 public:
  Capability() : saved_(HS_G_CPU_DataP) {}
  ~Capability() { HS_G_CPU_DataP = saved_; }
  // The paired path is taken only where the machine has it (as the host's own record says).
  void Select(bool paired) {
    record_[3] = paired && saved_[3] != 0 ? 1 : 0;
    HS_G_CPU_DataP = record_;
  }

 private:
  const int32_t* saved_;
  int32_t record_[8] = {};
};

}  // namespace crvfuzz

#endif
