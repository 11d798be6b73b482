// The fault sweep: every export that reaches the host, run once to count its failable host calls
// and then once per call with that call failing. Each failure must come back as the injected code
// (or the code the header documents for it: CRV_ErrOutOfMemory for a handle the fit cannot get, the
// translator's code for a small block that throws, a thrown int from the typed projection), leave
// no handle, small block, lock or temporary list behind, and leave the caller's outputs as crv.h
// says. The caller's own lists are inspected and then disposed of, which also proves they are not
// left locked. Both first use (null list handles) and reuse (lists that hold items) are covered.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "crv/crv.h"
#include "crv/crv.hpp"
#include "hardening_util.h"
#include "host/host_test.h"
#include "host/hs.h"
#include "host/seq.h"
#include "support/curves.h"

namespace {

using crvtest::OwnedCurve;
using hardening::FilledList;
using hardening::ListSnapshot;
using hardening::Live;
using hardening::LiveCounts;
using hardening::OwnedList;
using hardening::Snapshot;

using Pair = std::array<double, 2>;  // a table entry {t, s}, a spline point, a polyline point

// The code injected at call k is kCodeBase - k: distinct per call, and neither 0, 2, 4 nor any
// code the host produces on its own, so a result can only carry it by passing it through.
constexpr int32_t kCodeBase = -900000;
constexpr double kUntouched = -12345.0;

// How a failed call showed in the result.
enum class Seen { kNone, kPassedThrough, kSmallBlock, kHandle, kIgnored };

struct Fault {
  int64_t k;      // the failing call, 0 for the run without faults
  int64_t calls;  // failable calls of the run without faults
  int32_t code;   // the result of this run
  Seen seen;
};

// One representative call of an export with the caller's state around it. The constructor sets
// up the caller's lists and outputs, Call() makes the call (a typed function's thrown int is its
// result), Record() reads what the call left in the caller's lists once faults are disarmed, and
// Check() compares that with the run without faults. The destructor disposes of the caller's
// lists.
class Trial {
 public:
  virtual ~Trial() = default;
  virtual int32_t Call() = 0;
  virtual void Record() {}
  virtual void Check(const Fault& fault, const Trial& clean) const = 0;
  // Whether the export documents that it goes on when host call k fails (and its result be clean).
  virtual bool Ignores(int64_t /*k*/, int64_t /*calls*/) const { return false; }
};

template <typename Self>
class TrialOf : public Trial {
 public:
  void Check(const Fault& fault, const Trial& clean) const final {
    static_cast<const Self*>(this)->CheckAfter(fault, static_cast<const Self&>(clean));
  }
};

constexpr int kSome = -1;  // a number of handle allocations that depends on the data

struct SweepCase {
  std::string exportName;
  std::string variant;
  std::function<std::unique_ptr<Trial>()> make;
  int32_t cleanCode = 0;
  int smallBlocks = 0;  // failable calls that are small-block allocations
  int handles = 0;      // failable calls that are handle allocations, or kSome
  int32_t handleCode = CRV_ErrOutOfMemory;
  int64_t calls = -1;  // failable calls of the run without faults, where the export documents them
  // The kind of each failable call in order, where the export documents it: L a list operation
  // or transform whose code comes back, S a small block, H a handle, I a call whose failure the
  // export lets pass.
  std::string order;
};

// ---- Inputs

OwnedCurve Arch2() { return OwnedCurve({0, 0}, {10, 30}, {40, 30}, {50, 0}); }
OwnedCurve Arch3() { return OwnedCurve({0, 0, 0}, {10, 30, 5}, {40, 30, -5}, {50, 0, 10}); }
OwnedCurve Arch4() {
  return OwnedCurve({0, 0, 0, 1}, {10, 30, 5, 2}, {40, 30, -5, 3}, {50, 0, 10, 4});
}
OwnedCurve Retracted() { return OwnedCurve({0, 0}, {0, 0}, {3, 4}, {3, 4}); }
// A function curve: x rises from 0 to 3 while y swings.
OwnedCurve Wave() { return OwnedCurve({0, 0}, {1, 3}, {2, -3}, {3, 1}); }

// n samples of a curve at even parameters with Gaussian noise of deviation sigma, packed.
std::vector<double> Samples(const OwnedCurve& curve, int32_t n, double sigma, uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::normal_distribution<double> noise(0.0, sigma);
  const int dims = curve.dims();
  std::vector<double> out(static_cast<size_t>(n) * dims);
  for (int32_t i = 0; i < n; ++i) {
    double* p = out.data() + static_cast<size_t>(i) * dims;
    CRV_EvaluatePoint(curve.get(), static_cast<double>(i) / (n - 1), p);
    for (int k = 0; k < dims; ++k) p[k] += noise(engine);
  }
  return out;
}

// ---- Frame

class NewCurveTrial : public TrialOf<NewCurveTrial> {
 public:
  int32_t Call() override { return CRV_NewCurve(); }
  void CheckAfter(const Fault&, const NewCurveTrial&) const {}
};

// ---- Arc-length table

// The caller's table variable: null (first use) or a list of `oldCount` items already there.
SEQ_ListH OldList(int32_t oldCount) { return oldCount < 0 ? nullptr : FilledList(16, oldCount); }

// A list refilled by storing items from position `start` on, after a failure: positions below
// start keep the old items, then the first `stored` items of the run without faults, then the
// old items behind them; nothing is truncated.
void ExpectRefilledPrefix(const ListSnapshot& now, const ListSnapshot& ref, const ListSnapshot& old,
                          size_t start, size_t stored) {
  const size_t size = std::max(old.count(), start + stored);
  ASSERT_EQ(now.count(), size);
  EXPECT_TRUE(now.SameItems(0, old, 0, start)) << "items before the start changed";
  EXPECT_TRUE(now.SameItems(start, ref, start, stored)) << "the stored items differ";
  if (old.count() > start + stored) {
    EXPECT_TRUE(now.SameItems(start + stored, old, start + stored, old.count() - start - stored))
        << "the old items behind the stored ones changed";
  }
}

// Whether now holds the first items of ref and nothing else.
bool IsPrefixOf(const ListSnapshot& now, const ListSnapshot& ref) {
  return now.exists && now.count() <= ref.count() && now.SameItems(0, ref, 0, now.count());
}

class ArcTableTrial : public TrialOf<ArcTableTrial> {
 public:
  ArcTableTrial(OwnedCurve curve, int32_t n, int32_t oldCount) : curve_(std::move(curve)), n_(n) {
    table_.handle = OldList(oldCount);
    old_ = Snapshot(table_.handle);
  }
  int32_t Call() override { return CRV_BuildArcTable(curve_.get(), n_, &table_.handle, &length_); }
  void Record() override { now_ = Snapshot(table_.handle); }
  void CheckAfter(const Fault& f, const ArcTableTrial& clean) const {
    const size_t stores = curve_.dims() == 2 || curve_.dims() == 3 ? static_cast<size_t>(n_) : 1;
    if (f.k == 0) {
      EXPECT_EQ(now_.count(), static_cast<size_t>(n_));
      return;
    }
    const int64_t setup = old_.exists ? 0 : 2;  // SEQ_New and SEQ_SetFuncs
    if (!old_.exists && f.k == 1) {
      EXPECT_FALSE(now_.exists);
      EXPECT_EQ(length_, kUntouched);
      return;
    }
    ASSERT_TRUE(now_.exists) << "a created table is the caller's";
    if (f.k <= setup) {
      EXPECT_EQ(now_.count(), 0u);
      EXPECT_EQ(length_, kUntouched);
      return;
    }
    // One store per entry, then the trim: entries before the failing store stay written.
    const size_t stored = std::min(static_cast<size_t>(f.k - 1 - setup), stores);
    ExpectRefilledPrefix(now_, clean.now_, old_, 0, stored);
    // The partial sum reached includes the entry whose store failed.
    EXPECT_EQ(length_, clean.now_.At<Pair>(std::min(stored, stores - 1))[1]);
  }

