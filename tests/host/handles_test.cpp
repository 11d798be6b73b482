// Handles, message lookup, the capability record, the exception translator and small blocks.
#include <cstdint>
#include <cstring>
#include <new>
#include <set>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "host/host_test.h"
#include "host/hs.h"
#include "host/small_block.h"

#if defined(__SANITIZE_ADDRESS__)
// The impossible-size cases below test the host's own out-of-memory paths, which need malloc to
// return null rather than have the sanitizer stop the program.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace {

using halvex::utility::SmallBlockAllocator;

TEST(Handles, BlocksAreUsableDistinctAndCounted) {
  const int64_t live = HOST_LiveHandles();
  HS_Handle a = HS_AllocateHandle(1, "a", 100);
  HS_Handle b = HS_AllocateHandle(1, "b", 0);  // zero bytes: still a handle of its own
  HS_Handle c = HS_AllocateHandle(1, "c", 0);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  ASSERT_NE(c, nullptr);
  ASSERT_NE(*a, nullptr);
  EXPECT_NE(*b, *c);
  std::memset(*a, 0xab, 100);  // the whole block is writable (ASan checks the bound)
  EXPECT_EQ(HOST_LiveHandles(), live + 3);
  HS_FreeHandle(a);
  HS_FreeHandle(b);
  HS_FreeHandle(c);
  HS_FreeHandle(nullptr);
  EXPECT_EQ(HOST_LiveHandles(), live);
}

TEST(Handles, ClearVariantZeroesEveryByte) {
  // Dirty the heap first so a zero block is not zero by accident of fresh pages.
  for (int round = 0; round < 8; ++round) {
    HS_Handle dirty = HS_AllocateHandle(0, "dirty", 4096);
    std::memset(*dirty, 0x5a, 4096);
    HS_FreeHandle(dirty);
    HS_Handle h = HS_AllocateHandleClear(0, "clear", 4096);
    ASSERT_NE(h, nullptr);
    const auto* bytes = static_cast<const unsigned char*>(*h);
    for (int i = 0; i < 4096; ++i) ASSERT_EQ(bytes[i], 0) << "byte " << i;
    HS_FreeHandle(h);
  }
}

TEST(Handles, ImpossibleSizeReturnsNullWithoutLeaking) {
  const int64_t live = HOST_LiveHandles();
  EXPECT_EQ(HS_AllocateHandle(0, "huge", UINT64_MAX / 2), nullptr);
  EXPECT_EQ(HS_AllocateHandleClear(0, "huge", UINT64_MAX / 2), nullptr);
  EXPECT_EQ(HOST_LiveHandles(), live);
}

// The plug-in's table as it lays it out: a header and 32-byte entries ending in a null text.
struct Entry {
  const char* text;
  uint64_t hostWords[3];
};
struct Table {
  const char* shortName;
  uint64_t count;
  Entry* entries;
  uint64_t zero;
};

TEST(Messages, LookupReturnsTextAfterFirstEquals) {
  Entry entries[] = {{"title=Curve tools", {7, 8, 9}},
                     {"pair=a=b", {}},
                     {"no separator", {}},
                     {"empty=", {}},
                     {nullptr, {}},
                     {"beyond=past the count", {}}};  // present in memory, not in the table
  Table table = {"crv", 5, entries, 0};
  EXPECT_STREQ(HS_ZLookupLStrCache(&table, 0, 0, 0), "Curve tools");
  EXPECT_STREQ(HS_ZLookupLStrCache(&table, 1, 0, 0), "a=b");
  EXPECT_STREQ(HS_ZLookupLStrCache(&table, 2, 0, 0), "no separator");
  EXPECT_STREQ(HS_ZLookupLStrCache(&table, 3, 0, 0), "");
  // The text points into the table's own string, so it lives as long as the table.
  EXPECT_EQ(HS_ZLookupLStrCache(&table, 0, 0, 0), entries[0].text + 6);
  for (int32_t bad : {4, 5, 1000, -1, INT32_MIN}) {
    EXPECT_STREQ(HS_ZLookupLStrCache(&table, bad, 0, 0), "") << bad;
  }
  EXPECT_STREQ(HS_ZLookupLStrCache(nullptr, 0, 0, 0), "");
  // The host words belong to the plug-in's layout; lookups leave them alone.
  EXPECT_EQ(entries[0].hostWords[0], 7u);
  EXPECT_EQ(entries[0].hostWords[2], 9u);
}

TEST(Capabilities, RecordIsReadyAndWordThreeIsAFlag) {
  ASSERT_NE(HS_G_CPU_DataP, nullptr);
  EXPECT_TRUE(HS_G_CPU_DataP[3] == 0 || HS_G_CPU_DataP[3] == 1);
#if defined(__x86_64__)
  // The compiler's own processor detection is an independent reading of the same bit.
  EXPECT_EQ(HS_G_CPU_DataP[3], __builtin_cpu_supports("sse3") ? 1 : 0);
#endif
}

struct DerivedBadAlloc : std::bad_alloc {
  const char* what() const noexcept override { return "derived out of memory"; }
};

TEST(Translator, CodesAndRecordedText) {
  EXPECT_EQ(HS_TranslateAndReportException(std::bad_alloc()), HS_ERR_BAD_ALLOC);
  EXPECT_STREQ(HOST_LastReportedException(), std::bad_alloc().what());
  EXPECT_EQ(HS_TranslateAndReportException(DerivedBadAlloc()), HS_ERR_BAD_ALLOC);
  EXPECT_STREQ(HOST_LastReportedException(), "derived out of memory");
  EXPECT_EQ(HS_TranslateAndReportException(std::runtime_error("boom")), HS_ERR_EXCEPTION);
  EXPECT_STREQ(HOST_LastReportedException(), "boom");
  // A very long text is cut, not overrun.
  std::string longText(10000, 'x');
  EXPECT_EQ(HS_TranslateAndReportException(std::logic_error(longText)), HS_ERR_EXCEPTION);
  std::string kept = HOST_LastReportedException();
  EXPECT_GT(kept.size(), 100u);
  EXPECT_EQ(kept, longText.substr(0, kept.size()));
}

TEST(SmallBlocks, DistinctWritableAndCounted) {
  const int64_t live = HOST_LiveSmallBlocks();
  std::set<void*> seen;
  void* blocks[64];
  for (size_t i = 0; i < 64; ++i) {
    blocks[i] = SmallBlockAllocator::Allocate(i);
    std::memset(blocks[i], static_cast<int>(i), i);
    EXPECT_TRUE(seen.insert(blocks[i]).second) << "block " << i << " handed out twice";
  }
  EXPECT_EQ(HOST_LiveSmallBlocks(), live + 64);
  for (size_t i = 0; i < 64; ++i) SmallBlockAllocator::Dispose(blocks[i], i);
  SmallBlockAllocator::Dispose(nullptr, 8);
  EXPECT_EQ(HOST_LiveSmallBlocks(), live);
  EXPECT_THROW(SmallBlockAllocator::Allocate(SIZE_MAX / 2), std::bad_alloc);
  EXPECT_EQ(HOST_LiveSmallBlocks(), live);
}

}  // namespace
