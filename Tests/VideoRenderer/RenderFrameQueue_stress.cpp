// The queue under everything at once, on real threads.

#include "ML/SharedExecutors.h"
#include "ReferenceHost/Executors/SharedExecutors.h"
#include "RenderFrame.h"
#include "RenderableCutlistImpl.h"
#include "RenderableNodeCommonImpl.h"
#include "RenderableSources.h"
#include "TVK/Waitable.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Scale.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoSourcePrefetcher.h"
#include "norvik/logging/Logging.h"
#include "norvik/utility/Machine.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

using namespace TestSupport;
using Random = std::mt19937_64;

constexpr std::uint32_t kThreads = 4;
constexpr std::uint32_t kRequestsOfKey = 3; // so that they meet
constexpr std::uint64_t kCallers = 8;
constexpr std::int64_t kMostOutstanding = 1000;
constexpr std::uint32_t kFirstID = 1 << 24; // above those that render frames give
constexpr std::int64_t kFramesOfStream = 64;
constexpr std::chrono::seconds kPatience(120);

std::atomic<std::int64_t> sLiveObjects{0};

struct Counted
{
    Counted() { ++sLiveObjects; }
    ~Counted() { --sLiveObjects; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
};

bool OneIn(Random& ioRandom, std::uint64_t inCount)
{
    return ioRandom() % inCount == 0;
}

// Waits until inDone, however long it takes within reason. Looks are counted, as the process may be kept from
// running for long.
template <class Done>
bool WaitFor(Done&& inDone)
{
    constexpr std::chrono::milliseconds kPause(1);
    for (auto waited = kPause; !inDone(); waited += kPause)
    {
        if (waited > kPatience)
        {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

// Makes a frame, or throws, as its number says.
class StressProducer final : public TVK::Implements<StressProducer, ML::IRenderableNodeProducer>
{
public:
    StressProducer(std::uint64_t inKey, std::uint64_t inMood) : mKey(inKey), mMood(inMood) {}

    std::int32_t GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams&,
                          MF::IVideoFrameRef& outFrame) override
    {
        switch (mMood % 64)
        {
        case 1: throw ML::RenderRequestException(-3);
        case 2: throw std::bad_alloc();
        case 3: throw 5;
        case 4: return 0;
        default: outFrame = SmallFrame(); return 0;
        }
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                      const TVK::Guid&) override
    {
        if (mMood % 64 == 5)
        {
            throw std::runtime_error("hash");
        }
        outHash = mMood % 4096 == 6 ? TVK::Guid() : TVK::Guid(0x57AE55, mKey);
    }

private:
    const Counted mCounted;
    const std::uint64_t mKey;
    const std::uint64_t mMood;
};

// Is ready after some looks, or throws.
class StressRead final : public TVK::Implements<StressRead, ML::IRenderableNodePrefetch>
{
public:
    explicit StressRead(std::uint64_t inMood)
        : mMood(inMood)
        , mLooks(inMood / 64 % 64 < 2 ? inMood / 64 % 64 + 1 : 0)
    {
    }

    std::int32_t BeginPrefetch() override
    {
        if (mMood % 64 == 7)
        {
            throw std::runtime_error("begin");
        }
        return mMood % 64 == 8 ? -1 : 0;
    }
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) override
    {
        if (mMood % 64 == 9)
        {
            throw std::runtime_error("ask");
        }
        if (mLooks != 0)
        {
            --mLooks;
            return ML::kRenderFramePrefetchFailed;
        }
        outFrame = SmallFrame();
        return 0;
    }
    std::int32_t CancelPrefetch() override { return 0; }
    void GetPrefetchKey(TVK::Guid&) const override {}
    bool ContinueWaitingForPrefetch(double) override { return false; }

private:
    const Counted mCounted;
    const std::uint64_t mMood;
    std::uint64_t mLooks; // by one thread at a time
};

// Accepts or refuses, and calls back before it answers, later from another thread, or (refusing) not at all.
class StressRenderer final : public TVK::Implements<StressRenderer, ML::IAcceleratedSequenceRenderer>
{
public:
    explicit StressRenderer(const boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>& inThreads)
        : mThreads(inThreads)
    {
    }

    void RefreshSegments() override {}
    const ML::AcceleratedSegmentMap& GetSegmentMap() override { return mSegments; }
    std::int32_t CancelFrame(std::uint32_t) override { return 0; }
    std::int32_t NotifySequence(std::uint32_t) override { return 0; }
    std::int32_t RenderFrame(const ML::AcceleratedRenderRequest& inRequest) override
    {
        const auto call = [client = inRequest.mClient, id = inRequest.mRequestID]
        {
            if (id % 3 == 0)
            {
                client->RenderFrameError(0, id, norviktypes::TickTime(), -8);
            }
            else
            {
                client->RenderFrameCompleted(0, id, norviktypes::TickTime(), SmallFrame(), 1);
            }
        };
        switch (inRequest.mRequestID % 4)
        {
        case 0: return -1;
        case 1: call(); return -1;
        case 2: call(); return 0;
        default: mThreads->Post(call); return 0;
        }
    }

private:
    const Counted mCounted;
    const boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> mThreads;
    ML::AcceleratedSegmentMap mSegments;
};

// A sequence whose every tick is another frame.
class StressNode final
    : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("StressNode");
    }
    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inTime,
                                                       const ML::CutlistRenderParams&) override
    {
        const auto key = static_cast<std::uint64_t>(inTime.Earlier().GetTicks());
        return ML::IRenderableNodeProducerRef(new StressProducer(key, key));
    }
    void GetStillRanges(const norviktypes::TickTime&, const norviktypes::TickTime&,
                        std::vector<MF::TimeRange>&) override
    {
    }
    void GetSmartRenderSegments(const norviktypes::TickTime&, const norviktypes::TickTime&,
                                const norviktypes::PixelFormat&, bool, MF::SmartRenderSegments&) override
    {
    }

