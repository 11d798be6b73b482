// Helpers of the hardening tests: the caller's lists, byte snapshots of their items, the host's
// live counts and fault arming.
#ifndef CRV_TESTS_HARDENING_HARDENING_UTIL_H
#define CRV_TESTS_HARDENING_HARDENING_UTIL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

#include "host/host_test.h"
#include "host/seq.h"

namespace hardening {

// A caller's list variable, disposed of at the end of the scope. Disposal must succeed: a list
// the library left locked could not be disposed of and would show up as a live list.
class OwnedList {
 public:
  OwnedList() = default;
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() { Dispose(); }
  void Dispose() {
    if (handle != nullptr) {
      EXPECT_EQ(SEQ_Dispose(handle, 0), 0) << "a caller's list is still locked";
    }
    handle = nullptr;
  }
  SEQ_ListH handle = nullptr;
};

inline int32_t BlockWord(SEQ_ListH list, int offset) {
  int32_t word;
  std::memcpy(&word, static_cast<const char*>(*list) + offset, sizeof word);
  return word;
}

// The items of a list as raw bytes, copied from the list's block (whose layout the host
// publishes). A null handle gives a snapshot that does not exist.
struct ListSnapshot {
  bool exists = false;
  int32_t itemSize = 0;
  std::vector<unsigned char> bytes;

  size_t count() const { return itemSize > 0 ? bytes.size() / static_cast<size_t>(itemSize) : 0; }
  // Whether items [from, from + n) of this equal items [otherFrom, otherFrom + n) of other.
  bool SameItems(size_t from, const ListSnapshot& other, size_t otherFrom, size_t n) const {
    if (n == 0) return true;
    if (from + n > count() || otherFrom + n > other.count() || itemSize != other.itemSize)
      return false;
    const size_t size = static_cast<size_t>(itemSize);
    return std::memcmp(bytes.data() + from * size, other.bytes.data() + otherFrom * size,
                       n * size) == 0;
  }
  bool operator==(const ListSnapshot& o) const {
    return exists == o.exists && itemSize == o.itemSize && bytes == o.bytes;
  }
  template <typename Item>
  Item At(size_t i) const {
    Item item;
    std::memcpy(&item, bytes.data() + i * static_cast<size_t>(itemSize), sizeof item);
    return item;
  }
};

inline ListSnapshot Snapshot(SEQ_ListH list) {
  ListSnapshot s;
  if (list == nullptr) return s;
  s.exists = true;
  s.itemSize = BlockWord(list, SEQ_BLOCK_ITEM_SIZE_OFFSET);
  const int32_t count = BlockWord(list, SEQ_BLOCK_COUNT_OFFSET);
  s.bytes.resize(static_cast<size_t>(count) * static_cast<size_t>(s.itemSize));
  if (!s.bytes.empty()) {
    std::memcpy(s.bytes.data(), static_cast<const char*>(*list) + SEQ_BLOCK_ITEMS_OFFSET,
                s.bytes.size());
  }
  return s;
}

// A list of `count` items of `itemSize` bytes, item i filled with the byte 0x40 + i (so that no
// item of it equals a value the library computes).
inline SEQ_ListH FilledList(int32_t itemSize, int32_t count) {
  SEQ_ListH list = nullptr;
  EXPECT_EQ(SEQ_New(0, itemSize, 8, 1, &list), 0);
  std::vector<unsigned char> item(static_cast<size_t>(itemSize));
  for (int32_t i = 0; i < count; ++i) {
    std::memset(item.data(), 0x40 + (i & 0x3f), item.size());
    EXPECT_EQ(SEQ_Insert(item.data(), -1, list), 0);
  }
  return list;
}

struct LiveCounts {
  int64_t handles, lists, blocks, locks;
  bool operator==(const LiveCounts& o) const {
    return handles == o.handles && lists == o.lists && blocks == o.blocks && locks == o.locks;
  }
};

inline LiveCounts Live() {
  return {HOST_LiveHandles(), HOST_LiveLists(), HOST_LiveSmallBlocks(), HOST_HeldLocks()};
}

inline std::ostream& operator<<(std::ostream& os, const LiveCounts& c) {
  return os << "{handles " << c.handles << ", lists " << c.lists << ", small blocks " << c.blocks
            << ", locks " << c.locks << "}";
}

}  // namespace hardening

#endif
