#include "Applications/vrender/FrameFeed.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vrender
{

namespace
{

// Frames that are told one by one; longer lists leave out few of those between their ends.
constexpr std::int64_t kMostTold = 1024;

} // namespace

FrameFeed::FrameFeed(const Settings& inSettings) : mSettings(inSettings)
{
    TellMaterial();
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

std::vector<MF::TimeRange> FrameFeed::TimesOfList() const
{
    using norviktypes::TickTime;
    std::vector<MF::TimeRange> times;
    for (std::int64_t i = 0; i < mSettings.mCount && mSettings.mCount <= kMostTold; ++i)
    {
        const TickTime time = mSettings.mTimeOf(i);
        times.push_back({time, time + TickTime(1)});
    }
    if (mSettings.mCount > kMostTold)
    {
        const auto [first, last] =
            std::minmax({mSettings.mTimeOf(0), mSettings.mTimeOf(mSettings.mCount - 1)});
        times.push_back({first, last + TickTime(1)});
    }
    return times;
}

// It only saves work: what is wrong with a time is met when its frame is ordered.
void FrameFeed::TellMaterial() const noexcept
{
    try
    {
        mSettings.mMaterial->Expect(TimesOfList());
    }
    catch (...)
    {
        return;
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
    mIsRead.wait(lock, [this] { return mIsStopped || mTaken >= mSettings.mCount || !mRead.empty(); });
    if (mIsStopped || mRead.empty())
    {
        return false;
    }
    return TakeThat(mRead.begin(), outFrame);
}

bool FrameFeed::TakeOne(std::int64_t inIndex, Frame& outFrame)
{
    std::unique_lock<std::mutex> lock(mMutex);
    mChanged.wait(lock, [&] { return mIsStopped || mRead.count(inIndex) != 0; });
    return !mIsStopped && TakeThat(mRead.find(inIndex), outFrame);
}

bool FrameFeed::TakeThat(Reads::iterator inWhich, Frame& outFrame)
{
    outFrame = {inWhich->first, std::move(inWhich->second)};
    mRead.erase(inWhich);
    if (++mTaken == mSettings.mCount)
    {
        // The others wait for frames that won't come.
        mIsRead.notify_all();
    }
    return true;
}

// False: there is none. The order counts as open before it's made, since its answer may come before that
// returns.
bool FrameFeed::OpenNext(std::int64_t& outIndex)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mIsStopped || mNext >= mSettings.mCount)
    {
        return false;
    }
    Reads place;
    place.emplace(mNext, nullptr);
    mOpen.emplace(mNext, Open{0, place.extract(place.begin())});
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
    if (!OpenNext(index))
    {
        return;
    }
    Session::OrderID id = 0;
    try
    {
        id = mSettings.mService->Order(
            {mSettings.mMaterial, mSettings.mTimeOf(index), mSettings.mRequest, mSettings.mUrgency},
            [this, index](Session::ReadHold inHold, bool) { OnRead(index, std::move(inHold)); });
    }
    catch (...)
    {
        Close(index);
        throw;
    }
    NoteID(index, id);
}

// An order whose id wasn't known when the feed was stopped is cancelled now.
void FrameFeed::NoteID(std::int64_t inIndex, Session::OrderID inID)
{
    bool isToBeCancelled = false;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto open = mOpen.find(inIndex);
        if (open != mOpen.end())
        {
            open->second.mID = inID;
            isToBeCancelled = mIsStopped;
        }
    }
    if (isToBeCancelled && inID != 0)
    {
        mSettings.mService->Cancel(inID);
    }
}

void FrameFeed::Close(std::int64_t inIndex) noexcept
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mOpen.erase(inIndex);
    mChanged.notify_all();
}

// A cancelled order is taken like any other, unless the feed has ended. Who is woken shall find the lock free; the
// order is open until then, which keeps the feed.
void FrameFeed::OnRead(std::int64_t inIndex, Session::ReadHold inHold) noexcept
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (!mIsStopped)
        {
            Reads::node_type place = std::move(mOpen.find(inIndex)->second.mPlace);
            place.mapped() = std::move(inHold);
            mRead.insert(std::move(place));
        }
    }
    mIsRead.notify_one();
    Close(inIndex);
}

void FrameFeed::Stop() noexcept
{
    std::vector<Session::OrderID> open;
    try
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mIsStopped = true;
            mIsRead.notify_all();
            mChanged.notify_all();
            for (const auto& [index, order] : mOpen)
            {
                if (order.mID != 0)
                {
                    open.push_back(order.mID);
                }
            }
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
