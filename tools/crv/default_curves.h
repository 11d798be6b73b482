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

// The easing curve of the CSS keyword "ease", cubic-bezier(0.25, 0.1, 0.25, 1): time on x, the
// eased value on y, both from 0 to 1.
inline CRV_CurveClass2D DefaultEasing() {
  return CRV_CurveClass2D({0, 0}, {0.25, 0.1}, {0.25, 1}, {1, 1});
}

// A function curve that overshoots and dips: value against time over 100 frames, with a steep
// middle that adaptive flattening has to cut finely and flat ends it can leave coarse.
inline CRV_CurveClass2D DefaultFunctionCurve() {
  return CRV_CurveClass2D({0, 0}, {45, 10}, {55, 110}, {100, 100});
}

}  // namespace crvtool

#endif
