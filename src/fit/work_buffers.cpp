// The parameter arrays of one fit, on the host's small-block allocator.
#include <cstddef>

#include "fit/fit_engine.h"
#include "host/small_block.h"

namespace crv {

namespace {

using halvex::utility::SmallBlockAllocator;

size_t ArrayBytes(int32_t count) { return static_cast<size_t>(count) * sizeof(double); }

}  // namespace

FitWorkBuffers::~FitWorkBuffers() {
  if (refinedParams != nullptr)
    SmallBlockAllocator::Dispose(refinedParams, ArrayBytes(refinedCount));
  if (params != nullptr) SmallBlockAllocator::Dispose(params, ArrayBytes(paramCount));
}

std::unique_ptr<FitWorkBuffers> MakeFitWorkBuffers(int32_t count) {
  auto work = std::make_unique<FitWorkBuffers>();
  // Each count is set only with its array, so a throw between the two leaves a record that
  // releases exactly what it holds.
  work->params = static_cast<double*>(SmallBlockAllocator::Allocate(ArrayBytes(count)));
  work->paramCount = count;
  work->refinedParams = static_cast<double*>(SmallBlockAllocator::Allocate(ArrayBytes(count)));
  work->refinedCount = count;
  return work;
}

}  // namespace crv
