// Building the arc-length table: sampling the curve at evenly spaced parameters and summing the
// straight distances between consecutive samples into a caller-owned host list.
#include "arclength/arc_table.h"

#include <cmath>
#include <cstring>

#include "core/evaluate.h"
#include "core/host_adapters/host_lists.h"

namespace crv {

namespace {

// Reads the key field (0: t, 1: s) of an ArcTableEntry handed over as raw list bytes.
inline double KeyOf(const void* item, int field) {
  double key;
  std::memcpy(&key, static_cast<const char*>(item) + field * sizeof(double), sizeof key);
  return key;
}

// 0 when |a - b| < 1e-10, else -1 below and +1 above (also for a NaN difference). Written
// without branches: a search over unpredictable keys would mispredict one at every probe.
inline int32_t CompareKeys(double a, double b) {
  const double d = a - b;
  const int32_t apart = !(std::fabs(d) < kArcKeyTolerance);
  const int32_t below = d <= -kArcKeyTolerance;
  return apart - 2 * below;
}

// The block installed with every new table. Static, since a host may keep the pointer rather
// than copy the three entries.
void* const kArcTableFuncs[3] = {nullptr, nullptr,
                                 reinterpret_cast<void*>(&CompareArcEntriesByT)};

// Handles count as retracted when they lie within a millionth of the coordinate's magnitude of
// their end point: about eight units in the last place of a single-precision coordinate, so what
// a host stored as "on the end point" in single precision passes.
constexpr double kRetractedRelative = 1e-6;
// 563 * 2^-20 (about 5.4e-4, length units): the absolute floor of the nearness test, which near
// zero would otherwise demand equality from coordinates already rounded to single precision.
constexpr double kRetractedFloor = 563.0 / 1048576.0;

// Nearness of two coordinates after rounding both to single precision: the difference must be
// below 1e-6 of the larger (by magnitude, when both are negative) or below the floor.
bool NearInSinglePrecision(double a, double b) {
  const double fa = static_cast<double>(static_cast<float>(a));
  const double fb = static_cast<double>(static_cast<float>(b));
  double hi = fa > fb ? fa : fb;
  double lo = fa > fb ? fb : fa;
  if (hi < 0.0) {
    const double mirrored = -lo;
    lo = -hi;
    hi = mirrored;
  }
  const double relative = hi * kRetractedRelative;
  const double tolerance = relative > kRetractedFloor ? relative : kRetractedFloor;
  return hi - lo < tolerance;
}

}  // namespace

int32_t CompareArcEntriesByT(void* /*refcon*/, int32_t /*flags*/, const void* a, const void* b) {
  return CompareKeys(KeyOf(a, 0), KeyOf(b, 0));
}

int32_t CompareArcEntriesByS(void* /*refcon*/, int32_t /*flags*/, const void* a, const void* b) {
  return CompareKeys(KeyOf(a, 1), KeyOf(b, 1));
}

bool HasRetractedHandles(const CRV_Curve& curve) {
  bool near = true;
  for (int i = 0; near && i < curve.dims; ++i) {
    near = NearInSinglePrecision(curve.ctpts[1][i], curve.ctpts[0][i]) &&
           NearInSinglePrecision(curve.ctpts[2][i], curve.ctpts[3][i]);
  }
  return near;
}

double ChordLength(const CRV_Curve& curve) {
  double sum = 0.0;
  for (int i = 0; i < curve.dims; ++i) {
    const double d = curve.ctpts[0][i] - curve.ctpts[3][i];
    sum = sum + d * d;
  }
  return std::sqrt(sum);
}

namespace {

// Evaluates B(t), returns its straight distance from prev and makes it the new prev: x and y
// only, or x, y and z, with the squares summed in the order the table's lengths are pinned to.
double StepDistance2D(const CRV_Curve& curve, double t, double prev[2]) {
  double point[2];
  PointAtXY(curve, t, point);
  const double dx = point[0] - prev[0];
  const double dy = point[1] - prev[1];
  prev[0] = point[0];
  prev[1] = point[1];
  return std::sqrt(dx * dx + dy * dy);
}
// `space` must be a record whose dims the compiler sees to be 3 (FillSamples makes it so), so that
// the evaluation is known to write exactly three coordinates.
double StepDistance3D(const CRV_Curve& space, double t, double prev[3]) {
  double point[3];
  PointAt(space, t, point);
  const double dx = point[0] - prev[0];
  const double dy = point[1] - prev[1];
  const double dz = point[2] - prev[2];
  prev[0] = point[0];
  prev[1] = point[1];
  prev[2] = point[2];
  return std::sqrt((dy * dy + dx * dx) + dz * dz);
}

// Stores entries 1 .. n - 1 of a D-dimensional curve: t rising by dt (accumulated), s the running
// sum of sample distances. Stops at the first failing store; *length gets the sum reached.
template <int D>
int32_t FillSamples(const CRV_Curve& curve, int32_t n, double dt, SEQ_ListH table,
                    double* length) {
  // The caller checked dims == D; a copy that says so lets the evaluations write D coordinates.
  CRV_Curve fixed = curve;
  fixed.dims = D;
  double prev[D];
  if constexpr (D == 2)
    PointAtXY(fixed, 0.0, prev);  // the optimiser does not always see fixed.dims through PointAt
  else
    PointAt(fixed, 0.0, prev);
  double s = 0.0;
  double t = dt;
  int32_t code = 0;
  for (int32_t i = 1; i < n; ++i) {
    s = s + (D == 2 ? StepDistance2D(fixed, t, prev) : StepDistance3D(fixed, t, prev));
    const ArcTableEntry entry{t, s};
    if ((code = StoreAt(table, i, &entry)) != 0) break;
    t = t + dt;
  }
  *length = s;
  return code;
}

}  // namespace

int32_t FillArcTable(const CRV_Curve& curve, int32_t n, SEQ_ListH table, double* length) {
  // One sample is the least a table holds: it keeps entry (0, 0), and the final truncation never
  // asks for a negative count.
  if (n < 1) n = 1;
  // 1/(n - 1) in double; with one sample there is no step to take.
  const double dt = n > 1 ? 1.0 / static_cast<double>(n - 1) : 0.0;

  const ArcTableEntry first{0.0, 0.0};
  *length = 0.0;
  int32_t code = StoreAt(table, 0, &first);
  if (code != 0) return code;
  // Only 2- and 3-dimensional curves are measured; the point buffers are sized for those.
  if (curve.dims == 2) code = FillSamples<2>(curve, n, dt, table, length);
  if (curve.dims == 3) code = FillSamples<3>(curve, n, dt, table, length);
  if (code != 0) return code;
  return SEQ_SetNumItems(n, table, 0);
}

}  // namespace crv

int32_t CRV_BuildArcTable(const CRV_Curve* curve, int32_t n, SEQ_ListH* table, double* length) {
  bool created = false;
  int32_t code = crv::UseOrCreateList(table, crv::kArcTableItemSize, crv::kArcTableGrowBy, &created);
  if (code != 0) return code;
  if (created && (code = SEQ_SetFuncs(*table, 3, crv::kArcTableFuncs)) != 0) return code;
  return crv::FillArcTable(*curve, n, *table, length);
}
