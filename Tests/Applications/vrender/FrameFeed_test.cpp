#include "Applications/vrender/FrameFeed.h"

#include "Applications/vrender/Watch.h"
#include "ML/SharedExecutors.h"
#include "ReferenceHost/Session/Clip.h"
#include "ReferenceHost/Session/HostSession.h"
#include "Tests/Applications/vrender/RunTool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

using namespace vrender;

namespace
{

constexpr std::int64_t kFrames = 50;

Session::HostSettings SmallHost()
{
    Session::HostSettings settings;
    settings.mMemoryBytes = std::uint64_t{64} << 20;
    return settings;
}

// The service has one life in a process. Watches are told of reads that were cancelled too late, so that they
// outlive them all.
struct World
{
    std::vector<std::unique_ptr<Watch>> mWatches;
    Session::HostSession mHost{SmallHost()};
    Session::RenderService mService;
};

World& TheWorld()
{
    static World sWorld;
    return sWorld;
}

std::unique_ptr<Session::Clip> Open(const std::string& inPath)
{
    TheWorld();
    Media::OpenError error;
    std::unique_ptr<Session::Clip> clip = Session::Clip::Open(inPath, {}, error);
    EXPECT_TRUE(clip) << error.mText;
    return clip;
}

Watch& NewWatch()
{
    TheWorld().mWatches.push_back(std::make_unique<Watch>(0));
    return *TheWorld().mWatches.back();
}

// No read ends until it's let go.
class HeldReads final : public Foundation::IWorkObserver
{
public:
    HeldReads() { Foundation::SetWorkObserver(this); }
    ~HeldReads() override
    {
        LetGo();
        ML::sVideoSourcePrefetcherQueue->WaitForTermination();
        Foundation::SetWorkObserver(nullptr);
    }
    HeldReads(const HeldReads&) = delete;
    HeldReads& operator=(const HeldReads&) = delete;

    void LetGo() noexcept
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mIsHeld = false;
        mChanged.notify_all();
    }

    void OnWork(const Foundation::Work& inWork) noexcept override
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [&] { return inWork.mKind != Foundation::WorkKind::kRead || !mIsHeld; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsHeld = true;
};

class Feed : public testing::Test
{
protected:
    ~Feed() override { ML::sVideoSourcePrefetcherQueue->WaitForTermination(); }

    FrameFeed::Settings SettingsOf(std::int64_t inWindow) const
    {
        FrameFeed::Settings settings;
        settings.mService = &TheWorld().mService;
        settings.mMaterial = mClip.get();
        settings.mRequest = {160, 90, norviktypes::kPixelFormat_BGRA_4444_8u,
                             norviktypes::kRenderQuality_High};
        settings.mCount = kFrames;
        settings.mWindow = inWindow;
        settings.mTimeOf = [this](std::int64_t inIndex) { return mClip->FrameStart(inIndex); };
        return settings;
    }

    void ExpectAllAnswered(std::uint64_t inOrders) const
    {
        const RunCounts counts = mWatch.Counts();
        EXPECT_EQ(counts.mQueued, inOrders);
        EXPECT_EQ(counts.mFinished + counts.mCancelled, inOrders);
    }

    const std::unique_ptr<Session::Clip> mClip = Open(TestSupport::SmallMovie());
    Watch& mWatch = NewWatch();
};

} // namespace

TEST_F(Feed, GivesEachFrameToOneThread)
{
    std::vector<std::atomic<int>> taken(kFrames);
    {
        FrameFeed feed(SettingsOf(7));
        const auto work = [&]
        {
            FrameFeed::Frame frame;
            while (feed.Take(frame))
            {
                ++taken[static_cast<std::size_t>(frame.mIndex)];
                frame.mHold.reset();
                feed.Advance();
            }
        };
        std::thread other(work);
        work();
        other.join();
    }
    for (const std::atomic<int>& count : taken)
    {
        EXPECT_EQ(count, 1);
    }
    ExpectAllAnswered(kFrames);
}

TEST_F(Feed, AFrameCanBeTakenByItsIndex)
{
    FrameFeed feed(SettingsOf(5));
    FrameFeed::Frame frame;
    for (const std::int64_t index : {3, 0, 4})
    {
        ASSERT_TRUE(feed.TakeOne(index, frame));
        EXPECT_EQ(frame.mIndex, index);
        feed.Advance();
    }
    ASSERT_TRUE(feed.TakeOne(6, frame));
    EXPECT_EQ(frame.mIndex, 6);
    feed.Stop();
    EXPECT_FALSE(feed.TakeOne(1, frame));
}

TEST_F(Feed, OrdersNoFurtherThanItsWindow)
{
    FrameFeed feed(SettingsOf(5));
    FrameFeed::Frame frame;
    for (int i = 0; i < 5; ++i)
    {
        ASSERT_TRUE(feed.Take(frame));
        EXPECT_LT(frame.mIndex, 5);
    }
    EXPECT_EQ(mWatch.Counts().mQueued, 5u);
    feed.Advance();
    ASSERT_TRUE(feed.Take(frame));
    EXPECT_EQ(frame.mIndex, 5);
    EXPECT_EQ(mWatch.Counts().mQueued, 6u);
}

TEST_F(Feed, TheEarliestOfThoseThatAreReadIsTakenFirst)
{
    const auto waitForAnswers = [&](std::uint64_t inCount)
    {
        while (mWatch.Counts().mFinished < inCount)
        {
            std::this_thread::yield();
        }
    };
    FrameFeed feed(SettingsOf(5));
    waitForAnswers(5);
    // Answers come one at a time: with the sixth, the first five are in the feed.
    feed.Advance();
    waitForAnswers(6);
    for (std::int64_t i = 0; i < 5; ++i)
    {
        FrameFeed::Frame frame;
        ASSERT_TRUE(feed.Take(frame));
        EXPECT_EQ(frame.mIndex, i);
    }
}

