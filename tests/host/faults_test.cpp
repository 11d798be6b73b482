// Fault injection and live counts: which calls count, that the armed call fails with the code and
// does nothing, that a fault fires once and only in its own thread, and that counts balance.
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host/geo.h"
#include "host/host_test.h"
#include "host/seq.h"
#include "host/small_block.h"

namespace {

using halvex::utility::SmallBlockAllocator;

constexpr int32_t kCode = -777;

struct Fixture : ::testing::Test {
  void TearDown() override { HOST_ClearFaults(); }
};
using Faults = Fixture;

int32_t Count(SEQ_ListH h) {
  int32_t n;
  std::memcpy(&n, static_cast<const char*>(*h) + SEQ_BLOCK_COUNT_OFFSET, sizeof n);
  return n;
}

TEST_F(Faults, EveryListAndTransformCallFailsWithTheCodeAndDoesNothing) {
  SEQ_ListH h = nullptr;
  ASSERT_EQ(SEQ_New(0, 4, 4, 1, &h), 0);
  int32_t v = 5;
  ASSERT_EQ(SEQ_Insert(&v, -1, h), 0);
  auto compare = [](void*, int32_t, const void* a, const void* b) -> int32_t {
    return *static_cast<const int32_t*>(a) - *static_cast<const int32_t*>(b);
  };
  GEO_Matrix4 m = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  double p[3] = {1, 2, 3};
  int32_t out = -1, index = -1;
  uint8_t found = 9;
  void* addr = nullptr;
  SEQ_ListH fresh = nullptr;
  void* funcs[1] = {&out};
  const std::vector<std::pair<const char*, std::function<int32_t()>>> calls = {
      {"New", [&] { return SEQ_New(0, 4, 4, 1, &fresh); }},
      {"SetFuncs", [&] { return SEQ_SetFuncs(h, 1, funcs); }},
      {"SetNumItems", [&] { return SEQ_SetNumItems(3, h, 0); }},
      {"SetItem", [&] { int32_t w = 8; return SEQ_SetItem(&w, 0, h, 0, 0); }},
      {"Insert", [&] { return SEQ_Insert(&v, 0, h); }},
      {"GetItem", [&] { return SEQ_GetItem(h, 0, &out); }},
      {"GetSortedItem", [&] { return SEQ_GetSortedItem(h, compare, 0, &v, &found, &out, &index); }},
      {"Lock", [&] { return SEQ_Lock(1, h); }},
      {"GetAddress", [&] { return SEQ_GetAddress(h, 0, 0, &addr); }},
      {"Transform", [&] { return GEO_Transform3DFloatPoints(&m, 1, p); }},
  };
  const int64_t lists = HOST_LiveLists(), locks = HOST_HeldLocks();
  for (const auto& [name, call] : calls) {
    if (std::strcmp(name, "GetAddress") == 0) {
      ASSERT_EQ(SEQ_Lock(1, h), 0);  // so that only the fault can make it fail
    }
    const int64_t heldBefore = HOST_HeldLocks();
    HOST_FailNthCall(1, kCode);
    EXPECT_EQ(call(), kCode) << name;
    EXPECT_EQ(HOST_CallCount(), 1) << name;
    EXPECT_EQ(HOST_HeldLocks(), heldBefore) << name;
    if (std::strcmp(name, "GetAddress") == 0) {
      ASSERT_EQ(SEQ_Unlock(h), 0);
    }
  }
  // Nothing was done: the list, its lock state and every output are as they were.
  EXPECT_EQ(fresh, nullptr);
  EXPECT_EQ(HOST_LiveLists(), lists);
  EXPECT_EQ(HOST_HeldLocks(), locks);
  ASSERT_EQ(Count(h), 1);
  ASSERT_EQ(SEQ_GetItem(h, 0, &v), 0);
  EXPECT_EQ(v, 5);
  EXPECT_EQ(out, -1);
  EXPECT_EQ(index, -1);
  EXPECT_EQ(found, 9);
  EXPECT_EQ(addr, nullptr);
  EXPECT_EQ(p[0], 1);
  EXPECT_EQ(SEQ_Dispose(h, 0), 0);
  EXPECT_EQ(HOST_LiveLists(), lists - 1);
}

// Callers release on every path whatever the code, so a failing release still releases.
TEST_F(Faults, ReleasesReportTheirCodeButStillRelease) {
  const int64_t lists = HOST_LiveLists(), locks = HOST_HeldLocks();
  SEQ_ListH h = nullptr;
  ASSERT_EQ(SEQ_New(0, 4, 4, 1, &h), 0);
  ASSERT_EQ(SEQ_Lock(1, h), 0);
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(SEQ_Unlock(h), kCode);
  EXPECT_EQ(HOST_HeldLocks(), locks);
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(SEQ_Unlock(h), kCode) << "the injected code wins over the list's own complaint";
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(SEQ_Dispose(h, 0), kCode);
  EXPECT_EQ(HOST_LiveLists(), lists);
}

TEST_F(Faults, AllocationsFailTheirOwnWay) {
  const int64_t handles = HOST_LiveHandles(), blocks = HOST_LiveSmallBlocks();
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(HS_AllocateHandle(0, "h", 8), nullptr);
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(HS_AllocateHandleClear(0, "h", 8), nullptr);
  HOST_FailNthCall(1, kCode);
  EXPECT_THROW(SmallBlockAllocator::Allocate(16), std::bad_alloc);
  EXPECT_EQ(HOST_LiveHandles(), handles);
  EXPECT_EQ(HOST_LiveSmallBlocks(), blocks);
}

TEST_F(Faults, CountsFailableCallsOnlyAndFiresOnce) {
  HOST_ClearFaults();
  EXPECT_EQ(HOST_CallCount(), 0);
  // Calls that fail for their own reasons still count; the non-failable ones do not.
  EXPECT_EQ(SEQ_Insert(nullptr, -1, nullptr), SEQ_ERR_NULL_LIST);
  EXPECT_EQ(GEO_Transform3DFloatPoints(nullptr, 0, nullptr), GEO_ERR_BAD_ARGUMENT);
  HS_Handle handle = HS_AllocateHandleClear(0, "h", 4);  // one call, though it also clears
  void* block = SmallBlockAllocator::Allocate(8);
  EXPECT_EQ(HOST_CallCount(), 4);
  HS_FreeHandle(handle);
  SmallBlockAllocator::Dispose(block, 8);
  HS_ZLookupLStrCache(nullptr, 0, 0, 0);
  HS_TranslateAndReportException(std::bad_alloc());
  EXPECT_EQ(HOST_CallCount(), 4);

  // Armed for the third call: only the third fails, and arming restarted the count.
  GEO_Matrix4 m = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  double p[3] = {1, 2, 3};
  HOST_FailNthCall(3, kCode);
  EXPECT_EQ(HOST_CallCount(), 0);
  std::vector<int32_t> results;
  for (int i = 0; i < 6; ++i) results.push_back(GEO_Transform3DFloatPoints(&m, 1, p));
  EXPECT_EQ(results, (std::vector<int32_t>{0, 0, kCode, 0, 0, 0}));
  EXPECT_EQ(HOST_CallCount(), 6);

  // n <= 0 and ClearFaults both disarm.
  for (int64_t n : {0, -1}) {
    HOST_FailNthCall(n, kCode);
    EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, p), 0);
  }
  HOST_FailNthCall(1, kCode);
  HOST_ClearFaults();
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, p), 0);
  EXPECT_EQ(HOST_CallCount(), 1);
}

