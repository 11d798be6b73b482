// The arc-length table's building blocks, shared by the table lookups and the arc-length spline.
#ifndef CRV_ARCLENGTH_ARC_TABLE_H
#define CRV_ARCLENGTH_ARC_TABLE_H

#include <cstdint>

#include "crv/crv.h"

namespace crv {

// One table item, 16 bytes, in the order the host list stores it.
struct ArcTableEntry {
  double t;  // curve parameter
  double s;  // arc length from P0 to B(t)
};
static_assert(sizeof(ArcTableEntry) == 16, "table items are two packed doubles");

// Item size and growth count of every table list this subsystem creates.
constexpr int32_t kArcTableItemSize = 16;
constexpr int32_t kArcTableGrowBy = 32;

// Keys closer than 1e-10 compare equal: in parameter units for ByT, in length units for ByS. The
// lookups by length (in the table and in the arc-length spline) take lengths this close to 0, to
// the total or to a segment end as equal to it, for the same reason: a distance that differs from
// an entry only by the rounding of the sums that built it should find that entry.
constexpr double kArcKeyTolerance = 1e-10;

// Host list compare functions on ArcTableEntry items: -1, 0 or +1 as a's key is below, within
// 1e-10 of, or above b's (a NaN difference counts as above). The first two arguments are the
// host's and are not read.
int32_t CompareArcEntriesByT(void* refcon, int32_t flags, const void* a, const void* b);
int32_t CompareArcEntriesByS(void* refcon, int32_t flags, const void* a, const void* b);

// Fills `table` (created by the caller, possibly holding an older table) with n samples of the
// curve, truncates it to n entries and writes the total length. n < 1 is taken as 1. Curves of
// other than 2 or 3 dimensions get entry 0 only (and a length of 0) before the truncation. On a
// failure the rest is skipped, *length gets the partial sum and the code is returned.
int32_t FillArcTable(const CRV_Curve& curve, int32_t n, SEQ_ListH table, double* length);

// True when every coordinate of P1 is near P0's and of P2 near P3's, compared in single
// precision: near means |a - b| below the larger of 1e-6 of the larger magnitude and 563/1048576
// (length units). Such a curve is the straight segment P0..P3 run through with the profile
// 3t^2 - 2t^3. A curve with dims <= 0 counts as retracted.
bool HasRetractedHandles(const CRV_Curve& curve);

// |P3 - P0| over all dimensions, squares summed in dimension order.
double ChordLength(const CRV_Curve& curve);

}  // namespace crv

#endif
