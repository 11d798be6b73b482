// The list container: item semantics, the block layout callers read directly, sorted search,
// locking, failure codes, and a model check against std::vector under random operations.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "host/host_test.h"
#include "host/seq.h"

namespace {

// Owns a list for the length of a test, so a failed assertion does not leak it.
struct List {
  SEQ_ListH h = nullptr;
  explicit List(int32_t itemSize, int32_t growBy = 4) {
    EXPECT_EQ(SEQ_New(0, itemSize, growBy, 1, &h), 0);
  }
  ~List() {
    while (h != nullptr && SEQ_Unlock(h) == 0) {
    }
    if (h != nullptr) {
      EXPECT_EQ(SEQ_Dispose(h, 0), 0);
    }
  }
  int32_t Word(int offset) const {
    int32_t v;
    std::memcpy(&v, static_cast<const char*>(*h) + offset, sizeof v);
    return v;
  }
  int32_t Count() const { return Word(SEQ_BLOCK_COUNT_OFFSET); }
  int32_t Raw(int32_t i) const {  // an int32 item read straight from the block
    int32_t v;
    std::memcpy(&v, static_cast<const char*>(*h) + SEQ_BLOCK_ITEMS_OFFSET + 4 * i, sizeof v);
    return v;
  }
  int32_t Get(int32_t i) const {
    int32_t v = -12345;
    EXPECT_EQ(SEQ_GetItem(h, i, &v), 0) << "index " << i;
    return v;
  }
};

std::vector<int32_t> Contents(const List& l) {
  std::vector<int32_t> v;
  for (int32_t i = 0; i < l.Count(); ++i) v.push_back(l.Get(i));
  return v;
}

TEST(Lists, InsertAppendSetAndGet) {
  List l(sizeof(int32_t));
  EXPECT_EQ(l.Count(), 0);
  EXPECT_EQ(l.Word(SEQ_BLOCK_ITEM_SIZE_OFFSET), 4);
  for (int32_t v : {10, 20, 30}) ASSERT_EQ(SEQ_Insert(&v, -1, l.h), 0);
  int32_t v = 40;
  ASSERT_EQ(SEQ_Insert(&v, 3, l.h), 0);  // index == count appends too
  v = 15;
  ASSERT_EQ(SEQ_Insert(&v, 1, l.h), 0);
  v = 5;
  ASSERT_EQ(SEQ_Insert(&v, 0, l.h), 0);
  EXPECT_EQ(Contents(l), (std::vector<int32_t>{5, 10, 15, 20, 30, 40}));
  EXPECT_EQ(l.Get(-1), 40);
  v = 99;
  ASSERT_EQ(SEQ_SetItem(&v, 2, l.h, 0, 0), 0);
  EXPECT_EQ(l.Get(2), 99);
  // The block seen directly agrees with the API.
  EXPECT_EQ(l.Count(), 6);
  for (int32_t i = 0; i < 6; ++i) EXPECT_EQ(l.Raw(i), l.Get(i));
}

TEST(Lists, SetNumItemsZeroFillsGrowthKeepsPrefixAndReusesRoom) {
  List l(sizeof(int32_t));
  for (int32_t i = 1; i <= 10; ++i) ASSERT_EQ(SEQ_Insert(&i, -1, l.h), 0);
  const void* block = *l.h;
  ASSERT_EQ(SEQ_SetNumItems(3, l.h, 0), 0);
  EXPECT_EQ(Contents(l), (std::vector<int32_t>{1, 2, 3}));
  // Growing again must clear the slots that still hold the old items 4..8.
  ASSERT_EQ(SEQ_SetNumItems(8, l.h, 0), 0);
  EXPECT_EQ(Contents(l), (std::vector<int32_t>{1, 2, 3, 0, 0, 0, 0, 0}));
  ASSERT_EQ(SEQ_SetNumItems(0, l.h, 0), 0);
  EXPECT_EQ(l.Count(), 0);
  int32_t v = 7;
  ASSERT_EQ(SEQ_Insert(&v, -1, l.h), 0);
  EXPECT_EQ(Contents(l), (std::vector<int32_t>{7}));
  EXPECT_EQ(*l.h, block) << "shrinking and refilling within the room should not reallocate";
}

TEST(Lists, HandleStaysValidThroughGrowthAndGrowthIsGeometric) {
  List l(sizeof(int32_t), 1);
  SEQ_ListH handle = l.h;
  int moves = 0;
  const void* block = *l.h;
  for (int32_t i = 0; i < 100000; ++i) {
    ASSERT_EQ(SEQ_Insert(&i, -1, l.h), 0);
    if (*l.h != block) ++moves, block = *l.h;
  }
  EXPECT_EQ(l.h, handle);
  EXPECT_LE(moves, 40) << "growth by a fixed step would move the block ~10^5 times";
  for (int32_t i = 0; i < 100000; i += 997) ASSERT_EQ(l.Raw(i), i);
}

TEST(Lists, InsertingACopyOfItsOwnItemSurvivesTheMove) {
  List l(sizeof(int32_t), 1);
  for (int32_t i = 10; i < 14; ++i) ASSERT_EQ(SEQ_Insert(&i, -1, l.h), 0);
  // The list is full, so the first insert frees the block holding its source; every insert
  // shifts the source up by one item.
  for (int32_t src : {3, 2, 4}) {
    const void* addr = static_cast<const char*>(*l.h) + SEQ_BLOCK_ITEMS_OFFSET + 4 * src;
    int32_t expected = l.Get(src);
    ASSERT_EQ(SEQ_Insert(addr, 0, l.h), 0);
    EXPECT_EQ(l.Get(0), expected);
  }
  EXPECT_EQ(Contents(l), (std::vector<int32_t>{12, 11, 13, 10, 11, 12, 13}));
}

// Items of two doubles, ordered by the first; keys within 1e-10 are the same key.
struct Knot {
  double t, value;
};
int32_t CompareKnots(void*, int32_t, const void* a, const void* b) {
  double ta = static_cast<const Knot*>(a)->t, tb = static_cast<const Knot*>(b)->t;
  if (std::fabs(ta - tb) < 1e-10) return 0;
  return ta < tb ? -1 : 1;
}

TEST(Lists, SortedSearchFindsWithinToleranceAndReportsInsertionPoint) {
  List l(sizeof(Knot));
  uint8_t found = 7;
  int32_t index = -5;
  Knot key = {1.0, 0}, out = {-1, -1};
  ASSERT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &key, &found, &out, &index), 0);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(index, 0);
  for (int i = 0; i < 9; ++i) {
    Knot k = {0.5 * i, 100.0 + i};
    ASSERT_EQ(SEQ_Insert(&k, -1, l.h), 0);
  }
  key.t = 1.5 + 5e-11;
  ASSERT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &key, &found, &out, &index), 0);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(index, 3);
  EXPECT_EQ(out.value, 103.0);
  key.t = 1.5 + 1e-9;  // outside the tolerance: not found, lands before 2.0
  ASSERT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &key, &found, &out, &index), 0);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(index, 4);
  key.t = -1;
  ASSERT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &key, &found, nullptr, &index), 0);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(index, 0);
  key.t = 100;
  ASSERT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &key, &found, nullptr, &index), 0);
  EXPECT_EQ(index, 9);
  key.t = 4.0;  // the last item; out and index may both be omitted
  ASSERT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &key, &found, nullptr, nullptr), 0);
  EXPECT_EQ(found, 1);
}

