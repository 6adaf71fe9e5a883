#include "Tests/VideoRenderer/PrefetchTests.h"

#include "MF/PixelFormats.h"
#include "Tests/Support/FrameTools.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_Wake.h"
#include "norvik/debug/Debug.h"

#include <cstring>

namespace TestSupport
{

namespace Prefetcher = ML::VideoSourcePrefetcher;

LogCatcher::LogCatcher()
{
    norvik::logging::SetLogSink([this](const boost::shared_ptr<norvik::logging::LogMessage>& inMessage)
                                { mMessages.push_back(*inMessage); },
                                true);
}

LogCatcher::~LogCatcher()
{
    norvik::debug::SetTraceLevel("norvik.StructuredLogging", 0);
    norvik::logging::SetLogSink({});
}

PrefetchTest::PrefetchTest()
    : mVideo(boost::make_shared<ManualExecutor>())
    , mImage(boost::make_shared<ManualExecutor>())
    , mRender(boost::make_shared<ManualExecutor>())
{
    EmptyFrameCache();
    ML::sVideoSourcePrefetcherQueue = mVideo;
    ML::sImageSourcePrefetcherQueue = mImage;
    ML::sNormalPriorityRenderQueue = mRender;
    Prefetcher::SetWakeFunction(
        [this]
        {
            EXPECT_TRUE(HoldsNoLock()) << norvik::threads::DumpLocks();
            ++mWakeUps;
        });
    Prefetcher::StartPrefetchers();
}

PrefetchTest::~PrefetchTest()
{
    mFrame.reset();
    const Prefetcher::TableSizes sizes = Prefetcher::GetTableSizes();
    EXPECT_EQ(sizes.mQueuedReads, 0u) << "reads that nobody waits for";
    EXPECT_EQ(sizes.mKeysBeingRead, 0u);
    EXPECT_EQ(sizes.mHoldersOfKeys, 0u);
    EXPECT_EQ(sizes.mRestingStreams, 0u);
    EXPECT_EQ(AnnouncedKeys(), 0u) << "interest that was not withdrawn";
    Prefetcher::StopPrefetchers();
    Prefetcher::SetWakeFunction({});
    ML::sVideoSourcePrefetcherQueue.reset();
    ML::sImageSourcePrefetcherQueue.reset();
    ML::sNormalPriorityRenderQueue.reset();
    EmptyFrameCache();
}

FakeReadSourceRef PrefetchTest::NewSource(std::uint64_t inID)
{
    FakeReadSourceRef source(new FakeReadSource);
    source->mID = inID;
    return source;
}

norviktypes::TickTime PrefetchTest::TimeOf(std::int64_t inFrame)
{
    return norviktypes::TickTime::FromFrame(inFrame, norviktypes::FrameRate::FromRational(25, 1));
}

BE::FrameDescription PrefetchTest::Format()
{
    BE::FrameDescription format;
    format.mPixelFormat = MF::kPixelFormat_BGRA_4444_8u;
    format.mBounds = {0, 0, 8, 4};
    return format;
}

ML::IRenderableNodePrefetchRef PrefetchTest::NewItem(const FakeReadSourceRef& inSource, std::int64_t inFrame,
                                                     std::uint32_t inFlags)
{
    return Prefetcher::CreateMediaPrefetcher(BE::IVideoSourceRef(inSource), Format(), TimeOf(inFrame), {}, {},
                                             u"media", inFlags);
}

ML::IRenderableNodePrefetchRef PrefetchTest::NewFillItem(const FakeReadSourceRef& inSource,
                                                         std::int64_t inFrame,
                                                         const Prefetcher::ReadParameters& inParameters,
                                                         std::uint32_t inFlags)
{
    return Prefetcher::CreateParameterizedMediaPrefetcher(
        BE::IVideoSourceRef(inSource), Format(), TimeOf(inFrame), {}, {}, u"media", inParameters, inFlags);
}

ML::IRenderableNodePrefetchRef PrefetchTest::Begin(const FakeReadSourceRef& inSource, std::int64_t inFrame,
                                                   std::uint32_t inFlags)
{
    const ML::IRenderableNodePrefetchRef item = NewItem(inSource, inFrame, inFlags);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    return item;
}

void PrefetchTest::Read(const FakeReadSourceRef& inSource, std::int64_t inFrame,
                        const Prefetcher::ReadCompletion& inCompletion)
{
    Prefetcher::Prefetch(TimeOf(inFrame), BE::IVideoSourceRef(inSource), Format(), {}, {},
                         inSource->KeyOf(inFrame), inCompletion, {});
}

std::int32_t PrefetchTest::Ask(const ML::IRenderableNodePrefetchRef& inItem)
{
    mFrame.reset();
    const std::int32_t status = inItem->GetPrefetchResult(mFrame);
    mFrameNumber = NumberOf(mFrame);
    return status;
}

bool PrefetchTest::HoldsNoLock()
{
    return norvik::threads::DumpLocks().empty();
}

std::int64_t PrefetchTest::NumberOf(const MF::IVideoFrameRef& inFrame)
{
    std::int32_t number = -1;
    if (inFrame)
    {
        std::memcpy(&number, RowOf(inFrame, 0), sizeof(number));
    }
    return number;
}

bool PrefetchTest::IsCached(const TVK::Guid& inKey)
{
    return static_cast<bool>(VF::SharedVideoFrameCache::RetrieveFromCache(inKey));
}

} // namespace TestSupport
