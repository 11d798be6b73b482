// The stand-in host: a list against a std::vector model under random operations, handles and
// their live count, the fault-injection controls, and the point transform on hand-checked points.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "host/geo.h"
#include "host/host_test.h"
#include "host/seq.h"
#include "host/small_block.h"

namespace {

constexpr int32_t kCode = -777;

// List items kept in ascending order of key; keys within 1e-10 are the same key, for the list's
// search and for the model's alike.
struct Item { double key; int32_t a, b; };
bool Less(double x, double y) { return !(std::fabs(x - y) < 1e-10) && x < y; }
int32_t Compare(void*, int32_t, const void* a, const void* b) {
  const double x = static_cast<const Item*>(a)->key, y = static_cast<const Item*>(b)->key;
  return Less(x, y) ? -1 : Less(y, x) ? 1 : 0;
}

// Every operation, with indexes from -1 to count + 1, on a list and on a vector; after each the
// results and the list's block (read directly, as callers may) must agree with the model. Keys
// are on a grid of 0.5 below 0, so items that grow the list (key 0) keep it sorted.
TEST(Host, ListMatchesAVectorUnderRandomOperations) {
  const int64_t lists = HOST_LiveLists(), locks = HOST_HeldLocks();
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    std::mt19937 rng(seed);
    SEQ_ListH h = nullptr;
    ASSERT_EQ(SEQ_New(0, sizeof(Item), 1 + seed % 5, 1, &h), 0);
    std::vector<Item> model;
    void* address = nullptr;
    for (int step = 0; step < 2000; ++step) {
      const int32_t n = static_cast<int32_t>(model.size());
      const int32_t index = static_cast<int32_t>(rng() % (n + 3)) - 1;
      const bool valid = index >= 0 && index < n, lastValid = index == -1 ? n > 0 : valid;
      Item item = {valid ? model[index].key : 0.0, static_cast<int32_t>(rng()), step}, out = {};
      switch (rng() % 7) {
        case 0:  // insert before index (-1 or n: append)
          ASSERT_EQ(SEQ_Insert(&item, index, h), index > n ? SEQ_ERR_BAD_INDEX : 0);
          if (index <= n) model.insert(index < 0 ? model.end() : model.begin() + index, item);
          break;
        case 1:
          ASSERT_EQ(SEQ_SetItem(&item, index, h, 0, 0), valid ? 0 : SEQ_ERR_BAD_INDEX) << index;
          if (valid) model[index] = item;
          break;
        case 2:  // get (-1: the last)
          ASSERT_EQ(SEQ_GetItem(h, index, &out), lastValid ? 0 : SEQ_ERR_BAD_INDEX);
          ASSERT_TRUE(!lastValid || !memcmp(&out, &model[index < 0 ? n - 1 : index], sizeof out));
          break;
        case 3: {
          const int32_t count = std::max<int32_t>(0, n + static_cast<int32_t>(rng() % 9) - 5);
          ASSERT_EQ(SEQ_SetNumItems(count, h, 0), 0);
          model.resize(count, Item{0, 0, 0});
          break;
        }
        case 4:  // lock, write in place, unlock: while locked the list keeps its size
          ASSERT_EQ(SEQ_Lock(1, h), 0);
          ASSERT_EQ(SEQ_GetAddress(h, index, 0, &address), valid ? 0 : SEQ_ERR_BAD_INDEX);
          if (valid) model[index] = *static_cast<Item*>(address) = item;
          ASSERT_EQ(SEQ_Insert(&item, -1, h), SEQ_ERR_LOCKED);
          ASSERT_EQ(SEQ_SetNumItems(n + 1, h, 0), SEQ_ERR_LOCKED);
          ASSERT_EQ(SEQ_Dispose(h, 0), SEQ_ERR_LOCKED);
          ASSERT_EQ(SEQ_Unlock(h), 0);
          ASSERT_EQ(SEQ_Unlock(h), SEQ_ERR_NOT_LOCKED);
          break;
        default: {  // sorted search for a grid key, nudged within or outside the tolerance
          const double nudge[5] = {0, 5e-11, -5e-11, 1e-9, -1e-9}, grid = -0.5 * (1 + rng() % 64);
          const int which = static_cast<int>(rng() % 5);
          Item key = {grid + nudge[which], 0, 0};
          uint8_t found = 9;
          int32_t at = -7;
          ASSERT_EQ(SEQ_GetSortedItem(h, Compare, 0, &key, &found, &out, &at), 0);
          const auto it = std::lower_bound(model.begin(), model.end(), key,
                                           [](Item x, Item y) { return Less(x.key, y.key); });
          const bool match = it != model.end() && !Less(key.key, it->key);
          ASSERT_TRUE(at == it - model.begin() && (found != 0) == match) << "step " << step;
          ASSERT_TRUE(!match || !std::memcmp(&out, &*it, sizeof out));
          if (!match && which < 3) {  // the grid key goes where the search says
            key.key = grid;
            ASSERT_EQ(SEQ_Insert(&key, at, h), 0);
            model.insert(it, key);
          }
        }
      }
      const char* block = static_cast<const char*>(*h);
      ASSERT_EQ(*reinterpret_cast<const int32_t*>(block + SEQ_BLOCK_COUNT_OFFSET), model.size());
      ASSERT_TRUE(model.empty() || !memcmp(block + SEQ_BLOCK_ITEMS_OFFSET, model.data(),
                                           model.size() * sizeof(Item))) << "seed " << seed;
    }
    ASSERT_EQ(SEQ_Dispose(h, 0), 0);
  }
  EXPECT_EQ(HOST_LiveLists(), lists);
  EXPECT_EQ(HOST_HeldLocks(), locks);
}