TEST(Lists, SortedSearchAgreesWithLowerBoundOnRandomLists) {
  std::mt19937_64 rng(20240611);
  for (int trial = 0; trial < 200; ++trial) {
    std::vector<Knot> knots(rng() % 40);
    for (auto& k : knots) k = {static_cast<double>(rng() % 64), 0};
    std::sort(knots.begin(), knots.end(), [](Knot a, Knot b) { return a.t < b.t; });
    knots.erase(std::unique(knots.begin(), knots.end(),
                            [](Knot a, Knot b) { return a.t == b.t; }),
                knots.end());
    List l(sizeof(Knot), 3);
    for (size_t i = 0; i < knots.size(); ++i) {
      knots[i].value = static_cast<double>(i);
      ASSERT_EQ(SEQ_Insert(&knots[i], -1, l.h), 0);
    }
    for (int q = 0; q < 20; ++q) {
      Knot key = {0.5 * static_cast<double>(rng() % 132) - 1, 0}, out = {};
      auto it = std::lower_bound(knots.begin(), knots.end(), key,
                                 [](Knot a, Knot b) { return a.t < b.t; });
      uint8_t found;
      int32_t index;
      ASSERT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &key, &found, &out, &index), 0);
      ASSERT_EQ(index, it - knots.begin()) << "key " << key.t;
      ASSERT_EQ(found != 0, it != knots.end() && it->t == key.t) << "key " << key.t;
      if (found) {
        ASSERT_EQ(out.value, it->value);
      }
    }
  }
}