private:
    const Counted mCounted;
};

class StressSequence final
    : public TVK::Implements<StressSequence, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    StressSequence()
    {
        const TVK::InterfaceRef<StressNode> node(new StressNode);
        node->Finalize();
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        cutlist->AddSegment(norviktypes::TickTime(0), norviktypes::TickTime(1000000),
                            norviktypes::TickTime(0), MF::IRenderableNodeRef(node.get()));
        cutlist->Finalize();
        mCutlist = MF::IRenderableCutlistRef(cutlist);
    }
    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist,
                                   const norvik::utility::ImmutableString&, bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist,
                                     const norvik::utility::ImmutableString& inName, bool inRefresh) override
    {
        return GetPrimaryCutlist(outCutlist, inName, inRefresh);
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist,
                                 const norvik::utility::ImmutableString& inName, bool inRefresh,
                                 bool) override
    {
        return GetPrimaryCutlist(outCutlist, inName, inRefresh);
    }
    TVK::Rect GetBounds() const override { return TVK::Rect{0, 0, 16, 8}; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    norviktypes::FieldType GetFieldType() const override { return norviktypes::kFieldType_FromSource; }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(1); }

private:
    MF::IRenderableCutlistRef mCutlist;
};

// Counts what it is told; throws at times.
class StressClient final : public TVK::ImplementsWeak<StressClient, ML::IRenderFrameClient>
{
public:
    void RenderFrameCompleted(std::uint64_t, std::uint32_t inID, const norviktypes::TickTime&,
                              MF::IVideoFrameRef, std::int32_t) override
    {
        End(inID);
    }
    void RenderFrameCancelled(std::uint64_t, std::uint32_t inID, const norviktypes::TickTime&) override
    {
        End(inID);
    }
    void RenderFrameError(std::uint64_t, std::uint32_t inID, const norviktypes::TickTime&,
                          std::int32_t) override
    {
        End(inID);
    }

    std::atomic<std::uint32_t> mEnds{0};
    std::atomic<std::uint32_t> mAsked{0};

private:
    void End(std::uint32_t inID)
    {
        mEnds.fetch_add(1);
        if (inID % 32 == 1)
        {
            throw std::runtime_error("client");
        }
    }
    const Counted mCounted;
};
using StressClientRef = TVK::InterfaceRef<StressClient>;

