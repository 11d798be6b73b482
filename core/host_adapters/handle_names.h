// Message indices of handle names and the lookup every handle request goes through.
#ifndef CRV_CORE_HOST_ADAPTERS_HANDLE_NAMES_H
#define CRV_CORE_HOST_ADAPTERS_HANDLE_NAMES_H

#include "crv/crv.h"
#include "host/hs.h"

namespace crv {

constexpr int32_t kMessageCurveHandle = 6;       // "Bezier Curve"
constexpr int32_t kMessageParamValuesHandle = 7; // "List of parameter values"

// The display name the host shows for a handle of the given message.
inline const char* HandleName(int32_t message) {
  return HS_ZLookupLStrCache(CRV_G_zref, message, 0, 0);
}

}  // namespace crv

#endif