TEST(Lists, LockRules) {
  const int64_t held = HOST_HeldLocks();
  List l(sizeof(int32_t));
  int32_t v = 1;
  ASSERT_EQ(SEQ_Insert(&v, -1, l.h), 0);
  void* addr = nullptr;
  EXPECT_EQ(SEQ_Unlock(l.h), SEQ_ERR_NOT_LOCKED);
  EXPECT_EQ(SEQ_GetAddress(l.h, 0, 0, &addr), SEQ_ERR_NOT_LOCKED);
  ASSERT_EQ(SEQ_Lock(1, l.h), 0);
  ASSERT_EQ(SEQ_Lock(1, l.h), 0);
  EXPECT_EQ(HOST_HeldLocks(), held + 2);
  ASSERT_EQ(SEQ_GetAddress(l.h, 0, 0, &addr), 0);
  *static_cast<int32_t*>(addr) = 42;  // writes in place show through the API
  EXPECT_EQ(l.Get(0), 42);
  EXPECT_EQ(SEQ_Insert(&v, -1, l.h), SEQ_ERR_LOCKED);
  EXPECT_EQ(SEQ_SetNumItems(5, l.h, 0), SEQ_ERR_LOCKED);
  EXPECT_EQ(SEQ_SetNumItems(0, l.h, 0), SEQ_ERR_LOCKED);
  EXPECT_EQ(SEQ_Dispose(l.h, 0), SEQ_ERR_LOCKED);
  EXPECT_EQ(SEQ_SetNumItems(1, l.h, 0), 0);  // no change in size is allowed
  EXPECT_EQ(SEQ_SetItem(&v, 0, l.h, 0, 0), 0);  // overwriting moves nothing
  EXPECT_EQ(*static_cast<int32_t*>(addr), 1);
  ASSERT_EQ(SEQ_Unlock(l.h), 0);
  EXPECT_EQ(SEQ_Insert(&v, -1, l.h), SEQ_ERR_LOCKED) << "one lock is still held";
  ASSERT_EQ(SEQ_Unlock(l.h), 0);
  EXPECT_EQ(HOST_HeldLocks(), held);
  EXPECT_EQ(SEQ_Unlock(l.h), SEQ_ERR_NOT_LOCKED);
  EXPECT_EQ(SEQ_Insert(&v, -1, l.h), 0);
}

