#include "RenderFrameQueue.h"

#include "CutlistRenderer.h"
#include "ML/SharedExecutors.h"
#include "RenderFrameQueueImpl.h"
#include "RenderObserver.h"
#include "RequestCompletion.h"
#include "VF/SharedVideoFrameCache.h"
#include "norvik/config/Contract.h"
#include "norvik/utility/Machine.h"

#include <new>
#include <utility>

namespace ML
{

namespace
{

using norvik::threads::ScopedLock;

// Requests in the prefetch station beyond one for each processor, so that the next ones are read while these
// are rendered.
constexpr std::int64_t kInFlightBeyondProcessors = 4;
// Between two looks at what is being read. Reads take tens of milliseconds; looking is cheap.
constexpr std::uint32_t kPollMilliseconds = 5;
// After so long a read is asked whether there is any hope. Far beyond what a slow disk takes.
constexpr double kPatienceSeconds = 15.0;
// A pass that isn't posted for want of memory may be the last one, so it's tried again before giving up.
constexpr int kPostTries = 3;

// Importance in the frame cache, and the priority that divides the two.
constexpr std::uint32_t kImportantPriority = 811;
constexpr std::int32_t kImportanceOfMost = 10;
constexpr std::int32_t kImportanceOfLeast = 0;

bool StandsStill(const MF::IRenderableCutlistRef& inCutlist, const norviktypes::TickTime& inTime)
{
    const MF::IRenderableExtendedStillInfoRef info = MF::IRenderableExtendedStillInfoRef(inCutlist);
    MF::TimeRange range{inTime, inTime};
    return info && info->GetStillRangeForTime(inTime, range) >= 0 && range.mStart < range.mEnd;
}

bool BelongsInCache(RenderFrameRequest& ioRequest)
{
    return (ioRequest.mRenderFlags & kRenderFlag_CacheAlways) != 0 ||
           ((ioRequest.mRenderFlags & kRenderFlag_CacheStills) != 0 &&
            StandsStill(ioRequest.GetCutlist(true), ioRequest.mTime));
}

} // namespace

std::atomic<bool> RenderFrameQueue::Impl::sShuttingDown{false};

namespace
{

boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>& GivenExecutor()
{
    static auto* const sExecutor = new boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>;
    return *sExecutor;
}

boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> MakeExecutor()
{
    return GivenExecutor() ? GivenExecutor()
                           : norvik::threads::CreateSubExecutor(norvik::threads::CreateCPUBoundExecutor(), 1);
}

} // namespace

RequestNode MakeRequestNode(RenderFrameRequest&& inRequest)
{
    RequestIDs ids;
    ids.emplace(inRequest.mRequestID, inRequest.mCaller);
    RequestStation station;
    const auto made = station.emplace(kInOrderOfArrival, std::move(inRequest));
    made->second.mInFlightID = ids.extract(ids.begin());
    return station.extract(made);
}

void RenderFrameQueue::Impl::SetExecutor(
    const boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>& inExecutor)
{
    GivenExecutor() = inExecutor;
}

RenderFrameQueue::Impl::Impl(RenderFrameQueue& inOwner)
    : mOwner(inOwner)
    , mMemory(norvik::utility::TotalPhysicalMemory())
    , mMaxInFlight(norvik::utility::CPUCount() + kInFlightBeyondProcessors)
    , mExecutor(MakeExecutor())
{
    VF::SharedVideoFrameCache::SetNotificationFunction(&RenderFrameQueue::ScheduleImmediatePoll);
}

RenderFrameQueue::Impl::~Impl() = default;

// ---- entry ----

bool RenderFrameQueue::Impl::IsOwnThread() const
{
    const auto runsHere = [](const boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>& inExecutor)
    { return inExecutor && inExecutor->IsCurrentThread(); };
    return runsHere(sNormalPriorityRenderQueue) || runsHere(sLowPriorityRenderQueue) || runsHere(mExecutor) ||
           runsHere(sVideoSourcePrefetcherQueue) || runsHere(sImageSourcePrefetcherQueue);
}

void RenderFrameQueue::Impl::AddRenderRequest(const RenderFrameRequest& inRequest)
{
    RenderFrameRequest request(inRequest);
    if (request.mAcceleratedRenderer && OfferToAcceleratedRenderer(request))
    {
        return;
    }
    ObserveRender(RenderEventKind::kQueued, request.mRequestID, request.GetKey());
    if (IsOwnThread())
    {
        Render(request);
        return;
    }
    Enqueue(std::move(request));
}

void RenderFrameQueue::Impl::Enqueue(RenderFrameRequest&& inRequest)
{
    const boost::shared_ptr<RequestResult> result = inRequest.GetResult();
    RequestNode node = MakeRequestNode(std::move(inRequest));
    mIncoming.Push(node);
    try
    {
        SchedulePendingPass();
    }
    catch (...)
    {
        // The caller hears of the failure by the exception, so nobody else may tell him of an end.
        if (result->Claim())
        {
            throw;
        }
    }
}

// ---- scheduling ----

// The function holds a reference to the queue, which therefore lives until the pass has run or is dropped.
void RenderFrameQueue::Impl::SchedulePass(norvik::threads::AsyncThreadedExecutor& inExecutor,
                                          ScheduleFlag& ioFlag, void (Impl::*inPass)(bool), bool inArgument,
                                          std::uint32_t inDelayMilliseconds)
{
    std::uint32_t clear = 0;
    if (!ioFlag.compare_exchange_strong(clear, 1))
    {
        return;
    }
    for (int tries = 1;; ++tries)
    {
        try
        {
            inExecutor.Post([queue = RenderFrameQueueRef(&mOwner), inPass, inArgument]
                            { (queue->GetImpl().*inPass)(inArgument); },
                            inDelayMilliseconds);
            return;
        }
        catch (...)
        {
            if (tries == kPostTries)
            {
                ioFlag.store(0);
                throw;
            }
        }
    }
}

void RenderFrameQueue::Impl::SchedulePendingPass()
{
    SchedulePass(*mExecutor, mPendingScheduled, &Impl::ProcessPendingRequests, true, 0);
}

void RenderFrameQueue::Impl::ScheduleDelayedPoll()
{
    SchedulePass(*mExecutor, mPrefetchPollScheduled, &Impl::ProcessPrefetchRequests, true, kPollMilliseconds);
}

void RenderFrameQueue::Impl::ScheduleImmediatePoll()
{
    SchedulePass(*mExecutor, mPrefetchCheckScheduled, &Impl::ProcessPrefetchRequests, false, 0);
}

// Whether the request would fit. The observer hears once that it doesn't.
bool RenderFrameQueue::Impl::FitsAndIsNoted(QueuedRequest& ioQueued)
{
    if (ioQueued.mUnits == 0)
    {
        ioQueued.mUnits = mMemory.UnitsOf(ioQueued.mRequest);
    }
    if (ioQueued.mUnits <= mMemory.Available())
    {
        return true;
    }
    if (!std::exchange(ioQueued.mToldOfWaiting, true))
    {
        ObserveRender(RenderEventKind::kWaitingForMemory, ioQueued.mID, ioQueued.mRequest.GetKey(),
                      ioQueued.mUnits);
    }
    return false;
}

// One pass for each priority at a time is posted and not begun. It clears its flag when it begins, and each
// request that is taken schedules again: so the number of workers grows as long as there is work that fits.
void RenderFrameQueue::Impl::ScheduleWorkers()
{
    if (!mNormalRequests.empty())
    {
        if (FitsAndIsNoted(mNormalRequests.begin()->second) && sNormalPriorityRenderQueue)
        {
            SchedulePass(*sNormalPriorityRenderQueue, mNormalWorkerScheduled, &Impl::RunWorkerPass, false, 0);
        }
    }
    else if (!mLowRequests.empty())
    {
        if (FitsAndIsNoted(mLowRequests.begin()->second) && sLowPriorityRenderQueue)
        {
            SchedulePass(*sLowPriorityRenderQueue, mLowWorkerScheduled, &Impl::RunWorkerPass, true, 0);
        }
    }
}

void RenderFrameQueue::Impl::ScheduleWorkersOrKeep(FirstException& ioErrors)
{
    try
    {
        ScheduleWorkers();
    }
    catch (...)
    {
        ioErrors.Keep();
    }
}

// Whoever finished made room, which what is still incoming fills at once; else the clock tells when to look. A
// worker that takes a request next wakes others for what it leaves: who is woken for that one finds nothing.
void RenderFrameQueue::Impl::ScheduleAfterPoll(bool inSomethingFinished, bool inTakesNext,
                                               FirstException& ioErrors)
{
    try
    {
        if (inSomethingFinished && !mIncoming.IsEmpty())
        {
            SchedulePendingPass();
        }
        else if (!mPrefetching.empty())
        {
            ScheduleDelayedPoll();
        }
    }
    catch (...)
    {
        ioErrors.Keep();
    }
    if (!inTakesNext)
    {
        ScheduleWorkersOrKeep(ioErrors);
    }
}

// ---- ids of requests that a pass holds ----

void RenderFrameQueue::Impl::EnterInFlight(RequestStation& ioHeld)
{
    for (auto& [order, queued] : ioHeld)
    {
        queued.mInFlightID.key() = queued.mID;
        queued.mInFlightID.mapped() = queued.mCaller;
        mInFlightIDs.insert(std::move(queued.mInFlightID));
    }
}

// False: it was cancelled meanwhile.
bool RenderFrameQueue::Impl::LeaveInFlight(QueuedRequest& ioRequest)
{
    const auto place = mInFlightIDs.find(ioRequest.mID);
    if (place == mInFlightIDs.end())
    {
        return false;
    }
    ioRequest.mInFlightID = mInFlightIDs.extract(place);
    return true;
}

// The same, with every other entry of that id.
bool RenderFrameQueue::Impl::LeaveInFlightWithNamesakes(QueuedRequest& ioRequest)
{
    const bool found = LeaveInFlight(ioRequest);
    mInFlightIDs.erase(ioRequest.mID);
    return found;
}

// ---- pending pass ----

void RenderFrameQueue::Impl::TakeIncoming(RequestStation& outHeld)
{
    const ScopedLock lock(mQueueLock, "RenderFrameQueue::ProcessPendingRequests1");
    const std::int64_t held =
        static_cast<std::int64_t>(mPrefetching.size() + mRenderingIDs.size() + mInFlightIDs.size());
    // Below zero it is a huge number, which lifts the limit.
    mIncoming.Pull(static_cast<std::uint64_t>(mMaxInFlight - held), outHeld);
    EnterInFlight(outHeld);
}

namespace
{

void BeginReads(QueuedRequest& ioQueued, FirstException& ioErrors)
{
    RenderFrameRequest& request = ioQueued.mRequest;
    try
    {
        if (request.GetKey().IsZero())
        {
            request.ComputeKey(true);
        }
        ObserveRender(RenderEventKind::kKeyed, request.mRequestID, request.GetKey());
        request.StartPrefetch();
        ObserveRender(RenderEventKind::kPrefetchBegun, request.mRequestID, request.GetKey(),
                      static_cast<std::int64_t>(request.PrefetchItemCount()));
    }
    catch (...)
    {
        ioQueued.mStatus = StatusOfCurrentException();
        ioErrors.Keep();
    }
}

void TellCancelled(RequestStation& ioList, FirstException& ioErrors)
{
    for (auto& [order, queued] : ioList)
    {
        ioErrors.Guard([&queued = queued] { CancelRequest(queued.mRequest); });
    }
}

void TellFailed(const RequestStation& inList, FirstException& ioErrors)
{
    for (const auto& [order, queued] : inList)
    {
        ioErrors.Guard([&queued = queued]
                       { FinishRequest(queued.mRequest, MF::IVideoFrameRef(), queued.mStatus, 0); });
    }
}

} // namespace

void RenderFrameQueue::Impl::EnterPrefetching(RequestStation& ioHeld, RequestStation& outFailed,
                                              RequestStation& outCancelled)
{
    const ScopedLock lock(mQueueLock, "RenderFrameQueue::ProcessPendingRequests2");
    while (!ioHeld.empty())
    {
        RequestNode node = TakeFirst(ioHeld);
        QueuedRequest& queued = node.mapped();
        if (!LeaveInFlightWithNamesakes(queued))
        {
            Append(outCancelled, std::move(node));
        }
        else if (queued.mStatus < 0)
        {
            Append(outFailed, std::move(node));
        }
        else
        {
            if (queued.mRequest.PrefetchItemCount() != 0)
            {
                queued.mTimer.Start();
            }
            Append(mPrefetching, std::move(node));
        }
    }
}

void RenderFrameQueue::Impl::ProcessPendingRequests(bool inWasScheduled)
{
    MovePending(inWasScheduled, false);
}

void RenderFrameQueue::Impl::MovePending(bool inWasScheduled, bool inTakesNext)
{
    if (inWasScheduled)
    {
        mPendingScheduled.store(0);
    }
    FirstException errors;
    RequestStation held;
    TakeIncoming(held);
    if (!IsShuttingDown())
    {
        for (auto& [order, queued] : held)
        {
            BeginReads(queued, errors);
        }
    }
    if (!held.empty())
    {
        RequestStation failed;
        RequestStation cancelled;
        EnterPrefetching(held, failed, cancelled);
        TellFailed(failed, errors);
        TellCancelled(cancelled, errors);
    }
    errors.Guard(
        [&]
        {
            mPrefetchCheckScheduled.store(0);
            MovePrefetched(inTakesNext);
        });
    errors.Rethrow();
}

// ---- poll ----

namespace
{

// What a poll found.
struct PollResult
{
    RequestStation mStaying;
    RequestStation mToRender;
    RequestStation mToComplete;
    RequestStation mFailed;
    RequestStation mCancelled;

