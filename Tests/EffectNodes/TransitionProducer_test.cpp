#include "RenderableNodeTransitionImpl.h"

#include "CutlistRenderer.h"
#include "TVK/HashValue.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/Fakes/FakeTrackItem.h"
#include "Tests/Support/Fakes/FakeVideoTransition.h"
#include "Tests/Support/PixelMatchers.h"

#include <gtest/gtest.h>

#include <optional>

namespace
{

using namespace EffectNodeTests;
using TestSupport::FakeTransitionItem;
using TestSupport::FakeTransitionItemRef;
using TestSupport::FakeVideoTransition;
using TestSupport::FakeVideoTransitionRef;
using TestSupport::IsFilledWith;
using TestSupport::NewFilledFrame;
using TestSupport::PixelAt;

constexpr std::int32_t kRefused = static_cast<std::int32_t>(0xa00f0001u);
constexpr norviktypes::PixelFormat kBGRA16 = norviktypes::kPixelFormat_BGRA_4444_16u;
constexpr norviktypes::PixelFormat kFloat = norviktypes::kPixelFormat_BGRA_4444_32f;
constexpr norviktypes::PixelFormat kVUYA = norviktypes::kPixelFormat_VUYA_4444_8u;

// Ten frames long. The zero of A's time lies four frames before its start, that of B's three behind.
class TransitionProducer : public testing::Test
{
protected:
    TransitionProducer() { TestSupport::EmptyFrameCache(); }

    MF::IRenderableNodeRef Node() const
    {
        FakeTransitionItemRef item(new FakeTransitionItem(Frames(100), Frames(110)));
        item->mTransition = ML::IVideoTransitionRef(mTransition);
        return ML::CreateTransitionNode(BE::ITransitionItemRef(item), mA, Frames(-4), mB, Frames(3));
    }
    ML::IRenderableNodeProducerRef Producer(const FrameTime& inTime) const
    {
        return ML::IRenderableNodeProducerProviderRef(Node())->GetProducerForFrame(inTime, mParams);
    }
    std::int32_t Render(const FrameTime& inTime)
    {
        mFrame.reset();
        return Producer(inTime)->GetFrame(inTime, mParams, mFrame);
    }
    TVK::Guid HashOf(const FrameTime& inTime) const
    {
        TVK::Guid hash;
        Producer(inTime)->GetFrameHash(hash, inTime, mParams, TVK::Guid());
        return hash;
    }
    const FakeVideoTransition::Call& Call() const { return mTransition->mCalls.back(); }

