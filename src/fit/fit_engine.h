// The fitting engine shared by the single-curve and the multiple-curve fit: least squares for the
// inner control points over chord-length parameters, Newton refinement of the parameters, and
// (for chains) splitting at the sample of largest deviation.
//
// Samples are D doubles a point (point i at element i * D); D is 2 or 3, and vectors are handled
// as three doubles whose z is unused (and kept 0) for D = 2. Every error is a squared distance.
// The parameter arrays of a fit are addressed relative to the first sample of the segment in
// hand: sample i of first..last has entry i - first.
#ifndef CRV_FIT_FIT_ENGINE_H
#define CRV_FIT_FIT_ENGINE_H

#include <cstddef>
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

// One exported fit: the run of samples 0 .. count - 1, how to fit it and where the result goes.
struct FitRequest {
  const double* samples;
  int32_t count;               // at least 2
  int32_t startTangentCount;   // samples averaged into each end tangent, 1 .. count - 1
  int32_t endTangentCount;
  double bound;                // squared distance a sample may lie from its segment
  int16_t maxIterations;       // Newton steps a segment may take; none for a count <= 0
  bool allowSplit;             // a chain: a segment that misses the bound is split
  FitWorkBuffers* work;
  SEQ_ListH pointList;         // receives P0 of the first segment, then P1 P2 P3 of each
  SEQ_ListH* indexList;        // null, or receives the last sample index of each segment
  double* maxError;            // receives every measured maximum, so it ends with the last one
};

// Fits the request in `dims` (2 or 3) coordinates: the one place where the fit chooses its
// dimension. Returns 0, the first non-zero code of a list insert, or CRV_ErrOutOfMemory when
// the rows of a long segment find no host handle; a failure ends the whole fit.
int32_t RunFit(int16_t dims, const FitRequest& request);

// A cubic owned by the engine, bound to its own storage of three doubles a point, so that the
// evaluation functions can be called on it. Only `dims` coordinates are meaningful.
struct WorkingCurve {
  explicit WorkingCurve(int16_t dims);
  WorkingCurve(const WorkingCurve&) = delete;
  WorkingCurve& operator=(const WorkingCurve&) = delete;

  double points[4][3] = {};
  CRV_Curve record;
};

// The engine of one fit in D coordinates. Segments are fitted one after another into the one
// working curve, and appended to the request's lists as they are accepted.
template <int D>
class FitEngine {
 public:
  explicit FitEngine(const FitRequest& request) : request_(request), curve_(D) {}

  // Fits the whole run between its end tangents, estimated over the requested sample counts.
  int32_t Run();

 private:
  // The largest squared distance from an interior sample to the curve, and its sample.
  struct Deviation {
    double worst;
    int32_t sample;
  };
  // What became of one segment: appended (split = false) or to be split at splitIndex.
  struct Outcome {
    int32_t code;
    bool split;
    int32_t splitIndex;
  };

  const double* Sample(int32_t i) const {
    return request_.samples + static_cast<ptrdiff_t>(i) * D;
  }

  // The working curve's point at t on the path the capability word selected for this call.
  void EvaluatePoint(double t, bool paired, double* out) const;

  // Fits first..last (last > first) between the given unit (or zero) tangents, both pointing
  // from their end into the run, splitting (when allowed) until every segment is accepted.
  //  - Two samples are joined with handles a third of the chord long, untested; nothing is
  //    measured.
  //  - Otherwise the chord-length fit is accepted when bound > its maximum squared error. When
  //    splitting is allowed and bound^2 > maximum fails too, the segment is split at once;
  //    otherwise up to maxIterations Newton steps refine it, each accepted by the same test. An
  //    unaccepted last fit is emitted anyway without splitting, or split.
  //  - Splitting fits the left part first..c before the right part c..last, depth first, with
  //    the tangent at c shared (negated for the right); segments are appended in sample order.
  // Uses the work arrays' entries 0 .. last - first.
  int32_t FitCubicSegment(int32_t first, int32_t last, const double* startTangent,
                          const double* endTangent);

  // One segment's fit without descending into a split: emits it, or names its split sample.
  Outcome FitOnce(int32_t first, int32_t last, const double* startTangent,
                  const double* endTangent);

  // out[3] = the mean of d[end + j * step] - d[end] over j = 1 .. count (step +1 at the start of
  // a run, -1 at its end), normalised unless its length is 0: the direction from an end sample
  // into the run. The differences are summed nearest first.
  void EndTangent(int32_t end, int32_t step, int32_t count, double out[3]) const;

  // out[3] = ((d[c] - d[c+1]) + (d[c-1] - d[c])) * 0.5, normalised unless its length is 0: the
  // tangent at an interior sample c, pointing back towards c - 1.
  void CenterTangent(int32_t c, double out[3]) const;

  // u[0 .. last - first]: the cumulative chord length from sample first, scaled by 1/(total) so
  // the run spans [0, 1]. A run of coincident samples has total 0 and gets all zeros.
  void ChordLengthParameters(int32_t first, int32_t last, double* u) const;

  // Places P1 and P2 on the tangent rays from d[first] and d[last] at the distances that
  // minimise the squared residuals over the samples at parameters u. Returns CRV_ErrOutOfMemory
  // (curve untouched) when a long segment finds no host handle for its rows, else 0.
  int32_t SolveInnerControlPoints(int32_t first, int32_t last, const double* u,
                                  const double* startTangent, const double* endTangent);

  // P0 = d[first], P3 = d[last], P1 and P2 at the given distances along the tangents.
  void PlaceHandles(int32_t first, int32_t last, double alphaStart, double alphaEnd,
                    const double* startTangent, const double* endTangent);

  // The handle length of a two-sample segment: a third of the chord.
  double ThirdOfChord(int32_t first, int32_t last) const;

  // The largest deviation of an interior sample d[i] from B(u[i - first]); a tie goes to the
  // later sample. With no interior sample: 0 at (first + last + 1) / 2.
  Deviation MaxError(int32_t first, int32_t last, const double* u) const;

  // out[i] = u[i] - f / f' for every sample of first..last, one Newton step on
  // f(u) = (B(u) - d) . B'(u); u unchanged where f' = 0. Not clamped to [0, 1]. `out` must not
  // be `u`.
  void NewtonReparameterize(int32_t first, int32_t last, const double* u, double* out) const;

  // Appends the curve to the point list (P0 only when the list is empty, then P1, P2, P3; one
  // SEQ_Insert at -1 each) and, with an index list, `last` to it. Returns 0 or the first
  // failing insert's code, after which nothing more is appended.
  int32_t Emit(int32_t last);

  const FitRequest request_;
  WorkingCurve curve_;
};

}  // namespace crv

#endif
