#include "MF/ITimeTransform.h"
#include "RenderableNodeClipImpl.h"
#include "RenderableNodeOperator.h"
#include "RenderableNodeSolidColorImpl.h"

#include <benchmark/benchmark.h>

// What a clip adds to the name of each frame, before any pixel is touched.

namespace
{

using norviktypes::TickTime;

constexpr std::int64_t kFrame = 10160640000; // 25 frames a second

class Clip final : public ML::RenderableNodeClipImpl
{
public:
    using RenderableNodeClipImpl::mTimeTransform;
};

// An effect that names its frames as others do, and renders none.
class Effect final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeOperatorProvider>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("Effect");
    }
    ML::IRenderableNodeOperatorRef GetOperatorForFrame(const MF::FrameTime&,
                                                       const ML::CutlistRenderParams&) override
    {
        return ML::IRenderableNodeOperatorRef(new Operator(GetHashValue()));
    }

private:
    class Operator final : public TVK::Implements<Operator, ML::IRenderableNodeOperator>
    {
    public:
        explicit Operator(const TVK::Guid& inHash) : mHash(inHash) {}

        std::int32_t ApplyToFrame(const MF::FrameTime&, const MF::FrameTime&, const ML::CutlistRenderParams&,
                                  const MF::IVideoFrameRef&, const ML::SubTreeRenderRef&,
                                  MF::IVideoFrameRef&) override
        {
            return -1;
        }
        void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                          const TVK::Guid& inBaseHash) override
        {
            TVK::HashValue hash(inBaseHash);
            hash.MixI64(inTime.mFirstTime.GetTicks());
            hash.MixI64(inTime.mSecondTime.GetTicks());
            hash.MixGuid(mHash);
            outHash = hash.AsGuid();
        }

    private:
        const TVK::Guid mHash;
    };
};

TVK::InterfaceRef<Clip> MakeClip(std::int64_t inEffects)
{
    const TVK::InterfaceRef<ML::RenderableNodeSolidColorImpl> media(new ML::RenderableNodeSolidColorImpl());
    media->SetBGRAColor(0xFF0000FF);
    media->Finalize();
    TVK::InterfaceRef<Clip> clip(new Clip());
    clip->AppendInput(media->AsNode(), TickTime());
    clip->mTimeTransform =
        MF::CreateTimeTransform(TickTime(kFrame * 100), 1.0, TickTime(kFrame * 250), TickTime());
    for (std::int64_t index = 0; index < inEffects; ++index)
    {
        const TVK::InterfaceRef<Effect> effect(new Effect());
        effect->Finalize();
        clip->AppendOperator(MF::IRenderableNodeRef(effect.get()));
    }
    clip->Finalize();
    return clip;
}

void HashOfAFrame(benchmark::State& ioState)
{
    const TVK::InterfaceRef<Clip> clip = MakeClip(ioState.range(0));
    ML::CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = 1920;
    params.mHeight = params.mSourceHeight = 1080;
    params.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    std::int64_t frame = 0;
    TVK::Guid hash;
    for (auto _ : ioState)
    {
        const MF::FrameTime time(TickTime(kFrame * (frame++ % 250)));
        clip->GetProducerForFrame(time, params)->GetFrameHash(hash, time, params, TVK::Guid());
        benchmark::DoNotOptimize(hash);
    }
}
BENCHMARK(HashOfAFrame)->ArgName("effects")->Arg(0)->Arg(1)->Arg(3);

} // namespace
