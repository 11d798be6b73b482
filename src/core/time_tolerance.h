// The one tolerance on time differences of function curves.
#ifndef CRV_CORE_TIME_TOLERANCE_H
#define CRV_CORE_TIME_TOLERANCE_H

namespace crv {

// A difference in time (x, absolute, in the curve's time units) below 1e-12 counts as none: a
// segment that spans less time, or a tangent whose time advances less per unit of parameter, is
// taken as vertical rather than divided by almost nothing. Far below any time step a host keys
// (frames are about 1e-2 apart), far above the rounding of times near 1 (about 1e-16).
constexpr double kTimeEpsilon = 1e-12;

}  // namespace crv

#endif
