// Stress: inputs at the far edges of what the exports accept, which must finish quickly, within bounded
// stack and memory, and with the documented answers. Each runs in well under 10 s in the optimised
// build; the longest two are skipped under AddressSanitizer, where they take several times longer
// and prove nothing the optimised run does not.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "crv/crv.h"
#include "crv/crv.hpp"
#include "hardening_util.h"
#include "support/curves.h"

namespace {

using crvtest::OwnedCurve;
using hardening::OwnedList;
using hardening::Snapshot;
using Pair = std::array<double, 2>;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#else
constexpr bool kAddressSanitizer = false;
#endif

// Wall time of one stress case, printed so that the CI log shows how close each is to its budget.
class Stopwatch {
 public:
  explicit Stopwatch(const char* what) : what_(what), start_(std::chrono::steady_clock::now()) {}
  ~Stopwatch() {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start_;
    std::printf("stress: %s took %.2f s\n", what_, took.count());
  }

 private:
  const char* what_;
  std::chrono::steady_clock::time_point start_;
};

// Runs body on a thread with a stack of `bytes`: a deep recursion in the library would overflow
// it and crash the test instead of passing silently.
template <typename Body>
void OnSmallStack(size_t bytes, Body body) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  pthread_t thread;
  const int created = pthread_create(
      &thread, &attributes,
      [](void* arg) -> void* {
        (*static_cast<Body*>(arg))();
        return nullptr;
      },
      &body);
  pthread_attr_destroy(&attributes);
  ASSERT_EQ(created, 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
}

std::vector<int32_t> Indices(SEQ_ListH list) {
  const hardening::ListSnapshot s = Snapshot(list);
  std::vector<int32_t> out(s.count());
  for (size_t i = 0; i < out.size(); ++i) out[i] = s.At<int32_t>(i);
  return out;
}

// ---- Curve fitting

// A bound of 0 is never met: a million noisy samples become 999,999 two-sample segments, each
// split found without recursion (on a 64 KiB stack), the chain through every sample.
TEST(Stress, FitOfAMillionNoisySamplesWithBoundZero) {
  if (kAddressSanitizer) {
    GTEST_SKIP() << "some 3 s optimised and over 10 s under AddressSanitizer; the optimised run "
                    "covers it";
  }
  constexpr int32_t n = 1000000;
  const OwnedCurve truth({0, 0}, {300, 900}, {700, -300}, {1000, 500});
  std::vector<double> samples(2 * static_cast<size_t>(n));
  std::mt19937_64 engine(5);
  std::normal_distribution<double> noise(0.0, 0.2);
  for (int32_t i = 0; i < n; ++i) {
    CRV_EvaluatePoint(truth.get(), static_cast<double>(i) / (n - 1), &samples[2 * i]);
    samples[2 * i] += noise(engine);
    samples[2 * i + 1] += noise(engine);
  }
  int32_t code = -1;
  std::vector<int32_t> indices;
  hardening::ListSnapshot points;
  {
    Stopwatch watch("fit of 1,000,000 noisy samples, bound 0");
    OnSmallStack(64 * 1024, [&] {
      OwnedList pointList, indexList;
      code = CRV_FitMultipleCurvesIterate(samples.data(), 2, n, 0.0, 4, &pointList.handle,
                                          &indexList.handle);
      indices = Indices(indexList.handle);
      points = Snapshot(pointList.handle);
    });
  }
  ASSERT_EQ(code, 0);
  ASSERT_EQ(indices.size(), static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) ASSERT_EQ(indices[static_cast<size_t>(i)], i);
  // Every segment joins two consecutive samples: its end points are the samples themselves.
  ASSERT_EQ(points.count(), 3 * static_cast<size_t>(n - 1) + 1);
  for (int32_t i = 0; i < n; i += 997) {
    const Pair p = points.At<Pair>(3 * static_cast<size_t>(i));
    ASSERT_EQ(p[0], samples[2 * i]);
    ASSERT_EQ(p[1], samples[2 * i + 1]);
  }
}

// 20,000 coincident samples and a bound of 0: every parameter is 0, every deviation ties, and the
// split goes to the later sample, so each split peels one sample off the end of its run: the
// splits nest 19,998 deep, which must not take a stack frame each.
TEST(Stress, FitWhoseSplitsPeelOffOneSampleAtATime) {
  if (kAddressSanitizer) {
    GTEST_SKIP() << "about n^2 / 2 = 2e8 sample steps: some 3 s optimised, far longer under "
                    "AddressSanitizer; the optimised run covers it";
  }
  constexpr int32_t n = 20000;
  std::vector<double> samples;
  for (int32_t i = 0; i < n; ++i) samples.insert(samples.end(), {2.5, -1.5});
  int32_t code = -1;
  std::vector<int32_t> indices;
  {
    Stopwatch watch("fit of 20,000 samples peeled one at a time");
    OnSmallStack(64 * 1024, [&] {
      OwnedList pointList, indexList;
      code = CRV_FitMultipleCurvesIterate(samples.data(), 2, n, 0.0, 4, &pointList.handle,
                                          &indexList.handle);
      indices = Indices(indexList.handle);
    });
  }
  ASSERT_EQ(code, 0);
  ASSERT_EQ(indices.size(), static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) ASSERT_EQ(indices[static_cast<size_t>(i)], i);
}

// ---- Evaluation by distance

// A distance that no piece can beat (1e-300 squares to 0; NaN compares false) ends at pieces of
// parameter length 2^-20: 2^20 + 1 points at the parameters k 2^-20, the last P3 exactly.
TEST(Stress, EvaluationByDistanceOfTinyAndNaNDistances) {
  const OwnedCurve curve({0, 0}, {10, 30}, {40, 30}, {50, 0});
  constexpr size_t kPoints = (size_t{1} << 20) + 1;
  hardening::ListSnapshot tiny;
  {
    Stopwatch watch("evaluation by distance 1e-300");
    OwnedList list;
    ASSERT_EQ(CRV_EvaluateByDistance(curve.get(), 1e-300, 0, &list.handle), 0);
    tiny = Snapshot(list.handle);
  }
  ASSERT_EQ(tiny.count(), kPoints);
  for (size_t k = 0; k < kPoints; k += 4093) {
    double p[2];
    CRV_EvaluatePoint(curve.get(), std::ldexp(static_cast<double>(k), -20), p);
    const Pair q = tiny.At<Pair>(k);
    EXPECT_NEAR(q[0], p[0], 1e-11) << "point " << k;
    EXPECT_NEAR(q[1], p[1], 1e-11) << "point " << k;
  }
  EXPECT_EQ(tiny.At<Pair>(kPoints - 1), (Pair{50, 0}));
  {
    OwnedList list;
    ASSERT_EQ(CRV_EvaluateByDistance(curve.get(), std::nan(""), 0, &list.handle), 0);
    EXPECT_TRUE(Snapshot(list.handle) == tiny) << "a NaN distance walks as a tiny one";
  }
  // Non-finite coordinates end the same way, whatever they do to the chords (a third walk of a
  // million points: left to the optimised build).
  if (kAddressSanitizer) return;
  const double inf = std::numeric_limits<double>::infinity();
  const OwnedCurve wild({0, 0}, {inf, 1}, {std::nan(""), 2}, {3, -inf});
  OwnedList list;
  ASSERT_EQ(CRV_EvaluateByDistance(wild.get(), 1.0, 0, &list.handle), 0);
  EXPECT_LE(Snapshot(list.handle).count(), kPoints);
}

// ---- Nearest point

double SquaredDistance(const CRV_CurveClass2D& c, GEO_Vector2T<double> p, double t) {
  double b[2];
  CRV_EvaluatePoint(c.Curve(), t, b);
  return (b[0] - p.x) * (b[0] - p.x) + (b[1] - p.y) * (b[1] - p.y);
}

// The least squared distance from p to the curve over [0, 1], apart from the library's search: a
// grid of 1000 intervals, then golden-section search in the two intervals around the best grid
// point (the squared distance has at most a few minima on these curves, each far wider than a
// grid interval), and both ends.
double GridMinimum(const CRV_CurveClass2D& c, GEO_Vector2T<double> p) {
  constexpr int kGrid = 1000;
  int besti = 0;
  for (int i = 1; i <= kGrid; ++i) {
    if (SquaredDistance(c, p, static_cast<double>(i) / kGrid) <
        SquaredDistance(c, p, static_cast<double>(besti) / kGrid))
      besti = i;
  }
  double lo = std::max(besti - 1, 0) / static_cast<double>(kGrid);
  double hi = std::min(besti + 1, kGrid) / static_cast<double>(kGrid);
  const double ratio = 0.6180339887498949;
  for (int step = 0; step < 60; ++step) {
    const double a = hi - (hi - lo) * ratio, b = lo + (hi - lo) * ratio;
    if (SquaredDistance(c, p, a) < SquaredDistance(c, p, b)) {
      hi = b;
    } else {
      lo = a;
    }
  }
  return std::min({SquaredDistance(c, p, (lo + hi) / 2), SquaredDistance(c, p, 0.0),
                   SquaredDistance(c, p, 1.0)});
}

// The centre of curvature of B at t: a point of the evolute, where (B - P) . B' has a double root
// at t (its derivative |B'|^2 + (B - P) . B'' vanishes there too). Halving never separates such a
// root; the search must still end, within its depth cap, and the answer must be as near as the
// best point of a fine grid.
TEST(Stress, NearestPointOnTheEvolute) {
  using V2 = GEO_Vector2T<double>;
  crvtest::Random rng(91);
  int evolutePoints = 0;
  Stopwatch watch("nearest points from 400 points of evolutes");
  for (int trial = 0; trial < 400; ++trial) {
    // The symmetric arch first: its vertex's centre of curvature is a root of multiplicity three.
    const CRV_CurveClass2D curve =
        trial == 0 ? CRV_CurveClass2D(V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0})
                   : CRV_CurveClass2D(V2{rng.Uniform(-5, 5), rng.Uniform(-5, 5)},
                                      V2{rng.Uniform(-5, 5), rng.Uniform(-5, 5)},
                                      V2{rng.Uniform(-5, 5), rng.Uniform(-5, 5)},
                                      V2{rng.Uniform(-5, 5), rng.Uniform(-5, 5)});
    const double t0 = trial == 0 ? 0.5 : rng.Uniform(0.05, 0.95);
    double b[2], d1[2], d2[2];
    CRV_EvaluatePoint(curve.Curve(), t0, b);
    CRV_EvaluateDeriv(curve.Curve(), t0, d1);
    CRV_EvaluateDeriv2(curve.Curve(), t0, d2);
    const double cross = d1[0] * d2[1] - d1[1] * d2[0];
    const double speed2 = d1[0] * d1[0] + d1[1] * d1[1];
    if (std::fabs(cross) < 1e-3 || speed2 < 1e-3) continue;  // too straight to have a centre nearby
    const double r = speed2 / cross;
    const V2 centre{b[0] - d1[1] * r, b[1] + d1[0] * r};
    if (std::fabs(r) * std::sqrt(speed2) > 1e4) continue;
    ++evolutePoints;
    double t = -1;
    OnSmallStack(256 * 1024, [&] { t = CRV_NearestPointOnCurve(centre, curve); });
    ASSERT_GE(t, 0.0);
    ASSERT_LE(t, 1.0);
    const double best = GridMinimum(curve, centre);
    EXPECT_LE(SquaredDistance(curve, centre, t), best + 1e-9 * (1 + best))
        << "trial " << trial << " t0 " << t0 << " answer " << t;
  }
  EXPECT_GT(evolutePoints, 300);
}

