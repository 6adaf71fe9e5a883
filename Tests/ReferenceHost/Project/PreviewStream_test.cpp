#include "ReferenceHost/Project/PreviewStream.h"

#include "TVK/ContractError.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"

#include <gtest/gtest.h>

namespace
{

using norviktypes::TickTime;

struct Media
{
    TVK::InterfaceRef<TestSupport::FakeVideoSource> mSource{new TestSupport::FakeVideoSource};
    TestSupport::FakeMediaInfo* mInfo = new TestSupport::FakeMediaInfo;
    BE::IMediaInfoRef mMedia{mInfo};

    Media()
    {
        mSource->mBounds = {0, 0, 320, 180};
        mSource->mDuration = TickTime(5000);
        mInfo->mStream = MF::ISourceRef(mSource.get());
    }
};

TEST(PreviewStream, TellsWhatItsMediaTells)
{
    const Media media;
    const BE::IPreviewStreamRef stream = Project::CreatePreviewStream(media.mMedia, true);
    BE::PreviewStreamDescription description;
    stream->Describe(description);
    EXPECT_EQ(description.mMediaInstance, u"/media/clip.mov");
    EXPECT_EQ(description.mWidth, 320);
    EXPECT_EQ(description.mHeight, 180);
    EXPECT_EQ(description.mFrameRate, media.mSource->mRate);
    EXPECT_TRUE(description.mIsDraft);
    EXPECT_FALSE(description.mIsOffline);
    EXPECT_EQ(stream->GetDuration(), TickTime(5000));
    EXPECT_TRUE(stream->GetVideoSource());
}

TEST(PreviewStream, ChangedContentIsAnotherState)
{
    const Media media;
    const BE::IPreviewStreamRef stream = Project::CreatePreviewStream(media.mMedia);
    BE::PreviewStreamDescription before;
    BE::PreviewStreamDescription after;
    stream->Describe(before);
    media.mInfo->mContentHash = "other";
    stream->Describe(after);
    EXPECT_FALSE(before.mModificationState == after.mModificationState);
}

TEST(PreviewStream, OfMediaThatIsOnItsWayIsPending)
{
    const Media media;
    media.mInfo->mAvailability = BE::MediaAvailability::kPending;
    BE::PreviewStreamDescription description;
    Project::CreatePreviewStream(media.mMedia)->Describe(description);
    EXPECT_TRUE(description.mIsOffline);
    EXPECT_TRUE(description.mIsPending);
}

TEST(PreviewStream, NeedsMedia)
{
    EXPECT_THROW(Project::CreatePreviewStream({}), norvik::config::Error);
}

} // namespace
