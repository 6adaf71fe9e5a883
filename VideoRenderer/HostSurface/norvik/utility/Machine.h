#pragma once

#include "Platform.h"
#include "norvik/utility/StringTypes.h"

#include <cstdint>

namespace norvik::utility
{

// Processors that this process may really use: its affinity mask, cut to the quota of its control groups
// (rounded up). Never 0. Asked once and kept, as executors are sized by it.
ML_EXPORT uint32_t CPUCount();

// Bytes of memory that this process may really use: the machine's, cut to the limits of its control groups.
ML_EXPORT uint64_t TotalPhysicalMemory();

// Answers for tools (--threads, --memory) and tests; 0 restores the machine's own.
ML_EXPORT void SetCPUCountOverride(uint32_t inCount);
ML_EXPORT void SetTotalPhysicalMemoryOverride(uint64_t inBytes);

// Absolute path of the file of a module, by the handle of os::ModuleHandleFromAddress; empty if there is
// none.
ML_EXPORT WString GetModulePath(void* inModuleHandle);

} // namespace norvik::utility

// Thread-safety: safe.
