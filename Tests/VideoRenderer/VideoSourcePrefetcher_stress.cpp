#include "VideoSourcePrefetcher.h"

#include "ML/SharedExecutors.h"
#include "RenderFrameClient.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Scale.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_Wake.h"
#include "norvik/logging/Logging.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

using namespace ML::VideoSourcePrefetcher;
using TestSupport::FakeReadSource;
using TestSupport::FakeReadSourceRef;

constexpr std::uint32_t kSeed = 5101521;
constexpr std::int32_t kNotReady = ML::kRenderFramePrefetchFailed;
constexpr std::size_t kThreads = 4;
constexpr std::int64_t kFrames = 6;
// An item that is still not finished after so many looks waits for something that will never happen. Looks, not
// time, as a process may be kept from running for long.
constexpr int kForEver = 300000;

std::atomic<int> sLiveSources{0};

// What the sources of this test are like, by their number.
enum SourceKind : std::size_t
{
    kPlain,
    kFailing, // every third frame, by status or exception
    kResting, // falls asleep again and again
    kImage,
    kFilling, // renders no frames
    kAsync,
    kKinds
};

FakeReadSourceRef NewSource(std::size_t inKind)
{
    FakeReadSourceRef source(new FakeReadSource);
    ++sLiveSources;
    source->mDestroyFunction = [] { --sLiveSources; };
    source->mID = inKind + 1;
    source->mIsImage = inKind == kImage;
    source->mRendersFrames = inKind != kFilling;
    source->mIsAsync = inKind == kAsync;
    source->mAsyncAlive = false;
    source->mToken = std::make_shared<int>(0);
    if (inKind == kFailing)
    {
        source->mReadFunction = [](std::int64_t inFrame, MF::IVideoFrameRef& ioFrame) -> std::int32_t
        {
            if (inFrame % 3 == 1)
            {
                return BE::kSourceStatus_BadMedia;
            }
            if (inFrame % 3 == 2)
            {
                throw std::runtime_error("broken");
            }
            ioFrame = TestSupport::NewFilledFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 8, 4,
                                                  {static_cast<std::uint8_t>(inFrame), 0, 0, 0});
            return 0;
        };
    }
    return source;
}

class PrefetcherStress : public testing::Test
{
protected:
    PrefetcherStress()
    {
        TestSupport::EmptyFrameCache();
        // Frames go when nobody wants them, so that each is read again and again.
        TestSupport::SetFrameCacheBudget(0);
        ML::sVideoSourcePrefetcherQueue = norvik::threads::CreateThreadedExecutor("video", 2);
        ML::sImageSourcePrefetcherQueue = norvik::threads::CreateThreadedExecutor("image", 2);
        SetWakeFunction([this] { ++mWakeUps; });
        StartPrefetchers();
        for (std::size_t kind = 0; kind < kKinds; ++kind)
        {
            mSources[kind] = NewSource(kind);
        }
    }

    ~PrefetcherStress() override
    {
        for (FakeReadSourceRef& source : mSources)
        {
            source.reset();
        }
        StopPrefetchers();
        SetWakeFunction({});
        ML::sVideoSourcePrefetcherQueue.reset();
        ML::sImageSourcePrefetcherQueue.reset();
        TestSupport::SetFrameCacheBudget(TestSupport::kUsualFrameCacheBudget);
        TestSupport::EmptyFrameCache();
        const TableSizes sizes = GetTableSizes();
        EXPECT_EQ(sizes.mQueuedReads, 0u);
        EXPECT_EQ(sizes.mKeysBeingRead, 0u);
        EXPECT_EQ(sizes.mHoldersOfKeys, 0u);
        EXPECT_EQ(sizes.mRestingStreams, 0u);
        EXPECT_EQ(TestSupport::AnnouncedKeys(), 0u);
        EXPECT_EQ(sLiveSources, 0);
    }

