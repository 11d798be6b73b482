// An evaluator derived in a caller's own shared object, driven by libcrv.so.
#include <memory>
#include <typeinfo>

#include <gtest/gtest.h>

#include "caller_plugin.h"

namespace {

using Base = CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>;

// One more derived class, in the executable.
class Local final : public Base {
 public:
  bool NeedsSubdivision(uint32_t, double, double, const CRV_CurveClass2D&) override {
    return false;
  }
  void AddParameter(double, const CRV_CurveClass2D&) override {}
};

TEST(CallerSharedObject, DerivedEvaluatorIsDrivenAndDestroyedAcrossLibraries) {
  const CRV_CurveClass2D curve(GEO_Vector2T<double>{0, 0}, GEO_Vector2T<double>{1, 2},
                               GEO_Vector2T<double>{3, 2}, GEO_Vector2T<double>{4, 0});
  std::unique_ptr<Base> evaluator(PluginMakeEvaluator(2));
  CRV_EvaluateAdaptively(0.0, 1.0, curve, evaluator.get());
  double p[8];
  ASSERT_EQ(PluginParameters(evaluator.get(), p, 8), 6);
  const double expected[6] = {0.0, 0.125, 0.375, 0.625, 0.875, 1.0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(p[i], expected[i]);

  // One typeinfo for the base everywhere, so casts through it work across the libraries.
  EXPECT_EQ(&PluginBaseType(), &typeid(Base));
  EXPECT_TRUE(PluginOwns(evaluator.get()));
  Local local;
  EXPECT_FALSE(PluginOwns(&local));
}  // the plug-in's object is deleted through the base's virtual destructor

}  // namespace
