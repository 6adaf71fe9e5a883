#include "ReferenceHost/Executors/TaskLedger.h"

#include "ReferenceHost/Foundation/CallLogged.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Executors
{

namespace
{

// The ledgers whose functions this thread is inside of, innermost first: a function of a sub-executor runs
// within a function of its parent.
struct Frame
{
    const TaskLedger* mLedger;
    const Frame* mOuter;
};

thread_local const Frame* tInnermost = nullptr;

class FrameScope
{
public:
    explicit FrameScope(const TaskLedger* inLedger) : mFrame{inLedger, tInnermost} { tInnermost = &mFrame; }

    ~FrameScope() { tInnermost = mFrame.mOuter; }

    FrameScope(const FrameScope&) = delete;
    FrameScope& operator=(const FrameScope&) = delete;

private:
    const Frame mFrame;
};

} // namespace

uint64_t TaskLedger::Push(Function& ioFunction)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mClosed)
    {
        return 0;
    }
    mQueue.emplace_back();
    mQueue.back().mNumber = ++mLastPushed;
    mQueue.back().mFunction.swap(ioFunction);
    return mLastPushed;
}

bool TaskLedger::TakeBack(uint64_t inNumber, Function& outFunction)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found =
        std::find_if(mQueue.rbegin(), mQueue.rend(),
                     [inNumber](const Queued& inQueued) { return inQueued.mNumber == inNumber; });
    if (found == mQueue.rend())
    {
        return false;
    }
    outFunction.swap(found->mFunction);
    mQueue.erase(std::next(found).base());
    mChanged.notify_all();
    return true;
}

uint64_t TaskLedger::AddDelayed(Function& ioFunction)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mClosed)
    {
        return 0;
    }
    const auto place = mDelayed.try_emplace(mLastNumber + 1, std::size_t{1}).first;
    place->second.front().mFunction.swap(ioFunction);
    return ++mLastNumber;
}

bool TaskLedger::ReleaseDelayed(uint64_t inNumber) noexcept
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mDelayed.find(inNumber);
    if (found == mDelayed.end())
    {
        return false;
    }
    mQueue.splice(mQueue.end(), found->second);
    mDelayed.erase(found);
    return true;
}

void TaskLedger::DropDelayed(uint64_t inNumber)
{
    Function dropped;
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mDelayed.find(inNumber);
    if (found != mDelayed.end())
    {
        dropped.swap(found->second.front().mFunction);
        mDelayed.erase(found);
        mChanged.notify_all();
    }
}

bool TaskLedger::RunNext()
{
    Function function;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mQueue.empty())
        {
            return false;
        }
        function.swap(mQueue.front().mFunction);
        mQueue.pop_front();
        ++mRunning;
    }
    {
        // Destroyed while it still counts as running: who waits for termination may rely on everything that
        // was bound being released.
        const FrameScope scope(this);
        Foundation::CallLogged("norvik.Executors", "A posted function", function);
        function.clear();
    }
    FinishOne();
    return true;
}

void TaskLedger::FinishOne()
{
    // Notified under the lock: a waiter that destroys the ledger can't overtake the notification.
    const std::lock_guard<std::mutex> lock(mMutex);
    --mRunning;
    mChanged.notify_all();
}

bool TaskLedger::HasQueued() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return !mQueue.empty();
}

uint64_t TaskLedger::CancelPending()
{
    // Declared before the lock, so destroyed after it.
    Queue queue;
    std::map<uint64_t, Queue> delayed;
    const std::lock_guard<std::mutex> lock(mMutex);
    queue.swap(mQueue);
    delayed.swap(mDelayed);
    mChanged.notify_all();
    return mLastNumber;
}

void TaskLedger::Close()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mClosed = true;
}

void TaskLedger::WaitForTermination()
{
    std::unique_lock<std::mutex> lock(mMutex);
    if (!IsCurrentThread())
    {
        mChanged.wait(lock, [this] { return mQueue.empty() && mDelayed.empty() && mRunning == 0; });
        return;
    }
    // What is queued may need this very thread, and a second function that waits here waits for this one.
    ++mWaitingInside;
    mChanged.notify_all();
    mChanged.wait(lock, [this] { return mRunning <= mWaitingInside; });
    --mWaitingInside;
}

bool TaskLedger::IsCurrentThread() const
{
    for (const Frame* frame = tInnermost; frame != nullptr; frame = frame->mOuter)
    {
        if (frame->mLedger == this)
        {
            return true;
        }
    }
    return false;
}

} // namespace Executors
