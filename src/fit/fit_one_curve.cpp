// The single-curve fit: one cubic through a run of samples, from end tangents estimated over a
// few samples at each end, by least squares and Newton refinement.
#include <cstring>
#include <memory>

#include "core/host_adapters/guard.h"
#include "core/host_adapters/host_lists.h"
#include "fit/fit_engine.h"

namespace {

// The Newton steps of CRV_FitOneCurve. A single cubic has no split to fall back on when the
// bound is missed, so it may refine longer than a chain's segment, which splits after four.
constexpr uint16_t kOneCurveIterations = 10;

// Tangent sample counts outside 1 .. n - 1 would average over samples that do not exist (or
// over none): they are clamped into that range.
int32_t ClampTangentCount(int32_t requested, int32_t samples) {
  if (requested < 1) return 1;
  return requested > samples - 1 ? samples - 1 : requested;
}

// The iteration count of the exports is unsigned 16-bit, the engine's signed: 32768 and above
// read as negative and iterate not at all.
int16_t EngineIterations(uint16_t iterations) { return static_cast<int16_t>(iterations); }

// Copies the four control points the engine left in the (locked) list into the caller's record.
void CopyFittedPoints(SEQ_ListH fitted, CRV_Curve* curve) {
  const int16_t dims = curve->dims;
  const double* items = crv::ItemAt<double>(fitted, 0);
  for (int i = 0; i < 4; ++i)
    std::memcpy(curve->ctpts[i], items + i * dims, static_cast<size_t>(dims) * sizeof(double));
}

}  // namespace

// Host calls: a temporary point list (SEQ_New, 4 inserts, lock, unlock, dispose), two small
// blocks of count * 8 bytes, and a handle of 48 bytes a sample when count > 256.
int32_t CRV_FitOneCurveError(const double* samples, int32_t count, double bound,
                             int32_t leftTangentCount, int32_t rightTangentCount,
                             uint16_t maxIterations, double* maxError, CRV_Curve* curve) {
  const int16_t dims = curve->dims;
  if ((dims != 2 && dims != 3) || count < 2) return CRV_ErrBadRecord;

  crv::TemporaryList fitted(dims * static_cast<int32_t>(sizeof(double)), crv::kSingleFitGrowBy);
  if (fitted.code() != 0) return fitted.code();
  std::unique_ptr<crv::FitWorkBuffers> work;
  int32_t code = crv::RunGuarded([&] {
    work = crv::MakeFitWorkBuffers(count);
    return CRV_ErrNone;
  });
  if (code != 0) return fitted.Release(code);

  double dropped = 0.0;  // where the measured maxima go when the caller wants none
  const crv::FitRequest request{samples,
                                count,
                                ClampTangentCount(leftTangentCount, count),
                                ClampTangentCount(rightTangentCount, count),
                                bound,
                                EngineIterations(maxIterations),
                                false,
                                work.get(),
                                fitted.get(),
                                nullptr,
                                maxError != nullptr ? maxError : &dropped};
  code = crv::RunFit(dims, request);
  if (code != 0) return fitted.Release(code);
  // The engine leaves exactly the four control points in the list.
  code = crv::WithLockedList(fitted.get(), [&] {
    CopyFittedPoints(fitted.get(), curve);
    return CRV_ErrNone;
  });
  return fitted.Release(code);
}

int32_t CRV_FitOneCurveIter(const double* samples, int32_t count, double bound,
                            uint16_t maxIterations, int32_t tangentCount, CRV_Curve* curve) {
  return CRV_FitOneCurveError(samples, count, bound, tangentCount, tangentCount, maxIterations,
                              nullptr, curve);
}

int32_t CRV_FitOneCurve(const double* samples, int32_t count, double bound, int32_t tangentCount,
                        CRV_Curve* curve) {
  return CRV_FitOneCurveIter(samples, count, bound, kOneCurveIterations, tangentCount, curve);
}