    FakeVideoTransitionRef mTransition{new FakeVideoTransition()};
    LayerCallsRef mCallsA = std::make_shared<LayerCalls>();
    LayerCallsRef mCallsB = std::make_shared<LayerCalls>();
    MF::IRenderableNodeRef mA = MakeLayer(100, mCallsA);
    MF::IRenderableNodeRef mB = MakeLayer(200, mCallsB);
    ML::CutlistRenderParams mParams = ParamsAt(105);
    MF::IVideoFrameRef mFrame;
};

TEST_F(TransitionProducer, GivesTheTransitionBothPicturesAndAFrameToFill)
{
    mTransition->mRender = [](const ML::VideoTransitionRender&, const MF::IVideoFrameRef& ioFrame,
                              const MF::IVideoFrameRef&, const MF::IVideoFrameRef&)
    {
        for (std::uint32_t row = 0; row < 8; ++row)
        {
            std::fill_n(TestSupport::RowOf(ioFrame, row), 64, std::uint8_t{77});
        }
        return 5;
    };
    EXPECT_EQ(Render(At(5)), 5);
    EXPECT_TRUE(IsFilledWith(mFrame, {77, 77, 77, 77}));
    EXPECT_TRUE(IsFilledWith(Call().mA, {100, 20, 30, 255}));
    EXPECT_TRUE(IsFilledWith(Call().mB, {200, 20, 30, 255}));
    EXPECT_EQ(mFrame, Call().mFrame);
}

TEST_F(TransitionProducer, RendersItsInputsInTheirOwnTimes)
{
    EXPECT_EQ(Render(At(5)), 0);
    EXPECT_EQ(mCallsA->mTimes, std::vector{At(9)});
    EXPECT_EQ(mCallsB->mTimes, std::vector{At(2)});
    EXPECT_EQ(mCallsA->mParams[0].mFrameTime, At(105)) << "the moment of the sequence is passed on";
}

TEST_F(TransitionProducer, TellsTheTransitionItsMoment)
{
    mTransition->mInfo.mDuration = Frames(3);
    EXPECT_EQ(Render(At(5)), 0);
    const ML::VideoTransitionRender& render = Call().mRender;
    EXPECT_EQ(render.mFrame, 5);
    EXPECT_EQ(render.mFrameCount, 10);
    EXPECT_EQ(render.mTime, Frames(5));
    EXPECT_EQ(render.mStart, Frames(0));
    EXPECT_EQ(render.mEnd, Frames(10));
    EXPECT_EQ(render.mFrameRate, kRate);
}

TEST_F(TransitionProducer, CountsFramesAtTheRateOfTheRender)
{
    mParams.mFrameRate = norviktypes::FrameRate(kRate.GetTicks() / 2);
    EXPECT_EQ(Render(At(5)), 0);
    EXPECT_EQ(Call().mRender.mFrame, 10);
    EXPECT_EQ(Call().mRender.mFrameCount, 20);
}

TEST_F(TransitionProducer, TakesTheEarlierFieldForTheMoment)
{
    const FrameTime lowerFirst(Frames(6), Frames(5));
    EXPECT_EQ(Render(lowerFirst), 0);
    EXPECT_EQ(Call().mRender.mTime, Frames(5));
    EXPECT_EQ(Call().mRender.mFrame, 5);
}

TEST_F(TransitionProducer, OrdersFieldsAsTheRequestNotAsTheSequence)
{
    mParams.mFieldType = norviktypes::kFieldType_UpperFirst;
    EXPECT_EQ(Render(FrameTime(Frames(5), Frames(6))), 0);
    EXPECT_EQ(mFrame->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    EXPECT_EQ(Render(FrameTime(Frames(6), Frames(5))), 0);
    EXPECT_EQ(mFrame->GetFieldType(), norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(Render(At(5)), 0);
    EXPECT_EQ(mFrame->GetFieldType(), norviktypes::kFieldType_Progressive);
}

TEST_F(TransitionProducer, FlagsDraftsAndInputs)
{
    const auto flagsOf = [this](norviktypes::RenderQuality inQuality)
    {
        mParams.mRenderQuality = inQuality;
        EXPECT_EQ(Render(At(5)), 0);
        return Call().mRender.mFlags;
    };
    EXPECT_EQ(flagsOf(norviktypes::kRenderQuality_Low), 7u);
    EXPECT_EQ(flagsOf(norviktypes::kRenderQuality_Medium), 6u);
    mA.reset();
    EXPECT_EQ(flagsOf(norviktypes::kRenderQuality_High), ML::kTransitionFlag_HasB);
    mA = MakeLayer(1);
    mB.reset();
    EXPECT_EQ(flagsOf(norviktypes::kRenderQuality_High), ML::kTransitionFlag_HasA);
}

TEST_F(TransitionProducer, TellsEachSideOfTheRender)
{
    mParams.mScaleX = 0.5;
    mParams.mScaleY = 0.25;
    mParams.mFieldType = norviktypes::kFieldType_LowerFirst;
    EXPECT_EQ(Render(At(5)), 0);
    const ML::EffectRenderInfo& info = Call().mRender.mInfoA.mRender;
    EXPECT_EQ(info.bounds, (TVK::Rect{0, 0, 16, 8}));
    EXPECT_EQ(info.fieldType, 2);
    EXPECT_EQ(info.quality, 4u);
    EXPECT_EQ(info.isUnset, 0);
    EXPECT_EQ(info.downsampleFactor, 0.25f);
    EXPECT_EQ(info.renderTime, Frames(105));
    EXPECT_EQ(info.timeOffset, Frames(-4));
    EXPECT_EQ(Call().mRender.mInfoB.mRender.timeOffset, Frames(3));
}

TEST_F(TransitionProducer, LetsTheTransitionLookAtOtherMomentsOfASide)
{
    EXPECT_EQ(Render(At(5)), 0);
    MF::IVideoFrameRef other;
    Call().mRender.mInfoA.mSubTree->RenderFrame(Frames(7), other, false);
    EXPECT_TRUE(IsFilledWith(other, {100, 20, 30, 255}));
    EXPECT_EQ(mCallsA->mTimes.back(), At(11));
    EXPECT_EQ(mCallsA->mParams.back().mFrameTime, At(107)) << "two frames on, in the sequence as well";
}

TEST_F(TransitionProducer, LeavesTheOtherMomentsOfAMissingSideEmpty)
{
    mB.reset();
    EXPECT_EQ(Render(At(5)), 0);
    MF::IVideoFrameRef other;
    Call().mRender.mInfoB.mSubTree->RenderFrame(Frames(7), other, false);
    EXPECT_FALSE(other);
}

TEST_F(TransitionProducer, ShowsBlackForAMissingSide)
{
    mTransition->mFormats = {kBGRA16};
    mA.reset();
    EXPECT_EQ(Render(At(5)), 0);
    EXPECT_TRUE(IsFilledWith(Call().mA, {0, 0, 0, 0, 0, 0, 0, 0})) << "black of the format that is taken";
    EXPECT_EQ(PixelAt(Call().mB, 0, 0)[7], 255);
    mA = MakeLayer(100, mCallsA);
    mCallsA->mIsEmpty = true;
    EXPECT_EQ(Render(At(5)), 0);
    EXPECT_TRUE(IsFilledWith(Call().mA, {0, 0, 0, 0, 0, 0, 0, 0})) << "nothing is there at that time";
    mA.reset();
    mB.reset();
    EXPECT_EQ(Render(At(5)), 0);
    EXPECT_EQ(Call().mA, Call().mB);
}

TEST_F(TransitionProducer, EndsWithTheStatusOfAnInputThatFails)
{
    mCallsA->mStatus = -17;
    mCallsB->mStatus = -18;
    EXPECT_EQ(Render(At(5)), -17);
    EXPECT_FALSE(mFrame);
    EXPECT_TRUE(mCallsB->mTimes.empty()) << "nothing is rendered behind a failure";
    mCallsA->mStatus = 0;
    EXPECT_EQ(Render(At(5)), -18);
    EXPECT_TRUE(mTransition->mCalls.empty());
}

TEST_F(TransitionProducer, EndsWithTheStatusOfATransitionThatFails)
{
    mTransition->mRenderStatus = -21;
    EXPECT_EQ(Render(At(5)), -21);
    EXPECT_FALSE(mFrame);
}

TEST_F(TransitionProducer, RefusesASizeThatNoFrameHas)
{
    mA.reset();
    mB.reset();
    mParams.mWidth = 20000;
    EXPECT_EQ(Render(At(5)), kRefused);
    EXPECT_TRUE(mTransition->mCalls.empty());
}

TEST_F(TransitionProducer, RefusesAnOutputThatCannotBeMade)
{
    mParams.mWidth = 20000;
    mTransition->mFormats.clear();
    const auto preset = ML::IRenderableNodeTransitionRef(Node())->GetProducerForFramesAndTime(
        NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {1, 2, 3, 4}),
        NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {1, 2, 3, 4}), At(5), mParams);
    EXPECT_EQ(preset->GetFrame(At(5), mParams, mFrame), kRefused);
    EXPECT_TRUE(mTransition->mCalls.empty());
}

TEST_F(TransitionProducer, RefusesAFormatThatNoFrameHas)
{
    mTransition->mFormats = {norviktypes::PixelFormat{norviktypes::FourCC("none"), 0x000FFFFF}};
    EXPECT_EQ(Render(At(5)), kRefused) << "both frames are still of one format";
    mA.reset();
    EXPECT_EQ(Render(At(5)), kRefused);
    mA = MakeLayer(100);
    mB.reset();
    EXPECT_EQ(Render(At(5)), kRefused);
    EXPECT_TRUE(mTransition->mCalls.empty()) << "a transition never gets a format that it does not take";
}

TEST_F(TransitionProducer, LaysEachInputAtItsPlace)
{
    std::vector<TickTime> times;
    mA = MakeLayer(100, mCallsA,
                   [&times](const TickTime& inTime, ML::NodeIntrinsicParameters& outRecord)
                   {
                       times.push_back(inTime);
                       outRecord.positionX = 1.0f; // the right half is left, at the left edge's colour
                       return 0;
                   });
    EXPECT_EQ(Render(FrameTime(Frames(5), Frames(6))), 0);
    EXPECT_EQ(PixelAt(Call().mA, 2, 4), (std::vector<std::uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(PixelAt(Call().mA, 13, 4), (std::vector<std::uint8_t>{100, 20, 30, 255}));
    EXPECT_TRUE(IsFilledWith(Call().mB, {200, 20, 30, 255}));
    EXPECT_EQ(times, (std::vector{Frames(9), Frames(10)})) << "one record for each field, in its own time";
}

TEST_F(TransitionProducer, TakesTheDefaultPlaceOfAnInputThatCannotTellItsOwn)
{
    mA = MakeLayer(100, mCallsA,
                   [](const TickTime&, ML::NodeIntrinsicParameters& outRecord)
                   {
                       outRecord.positionX = 9.0f;
                       return -1;
                   });
    EXPECT_EQ(Render(At(5)), 0);
    EXPECT_TRUE(IsFilledWith(Call().mA, {100, 20, 30, 255}));
}

TEST_F(TransitionProducer, BringsInputsOfTwoFormatsToOne)
{
    mTransition->mFormats = {kPixelFormat_BGRA_4444_8u, kVUYA};
    mA = MakeLayer(100, nullptr, nullptr, kVUYA);
    EXPECT_EQ(Render(At(5)), 0);
    norviktypes::PixelFormat formats[3];
    Call().mA->GetPixelFormat(formats[0]);
    Call().mB->GetPixelFormat(formats[1]);
    Call().mFrame->GetPixelFormat(formats[2]);
    EXPECT_EQ(formats[0], kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(formats[1], kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(formats[2], kPixelFormat_BGRA_4444_8u);
    EXPECT_TRUE(IsFilledWith(Call().mB, {200, 20, 30, 255}));
}

TEST_F(TransitionProducer, ScalesAFullSizeSubstitute)
{
    const MF::IVideoFrameRef full = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 32, 16, {9, 8, 7, 255});
    TestSupport::MakeSubstitute(full);
    mA = TestSupport::CreateLayerNode(
        "Substitute",
        [full](const FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef& outFrame)
        {
            outFrame = full;
            return 0;
        });
    mParams.mSourceWidth = 32;
    mParams.mSourceHeight = 16;
    EXPECT_EQ(Render(At(5)), 0);
    TVK::Rect bounds;
    Call().mA->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8}));
}

TEST_F(TransitionProducer, DrawsPresetFramesOfAnotherSizeAtTheSizeOfTheRender)
{
    const auto preset = ML::IRenderableNodeTransitionRef(Node())->GetProducerForFramesAndTime(
        NewFilledFrame(kPixelFormat_BGRA_4444_8u, 8, 4, {1, 2, 3, 255}), nullptr, At(5), mParams);
    EXPECT_EQ(preset->GetFrame(At(5), mParams, mFrame), 0);
    TVK::Rect bounds;
    Call().mA->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8}));
    EXPECT_EQ(PixelAt(Call().mA, 8, 4), (std::vector<std::uint8_t>{1, 2, 3, 255}));
}

