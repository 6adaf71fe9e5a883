#include "RenderableNodeEffectImpl.h"

#include "CutlistRenderer.h"
#include "TVK/HashValue.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/PixelMatchers.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using namespace EffectNodeTests;
using TestSupport::FakeVideoFilter;
using TestSupport::FakeVideoFilterRef;
using TestSupport::IsFilledWith;
using TestSupport::NewFilledFrame;
using TestSupport::NewFrame;

constexpr std::int32_t kRefused = static_cast<std::int32_t>(0xa00f0001u);
constexpr norviktypes::PixelFormat kBGRA16 = norviktypes::kPixelFormat_BGRA_4444_16u;
constexpr norviktypes::PixelFormat kBGRP = norviktypes::kPixelFormat_BGRP_4444_8u;
constexpr norviktypes::PixelFormat kFloat = norviktypes::kPixelFormat_BGRA_4444_32f;
constexpr norviktypes::PixelFormat kVUYA = norviktypes::kPixelFormat_VUYA_4444_8u;
constexpr norviktypes::PixelFormat kVUYAFloat = norviktypes::kPixelFormat_VUYA_4444_32f;
constexpr norviktypes::PixelFormat kLinear = norviktypes::kPixelFormat_BGRP_4444_32f_Linear;

norviktypes::PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame)
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
}

class EffectOperator : public testing::Test
{
protected:
    EffectOperator() { TestSupport::EmptyFrameCache(); }

    ML::EffectNodeSettings Settings() const
    {
        ML::EffectNodeSettings settings = mSettings;
        settings.mFilter = ML::IVideoFilterRef(mFilter);
        settings.mParameters = std::make_shared<const MF::KeyframeStore>(mParameters);
        return settings;
    }
    ML::IRenderableNodeOperatorRef Operator() const
    {
        mNode = ML::CreateEffectNode(Settings());
        return ML::IRenderableNodeOperatorProviderRef(mNode)->GetOperatorForFrame(At(1), mParams);
    }
    std::int32_t Apply(const MF::IVideoFrameRef& inFrame)
    {
        return Operator()->ApplyToFrame(FrameTime(Frames(9), Frames(8)), FrameTime(Frames(4), Frames(5)),
                                        mParams, inFrame, mSubTree, mOutput);
    }
    TVK::Guid HashOf(const FrameTime& inTime, const TVK::Guid& inSeed = TVK::Guid()) const
    {
        TVK::Guid hash;
        Operator()->GetFrameHash(hash, inTime, mParams, inSeed);
        return hash;
    }
    norviktypes::PixelFormat PreparedFormat(const norviktypes::PixelFormat& inFrameFormat)
    {
        return FormatOf(ML::PrepareInputFrame(mParams, NewFrame(inFrameFormat, 16, 8), mParams.mPixelFormat,
                                              ML::IVideoFilterRef(mFilter)));
    }
    const FakeVideoFilter::Call& Call() const { return mFilter->mCalls.back(); }

    FakeVideoFilterRef mFilter{new FakeVideoFilter()};
    MF::KeyframeStore mParameters{TestSupport::MakeNumberParameter(1.0)};
    ML::EffectNodeSettings mSettings;
    ML::CutlistRenderParams mParams = ParamsAt(50);
    ML::SubTreeRenderRef mSubTree;
    MF::IVideoFrameRef mOutput;
    mutable MF::IRenderableNodeRef mNode;
};

// Calls of the filter.

TEST_F(EffectOperator, GivesTheFilterItsMoment)
{
    mSettings.mEffectStart = Frames(2);
    mSettings.mEffectDuration = Frames(30);
    EXPECT_EQ(Apply(NewFrame(kPixelFormat_BGRA_4444_8u, 16, 8)), 0);
    const ML::VideoFilterRender& render = Call().mRender;
    EXPECT_EQ(render.mClipTime, Frames(8)) << "the earlier field";
    EXPECT_EQ(render.mSequenceTime, Frames(4));
    EXPECT_EQ(render.mFrameRate, kRate);
    EXPECT_EQ(render.mFrame, 4);
    EXPECT_EQ(render.mFrameCount, 30);
    EXPECT_EQ(render.mEffectStart, Frames(2));
    EXPECT_FALSE(render.mLayers);
}

TEST_F(EffectOperator, CountsFramesAtTheRateOfTheRender)
{
    mSettings.mEffectDuration = Frames(30);
    mParams.mFrameRate = norviktypes::FrameRate(kRate.GetTicks() / 2);
    EXPECT_EQ(Apply(nullptr), 0);
    EXPECT_EQ(Call().mRender.mFrame, 8);
    EXPECT_EQ(Call().mRender.mFrameCount, 60);
}