 private:
  OwnedCurve curve_;
  int32_t n_;
  OwnedList table_;
  ListSnapshot old_, now_;
  double length_ = kUntouched;
};

// The lookups on a table: the table is made null, built beforehand, or built with one entry.
enum class Table { kNull, kBuilt, kOneEntry };

class ArcLookupTrial : public TrialOf<ArcLookupTrial> {
 public:
  enum class Export { kSFromT, kTFromS, kPointFromS };
  ArcLookupTrial(Export which, OwnedCurve curve, double arg, int32_t n, Table table)
      : which_(which), curve_(std::move(curve)), arg_(arg), n_(n), mode_(table) {
    double length;
    if (table != Table::kNull) {
      EXPECT_EQ(
          CRV_BuildArcTable(curve_.get(), table == Table::kBuilt ? n : 1, &table_.handle, &length),
          0);
    }
    before_ = Snapshot(table_.handle);
  }
  int32_t Call() override {
    switch (which_) {
      case Export::kSFromT:
        return CRV_SFromT(curve_.get(), arg_, n_, &table_.handle, out_);
      case Export::kTFromS:
        return CRV_TFromS(curve_.get(), arg_, n_, &table_.handle, out_);
      case Export::kPointFromS:
        return CRV_EvaluatePointFromS(curve_.get(), arg_, n_, &table_.handle, out_);
    }
    return -1;
  }
  void Record() override { now_ = Snapshot(table_.handle); }
  // s from t interpolates between entries hi and lo read in place; lo is hi's predecessor in the
  // locked block whatever the host answers for its address, so that answer is not checked.
  bool Ignores(int64_t k, int64_t calls) const override {
    return which_ == Export::kSFromT && mode_ != Table::kOneEntry && k == calls - 1;
  }
  void CheckAfter(const Fault& f, const ArcLookupTrial& clean) const {
    if (mode_ != Table::kNull) {
      EXPECT_TRUE(now_ == before_) << "a lookup changed the caller's table";
    } else if (f.k == 1) {
      EXPECT_FALSE(now_.exists);
    } else if (f.k > 1) {
      EXPECT_TRUE(IsPrefixOf(now_, clean.now_)) << "the table is not a prefix of the full one";
    }
    if (f.k == 0 || f.seen == Seen::kIgnored) {
      EXPECT_EQ(out_[0], clean.out_[0]);
      EXPECT_EQ(out_[1], clean.out_[1]);
      return;
    }
    if (which_ != Export::kSFromT) {
      // On failure nothing is written.
      EXPECT_EQ(out_[0], kUntouched);
      EXPECT_EQ(out_[1], kUntouched);
      return;
    }
    // s from t: a build reports its length, partial or whole, through *s for the moment; the
    // interpolated s is written before the unlock, the last call.
    if (mode_ != Table::kOneEntry && f.k == f.calls) {
      EXPECT_EQ(out_[0], clean.out_[0]);
      return;
    }
    bool ok = out_[0] == kUntouched;
    if (mode_ == Table::kNull) {
      for (size_t i = 0; i < clean.now_.count(); ++i)
        ok = ok || out_[0] == clean.now_.At<Pair>(i)[1];
    }
    EXPECT_TRUE(ok) << "s = " << out_[0];
  }

 private:
  Export which_;
  OwnedCurve curve_;
  double arg_;
  int32_t n_;
  Table mode_;
  OwnedList table_;
  ListSnapshot before_, now_;
  double out_[2] = {kUntouched, kUntouched};
};

class ByDistanceTrial : public TrialOf<ByDistanceTrial> {
 public:
  ByDistanceTrial(OwnedCurve curve, double distance, int32_t start, int32_t oldCount)
      : curve_(std::move(curve)), distance_(distance), start_(start) {
    list_.handle = OldList(oldCount);
    old_ = Snapshot(list_.handle);
  }
  int32_t Call() override {
    return CRV_EvaluateByDistance(curve_.get(), distance_, start_, &list_.handle);
  }
  void Record() override { now_ = Snapshot(list_.handle); }
  void CheckAfter(const Fault& f, const ByDistanceTrial& clean) const {
    // A new list is filled from 0; a start beyond the items is taken as their count.
    const size_t start =
        old_.exists ? static_cast<size_t>(std::clamp<int64_t>(start_, 0, old_.count())) : 0;
    if (f.k == 0) {
      EXPECT_GT(now_.count(), start + 8) << "at least P0 and the ends of the eighths";
      return;
    }
    const int64_t setup = old_.exists ? 0 : 1;
    if (!old_.exists && f.k == 1) {
      EXPECT_FALSE(now_.exists);
      return;
    }
    ASSERT_TRUE(now_.exists) << "a created list is the caller's";
    const size_t points = clean.now_.count() - start;
    const size_t stored = std::min(static_cast<size_t>(f.k - 1 - setup), points);
    ExpectRefilledPrefix(now_, clean.now_, old_, start, stored);
  }

