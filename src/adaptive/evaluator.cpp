// The abstract adaptive evaluator and the typed driver that walks a curve class with it.
#include "crv/crv.hpp"

// Out of line, so that the vtable and typeinfo of each instantiation are emitted here, once, and
// exported with the destructor: derived classes in other shared objects refer to these.
template <int N, typename V>
CRV_CurveAdaptiveEvaluator<N, V>::~CRV_CurveAdaptiveEvaluator() = default;

template class CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>;
template class CRV_CurveAdaptiveEvaluator<3, GEO_Vector3T<double>>;

namespace {

// Reports the midpoint of every piece that needs no halving, left to right. The whole interval
// (depth 0) reports nothing of its own: its ends are reported by the caller.
template <int N, typename V>
void Visit(double a, double b, uint32_t depth, const CRV_CurveClass<N, V>& curve,
           CRV_CurveAdaptiveEvaluator<N, V>* evaluator) {
  const double m = (a + b) * 0.5;
  if (!evaluator->NeedsSubdivision(depth, a, b, curve)) {
    if (depth != 0) evaluator->AddParameter(m, curve);
    return;
  }
  Visit(a, m, depth + 1, curve, evaluator);
  Visit(m, b, depth + 1, curve, evaluator);
}

}  // namespace

template <int N, typename V>
void CRV_EvaluateAdaptively(double t0, double t1, const CRV_CurveClass<N, V>& curve,
                            CRV_CurveAdaptiveEvaluator<N, V>* evaluator) {
  evaluator->AddParameter(t0, curve);
  Visit(t0, t1, 0, curve, evaluator);
  evaluator->AddParameter(t1, curve);
}

template CRV_API void CRV_EvaluateAdaptively<2, GEO_Vector2T<double>>(
    double, double, const CRV_CurveClass2D&, CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>*);
template CRV_API void CRV_EvaluateAdaptively<3, GEO_Vector3T<double>>(
    double, double, const CRV_CurveClass3D&, CRV_CurveAdaptiveEvaluator<3, GEO_Vector3T<double>>*);
