// The list container. A list handle has the shape of any other handle (a master pointer to a
// block); the block starts with a 72-byte header whose count and item-size words sit at offsets
// callers read directly, followed by the items.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "faults.h"
#include "host/seq.h"

namespace {

constexpr uint32_t kListMagic = 0x4c514553;  // "SEQL": rejects handles that are not lists
constexpr int32_t kMaxFuncs = 3;

struct ListHeader {
  uint32_t magic;
  int32_t lockDepth;
  int32_t capacity;  // items the block has room for
  int32_t growBy;    // the caller's minimum growth step, at least 1
  int32_t count;
  int32_t flags;
  int32_t itemSize;
  int32_t funcCount;
  void* funcs[kMaxFuncs];
  uint64_t reserved[2];
};

static_assert(offsetof(ListHeader, count) == SEQ_BLOCK_COUNT_OFFSET, "count word is fixed");
static_assert(offsetof(ListHeader, itemSize) == SEQ_BLOCK_ITEM_SIZE_OFFSET, "size word is fixed");
// The header fills the bytes before the items with 64-bit pointers and leaves some of them
// unused with 32-bit ones (WebAssembly); the items start at the fixed offset either way.
static_assert(sizeof(ListHeader) <= SEQ_BLOCK_ITEMS_OFFSET, "items start at a fixed offset");

inline unsigned char* Items(ListHeader* h) {
  return reinterpret_cast<unsigned char*>(h) + SEQ_BLOCK_ITEMS_OFFSET;
}

inline unsigned char* ItemAt(ListHeader* h, int32_t index) {
  return Items(h) + static_cast<size_t>(index) * static_cast<size_t>(h->itemSize);
}

inline size_t BlockBytes(int32_t capacity, int32_t itemSize) {
  return SEQ_BLOCK_ITEMS_OFFSET + static_cast<size_t>(capacity) * static_cast<size_t>(itemSize);
}

// Copies one item; src and dst may be the same item. The 16-byte items that most callers store
// (two doubles) are copied inline rather than through a library call.
inline void CopyItem(void* dst, const void* src, size_t size) {
  if (size == 16) {
    unsigned char tmp[16];
    std::memcpy(tmp, src, 16);
    std::memcpy(dst, tmp, 16);
    return;
  }
  std::memmove(dst, src, size);
}

// Resolves a handle to its block, or returns the code for a handle that leads to no list.
inline int32_t Open(SEQ_ListH list, ListHeader** out) {
  if (list == nullptr || *list == nullptr) return SEQ_ERR_NULL_LIST;
  auto h = static_cast<ListHeader*>(*list);
  if (h->magic != kListMagic) return SEQ_ERR_BAD_ARGUMENT;
  *out = h;
  return 0;
}

// Gives the list room for `needed` items. Growth is geometric (at least doubling, at least growBy)
// so appends are amortized constant time. The block may move: callers find it again through the
// handle. (Under AddressSanitizer a reallocation always moves and quarantines the old block, so a
// caller that kept an item address across growth is caught there.)
__attribute__((noinline)) int32_t Grow(SEQ_ListH list, ListHeader** header, int64_t needed) {
  ListHeader* h = *header;
  if (needed > INT32_MAX) return SEQ_ERR_NO_MEMORY;
  int64_t step = h->capacity > h->growBy ? h->capacity : h->growBy;
  int64_t capacity = h->capacity + step;
  if (capacity < needed) capacity = needed;
  if (capacity > INT32_MAX) capacity = INT32_MAX;
  auto grown = static_cast<ListHeader*>(
      std::realloc(h, BlockBytes(static_cast<int32_t>(capacity), h->itemSize)));
  if (grown == nullptr) return SEQ_ERR_NO_MEMORY;
  grown->capacity = static_cast<int32_t>(capacity);
  *list = grown;
  *header = grown;
  return 0;
}

// Makes room for `needed` items; the common case, when there is room, stays inline.
inline int32_t Reserve(SEQ_ListH list, ListHeader** header, int64_t needed) {
  return needed <= (*header)->capacity ? 0 : Grow(list, header, needed);
}

}  // namespace

