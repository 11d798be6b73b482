// Lookups in the arc-length table: s from t, t from s, and the point at a distance. Each is one
// sorted search of the caller's table plus one linear interpolation between neighbouring entries.
#include <cmath>
#include <cstdint>

#include "arclength/arc_table.h"
#include "core/evaluate.h"
#include "core/host_adapters/host_lists.h"

namespace {

using crv::ArcTableEntry;

inline double ClampUnit(double x) { return x > 1.0 ? 1.0 : (x < 0.0 ? 0.0 : x); }

// s(t) on the table, for a key in [0, 1] that matched no entry and lies below the last one.
// Entries `index` (hi) and `index` - 1 (lo) are read in place under a lock. The address of lo
// needs no check: items are contiguous, so it is hi's predecessor whatever the host answers.
int32_t InterpolateS(SEQ_ListH table, int32_t index, double t, double* s) {
  return crv::WithLockedList(table, [&]() -> int32_t {
    void* address = nullptr;
    const int32_t code = SEQ_GetAddress(table, index, 0, &address);
    if (code != 0) return code;
    const auto* hi = static_cast<const ArcTableEntry*>(address);
    if (index <= 0) {
      // A key below the first entry: not reached on a table built here, whose first t is 0.
      *s = hi->s;
      return 0;
    }
    const ArcTableEntry* lo = hi - 1;
    if (SEQ_GetAddress(table, index - 1, 0, &address) == 0)
      lo = static_cast<const ArcTableEntry*>(address);
    *s = (t - lo->t) / (hi->t - lo->t) * (hi->s - lo->s) + lo->s;
    return 0;
  });
}

}  // namespace

int32_t CRV_SFromT(const CRV_Curve* curve, double t, int32_t n, SEQ_ListH* table, double* s) {
  if (crv::HasRetractedHandles(*curve)) {
    // The segment runs P0..P3 with the profile 3u^2 - 2u^3, so s is that profile times the chord.
    const double chord = crv::ChordLength(*curve);
    const double u = ClampUnit(t);
    *s = (u * 3.0 * u - u * 2.0 * u * u) * chord;
    return 0;
  }
  if (*table == nullptr) {
    // The total length lands in *s for the moment; the lookup below overwrites it.
    const int32_t code = CRV_BuildArcTable(curve, n, table, s);
    if (code != 0) return code;
  }
  if (std::isnan(t)) {
    *s = t;
    return 0;
  }

  const ArcTableEntry key{ClampUnit(t), 0.0};
  ArcTableEntry match{};
  uint8_t found = 0;
  int32_t index = 0;
  const int32_t code =
      SEQ_GetSortedItem(*table, crv::CompareArcEntriesByT, 0, &key, &found, &match, &index);
  if (code != 0) return code;
  if (found != 0) {
    *s = match.s;
    return 0;
  }
  // Beyond the last entry: only a one-entry table leaves a clamped key there, and its curve is
  // then taken as its chord.
  if (index >= crv::ItemCount(*table)) {
    *s = crv::ChordLength(*curve);
    return 0;
  }
  return InterpolateS(*table, index, t, s);
}

int32_t CRV_TFromS(const CRV_Curve* curve, double s, int32_t n, SEQ_ListH* table, double* t) {
  double total;
  int32_t code = *table == nullptr ? CRV_BuildArcTable(curve, n, table, &total)
                                   : CRV_SFromT(curve, 1.0, n, table, &total);
  if (code != 0) return code;
  if (s < 0.0 || std::fabs(s) < crv::kArcKeyTolerance) {
    *t = 0.0;
    return 0;
  }
  if (s > total || std::fabs(s - total) < crv::kArcKeyTolerance) {
    *t = 1.0;
    return 0;
  }

  // The table is sorted by t, and s never decreases along it, so it is sorted by s as well.
  const ArcTableEntry key{0.0, s};
  ArcTableEntry match{};
  uint8_t found = 0;
  int32_t index = 0;
  code = SEQ_GetSortedItem(*table, crv::CompareArcEntriesByS, 0, &key, &found, &match, &index);
  if (code != 0) return code;
  if (found != 0) {
    *t = match.t;
    return 0;
  }
  if (index >= crv::ItemCount(*table)) {
    *t = 1.0;
    return 0;
  }
  if (index <= 0) {  // also a NaN s, which is above no entry
    *t = 0.0;
    return 0;
  }
  ArcTableEntry lo, hi;
  if ((code = SEQ_GetItem(*table, index - 1, &lo)) != 0) return code;
  if ((code = SEQ_GetItem(*table, index, &hi)) != 0) return code;
  *t = (s - lo.s) / (hi.s - lo.s) * (hi.t - lo.t) + lo.t;
  return 0;
}

int32_t CRV_EvaluatePointFromS(const CRV_Curve* curve, double s, int32_t n, SEQ_ListH* table,
                               double* point) {
  if (crv::HasRetractedHandles(*curve)) {
    // Linear in s, which is exact on the segment: its own parameter follows the smooth-step
    // profile, so evaluating at the solved t would land on the same point.
    const double chord = crv::ChordLength(*curve);
    if (chord > 0.0) {
      const double u = ClampUnit(s / chord);
      const double* p0 = curve->ctpts[0];
      const double* p3 = curve->ctpts[3];
      for (int i = 0; i < curve->dims; ++i) point[i] = (p3[i] - p0[i]) * u + p0[i];
      return 0;
    }
    crv::PointAt(*curve, 0.0, point);  // all four points coincide: P0
    return 0;
  }
  double t;
  const int32_t code = CRV_TFromS(curve, s, n, table, &t);
  if (code != 0) return code;
  crv::PointAt(*curve, t, point);
  return 0;
}
