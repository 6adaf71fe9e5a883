#include "TVK/Waitable.h"

#include <chrono>

namespace TVK
{

void WaitableObject::Signal()
{
    // Notified under the lock: the waiter may destroy the object as soon as it has the signal.
    const std::lock_guard<std::mutex> lock(mMutex);
    mSignalled = true;
    mCondition.notify_one();
}

int32_t WaitableObject::WaitForSignal(int32_t inMilliseconds)
{
    std::unique_lock<std::mutex> lock(mMutex);
    const auto signalled = [this] { return mSignalled; };
    if (inMilliseconds < 0)
    {
        mCondition.wait(lock, signalled);
    }
    else if (!mCondition.wait_for(lock, std::chrono::milliseconds(inMilliseconds), signalled))
    {
        return kWaitTimedOut;
    }
    mSignalled = false;
    return 0;
}

} // namespace TVK
