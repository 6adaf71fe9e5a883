#include "Tests/ScheduleExplorer/World.h"

#include "ML/SharedExecutors.h"
#include "Tests/Support/FrameTools.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "VideoSourcePrefetcher.h"

#include <fmt/format.h>

#include <cstdlib>

namespace ScheduleExplorer
{

namespace
{

// Fifty units, the least that a budget holds.
constexpr std::uint64_t kMemoryBytes = std::uint64_t{1} << 30;

FailFunction sFail = nullptr;

class Prefetches final : public TVK::Implements<Prefetches, ML::IRenderableNodePrefetchProvider>
{
public:
    explicit Prefetches(const std::vector<ML::IRenderableNodePrefetchRef>& inItems) : mItems(inItems) {}

    void GetPrefetchesForFrame(const MF::FrameTime&, const ML::CutlistRenderParams&,
                               std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches) override
    {
        CheckNoLock("asking what is to be read");
        ioPrefetches.insert(ioPrefetches.end(), mItems.begin(), mItems.end());
    }

private:
    const std::vector<ML::IRenderableNodePrefetchRef> mItems;
    Probe mProbe;
};

// A way to a private member: access isn't checked where a template is instantiated explicitly.

template <Atomic<bool>* kFlag>
struct ShutdownFlag
{
    friend Atomic<bool>& TheShutdownFlag() { return *kFlag; }
};
Atomic<bool>& TheShutdownFlag();
template struct ShutdownFlag<&ML::RenderFrameQueue::Impl::sShuttingDown>;

} // namespace

void SetFailFunction(FailFunction inFunction)
{
    sFail = inFunction;
}

void Fail(const std::string& inText)
{
    sFail(inText);
    std::abort();
}

void CheckNoLock(const char* inCall)
{
    if (Scheduler::Instance().LocksHeld() != 0)
    {
        Fail(fmt::format("a lock is held at {}", inCall));
    }
}

// ---- fakes ----

int Probe::sCount = 0;

Probe::Probe()
{
    ++sCount;
}

Probe::~Probe()
{
    CheckNoLock("the end of an object");
    --sCount;
}

void Client::RenderFrameCompleted(std::uint64_t, std::uint32_t inRequestID, const norviktypes::TickTime&,
                                  MF::IVideoFrameRef inFrame, std::int32_t)
{
    if (!inFrame)
    {
        Fail("completed without a frame");
    }
    World::sWorld->Told(inRequestID, World::Outcome::kCompleted);
    if (mWhileTold)
    {
        mWhileTold(inRequestID);
    }
}

void Client::RenderFrameCancelled(std::uint64_t, std::uint32_t inRequestID, const norviktypes::TickTime&)
{
    World::sWorld->Told(inRequestID, World::Outcome::kCancelled);
    if (mWhileTold)
    {
        mWhileTold(inRequestID);
    }
}

void Client::RenderFrameError(std::uint64_t, std::uint32_t inRequestID, const norviktypes::TickTime&,
                              std::int32_t)
{
    World::sWorld->Told(inRequestID, World::Outcome::kFailed);
    if (mWhileTold)
    {
        mWhileTold(inRequestID);
    }
}

std::int32_t Producer::GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams&,
                                MF::IVideoFrameRef& outFrame)
{
    CheckNoLock("a render");
    Scheduler::Instance().Reach(this);
    World::sWorld->Rendered(mID);
    if (mWhileRendering)
    {
        mWhileRendering();
    }
    outFrame = TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8);
    Scheduler::Instance().Reach(this);
    return 0;
}

void Producer::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                            const TVK::Guid&)
{
    CheckNoLock("asking for a key");
    outHash = TVK::Guid(0x51EE7, mKey);
}

std::int32_t Item::BeginPrefetch()
{
    CheckNoLock("the begin of a read");
    Scheduler::Instance().Reach(this);
    return 0;
}

std::int32_t Item::GetPrefetchResult(MF::IVideoFrameRef& outFrame)
{
    CheckNoLock("asking for a read");
    Scheduler::Instance().Reach(this);
    outFrame.reset();
    return mIsReady ? 0 : ML::kRenderFramePrefetchFailed;
}

std::int32_t Item::CancelPrefetch()
{
    CheckNoLock("the cancel of a read");
    Scheduler::Instance().Reach(this);
    return 0;
}

bool Item::ContinueWaitingForPrefetch(double)
{
    CheckNoLock("asking whether to wait for a read");
    return true;
}

void Item::MakeReady()
{
    Scheduler::Instance().Reach(this);
    mIsReady = true;
}