TEST_F(EffectOperator, TellsTheFilterOfTheRender)
{
    mFilter->mStreamLabels = {ImmutableString::CreateStatic("Matte")};
    mSettings.mStreamLabel = ImmutableString::CreateStatic("Matte");
    mParams.mFrameTime = FrameTime(Frames(51), Frames(50));
    mParams.mScaleX = 0.25;
    mParams.mScaleY = 0.5;
    mParams.mFieldType = norviktypes::kFieldType_UpperFirst;
    mParams.mRenderQuality = norviktypes::kRenderQuality_Medium;
    mParams.mPixelAspectRatio = norviktypes::PixelAspectRatio(10, 11);
    EXPECT_EQ(Apply(nullptr), 0);
    const ML::EffectRenderInfo& info = Call().mInfo;
    EXPECT_EQ(info.bounds, (TVK::Rect{0, 0, 16, 8}));
    EXPECT_EQ(info.fieldType, 1);
    EXPECT_EQ(info.quality, 3u);
    EXPECT_EQ(info.pixelAspectRatio, norviktypes::PixelAspectRatio(10, 11));
    EXPECT_EQ(info.isUnset, 0);
    EXPECT_EQ(info.downsampleFactor, 0.25f);
    EXPECT_EQ(info.renderTime, Frames(50));
    EXPECT_EQ(info.timeOffset, norviktypes::kTime_Zero);
    EXPECT_EQ(info.streamLabel, ImmutableString::CreateStatic("Matte"));
}

TEST(EffectRenderInfo, SaysThatNothingWasFilledIn)
{
    const ML::EffectRenderInfo info;
    EXPECT_EQ(info.bounds, (TVK::Rect{}));
    EXPECT_EQ(info.fieldType, -1);
    EXPECT_EQ(info.quality, 4u);
    EXPECT_EQ(info.isUnset, 1);
    EXPECT_EQ(info.downsampleFactor, 1.0f);
}

TEST_F(EffectOperator, SharesTheParametersOfItsNode)
{
    const auto given = std::make_shared<MF::KeyframeStore>(mParameters);
    ML::EffectNodeSettings settings = Settings();
    settings.mParameters = given;
    const MF::IRenderableNodeRef node = ML::CreateEffectNode(settings);
    given->clear();
    mFilter->mRender =
        [](const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef&, MF::IVideoFrameRef&)
    { return static_cast<std::int32_t>(inRender.mParameters->size()); };
    const auto filtering = ML::IRenderableNodeOperatorProviderRef(node)->GetOperatorForFrame(At(1), mParams);
    EXPECT_EQ(filtering->ApplyToFrame(At(1), At(1), mParams, nullptr, nullptr, mOutput), 1)
        << "what happens to the list afterwards is not seen";
}

class SomeSubTree final : public TVK::Implements<SomeSubTree, ML::SubTreeRender>
{
public:
    void RenderFrame(const TickTime&, MF::IVideoFrameRef&, bool) override {}
};

TEST_F(EffectOperator, HandsOnTheChainBeneath)
{
    mSubTree = ML::SubTreeRenderRef(new SomeSubTree());
    EXPECT_EQ(Apply(nullptr), 0);
    EXPECT_EQ(Call().mRender.mSubTree, mSubTree);
}

TEST_F(EffectOperator, GivesTheFrameOfTheFilter)
{
    const MF::IVideoFrameRef input = NewFrame(kPixelFormat_BGRA_4444_8u, 16, 8);
    const MF::IVideoFrameRef made = NewFrame(kPixelFormat_BGRA_4444_8u, 16, 8);
    mFilter->mRender =
        [&](const ML::VideoFilterRender&, const MF::IVideoFrameRef&, MF::IVideoFrameRef& outFrame)
    {
        EXPECT_FALSE(outFrame) << "nothing of an earlier frame";
        outFrame = made;
        return 3;
    };
    mOutput = input;
    EXPECT_EQ(Apply(input), 3);
    EXPECT_EQ(mOutput, made);
    EXPECT_EQ(Call().mFrame, input) << "a frame of a format that is taken is not copied";
}

TEST_F(EffectOperator, GivesTheStatusOfAFilterThatFails)
{
    mFilter->mRender = [](const ML::VideoFilterRender&, const MF::IVideoFrameRef&, MF::IVideoFrameRef&)
    { return -33; };
    EXPECT_EQ(Apply(nullptr), -33);
    EXPECT_EQ(mFilter->mCalls.size(), 1u) << "it is not tried again";
}

