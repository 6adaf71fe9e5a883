// The frames of a clip: which media they show, in which order effects come, and what the cache spares.

#include "ML/SubTreeRender.h"
#include "RenderFrameClient.h"
#include "Tests/ClipNodes/ClipTests.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

using namespace ClipTests;

namespace
{

ML::CutlistRenderParams CachingParams(std::uint32_t inFlags = ML::kRenderFlag_CacheParts)
{
    ML::CutlistRenderParams params = Params();
    params.mRenderFlags = inFlags;
    return params;
}

class ClipFrames : public testing::Test
{
protected:
    ClipFrames() { TestSupport::EmptyFrameCache(); }
    ~ClipFrames() override { TestSupport::EmptyFrameCache(); }
};

TEST_F(ClipFrames, ShowTheMediaAtInPointPlusTimeOfTheItem)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(media, {}, [](Clip& it) { it.Play(Frames(10)); });
    EXPECT_EQ(Painted(Render(*clip, At(0))), 10);
    EXPECT_EQ(Painted(Render(*clip, At(7))), 17);
}

TEST_F(ClipFrames, ShowTheSameMediaWhereverTheNodeBegins)
{
    for (const std::int64_t offset : {-3, 0, 5})
    {
        const MediaRef media = MakeMedia();
        const ClipRef clip = MakeClip(
            media, {}, [](Clip& it) { it.Play(Frames(10)); }, Frames(offset));
        // Five frames before the item's start, at it, and seven behind.
        EXPECT_EQ(Painted(Render(*clip, At(offset - 5))), 5) << offset;
        EXPECT_EQ(Painted(Render(*clip, At(offset))), 10) << offset;
        EXPECT_EQ(Painted(Render(*clip, At(offset + 7))), 17) << offset;
    }
}

TEST_F(ClipFrames, FollowSpeedInBothDirections)
{
    const ClipRef fast = MakeClip(MakeMedia(), {}, [](Clip& it) { it.Play(Frames(10), 2.0); });
    EXPECT_EQ(Painted(Render(*fast, At(6))), 22);
    const ClipRef backwards = MakeClip(MakeMedia(), {}, [](Clip& it) { it.Play(Frames(40), -1.0); });
    EXPECT_EQ(Painted(Render(*backwards, At(6))), 34);
}

TEST_F(ClipFrames, BeforeTheMediaBeginsShowItsFirst)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(
        media, {}, [](Clip& it) { it.Play(Frames(2)); }, Frames(10));
    EXPECT_EQ(Painted(Render(*clip, At(3))), 0);
    EXPECT_EQ(media->mRenderedAt.back(), FrameTime());
    // One field alone before it moves both.
    const TickTime half(kFrame.GetTicks() / 2);
    Render(*clip, FrameTime(Frames(8) - half, Frames(8)));
    EXPECT_EQ(media->mRenderedAt.back(), FrameTime());
}

TEST_F(ClipFrames, OfAStillAreAlwaysThatOfTimeZero)
{
    const MediaRef media = MakeMedia(0x5C);
    const ClipRef clip = MakeClip(media, {}, [](Clip& it) { it.Play(Frames(10), 3.0); });
    Render(*clip, At(4));
    EXPECT_EQ(media->mRenderedAt.back(), FrameTime());
    EXPECT_EQ(media->mProducersAt.back(), FrameTime());
    EXPECT_EQ(media->mHashedAt.back(), FrameTime());
    EXPECT_EQ(FrameHash(*clip, At(4)), FrameHash(*clip, At(5)));
}

TEST_F(ClipFrames, OfAHeldClipStandStill)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(media, {},
                                  [](Clip& it)
                                  {
                                      it.Play(Frames(10));
                                      it.Hold(Frames(33), false);
                                  });
    EXPECT_EQ(Painted(Render(*clip, At(0))), 33);
    EXPECT_EQ(Painted(Render(*clip, FieldsAt(9, true))), 33);
    EXPECT_EQ(media->mRenderedAt.back(), At(33));
    EXPECT_EQ(media->mProducersAt.back(), At(33));
}