std::int32_t Renderer::RenderFrame(const ML::AcceleratedRenderRequest&)
{
    CheckNoLock("an accelerated render");
    Scheduler::Instance().Reach(this);
    mHasRequest = true;
    return mStatus;
}

std::int32_t Renderer::CancelFrame(std::uint32_t)
{
    CheckNoLock("the cancel of an accelerated render");
    Scheduler::Instance().Reach(this);
    return 0;
}

// ---- world ----

World* World::sWorld = nullptr;

World::World()
    : mMachine(kMemoryBytes)
    , mPasses(boost::make_shared<ExplorerExecutor>("passes", 1))
    , mNormal(boost::make_shared<ExplorerExecutor>("normal", 2))
    , mLow(boost::make_shared<ExplorerExecutor>("low", 1))
    , mVideo(boost::make_shared<ExplorerExecutor>("video", 1))
    , mImage(boost::make_shared<ExplorerExecutor>("image", 1))
    , mClient(new Client)
{
    sWorld = this;
    TestSupport::EmptyFrameCache();
    ML::sNormalPriorityRenderQueue = mNormal;
    ML::sLowPriorityRenderQueue = mLow;
    ML::sVideoSourcePrefetcherQueue = mVideo;
    ML::sImageSourcePrefetcherQueue = mImage;
    TheShutdownFlag().store(false);
    ML::RenderFrameQueue::Impl::SetExecutor(mPasses);
    mQueue = ML::RenderFrameQueue::Create();
    ML::VideoSourcePrefetcher::StartPrefetchers();
}

World::~World()
{
    sWorld = nullptr;
}

void World::Thread(const char* inName, std::function<void()> inWork)
{
    Scheduler::Instance().StartThread(inName, std::move(inWork));
}

ML::RenderFrameRequest World::Request(const RequestSpec& inSpec)
{
    ML::RenderFrameSettings settings;
    settings.mTime = norviktypes::TickTime(std::int64_t{inSpec.mID} * 1000);
    settings.mFrameRate = norviktypes::FrameRate(1000);
    settings.mSourceRect = settings.mOutputRect = TVK::Rect{0, 0, inSpec.mSize, inSpec.mSize};
    settings.mRequestedFormats = {norviktypes::kPixelFormat_BGRA_4444_8u};
    settings.mPriority = inSpec.mPriority;
    settings.mCaller = inSpec.mCaller;
    settings.mRequestID = inSpec.mID;
    const ProducerRef producer(new Producer(inSpec.mKey, inSpec.mID));
    producer->mWhileRendering = inSpec.mWhileRendering;
    const TVK::InterfaceRef<Prefetches> provider(new Prefetches(inSpec.mItems));
    ML::RenderFrameRequest request(settings, TVK::TVKUnknownRef(producer.get()),
                                   TVK::TVKUnknownRef(provider.get()), true, false);
    request.mClient = TVK::WeakRef<ML::IRenderFrameClient>(ML::IRenderFrameClientRef(mClient.get()));
    request.mAcceleratedRenderer = ML::IAcceleratedSequenceRendererRef(inSpec.mRenderer.get());
    mRecords[inSpec.mID].mHasFunction = true;
    request.SetCompletionFunction(
        [probe = std::make_shared<Probe>(), id = inSpec.mID](const MF::IVideoFrameRef&, bool, int)
        { World::sWorld->FunctionCalled(id); });
    return request;
}

void World::Add(const RequestSpec& inSpec)
{
    MustEnd(inSpec.mID);
    mQueue->AddRenderRequest(Request(inSpec));
}

void World::MustEnd(RequestID inID)
{
    mRecords[inID].mMustEnd = true;
}

void World::MayBeSilent(RequestID inID)
{
    mRecords[inID].mMayBeSilent = true;
}

void World::MustComplete(RequestID inID)
{
    mRecords[inID].mMustComplete = true;
}

void World::Told(RequestID inID, Outcome inOutcome)
{
    CheckNoLock("a notification");
    Record& record = mRecords[inID];
    Scheduler::Instance().Reach(&record);
    ++(inOutcome == Outcome::kCompleted   ? record.mCompleted
       : inOutcome == Outcome::kCancelled ? record.mCancelled
                                          : record.mFailed);
}

void World::FunctionCalled(RequestID inID)
{
    CheckNoLock("a completion function");
    Record& record = mRecords[inID];
    Scheduler::Instance().Reach(&record);
    ++record.mFunctionCalls;
}

void World::Rendered(RequestID inID)
{
    ++mRecords[inID].mRenders;
}

