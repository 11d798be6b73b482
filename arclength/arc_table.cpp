// Building the arc-length table: sampling the curve at evenly spaced parameters and summing the
// straight distances between consecutive samples into a caller-owned host list.
#include "arclength/arc_table.h"

#include <cmath>
#include <cstring>

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
  const double relative = hi * 1e-6;
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

int32_t CreateArcTable(SEQ_ListH* table) {
  int32_t code = SEQ_New(0, kArcTableItemSize, kArcTableGrowBy, 1, table);
  if (code != 0) return code;
  return SEQ_SetFuncs(*table, 3, kArcTableFuncs);
}

int32_t HasRetractedHandles(const CRV_Curve& curve, bool* retracted) {
  bool near = true;
  for (int i = 0; near && i < curve.dims; ++i) {
    near = NearInSinglePrecision(curve.ctpts[1][i], curve.ctpts[0][i]) &&
           NearInSinglePrecision(curve.ctpts[2][i], curve.ctpts[3][i]);
  }
  *retracted = near;
  return 0;
}

int32_t ChordLength(const CRV_Curve& curve, double* length) {
  double sum = 0.0;
  for (int i = 0; i < curve.dims; ++i) {
    const double d = curve.ctpts[0][i] - curve.ctpts[3][i];
    sum = sum + d * d;
  }
  *length = std::sqrt(sum);
  return 0;
}

int32_t StepDistance2D(const CRV_Curve& curve, double t, double prev[2], double* distance) {
  // A two-dimensional view of the record: only x and y are evaluated (and written).
  CRV_Curve plane = curve;
  plane.dims = 2;
  double point[2];
  CRV_EvaluatePoint(&plane, t, point);
  const double dx = point[0] - prev[0];
  const double dy = point[1] - prev[1];
  *distance = std::sqrt(dx * dx + dy * dy);
  prev[0] = point[0];
  prev[1] = point[1];
  return 0;
}

int32_t FillArcTable(const CRV_Curve& curve, int32_t n, SEQ_ListH table, double* length) {
  // One sample is the least a table holds: it keeps entry (0, 0), and the final truncation never
  // asks for a negative count.
  if (n < 1) n = 1;
  // 1/(n - 1) in double; with one sample there is no step to take.
  const double dt = n > 1 ? 1.0 / static_cast<double>(n - 1) : 0.0;

  ArcTableEntry entry{0.0, 0.0};
  int32_t code = StoreAt(table, 0, &entry);
  double s = 0.0;
  // Only 2- and 3-dimensional curves are measured; the point buffers are sized for those.
  if (code == 0 && curve.dims == 2) {
    double prev[2];
    CRV_EvaluatePoint(&curve, 0.0, prev);
    double t = dt;
    for (int32_t i = 1; i < n; ++i) {
      double d;
      StepDistance2D(curve, t, prev, &d);
      s = s + d;
      entry = {t, s};
      if ((code = StoreAt(table, i, &entry)) != 0) break;
      t = t + dt;
    }
  } else if (code == 0 && curve.dims == 3) {
    double prev[3];
    double cur[3];
    CRV_EvaluatePoint(&curve, 0.0, prev);
    double t = dt;
    for (int32_t i = 1; i < n; ++i) {
      CRV_EvaluatePoint(&curve, t, cur);
      const double dx = cur[0] - prev[0];
      const double dy = cur[1] - prev[1];
      const double dz = cur[2] - prev[2];
      s = s + std::sqrt((dy * dy + dx * dx) + dz * dz);
      entry = {t, s};
      if ((code = StoreAt(table, i, &entry)) != 0) break;
      prev[0] = cur[0];
      prev[1] = cur[1];
      prev[2] = cur[2];
      t = t + dt;
    }
  }
  *length = s;
  if (code != 0) return code;
  return SEQ_SetNumItems(n, table, 0);
}

}  // namespace crv

int32_t CRV_BuildArcTable(const CRV_Curve* curve, int32_t n, SEQ_ListH* table, double* length) {
  if (*table == nullptr) {
    const int32_t code = crv::CreateArcTable(table);
    if (code != 0) return code;
  }
  return crv::FillArcTable(*curve, n, *table, length);
}
