// The processor-capability flag that selects the paired (vectorised) paths.
#ifndef CRV_CORE_HOST_ADAPTERS_CAPABILITY_H
#define CRV_CORE_HOST_ADAPTERS_CAPABILITY_H

#include "host/hs.h"

namespace crv {

// Word 3 of the host's capability record; read afresh on every call, since a host (or a test)
// may repoint the record at any time.
inline bool UsePairedPath() { return HS_G_CPU_DataP[3] != 0; }

}  // namespace crv

#endif
