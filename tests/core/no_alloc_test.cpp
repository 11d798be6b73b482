// The curve core allocates nothing: hosts call it from their drawing and interaction loops.
#include <gtest/gtest.h>

#include "crv/crv.hpp"
#include "support/alloc_counter.h"
#include "support/curves.h"

namespace {

TEST(NoAllocation, CoreRoutines) {
  const crvtest::OwnedCurve c = crvtest::Random(51).Curve(3);
  const CRV_CurveClass2D c2(GEO_Vector2T<double>{0, 0}, GEO_Vector2T<double>{1, 2},
                            GEO_Vector2T<double>{3, 2}, GEO_Vector2T<double>{4, 0});
  CRV_CurveClass2D a, b, m;
  double out[64], lo[3], hi[3], w[4];
  crvtest::AllocCounter counter;
  CRV_EvaluatePoint(c.get(), 0.3, out);
  CRV_EvaluateDeriv(c.get(), 0.3, out);
  CRV_EvaluateDeriv2(c.get(), 0.3, out);
  CRV_EvaluatePoints(c.get(), 0.0, 1.0, 20, out);
  CRV_EvaluateDerivs(c.get(), 0.1, 0.9, 20, out);
  CRV_EvaluateBounds(c.get(), lo, hi);
  CRV_SubdivideCurve(c.get(), 0.4, out);
  CRV_SubdivideCurve(c2, 0.4, &a, &b);
  CRV_SubdivideCurve(c2, 0.2, 0.6, &a, &m, &b);
  CRV_DirectManipSetup(0.3, w);
  EXPECT_EQ(counter.count(), 0);
}

}  // namespace