int32_t SEQ_New(int32_t flags, int32_t itemSize, int32_t growBy, int32_t /*one*/,
                SEQ_ListH* out) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  if (out == nullptr) return SEQ_ERR_NULL_LIST;
  if (itemSize <= 0) return SEQ_ERR_BAD_ARGUMENT;
  auto master = static_cast<void**>(std::malloc(sizeof(void*)));
  if (master == nullptr) return SEQ_ERR_NO_MEMORY;
  // The block starts with no room for items; the first insertion allocates growBy of them.
  auto h = static_cast<ListHeader*>(std::calloc(1, SEQ_BLOCK_ITEMS_OFFSET));
  if (h == nullptr) {
    std::free(master);
    return SEQ_ERR_NO_MEMORY;
  }
  h->magic = kListMagic;
  h->growBy = growBy > 0 ? growBy : 1;
  h->flags = flags;
  h->itemSize = itemSize;
  *master = h;
  *out = master;
  crvhost::Count(crvhost::g_liveLists, 1);
  return 0;
}

int32_t SEQ_SetFuncs(SEQ_ListH list, int32_t count, void* const* funcs) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  if (count < 0) return SEQ_ERR_BAD_COUNT;
  if (count > kMaxFuncs || (count > 0 && funcs == nullptr)) return SEQ_ERR_BAD_ARGUMENT;
  for (int32_t i = 0; i < kMaxFuncs; ++i) h->funcs[i] = i < count ? funcs[i] : nullptr;
  h->funcCount = count;
  return 0;
}

int32_t SEQ_SetNumItems(int32_t count, SEQ_ListH list, int32_t /*flags*/) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  if (count < 0) return SEQ_ERR_BAD_COUNT;
  if (count == h->count) return 0;
  if (h->lockDepth > 0) return SEQ_ERR_LOCKED;
  if (count > h->count) {
    if ((code = Reserve(list, &h, count)) != 0) return code;
    std::memset(ItemAt(h, h->count), 0,
                static_cast<size_t>(count - h->count) * static_cast<size_t>(h->itemSize));
  }
  // Shrinking keeps the room, so a list that is emptied and refilled does not reallocate.
  h->count = count;
  return 0;
}

int32_t SEQ_SetItem(const void* item, int32_t index, SEQ_ListH list, int32_t /*reserved1*/,
                    int32_t /*reserved2*/) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  if (item == nullptr) return SEQ_ERR_BAD_ARGUMENT;
  if (index < 0 || index >= h->count) return SEQ_ERR_BAD_INDEX;
  // The item may be the list's own item (a locked caller copying one onto itself).
  CopyItem(ItemAt(h, index), item, static_cast<size_t>(h->itemSize));
  return 0;
}

int32_t SEQ_Insert(const void* item, int32_t index, SEQ_ListH list) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  if (item == nullptr) return SEQ_ERR_BAD_ARGUMENT;
  if (index == -1) index = h->count;
  if (index < 0 || index > h->count) return SEQ_ERR_BAD_INDEX;
  if (h->lockDepth > 0) return SEQ_ERR_LOCKED;
  // The item may live in this list's own block, which growth frees and the shift below moves;
  // remember where it is relative to the items and find it again afterwards.
  const auto* src = static_cast<const unsigned char*>(item);
  const size_t size = static_cast<size_t>(h->itemSize);
  // Compared as integers: ordering pointers into different objects is not defined.
  const auto at = reinterpret_cast<uintptr_t>(src);
  const auto oldItems = reinterpret_cast<uintptr_t>(Items(h));
  const bool inside = at >= oldItems && at < oldItems + static_cast<size_t>(h->count) * size;
  const size_t offset = inside ? at - oldItems : 0;
  if ((code = Reserve(list, &h, static_cast<int64_t>(h->count) + 1)) != 0) return code;
  unsigned char* slot = ItemAt(h, index);
  if (index < h->count) {
    std::memmove(slot + size, slot, static_cast<size_t>(h->count - index) * size);
  }
  if (inside) {
    src = Items(h) + offset;
    if (offset >= static_cast<size_t>(index) * size) src += size;  // it was shifted up
  }
  CopyItem(slot, src, size);
  ++h->count;
  return 0;
}

