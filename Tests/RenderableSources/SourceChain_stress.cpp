// Eight threads on one chain: the frames are those of one thread, bit for bit.
#include "RenderableCutlistImpl.h"
#include "RenderableSources.h"
#include "TVK/Allocated.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>

namespace
{

using namespace norviktypes;
using Pixels = std::vector<std::uint8_t>;

constexpr std::size_t kThreads = 8;
constexpr std::int64_t kFrames = 6;
constexpr std::uint32_t kWidth = 48;
constexpr std::uint32_t kHeight = 32;
const FrameRate kRate = FrameRate::FromRational(25, 1);

std::vector<MF::IVideoFrameRef> FramesOfNoise(const PixelFormat& inFormat, FieldType inFieldType,
                                              std::int64_t inCount)
{
    std::vector<MF::IVideoFrameRef> frames;
    for (std::int64_t n = 0; n < inCount; ++n)
    {
        const MF::IVideoFrameRef frame = TestSupport::NewFrame(inFormat, kWidth, kHeight);
        TestSupport::FillWithNoise(frame, TestSupport::Seed() + static_cast<std::uint64_t>(n));
        frame->SetFieldType(inFieldType);
        frame->Freeze();
        frames.push_back(frame);
    }
    return frames;
}

// Gives the same frozen frames to all threads, with no lock that would put the threads in order.
class SharedFrames final : public TVK::Implements<SharedFrames, ML::IRenderableSource>
{
public:
    SharedFrames(const PixelFormat& inFormat, FieldType inFieldType)
        : mFieldType(inFieldType)
        , mFrames(FramesOfNoise(inFormat, inFieldType, 2 * kFrames))
    {
    }

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                          MF::FrameTime& outTime) override
    {
        outTime = MF::FrameTime(inTime.Earlier().AlignToFrame(kRate));
        const TickTime field(kRate.GetTicks() / 2);
        switch (mFieldType)
        {
        case kFieldType_UpperFirst: outTime.mSecondTime += field; break;
        case kFieldType_LowerFirst: outTime.mFirstTime += field; break;
        default: break;
        }
    }
    void CollectPrefetchItems(const MF::FrameTime&, const ML::CutlistRenderParams&,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        ioItems.emplace_back();
    }
    void Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                MF::IVideoFrameRef& outFrame) override
    {
        outFrame = mFrames.at(static_cast<std::size_t>(inTime.Earlier().ToFrame64(kRate)));
    }
    void GetFrameRate(FrameRate& outRate) override { outRate = kRate; }
    void GetFieldRate(FrameRate& outRate) override
    {
        outRate = mFieldType == kFieldType_Progressive ? kRate : kRate * 2;
    }

private:
    const FieldType mFieldType;
    const std::vector<MF::IVideoFrameRef> mFrames;
};

// A stream that fills frames by their number.
class NumberFiller final : public TestSupport::FakeVideoSource
{
public:
    bool CanRenderFrames(const MF::BinaryData&) const override { return false; }
    std::int32_t GetVideoFrame(const TickTime& inTime, const MF::BinaryData&, const TickTime&,
                               const TickTime&, const MF::IVideoFrameRef& ioFrame, RenderQuality, FieldType,
                               bool, bool, bool, bool, double) override
    {
        TestSupport::FillWithNoise(ioFrame, static_cast<std::uint64_t>(inTime.ToFrame64(kRate)));
        return 0;
    }
};

MF::FrameTime TimeOf(std::int64_t inFrame, FieldType inOrder)
{
    const TickTime start = TickTime::FromFrame(inFrame, kRate);
    const TickTime field(kRate.GetTicks() / 2);
    switch (inOrder)
    {
    case kFieldType_UpperFirst: return {start, start + field};
    case kFieldType_LowerFirst: return {start + field, start};
    default: return MF::FrameTime(start);
    }
}

// As callers do it: prefetched and conformed, then rendered.
Pixels RenderThrough(const ML::IRenderableSourceRef& inChain, const MF::FrameTime& inTime,
                     const ML::CutlistRenderParams& inParams)
{
    CollectedItems(inChain, inTime, inParams);
    return TestSupport::PixelBytes(
        RenderedFrame(inChain, ConformedTime(inChain, inTime, inParams), inParams));
}

