#include "Tests/Support/ManualExecutor.h"

#include <limits>

namespace TestSupport
{

ManualExecutor::~ManualExecutor()
{
    CancelPending();
    Close();
}

void ManualExecutor::Post(norvik::Function inFunction, uint32_t inDelayMilliseconds)
{
    if (inDelayMilliseconds == 0)
    {
        mLedger.Push(inFunction);
        return;
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    if (const uint64_t number = mLedger.AddDelayed(inFunction))
    {
        mAlarms.emplace(mNow + inDelayMilliseconds, number);
    }
}

bool ManualExecutor::IsCurrentThread() const
{
    return mLedger.IsCurrentThread();
}

void ManualExecutor::CancelPending()
{
    const uint64_t lastCancelled = mLedger.CancelPending();
    const std::lock_guard<std::mutex> lock(mMutex);
    std::erase_if(mAlarms, [lastCancelled](const Due& inDue) { return inDue.second <= lastCancelled; });
}

void ManualExecutor::Close()
{
    mLedger.Close();
}

void ManualExecutor::WaitForTermination()
{
    if (!mLedger.IsCurrentThread())
    {
        for (uint64_t number = 0; RunAll() > 0 || TakeDue(std::numeric_limits<uint64_t>::max(), number);)
        {
            mLedger.ReleaseDelayed(std::exchange(number, 0));
        }
    }
    mLedger.WaitForTermination();
}

bool ManualExecutor::RunOne()
{
    return mLedger.RunNext();
}

size_t ManualExecutor::RunAll()
{
    size_t count = 0;
    while (RunOne())
    {
        ++count;
    }
    return count;
}

void ManualExecutor::Advance(uint32_t inMilliseconds)
{
    RunAll();
    const uint64_t until = Now() + inMilliseconds;
    for (uint64_t number = 0; TakeDue(until, number);)
    {
        mLedger.ReleaseDelayed(number);
        RunAll();
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    mNow = until;
}

uint64_t ManualExecutor::Now() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mNow;
}

size_t ManualExecutor::DelayedCount() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mAlarms.size();
}

// Takes the earliest alarm up to a time, and moves the clock to it.
bool ManualExecutor::TakeDue(uint64_t inUntil, uint64_t& outNumber)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mAlarms.empty() || mAlarms.begin()->first > inUntil)
    {
        return false;
    }
    mNow = mAlarms.begin()->first;
    outNumber = mAlarms.begin()->second;
    mAlarms.erase(mAlarms.begin());
    return true;
}

} // namespace TestSupport
