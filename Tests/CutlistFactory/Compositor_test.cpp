#include "CutlistRenderer.h"
#include "RenderableNodeCompositorImpl.h"
#include "TVK/HashValue.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using MF::FrameTime;
using MF::TimeRange;
using ML::CutlistRenderParams;
using ML::NodeIntrinsicParameters;
using norviktypes::TickTime;
using TVK::Guid;

using Ranges = std::vector<TimeRange>;

CutlistRenderParams Params()
{
    CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = 16;
    params.mHeight = params.mSourceHeight = 8;
    params.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    return params;
}

// A picture of one colour, and all that it was asked.
class PlainProducer final : public TVK::Implements<PlainProducer, ML::IRenderableNodeProducer>
{
public:
    std::int32_t mStatus = 0;
    bool mHasFrame = true;
    std::uint8_t mColor[4] = {0, 0, 0, 255};
    bool mHasLowerColor = false; // of the lines 1, 3, 5 ...
    std::uint8_t mLowerColor[4] = {0, 0, 200, 255};
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    std::vector<FrameTime> mFrameTimes;
    std::vector<norviktypes::PixelFormat> mFormats;
    std::vector<FrameTime> mHashTimes;
    std::vector<Guid> mBaseHashes;

    std::int32_t GetFrame(const FrameTime& inTime, const CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        mFrameTimes.push_back(inTime);
        mFormats.push_back(inParams.mPixelFormat);
        outFrame.reset();
        if (mStatus >= 0 && mHasFrame)
        {
            VF::CreateVideoFrame(outFrame, norviktypes::kPixelFormat_BGRA_4444_8u, inParams.mWidth,
                                 inParams.mHeight, inParams.mPixelAspectRatio, true, true);
            Fill(outFrame);
        }
        return mStatus;
    }
    void GetFrameHash(Guid& outHash, const FrameTime& inTime, const CutlistRenderParams&,
                      const Guid& inBaseHash) override
    {
        mHashTimes.push_back(inTime);
        mBaseHashes.push_back(inBaseHash);
        TVK::HashValue hash(inBaseHash);
        hash.MixText("PlainProducer");
        outHash = hash.AsGuid();
    }

private:
    void Fill(const MF::IVideoFrameRef& inFrame) const
    {
        const VF::IVideoFramePixelsRef pixels(inFrame);
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        for (std::int32_t y = 0; y < bounds.Height(); ++y)
        {
            std::uint8_t* row = static_cast<std::uint8_t*>(pixels->GetPixels()) +
                                static_cast<std::size_t>(y) * pixels->GetRowBytesUnsigned();
            const std::uint8_t(&color)[4] = mHasLowerColor && y % 2 != 0 ? mLowerColor : mColor;
            for (std::int32_t x = 0; x < bounds.Width() * 4; ++x)
            {
                row[x] = color[x % 4];
            }
        }
        inFrame->SetFieldType(mFieldType);
        inFrame->ClearContentRect();
    }
};
using PlainProducerRef = TVK::InterfaceRef<PlainProducer>;

// A node with a place on the output, and captions where the test says so.
class PlacedNode final : public TVK::Extends<TestSupport::FakeNode, ML::IRenderableNodeProducerProvider,
                                             ML::IRenderableNodeIntrinsicParameterProvider>
{
public:
    PlainProducerRef mProducer{new PlainProducer};
    bool mHasProducer = true;
    bool mHasCaptions = false;
    Ranges mStillRanges;
    Ranges mStillQuestions;
    MF::SmartRenderSegments mSmartSegments;
    Ranges mSmartQuestions;
    std::int32_t mIntrinsicStatus = 0;
    std::function<void(const TickTime&, NodeIntrinsicParameters&)> mPlace;

    ML::IRenderableNodeProducerRef GetProducerForFrame(const FrameTime& inTime,
                                                       const CutlistRenderParams&) override
    {
        mAskedTimes.push_back(inTime);
        return mHasProducer ? mProducer->AsProducer() : ML::IRenderableNodeProducerRef();
    }
    void GetStillRanges(const TickTime& inStart, const TickTime& inEnd, Ranges& ioRanges) override
    {
        mStillQuestions.push_back({inStart, inEnd});
        ioRanges.insert(ioRanges.end(), mStillRanges.begin(), mStillRanges.end());
    }
    void GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                const norviktypes::PixelFormat&, bool,
                                MF::SmartRenderSegments& ioSegments) override
    {
        mSmartQuestions.push_back({inStart, inEnd});
        ioSegments.insert(mSmartSegments.begin(), mSmartSegments.end());
    }
    bool HasCaptions() override { return mHasCaptions; }
    std::int32_t GetIntrinsicParameters(const TickTime& inTime, const CutlistRenderParams&,
                                        NodeIntrinsicParameters& outParameters) override
    {
        mIntrinsicTimes.push_back(inTime);
        if (mPlace)
        {
            mPlace(inTime, outParameters);
        }
        return mIntrinsicStatus;
    }

    std::vector<FrameTime> mAskedTimes;
    std::vector<TickTime> mIntrinsicTimes;
};
using PlacedNodeRef = TVK::InterfaceRef<PlacedNode>;

