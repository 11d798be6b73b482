// The paired path of point evaluation, and its scalar emulation for tests and other processors.
#ifndef CRV_CORE_EVALUATE_PAIRED_H
#define CRV_CORE_EVALUATE_PAIRED_H

#include "crv/crv.h"

namespace crv {

// B(t) for dims >= 2 from the four Bernstein weights
//   w0 = s (s s), w1 = (s s)(3t), w2 = s ((t t) 3), w3 = t (t t)      (s = 1 - t)
// as (P0 w0 + P1 w1) + (P2 w2 + P3 w3) per coordinate: each bracket's two products side by side,
// summed horizontally, then the two sums added. Coordinates 0 and 1 go together, the rest one at a
// time. On x86-64 this uses SSE3 (compiled for it alone, so the library loads on any x86-64);
// callers take it only when the host's capability record says SSE3 is there.
void EvaluatePointPaired(const CRV_Curve& curve, double t, double* out);

// The same additions in the same order in plain scalar code: bit-identical to the paired path.
void EvaluatePointPairedEmulated(const CRV_Curve& curve, double t, double* out);

}  // namespace crv

#endif