// ---- Flattening

struct Counted {
  CRV_LinearityParams params;
  int calls = 0;
  uint32_t deepest = 0;
};

int32_t CountedIsLinear(void* context, uint32_t depth, double t0, double t1, const double* p0,
                        const double* p1, const CRV_Curve* curve, bool* accept) {
  auto* c = static_cast<Counted*>(context);
  ++c->calls;
  c->deepest = std::max(c->deepest, depth);
  return CRV_IsLinearFunc(&c->params, depth, t0, t1, p0, p1, curve, accept);
}

// A tolerance of 0 accepts only pieces whose tangents round to parallel, which may take until
// maxDepth 40, but pieces wholly outside a range of width 1e-9 are dropped before the callback: at
// most two pieces a level straddle it (the range holds at most one cut of each level), so the walk
// makes at most 2 (40 + 2) callbacks, not 2^41.
TEST(Stress, FlatteningARangeOfWidth1e9WithToleranceZeroFinishesAtOnce) {
  const OwnedCurve wave({0, 0}, {1, 3}, {2, -3}, {3, 1});
  const double xLow = 1.3, xHigh = 1.3 + 1e-9;
  for (bool interpolate : {false, true}) {
    SCOPED_TRACE(interpolate ? "CRV_LinearlyInterpolateCurve" : "CRV_EvaluateAdaptively");
    Counted counted{{0.0, 0.0, CRV_LINEARITY_CHECK_WORD, 0, 40}};
    OwnedList list;
    ASSERT_EQ(SEQ_New(0, 16, 32, 1, &list.handle), 0);
    bool have = false;
    double lo = 0, hi = 0;
    const int32_t code =
        interpolate ? CRV_LinearlyInterpolateCurve(CountedIsLinear, &counted, xLow, xHigh,
                                                   wave.get(), &have, &lo, &hi, &list.handle)
                    : CRV_EvaluateAdaptively(CountedIsLinear, &counted, &xLow, &xHigh, wave.get(),
                                             &have, &lo, &hi, &list.handle);
    ASSERT_EQ(code, 0);
    EXPECT_LE(counted.calls, 2 * (40 + 2));
    // maxDepth + 1 at most; pieces short enough for their cosines to round to 1 pass earlier.
    EXPECT_LE(counted.deepest, 41u);
    const hardening::ListSnapshot points = Snapshot(list.handle);
    ASSERT_GE(points.count(), 2u);
    EXPECT_EQ(points.At<Pair>(0)[0], xLow);
    EXPECT_EQ(points.At<Pair>(points.count() - 1)[0], xHigh);
    double y;
    CRV_EvaluateYFromX(wave.get(), xLow, &y);
    for (size_t i = 0; i < points.count(); ++i) {
      const Pair p = points.At<Pair>(i);
      EXPECT_GE(p[0], xLow);
      EXPECT_LE(p[0], xHigh);
      EXPECT_NEAR(p[1], y, 1e-7);  // the slope is a few units: y moves by ~1e-8 across the range
    }
    EXPECT_TRUE(have);
  }
}