// The end of one request, counted.
struct Ending
{
    std::atomic<std::uint32_t> mEnds{0};
    TVK::WaitableObject mSignal;
    std::uint32_t mID = 0;
    bool mWaits = false; // for the signal
};
using EndingRef = std::shared_ptr<Ending>;

// Tells at the end whether everything happened that may.
class CountingObserver final : public ML::IRenderObserver
{
public:
    CountingObserver() { ML::SetRenderObserver(this); }
    ~CountingObserver() override { ML::SetRenderObserver(nullptr); }
    void OnRenderEvent(const ML::RenderEvent& inEvent) noexcept override
    {
        mCounts[static_cast<std::size_t>(inEvent.mKind)].fetch_add(1, std::memory_order_relaxed);
    }
    std::uint64_t Of(ML::RenderEventKind inKind) const { return mCounts[static_cast<std::size_t>(inKind)]; }

private:
    std::array<std::atomic<std::uint64_t>, 16> mCounts{};
};

class RenderFrameQueueStress : public testing::Test
{
protected:
    RenderFrameQueueStress()
    {
        norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
        norvik::utility::SetCPUCountOverride(3);
        EmptyFrameCache();
        Executors::CreateSharedExecutors();
        mOthers = norvik::threads::CreateThreadedExecutor("others", 1);
        mQueue = ML::RenderFrameQueue::Create();
        mRenderer = ML::IAcceleratedSequenceRendererRef(new StressRenderer(mOthers));
        mSequence = MF::IRenderableCutlistProviderRef(new StressSequence);
        ML::VideoSourcePrefetcher::StartPrefetchers();
    }
    ~RenderFrameQueueStress() override
    {
        VF::SharedVideoFrameCache::SetNotificationFunction({});
        mRenderer.reset();
        mSequence.reset();
        mOthers.reset();
        mQueue.reset();
        ML::VideoSourcePrefetcher::StopPrefetchers();
        Executors::StopSharedExecutors();
        norvik::utility::SetCPUCountOverride(0);
        EmptyFrameCache();
        norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
    }

    bool IsAtRest() const
    {
        const ML::RenderFrameQueueCounts counts = mQueue->Counts();
        return counts.mIncoming + counts.mInFlight + counts.mPrefetching + counts.mNormal + counts.mLow +
                       counts.mRedundant + counts.mAccelerated + counts.mPassesScheduled ==
                   0 &&
               counts.mAvailableMemoryUnits == counts.mTotalMemoryUnits && NothingIsRead();
    }
    static bool NothingIsRead()
    {
        const ML::VideoSourcePrefetcher::TableSizes sizes = ML::VideoSourcePrefetcher::GetTableSizes();
        return sizes.mQueuedReads + sizes.mKeysBeingRead + sizes.mHoldersOfKeys + sizes.mRestingStreams ==
                   0 &&
               AnnouncedKeys() == 0;
    }

    TVK::TVKUnknownRef NewRead(Random& ioRandom) const;
    ML::RenderFrameRequest MakeRequest(Random& ioRandom, std::uint32_t inID, bool inNeedsKey) const;
    EndingRef NewEnding(std::uint32_t inID);
    void AddRandom(Random& ioRandom, int inDepth);
    void WorkRandomly(std::uint64_t inSeed, std::size_t inOperations);
    void RenderAndWait(Random& ioRandom);
    void RenderAndLetGo(Random& ioRandom);

    boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> mOthers;
    ML::RenderFrameQueueRef mQueue;
    ML::IAcceleratedSequenceRendererRef mRenderer;
    MF::IRenderableCutlistProviderRef mSequence;
    FakeReadSourceRef mStream{new FakeReadSource};
    std::atomic<std::uint32_t> mNextID{kFirstID};
    std::atomic<std::int64_t> mOutstanding{0};
    std::mutex mMutex;
    std::vector<EndingRef> mEndings;
    std::vector<StressClientRef> mClients;
};

