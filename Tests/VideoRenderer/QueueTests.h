// What the tests of the render queue share: a producer, reads and a client that do what a test says, and a
// queue all of whose passes the test runs by hand.
//
// Thread-safety: fakes count atomically and may be used from any thread; switches are set before they are used.
#pragma once

#include "MF/CutlistProvider.h"
#include "RenderFrameQueue.h"
#include "RenderFrameRequest.h"
#include "RenderObserver.h"
#include "RenderableNodeProducer.h"
#include "TVK/Allocated.h"
#include "TVK/Weak.h"
#include "Tests/Support/ManualExecutor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace TestSupport
{

using Texts = std::vector<std::string>;
using Items = std::vector<ML::IRenderableNodePrefetchRef>;

// Frames of one key: 0 has none.
class FakeProducer final : public TVK::Implements<FakeProducer, ML::IRenderableNodeProducer>
{
public:
    explicit FakeProducer(std::uint64_t inNumber) : mNumber(inNumber) {}

    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override;
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const ML::CutlistRenderParams& inParams, const TVK::Guid& inBaseHash) override;

    const std::uint64_t mNumber;
    std::function<void()> mWhileRendering; // may throw
    std::function<void()> mWhileHashing;
    MF::IVideoFrameRef mFrame; // empty: a new one each time
    bool mGivesNothing = false;
    std::atomic<int> mRenders{0};
};
using FakeProducerRef = TVK::InterfaceRef<FakeProducer>;

// Something to be read, finished when the test says so.
class FakePrefetch final : public TVK::Implements<FakePrefetch, ML::IRenderableNodePrefetch>
{
public:
    std::int32_t BeginPrefetch() override;
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) override;
    std::int32_t CancelPrefetch() override;
    void GetPrefetchKey(TVK::Guid& outKey) const override { outKey = TVK::Guid(); }
    bool ContinueWaitingForPrefetch(double inElapsedSeconds) override;

    std::function<void()> mWhileBeginning; // may throw
    std::function<void()> mWhileAsked;
    std::function<void()> mWhileCancelled;
    std::int32_t mBeginStatus = 0;
    std::atomic<bool> mIsReady{false};
    std::atomic<bool> mIsWorking{false};
    MF::IVideoFrameRef mFrame;
    std::atomic<int> mBegun{0};
    std::atomic<int> mCancelled{0};
    std::vector<double> mAskedToWait; // seconds
};
using FakePrefetchRef = TVK::InterfaceRef<FakePrefetch>;

class FakePrefetchProvider final
    : public TVK::Implements<FakePrefetchProvider, ML::IRenderableNodePrefetchProvider>
{
public:
    void GetPrefetchesForFrame(const MF::FrameTime& inFrameTime, const ML::CutlistRenderParams& inParams,
                               std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches) override;

    std::vector<ML::IRenderableNodePrefetchRef> mItems;
    std::vector<MF::FrameTime> mAskedTimes;
};

// The provider of a sequence. It writes down which cutlist it was asked for: "first 'name' fresh".
class FakeCutlistProvider final : public TVK::Implements<FakeCutlistProvider, MF::IRenderableCutlistProvider,
                                                         MF::ISequenceVideoProperties>
{
public:
    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist,
                                   const norvik::utility::ImmutableString& inName, bool inRefresh) override;
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist,
                                     const norvik::utility::ImmutableString& inName, bool inRefresh) override;
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist,
                                 const norvik::utility::ImmutableString& inName, bool inRefresh,
                                 bool inReserved) override;
    TVK::Rect GetBounds() const override { return TVK::Rect{0, 0, 64, 32}; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    norviktypes::FieldType GetFieldType() const override { return mFieldType; }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(1000); }

    MF::IRenderableCutlistRef mCutlist;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_FromSource;
    Texts mAsked;

private:
    std::int32_t Give(MF::IRenderableCutlistRef& outCutlist, const char* inWhich,
                      const norvik::utility::ImmutableString& inName, bool inRefresh);
};
using FakeCutlistProviderRef = TVK::InterfaceRef<FakeCutlistProvider>;

// One half-transparent grey layer that lasts from 0 to 1,000,000 ticks, and never says that it stands still.
FakeCutlistProviderRef OneLayer();

// Writes down what it is told: "completed 5", "cancelled 5", "error 5 a00d0000".
class FakeRenderFrameClient final : public TVK::ImplementsWeak<FakeRenderFrameClient, ML::IRenderFrameClient>
{
public:
    void RenderFrameCompleted(std::uint64_t inContext, std::uint32_t inRequestID,
                              const norviktypes::TickTime& inTime, MF::IVideoFrameRef inFrame,
                              std::int32_t inRenderMilliseconds) override;
    void RenderFrameCancelled(std::uint64_t inContext, std::uint32_t inRequestID,
                              const norviktypes::TickTime& inTime) override;
    void RenderFrameError(std::uint64_t inContext, std::uint32_t inRequestID,
                          const norviktypes::TickTime& inTime, std::int32_t inStatus) override;

