// A caller's own shared object that derives an adaptive evaluator, as a host plug-in would.
#ifndef CRV_TESTS_ADAPTIVE_CALLER_PLUGIN_H
#define CRV_TESTS_ADAPTIVE_CALLER_PLUGIN_H

#include <typeinfo>

#include "crv/crv.hpp"

#define PLUGIN_API __attribute__((visibility("default")))

// An evaluator that halves every piece above `depth` and keeps the parameters it receives.
PLUGIN_API CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>* PluginMakeEvaluator(unsigned depth);

// The parameters the plug-in's evaluator received, and their count.
PLUGIN_API int PluginParameters(const CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>* evaluator,
                                double* out, int capacity);

// The base class as the plug-in sees it.
PLUGIN_API const std::type_info& PluginBaseType();

// Whether the plug-in recognises `evaluator` as its own class, through the shared base.
PLUGIN_API bool PluginOwns(CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>* evaluator);

#endif
