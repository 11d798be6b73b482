// FitCubicSegment: one segment's fit with Newton refinement and, for chains, splitting at the
// sample of largest deviation, walked without recursion.
#include <utility>

#include "fit/fit_engine.h"

namespace crv {

namespace {

// The right halves of splits still waiting to be fitted.
//
// Fitting depth first, left half before right, leaves the pending halves tiling the rest of the
// run behind the segment in hand, first'..b:  (b, c1), (c1, c2), ..., (ck, last). So the pending
// work is just the rising sequence of cuts b < c1 < ... < ck < last, and the tangents of each
// half follow from its cuts: the centre tangent at its end cut, negated at its start cut, which
// is exactly what the recursive form hands down (CenterTangent is a pure function of three
// samples, so recomputing it gives the same bits).
//
// The sequence is a linked chain: cut c keeps the next cut in entry c - first + 1 of the
// parameter array. No segment can reach that entry while c is pending: the segment in hand ends
// at b <= c and writes entries 0 .. b - first' only. This keeps a fit that splits one sample at a
// time (as many pending halves as samples) free of recursion and of any storage of its own.
class PendingCuts {
 public:
  PendingCuts(double* storage, int32_t first) : storage_(storage), first_(first) {}

  // The half cut..next now waits behind the segment that ends at cut.
  void Push(int32_t cut, int32_t next) {
    storage_[cut - first_ + 1] = static_cast<double>(next);  // exact: below 2^53
  }
  // The end of the half that starts at cut.
  int32_t EndAfter(int32_t cut) const {
    return static_cast<int32_t>(storage_[cut - first_ + 1]);
  }

 private:
  double* storage_;
  int32_t first_;
};

}  // namespace

SegmentOutcome FitSegmentOnce(const double* samples, int16_t dims, int32_t first, int32_t last,
                              const double* startTangent, const double* endTangent, double bound,
                              int16_t maxIterations, bool allowSplit, FitWorkBuffers& work,
                              double* maxError, SEQ_ListH pointList, SEQ_ListH* indexList) {
  WorkingCurve curve(dims);
  const auto emit = [&] {
    return SegmentOutcome{EmitSegment(curve, last, pointList, indexList), false, 0};
  };
  if (last - first == 1) {
    JoinTwoSamples(samples, first, last, startTangent, endTangent, &curve);
    return emit();
  }

  double* u = work.params;
  double* refined = work.refinedParams;
  ChordLengthParameters(samples, dims, first, last, u);
  int32_t code = SolveInnerControlPoints(samples, first, last, u, startTangent, endTangent, &curve);
  double worst = 0.0;
  int32_t split = 0;
  if (code == 0) code = ComputeMaxError(samples, first, last, curve, u, &worst, &split);
  if (code != 0) return {code, false, 0};
  *maxError = worst;
  if (bound > worst) return emit();

  // The bound is a squared distance; its square gates the Newton steps. A bound in (0, 1) makes
  // the gate stricter than acceptance, so a chain splits such a segment without refining it.
  if (!(bound * bound > worst) && allowSplit) return {0, true, split};

  for (int32_t iteration = 0; iteration < maxIterations; ++iteration) {
    code = NewtonReparameterize(samples, first, last, u, curve, refined);
    if (code == 0)
      code = SolveInnerControlPoints(samples, first, last, refined, startTangent, endTangent,
                                     &curve);
    if (code == 0) code = ComputeMaxError(samples, first, last, curve, refined, &worst, &split);
    if (code != 0) return {code, false, 0};
    *maxError = worst;
    if (bound > worst) return emit();
    std::swap(u, refined);  // the next step starts from the newest parameters
  }
  if (allowSplit) return {0, true, split};
  return emit();
}

int32_t FitCubicSegment(const double* samples, int16_t dims, int32_t first, int32_t last,
                        const double* startTangent, const double* endTangent, double bound,
                        int16_t maxIterations, bool allowSplit, FitWorkBuffers& work,
                        double* maxError, SEQ_ListH pointList, SEQ_ListH* indexList) {
  if (!allowSplit) {
    return FitSegmentOnce(samples, dims, first, last, startTangent, endTangent, bound,
                          maxIterations, false, work, maxError, pointList, indexList)
        .code;
  }

  const int coords = dims == 2 ? 2 : 3;
  PendingCuts pending(work.params, first);
  int32_t a = first;
  int32_t b = last;
  double start[3] = {startTangent[0], startTangent[1], coords == 3 ? startTangent[2] : 0.0};
  double end[3] = {endTangent[0], endTangent[1], coords == 3 ? endTangent[2] : 0.0};
  // Every pass either splits a..b at an interior sample (b falls) or appends it (a rises), and a
  // two-sample segment is never split: at most 2 (last - first) passes.
  for (;;) {
    const SegmentOutcome outcome =
        FitSegmentOnce(samples, dims, a, b, start, end, bound, maxIterations, true, work,
                       maxError, pointList, indexList);
    if (outcome.code != 0) return outcome.code;
    if (outcome.split) {
      // Left half next; the right half waits. The shared tangent at the cut points back into
      // the left half, and the right half starts along its negation.
      const int32_t cut = outcome.splitIndex;
      pending.Push(cut, b);
      b = cut;
      CenterTangent(samples, dims, cut, end);
      continue;
    }
    if (b == last) return CRV_ErrNone;
    a = b;
    b = pending.EndAfter(a);
    CenterTangent(samples, dims, a, start);
    for (int k = 0; k < coords; ++k) start[k] = -start[k];
    if (b == last) {
      for (int k = 0; k < coords; ++k) end[k] = endTangent[k];
    } else {
      CenterTangent(samples, dims, b, end);
    }
  }
}

}  // namespace crv