int32_t SEQ_GetItem(SEQ_ListH list, int32_t index, void* out) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  if (out == nullptr) return SEQ_ERR_BAD_ARGUMENT;
  if (index == -1) index = h->count - 1;
  if (index < 0 || index >= h->count) return SEQ_ERR_BAD_INDEX;
  CopyItem(out, ItemAt(h, index), static_cast<size_t>(h->itemSize));
  return 0;
}

int32_t SEQ_GetSortedItem(SEQ_ListH list, SEQ_CompareFunc compare, int32_t flags,
                          const void* key, uint8_t* found, void* out, int32_t* index) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  if (compare == nullptr || key == nullptr || found == nullptr) return SEQ_ERR_BAD_ARGUMENT;
  // Lower bound: the first item not less than the key. It is the match if it compares equal,
  // and otherwise the first item greater than the key.
  int32_t lo = 0, hi = h->count;
  while (lo < hi) {
    const int32_t mid = lo + (hi - lo) / 2;
    if (compare(nullptr, flags, ItemAt(h, mid), key) < 0) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  const bool match = lo < h->count && compare(nullptr, flags, ItemAt(h, lo), key) == 0;
  *found = match ? 1 : 0;
  if (match && out != nullptr) CopyItem(out, ItemAt(h, lo), static_cast<size_t>(h->itemSize));
  if (index != nullptr) *index = lo;
  return 0;
}

int32_t SEQ_Lock(int32_t /*one*/, SEQ_ListH list) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  ++h->lockDepth;
  crvhost::Count(crvhost::g_heldLocks, 1);
  return 0;
}

// Release operations: an injected fault still releases and then reports its code, the way a
// host reports a problem it met on the way out. Callers release on every path whatever the code,
// so a fault here must not strand a lock or a list that no one will release again.
int32_t SEQ_Unlock(SEQ_ListH list) {
  int32_t injected = 0;
  const bool fault = crvhost::FaultFires(&injected);
  ListHeader* h;
  int32_t code;
  if ((code = Open(list, &h)) != 0) return fault ? injected : code;
  if (h->lockDepth == 0) return fault ? injected : SEQ_ERR_NOT_LOCKED;
  --h->lockDepth;
  crvhost::Count(crvhost::g_heldLocks, -1);
  return fault ? injected : 0;
}

int32_t SEQ_GetAddress(SEQ_ListH list, int32_t index, int32_t /*reserved*/, void** address) {
  int32_t code;
  if (crvhost::FaultFires(&code)) return code;
  ListHeader* h;
  if ((code = Open(list, &h)) != 0) return code;
  if (address == nullptr) return SEQ_ERR_BAD_ARGUMENT;
  if (h->lockDepth == 0) return SEQ_ERR_NOT_LOCKED;
  if (index < 0 || index >= h->count) return SEQ_ERR_BAD_INDEX;
  *address = ItemAt(h, index);
  return 0;
}

int32_t SEQ_Dispose(SEQ_ListH list, int32_t /*flags*/) {
  int32_t injected = 0;
  const bool fault = crvhost::FaultFires(&injected);
  ListHeader* h;
  int32_t code;
  if ((code = Open(list, &h)) != 0) return fault ? injected : code;
  if (h->lockDepth > 0) return fault ? injected : SEQ_ERR_LOCKED;
  h->magic = 0;
  std::free(h);
  std::free(list);
  crvhost::Count(crvhost::g_liveLists, -1);
  return fault ? injected : 0;
}
