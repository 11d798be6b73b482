// Host handles: the message indices of their names, the lookup every request goes through, and
// the guard that frees a handle the library borrows for one call.
#ifndef CRV_CORE_HOST_ADAPTERS_HANDLES_H
#define CRV_CORE_HOST_ADAPTERS_HANDLES_H

#include <memory>

#include "crv/crv.h"
#include "host/hs.h"

namespace crv {

constexpr int32_t kMessageCurveHandle = 6;       // "Bezier Curve"
constexpr int32_t kMessageParamValuesHandle = 7; // "List of parameter values"

// The display name the host shows for a handle of the given message.
inline const char* HandleName(int32_t message) {
  return HS_ZLookupLStrCache(CRV_G_zref, message, 0, 0);
}

// A handle borrowed for one call (null when the host had no memory), freed on every path.
struct HandleFree {
  void operator()(void** handle) const { HS_FreeHandle(handle); }
};
using TemporaryHandle = std::unique_ptr<void*, HandleFree>;

}  // namespace crv

#endif
