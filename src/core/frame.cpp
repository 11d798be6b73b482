// Lifecycle and reserved entry points.
#include "core/host_adapters/handles.h"
#include "crv/crv.h"
#include "host/hs.h"

int32_t CRV_Birth(void) { return CRV_ErrNone; }
int32_t CRV_Death(void) { return CRV_ErrNone; }

int32_t CRV_NewCurve(void) {
  // The request is made as the host expects of a curve handle, but no argument could carry the
  // handle back to a caller; freeing it at once keeps the call from leaking.
  HS_Handle handle = HS_AllocateHandleClear(CRV_TAG_CURVE, crv::HandleName(crv::kMessageCurveHandle),
                                            sizeof(CRV_Curve));
  if (handle != nullptr) HS_FreeHandle(handle);
  return CRV_ErrNone;
}

int32_t CRV_CurveSetCtpts(CRV_Curve*, double* const*) { return CRV_ErrNone; }
int32_t CRV_DisposeCurve(CRV_Curve*) { return CRV_ErrNone; }
int32_t CRV_EvaluateByCurvature(const CRV_Curve*, double, void*) { return CRV_ErrNone; }

// The size is the 64-bit hosts' own; a 32-bit target (WebAssembly) has a record of its own
// pointers, and its host sizes handles with the same header.
static_assert(sizeof(void*) != 8 || sizeof(CRV_Curve) == 40, "hosts size curve handles as 40 bytes");
