// Host small-block allocator: fast blocks for short-lived containers.
#ifndef HOST_SMALL_BLOCK_H
#define HOST_SMALL_BLOCK_H

#include <cstddef>

#include "host_api.h"

namespace halvex::utility {

struct HS_API SmallBlockAllocator {
  // Returns a block of at least `size` bytes; throws std::bad_alloc when it cannot.
  static void* Allocate(size_t size);
  // Releases a block; `size` must be the size it was allocated with. Null is ignored.
  static void Dispose(void* block, size_t size);
};

}  // namespace halvex::utility

#endif
