// Concurrency: eight threads call every export at once on shared read-only curves and samples,
// each with its own outputs, lists, splines and evaluators, and every thread's results equal a
// single-threaded run bit for bit, on both capability paths. Built with ThreadSanitizer in its own
// job, where any write to shared state (in the library or in what it asks of the host) shows up
// as a race.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "crv/crv.h"
#include "crv/crv.hpp"
#include "hardening_util.h"
#include "host/host_test.h"
#include "host/hs.h"
#include "support/curves.h"
#include "support/host_controls.h"

namespace {

using crvtest::CapabilityOverride;
using crvtest::OwnedCurve;
using hardening::OwnedList;
using V2 = GEO_Vector2T<double>;
using V3 = GEO_Vector3T<double>;

constexpr int kThreads = 8;

// Everything a run produced, as raw bytes, with the byte offset at which each export's part
// starts so that a difference can be named.
class Record {
 public:
  void Mark(const char* what) { marks_.push_back({bytes_.size(), what}); }
  template <typename T>
  void Add(const T& value) {
    const auto* p = reinterpret_cast<const unsigned char*>(&value);
    bytes_.insert(bytes_.end(), p, p + sizeof value);
  }
  void AddDoubles(const double* values, size_t n) {
    for (size_t i = 0; i < n; ++i) Add(values[i]);
  }
  void AddList(SEQ_ListH list) {
    const hardening::ListSnapshot s = hardening::Snapshot(list);
    Add(s.exists);
    Add(s.itemSize);
    bytes_.insert(bytes_.end(), s.bytes.begin(), s.bytes.end());
  }
  void AddCurve(const CRV_Curve* c) {
    for (int i = 0; i < 4; ++i) AddDoubles(c->ctpts[i], static_cast<size_t>(c->dims));
  }
  template <int N, typename V>
  void AddCurve(const CRV_CurveClass<N, V>& c) {
    AddCurve(c.Curve());
  }

  // The export whose part holds the first differing byte, or "" when both are equal.
  std::string FirstDifference(const Record& other) const {
    if (bytes_ == other.bytes_) return "";
    size_t at = 0;
    while (at < bytes_.size() && at < other.bytes_.size() && bytes_[at] == other.bytes_[at]) ++at;
    std::string name = "(before the first mark)";
    for (const auto& [offset, what] : marks_)
      if (offset <= at) name = what;
    return name + " at byte " + std::to_string(at);
  }
  size_t size() const { return bytes_.size(); }