TEST_F(TransitionProducer, RunsOnPresetFramesInsteadOfItsInputs)
{
    const MF::IVideoFrameRef a = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {1, 2, 3, 4});
    const MF::IVideoFrameRef b = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {5, 6, 7, 8});
    const auto preset =
        ML::IRenderableNodeTransitionRef(Node())->GetProducerForFramesAndTime(a, b, At(5), mParams);
    EXPECT_EQ(preset->GetFrame(At(5), mParams, mFrame), 0);
    EXPECT_EQ(Call().mA, a);
    EXPECT_EQ(Call().mB, b);
    EXPECT_TRUE(mCallsA->mTimes.empty());
    EXPECT_EQ(Call().mRender.mFlags, ML::kTransitionFlag_HasA | ML::kTransitionFlag_HasB);
    EXPECT_EQ(Call().mRender.mFrameCount, 10);
}

TEST_F(TransitionProducer, HashesPresetFramesAnewEveryTime)
{
    const auto preset = ML::IRenderableNodeTransitionRef(Node())->GetProducerForFramesAndTime(
        nullptr, nullptr, At(5), mParams);
    TVK::Guid first;
    TVK::Guid second;
    preset->GetFrameHash(first, At(5), mParams, TVK::Guid());
    preset->GetFrameHash(second, At(5), mParams, TVK::Guid());
    EXPECT_NE(first, second);
    EXPECT_EQ(HashOf(At(5)), HashOf(At(5))) << "a render of the inputs is the same every time";
}

