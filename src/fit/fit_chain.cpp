// The walk of a fit: one segment's fit with Newton refinement and, for chains, splitting at the
// sample of largest deviation, walked without recursion; and the choice of the engine's
// dimension, once per fit.
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

template <int D>
typename FitEngine<D>::Outcome FitEngine<D>::FitOnce(int32_t first, int32_t last,
                                                     const double* startTangent,
                                                     const double* endTangent) {
  if (last - first == 1) {
    const double handle = ThirdOfChord(first, last);
    PlaceHandles(first, last, handle, handle, startTangent, endTangent);
    return {Emit(last), false, 0};
  }

  double* u = request_.work->params;
  double* refined = request_.work->refinedParams;
  ChordLengthParameters(first, last, u);
  int32_t code = SolveInnerControlPoints(first, last, u, startTangent, endTangent);
  if (code != 0) return {code, false, 0};
  Deviation deviation = MaxError(first, last, u);
  *request_.maxError = deviation.worst;
  if (request_.bound > deviation.worst) return {Emit(last), false, 0};

  // The bound is a squared distance; its square gates the Newton steps. A bound in (0, 1) makes
  // the gate stricter than acceptance, so a chain splits such a segment without refining it.
  const double bound = request_.bound;
  if (!(bound * bound > deviation.worst) && request_.allowSplit)
    return {0, true, deviation.sample};

  for (int32_t iteration = 0; iteration < request_.maxIterations; ++iteration) {
    NewtonReparameterize(first, last, u, refined);
    code = SolveInnerControlPoints(first, last, refined, startTangent, endTangent);
    if (code != 0) return {code, false, 0};
    deviation = MaxError(first, last, refined);
    *request_.maxError = deviation.worst;
    if (bound > deviation.worst) return {Emit(last), false, 0};
    std::swap(u, refined);  // the next step starts from the newest parameters
  }
  if (request_.allowSplit) return {0, true, deviation.sample};
  return {Emit(last), false, 0};
}

template <int D>
int32_t FitEngine<D>::FitCubicSegment(int32_t first, int32_t last, const double* startTangent,
                                      const double* endTangent) {
  if (!request_.allowSplit) return FitOnce(first, last, startTangent, endTangent).code;

  PendingCuts pending(request_.work->params, first);
  int32_t a = first;
  int32_t b = last;
  double start[3] = {startTangent[0], startTangent[1], D == 3 ? startTangent[2] : 0.0};
  double end[3] = {endTangent[0], endTangent[1], D == 3 ? endTangent[2] : 0.0};
  // Every pass either splits a..b at an interior sample (b falls) or appends it (a rises), and a
  // two-sample segment is never split: at most 2 (last - first) passes.
  for (;;) {
    const Outcome outcome = FitOnce(a, b, start, end);
    if (outcome.code != 0) return outcome.code;
    if (outcome.split) {
      // Left half next; the right half waits. The shared tangent at the cut points back into
      // the left half, and the right half starts along its negation.
      const int32_t cut = outcome.splitIndex;
      pending.Push(cut, b);
      b = cut;
      CenterTangent(cut, end);
      continue;
    }
    if (b == last) return CRV_ErrNone;
    a = b;
    b = pending.EndAfter(a);
    CenterTangent(a, start);
    for (int k = 0; k < D; ++k) start[k] = -start[k];
    if (b == last) {
      for (int k = 0; k < D; ++k) end[k] = endTangent[k];
    } else {
      CenterTangent(b, end);
    }
  }
}

template <int D>
int32_t FitEngine<D>::Run() {
  double start[3], end[3];
  EndTangent(0, 1, request_.startTangentCount, start);
  EndTangent(request_.count - 1, -1, request_.endTangentCount, end);
  return FitCubicSegment(0, request_.count - 1, start, end);
}

int32_t RunFit(int16_t dims, const FitRequest& request) {
  if (dims == 2) return FitEngine<2>(request).Run();
  return FitEngine<3>(request).Run();
}

}  // namespace crv
