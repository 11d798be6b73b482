// Evaluation by distance: the x-y projection of a curve cut by repeated halving into pieces whose
// chords are shorter than a distance, the end point of every piece stored in a caller's list.
#include <cstdint>

#include "core/host_adapters/host_lists.h"
#include "crv/crv.h"

namespace crv {

namespace {

struct Point2 {
  double x, y;
};
static_assert(sizeof(Point2) == 16, "list items are two packed doubles");

constexpr int32_t kPointItemSize = 16;
constexpr int32_t kPointGrowBy = 32;

// Pieces handed to a walk at depth d span 2^-d of the parameter and are halved there, so the
// halves tested at kMaxDepth span 2^-20. They are accepted whatever their chord: a distance whose
// square is 0 or NaN, NaN coordinates, or a distance tiny beside the curve would otherwise halve
// without end. It bounds one call to 2^20 + 1 points and the recursion to 19 frames.
constexpr int16_t kMaxDepth = 19;
// Pieces at depths below this are halved without looking at their chords, so every curve is cut
// at least into eighths: a loop or an S whose end points nearly meet is never taken as one short
// chord.
constexpr int16_t kUntestedDepths = 2;

inline Point2 Mid(Point2 a, Point2 b) { return {(a.x + b.x) * 0.5, (a.y + b.y) * 0.5}; }

inline double SquaredChord(Point2 a, Point2 b) {
  const double dx = a.x - b.x;
  const double dy = a.y - b.y;
  return dx * dx + dy * dy;
}

// Halves q[0..3] at t = 0.5 by de Casteljau into out[0..6]: left (out[0..3]), right (out[3..6]).
inline void Halve(const Point2 q[4], Point2 out[7]) {
  const Point2 l1 = Mid(q[0], q[1]);
  const Point2 mid = Mid(q[1], q[2]);
  const Point2 r2 = Mid(q[2], q[3]);
  const Point2 l2 = Mid(l1, mid);
  const Point2 r1 = Mid(mid, r2);
  out[0] = q[0];
  out[1] = l1;
  out[2] = l2;
  out[3] = Mid(l2, r1);
  out[4] = r1;
  out[5] = r2;
  out[6] = q[3];
}

// Stores p at *counter, which moves on by one before the store.
inline int32_t Store(SEQ_ListH list, int32_t* counter, Point2 p) {
  const int32_t at = (*counter)++;
  return StoreAt(list, at, &p);
}

// Walks one piece: halves it, and for each half in turn stores its end point when its chord is
// strictly shorter than the distance (squared on both sides), or walks it one level deeper.
// Returns the first failing store's code.
int32_t DistanceWalk(const Point2 piece[4], double d2, int32_t* counter, SEQ_ListH list,
                     int16_t depth) {
  Point2 split[7];
  Halve(piece, split);
  const int16_t deeper = static_cast<int16_t>(depth + 1);
  if (depth < kUntestedDepths) {
    const int32_t code = DistanceWalk(split, d2, counter, list, deeper);
    if (code != 0) return code;
    return DistanceWalk(split + 3, d2, counter, list, deeper);
  }
  const bool last = depth >= kMaxDepth;
  const int32_t code = last || d2 > SquaredChord(split[0], split[3])
                           ? Store(list, counter, split[3])
                           : DistanceWalk(split, d2, counter, list, deeper);
  if (code != 0) return code;
  if (last || d2 > SquaredChord(split[3], split[6])) return Store(list, counter, split[6]);
  return DistanceWalk(split + 3, d2, counter, list, deeper);
}

}  // namespace

}  // namespace crv

int32_t CRV_EvaluateByDistance(const CRV_Curve* curve, double distance, int32_t start,
                               SEQ_ListH* list) {
  using crv::Point2;
  bool created = false;
  int32_t code = crv::UseOrCreateList(list, crv::kPointItemSize, crv::kPointGrowBy, &created);
  if (code != 0) return code;
  if (created) start = 0;  // a new list is filled from its beginning
  // Never leave a gap: the first point goes at most right behind the list's last item.
  const int32_t count = crv::ItemCount(*list);
  if (start < 0) start = 0;
  if (start > count) start = count;

  // x and y of the control points; a record without them reads 0 in their place.
  Point2 polygon[4];
  for (int i = 0; i < 4; ++i) {
    const double* p = curve->ctpts[i];
    polygon[i] = {curve->dims >= 1 ? p[0] : 0.0, curve->dims >= 2 ? p[1] : 0.0};
  }

  int32_t counter = start;
  code = crv::Store(*list, &counter, polygon[0]);
  if (code != 0) return code;
  Point2 split[7];
  crv::Halve(polygon, split);
  const double d2 = distance * distance;
  code = crv::DistanceWalk(split, d2, &counter, *list, 1);
  if (code == 0) code = crv::DistanceWalk(split + 3, d2, &counter, *list, 1);
  if (code != 0) return code;
  return SEQ_SetNumItems(counter, *list, 0);
}