 private:
  std::vector<unsigned char> bytes_;
  std::vector<std::pair<size_t, const char*>> marks_;
};

// The inputs all threads share; nothing writes them once built.
struct Shared {
  OwnedCurve arch2{{0, 0}, {10, 30}, {40, 30}, {50, 0}};
  OwnedCurve arch3{{0, 0, 0}, {10, 30, 5}, {40, 30, -5}, {50, 0, 10}};
  OwnedCurve wave{{0, 0}, {1, 3}, {2, -3}, {3, 1}};
  OwnedCurve retracted{{0, 0}, {0, 0}, {3, 4}, {3, 4}};
  CRV_CurveClass2D typed2{V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0}};
  CRV_CurveClass3D typed3{V3{-1, -0.5, 3}, V3{-0.3, 1.0, 2}, V3{0.6, -0.8, 4}, V3{1.2, 0.4, 6}};
  GEO_Matrix4 camera{{{800, 0, 640, 0}, {0, 800, 360, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};
  GEO_PlaneEq plane{0.3, -1.0, 0.2, 0.1};
  CRV_LinearityParams linearity{0.0004, 0.0005, CRV_LINEARITY_CHECK_WORD, 1, 12};
  std::vector<double> samples2, samples3;

  Shared() {
    // 300 noisy samples take the fits past 256 samples a segment, where they use host handles.
    samples2 = Noisy(arch2, 300, 21);
    samples3 = Noisy(arch3, 60, 22);
  }
  static std::vector<double> Noisy(const OwnedCurve& c, int32_t n, uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::normal_distribution<double> noise(0.0, 0.3);
    std::vector<double> out(static_cast<size_t>(n) * c.dims());
    for (int32_t i = 0; i < n; ++i) {
      double* p = out.data() + static_cast<size_t>(i) * c.dims();
      CRV_EvaluatePoint(c.get(), static_cast<double>(i) / (n - 1), p);
      for (int k = 0; k < c.dims(); ++k) p[k] += noise(engine);
    }
    return out;
  }
};

template <int N, typename V>
struct Collector : CRV_CurveAdaptiveEvaluator<N, V> {
  bool NeedsSubdivision(uint32_t depth, double t0, double t1,
                        const CRV_CurveClass<N, V>&) override {
    return depth < 2 || (depth < 6 && t0 < 0.3 && t1 > 0.2);
  }
  void AddParameter(double t, const CRV_CurveClass<N, V>&) override { ts.push_back(t); }
  std::vector<double> ts;
};

// Calls every export once or a few times and records results and codes.
Record RunEveryExport(const Shared& in) {
  Record r;
  double out[64];
  const CRV_Curve* a2 = in.arch2.get();
  const CRV_Curve* a3 = in.arch3.get();
  const CRV_Curve* w = in.wave.get();

  r.Mark("frame");
  r.Add(CRV_Birth());
  r.Add(CRV_Death());
  r.Add(CRV_NewCurve());
  r.Add(CRV_CurveSetCtpts(nullptr, nullptr));
  r.Add(CRV_DisposeCurve(nullptr));
  r.Add(CRV_EvaluateByCurvature(nullptr, 1.0, nullptr));
  r.Add(std::string(HS_ZLookupLStrCache(CRV_G_zref, 6, 0, 0)) == "Bezier Curve");

  r.Mark("evaluation");
  for (const CRV_Curve* c : {a2, a3}) {
    for (double t : {-0.25, 0.0, 0.3, 0.7, 1.0, 1.5}) {
      r.Add(CRV_EvaluatePoint(c, t, out));
      r.AddDoubles(out, static_cast<size_t>(c->dims));
      r.Add(CRV_EvaluateDeriv(c, t, out));
      r.AddDoubles(out, static_cast<size_t>(c->dims));
      r.Add(CRV_EvaluateDeriv2(c, t, out));
      r.AddDoubles(out, static_cast<size_t>(c->dims));
      r.Add(CRV_SubdivideCurve(c, t, out));
      r.AddDoubles(out, 5 * static_cast<size_t>(c->dims));
    }
    r.Add(CRV_EvaluatePoints(c, 0.1, 0.9, 17, out));
    r.AddDoubles(out, 17 * static_cast<size_t>(c->dims));
    r.Add(CRV_EvaluateDerivs(c, 0.1, 0.9, 9, out));
    r.AddDoubles(out, 9 * static_cast<size_t>(c->dims));
    double lo[3], hi[3];
    r.Add(CRV_EvaluateBounds(c, lo, hi));
    r.AddDoubles(lo, static_cast<size_t>(c->dims));
    r.AddDoubles(hi, static_cast<size_t>(c->dims));
  }
  r.Mark("direct manipulation");
  {
    double weights[4];
    r.Add(CRV_DirectManipSetup(0.4, weights));
    r.AddDoubles(weights, 4);
    OwnedCurve mine = in.arch3;
    const double delta[3] = {1, -2, 0.5};
    r.Add(CRV_DirectManipCurve(mine.get(), delta, weights));
    r.AddCurve(mine.get());
  }

  r.Mark("function curves");
  for (double x : {-1.0, 0.0, 0.4, 1.5, 2.9, 3.0, 4.0}) {
    double v = -7;
    r.Add(CRV_TFromX(w, x, &v));
    r.Add(v);
    v = -7;
    r.Add(CRV_TFromY(w, x - 1, &v));
    r.Add(v);
    r.Add(CRV_EvaluateYFromX(w, x, &v));
    r.Add(v);
    r.Add(CRV_EvaluateXFromY(a2, x * 5, &v));
    r.Add(v);
    r.Add(CRV_Evaluate1dDerivFromX(w, x, &v));
    r.Add(v);
    r.Add(CRV_Evaluate1dDeriv2FromX(w, x, &v));
    r.Add(v);
    r.Add(CRV_EvaluateYAverageFromXToX(w, x, 1.7, &v));
    r.Add(v);
  }
  r.Add(CRV_EvaluateYFromXs(w, 0.1, 2.9, 40, out));
  r.AddDoubles(out, 40);
  r.Add(CRV_Evaluate1dDerivsFromX(w, 2.9, 0.1, 40, out));
  r.AddDoubles(out, 40);
  {
    int32_t count = -1;
    double xs[2] = {-7, -7};
    r.Add(CRV_EvaluateXFromYPrime(w, nullptr, &count, xs));
    r.Add(count);
    r.AddDoubles(xs, 2);
    OwnedCurve mine({0, 0}, {1, 5}, {2, -1}, {3, 2});
    uint8_t changed = 9;
    r.Add(CRV_CurveSetNonDecreasing(mine.get(), &changed));
    r.Add(changed);
    r.AddCurve(mine.get());
  }

  r.Mark("arc-length table");
  {
    OwnedList table;
    double length = -1, value = -1;
    r.Add(CRV_BuildArcTable(a3, 64, &table.handle, &length));  // first use
    r.Add(length);
    r.Add(CRV_BuildArcTable(a3, 48, &table.handle, &length));  // reuse, truncated
    r.Add(length);
    r.AddList(table.handle);
    for (double t : {0.0, 0.33, 0.5, 1.2}) {
      r.Add(CRV_SFromT(a3, t, 48, &table.handle, &value));
      r.Add(value);
    }
    for (double s : {-1.0, 10.0, 35.5, 1e6}) {
      r.Add(CRV_TFromS(a3, s, 48, &table.handle, &value));
      r.Add(value);
      r.Add(CRV_EvaluatePointFromS(a3, s, 48, &table.handle, out));
      r.AddDoubles(out, 3);
    }
    OwnedList fresh, straight;
    r.Add(CRV_TFromS(a2, 20.0, 33, &fresh.handle, &value));  // builds on first use
    r.Add(value);
    r.AddList(fresh.handle);
    r.Add(CRV_SFromT(in.retracted.get(), 0.4, 33, &straight.handle, &value));
    r.Add(value);
    r.Add(CRV_EvaluatePointFromS(in.retracted.get(), 2.0, 33, &straight.handle, out));
    r.AddDoubles(out, 2);
    r.Add(straight.handle == nullptr);
  }

  r.Mark("evaluation by distance");
  {
    OwnedList points;
    r.Add(CRV_EvaluateByDistance(a2, 3.0, 0, &points.handle));
    r.Add(CRV_EvaluateByDistance(a3, 7.0, 4, &points.handle));  // reuse from position 4
    r.AddList(points.handle);
  }

  r.Mark("arc-length spline");
  {
    OwnedList spline, lazy;
    double length = -1, t = -1;
    r.Add(CRV_BuildArcSpline(a2, 1e-3, &spline.handle, &length));
    r.Add(length);
    r.Add(CRV_BuildArcSpline(a2, 1e-2, &spline.handle, &length));  // reuse
    r.AddList(spline.handle);
    for (double s : {0.0, 12.5, 40.0, 66.6, 1e3}) {
      r.Add(CRV_TFromSSpline(a3, s, 1e-3, &lazy.handle, &t));  // built by the first lookup
      r.Add(t);
    }
    r.AddList(lazy.handle);
  }

  r.Mark("single-curve fit");
  {
    OwnedCurve fitted2(2), fitted3(3);
    double maxError = -1;
    r.Add(CRV_FitOneCurve(in.samples2.data(), 300, 1e-9, 3, fitted2.get()));
    r.AddCurve(fitted2.get());
    r.Add(CRV_FitOneCurveIter(in.samples3.data(), 60, 0.5, 4, 2, fitted3.get()));
    r.AddCurve(fitted3.get());
    r.Add(CRV_FitOneCurveError(in.samples2.data(), 40, 1e-9, 1, 5, 6, &maxError, fitted2.get()));
    r.Add(maxError);
    r.AddCurve(fitted2.get());
  }

  r.Mark("chain fit");
  {
    OwnedList points, indices, points3;
    r.Add(CRV_FitMultipleCurvesIterate(in.samples2.data(), 2, 300, 0.5, 3, &points.handle,
                                       &indices.handle));
    r.AddList(points.handle);
    r.AddList(indices.handle);
    r.Add(CRV_FitMultipleCurvesIterate(in.samples2.data(), 2, 150, 2.0, 5, &points.handle,
                                       &indices.handle));  // reuse
    r.AddList(points.handle);
    r.AddList(indices.handle);
    r.Add(CRV_FitMultipleCurves(in.samples3.data(), 3, 60, 0.2, &points3.handle));
    r.AddList(points3.handle);
  }

  r.Mark("linearity");
  {
    const double A[2] = {0, 0}, B[2] = {1, 1}, u[2] = {1, 1.001}, v[2] = {1, 0.999};
    bool flag = true;
    r.Add(CRV_IsCurveLinear(A, B, u, v, 0.01, 0.001, &flag));
    r.Add(flag);
    r.Add(CRV_IsSubCurveLinear(0.2, 0.25, w, 0.0, 0.01, &flag));
    r.Add(flag);
    flag = false;
    r.Add(CRV_IsLinearFunc(&in.linearity, 3, 0.5, 0.6, nullptr, nullptr, w, &flag));
    r.Add(flag);
  }

  r.Mark("flattening");
  {
    OwnedList list;  // the flattening functions append to a list the caller made
    r.Add(SEQ_New(0, 16, 32, 1, &list.handle));
    const auto callback = reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc);
    CRV_LinearityParams params = in.linearity;
    bool have = false;
    double lo = 0, hi = 0;
    const double xLow = 0.2, xHigh = 2.8;
    r.Add(
        CRV_EvaluateAdaptively(callback, &params, &xLow, &xHigh, w, &have, &lo, &hi, &list.handle));
    r.Add(CRV_EvaluateAdaptively(callback, &params, nullptr, nullptr, w, nullptr, nullptr, nullptr,
                                 &list.handle));
    r.Add(CRV_LinearlyInterpolateCurve(callback, &params, 0.5, 2.5, w, &have, &lo, &hi,
                                       &list.handle));
    const double p0[2] = {0, 1}, p1[2] = {2, 5}, p[2] = {7, -7};
    r.Add(CRV_LinearlyInterpolateLine(1.5, p0, p1, p, &have, &list.handle, &lo, &hi));
    r.Add(have);
    r.Add(lo);
    r.Add(hi);
    r.AddList(list.handle);
  }

  r.Mark("typed adaptive evaluation and screen projection");
  {
    Collector<2, V2> e2;
    Collector<3, V3> e3;
    CRV_EvaluateAdaptively(0.0, 1.0, in.typed2, &e2);
    CRV_EvaluateAdaptively(0.1, 0.9, in.typed3, &e3);
    r.AddDoubles(e2.ts.data(), e2.ts.size());
    r.AddDoubles(e3.ts.data(), e3.ts.size());
    std::vector<CRV_CurveClass2D> screen;
    CRV_3DScreenCurveAdaptiveEvaluator(0.5, in.camera, in.typed3, &screen);
    r.Add(screen.size());
    for (const CRV_CurveClass2D& c : screen) r.AddCurve(c);
  }

  r.Mark("typed subdivision");
  {
    CRV_CurveClass2D l2, m2, r2;
    CRV_CurveClass3D l3, m3, r3;
    CRV_SubdivideCurve(in.typed2, 0.35, &l2, &r2);
    r.AddCurve(l2);
    r.AddCurve(r2);
    CRV_SubdivideCurve(in.typed2, 0.2, 0.7, &l2, &m2, &r2);
    r.AddCurve(m2);
    CRV_SubdivideCurve(in.typed3, 0.35, &l3, &r3);
    r.AddCurve(l3);
    r.AddCurve(r3);
    CRV_SubdivideCurve(in.typed3, 0.2, 0.7, &l3, &m3, &r3);
    r.AddCurve(m3);
  }

  r.Mark("nearest point and plane");
  for (V2 p : {V2{2, 3}, V2{-1, 0.5}, V2{2, 1.4}, V2{4, 0}})
    r.Add(CRV_NearestPointOnCurve(p, in.typed2));
  {
    std::vector<double> roots = {0.75};
    CRV_IntersectPlane(in.typed3, in.plane, &roots);
    r.Add(roots.size());
    r.AddDoubles(roots.data(), roots.size());
  }
  return r;
}

TEST(Concurrency, EveryExportOnEightThreadsMatchesOneThreadBitForBit) {
  const Shared shared;
  const hardening::LiveCounts before = hardening::Live();
  for (int32_t paired : {0, 1}) {
    SCOPED_TRACE(paired ? "paired path" : "scalar path");
    CapabilityOverride capability(paired);
    const Record reference = RunEveryExport(shared);
    ASSERT_GT(reference.size(), 10000u);
    // The threads start together and each runs the whole set three times, so that runs overlap
    // in many combinations of exports.
    constexpr int kRuns = 3;
    std::vector<std::vector<Record>> results(kThreads);
    std::atomic<int> waiting{kThreads};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&shared, &results, &waiting, i] {
        waiting.fetch_sub(1);
        while (waiting.load() > 0) std::this_thread::yield();
        for (int run = 0; run < kRuns; ++run)
          results[static_cast<size_t>(i)].push_back(RunEveryExport(shared));
      });
    }
    for (std::thread& t : threads) t.join();
    for (int i = 0; i < kThreads; ++i) {
      ASSERT_EQ(results[static_cast<size_t>(i)].size(), static_cast<size_t>(kRuns));
      for (int run = 0; run < kRuns; ++run) {
        EXPECT_EQ(
            results[static_cast<size_t>(i)][static_cast<size_t>(run)].FirstDifference(reference),
            "")
            << "thread " << i << ", run " << run;
      }
    }
  }
  EXPECT_EQ(hardening::Live(), before) << "nothing outlives the calls but the callers' lists";
}

