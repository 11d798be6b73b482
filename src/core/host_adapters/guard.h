// The exception boundary of the plain functions whose work can throw.
#ifndef CRV_CORE_HOST_ADAPTERS_GUARD_H
#define CRV_CORE_HOST_ADAPTERS_GUARD_H

#include <cstdint>
#include <exception>

#include "host/hs.h"

namespace crv {

// Runs `step` (returning a result code) and turns what it throws into a result code: a thrown
// int is the code itself, a std::exception is reported to the host, whose code is returned.
// Anything else is not ours to interpret and travels on; RAII owners inside the step release
// what it had built on the way out.
template <typename Step>
int32_t RunGuarded(Step&& step) {
  try {
    return step();
  } catch (int code) {
    return code;
  } catch (const std::exception& error) {
    return HS_TranslateAndReportException(error);
  }
}

}  // namespace crv

#endif
