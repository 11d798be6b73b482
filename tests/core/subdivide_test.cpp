// Splitting curves, the curve class's binding, and the typed splits.
#include <vector>

#include <gtest/gtest.h>

#include "crv/crv.hpp"
#include "support/curves.h"
#include "support/near.h"

namespace {

using crvtest::OwnedCurve;
using V2 = GEO_Vector2T<double>;
using V3 = GEO_Vector3T<double>;

bool IsBound(const CRV_CurveClass3D& c) {
  for (int i = 0; i < 4; ++i)
    if (c.record.ctpts[i] != &c.points[i].x) return false;
  return c.record.dims == 3;
}

CRV_CurveClass3D RandomCurve3(crvtest::Random& random) {
  auto v = [&] { return V3{random.Uniform(-50, 50), random.Uniform(-50, 50), random.Uniform(-50, 50)}; };
  return CRV_CurveClass3D(v(), v(), v(), v());
}

TEST(SubdivideCurve, SplitsAOneDimensionalRamp) {
  const OwnedCurve c({0}, {0}, {1}, {1});
  double out[5];
  EXPECT_EQ(CRV_SubdivideCurve(c.get(), 0.5, out), CRV_ErrNone);
  const double expected[5] = {0, 0.25, 0.5, 0.75, 1};
  EXPECT_BITS_EQ(out, expected, 5);
}

TEST(SubdivideCurve, HalvesReproduceTheCurve) {
  crvtest::Random random(31);
  for (int trial = 0; trial < 500; ++trial) {
    const OwnedCurve c = random.Curve(random.Int(1, 4));
    const int d = c.dims();
    const double t = random.Uniform(0.0, 1.0);
    std::vector<double> out(static_cast<size_t>(5 * d));
    CRV_SubdivideCurve(c.get(), t, out.data());
    OwnedCurve left(d), right(d);
    for (int k = 0; k < d; ++k) {
      const double left_points[4] = {c.at(0, k), out[k], out[d + k], out[2 * d + k]};
      const double right_points[4] = {out[2 * d + k], out[3 * d + k], out[4 * d + k], c.at(3, k)};
      for (int i = 0; i < 4; ++i) {
        left.at(i, k) = left_points[i];
        right.at(i, k) = right_points[i];
      }
    }
    std::vector<double> whole(static_cast<size_t>(d)), part(whole);
    CRV_EvaluatePoint(c.get(), t, whole.data());
    EXPECT_POINT_NEAR(out.data() + 2 * d, whole.data(), d, 1e-12);  // m is B(t)
    for (double u : {0.0, 0.3, 0.7, 1.0}) {
      CRV_EvaluatePoint(c.get(), u * t, whole.data());
      CRV_EvaluatePoint(left.get(), u, part.data());
      EXPECT_POINT_NEAR(part.data(), whole.data(), d, 1e-11);
      CRV_EvaluatePoint(c.get(), t + u * (1 - t), whole.data());
      CRV_EvaluatePoint(right.get(), u, part.data());
      EXPECT_POINT_NEAR(part.data(), whole.data(), d, 1e-11);
    }
  }
}

TEST(CurveClass, StaysBoundToItsOwnPoints) {
  CRV_CurveClass3D a(V3{1, 2, 3}, V3{4, 5, 6}, V3{7, 8, 9}, V3{10, 11, 12});
  EXPECT_TRUE(IsBound(a));
  const CRV_CurveClass3D copy(a);
  EXPECT_TRUE(IsBound(copy));
  EXPECT_EQ(copy.points[2], (V3{7, 8, 9}));
  CRV_CurveClass3D assigned;
  assigned = a;
  EXPECT_TRUE(IsBound(assigned));
  EXPECT_EQ(assigned.points[3], (V3{10, 11, 12}));
  std::vector<CRV_CurveClass3D> many(5, a);
  many.push_back(copy);  // reallocation copies every element
  for (const auto& c : many) EXPECT_TRUE(IsBound(c));
  // The record is the object's address: plain functions take it as it is.
  double p[3];
  CRV_EvaluatePoint(reinterpret_cast<const CRV_Curve*>(&a), 1.0, p);
  EXPECT_EQ(p[2], 12.0);
}

TEST(TypedSubdivide, MatchesThePlainSplitBitForBit) {
  crvtest::Random random(32);
  for (int trial = 0; trial < 200; ++trial) {
    const CRV_CurveClass3D c = RandomCurve3(random);
    const double t = random.Uniform(0.0, 1.0);
    CRV_CurveClass3D left, right;
    CRV_SubdivideCurve(c, t, &left, &right);
    double out[15];
    CRV_SubdivideCurve(c.Curve(), t, out);
    EXPECT_BITS_EQ(&left.points[0].x, &c.points[0].x, 3);
    EXPECT_BITS_EQ(&left.points[1].x, out, 9);    // q0, r0, m
    EXPECT_BITS_EQ(&right.points[0].x, out + 6, 9);  // m, r1, q2
    EXPECT_BITS_EQ(&right.points[3].x, &c.points[3].x, 3);
    EXPECT_TRUE(IsBound(left));
  }
}

TEST(TypedSubdivide, AtZeroTheLeftPartCollapses) {
  const CRV_CurveClass2D c(V2{1, 2}, V2{3, 5}, V2{6, 1}, V2{8, 8});
  CRV_CurveClass2D left, right;
  CRV_SubdivideCurve(c, 0.0, &left, &right);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(left.points[i], c.points[0]);
    EXPECT_EQ(right.points[i], c.points[i]);
  }
}

TEST(TypedSubdivide, TwoParametersGiveTheMiddlePiece) {
  crvtest::Random random(33);
  for (int trial = 0; trial < 200; ++trial) {
    const CRV_CurveClass3D c = RandomCurve3(random);
    const double t1 = random.Uniform(0.0, 1.0), t2 = random.Uniform(t1, 1.0);
    CRV_CurveClass3D first, second, third;
    CRV_SubdivideCurve(c, t1, t2, &first, &second, &third);
    double expected[3];
    CRV_EvaluatePoint(c.Curve(), t1, expected);
    EXPECT_POINT_NEAR(&second.points[0].x, expected, 3, 1e-11);
    CRV_EvaluatePoint(c.Curve(), t2, expected);
    EXPECT_POINT_NEAR(&second.points[3].x, expected, 3, 1e-10);
    // Neighbouring pieces share their join exactly.
    EXPECT_BITS_EQ(&first.points[3].x, &second.points[0].x, 3);
    EXPECT_BITS_EQ(&second.points[3].x, &third.points[0].x, 3);
    EXPECT_BITS_EQ(&third.points[3].x, &c.points[3].x, 3);
  }
}

TEST(TypedSubdivide, SplitAtTheEndDoesNotDivideByZero) {
  const CRV_CurveClass2D c(V2{0, 0}, V2{1, 2}, V2{3, 2}, V2{4, 0});
  CRV_CurveClass2D first, second, third;
  CRV_SubdivideCurve(c, 1.0, 1.0, &first, &second, &third);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(first.points[i], c.points[i]);
    EXPECT_EQ(second.points[i], c.points[3]);
    EXPECT_EQ(third.points[i], c.points[3]);
  }
}

}  // namespace