TEST_F(ClipFrames, EffectsOfAHeldClipMoveUnlessTheyAreHeldToo)
{
    for (const bool holdsEffects : {false, true})
    {
        const EffectRef effect = MakeEffect();
        const ClipRef clip = MakeClip(MakeMedia(), {effect},
                                      [&](Clip& it)
                                      {
                                          it.Play(Frames(10));
                                          it.Hold(Frames(33), holdsEffects);
                                      });
        Render(*clip, At(4));
        const FrameTime expected = holdsEffects ? At(33) : At(14);
        EXPECT_EQ(effect->mOperatorsAt.back(), expected);
        EXPECT_EQ(effect->mCalls.back().mClipTime, expected);
        EXPECT_EQ(effect->mCalls.back().mSequenceTime, expected);
        FrameHash(*clip, At(4));
        EXPECT_EQ(effect->mHashedAt.back(), expected);
    }
}

TEST_F(ClipFrames, EffectsRunInOrderEachOnWhatTheLastOneGave)
{
    const EffectRef first = MakeEffect(1);
    const EffectRef second = MakeEffect(2);
    const ClipRef clip = MakeClip(MakeMedia(), {first, second}, [](Clip& it) { it.Play(Frames(10)); });
    EXPECT_EQ(Painted(Render(*clip, At(0))), 13);
    EXPECT_EQ(Painted(first->mCalls.back().mFrame), 10);
    EXPECT_EQ(Painted(second->mCalls.back().mFrame), 11);
    EXPECT_TRUE(second->mCalls.back().mHasSubTree);
}

TEST_F(ClipFrames, EffectsWithoutOperatorAndNodesThatAreNoEffectsAreLeftOut)
{
    const EffectRef silent = MakeEffect(5);
    silent->mGivesNoOperator = true;
    const ClipRef clip(new Clip());
    clip->AppendInput(MF::IRenderableNodeRef(MakeMedia().get()), TickTime());
    clip->AppendOperator(MF::IRenderableNodeRef(silent.get()));
    clip->AppendOperator(MF::IRenderableNodeRef(TestSupport::MakeFrozenNode("NoEffect").get()));
    clip->AppendOperator(MF::IRenderableNodeRef(MakeEffect(1).get()));
    clip->Finalize();
    EXPECT_EQ(Painted(Render(*clip, At(3))), 4);
}

TEST_F(ClipFrames, EffectsAreToldMediaTimeWhereverTheNodeBegins)
{
    for (const std::int64_t offset : {-3, 0, 5})
    {
        const EffectRef effect = MakeEffect();
        const ClipRef clip = MakeClip(
            MakeMedia(), {effect}, [](Clip& it) { it.Play(Frames(10), 2.0); }, Frames(offset));
        Render(*clip, At(offset + 4));
        EXPECT_EQ(effect->mOperatorsAt.back(), At(18)) << offset;
        EXPECT_EQ(effect->mCalls.back().mClipTime, At(18)) << offset;
    }
}

TEST_F(ClipFrames, TimeOfTheSequenceStandsStillInFrontOfTheItem)
{
    const EffectRef effect = MakeEffect();
    const ClipRef clip = MakeClip(
        MakeMedia(), {effect}, [](Clip& it) { it.Play(Frames(10)); }, Frames(5));
    Render(*clip, At(2));
    EXPECT_EQ(effect->mCalls.back().mClipTime, At(7));
    EXPECT_EQ(effect->mCalls.back().mSequenceTime, At(10));
    Render(*clip, At(8));
    EXPECT_EQ(effect->mCalls.back().mSequenceTime, At(13));
}

TEST_F(ClipFrames, TimeOfTheSequenceRunsInFrontOfANodeThatBeginsWithItsItem)
{
    const EffectRef effect = MakeEffect();
    const ClipRef clip = MakeClip(MakeMedia(), {effect}, [](Clip& it) { it.Play(Frames(10)); });
    Render(*clip, At(-2));
    EXPECT_EQ(effect->mCalls.back().mClipTime, At(8));
    EXPECT_EQ(effect->mCalls.back().mSequenceTime, At(8));
    const ClipRef later = MakeClip(
        MakeMedia(), {effect}, [](Clip& it) { it.Play(Frames(10)); }, TickTime(1));
    Render(*later, At(-2));
    EXPECT_EQ(effect->mCalls.back().mSequenceTime, At(10)) << "behind a tick of something else";
}

