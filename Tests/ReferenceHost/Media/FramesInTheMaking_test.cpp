#include "ReferenceHost/Media/FramesInTheMaking.h"

#include "MF/PixelFormats.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "Tests/ReferenceHost/Media/FFmpegClips.h"
#include "Tests/Support/FrameTools.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <new>
#include <thread>
#include <vector>

namespace
{

using norviktypes::TickTime;

const norviktypes::FrameRate kRate = norviktypes::FrameRate::FromRational(25, 1);

// A stream that counts the frames it makes; a test may do something meanwhile.
class CountedSource final : public Media::VideoSourceBase
{
public:
    CountedSource() : VideoSourceBase(Traits()) {}

    std::atomic<int> mMade{0};
    std::atomic<bool> mHasAtHand{false};
    // Before the frame is made; a negative status or an exception is the answer.
    std::function<std::int32_t()> mMeanwhile;

protected:
    std::int32_t MakeFrame(std::int64_t, const BE::FrameDescription& inFormat, bool inAtOnce,
                           MF::IVideoFrameRef& outFrame) override
    {
        const std::int32_t status = mMeanwhile ? mMeanwhile() : BE::kSourceStatus_OK;
        if (inAtOnce && !mHasAtHand)
        {
            return Media::kSourceStatus_NotAtHand;
        }
        ++mMade;
        return status < 0 ? status
                          : VF::CreateVideoFrame(outFrame, inFormat.mPixelFormat, 8, 4,
                                                 inFormat.mPixelAspectRatio, true, false);
    }

private:
    static Media::StreamTraits Traits()
    {
        Media::StreamTraits traits;
        traits.mFrameRate = kRate;
        traits.mBounds = {0, 0, 8, 4};
        traits.mNativeFormats = {MF::kPixelFormat_BGRA_4444_8u};
        traits.mDuration = norviktypes::kTime_Max;
        traits.mContentID = TVK::Guid(0x4d616b, 0x696e67);
        return traits;
    }
};

class FramesInTheMaking : public testing::Test
{
protected:
    FramesInTheMaking() : mSource(new CountedSource) { TestSupport::EmptyFrameCache(); }
    ~FramesInTheMaking() override
    {
        EXPECT_EQ(Media::FramesInTheMaking().mFrames, 0u);
        TestSupport::EmptyFrameCache();
    }

    static BE::FrameDescription Format()
    {
        BE::FrameDescription format;
        format.mPixelFormat = MF::kPixelFormat_BGRA_4444_8u;
        format.mBounds = {0, 0, 8, 4};
        return format;
    }

    std::int32_t Ask(bool inAtOnce, MF::IVideoFrameRef& outFrame) const
    {
        return mSource->GetRenderedFrame(TickTime::FromFrame(3, kRate), Format(), {}, {}, inAtOnce, outFrame);
    }

    TVK::Guid Key() const { return mSource->GetFrameKey(TickTime::FromFrame(3, kRate), Format(), {}, {}); }

    static void WaitUntilWaiting(std::size_t inThreads)
    {
        while (Media::FramesInTheMaking().mWaiting < inThreads)
        {
            std::this_thread::yield();
        }
    }

    const TVK::InterfaceRef<CountedSource> mSource;
};

TEST_F(FramesInTheMaking, FrameThatNobodyAnnouncedBelongsToItsRender)
{
    MF::IVideoFrameRef first, second;
    EXPECT_EQ(Ask(false, first), 0);
    EXPECT_EQ(Ask(false, second), 0);
    EXPECT_EQ(mSource->mMade, 2);
    EXPECT_FALSE(first->IsFrozen());
    EXPECT_FALSE(VF::SharedVideoFrameCache::RetrieveFromCache(Key()));
}

TEST_F(FramesInTheMaking, AnnouncedFrameIsMadeOnceAndServedUnderItsKey)
{
    VF::SharedVideoFrameCache::RegisterDependencyOnFrame(Key());
    MF::IVideoFrameRef first, second, third;
    EXPECT_EQ(Ask(false, first), 0);
    EXPECT_EQ(Ask(false, second), 0);
    EXPECT_EQ(Ask(true, third), 0);
    EXPECT_EQ(mSource->mMade, 1);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first, third);
    EXPECT_TRUE(first->IsFrozen());
    EXPECT_EQ(VF::SharedVideoFrameCache::RetrieveFromCache(Key()), first);
    VF::SharedVideoFrameCache::UnregisterDependencyOnFrame(Key());
}

TEST_F(FramesInTheMaking, FrameInTheCacheIsNotMade)
{
    const MF::IVideoFrameRef stored = TestSupport::NewFrame(Format().mPixelFormat, 8, 4);
    VF::SharedVideoFrameCache::InsertIntoCache(stored, Key(), 0);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Ask(false, frame), 0);
    EXPECT_EQ(frame, stored);
    EXPECT_EQ(mSource->mMade, 0);
}