 private:
  OwnedCurve curve_;
  double distance_;
  int32_t start_;
  OwnedList list_;
  ListSnapshot old_, now_;
};

// ---- Arc-length spline

// The chain a spline build fits before it turns the lengths back into parameters: its table's
// points (t L, s), fitted by the chain fit. A build that fails inside or right after the fit
// leaves a prefix of this chain in the caller's spline.
ListSnapshot ScaledSplineChain(const OwnedCurve& curve, double bound) {
  OwnedList table, chain;
  double length = 0;
  EXPECT_EQ(CRV_BuildArcTable(curve.get(), 128, &table.handle, &length), 0);
  ListSnapshot entries = Snapshot(table.handle);
  std::vector<double> samples(entries.count() * 2);
  for (size_t i = 0; i < entries.count(); ++i) {
    const Pair e = entries.At<Pair>(i);
    samples[2 * i] = e[0] * length;
    samples[2 * i + 1] = e[1];
  }
  EXPECT_EQ(CRV_FitMultipleCurves(samples.data(), 2, static_cast<int32_t>(entries.count()), bound,
                                  &chain.handle),
            0);
  return Snapshot(chain.handle);
}

// A spline build calls the host in this order: the temporary table (SEQ_New, 128 stores, the
// trim, the lock), the fit (the spline list made or emptied, two small blocks, one insert per
// point), the spline's lock and unlock, the table's unlock and disposal.
constexpr int64_t kTableFillCalls = 1 + 128 + 1;
constexpr int64_t kFitListCall = kTableFillCalls + 2;

std::string SplineBuildOrder(size_t points) {
  return std::string(kFitListCall, 'L') + "SS" + std::string(points + 4, 'L');
}

// What a failed spline build leaves in the caller's variable: nothing new until the fit has made
// or emptied the list, then a prefix of the fitted chain in length units, and the finished spline
// once the failure comes after it was unscaled (the spline's unlock, then the temporary table's
// unlock and disposal).
void ExpectSplineAfterFailure(const Fault& f, int64_t buildCalls, const ListSnapshot& before,
                              const ListSnapshot& now, const ListSnapshot& scaled,
                              const ListSnapshot& built) {
  if (f.k <= kFitListCall) {
    EXPECT_TRUE(now == before) << "the spline list changed before the fit";
  } else if (f.k > buildCalls - 3) {
    EXPECT_TRUE(now == built) << "the spline was finished before the failing call";
  } else {
    EXPECT_TRUE(IsPrefixOf(now, scaled)) << "not a prefix of the fitted chain";
  }
}

class ArcSplineTrial : public TrialOf<ArcSplineTrial> {
 public:
  ArcSplineTrial(OwnedCurve curve, double bound, int32_t oldCount,
                 std::shared_ptr<const ListSnapshot> scaled)
      : curve_(std::move(curve)), bound_(bound), scaled_(std::move(scaled)) {
    spline_.handle = OldList(oldCount);
    before_ = Snapshot(spline_.handle);
  }
  int32_t Call() override {
    return CRV_BuildArcSpline(curve_.get(), bound_, &spline_.handle, &length_);
  }
  void Record() override { now_ = Snapshot(spline_.handle); }
  void CheckAfter(const Fault& f, const ArcSplineTrial& clean) const {
    if (f.k == 0 && curve_.dims() != 2 && curve_.dims() != 3) {
      EXPECT_FALSE(now_.exists);  // refused before any host call
      EXPECT_EQ(length_, kUntouched);
      return;
    }
    if (f.k == 0) {
      ASSERT_GE(now_.count(), 4u);
      EXPECT_EQ(now_.At<Pair>(now_.count() - 1)[0], 1.0);
      EXPECT_EQ(now_.At<Pair>(now_.count() - 1)[1], length_);
      return;
    }
    if (f.k == 1) {
      EXPECT_EQ(length_, kUntouched);  // the temporary table could not be made
    } else if (f.k < kTableFillCalls - 1) {
      // The partial sum reached when a store before the last failed.
      EXPECT_GE(length_, 0.0);
      EXPECT_LE(length_, clean.length_);
    } else {
      EXPECT_EQ(length_, clean.length_);  // every entry was measured
    }
    ExpectSplineAfterFailure(f, f.calls, before_, now_, *scaled_, clean.now_);
  }

 private:
  OwnedCurve curve_;
  double bound_;
  std::shared_ptr<const ListSnapshot> scaled_;
  OwnedList spline_;
  ListSnapshot before_, now_;
  double length_ = kUntouched;
};

class SplineLookupTrial : public TrialOf<SplineLookupTrial> {
 public:
  SplineLookupTrial(OwnedCurve curve, double s, double bound, int32_t builtPoints,
                    std::shared_ptr<const ListSnapshot> scaled)
      : curve_(std::move(curve)), s_(s), bound_(bound), scaled_(std::move(scaled)) {
    if (builtPoints > 0) {
      double length;
      EXPECT_EQ(CRV_BuildArcSpline(curve_.get(), bound, &spline_.handle, &length), 0);
      if (builtPoints < 4) {
        EXPECT_EQ(SEQ_SetNumItems(builtPoints, spline_.handle, 0), 0);
      }
    }
    before_ = Snapshot(spline_.handle);
  }
  int32_t Call() override {
    return CRV_TFromSSpline(curve_.get(), s_, bound_, &spline_.handle, &t_);
  }
  void Record() override { now_ = Snapshot(spline_.handle); }
  void CheckAfter(const Fault& f, const SplineLookupTrial& clean) const {
    if (f.k == 0) return;
    EXPECT_EQ(t_, kUntouched) << "on failure *t is not written";
    if (before_.exists) {
      EXPECT_TRUE(now_ == before_) << "a failed lookup changed the spline";
    } else {
      ExpectSplineAfterFailure(f, f.calls, before_, now_, *scaled_, clean.now_);
    }
  }

 private:
  OwnedCurve curve_;
  double s_, bound_;
  std::shared_ptr<const ListSnapshot> scaled_;
  OwnedList spline_;
  ListSnapshot before_, now_;
  double t_ = kUntouched;
};

// ---- Curve fitting

class FitOneTrial : public TrialOf<FitOneTrial> {
 public:
  enum class Export { kOne, kIter, kError };
  FitOneTrial(Export which, std::shared_ptr<const std::vector<double>> samples, int dims,
              int32_t count, double bound, uint16_t iterations)
      : which_(which),
        samples_(std::move(samples)),
        count_(count),
        bound_(bound),
        iterations_(iterations),
        curve_(dims) {
    for (int i = 0; i < 4; ++i)
      for (int c = 0; c < dims; ++c) curve_.at(i, c) = kUntouched;
  }
  int32_t Call() override {
    const double* s = samples_->data();
    switch (which_) {
      case Export::kOne:
        return CRV_FitOneCurve(s, count_, bound_, 2, curve_.get());
      case Export::kIter:
        return CRV_FitOneCurveIter(s, count_, bound_, iterations_, 3, curve_.get());
      case Export::kError:
        return CRV_FitOneCurveError(s, count_, bound_, 2, 4, iterations_, &maxError_, curve_.get());
    }
    return -1;
  }
  void CheckAfter(const Fault& f, const FitOneTrial& clean) const {
    if (f.k == 0) return;
    // The curve is written only once the fit is complete, right before the temporary list's
    // unlock and disposal, the last two calls.
    const bool written = f.k >= f.calls - 1;
    for (int i = 0; i < 4; ++i)
      for (int c = 0; c < curve_.dims(); ++c)
        EXPECT_EQ(curve_.at(i, c), written ? clean.curve_.at(i, c) : kUntouched)
            << "point " << i << " coordinate " << c;
    if (written && which_ == Export::kError) {
      EXPECT_EQ(maxError_, clean.maxError_);
    }
  }

