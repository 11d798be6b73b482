// libFuzzer over the catalogue of exports. The first byte picks a row, the second a capability
// path and, for a row that reaches the host, a host call to fail; the rest feed the row's
// generator in place of its seeded numbers, with NaNs, infinities, denormals and extremes mixed
// into its doubles. After each call: nothing is leaked and no lock held, a result code is one
// the library or the host gives (or the failed call's code passed through), and a second run on
// the same bytes gives the same outputs, bit for bit.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "crv/crv.h"
#include "host/host_test.h"
#include "host/geo.h"
#include "host/hs.h"
#include "host/seq.h"
#include "catalogue/catalogue.h"

namespace {

constexpr int32_t kInjected = -900000;

[[noreturn]] void Fail(const std::string& what, const std::string& row) {
  std::fprintf(stderr, "fuzz invariant broken in %s: %s\n", row.c_str(), what.c_str());
  std::abort();
}

class FailCall : public crvcat::Hook {
 public:
  explicit FailCall(int64_t k) : k_(k) {}
  void Before() override {
    if (k_ > 0) HOST_FailNthCall(k_, kInjected);
  }
  void After() override { HOST_ClearFaults(); }

 private:
  int64_t k_;
};

int64_t LiveCount() {
  return HOST_LiveHandles() + HOST_LiveLists() + HOST_LiveSmallBlocks() + HOST_HeldLocks();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const auto& rows = crvcat::Catalogue();
  const crvcat::Row& row = rows[data[0] % rows.size()];
  const bool host = (row.flags & crvcat::kReachesHost) != 0;
  const int64_t k = host ? (data[1] & 0x3f) : 0;  // 0: no failure
  const crvcat::CapabilityPath path(data[1] >> 7);

  std::string first;
  for (int run = 0; run < 2; ++run) {
    const int64_t live = LiveCount();
    crvcat::Rng rng(data + 2, size - 2);
    FailCall hook(k);
    const std::string payload = crvcat::RunCall(row, rng, hook);
    if (LiveCount() != live) Fail("a host object was leaked or a lock held", row.name);
    if (host) {
      const int32_t code = std::stoi(payload.substr(0, payload.find(' ')));
      // The host refuses a point behind the eye and a list too long for its memory on its own;
      // any other host code would mean the library misused a list.
      if (code != 0 && code != CRV_ErrBadRecord && code != CRV_ErrOutOfMemory &&
          code != kInjected && code != HS_ERR_BAD_ALLOC && code != GEO_ERR_BEHIND_EYE &&
          code != SEQ_ERR_NO_MEMORY)
        Fail("result code " + std::to_string(code), row.name);
    }
    if (run == 0) first = payload;
    if (run == 1 && payload != first) Fail("two runs differ: " + first + " / " + payload, row.name);
  }
  return 0;
}
