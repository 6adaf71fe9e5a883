// One life of the render service, with requests at every station when it ends.
//
//   service_life SEED
//
// The seed says which stations are filled, how often the service is started and stopped meanwhile, and who stops
// it at last. Prints how many requests ended, how many were dropped without a word, and how many callers were left
// waiting for theirs; those are let go afterwards. The exit code is 0 if nobody was told twice, nobody but the
// dropped was forgotten, and no object is left.
#include "ML/SharedExecutors.h"
#include "ReferenceHost/Executors/SharedExecutors.h"
#include "RenderFrameQueue.h"
#include "RenderFrameRequest.h"
#include "RenderableNodeProducer.h"
#include "TVK/Allocated.h"
#include "TVK/Waitable.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"
#include "VideoRenderer.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "VideoSourcePrefetcher.h"
#include "norvik/logging/Logging.h"
#include "norvik/utility/Machine.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace
{

std::atomic<int> sLiveObjects{0};
std::atomic<bool> sEntered{false}; // somebody holds a pass

struct Counted
{
    Counted() { ++sLiveObjects; }
    ~Counted() { --sLiveObjects; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
};

// Work that goes on until the service is being shut down.
void WorkToTheEnd()
{
    while (!ML::RenderFrameQueue::Impl::IsShuttingDown())
    {
        std::this_thread::yield();
    }
}

class Producer final : public TVK::Implements<Producer, ML::IRenderableNodeProducer>
{
public:
    Producer(std::uint64_t inKey, bool inIsLong) : mKey(inKey), mIsLong(inIsLong) {}
    std::int32_t GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams&,
                          MF::IVideoFrameRef& outFrame) override
    {
        if (mIsLong)
        {
            WorkToTheEnd();
        }
        return VF::CreateVideoFrame(outFrame, norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, {}, true, false);
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                      const TVK::Guid&) override
    {
        outHash = TVK::Guid(0x11FE, mKey);
    }

private:
    const Counted mCounted;
    const std::uint64_t mKey;
    const bool mIsLong;
};

// Never ready; holds the pass that begins it, if it's told to.
class Read final : public TVK::Implements<Read, ML::IRenderableNodePrefetch>
{
public:
    explicit Read(bool inHoldsPass) : mHoldsPass(inHoldsPass) {}
    std::int32_t BeginPrefetch() override
    {
        if (mHoldsPass)
        {
            sEntered = true;
            WorkToTheEnd();
        }
        return 0;
    }
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef&) override { return ML::kRenderFramePrefetchFailed; }
    std::int32_t CancelPrefetch() override { return 0; }
    void GetPrefetchKey(TVK::Guid&) const override {}
    bool ContinueWaitingForPrefetch(double) override { return true; }

private:
    const Counted mCounted;
    const bool mHoldsPass;
};

// Accepts, and is never heard of again.
class Renderer final : public TVK::Implements<Renderer, ML::IAcceleratedSequenceRenderer>
{
public:
    void RefreshSegments() override {}
    const ML::AcceleratedSegmentMap& GetSegmentMap() override { return mSegments; }
    std::int32_t RenderFrame(const ML::AcceleratedRenderRequest&) override { return 0; }
    std::int32_t CancelFrame(std::uint32_t) override { return 0; }
    std::int32_t NotifySequence(std::uint32_t) override { return 0; }

private:
    const Counted mCounted;
    ML::AcceleratedSegmentMap mSegments;
};

struct Ending
{
    std::atomic<int> mEnds{0};
    boost::shared_ptr<ML::RequestResult> mResult;
    std::unique_ptr<TVK::WaitableObject> mSignal; // of one who waits
    std::thread mWaiter;
};

// Users beside those who keep the service up.
void ComeAndGo(std::mt19937_64 ioRandom)
{
    std::vector<std::thread> users;
    for (std::uint64_t i = ioRandom() % 4; i != 0; --i)
    {
        users.emplace_back(
            [times = ioRandom() % 5]
            {
                ML::VideoRenderer::Initialize();
                for (std::uint64_t time = 0; time < times; ++time)
                {
                    ML::VideoRenderer::Initialize();
                    ML::VideoRenderer::Shutdown();
                }
                ML::VideoRenderer::Shutdown();
            });
    }
    for (std::thread& user : users)
    {
        user.join();
    }
}

class Life
{
public:
    explicit Life(std::uint64_t inSeed) : mRandom(inSeed) {}
    int Run();

private:
    bool OneIn(std::uint64_t inCount) { return mRandom() % inCount == 0; }
    ML::RenderFrameRequest NewRequest(std::uint64_t inKey, bool inIsLong,
                                      TVK::InterfaceRef<Read> inRead = {});
    void Add(ML::RenderFrameRequest ioRequest, bool inWaits = false);
    template <class Done>
    void Until(Done&& inDone)
    {
        while (!inDone(mQueue->Counts()))
        {
            std::this_thread::yield();
        }
    }
    void FillStations();
    int Judge();

    std::mt19937_64 mRandom;
    ML::RenderFrameQueueRef mQueue;
    std::vector<std::unique_ptr<Ending>> mEndings;
    std::uint32_t mLastID = 0;
};