// Renders frames in a random order on all threads, each against the one that a single thread made.
void ExpectFramesOfOneThread(const ML::IRenderableSourceRef& inChain, FieldType inOrder,
                             const ML::CutlistRenderParams& inParams)
{
    std::vector<Pixels> expected;
    for (std::int64_t n = 0; n < kFrames; ++n)
    {
        expected.push_back(RenderThrough(inChain, TimeOf(n, inOrder), inParams));
        ASSERT_FALSE(expected.back().empty());
    }
    ASSERT_NE(expected[0], expected[1]) << "frames that can be told apart";

    const std::size_t renders = TestSupport::ScaledCount(60);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                std::mt19937 random(static_cast<std::uint32_t>(TestSupport::Seed() + thread));
                for (std::size_t n = 0; n < renders; ++n)
                {
                    const std::size_t frame = random() % kFrames;
                    const MF::FrameTime time = TimeOf(static_cast<std::int64_t>(frame), inOrder);
                    wrong += RenderThrough(inChain, time, inParams) != expected[frame];
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

ML::CutlistRenderParams ReducedParams()
{
    ML::CutlistRenderParams params = RenderParams(32, 16);
    params.mSourceWidth = kWidth;
    params.mSourceHeight = kHeight;
    params.mScaleX = 32.0 / kWidth;
    params.mScaleY = 16.0 / kHeight;
    return params;
}

TEST(SourceChainThreads, OneChainOfAllThatIsDoneToFieldsServesEightThreads)
{
    for (const PixelFormat& format : {kPixelFormat_BGRA_4444_8u, kPixelFormat_YUV_420_MPEG2_Field_8u_709})
    {
        const ML::IRenderableSourceRef frames(
            TVK::InterfaceRef<SharedFrames>(new SharedFrames(format, kFieldType_UpperFirst)));
        const auto reordered = ML::FieldReverseSource(ML::ReverseFieldDominanceOfSource(frames));
        const auto chain =
            ML::RemoveFlickerFromSource(ML::ScaleAndPARCorrectSource(ML::DeinterlaceSource(reordered)));
        ExpectFramesOfOneThread(chain, kFieldType_Progressive, ReducedParams());
    }
}

TEST(SourceChainThreads, OneChainOfWovenAndScaledFramesServesEightThreads)
{
    for (const FieldType order : {kFieldType_UpperFirst, kFieldType_LowerFirst})
    {
        const ML::IRenderableSourceRef frames(TVK::InterfaceRef<SharedFrames>(
            new SharedFrames(kPixelFormat_BGRA_4444_8u, kFieldType_Progressive)));
        const auto chain = ML::ScaleAndPARCorrectSource(ML::InterlaceConsecutiveFramesFromSource(frames));
        ExpectFramesOfOneThread(chain, order, ReducedParams());
    }
}

TEST(SourceChainThreads, OneStreamThatIsFilledServesEightThreads)
{
    const TVK::InterfaceRef<NumberFiller> stream(new NumberFiller);
    const auto filled = ML::CreateRenderableGetVideoSource(BE::IVideoSourceRef(stream), {}, {}, {}, {},
                                                           kAlphaChannel_Premultiplied, false, false, false,
                                                           1.0, kRate, u"filler");
    ExpectFramesOfOneThread(ML::ScaleAndPARCorrectSource(filled), kFieldType_Progressive, ReducedParams());
}

// A sequence of one layer that shows the frame of its time.
class OneLayerSequence final
    : public TVK::Implements<OneLayerSequence, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    OneLayerSequence()
    {
        const auto frames = FramesOfNoise(kPixelFormat_BGRA_4444_8u, kFieldType_UpperFirst, kFrames);
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        cutlist->AddSegment(
            {}, TickTime::FromFrame(kFrames, kRate), {},
            TestSupport::CreateLayerNode(
                "noise",
                [frames](const MF::FrameTime& time, const ML::CutlistRenderParams&, MF::IVideoFrameRef& frame)
                {
                    frame = frames.at(static_cast<std::size_t>(time.Earlier().ToFrame64(kRate)));
                    return 0;
                }));
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
    TVK::Rect GetBounds() const override { return {0, 0, kWidth, kHeight}; }
    PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    FieldType GetFieldType() const override { return kFieldType_UpperFirst; }
    FrameRate GetFrameRate() const override { return kRate; }

private:
    MF::IRenderableCutlistRef mCutlist;
};

TEST(SourceChainThreads, OneSequenceServesEightThreadsWhateverIsCached)
{
    const TVK::InterfaceRef<OneLayerSequence> sequence(new OneLayerSequence);
    const auto chain = ML::ScaleAndPARCorrectSource(
        ML::CreateRenderableCutlistSource(MF::IRenderableCutlistProviderRef(sequence), kRate, {}));
    ML::CutlistRenderParams params = ReducedParams();
    for (const std::uint32_t flags : {0u, 8u})
    {
        TestSupport::EmptyFrameCache();
        params.mRenderFlags = flags;
        ExpectFramesOfOneThread(chain, kFieldType_UpperFirst, params);
    }
    TestSupport::EmptyFrameCache();
}

} // namespace
