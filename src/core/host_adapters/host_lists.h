// How the library uses host lists: reading the block, storing at a position, creating a caller's
// list on first use, and guards that release locks and temporary lists on every path.
//
// The release rule. The first non-zero code of a host operation ends the work (by an early
// return) and is returned. Every lock and every temporary list is released on every path, the
// guards' destructors covering the paths that never reach Release. What a failing release does to
// the result depends on whose object it is:
//  - unlocking a caller's list: the unlock's code replaces the result (LockedList::Release), since
//    the caller must learn that its list may still be locked;
//  - releasing what the call made for itself (a temporary list, or a lock on one): the code is
//    reported only when nothing failed before (TemporaryList::Release,
//    LockedList::ReleaseTemporary), since the first failure is the one that explains the result.
#ifndef CRV_CORE_HOST_ADAPTERS_HOST_LISTS_H
#define CRV_CORE_HOST_ADAPTERS_HOST_LISTS_H

#include <cstdint>
#include <cstring>

#include "host/seq.h"

namespace crv {

// The item count, read from the list's block as the host lays it out.
inline int32_t ItemCount(SEQ_ListH list) {
  int32_t count;
  std::memcpy(&count, static_cast<const char*>(*list) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
  return count;
}

// Item `index` in place; valid only while the list is locked.
template <typename Item>
Item* ItemAt(SEQ_ListH list, int32_t index) {
  return reinterpret_cast<Item*>(static_cast<char*>(*list) + SEQ_BLOCK_ITEMS_OFFSET) + index;
}

// Stores item `index` of a list being refilled: an existing item is overwritten in place, one
// beyond the current end is inserted, so a reused list that was longer or shorter ends up holding
// what was written (callers then truncate it to their count).
inline int32_t StoreAt(SEQ_ListH list, int32_t index, const void* item) {
  if (index > ItemCount(list) - 1) return SEQ_Insert(item, index, list);
  return SEQ_SetItem(item, index, list, 0, 0);
}

// A caller's list handle variable: null means "no list yet", and the list is then created there
// (and stays there, the caller's, also when a later step fails). *created tells which happened.
inline int32_t UseOrCreateList(SEQ_ListH* list, int32_t itemSize, int32_t growBy, bool* created) {
  *created = *list == nullptr;
  if (!*created) return 0;
  return SEQ_New(0, itemSize, growBy, 1, list);
}

// A lock on a list for the length of one call. Release() hands back the code to report; the
// destructor unlocks on paths that never reach Release (an exception).
class LockedList {
 public:
  explicit LockedList(SEQ_ListH list) : list_(list), code_(SEQ_Lock(1, list)) {}
  LockedList(const LockedList&) = delete;
  LockedList& operator=(const LockedList&) = delete;
  ~LockedList() {
    if (code_ == 0) SEQ_Unlock(list_);
  }

  // The code of the lock itself: non-zero when the list could not be locked (nothing to unlock).
  int32_t code() const { return code_; }

  // Unlocks a caller's list; a failing unlock's code replaces `result`.
  int32_t Release(int32_t result) {
    const int32_t unlock = Unlock();
    return unlock != 0 ? unlock : result;
  }

  // Unlocks a temporary list; a failing unlock is reported only when `result` is 0.
  int32_t ReleaseTemporary(int32_t result) {
    const int32_t unlock = Unlock();
    return result != 0 ? result : unlock;
  }

 private:
  int32_t Unlock() {
    if (code_ != 0) return 0;  // never locked, or released already
    code_ = -1;
    return SEQ_Unlock(list_);
  }

  SEQ_ListH list_;
  int32_t code_;
};

// Runs body() (returning a code) with the list locked, then unlocks.
template <typename Body>
int32_t WithLockedList(SEQ_ListH list, Body&& body) {
  LockedList lock(list);
  if (lock.code() != 0) return lock.code();
  return lock.Release(body());
}

// A list that lives for one call. Release() disposes of it and hands back the code to report;
// the destructor disposes on paths that never reach Release.
class TemporaryList {
 public:
  TemporaryList(int32_t itemSize, int32_t growBy)
      : code_(SEQ_New(0, itemSize, growBy, 1, &list_)) {
    if (code_ != 0) list_ = nullptr;
  }
  TemporaryList(const TemporaryList&) = delete;
  TemporaryList& operator=(const TemporaryList&) = delete;
  ~TemporaryList() {
    if (list_ != nullptr) SEQ_Dispose(list_, 0);
  }

  int32_t code() const { return code_; }  // non-zero when the list could not be made
  SEQ_ListH get() const { return list_; }
  SEQ_ListH* address() { return &list_; }

  // Disposes of the list; a failing disposal is reported only when `result` is 0.
  int32_t Release(int32_t result) {
    if (list_ == nullptr) return result;
    const int32_t dispose = SEQ_Dispose(list_, 0);
    list_ = nullptr;
    return result != 0 ? result : dispose;
  }

 private:
  SEQ_ListH list_ = nullptr;
  int32_t code_;
};

}  // namespace crv

#endif
