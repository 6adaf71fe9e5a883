// How a clip says that its picture lies on the output.

#include "Tests/ClipNodes/ClipTests.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"

#include <gtest/gtest.h>

#include <limits>

using namespace ClipTests;
using namespace TestSupport;

namespace
{

ML::NodeIntrinsicParameters IntrinsicsOf(const std::function<void(Clip&)>& inPrepare,
                                         const TickTime& inTime = TickTime(),
                                         const MediaRef& inMedia = MakeMedia(),
                                         const TickTime& inOffset = TickTime())
{
    const ClipRef clip = MakeClip(inMedia, {}, inPrepare, inOffset);
    ML::NodeIntrinsicParameters record;
    record.rotation = 99.0;
    EXPECT_EQ(clip->GetIntrinsicParameters(inTime, Params(), record), 0);
    return record;
}

TEST(ClipIntrinsics, AreTheDefaultsWithoutMotionAndOpacity)
{
    const ML::NodeIntrinsicParameters record = IntrinsicsOf({});
    EXPECT_TRUE(ML::SameIntrinsics(record, ML::kDefaultIntrinsicParameters));
    EXPECT_EQ(record.scanlineOffset, 0);
    EXPECT_EQ(record.sourceWidth, 0);
}

TEST(ClipIntrinsics, TakeEachParameterOfMotionByItsPlace)
{
    const ML::NodeIntrinsicParameters record = IntrinsicsOf(
        [](Clip& it)
        {
            it.mMotionKeyframes = {MakePointParameter(0.25, 0.125), MakeNumberParameter(50.0),
                                   MakeNumberParameter(150.0),      MakeTruthParameter(false),
                                   MakeNumberParameter(30.0),       MakePointParameter(0.75, 0.0),
                                   MakeNumberParameter(0.5)};
        });
    EXPECT_EQ(record.positionX, 0.25f);
    EXPECT_EQ(record.positionY, 0.875f);
    EXPECT_EQ(record.scaleY, 0.5f);
    EXPECT_EQ(record.scaleX, 1.5f);
    EXPECT_EQ(record.rotation, 30.0);
    EXPECT_EQ(record.anchorX, 0.75f);
    EXPECT_EQ(record.anchorY, 1.0f);
    EXPECT_EQ(record.antiFlicker, 0.5);
    EXPECT_EQ(record.opacity, 1.0f);
}

TEST(ClipIntrinsics, OfUniformScaleTakeTheHeightForBoth)
{
    const ML::NodeIntrinsicParameters record = IntrinsicsOf(
        [](Clip& it)
        {
            it.mMotionKeyframes = {MakePointParameter(0.5, 0.5), MakeNumberParameter(50.0),
                                   MakeNumberParameter(150.0), MakeTruthParameter(true)};
        });
    EXPECT_EQ(record.scaleX, 0.5f);
    EXPECT_EQ(record.scaleY, 0.5f);
}

TEST(ClipIntrinsics, TakePercentForBothOpacitiesAndTheBlendMode)
{
    const ML::NodeIntrinsicParameters record = IntrinsicsOf(
        [](Clip& it) {
            it.mOpacityKeyframes = {MakeNumberParameter(25.0), MakeChoiceParameter(5)};
        });
    EXPECT_EQ(record.opacity, 0.25f);
    EXPECT_EQ(record.blendOpacity, 0.25f);
    EXPECT_EQ(record.blendMode, 5u);
}

TEST(ClipIntrinsics, TakeNumbersOfAllKinds)
{
    const auto opacity = [](std::int32_t type)
    {
        const FakeKeyframedParameterRef parameter = MakeNumberParameter(50.0);
        parameter->mValueType = type;
        return IntrinsicsOf([&](Clip& it) { it.mOpacityKeyframes = {parameter}; }).opacity;
    };
    EXPECT_EQ(opacity(MF::kKeyframeValueType<double>), 0.5f);
    EXPECT_EQ(opacity(MF::kKeyframeValueType<float>), 0.5f);
    EXPECT_EQ(opacity(MF::kKeyframeValueType<std::int32_t>), 0.5f);
    EXPECT_EQ(opacity(MF::kKeyframeValueType<std::uint32_t>), 0.5f);
    EXPECT_EQ(opacity(MF::kKeyframeValueType<bool>), 1.0f) << "no number";
}

TEST(ClipIntrinsics, LeaveAloneWhatIsMissingFailsOrIsNoNumber)
{
    const FakeKeyframedParameterRef failing = MakeNumberParameter(50.0);
    failing->mStatus = -1;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    const ML::NodeIntrinsicParameters record = IntrinsicsOf(
        [&](Clip& it)
        {
            it.mMotionKeyframes = {
                MakePointParameter(nan, 0.5),     failing, {}, failing, MakeNumberParameter(infinite),
                MakePointParameter(0.5, infinite)};
            it.mOpacityKeyframes = {MakeNumberParameter(nan), failing};
        });
    EXPECT_TRUE(ML::SameIntrinsics(record, ML::kDefaultIntrinsicParameters));
}

TEST(ClipIntrinsics, AreEvaluatedAtMediaTime)
{
    const auto rotate = [](Clip& it)
    {
        it.Play(Frames(25), 2.0);
        it.mMotionKeyframes = {{}, {}, {}, {}, MakeNumberParameter(0.0, 1.0)};
    };
    EXPECT_DOUBLE_EQ(IntrinsicsOf(rotate, Frames(0)).rotation, 1.0);
    EXPECT_DOUBLE_EQ(IntrinsicsOf(rotate, Frames(25)).rotation, 3.0);
    EXPECT_DOUBLE_EQ(IntrinsicsOf(rotate, Frames(30), MakeMedia(), Frames(5)).rotation, 3.0);
    // Also where the media has not begun.
    EXPECT_DOUBLE_EQ(IntrinsicsOf(rotate, Frames(-25)).rotation, -1.0);
}

TEST(ClipIntrinsics, OfAHeldClipMoveUnlessEffectsAreHeldToo)
{
    const auto rotation = [](bool holdsEffects)
    {
        return IntrinsicsOf(
                   [&](Clip& it)
                   {
                       it.Play(Frames(25));
                       it.Hold(Frames(75), holdsEffects);
                       it.mMotionKeyframes = {{}, {}, {}, {}, MakeNumberParameter(0.0, 1.0)};
                   },
                   Frames(25))
            .rotation;
    };
    EXPECT_DOUBLE_EQ(rotation(false), 2.0);
    EXPECT_DOUBLE_EQ(rotation(true), 3.0);
}

TEST(ClipIntrinsics, ThatMoveThePictureSayForWhichSize)
{
    const auto rotated = [](Clip& it) { it.mMotionKeyframes = {{}, {}, {}, {}, MakeNumberParameter(10.0)}; };
    const ML::NodeIntrinsicParameters record = IntrinsicsOf(rotated);
    EXPECT_EQ(record.sourceWidth, 12);
    EXPECT_EQ(record.sourceHeight, 6);
    // A blend mode moves nothing.
    const ML::NodeIntrinsicParameters blended = IntrinsicsOf(
        [](Clip& it) {
            it.mOpacityKeyframes = {{}, MakeChoiceParameter(3)};
        });
    EXPECT_EQ(blended.sourceWidth, 0);
    const ML::NodeIntrinsicParameters faded =
        IntrinsicsOf([](Clip& it) { it.mOpacityKeyframes = {MakeNumberParameter(50.0)}; });
    EXPECT_EQ(faded.sourceWidth, 12);
}

TEST(ClipIntrinsics, CarryTheScanlineOffsetOfTheMedia)
{
    const MediaRef media = MakeMedia();
    media->mScanlineOffset = -1;
    EXPECT_EQ(IntrinsicsOf({}, {}, media).scanlineOffset, -1);
    media->mIsScanlineOffsetNegative = true;
    EXPECT_EQ(IntrinsicsOf({}, {}, media).scanlineOffset, -1);
}

// A picture that is lower than the output is moved when effects are given it, a higher one when it is cut.
TEST(ClipIntrinsics, MoveThePictureOnceWhetherEffectsRunOrNot)
{
    const auto withEffects = [](bool isNegative)
    {
        const MediaRef media = MakeMedia();
        media->mScanlineOffset = 1;
        media->mIsScanlineOffsetNegative = isNegative;
        return IntrinsicsOf([](Clip& it) { it.mRunsEffects = true; }, {}, media).scanlineOffset;
    };
    EXPECT_EQ(withEffects(false), 0);
    EXPECT_EQ(withEffects(true), 1);
}

TEST(ClipIntrinsics, AreSampledWellUnlessTheSequenceSaysOtherwise)
{
    EXPECT_EQ(IntrinsicsOf({}).highQualitySampling, 1);
    EXPECT_EQ(IntrinsicsOf([](Clip& it) { it.mAllowLinearCompositing = false; }).highQualitySampling, 0);
}

TEST(ClipIntrinsics, OfAClipWithoutMediaAreThoseOfTheItem)
{
    const ML::NodeIntrinsicParameters record =
        IntrinsicsOf([](Clip& it) { it.mOpacityKeyframes = {MakeNumberParameter(50.0)}; }, {}, MediaRef());
    EXPECT_EQ(record.opacity, 0.5f);
    EXPECT_EQ(record.sourceWidth, 0);
}

} // namespace