    std::function<void(std::uint32_t inRequestID)> mWhileTold; // may throw
    Texts mTexts;
    std::vector<MF::IVideoFrameRef> mFrames;
    std::vector<std::uint64_t> mContexts;
    std::vector<norviktypes::TickTime> mTimes;
    std::int32_t mMilliseconds = -1;
};
using FakeRenderFrameClientRef = TVK::InterfaceRef<FakeRenderFrameClient>;

// A renderer module's agent that accepts or refuses, and remembers.
class FakeAcceleratedRenderer final
    : public TVK::Implements<FakeAcceleratedRenderer, ML::IAcceleratedSequenceRenderer>
{
public:
    void RefreshSegments() override {}
    const ML::AcceleratedSegmentMap& GetSegmentMap() override { return mSegments; }
    std::int32_t RenderFrame(const ML::AcceleratedRenderRequest& inRequest) override;
    std::int32_t CancelFrame(std::uint32_t inRequestID) override;
    std::int32_t NotifySequence(std::uint32_t) override { return 0; }

    std::function<void(const ML::AcceleratedRenderRequest&)> mWhileAsked;
    std::int32_t mStatus = 0;
    std::vector<ML::AcceleratedRenderRequest> mRequests;
    std::vector<std::uint32_t> mCancelled;

private:
    ML::AcceleratedSegmentMap mSegments;
};
using FakeAcceleratedRendererRef = TVK::InterfaceRef<FakeAcceleratedRenderer>;

// Keeps the events as "merged 5"; those of one request, or all.
class RecordingObserver final : public ML::IRenderObserver
{
public:
    RecordingObserver();
    ~RecordingObserver() override;
    void OnRenderEvent(const ML::RenderEvent& inEvent) noexcept override;

    Texts Of(std::uint32_t inRequestID) const;
    std::vector<ML::RenderEvent> Events() const;

private:
    mutable std::mutex mMutex;
    std::vector<ML::RenderEvent> mEvents;
};

// A completion function with something in it that, when it goes with the last copy of its request, writes down
// which locks are held.
ML::RequestCompletionFunction NotingLocksAtItsEnd(Texts& ioLocks);

// What a request of a test is made of.
ML::RenderFrameSettings QueueSettings(std::uint32_t inID);
// A request for the producer's frame, with reads.
ML::RenderFrameRequest QueueRequest(std::uint32_t inID, const FakeProducerRef& inProducer,
                                    const std::vector<FakePrefetchRef>& inReads = {});
MF::IVideoFrameRef SmallFrame();

// A queue on executors without threads: four processors, 16 GiB.
class QueueTest : public testing::Test
{
protected:
    QueueTest();
    ~QueueTest() override;

    // Runs all passes that are due on any executor, until there are none.
    void Settle();
    // Moves the clock of the queue's executor and of the render timers.
    void Advance(std::uint32_t inMilliseconds);

    // A request of mClient, added.
    void Add(ML::RenderFrameRequest ioRequest);
    // The same on a thread of its own, joined: for calls that come while an executor runs on this one.
    void AddFromElsewhere(const ML::RenderFrameRequest& inRequest);
    static ML::RenderFrameRequest Request(std::uint32_t inID, std::uint64_t inKey);
    // Requests for a frame of their own: of a caller, with a priority, that wait for inRead, of a size.
    static ML::RenderFrameRequest OfCaller(std::uint32_t inID, std::uint64_t inCaller);
    static ML::RenderFrameRequest WithPriority(std::uint32_t inID, std::uint32_t inPriority);
    static ML::RenderFrameRequest Reading(std::uint32_t inID, const FakePrefetchRef& inRead,
                                          std::uint64_t inCaller = 0);
    static ML::RenderFrameRequest
    Sized(std::uint32_t inID, std::int32_t inWidth, std::int32_t inHeight,
          const norviktypes::PixelFormat& inFormat = norviktypes::kPixelFormat_BGRA_4444_8u);
    // inCount requests, each waiting for a read of its own, in the prefetch station or before it.
    std::vector<FakePrefetchRef> AddReading(std::uint32_t inFirstID, std::uint32_t inCount);
    // What a worker has in its hands, between taking it and rendering it, on the test's thread: so that others
    // may do something meanwhile.
    struct Worker
    {
        ML::RenderFrameRequest mRequest;
        std::uint32_t mUnits = 0;
    };
    Worker TakeNext();
    void RenderAndReturn(Worker& ioWorker);
    // What inWork throws, as text; empty for nothing.
    static std::string Thrown(const std::function<void()>& inWork);
    // "" if nothing is anywhere, all memory is back and no pass is posted; else what is not.
    std::string AtRest();

    boost::shared_ptr<ManualExecutor> mNormal;
    boost::shared_ptr<ManualExecutor> mLow;
    boost::shared_ptr<ManualExecutor> mVideo;
    boost::shared_ptr<ManualExecutor> mImage;
    boost::shared_ptr<ManualExecutor> mPasses;
    ML::RenderFrameQueueRef mQueue;
    FakeRenderFrameClientRef mClient;
};

} // namespace TestSupport
