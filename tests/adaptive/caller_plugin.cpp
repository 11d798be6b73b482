// Built with hidden visibility and hidden inlines, as plug-ins usually are: it links only if the
// library exports the base class's destructor, vtable and typeinfo.
#include "caller_plugin.h"

#include <vector>

namespace {

class Collector final : public CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>> {
 public:
  explicit Collector(unsigned depth) : depth_(depth) {}
  bool NeedsSubdivision(uint32_t depth, double, double, const CRV_CurveClass2D&) override {
    return depth < depth_;
  }
  void AddParameter(double t, const CRV_CurveClass2D&) override { parameters.push_back(t); }

  std::vector<double> parameters;

 private:
  unsigned depth_;
};

}  // namespace

CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>* PluginMakeEvaluator(unsigned depth) {
  return new Collector(depth);
}

int PluginParameters(const CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>* evaluator,
                     double* out, int capacity) {
  const auto& p = static_cast<const Collector*>(evaluator)->parameters;
  for (int i = 0; i < capacity && i < static_cast<int>(p.size()); ++i) out[i] = p[i];
  return static_cast<int>(p.size());
}

const std::type_info& PluginBaseType() {
  return typeid(CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>);
}

bool PluginOwns(CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>* evaluator) {
  return dynamic_cast<Collector*>(evaluator) != nullptr;
}
