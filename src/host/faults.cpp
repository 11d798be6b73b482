// Fault injection and live counts: the test controls of the stand-in host.
#include "faults.h"

#include "host/host_test.h"

namespace crvhost {

__thread FaultState t_faults __attribute__((tls_model("initial-exec"))) = {0, 0, 0};

std::atomic<int64_t> g_liveHandles{0};
std::atomic<int64_t> g_liveLists{0};
std::atomic<int64_t> g_liveSmallBlocks{0};
std::atomic<int64_t> g_heldLocks{0};

}  // namespace crvhost

using crvhost::t_faults;

void HOST_FailNthCall(int64_t n, int32_t code) {
  t_faults.calls = 0;
  t_faults.failAt = n > 0 ? n : 0;
  t_faults.code = code;
}

void HOST_ClearFaults(void) { HOST_FailNthCall(0, 0); }

int64_t HOST_CallCount(void) { return t_faults.calls; }

int64_t HOST_LiveHandles(void) { return crvhost::g_liveHandles.load(std::memory_order_relaxed); }
int64_t HOST_LiveLists(void) { return crvhost::g_liveLists.load(std::memory_order_relaxed); }
int64_t HOST_LiveSmallBlocks(void) {
  return crvhost::g_liveSmallBlocks.load(std::memory_order_relaxed);
}
int64_t HOST_HeldLocks(void) { return crvhost::g_heldLocks.load(std::memory_order_relaxed); }
