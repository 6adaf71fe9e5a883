#include "RenderableSources.h"

#include "Tests/Support/Fakes/FakeDataCache.h"
#include "Tests/VideoRenderer/PrefetchTests.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_DiskCache.h"
#include "VideoSourcePrefetcher.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using TestSupport::FakeDataCache;
using TestSupport::FakeReadSourceRef;

// The items that sources give out, as far as they are told more than which frame it is.
class SourceItems : public TestSupport::PrefetchTest
{
protected:
    SourceItems() : mCache(std::make_shared<FakeDataCache>()), mStream(NewSource())
    {
        ML::VideoSourcePrefetcher::UseDiskCache(mCache);
    }
    ~SourceItems() override { ML::VideoSourcePrefetcher::CloseDiskCache(); }

    ML::IRenderableNodePrefetchRef ItemOf(const ML::IRenderableSourceRef& inSource, std::uint32_t inFlags)
    {
        ML::CutlistRenderParams params = RenderParams(8, 4);
        params.mRenderFlags = inFlags;
        std::vector<ML::IRenderableNodePrefetchRef> items;
        inSource->CollectPrefetchItems(MF::FrameTime(TimeOf(5)), params, items);
        EXPECT_EQ(items.size(), 1u);
        return items.empty() ? ML::IRenderableNodePrefetchRef() : items.front();
    }

    ML::IRenderableSourceRef VideoSource() const
    {
        return ML::CreateRenderableSource(
            BE::IVideoSourceRef(mStream), {}, norviktypes::kAlphaChannel_Straight, {}, false, false,
            mStream->mRate, norviktypes::kFieldType_FromSource, {}, {}, u"tape 7");
    }

    ML::IRenderableSourceRef GetVideoSource() const
    {
        mStream->mRendersFrames = false;
        return ML::CreateRenderableGetVideoSource(
            BE::IVideoSourceRef(mStream), {}, norviktypes::kTime_Zero, norviktypes::kTime_Max, {},
            norviktypes::kAlphaChannel_Straight, false, false, false, 1.0, mStream->mRate, u"tape 8");
    }

    std::shared_ptr<FakeDataCache> mCache;
    const FakeReadSourceRef mStream;
};

TEST_F(SourceItems, MediaHasItsNameInTheLog)
{
    TestSupport::LogCatcher log;
    mStream->mIsAsync = true;
    mStream->mAsyncAlive = false;
    const auto item = ItemOf(VideoSource(), 0);
    item->BeginPrefetch();
    EXPECT_TRUE(item->ContinueWaitingForPrefetch(15.1));
    ASSERT_EQ(log.mMessages.size(), 1u);
    EXPECT_EQ(boost::any_cast<norvik::WString>(log.mMessages.front().mFields.at(0).second), u"tape 7");
    item->CancelPrefetch();
}

TEST_F(SourceItems, OnlyRequestsOfLowPriorityReadFromTheDisk)
{
    const auto urgent = ItemOf(VideoSource(), ML::kRenderFlag_CacheAlways);
    urgent->BeginPrefetch();
    EXPECT_TRUE(mCache->mAsked.empty());
    urgent->CancelPrefetch();
    const auto patient = ItemOf(VideoSource(), ML::kRenderFlag_LowPriority);
    patient->BeginPrefetch();
    EXPECT_EQ(mCache->mAsked.size(), 1u);
    patient->CancelPrefetch();
}

TEST_F(SourceItems, FilledFramesOfLowPriorityAreReadFromTheDiskAsWell)
{
    const auto urgent = ItemOf(GetVideoSource(), ML::kRenderFlag_CacheAlways);
    urgent->BeginPrefetch();
    EXPECT_TRUE(mCache->mAsked.empty());
    urgent->CancelPrefetch();
    const auto patient = ItemOf(GetVideoSource(), ML::kRenderFlag_LowPriority);
    patient->BeginPrefetch();
    EXPECT_EQ(mCache->mAsked.size(), 1u);
    patient->CancelPrefetch();
}

} // namespace
