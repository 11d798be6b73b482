// Splitting a curve at one or two parameters, for the plain record and for the curve class.
#include "core/casteljau.h"
#include "core/lanes.h"
#include "crv/crv.hpp"

int32_t CRV_SubdivideCurve(const CRV_Curve* curve, double t, double* out) {
  const int dims = curve->dims;
  const double* const* p = curve->ctpts;
  if (dims == 2) {  // x and y side by side: the same operations per lane
    using crv::Lanes2;
    const crv::SplitPoints<Lanes2> s = crv::SplitAt(Lanes2::Load(p[0]), Lanes2::Load(p[1]),
                                                    Lanes2::Load(p[2]), Lanes2::Load(p[3]), t);
    s.q0.Store(out);
    s.r0.Store(out + 2);
    s.m.Store(out + 4);
    s.r1.Store(out + 6);
    s.q2.Store(out + 8);
    return CRV_ErrNone;
  }
  for (int k = 0; k < dims; ++k) {
    const crv::SplitPoints<double> s = crv::SplitAt(p[0][k], p[1][k], p[2][k], p[3][k], t);
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
  if constexpr (N == 2) {  // x and y side by side: the same operations per lane
    static_assert(sizeof(V) == 2 * sizeof(double), "a 2-D point is x then y");
    using crv::Lanes2;
    const Lanes2 p0 = Lanes2::Load(&curve.points[0].x), p3 = Lanes2::Load(&curve.points[3].x);
    const crv::SplitPoints<Lanes2> s = crv::SplitAt(p0, Lanes2::Load(&curve.points[1].x),
                                                    Lanes2::Load(&curve.points[2].x), p3, t);
    p0.Store(&left->points[0].x);
    s.q0.Store(&left->points[1].x);
    s.r0.Store(&left->points[2].x);
    s.m.Store(&left->points[3].x);
    s.m.Store(&right->points[0].x);
    s.r1.Store(&right->points[1].x);
    s.q2.Store(&right->points[2].x);
    p3.Store(&right->points[3].x);
    return;
  }
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
