// The catalogue under the stand-in host's controls. The fault sweep runs the first calls of every
// row that reaches the host once cleanly and then once per failable host call k with call k
// failing: the injected code must come back (or the code the header documents for it:
// CRV_ErrOutOfMemory for a handle the host cannot give, the translator's code for a small block
// that throws), no handle, list, small block or lock may be left behind, and the lookups that
// promise to write nothing on a failure write nothing; a caller's list that the call was given
// is disposed of afterwards, which proves it was not left locked. The allocation check runs every
// call of the rows that evaluate, solve or query, which hosts make from their drawing loops, and
// counts heap allocations inside the export call.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "crv/crv.h"
#include "host/host_test.h"
#include "host/hs.h"
#include "support/alloc_counter.h"
#include "catalogue/catalogue.h"

namespace {

using crvcat::Catalogue;
using crvcat::Row;

constexpr int kSweptCalls = 12;  // golden calls of each row that the sweep fails call by call

// The code injected at call k is kCodeBase - k: distinct per call, and neither 0, 2, 4 nor any
// code the host produces on its own, so a result can only carry it by passing it through.
constexpr int32_t kCodeBase = -900000;

struct Live {
  int64_t handles = HOST_LiveHandles(), lists = HOST_LiveLists(), blocks = HOST_LiveSmallBlocks(),
          locks = HOST_HeldLocks();
  bool operator==(const Live& o) const {
    return handles == o.handles && lists == o.lists && blocks == o.blocks && locks == o.locks;
  }
};

std::ostream& operator<<(std::ostream& out, const Live& l) {
  return out << l.handles << " handles, " << l.lists << " lists, " << l.blocks << " small blocks, "
             << l.locks << " locks";
}

// Fails failable host call k of the export call (none for k = 0) and counts the calls it made.
class FailCall : public crvcat::Hook {
 public:
  explicit FailCall(int64_t k) : k_(k) {}
  void Before() override {
    if (k_ > 0)
      HOST_FailNthCall(k_, kCodeBase - static_cast<int32_t>(k_));
    else
      HOST_ClearFaults();
  }
  void After() override {
    calls = HOST_CallCount();
    HOST_ClearFaults();
  }
  int64_t calls = 0;

 private:
  int64_t k_;
};

// Whether every output after the result code kept the catalogue's -7.
bool OutputsKept(const std::string& payload) {
  std::istringstream words(payload);
  std::string word;
  words >> word;  // the result code
  while (words >> word)
    if (word != "c01c000000000000") return false;
  return true;
}

int32_t CodeOf(const std::string& payload) {
  return std::stoi(payload.substr(0, payload.find(' ')));
}

class FaultSweep : public ::testing::TestWithParam<const Row*> {};

TEST_P(FaultSweep, EveryFailedHostCallComesBackAndLeavesNothingBehind) {
  const Row& row = *GetParam();
  int64_t faults = 0;
  crvcat::Rng rng = row.Seeded();
  for (int i = 0; i < kSweptCalls && i < row.calls; ++i) {
    const crvcat::Rng start = rng;
    const Live before;
    FailCall clean(0);
    const std::string cleanPayload = crvcat::RunCall(row, rng, clean);
    ASSERT_EQ(Live(), before) << "call " << i << " without faults";
    // Every call k for the first 32, then about 32 more spread evenly up to the last, then one
    // past it: a run of hundreds of transforms need not be failed at every one of them.
    const int64_t stride = clean.calls > 64 ? clean.calls / 32 : 1;
    for (int64_t k = 1;; k = k < 32 || k + stride > clean.calls ? k + 1 : k + stride) {
      crvcat::Rng again = start;
      FailCall fault(k);
      const std::string payload = crvcat::RunCall(row, again, fault);
      SCOPED_TRACE("call " + std::to_string(i) + ", host call " + std::to_string(k) +
                   " failing: " + payload);
      EXPECT_EQ(Live(), before);
      if (fault.calls < k) {  // the run made no call k: nothing failed
        EXPECT_EQ(payload, cleanPayload);
        EXPECT_EQ(k, clean.calls + 1) << "a failure changed the number of calls";
        break;
      }
      ++faults;
      const int32_t code = CodeOf(payload);
      const bool documented = code == kCodeBase - k || code == CRV_ErrOutOfMemory ||
                              (code == HS_ERR_BAD_ALLOC && *HOST_LastReportedException() != 0);
      const bool goesOn = (row.flags & crvcat::kGoesOnAfterFault) && payload == cleanPayload;
      EXPECT_TRUE(documented || goesOn);
      const bool kept = (row.flags & crvcat::kKeepsOutputsOnFault) == 0 || OutputsKept(payload);
      EXPECT_TRUE(goesOn || kept);
    }
  }
  EXPECT_GT(faults, 0);
}

std::vector<const Row*> HostRows() {
  std::vector<const Row*> rows;
  for (const Row& row : Catalogue())
    if (row.flags & crvcat::kReachesHost) rows.push_back(&row);
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Catalogue, FaultSweep, ::testing::ValuesIn(HostRows()),
                         [](const ::testing::TestParamInfo<const Row*>& info) {
                           std::string name;
                           for (char c : info.param->name)
                             if (std::isalnum(static_cast<unsigned char>(c))) name += c;
                           return name;
                         });

// Counts the heap allocations of the export call.
class CountAllocations : public crvcat::Hook {
 public:
  void Before() override { counter_.emplace(); }
  void After() override { count = counter_->count(); }
  int64_t count = -1;

 private:
  std::optional<crvtest::AllocCounter> counter_;
};

TEST(NoAllocation, EvaluationSolvingAndQueries) {
  for (int32_t paired : {0, 1}) {
    const crvcat::CapabilityPath path(paired);
    for (const Row& row : Catalogue()) {
      if ((row.flags & crvcat::kAllocatesNothing) == 0) continue;
      crvcat::Rng rng = row.Seeded();
      for (int i = 0; i < row.calls; ++i) {
        CountAllocations hook;
        crvcat::RunCall(row, rng, hook);
        EXPECT_EQ(hook.count, 0) << row.name << " call " << i;
      }
    }
  }
}

}  // namespace