// A fake, or an item that reads a stream, which it may share with others.
TVK::TVKUnknownRef RenderFrameQueueStress::NewRead(Random& ioRandom) const
{
    if (!OneIn(ioRandom, 4))
    {
        return TVK::TVKUnknownRef(TVK::InterfaceRef<StressRead>(new StressRead(ioRandom())).get());
    }
    BE::FrameDescription format;
    format.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    format.mBounds = {0, 0, 8, 4};
    const auto frame = static_cast<std::int64_t>(ioRandom() % kFramesOfStream);
    return TVK::TVKUnknownRef(ML::VideoSourcePrefetcher::CreateMediaPrefetcher(
        BE::IVideoSourceRef(mStream), format, norviktypes::TickTime::FromFrame(frame, mStream->mRate), {}, {},
        u"stream", 0));
}

ML::RenderFrameRequest RenderFrameQueueStress::MakeRequest(Random& ioRandom, std::uint32_t inID,
                                                           bool inNeedsKey) const
{
    TVK::TVKUnknownRef reads;
    if (OneIn(ioRandom, 2))
    {
        reads = NewRead(ioRandom);
    }
    if (OneIn(ioRandom, 16) && !inNeedsKey)
    {
        const norviktypes::TickTime time(inID);
        std::vector<ML::IRenderableNodePrefetchRef> items;
        if (reads)
        {
            items.emplace_back(reads);
        }
        return OneIn(ioRandom, 2) ? ML::RenderFrameRequest(time, items, inID)
                                  : ML::RenderFrameRequest(time, reads, inID);
    }
    const TVK::InterfaceRef<StressProducer> producer(
        new StressProducer(inID / kRequestsOfKey + 1, ioRandom()));
    ML::RenderFrameSettings settings = QueueSettings(inID);
    settings.mPriority = 890 + static_cast<std::uint32_t>(ioRandom() % 20);
    settings.mCaller = ioRandom() % kCallers;
    settings.mRenderFlags = OneIn(ioRandom, 8) ? ML::kRenderFlag_CacheAlways : 0;
    ML::RenderFrameRequest request(settings, TVK::TVKUnknownRef(producer.get()), reads, true, false);
    if (inNeedsKey || OneIn(ioRandom, 2))
    {
        try
        {
            request.ComputeKey(true);
        }
        catch (const std::runtime_error&)
        {
            // The queue meets it again, or fails for want of a key.
        }
    }
    if (OneIn(ioRandom, 8))
    {
        request.SetPrefetchOnly();
    }
    if (OneIn(ioRandom, 8))
    {
        request.mAcceleratedRenderer = mRenderer;
    }
    return request;
}

EndingRef RenderFrameQueueStress::NewEnding(std::uint32_t inID)
{
    const auto ending = std::make_shared<Ending>();
    ending->mID = inID;
    const std::lock_guard<std::mutex> lock(mMutex);
    mEndings.push_back(ending);
    return ending;
}

void RenderFrameQueueStress::AddRandom(Random& ioRandom, int inDepth)
{
    std::uint32_t id = mNextID.fetch_add(1);
    const bool takesAnothersID = OneIn(ioRandom, 64) && id > kFirstID + 10;
    if (takesAnothersID)
    {
        id -= static_cast<std::uint32_t>(ioRandom() % 8) + 1;
    }
    const EndingRef ending = NewEnding(id);
    ML::RenderFrameRequest request = MakeRequest(ioRandom, id, inDepth > 0);
    if (takesAnothersID)
    {
        request.mAcceleratedRenderer.reset(); // it would push the other one out
    }
    const std::uint64_t mood = ioRandom();
    request.SetCompletionFunction(
        [this, ending, mood, inDepth](const MF::IVideoFrameRef&, bool, int)
        {
            ending->mEnds.fetch_add(1);
            mOutstanding.fetch_sub(1);
            if (mood % 16 == 0 && inDepth < 3)
            {
                Random random(mood);
                AddRandom(random, inDepth + 1);
            }
            if (mood % 32 == 1)
            {
                throw std::runtime_error("client");
            }
        });
    mOutstanding.fetch_add(1);
    try
    {
        mQueue->AddRenderRequest(request);
    }
    catch (const std::runtime_error&)
    {
        // From the completion of one that was rendered on the spot, or accelerated there.
    }
}

