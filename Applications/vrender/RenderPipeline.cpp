#include "Applications/vrender/RenderPipeline.h"

#include "Applications/vrender/Console.h"
#include "Applications/vrender/Signals.h"
#include "ReferenceHost/Foundation/WorkObserver.h"
#include "RenderableSources.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>

namespace vrender
{

namespace
{

constexpr std::int64_t kSpareFrames = 4;
constexpr std::int64_t kLeastWindow = 2;
// For layers that are read before their turn, of all frames together.
constexpr std::uint64_t kMostReadAhead = std::uint64_t{192} << 20;
constexpr std::int64_t kLeastReadAhead = 2; // frames, beside one for each thread
// Failures of single frames that are told of one by one; a damaged file may have thousands.
constexpr std::int64_t kFailuresToTell = 5;
// How long a signal may go unseen while no frame comes.
constexpr std::chrono::milliseconds kSignalInterval{100};

using Foundation::WorkKind;
using Foundation::WorkSpan;

struct Slot
{
    bool mIsReady = false;
    EncoderFrame mFrame; // empty: the frame couldn't be made
    std::string mChecksum;
    std::string mFailure;
};

class Pipeline
{
public:
    explicit Pipeline(const PipelineJob& inJob)
        : mJob(inJob)
        , mSlots(static_cast<std::size_t>(std::max<std::int64_t>(1, inJob.mFrames.mWindow)))
        , mFeed(inJob.mFrames)
    {
    }

    PipelineResult Run();

private:
    void Work();
    Slot MakeFrame(FrameFeed::Frame inFrame) const;
    void Deliver(std::int64_t inIndex, Slot inSlot);
    void Stop(const std::exception_ptr& inCause);

    bool WaitFor(std::int64_t inIndex, Slot& outSlot);
    void WriteFrames();
    void WriteOne(std::int64_t inIndex, Slot& ioSlot);
    EncoderFrame Substitute(const Slot& inSlot);
    EncoderFrame BlackFrame() const;

    Slot& SlotOf(std::int64_t inIndex) { return mSlots[static_cast<std::size_t>(inIndex) % mSlots.size()]; }

    const PipelineJob& mJob;
    PipelineResult mResult; // of the writing thread alone
    EncoderFrame mLastFrame;

    // Guards all that follows; held for moments only, never while a frame is made or written.
    std::mutex mMutex;
    std::condition_variable mFrameIsReady;
    std::vector<Slot> mSlots; // ring over frame indices, of the feed's window
    std::int64_t mWrittenUpTo = 0;
    bool mStopping = false;
    std::exception_ptr mCause;

    FrameFeed mFeed;
};

PipelineResult Pipeline::Run()
{
    const std::int64_t count = std::min<std::int64_t>(mJob.mThreads, mJob.mFrames.mCount);
    std::vector<std::thread> workers;
    try
    {
        for (std::int64_t i = 0; i < count; ++i)
        {
            workers.emplace_back([this] { Work(); });
        }
        WriteFrames();
        Stop(nullptr);
    }
    catch (...)
    {
        Stop(std::current_exception());
    }
    for (std::thread& worker : workers)
    {
        worker.join();
    }
    if (mCause)
    {
        std::rethrow_exception(mCause);
    }
    return mResult;
}

void Pipeline::Stop(const std::exception_ptr& inCause)
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mStopping = true;
        mCause = mCause ? mCause : inCause;
        mFrameIsReady.notify_all();
    }
    mFeed.Stop();
}

void Pipeline::Work()
{
    pthread_setname_np(pthread_self(), "vr-finish");
    try
    {
        FrameFeed::Frame frame;
        while (mFeed.Take(frame))
        {
            const std::int64_t index = frame.mIndex;
            Deliver(index, MakeFrame(std::move(frame)));
        }
    }
    catch (...)
    {
        Stop(std::current_exception());
    }
}

// What its order got is let go at the end.
Slot Pipeline::MakeFrame(FrameFeed::Frame inFrame) const
{
    Slot slot;
    slot.mIsReady = true;
    const norviktypes::TickTime time = mJob.mFrames.mTimeOf(inFrame.mIndex);
    MF::IVideoFrameRef frame;
    try
    {
        WorkSpan span(WorkKind::kRender, mJob.mNumberOf(inFrame.mIndex));
        frame = mJob.mFrames.mMaterial->Render(time, mJob.mFrames.mRequest, inFrame.mHold);
        span.Succeed();
    }
    catch (const ML::RenderRequestException&)
    {
        slot.mFailure = mJob.mFrames.mMaterial->FailureAt(time);
        return slot;
    }
    WorkSpan span(WorkKind::kLayOut, mJob.mNumberOf(inFrame.mIndex));
    slot.mFrame = mJob.mWriter->Prepare(frame);
    if (mJob.mPrintChecksums)
    {
        slot.mChecksum = FrameChecksum(*slot.mFrame);
    }
    span.Succeed();
    return slot;
}

void Pipeline::Deliver(std::int64_t inIndex, Slot inSlot)
{
    bool isNext = false;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        SlotOf(inIndex) = std::move(inSlot);
        isNext = inIndex == mWrittenUpTo;
    }
    if (isNext) // who is woken shall find the lock free
    {
        mFrameIsReady.notify_one();
    }
}