TEST_F(ClipFrames, TimeOfTheSequenceCountsFromWhereTheItemIsFirstSeen)
{
    const EffectRef effect = MakeEffect();
    const ClipRef clip = MakeClip(
        MakeMedia(), {effect}, [](Clip& it) { it.Play(Frames(-3), 2.0); }, Frames(-3));
    Render(*clip, At(1));
    EXPECT_EQ(effect->mCalls.back().mClipTime, At(5));
    EXPECT_EQ(effect->mCalls.back().mSequenceTime, At(2));
}

TEST_F(ClipFrames, EffectsWithoutMediaRunOnNothing)
{
    const EffectRef effect = MakeEffect();
    const ClipRef clip = MakeClip({}, {effect});
    EXPECT_FALSE(Render(*clip, At(0)));
    ASSERT_EQ(effect->mCalls.size(), 1u);
    EXPECT_FALSE(effect->mCalls[0].mFrame);

    const MediaRef media = MakeMedia();
    media->mGivesNothing = true;
    const ClipRef empty = MakeClip(media, {effect});
    EXPECT_FALSE(Render(*empty, At(0)));
    EXPECT_EQ(effect->mCalls.size(), 2u);
}

TEST_F(ClipFrames, OfMediaWithoutProducerAreNone)
{
    const MediaRef media = MakeMedia();
    media->mGivesNoProducer = true;
    std::int32_t status = -1;
    EXPECT_FALSE(Render(*MakeClip(media), At(0), Params(), &status));
    EXPECT_EQ(status, 0);
}

TEST_F(ClipFrames, MoreThanOneInputGivesNoProducer)
{
    const ClipRef clip(new Clip());
    clip->AppendInput(MF::IRenderableNodeRef(MakeMedia().get()), TickTime());
    clip->AppendInput(MF::IRenderableNodeRef(MakeMedia().get()), TickTime());
    clip->Finalize();
    EXPECT_FALSE(clip->GetProducerForFrame(At(0), Params()));
    EXPECT_FALSE(clip->GetProducerBelowOperator(0, At(0), Params()));
    EXPECT_FALSE(clip->GetProducerOverFrame({}, At(0), Params()));
}

TEST_F(ClipFrames, AFailureOfTheMediaEndsTheFrame)
{
    const MediaRef media = MakeMedia();
    media->mStatus = -7;
    const EffectRef effect = MakeEffect();
    std::int32_t status = 0;
    EXPECT_FALSE(Render(*MakeClip(media, {effect}), At(0), CachingParams(), &status));
    EXPECT_EQ(status, -7);
    EXPECT_TRUE(effect->mCalls.empty());
}

TEST_F(ClipFrames, AFailureOfAnEffectEndsTheFrameAndTheEffectsBehind)
{
    const EffectRef failing = MakeEffect(1);
    failing->mStatus = -9;
    const EffectRef behind = MakeEffect(2);
    std::int32_t status = 0;
    EXPECT_FALSE(Render(*MakeClip(MakeMedia(), {failing, behind}), At(0), Params(), &status));
    EXPECT_EQ(status, -9);
    EXPECT_TRUE(behind->mCalls.empty());
}

