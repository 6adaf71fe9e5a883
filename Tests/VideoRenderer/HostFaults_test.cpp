#include "Tests/VideoRenderer/HostFaults.h"

#include "ML/SharedExecutors.h"
#include "TVK/Stations.h"
#include "Tests/Support/Scale.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"
#include "VideoRenderer.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_DiskCache.h"
#include "norvik/logging/Logging.h"

#include <fmt/format.h>

#include <algorithm>

namespace
{

constexpr std::int64_t kPatience = 16000; // milliseconds; longer than a read is waited for
constexpr std::size_t kNever = 100000;
constexpr unsigned long kMostOfOneName = 8;
constexpr std::int32_t kNoFrame = -70;
constexpr norviktypes::PixelFormat kFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
constexpr norviktypes::PixelFormat kDeepFormat = norviktypes::kPixelFormat_BGRA_4444_32f;

// The clock of render timers, in milliseconds; it jumps, while executors step.
std::int64_t sNow = 1000;

std::int64_t Counter()
{
    return sNow * 1000000;
}

bool Frequency(std::int64_t& outFrequency)
{
    outFrequency = 1000000000;
    return true;
}

std::uint32_t Ticks()
{
    return static_cast<std::uint32_t>(sNow);
}

} // namespace

namespace TestSupport
{

HostFaults::HostFaults() : mHealthy(new HostSequence(HostNodeRef(new HostNode(1, mHealthyStream))))
{
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
    os::SetClockFunctions({&Counter, &Frequency, &Ticks, nullptr});
    mQueue.reset();
    ML::sNormalPriorityRenderQueue = boost::make_shared<HostExecutor>("normal", mNormal);
    ML::sLowPriorityRenderQueue = boost::make_shared<HostExecutor>("low", mLow);
    ML::sVideoSourcePrefetcherQueue = boost::make_shared<HostExecutor>("video", mVideo);
    ML::sImageSourcePrefetcherQueue = boost::make_shared<HostExecutor>("image", mImage);
    ML::RenderFrameQueue::Impl::SetExecutor(boost::make_shared<HostExecutor>("passes", mPasses));
    mQueue = ML::RenderFrameQueue::Create();
    ML::VideoSourcePrefetcher::StartPrefetchers();
}

HostFaults::~HostFaults()
{
    ML::VideoSourcePrefetcher::CloseDiskCache();
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
}

void HostFaults::SettleAll()
{
    std::size_t done = 0;
    do
    {
        done = mPasses->RunAll() + mNormal->RunAll() + mLow->RunAll() + mVideo->RunAll() + mImage->RunAll();
        while (mDataCache && mDataCache->mInner.Pending() != 0)
        {
            try
            {
                mDataCache->mInner.FinishRead(); // calls back
            }
            catch (...)
            {
                // The cache's own thread would have caught it.
            }
            ++done;
        }
    } while (done != 0);
}

void HostFaults::OutwaitReads()
{
    sNow += kPatience;
    for (int polls = 0; polls < 3; ++polls)
    {
        mPasses->Advance(5);
        SettleAll();
    }
}

void HostFaults::Ask(Victim& ioVictim, const std::function<void()>& inCall) const
{
    try
    {
        inCall();
    }
    catch (...)
    {
        ioVictim.mThrown = "thrown";
    }
}

// Asks a render frame for the victim's frame.
void HostFaults::Render(Victim& ioVictim)
{
    BeginRun();
    Ask(ioVictim,
        [&]
        {
            MF::IVideoFrameRef frame;
            const std::int32_t status = ioVictim.mRenderFrame->Render(
                norviktypes::TickTime(1000), norviktypes::FrameRate(1000),
                MF::IRenderableCutlistProviderRef(ioVictim.mSequence.get()), ioVictim.mFormats, false,
                ioVictim.mPriority, 0, frame, &ioVictim.mID);
            if (status != ML::kRenderFrameQueued)
            {
                ioVictim.mThrown = status == ML::kRenderFrameOutOfMemory ? "refused" : "unexpected";
            }
        });
}

std::string HostFaults::Outcome(const Victim& inVictim)
{
    const std::vector<std::int32_t>& statuses = inVictim.mClient->mStatuses;
    if (statuses.size() != 1)
    {
        return statuses.empty() && !inVictim.mThrown.empty()
                   ? inVictim.mThrown
                   : fmt::format("told {} times{}", statuses.size(), inVictim.mThrown);
    }
    // Who was told may have an exception besides: that of a client who hears of its cancel.
    const std::string besides = inVictim.mThrown.empty() ? "" : "+" + inVictim.mThrown;
    switch (statuses[0])
    {
    case 1: return "cancelled" + besides;
    case ML::kRenderFrameFailed: return "failed" + besides;
    case ML::kRenderFrameOutOfMemory: return "memory" + besides;
    case ML::kRenderFramePrefetchFailed: return "unread" + besides;
    case HostCalls::kStatusOfFault: return "status" + besides;
    case HostCalls::kStatusOfException: return "own" + besides;
    case kNoFrame: return "none" + besides;
    case 0: break;
    default: return fmt::format("{:x}", static_cast<std::uint32_t>(statuses[0]));
    }
    TVK::Rect bounds;
    norviktypes::PixelFormat format;
    inVictim.mClient->mFrames[0]->GetBounds(bounds);
    inVictim.mClient->mFrames[0]->GetPixelFormat(format);
    return (bounds == TVK::Rect{0, 0, 16, 8} && format == inVictim.mFormats[0] ? "ok" : "other") + besides;
}

// Frames of media through everything, each its own.
void HostFaults::RenderMore()
{
    const HostClientRef client(new HostClient);
    const ML::IRenderFrameRef renderFrame(new ML::RenderFrame);
    renderFrame->SetOutputRect(TVK::Rect{0, 0, 16, 8}, {});
    renderFrame->SetCompositeOnBlack(false);
    renderFrame->SetCompletionClient(ML::IRenderFrameClientRef(client.get()));
    const std::size_t count = ScaledCount(100);
    for (std::size_t i = 0; i < count; ++i)
    {
        MF::IVideoFrameRef frame;
        renderFrame->Render(norviktypes::TickTime(static_cast<std::int64_t>(i + 1) * 1000),
                            norviktypes::FrameRate(1000), MF::IRenderableCutlistProviderRef(mHealthy.get()),
                            {kFormat}, false, 1000, 0, frame, nullptr);
    }
    SettleAll();
    Advance(5);
    SettleAll();
    ASSERT_EQ(client->mFrames.size(), count);
    std::vector<bool> seen(count);
    for (const MF::IVideoFrameRef& frame : client->mFrames)
    {
        const std::vector<std::uint8_t> pixel = PixelAt(frame, 0, 0);
        const std::size_t number =
            pixel[0] + 256U * pixel[1]; // one more than the frame's, which begins with 1
        ASSERT_TRUE(number >= 2 && number < count + 2 && !seen[number - 2]) << number;
        seen[number - 2] = true;
    }
}

std::string HostFaults::Run(const Scenario& inScenario, std::size_t inPosition, HostCalls::Fault inFault,
                            std::vector<std::string>& outCalls)
{
    Victim victim(++mRuns + 10);
    victim.mRenderFrame = ML::IRenderFrameRef(new ML::RenderFrame);
    victim.mRenderFrame->SetOutputRect(TVK::Rect{0, 0, 16, 8}, {});
    victim.mRenderFrame->SetCompletionClient(ML::IRenderFrameClientRef(victim.mClient.get()));
    mClient->mTexts.clear();
    std::vector<FakePrefetchRef> reads;
    for (const std::uint32_t id : {900001U, 900002U})
    {
        reads.emplace_back(new FakePrefetch);
        reads.back()->mIsWorking = true;
        Add(QueueRequest(id, FakeProducerRef(new FakeProducer(id)), {reads.back()}));
    }
    mPosition = inPosition;
    mFault = inFault;
    inScenario(victim);
    SettleAll();
    std::string when;
    if (victim.mClient->mStatuses.empty() && victim.mThrown.empty())
    {
        when = "late ";
        OutwaitReads();
    }
    outCalls = HostCalls::End();
    const bool hasFailed = HostCalls::HasFailed();
    for (const FakePrefetchRef& read : reads)
    {
        read->mIsReady = true;
    }
    Advance(5);
    SettleAll();
    std::sort(mClient->mTexts.begin(), mClient->mTexts.end());
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 900001", "completed 900002"}));
    RenderMore();
    const std::string outcome = hasFailed || inPosition == kNever ? when + Outcome(victim) : "-";
    victim = Victim(0);
    mClient->mFrames.clear();
    SettleAll();
    EXPECT_EQ(AtRest(), "");
    const ML::VideoSourcePrefetcher::TableSizes sizes = ML::VideoSourcePrefetcher::GetTableSizes();
    EXPECT_EQ(sizes.mQueuedReads + sizes.mKeysBeingRead + sizes.mHoldersOfKeys + sizes.mRestingStreams, 0U);
    EXPECT_EQ(AnnouncedKeys(), 0U);
    EXPECT_EQ(HostStream::sLive, 2) << "the healthy one, and the one that is to come";
    EmptyFrameCache();
    return outcome;
}

void HostFaults::Check(const Scenario& inScenario, const std::string& inExpected)
{
    const std::size_t endOfLine = inExpected.find('\n', 1);
    std::vector<std::string> calls;
    const std::string outcome = Run(inScenario, kNever, HostCalls::Fault::kNone, calls);
    std::string table = "\n" + outcome + "\n";
    EXPECT_EQ(outcome, inExpected.substr(1, endOfLine - 1)) << "nothing fails";
    for (std::size_t i = 0; i < calls.size() && !HasFailure(); ++i)
    {
        if (std::stoul(calls[i].substr(calls[i].rfind(' '))) > kMostOfOneName)
        {
            continue; // a poll like those before
        }
        std::string line = calls[i] + ":";
        for (const HostCalls::Fault fault : HostCalls::kFaults)
        {
            SCOPED_TRACE(fmt::format("{} fails in way {}", calls[i], static_cast<int>(fault)));
            std::vector<std::string> present;
            line += ' ';
            line += Run(inScenario, i, fault, present);
        }
        table += line + "\n";
    }
    EXPECT_EQ(table, inExpected);
}

} // namespace TestSupport

