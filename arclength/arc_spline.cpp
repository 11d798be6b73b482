// The arc-length spline: the sampled relation between parameter and arc length, fitted with a
// chain of cubics, and looked up by solving the one segment that holds a distance.
#include <cmath>

#include "arclength/arc_table.h"
#include "core/host_adapters/host_lists.h"

namespace crv {

namespace {

// The spline is fitted to a table of this many samples.
constexpr int32_t kSplineSamples = 128;
// Growth count of the temporary table the spline is fitted to: the whole table at once.
constexpr int32_t kSplineTableGrowBy = 128;
// Distances closer than this (length units) to 0, to L or to a segment end are taken as equal.
constexpr double kSplineTolerance = 1e-10;

// One spline point: a parameter t and an arc length s, both doubles, as the list stores it.
struct SplinePoint {
  double t;
  double s;
};
static_assert(sizeof(SplinePoint) == 16, "spline items are two packed doubles");

// A lookup needs one whole segment.
constexpr int32_t kSegmentPoints = 4;

// Whether a later point's length lies below an earlier one's by 1e-10 or more.
bool Dips(const double* earlier, const double* later) {
  return earlier[1] - later[1] >= kSplineTolerance;
}

}  // namespace

}  // namespace crv

int32_t CRV_BuildArcSpline(const CRV_Curve* curve, double bound, SEQ_ListH* spline,
                           double* length) {
  using crv::SplinePoint;
  // Only curves of two or three dimensions are measured.
  if (curve->dims != 2 && curve->dims != 3) return CRV_ErrBadRecord;

  crv::TemporaryList table(crv::kArcTableItemSize, crv::kSplineTableGrowBy);
  if (table.code() != 0) return table.code();
  int32_t code = crv::FillArcTable(*curve, crv::kSplineSamples, table.get(), length);
  if (code == 0) {
    const double total = *length;
    crv::LockedList tableLock(table.get());
    code = tableLock.code();
    if (code == 0) {
      // Both coordinates in length units, so that the bound weighs an error in the parameter
      // (scaled by L) like an error in the length: (t L, s).
      SplinePoint* samples = crv::ItemAt<SplinePoint>(table.get(), 0);
      const int32_t count = crv::ItemCount(table.get());
      for (int32_t i = 0; i < count; ++i) samples[i].t = samples[i].t * total;
      code = CRV_FitMultipleCurves(&samples[0].t, 2, count, bound, spline);
      if (code == 0) {
        code = crv::WithLockedList(*spline, [&] {
          // Back to parameters; the last point ends exactly at 1, whatever the rounding of the
          // table's accumulated steps and of the scaling.
          const double unscale = total == 0.0 ? 0.0 : 1.0 / total;
          SplinePoint* points = crv::ItemAt<SplinePoint>(*spline, 0);
          const int32_t last = crv::ItemCount(*spline) - 1;
          for (int32_t i = 0; i < last; ++i) points[i].t = points[i].t * unscale;
          if (last >= 0) points[last].t = 1.0;
          return CRV_ErrNone;
        });
      }
      // The temporary table's own release codes count only when all else went well.
      const int32_t unlock = tableLock.Release(CRV_ErrNone);
      if (code == 0) code = unlock;
    }
  }
  return table.Release(code);
}

int32_t CRV_TFromSSpline(const CRV_Curve* curve, double s, double bound, SEQ_ListH* spline,
                         double* t) {
  using crv::kSplineTolerance;
  using crv::SplinePoint;
  double total = 0.0;
  if (*spline == nullptr) {
    const int32_t code = CRV_BuildArcSpline(curve, bound, spline, &total);
    if (code != 0) return code;
  } else {
    if (crv::ItemCount(*spline) < crv::kSegmentPoints) return CRV_ErrBadRecord;
    SplinePoint last;
    const int32_t code = SEQ_GetItem(*spline, -1, &last);
    if (code != 0) return code;
    total = last.s;
  }

  if (s < 0.0 || std::fabs(s) < kSplineTolerance) {
    *t = 0.0;
    return CRV_ErrNone;
  }
  if (s > total || std::fabs(s - total) < kSplineTolerance) {
    *t = 1.0;
    return CRV_ErrNone;
  }

  // The segment holding s: the first whose end lies beyond s, found by a linear scan of the
  // segment ends. The points are read in place, without a lock: a lookup is one short call and
  // nothing here resizes the list.
  SplinePoint* points = crv::ItemAt<SplinePoint>(*spline, 0);
  const int32_t count = crv::ItemCount(*spline);
  int32_t end = 3;
  for (; end < count; end += 3) {
    const double e = points[end].s;
    if (std::fabs(s - e) < kSplineTolerance) {
      *t = points[end].t;
      return CRV_ErrNone;
    }
    if (e > s) break;
  }
  // A fitted spline always stops inside: its last end point is L, and s < L here. A list that
  // is not 3m + 1 points long (or a NaN s) may run past the last whole segment; that one is used.
  if (end >= count) end = (count - 1) / 3 * 3;

  CRV_Curve segment;
  segment.dims = 2;
  for (int i = 0; i < 4; ++i) segment.ctpts[i] = &points[end - 3 + i].t;
  const double* const* p = segment.ctpts;
  // A length coordinate that dips makes the solve ambiguous: the segment is repaired in place,
  // and the repair stays in the caller's spline.
  if (crv::Dips(p[0], p[1]) || crv::Dips(p[1], p[3]) || crv::Dips(p[0], p[2]) ||
      crv::Dips(p[2], p[3])) {
    const int32_t code = CRV_CurveSetNonDecreasing(&segment, nullptr);
    if (code != 0) return code;
  }
  double parameter = 0.0;
  const int32_t code = CRV_EvaluateXFromY(&segment, s, &parameter);
  if (code != 0) return code;
  *t = parameter;
  return CRV_ErrNone;
}
