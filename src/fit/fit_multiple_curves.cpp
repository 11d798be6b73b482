// The multiple-curve fit: a tangent-continuous chain of cubics through a run of samples, each
// sample within the error bound of its segment, delivered in the caller's host lists.
#include <memory>

#include "core/host_adapters/guard.h"
#include "core/host_adapters/host_lists.h"
#include "fit/fit_engine.h"

namespace {

// The Newton steps CRV_FitMultipleCurves gives a segment before splitting it. A chain can fall
// back on splitting, so a segment that a few steps do not bring within the bound is split rather
// than refined further (the single fit, which cannot split, allows ten).
constexpr uint16_t kChainIterations = 4;

// The caller's list, made when its variable is null and emptied when it holds a list already.
int32_t UseEmptyList(SEQ_ListH* list, int32_t itemSize, int32_t growBy) {
  bool created = false;
  const int32_t code = crv::UseOrCreateList(list, itemSize, growBy, &created);
  if (code != 0 || created) return code;
  return SEQ_SetNumItems(0, *list, 0);
}

}  // namespace

int32_t CRV_FitMultipleCurvesIterate(const double* samples, uint16_t dims, int32_t count,
                                     double bound, uint16_t maxIterations, SEQ_ListH* points,
                                     SEQ_ListH* indices) {
  if ((dims != 2 && dims != 3) || count < 2) return CRV_ErrBadRecord;
  const int16_t coords = static_cast<int16_t>(dims);

  int32_t code = UseEmptyList(points, coords * static_cast<int32_t>(sizeof(double)),
                              crv::kFitPointsGrowBy);
  if (code != 0) return code;
  if (indices != nullptr) {
    code = UseEmptyList(indices, crv::kFitIndexItemSize, crv::kFitIndicesGrowBy);
    if (code != 0) return code;
    const int32_t firstIndex = 0;
    code = SEQ_Insert(&firstIndex, 0, *indices);
    if (code != 0) return code;
  }

  std::unique_ptr<crv::FitWorkBuffers> work;
  code = crv::RunGuarded([&] {
    work = crv::MakeFitWorkBuffers(count);
    return CRV_ErrNone;
  });
  if (code != 0) return code;
  double dropped = 0.0;  // the chain's last measured maximum is of no use to the caller
  const crv::FitRequest request{samples,
                                count,
                                1,  // only the immediate neighbours of the end samples give
                                1,  // the end tangents
                                bound,
                                static_cast<int16_t>(maxIterations),
                                true,
                                work.get(),
                                *points,
                                indices,
                                &dropped};
  return crv::RunFit(coords, request);
}

int32_t CRV_FitMultipleCurves(const double* samples, uint16_t dims, int32_t count, double bound,
                              SEQ_ListH* points) {
  return CRV_FitMultipleCurvesIterate(samples, dims, count, bound, kChainIterations, points,
                                      nullptr);
}