TEST_F(TransitionProducer, TakesExactlyTwoInputs)
{
    const TVK::InterfaceRef<ML::TransitionNodeProducer> producer(new ML::TransitionNodeProducer());
    const ML::TransitionNodeProducer::Input input{mA, Frames(0)};
    const char* const text =
        "inInputs.size() == 2|Src/RenderableNodeTransitionImpl|ML::TransitionNodeProducer::SetInputs";
    EXPECT_EQ(TestSupport::ContractText([&] { producer->SetInputs({input}, At(5), mParams); }), text);
    EXPECT_EQ(TestSupport::ContractText(
                  [&] {
                      producer->SetInputs({input, input, input}, At(5), mParams);
                  }),
              text);
    EXPECT_NO_THROW(producer->SetInputs({input, input}, At(5), mParams));
}

void MixSide(TVK::HashValue& ioHash, const MF::IRenderableNodeRef& inNode, const FrameTime& inTime,
             const ML::CutlistRenderParams& inParams)
{
    TVK::Guid hash;
    ML::IRenderableNodeProducerProviderRef(inNode)
        ->GetProducerForFrame(inTime, inParams)
        ->GetFrameHash(hash, inTime, inParams, ioHash.AsGuid());
    ioHash = TVK::HashValue(hash);
    const ML::NodeIntrinsicParameters record;
    ioHash.Mix(&record, 64);
    ioHash.Mix(&record, 64);
}