ML::RenderFrameRequest Life::NewRequest(std::uint64_t inKey, bool inIsLong, TVK::InterfaceRef<Read> inRead)
{
    ML::RenderFrameSettings settings;
    settings.mSourceRect = settings.mOutputRect = TVK::Rect{0, 0, 16, 8};
    settings.mRequestedFormats = {norviktypes::kPixelFormat_BGRA_4444_8u};
    settings.mPriority = 1000;
    settings.mRequestID = ++mLastID;
    const TVK::InterfaceRef<Producer> producer(new Producer(inKey, inIsLong));
    return ML::RenderFrameRequest(settings, TVK::TVKUnknownRef(producer.get()),
                                  TVK::TVKUnknownRef(inRead.get()), true, false);
}

void Life::Add(ML::RenderFrameRequest ioRequest, bool inWaits)
{
    mEndings.push_back(std::make_unique<Ending>());
    Ending& ending = *mEndings.back();
    ending.mResult = ioRequest.GetResult();
    if (!inWaits)
    {
        ioRequest.SetCompletionFunction([&ending](const MF::IVideoFrameRef&, bool, int) { ++ending.mEnds; });
        mQueue->AddRenderRequest(ioRequest);
        return;
    }
    ending.mSignal = std::make_unique<TVK::WaitableObject>();
    ioRequest.SetCompletionSignal(ending.mSignal.get());
    mQueue->AddRenderRequest(ioRequest);
    ending.mWaiter = std::thread(
        [&ending]
        {
            ending.mSignal->WaitForSignal(-1);
            ++ending.mEnds;
        });
}

// Each station that's chosen holds something afterwards. Both workers are busy first, as nothing stays ready else.
void Life::FillStations()
{
    const bool isBusy = !OneIn(4);
    if (isBusy)
    {
        Add(NewRequest(1, true), OneIn(2));
        Until([](const ML::RenderFrameQueueCounts& counts) { return counts.mRedundant == 1; });
        Add(NewRequest(1, true), OneIn(2)); // is parked
        Add(NewRequest(2, true));
        Until([](const ML::RenderFrameQueueCounts& counts) { return counts.mRedundant == 3; });
        for (std::uint64_t i = mRandom() % 4; i != 0; --i)
        {
            Add(NewRequest(10 + i, false), OneIn(2));
        }
    }
    else
    {
        for (std::uint64_t i = mRandom() % 100; i != 0; --i)
        {
            Add(NewRequest(i / 2 + 1, false), OneIn(8));
        }
    }
    for (std::uint64_t i = mRandom() % 4; i != 0; --i)
    {
        ML::RenderFrameRequest request = NewRequest(20 + i, false);
        request.mAcceleratedRenderer =
            ML::IAcceleratedSequenceRendererRef(TVK::InterfaceRef<Renderer>(new Renderer).get());
        Add(request, OneIn(2));
    }
    if (OneIn(2))
    {
        ML::RenderFrameRequest low = NewRequest(30, isBusy);
        low.mPriority = 1;
        Add(low, OneIn(2));
    }
    const bool holdsPass = OneIn(3);
    for (std::uint64_t i = mRandom() % 20; i != 0; --i)
    {
        Add(NewRequest(40 + i, false, TVK::InterfaceRef<Read>(new Read(holdsPass))), OneIn(4));
    }
}

int Life::Judge()
{
    int ended = 0;
    int dropped = 0;
    int waiting = 0;
    int wrong = 0;
    for (const std::unique_ptr<Ending>& ending : mEndings)
    {
        const bool wasDropped = ending->mResult->Claim(); // nobody else will end it now
        if (ending->mSignal)
        {
            // Who was dropped waits; all others are woken, or this program comes to no end.
            if (wasDropped)
            {
                ++waiting;
                ending->mSignal->Signal();
            }
            ending->mWaiter.join();
            ending->mEnds -= wasDropped ? 1 : 0;
        }
        ended += wasDropped ? 0 : 1;
        dropped += wasDropped ? 1 : 0;
        wrong += ending->mEnds != (wasDropped ? 0 : 1) ? 1 : 0;
    }
    std::printf("ended %d dropped %d waiting %d\n", ended, dropped, waiting);
    if (wrong != 0 || sLiveObjects != 0)
    {
        std::fprintf(stderr, "%d were told twice or not at all, %d objects are left\n", wrong,
                     sLiveObjects.load());
        return 1;
    }
    return 0;
}

int Life::Run()
{
    norvik::utility::SetCPUCountOverride(2);
    Executors::CreateSharedExecutors();
    const std::uint64_t users = mRandom() % 3 + 1;
    for (std::uint64_t i = 0; i < users; ++i)
    {
        ML::VideoRenderer::Initialize();
    }
    mQueue = ML::RenderFrameQueue::Create();
    std::thread others(&ComeAndGo, std::mt19937_64(mRandom()));
    FillStations();
    others.join();
    std::vector<std::thread> last;
    for (std::uint64_t i = 0; i < users; ++i)
    {
        last.emplace_back([] { ML::VideoRenderer::Shutdown(); });
    }
    // Some come too late, or just not.
    for (std::uint64_t i = mRandom() % 4; i != 0; --i)
    {
        Add(NewRequest(60 + i, false), OneIn(2));
    }
    for (std::thread& user : last)
    {
        user.join();
    }
    VF::SharedVideoFrameCache::SetNotificationFunction({});
    Executors::StopSharedExecutors();
    mQueue.reset();
    return Judge();
}

} // namespace

int main(int inCount, char** inArguments)
{
    if (inCount != 2)
    {
        std::fputs("service_life SEED\n", stderr);
        return 2;
    }
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
    return Life(std::strtoull(inArguments[1], nullptr, 10)).Run();
}
