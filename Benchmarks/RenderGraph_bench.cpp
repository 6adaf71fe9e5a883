#include "CutlistRenderer.h"
#include "MediaNodeProducer.h"
#include "RenderableCutlistImpl.h"
#include "RenderableNodeSolidColorImpl.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <utility>
#include <vector>

// What is paid for each frame before any pixel is touched, and for each change of a timeline.

namespace
{

using norviktypes::TickTime;

constexpr std::int64_t kFrame = 10160640000; // 25 frames a second

ML::CutlistRenderParams Params(std::int64_t inFrame)
{
    ML::CutlistRenderParams params;
    params.mFrameTime = MF::FrameTime(TickTime(inFrame * kFrame));
    params.mWidth = params.mSourceWidth = 1920;
    params.mHeight = params.mSourceHeight = 1080;
    params.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    return params;
}

MF::IRenderableNodeRef MakeSolid(std::uint32_t inColor)
{
    const TVK::InterfaceRef<ML::RenderableNodeSolidColorImpl> node(new ML::RenderableNodeSolidColorImpl());
    node->SetBGRAColor(inColor);
    node->Finalize();
    return node;
}

// Mixes what the picture of a moving clip depends on, in front of what lies beneath.
class WrapProducer final : public TVK::Implements<WrapProducer, ML::IRenderableNodeProducer>
{
public:
    WrapProducer(const TVK::Guid& inNodeHash, ML::IRenderableNodeProducerRef inBeneath)
        : mNodeHash(inNodeHash)
        , mBeneath(std::move(inBeneath))
    {
    }
    std::int32_t GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef&) override
    {
        return -1;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inTime,
                      const ML::CutlistRenderParams& inParams, const TVK::Guid& inBaseHash) override
    {
        TVK::HashValue hash(inBaseHash);
        hash.MixText("WrapProducer");
        hash.MixGuid(mNodeHash);
        hash.MixI64(inTime.mFirstTime.GetTicks());
        hash.MixI64(inTime.mSecondTime.GetTicks());
        hash.MixU32(inParams.mWidth);
        hash.MixU32(inParams.mHeight);
        hash.MixU32(inParams.mPixelAspectRatio.GetNumerator());
        hash.MixU32(inParams.mPixelAspectRatio.GetDenominator());
        hash.MixI32(inParams.mRenderQuality);
        hash.MixI32(inParams.mDeinterlaceQuality);
        mBeneath->GetFrameHash(outHash, inTime, inParams, hash.AsGuid());
    }

private:
    TVK::Guid mNodeHash;
    ML::IRenderableNodeProducerRef mBeneath;
};

// A node over one other, as a clip lies over its media.
class WrapNode final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("WrapNode");
    }
    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inTime,
                                                       const ML::CutlistRenderParams& inParams) override
    {
        const ML::IRenderableNodeProducerProviderRef beneath(Inputs().front().first);
        return ML::IRenderableNodeProducerRef(
            new WrapProducer(GetHashValue(), beneath->GetProducerForFrame(inTime, inParams)));
    }
};

MF::IRenderableNodeRef Wrap(const MF::IRenderableNodeRef& inNode)
{
    const TVK::InterfaceRef<WrapNode> node(new WrapNode());
    node->AppendInput(inNode, TickTime(0));
    node->Finalize();
    return node;
}

ML::IMutableCutlistRef CutlistOf(const MF::IRenderableNodeRef& inNode)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(TickTime(0), norviktypes::kTime_Max, TickTime(0), inNode);
    cutlist->Finalize();
    return cutlist;
}

// From the cutlist, as a request asks: node, producers of all levels, hashes of all levels.
void FrameHash(benchmark::State& ioState)
{
    MF::IRenderableNodeRef node = MakeSolid(0xFF336699u);
    for (std::int64_t level = 1; level < ioState.range(0); ++level)
    {
        node = Wrap(node);
    }
    const ML::IMutableCutlistRef cutlist = CutlistOf(node);
    std::int64_t frame = 0;
    for (auto _ : ioState)
    {
        TVK::Guid hash;
        ML::ComputeFrameHash(hash, cutlist, Params(++frame), {});
        benchmark::DoNotOptimize(hash);
    }
}

std::vector<MF::IRenderableNodeRef> MakeSolids(std::size_t inCount)
{
    std::vector<MF::IRenderableNodeRef> nodes;
    for (std::size_t index = 0; index < inCount; ++index)
    {
        nodes.push_back(MakeSolid(static_cast<std::uint32_t>(index)));
    }
    return nodes;
}