class Compositor : public testing::Test
{
protected:
    static PlacedNodeRef MakeNode()
    {
        const PlacedNodeRef node(new PlacedNode);
        node->Finalize();
        return node;
    }
    void Append(const PlacedNodeRef& inNode, std::int64_t inOffset = 0)
    {
        mStack->AppendInput(MF::IRenderableNodeRef(inNode.get()), TickTime(inOffset));
    }
    void AppendOnTrack(const PlacedNodeRef& inNode, std::uint64_t inTrack)
    {
        mStack->AppendInputWithTrack(MF::IRenderableNodeRef(inNode.get()), {}, inTrack);
    }
    ML::IRenderableNodeProducerRef Producer(const FrameTime& inTime = FrameTime(TickTime(100)))
    {
        mStack->Finalize();
        return mStack->GetProducerForFrame(inTime, mParams);
    }
    Guid HashAt(const ML::IRenderableNodeProducerRef& inProducer,
                const FrameTime& inTime = FrameTime(TickTime(100)), const Guid& inBase = {}) const
    {
        Guid hash;
        inProducer->GetFrameHash(hash, inTime, mParams, inBase);
        return hash;
    }
    // The first pixel, as blue, green, red, alpha in one number.
    static std::uint32_t FirstPixel(const MF::IVideoFrameRef& inFrame)
    {
        const auto* pixel = static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
        return std::uint32_t{pixel[0]} << 24 | std::uint32_t{pixel[1]} << 16 | std::uint32_t{pixel[2]} << 8 |
               pixel[3];
    }
    static void SetColor(const PlacedNodeRef& inNode, std::uint8_t inBlue, std::uint8_t inGreen,
                         std::uint8_t inRed, std::uint8_t inAlpha)
    {
        auto& color = inNode->mProducer->mColor;
        color[0] = inBlue;
        color[1] = inGreen;
        color[2] = inRed;
        color[3] = inAlpha;
    }

    CutlistRenderParams mParams = Params();
    ML::RenderableNodeCompositorRef mStack{new ML::RenderableNodeCompositorImpl};
};

TEST_F(Compositor, SaysOfItselfWhatIsTrueOfEveryInput)
{
    mStack->AppendInput(MF::IRenderableNodeRef(TestSupport::MakeFrozenNode("A", 0xFF)), {});
    mStack->AppendInput({}, {});
    mStack->AppendInput(MF::IRenderableNodeRef(TestSupport::MakeFrozenNode("B", 0x4C)), {});
    mStack->Finalize();
    EXPECT_EQ(mStack->GetInformativeFlags(), 0x4Cu);
}

TEST_F(Compositor, WithoutInputsSaysAllThatNothingContradicts)
{
    mStack->Finalize();
    EXPECT_EQ(mStack->GetInformativeFlags(), 0x5Du);
    EXPECT_EQ(mStack->GetNodeType().ToString(), "RenderableNodeCompositorImpl");
}

TEST_F(Compositor, WithoutInputsIsBlack)
{
    const auto producer = Producer();
    MF::IVideoFrameRef frame;
    EXPECT_EQ(producer->GetFrame(FrameTime(), mParams, frame), 0);
    EXPECT_TRUE(frame == ML::GetBlackVideoFrame(mParams));
    const Guid base(3, 4);
    EXPECT_EQ(HashAt(producer, {}, base), ML::HashOfBlackVideoFrame(mParams, base));
}