// Fault injection is per thread: a failure armed on one thread fails that thread's call and
// leaves the others' calls, running at the same time, untouched.
TEST(Concurrency, FaultsStayOnTheirThread) {
  const Shared shared;
  double expected = 0;
  {
    OwnedList table;
    ASSERT_EQ(CRV_BuildArcTable(shared.arch2.get(), 200, &table.handle, &expected), 0);
  }
  std::vector<int32_t> codes(kThreads);
  std::vector<double> lengths(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      OwnedList table;
      // Odd threads fail their 50th call, a store in the middle of the table.
      if (i % 2 == 1) HOST_FailNthCall(50, -4000 - i);
      codes[static_cast<size_t>(i)] = CRV_BuildArcTable(shared.arch2.get(), 200, &table.handle,
                                                        &lengths[static_cast<size_t>(i)]);
      HOST_ClearFaults();
    });
  }
  for (std::thread& t : threads) t.join();
  for (int i = 0; i < kThreads; ++i) {
    if (i % 2 == 1) {
      EXPECT_EQ(codes[static_cast<size_t>(i)], -4000 - i);
      EXPECT_LT(lengths[static_cast<size_t>(i)], expected);
    } else {
      EXPECT_EQ(codes[static_cast<size_t>(i)], 0);
      EXPECT_EQ(lengths[static_cast<size_t>(i)], expected);
    }
  }
}

}  // namespace