int World::Renders(RequestID inID) const
{
    const auto place = mRecords.find(inID);
    return place == mRecords.end() ? 0 : place->second.mRenders;
}

bool World::ExecutorsOfRendersRest() const
{
    return mPasses->IsAtRest() && mNormal->IsAtRest() && mLow->IsAtRest();
}

// ---- the end ----

std::string World::WrongWith(RequestID inID, const Record& inRecord)
{
    const auto wrong = [&](const char* inWhat)
    {
        return fmt::format("request {} {}: {} times completed, {} cancelled, {} failed, {} calls of its "
                           "function, {} renders",
                           inID, inWhat, inRecord.mCompleted, inRecord.mCancelled, inRecord.mFailed,
                           inRecord.mFunctionCalls, inRecord.mRenders);
    };
    if (inRecord.Outcomes() > 1)
    {
        return wrong("ended more than once");
    }
    if (inRecord.mMustEnd && !inRecord.mMayBeSilent && inRecord.Outcomes() == 0)
    {
        return wrong("never ended");
    }
    if (inRecord.mHasFunction && inRecord.mFunctionCalls != inRecord.Outcomes())
    {
        return wrong("was told otherwise than its function");
    }
    if (inRecord.mMustComplete && inRecord.mCompleted != 1)
    {
        return wrong("did not complete");
    }
    if (inRecord.mCancelled != 0 && inRecord.mRenders != 0)
    {
        return wrong("was cancelled and rendered");
    }
    return "";
}

std::string World::WrongAtRest() const
{
    const ML::RenderFrameQueueCounts counts = mQueue->Counts();
    const std::uint32_t flags = mFlagsMayStay ? 0 : counts.mPassesScheduled;
    if (counts.mIncoming + counts.mInFlight + counts.mPrefetching + counts.mNormal + counts.mLow +
                counts.mRedundant + counts.mAccelerated + flags !=
            0 ||
        counts.mAvailableMemoryUnits != counts.mTotalMemoryUnits)
    {
        return fmt::format("left over: incoming {} in flight {} prefetching {} normal {} low {} redundant {} "
                           "accelerated {} flags {}, units {} of {}",
                           counts.mIncoming, counts.mInFlight, counts.mPrefetching, counts.mNormal,
                           counts.mLow, counts.mRedundant, counts.mAccelerated, flags,
                           counts.mAvailableMemoryUnits, counts.mTotalMemoryUnits);
    }
    const ML::VideoSourcePrefetcher::TableSizes tables = ML::VideoSourcePrefetcher::GetTableSizes();
    if (tables.mQueuedReads + tables.mKeysBeingRead + tables.mHoldersOfKeys + tables.mRestingStreams != 0)
    {
        return fmt::format("left over: {} reads, {} keys, {} holders, {} resting streams",
                           tables.mQueuedReads, tables.mKeysBeingRead, tables.mHoldersOfKeys,
                           tables.mRestingStreams);
    }
    return "";
}

std::string World::Outcomes() const
{
    std::string text;
    for (const auto& [id, record] : mRecords)
    {
        text += fmt::format("{}{}{}{}{} ", record.mCompleted, record.mCancelled, record.mFailed,
                            record.mFunctionCalls, record.mRenders);
    }
    return text;
}

std::string World::Finish()
{
    for (const auto& [id, record] : mRecords)
    {
        if (std::string wrong = WrongWith(id, record); !wrong.empty())
        {
            return wrong;
        }
    }
    if (std::string wrong = WrongAtRest(); !wrong.empty())
    {
        return wrong;
    }
    for (const std::function<void()>& check : mChecks)
    {
        check();
    }
    mChecks.clear();
    Scheduler::Instance().Finish();
    VF::SharedVideoFrameCache::SetNotificationFunction({});
    mQueue.reset();
    ML::VideoSourcePrefetcher::StopPrefetchers();
    ML::RenderFrameQueue::Impl::SetExecutor({});
    ML::sNormalPriorityRenderQueue.reset();
    ML::sLowPriorityRenderQueue.reset();
    ML::sVideoSourcePrefetcherQueue.reset();
    ML::sImageSourcePrefetcherQueue.reset();
    mClient.reset();
    TestSupport::EmptyFrameCache();
    if (mPasses.use_count() != 1)
    {
        return "the queue is not destroyed";
    }
    if (TestSupport::AnnouncedKeys() != 0)
    {
        return "interest in frames was not withdrawn";
    }
    return Probe::sCount == 0 ? "" : fmt::format("{} objects are left", Probe::sCount);
}

} // namespace ScheduleExplorer
