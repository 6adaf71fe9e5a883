// Memory that runs out at every allocation of a render of media, and of the service's start and end.

#include "MF/PixelFormats.h"
#include "Tests/Support/FailingMemory.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/RenderFrameTests.h"
#include "VideoRenderer.h"
#include "VideoSourcePrefetcher.h"
#include "norvik/logging/Logging.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

namespace
{

using namespace TestSupport;

class RenderServiceMemory : public RenderFrameTest
{
protected:
    RenderServiceMemory()
    {
        norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
        ML::VideoSourcePrefetcher::StartPrefetchers();
    }
    ~RenderServiceMemory() override { norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning); }

    ML::IRenderableNodePrefetchRef NewItem(std::int64_t inFrame) const
    {
        BE::FrameDescription format;
        format.mPixelFormat = MF::kPixelFormat_BGRA_4444_8u;
        format.mBounds = {0, 0, 8, 4};
        return ML::VideoSourcePrefetcher::CreateMediaPrefetcher(
            BE::IVideoSourceRef(mStream), format, norviktypes::TickTime::FromFrame(inFrame, mStream->mRate),
            {}, {}, u"stream", 0);
    }
    void SettleReads()
    {
        do
        {
            Settle();
        } while (mVideo->RunAll() + mImage->RunAll() != 0);
    }
    // The alarms of the test's executors need memory of their own, which never lacks.
    void MoveClock()
    {
        const long left = FailingMemory::Stop();
        Advance(5);
        FailingMemory::Resume(left);
    }
    static std::size_t ReadsUnderWay()
    {
        const ML::VideoSourcePrefetcher::TableSizes sizes = ML::VideoSourcePrefetcher::GetTableSizes();
        return sizes.mQueuedReads + sizes.mKeysBeingRead + sizes.mHoldersOfKeys + sizes.mRestingStreams;
    }
    std::int32_t Ask();
    void RenderOneOfMedia(long inNumber, bool inForEver);

    // A life of the service, with the allocation of this number failing; one of the results.
    static constexpr int kHadMemory = 0;
    static constexpr int kWrong = 1;
    static constexpr int kHasFailed = 2;
    int Live(long inNumber, bool inForEver);

    int mTold = 0;
    const FakeReadSourceRef mStream{new FakeReadSource};
};

std::int32_t RenderServiceMemory::Ask()
{
    return mRenderFrame->RenderWithCompletion(
        norviktypes::TickTime(5000), mRate, Segments(), mFormats, 1000,
        [this](const MF::IVideoFrameRef&, bool, int) { ++mTold; }, mFrame, nullptr, nullptr);
}

// Asks, reads and renders while memory runs out; then whoever was not refused is told, and so is the next one.
void RenderServiceMemory::RenderOneOfMedia(long inNumber, bool inForEver)
{
    SCOPED_TRACE("allocation " + std::to_string(inNumber) + (inForEver ? " and all after it" : ""));
    mTold = 0;
    mSequence->mNode->mItems = {NewItem(inNumber)};
    mSequence->mNode->mProducer = FakeProducerRef(new FakeProducer(78));
    FailingMemory::FailAt(inNumber, inForEver);
    const std::int32_t status = Ask();
    SettleReads();
    MoveClock();
    SettleReads();
    FailingMemory::Stop();
    mSequence->mNode->mItems = {NewItem(inNumber + 5000)};
    mSequence->mNode->mProducer = FakeProducerRef(new FakeProducer(77));
    EXPECT_EQ(Ask(), ML::kRenderFrameQueued);
    SettleReads();
    Advance(5);
    SettleReads();
    EXPECT_TRUE(status == ML::kRenderFrameQueued || status == ML::kRenderFrameOutOfMemory) << status;
    EXPECT_EQ(mTold, status == ML::kRenderFrameQueued ? 2 : 1);
    mSequence->mNode->mItems.clear();
    EXPECT_EQ(AtRest(), "");
    EXPECT_EQ(ReadsUnderWay(), 0U);
    EXPECT_EQ(AnnouncedKeys(), 0U);
    EmptyFrameCache();
}

TEST_F(RenderServiceMemory, FrameOfMediaEndsOnceWhateverAllocationFails)
{
    for (const bool forEver : {false, true})
    {
        long count = 0;
        do
        {
            RenderOneOfMedia(++count, forEver);
            ASSERT_LT(count, 2000);
        } while (FailingMemory::sHasFailed && !HasFailure());
        EXPECT_GT(count, 20) << "allocations of a frame of media";
    }
}

int RenderServiceMemory::Live(long inNumber, bool inForEver)
{
    mQueue.reset(); // so that the service builds its own
    const FakeProducerRef another(new FakeProducer(79));
    FailingMemory::FailAt(inNumber, inForEver);
    bool isUp = false;
    try
    {
        isUp = ML::VideoRenderer::Initialize() == 0;
    }
    catch (const std::bad_alloc&)
    {
        // Not begun: it can be begun again.
    }
    if (!isUp)
    {
        const long left = FailingMemory::Stop();
        isUp = ML::VideoRenderer::Initialize() == 0;
        FailingMemory::Resume(left);
    }
    const std::int32_t first = Ask();
    SettleReads();
    MoveClock();
    SettleReads();
    mSequence->mNode->mProducer = another;
    const std::int32_t last = Ask(); // is queued when the end comes
    const bool isDown = ML::VideoRenderer::Shutdown() == 0;
    FailingMemory::Stop();
    const bool hasFailed = FailingMemory::sHasFailed;
    const int asked = first == ML::kRenderFrameQueued ? 1 : 0;
    // An end that lacked memory may leave requests to who destroys them, and their reads with them.
    const bool isComplete = mTold == asked && ReadsUnderWay() == 0;
    const bool isFine = isUp && isDown && mTold <= asked && (hasFailed || isComplete) &&
                        (last == ML::kRenderFrameQueued || last == ML::kRenderFrameOutOfMemory);
    return !isFine ? kWrong : hasFailed ? kHasFailed : kHadMemory;
}

// Each life in a process of its own, as the service has only one; without threads, so that it may fork.
TEST_F(RenderServiceMemory, StartAndEndAreSafeWhateverAllocationFails)
{
    mSequence->mNode->mItems = {NewItem(1)};
    for (const bool forEver : {false, true})
    {
        int result = kHasFailed;
        long count = 0;
        while (result == kHasFailed)
        {
            ++count;
            const pid_t child = fork();
            if (child == 0)
            {
                std::_Exit(Live(count, forEver));
            }
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status)) << "allocation " << count << ": signal " << WTERMSIG(status);
            result = WEXITSTATUS(status);
            ASSERT_LT(count, 2000);
        }
        EXPECT_EQ(result, kHadMemory) << "allocation " << count << (forEver ? " and all after it" : "");
        EXPECT_GT(count, 20);
    }
}

} // namespace
