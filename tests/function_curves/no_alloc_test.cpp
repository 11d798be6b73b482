// Function-curve lookups allocate nothing: hosts call them per frame for every eased property.
#include <cstdint>

#include <gtest/gtest.h>

#include "crv/crv.h"
#include "support/alloc_counter.h"
#include "support/curves.h"

namespace {

TEST(NoAllocation, FunctionCurveRoutines) {
  // A three-real-root easing curve (time handles 0.25 and 0.75) with two extra coordinates.
  crvtest::OwnedCurve curve{{0.0, 0.0, 1.0, 2.0}, {0.25, 1.4, 1.0, 2.0}, {0.75, -0.3, 1.0, 2.0},
                            {1.0, 1.0, 1.0, 2.0}};
  double out[200];
  int32_t count = 0;
  uint8_t changed = 0;
  crvtest::AllocCounter counter;
  CRV_TFromX(curve.get(), 0.3, &out[0]);
  CRV_TFromY(curve.get(), 0.3, &out[0]);
  CRV_EvaluateYFromX(curve.get(), 0.3, &out[0]);
  CRV_EvaluateYFromXs(curve.get(), -0.1, 1.1, 200, out);
  CRV_EvaluateXFromY(curve.get(), 0.3, &out[0]);
  CRV_EvaluateXFromYPrime(curve.get(), nullptr, &count, out);
  CRV_Evaluate1dDerivFromX(curve.get(), 0.3, &out[0]);
  CRV_Evaluate1dDeriv2FromX(curve.get(), 0.3, &out[0]);
  CRV_Evaluate1dDerivsFromX(curve.get(), -0.1, 1.1, 200, out);
  CRV_EvaluateYAverageFromXToX(curve.get(), 0.2, 0.7, &out[0]);
  CRV_CurveSetNonDecreasing(curve.get(), &changed);
  EXPECT_EQ(counter.count(), 0);
  EXPECT_EQ(changed, 1);  // P1.y = 1.4 rose above P3.y and was pulled down
}

}  // namespace
