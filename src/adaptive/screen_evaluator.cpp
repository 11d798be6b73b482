// Projection of a 3-D cubic into a run of screen-space 2-D cubics.
//
// A perspective transform does not map a cubic to a cubic, but over a short enough piece the
// cubic of the projected control points is close to the projected curve. The evaluator halves the
// parameter interval until that cubic stays within the screen tolerance of the true projection at
// two test points of each piece, then the run is cut at the midpoints it reported.
#include "adaptive/screen_evaluator.h"

#include "core/casteljau.h"
#include "core/evaluate.h"

namespace {

// Throws a host code as an int, the typed functions' only way of reporting a failure.
inline void ThrowIfFailed(int32_t code) {
  if (code != 0) throw static_cast<int>(code);
}

// The piece [t0, t1] of a curve, the middle part of its three-way split.
CRV_CurveClass3D Piece(const CRV_CurveClass3D& curve, double t0, double t1) {
  CRV_CurveClass3D before, piece, after;
  CRV_SubdivideCurve(curve, t0, t1, &before, &piece, &after);
  return piece;
}

// Whether the projected cubic q misses the screen point s by more than the tolerance, measured to
// the nearest point of q. Squared distances in screen units.
bool Misses(const CRV_CurveClass2D& q, const double s[2], double toleranceSq) {
  const double u = CRV_NearestPointOnCurve(GEO_Vector2T<double>{s[0], s[1]}, q);
  double e[2];
  crv::PointAtXY(*q.Curve(), u, e);
  return (e[1] - s[1]) * (e[1] - s[1]) + (e[0] - s[0]) * (e[0] - s[0]) > toleranceSq;
}

}  // namespace

namespace crv {

CRV_CurveClass2D ProjectControlPoints(const GEO_Matrix4& transform,
                                      const CRV_CurveClass3D& piece) {
  double xyz[12];
  for (int i = 0; i < 4; ++i) {
    xyz[3 * i] = piece.points[i].x;
    xyz[3 * i + 1] = piece.points[i].y;
    xyz[3 * i + 2] = piece.points[i].z;
  }
  ThrowIfFailed(GEO_Transform3DFloatPoints(&transform, 4, xyz));
  CRV_CurveClass2D q;
  for (int i = 0; i < 4; ++i) q.points[i] = GEO_Vector2T<double>{xyz[3 * i], xyz[3 * i + 1]};
  return q;
}

}  // namespace crv

bool CRVp_3DScreenCurveAdaptiveEvaluator<3, GEO_Vector3T<double>>::NeedsSubdivision(
    uint32_t depth, double t0, double t1, const CRV_CurveClass3D& curve) {
  if (depth > kLastHalvedDepth) return false;
  const CRV_CurveClass2D q = crv::ProjectControlPoints(screenTransform, Piece(curve, t0, t1));

  // The true projection at the piece's quarter points, both points in one transform.
  const double span = t1 - t0;
  double s[6];
  crv::PointAt(*curve.Curve(), t0 + span * 0.25, s);
  crv::PointAt(*curve.Curve(), t0 + span * 0.75, s + 3);
  ThrowIfFailed(GEO_Transform3DFloatPoints(&screenTransform, 2, s));

  const double s1[2] = {s[0], s[1]}, s3[2] = {s[3], s[4]};
  const double toleranceSq = screenTolerance * screenTolerance;
  return Misses(q, s1, toleranceSq) || Misses(q, s3, toleranceSq);
}

void CRVp_3DScreenCurveAdaptiveEvaluator<3, GEO_Vector3T<double>>::AddParameter(
    double t, const CRV_CurveClass3D& /*curve*/) {
  paramValues.push_back(t);
}

void CRV_3DScreenCurveAdaptiveEvaluator(double tolerance, const GEO_Matrix4& transform,
                                        const CRV_CurveClass3D& curve,
                                        std::vector<CRV_CurveClass2D>* out) {
  CRVp_3DScreenCurveAdaptiveEvaluator<3, GEO_Vector3T<double>> evaluator(transform, curve,
                                                                         tolerance);
  CRV_EvaluateAdaptively(0.0, 1.0, curve, &evaluator);

  // Cut the copy at each reported parameter in turn: what is left after a cut at prev is the
  // piece [prev, 1].
  CRV_CurveClass3D rest(evaluator.sourceCurve), piece, next;
  double prev = 0.0;
  for (const double t : evaluator.paramValues) {
    if (!(t > 0.0)) continue;  // the leading 0
    CRV_SubdivideCurve(rest, crv::ParameterInRemainder(t, prev), &piece, &next);
    rest = next;
    prev = t;
    out->push_back(crv::ProjectControlPoints(evaluator.screenTransform, piece));
  }
}
