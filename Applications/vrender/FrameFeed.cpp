#include "Applications/vrender/FrameFeed.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vrender
{

FrameFeed::FrameFeed(const Settings& inSettings) : mSettings(inSettings)
{
    const std::int64_t window = std::min(mSettings.mWindow, mSettings.mCount);
    try
    {
        for (std::int64_t i = 0; i < window; ++i)
        {
            Advance();
        }
    }
    catch (...)
    {
        Stop();
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [this] { return mOpen.empty(); });
        throw;
    }
}

FrameFeed::~FrameFeed()
{
    Stop();
    std::unique_lock<std::mutex> lock(mMutex);
    mChanged.wait(lock, [this] { return mOpen.empty(); });
}

bool FrameFeed::Take(Frame& outFrame)
{
    std::unique_lock<std::mutex> lock(mMutex);
    mChanged.wait(lock, [this] { return mIsStopped || mTaken >= mSettings.mCount || !mRead.empty(); });
    if (mIsStopped || mRead.empty())
    {
        return false;
    }
    const auto first = mRead.begin();
    outFrame = {first->first, std::move(first->second)};
    mRead.erase(first);
    if (++mTaken == mSettings.mCount)
    {
        // The others wait for frames that won't come.
        mChanged.notify_all();
    }
    return true;
}

// False: there is none. The order counts as open before it's made, since its answer may come before that
// returns.
bool FrameFeed::OpenNext(std::int64_t& outIndex, Session::OrderID& outID)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mIsStopped || mNext >= mSettings.mCount)
    {
        return false;
    }
    outID = Session::RenderService::NextID();
    mOpen.insert(outID);
    outIndex = mNext++;
    return true;
}

void FrameFeed::Advance()
{
    if (mSettings.mReport != nullptr)
    {
        mSettings.mReport->Tick();
    }
    std::int64_t index = 0;
    Session::OrderID id = 0;
    if (!OpenNext(index, id))
    {
        return;
    }
    try
    {
        mSettings.mService->Order(
            id, {mSettings.mClip, mSettings.mTimeOf(index), mSettings.mRequest, mSettings.mUrgency},
            [this, index, id](Session::ReadHold inHold, bool) { OnRead(index, id, std::move(inHold)); });
    }
    catch (...)
    {
        Close(id);
        throw;
    }
}

void FrameFeed::Close(Session::OrderID inID)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mOpen.erase(inID);
    mChanged.notify_all();
}

// A cancelled order is taken like any other, unless the feed has ended.
void FrameFeed::OnRead(std::int64_t inIndex, Session::OrderID inID, Session::ReadHold inHold)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mOpen.erase(inID);
    if (mIsStopped)
    {
        // Its frame goes with the argument, after the unlock.
        mChanged.notify_all();
        return;
    }
    mRead.emplace(inIndex, std::move(inHold));
    mChanged.notify_one();
}

void FrameFeed::Stop() noexcept
{
    std::vector<Session::OrderID> open;
    try
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mIsStopped = true;
            mChanged.notify_all();
            open.assign(mOpen.begin(), mOpen.end());
        }
        for (const Session::OrderID id : open)
        {
            mSettings.mService->Cancel(id);
        }
    }
    catch (...)
    {
        // What could not be cancelled for want of memory is read, and answered then.
        return;
    }
}

} // namespace vrender