    bool SomethingFinished() const { return !mToRender.empty() || !mToComplete.empty() || !mFailed.empty(); }
    // Clients take their time, so that what is ready can't wait for the caller meanwhile.
    bool HasAnyoneToTell() const { return !mToComplete.empty() || !mFailed.empty() || !mCancelled.empty(); }
};

bool IsFinished(const QueuedRequest& inQueued)
{
    const RenderFrameRequest& request = inQueued.mRequest;
    const double elapsed = inQueued.mTimer.ElapsedSeconds();
    const auto nanoseconds = static_cast<std::int64_t>(elapsed * 1e9);
    if (request.IsPrefetchReady())
    {
        ObserveRender(RenderEventKind::kReady, request.mRequestID, request.GetKey(), 0, nanoseconds);
        return true;
    }
    if (elapsed <= kPatienceSeconds || request.HasPrefetchItemStillWorking(elapsed))
    {
        return false;
    }
    ObserveRender(RenderEventKind::kTimedOut, request.mRequestID, request.GetKey(), 0, nanoseconds);
    return true;
}

RequestStation& Classify(QueuedRequest& ioQueued, PollResult& ioResult, FirstException& ioErrors)
{
    try
    {
        if (!IsFinished(ioQueued))
        {
            return ioResult.mStaying;
        }
        return ioQueued.mRequest.IsPrefetchOnly() ? ioResult.mToComplete : ioResult.mToRender;
    }
    catch (...)
    {
        ioQueued.mStatus = StatusOfCurrentException();
        ioErrors.Keep();
        return ioResult.mFailed;
    }
}

} // namespace

void RenderFrameQueue::Impl::ProcessPrefetchRequests(bool inWasDelayed)
{
    (inWasDelayed ? mPrefetchPollScheduled : mPrefetchCheckScheduled).store(0);
    MovePrefetched(false);
}

void RenderFrameQueue::Impl::MovePrefetched(bool inTakesNext)
{
    FirstException errors;
    PollResult result;
    RequestStation held;
    {
        const ScopedLock lock(mQueueLock, "RenderFrameQueue::ProcessPrefetchRequests1");
        held.swap(mPrefetching);
        EnterInFlight(held);
    }
    while (!held.empty())
    {
        RequestNode node = TakeFirst(held);
        RequestStation& list = Classify(node.mapped(), result, errors);
        Append(list, std::move(node));
    }
    {
        const ScopedLock lock(mQueueLock, "RenderFrameQueue::ProcessPrefetchRequests2");
        const bool somethingFinished = result.SomethingFinished();
        for (auto& [order, queued] : result.mToComplete)
        {
            LeaveInFlight(queued);
        }
        for (auto place = result.mFailed.begin(); place != result.mFailed.end();)
        {
            RequestStation::iterator current = place++;
            if (!LeaveInFlight(current->second))
            {
                Append(result.mCancelled, result.mFailed.extract(current));
            }
        }
        while (!result.mToRender.empty())
        {
            RequestNode node = TakeFirst(result.mToRender);
            const std::uint32_t priority = node.mapped().mRequest.mPriority;
            if (LeaveInFlight(node.mapped()))
            {
                Place(priority < kNormalPriority ? mLowRequests : mNormalRequests, OrderOfPriority(priority),
                      std::move(node));
            }
            else
            {
                Append(result.mCancelled, std::move(node));
            }
        }
        while (!result.mStaying.empty())
        {
            RequestNode node = TakeFirst(result.mStaying);
            RequestStation& list = LeaveInFlight(node.mapped()) ? mPrefetching : result.mCancelled;
            Append(list, std::move(node));
        }
        ScheduleAfterPoll(somethingFinished, inTakesNext && !result.HasAnyoneToTell(), errors);
    }
    for (auto& [order, queued] : result.mToComplete)
    {
        errors.Guard([&queued = queued] { FinishPrefetchOnly(queued.mRequest); });
    }
    TellFailed(result.mFailed, errors);
    TellCancelled(result.mCancelled, errors);
    errors.Rethrow();
}

// ---- workers ----

void RenderFrameQueue::Impl::RunWorkerPass(bool inLowPriority)
{
    (inLowPriority ? mLowWorkerScheduled : mNormalWorkerScheduled).store(0);
    FirstException errors;
    errors.Guard([this] { MovePending(false, true); });
    errors.Guard(
        [this, inLowPriority]
        {
            RenderFrameRequest request;
            std::uint32_t units = 0;
            if (GetNextRequestAndAccountForMemory(&request, inLowPriority, units))
            {
                const MemoryLoan loan(mMemory, units);
                Render(request);
            }
        });
    // Units are back; what waits for them is looked at here, whatever happened before.
    errors.Guard([this] { ProcessPendingRequests(false); });
    errors.Rethrow();
}

bool RenderFrameQueue::Impl::TakeFirstThatFits(RenderFrameRequest& outRequest, RequestStation& ioStation,
                                               std::uint32_t& outUnits)
{
    while (!ioStation.empty())
    {
        QueuedRequest& first = ioStation.begin()->second;
        if (!FitsAndIsNoted(first) || !mMemory.TryTake(first.mUnits))
        {
            return false;
        }
        const std::uint32_t units = first.mUnits;
        const StationOrder key = OrderOfKey(first.mRequest.GetKey());
        const ScopedLock lock(mRedundantRequestLock,
                              "RenderFrameQueue::GetNextRequestAndAccountForMemory RedundantRequestLock");
        const bool isBeingMade = mRedundantRequests.find(key) != mRedundantRequests.end();
        ObserveRender(isBeingMade ? RenderEventKind::kMerged : RenderEventKind::kAdmitted, first.mID,
                      first.mRequest.GetKey(), units);
        if (!isBeingMade)
        {
            // Who finds the entry of one that is being made can only end it.
            outRequest = std::exchange(first.mRequest, first.mRequest.CopyOfItsEnd());
        }
        Place(mRedundantRequests, key, TakeFirst(ioStation));
        if (!isBeingMade)
        {
            outUnits = units;
            return true;
        }
        mMemory.GiveBack(units);
    }
    return false;
}

bool RenderFrameQueue::Impl::GetNextRequestAndAccountForMemory(RenderFrameRequest* outRequest,
                                                               bool inLowPriority, std::uint32_t& outUnits)
{
    ML_INPUT_CONTRACT(outRequest != nullptr, "outRenderFrameRequest", "Src/RenderFrameQueue",
                      "ML::RenderFrameQueue::GetNextRequestAndAccountForMemory", __LINE__);
    FirstException errors;
    bool taken = false;
    const ScopedLock lock(mQueueLock, "RenderFrameQueue::GetNextRequestAndAccountForMemory");
    outUnits = 0;
    // Low priority takes no memory while normal work waits for it.
    if (!inLowPriority || mNormalRequests.empty())
    {
        taken = TakeFirstThatFits(*outRequest, inLowPriority ? mLowRequests : mNormalRequests, outUnits);
    }
    ScheduleWorkersOrKeep(errors);
    // Who got a request renders it, and looks for more work afterwards; an exception would lose it.
    if (!taken)
    {
        errors.Rethrow();
    }
    return taken;
}

// ---- render ----

RenderFrameQueue::Impl::Outcome RenderFrameQueue::Impl::MakeFrame(RenderFrameRequest& ioRequest)
{
    Outcome outcome{MF::IVideoFrameRef(), kRenderFrameFailed, 0};
    if (IsShuttingDown())
    {
        return outcome;
    }
    try
    {
        outcome.mFrame = VF::SharedVideoFrameCache::RetrieveFromCache(ioRequest.GetKey());
        if (outcome.mFrame)
        {
            ObserveRender(RenderEventKind::kCacheHit, ioRequest.mRequestID, ioRequest.GetKey());
            outcome.mStatus = kRenderFrameCompleted;
            return outcome;
        }
        RenderTimer timer;
        timer.Start();
        outcome.mFrame = ioRequest.Render(ioRequest.SelectPixelFormat(true));
        timer.Stop();
        const double seconds = timer.ElapsedSeconds();
        if (outcome.mFrame)
        {
            outcome.mMilliseconds = static_cast<std::int32_t>(static_cast<std::int64_t>(seconds * 1000.0));
            outcome.mFrame->SetRenderMilliseconds(static_cast<std::uint32_t>(outcome.mMilliseconds));
            if (BelongsInCache(ioRequest))
            {
                VF::SharedVideoFrameCache::InsertIntoCache(
                    outcome.mFrame, ioRequest.GetKey(),
                    ioRequest.mPriority < kImportantPriority ? kImportanceOfLeast : kImportanceOfMost);
            }
            outcome.mStatus = kRenderFrameCompleted;
        }
        ObserveRender(RenderEventKind::kRendered, ioRequest.mRequestID, ioRequest.GetKey(), outcome.mStatus,
                      static_cast<std::int64_t>(seconds * 1e9));
    }
    catch (...)
    {
        outcome.mStatus = StatusOfCurrentException();
        ObserveRender(RenderEventKind::kRendered, ioRequest.mRequestID, ioRequest.GetKey(), outcome.mStatus);
    }
    return outcome;
}

// Those who wait for the same frame. Entries of the request's own id go without a word.
RequestStation RenderFrameQueue::Impl::TakeMerged(const RenderFrameRequest& inRequest)
{
    RequestStation merged;
    RequestStation own; // goes after the unlock
    const ScopedLock lock(mRedundantRequestLock, "RenderFrameQueue::Render RedundantRequestLock");
    auto [place, end] = mRedundantRequests.equal_range(OrderOfKey(inRequest.GetKey()));
    while (place != end)
    {
        RequestNode node = TakeAndStep(mRedundantRequests, place);
        const bool isOwn = node.mapped().mID == inRequest.mRequestID;
        Append(isOwn ? own : merged, std::move(node));
    }
    return merged;
}

void RenderFrameQueue::Impl::Render(RenderFrameRequest& ioRequest)
{
    const Outcome outcome = MakeFrame(ioRequest);
    const RequestStation merged = TakeMerged(ioRequest);
    FirstException errors;
    if (!merged.empty() && outcome.mFrame)
    {
        // From here on several hold it, and none of them may write.
        errors.Guard([&outcome] { MF::IVideoFrameRef(outcome.mFrame)->Freeze(); });
    }
    const auto finish = [&outcome](const RenderFrameRequest& inRequest)
    { FinishRequest(inRequest, outcome.mFrame, outcome.mStatus, outcome.mMilliseconds); };
    errors.Guard([&] { finish(ioRequest); });
    for (const auto& [order, queued] : merged)
    {
        errors.Guard([&finish, &queued = queued] { finish(queued.mRequest); });
    }
    errors.Rethrow();
}

} // namespace ML
