// What many renders leave behind: nothing.

#include "ML/SharedExecutors.h"
#include "ReferenceHost/Executors/SharedExecutors.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Scale.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoSourcePrefetcher.h"
#include "norvik/utility/Machine.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <limits>
#include <thread>

namespace
{

using namespace TestSupport;

constexpr std::uint32_t kRound = 500; // requests that are under way together
constexpr std::int64_t kMostGrowth = std::int64_t{1} << 20;
constexpr std::chrono::seconds kPatience(120);

std::int64_t ResidentBytes()
{
    long pages = 0;
    long resident = 0;
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr || std::fscanf(file, "%ld %ld", &pages, &resident) != 2)
    {
        ADD_FAILURE() << "the system does not tell the memory of the process";
    }
    if (file != nullptr)
    {
        std::fclose(file);
    }
    return std::int64_t{resident} * sysconf(_SC_PAGESIZE);
}

// A frame of every request, some of media, some shared, some cached, some cancelled.
class RenderServiceGrowth : public testing::Test
{
protected:
    RenderServiceGrowth()
    {
        norvik::utility::SetCPUCountOverride(2);
        EmptyFrameCache();
        SetFrameCacheBudget(1 << 20); // is soon full
        Executors::CreateSharedExecutors();
        mQueue = ML::RenderFrameQueue::Create();
        ML::VideoSourcePrefetcher::StartPrefetchers();
    }
    ~RenderServiceGrowth() override
    {
        VF::SharedVideoFrameCache::SetNotificationFunction({});
        mQueue.reset();
        ML::VideoSourcePrefetcher::StopPrefetchers();
        Executors::StopSharedExecutors();
        SetFrameCacheBudget(std::uint64_t{1} << 30);
        EmptyFrameCache();
        norvik::utility::SetCPUCountOverride(0);
    }

    TVK::TVKUnknownRef NewRead(std::uint32_t inID) const
    {
        BE::FrameDescription format;
        format.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        format.mBounds = {0, 0, 8, 4};
        return TVK::TVKUnknownRef(ML::VideoSourcePrefetcher::CreateMediaPrefetcher(
            BE::IVideoSourceRef(mStream), format, norviktypes::TickTime::FromFrame(inID, mStream->mRate), {},
            {}, u"stream", 0));
    }

    void Add(std::uint32_t inID)
    {
        const std::uint64_t key = inID % 8 == 0 ? inID - 1 : inID; // every eighth asks for its neighbour's
        const FakeProducerRef producer(new FakeProducer(key));
        ML::RenderFrameRequest request(QueueSettings(inID), TVK::TVKUnknownRef(producer.get()),
                                       inID % 2 == 0 ? NewRead(inID) : TVK::TVKUnknownRef(), true, false);
        request.mRenderFlags = inID % 4 == 0 ? ML::kRenderFlag_CacheAlways : 0;
        request.SetCompletionFunction([this](const MF::IVideoFrameRef&, bool, int) { ++mEnds; });
        mQueue->AddRenderRequest(request);
        if (inID % 16 == 0)
        {
            mQueue->CancelOne(inID);
        }
    }

    void RenderRound()
    {
        for (std::uint32_t i = 0; i < kRound; ++i)
        {
            Add(++mID);
        }
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (mEnds != mID)
        {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << mEnds << " of " << mID;
            std::this_thread::yield();
        }
        mStream->TakeNotes();
    }

    const FakeReadSourceRef mStream{new FakeReadSource};
    ML::RenderFrameQueueRef mQueue;
    std::atomic<std::uint32_t> mEnds{0};
    std::uint32_t mID = 0;
};

TEST_F(RenderServiceGrowth, RendersAddNoMemory)
{
    if (!CanLimitMemory())
    {
        GTEST_SKIP() << "a sanitizer keeps freed memory for itself";
    }
    const std::size_t rounds = std::max<std::size_t>(1, ScaledCount(20000) / kRound);
    const std::size_t warmUp = 20 + rounds / 10;
    for (std::size_t i = 0; i < warmUp && !HasFailure(); ++i)
    {
        RenderRound();
    }
    // On a busy machine a stretch may have more requests in flight than ever before, and the heap grows once.
    // What is lost for good is lost in every stretch.
    std::int64_t growth = std::numeric_limits<std::int64_t>::max();
    for (int stretch = 0; stretch < 3 && growth > kMostGrowth && !HasFailure(); ++stretch)
    {
        const std::int64_t before = ResidentBytes();
        for (std::size_t i = 0; i < rounds && !HasFailure(); ++i)
        {
            RenderRound();
        }
        growth = std::min(growth, ResidentBytes() - before);
        fmt::print("{} renders added {} KiB to {} KiB\n", rounds * kRound, growth / 1024, before / 1024);
    }
    EXPECT_LE(growth, kMostGrowth);
}

} // namespace
