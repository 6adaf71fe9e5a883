// The same cutlist by any number of threads, in any order, with a cache that is cold, hot or emptied meanwhile:
// the frames are those of one thread and a cold cache, bit for bit.
#include "CutlistRenderer.h"

#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "Tests/Support/Layers/LayerStack.h"
#include "Tests/Support/Layers/MovingLayers.h"
#include "Tests/Support/Layers/Shapes.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

namespace
{

using norviktypes::TickTime;
using Pixels = std::vector<std::uint8_t>;

constexpr std::uint32_t kWidth = 96;
constexpr std::uint32_t kHeight = 64;
constexpr std::size_t kMoments = 12;

// A clip of two fields that moves, so that each field is drawn with its own record.
MF::IRenderableCutlistRef CreateInterlacedLayers()
{
    const MF::IRenderableNodeRef still = TestSupport::CreateLayerNode(
        "still",
        [](const MF::FrameTime&, const ML::CutlistRenderParams& params, MF::IVideoFrameRef& frame)
        {
            frame = TestSupport::PaintChecks(params.mWidth, params.mHeight, 0xFF203040, 0xFF807060);
            frame->SetFieldType(params.mFieldType);
            return 0;
        });
    const MF::IRenderableNodeRef moving = TestSupport::CreateLayerNode(
        "moving",
        [](const MF::FrameTime&, const ML::CutlistRenderParams& params, MF::IVideoFrameRef& frame)
        {
            frame = TestSupport::PaintRing(params.mHeight, params.mHeight, 0xFFC08040);
            frame->SetFieldType(params.mFieldType);
            return 0;
        },
        [](const TickTime& time, ML::NodeIntrinsicParameters& record)
        {
            record.positionX = static_cast<float>(time.AsSeconds());
            record.rotation = 200.0 * time.AsSeconds();
            record.antiFlicker = 0.5;
            return 0;
        });
    return TestSupport::CutlistOfNode(TestSupport::CreateLayerStack({still, moving}),
                                      TickTime::FromSeconds(1.0));
}

struct Job
{
    MF::IRenderableCutlistRef mCutlist;
    ML::CutlistRenderParams mParams;
};

MF::FrameTime TimeOf(std::size_t inMoment, bool inIsInterlaced)
{
    const double second = static_cast<double>(inMoment) / kMoments;
    const double field = inIsInterlaced ? 0.5 / kMoments : 0.0;
    return {TickTime::FromSeconds(second), TickTime::FromSeconds(second + field)};
}

std::vector<Job> AllJobs()
{
    const MF::IRenderableCutlistRef progressive = TestSupport::CreateMovingLayers();
    const MF::IRenderableCutlistRef interlaced = CreateInterlacedLayers();
    std::vector<Job> jobs;
    for (std::size_t moment = 0; moment < kMoments; ++moment)
    {
        for (const auto quality : {norviktypes::kRenderQuality_Low, norviktypes::kRenderQuality_High,
                                   norviktypes::kRenderQuality_Max})
        {
            Job job{progressive, RenderParams(kWidth, kHeight, quality)};
            job.mParams.mFrameTime = TimeOf(moment, false);
            jobs.push_back(job);
            job.mCutlist = interlaced;
            job.mParams.mFrameTime = TimeOf(moment, true);
            job.mParams.mFieldType = norviktypes::kFieldType_UpperFirst;
            jobs.push_back(job);
            job.mParams.mFieldToRender = 2;
            jobs.push_back(job);
        }
    }
    return jobs;
}

// Empty where no frame came.
Pixels Render(const Job& inJob, bool inStore)
{
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime times;
    ML::ResolveProducerAtTime(inJob.mCutlist, inJob.mParams, producer, times);
    const MF::IVideoFrameRef frame =
        ML::RenderFrameFromCutlist(producer, inJob.mParams, times, {norviktypes::kPixelFormat_Any}, inStore);
    return frame ? TestSupport::PixelBytes(frame) : Pixels();
}

class CutlistRendererThreads : public testing::Test
{
protected:
    const std::vector<Job> mJobs = AllJobs();
    std::vector<Pixels> mExpected;

    // One thread, and nothing in the cache before any frame.
    void SetUp() override
    {
        for (const Job& job : mJobs)
        {
            TestSupport::EmptyFrameCache();
            mExpected.push_back(Render(job, false));
            ASSERT_FALSE(mExpected.back().empty());
        }
        TestSupport::EmptyFrameCache();
    }

    std::vector<std::size_t> ShuffledJobs(std::uint64_t inSeed) const
    {
        std::vector<std::size_t> order(mJobs.size());
        for (std::size_t i = 0; i < order.size(); ++i)
        {
            order[i] = i;
        }
        std::shuffle(order.begin(), order.end(), std::mt19937_64(inSeed));
        return order;
    }

    // Each thread renders all frames in an order of its own. The number of frames that came out otherwise.
    int RenderByThreads(unsigned inThreads, bool inStore, bool inEmptiesCache)
    {
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (unsigned number = 0; number < inThreads; ++number)
        {
            threads.emplace_back(
                [&, number]
                {
                    for (const std::size_t index : ShuffledJobs(TestSupport::Seed() + number))
                    {
                        if (inEmptiesCache && number == 0 && index % 7 == 0)
                        {
                            TestSupport::EmptyFrameCache();
                        }
                        wrong += Render(mJobs[index], inStore) == mExpected[index] ? 0 : 1;
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        return wrong;
    }
};

TEST_F(CutlistRendererThreads, FramesAreTheSameForAnyNumberOfThreadsCacheColdAndHot)
{
    for (const unsigned threads : {1u, 2u, 8u})
    {
        TestSupport::EmptyFrameCache();
        EXPECT_EQ(0, RenderByThreads(threads, true, false)) << threads << " threads, cold";
        EXPECT_EQ(0, RenderByThreads(threads, true, false)) << threads << " threads, hot";
    }
}

TEST_F(CutlistRendererThreads, FramesAreTheSameWhetherOrNotAnythingIsKept)
{
    EXPECT_EQ(0, RenderByThreads(2, false, false));
    for (std::size_t round = 0; round < TestSupport::ScaledCount(4); ++round)
    {
        EXPECT_EQ(0, RenderByThreads(8, true, true)) << "emptied meanwhile";
    }
}

TEST_F(CutlistRendererThreads, FramesDiffer)
{
    // The comparison above would hold for frames that are all the same.
    for (std::size_t i = 9; i < mExpected.size(); ++i)
    {
        EXPECT_NE(mExpected[i - 9], mExpected[i]) << i;
    }
}

} // namespace
