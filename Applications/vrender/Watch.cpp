#include "Applications/vrender/Watch.h"

#include "norvik/threads/Threads.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include <pthread.h>

namespace vrender
{

namespace
{

constexpr std::int64_t kSampleInterval = 20'000'000;

std::int64_t ProcessorTime()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

std::string OwnName()
{
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}

} // namespace

Watch::Watch(std::size_t inMostMoments) : mMostMoments(inMostMoments), mBegin(os::PerformanceCounter())
{
    mMoments.reserve(mMostMoments);
    ML::SetRenderObserver(this);
    Foundation::SetWorkObserver(this);
}

Watch::~Watch()
{
    Detach();
}

void Watch::Detach()
{
    ML::SetRenderObserver(nullptr);
    Foundation::SetWorkObserver(nullptr);
}

std::int64_t Watch::Now() const
{
    return os::PerformanceCounter() - mBegin;
}

std::vector<Moment> Watch::TakeMoments()
{
    std::vector<Moment> taken;
    taken.reserve(mMostMoments);
    const std::lock_guard<std::mutex> lock(mMutex);
    taken.swap(mMoments);
    return taken;
}

bool Watch::IsHalfFull()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return 2 * mMoments.size() >= mMostMoments;
}

RunCounts Watch::Counts()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    RunCounts counts = mCounts;
    counts.mNanoseconds = Now();
    return counts;
}

std::vector<std::string> Watch::ThreadNames()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mThreadNames;
}

void Watch::SampleProcessors()
{
    const std::int64_t now = Now();
    const std::lock_guard<std::mutex> lock(mMutex);
    if (now - mLastSample < kSampleInterval)
    {
        return;
    }
    mLastSample = now;
    Moment moment;
    moment.mKind = Moment::Kind::kProcessors;
    moment.mWhen = now;
    moment.mValue = ProcessorTime();
    Keep(moment);
}

void Watch::OnRenderEvent(const ML::RenderEvent& inEvent) noexcept
{
    try
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        CountEvent(inEvent.mKind);
        FollowRequest(inEvent);
        Moment moment;
        moment.mKind = Moment::Kind::kEvent;
        moment.mWhat = static_cast<std::uint8_t>(inEvent.mKind);
        moment.mDuration = inEvent.mKind == ML::RenderEventKind::kRendered ? inEvent.mNanoseconds : 0;
        moment.mWhen = inEvent.mWhen - mBegin - moment.mDuration;
        moment.mValue = inEvent.mValue;
        moment.mRequest = inEvent.mRequestID;
        moment.mOpen = static_cast<std::uint32_t>(mOpen.size());
        moment.mReading = mReading;
        moment.mUnits = mUnits;
        moment.mThread = ThreadIndex();
        Keep(moment);
    }
    catch (...)
    {
        ++mCounts.mDroppedMoments;
    }
}

void Watch::OnWork(const Foundation::Work& inWork) noexcept
{
    try
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        WorkCount& count = mCounts.mWork[static_cast<std::size_t>(inWork.mKind)];
        ++(inWork.mHasFailed ? count.mFailures : count.mTimes);
        count.mNanoseconds += inWork.mEnd - inWork.mBegin;
        Moment moment;
        moment.mKind = Moment::Kind::kWork;
        moment.mWhat = static_cast<std::uint8_t>(inWork.mKind);
        moment.mWhen = inWork.mBegin - mBegin;
        moment.mDuration = inWork.mEnd - inWork.mBegin;
        moment.mValue = inWork.mNumber;
        moment.mHasFailed = inWork.mHasFailed;
        moment.mThread = ThreadIndex();
        Keep(moment);
    }
    catch (...)
    {
        ++mCounts.mDroppedMoments;
    }
}

void Watch::CountEvent(ML::RenderEventKind inKind)
{
    switch (inKind)
    {
    case ML::RenderEventKind::kQueued: ++mCounts.mQueued; break;
    case ML::RenderEventKind::kTimedOut: ++mCounts.mTimedOut; break;
    case ML::RenderEventKind::kWaitingForMemory: ++mCounts.mWaitedForMemory; break;
    case ML::RenderEventKind::kMerged: ++mCounts.mMerged; break;
    case ML::RenderEventKind::kCacheHit: ++mCounts.mCacheHits; break;
    case ML::RenderEventKind::kFinished: ++mCounts.mFinished; break;
    case ML::RenderEventKind::kCancelled: ++mCounts.mCancelled; break;
    default: break;
    }
}

// How many requests are where. Of those that the watch has not seen begin nothing is known.
void Watch::FollowRequest(const ML::RenderEvent& inEvent)
{
    if (inEvent.mKind == ML::RenderEventKind::kQueued)
    {
        mOpen.try_emplace(inEvent.mRequestID);
        mCounts.mMostOpen = std::max(mCounts.mMostOpen, static_cast<std::uint32_t>(mOpen.size()));
    }
    const auto found = mOpen.find(inEvent.mRequestID);
    if (found == mOpen.end())
    {
        return;
    }
    OpenRequest& request = found->second;
    const bool ends =
        inEvent.mKind == ML::RenderEventKind::kFinished || inEvent.mKind == ML::RenderEventKind::kCancelled;
    if (inEvent.mKind == ML::RenderEventKind::kPrefetchBegun)
    {
        mReading += request.mIsReading ? 0 : 1;
        request.mIsReading = true;
        mCounts.mMostReading = std::max(mCounts.mMostReading, mReading);
    }
    else if (ends || inEvent.mKind == ML::RenderEventKind::kReady ||
             inEvent.mKind == ML::RenderEventKind::kTimedOut)
    {
        mReading -= request.mIsReading ? 1 : 0;
        request.mIsReading = false;
    }
    else if (inEvent.mKind == ML::RenderEventKind::kAdmitted)
    {
        request.mUnits += static_cast<std::uint32_t>(inEvent.mValue);
        mUnits += static_cast<std::uint32_t>(inEvent.mValue);
        mCounts.mMostUnits = std::max(mCounts.mMostUnits, mUnits);
    }
    if (ends)
    {
        mUnits -= request.mUnits;
        mOpen.erase(found);
    }
}

void Watch::Keep(Moment inMoment) noexcept
{
    if (mMoments.size() < mMostMoments && mMoments.size() < mMoments.capacity())
    {
        mMoments.push_back(inMoment);
    }
    else if (mMostMoments > 0)
    {
        ++mCounts.mDroppedMoments;
    }
}

std::uint32_t Watch::ThreadIndex()
{
    if (mMostMoments == 0)
    {
        return 0;
    }
    const std::uint64_t id = norvik::threads::GetCurrentThreadID();
    const auto found = mThreads.find(id);
    if (found != mThreads.end())
    {
        return found->second;
    }
    const auto index = static_cast<std::uint32_t>(mThreadNames.size());
    mThreadNames.push_back(OwnName());
    mThreads.emplace(id, index);
    return index;
}

} // namespace vrender