// ---- Arc-length tables

// Arc length by Simpson's rule on 2^16 intervals in long double, independent of the library.
double SimpsonLength(const CRV_Curve& c) {
  constexpr int kIntervals = 1 << 16;
  auto speed = [&](long double t) {
    const long double s = 1 - t;
    long double sum = 0;
    for (int k = 0; k < c.dims; ++k) {
      const long double d = 3 * s * s * (static_cast<long double>(c.ctpts[1][k]) - c.ctpts[0][k]) +
                            6 * s * t * (static_cast<long double>(c.ctpts[2][k]) - c.ctpts[1][k]) +
                            3 * t * t * (static_cast<long double>(c.ctpts[3][k]) - c.ctpts[2][k]);
      sum += d * d;
    }
    return std::sqrt(sum);
  };
  long double total = speed(0) + speed(1);
  for (int i = 1; i < kIntervals; ++i)
    total += (i % 2 ? 4 : 2) * speed(static_cast<long double>(i) / kIntervals);
  return static_cast<double>(total / (3.0L * kIntervals));
}

// Tables of one and of 100,000 samples, built into the same list in turn: one sample gives the
// single entry (0, 0) and a length of 0; 100,000 measure the curve to the chord sums' accuracy
// (relative error ~ (1e-5)^2 here), and rebuilding after the one-entry table reproduces them bit
// for bit.
TEST(Stress, ArcTablesOfOneAndOneHundredThousandSamples) {
  const OwnedCurve curve({0, 0, 0}, {10, 30, 5}, {40, 30, -5}, {50, 0, 10});
  constexpr int32_t kLarge = 100000;
  OwnedList table;
  double length = -1;
  hardening::ListSnapshot large;
  {
    Stopwatch watch("arc table of 100,000 samples");
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), kLarge, &table.handle, &length), 0);
    large = Snapshot(table.handle);
  }
  ASSERT_EQ(large.count(), static_cast<size_t>(kLarge));
  EXPECT_EQ(large.At<Pair>(0), (Pair{0, 0}));
  for (size_t i = 1; i < large.count(); ++i) {
    ASSERT_GT(large.At<Pair>(i)[0], large.At<Pair>(i - 1)[0]);
    ASSERT_GE(large.At<Pair>(i)[1], large.At<Pair>(i - 1)[1]);
  }
  EXPECT_NEAR(large.At<Pair>(kLarge - 1)[0], 1.0, 1e-10);  // 99,999 accumulated steps
  EXPECT_EQ(large.At<Pair>(kLarge - 1)[1], length);
  const double reference = SimpsonLength(*curve.get());
  EXPECT_NEAR(length, reference, 1e-8 * reference);
  // t -> s -> t on the same table comes back to rounding.
  for (double t : {0.0123, 0.25, 0.5, 0.77777, 0.99}) {
    double s, back;
    ASSERT_EQ(CRV_SFromT(curve.get(), t, kLarge, &table.handle, &s), 0);
    ASSERT_EQ(CRV_TFromS(curve.get(), s, kLarge, &table.handle, &back), 0);
    EXPECT_NEAR(back, t, 1e-12);
  }

  ASSERT_EQ(CRV_BuildArcTable(curve.get(), 1, &table.handle, &length), 0);
  EXPECT_EQ(length, 0.0);
  const hardening::ListSnapshot single = Snapshot(table.handle);
  ASSERT_EQ(single.count(), 1u);
  EXPECT_EQ(single.At<Pair>(0), (Pair{0, 0}));
  double s = -1, t = -1;
  ASSERT_EQ(CRV_SFromT(curve.get(), 0.0, 1, &table.handle, &s), 0);
  EXPECT_EQ(s, 0.0);
  ASSERT_EQ(CRV_SFromT(curve.get(), 0.5, 1, &table.handle, &s), 0);
  EXPECT_DOUBLE_EQ(s, std::sqrt(50.0 * 50 + 10 * 10));  // the chord, beyond the only entry
  ASSERT_EQ(CRV_TFromS(curve.get(), 3.0, 1, &table.handle, &t), 0);
  EXPECT_EQ(t, 1.0);  // every positive s lies beyond L = 0
  // Sample counts below 1 are taken as 1.
  for (int32_t n : {0, -5}) {
    ASSERT_EQ(CRV_BuildArcTable(curve.get(), n, &table.handle, &length), 0);
    EXPECT_TRUE(Snapshot(table.handle) == single);
  }

  ASSERT_EQ(CRV_BuildArcTable(curve.get(), kLarge, &table.handle, &length), 0);
  EXPECT_TRUE(Snapshot(table.handle) == large);
}

}  // namespace
