// Function curves flattened into clipped polylines, with their y range.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "host/host_test.h"
#include "host/seq.h"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;

struct Point {
  double x, y;
};

// A 16-byte host list for one test, disposed of at the end.
class List {
 public:
  List() { EXPECT_EQ(SEQ_New(0, 16, 32, 1, &list_), 0); }
  ~List() { SEQ_Dispose(list_, 0); }
  SEQ_ListH* address() { return &list_; }
  std::vector<Point> Items() const {
    int32_t n;
    std::memcpy(&n, static_cast<const char*>(*list_) + SEQ_BLOCK_COUNT_OFFSET, sizeof n);
    std::vector<Point> items(static_cast<size_t>(n));
    for (int32_t i = 0; i < n; ++i) SEQ_GetItem(list_, i, &items[static_cast<size_t>(i)]);
    return items;
  }

 private:
  SEQ_ListH list_ = nullptr;
};

// A flatness callback that records its calls and answers by a test's rule.
struct Piece {
  uint32_t depth;
  double t0, t1;
  Point p0, p1;
  bool accepted;
};
struct Script {
  std::function<int32_t(uint32_t depth, double t0, double t1, const CRV_Curve*, bool* accept)> rule;
  std::vector<Piece> calls;
};
int32_t Scripted(void* context, uint32_t depth, double t0, double t1, const double* p0,
                 const double* p1, const CRV_Curve* curve, bool* accept) {
  auto* script = static_cast<Script*>(context);
  EXPECT_FALSE(*accept) << "accept must be false on entry";
  const int32_t code = script->rule(depth, t0, t1, curve, accept);
  script->calls.push_back({depth, t0, t1, {p0[0], p0[1]}, {p1[0], p1[1]}, *accept});
  return code;
}
Script AcceptFrom(uint32_t depth) {
  return {[depth](uint32_t d, double, double, const CRV_Curve*, bool* accept) {
            *accept = d >= depth;
            return 0;
          },
          {}};
}

Point At(const OwnedCurve& c, double t) {
  Point p;
  CRV_EvaluatePoint(c.get(), t, &p.x);
  return p;
}

void ExpectSamePoint(const Point& a, const Point& b) { EXPECT_BITS_EQ(&a.x, &b.x, 2); }

// y on the segment a-b at x, as the library interpolates.
double YAt(double x, const Point& a, const Point& b) {
  if (std::fabs(a.x - b.x) < 1e-12) return b.y;
  return (x - a.x) / (b.x - a.x) * (b.y - a.y) + a.y;
}

// A function curve whose x rises from 0 to 3.
const OwnedCurve kWave({0, 0}, {1, 3}, {2, -1}, {3, 2});

TEST(EvaluateAdaptively, StraightCurveAcceptedWhole) {
  const OwnedCurve line({0, 0}, {1, 1}, {2, 2}, {3, 3});
  Script script = AcceptFrom(0);
  List list;
  bool have = false;
  double lo = 0, hi = 0;
  ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &script, nullptr, nullptr, line.get(), &have, &lo,
                                   &hi, list.address()),
            0);
  const std::vector<Point> points = list.Items();
  ASSERT_EQ(points.size(), 2u);
  ExpectSamePoint(points[0], At(line, 0));
  ExpectSamePoint(points[1], At(line, 1));
  EXPECT_TRUE(have);
  EXPECT_EQ(lo, 0.0);
  EXPECT_EQ(hi, 3.0);
  ASSERT_EQ(script.calls.size(), 1u);

  // The midpoint walk adds only B(0.5) when the range covers the curve.
  List mid;
  have = false;
  ASSERT_EQ(CRV_LinearlyInterpolateCurve(Scripted, &script, -1.0, 10.0, line.get(), &have, &lo,
                                         &hi, mid.address()),
            0);
  ASSERT_EQ(mid.Items().size(), 1u);
  ExpectSamePoint(mid.Items()[0], At(line, 0.5));
  EXPECT_EQ(lo, 1.5);
  EXPECT_EQ(hi, 1.5);
}