TEST_F(ClipFrames, ExchangeTheirFieldsWherePlayedBackwards)
{
    const MediaRef media = MakeMedia();
    media->mFieldType = norviktypes::kFieldType_LowerFirst;
    const ClipRef clip = MakeClip(media, {}, [](Clip& it) { it.Play(Frames(40), -1.0); });
    ML::CutlistRenderParams params = CachingParams();
    params.mFieldType = norviktypes::kFieldType_UpperFirst;
    const MF::IVideoFrameRef frame = Render(*clip, FieldsAt(3, true), params);
    ASSERT_TRUE(frame);
    EXPECT_EQ(media->mRenderedAt.back().Order(), norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(frame->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    // The shared frame of the media stays as it is.
    media->mRenderedAt.clear();
    const ClipRef forward = MakeClip(media, {}, [](Clip& it) { it.Play(Frames(37)); });
    const MF::IVideoFrameRef other =
        Render(*forward, FrameTime(TickTime(), TickTime() - TickTime(kFrame.GetTicks() / 2)), params);
    ASSERT_TRUE(other);
    EXPECT_TRUE(media->mRenderedAt.empty()) << "the media's frame was in the cache";
    EXPECT_EQ(other->GetFieldType(), norviktypes::kFieldType_LowerFirst);
}

TEST_F(ClipFrames, KeepTheirFieldsWherePlayedForwards)
{
    const MediaRef media = MakeMedia();
    media->mFieldType = norviktypes::kFieldType_LowerFirst;
    const ClipRef clip = MakeClip(media, {}, [](Clip& it) { it.Play(Frames(4)); });
    EXPECT_EQ(Render(*clip, FieldsAt(3, true))->GetFieldType(), norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(Render(*clip, At(3))->GetFieldType(), norviktypes::kFieldType_LowerFirst);
}

TEST_F(ClipFrames, AChangedEffectCostsNoFrameOfTheMedia)
{
    const MediaRef media = MakeMedia();
    const auto play = [](Clip& it) { it.Play(Frames(10)); };
    EXPECT_EQ(Painted(Render(*MakeClip(media, {MakeEffect(1)}, play), At(2), CachingParams())), 13);
    EXPECT_EQ(Painted(Render(*MakeClip(media, {MakeEffect(2)}, play), At(2), CachingParams())), 14);
    EXPECT_EQ(Painted(Render(*MakeClip(media, {}, play), At(2), CachingParams())), 12);
    EXPECT_EQ(media->mRenderedAt.size(), 1u);
    // Another frame is another matter.
    Render(*MakeClip(media, {}, play), At(3), CachingParams());
    EXPECT_EQ(media->mRenderedAt.size(), 2u);
}

TEST_F(ClipFrames, WithoutTheFlagNothingIsCached)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(media, {MakeEffect(1)});
    Render(*clip, At(2));
    Render(*clip, At(2), CachingParams(ML::kRenderFlag_CachePartsOfStills | ML::kRenderFlag_CacheAlways));
    EXPECT_EQ(media->mRenderedAt.size(), 2u);
    EXPECT_EQ(TestSupport::FrameCacheBytes(), 0u);
}

TEST_F(ClipFrames, OfStillsHaveAFlagOfTheirOwn)
{
    const MediaRef media = MakeMedia(0x5C);
    const ClipRef clip = MakeClip(media, {MakeEffect(1)});
    const MF::IVideoFrameRef first = Render(*clip, At(2), CachingParams(ML::kRenderFlag_CachePartsOfStills));
    Render(*clip, At(3), CachingParams(ML::kRenderFlag_CachePartsOfStills));
    EXPECT_EQ(media->mRenderedAt.size(), 1u);
}

TEST_F(ClipFrames, AFrameOfTheMediaThatIsThereIsTakenWhateverTheFlags)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(media);
    Render(*clip, At(2), CachingParams());
    EXPECT_EQ(Painted(Render(*clip, At(2))), 2);
    EXPECT_EQ(media->mRenderedAt.size(), 1u);
}

TEST_F(ClipFrames, OfTwoThreadsTheFirstStoredFrameIsUsed)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(media);
    TVK::Guid key;
    media->GetProducerForFrame(At(2), Params())->GetFrameHash(key, At(2), Params(), TVK::Guid());
    MF::IVideoFrameRef winner;
    media->mOnFrame = [&](const MF::IVideoFrameRef&)
    {
        // Another thread is done meanwhile.
        winner = TestSupport::NewFilledFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, {2, 2, 2, 255});
        VF::SharedVideoFrameCache::InsertIntoCache(winner, key, 10);
    };
    EXPECT_EQ(Render(*clip, At(2), CachingParams()), winner);
}