TEST_F(Compositor, InputsAreAskedInTheirOwnTime)
{
    const auto a = MakeNode();
    const auto b = MakeNode();
    Append(a);
    Append(b, 30);
    const FrameTime time(TickTime(100), TickTime(110));
    const auto producer = Producer(time);
    EXPECT_EQ(b->mAskedTimes.back(), FrameTime(TickTime(70), TickTime(80)));
    EXPECT_EQ(b->mIntrinsicTimes, (std::vector<TickTime>{TickTime(70), TickTime(80)}));
    MF::IVideoFrameRef frame;
    producer->GetFrame(time, mParams, frame);
    EXPECT_EQ(b->mProducer->mFrameTimes.back(), FrameTime(TickTime(70), TickTime(80)));
    HashAt(producer, time);
    EXPECT_EQ(b->mProducer->mHashTimes.back(), FrameTime(TickTime(70), TickTime(80)));
}

TEST_F(Compositor, UpperPictureLiesOverTheLowerOne)
{
    const auto lower = MakeNode();
    const auto upper = MakeNode();
    SetColor(lower, 200, 0, 0, 255);
    SetColor(upper, 0, 200, 0, 255);
    Append(lower);
    Append(upper);
    const auto producer = Producer();
    MF::IVideoFrameRef frame;
    ASSERT_EQ(producer->GetFrame(FrameTime(TickTime(100)), mParams, frame), 0);
    EXPECT_EQ(FirstPixel(frame), 0x00C800FFu);
}

TEST_F(Compositor, OpacityOfAnInputLetsTheLowerOneThrough)
{
    const auto lower = MakeNode();
    const auto upper = MakeNode();
    SetColor(lower, 200, 0, 0, 255);
    SetColor(upper, 0, 200, 0, 255);
    upper->mPlace = [](const TickTime&, NodeIntrinsicParameters& outPlace) { outPlace.opacity = 0.0f; };
    Append(lower);
    Append(upper);
    const auto producer = Producer();
    MF::IVideoFrameRef frame;
    ASSERT_EQ(producer->GetFrame(FrameTime(TickTime(100)), mParams, frame), 0);
    EXPECT_EQ(FirstPixel(frame), 0xC80000FFu);
}

TEST_F(Compositor, PlaceThatFailsIsTheDefault)
{
    const auto node = MakeNode();
    node->mPlace = [](const TickTime&, NodeIntrinsicParameters& outPlace) { outPlace.opacity = 0.25f; };
    Append(node);
    const Guid moved = HashAt(Producer());
    node->mIntrinsicStatus = -1;
    const Guid failed = HashAt(mStack->GetProducerForFrame(FrameTime(TickTime(100)), mParams));
    node->mPlace = nullptr;
    const Guid plain = HashAt(mStack->GetProducerForFrame(FrameTime(TickTime(100)), mParams));
    EXPECT_NE(moved, failed);
    EXPECT_EQ(failed, plain);
}

TEST_F(Compositor, InputWithoutPictureTakesNoPart)
{
    const auto empty = MakeNode();
    const auto lower = MakeNode();
    SetColor(lower, 9, 8, 7, 255);
    empty->mProducer->mHasFrame = false;
    Append(lower);
    Append(empty);
    const auto producer = Producer();
    MF::IVideoFrameRef frame;
    ASSERT_EQ(producer->GetFrame(FrameTime(TickTime(100)), mParams, frame), 0);
    EXPECT_EQ(FirstPixel(frame), 0x090807FFu);
}

TEST_F(Compositor, OnlyInputWithoutPictureLeavesNoFrame)
{
    const auto empty = MakeNode();
    empty->mProducer->mHasFrame = false;
    Append(empty);
    MF::IVideoFrameRef frame = ML::GetBlackVideoFrame(mParams);
    EXPECT_EQ(Producer()->GetFrame(FrameTime(), mParams, frame), 0);
    EXPECT_FALSE(frame);
}