TEST_F(Faults, AFaultBelongsToTheThreadThatArmedIt) {
  GEO_Matrix4 m = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  HOST_FailNthCall(2, kCode);
  double q[3] = {1, 2, 3};
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, q), 0);
  std::vector<int32_t> other;
  int64_t otherCount = -1;
  std::thread t([&] {
    double p[3] = {1, 2, 3};
    for (int i = 0; i < 5; ++i) other.push_back(GEO_Transform3DFloatPoints(&m, 1, p));
    otherCount = HOST_CallCount();
  });
  t.join();
  EXPECT_EQ(other, std::vector<int32_t>(5, 0));
  EXPECT_EQ(otherCount, 5);
  EXPECT_EQ(HOST_CallCount(), 1) << "the other thread's calls do not advance this count";
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, q), kCode);
}

// A routine written the way library code uses the host: build a list, fill it in place under a
// lock, clean up on any failure.
int32_t BuildSquares(int32_t n, int64_t* sum) {
  SEQ_ListH h = nullptr;
  int32_t err = SEQ_New(0, sizeof(int64_t), 8, 1, &h);
  if (err != 0) return err;
  void* scratch = nullptr;
  try {
    scratch = SmallBlockAllocator::Allocate(64);
  } catch (const std::bad_alloc& e) {
    err = HS_TranslateAndReportException(e);
  }
  if (err == 0) err = SEQ_SetNumItems(n, h, 0);
  if (err == 0 && (err = SEQ_Lock(1, h)) == 0) {
    for (int32_t i = 0; i < n && err == 0; ++i) {
      void* at = nullptr;
      if ((err = SEQ_GetAddress(h, i, 0, &at)) == 0) *static_cast<int64_t*>(at) = int64_t{i} * i;
    }
    int32_t unlockErr = SEQ_Unlock(h);
    if (err == 0) err = unlockErr;
  }
  *sum = 0;
  for (int32_t i = 0; i < n && err == 0; ++i) {
    int64_t v;
    if ((err = SEQ_GetItem(h, i, &v)) == 0) *sum += v;
  }
  SmallBlockAllocator::Dispose(scratch, 64);
  int32_t disposeErr = SEQ_Dispose(h, 0);
  return err != 0 ? err : disposeErr;
}

