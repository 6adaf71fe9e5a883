#pragma once

#include <cstdint>

// What depends on the operating system and the compiler, in one place.

// Visible across shared objects. Everything is built with hidden visibility, so functions, classes with a
// vtable and exception types that cross a library boundary carry this mark; an exception type without it
// could not be caught by its class in another shared object.
#define ML_EXPORT __attribute__((visibility("default")))

// Brackets records that plug-ins see. They are packed and little-endian; fields of eight bytes may stand at
// odd offsets, so such records are read and written with memcpy, never through a pointer to the field.
#define ML_PACKED_RECORDS_BEGIN _Pragma("pack(push, 1)")
#define ML_PACKED_RECORDS_END _Pragma("pack(pop)")

namespace os
{

// Nanoseconds of a clock that is neither set nor slewed. The origin has no meaning.
ML_EXPORT int64_t PerformanceCounter();

// Counts of PerformanceCounter in a second. False, and 0, where there is no such counter.
ML_EXPORT bool PerformanceFrequency(int64_t& outFrequency);

// Milliseconds of the monotonic clock, cut to 32 bits: it wraps every 49.7 days, so that differences are
// taken in unsigned 32-bit arithmetic.
ML_EXPORT uint32_t TickCount();

// Gives up the processor for at least inMilliseconds; 0 yields.
ML_EXPORT void SleepMilliseconds(uint32_t inMilliseconds);

// Handle (load address) of the module that holds the code or data at inAddress; null if none does. Adds no
// reference to the module.
ML_EXPORT void* ModuleHandleFromAddress(const void* inAddress);

// The four clock functions behind the calls above. A null member means the system's own.
struct ClockFunctions
{
    int64_t (*mPerformanceCounter)() = nullptr;
    bool (*mPerformanceFrequency)(int64_t& outFrequency) = nullptr;
    uint32_t (*mTickCount)() = nullptr;
    void (*mSleepMilliseconds)(uint32_t inMilliseconds) = nullptr;
};

// Puts other clocks in place, so that tests can show a counter that fails, jumps or disagrees with the tick
// count. A default-constructed value restores the system's. Not while other threads ask for the time.
ML_EXPORT void SetClockFunctions(const ClockFunctions& inFunctions);

} // namespace os

// Thread-safety: all functions but SetClockFunctions may be called from any thread.
