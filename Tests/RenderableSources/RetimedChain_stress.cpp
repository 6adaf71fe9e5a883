// One chain that many threads render at once gives each of them what one thread alone gets.
#include "RenderableSources.h"

#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

namespace
{

using namespace norviktypes;

constexpr FrameRate kVideo = FrameRate::FromRational(30000, 1001);
constexpr std::size_t kThreads = 8;

MF::FrameTime TimeOfRender(std::size_t inRender, bool inHasFields)
{
    const double ticks = static_cast<double>(kVideo.GetTicks());
    const TickTime first(std::llround(static_cast<double>(inRender % 12) * 1.7 * ticks));
    return inHasFields ? MF::FrameTime(first, first + TickTime(std::llround(0.85 * ticks)))
                       : MF::FrameTime(first);
}

void ExpectEveryThreadGetsTheFramesOfOne(const ML::IRenderableSourceRef& inSource,
                                         const ML::CutlistRenderParams& inParams, bool inHasFields)
{
    const std::size_t renders = TestSupport::ScaledCount(60);
    std::vector<std::vector<std::uint8_t>> expected;
    for (std::size_t i = 0; i < 12; ++i)
    {
        expected.push_back(
            TestSupport::PixelBytes(RenderedFrame(inSource, TimeOfRender(i, inHasFields), inParams)));
        ASSERT_FALSE(expected.back().empty());
    }
    std::vector<std::size_t> differing(kThreads, 0);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                for (std::size_t i = 0; i < renders; ++i)
                {
                    const std::size_t render = (i * (t + 1) + t) % 12;
                    const MF::FrameTime time = TimeOfRender(render, inHasFields);
                    CollectedItems(inSource, time, inParams);
                    const MF::IVideoFrameRef frame = RenderedFrame(inSource, time, inParams);
                    differing[t] += TestSupport::PixelBytes(frame) == expected[render] ? 0u : 1u;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(differing, std::vector<std::size_t>(kThreads, 0));
}

class RetimedChain : public testing::TestWithParam<PixelFormat>
{
protected:
    RetimedChain()
    {
        mInner->mRate = kVideo;
        mInner->mFormat = GetParam();
        mParams = RenderParams(TestSupport::kPaintedSourceWidth, 8, kRenderQuality_High, GetParam());
        mParams.mFrameRate = kVideo;
    }

    TestSupport::PaintedSourceRef mInner{new TestSupport::PaintedSource};
    ML::CutlistRenderParams mParams;
};

TEST_P(RetimedChain, OfFilmIsTheSameOnEveryThread)
{
    const ML::IRenderableSourceRef film = ML::RemovePulldownFromSource(mInner, kPulldownCadence_SSWWW);
    for (const bool hasFields : {false, true})
    {
        ExpectEveryThreadGetsTheFramesOfOne(ML::TimeBlendSource(film, {}, 1.7), mParams, hasFields);
    }
}

TEST_P(RetimedChain, OfFieldsIsTheSameOnEveryThread)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    ExpectEveryThreadGetsTheFramesOfOne(ML::TimeBlendSource(mInner, {}, 0.5), mParams, true);
    ExpectEveryThreadGetsTheFramesOfOne(ML::TimeMixSource(mInner), mParams, true);
}

INSTANTIATE_TEST_SUITE_P(Formats, RetimedChain,
                         testing::Values(kPixelFormat_BGRA_4444_8u, kPixelFormat_YUV_420_MPEG2_Field_8u_709));

} // namespace
