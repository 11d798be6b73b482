// Internal to libcrvhost: the per-thread fault trigger and the process-wide live counts shared by
// every service of the stand-in host. Nothing here is exported.
#ifndef CRVHOST_FAULTS_H
#define CRVHOST_FAULTS_H

#include <atomic>
#include <cstdint>

namespace crvhost {

// Plain data so that it can live in __thread storage: a C++ thread_local declared extern would
// go through a wrapper call on every access, and this is read on every list operation.
struct FaultState {
  int64_t calls;   // failable calls since the last arm or clear
  int64_t failAt;  // the call number that fails; 0 when disarmed (calls is never 0 after ++)
  int32_t code;    // what a failing list or transform operation returns
};

// Initial-exec: a direct offset from the thread pointer instead of a __tls_get_addr call, which
// cost about a sixth of an append. The state is a few bytes, well inside the static TLS reserve
// the loader keeps even for libraries opened later.
extern __thread FaultState t_faults __attribute__((tls_model("initial-exec")));

// Counts one failable call and reports whether it is the armed one. A fault fires once.
inline bool FaultFires(int32_t* code) {
  FaultState& s = t_faults;
  if (++s.calls != s.failAt) return false;
  s.failAt = 0;
  *code = s.code;
  return true;
}

// Relaxed ordering is enough: the counts are read by tests after the threads that changed them
// have been joined, which already orders the accesses.
extern std::atomic<int64_t> g_liveHandles;
extern std::atomic<int64_t> g_liveLists;
extern std::atomic<int64_t> g_liveSmallBlocks;
extern std::atomic<int64_t> g_heldLocks;

inline void Count(std::atomic<int64_t>& counter, int64_t delta) {
  counter.fetch_add(delta, std::memory_order_relaxed);
}

}  // namespace crvhost

#endif
