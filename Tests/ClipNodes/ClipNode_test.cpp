// What a clip node says of itself: flags, still ranges, stretches that can be copied, prefetches.

#include "Tests/ClipNodes/ClipTests.h"
#include "Tests/Support/ContractText.h"

#include <gtest/gtest.h>

#include <vector>

using namespace ClipTests;

namespace
{

std::uint32_t FlagsOf(std::uint32_t inMediaFlags, const std::vector<EffectRef>& inEffects = {},
                      const std::function<void(Clip&)>& inPrepare = {})
{
    return MakeClip(MakeMedia(inMediaFlags), inEffects, inPrepare)->GetInformativeFlags();
}

TEST(ClipNode, HasItsNameAndFaces)
{
    const ClipRef clip = MakeClip(MakeMedia());
    EXPECT_EQ(clip->GetNodeType().View(), "RenderableNodeClipImpl");
    const MF::IRenderableNodeRef node = clip->AsNode();
    EXPECT_TRUE(ML::IRenderableNodeProducerProviderRef(node));
    EXPECT_TRUE(ML::IRenderableNodePrefetchProviderRef(node));
    EXPECT_TRUE(ML::IRenderableKeyframeOwnerRef(node));
    EXPECT_TRUE(ML::IRenderableTimeTransformOwnerRef(node));
    EXPECT_TRUE(ML::IRenderableNodeIntrinsicParameterProviderRef(node));
    EXPECT_TRUE(TVK::IWeakReferenceCapableRef(node));
}

TEST(ClipNode, GivesItsTimeTransform)
{
    const ClipRef clip = MakeClip(MakeMedia(), {}, [](Clip& it) { it.Play(Frames(10), 2.0); });
    const ML::IRenderableTimeTransformOwnerRef owner(clip->AsNode());
    MF::ITimeTransformRef transform;
    owner->GetTimeTransform(transform);
    ASSERT_TRUE(transform);
    EXPECT_EQ(transform->MapTime(Frames(3), 0), Frames(16));
}

TEST(ClipNode, CanBeDerivedFrom)
{
    class Derived final : public ML::RenderableNodeClipImpl
    {
    public:
        norvik::utility::ImmutableString GetNodeType() const override
        {
            return norvik::utility::ImmutableString::CreateStatic("Derived");
        }
    };
    const MediaRef media = MakeMedia();
    const TVK::InterfaceRef<Derived> derived(new Derived());
    derived->AppendInput(MF::IRenderableNodeRef(media.get()), TickTime());
    derived->Finalize();
    EXPECT_EQ(derived->GetInformativeFlags(), 0x54u);
    EXPECT_NE(derived->GetHashValue(), MakeClip(media)->GetHashValue());
    const ML::IRenderableNodeProducerRef producer = derived->GetProducerForFrame(At(3), Params());
    MF::IVideoFrameRef frame;
    EXPECT_EQ(producer->GetFrame(At(3), Params(), frame), 0);
    EXPECT_EQ(Painted(frame), 3);
}

TEST(ClipNode, WithoutMediaIsEmptyAndStill)
{
    EXPECT_EQ(MakeClip({})->GetInformativeFlags(), 0x5Eu);
}

TEST(ClipNode, WithoutEffectsHasTheFlagsOfItsMedia)
{
    for (const std::uint32_t flags : {0x54u, 0x5Cu, 0x5Du, 0x55u, 0x00u, 0xFFu})
    {
        EXPECT_EQ(FlagsOf(flags), flags);
    }
}

TEST(ClipNode, BoundToItsTimeIsNotExtendable)
{
    EXPECT_EQ(FlagsOf(0x5D, {}, [](Clip& it) { it.mTimeBound = true; }), 0x4Du);
}

TEST(ClipNode, ThatNeedsLowerTracksSaysSo)
{
    EXPECT_EQ(FlagsOf(0x5D, {}, [](Clip& it) { it.mNeedsLowerTracks = true; }), 0xDDu);
}

TEST(ClipNode, LosesWhatOneOfItsEffectsLacks)
{
    EXPECT_EQ(FlagsOf(0x5D, {MakeEffect(1, 0x4D)}), 0x5Du);
    EXPECT_EQ(FlagsOf(0x5D, {MakeEffect(1, 0x4C)}), 0x5Cu) << "opaque";
    EXPECT_EQ(FlagsOf(0x5D, {MakeEffect(1, 0x49)}), 0x59u) << "static parameters";
    EXPECT_EQ(FlagsOf(0x5D, {MakeEffect(1, 0x45)}), 0x55u) << "still";
    EXPECT_EQ(FlagsOf(0x5D, {MakeEffect(1, 0x0D)}), 0x1Du) << "contained in its time";
    EXPECT_EQ(FlagsOf(0x5D, {MakeEffect(1, 0x4D), MakeEffect(2, 0x44)}), 0x54u);
    EXPECT_EQ(FlagsOf(0x54, {MakeEffect(1, 0x4D)}), 0x54u) << "an effect gives nothing";
}

TEST(ClipNode, WithAnEffectOfNothingCannotBeFrozen)
{
    const ClipRef clip(new Clip());
    clip->AppendOperator({});
    EXPECT_THROW(clip->Finalize(), TVK::NullInterfaceException);
}

TEST(ClipNode, PassesOnWhereItsMediaStandsStill)
{
    const MediaRef media = MakeMedia(0x5C);
    media->mStill = {Frames(12), Frames(20)};
    const ClipRef clip = MakeClip(
        media, {}, [](Clip& it) { it.Play(Frames(10)); }, Frames(4));
    std::vector<MF::TimeRange> ranges = {{Frames(-1), Frames(0)}};
    clip->GetStillRanges(Frames(5), Frames(30), ranges);
    ASSERT_EQ(media->mStillQuestions.size(), 1u);
    // The item's start lies at 4 and shows 10.
    EXPECT_EQ(media->mStillQuestions[0], (MF::TimeRange{Frames(11), Frames(36)}));
    ASSERT_EQ(ranges.size(), 2u);
    EXPECT_EQ(ranges[1], (MF::TimeRange{Frames(6), Frames(14)}));
}

TEST(ClipNode, TellsNoStillRangesOfWhatMoves)
{
    const auto questions = [](std::uint32_t flags, const std::function<void(Clip&)>& prepare)
    {
        const MediaRef media = MakeMedia(flags);
        std::vector<MF::TimeRange> ranges;
        MakeClip(media, {}, prepare)->GetStillRanges(Frames(0), Frames(30), ranges);
        EXPECT_EQ(ranges.size(), media->mStillQuestions.size());
        return ranges.size();
    };
    EXPECT_EQ(questions(0x5C, {}), 1u);
    EXPECT_EQ(questions(0x54, {}), 0u);
    EXPECT_EQ(questions(0x58, {}), 0u);
    EXPECT_EQ(questions(0x5C, [](Clip& it) { it.Play(Frames(0), 2.0); }), 0u);
    EXPECT_EQ(questions(0x5C, [](Clip& it) { it.Play(Frames(0), -1.0); }), 0u);
    std::vector<MF::TimeRange> ranges;
    MakeClip({})->GetStillRanges(Frames(0), Frames(30), ranges);
    EXPECT_TRUE(ranges.empty());
}

TEST(ClipNode, PassesOnWhatOfItsMediaCanBeCopied)
{
    const MediaRef media = MakeMedia();
    media->mSegment.mClipInstanceID = 7;
    media->mSegment.mStart = Frames(12);
    media->mSegment.mEnd = Frames(20);
    media->mSegment.mMediaStart = Frames(112);
    const ClipRef clip = MakeClip(
        media, {}, [](Clip& it) { it.Play(Frames(10)); }, Frames(4));
    MF::SmartRenderSegments segments;
    clip->GetSmartRenderSegments(Frames(5), Frames(30), norviktypes::kPixelFormat_BGRA_4444_8u, true,
                                 segments);
    ASSERT_EQ(media->mSmartQuestions.size(), 1u);
    EXPECT_EQ(media->mSmartQuestions[0], (MF::TimeRange{Frames(11), Frames(36)}));
    EXPECT_TRUE(media->mSmartIsPreview);
    EXPECT_EQ(media->mSmartFormat, norviktypes::kPixelFormat_BGRA_4444_8u);
    MF::SmartRenderSegment expected = media->mSegment;
    expected.mStart = Frames(6);
    expected.mEnd = Frames(14);
    EXPECT_EQ(segments, (MF::SmartRenderSegments{{Frames(6), expected}}));
}

TEST(ClipNode, KeepsCopyableStretchesThatAreThere)
{
    const MediaRef media = MakeMedia();
    media->mSegment.mStart = Frames(1);
    MF::SmartRenderSegment before;
    before.mClipInstanceID = 99;
    MF::SmartRenderSegments segments{{Frames(1), before}};
    MakeClip(media)->GetSmartRenderSegments(Frames(0), Frames(9), {}, false, segments);
    EXPECT_EQ(segments, (MF::SmartRenderSegments{{Frames(1), before}}));
}

TEST(ClipNode, ThatChangesItsMediaCannotBeCopied)
{
    const auto segmentsOf =
        [](const std::vector<EffectRef>& effects, const std::function<void(Clip&)>& prepare)
    {
        MF::SmartRenderSegments segments;
        MakeClip(MakeMedia(), effects, prepare)
            ->GetSmartRenderSegments(Frames(0), Frames(30), {}, false, segments);
        return segments.size();
    };
    EXPECT_EQ(segmentsOf({}, {}), 1u);
    EXPECT_EQ(segmentsOf({MakeEffect()}, {}), 0u);
    EXPECT_EQ(segmentsOf({}, [](Clip& it) { it.Play(Frames(0), 2.0); }), 0u);
    EXPECT_EQ(segmentsOf({}, [](Clip& it) { it.Hold(Frames(3), false); }), 0u);
    MF::SmartRenderSegments segments;
    MakeClip({})->GetSmartRenderSegments(Frames(0), Frames(30), {}, false, segments);
    EXPECT_TRUE(segments.empty());
}

TEST(ClipNode, SaysWhetherItHasCaptions)
{
    EXPECT_FALSE(MakeClip(MakeMedia())->HasCaptions());
    EXPECT_TRUE(MakeClip(MakeMedia(), {}, [](Clip& it) { it.mHasCaptions = true; })->HasCaptions());
}

TEST(ClipNode, WantsReadWhatItWillRender)
{
    struct Case
    {
        std::function<void(Clip&)> mPrepare;
        std::uint32_t mMediaFlags;
    };
    const std::vector<Case> cases = {
        {[](Clip& it) { it.Play(Frames(10)); }, 0x54},
        {[](Clip& it) { it.Play(Frames(40), -2.0); }, 0x54},
        {[](Clip& it) { it.Play(Frames(10), 3.0); }, 0x5C},
        {[](Clip& it)
         {
             it.Play(Frames(10));
             it.Hold(Frames(33), true);
         },
         0x54},
        {{}, 0x54},
    };
    for (const Case& each : cases)
    {
        const MediaRef media = MakeMedia(each.mMediaFlags);
        const ClipRef clip = MakeClip(media, {}, each.mPrepare, Frames(4));
        std::vector<ML::IRenderableNodePrefetchRef> prefetches;
        for (const FrameTime time : {At(0), At(9), FieldsAt(11, true), FieldsAt(11, false)})
        {
            clip->GetPrefetchesForFrame(time, Params(), prefetches);
            Render(*clip, time);
        }
        EXPECT_EQ(media->mPrefetched, media->mRenderedAt);
        EXPECT_EQ(media->mPrefetched.size(), 4u);
    }
}

TEST(ClipNode, WantsReadWhatItsEffectsLookAt)
{
    class Item final : public TVK::Implements<Item, ML::IRenderableNodePrefetch>
    {
    public:
        std::int32_t BeginPrefetch() override { return 0; }
        std::int32_t GetPrefetchResult(MF::IVideoFrameRef&) override { return 0; }
        std::int32_t CancelPrefetch() override { return 0; }
        void GetPrefetchKey(TVK::Guid&) const override {}
        bool ContinueWaitingForPrefetch(double) override { return false; }
    };
    for (const bool holdsEffects : {false, true})
    {
        const MediaRef media = MakeMedia();
        const EffectRef effect = MakeEffect();
        effect->mPrefetch = ML::IRenderableNodePrefetchRef(new Item());
        const ClipRef clip = MakeClip(
            media, {effect, effect},
            [&](Clip& it)
            {
                it.Play(Frames(10), 2.0);
                it.Hold(holdsEffects ? Frames(33) : norviktypes::kTime_Max, holdsEffects);
            },
            Frames(4));
        std::vector<ML::IRenderableNodePrefetchRef> prefetches;
        clip->GetPrefetchesForFrame(At(9), Params(), prefetches);
        EXPECT_EQ(prefetches,
                  (std::vector<ML::IRenderableNodePrefetchRef>{effect->mPrefetch, effect->mPrefetch}));
        Render(*clip, At(9));
        ASSERT_EQ(effect->mPrefetched.size(), 2u);
        EXPECT_EQ(effect->mPrefetched[0], effect->mOperatorsAt[0]) << "the time in which it is rendered";
        EXPECT_EQ(effect->mPrefetched[0], holdsEffects ? At(33) : At(20));
    }
}

TEST(ClipNode, WithoutExactlyOneInputWantsNothingRead)
{
    const EffectRef effect = MakeEffect();
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    MakeClip({}, {effect})->GetPrefetchesForFrame(At(0), Params(), prefetches);
    const MediaRef media = MakeMedia();
    const ClipRef two(new Clip());
    two->AppendInput(MF::IRenderableNodeRef(media.get()), TickTime());
    two->AppendInput(MF::IRenderableNodeRef(media.get()), TickTime());
    two->AppendOperator(MF::IRenderableNodeRef(effect.get()));
    two->Finalize();
    two->GetPrefetchesForFrame(At(0), Params(), prefetches);
    EXPECT_TRUE(effect->mPrefetched.empty());
    EXPECT_TRUE(media->mPrefetched.empty());
    EXPECT_TRUE(prefetches.empty());
}

TEST(ClipNode, WhileItIsBuiltWantsNothingRead)
{
    const ClipRef clip(new Clip());
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    EXPECT_EQ(TestSupport::ContractText([&] { clip->GetPrefetchesForFrame(At(0), Params(), prefetches); }),
              "!mMutable|Src/RenderableNodeClipImpl|ML::RenderableNodeClipImpl::GetPrefetchesForFrame");
}

} // namespace
