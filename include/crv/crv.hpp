// CRV: typed C++ interface on fixed-dimension curves. Includes the plain C interface.
#ifndef CRV_CRV_HPP
#define CRV_CRV_HPP

#include <vector>

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

// ---- Adaptive evaluation

// Decides, piece by piece, how finely CRV_EvaluateAdaptively cuts a curve, and receives the
// parameters it settles on. Callers derive from it, also in their own shared objects: the
// destructor, the vtable and the typeinfo of both instantiations live in the library and are
// exported, so a derived class built with hidden visibility (and hidden inlines) still shares
// them.
template <int N, typename V>
class CRV_API CRV_CurveAdaptiveEvaluator {
 public:
  virtual ~CRV_CurveAdaptiveEvaluator();

  // True when the piece [t0, t1] at `depth` (0 for the whole interval) must be halved. The driver
  // has no depth limit: this must eventually answer false on every branch.
  virtual bool NeedsSubdivision(uint32_t depth, double t0, double t1,
                                const CRV_CurveClass<N, V>& curve) = 0;

  // Receives the parameters in increasing order (see CRV_EvaluateAdaptively).
  virtual void AddParameter(double t, const CRV_CurveClass<N, V>& curve) = 0;
};

extern template class CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>;
extern template class CRV_CurveAdaptiveEvaluator<3, GEO_Vector3T<double>>;

// Drives `evaluator` over [t0, t1]: a piece [a, b] at depth d that NeedsSubdivision(d, a, b)
// is halved at m = (a + b) 0.5 into [a, m] and [m, b] at depth d + 1, left first. The evaluator
// receives t0, then the midpoint m of every piece that was not halved, in increasing order (none
// when the whole interval passes at depth 0), then t1; split points are not reported. What the
// evaluator throws travels on to the caller.
template <int N, typename V>
CRV_API void CRV_EvaluateAdaptively(double t0, double t1, const CRV_CurveClass<N, V>& curve,
                                    CRV_CurveAdaptiveEvaluator<N, V>* evaluator);

extern template CRV_API void CRV_EvaluateAdaptively<2, GEO_Vector2T<double>>(
    double, double, const CRV_CurveClass2D&, CRV_CurveAdaptiveEvaluator<2, GEO_Vector2T<double>>*);
extern template CRV_API void CRV_EvaluateAdaptively<3, GEO_Vector3T<double>>(
    double, double, const CRV_CurveClass3D&, CRV_CurveAdaptiveEvaluator<3, GEO_Vector3T<double>>*);

// Appends to *out the 2-D screen-space cubics that stand for the 3-D curve under `transform`
// (taken through GEO_Transform3DFloatPoints; x and y of its result are screen coordinates): the
// curve is halved until, for each piece, the cubic of its projected control points lies within
// `tolerance` (screen units) of the true projection at the piece's parameters 1/4 and 3/4, or
// until depth 11; then one cubic per piece, in parameter order, is appended (out is not cleared).
// An affine transform passes at depth 0 and gives exactly one cubic; a tolerance of 0 under a
// perspective transform gives 2^11 + 1 = 2049 cubics (the cuts fall at the midpoints of the
// accepted pieces, so the first and last cubics cover half a depth-11 piece each).
// A failing transform throws its code as an int, and a failing allocation the vector's exception;
// cubics appended before that stay in *out.
CRV_API void CRV_3DScreenCurveAdaptiveEvaluator(double tolerance, const GEO_Matrix4& transform,
                                                const CRV_CurveClass3D& curve,
                                                std::vector<CRV_CurveClass2D>* out);

// ---- Nearest point

// The parameter t in [0, 1] of the curve point nearest to `point` (not the point itself). The
// roots of (B(t) - point) . B'(t), a quintic, are isolated by halving its Bernstein control
// polygon and compared with both ends by squared distance. Ties go to the earlier contender: t = 0
// beats any root, a smaller root a larger one, and t = 1 wins only when strictly nearer than all.
// Degenerate input: coincident control points, or a NaN in the point, give 0. Halving stops at
// depth 64, where an interval still holding a sign change contributes its midpoint once (also
// when it holds two or more: a double root that rounding never separates), and at most five roots
// are kept. Allocates nothing, calls no host service, never fails.
// Accuracy depends on the size of the curve: the flatness test of the search compares a squared
// length with the fixed 2^-65, so it accepts roots early on large curves and late on small ones.
// Measured (docs/accuracy.md, "by size"), the distance found stays within 1e-6 of the control
// box's largest side for sides from 1e-5 to 1e5, and is off by up to 38% of the side from 1e7
// on. A caller with larger or smaller curves translates the curve and point by the box's lower
// corner and scales both by a power of two into the unit box first (t does not change under
// either; docs/host-integration.md shows it), which keeps the error near 1e-19 of the side.
CRV_API double CRV_NearestPointOnCurve(GEO_Vector2T<double> point, const CRV_CurveClass2D& curve);

// ---- Plane intersection

// Appends the parameters t in [0, 1] where the curve meets the plane a x + b y + c z + d = 0,
// then sorts the whole vector ascending (values already there are kept and sorted with the new
// ones; NaNs a caller left there go last). The roots are those of the plane function along the
// curve, a cubic in t whose leading coefficients below 1e-20 are dropped; the plane need not be
// normalised, and both ends count. Degenerate cases:
//  - a curve lying exactly in the plane (the function is 0): the single parameter 0.0;
//  - a touching point (double root): may come twice, or not at all when the root finder leaves
//    it complex; nearly equal values are not merged;
//  - a curve that misses the plane: nothing appended.
// result must not be null. Allocates only by growing the vector; a growth failure throws the
// vector's exception with the roots appended so far left in it.
CRV_API void CRV_IntersectPlane(const CRV_CurveClass<3, GEO_Vector3T<double>>& curve,
                                const GEO_PlaneEq& plane, std::vector<double>* result);

#endif
