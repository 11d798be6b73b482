/* Visibility and linkage for the host interface. The host exports these symbols to the plug-ins it
 * loads; the stand-in host (libcrvhost) marks them the same way. */
#ifndef HOST_HOST_API_H
#define HOST_HOST_API_H

#if defined(__GNUC__) || defined(__clang__)
#define HS_API __attribute__((visibility("default")))
#else
#define HS_API
#endif

#ifdef __cplusplus
#define HS_EXTERN_C_BEGIN extern "C" {
#define HS_EXTERN_C_END }
#else
#define HS_EXTERN_C_BEGIN
#define HS_EXTERN_C_END
#endif

#endif
