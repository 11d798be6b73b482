// The small-block allocator, backed by malloc. Failable like the host's own, so tests can prove
// the library survives std::bad_alloc from its short-lived containers.
#include "host/small_block.h"

#include <cstdlib>
#include <new>

#include "faults.h"

namespace halvex::utility {

void* SmallBlockAllocator::Allocate(size_t size) {
  int32_t ignored;
  if (crvhost::FaultFires(&ignored)) throw std::bad_alloc();
  void* block = std::malloc(size == 0 ? 1 : size);  // size 0 still yields a distinct block
  if (block == nullptr) throw std::bad_alloc();
  crvhost::Count(crvhost::g_liveSmallBlocks, 1);
  return block;
}

void SmallBlockAllocator::Dispose(void* block, size_t /*size*/) {
  if (block == nullptr) return;
  std::free(block);
  crvhost::Count(crvhost::g_liveSmallBlocks, -1);
}

}  // namespace halvex::utility
