#include "Platform.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <dlfcn.h>
#include <sched.h>

namespace os
{

namespace
{

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

int64_t SystemPerformanceCounter()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return static_cast<int64_t>(now.tv_sec) * kNanosecondsPerSecond + now.tv_nsec;
}

bool SystemPerformanceFrequency(int64_t& outFrequency)
{
    outFrequency = kNanosecondsPerSecond;
    return true;
}

uint32_t SystemTickCount()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000u +
                                 static_cast<uint64_t>(now.tv_nsec) / 1'000'000u);
}

void SystemSleep(uint32_t inMilliseconds)
{
    if (inMilliseconds == 0)
    {
        sched_yield();
        return;
    }
    timespec left{};
    left.tv_sec = static_cast<time_t>(inMilliseconds / 1000);
    left.tv_nsec = static_cast<long>(inMilliseconds % 1000) * 1'000'000;
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR)
    {
    }
}

std::atomic<int64_t (*)()> sPerformanceCounter{&SystemPerformanceCounter};
std::atomic<bool (*)(int64_t&)> sPerformanceFrequency{&SystemPerformanceFrequency};
std::atomic<uint32_t (*)()> sTickCount{&SystemTickCount};
std::atomic<void (*)(uint32_t)> sSleep{&SystemSleep};

} // namespace

int64_t PerformanceCounter()
{
    return sPerformanceCounter.load()();
}

bool PerformanceFrequency(int64_t& outFrequency)
{
    outFrequency = 0;
    return sPerformanceFrequency.load()(outFrequency);
}

uint32_t TickCount()
{
    return sTickCount.load()();
}

void SleepMilliseconds(uint32_t inMilliseconds)
{
    sSleep.load()(inMilliseconds);
}

void* ModuleHandleFromAddress(const void* inAddress)
{
    Dl_info info{};
    return dladdr(inAddress, &info) != 0 ? info.dli_fbase : nullptr;
}

void SetClockFunctions(const ClockFunctions& inFunctions)
{
    sPerformanceCounter =
        inFunctions.mPerformanceCounter ? inFunctions.mPerformanceCounter : &SystemPerformanceCounter;
    sPerformanceFrequency =
        inFunctions.mPerformanceFrequency ? inFunctions.mPerformanceFrequency : &SystemPerformanceFrequency;
    sTickCount = inFunctions.mTickCount ? inFunctions.mTickCount : &SystemTickCount;
    sSleep = inFunctions.mSleepMilliseconds ? inFunctions.mSleepMilliseconds : &SystemSleep;
}

} // namespace os
