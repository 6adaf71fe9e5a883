#include "ML/SharedExecutors.h"
#include "ReferenceHost/Executors/SharedExecutors.h"
#include "RenderFrame.h"
#include "RenderFrameQueue.h"
#include "RenderFrameRequest.h"
#include "RenderableCutlistImpl.h"
#include "RenderableNodeProducer.h"
#include "RenderableNodeSolidColorImpl.h"
#include "TVK/Allocated.h"
#include "TVK/Waitable.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

// What the queue itself costs: the producer gives a frame that is there already.
//
// Requests have distinct keys and are built beforehand, as their making isn't the queue's work. Processor time
// is that of the whole process. The processor count decides how many threads render.

namespace
{

MF::IVideoFrameRef NewFrame()
{
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 64, 36,
                         norviktypes::PixelAspectRatio(), true, false);
    frame->Freeze();
    return frame;
}

const MF::IVideoFrameRef& TheFrame()
{
    static const MF::IVideoFrameRef sFrame = NewFrame();
    return sFrame;
}

class TrivialProducer final : public TVK::Implements<TrivialProducer, ML::IRenderableNodeProducer>
{
public:
    TrivialProducer(std::uint64_t inNumber, std::int64_t inNanoseconds)
        : mNumber(inNumber)
        , mNanoseconds(inNanoseconds)
    {
    }
    std::int32_t GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams&,
                          MF::IVideoFrameRef& outFrame) override
    {
        mRenders.fetch_add(1, std::memory_order_relaxed);
        const std::int64_t end = os::PerformanceCounter() + mNanoseconds;
        while (mNanoseconds != 0 && os::PerformanceCounter() < end)
        {
        }
        outFrame = TheFrame();
        return 0;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                      const TVK::Guid&) override
    {
        outHash = TVK::Guid(0xBE7C4, mNumber);
    }

    static inline std::atomic<std::uint64_t> mRenders{0};

private:
    const std::uint64_t mNumber;
    const std::int64_t mNanoseconds; // that a render keeps its thread busy
};

std::atomic<std::uint32_t> sNextID{1};

ML::RenderFrameRequest NewRequest(std::uint64_t inKey, std::uint32_t inFlags = 0,
                                  std::int64_t inNanoseconds = 0)
{
    ML::RenderFrameSettings settings;
    settings.mTime = norviktypes::TickTime(1);
    settings.mSourceRect = settings.mOutputRect = TVK::Rect{0, 0, 64, 36};
    settings.mRequestedFormats = {norviktypes::kPixelFormat_BGRA_4444_8u};
    settings.mPriority = 1000;
    settings.mRequestID = sNextID.fetch_add(1);
    settings.mRenderFlags = inFlags;
    return ML::RenderFrameRequest(
        settings,
        TVK::TVKUnknownRef(
            TVK::InterfaceRef<TrivialProducer>(new TrivialProducer(inKey, inNanoseconds)).get()),
        TVK::TVKUnknownRef(), false, false);
}

double ProcessSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The host's executors and a queue, for the length of a benchmark.
class Service
{
public:
    Service()
    {
        Executors::CreateSharedExecutors();
        mQueue = ML::RenderFrameQueue::Create();
    }
    ~Service()
    {
        VF::SharedVideoFrameCache::SetNotificationFunction({});
        mQueue.reset();
        Executors::StopSharedExecutors();
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ML::RenderFrameQueue& Queue() { return *mQueue; }

private:
    ML::RenderFrameQueueRef mQueue;
};

// Waits for a number of ends.
class Countdown
{
public:
    explicit Countdown(std::uint64_t inCount) : mLeft(inCount) {}
    void End()
    {
        if (mLeft.fetch_sub(1, std::memory_order_acq_rel) == 1)
        {
            mDone.Signal();
        }
    }
    void Wait() { mDone.WaitForSignal(-1); }

private:
    std::atomic<std::uint64_t> mLeft;
    TVK::WaitableObject mDone;
};

// The requests of each client, all ending in the countdown. inKeys: how many frames they share, each of which
// takes inNanoseconds to render; 0: each has a frame of its own, which is there at once.
std::vector<std::vector<ML::RenderFrameRequest>> NewBatches(std::size_t inClients, std::size_t inRequests,
                                                            std::uint64_t inKeys, std::int64_t inNanoseconds,
                                                            Countdown& inCountdown)
{
    static std::uint64_t sKey = 1;
    const std::uint64_t firstKey = sKey;
    sKey += inKeys == 0 ? inClients * inRequests : inKeys;
    std::vector<std::vector<ML::RenderFrameRequest>> batches(inClients);
    std::uint64_t number = 0;
    for (auto& batch : batches)
    {
        for (std::size_t i = 0; i < inRequests; ++i, ++number)
        {
            batch.push_back(
                inKeys == 0 ? NewRequest(firstKey + number)
                            : NewRequest(firstKey + i % inKeys, ML::kRenderFlag_CacheAlways, inNanoseconds));
            batch.back().SetCompletionFunction([&inCountdown](const MF::IVideoFrameRef&, bool, int)
                                               { inCountdown.End(); });
        }
    }
    return batches;
}

// From the first client's first request until all are added. Seconds.
double AddBatches(Service& ioService, const std::vector<std::vector<ML::RenderFrameRequest>>& inBatches)
{
    const std::int64_t start = os::PerformanceCounter();
    std::vector<std::thread> clients;
    for (const auto& batch : inBatches)
    {
        clients.emplace_back(
            [&ioService, &batch]
            {
                for (const ML::RenderFrameRequest& request : batch)
                {
                    ioService.Queue().AddRenderRequest(request);
                }
            });
    }
    for (std::thread& client : clients)
    {
        client.join();
    }
    return static_cast<double>(os::PerformanceCounter() - start) * 1e-9;
}

// The same until the last one was notified.
double RunBatches(Service& ioService, const std::vector<std::vector<ML::RenderFrameRequest>>& inBatches,
                  Countdown& ioCountdown)
{
    const std::int64_t start = os::PerformanceCounter();
    AddBatches(ioService, inBatches);
    ioCountdown.Wait();
    return static_cast<double>(os::PerformanceCounter() - start) * 1e-9;
}

void DistinctFrames(benchmark::State& ioState)
{
    constexpr std::size_t kRequests = 10000;
    const auto clients = static_cast<std::size_t>(ioState.range(0));
    Service service;
    double processorSeconds = 0;
    for (auto _ : ioState)
    {
        Countdown countdown(clients * kRequests);
        const auto batches = NewBatches(clients, kRequests, 0, 0, countdown);
        const double before = ProcessSeconds();
        ioState.SetIterationTime(RunBatches(service, batches, countdown));
        processorSeconds += ProcessSeconds() - before;
    }
    const auto requests =
        static_cast<double>(ioState.iterations()) * static_cast<double>(clients * kRequests);
    ioState.SetItemsProcessed(static_cast<std::int64_t>(requests));
    ioState.counters["cpu_us_per_request"] = processorSeconds * 1e6 / requests;
}

// Many clients of the same frames: each is made once.
void SameFrames(benchmark::State& ioState)
{
    constexpr std::size_t kFrames = 100;
    constexpr std::int64_t kRenderNanoseconds = 5000000;
    const auto clients = static_cast<std::size_t>(ioState.range(0));
    Service service;
    std::uint64_t renders = 0;
    for (auto _ : ioState)
    {
        Countdown countdown(clients * kFrames);
        const auto batches = NewBatches(clients, kFrames, kFrames, kRenderNanoseconds, countdown);
        const std::uint64_t before = TrivialProducer::mRenders;
        ioState.SetIterationTime(RunBatches(service, batches, countdown));
        renders += TrivialProducer::mRenders - before;
    }
    ioState.counters["renders"] = static_cast<double>(renders) / static_cast<double>(ioState.iterations());
}

// Keeps the passes of the queue waiting, from construction to Release.
class Blocker
{
public:
    explicit Blocker(ML::RenderFrameQueue& ioQueue)
    {
        ML::RenderFrameRequest request(norviktypes::TickTime(1),
                                       std::vector<ML::IRenderableNodePrefetchRef>(), sNextID.fetch_add(1));
        request.SetCompletionFunction(
            [this](const MF::IVideoFrameRef&, bool, int)
            {
                mEntered.Signal();
                mGo.WaitForSignal(-1);
                mLeft.Signal();
            });
        ioQueue.AddRenderRequest(request);
        mEntered.WaitForSignal(-1);
    }
    void Release()
    {
        mGo.Signal();
        mLeft.WaitForSignal(-1);
    }

private:
    TVK::WaitableObject mEntered;
    TVK::WaitableObject mGo;
    TVK::WaitableObject mLeft;
};

// What adding costs the callers, with no pass running.
void AddRequests(benchmark::State& ioState)
{
    constexpr std::size_t kRequests = 2000;
    const auto clients = static_cast<std::size_t>(ioState.range(0));
    double processorSeconds = 0;
    for (auto _ : ioState)
    {
        Service service;
        Countdown countdown(clients * kRequests);
        const auto batches = NewBatches(clients, kRequests, 0, 0, countdown);
        Blocker blocker(service.Queue());
        const double before = ProcessSeconds();
        ioState.SetIterationTime(AddBatches(service, batches));
        processorSeconds += ProcessSeconds() - before;
        blocker.Release();
        countdown.Wait();
    }
    const auto requests =
        static_cast<double>(ioState.iterations()) * static_cast<double>(clients * kRequests);
    ioState.SetItemsProcessed(static_cast<std::int64_t>(requests));
    ioState.counters["cpu_us_per_request"] = processorSeconds * 1e6 / requests;
}

// A client that waits for a frame that lies in the cache, through the whole of the queue.
void WaitForCachedFrame(benchmark::State& ioState)
{
    Service service;
    TVK::WaitableObject signal;
    const ML::RenderFrameRequest first = NewRequest(77);
    VF::SharedVideoFrameCache::InsertIntoCache(TheFrame(), first.GetKey(), 10);
    for (auto _ : ioState)
    {
        ML::RenderFrameRequest request = NewRequest(77);
        request.SetCompletionSignal(&signal);
        service.Queue().AddRenderRequest(request);
        signal.WaitForSignal(-1);
        benchmark::DoNotOptimize(request.GetResultFrame());
    }
}

// A sequence of one solid colour.
class ColorSequence final
    : public TVK::Implements<ColorSequence, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    ColorSequence()
    {
        const TVK::InterfaceRef<ML::RenderableNodeSolidColorImpl> node(
            new ML::RenderableNodeSolidColorImpl());
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
                                     const norvik::utility::ImmutableString&, bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist,
                                 const norvik::utility::ImmutableString&, bool, bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }
    TVK::Rect GetBounds() const override { return TVK::Rect{0, 0, 64, 36}; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    norviktypes::FieldType GetFieldType() const override { return norviktypes::kFieldType_FromSource; }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(1000); }

private:
    MF::IRenderableCutlistRef mCutlist;
};

