#include "Tests/VideoRenderer/QueueTests.h"

#include "ML/SharedExecutors.h"
#include "RenderableCutlistImpl.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "norvik/threads/Threads.h"
#include "norvik/utility/Machine.h"

#include <fmt/format.h>

#include <memory>
#include <thread>

namespace TestSupport
{

namespace
{

// The clock of render timers, in milliseconds.
std::atomic<std::int64_t> sNow{1000};

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

void CallIfAny(const std::function<void()>& inFunction)
{
    if (inFunction)
    {
        inFunction();
    }
}

} // namespace

MF::IVideoFrameRef SmallFrame()
{
    return NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8);
}

std::int32_t FakeProducer::GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams&,
                                    MF::IVideoFrameRef& outFrame)
{
    ++mRenders;
    CallIfAny(mWhileRendering);
    if (!mGivesNothing)
    {
        outFrame = mFrame ? mFrame : SmallFrame();
    }
    return 0;
}

void FakeProducer::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                                const TVK::Guid&)
{
    CallIfAny(mWhileHashing);
    outHash = mNumber == 0 ? TVK::Guid() : TVK::Guid(0x51EE7, mNumber);
}

std::int32_t FakePrefetch::BeginPrefetch()
{
    ++mBegun;
    CallIfAny(mWhileBeginning);
    return mBeginStatus;
}

std::int32_t FakePrefetch::GetPrefetchResult(MF::IVideoFrameRef& outFrame)
{
    CallIfAny(mWhileAsked);
    if (!mIsReady)
    {
        return ML::kRenderFramePrefetchFailed;
    }
    outFrame = mFrame;
    return 0;
}

std::int32_t FakePrefetch::CancelPrefetch()
{
    ++mCancelled;
    CallIfAny(mWhileCancelled);
    return 0;
}

bool FakePrefetch::ContinueWaitingForPrefetch(double inElapsedSeconds)
{
    mAskedToWait.push_back(inElapsedSeconds);
    return mIsWorking;
}

void FakePrefetchProvider::GetPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                                 const ML::CutlistRenderParams&,
                                                 std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches)
{
    mAskedTimes.push_back(inFrameTime);
    ioPrefetches.insert(ioPrefetches.end(), mItems.begin(), mItems.end());
}

std::int32_t FakeCutlistProvider::GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist,
                                                    const norvik::utility::ImmutableString& inName,
                                                    bool inRefresh)
{
    return Give(outCutlist, "first", inName, inRefresh);
}

std::int32_t FakeCutlistProvider::GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist,
                                                      const norvik::utility::ImmutableString& inName,
                                                      bool inRefresh)
{
    return Give(outCutlist, "second", inName, inRefresh);
}

std::int32_t FakeCutlistProvider::GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist,
                                                  const norvik::utility::ImmutableString& inName,
                                                  bool inRefresh, bool inReserved)
{
    return Give(outCutlist, inReserved ? "third reserved" : "third", inName, inRefresh);
}

std::int32_t FakeCutlistProvider::Give(MF::IRenderableCutlistRef& outCutlist, const char* inWhich,
                                       const norvik::utility::ImmutableString& inName, bool inRefresh)
{
    mAsked.push_back(fmt::format("{} '{}'{}", inWhich, inName.CStr(), inRefresh ? " fresh" : ""));
    outCutlist = mCutlist;
    return 0;
}

FakeCutlistProviderRef OneLayer()
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(norviktypes::TickTime(0), norviktypes::TickTime(1000000), norviktypes::TickTime(0),
                        CreateLayerNode("one",
                                        [](const MF::FrameTime&, const ML::CutlistRenderParams& in,
                                           MF::IVideoFrameRef& outFrame)
                                        {
                                            outFrame =
                                                NewFilledFrame(norviktypes::kPixelFormat_BGRA_4444_8u,
                                                               in.mWidth, in.mHeight, {100, 100, 100, 128});
                                            return 0;
                                        }));
    cutlist->Finalize();
    const FakeCutlistProviderRef provider(new FakeCutlistProvider);
    provider->mCutlist = MF::IRenderableCutlistRef(cutlist);
    return provider;
}

void FakeRenderFrameClient::RenderFrameCompleted(std::uint64_t inContext, std::uint32_t inRequestID,
                                                 const norviktypes::TickTime& inTime,
                                                 MF::IVideoFrameRef inFrame,
                                                 std::int32_t inRenderMilliseconds)
{
    mTexts.push_back(fmt::format("completed {}", inRequestID));
    mFrames.push_back(inFrame);
    mContexts.push_back(inContext);
    mTimes.push_back(inTime);
    mMilliseconds = inRenderMilliseconds;
    if (mWhileTold)
    {
        mWhileTold(inRequestID);
    }
}

