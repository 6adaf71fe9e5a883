// What a timeline of many clips costs to open and to edit, and a frame of five tracks to name.
//
// Clips are of media that are on their way, so that the graph is measured and no codec. Some clips have an effect
// that looks at another track (the second argument says how many): their segments are built anew with each edit.
#include "CutlistFactory.h"
#include "RenderableNodeCompositorImpl.h"
#include "Tests/CutlistFactory/Timelines.h"
#include "Tests/Support/Fakes/FakeNode.h"

#include <benchmark/benchmark.h>

namespace
{

using norviktypes::TickTime;
using Timelines::Frames;

constexpr int kClipLength = 25;

// Clips one after the other on the lower of two tracks, and here and there a small one over them.
struct ManyClips
{
    ManyClips(int inClips, int inMattes)
    {
        std::vector<Timelines::Clip> lower;
        std::vector<Timelines::Clip> upper;
        for (int i = 0; i < inClips; ++i)
        {
            const TickTime start = Frames(i * kClipLength);
            lower.push_back(Timelines::MakeClip(start, start + Frames(kClipLength),
                                                static_cast<std::uint32_t>(i), Frames(i % 7)));
            if (inMattes > 0 && i % (inClips / inMattes) == 7)
            {
                Timelines::AddMatte(lower.back(), 1);
            }
            if (i % 20 == 0)
            {
                upper.push_back(Timelines::MakeInset(start + Frames(5), start + Frames(15),
                                                     static_cast<std::uint32_t>(i) + 1000000));
            }
        }
        mEdited = lower[lower.size() / 2 + 3];
        mSequence = Timelines::MakeSequence({Timelines::MakeTrack(lower, 0), Timelines::MakeTrack(upper, 1)});
    }

    Timelines::Clip mEdited;
    TVK::TVKUnknownRef mSequence;
};

void OpenDocument(benchmark::State& ioState)
{
    const ManyClips timeline(static_cast<int>(ioState.range(0)), static_cast<int>(ioState.range(1)));
    const auto factory = ML::GetCutlistFactoryInstance();
    MF::IRenderableCutlistRef cutlist;
    for (auto step : ioState)
    {
        factory->CreateCutlistForSequence(timeline.mSequence, {}, cutlist);
    }
    ioState.counters["segments"] = cutlist->GetSegmentCount();
}

void EditOneClip(benchmark::State& ioState)
{
    const ManyClips timeline(static_cast<int>(ioState.range(0)), static_cast<int>(ioState.range(1)));
    const auto factory = ML::GetCutlistFactoryInstance();
    MF::IRenderableCutlistRef cutlist;
    factory->CreateCutlistForSequence(timeline.mSequence, {}, cutlist);
    const TVK::Guid before = cutlist->GetHashValue();
    std::uint64_t edits = 0;
    for (auto step : ioState)
    {
        timeline.mEdited.mClip->mSpeed = ++edits % 2 == 0 ? 1.0 : 2.0;
        factory->UpdateCutlistForSequence(timeline.mSequence, {}, timeline.mEdited.mItem->mStart,
                                          timeline.mEdited.mItem->mEnd, cutlist, cutlist);
    }
    if ((cutlist->GetHashValue() == before) != (edits % 2 == 0))
    {
        ioState.SkipWithError("the edit does not show");
    }
}

// A producer that costs nothing.
class CheapProducer final : public TVK::Implements<CheapProducer, ML::IRenderableNodeProducer>
{
public:
    std::int32_t GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef&) override
    {
        return 0;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                      const TVK::Guid& inBaseHash) override
    {
        outHash = inBaseHash;
    }
};

struct Stack
{
    explicit Stack(int inTracks)
    {
        for (int i = 0; i < inTracks; ++i)
        {
            const TestSupport::FakeProducerNodeRef node(new TestSupport::FakeProducerNode);
            node->mProducer = ML::IRenderableNodeProducerRef(new CheapProducer);
            node->Finalize();
            mNode->AppendInputWithTrack(MF::IRenderableNodeRef(node.get()), Frames(i),
                                        static_cast<std::uint64_t>(i));
        }
        mNode->Finalize();
        mParams.mWidth = 1920;
        mParams.mHeight = 1080;
        mParams.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    }

    ML::RenderableNodeCompositorRef mNode{new ML::RenderableNodeCompositorImpl};
    ML::CutlistRenderParams mParams;
};

void HashFrameOfStack(benchmark::State& ioState)
{
    const Stack stack(static_cast<int>(ioState.range(0)));
    const MF::FrameTime time(Frames(100));
    const ML::IRenderableNodeProducerRef producer = stack.mNode->GetProducerForFrame(time, stack.mParams);
    TVK::Guid hash;
    for (auto step : ioState)
    {
        producer->GetFrameHash(hash, time, stack.mParams, TVK::Guid());
        benchmark::DoNotOptimize(hash);
    }
}

// Clips of real timelines, from the cutlist to the hash of a frame.
void HashFrameOfFiveClips(benchmark::State& ioState)
{
    std::vector<TestSupport::FakeTrackRef> tracks;
    for (std::uint32_t i = 0; i < 5; ++i)
    {
        tracks.push_back(Timelines::MakeTrack({Timelines::MakeInset(Frames(0), Frames(100), i)}, i));
    }
    MF::IRenderableCutlistRef cutlist;
    ML::GetCutlistFactoryInstance()->CreateCutlistForSequence(Timelines::MakeSequence(tracks), {}, cutlist);
    Stack params(0);
    MF::IRenderableNodeRef node;
    MF::FrameTime nodeTime;
    cutlist->FindNodeForTime(MF::FrameTime(Frames(50)), node, nodeTime);
    const ML::IRenderableNodeProducerProviderRef provider(node);
    TVK::Guid hash;
    for (auto step : ioState)
    {
        provider->GetProducerForFrame(nodeTime, params.mParams)
            ->GetFrameHash(hash, nodeTime, params.mParams, TVK::Guid());
        benchmark::DoNotOptimize(hash);
    }
}

BENCHMARK(OpenDocument)->Args({10000, 0})->Args({10000, 100})->Unit(benchmark::kMillisecond);
BENCHMARK(EditOneClip)->Args({10000, 0})->Args({10000, 100})->Unit(benchmark::kMillisecond);
BENCHMARK(HashFrameOfStack)->Arg(1)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(HashFrameOfFiveClips)->Unit(benchmark::kMicrosecond);

} // namespace
