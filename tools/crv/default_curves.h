// Curves the tool works on when the user gives none.
#ifndef CRV_TOOL_DEFAULT_CURVES_H
#define CRV_TOOL_DEFAULT_CURVES_H

#include "crv/crv.hpp"

namespace crvtool {

// An arch: x rises throughout while y peaks between the ends, so its bounds are tighter than the
// control polygon's in y only.
inline CRV_CurveClass2D DefaultCurve2D() {
  return CRV_CurveClass2D({40, 40}, {90, 200}, {260, 220}, {300, 60});
}

// A space curve that turns back in y and z, so both have a bound inside the segment.
inline CRV_CurveClass3D DefaultCurve3D() {
  return CRV_CurveClass3D({0, 0, 0}, {100, 200, -50}, {200, -100, 150}, {300, 100, 0});
}

}  // namespace crvtool

#endif