// The same where the call finds the frame itself, before there is anything to wait for.
void FindCachedFrame(benchmark::State& ioState)
{
    Service service;
    const TVK::InterfaceRef<ML::RenderFrame> renderFrame(new ML::RenderFrame);
    renderFrame->SetOutputRect(TVK::Rect{0, 0, 64, 36}, {});
    const MF::IRenderableCutlistProviderRef sequence(new ColorSequence);
    const ML::IRenderFrame::Formats formats = {norviktypes::kPixelFormat_BGRA_4444_8u};
    MF::IVideoFrameRef frame;
    const auto render = [&]
    {
        renderFrame->Render(norviktypes::TickTime(1000), norviktypes::FrameRate(1000), sequence, formats,
                            true, 1000, 0, frame, nullptr);
    };
    render();
    const MF::IVideoFrameRef first = frame;
    for (auto _ : ioState)
    {
        render();
        if (!frame || frame.get() != first.get())
        {
            ioState.SkipWithError("the frame was not in the cache");
            break;
        }
    }
}

// The last of many requests is cancelled: incoming, and ready in a priority set.
void CancelIncoming(benchmark::State& ioState)
{
    const auto count = static_cast<std::size_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        Service service;
        Countdown countdown(count);
        const auto batches = NewBatches(1, count, 0, 0, countdown);
        Blocker blocker(service.Queue());
        for (const ML::RenderFrameRequest& request : batches[0])
        {
            service.Queue().AddRenderRequest(request);
        }
        const std::int64_t start = os::PerformanceCounter();
        service.Queue().CancelOne(batches[0].back().mRequestID);
        ioState.SetIterationTime(static_cast<double>(os::PerformanceCounter() - start) * 1e-9);
        blocker.Release();
        countdown.Wait();
    }
}

void CancelReady(benchmark::State& ioState)
{
    const auto count = static_cast<std::size_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        Service service;
        Countdown countdown(count);
        const auto batches = NewBatches(1, count, 0, 0, countdown);
        const auto workers = std::move(ML::sNormalPriorityRenderQueue);
        ML::sNormalPriorityRenderQueue.reset(); // nobody takes them away
        for (const ML::RenderFrameRequest& request : batches[0])
        {
            service.Queue().AddRenderRequest(request);
        }
        while (service.Queue().Counts().mNormal != count)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::int64_t start = os::PerformanceCounter();
        service.Queue().CancelOne(batches[0].back().mRequestID);
        ioState.SetIterationTime(static_cast<double>(os::PerformanceCounter() - start) * 1e-9);
        ML::sNormalPriorityRenderQueue = workers;
        service.Queue().AddRenderRequest(NewRequest(2));
        countdown.Wait();
    }
}

BENCHMARK(DistinctFrames)->Arg(1)->Arg(8)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(SameFrames)->Arg(1)->Arg(64)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AddRequests)->Arg(1)->Arg(8)->UseManualTime()->Iterations(20);
BENCHMARK(WaitForCachedFrame)->UseRealTime();
BENCHMARK(FindCachedFrame)->UseRealTime();
BENCHMARK(CancelIncoming)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(CancelReady)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
