// The typed adaptive driver with evaluators derived by the caller.
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.hpp"

namespace {

struct Visit {
  uint32_t depth;
  double t0, t1;
};

// Records the driver's calls and halves by a test's rule.
template <int N, typename V>
class Recorder : public CRV_CurveAdaptiveEvaluator<N, V> {
 public:
  Recorder(const CRV_CurveClass<N, V>& curve, std::function<bool(uint32_t, double, double)> rule)
      : curve_(&curve), rule_(std::move(rule)) {}

  bool NeedsSubdivision(uint32_t depth, double t0, double t1,
                        const CRV_CurveClass<N, V>& curve) override {
    EXPECT_EQ(&curve, curve_);
    tests.push_back({depth, t0, t1});
    return rule_(depth, t0, t1);
  }
  void AddParameter(double t, const CRV_CurveClass<N, V>& curve) override {
    EXPECT_EQ(&curve, curve_);
    parameters.push_back(t);
  }

  std::vector<Visit> tests;
  std::vector<double> parameters;

 private:
  const CRV_CurveClass<N, V>* curve_;
  std::function<bool(uint32_t, double, double)> rule_;
};

using V2 = GEO_Vector2T<double>;
using V3 = GEO_Vector3T<double>;
const CRV_CurveClass2D kCurve2(V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0});
const CRV_CurveClass3D kCurve3(V3{0, 0, 1}, V3{1, 2, 3}, V3{3, 2, 1}, V3{4, 0, 2});

TEST(TypedEvaluateAdaptively, ReportsTheMidpointsOfUnhalvedPieces) {
  Recorder<2, V2> evaluator(kCurve2, [](uint32_t depth, double, double) { return depth < 2; });
  CRV_EvaluateAdaptively(0.2, 0.6, kCurve2, &evaluator);

  // Pieces visited depth first, left before right; the four depth-2 pieces pass.
  const double m = (0.2 + 0.6) * 0.5, l = (0.2 + m) * 0.5, r = (m + 0.6) * 0.5;
  const Visit expected[7] = {{0, 0.2, 0.6}, {1, 0.2, m}, {2, 0.2, l}, {2, l, m},
                            {1, m, 0.6},   {2, m, r},   {2, r, 0.6}};
  ASSERT_EQ(evaluator.tests.size(), 7u);
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(evaluator.tests[i].depth, expected[i].depth);
    EXPECT_EQ(evaluator.tests[i].t0, expected[i].t0);
    EXPECT_EQ(evaluator.tests[i].t1, expected[i].t1);
  }
  // t0, the midpoints of the passing pieces (not the split points), t1.
  const std::vector<double> parameters = {0.2, (0.2 + l) * 0.5, (l + m) * 0.5, (m + r) * 0.5,
                                          (r + 0.6) * 0.5, 0.6};
  EXPECT_EQ(evaluator.parameters, parameters);
}

TEST(TypedEvaluateAdaptively, WholeIntervalPassingReportsOnlyItsEnds) {
  Recorder<3, V3> evaluator(kCurve3, [](uint32_t, double, double) { return false; });
  CRV_EvaluateAdaptively(0.0, 1.0, kCurve3, &evaluator);
  EXPECT_EQ(evaluator.parameters, std::vector<double>({0.0, 1.0}));
  EXPECT_EQ(evaluator.tests.size(), 1u);
}

TEST(TypedEvaluateAdaptively, UnevenHalvingStaysInOrder) {
  // Halve only the pieces holding 0.3, down to depth 6: one piece per depth on each side of the
  // path, plus the two deepest.
  Recorder<3, V3> evaluator(kCurve3, [](uint32_t depth, double t0, double t1) {
    return depth < 6 && t0 <= 0.3 && 0.3 <= t1;
  });
  CRV_EvaluateAdaptively(0.0, 1.0, kCurve3, &evaluator);
  const std::vector<double>& p = evaluator.parameters;
  ASSERT_EQ(p.size(), 2u + 7u);
  for (size_t i = 1; i < p.size(); ++i) EXPECT_LT(p[i - 1], p[i]);
}

// Found by the adaptive fuzz target (fuzz/adaptive_fuzz.cpp): the midpoint is (a + b) 0.5 as
// documented, so ends near the top of the double range overflow it and the parameters reported
// are no longer in order. Parameters are meant to lie around [0, 1]; this pins what happens far
// outside.
TEST(TypedEvaluateAdaptively, HugeEndsOverflowTheMidpoint) {
  const double top = 0x1.fffffffffffffp+1023;
  Recorder<2, V2> evaluator(kCurve2, [](uint32_t depth, double, double) { return depth < 2; });
  CRV_EvaluateAdaptively(1.0, top, kCurve2, &evaluator);
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(evaluator.parameters,
            std::vector<double>({1.0, 0x1.fffffffffffffp+1020, 0x1.7ffffffffffffp+1022, inf, inf, top}));
}

TEST(TypedEvaluateAdaptively, WhatTheEvaluatorThrowsTravelsOn) {
  Recorder<2, V2> evaluator(kCurve2, [](uint32_t depth, double, double) {
    if (depth == 2) throw 7;
    return true;
  });
  EXPECT_THROW(
      {
        try {
          CRV_EvaluateAdaptively(0.0, 1.0, kCurve2, &evaluator);
        } catch (int code) {
          EXPECT_EQ(code, 7);
          throw;
        }
      },
      int);
  EXPECT_EQ(evaluator.parameters, std::vector<double>({0.0}));
}

}  // namespace