// A client that waits, while others may cancel it.
void RenderFrameQueueStress::RenderAndWait(Random& ioRandom)
{
    const EndingRef ending = NewEnding(mNextID.fetch_add(1));
    ending->mWaits = true;
    ML::RenderFrameRequest request = MakeRequest(ioRandom, ending->mID, false);
    request.SetCompletionSignal(&ending->mSignal);
    mQueue->AddRenderRequest(request);
    if (ending->mSignal.WaitForSignal(static_cast<std::int32_t>(1000 * kPatience.count())) == 0)
    {
        ending->mEnds = 1;
    }
}

// A client that lets go of its render frame while renders are under way; it is told of every one of them.
void RenderFrameQueueStress::RenderAndLetGo(Random& ioRandom)
{
    const StressClientRef client(new StressClient);
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mClients.push_back(client);
    }
    const ML::IRenderFrameRef renderFrame(new ML::RenderFrame);
    renderFrame->SetOutputRect(TVK::Rect{0, 0, 16, 8}, {});
    renderFrame->SetCompletionClient(ML::IRenderFrameClientRef(client.get()));
    for (std::uint64_t left = ioRandom() % 4 + 1; left != 0; --left)
    {
        MF::IVideoFrameRef frame;
        const norviktypes::TickTime time(static_cast<std::int64_t>(ioRandom() % 100000) + 64);
        try
        {
            client->mAsked += renderFrame->Render(time, norviktypes::FrameRate(1), mSequence,
                                                  {norviktypes::kPixelFormat_BGRA_4444_8u}, false, 1000, 0,
                                                  frame, nullptr) == ML::kRenderFrameQueued
                                  ? 1U
                                  : 0U;
        }
        catch (const std::runtime_error&)
        {
            // The key could not be computed: nothing was asked for.
        }
    }
}

void RenderFrameQueueStress::WorkRandomly(std::uint64_t inSeed, std::size_t inOperations)
{
    Random random(inSeed);
    for (std::size_t i = 0; i < inOperations; ++i)
    {
        while (mOutstanding > kMostOutstanding)
        {
            std::this_thread::yield();
        }
        try
        {
            switch (random() % 16)
            {
            case 0: mQueue->CancelOne(mNextID - static_cast<std::uint32_t>(random() % 32)); break;
            case 1:
                if (OneIn(random, 8))
                {
                    mQueue->CancelCallersRequests(random() % kCallers);
                }
                break;
            case 2:
                VF::SharedVideoFrameCache::InsertIntoCache(SmallFrame(),
                                                           TVK::Guid(0xCAC4E, random() % 64 + 1), 0);
                break;
            case 3:
                if (OneIn(random, 16))
                {
                    RenderAndWait(random);
                }
                else if (OneIn(random, 4))
                {
                    RenderAndLetGo(random);
                }
                break;
            default: AddRandom(random, 0); break;
            }
        }
        catch (const std::runtime_error&)
        {
            // A completion function of what was cancelled.
        }
    }
}