    ML::IRenderableNodePrefetchRef NewItem(std::size_t inKind, std::int64_t inFrame) const
    {
        const BE::IVideoSourceRef source(mSources[inKind]);
        const auto time =
            norviktypes::TickTime::FromFrame(inFrame, norviktypes::FrameRate::FromRational(25, 1));
        BE::FrameDescription format;
        format.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        format.mBounds = {0, 0, 8, 4};
        return inKind == kFilling
                   ? CreateParameterizedMediaPrefetcher(source, format, time, {}, {}, u"", {}, 0)
                   : CreateMediaPrefetcher(source, format, time, {}, {}, u"", 0);
    }

    // Drives an item to its end, or until it loses interest.
    static bool Drive(const ML::IRenderableNodePrefetchRef& inItem, std::size_t inKind, int inPatience,
                      MF::IVideoFrameRef& outFrame)
    {
        for (int looks = 0; inItem->GetPrefetchResult(outFrame) == kNotReady; ++looks)
        {
            if (looks == inPatience)
            {
                return false;
            }
            if (inKind == kAsync && looks == 2)
            {
                inItem->ContinueWaitingForPrefetch(15.1);
            }
            if (looks == kForEver)
            {
                ADD_FAILURE() << "an item of kind " << inKind << " waits for ever";
                return false;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(looks < 20 ? 0 : 200));
        }
        return true;
    }

    void RunItem(std::mt19937& ioRandom)
    {
        const std::size_t kind = ioRandom() % kKinds;
        const auto frame = static_cast<std::int64_t>(ioRandom() % static_cast<std::uint32_t>(kFrames));
        if (kind == kResting && ioRandom() % 4 == 0)
        {
            mSources[kind]->mRests = true;
        }
        const ML::IRenderableNodePrefetchRef item = NewItem(kind, frame);
        ASSERT_GE(item->BeginPrefetch(), 0);
        const std::uint32_t fate = ioRandom() % 4;
        MF::IVideoFrameRef result;
        if (fate == 0 || !Drive(item, kind, fate == 1 ? static_cast<int>(ioRandom() % 4) : -1, result))
        {
            if (ioRandom() % 2 == 0)
            {
                item->CancelPrefetch();
            }
            return; // or drops it
        }
        const bool mayFail = kind == kFailing && frame % 3 != 0;
        // A read that failed was never in the cache.
        EXPECT_EQ(static_cast<bool>(result), !mayFail) << kind << " " << frame;
        if (result && kind != kFailing)
        {
            std::int32_t number = -1;
            std::memcpy(&number, TestSupport::RowOf(result, 0), sizeof(number));
            EXPECT_EQ(number, frame);
        }
        ++mFinished;
    }

    std::array<FakeReadSourceRef, kKinds> mSources;
    std::atomic<int> mWakeUps{0};
    std::atomic<int> mFinished{0};
};

TEST_F(PrefetcherStress, EveryItemEndsAndEverythingIsGivenBack)
{
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
    const int rounds = static_cast<int>(TestSupport::ScaledCount(6000));
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < kThreads; ++index)
    {
        threads.emplace_back(
            [&, index]
            {
                std::mt19937 random(kSeed + static_cast<std::uint32_t>(index));
                for (int round = 0; round < rounds && !HasFailure(); ++round)
                {
                    RunItem(random);
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
    std::printf("seed %u: %d items finished, %d wake-ups\n", kSeed, mFinished.load(), mWakeUps.load());
    EXPECT_GT(mFinished, rounds);
}

// Reads are dropped, run and taken back while the prefetcher ends.
TEST_F(PrefetcherStress, EndAmidReadsLeavesNothingBehind)
{
    std::mt19937 random(kSeed);
    std::vector<ML::IRenderableNodePrefetchRef> items;
    for (int index = 0; index < 200; ++index)
    {
        const std::size_t kind = random() % kKinds;
        items.push_back(NewItem(kind == kFailing ? kPlain : kind, index));
        items.back()->BeginPrefetch();
    }
    std::thread other(
        [&]
        {
            for (const auto& item : items)
            {
                item->CancelPrefetch();
            }
        });
    StopPrefetchers();
    other.join();
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
}

} // namespace
