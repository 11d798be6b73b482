// Splitting a curve at one or two parameters, for the plain record and for the curve class.
#include "core/casteljau.h"
#include "crv/crv.hpp"

int32_t CRV_SubdivideCurve(const CRV_Curve* curve, double t, double* out) {
  const int dims = curve->dims;
  for (int k = 0; k < dims; ++k) {
    const crv::SplitPoints<double> s = crv::SplitAt(curve->ctpts[0][k], curve->ctpts[1][k],
                                                    curve->ctpts[2][k], curve->ctpts[3][k], t);
    out[k] = s.q0;
    out[dims + k] = s.r0;
    out[2 * dims + k] = s.m;
    out[3 * dims + k] = s.r1;
    out[4 * dims + k] = s.q2;
  }
  return CRV_ErrNone;
}

template <int N, typename V>
void CRV_SubdivideCurve(const CRV_CurveClass<N, V>& curve, double t, CRV_CurveClass<N, V>* left,
                        CRV_CurveClass<N, V>* right) {
  const V p0 = curve.points[0], p3 = curve.points[3];
  const crv::SplitPoints<V> s = crv::SplitAt(p0, curve.points[1], curve.points[2], p3, t);
  left->points[0] = p0;
  left->points[1] = s.q0;
  left->points[2] = s.r0;
  left->points[3] = s.m;
  right->points[0] = s.m;
  right->points[1] = s.r1;
  right->points[2] = s.q2;
  right->points[3] = p3;
}

template <int N, typename V>
void CRV_SubdivideCurve(const CRV_CurveClass<N, V>& curve, double t1, double t2,
                        CRV_CurveClass<N, V>* first, CRV_CurveClass<N, V>* second,
                        CRV_CurveClass<N, V>* third) {
  CRV_CurveClass<N, V> rest;
  CRV_SubdivideCurve(curve, t1, first, &rest);
  CRV_SubdivideCurve(rest, crv::ParameterInRemainder(t2, t1), second, third);
}

template CRV_API void CRV_SubdivideCurve<2, GEO_Vector2T<double>>(
    const CRV_CurveClass2D&, double, CRV_CurveClass2D*, CRV_CurveClass2D*);
template CRV_API void CRV_SubdivideCurve<3, GEO_Vector3T<double>>(
    const CRV_CurveClass3D&, double, CRV_CurveClass3D*, CRV_CurveClass3D*);
template CRV_API void CRV_SubdivideCurve<2, GEO_Vector2T<double>>(
    const CRV_CurveClass2D&, double, double, CRV_CurveClass2D*, CRV_CurveClass2D*,
    CRV_CurveClass2D*);
template CRV_API void CRV_SubdivideCurve<3, GEO_Vector3T<double>>(
    const CRV_CurveClass3D&, double, double, CRV_CurveClass3D*, CRV_CurveClass3D*,
    CRV_CurveClass3D*);
