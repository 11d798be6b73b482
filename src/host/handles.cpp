// Handles: a master pointer and the block it points to, allocated separately so that the block
// could move without the handle changing (the list container relies on the same shape).
#include <cstdlib>
#include <cstring>

#include "faults.h"
#include "host/hs.h"

namespace {

HS_Handle AllocateHandle(uint64_t size, bool clear) {
  int32_t ignored;
  if (crvhost::FaultFires(&ignored)) return nullptr;
  auto master = static_cast<void**>(std::malloc(sizeof(void*)));
  if (master == nullptr) return nullptr;
  // A zero-byte handle is still a distinct handle with a distinct, freeable block.
  size_t bytes = size == 0 ? 1 : static_cast<size_t>(size);
  void* block = clear ? std::calloc(1, bytes) : std::malloc(bytes);
  if (block == nullptr) {
    std::free(master);
    return nullptr;
  }
  *master = block;
  crvhost::Count(crvhost::g_liveHandles, 1);
  return master;
}

}  // namespace

HS_Handle HS_AllocateHandle(uint32_t /*tag*/, const char* /*name*/, uint64_t size) {
  return AllocateHandle(size, false);
}

HS_Handle HS_AllocateHandleClear(uint32_t /*tag*/, const char* /*name*/, uint64_t size) {
  return AllocateHandle(size, true);
}

void HS_FreeHandle(HS_Handle handle) {
  if (handle == nullptr) return;
  std::free(*handle);
  std::free(handle);
  crvhost::Count(crvhost::g_liveHandles, -1);
}