void FakeRenderFrameClient::RenderFrameCancelled(std::uint64_t inContext, std::uint32_t inRequestID,
                                                 const norviktypes::TickTime& inTime)
{
    mTexts.push_back(fmt::format("cancelled {}", inRequestID));
    mContexts.push_back(inContext);
    mTimes.push_back(inTime);
    if (mWhileTold)
    {
        mWhileTold(inRequestID);
    }
}

void FakeRenderFrameClient::RenderFrameError(std::uint64_t inContext, std::uint32_t inRequestID,
                                             const norviktypes::TickTime& inTime, std::int32_t inStatus)
{
    mTexts.push_back(fmt::format("error {} {:x}", inRequestID, static_cast<std::uint32_t>(inStatus)));
    mContexts.push_back(inContext);
    mTimes.push_back(inTime);
    if (mWhileTold)
    {
        mWhileTold(inRequestID);
    }
}

std::int32_t FakeAcceleratedRenderer::RenderFrame(const ML::AcceleratedRenderRequest& inRequest)
{
    mRequests.push_back(inRequest);
    mRequests.back().mClient.reset(); // the queue must not live by it
    if (mWhileAsked)
    {
        mWhileAsked(inRequest);
    }
    return mStatus;
}

std::int32_t FakeAcceleratedRenderer::CancelFrame(std::uint32_t inRequestID)
{
    mCancelled.push_back(inRequestID);
    return 0;
}

RecordingObserver::RecordingObserver()
{
    ML::SetRenderObserver(this);
}

RecordingObserver::~RecordingObserver()
{
    ML::SetRenderObserver(nullptr);
}

void RecordingObserver::OnRenderEvent(const ML::RenderEvent& inEvent) noexcept
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mEvents.push_back(inEvent);
}

Texts RecordingObserver::Of(std::uint32_t inRequestID) const
{
    Texts texts;
    for (const ML::RenderEvent& event : Events())
    {
        if (event.mRequestID == inRequestID)
        {
            texts.emplace_back(ML::RenderEventName(event.mKind));
        }
    }
    return texts;
}

std::vector<ML::RenderEvent> RecordingObserver::Events() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mEvents;
}

ML::RequestCompletionFunction NotingLocksAtItsEnd(Texts& ioLocks)
{
    const std::shared_ptr<void> atTheEnd(nullptr, [&ioLocks](void*)
                                         { ioLocks.emplace_back(norvik::threads::DumpLocks().c_str()); });
    return [atTheEnd](const MF::IVideoFrameRef&, bool, int) {};
}

ML::RenderFrameSettings QueueSettings(std::uint32_t inID)
{
    ML::RenderFrameSettings settings;
    settings.mTime = norviktypes::TickTime(std::int64_t{inID} * 1000);
    settings.mFrameRate = norviktypes::FrameRate(1000);
    settings.mSourceRect = settings.mOutputRect = TVK::Rect{0, 0, 16, 8};
    settings.mRequestedFormats = {norviktypes::kPixelFormat_BGRA_4444_8u};
    settings.mPriority = 1000;
    settings.mRequestID = inID;
    settings.mContext = std::uint64_t{inID} + 7000;
    return settings;
}

ML::RenderFrameRequest QueueRequest(std::uint32_t inID, const FakeProducerRef& inProducer,
                                    const std::vector<FakePrefetchRef>& inReads)
{
    const TVK::InterfaceRef<FakePrefetchProvider> provider(new FakePrefetchProvider);
    provider->mItems.assign(inReads.begin(), inReads.end());
    return ML::RenderFrameRequest(QueueSettings(inID), TVK::TVKUnknownRef(inProducer.get()),
                                  TVK::TVKUnknownRef(provider.get()), true, false);
}

QueueTest::QueueTest()
    : mNormal(boost::make_shared<ManualExecutor>())
    , mLow(boost::make_shared<ManualExecutor>())
    , mVideo(boost::make_shared<ManualExecutor>())
    , mImage(boost::make_shared<ManualExecutor>())
    , mPasses(boost::make_shared<ManualExecutor>())
    , mClient(new FakeRenderFrameClient)
{
    EmptyFrameCache();
    os::SetClockFunctions({&Counter, &Frequency, &Ticks, nullptr});
    norvik::utility::SetCPUCountOverride(4);
    norvik::utility::SetTotalPhysicalMemoryOverride(std::uint64_t{16} << 30);
    ML::sNormalPriorityRenderQueue = mNormal;
    ML::sLowPriorityRenderQueue = mLow;
    ML::sVideoSourcePrefetcherQueue = mVideo;
    ML::sImageSourcePrefetcherQueue = mImage;
    ML::RenderFrameQueue::Impl::SetExecutor(mPasses);
    mQueue = ML::RenderFrameQueue::Create();
}

