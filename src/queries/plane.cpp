// Where a 3-D curve meets a plane: the roots in [0, 1] of the plane function along the curve.
#include <algorithm>
#include <vector>

#include "crv/crv.hpp"
#include "queries/polynomial.h"

namespace {

using Polynomial = crv::CRVp_Polynomial<double>;

// One coordinate of the curve in power form, from expanding the Bernstein basis:
//   B(t) = p0 + (3 p1 - 3 p0) t + (3 p0 - 6 p1 + 3 p2) t^2 + (-p0 + 3 p1 - 3 p2 + p3) t^3.
Polynomial PowerForm(double p0, double p1, double p2, double p3) {
  const double c[4] = {p0, 3.0 * p1 - 3.0 * p0, (3.0 * p0 - 6.0 * p1) + 3.0 * p2,
                       ((3.0 * p1 - p0) - 3.0 * p2) + p3};
  Polynomial p;
  p.SetCoefficients(3, c);
  return p;
}

// The ascending order of `<` on numbers, with every NaN after all numbers. On vectors without
// NaN it answers exactly as `<` does, so the sort runs the same; a NaN a caller left in the
// vector would break `<`'s ordering, which lets the sort run past the ends of its range.
bool AscendingNaNLast(double a, double b) { return a < b || (b != b && a == a); }

}  // namespace

void CRV_IntersectPlane(const CRV_CurveClass<3, GEO_Vector3T<double>>& curve,
                        const GEO_PlaneEq& plane, std::vector<double>* result) {
  const GEO_Vector3T<double>* p = curve.points;
  const Polynomial x = PowerForm(p[0].x, p[1].x, p[2].x, p[3].x);
  const Polynomial y = PowerForm(p[0].y, p[1].y, p[2].y, p[3].y);
  const Polynomial z = PowerForm(p[0].z, p[1].z, p[2].z, p[3].z);
  const Polynomial cz = Polynomial::Multiply(Polynomial(plane.c), z);
  const Polynomial by = Polynomial::Multiply(Polynomial(plane.b), y);
  const Polynomial ax = Polynomial::Multiply(Polynomial(plane.a), x);
  const Polynomial f =
      Polynomial::Add(Polynomial::Add(Polynomial::Add(ax, by), cz), Polynomial(plane.d));
  f.RootsInInterval(0.0, 1.0, result);
  std::sort(result->begin(), result->end(), AscendingNaNLast);
}