TEST_F(ClipFrames, TheFrameBeforeEffectsIsConformedOnce)
{
    const MediaRef media = MakeMedia();
    media->mWidth = 8;
    media->mHeight = 4;
    const EffectRef effect = MakeEffect(1);
    const ClipRef clip = MakeClip(media, {effect});
    Render(*clip, At(2), CachingParams());
    Render(*clip, At(2), CachingParams());
    ASSERT_EQ(effect->mCalls.size(), 2u);
    EXPECT_EQ(effect->mCalls[0].mFrame, effect->mCalls[1].mFrame);
    TVK::Rect bounds;
    effect->mCalls[0].mFrame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8}));
    TVK::Guid key;
    clip->GetProducerBelowOperator(0, At(2), Params())->GetFrameHash(key, At(2), Params(), TVK::Guid());
    EXPECT_EQ(VF::SharedVideoFrameCache::RetrieveFromCache(key), effect->mCalls[0].mFrame)
        << "by the name that the first effect's view of the chain has for it";
    // Without the flag they are equal frames, but not one.
    TestSupport::EmptyFrameCache();
    Render(*clip, At(2));
    Render(*clip, At(2));
    EXPECT_NE(effect->mCalls[2].mFrame, effect->mCalls[3].mFrame);
    EXPECT_TRUE(TestSupport::HaveEqualPixels(effect->mCalls[1].mFrame, effect->mCalls[3].mFrame));
}

TEST_F(ClipFrames, AFrameThatNeedsNoConformingIsKeptOnce)
{
    const ClipRef clip = MakeClip(MakeMedia(), {MakeEffect(1)});
    Render(*clip, At(2), CachingParams());
    TVK::Guid key;
    clip->GetProducerBelowOperator(0, At(2), Params())->GetFrameHash(key, At(2), Params(), TVK::Guid());
    EXPECT_FALSE(VF::SharedVideoFrameCache::RetrieveFromCache(key));
}

TEST_F(ClipFrames, WithoutEffectsKeepTheSizeOfTheMedia)
{
    const MediaRef media = MakeMedia();
    media->mWidth = 8;
    media->mHeight = 4;
    TVK::Rect bounds;
    Render(*MakeClip(media), At(2), CachingParams())->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 8, 4}));
}

TEST_F(ClipFrames, LargerThanTheOutputReachEffectsWholeAndCentred)
{
    const MediaRef media = MakeMedia();
    media->mWidth = 24;
    media->mHeight = 8;
    const EffectRef effect = MakeEffect(1);
    Render(*MakeClip(media, {effect}), At(2));
    TVK::Rect bounds;
    TVK::Point origin;
    effect->mCalls[0].mFrame->GetBounds(bounds);
    effect->mCalls[0].mFrame->GetOrigin(origin);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 24, 8}));
    EXPECT_EQ(origin, (TVK::Point{4, 0}));

    // Wider and lower: one side grows, the other is filled.
    media->mHeight = 4;
    Render(*MakeClip(media, {effect}), At(3));
    effect->mCalls[1].mFrame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 24, 8}));
}

TEST_F(ClipFrames, AFullSizeSubstituteReachesEffectsAsItIs)
{
    const MediaRef media = MakeMedia();
    media->mWidth = 32;
    media->mHeight = 16;
    media->mOnFrame = [](const MF::IVideoFrameRef& frame) { TestSupport::MakeSubstitute(frame); };
    ML::CutlistRenderParams params = Params();
    params.mSourceWidth = 32;
    params.mSourceHeight = 16;
    const EffectRef effect = MakeEffect(1);
    Render(*MakeClip(media, {effect}), At(2), params);
    TVK::Rect bounds;
    TVK::Point origin;
    effect->mCalls[0].mFrame->GetBounds(bounds);
    effect->mCalls[0].mFrame->GetOrigin(origin);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 32, 16}));
    EXPECT_EQ(origin, (TVK::Point{-1, -1}));
}

