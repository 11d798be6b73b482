// The catalogue's scoped controls over the stand-in host, by the names the tests use.
#ifndef CRV_TESTS_SUPPORT_HOST_CONTROLS_H
#define CRV_TESTS_SUPPORT_HOST_CONTROLS_H

#include "catalogue/catalogue.h"

namespace crvtest {

using CapabilityOverride = crvcat::CapabilityPath;  // word 3 of the capability record, scoped
using OwnedList = crvcat::List;                     // a caller's list, disposed of at scope end

}  // namespace crvtest

#endif
