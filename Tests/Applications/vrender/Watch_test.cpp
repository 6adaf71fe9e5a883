#include "Applications/vrender/Watch.h"

#include <gtest/gtest.h>

#include <thread>

#include <pthread.h>

using namespace vrender;
using Foundation::WorkKind;
using Foundation::WorkSpan;
using ML::RenderEventKind;

namespace
{

void Tell(RenderEventKind inKind, std::uint32_t inRequest, std::int64_t inValue = 0)
{
    ML::ObserveRender(inKind, inRequest, TVK::Guid(), inValue);
}

} // namespace

TEST(Watch, CountsEventsAndFollowsRequests)
{
    Watch watch(100);
    Tell(RenderEventKind::kQueued, 1);
    Tell(RenderEventKind::kQueued, 2);
    Tell(RenderEventKind::kPrefetchBegun, 1, 3);
    Tell(RenderEventKind::kPrefetchBegun, 2, 1);
    Tell(RenderEventKind::kReady, 1);
    Tell(RenderEventKind::kWaitingForMemory, 1, 7);
    Tell(RenderEventKind::kAdmitted, 1, 7);
    Tell(RenderEventKind::kMerged, 2);
    Tell(RenderEventKind::kFinished, 1);
    Tell(RenderEventKind::kCancelled, 2);
    Tell(RenderEventKind::kReady, 3); // began before the watch
    const RunCounts counts = watch.Counts();
    EXPECT_EQ(counts.mQueued, 2u);
    EXPECT_EQ(counts.mFinished, 1u);
    EXPECT_EQ(counts.mCancelled, 1u);
    EXPECT_EQ(counts.mMerged, 1u);
    EXPECT_EQ(counts.mWaitedForMemory, 1u);
    EXPECT_EQ(counts.mMostOpen, 2u);
    EXPECT_EQ(counts.mMostReading, 2u);
    EXPECT_EQ(counts.mMostUnits, 7u);
    const std::vector<Moment> moments = watch.TakeMoments();
    ASSERT_EQ(moments.size(), 11u);
    EXPECT_EQ(moments[6].mUnits, 7u);
    EXPECT_EQ(moments[10].mOpen, 0u);
    EXPECT_EQ(moments[10].mReading, 0u);
    EXPECT_EQ(moments[10].mUnits, 0u);
    EXPECT_TRUE(watch.TakeMoments().empty());
}

TEST(Watch, CountsWhatTheServiceDidNotRender)
{
    Watch watch(0);
    Tell(RenderEventKind::kTimedOut, 1);
    Tell(RenderEventKind::kCacheHit, 1);
    Tell(RenderEventKind::kCacheHit, 2);
    EXPECT_EQ(watch.Counts().mTimedOut, 1u);
    EXPECT_EQ(watch.Counts().mCacheHits, 2u);
    EXPECT_EQ(watch.Counts().mDroppedMoments, 0u);
    EXPECT_TRUE(watch.TakeMoments().empty());
}

TEST(Watch, ARequestIsReadUntilItIsReadyOrOutOfTime)
{
    Watch watch(100);
    for (const RenderEventKind kind :
         {RenderEventKind::kQueued, RenderEventKind::kPrefetchBegun, RenderEventKind::kPrefetchBegun,
          RenderEventKind::kTimedOut, RenderEventKind::kPrefetchBegun, RenderEventKind::kReady})
    {
        Tell(kind, 1);
    }
    std::vector<std::uint32_t> reading;
    for (const Moment& moment : watch.TakeMoments())
    {
        reading.push_back(moment.mReading);
    }
    EXPECT_EQ(reading, (std::vector<std::uint32_t>{0, 1, 1, 0, 1, 0}));
    EXPECT_EQ(watch.Counts().mMostReading, 1u);
}

TEST(Watch, ARenderOfTheServiceIsNotedWhereItBegan)
{
    Watch watch(100);
    const std::int64_t before = watch.Now();
    ML::ObserveRender(RenderEventKind::kRendered, 7, TVK::Guid(), 1, 1000);
    const std::int64_t after = watch.Now();
    const std::vector<Moment> moments = watch.TakeMoments();
    ASSERT_EQ(moments.size(), 1u);
    EXPECT_EQ(moments[0].mRequest, 7u);
    EXPECT_EQ(moments[0].mDuration, 1000);
    EXPECT_GE(moments[0].mWhen + 1000, before);
    EXPECT_LE(moments[0].mWhen + 1000, after);
}

