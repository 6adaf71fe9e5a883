#include "Applications/vrender/Watch.h"

#include <gtest/gtest.h>

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
    const std::vector<Moment> moments = watch.TakeMoments();
    ASSERT_EQ(moments.size(), 2u);
    EXPECT_TRUE(moments[0].mHasFailed);
    EXPECT_EQ(moments[1].mValue, 5);
    EXPECT_FALSE(moments[1].mHasFailed);
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
