// Scoped controls over the stand-in host for tests: the capability record and caller-owned lists.
#ifndef CRV_TESTS_SUPPORT_HOST_CONTROLS_H
#define CRV_TESTS_SUPPORT_HOST_CONTROLS_H

#include <cstdint>

#include "host/hs.h"
#include "host/seq.h"

namespace crvtest {

// Points the host's capability record at one whose word 3 is `paired`, for one scope.
class CapabilityOverride {
 public:
  explicit CapabilityOverride(int32_t paired) : saved_(HS_G_CPU_DataP) {
    record_[3] = paired;
    HS_G_CPU_DataP = record_;
  }
  CapabilityOverride(const CapabilityOverride&) = delete;
  CapabilityOverride& operator=(const CapabilityOverride&) = delete;
  ~CapabilityOverride() { HS_G_CPU_DataP = saved_; }

 private:
  const int32_t* saved_;
  int32_t record_[8] = {};
};

// A caller's list variable, disposed of at the end of the scope.
class OwnedList {
 public:
  OwnedList() = default;
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() { Dispose(); }
  void Dispose() {
    if (handle != nullptr) SEQ_Dispose(handle, 0);
    handle = nullptr;
  }
  SEQ_ListH handle = nullptr;
};

}  // namespace crvtest

#endif