ML::IMutableCutlistRef FilledCutlist(const std::vector<MF::IRenderableNodeRef>& inNodes,
                                     const std::vector<std::size_t>& inOrder)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    for (const std::size_t index : inOrder)
    {
        const TickTime start(static_cast<std::int64_t>(index) * 100 * kFrame);
        cutlist->AddSegment(start, start + TickTime(100 * kFrame), TickTime(0),
                            inNodes[index % inNodes.size()]);
    }
    return cutlist;
}

std::vector<std::size_t> ShuffledIndices(std::size_t inCount)
{
    std::vector<std::size_t> order(inCount);
    for (std::size_t index = 0; index < inCount; ++index)
    {
        order[index] = index;
    }
    std::mt19937_64 random(20011);
    std::shuffle(order.begin(), order.end(), random);
    return order;
}

// Segments, and distinct nodes among them. Times jump about, so that no branch can be foreseen.
void FindNodeForTime(benchmark::State& ioState)
{
    const auto segments = static_cast<std::size_t>(ioState.range(0));
    const std::vector<MF::IRenderableNodeRef> nodes = MakeSolids(static_cast<std::size_t>(ioState.range(1)));
    const ML::IMutableCutlistRef cutlist = FilledCutlist(nodes, ShuffledIndices(segments));
    cutlist->Finalize();
    std::mt19937_64 random(20011);
    std::vector<MF::FrameTime> times(1 << 16);
    for (MF::FrameTime& time : times)
    {
        time = MF::FrameTime(TickTime(static_cast<std::int64_t>(random() % (segments * 100)) * kFrame));
    }
    std::size_t at = 0;
    for (auto _ : ioState)
    {
        MF::IRenderableNodeRef node;
        MF::FrameTime nodeTime;
        cutlist->FindNodeForTime(times[at++ % times.size()], node, nodeTime);
        benchmark::DoNotOptimize(node.get());
    }
}

// Only Finalize is timed: the sort of shuffled segments, the hash, the still ranges.
void FinalizeCutlist(benchmark::State& ioState)
{
    const auto segments = static_cast<std::size_t>(ioState.range(0));
    const std::vector<MF::IRenderableNodeRef> nodes = MakeSolids(static_cast<std::size_t>(ioState.range(1)));
    const std::vector<std::size_t> order = ShuffledIndices(segments);
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        ML::IMutableCutlistRef cutlist = FilledCutlist(nodes, order);
        ioState.ResumeTiming();
        cutlist->Finalize();
        ioState.PauseTiming();
        if (cutlist->GetSegmentCount() != segments)
        {
            ioState.SkipWithError("segments were lost");
        }
        cutlist.reset();
        ioState.ResumeTiming();
    }
}

// A source of nothing, so that only the node is timed.
class NoSource final : public TVK::Implements<NoSource, ML::IRenderableSource>
{
public:
    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                          MF::FrameTime& outTime) override
    {
        outTime = inTime;
    }
    void CollectPrefetchItems(const MF::FrameTime&, const ML::CutlistRenderParams&,
                              std::vector<ML::IRenderableNodePrefetchRef>&) override
    {
    }
    void Render(const MF::FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef&) override {}
    void GetFrameRate(norviktypes::FrameRate&) override {}
    void GetFieldRate(norviktypes::FrameRate&) override {}
};

// Media without and with fields: the producer of each frame, and its hash.
void FrameHashOfMedia(benchmark::State& ioState)
{
    const auto settings = std::make_shared<ML::MediaNodeSettings>();
    settings->mSource = ML::IRenderableSourceRef(new NoSource);
    settings->mFrameRect = settings->mMediaRect = {0, 0, 1920, 1080};
    const bool hasFields = ioState.range(0) != 0;
    settings->mFieldType =
        hasFields ? norviktypes::kFieldType_UpperFirst : norviktypes::kFieldType_Progressive;
    std::int64_t frame = 0;
    for (auto _ : ioState)
    {
        ML::CutlistRenderParams params = Params(++frame);
        params.mFieldType = settings->mFieldType;
        const auto producer =
            ML::CreateMediaNodeProducer(settings, TVK::Guid{1, 2}, params.mFrameTime, params);
        TVK::Guid hash;
        producer->GetFrameHash(hash, params.mFrameTime, params, TVK::Guid());
        benchmark::DoNotOptimize(hash);
    }
}

BENCHMARK(FrameHashOfMedia)->ArgName("fields")->Arg(0)->Arg(1);
BENCHMARK(FrameHash)->ArgName("levels")->Arg(1)->Arg(5);
BENCHMARK(FindNodeForTime)->ArgNames({"segments", "nodes"})->Args({10000, 10000})->Args({10000, 100});
BENCHMARK(FinalizeCutlist)
    ->ArgNames({"segments", "nodes"})
    ->Args({100000, 100000})
    ->Args({100000, 1000})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
