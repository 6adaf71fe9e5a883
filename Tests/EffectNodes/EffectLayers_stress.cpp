#include "CutlistRenderer.h"
#include "RenderableNodeEffectImpl.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeSequence.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{

using namespace EffectNodeTests;

// Gives the picture of its first layer.
class LayerFilter final : public TVK::Implements<LayerFilter, ML::IVideoFilter>
{
public:
    ImmutableString GetMatchName() const override { return ImmutableString::CreateStatic("Layer"); }
    void GetPixelFormats(const MF::IVideoFrameRef&, const norviktypes::PixelFormat&,
                         std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        outFormats = {kPixelFormat_BGRA_4444_8u};
    }
    bool VariesByItself() const override { return false; }
    bool HasOpaqueData() const override { return false; }
    std::int32_t GetOpaqueData(MF::BinaryData&) const override { return -1; }
    std::uint32_t GetRuntimeInstanceID() const override { return 0; }
    bool WantsClipNames() const override { return false; }
    void GetStreamLabels(std::vector<ImmutableString>&) const override {}
    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }
    std::int32_t Render(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef&,
                        MF::IVideoFrameRef& outFrame) override
    {
        return inRender.mLayers->RenderLayer(0, outFrame);
    }
};

MF::IRenderableNodeRef NodeThatLooksAt(const MF::IRenderableCutlistRef& inTrack)
{
    const TestSupport::FakeSequenceRef sequence(new TestSupport::FakeSequence());
    const FakeCutlistProviderRef provider(new FakeCutlistProvider());
    provider->mCutlist = inTrack;
    sequence->mTrackCutlistProviders = {MF::IRenderableCutlistProviderRef(provider)};
    ML::EffectNodeSettings settings;
    settings.mFilter = ML::IVideoFilterRef(new LayerFilter());
    settings.mParameters = std::make_shared<const MF::KeyframeStore>(
        MF::KeyframeStore{MF::IKeyframedParameterRef(TestSupport::MakeLayerParameter(0))});
    settings.mCutlistContext = TVK::TVKUnknownRef(BE::ISequenceRef(sequence));
    return ML::CreateEffectNode(settings);
}

TEST(EffectLayersStress, ThreadsThatShareANodeSeeTheLayerOfTheirOwnMoment)
{
    constexpr std::int64_t kLength = 200;
    const ML::IMutableCutlistRef track = ML::CreateMutableCutlist();
    for (std::int64_t frame = 0; frame < kLength; ++frame)
    {
        track->AddSegment(Frames(frame), Frames(frame + 1), Frames(0),
                          MakeLayer(static_cast<std::uint8_t>(frame)));
    }
    track->Finalize();
    const MF::IRenderableNodeRef node = NodeThatLooksAt(MF::IRenderableCutlistRef(track));
    const auto rounds = static_cast<std::int64_t>(TestSupport::ScaledCount(2000));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::int64_t thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                for (std::int64_t round = 0; round < rounds; ++round)
                {
                    const std::int64_t frame = (round * 7 + thread * 50) % kLength;
                    const ML::CutlistRenderParams params = ParamsAt(frame);
                    const auto filtering =
                        ML::IRenderableNodeOperatorProviderRef(node)->GetOperatorForFrame(At(1), params);
                    MF::IVideoFrameRef output;
                    const bool isRight =
                        filtering->ApplyToFrame(At(1), At(1), params, nullptr, nullptr, output) == 0 &&
                        output && TestSupport::PixelAt(output, 3, 3)[0] == frame;
                    wrong += isRight ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