TEST_F(RenderFrameQueueStress, EveryRequestEndsOnceWhateverHappens)
{
    CountingObserver observer;
    const std::size_t operations = ScaledCount(300000) / kThreads;
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < kThreads; ++i)
    {
        threads.emplace_back([this, i, operations] { WorkRandomly(Seed() + i, operations); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_TRUE(WaitFor([this] { return IsAtRest(); }));
    mOthers->WaitForTermination();

    std::map<std::uint32_t, int> bearers;
    for (const EndingRef& ending : mEndings)
    {
        ++bearers[ending->mID];
    }
    std::size_t ended = 0;
    std::size_t silent = 0;
    for (const EndingRef& ending : mEndings)
    {
        const std::uint32_t ends = ending->mEnds;
        ended += ends;
        silent += ends == 0 ? 1 : 0;
        // One of two of the same id and key may go without a word.
        if (ends != 1 && !(ends == 0 && bearers[ending->mID] > 1))
        {
            FAIL() << "request " << ending->mID << " ended " << ends << " times";
        }
        if (ending->mWaits)
        {
            EXPECT_NE(ending->mSignal.WaitForSignal(0), 0); // no second signal came
        }
    }
    std::size_t told = 0;
    for (const StressClientRef& client : mClients)
    {
        EXPECT_EQ(client->mEnds, client->mAsked);
        told += client->mEnds;
    }
    mClients.clear();
    EXPECT_GT(told, 0U);
    EXPECT_GT(ended, operations);
    fmt::print("{} requests ended once, {} of a repeated id without a word; {} of render frames\n", ended,
               silent, told);
    for (const ML::RenderEventKind kind :
         {ML::RenderEventKind::kQueued, ML::RenderEventKind::kMerged, ML::RenderEventKind::kCacheHit,
          ML::RenderEventKind::kRendered, ML::RenderEventKind::kCancelled, ML::RenderEventKind::kFinished})
    {
        EXPECT_GT(observer.Of(kind), 0U) << ML::RenderEventName(kind);
        fmt::print("{}: {}\n", ML::RenderEventName(kind), observer.Of(kind));
    }

    // Nothing of them is left anywhere, once the threads have let go of what they ran last.
    EXPECT_TRUE(WaitFor([] { return sLiveObjects == 2; })) << sLiveObjects; // renderer and node
}

TEST_F(RenderFrameQueueStress, ManyClientsOfOneFrameCostOneRender)
{
    constexpr std::uint32_t kFrames = 100;
    constexpr std::uint32_t clients = 64;
    std::vector<FakeProducerRef> producers;
    for (std::uint32_t i = 1; i <= kFrames; ++i)
    {
        producers.emplace_back(new FakeProducer(i));
    }
    std::atomic<std::uint32_t> frames{0};
    std::vector<std::thread> threads;
    for (std::uint32_t client = 0; client < clients; ++client)
    {
        threads.emplace_back(
            [&]
            {
                for (const FakeProducerRef& producer : producers)
                {
                    ML::RenderFrameRequest request = QueueRequest(mNextID.fetch_add(1), producer);
                    request.mRenderFlags = ML::kRenderFlag_CacheAlways;
                    request.SetCompletionFunction([&frames](const MF::IVideoFrameRef& inFrame, bool, int)
                                                  { frames += inFrame ? 1 : 0; });
                    mQueue->AddRenderRequest(request);
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_TRUE(WaitFor([&] { return frames == clients * kFrames; }));
    for (const FakeProducerRef& producer : producers)
    {
        EXPECT_EQ(producer->mRenders, 1);
    }
    EXPECT_TRUE(WaitFor([this] { return IsAtRest(); }));
}

TEST_F(RenderFrameQueueStress, QueueIsBuiltAndDestroyedByManyThreads)
{
    mQueue.reset();
    std::atomic<std::uint32_t> ends{0};
    const std::size_t rounds = ScaledCount(2000) / kThreads + 1;
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < kThreads; ++i)
    {
        threads.emplace_back(
            [&]
            {
                for (std::size_t round = 0; round < rounds; ++round)
                {
                    const FakeProducerRef producer(new FakeProducer(1));
                    ML::RenderFrameRequest request = QueueRequest(mNextID.fetch_add(1), producer);
                    request.SetCompletionFunction([&ends](MF::IVideoFrameRef, bool, int) { ++ends; });
                    ML::RenderFrameQueue::Create()->AddRenderRequest(request);
                    ML::RenderFrameQueue::ScheduleImmediatePoll();
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    // Passes hold the queue as long as there is work for them.
    EXPECT_TRUE(WaitFor([&] { return ends == rounds * kThreads; }));
    mQueue = ML::RenderFrameQueue::Create();
    EXPECT_TRUE(WaitFor([this] { return IsAtRest(); }));
}

} // namespace