TEST_F(TransitionProducer, HashesInputsParamsAndTimesInOrder)
{
    mB.reset();
    const TVK::Guid seed{3, 4};
    const FrameTime time(Frames(5), Frames(6));
    TVK::HashValue expected(seed);
    expected.MixText("TransitionNodeProducer");
    MixSide(expected, mA, FrameTime(Frames(9), Frames(10)), mParams);
    expected.MixGuid(TVK::Guid());
    expected.MixU64(std::uint64_t{1} << 32 | 1);
    expected.MixU32(16);
    expected.MixU32(8);
    expected.MixGuid(Node()->GetHashValue());
    const std::int64_t times[2] = {Frames(5).GetTicks(), Frames(6).GetTicks()};
    expected.Mix(times, 16);
    expected.MixU32(4);
    expected.MixU32(4);
    expected.Mix(&mParams.mPixelFormat, 8);

    TVK::Guid hash;
    Producer(time)->GetFrameHash(hash, time, mParams, seed);
    EXPECT_EQ(hash, expected.AsGuid());
}

TEST_F(TransitionProducer, HashChangesWithWhatThePictureDependsOn)
{
    const TVK::Guid plain = HashOf(At(5));
    EXPECT_NE(HashOf(At(6)), plain);
    mA = MakeLayer(101);
    EXPECT_NE(HashOf(At(5)), plain);
    mA = MakeLayer(100, nullptr,
                   [](const TickTime&, ML::NodeIntrinsicParameters& outRecord)
                   {
                       outRecord.scaleX = 0.5f;
                       return 0;
                   });
    EXPECT_NE(HashOf(At(5)), plain) << "geometry is not in the input's own hash";
    mA = MakeLayer(100);
    EXPECT_EQ(HashOf(At(5)), plain);
    mParams.mPixelFormat = kBGRA16;
    EXPECT_NE(HashOf(At(5)), plain);
}