TEST(Lists, EveryFailureCode) {
  List l(sizeof(int32_t));
  SEQ_ListH none = nullptr;
  void* nullMaster = nullptr;
  int32_t v = 0;
  uint8_t found;
  void* addr;
  void* funcs[4] = {};
  for (SEQ_ListH bad : {none, static_cast<SEQ_ListH>(&nullMaster)}) {
    EXPECT_EQ(SEQ_SetFuncs(bad, 0, funcs), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_SetNumItems(0, bad, 0), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_SetItem(&v, 0, bad, 0, 0), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_Insert(&v, -1, bad), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_GetItem(bad, 0, &v), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_GetSortedItem(bad, CompareKnots, 0, &v, &found, &v, &v), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_Lock(1, bad), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_Unlock(bad), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_GetAddress(bad, 0, 0, &addr), SEQ_ERR_NULL_LIST);
    EXPECT_EQ(SEQ_Dispose(bad, 0), SEQ_ERR_NULL_LIST);
  }
  EXPECT_EQ(SEQ_New(0, 4, 4, 1, nullptr), SEQ_ERR_NULL_LIST);
  SEQ_ListH untouched = nullptr;
  EXPECT_EQ(SEQ_New(0, 0, 4, 1, &untouched), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_New(0, -8, 4, 1, &untouched), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(untouched, nullptr);

  EXPECT_EQ(SEQ_GetItem(l.h, -1, &v), SEQ_ERR_BAD_INDEX);  // -1 on an empty list
  EXPECT_EQ(SEQ_GetItem(l.h, 0, &v), SEQ_ERR_BAD_INDEX);
  EXPECT_EQ(SEQ_Insert(&v, 1, l.h), SEQ_ERR_BAD_INDEX);
  EXPECT_EQ(SEQ_Insert(&v, -2, l.h), SEQ_ERR_BAD_INDEX);
  ASSERT_EQ(SEQ_Insert(&v, 0, l.h), 0);
  for (int32_t bad : {-1, 1, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(SEQ_SetItem(&v, bad, l.h, 0, 0), SEQ_ERR_BAD_INDEX) << bad;
  }
  EXPECT_EQ(SEQ_GetItem(l.h, 1, &v), SEQ_ERR_BAD_INDEX);
  EXPECT_EQ(SEQ_GetItem(l.h, -2, &v), SEQ_ERR_BAD_INDEX);
  ASSERT_EQ(SEQ_Lock(1, l.h), 0);
  EXPECT_EQ(SEQ_GetAddress(l.h, 1, 0, &addr), SEQ_ERR_BAD_INDEX);
  EXPECT_EQ(SEQ_GetAddress(l.h, -1, 0, &addr), SEQ_ERR_BAD_INDEX);
  EXPECT_EQ(SEQ_GetAddress(l.h, 0, 0, nullptr), SEQ_ERR_BAD_ARGUMENT);
  ASSERT_EQ(SEQ_Unlock(l.h), 0);

  EXPECT_EQ(SEQ_SetNumItems(-1, l.h, 0), SEQ_ERR_BAD_COUNT);
  EXPECT_EQ(SEQ_SetFuncs(l.h, -1, funcs), SEQ_ERR_BAD_COUNT);
  EXPECT_EQ(SEQ_SetFuncs(l.h, 4, funcs), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_SetFuncs(l.h, 3, nullptr), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_SetFuncs(l.h, 3, funcs), 0);
  {
    // Room for 2^20 items of 2^30 bytes, or growBy 2^31 - 1 of them, cannot be had.
    List huge(1 << 30, INT32_MAX);
    EXPECT_EQ(SEQ_SetNumItems(1 << 20, huge.h, 0), SEQ_ERR_NO_MEMORY);
    EXPECT_EQ(SEQ_Insert(&v, -1, huge.h), SEQ_ERR_NO_MEMORY);
    EXPECT_EQ(huge.Count(), 0) << "a failed growth leaves the list as it was";
  }

  EXPECT_EQ(SEQ_SetItem(nullptr, 0, l.h, 0, 0), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_Insert(nullptr, -1, l.h), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_GetItem(l.h, 0, nullptr), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_GetSortedItem(l.h, nullptr, 0, &v, &found, &v, &v), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, nullptr, &found, &v, &v),
            SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(SEQ_GetSortedItem(l.h, CompareKnots, 0, &v, nullptr, &v, &v), SEQ_ERR_BAD_ARGUMENT);
  EXPECT_EQ(Contents(l), (std::vector<int32_t>{0}));
}

// Random operations applied to a list of 12-byte items and to a vector; after each one the two
// must agree in result and contents, and so must the block read directly.
TEST(Lists, MatchesAVectorUnderRandomOperations) {
  struct Item {
    int32_t a, b, c;
    bool operator==(const Item& o) const { return a == o.a && b == o.b && c == o.c; }
  };
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    std::mt19937_64 rng(seed);
    List l(sizeof(Item), 1 + static_cast<int32_t>(seed % 5));
    std::vector<Item> model;
    for (int step = 0; step < 2000; ++step) {
      const int32_t n = static_cast<int32_t>(model.size());
      const int32_t index = static_cast<int32_t>(rng() % (n + 3)) - 1;  // -1 .. n+1
      Item item = {static_cast<int32_t>(rng()), step, static_cast<int32_t>(seed)};
      Item out = {};
      switch (rng() % 5) {
        case 0: {  // insert
          int32_t expect = index > n ? SEQ_ERR_BAD_INDEX : 0;
          ASSERT_EQ(SEQ_Insert(&item, index, l.h), expect) << "seed " << seed;
          if (expect == 0) model.insert(index == -1 ? model.end() : model.begin() + index, item);
          break;
        }
        case 1: {  // set
          int32_t expect = index < 0 || index >= n ? SEQ_ERR_BAD_INDEX : 0;
          ASSERT_EQ(SEQ_SetItem(&item, index, l.h, 0, 0), expect);
          if (expect == 0) model[index] = item;
          break;
        }
        case 2: {  // get
          int32_t at = index == -1 ? n - 1 : index;
          int32_t expect = at < 0 || at >= n ? SEQ_ERR_BAD_INDEX : 0;
          ASSERT_EQ(SEQ_GetItem(l.h, index, &out), expect);
          if (expect == 0) {
            ASSERT_TRUE(out == model[at]);
          }
          break;
        }
        case 3: {  // resize, mostly near the current size
          int32_t count = std::max<int32_t>(0, n + static_cast<int32_t>(rng() % 9) - 5);
          ASSERT_EQ(SEQ_SetNumItems(count, l.h, 0), 0);
          model.resize(count, Item{0, 0, 0});
          break;
        }
        default:  // append
          ASSERT_EQ(SEQ_Insert(&item, -1, l.h), 0);
          model.push_back(item);
      }
      ASSERT_EQ(l.Count(), static_cast<int32_t>(model.size()));
      if (!model.empty()) {
        const char* items = static_cast<const char*>(*l.h) + SEQ_BLOCK_ITEMS_OFFSET;
        ASSERT_EQ(std::memcmp(items, model.data(), model.size() * sizeof(Item)), 0)
            << "seed " << seed << " step " << step;
      }
    }
  }
}

}  // namespace