TEST_F(ClipFrames, AFullSizeSubstituteWithFieldsIsNotCutForARenderOfOneField)
{
    const MediaRef media = MakeMedia();
    media->mWidth = 32;
    media->mHeight = 16;
    media->mFieldType = norviktypes::kFieldType_UpperFirst;
    media->mOnFrame = [](const MF::IVideoFrameRef& frame) { TestSupport::MakeSubstitute(frame); };
    ML::CutlistRenderParams params = Params();
    params.mSourceWidth = 32;
    params.mSourceHeight = 16;
    params.mFieldToRender = 1;
    const EffectRef effect = MakeEffect(1);
    Render(*MakeClip(media, {effect}), At(2), params);
    TVK::Point origin;
    effect->mCalls[0].mFrame->GetOrigin(origin);
    EXPECT_EQ(origin, (TVK::Point{-1, -1}));
}

TEST_F(ClipFrames, FieldsOfAnotherOrderReachEffectsInThatOfTheRender)
{
    const MediaRef media = MakeMedia();
    media->mFieldType = norviktypes::kFieldType_LowerFirst;
    const EffectRef effect = MakeEffect(1);
    const ClipRef clip = MakeClip(media, {effect});
    ML::CutlistRenderParams params = Params();
    params.mFieldType = norviktypes::kFieldType_UpperFirst;
    Render(*clip, At(2), params);
    EXPECT_EQ(effect->mCalls[0].mFrame->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    // Not where quality matters less, nor where the orders agree.
    params.mRenderQuality = norviktypes::kRenderQuality_Low;
    Render(*clip, At(2), params);
    EXPECT_EQ(effect->mCalls[1].mFrame->GetFieldType(), norviktypes::kFieldType_LowerFirst);
    params.mRenderQuality = norviktypes::kRenderQuality_High;
    params.mFieldType = norviktypes::kFieldType_LowerFirst;
    Render(*clip, At(2), params);
    EXPECT_EQ(effect->mCalls[2].mFrame->GetFieldType(), norviktypes::kFieldType_LowerFirst);
}

TEST_F(ClipFrames, OfRendersWithAndWithoutFieldsAreKeptApart)
{
    const MediaRef media = MakeMedia(0x5C);
    media->mHeight = 4;
    const EffectRef effect = MakeEffect(1);
    const ClipRef clip = MakeClip(media, {effect});
    ML::CutlistRenderParams params = CachingParams();
    params.mFieldType = norviktypes::kFieldType_UpperFirst;
    Render(*clip, At(2), params);
    EXPECT_EQ(effect->mCalls[0].mFrame->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    Render(*clip, At(2), CachingParams());
    EXPECT_EQ(effect->mCalls[1].mFrame->GetFieldType(), norviktypes::kFieldType_Progressive);
    EXPECT_EQ(media->mRenderedAt.size(), 1u) << "the media is the same for both";
    EXPECT_NE(FrameHash(*clip, At(2), params), FrameHash(*clip, At(2)));
    const ClipRef plain = MakeClip(media);
    EXPECT_EQ(FrameHash(*plain, At(2), params), FrameHash(*plain, At(2))) << "nothing is conformed";
}

TEST_F(ClipFrames, TheScanlineOffsetMovesThePictureThatEffectsGet)
{
    const auto topRow = [](std::int32_t offset, bool isNegative)
    {
        const MediaRef media = MakeMedia();
        media->mWidth = 16;
        media->mHeight = 4;
        media->mScanlineOffset = offset;
        media->mIsScanlineOffsetNegative = isNegative;
        const EffectRef effect = MakeEffect(1);
        Render(*MakeClip(media, {effect}), At(9));
        int row = 0;
        while (row < 8 &&
               TestSupport::PixelAt(effect->mCalls[0].mFrame, 8, static_cast<std::uint32_t>(row))[3] == 0)
        {
            ++row;
        }
        return row;
    };
    EXPECT_EQ(topRow(0, false), 2);
    EXPECT_EQ(topRow(-1, false), 3);
    EXPECT_EQ(topRow(1, false), 1);
    EXPECT_EQ(topRow(-1, true), 2);
}

TEST_F(ClipFrames, AFrameThatTheCallerHasTakesThePlaceOfTheMedia)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(media, {MakeEffect(3)});
    const MF::IVideoFrameRef given =
        TestSupport::NewFilledFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 8, 4, {77, 77, 77, 255});
    const ML::IRenderableNodeProducerRef producer = clip->GetProducerOverFrame(given, At(2), CachingParams());
    MF::IVideoFrameRef frame;
    EXPECT_EQ(producer->GetFrame(At(2), CachingParams(), frame), 0);
    EXPECT_EQ(TestSupport::PixelAt(frame, 0, 0), TestSupport::PixelAt(frame, 15, 7));
    EXPECT_TRUE(media->mRenderedAt.empty());
    EXPECT_EQ(TestSupport::FrameCacheBytes(), 0u) << "nothing is known by which it could be found again";

    TVK::Guid first;
    TVK::Guid second;
    producer->GetFrameHash(first, At(2), CachingParams(), TVK::Guid());
    producer->GetFrameHash(second, At(2), CachingParams(), TVK::Guid());
    EXPECT_NE(first, second);
}

