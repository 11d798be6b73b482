// The nearest-point query as the tool asks it: on large curves in a frame where the library's
// root search is accurate. `crv nearest` and `crv accuracy` share it.
#ifndef CRV_TOOL_NEAREST_H
#define CRV_TOOL_NEAREST_H

#include "crv/crv.hpp"

namespace crvtool {

// The largest side of the control points' box up to which CRV_NearestPointOnCurve's distance
// stays within 1e-6 of that side on every curve and point `crv accuracy` measures (its table
// "CRV_NearestPointOnCurve by size" gives the limit, include/crv/crv.hpp states it). The flatness
// test of the root search compares a squared length with a fixed 2^-65, so past this size it
// accepts a root too early.
constexpr double kNearestAccurateSize = 1e4;

// The largest side of the box of the control points.
double ControlBoxSide(const CRV_CurveClass2D& c);

// CRV_NearestPointOnCurve on the curve and point moved by the box's lower corner and scaled by
// the power of two that brings the box's largest side into [0.5, 1). The parameter of the
// nearest point does not change under translation and scaling, and a power of two scales
// without rounding, so only the subtraction rounds (by half an ulp of the coordinates).
double NearestInUnitBox(GEO_Vector2T<double> point, const CRV_CurveClass2D& c);

}  // namespace crvtool

#endif
