// The processor-capability record, filled from CPUID before any plug-in linked against the host
// runs its own initializers (the loader initializes a library's dependencies first).
#include "host/hs.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace {

int32_t g_cpuRecord[8] = {};

// Word 3 carries SSE3; the other words are reserved and stay zero.
struct CpuRecordFiller {
  CpuRecordFiller() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) g_cpuRecord[3] = (ecx & bit_SSE3) != 0 ? 1 : 0;
#endif
  }
};

const CpuRecordFiller g_filler;

}  // namespace

// Constant-initialized, so the pointer is valid even before the filler has run.
const int32_t* HS_G_CPU_DataP = g_cpuRecord;
