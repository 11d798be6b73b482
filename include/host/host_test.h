/* Test controls of the stand-in host: fault injection and live counts. A real host has none of
 * these; tests use them to prove that every host failure travels back and nothing leaks. */
#ifndef HOST_HOST_TEST_H
#define HOST_HOST_TEST_H

#include <stdint.h>

#include "host_api.h"

HS_EXTERN_C_BEGIN

/* Failable calls are the list operations (SEQ_*), the point transform, handle allocation and
 * small-block allocation. The n-th failable call made by the calling thread from now on (n = 1:
 * the next) fails: list and transform operations return `code`, handle allocation returns null,
 * small-block allocation throws std::bad_alloc. The release operations (SEQ_Unlock, SEQ_Dispose)
 * still release before they report the code, so a fault there strands no lock and no list. Also
 * restarts the call count. n <= 0 disarms. */
HS_API void HOST_FailNthCall(int64_t n, int32_t code);

/* Disarms any pending failure of this thread and restarts its call count. */
HS_API void HOST_ClearFaults(void);

/* Failable calls made by this thread since the last HOST_FailNthCall or HOST_ClearFaults. */
HS_API int64_t HOST_CallCount(void);

/* Process-wide live counts. */
HS_API int64_t HOST_LiveHandles(void);     /* handles allocated and not yet freed */
HS_API int64_t HOST_LiveLists(void);       /* lists created and not yet disposed of */
HS_API int64_t HOST_LiveSmallBlocks(void); /* small blocks allocated and not yet disposed of */
HS_API int64_t HOST_HeldLocks(void);       /* list locks taken and not yet released */

/* The what() text of the last exception this thread handed to the translator ("" if none). */
HS_API const char* HOST_LastReportedException(void);

HS_EXTERN_C_END

#endif