// A caller may insert an item it reads in place from the same list: the shift that makes room
// moves the item, and growth frees its block, yet the copy is of the item as it was.
TEST(Host, InsertCopiesAnItemOfTheListItself) {
  SEQ_ListH h = nullptr;
  ASSERT_EQ(SEQ_New(0, sizeof(int32_t), 2, 1, &h), 0);
  for (int32_t v = 0; v < 5; ++v) ASSERT_EQ(SEQ_Insert(&v, -1, h), 0);
  std::vector<int32_t> model = {0, 1, 2, 3, 4};
  for (const auto& [from, at] : {std::pair{3, 1}, {0, 0}, {5, 6}, {2, 7}, {7, 2}}) {
    const char* items = static_cast<const char*>(*h) + SEQ_BLOCK_ITEMS_OFFSET;
    ASSERT_EQ(SEQ_Insert(items + from * sizeof(int32_t), at, h), 0);
    model.insert(model.begin() + at, model[size_t(from)]);
    std::vector<int32_t> got(model.size());
    std::memcpy(got.data(), static_cast<const char*>(*h) + SEQ_BLOCK_ITEMS_OFFSET,
                got.size() * sizeof(int32_t));
    ASSERT_EQ(got, model) << "item " << from << " inserted at " << at;
  }
  ASSERT_EQ(SEQ_Dispose(h, 0), 0);
}

TEST(Host, HandlesAreUsableDistinctAndCounted) {
  const int64_t live = HOST_LiveHandles();
  HS_Handle a = HS_AllocateHandle(1, "a", 100), b = HS_AllocateHandleClear(1, "b", 64);
  HS_Handle c = HS_AllocateHandle(1, "c", 0);  // zero bytes: still a handle of its own
  ASSERT_TRUE(a != nullptr && b != nullptr && c != nullptr);
  EXPECT_TRUE(*a != *b && *b != *c && *a != *c);
  std::memset(*a, 0xab, 100);  // the whole block is writable (ASan checks the bound)
  for (int i = 0; i < 64; ++i) EXPECT_EQ(static_cast<const unsigned char*>(*b)[i], 0) << i;
  EXPECT_EQ(HOST_LiveHandles(), live + 3);
  for (HS_Handle x : {a, b, c, HS_Handle{nullptr}}) HS_FreeHandle(x);
  EXPECT_EQ(HOST_LiveHandles(), live);
}