TEST_F(Compositor, InputWithoutProducerIsLeftOutOfPictureAndHash)
{
    const auto absent = MakeNode();
    const auto lower = MakeNode();
    Append(lower);
    Append(absent);
    const Guid both = HashAt(Producer());
    absent->mHasProducer = false;
    const auto producer = mStack->GetProducerForFrame(FrameTime(TickTime(100)), mParams);
    absent->mProducer->mHashTimes.clear();
    EXPECT_NE(HashAt(producer), both);
    MF::IVideoFrameRef frame;
    producer->GetFrame(FrameTime(TickTime(100)), mParams, frame);
    EXPECT_TRUE(absent->mProducer->mHashTimes.empty());
    EXPECT_TRUE(absent->mProducer->mFrameTimes.empty());
    EXPECT_EQ(lower->mProducer->mFrameTimes.size(), 1u);
}

TEST_F(Compositor, InputThatIsNoPictureIsSkipped)
{
    mStack->AppendInput(MF::IRenderableNodeRef(TestSupport::MakeFrozenNode()), {});
    mStack->AppendInput({}, {});
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Producer()->GetFrame(FrameTime(), mParams, frame), 0);
    EXPECT_TRUE(frame == ML::GetBlackVideoFrame(mParams));
}

TEST_F(Compositor, FailingInputStopsTheFrame)
{
    const auto lower = MakeNode();
    const auto failing = MakeNode();
    const auto upper = MakeNode();
    failing->mProducer->mStatus = -7;
    Append(lower);
    Append(failing);
    Append(upper);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Producer()->GetFrame(FrameTime(), mParams, frame), -7);
    EXPECT_TRUE(upper->mProducer->mFrameTimes.empty());
}

TEST_F(Compositor, InputsAboveTheFirstAreAskedForAlpha)
{
    const auto lower = MakeNode();
    const auto upper = MakeNode();
    Append(lower);
    Append(upper);
    const auto producer = Producer();
    MF::IVideoFrameRef frame;
    mParams.mPixelFormat = norviktypes::kPixelFormat_BGRX_4444_8u;
    producer->GetFrame(FrameTime(TickTime(100)), mParams, frame);
    EXPECT_EQ(lower->mProducer->mFormats.back(), norviktypes::kPixelFormat_BGRX_4444_8u);
    EXPECT_EQ(upper->mProducer->mFormats.back(), norviktypes::kPixelFormat_BGRA_4444_8u);
    mParams.mPixelFormat = norviktypes::kPixelFormat_BGRP_4444_8u;
    producer->GetFrame(FrameTime(TickTime(100)), mParams, frame);
    EXPECT_EQ(upper->mProducer->mFormats.back(), norviktypes::kPixelFormat_BGRP_4444_8u);
}

TEST_F(Compositor, FirstPictureIsAskedForAsItIsWhereverItLies)
{
    const auto empty = MakeNode();
    const auto upper = MakeNode();
    empty->mProducer->mHasFrame = false;
    Append(empty);
    Append(upper);
    mParams.mPixelFormat = norviktypes::kPixelFormat_BGRX_4444_8u;
    MF::IVideoFrameRef frame;
    Producer()->GetFrame(FrameTime(TickTime(100)), mParams, frame);
    EXPECT_EQ(upper->mProducer->mFormats.back(), norviktypes::kPixelFormat_BGRX_4444_8u);
}

