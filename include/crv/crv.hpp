// CRV: typed C++ interface on fixed-dimension curves. Includes the plain C interface.
#ifndef CRV_CRV_HPP
#define CRV_CRV_HPP

#include "crv/crv.h"
#include "host/geo.h"

// A cubic of fixed dimension N with control points of vector type V (GEO_Vector2T<double> for
// N = 2, GEO_Vector3T<double> for N = 3). It begins with a CRV_Curve bound to its own points, so
// Curve() (or the object's address) can be passed to every plain function.
//
// Invariant: record.ctpts[i] always points to points[i]. Construction binds the pointers and
// copying rebinds them; assignment copies dims and points and keeps the target's own binding.
template <int N, typename V>
class CRV_API CRV_CurveClass {
 public:
  CRV_Curve record;
  V points[4];

  // Binds the record; the points are left unset.
  CRV_CurveClass() {
    record.dims = N;
    Bind();
  }
  CRV_CurveClass(const V& p0, const V& p1, const V& p2, const V& p3) : CRV_CurveClass() {
    points[0] = p0;
    points[1] = p1;
    points[2] = p2;
    points[3] = p3;
  }
  CRV_CurveClass(const CRV_CurveClass& other) {
    record.dims = other.record.dims;
    Bind();
    for (int i = 0; i < 4; ++i) points[i] = other.points[i];
  }
  CRV_CurveClass& operator=(const CRV_CurveClass& other) {
    record.dims = other.record.dims;
    for (int i = 0; i < 4; ++i) points[i] = other.points[i];
    return *this;
  }

  const CRV_Curve* Curve() const { return &record; }
  CRV_Curve* Curve() { return &record; }

 private:
  void Bind() {
    for (int i = 0; i < 4; ++i) record.ctpts[i] = &points[i].x;
  }
};

using CRV_CurveClass2D = CRV_CurveClass<2, GEO_Vector2T<double>>;
using CRV_CurveClass3D = CRV_CurveClass<3, GEO_Vector3T<double>>;

// Splits at t: *left receives the part for [0, t], *right the part for [t, 1]. The outputs must
// be distinct from the input (they may not alias it) and are written after the split is complete.
template <int N, typename V>
CRV_API void CRV_SubdivideCurve(const CRV_CurveClass<N, V>& curve, double t,
                                CRV_CurveClass<N, V>* left, CRV_CurveClass<N, V>* right);

// Splits at t1 and t2 (0 <= t1 <= t2 <= 1): the parts for [0, t1], [t1, t2] and [t2, 1]. With
// t1 = 1 the degenerate remainder is split at 1 rather than dividing by zero.
template <int N, typename V>
CRV_API void CRV_SubdivideCurve(const CRV_CurveClass<N, V>& curve, double t1, double t2,
                                CRV_CurveClass<N, V>* first, CRV_CurveClass<N, V>* second,
                                CRV_CurveClass<N, V>* third);

extern template CRV_API void CRV_SubdivideCurve<2, GEO_Vector2T<double>>(
    const CRV_CurveClass2D&, double, CRV_CurveClass2D*, CRV_CurveClass2D*);
extern template CRV_API void CRV_SubdivideCurve<3, GEO_Vector3T<double>>(
    const CRV_CurveClass3D&, double, CRV_CurveClass3D*, CRV_CurveClass3D*);
extern template CRV_API void CRV_SubdivideCurve<2, GEO_Vector2T<double>>(
    const CRV_CurveClass2D&, double, double, CRV_CurveClass2D*, CRV_CurveClass2D*,
    CRV_CurveClass2D*);
extern template CRV_API void CRV_SubdivideCurve<3, GEO_Vector3T<double>>(
    const CRV_CurveClass3D&, double, double, CRV_CurveClass3D*, CRV_CurveClass3D*,
    CRV_CurveClass3D*);

#endif
