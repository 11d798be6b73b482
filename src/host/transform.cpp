// The 3-D point transform with perspective division.
#include <cmath>

#include "faults.h"
#include "host/geo.h"

namespace {

// Each row evaluated left to right in this one place, so the check pass and the write pass see
// the same w bit for bit.
inline double Row(const double (&r)[4], double x, double y, double z) {
  return r[0] * x + r[1] * y + r[2] * z + r[3];
}

}  // namespace

int32_t GEO_Transform3DFloatPoints(const GEO_Matrix4* transform, int32_t count, double* xyz) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  if (transform == nullptr || xyz == nullptr || count < 0) return GEO_ERR_BAD_ARGUMENT;
  const auto& m = transform->m;
  // All points are checked before any is written, so a failure leaves the array untouched.
  // A non-finite coordinate makes w NaN or infinite (0 * inf is NaN), so it fails here too.
  for (int32_t i = 0; i < count; ++i) {
    const double* p = xyz + 3 * static_cast<size_t>(i);
    double w = Row(m[3], p[0], p[1], p[2]);
    if (!(w > 0.0) || !std::isfinite(w)) return GEO_ERR_BEHIND_EYE;
  }
  for (int32_t i = 0; i < count; ++i) {
    double* p = xyz + 3 * static_cast<size_t>(i);
    double x = p[0], y = p[1], z = p[2];
    double w = Row(m[3], x, y, z);
    p[0] = Row(m[0], x, y, z) / w;
    p[1] = Row(m[1], x, y, z) / w;
    p[2] = Row(m[2], x, y, z) / w;
  }
  return 0;
}