TEST_F(FramesInTheMaking, WhoWantsAFrameThatIsBeingMadeWaitsForIt)
{
    std::vector<std::thread> others;
    std::vector<MF::IVideoFrameRef> frames(4);
    mSource->mMeanwhile = [&]
    {
        for (std::size_t index = 1; index < frames.size(); ++index)
        {
            others.emplace_back([&, index] { EXPECT_EQ(Ask(false, frames[index]), 0); });
        }
        WaitUntilWaiting(3);
        return 0;
    };
    EXPECT_EQ(Ask(false, frames[0]), 0);
    for (std::thread& other : others)
    {
        other.join();
    }
    EXPECT_EQ(mSource->mMade, 1);
    EXPECT_TRUE(frames[0]->IsFrozen()) << "nobody may write to what others have";
    EXPECT_EQ(frames[0], frames[1]);
    EXPECT_EQ(frames[0], frames[2]);
    EXPECT_EQ(frames[0], frames[3]);
}

TEST_F(FramesInTheMaking, AtOnceNeitherMakesNorWaits)
{
    mSource->mMeanwhile = [&]
    {
        MF::IVideoFrameRef frame;
        EXPECT_EQ(Ask(true, frame), Media::kSourceStatus_NotAtHand) << "on this very thread";
        EXPECT_FALSE(frame);
        return 0;
    };
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Ask(false, frame), 0);
    mSource->mMeanwhile = {};
    EXPECT_EQ(Ask(true, frame), Media::kSourceStatus_NotAtHand);
    EXPECT_EQ(mSource->mMade, 1);
    mSource->mHasAtHand = true;
    EXPECT_EQ(Ask(true, frame), 0);
    EXPECT_TRUE(frame);
}

TEST_F(FramesInTheMaking, FailureIsThatOfAllWhoWaited)
{
    std::thread other;
    mSource->mMeanwhile = [&]
    {
        other = std::thread(
            [&]
            {
                MF::IVideoFrameRef frame;
                EXPECT_EQ(Ask(false, frame), Media::kSourceStatus_MissingFrame);
                EXPECT_FALSE(frame);
            });
        WaitUntilWaiting(1);
        return Media::kSourceStatus_MissingFrame;
    };
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Ask(false, frame), Media::kSourceStatus_MissingFrame);
    other.join();
    EXPECT_EQ(mSource->mMade, 1);
}

TEST_F(FramesInTheMaking, ExceptionIsTheMakersOwnAndTheNextOneMakesTheFrame)
{
    std::thread other;
    std::atomic<int> calls{0};
    MF::IVideoFrameRef frame, others;
    mSource->mMeanwhile = [&]() -> std::int32_t
    {
        if (calls++ > 0)
        {
            return 0;
        }
        other = std::thread([&] { EXPECT_EQ(Ask(false, others), 0); });
        WaitUntilWaiting(1);
        throw std::bad_alloc();
    };
    EXPECT_EQ(Ask(false, frame), BE::kSourceStatus_OutOfMemory);
    other.join();
    EXPECT_FALSE(frame);
    EXPECT_TRUE(others);
    EXPECT_EQ(mSource->mMade, 1);
}

TEST_F(FramesInTheMaking, WhoAskedAtOnceInVainLeavesTheFrameToWhoWaits)
{
    std::thread other;
    std::atomic<int> calls{0};
    MF::IVideoFrameRef frame, others;
    mSource->mMeanwhile = [&]() -> std::int32_t
    {
        if (calls++ > 0)
        {
            return 0;
        }
        other = std::thread([&] { EXPECT_EQ(Ask(false, others), 0); });
        WaitUntilWaiting(1);
        return 0;
    };
    EXPECT_EQ(Ask(true, frame), Media::kSourceStatus_NotAtHand);
    other.join();
    EXPECT_TRUE(others);
    EXPECT_EQ(mSource->mMade, 1);
}

TEST_F(FramesInTheMaking, PictureOfAFileIsDecodedAndConvertedOnce)
{
    const auto file = MediaTests::OpenClip("h264_b.mp4");
    ASSERT_TRUE(file);
    const BE::IVideoSourceRef source(new Media::FFmpegVideoSource(file, TVK::Guid(0x4f6e, 0x6365)));
    norviktypes::FrameRate rate;
    source->GetFrameRate(rate);
    constexpr std::uint64_t kFrames = 20;
    for (std::uint64_t n = 0; n < kFrames; ++n)
    {
        const TickTime time = TickTime::FromFrame(static_cast<std::int64_t>(n), rate);
        BE::FrameDescription format = Format();
        format.mBounds = {};
        const TVK::Guid key = source->GetFrameKey(time, format, {}, {});
        VF::SharedVideoFrameCache::RegisterDependencyOnFrame(key);
        MF::IVideoFrameRef read, polled, rendered;
        EXPECT_EQ(source->GetRenderedFrame(time, format, {}, {}, false, read), 0);
        EXPECT_EQ(source->GetRenderedFrame(time, format, {}, {}, true, polled), 0);
        EXPECT_EQ(source->GetRenderedFrame(time, format, {}, {}, false, rendered), 0);
        EXPECT_EQ(read, polled);
        EXPECT_EQ(read, rendered) << "one conversion";
        VF::SharedVideoFrameCache::UnregisterDependencyOnFrame(key);
    }
    EXPECT_EQ(file->Statistics().framesDelivered, kFrames);
}

} // namespace
