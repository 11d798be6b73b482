// Inlining that the optimiser may not judge worth it on its own: small routines on the hot paths
// of loops in other files (a curve point per sample of a table, per halving of a flattening).
#ifndef CRV_CORE_FORCE_INLINE_H
#define CRV_CORE_FORCE_INLINE_H

#if defined(__GNUC__) || defined(__clang__)
#define CRV_FORCE_INLINE inline __attribute__((always_inline))
#else
#define CRV_FORCE_INLINE inline
#endif

#endif
