// The fitting engine shared by the single-curve and the multiple-curve fit: least squares for the
// inner control points over chord-length parameters, Newton refinement of the parameters, and
// (for chains) splitting at the sample of largest deviation.
//
// Samples are `dims` doubles a point (point i at element i * dims); dims is 2 or 3, and vectors
// are handled as three doubles whose z is unused (and kept 0) for dims = 2. Every error is a
// squared distance. The parameter arrays of a fit are addressed relative to the first sample of
// the segment in hand: sample i of first..last has entry i - first.
#ifndef CRV_FIT_FIT_ENGINE_H
#define CRV_FIT_FIT_ENGINE_H

#include <cstdint>
#include <memory>

#include "crv/crv.h"

namespace crv {

// The inner points of a two-sample segment, and the fallback of a least-squares solution that
// puts a handle behind its end point, sit this fraction of the chord along the end tangents. It is
// the fifteen-threes decimal, not the double nearest 1/3: fitted curves are pinned bit for bit.
constexpr double kThirdOfChord = 0.333333333333333;

// Segments of up to this many samples solve their least squares in a local buffer of rows; longer
// ones borrow a host handle for the rows.
constexpr int32_t kLocalRows = 256;

// Item sizes and growth counts of the fit's host lists (bytes per item; items per growth step).
constexpr int32_t kFitPointsGrowBy = 32;     // the caller's point list of a chain
constexpr int32_t kFitIndexItemSize = 4;     // the caller's index list: one int32_t per item
constexpr int32_t kFitIndicesGrowBy = 16;
constexpr int32_t kSingleFitGrowBy = 4;      // the single fit's temporary list of four points

// The parameter arrays of one exported fit: one double per sample of the whole input, from the
// host small-block allocator (byte size count * 8). All segments of a chain share them: a segment
// fills the entries of its own range before it reads them, and segments run one after another.
// Newton steps alternate between the two arrays by pointer instead of copying.
struct FitWorkBuffers {
  double* params = nullptr;
  int32_t paramCount = 0;
  double* refinedParams = nullptr;
  int32_t refinedCount = 0;

  FitWorkBuffers() = default;
  FitWorkBuffers(const FitWorkBuffers&) = delete;
  FitWorkBuffers& operator=(const FitWorkBuffers&) = delete;
  ~FitWorkBuffers();  // disposes of whichever arrays exist
};

// Allocates the record (global new) and its two arrays of `count` entries. Throws what the
// allocators throw (std::bad_alloc); an array allocated before the throw is released. Call it
// under RunGuarded.
std::unique_ptr<FitWorkBuffers> MakeFitWorkBuffers(int32_t count);

// A cubic owned by the engine, bound to its own storage of three doubles a point, so that the
// exported evaluation functions can be called on it. Only `dims` coordinates are meaningful.
struct WorkingCurve {
  explicit WorkingCurve(int16_t dims);
  WorkingCurve(const WorkingCurve&) = delete;
  WorkingCurve& operator=(const WorkingCurve&) = delete;

