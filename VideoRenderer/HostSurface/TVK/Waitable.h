#pragma once

#include "Platform.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace TVK
{

// A signal that one thread waits for. It has a memory of one: a signal given before the wait lets the next
// wait through at once, and each signal lets one wait through. Signals that nobody consumed add up to one.
//
// Thread-safety: safe.
class WaitableObject
{
public:
    WaitableObject() = default;
    WaitableObject(const WaitableObject&) = delete;
    WaitableObject& operator=(const WaitableObject&) = delete;

    ML_EXPORT void Signal();

    // 0 when signalled, kWaitTimedOut after inMilliseconds; -1 waits for ever.
    ML_EXPORT int32_t WaitForSignal(int32_t inMilliseconds);

    static constexpr int32_t kWaitTimedOut = 1;

private:
    std::mutex mMutex;
    std::condition_variable mCondition;
    bool mSignalled = false;
};

} // namespace TVK