TEST(Host, FaultInjectionControls) {
  const GEO_Matrix4 m = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  double p[3] = {1, 2, 3};
  // Armed for the third call of this thread: only that one fails, and arming restarts the count.
  HOST_FailNthCall(3, kCode);
  EXPECT_EQ(HOST_CallCount(), 0);
  std::vector<int32_t> results;
  for (int i = 0; i < 5; ++i) results.push_back(GEO_Transform3DFloatPoints(&m, 1, p));
  EXPECT_EQ(results, (std::vector<int32_t>{0, 0, kCode, 0, 0}));
  EXPECT_EQ(HOST_CallCount(), 5);
  // Only failable calls count; n <= 0 and ClearFaults disarm.
  HS_FreeHandle(nullptr);
  HS_ZLookupLStrCache(nullptr, 0, 0, 0);
  EXPECT_EQ(HOST_CallCount(), 5);
  HOST_FailNthCall(0, kCode);
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, p), 0);
  HOST_FailNthCall(1, kCode);
  HOST_ClearFaults();
  EXPECT_EQ(GEO_Transform3DFloatPoints(&m, 1, p), 0);
  // A failing call does nothing; allocations fail their own way; releases report the code but
  // still release.
  const int64_t lists = HOST_LiveLists(), locks = HOST_HeldLocks(), handles = HOST_LiveHandles();
  SEQ_ListH h = nullptr;
  ASSERT_EQ(SEQ_New(0, 4, 4, 1, &h), 0);
  int32_t v = 5;
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(SEQ_Insert(&v, -1, h), kCode);
  EXPECT_EQ(SEQ_GetItem(h, 0, &v), SEQ_ERR_BAD_INDEX);  // nothing was inserted
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(HS_AllocateHandle(0, "h", 8), nullptr);
  HOST_FailNthCall(1, kCode);
  EXPECT_THROW(halvex::utility::SmallBlockAllocator::Allocate(16), std::bad_alloc);
  ASSERT_EQ(SEQ_Lock(1, h), 0);
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(SEQ_Unlock(h), kCode);
  EXPECT_EQ(HOST_HeldLocks(), locks);
  HOST_FailNthCall(1, kCode);
  EXPECT_EQ(SEQ_Dispose(h, 0), kCode);
  EXPECT_EQ(HOST_LiveLists(), lists);
  EXPECT_EQ(HOST_LiveHandles(), handles);
  HOST_ClearFaults();
}

TEST(Host, TransformHandCheckedPoints) {
  // x' = 1 - y, y' = 2x + 2, z' = z + 3; then a pinhole camera, w = z.
  GEO_Matrix4 affine = {{{0, -1, 0, 1}, {2, 0, 0, 2}, {0, 0, 1, 3}, {0, 0, 0, 1}}};
  GEO_Matrix4 pinhole = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}};
  std::vector<double> p = {1, 1, 1, -2, 0.5, 0}, q = {2, 4, 2, 3, -6, 3, 1, 1, 0.5};
  ASSERT_EQ(GEO_Transform3DFloatPoints(&affine, 2, p.data()), 0);
  ASSERT_EQ(GEO_Transform3DFloatPoints(&pinhole, 3, q.data()), 0);
  EXPECT_EQ(p, (std::vector<double>{0, 4, 4, 0.5, -2, 3}));
  EXPECT_EQ(q, (std::vector<double>{1, 2, 1, 1, -2, 1, 2, 2, 1}));
  // A point at or behind the eye, or not finite, fails the call and changes no point.
  for (double z : {0.0, -1.0, double{NAN}}) {
    std::vector<double> r = {1, 2, 3, 4, 5, z};
    EXPECT_EQ(GEO_Transform3DFloatPoints(&pinhole, 2, r.data()), GEO_ERR_BEHIND_EYE);
    EXPECT_TRUE(r[0] == 1 && r[1] == 2 && r[2] == 3);
  }
  EXPECT_EQ(GEO_Transform3DFloatPoints(nullptr, 1, p.data()), GEO_ERR_BAD_ARGUMENT);
}

}  // namespace