TEST_F(TransitionProducer, IsRenderedThroughACutlistAsAnyNode)
{
    const MF::IRenderableCutlistRef cutlist = CutlistFromTo(100, 110, Node());
    ML::IRenderableNodeProducerRef producer;
    FrameTime nodeTimes;
    EXPECT_EQ(ML::ResolveProducerAtTime(cutlist, mParams, producer, nodeTimes), 0);
    const auto frame = ML::RenderFrameFromCutlist(producer, mParams, nodeTimes, {}, true);
    ASSERT_TRUE(frame);
    EXPECT_EQ(Call().mRender.mFrame, 5);
    EXPECT_EQ(mCallsA->mTimes, std::vector{At(9)});
    EXPECT_EQ(ML::RenderFrameFromCutlist(producer, mParams, nodeTimes, {}, true), frame);
    EXPECT_EQ(mTransition->mCalls.size(), 1u) << "the second time from the cache";
}

// Shared formats.

MF::IVideoFrameRef FrameOf(const norviktypes::PixelFormat& inFormat)
{
    return TestSupport::NewFrame(inFormat, 16, 8);
}

TEST(ChooseSharedFormat, IsTheChoiceOfBothWhereTheyAgree)
{
    EXPECT_EQ(ML::ChooseSharedFormat(ParamsAt(), FrameOf(kVUYA), FrameOf(kVUYA),
                                     {kPixelFormat_BGRA_4444_8u, kVUYA}),
              kVUYA);
    EXPECT_EQ(ML::ChooseSharedFormat(ParamsAt(), nullptr, nullptr, {kVUYA, kPixelFormat_BGRA_4444_8u}),
              kPixelFormat_BGRA_4444_8u);
}

TEST(ChooseSharedFormat, IsTheOneNearerToTheParamsWhereTheyDiffer)
{
    ML::CutlistRenderParams params = ParamsAt();
    const std::vector<norviktypes::PixelFormat> accepted{kPixelFormat_BGRA_4444_8u, kVUYA};
    EXPECT_EQ(ML::ChooseSharedFormat(params, FrameOf(kVUYA), FrameOf(kPixelFormat_BGRA_4444_8u), accepted),
              kPixelFormat_BGRA_4444_8u);
    params.mPixelFormat = kVUYA;
    EXPECT_EQ(ML::ChooseSharedFormat(params, FrameOf(kVUYA), FrameOf(kPixelFormat_BGRA_4444_8u), accepted),
              kVUYA);
}

TEST(ChooseSharedFormat, FollowsTheDepthOfTheParams)
{
    ML::CutlistRenderParams params = ParamsAt();
    const std::vector<norviktypes::PixelFormat> accepted{kPixelFormat_BGRA_4444_8u, kFloat};
    EXPECT_EQ(ML::ChooseSharedFormat(params, FrameOf(kFloat), FrameOf(kFloat), accepted),
              kPixelFormat_BGRA_4444_8u);
    params.mPixelFormat = kFloat;
    EXPECT_EQ(ML::ChooseSharedFormat(params, FrameOf(kPixelFormat_BGRA_4444_8u), nullptr, accepted), kFloat);
}

TEST(ConformTransitionInputs, TouchesNoFrameThatFits)
{
    const FakeVideoTransitionRef transition(new FakeVideoTransition());
    const MF::IVideoFrameRef a = FrameOf(kPixelFormat_BGRA_4444_8u);
    MF::IVideoFrameRef frameA = a;
    MF::IVideoFrameRef frameB;
    EXPECT_EQ(ML::ConformTransitionInputs(ParamsAt(), frameA, frameB, ML::IVideoTransitionRef(transition)),
              kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(frameA, a);
    EXPECT_EQ(frameB, ML::GetBlackVideoFrame(ParamsAt())) << "the black frame that all share";
}

} // namespace