TEST(EvaluateAdaptively, FivePointsWhenPiecesPassFromDepthTwo) {
  Script script = AcceptFrom(2);
  List list;
  bool have = false;
  double lo = 0, hi = 0;
  ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &script, nullptr, nullptr, kWave.get(), &have, &lo,
                                   &hi, list.address()),
            0);
  const std::vector<Point> points = list.Items();
  ASSERT_EQ(points.size(), 5u);
  double ylo = points[0].y, yhi = points[0].y;
  for (int i = 0; i < 5; ++i) {
    ExpectSamePoint(points[i], At(kWave, i * 0.25));
    ylo = std::fmin(ylo, points[i].y);
    yhi = std::fmax(yhi, points[i].y);
  }
  EXPECT_EQ(lo, ylo);
  EXPECT_EQ(hi, yhi);

  // The pieces in the order the callback saw them, each with its own end points.
  const Piece expected[7] = {{0, 0, 1, {}, {}, false},       {1, 0, 0.5, {}, {}, false},
                             {2, 0, 0.25, {}, {}, true},     {2, 0.25, 0.5, {}, {}, true},
                             {1, 0.5, 1, {}, {}, false},     {2, 0.5, 0.75, {}, {}, true},
                             {2, 0.75, 1, {}, {}, true}};
  ASSERT_EQ(script.calls.size(), 7u);
  for (int i = 0; i < 7; ++i) {
    const Piece& got = script.calls[static_cast<size_t>(i)];
    EXPECT_EQ(got.depth, expected[i].depth);
    EXPECT_EQ(got.t0, expected[i].t0);
    EXPECT_EQ(got.t1, expected[i].t1);
    EXPECT_EQ(got.accepted, expected[i].accepted);
    ExpectSamePoint(got.p0, At(kWave, got.t0));
    ExpectSamePoint(got.p1, At(kWave, got.t1));
  }
}

TEST(EvaluateAdaptively, ClipsToTheRangeAndSkipsPiecesOutsideIt) {
  Script script = AcceptFrom(3);
  List list;
  const double xLow = 0.7, xHigh = 2.2;
  bool have = false;
  double lo = 0, hi = 0;
  ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &script, &xLow, &xHigh, kWave.get(), &have, &lo, &hi,
                                   list.address()),
            0);
  const std::vector<Point> points = list.Items();
  std::vector<Piece> accepted;
  for (const Piece& p : script.calls) {
    EXPECT_FALSE(p.p0.x < xLow && p.p1.x < xLow) << "piece wholly left of the range";
    EXPECT_FALSE(p.p0.x > xHigh && p.p1.x > xHigh) << "piece wholly right of the range";
    if (p.accepted) accepted.push_back(p);
  }
  // The start clipped on the first accepted piece, then every accepted piece's end, the last
  // clipped.
  ASSERT_EQ(points.size(), accepted.size() + 1);
  EXPECT_EQ(points.front().x, xLow);
  EXPECT_EQ(points.front().y, YAt(xLow, accepted.front().p0, accepted.front().p1));
  EXPECT_EQ(points.back().x, xHigh);
  EXPECT_EQ(points.back().y, YAt(xHigh, accepted.back().p0, accepted.back().p1));
  for (size_t i = 1; i + 1 < points.size(); ++i) {
    ExpectSamePoint(points[i], accepted[i - 1].p1);
    EXPECT_GT(points[i].x, xLow);
    EXPECT_LT(points[i].x, xHigh);
  }

  // A low end below the curve's start leaves B(0) as the first point.
  List from;
  const double below = -1.0;
  Script again = AcceptFrom(3);
  ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &again, &below, nullptr, kWave.get(), nullptr,
                                   nullptr, nullptr, from.address()),
            0);
  ExpectSamePoint(from.Items().front(), At(kWave, 0));
  EXPECT_EQ(from.Items().size(), 9u);

  // A vertical curve starting on the low end: the clipped start takes the piece's end y instead
  // of dividing by a zero width.
  const OwnedCurve vertical({5, 0}, {5, 1}, {5, 2}, {5, 3});
  const double five = 5.0;
  Script whole = AcceptFrom(0);
  List upright;
  ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &whole, &five, nullptr, vertical.get(), nullptr,
                                   nullptr, nullptr, upright.address()),
            0);
  ASSERT_EQ(upright.Items().size(), 2u);
  for (const Point& p : upright.Items()) {
    EXPECT_EQ(p.x, 5.0);
    EXPECT_EQ(p.y, 3.0);
  }
}

