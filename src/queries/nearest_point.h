// The steps of the nearest-point query, internal to the library (tests reach them here).
//
// f(t) = (B(t) - P) . B'(t) vanishes where the vector from P to the curve is perpendicular to the
// curve. It is a quintic, kept in Bernstein form over [0, 1] as a control polygon of six points
// (x = parameter position, y = coefficient); its roots are isolated by halving the polygon.
#ifndef CRV_QUERIES_NEAREST_POINT_H
#define CRV_QUERIES_NEAREST_POINT_H

#include "crv/crv.hpp"

namespace crv::nearest {

// A control point of the distance quintic, or of one of its halves.
struct ControlPoint {
  double x;  // parameter position in [0, 1]
  double y;  // Bernstein coefficient
};

constexpr int kDegree = 5;

// Halving stops at this depth: the interval is then 2^-64 wide, below the spacing of doubles
// near any parameter above 2^-12.
constexpr int kMaxDepth = 64;

// The six control points of f for the point p and the curve v[4].
void BuildDistanceQuintic(GEO_Vector2T<double> p, const GEO_Vector2T<double> v[4],
                          ControlPoint w[kDegree + 1]);

// The roots of the polygon's curve in its interval, ascending, at most `capacity` of them written
// to store[]; returns how many were written. An interval with one sign change yields its chord's
// axis crossing once the polygon is flat. At depth kMaxDepth an interval that still has sign
// changes, one or more, yields its midpoint once; so does a double root that rounding never
// separates. Roots beyond `capacity` are dropped (the largest ones).
int FindQuinticRoots(const ControlPoint w[kDegree + 1], int depth, double* store, int capacity);

// The point at t of the cubic with control points v[0..3], by de Casteljau.
ControlPoint CubicPointAt(const ControlPoint v[4], double t);

}  // namespace crv::nearest

#endif
