// The evaluator behind CRV_3DScreenCurveAdaptiveEvaluator: halves a 3-D curve until the cubic of
// each piece's projected control points follows the piece's true projection within a screen
// tolerance.
#ifndef CRV_ADAPTIVE_SCREEN_EVALUATOR_H
#define CRV_ADAPTIVE_SCREEN_EVALUATOR_H

#include <vector>

#include "crv/crv.hpp"

// Declared for N = 3 only: a screen projection starts from 3-D points.
template <int N, typename V>
class CRVp_3DScreenCurveAdaptiveEvaluator;

template <>
class CRVp_3DScreenCurveAdaptiveEvaluator<3, GEO_Vector3T<double>> final
    : public CRV_CurveAdaptiveEvaluator<3, GEO_Vector3T<double>> {
 public:
  // The deepest pieces that may still be halved: pieces end at depth 11 at the latest, so a
  // projection takes at most 2^11 pieces and 2^12 - 1 tests however tight its tolerance.
  static constexpr uint32_t kLastHalvedDepth = 10;

  CRVp_3DScreenCurveAdaptiveEvaluator(const GEO_Matrix4& transform, const CRV_CurveClass3D& curve,
                                      double tolerance)
      : screenTransform(transform), sourceCurve(curve), screenTolerance(tolerance) {}

  // Whether the projected control points of [t0, t1] leave the true projection of the piece, at
  // its parameters 1/4 and 3/4, by more than the tolerance (measured to the nearest point of the
  // projected cubic). A failing transform throws its code as an int.
  bool NeedsSubdivision(uint32_t depth, double t0, double t1,
                        const CRV_CurveClass3D& curve) override;

  void AddParameter(double t, const CRV_CurveClass3D& curve) override;

  GEO_Matrix4 screenTransform;
  std::vector<double> paramValues;  // as received: t0, the accepted midpoints, t1
  CRV_CurveClass3D sourceCurve;
  double screenTolerance;
};

namespace crv {

// The 2-D cubic whose control points are x and y of the piece's control points under the
// transform. A failing transform throws its code as an int.
CRV_CurveClass2D ProjectControlPoints(const GEO_Matrix4& transform, const CRV_CurveClass3D& piece);

}  // namespace crv

#endif