TEST(EvaluateAdaptively, RangeOutputsAreAllOrNothing) {
  Script script = AcceptFrom(1);
  List list;
  bool have = false;
  double hi = 0;
  ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &script, nullptr, nullptr, kWave.get(), &have,
                                   nullptr, &hi, list.address()),
            0);
  EXPECT_EQ(list.Items().size(), 3u);
  EXPECT_FALSE(have);  // yMin missing: no range is kept
  EXPECT_EQ(hi, 0.0);

  // A range already begun is only widened.
  have = true;
  double lo = -100, top = 100;
  ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &script, nullptr, nullptr, kWave.get(), &have, &lo,
                                   &top, list.address()),
            0);
  EXPECT_EQ(lo, -100.0);
  EXPECT_EQ(top, 100.0);
}

TEST(EvaluateAdaptively, CallbackCodeEndsTheWalk) {
  // Halve down the left edge until depth 3 answers 5: four calls, and only the start point.
  Script failing{[](uint32_t d, double, double, const CRV_Curve*, bool*) { return d == 3 ? 5 : 0; },
                 {}};
  List list;
  EXPECT_EQ(CRV_EvaluateAdaptively(Scripted, &failing, nullptr, nullptr, kWave.get(), nullptr,
                                   nullptr, nullptr, list.address()),
            5);
  EXPECT_EQ(failing.calls.size(), 4u);
  EXPECT_EQ(list.Items().size(), 1u);

  // A code with acceptance ends it as well, before the piece's point is appended.
  Script accepting{[](uint32_t d, double, double, const CRV_Curve*, bool* accept) {
                     *accept = d == 1;
                     return d == 1 ? 9 : 0;
                   },
                   {}};
  List other;
  EXPECT_EQ(CRV_LinearlyInterpolateCurve(Scripted, &accepting, -1, 10, kWave.get(), nullptr,
                                         nullptr, nullptr, other.address()),
            9);
  EXPECT_EQ(accepting.calls.size(), 2u);
  EXPECT_TRUE(other.Items().empty());

  // CRV_IsLinearFunc with a damaged or missing record ends the walk with 2 at the first piece.
  const auto linear = reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc);
  CRV_LinearityParams damaged{0.0, 1e-3, 0, 0, 8};
  for (void* context : {static_cast<void*>(&damaged), static_cast<void*>(nullptr)}) {
    List start, none;
    EXPECT_EQ(CRV_EvaluateAdaptively(linear, context, nullptr, nullptr, kWave.get(), nullptr,
                                     nullptr, nullptr, start.address()),
              2);
    EXPECT_EQ(start.Items().size(), 1u);
    bool have = false;
    double lo, hi;
    EXPECT_EQ(CRV_LinearlyInterpolateCurve(linear, context, -1, 10, kWave.get(), &have, &lo, &hi,
                                           none.address()),
              2);
    EXPECT_TRUE(none.Items().empty());
  }
}

