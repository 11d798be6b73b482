// The arc-length spline: the sampled relation between parameter and arc length, fitted with a
// chain of cubics, and looked up by solving the one segment that holds a distance.
#include <cmath>

#include "arclength/arc_table.h"
#include "core/host_adapters/host_lists.h"

namespace crv {

namespace {

// The spline is fitted to a table of this many samples, grown to that size in one step.
constexpr int32_t kSplineSamples = 128;

// One spline point: a parameter t and an arc length s, both doubles, as the list stores it.
struct SplinePoint {
  double t;
  double s;
};
static_assert(sizeof(SplinePoint) == 16, "spline items are two packed doubles");

// A lookup needs one whole segment.
constexpr int32_t kSegmentPoints = 4;

// Whether a later point's length lies below an earlier one's by the key tolerance or more.
bool Dips(const double* earlier, const double* later) {
  return earlier[1] - later[1] >= kArcKeyTolerance;
}

// Fits the locked table of `total` length into *spline. Both coordinates go in length units, so
// that the bound weighs an error in the parameter (scaled by L) like an error in the length:
// (t L, s). The chain's parameters are then scaled back, the last ending exactly at 1, whatever
// the rounding of the table's accumulated steps and of the scaling.
int32_t FitLockedTable(SEQ_ListH table, double total, double bound, SEQ_ListH* spline) {
  SplinePoint* samples = ItemAt<SplinePoint>(table, 0);
  const int32_t count = ItemCount(table);
  for (int32_t i = 0; i < count; ++i) samples[i].t = samples[i].t * total;
  const int32_t code = CRV_FitMultipleCurves(&samples[0].t, 2, count, bound, spline);
  if (code != 0) return code;
  return WithLockedList(*spline, [&] {
    const double unscale = total == 0.0 ? 0.0 : 1.0 / total;
    SplinePoint* points = ItemAt<SplinePoint>(*spline, 0);
    const int32_t last = ItemCount(*spline) - 1;
    for (int32_t i = 0; i < last; ++i) points[i].t = points[i].t * unscale;
    if (last >= 0) points[last].t = 1.0;
    return CRV_ErrNone;
  });
}

// Samples the curve into the temporary `table` and fits the spline to it.
int32_t FitSplineToTable(const CRV_Curve& curve, double bound, SEQ_ListH table,
                         SEQ_ListH* spline, double* length) {
  const int32_t code = FillArcTable(curve, kSplineSamples, table, length);
  if (code != 0) return code;
  LockedList lock(table);
  if (lock.code() != 0) return lock.code();
  return lock.ReleaseTemporary(FitLockedTable(table, *length, bound, spline));
}

// The segment of a spline of `count` points holding the length s (0 < s < L): the first whose end
// lies beyond s, by a linear scan of the segment ends. Returns the index of its end point, or -1
// with *t set when s lies on a segment end. A fitted spline always stops inside, since its last
// end point is L; a list that is not 3m + 1 points long (or a NaN s) may run past the last whole
// segment, and that one is used.
int32_t FindSegmentEnd(const SplinePoint* points, int32_t count, double s, double* t) {
  int32_t end = 3;
  for (; end < count; end += 3) {
    const double e = points[end].s;
    if (std::fabs(s - e) < kArcKeyTolerance) {
      *t = points[end].t;
      return -1;
    }
    if (e > s) return end;
  }
  return (count - 1) / 3 * 3;
}

}  // namespace

}  // namespace crv

int32_t CRV_BuildArcSpline(const CRV_Curve* curve, double bound, SEQ_ListH* spline,
                           double* length) {
  // Only curves of two or three dimensions are measured.
  if (curve->dims != 2 && curve->dims != 3) return CRV_ErrBadRecord;
  crv::TemporaryList table(crv::kArcTableItemSize, crv::kSplineSamples);
  if (table.code() != 0) return table.code();
  return table.Release(crv::FitSplineToTable(*curve, bound, table.get(), spline, length));
}

// A lookup on a built spline reads the points in place without a lock (one short call, and
// nothing here resizes the list), makes one host call (SEQ_GetItem, for L) and allocates nothing.
int32_t CRV_TFromSSpline(const CRV_Curve* curve, double s, double bound, SEQ_ListH* spline,
                         double* t) {
  using crv::kArcKeyTolerance;
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

  if (s < 0.0 || std::fabs(s) < kArcKeyTolerance) {
    *t = 0.0;
    return CRV_ErrNone;
  }
  if (s > total || std::fabs(s - total) < kArcKeyTolerance) {
    *t = 1.0;
    return CRV_ErrNone;
  }

  SplinePoint* points = crv::ItemAt<SplinePoint>(*spline, 0);
  const int32_t end = crv::FindSegmentEnd(points, crv::ItemCount(*spline), s, t);
  if (end < 0) return CRV_ErrNone;

  CRV_Curve segment;
  segment.dims = 2;
  for (int i = 0; i < 4; ++i) segment.ctpts[i] = &points[end - 3 + i].t;
  const double* const* p = segment.ctpts;
  // A length coordinate that dips makes the solve ambiguous: the segment is repaired in place,
  // and the repair stays in the caller's spline.
  if (crv::Dips(p[0], p[1]) || crv::Dips(p[1], p[3]) || crv::Dips(p[0], p[2]) ||
      crv::Dips(p[2], p[3]))
    CRV_CurveSetNonDecreasing(&segment, nullptr);
  CRV_EvaluateXFromY(&segment, s, t);
  return CRV_ErrNone;
}