// False when the run ends before the frame is there.
bool Pipeline::WaitFor(std::int64_t inIndex, Slot& outSlot)
{
    std::unique_lock<std::mutex> lock(mMutex);
    Slot& slot = SlotOf(inIndex);
    while (!slot.mIsReady)
    {
        if (mStopping || signals::Pending() != 0)
        {
            return false;
        }
        mFrameIsReady.wait_for(lock, kSignalInterval);
    }
    outSlot = std::move(slot);
    slot = Slot();
    return true;
}

void Pipeline::WriteFrames()
{
    for (std::int64_t index = 0; index < mJob.mFrames.mCount; ++index)
    {
        Slot slot;
        if (signals::Pending() != 0 || !WaitFor(index, slot))
        {
            mResult.mSignal = signals::Pending();
            return;
        }
        WriteOne(index, slot);
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mWrittenUpTo = index + 1;
        }
        mFeed.Advance();
    }
}

void Pipeline::WriteOne(std::int64_t inIndex, Slot& ioSlot)
{
    if (!ioSlot.mFrame)
    {
        ioSlot.mFrame = Substitute(ioSlot);
        ioSlot.mChecksum = mJob.mPrintChecksums ? FrameChecksum(*ioSlot.mFrame) : std::string();
    }
    mLastFrame = ioSlot.mFrame;
    {
        WorkSpan span(WorkKind::kWrite, mJob.mNumberOf(inIndex));
        mJob.mWriter->Write(ioSlot.mFrame);
        span.Succeed();
    }
    if (mJob.mPrintChecksums)
    {
        console::PrintData("frame " + std::to_string(mJob.mNumberOf(inIndex)) + " " + ioSlot.mChecksum +
                           "\n");
    }
    ++mResult.mWritten;
    if (mJob.mProgress != nullptr)
    {
        mJob.mProgress->Update(mResult.mWritten, mJob.mWriter->BytesWritten(), mResult.mSubstitutes);
    }
}

EncoderFrame Pipeline::Substitute(const Slot& inSlot)
{
    ++mResult.mSubstitutes;
    if (mResult.mSubstitutes <= kFailuresToTell)
    {
        const char* with = mLastFrame ? "; the frame before it is shown" : "; black is shown";
        console::Say(inSlot.mFailure + with);
    }
    if (mResult.mFirstFailure.empty())
    {
        mResult.mFirstFailure = inSlot.mFailure;
    }
    return mLastFrame ? mLastFrame : BlackFrame();
}

EncoderFrame Pipeline::BlackFrame() const
{
    MF::IVideoFrameRef frame;
    const std::int32_t status = VF::CreateVideoFrame(
        frame, mJob.mFrames.mRequest.mPixelFormat, mJob.mFrames.mRequest.mWidth,
        mJob.mFrames.mRequest.mHeight, norviktypes::kPixelAspectRatio_Square, true, false);
    if (status < 0)
    {
        throw std::bad_alloc();
    }
    return mJob.mWriter->Prepare(frame);
}

} // namespace

PipelineResult RunPipeline(const PipelineJob& inJob)
{
    return Pipeline(inJob).Run();
}

std::uint64_t BytesOfFrame(const Session::RenderRequest& inRequest)
{
    const std::uint64_t pixels = static_cast<std::uint64_t>(inRequest.mWidth) * inRequest.mHeight;
    const std::uint32_t properties = inRequest.mPixelFormat.mProperties;
    const std::uint64_t bytes = norviktypes::IsPackedFourComponent(properties)
                                    ? norviktypes::DepthOfProperties(properties) / 2
                                : norviktypes::DepthOfProperties(properties) > 8 ? 4
                                                                                 : 2;
    return std::max<std::uint64_t>(1, pixels * bytes);
}

std::int64_t WindowFrames(std::uint32_t inThreads, std::uint64_t inBytes, const FrameWeight& inWeight)
{
    const std::uint64_t inHand = inWeight.mRendered + inWeight.mLaidOut + inWeight.mOnTheWay;
    const std::uint64_t waiting = inWeight.mLaidOut > 0 ? inWeight.mLaidOut : inWeight.mRendered;
    std::int64_t frames = 2 * (static_cast<std::int64_t>(inThreads) + kSpareFrames);
    const auto takes = [&](std::int64_t inFrames)
    {
        const auto count = static_cast<std::uint64_t>(inFrames);
        const std::uint64_t worked = std::min<std::uint64_t>(count, inThreads);
        return worked * inHand + (count - worked + 1) * waiting;
    };
    while (frames > kLeastWindow && takes(frames) > inBytes)
    {
        --frames;
    }
    return frames;
}

std::int64_t WindowFramesReadAhead(std::int64_t inWindow, std::uint32_t inThreads,
                                   const FrameWeight& inWeight)
{
    if (inWeight.mOnTheWay == 0)
    {
        return inWindow;
    }
    const auto fitting = static_cast<std::int64_t>(kMostReadAhead / inWeight.mOnTheWay);
    return std::min(inWindow, std::max<std::int64_t>(fitting, inThreads + kLeastReadAhead));
}

} // namespace vrender