TEST_F(Compositor, SingleFieldOfAFrameWithFieldsIsMadeWhole)
{
    const auto node = MakeNode();
    node->mProducer->mFieldType = norviktypes::kFieldType_UpperFirst;
    Append(node);
    mParams.mFieldType = norviktypes::kFieldType_UpperFirst;
    const auto producer = Producer();
    MF::IVideoFrameRef frame;
    producer->GetFrame(FrameTime(TickTime(100)), mParams, frame);
    EXPECT_EQ(frame->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    mParams.mFieldToRender = 1;
    producer->GetFrame(FrameTime(TickTime(100)), mParams, frame);
    EXPECT_EQ(frame->GetFieldType(), norviktypes::kFieldType_Progressive);
}

TEST_F(Compositor, SingleFieldIsTheFirstOrTheSecondInTime)
{
    const auto node = MakeNode();
    SetColor(node, 200, 0, 0, 255);
    node->mProducer->mHasLowerColor = true;
    Append(node);
    mStack->Finalize();
    constexpr std::uint32_t kUpper = 0xC80000FFu;
    constexpr std::uint32_t kLower = 0x0000C8FFu;
    for (const bool isUpperFirst : {true, false})
    {
        mParams.mFieldType = node->mProducer->mFieldType =
            isUpperFirst ? norviktypes::kFieldType_UpperFirst : norviktypes::kFieldType_LowerFirst;
        for (const std::uint32_t field : {1u, 2u})
        {
            mParams.mFieldToRender = field;
            const auto producer = mStack->GetProducerForFrame(FrameTime(TickTime(100)), mParams);
            MF::IVideoFrameRef frame;
            ASSERT_EQ(producer->GetFrame(FrameTime(TickTime(100)), mParams, frame), 0);
            EXPECT_EQ(FirstPixel(frame), isUpperFirst == (field == 1) ? kUpper : kLower)
                << isUpperFirst << field;
        }
    }
}

TEST_F(Compositor, TrackLimitTakesTracksUpToIt)
{
    const auto a = MakeNode();
    const auto b = MakeNode();
    AppendOnTrack(a, 0);
    AppendOnTrack(b, 1);
    mParams.mRenderContext = 0;
    const auto producer = Producer();
    MF::IVideoFrameRef frame;
    producer->GetFrame(FrameTime(TickTime(100)), mParams, frame);
    EXPECT_EQ(a->mProducer->mFrameTimes.size(), 1u);
    EXPECT_TRUE(b->mAskedTimes.empty());
}

TEST_F(Compositor, TrackOfAllOnesPassesNoLimit)
{
    const auto a = MakeNode();
    AppendOnTrack(a, ~std::uint64_t{0});
    mParams.mRenderContext = 1000;
    Producer();
    EXPECT_TRUE(a->mAskedTimes.empty());
}

TEST_F(Compositor, WithoutTracksALimitChangesNothing)
{
    const auto a = MakeNode();
    Append(a);
    mParams.mRenderContext = 0;
    Producer();
    EXPECT_EQ(a->mAskedTimes.size(), 1u);
}

TEST_F(Compositor, LimitOverInputsOfWhichNotAllHaveATrackIsRefused)
{
    const auto a = MakeNode();
    AppendOnTrack(a, 0);
    AppendOnTrack(a, 1);
    Append(a);
    EXPECT_TRUE(Producer());
    mParams.mRenderContext = 0;
    EXPECT_EQ(TestSupport::ContractText([&] { mStack->GetProducerForFrame(FrameTime(), mParams); }),
              "mInputs.size() == mTrackIndices.size()|Src/RenderableNodeCompositorImpl|"
              "ML::RenderableNodeCompositorImpl::GetProducerForFrame");
    std::vector<ML::IRenderableNodePrefetchRef> items;
    EXPECT_EQ(TestSupport::ContractText([&] { mStack->GetPrefetchesForFrame(FrameTime(), mParams, items); }),
              "mInputs.size() == mTrackIndices.size()|Inc/RenderableNodeCompositorImpl|"
              "ML::RenderableNodeCompositorImpl::GetPrefetchesForFrame");
}

TEST_F(Compositor, PrefetchesAreAskedOfAFrozenStackOnly)
{
    std::vector<ML::IRenderableNodePrefetchRef> items;
    EXPECT_EQ(TestSupport::ContractText([&] { mStack->GetPrefetchesForFrame(FrameTime(), mParams, items); }),
              "!mMutable|Inc/RenderableNodeCompositorImpl|"
              "ML::RenderableNodeCompositorImpl::GetPrefetchesForFrame");
}

TEST_F(Compositor, PrefetchesComeFromTheTracksWithinTheLimit)
{
    const auto a = MakeNode();
    const auto b = MakeNode();
    mStack->AppendInputWithTrack(MF::IRenderableNodeRef(a.get()), TickTime(30), 0);
    AppendOnTrack(b, 1);
    mStack->Finalize();
    std::vector<ML::IRenderableNodePrefetchRef> items;
    mParams.mRenderContext = 0;
    mStack->GetPrefetchesForFrame(FrameTime(TickTime(100)), mParams, items);
    EXPECT_EQ(a->mPrefetchedTimes, (std::vector<FrameTime>{FrameTime(TickTime(70))}));
    EXPECT_TRUE(b->mPrefetchedTimes.empty());
    mParams.mRenderContext = ~std::uint64_t{0};
    mStack->GetPrefetchesForFrame(FrameTime(TickTime(100)), mParams, items);
    EXPECT_EQ(b->mPrefetchedTimes.size(), 1u);
}

// ---- the hash ----

TEST_F(Compositor, HashIsMixedStepByStep)
{
    const auto node = MakeNode();
    node->mPlace = [](const TickTime& inTime, NodeIntrinsicParameters& outPlace)
    { outPlace.positionX = static_cast<float>(inTime.GetTicks()); };
    Append(node, 10);
    mParams.mFieldToRender = 2;
    mParams.mDeinterlaceQuality = norviktypes::kRenderQuality_Low;
    const FrameTime time(TickTime(100), TickTime(110));
    const Guid base(5, 6);
    const Guid found = HashAt(Producer(time), time, base);

    TVK::HashValue hash(base);
    hash.Mix("RenderableNodeCompositorProducer", 32);
    for (const float x : {90.0f, 100.0f})
    {
        NodeIntrinsicParameters place;
        place.positionX = x;
        hash.Mix(&place, 64);
        hash.Mix(&place.blendMode, 4);
        hash.Mix(&place.blendOpacity, 4);
        hash.Mix(&place.highQualitySampling, 1);
    }
    EXPECT_EQ(node->mProducer->mBaseHashes.back(), hash.AsGuid());
    hash = TVK::HashValue(hash.AsGuid());
    hash.MixText("PlainProducer");
    hash = TVK::HashValue(hash.AsGuid());
    hash.MixGuid(mStack->GetHashValue());
    const std::uint32_t ratio[2] = {mParams.mPixelAspectRatio.GetNumerator(),
                                    mParams.mPixelAspectRatio.GetDenominator()};
    hash.Mix(ratio, 8);
    hash.MixU32(16);
    hash.MixU32(8);
    hash.MixU32(static_cast<std::uint32_t>(mParams.mRenderQuality));
    hash.MixU32(2);
    hash.MixU32(static_cast<std::uint32_t>(norviktypes::kRenderQuality_Low));
    hash.Mix(&mParams.mPixelFormat, 8);
    EXPECT_EQ(found, hash.AsGuid());
}

TEST_F(Compositor, FramesWithAndWithoutFieldsHashApart)
{
    Append(MakeNode());
    const auto producer = Producer();
    const auto typeAndHash = [&](norviktypes::FieldType inFieldType)
    {
        mParams.mFieldType = inFieldType;
        MF::IVideoFrameRef frame;
        producer->GetFrame(FrameTime(TickTime(100)), mParams, frame);
        return std::make_pair(frame->GetFieldType(), HashAt(producer));
    };
    const auto whole = typeAndHash(norviktypes::kFieldType_Progressive);
    const auto fields = typeAndHash(norviktypes::kFieldType_UpperFirst);
    EXPECT_EQ(whole.first, norviktypes::kFieldType_Progressive);
    EXPECT_EQ(fields.first, norviktypes::kFieldType_UpperFirst);
    EXPECT_NE(whole.second, fields.second) << "the time alone does not tell, of a still least of all";
}

TEST_F(Compositor, TrackIsSeededWithWhatLiesBeneath)
{
    const auto lower = MakeNode();
    const auto upper = MakeNode();
    Append(lower);
    Append(upper);
    HashAt(Producer());
    const Guid before = upper->mProducer->mBaseHashes.back();
    lower->mPlace = [](const TickTime&, NodeIntrinsicParameters& outPlace) { outPlace.rotation = 1.0; };
    HashAt(mStack->GetProducerForFrame(FrameTime(TickTime(100)), mParams));
    EXPECT_NE(upper->mProducer->mBaseHashes.back(), before);
}

// ---- still ranges and stretches that can be copied ----

TEST_F(Compositor, StandsStillWhereAllInputsDo)
{
    const auto a = MakeNode();
    const auto b = MakeNode();
    a->mStillRanges = {
        {TickTime(0), TickTime(10)}, {TickTime(20), TickTime(40)}, {TickTime(50), TickTime(60)}};
    b->mStillRanges = {{TickTime(-5), TickTime(0)}, {TickTime(15), TickTime(27)}};
    Append(a);
    Append(b, 10);
    mStack->Finalize();
    Ranges ranges{{TickTime(-9), TickTime(-8)}};
    mStack->GetStillRanges(TickTime(0), TickTime(100), ranges);
    EXPECT_EQ(
        ranges,
        (Ranges{{TickTime(-9), TickTime(-8)}, {TickTime(5), TickTime(10)}, {TickTime(25), TickTime(37)}}));
    EXPECT_EQ(b->mStillQuestions, (Ranges{{TickTime(-10), TickTime(90)}}));
}

TEST_F(Compositor, MovesAllTheTimeOnceOneInputDoes)
{
    const auto a = MakeNode();
    const auto b = MakeNode();
    b->mStillRanges = {{TickTime(0), TickTime(10)}};
    Append(a);
    Append(b);
    mStack->Finalize();
    Ranges ranges;
    mStack->GetStillRanges(TickTime(0), TickTime(100), ranges);
    EXPECT_TRUE(ranges.empty());
    EXPECT_TRUE(b->mStillQuestions.empty());
}

TEST_F(Compositor, InputThatIsNoPictureIsNotStill)
{
    const auto a = MakeNode();
    a->mStillRanges = {{TickTime(0), TickTime(10)}};
    Append(a);
    mStack->AppendInput(MF::IRenderableNodeRef(TestSupport::MakeFrozenNode()), {});
    mStack->Finalize();
    Ranges ranges;
    mStack->GetStillRanges(TickTime(0), TickTime(100), ranges);
    EXPECT_TRUE(ranges.empty());
}

class CompositorCopies : public Compositor
{
protected:
    PlacedNodeRef MakeCopied()
    {
        const auto node = MakeNode();
        MF::SmartRenderSegment entry;
        entry.mStart = TickTime(5);
        entry.mEnd = TickTime(9);
        entry.mMediaStart = TickTime(77);
        node->mSmartSegments.emplace(entry.mStart, entry);
        return node;
    }
    MF::SmartRenderSegments Copied()
    {
        mStack->Finalize();
        MF::SmartRenderSegments segments;
        mStack->GetSmartRenderSegments(TickTime(10), TickTime(50), norviktypes::kPixelFormat_BGRA_4444_8u,
                                       false, segments);
        return segments;
    }
};

TEST_F(CompositorCopies, ComeOfTheOneInputInTheStacksTime)
{
    const auto node = MakeCopied();
    Append(node, 10);
    const auto segments = Copied();
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments.begin()->first, TickTime(15));
    EXPECT_EQ(segments.begin()->second.mStart, TickTime(15));
    EXPECT_EQ(segments.begin()->second.mEnd, TickTime(19));
    EXPECT_EQ(segments.begin()->second.mMediaStart, TickTime(77));
    EXPECT_EQ(node->mSmartQuestions, (Ranges{{TickTime(0), TickTime(40)}}));
}

TEST_F(CompositorCopies, AreNoneOfTwoPictures)
{
    Append(MakeCopied());
    Append(MakeCopied());
    EXPECT_TRUE(Copied().empty());
}

TEST_F(CompositorCopies, CaptionsOverOnePictureDoNotHinder)
{
    const auto captions = MakeCopied();
    captions->mHasCaptions = true;
    Append(MakeCopied());
    Append(captions);
    EXPECT_EQ(Copied().size(), 1u);
}

TEST_F(CompositorCopies, ComeOfAnOnlyInputThoughItHasCaptions)
{
    const auto captions = MakeCopied();
    captions->mHasCaptions = true;
    Append(captions);
    EXPECT_EQ(Copied().size(), 1u);
}

TEST_F(CompositorCopies, FirstInputIsAskedWhicheverHasThePicture)
{
    const auto captions = MakeNode();
    captions->mHasCaptions = true;
    Append(captions);
    Append(MakeCopied());
    EXPECT_TRUE(Copied().empty());
    EXPECT_EQ(captions->mSmartQuestions.size(), 1u);
}

TEST_F(CompositorCopies, AreNoneWithoutInputs)
{
    EXPECT_TRUE(Copied().empty());
}

} // namespace
