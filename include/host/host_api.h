/* Visibility and linkage for the host interface. The host exports these symbols to the plug-ins it
 * loads; the stand-in host (libcrvhost) marks them the same way. The host headers include each
 * other by their own names, so they work from include/host/ in the source tree and from
 * include/crv/host/ where the package installs them. */
#ifndef HOST_HOST_API_H
#define HOST_HOST_API_H

/* On Windows the stand-in host is a static library (CRV_SHARED=OFF) and exports nothing. */
#if defined(_WIN32)
#define HS_API
#elif defined(__GNUC__) || defined(__clang__)
#define HS_API __attribute__((visibility("default")))
#else
#define HS_API
#endif

/* For a struct shared with C: a type's visibility means something to C++ only (its type
 * information), and C compilers warn that they ignore it. */
#ifdef __cplusplus
#define HS_TYPE_API HS_API
#else
#define HS_TYPE_API
#endif

#ifdef __cplusplus
#define HS_EXTERN_C_BEGIN extern "C" {
#define HS_EXTERN_C_END }
#else
#define HS_EXTERN_C_BEGIN
#define HS_EXTERN_C_END
#endif

#endif