// Failing each host call of the routine in turn hands the code back and leaves nothing behind.
TEST_F(Faults, SweepingEveryCallOfARoutineLeaksNothing) {
  const int64_t lists = HOST_LiveLists(), locks = HOST_HeldLocks(),
                blocks = HOST_LiveSmallBlocks();
  int64_t sum = 0;
  HOST_ClearFaults();
  ASSERT_EQ(BuildSquares(10, &sum), 0);
  EXPECT_EQ(sum, 285);
  const int64_t calls = HOST_CallCount();
  ASSERT_EQ(calls, 1 + 1 + 1 + 1 + 10 + 1 + 10 + 1);
  const int64_t smallBlockCall = 2;
  for (int64_t n = 1; n <= calls; ++n) {
    HOST_FailNthCall(n, kCode);
    EXPECT_EQ(BuildSquares(10, &sum), n == smallBlockCall ? HS_ERR_BAD_ALLOC : kCode)
        << "call " << n;
    HOST_ClearFaults();
    EXPECT_EQ(HOST_LiveLists(), lists) << "call " << n;
    EXPECT_EQ(HOST_HeldLocks(), locks) << "call " << n;
    EXPECT_EQ(HOST_LiveSmallBlocks(), blocks) << "call " << n;
  }
}

TEST(Concurrency, TwoThreadsHammerDistinctLists) {
  const int64_t lists = HOST_LiveLists(), locks = HOST_HeldLocks();
  auto worker = [](int32_t seed, bool* ok) {
    SEQ_ListH h = nullptr;
    *ok = SEQ_New(0, sizeof(int32_t), 1, 1, &h) == 0;
    for (int32_t round = 0; round < 50 && *ok; ++round) {
      // A fault armed here must hit only this thread's next-but-one call.
      HOST_FailNthCall(2, kCode);
      int32_t v = seed;
      *ok = *ok && SEQ_Insert(&v, -1, h) == 0 && SEQ_Insert(&v, -1, h) == kCode;
      for (int32_t i = 0; i < 2000 && *ok; ++i) {
        v = seed + i;
        *ok = SEQ_Insert(&v, -1, h) == 0;
      }
      *ok = *ok && SEQ_Lock(1, h) == 0 && Count(h) == 2001 && SEQ_Unlock(h) == 0;
      for (int32_t i = 0; i < 2000 && *ok; i += 97) {
        *ok = SEQ_GetItem(h, i + 1, &v) == 0 && v == seed + i;
      }
      *ok = *ok && SEQ_SetNumItems(0, h, 0) == 0;
    }
    *ok = *ok && SEQ_Dispose(h, 0) == 0;
  };
  bool ok1 = false, ok2 = false;
  std::thread a(worker, 1000000, &ok1), b(worker, 2000000, &ok2);
  a.join();
  b.join();
  EXPECT_TRUE(ok1);
  EXPECT_TRUE(ok2);
  EXPECT_EQ(HOST_LiveLists(), lists);
  EXPECT_EQ(HOST_HeldLocks(), locks);
}

}  // namespace