QueueTest::~QueueTest()
{
    VF::SharedVideoFrameCache::SetNotificationFunction({});
    mQueue.reset();
    for (const boost::shared_ptr<ManualExecutor>& executor : {mNormal, mLow, mVideo, mImage, mPasses})
    {
        executor->CancelPending();
    }
    ML::RenderFrameQueue::Impl::SetExecutor({});
    ML::sNormalPriorityRenderQueue.reset();
    ML::sLowPriorityRenderQueue.reset();
    ML::sVideoSourcePrefetcherQueue.reset();
    ML::sImageSourcePrefetcherQueue.reset();
    norvik::utility::SetCPUCountOverride(0);
    norvik::utility::SetTotalPhysicalMemoryOverride(0);
    os::SetClockFunctions({});
    EmptyFrameCache();
}

void QueueTest::Settle()
{
    while (mPasses->RunAll() + mNormal->RunAll() + mLow->RunAll() != 0)
    {
    }
}

void QueueTest::Advance(std::uint32_t inMilliseconds)
{
    sNow += inMilliseconds;
    mPasses->Advance(inMilliseconds);
}

ML::RenderFrameRequest QueueTest::Request(std::uint32_t inID, std::uint64_t inKey)
{
    return QueueRequest(inID, FakeProducerRef(new FakeProducer(inKey)));
}

ML::RenderFrameRequest QueueTest::OfCaller(std::uint32_t inID, std::uint64_t inCaller)
{
    ML::RenderFrameRequest request = Request(inID, inID);
    request.mCaller = inCaller;
    return request;
}

ML::RenderFrameRequest QueueTest::WithPriority(std::uint32_t inID, std::uint32_t inPriority)
{
    ML::RenderFrameRequest request = Request(inID, inID);
    request.mPriority = inPriority;
    return request;
}

ML::RenderFrameRequest QueueTest::Reading(std::uint32_t inID, const FakePrefetchRef& inRead,
                                          std::uint64_t inCaller)
{
    ML::RenderFrameRequest request = QueueRequest(inID, FakeProducerRef(new FakeProducer(inID)), {inRead});
    request.mCaller = inCaller;
    return request;
}

ML::RenderFrameRequest QueueTest::Sized(std::uint32_t inID, std::int32_t inWidth, std::int32_t inHeight,
                                        const norviktypes::PixelFormat& inFormat)
{
    ML::RenderFrameSettings settings = QueueSettings(inID);
    settings.mOutputRect = TVK::Rect{0, 0, inWidth, inHeight};
    settings.mRequestedFormats = {inFormat};
    return ML::RenderFrameRequest(settings, TVK::TVKUnknownRef(FakeProducerRef(new FakeProducer(inID)).get()),
                                  TVK::TVKUnknownRef(), true, false);
}

std::vector<FakePrefetchRef> QueueTest::AddReading(std::uint32_t inFirstID, std::uint32_t inCount)
{
    std::vector<FakePrefetchRef> reads;
    for (std::uint32_t i = 0; i < inCount; ++i)
    {
        reads.emplace_back(new FakePrefetch);
        Add(Reading(inFirstID + i, reads.back()));
    }
    return reads;
}

void QueueTest::AddFromElsewhere(const ML::RenderFrameRequest& inRequest)
{
    std::thread([this, &inRequest] { Add(inRequest); }).join();
}

void QueueTest::Add(ML::RenderFrameRequest ioRequest)
{
    ioRequest.mClient = TVK::WeakRef<ML::IRenderFrameClient>(ML::IRenderFrameClientRef(mClient.get()));
    mQueue->AddRenderRequest(ioRequest);
}

QueueTest::Worker QueueTest::TakeNext()
{
    Worker worker;
    mPasses->RunAll();
    EXPECT_TRUE(mQueue->GetImpl().GetNextRequestAndAccountForMemory(&worker.mRequest, false, worker.mUnits));
    return worker;
}

void QueueTest::RenderAndReturn(Worker& ioWorker)
{
    mQueue->GetImpl().Render(ioWorker.mRequest);
    mQueue->GetImpl().Memory().GiveBack(ioWorker.mUnits);
    Settle();
}

std::string QueueTest::Thrown(const std::function<void()>& inWork)
{
    try
    {
        inWork();
    }
    catch (const std::exception& exception)
    {
        return exception.what();
    }
    return "";
}

std::string QueueTest::AtRest()
{
    const ML::RenderFrameQueueCounts counts = mQueue->Counts();
    if (counts.mIncoming + counts.mInFlight + counts.mPrefetching + counts.mNormal + counts.mLow +
                counts.mRedundant + counts.mAccelerated + counts.mPassesScheduled ==
            0 &&
        counts.mAvailableMemoryUnits == counts.mTotalMemoryUnits)
    {
        return "";
    }
    return fmt::format("incoming {} in flight {} prefetching {} normal {} low {} redundant {} accelerated {} "
                       "units {} of {} passes {}",
                       counts.mIncoming, counts.mInFlight, counts.mPrefetching, counts.mNormal, counts.mLow,
                       counts.mRedundant, counts.mAccelerated, counts.mAvailableMemoryUnits,
                       counts.mTotalMemoryUnits, counts.mPassesScheduled);
}

} // namespace TestSupport