namespace
{

using namespace TestSupport;

// A frame of media that is premultiplied, asked for in another format.
TEST_F(HostFaults, FrameOfMedia)
{
    Check(
        [this](Victim& ioVictim)
        {
            ioVictim.mNode->mAlpha = norviktypes::kAlphaChannel_Premultiplied;
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            ioVictim.mFormats = {kDeepFormat};
            ioVictim.mRenderFrame->SetRenderFlags(ML::kRenderFlag_CacheAlways);
            Render(ioVictim);
        },
        R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - failed - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
NormalizeFormat 1: - - - failed own memory failed
GetFrameRate 1: - - - failed own memory failed
CanRenderFrames 1: - ok - failed own memory failed
GetFrameKey 1: - late ok - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: ok - - failed own memory failed
AcquireQuietToken at once 1: - - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 2: - ok - failed own memory failed
IsImageSource 2: - - - failed own memory failed
Post to video 1: - - - failed own memory failed
RetrieveFromCache 3: - ok - failed own memory failed
CanRenderFrames 2: - ok - failed own memory failed
GetRenderedFrame at once 1: ok ok ok failed own memory failed
Post to passes 1: - - - ok ok ok ok
CanRenderFrames 3: - ok - ok ok ok ok
GetRenderedFrame 1: ok ok ok ok ok ok ok
InsertIntoCache 1: - - - ok ok ok ok
Post to passes 2: - - - ok ok ok ok
RetrieveFromCache 4: - late ok - failed own memory failed
Post to normal 1: - - - ok ok ok ok
RetrieveFromCache 5: - ok - failed own memory failed
GetFieldType 3: - - - failed own memory failed
GetFrameHash 2: - ok - failed own memory failed
RetrieveFromCache 6: - ok - failed own memory failed
GetFrame 1: failed failed other failed own memory failed
NormalizeFormat 2: - - - failed own memory failed
GetFrameRate 2: - - - failed own memory failed
GetRenderedFrame 2: status failed other failed own memory failed
MakeWriteableVideoFrame 1: - failed - failed own memory failed
IR_Convert 1: status - - failed own memory failed
CreateVideoFrame 1: other other other failed own memory failed
CopyFrame 1: other - - failed own memory failed
MakeWriteableVideoFrame 2: - failed - failed own memory failed
IR_CompositeToBlack 1: ok - - failed own memory failed
InsertIntoCache 2: - - - failed own memory failed
Post to passes 3: - - - ok ok ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
UnregisterDependencyOnFrame 1: - - - ok ok ok ok
)");
}

// A stream that renders no frames, but fills those that it is given.
TEST_F(HostFaults, FrameThatAStreamFills)
{
    Check(
        [this](Victim& ioVictim)
        {
            ioVictim.mStream->mRendersFrames = false;
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            Render(ioVictim);
        },
        R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - failed - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
CanRenderFrames 1: - ok - failed own memory failed
GetFrameKeyWithOptions 1: - late ok - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: ok - - failed own memory failed
AcquireQuietToken at once 1: - - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 2: - ok - failed own memory failed
IsImageSource 2: - - - failed own memory failed
Post to video 1: - - - failed own memory failed
RetrieveFromCache 3: - ok - failed own memory failed
CanRenderFrames 2: - ok - failed own memory failed
Post to passes 1: - - - ok ok ok ok
CanRenderFrames 3: - ok - ok ok ok ok
CreateVideoFrame 1: ok ok ok ok ok ok ok
GetVideoFrame 1: ok - - ok ok ok ok
InsertIntoCache 1: - - - ok ok ok ok
Post to passes 2: - - - ok ok ok ok
RetrieveFromCache 4: - late ok - failed own memory failed
Post to normal 1: - - - ok ok ok ok
RetrieveFromCache 5: - ok - failed own memory failed
GetFieldType 3: - - - failed own memory failed
GetFrameHash 2: - ok - failed own memory failed
RetrieveFromCache 6: - ok - failed own memory failed
GetFrame 1: failed failed other failed own memory failed
MakeWriteableVideoFrame 1: - failed - failed own memory failed
IR_CompositeToBlack 1: ok - - failed own memory failed
InsertIntoCache 2: - - - failed own memory failed
Post to passes 3: - - - ok ok ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
UnregisterDependencyOnFrame 1: - - - ok ok ok ok
)");
}

// A stream that reads by itself and never delivers: after a while it is read like the others.
TEST_F(HostFaults, FrameOfAnAsynchronousStream)
{
    Check(
        [this](Victim& ioVictim)
        {
            ioVictim.mStream->mIsAsync = true;
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            Render(ioVictim);
        },
        R"(
late ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: late ok late ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - late failed - thrown thrown refused thrown
GetFrameHash 1: - late ok - thrown thrown refused thrown
RetrieveFromCache 1: - late ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
NormalizeFormat 1: - - - failed own memory failed
GetFrameRate 1: - - - failed own memory failed
IsAsyncEnabled 1: - ok - failed own memory failed
CanRenderFrames 1: - late ok - failed own memory failed
GetFrameKey 1: - late ok - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: late ok - - failed own memory failed
AcquireQuietToken at once 1: - - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 2: - late ok - failed own memory failed
IssueAsyncRead 1: ok - - failed own memory failed
CanRenderFrames 2: - late ok - failed own memory failed
GetRenderedFrame at once 1: late ok late ok ok failed own memory failed
Post to passes 1: - - - late ok late ok late ok late ok
CanRenderFrames 3: - late ok - late failed late own late memory late failed
GetRenderedFrame at once 2: late ok late ok late ok late failed late own late memory late failed
CanRenderFrames 4: - late ok - late failed late own late memory late failed
GetRenderedFrame at once 3: late ok late ok late ok late failed late own late memory late failed
IsAsyncReadAlive 1: - late ok - late failed late own late memory late failed
GetFrameRate 2: - - - late failed late own late memory late failed
IsImageSource 2: - - - late failed late own late memory late failed
Post to video 1: - - - late failed late own late memory late failed
Post to passes 2: - - - late ok late ok late ok late ok
CanRenderFrames 5: - late ok - late ok late ok late ok late ok
GetRenderedFrame 1: late ok late ok late ok late ok late ok late ok late ok
InsertIntoCache 1: - - - late ok late ok late ok late ok
Post to passes 3: - - - late ok late ok late ok late ok
RetrieveFromCache 3: - late ok - late failed late own late memory late failed
Post to normal 1: - - - late ok late ok late ok late ok
RetrieveFromCache 4: - late ok - late failed late own late memory late failed
GetFieldType 3: - - - late failed late own late memory late failed
GetFrameHash 2: - late ok - late failed late own late memory late failed
RetrieveFromCache 5: - late ok - late failed late own late memory late failed
GetFrame 1: late failed late failed late other late failed late own late memory late failed
NormalizeFormat 2: - - - late failed late own late memory late failed
GetFrameRate 3: - - - late failed late own late memory late failed
GetRenderedFrame 2: late status late failed late other late failed late own late memory late failed
MakeWriteableVideoFrame 1: - late failed - late failed late own late memory late failed
IR_CompositeToBlack 1: late ok - - late failed late own late memory late failed
InsertIntoCache 2: - - - late failed late own late memory late failed
Post to passes 4: - - - late ok late ok late ok late ok
RenderFrameCompleted 1: - - - late ok late ok late ok late ok
UnregisterDependencyOnFrame 1: - - - late ok late ok late ok late ok
Post to passes 5: - - - late ok late ok late ok late ok
Post to passes 6: - - - late ok late ok late ok late ok
)");
}

TEST_F(HostFaults, FrameOfARestingStream)
{
    Check(
        [this](Victim& ioVictim)
        {
            ioVictim.mStream->mRests = true;
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            Render(ioVictim);
        },
        R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - failed - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
NormalizeFormat 1: - - - failed own memory failed
GetFrameRate 1: - - - failed own memory failed
CanRenderFrames 1: - ok - failed own memory failed
GetFrameKey 1: - late ok - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: ok - - failed own memory failed
AcquireQuietToken at once 1: - - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
Post to image 1: - - - failed own memory failed
Post to passes 1: - - - ok ok ok ok
AcquireQuietToken 1: - - - ok ok ok ok
Post to passes 2: - - - ok ok ok ok
RetrieveFromCache 2: - ok - failed own memory failed
IsImageSource 2: - - - failed own memory failed
Post to video 1: - - - failed own memory failed
RetrieveFromCache 3: - ok - failed own memory failed
CanRenderFrames 2: - ok - failed own memory failed
GetRenderedFrame at once 1: ok ok ok failed own memory failed
CanRenderFrames 3: - ok - ok ok ok ok
GetRenderedFrame 1: ok ok ok ok ok ok ok
InsertIntoCache 1: - - - ok ok ok ok
Post to passes 3: - - - ok ok ok ok
RetrieveFromCache 4: - late ok - failed own memory failed
Post to normal 1: - - - ok ok ok ok
RetrieveFromCache 5: - ok - failed own memory failed
GetFieldType 3: - - - failed own memory failed
GetFrameHash 2: - ok - failed own memory failed
RetrieveFromCache 6: - ok - failed own memory failed
GetFrame 1: failed failed other failed own memory failed
NormalizeFormat 2: - - - failed own memory failed
GetFrameRate 2: - - - failed own memory failed
GetRenderedFrame 2: status failed other failed own memory failed
MakeWriteableVideoFrame 1: - failed - failed own memory failed
IR_CompositeToBlack 1: ok - - failed own memory failed
InsertIntoCache 2: - - - failed own memory failed
Post to passes 4: - - - ok ok ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
UnregisterDependencyOnFrame 1: - - - ok ok ok ok
)");
}

// A client that has only a station, and a function besides.
TEST_F(HostFaults, FrameForAStationAndAFunction)
{
    Check(
        [this](Victim& ioVictim)
        {
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            const ML::IRenderFrameRef renderFrame(new ML::RenderFrame);
            renderFrame->SetOutputRect(TVK::Rect{0, 0, 16, 8}, {});
            ioVictim.mRenderFrame = renderFrame;
            BeginRun();
            Ask(ioVictim,
                [&]
                {
                    MF::IVideoFrameRef frame;
                    const HostClientRef client = ioVictim.mClient;
                    const std::int32_t status = renderFrame->RenderWithCompletion(
                        norviktypes::TickTime(1000), norviktypes::FrameRate(1000),
                        MF::IRenderableCutlistProviderRef(ioVictim.mSequence.get()), {kFormat}, 1000,
                        [client](const MF::IVideoFrameRef& inFrame, bool, int inError)
                        {
                            inFrame ? client->RenderFrameCompleted(0, 0, norviktypes::TickTime(), inFrame, 0)
                                    : client->RenderFrameError(0, 0, norviktypes::TickTime(), inError);
                        },
                        frame, nullptr, nullptr);
                    if (status == ML::kRenderFrameOutOfMemory)
                    {
                        ioVictim.mThrown = "refused";
                    }
                });
        },
        R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - failed - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
NormalizeFormat 1: - - - failed own memory failed
GetFrameRate 1: - - - failed own memory failed
CanRenderFrames 1: - ok - failed own memory failed
GetFrameKey 1: - late ok - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: ok - - failed own memory failed
AcquireQuietToken at once 1: - - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 2: - ok - failed own memory failed
IsImageSource 2: - - - failed own memory failed
Post to video 1: - - - failed own memory failed
RetrieveFromCache 3: - ok - failed own memory failed
CanRenderFrames 2: - ok - failed own memory failed
GetRenderedFrame at once 1: ok ok ok failed own memory failed
Post to passes 1: - - - ok ok ok ok
CanRenderFrames 3: - ok - ok ok ok ok
GetRenderedFrame 1: ok ok ok ok ok ok ok
InsertIntoCache 1: - - - ok ok ok ok
Post to passes 2: - - - ok ok ok ok
RetrieveFromCache 4: - late ok - failed own memory failed
Post to normal 1: - - - ok ok ok ok
RetrieveFromCache 5: - ok - failed own memory failed
GetFieldType 3: - - - failed own memory failed
GetFrameHash 2: - ok - failed own memory failed
RetrieveFromCache 6: - ok - failed own memory failed
GetFrame 1: failed failed other failed own memory failed
NormalizeFormat 2: - - - failed own memory failed
GetFrameRate 2: - - - failed own memory failed
GetRenderedFrame 2: status failed other failed own memory failed
MakeWriteableVideoFrame 1: - failed - failed own memory failed
IR_CompositeToBlack 1: ok - - failed own memory failed
InsertIntoCache 2: - - - failed own memory failed
Post to passes 3: - - - ok ok ok ok
PostMessageToUIThread 1: - - - ok ok ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
UnregisterDependencyOnFrame 1: - - - ok ok ok ok
)");
}

// A source that is rendered by the completion of its reads.
TEST_F(HostFaults, FrameOfASource)
{
    Check(
        [this](Victim& ioVictim)
        {
            const ML::IRenderableSourceRef source = ML::CreateRenderableSource(
                BE::IVideoSourceRef(ioVictim.mStream.get()), {}, norviktypes::kAlphaChannel_Straight, {},
                false, false, ioVictim.mStream->mRate, norviktypes::kFieldType_FromSource, {}, {}, u"source");
            ML::CutlistRenderParams params;
            params.mFrameTime = MF::FrameTime(norviktypes::TickTime(1000));
            params.mWidth = params.mSourceWidth = 16;
            params.mHeight = params.mSourceHeight = 8;
            params.mPixelFormat = kFormat;
            BeginRun();
            Ask(ioVictim,
                [&]
                {
                    ML::InitiateRender(
                        source, params.mFrameTime, params, ML::GetNextRequestID(),
                        [client = ioVictim.mClient](const MF::IVideoFrameRef& inFrame, unsigned,
                                                    const ML::IRenderableSourceRef&, bool, int inError)
                        {
                            // Without a frame and an error: it could not be rendered.
                            inFrame ? client->RenderFrameCompleted(0, 0, norviktypes::TickTime(), inFrame, 0)
                                    : client->RenderFrameError(0, 0, norviktypes::TickTime(),
                                                               inError < 0 ? inError : kNoFrame);
                        });
                });
        },
        R"(
ok
NormalizeFormat 1: - - - thrown thrown thrown thrown
GetFrameRate 1: - - - thrown thrown thrown thrown
CanRenderFrames 1: - none - thrown thrown thrown thrown
GetFrameKey 1: - late unread - thrown thrown thrown thrown
IsImageSource 1: - - - thrown thrown thrown thrown
GetStillKind 1: ok - - thrown thrown thrown thrown
AcquireQuietToken at once 1: - - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 1: - ok - failed own memory failed
IsImageSource 2: - - - failed own memory failed
Post to video 1: - - - failed own memory failed
RetrieveFromCache 2: - ok - failed own memory failed
CanRenderFrames 2: - ok - failed own memory failed
GetRenderedFrame at once 1: ok ok ok failed own memory failed
Post to passes 1: - - - ok ok ok ok
CanRenderFrames 3: - ok - none none none none
GetRenderedFrame 1: none none ok none none none none
InsertIntoCache 1: - - - none none none none
Post to passes 2: - - - ok ok ok ok
RetrieveFromCache 3: - late ok - failed own memory failed
NormalizeFormat 2: - - - ok none ok ok
GetFrameRate 2: - - - ok none ok ok
GetRenderedFrame 2: none ok other ok none ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
UnregisterDependencyOnFrame 1: - - - ok ok ok ok
)");
}

} // namespace