  double points[4][3] = {};
  CRV_Curve record;
};

// u[0 .. last - first]: the cumulative chord length from sample first, scaled by 1/(total) so the
// run spans [0, 1] (the last entry is total * (1/total), within an ulp of 1). A run of coincident
// samples has total 0 and gets all zeros.
void ChordLengthParameters(const double* samples, int16_t dims, int32_t first, int32_t last,
                           double* u);

// Places P1 and P2 of `curve` on the tangent rays from d[first] and d[last], at the distances
// alpha that minimise the squared residuals sum |d[first + i] - B(u[i])|^2 over the samples. The
// 2x2 normal equations get a determinant of C00 C11 * 1e-3 (then 1e-3 itself) where |det| is
// below 1e-4, and an alpha below 0 puts both handles at a third of the chord instead. Rows for
// more than kLocalRows samples live in a host handle of 48 bytes a sample: returns
// CRV_ErrOutOfMemory (curve untouched) when the host has none, else 0.
int32_t SolveInnerControlPoints(const double* samples, int32_t first, int32_t last,
                                const double* u, const double* startTangent,
                                const double* endTangent, WorkingCurve* curve);

// *maxError = the largest squared distance from an interior sample d[i] (first < i < last) to
// B(u[i - first]), and *splitIndex its sample; a tie goes to the later sample. With no interior
// sample: 0 and (first + last + 1) / 2. Returns 0 or the code of a failed evaluation.
int32_t ComputeMaxError(const double* samples, int32_t first, int32_t last,
                        const WorkingCurve& curve, const double* u, double* maxError,
                        int32_t* splitIndex);

// out[i] = u[i] - f / f' for every sample of first..last, one Newton step on
// f(u) = (B(u) - d) . B'(u); u unchanged where f' = 0. Not clamped to [0, 1]. `out` must not be
// `u`. Returns 0 or the code of a failed evaluation.
int32_t NewtonReparameterize(const double* samples, int32_t first, int32_t last, const double* u,
                             const WorkingCurve& curve, double* out);

// Appends the curve to the point list (P0 only when the list is empty, then P1, P2, P3; one
// SEQ_Insert at -1 each) and, when `indexList` is given, the sample index `last` to *indexList.
// Returns 0 or the first failing insert's code, after which nothing more is appended.
int32_t EmitSegment(const WorkingCurve& curve, int32_t last, SEQ_ListH pointList,
                    SEQ_ListH* indexList);

// out[3] = the mean of d[end + j * step] - d[end] over j = 1 .. count (step +1 at the start of a
// run, -1 at its end), normalised unless its length is 0: the direction from an end sample into
// the run. The differences are summed nearest first; count must be in 1 .. samples - 1.
void EstimateEndTangent(const double* samples, int16_t dims, int32_t end, int32_t step,
                        int32_t count, double out[3]);

// The untested fit of a two-sample segment: P0 = d[first], P3 = d[last], and the handles a third
// of the chord along the tangents.
void JoinTwoSamples(const double* samples, int32_t first, int32_t last, const double* startTangent,
                    const double* endTangent, WorkingCurve* curve);

// out[3] = ((d[c] - d[c+1]) + (d[c-1] - d[c])) * 0.5, normalised unless its length is 0: the
// tangent at an interior sample c, pointing back towards c - 1. Returns 0.
int32_t CenterTangent(const double* samples, int16_t dims, int32_t c, double out[3]);

// Fits first..last (last > first) between the given unit (or zero) tangents, both pointing from
// their end into the run, and appends the result to the lists as EmitSegment does.
//  - Two samples are joined with handles a third of the chord long, untested; *maxError is not
//    written.
//  - Otherwise the chord-length fit is accepted when bound > its maximum squared error. When
//    splitting is allowed and bound^2 > maximum fails too, the segment is split at once;
//    otherwise up to maxIterations Newton steps refine it (none for a count <= 0), each accepted
//    by the same test. An unaccepted last fit is emitted anyway without splitting, or split.
//  - *maxError receives every measured maximum, so it ends with the last one.
//  - Splitting fits the left part first..c before the right part c..last, depth first, with the
//    tangent at c shared (negated for the right); the segments are appended in sample order.
// Uses work.params and work.refinedParams entries 0 .. last - first. Returns 0, the first
// non-zero code of a list insert or of SolveInnerControlPoints; a failure ends the whole chain.
int32_t FitCubicSegment(const double* samples, int16_t dims, int32_t first, int32_t last,
                        const double* startTangent, const double* endTangent, double bound,
                        int16_t maxIterations, bool allowSplit, FitWorkBuffers& work,
                        double* maxError, SEQ_ListH pointList, SEQ_ListH* indexList);

// One segment's fit without descending into a split: what FitCubicSegment does for first..last
// until it either emits the segment (split = false) or decides to split it at splitIndex
// (split = true, nothing appended). Exposed so that tests can rebuild the recursive form.
struct SegmentOutcome {
  int32_t code;
  bool split;
  int32_t splitIndex;
};
SegmentOutcome FitSegmentOnce(const double* samples, int16_t dims, int32_t first, int32_t last,
                              const double* startTangent, const double* endTangent, double bound,
                              int16_t maxIterations, bool allowSplit, FitWorkBuffers& work,
                              double* maxError, SEQ_ListH pointList, SEQ_ListH* indexList);

}  // namespace crv

#endif
