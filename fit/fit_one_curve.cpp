// The single-curve fit: one cubic through a run of samples, from end tangents estimated over a
// few samples at each end, by least squares and Newton refinement.
#include <cstring>
#include <memory>

#include "core/host_adapters/guard.h"
#include "core/host_adapters/host_lists.h"
#include "fit/fit_engine.h"

namespace {

// Tangent sample counts outside 1 .. n - 1 would average over samples that do not exist (or
// over none): they are clamped into that range.
int32_t ClampTangentCount(int32_t requested, int32_t samples) {
  if (requested < 1) return 1;
  return requested > samples - 1 ? samples - 1 : requested;
}

// The iteration count of the exports is unsigned 16-bit, the engine's signed: 32768 and above
// read as negative and iterate not at all.
int16_t EngineIterations(uint16_t iterations) { return static_cast<int16_t>(iterations); }

}  // namespace

int32_t CRV_FitOneCurveError(const double* samples, int32_t count, double bound,
                             int32_t leftTangentCount, int32_t rightTangentCount,
                             uint16_t maxIterations, double* maxError, CRV_Curve* curve) {
  const int16_t dims = curve->dims;
  if ((dims != 2 && dims != 3) || count < 2) return CRV_ErrBadRecord;

  double start[3], end[3];
  crv::EstimateEndTangent(samples, dims, 0, 1, ClampTangentCount(leftTangentCount, count), start);
  crv::EstimateEndTangent(samples, dims, count - 1, -1, ClampTangentCount(rightTangentCount, count),
                          end);

  crv::TemporaryList fitted(dims * static_cast<int32_t>(sizeof(double)), crv::kSingleFitGrowBy);
  if (fitted.code() != 0) return fitted.code();
  std::unique_ptr<crv::FitWorkBuffers> work;
  int32_t code = crv::RunGuarded([&] {
    work = crv::MakeFitWorkBuffers(count);
    return CRV_ErrNone;
  });
  double dropped = 0.0;
  if (code == 0) {
    code = crv::FitCubicSegment(samples, dims, 0, count - 1, start, end, bound,
                                EngineIterations(maxIterations), false, *work,
                                maxError != nullptr ? maxError : &dropped, fitted.get(), nullptr);
  }
  // The engine leaves exactly the four control points in the list.
  if (code == 0) {
    code = crv::WithLockedList(fitted.get(), [&] {
      const double* items = crv::ItemAt<double>(fitted.get(), 0);
      for (int i = 0; i < 4; ++i)
        std::memcpy(curve->ctpts[i], items + i * dims, static_cast<size_t>(dims) * sizeof(double));
      return CRV_ErrNone;
    });
  }
  return fitted.Release(code);
}

int32_t CRV_FitOneCurveIter(const double* samples, int32_t count, double bound,
                            uint16_t maxIterations, int32_t tangentCount, CRV_Curve* curve) {
  return CRV_FitOneCurveError(samples, count, bound, tangentCount, tangentCount, maxIterations,
                              nullptr, curve);
}

int32_t CRV_FitOneCurve(const double* samples, int32_t count, double bound, int32_t tangentCount,
                        CRV_Curve* curve) {
  return CRV_FitOneCurveIter(samples, count, bound, 10, tangentCount, curve);
}