TEST_F(EffectOperator, RefusesWhereNoFrameCanBeMade)
{
    mParams.mWidth = 20000;
    EXPECT_EQ(Apply(nullptr), kRefused);
    mFilter->mFormats = {norviktypes::PixelFormat{norviktypes::FourCC("none"), 0x000FFFFF}};
    mParams.mWidth = 16;
    EXPECT_EQ(Apply(NewFrame(kPixelFormat_BGRA_4444_8u, 16, 8)), kRefused)
        << "a filter never gets a frame of a format that it does not take";
    EXPECT_TRUE(mFilter->mCalls.empty());
}

// The frame that a filter gets.

TEST_F(EffectOperator, AlwaysHasAFrameForTheFilter)
{
    mFilter->mFormats = {kBGRA16};
    EXPECT_EQ(Apply(nullptr), 0);
    EXPECT_TRUE(IsFilledWith(Call().mFrame, {0, 0, 0, 0, 0, 0, 0, 0}));
    ML::CutlistRenderParams params = mParams;
    params.mPixelFormat = kBGRA16;
    EXPECT_EQ(Call().mFrame, ML::GetBlackVideoFrame(params));
}

TEST_F(EffectOperator, AsksTheFilterForFormatsWithFrameAndParams)
{
    const MF::IVideoFrameRef input = NewFrame(kVUYA, 16, 8);
    EXPECT_EQ(Apply(input), 0);
    ASSERT_FALSE(mFilter->mFormatQuestions.empty());
    EXPECT_EQ(mFilter->mFormatQuestions[0].mFrame, input);
    EXPECT_EQ(mFilter->mFormatQuestions[0].mFormat, kPixelFormat_BGRA_4444_8u);
}

TEST_F(EffectOperator, PrepareKeepsColoursAndAlphaWhereTheFilterTakesThem)
{
    mFilter->mFormats = {kPixelFormat_BGRA_4444_8u, kBGRP, kVUYA, kFloat, kVUYAFloat};
    EXPECT_EQ(PreparedFormat(kVUYA), kVUYA);
    EXPECT_EQ(PreparedFormat(kBGRP), kBGRP);
    mFilter->mFormats = {kFloat, kBGRP};
    EXPECT_EQ(PreparedFormat(kVUYA), kBGRP) << "the nearest one otherwise";
}

TEST_F(EffectOperator, PrepareTakesTheDepthOfTheParams)
{
    mFilter->mFormats = {kPixelFormat_BGRA_4444_8u, kBGRA16, kVUYA, kFloat, kVUYAFloat};
    EXPECT_EQ(PreparedFormat(kBGRA16), kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(PreparedFormat(kFloat), kPixelFormat_BGRA_4444_8u);
    mParams.mPixelFormat = kBGRA16;
    EXPECT_EQ(PreparedFormat(kPixelFormat_BGRA_4444_8u), kFloat) << "deeper than eight bits is float";
    EXPECT_EQ(PreparedFormat(kVUYA), kVUYAFloat);
    mParams.mPixelFormat = kFloat;
    EXPECT_EQ(PreparedFormat(kVUYA), kVUYAFloat);
}

TEST_F(EffectOperator, PrepareFallsBackToTheFormatOfTheParams)
{
    // Linear light in eight bits is no format.
    mParams.mRenderQuality = norviktypes::kRenderQuality_Max;
    mFilter->mFormats = {kVUYA, kPixelFormat_BGRA_4444_8u, kLinear};
    EXPECT_EQ(PreparedFormat(kVUYA), kPixelFormat_BGRA_4444_8u);
    mParams.mPixelFormat = kFloat;
    EXPECT_EQ(PreparedFormat(kVUYA), kLinear);
}

TEST_F(EffectOperator, PrepareTakesAnyFormatFromAFilterWithoutAList)
{
    mFilter->mFormats.clear();
    EXPECT_EQ(PreparedFormat(kVUYA), kVUYA);
    mFilter->mFormats = {norviktypes::kPixelFormat_Any};
    EXPECT_EQ(PreparedFormat(kBGRP), kBGRP);
}

TEST_F(EffectOperator, PrepareConvertsThePixels)
{
    mFilter->mFormats = {kBGRA16};
    const auto frame =
        ML::PrepareInputFrame(mParams, NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {0, 128, 255, 255}),
                              mParams.mPixelFormat, ML::IVideoFilterRef(mFilter));
    EXPECT_EQ(FormatOf(frame), kBGRA16);
    EXPECT_TRUE(TestSupport::HaveNearPixels(
        frame, NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {0, 128, 255, 255}), 0.001));
}