TEST(LinearlyInterpolateCurve, MidpointsAndClippedEnds) {
  Script script = AcceptFrom(2);
  List list;
  bool have = false;
  double lo = 0, hi = 0;
  ASSERT_EQ(CRV_LinearlyInterpolateCurve(Scripted, &script, -1, 10, kWave.get(), &have, &lo, &hi,
                                         list.address()),
            0);
  std::vector<Point> points = list.Items();
  ASSERT_EQ(points.size(), 4u);
  for (int i = 0; i < 4; ++i) ExpectSamePoint(points[i], At(kWave, (2 * i + 1) / 8.0));

  // Clipped at both ends: the first and last points lie exactly on xA and xB.
  List clipped;
  const double xA = 0.4, xB = 2.6;
  ASSERT_EQ(CRV_LinearlyInterpolateCurve(Scripted, &script, xA, xB, kWave.get(), &have, &lo, &hi,
                                         clipped.address()),
            0);
  points = clipped.Items();
  ASSERT_GE(points.size(), 3u);
  EXPECT_EQ(points.front().x, xA);
  EXPECT_EQ(points.back().x, xB);
  for (size_t i = 1; i + 1 < points.size(); ++i) {
    EXPECT_GT(points[i].x, xA);
    EXPECT_LT(points[i].x, xB);
  }

  // xA = xB: the piece holding it appends the clipped point twice, and nothing else qualifies.
  List twice;
  ASSERT_EQ(CRV_LinearlyInterpolateCurve(Scripted, &script, 1.3, 1.3, kWave.get(), &have, &lo,
                                         &hi, twice.address()),
            0);
  points = twice.Items();
  ASSERT_EQ(points.size(), 2u);
  EXPECT_EQ(points[0].x, 1.3);
  ExpectSamePoint(points[0], points[1]);
}

TEST(LinearlyInterpolateLine, InsideOutsideAndNearlyVertical) {
  List list;
  bool have = false;
  double lo = 0, hi = 0;
  const double a[2] = {1, 2}, b[2] = {3, 6}, p[2] = {-7, 8};
  ASSERT_EQ(CRV_LinearlyInterpolateLine(2.0, a, b, p, &have, list.address(), &lo, &hi), 0);
  ASSERT_EQ(CRV_LinearlyInterpolateLine(1.0, a, b, p, &have, list.address(), &lo, &hi), 0);
  ASSERT_EQ(CRV_LinearlyInterpolateLine(3.0, a, b, p, &have, list.address(), &lo, &hi), 0);
  std::vector<Point> points = list.Items();
  ASSERT_EQ(points.size(), 3u);
  EXPECT_EQ(points[0].x, 2.0);
  EXPECT_EQ(points[0].y, 4.0);
  for (int i = 1; i < 3; ++i) {  // not strictly inside: P
    EXPECT_EQ(points[i].x, -7.0);
    EXPECT_EQ(points[i].y, 8.0);
  }
  EXPECT_TRUE(have);
  EXPECT_EQ(lo, 4.0);
  EXPECT_EQ(hi, 8.0);

  // Ends closer than 1e-12 in x give the end's y instead of dividing; farther ones interpolate.
  const double v0[2] = {1, 0}, v1[2] = {1 + 5e-13, 10}, w1[2] = {1 + 4e-12, 10};
  List steep;
  ASSERT_EQ(CRV_LinearlyInterpolateLine(1 + 2e-13, v0, v1, p, &have, steep.address(), &lo, &hi), 0);
  ASSERT_EQ(CRV_LinearlyInterpolateLine(1 + 2e-12, v0, w1, p, &have, steep.address(), &lo, &hi), 0);
  points = steep.Items();
  EXPECT_EQ(points[0].y, 10.0);
  EXPECT_NEAR(points[1].y, 5.0, 1e-3);

  // A failed append leaves the range as it was.
  have = false;
  HOST_FailNthCall(1, -77);
  EXPECT_EQ(CRV_LinearlyInterpolateLine(2.0, a, b, p, &have, list.address(), &lo, &hi), -77);
  HOST_ClearFaults();
  EXPECT_FALSE(have);
  EXPECT_EQ(list.Items().size(), 3u);
}

