// An evaluator derived in a caller's shared object, driven and destroyed through libcrv.so.
#include <memory>

#include <gtest/gtest.h>

#include "caller_plugin.h"

struct Local final : PluginBase {
  bool NeedsSubdivision(uint32_t, double, double, const CRV_CurveClass2D&) override { return false; }
  void AddParameter(double, const CRV_CurveClass2D&) override {}
};

TEST(CallerSharedObject, DerivedEvaluatorWorksAcrossLibraries) {
  const CRV_CurveClass2D curve({0, 0}, {1, 2}, {3, 2}, {4, 0});
  std::unique_ptr<PluginBase> evaluator(PluginMakeEvaluator(2));
  CRV_EvaluateAdaptively(0.0, 1.0, curve, evaluator.get());
  EXPECT_EQ(PluginParameters(evaluator.get()), (std::vector<double>{0, 0.125, 0.375, 0.625, 0.875, 1}));
  EXPECT_EQ(&PluginBaseType(), &typeid(PluginBase));  // one typeinfo, so casts work across
  EXPECT_TRUE(PluginOwns(evaluator.get()));
  Local local;
  EXPECT_FALSE(PluginOwns(&local));
}  // deleted through the base's virtual destructor