TEST_F(EffectOperator, PrepareBringsAFullSizeSubstituteToTheSizeOfTheRender)
{
    const MF::IVideoFrameRef full = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 32, 16, {9, 8, 7, 255});
    TestSupport::MakeSubstitute(full);
    mParams.mSourceWidth = 32;
    mParams.mSourceHeight = 16;
    const auto frame =
        ML::PrepareInputFrame(mParams, full, mParams.mPixelFormat, ML::IVideoFilterRef(mFilter));
    TVK::Rect bounds;
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8})) << "also where the format is right already";
}

TEST_F(EffectOperator, PrepareLeavesAFrameLargerThanTheOutputAsItIs)
{
    const MF::IVideoFrameRef large = NewFrame(kPixelFormat_BGRA_4444_8u, 32, 16);
    EXPECT_EQ(ML::PrepareInputFrame(mParams, large, mParams.mPixelFormat, ML::IVideoFilterRef(mFilter)),
              large);
}

// Hashes.

TVK::Guid ExpectedHash(const TVK::Guid& inSeed, bool inWithTime, const TVK::Guid& inNodeHash,
                       const ML::CutlistRenderParams& inParams)
{
    TVK::HashValue hash(inSeed);
    hash.MixText("EffectNodeOperator");
    if (inWithTime)
    {
        const std::int64_t times[2] = {Frames(7).GetTicks(), Frames(8).GetTicks()};
        hash.Mix(times, 16);
    }
    hash.MixGuid(inNodeHash);
    hash.MixU32(16);
    hash.MixU32(8);
    hash.MixU32(1);
    hash.MixU32(1);
    hash.MixDouble(1.0);
    hash.MixDouble(1.0);
    hash.MixU32(4);
    hash.MixU32(4);
    hash.Mix(&inParams.mPixelFormat, 8);
    return hash.AsGuid();
}

TEST_F(EffectOperator, HashesNodeAndParamsInOrder)
{
    const TVK::Guid seed{5, 6};
    const TVK::Guid still = HashOf(FrameTime(Frames(7), Frames(8)), seed);
    EXPECT_EQ(still, ExpectedHash(seed, false, mNode->GetHashValue(), mParams));
    mFilter->mVariesByItself = true;
    const TVK::Guid moving = HashOf(FrameTime(Frames(7), Frames(8)), seed);
    EXPECT_EQ(moving, ExpectedHash(seed, true, mNode->GetHashValue(), mParams));
}

TEST_F(EffectOperator, HashOfAConstantFilterIsTheSameAtAllTimes)
{
    EXPECT_EQ(HashOf(At(1)), HashOf(At(2)));
    mParameters = {TestSupport::MakeNumberParameter(1.0, 1.0)};
    EXPECT_NE(HashOf(At(1)), HashOf(At(2)));
}

TEST_F(EffectOperator, HashDoesNotTellTheMomentOfTheSequenceWithoutLayers)
{
    const TVK::Guid plain = HashOf(At(1));
    mParams.mFrameTime = At(999);
    EXPECT_EQ(HashOf(At(1)), plain) << "the same clip elsewhere is the same picture";
}

TEST_F(EffectOperator, HashChangesWithEveryParamThatItMixes)
{
    using Change = std::function<void(ML::CutlistRenderParams&)>;
    const std::vector<Change> changes = {
        [](ML::CutlistRenderParams& it) { it.mWidth = 17; },
        [](ML::CutlistRenderParams& it) { it.mHeight = 9; },
        [](ML::CutlistRenderParams& it) { it.mPixelAspectRatio = norviktypes::PixelAspectRatio(2, 1); },
        [](ML::CutlistRenderParams& it) { it.mPixelAspectRatio = norviktypes::PixelAspectRatio(1, 2); },
        [](ML::CutlistRenderParams& it) { it.mScaleX = 0.5; },
        [](ML::CutlistRenderParams& it) { it.mScaleY = 0.5; },
        [](ML::CutlistRenderParams& it) { it.mRenderQuality = norviktypes::kRenderQuality_Low; },
        [](ML::CutlistRenderParams& it) { it.mDeinterlaceQuality = norviktypes::kRenderQuality_Low; },
        [](ML::CutlistRenderParams& it) { it.mPixelFormat = kBGRA16; },
    };
    const TVK::Guid plain = HashOf(At(1));
    for (std::size_t index = 0; index < changes.size(); ++index)
    {
        mParams = ParamsAt(50);
        changes[index](mParams);
        EXPECT_NE(HashOf(At(1)), plain) << "change " << index;
    }
}

} // namespace
