// Hidden visibility and hidden inlines: links only if the library exports the base class's
// destructor, vtable and typeinfo.
#include "caller_plugin.h"

namespace {
struct Collector final : PluginBase {
  explicit Collector(unsigned d) : depth(d) {}
  bool NeedsSubdivision(uint32_t d, double, double, const CRV_CurveClass2D&) override { return d < depth; }
  void AddParameter(double t, const CRV_CurveClass2D&) override { parameters.push_back(t); }
  unsigned depth;
  std::vector<double> parameters;
};
}  // namespace

PluginBase* PluginMakeEvaluator(unsigned depth) { return new Collector(depth); }
const std::vector<double>& PluginParameters(const PluginBase* e) {
  return static_cast<const Collector*>(e)->parameters;
}
const std::type_info& PluginBaseType() { return typeid(PluginBase); }
bool PluginOwns(PluginBase* evaluator) { return dynamic_cast<Collector*>(evaluator) != nullptr; }
