/* Host utility services: handles, message strings, the processor-capability record and exception
 * reporting. C-compatible apart from the exception translator. */
#ifndef HOST_HS_H
#define HOST_HS_H

#include <stdint.h>

#include "host_api.h"

/* Host result codes. 0 is success; the library passes every other code back unchanged. None of
 * them is 2 or 4, which the library keeps for its own failures. */
#define HS_ERR_BAD_ALLOC (-108)     /* a std::bad_alloc handed to the exception translator */
#define HS_ERR_EXCEPTION (-3301)    /* any other std::exception handed to the translator */

/* A handle is a pointer to a master pointer, which points to the handle's block. The block may
 * move while the handle stays valid, so users dereference the handle each time they need it. */
typedef void** HS_Handle;

HS_EXTERN_C_BEGIN

/* Allocates a handle whose block holds `size` bytes, tagged and named for the host's memory
 * accounting. Returns null when no memory is left. The block's contents are unspecified. */
HS_API HS_Handle HS_AllocateHandle(uint32_t tag, const char* name, uint64_t size);

/* As HS_AllocateHandle, with the block cleared to zero bytes. */
HS_API HS_Handle HS_AllocateHandleClear(uint32_t tag, const char* name, uint64_t size);

/* Releases a handle and its block. A null handle is ignored. */
HS_API void HS_FreeHandle(HS_Handle handle);

/* Returns the display text of message `index` of a plug-in's message table: the text after the
 * first "=" of the entry's stored string (the whole string when it has no "="). `table` is the
 * value of the plug-in's table pointer; the two trailing arguments are reserved (pass 0). Returns
 * "" for a null table or an index outside the table. The text lives as long as the table. */
HS_API const char* HS_ZLookupLStrCache(const void* table, int32_t index, int32_t reserved1,
                                       int32_t reserved2);

/* The processor-capability record: 32-bit words filled from CPUID when the host loads. Word 3 is
 * non-zero where the processor has SSE3 (horizontal additions of double pairs). Always points to
 * at least 8 words. Tests may repoint it at a record of their own. */
HS_API extern const int32_t* HS_G_CPU_DataP;

HS_EXTERN_C_END

#ifdef __cplusplus
#include <exception>

/* Records what() for the host's error reporting and returns the code standing for the exception:
 * HS_ERR_BAD_ALLOC for std::bad_alloc (and classes derived from it), HS_ERR_EXCEPTION otherwise. */
HS_API int32_t HS_TranslateAndReportException(const std::exception& error);
#endif

#endif
