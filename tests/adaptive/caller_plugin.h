// A caller's own shared object deriving an adaptive evaluator, as a host plug-in would.
#pragma once
#include <typeinfo>

#include "crv/crv.hpp"

using PluginBase = CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>;
#define PLUGIN_API __attribute__((visibility("default")))
// An evaluator that halves pieces above `depth`; Parameters gives what it received.
PLUGIN_API PluginBase* PluginMakeEvaluator(unsigned depth);
PLUGIN_API const std::vector<double>& PluginParameters(const PluginBase* evaluator);
PLUGIN_API const std::type_info& PluginBaseType();
PLUGIN_API bool PluginOwns(PluginBase* evaluator);  // a dynamic_cast through the shared base