TEST_F(ClipFrames, AnEffectSeesOtherMomentsOfTheChainBelowIt)
{
    const MediaRef media = MakeMedia();
    const EffectRef lower = MakeEffect(100);
    const EffectRef upper = MakeEffect(1);
    const ClipRef clip = MakeClip(
        media, {lower, upper}, [](Clip& it) { it.Play(Frames(10), 2.0); }, Frames(5));
    int seen = 0;
    FrameTime lowerTime;
    upper->mOnApply = [&](const ML::SubTreeRenderRef& chain)
    {
        MF::IVideoFrameRef frame;
        chain->RenderFrame(Frames(30), frame, false);
        seen = Painted(frame);
        lowerTime = lower->mCalls.back().mClipTime;
    };
    EXPECT_EQ(Painted(Render(*clip, At(8))), 16 + 101);
    EXPECT_EQ(seen, 130) << "the media at the time that was asked for, and the effect below";
    EXPECT_EQ(lowerTime, At(30));
}

TEST_F(ClipFrames, TheFirstEffectSeesTheMediaAtRenderSize)
{
    const MediaRef media = MakeMedia();
    media->mWidth = 8;
    media->mHeight = 4;
    const EffectRef effect = MakeEffect(1);
    const ClipRef clip = MakeClip(media, {effect}, [](Clip& it) { it.Play(Frames(10)); });
    MF::IVideoFrameRef same;
    MF::IVideoFrameRef next;
    effect->mOnApply = [&](const ML::SubTreeRenderRef& chain)
    {
        chain->RenderFrame(Frames(12), same, false);
        chain->RenderFrame(Frames(13), next, false);
    };
    Render(*clip, At(2), CachingParams());
    TVK::Rect bounds;
    next->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8}));
    EXPECT_EQ(same, effect->mCalls[0].mFrame) << "one frame by one key";
    EXPECT_EQ(media->mRenderedAt.size(), 2u);
    // What was looked at is there when its turn comes.
    Render(*clip, At(3), CachingParams());
    EXPECT_EQ(effect->mCalls[1].mFrame, next);
    EXPECT_EQ(media->mRenderedAt.size(), 2u);
}

TEST_F(ClipFrames, TheViewOfAClipThatIsGoneShowsNothing)
{
    ClipRef clip = MakeClip(MakeMedia(), {MakeEffect(1)});
    const std::vector<ML::IRenderableNodeProducerProviderRef> views = clip->GetSubTrees();
    ASSERT_EQ(views.size(), 1u);
    EXPECT_TRUE(views[0]->GetProducerForFrame(At(0), Params()));
    clip.reset();
    EXPECT_FALSE(views[0]->GetProducerForFrame(At(0), Params()));
}

TEST_F(ClipFrames, TheViewOfAClipWithoutMediaShowsNothing)
{
    const ClipRef clip = MakeClip({}, {MakeEffect(1)});
    EXPECT_FALSE(clip->GetSubTrees()[0]->GetProducerForFrame(At(0), Params()));
}

} // namespace