TEST(Watch, NamesTheThreadOfEachMoment)
{
    Watch watch(100);
    Tell(RenderEventKind::kQueued, 1);
    std::thread other(
        []
        {
            pthread_setname_np(pthread_self(), "another");
            Tell(RenderEventKind::kKeyed, 1);
            Tell(RenderEventKind::kPrefetchBegun, 1);
        });
    other.join();
    Tell(RenderEventKind::kReady, 1);
    const std::vector<Moment> moments = watch.TakeMoments();
    ASSERT_EQ(moments.size(), 4u);
    EXPECT_EQ(moments[0].mThread, moments[3].mThread);
    EXPECT_EQ(moments[1].mThread, moments[2].mThread);
    EXPECT_NE(moments[0].mThread, moments[1].mThread);
    ASSERT_EQ(watch.ThreadNames().size(), 2u);
    EXPECT_EQ(watch.ThreadNames()[moments[1].mThread], "another");
}

TEST(Watch, SamplesProcessorsFromTimeToTime)
{
    constexpr std::int64_t kLeastInterval = 20'000'000;
    Watch watch(100);
    std::vector<Moment> samples;
    while (samples.size() < 3)
    {
        watch.SampleProcessors();
        for (const Moment& moment : watch.TakeMoments())
        {
            EXPECT_EQ(moment.mKind, Moment::Kind::kProcessors);
            samples.push_back(moment);
        }
    }
    for (std::size_t i = 1; i < samples.size(); ++i)
    {
        EXPECT_GE(samples[i].mWhen - samples[i - 1].mWhen, kLeastInterval);
        EXPECT_GT(samples[i].mValue, samples[i - 1].mValue);
    }
}

TEST(Watch, CountsWorkByItsOutcome)
{
    Watch watch(100);
    {
        WorkSpan good(WorkKind::kDecode, 5);
        good.Succeed();
        WorkSpan bad(WorkKind::kDecode);
        WorkSpan nothing(WorkKind::kDecode);
        nothing.Forget();
    }
    EXPECT_EQ(watch.Counts().Of(WorkKind::kDecode).mTimes, 1u);
    EXPECT_EQ(watch.Counts().Of(WorkKind::kDecode).mFailures, 1u);
    EXPECT_EQ(watch.Counts().Of(WorkKind::kRead).mTimes, 0u);
    const std::vector<Moment> moments = watch.TakeMoments();
    ASSERT_EQ(moments.size(), 2u);
    EXPECT_TRUE(moments[0].mHasFailed);
    EXPECT_EQ(moments[1].mValue, 5);
    EXPECT_FALSE(moments[1].mHasFailed);
    EXPECT_LE(moments[1].mWhen, moments[0].mWhen);
    EXPECT_LE(moments[0].mWhen + moments[0].mDuration, moments[1].mWhen + moments[1].mDuration);
    EXPECT_EQ(watch.Counts().Of(WorkKind::kDecode).mNanoseconds, moments[0].mDuration + moments[1].mDuration);
}

TEST(Watch, KeepsNoMoreThanItMayAndCountsTheRest)
{
    Watch watch(4);
    EXPECT_FALSE(watch.IsHalfFull());
    for (std::uint32_t i = 0; i < 10; ++i)
    {
        Tell(RenderEventKind::kQueued, i);
    }
    EXPECT_TRUE(watch.IsHalfFull());
    EXPECT_EQ(watch.Counts().mDroppedMoments, 6u);
    EXPECT_EQ(watch.TakeMoments().size(), 4u);
    Tell(RenderEventKind::kQueued, 11);
    EXPECT_EQ(watch.TakeMoments().size(), 1u);
    EXPECT_EQ(watch.Counts().mQueued, 11u);
}

TEST(Watch, HearsNothingAfterItsEnd)
{
    Watch watch(4);
    {
        WorkSpan span(WorkKind::kWrite);
    }
    watch.Detach();
    Tell(RenderEventKind::kQueued, 1);
    {
        WorkSpan span(WorkKind::kWrite);
    }
    EXPECT_EQ(watch.Counts().mQueued, 0u);
    EXPECT_EQ(watch.Counts().Of(WorkKind::kWrite).mFailures, 1u);
}