 private:
  Export which_;
  std::shared_ptr<const std::vector<double>> samples_;
  int32_t count_;
  double bound_;
  uint16_t iterations_;
  OwnedCurve curve_;
  double maxError_ = kUntouched;
};

class FitChainTrial : public TrialOf<FitChainTrial> {
 public:
  FitChainTrial(bool iterate, std::shared_ptr<const std::vector<double>> samples, uint16_t dims,
                int32_t count, double bound, bool indices, bool reuse)
      : iterate_(iterate),
        samples_(std::move(samples)),
        dims_(dims),
        count_(count),
        bound_(bound),
        withIndices_(indices) {
    if (reuse) {
      points_.handle = FilledList(dims * 8, 7);
      if (indices) indices_.handle = FilledList(4, 5);
    }
    pointsBefore_ = Snapshot(points_.handle);
    indicesBefore_ = Snapshot(indices_.handle);
  }
  int32_t Call() override {
    if (!iterate_)
      return CRV_FitMultipleCurves(samples_->data(), dims_, count_, bound_, &points_.handle);
    return CRV_FitMultipleCurvesIterate(samples_->data(), dims_, count_, bound_, 2, &points_.handle,
                                        withIndices_ ? &indices_.handle : nullptr);
  }
  void Record() override {
    points_now_ = Snapshot(points_.handle);
    indices_now_ = Snapshot(indices_.handle);
  }
  void CheckAfter(const Fault& f, const FitChainTrial& clean) const {
    if (f.k == 0 && count_ < 2) {
      EXPECT_FALSE(points_now_.exists);  // refused before any host call
      return;
    }
    if (f.k == 0) {
      const size_t segments = (points_now_.count() - 1) / 3;
      EXPECT_EQ(points_now_.count(), 3 * segments + 1);
      if (withIndices_) {
        EXPECT_EQ(indices_now_.count(), segments + 1);
      }
      return;
    }
    // Step by step: the point list is made or emptied, then the index list made or emptied and
    // given its leading 0, then the work buffers; segments are appended after that.
    if (f.k == 1) {
      EXPECT_TRUE(points_now_ == pointsBefore_);
      EXPECT_TRUE(indices_now_ == indicesBefore_);
      return;
    }
    EXPECT_TRUE(IsPrefixOf(points_now_, clean.points_now_)) << "points are not a prefix";
    if (!withIndices_) {
      EXPECT_TRUE(indices_now_ == indicesBefore_);
      return;
    }
    if (f.k == 2) {
      EXPECT_EQ(points_now_.count(), 0u);
      EXPECT_TRUE(indices_now_ == indicesBefore_);
      return;
    }
    EXPECT_TRUE(IsPrefixOf(indices_now_, clean.indices_now_)) << "indices are not a prefix";
    if (f.k == 3) {
      EXPECT_EQ(indices_now_.count(), 0u) << "inserting the leading 0 failed";
      return;
    }
    // The index list never runs ahead of the segments in the point list.
    ASSERT_GE(indices_now_.count(), 1u);
    if (indices_now_.count() > 1) {
      EXPECT_GE(points_now_.count(), 3 * (indices_now_.count() - 1) + 1);
    }
    if (f.seen == Seen::kSmallBlock) {
      EXPECT_EQ(points_now_.count(), 0u);
      EXPECT_EQ(indices_now_.count(), 1u);
    }
  }

 private:
  bool iterate_;
  std::shared_ptr<const std::vector<double>> samples_;
  uint16_t dims_;
  int32_t count_;
  double bound_;
  bool withIndices_;
  OwnedList points_, indices_;
  ListSnapshot pointsBefore_, indicesBefore_, points_now_, indices_now_;
};

// ---- Flattening

CRV_LinearityParams FlatParams() {
  return CRV_LinearityParams{0.0004, 0.0005, CRV_LINEARITY_CHECK_WORD, 1, 12};
}
const CRV_FlatnessFunc kIsLinear = reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc);

class FlattenTrial : public TrialOf<FlattenTrial> {
 public:
  enum class Export { kAdaptively, kInterpolate };
  FlattenTrial(Export which, bool clipAndRange, int32_t oldCount)
      : which_(which),
        track_(clipAndRange || which == Export::kInterpolate),
        clip_(clipAndRange),
        curve_(Wave()) {
    list_.handle = FilledList(16, oldCount);
    old_ = Snapshot(list_.handle);
  }
  int32_t Call() override {
    CRV_LinearityParams params = FlatParams();
    const double xLow = 0.2, xHigh = 2.8;
    if (which_ == Export::kInterpolate) {
      return CRV_LinearlyInterpolateCurve(kIsLinear, &params, xLow, xHigh, curve_.get(), &have_,
                                          &lo_, &hi_, &list_.handle);
    }
    return CRV_EvaluateAdaptively(kIsLinear, &params, clip_ ? &xLow : nullptr,
                                  clip_ ? &xHigh : nullptr, curve_.get(), track_ ? &have_ : nullptr,
                                  track_ ? &lo_ : nullptr, track_ ? &hi_ : nullptr, &list_.handle);
  }
  void Record() override { now_ = Snapshot(list_.handle); }
  void CheckAfter(const Fault& f, const FlattenTrial& clean) const {
    // One append per point and no other host call: the points before the failing append stay,
    // behind what the caller's list held.
    const size_t appended =
        f.k == 0 ? clean.now_.count() - old_.count() : static_cast<size_t>(f.k - 1);
    ASSERT_EQ(now_.count(), old_.count() + appended);
    EXPECT_TRUE(now_.SameItems(0, old_, 0, old_.count()));
    EXPECT_TRUE(now_.SameItems(old_.count(), clean.now_, old_.count(), appended));
    if (!track_) return;
    // The range covers exactly the appended points: a failed append does not widen it.
    EXPECT_EQ(have_, appended > 0);
    double lo = kUntouched, hi = kUntouched;
    for (size_t i = 0; i < appended; ++i) {
      const double y = now_.At<Pair>(old_.count() + i)[1];
      lo = i == 0 ? y : std::min(lo, y);
      hi = i == 0 ? y : std::max(hi, y);
    }
    EXPECT_EQ(lo_, lo);
    EXPECT_EQ(hi_, hi);
  }

 private:
  Export which_;
  bool track_, clip_;
  OwnedCurve curve_;
  OwnedList list_;
  ListSnapshot old_, now_;
  bool have_ = false;
  double lo_ = kUntouched, hi_ = kUntouched;
};

class InterpolateLineTrial : public TrialOf<InterpolateLineTrial> {
 public:
  explicit InterpolateLineTrial(double x) : x_(x) {
    list_.handle = FilledList(16, 2);
    old_ = Snapshot(list_.handle);
  }
  int32_t Call() override {
    const double a[2] = {0, 1}, b[2] = {2, 5}, p[2] = {7, -7};
    return CRV_LinearlyInterpolateLine(x_, a, b, p, &have_, &list_.handle, &lo_, &hi_);
  }
  void Record() override { now_ = Snapshot(list_.handle); }
  void CheckAfter(const Fault& f, const InterpolateLineTrial&) const {
    if (f.k == 0) {
      ASSERT_EQ(now_.count(), old_.count() + 1);
      EXPECT_TRUE(have_);
      EXPECT_EQ(lo_, now_.At<Pair>(old_.count())[1]);
      return;
    }
    EXPECT_TRUE(now_ == old_);
    EXPECT_FALSE(have_);
    EXPECT_EQ(lo_, kUntouched);
    EXPECT_EQ(hi_, kUntouched);
  }

 private:
  double x_;
  OwnedList list_;
  ListSnapshot old_, now_;
  bool have_ = false;
  double lo_ = kUntouched, hi_ = kUntouched;
};