TEST_F(Feed, StoppedItCancelsWhatIsOpen)
{
    // Whatever reads a frame is held up before it's told to anybody.
    HeldReads held;
    FrameFeed::Settings settings = SettingsOf(kFrames);
    // No other test, and no repetition, has left frames of this size in the cache.
    static std::uint32_t sWidth = 32;
    settings.mRequest.mWidth = ++sWidth;
    FrameFeed feed(settings);
    feed.Stop();
    // All but those that were found in the cache as a read that is held up came past them.
    EXPECT_GE(mWatch.Counts().mCancelled, 1u);
    held.LetGo();
}

TEST_F(Feed, StoppedInTheMiddleItGivesNothingAndWaitsForItsOrders)
{
    {
        FrameFeed feed(SettingsOf(kFrames));
        FrameFeed::Frame frame;
        ASSERT_TRUE(feed.Take(frame));
        feed.Stop();
        EXPECT_FALSE(feed.Take(frame));
        feed.Advance();
    }
    ExpectAllAnswered(kFrames);
}

TEST_F(Feed, AnOrderThatCannotBeMadeEndsTheFeed)
{
    FrameFeed::Settings settings = SettingsOf(10);
    settings.mTimeOf = [this](std::int64_t inIndex)
    { return inIndex < 4 ? mClip->FrameStart(inIndex) : throw std::runtime_error("no time"); };
    EXPECT_THROW(FrameFeed feed(settings), std::runtime_error);
    ExpectAllAnswered(4);
}

// However small the cache: what was read for an order is there when it is rendered.
TEST_F(Feed, WhatWasReadIsRenderedWithoutAnotherRead)
{
    constexpr std::size_t kMany = 20; // three times as many as the cache holds
    const std::unique_ptr<Session::Clip> clip = Open(TestSupport::LongMovie());
    FrameFeed::Settings settings = SettingsOf(kMany);
    settings.mMaterial = clip.get();
    settings.mRequest.mWidth = 640;
    settings.mRequest.mHeight = 360;
    settings.mCount = kMany;
    FrameFeed feed(settings);
    std::vector<FrameFeed::Frame> frames(kMany);
    for (FrameFeed::Frame& frame : frames)
    {
        ASSERT_TRUE(feed.Take(frame));
    }
    for (const FrameFeed::Frame& frame : frames)
    {
        clip->Render(clip->FrameStart(frame.mIndex), settings.mRequest);
    }
    EXPECT_EQ(mWatch.Counts().Of(Foundation::WorkKind::kRead).mTimes, kMany);
}

namespace
{

// Makes nothing, and remembers what it was told.
class ToldMaterial final : public Session::Material
{
public:
    const Media::MediaFacts& Facts() const noexcept override { return mFacts; }
    const norviktypes::FrameRate& FrameRate() const noexcept override { return mRate; }
    const norviktypes::TickTime& Duration() const noexcept override { return norviktypes::kTime_Max; }
    norviktypes::TickTime FrameStart(std::int64_t inNumber) const override
    {
        return norviktypes::TickTime::FromFrame(inNumber, mRate);
    }
    std::int64_t FrameAt(const norviktypes::TickTime& inTime) const override
    {
        return inTime.ToFrame64(mRate);
    }
    Session::Workings WorkingsOf(const Session::RenderRequest&) const override { return {}; }
    void Expect(std::vector<MF::TimeRange> inTimes) const override { mTold = std::move(inTimes); }
    Session::OrderID Order(const norviktypes::TickTime&, const Session::RenderRequest&, Session::Urgency,
                           const Session::ReadAnswer&) const override
    {
        return 0;
    }
    MF::IVideoFrameRef Render(const norviktypes::TickTime&, const Session::RenderRequest&,
                              const Session::ReadHold&) const override
    {
        return {};
    }
    std::string FailureAt(const norviktypes::TickTime&) const override { return {}; }

    mutable std::vector<MF::TimeRange> mTold;

private:
    const Media::MediaFacts mFacts;
    const norviktypes::FrameRate mRate = norviktypes::FrameRate::FromRational(25, 1);
};

} // namespace

TEST(FeedOfToldMaterial, TellsTheTimesOfAListAndTheReachOfALongOne)
{
    const norviktypes::TickTime tick(1);
    const ToldMaterial material;
    FrameFeed::Settings settings;
    settings.mMaterial = &material;
    settings.mWindow = 0;
    for (const std::int64_t count : {1, 3, 1024, 1025, 2000})
    {
        settings.mCount = count;
        // From the last one to the first.
        const auto frameOf = [count](std::int64_t inIndex) { return 10 + 2 * (count - 1 - inIndex); };
        settings.mTimeOf = [&](std::int64_t inIndex) { return material.FrameStart(frameOf(inIndex)); };
        const FrameFeed feed(settings);
        if (count > 1024)
        {
            ASSERT_EQ(material.mTold.size(), 1u);
            EXPECT_EQ(material.mTold[0],
                      (MF::TimeRange{material.FrameStart(10), material.FrameStart(frameOf(0)) + tick}));
            continue;
        }
        ASSERT_EQ(material.mTold.size(), static_cast<std::size_t>(count));
        for (std::int64_t i = 0; i < count; ++i)
        {
            const norviktypes::TickTime time = material.FrameStart(frameOf(i));
            EXPECT_EQ(material.mTold[static_cast<std::size_t>(i)], (MF::TimeRange{time, time + tick}));
        }
    }
}