// With CRV_IsLinearFunc as the callback, the accepted pieces stay within its depth limits and the
// polyline's points other than the clipped ends are exact curve points; calling it through a
// wrapper gives the same list bit for bit.
TEST(Flattening, IsLinearFuncBoundsTheDepthAndKeepsPointsOnTheCurve) {
  crvtest::Random rng(72);
  const auto linear = reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc);
  for (int trial = 0; trial < 200; ++trial) {
    OwnedCurve c(2);
    c.at(0, 0) = 0;
    c.at(1, 0) = rng.Uniform(0, 1000);
    c.at(2, 0) = rng.Uniform(0, 1000);
    c.at(3, 0) = 1000;
    for (int i = 0; i < 4; ++i) c.at(i, 1) = rng.Uniform(-500, 500);
    CRV_LinearityParams params{rng.Uniform(0, 400), rng.Uniform(0, 0.01),
                               CRV_LINEARITY_CHECK_WORD, 0, 0};
    params.minDepth = static_cast<uint32_t>(rng.Int(0, 3));
    params.maxDepth = params.minDepth + static_cast<uint32_t>(rng.Int(0, 6));
    const bool clip = trial % 2 == 1;
    const double xLow = rng.Uniform(0, 400), xHigh = rng.Uniform(600, 1000);

    Script wrapped{[&params](uint32_t d, double t0, double t1, const CRV_Curve* curve,
                             bool* accept) {
                     return CRV_IsLinearFunc(&params, d, t0, t1, nullptr, nullptr, curve, accept);
                   },
                   {}};
    List viaWrapper, direct;
    bool have = false;
    double lo, hi;
    ASSERT_EQ(CRV_EvaluateAdaptively(Scripted, &wrapped, clip ? &xLow : nullptr,
                                     clip ? &xHigh : nullptr, c.get(), &have, &lo, &hi,
                                     viaWrapper.address()),
              0);
    ASSERT_EQ(CRV_EvaluateAdaptively(linear, &params, clip ? &xLow : nullptr,
                                     clip ? &xHigh : nullptr, c.get(), &have, &lo, &hi,
                                     direct.address()),
              0);
    const std::vector<Point> points = viaWrapper.Items(), same = direct.Items();
    ASSERT_EQ(points.size(), same.size());
    for (size_t i = 0; i < points.size(); ++i) ExpectSamePoint(points[i], same[i]);

    std::vector<const Piece*> accepted;
    for (const Piece& p : wrapped.calls) {
      EXPECT_LE(p.depth, params.maxDepth + 1);
      if (p.accepted) {
        EXPECT_GE(p.depth, params.minDepth);
        accepted.push_back(&p);
      }
    }
    ASSERT_EQ(points.size(), accepted.size() + 1);
    const size_t first = clip ? 1 : 0, last = clip ? points.size() - 1 : points.size();
    for (size_t i = first; i < last; ++i) {
      const double t = i == 0 ? 0.0 : accepted[i - 1]->t1;
      ExpectSamePoint(points[i], At(c, t));
    }

    // The midpoint walk, likewise through the wrapper and directly.
    List midWrapped, midDirect;
    ASSERT_EQ(CRV_LinearlyInterpolateCurve(Scripted, &wrapped, xLow, xHigh, c.get(), &have, &lo,
                                           &hi, midWrapped.address()),
              0);
    ASSERT_EQ(CRV_LinearlyInterpolateCurve(linear, &params, xLow, xHigh, c.get(), &have, &lo, &hi,
                                           midDirect.address()),
              0);
    const std::vector<Point> mids = midWrapped.Items(), sameMids = midDirect.Items();
    ASSERT_EQ(mids.size(), sameMids.size());
    for (size_t i = 0; i < mids.size(); ++i) ExpectSamePoint(mids[i], sameMids[i]);
  }
}

}  // namespace