// ---- Screen projection (typed: a failed transform is thrown as an int)

const GEO_Matrix4 kCamera{{{800, 0, 640, 0}, {0, 800, 360, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};

class ScreenTrial : public TrialOf<ScreenTrial> {
 public:
  using V3 = GEO_Vector3T<double>;
  using V2 = GEO_Vector2T<double>;
  ScreenTrial()
      : curve_(V3{-1, -0.5, 3}, V3{-0.3, 1.0, 2}, V3{0.6, -0.8, 4}, V3{1.2, 0.4, 6}),
        out_(1, CRV_CurveClass2D(V2{9, 9}, V2{9, 9}, V2{9, 9}, V2{9, 9})) {}
  int32_t Call() override {
    try {
      CRV_3DScreenCurveAdaptiveEvaluator(0.5, kCamera, curve_, &out_);
    } catch (int code) {
      thrown_ = true;
      return code;
    }
    return 0;
  }
  void CheckAfter(const Fault& f, const ScreenTrial& clean) const {
    EXPECT_EQ(thrown_, f.k != 0) << "a failure is thrown as an int, nothing else is";
    // Cubics appended before the failure stay, behind what the caller had.
    ASSERT_GE(out_.size(), 1u);
    EXPECT_EQ(out_[0].points[0], (V2{9, 9}));
    ASSERT_LE(out_.size(), clean.out_.size());
    if (f.k == 0) {
      EXPECT_GT(out_.size(), 3u);
    }
    for (size_t i = 1; i < out_.size(); ++i)
      for (int p = 0; p < 4; ++p) EXPECT_EQ(out_[i].points[p], clean.out_[i].points[p]);
  }

 private:
  CRV_CurveClass3D curve_;
  std::vector<CRV_CurveClass2D> out_;
  bool thrown_ = false;
};

// ---- The table

std::vector<SweepCase> AllCases() {
  std::vector<SweepCase> cases;
  using Make = std::function<std::unique_ptr<Trial>()>;
  auto add = [&](std::string name, std::string variant, Make make) {
    SweepCase c;
    c.exportName = std::move(name);
    c.variant = std::move(variant);
    c.make = std::move(make);
    cases.push_back(std::move(c));
  };
  // Modifiers of the case just added.
  auto refused = [&](int32_t code) { cases.back().cleanCode = code; };
  auto allocates = [&](int smallBlocks, int handles) {
    cases.back().smallBlocks = smallBlocks;
    cases.back().handles = handles;
  };
  auto order = [&](std::string kinds) {
    cases.back().calls = static_cast<int64_t>(kinds.size());
    cases.back().order = std::move(kinds);
  };
  const auto L = [](size_t n) { return std::string(n, 'L'); };
  const auto H = [](size_t n) { return std::string(n, 'H'); };

  // A host without memory: the handle is simply not there, and CRV_NewCurve still reports 0.
  add("CRV_NewCurve", "cleared curve handle", [] { return std::make_unique<NewCurveTrial>(); });
  allocates(0, 1);
  cases.back().handleCode = 0;
  order("H");

  // Tables: SEQ_New and SEQ_SetFuncs for a null handle, one store per entry, the trim.
  add("CRV_BuildArcTable", "2-D, new table",
      [] { return std::make_unique<ArcTableTrial>(Arch2(), 12, -1); });
  order(L(2 + 12 + 1));
  add("CRV_BuildArcTable", "3-D, reused longer table",
      [] { return std::make_unique<ArcTableTrial>(Arch3(), 10, 25); });
  order(L(10 + 1));
  add("CRV_BuildArcTable", "2-D, reused shorter table",
      [] { return std::make_unique<ArcTableTrial>(Arch2(), 10, 4); });
  order(L(10 + 1));
  add("CRV_BuildArcTable", "4-D (not measured), reused table",
      [] { return std::make_unique<ArcTableTrial>(Arch4(), 6, 9); });
  order(L(1 + 1));
  add("CRV_BuildArcTable", "one sample, new table",
      [] { return std::make_unique<ArcTableTrial>(Arch2(), 1, -1); });
  order(L(2 + 1 + 1));

  // Lookups: a build of 9 entries (12 calls) for a null table; then s from t searches and reads
  // hi and lo under a lock (5 calls), t from s searches for L and for s and reads lo and hi (4).
  using Lookup = ArcLookupTrial::Export;
  for (Table mode : {Table::kNull, Table::kBuilt}) {
    const std::string variant = mode == Table::kNull ? "null table" : "built table";
    const size_t build = mode == Table::kNull ? 12 : 0;
    add("CRV_SFromT", variant, [mode] {
      return std::make_unique<ArcLookupTrial>(Lookup::kSFromT, Arch2(), 0.3, 9, mode);
    });
    order(L(build) + "LLLIL");
    add("CRV_TFromS", variant, [mode] {
      return std::make_unique<ArcLookupTrial>(Lookup::kTFromS, Arch3(), 31.0, 9, mode);
    });
    order(L(build == 0 ? 4 : build + 3));  // a fresh build reports L itself
    add("CRV_EvaluatePointFromS", variant, [mode] {
      return std::make_unique<ArcLookupTrial>(Lookup::kPointFromS, Arch2(), 27.0, 9, mode);
    });
    order(L(build == 0 ? 4 : build + 3));
  }
  add("CRV_SFromT", "one-entry table", [] {
    return std::make_unique<ArcLookupTrial>(Lookup::kSFromT, Arch2(), 0.5, 9, Table::kOneEntry);
  });
  order("L");  // the search; the chord answers beyond the only entry
  // t from s builds a table for a retracted segment too; s = L / 2 matches its middle entry.
  add("CRV_TFromS", "retracted segment, null table", [] {
    return std::make_unique<ArcLookupTrial>(Lookup::kTFromS, Retracted(), 2.5, 9, Table::kNull);
  });
  order(L(12 + 1));
  // Retracted segments are answered in closed form and reach no host at all.
  add("CRV_SFromT", "retracted segment", [] {
    return std::make_unique<ArcLookupTrial>(Lookup::kSFromT, Retracted(), 0.5, 9, Table::kNull);
  });
  add("CRV_EvaluatePointFromS", "retracted segment", [] {
    return std::make_unique<ArcLookupTrial>(Lookup::kPointFromS, Retracted(), 2.5, 9, Table::kNull);
  });

  add("CRV_EvaluateByDistance", "new list",
      [] { return std::make_unique<ByDistanceTrial>(Arch2(), 6.0, 5, -1); });
  add("CRV_EvaluateByDistance", "reused list, start inside",
      [] { return std::make_unique<ByDistanceTrial>(Arch2(), 6.0, 5, 40); });
  add("CRV_EvaluateByDistance", "reused list, start beyond its end",
      [] { return std::make_unique<ByDistanceTrial>(Arch3(), 9.0, 50, 3); });
  add("CRV_EvaluateByDistance", "1-D record (y read as 0), reused list", [] {
    OwnedCurve line(1);
    for (int i = 0; i < 4; ++i) line.at(i, 0) = i * i;
    return std::make_unique<ByDistanceTrial>(line, 0.7, 2, 6);
  });

  auto scaled = std::make_shared<const ListSnapshot>(ScaledSplineChain(Arch2(), 1e-3));
  for (int32_t old : {-1, 5}) {
    add("CRV_BuildArcSpline", old < 0 ? "new spline" : "reused spline",
        [scaled, old] { return std::make_unique<ArcSplineTrial>(Arch2(), 1e-3, old, scaled); });
    allocates(2, 0);
    order(SplineBuildOrder(scaled->count()));
  }
  add("CRV_BuildArcSpline", "4-D curve (refused)",
      [scaled] { return std::make_unique<ArcSplineTrial>(Arch4(), 1e-3, -1, scaled); });
  refused(CRV_ErrBadRecord);
  add("CRV_TFromSSpline", "null spline",
      [scaled] { return std::make_unique<SplineLookupTrial>(Arch2(), 20.0, 1e-3, 0, scaled); });
  allocates(2, 0);
  order(SplineBuildOrder(scaled->count()));  // then the lookup reads the points in place
  add("CRV_TFromSSpline", "built spline",
      [scaled] { return std::make_unique<SplineLookupTrial>(Arch2(), 20.0, 1e-3, 99, scaled); });
  order("L");  // the last point, for L
  add("CRV_TFromSSpline", "spline of three points (refused)",
      [scaled] { return std::make_unique<SplineLookupTrial>(Arch2(), 20.0, 1e-3, 3, scaled); });
  refused(CRV_ErrBadRecord);

  // Single fits of noisy samples with a bound of 1e-9, never met, so every iteration runs: the
  // temporary list, two small blocks, above 256 samples a handle per solve (1 + iterations of
  // them), four inserts, the lock and unlock, the disposal.
  using One = FitOneTrial::Export;
  auto short2 = std::make_shared<const std::vector<double>>(Samples(Arch2(), 40, 0.3, 11));
  auto long3 = std::make_shared<const std::vector<double>>(Samples(Arch3(), 300, 0.3, 12));
  auto fitOne = [&](One which, const char* name, const char* variant,
                    std::shared_ptr<const std::vector<double>> samples, int dims, int32_t count,
                    uint16_t iterations, size_t solves) {
    add(name, variant, [=] {
      return std::make_unique<FitOneTrial>(which, samples, dims, count, 1e-9, iterations);
    });
    allocates(2, count > 256 ? static_cast<int>(solves) : 0);
    order("LSS" + H(count > 256 ? solves : 0) + L(7));
  };
  fitOne(One::kOne, "CRV_FitOneCurve", "2-D, 40 samples", short2, 2, 40, 0, 11);
  fitOne(One::kOne, "CRV_FitOneCurve", "3-D, 300 samples", long3, 3, 300, 0, 11);
  fitOne(One::kIter, "CRV_FitOneCurveIter", "3-D, 300 samples, 3 iterations", long3, 3, 300, 3, 4);
  fitOne(One::kError, "CRV_FitOneCurveError", "2-D, 40 samples, 5 iterations", short2, 2, 40, 5, 6);
  fitOne(One::kError, "CRV_FitOneCurveError", "3-D, 300 samples, 2 iterations", long3, 3, 300, 2,
         3);
  // Coincident samples (every parameter 0, zero tangents: met by the first solve) and two
  // samples (no solve at all).
  auto coincident = std::make_shared<const std::vector<double>>(std::vector<double>(900, 1.5));
  fitOne(One::kError, "CRV_FitOneCurveError", "300 coincident samples", coincident, 3, 300, 2, 1);
  auto two = std::make_shared<const std::vector<double>>(std::vector<double>{0, 0, 3, 4});
  fitOne(One::kError, "CRV_FitOneCurveError", "two samples", two, 2, 2, 2, 0);
  add("CRV_FitOneCurveError", "4-D record (refused)",
      [long3] { return std::make_unique<FitOneTrial>(One::kError, long3, 4, 30, 1e-9, 2); });
  refused(CRV_ErrBadRecord);

  // Chains: a bound of 0.5 splits the noisy runs into several segments; the 300-sample run's
  // first segments exceed 256 samples and take handles, as many as its splits need.
  auto chain2 = std::make_shared<const std::vector<double>>(Samples(Arch2(), 120, 0.3, 13));
  auto chain2long = std::make_shared<const std::vector<double>>(Samples(Arch2(), 300, 0.3, 14));
  for (bool reuse : {false, true}) {
    const std::string lists = reuse ? "reused lists" : "new lists";
    add("CRV_FitMultipleCurves", "120 samples, " + lists, [chain2, reuse] {
      return std::make_unique<FitChainTrial>(false, chain2, 2, 120, 0.5, false, reuse);
    });
    allocates(2, 0);
    add("CRV_FitMultipleCurvesIterate", "120 samples with indices, " + lists, [chain2, reuse] {
      return std::make_unique<FitChainTrial>(true, chain2, 2, 120, 0.5, true, reuse);
    });
    allocates(2, 0);
    add("CRV_FitMultipleCurvesIterate", "300 samples with indices, " + lists, [chain2long, reuse] {
      return std::make_unique<FitChainTrial>(true, chain2long, 2, 300, 0.5, true, reuse);
    });
    allocates(2, kSome);
  }
  add("CRV_FitMultipleCurvesIterate", "300 samples without indices, new list", [chain2long] {
    return std::make_unique<FitChainTrial>(true, chain2long, 2, 300, 0.5, false, false);
  });
  allocates(2, kSome);
  // A bound of 0 splits a 3-D run down to sample pairs.
  auto chain3 = std::make_shared<const std::vector<double>>(Samples(Arch3(), 100, 0.3, 15));
  for (bool reuse : {false, true}) {
    add("CRV_FitMultipleCurvesIterate",
        std::string("3-D, 100 samples, bound 0, ") + (reuse ? "reused lists" : "new lists"),
        [chain3, reuse] {
          return std::make_unique<FitChainTrial>(true, chain3, 3, 100, 0.0, true, reuse);
        });
    allocates(2, 0);
  }
  // Two samples and an index list: the point list, the index list and its leading 0, the small
  // blocks, the four points and the closing index.
  auto pair2 = std::make_shared<const std::vector<double>>(std::vector<double>{0, 0, 1, 1});
  add("CRV_FitMultipleCurvesIterate", "two samples with indices, new lists",
      [pair2] { return std::make_unique<FitChainTrial>(true, pair2, 2, 2, 1.0, true, false); });
  allocates(2, 0);
  order("LLLSS" + L(5));
  add("CRV_FitMultipleCurves", "one sample (refused)",
      [chain2] { return std::make_unique<FitChainTrial>(false, chain2, 2, 1, 0.5, false, false); });
  refused(CRV_ErrBadRecord);

  // Flattening appends one point per SEQ_Insert and makes no other host call.
  using Flat = FlattenTrial::Export;
  for (int32_t old : {0, 3}) {
    const std::string list = old == 0 ? "empty list" : "list holding points";
    add("CRV_EvaluateAdaptively", "clipped, with range, " + list,
        [old] { return std::make_unique<FlattenTrial>(Flat::kAdaptively, true, old); });
    add("CRV_LinearlyInterpolateCurve", list,
        [old] { return std::make_unique<FlattenTrial>(Flat::kInterpolate, true, old); });
  }
  add("CRV_EvaluateAdaptively", "unclipped, no range",
      [] { return std::make_unique<FlattenTrial>(Flat::kAdaptively, false, 2); });
  add("CRV_LinearlyInterpolateLine", "inside the segment",
      [] { return std::make_unique<InterpolateLineTrial>(1.5); });
  order("L");
  add("CRV_LinearlyInterpolateLine", "outside the segment",
      [] { return std::make_unique<InterpolateLineTrial>(3.0); });
  order("L");

  // The projection's only failable calls are transforms, thrown as ints.
  add("CRV_3DScreenCurveAdaptiveEvaluator", "perspective camera",
      [] { return std::make_unique<ScreenTrial>(); });
  return cases;
}

struct Tally {
  int64_t faults = 0;  // (export, k) runs with a failure injected
  std::set<std::string> exports;
};

// Resets the translator's record, so that a small-block failure is seen to reach it.
void ForgetReportedException() {
  HS_TranslateAndReportException(std::runtime_error("nothing reported"));
}

void Sweep(const SweepCase& c, Tally* tally) {
  SCOPED_TRACE(c.exportName + " (" + c.variant + ")");
  const LiveCounts before = Live();
  std::unique_ptr<Trial> clean = c.make();
  HOST_ClearFaults();
  const int32_t cleanCode = clean->Call();
  const int64_t calls = HOST_CallCount();
  HOST_ClearFaults();
  ASSERT_EQ(cleanCode, c.cleanCode);
  if (c.calls >= 0) {
    EXPECT_EQ(calls, c.calls) << "host calls of the run without faults";
  }
  const LiveCounts afterClean = Live();
  EXPECT_EQ(afterClean.handles, before.handles);
  EXPECT_EQ(afterClean.blocks, before.blocks);
  EXPECT_EQ(afterClean.locks, before.locks);
  clean->Record();
  clean->Check({0, calls, cleanCode, Seen::kNone}, *clean);
  tally->exports.insert(c.exportName);

  if (calls == 0) {
    // Nothing reaches the host: with the first host call armed to fail, the result is the same.
    {
      std::unique_ptr<Trial> again = c.make();
      HOST_FailNthCall(1, kCodeBase - 1);
      EXPECT_EQ(again->Call(), cleanCode);
      EXPECT_EQ(HOST_CallCount(), 0);
      HOST_ClearFaults();
    }
    EXPECT_EQ(Live(), afterClean);
    return;
  }

  int smallBlocks = 0, handles = 0;
  std::string kinds;
  for (int64_t k = 1; k <= calls; ++k) {
    SCOPED_TRACE("failing call " + std::to_string(k) + " of " + std::to_string(calls));
    const int32_t injected = kCodeBase - static_cast<int32_t>(k);
    {
      std::unique_ptr<Trial> trial = c.make();
      ForgetReportedException();
      HOST_FailNthCall(k, injected);
      const int32_t code = trial->Call();
      HOST_ClearFaults();
      Seen seen = Seen::kNone;
      if (code == injected) {
        seen = Seen::kPassedThrough;
        kinds += 'L';
      } else if (c.smallBlocks > 0 && code == HS_ERR_BAD_ALLOC) {
        seen = Seen::kSmallBlock;
        kinds += 'S';
        ++smallBlocks;
        EXPECT_STREQ(HOST_LastReportedException(), std::bad_alloc().what());
      } else if (c.handles != 0 && code == c.handleCode) {
        seen = Seen::kHandle;
        kinds += 'H';
        ++handles;
      } else if (trial->Ignores(k, calls) && code == cleanCode) {
        seen = Seen::kIgnored;
        kinds += 'I';
      } else {
        kinds += '?';
        ADD_FAILURE() << "result " << code << ", injected " << injected;
      }
      // Nothing but the caller's lists may outlive the call.
      const LiveCounts now = Live();
      EXPECT_EQ(now.handles, afterClean.handles);
      EXPECT_EQ(now.blocks, afterClean.blocks);
      EXPECT_EQ(now.locks, afterClean.locks);
      trial->Record();
      trial->Check({k, calls, code, seen}, *clean);
    }  // the caller's lists are disposed of here
    EXPECT_EQ(Live(), afterClean);
    ++tally->faults;
  }
  if (!c.order.empty()) {
    EXPECT_EQ(kinds, c.order) << "the kinds of the host calls, in order";
  }
  EXPECT_EQ(smallBlocks, c.smallBlocks) << "small-block failures translated";
  if (c.handles == kSome) {
    EXPECT_GT(handles, 0) << "handle failures";
  } else {
    EXPECT_EQ(handles, c.handles) << "handle failures";
  }
}

TEST(FaultSweep, EveryHostReachingExport) {
  HOST_ClearFaults();
  const std::vector<SweepCase> cases = AllCases();
  Tally tally;
  for (const SweepCase& c : cases) {
    Sweep(c, &tally);
    if (HasFatalFailure()) return;
  }
  // Every host-reaching export of crv.h and crv.hpp: list operations, handles, small blocks and
  // the transform.
  const std::set<std::string> expected = {"CRV_NewCurve",
                                          "CRV_BuildArcTable",
                                          "CRV_SFromT",
                                          "CRV_TFromS",
                                          "CRV_EvaluatePointFromS",
                                          "CRV_EvaluateByDistance",
                                          "CRV_BuildArcSpline",
                                          "CRV_TFromSSpline",
                                          "CRV_FitOneCurve",
                                          "CRV_FitOneCurveIter",
                                          "CRV_FitOneCurveError",
                                          "CRV_FitMultipleCurves",
                                          "CRV_FitMultipleCurvesIterate",
                                          "CRV_EvaluateAdaptively",
                                          "CRV_LinearlyInterpolateCurve",
                                          "CRV_LinearlyInterpolateLine",
                                          "CRV_3DScreenCurveAdaptiveEvaluator"};
  EXPECT_EQ(tally.exports, expected);
  std::printf("fault sweep: %lld cases over %zu exports (%zu call variants)\n",
              static_cast<long long>(tally.faults), tally.exports.size(), cases.size());
  RecordProperty("sweep_cases", std::to_string(tally.faults));
}

// ---- The exports that never reach the host

// With the first host call armed to fail, each of these runs as usual and makes no host call:
// evaluation, bounds, subdivision, direct manipulation, function-curve lookups, linearity tests,
// the typed driver, the nearest point and the plane intersection allocate nothing from the host.
TEST(FaultSweep, EveryOtherExportMakesNoHostCall) {
  const OwnedCurve arch = Arch3();
  const OwnedCurve wave = Wave();
  const CRV_Curve* c = arch.get();
  const CRV_Curve* f = wave.get();
  double out[64] = {}, lo[3], hi[3];
  int32_t count = 0;
  bool flag = false;
  uint8_t changed = 0;
  OwnedCurve editable = Arch3();
  const CRV_LinearityParams params = FlatParams();
  using V2 = GEO_Vector2T<double>;
  using V3 = GEO_Vector3T<double>;
  const CRV_CurveClass2D c2(V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0});
  const CRV_CurveClass3D c3(V3{0, 0, -1}, V3{1, 2, 1}, V3{3, 2, 2}, V3{4, 0, -2});
  CRV_CurveClass2D a2, b2, m2;
  CRV_CurveClass3D a3, b3, m3;
  struct Collect2 : CRV_CurveAdaptiveEvaluator<2, V2> {
    bool NeedsSubdivision(uint32_t depth, double, double, const CRV_CurveClass2D&) override {
      return depth < 3;
    }
    void AddParameter(double t, const CRV_CurveClass2D&) override { ts.push_back(t); }
    std::vector<double> ts;
  } e2;
  struct Collect3 : CRV_CurveAdaptiveEvaluator<3, V3> {
    bool NeedsSubdivision(uint32_t depth, double, double, const CRV_CurveClass3D&) override {
      return depth < 2;
    }
    void AddParameter(double t, const CRV_CurveClass3D&) override { ts.push_back(t); }
    std::vector<double> ts;
  } e3;
  std::vector<double> roots;
  roots.reserve(16);  // growth is the only allocation, and it is the caller's vector's
  e2.ts.reserve(64);
  e3.ts.reserve(64);

  const std::vector<std::pair<const char*, std::function<int32_t()>>> calls = {
      {"CRV_Birth", [] { return CRV_Birth(); }},
      {"CRV_Death", [] { return CRV_Death(); }},
      {"CRV_CurveSetCtpts", [] { return CRV_CurveSetCtpts(nullptr, nullptr); }},
      {"CRV_DisposeCurve", [] { return CRV_DisposeCurve(nullptr); }},
      {"CRV_EvaluateByCurvature", [] { return CRV_EvaluateByCurvature(nullptr, 1.0, nullptr); }},
      {"CRV_EvaluatePoint", [&] { return CRV_EvaluatePoint(c, 0.3, out); }},
      {"CRV_EvaluatePoints", [&] { return CRV_EvaluatePoints(c, 0, 1, 9, out); }},
      {"CRV_EvaluateDeriv", [&] { return CRV_EvaluateDeriv(c, 0.3, out); }},
      {"CRV_EvaluateDerivs", [&] { return CRV_EvaluateDerivs(c, 0, 1, 9, out); }},
      {"CRV_EvaluateDeriv2", [&] { return CRV_EvaluateDeriv2(c, 0.3, out); }},
      {"CRV_EvaluateBounds", [&] { return CRV_EvaluateBounds(c, lo, hi); }},
      {"CRV_SubdivideCurve", [&] { return CRV_SubdivideCurve(c, 0.4, out); }},
      {"CRV_DirectManipSetup", [&] { return CRV_DirectManipSetup(0.4, out); }},
      {"CRV_DirectManipCurve",
       [&] {
         const double delta[3] = {1, 2, 3}, w[4] = {0, 0.5, 0.5, 0};
         return CRV_DirectManipCurve(editable.get(), delta, w);
       }},
      {"CRV_TFromX", [&] { return CRV_TFromX(f, 1.2, out); }},
      {"CRV_TFromY", [&] { return CRV_TFromY(f, 0.2, out); }},
      {"CRV_EvaluateYFromX", [&] { return CRV_EvaluateYFromX(f, 1.2, out); }},
      {"CRV_EvaluateYFromXs", [&] { return CRV_EvaluateYFromXs(f, 0, 3, 16, out); }},
      {"CRV_EvaluateXFromY", [&] { return CRV_EvaluateXFromY(f, 0.2, out); }},
      {"CRV_EvaluateXFromYPrime", [&] { return CRV_EvaluateXFromYPrime(f, nullptr, &count, out); }},
      {"CRV_CurveSetNonDecreasing",
       [&] { return CRV_CurveSetNonDecreasing(editable.get(), &changed); }},
      {"CRV_Evaluate1dDerivFromX", [&] { return CRV_Evaluate1dDerivFromX(f, 1.2, out); }},
      {"CRV_Evaluate1dDeriv2FromX", [&] { return CRV_Evaluate1dDeriv2FromX(f, 1.2, out); }},
      {"CRV_Evaluate1dDerivsFromX", [&] { return CRV_Evaluate1dDerivsFromX(f, 0, 3, 16, out); }},
      {"CRV_EvaluateYAverageFromXToX",
       [&] { return CRV_EvaluateYAverageFromXToX(f, 0.5, 2.5, out); }},
      {"CRV_IsCurveLinear",
       [&] {
         const double a[2] = {0, 0}, b[2] = {1, 1}, u[2] = {1, 1}, v[2] = {1, 1};
         return CRV_IsCurveLinear(a, b, u, v, 0.01, 0.001, &flag);
       }},
      {"CRV_IsSubCurveLinear",
       [&] { return CRV_IsSubCurveLinear(0.2, 0.4, f, 0.01, 0.001, &flag); }},
      {"CRV_IsLinearFunc",
       [&] { return CRV_IsLinearFunc(&params, 3, 0.2, 0.4, nullptr, nullptr, f, &flag); }},
      {"CRV_SubdivideCurve (typed, 2-D)",
       [&] {
         CRV_SubdivideCurve(c2, 0.3, &a2, &b2);
         CRV_SubdivideCurve(c2, 0.3, 0.6, &a2, &m2, &b2);
         return 0;
       }},
      {"CRV_SubdivideCurve (typed, 3-D)",
       [&] {
         CRV_SubdivideCurve(c3, 0.3, &a3, &b3);
         CRV_SubdivideCurve(c3, 0.3, 0.6, &a3, &m3, &b3);
         return 0;
       }},
      {"CRV_EvaluateAdaptively (typed, 2-D)",
       [&] {
         CRV_EvaluateAdaptively(0.0, 1.0, c2, &e2);
         return 0;
       }},
      {"CRV_EvaluateAdaptively (typed, 3-D)",
       [&] {
         CRV_EvaluateAdaptively(0.0, 1.0, c3, &e3);
         return 0;
       }},
      {"CRV_NearestPointOnCurve",
       [&] {
         out[0] = CRV_NearestPointOnCurve(V2{2, 3}, c2);
         return 0;
       }},
      {"CRV_IntersectPlane",
       [&] {
         CRV_IntersectPlane(c3, GEO_PlaneEq{0, 0, 1, -0.5}, &roots);
         return 0;
       }},
  };
  const LiveCounts before = Live();
  for (const auto& [name, call] : calls) {
    HOST_FailNthCall(1, kCodeBase);
    const int32_t code = call();
    const int64_t made = HOST_CallCount();
    HOST_ClearFaults();
    EXPECT_EQ(code, 0) << name;
    EXPECT_EQ(made, 0) << name << " reached the host";
  }
  EXPECT_EQ(Live(), before);
  EXPECT_EQ(e2.ts.size(), 10u);  // 0, eight midpoints, 1
  EXPECT_FALSE(roots.empty());
}

}  // namespace
