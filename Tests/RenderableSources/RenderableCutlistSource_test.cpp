#include "RenderableCutlistImpl.h"
#include "RenderableSources.h"
#include "TVK/Allocated.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/SharedVideoFrameCache.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using namespace norviktypes;

const FrameRate kRate = FrameRate::FromRational(25, 1);
constexpr TVK::Guid kClassID{"F0A62C4A-15FE-481A-9955-885B066E38D8"};

TickTime Frames(double inNumber)
{
    return TickTime(static_cast<std::int64_t>(inNumber * static_cast<double>(kRate.GetTicks())));
}

// Gives a frame of the size and format that it is asked for, and notes what that was.
class FakeProducer final : public TVK::Implements<FakeProducer, ML::IRenderableNodeProducer>
{
public:
    std::int32_t mStatus = 0;
    PixelFormat mFormat = kPixelFormat_BGRA_4444_8u;
    TVK::Guid mHash{0x61, 0x62};
    ML::CutlistRenderParams mParams;
    MF::FrameTime mTime;
    int mRenders = 0;

    std::int32_t GetFrame(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        ++mRenders;
        mTime = inTime;
        mParams = inParams;
        outFrame = TestSupport::NewFrame(mFormat, inParams.mWidth, inParams.mHeight);
        return mStatus;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                      const TVK::Guid&) override
    {
        outHash = mHash;
    }
};

class FakeProvider : public TVK::Implements<FakeProvider, MF::IRenderableCutlistProvider>
{
public:
    MF::IRenderableCutlistRef mFirst;
    MF::IRenderableCutlistRef mSecond;
    std::vector<std::string> mAsked;

    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist,
                                   const norvik::utility::ImmutableString& inName, bool inRefresh) override
    {
        return Give(outCutlist, mFirst, "first ", inName, inRefresh);
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist,
                                     const norvik::utility::ImmutableString& inName, bool inRefresh) override
    {
        return Give(outCutlist, mSecond, "second ", inName, inRefresh);
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist,
                                 const norvik::utility::ImmutableString& inName, bool inRefresh,
                                 bool) override
    {
        return Give(outCutlist, {}, "third ", inName, inRefresh);
    }

private:
    std::int32_t Give(MF::IRenderableCutlistRef& outCutlist, const MF::IRenderableCutlistRef& inCutlist,
                      const std::string& inWhich, const norvik::utility::ImmutableString& inName,
                      bool inRefresh)
    {
        mAsked.push_back(inWhich + inName.CStr() + (inRefresh ? " fresh" : ""));
        outCutlist = inCutlist;
        return inCutlist ? 0 : -3;
    }
};

class FakeSequence final : public TVK::Extends<FakeProvider, MF::ISequenceVideoProperties>
{
public:
    FieldType mFieldType = kFieldType_Progressive;

    TVK::Rect GetBounds() const override { return {0, 0, 64, 32}; }
    PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    FieldType GetFieldType() const override { return mFieldType; }
    FrameRate GetFrameRate() const override { return FrameRate(1); } // not the one that counts
};

// A sequence that plays one node from second 1 on, whose own time is 0 there, in each of its cutlists.
class RenderableCutlistSource : public testing::Test
{
protected:
    RenderableCutlistSource()
    {
        TestSupport::EmptyFrameCache();
        mParams.mSourceWidth = 64;
        mParams.mSourceHeight = 32;
        mParams.mSourcePixelAspectRatio = {12, 11};
        mParams.mScaleX = mParams.mScaleY = 0.5;
        mFirst.mNode = MakeNode(mFirst.mProducer);
        mSecond.mNode = MakeNode(mSecond.mProducer);
        mSequence->mFirst = CutlistOf(mFirst.mNode);
        mSequence->mSecond = CutlistOf(mSecond.mNode);
    }
    ~RenderableCutlistSource() override { TestSupport::EmptyFrameCache(); }

    struct Picture
    {
        TVK::InterfaceRef<FakeProducer> mProducer{new FakeProducer};
        TestSupport::FakeProducerNodeRef mNode;
    };

    static TestSupport::FakeProducerNodeRef MakeNode(const TVK::InterfaceRef<FakeProducer>& inProducer)
    {
        TestSupport::FakeProducerNodeRef node(new TestSupport::FakeProducerNode("CutlistSourceNode"));
        node->mProducer = inProducer;
        node->Finalize();
        return node;
    }
    static MF::IRenderableCutlistRef CutlistOf(const TestSupport::FakeProducerNodeRef& inNode)
    {
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        cutlist->AddSegment(Frames(25), Frames(100), Frames(0), MF::IRenderableNodeRef(inNode));
        cutlist->Finalize();
        return MF::IRenderableCutlistRef(cutlist);
    }

    ML::IRenderableSourceRef Make(FieldType inFieldType = kFieldType_Progressive)
    {
        mSequence->mFieldType = inFieldType;
        return ML::CreateRenderableCutlistSource(MF::IRenderableCutlistProviderRef(mSequence), kRate,
                                                 norvik::utility::ImmutableString::CreateStatic("stream"));
    }
    // What the producer is asked for by a render of these params.
    ML::CutlistRenderParams ParamsInside(FieldType inFieldType)
    {
        RenderedFrame(Make(inFieldType), MF::FrameTime(Frames(30)), mParams);
        return mFirst.mProducer->mParams;
    }

    TVK::InterfaceRef<FakeSequence> mSequence{new FakeSequence};
    Picture mFirst;
    Picture mSecond;
    ML::CutlistRenderParams mParams = RenderParams(32, 16);
};

TEST_F(RenderableCutlistSource, TakesBothCutlistsOfTheNameFreshAndOnce)
{
    const auto source = Make();
    RenderedFrame(source, MF::FrameTime(Frames(30)), mParams);
    EXPECT_EQ(mSequence->mAsked, (std::vector<std::string>{"first stream fresh", "second stream fresh"}));
}

TEST_F(RenderableCutlistSource, ProviderThatIsEmptyOrKnowsNoFieldTypeIsANullInterface)
{
    EXPECT_THROW(ML::CreateRenderableCutlistSource({}, kRate, {}), TVK::NullInterfaceException);
    const TVK::InterfaceRef<FakeProvider> plain(new FakeProvider);
    EXPECT_THROW(ML::CreateRenderableCutlistSource(MF::IRenderableCutlistProviderRef(plain), kRate, {}),
                 TVK::NullInterfaceException);
}

TEST_F(RenderableCutlistSource, MissingCutlistIsANullInterfaceWhenItIsNeeded)
{
    mSequence->mSecond.reset();
    const auto source = Make();
    EXPECT_TRUE(RenderedFrame(source, MF::FrameTime(Frames(30)), mParams));
    mParams.mUseSecondCutlist = 1;
    EXPECT_THROW(RenderedFrame(source, MF::FrameTime(Frames(30)), mParams), TVK::NullInterfaceException);
}

TEST_F(RenderableCutlistSource, AnswersItsOwnID)
{
    const auto source = Make();
    void* face = nullptr;
    EXPECT_EQ(source->QueryNoRef(kClassID, &face), 0);
    EXPECT_NE(face, nullptr);
    EXPECT_EQ(source->QueryNoRef(TVK::Guid(7, 7), &face), TVK::kInterfaceNotSupported);
    EXPECT_EQ(face, nullptr);
}

TEST_F(RenderableCutlistSource, RatesAreTheCreatorsAndFieldsHaveTwice)
{
    EXPECT_EQ(FrameRateOf(Make(kFieldType_UpperFirst)), kRate);
    EXPECT_EQ(FieldRateOf(Make(kFieldType_UpperFirst)), kRate * 2);
    EXPECT_EQ(FieldRateOf(Make(kFieldType_LowerFirst)), kRate * 2);
    EXPECT_EQ(FieldRateOf(Make(kFieldType_Progressive)), kRate);
    EXPECT_EQ(FieldRateOf(Make(kFieldType_FromSource)), kRate);
}

TEST_F(RenderableCutlistSource, TimeIsAlignedToFramesInTheSequencesOrder)
{
    const MF::FrameTime request(Frames(30.7), Frames(31.2));
    EXPECT_EQ(ConformedTime(Make(), request, mParams), MF::FrameTime(Frames(30)));
    EXPECT_EQ(ConformedTime(Make(kFieldType_UpperFirst), MF::FrameTime(Frames(30.7)), mParams),
              MF::FrameTime(Frames(30), Frames(30.5)));
    EXPECT_EQ(ConformedTime(Make(kFieldType_LowerFirst), request, mParams),
              MF::FrameTime(Frames(30.5), Frames(30)));
}

TEST_F(RenderableCutlistSource, SequenceWithoutAnOrderOfItsOwnTakesTheRequests)
{
    const auto source = Make(kFieldType_FromSource);
    EXPECT_EQ(ConformedTime(source, MF::FrameTime(Frames(30.7)), mParams), MF::FrameTime(Frames(30)));
    // Its field rate is its frame rate, so its fields lie a frame apart.
    EXPECT_EQ(ConformedTime(source, MF::FrameTime(Frames(30.7), Frames(31.2)), mParams),
              MF::FrameTime(Frames(30), Frames(31)));
    EXPECT_EQ(ConformedTime(source, MF::FrameTime(Frames(31.2), Frames(30.7)), mParams),
              MF::FrameTime(Frames(31), Frames(30)));
}

TEST_F(RenderableCutlistSource, RendersTheNodeInItsOwnTimeWithTheSourcesParams)
{
    mParams.mFieldToRender = 2;
    mParams.mFrameTime = MF::FrameTime(Frames(1000));
    mParams.mFrameRate = FrameRate(1);
    mParams.mFieldType = kFieldType_LowerFirst;
    RenderedFrame(Make(), MF::FrameTime(Frames(30)), mParams);
    EXPECT_EQ(mFirst.mProducer->mTime, MF::FrameTime(Frames(5)));
    const ML::CutlistRenderParams& inside = mFirst.mProducer->mParams;
    EXPECT_EQ(inside.mFrameTime, MF::FrameTime(Frames(30)));
    EXPECT_EQ(inside.mFrameRate, kRate);
    EXPECT_EQ(inside.mFieldToRender, 0u);
    EXPECT_EQ(inside.mFieldType, kFieldType_Progressive);
    EXPECT_EQ(mFirst.mNode->mProducerTimes, std::vector<MF::FrameTime>{MF::FrameTime(Frames(5))});
}

TEST_F(RenderableCutlistSource, ProgressiveSequenceKeepsTheSizeAskedForBelowTheHighestQuality)
{
    for (const RenderQuality quality : {kRenderQuality_Low, kRenderQuality_Medium, kRenderQuality_High})
    {
        mParams.mRenderQuality = quality;
        mParams.mHeight = 15;
        const ML::CutlistRenderParams inside = ParamsInside(kFieldType_Progressive);
        EXPECT_EQ(inside.mWidth, 32u);
        EXPECT_EQ(inside.mHeight, 15u);
        EXPECT_EQ(inside.mScaleY, 0.5);
    }
}

TEST_F(RenderableCutlistSource, HighestQualityIsRenderedAtFullSize)
{
    for (const FieldType type : {kFieldType_Progressive, kFieldType_FromSource})
    {
        mParams.mRenderQuality = kRenderQuality_Max;
        const ML::CutlistRenderParams inside = ParamsInside(type);
        EXPECT_EQ(inside.mWidth, 64u);
        EXPECT_EQ(inside.mHeight, 32u);
        EXPECT_EQ(inside.mScaleX, 1.0);
        EXPECT_EQ(inside.mScaleY, 1.0);
        EXPECT_EQ(inside.mPixelAspectRatio, PixelAspectRatio(12, 11));
        EXPECT_EQ(inside.mFieldType, type);
    }
}

TEST_F(RenderableCutlistSource, FieldsAreRenderedAtFullSizeFromMediumQualityOn)
{
    for (const FieldType type : {kFieldType_UpperFirst, kFieldType_LowerFirst})
    {
        mParams.mRenderQuality = kRenderQuality_Medium;
        const ML::CutlistRenderParams inside = ParamsInside(type);
        EXPECT_EQ(inside.mWidth, 64u);
        EXPECT_EQ(inside.mHeight, 32u);
        EXPECT_EQ(inside.mScaleY, 1.0);
    }
}

TEST_F(RenderableCutlistSource, FieldsOfLowQualityAreRenderedInAnEvenHeight)
{
    mParams.mRenderQuality = kRenderQuality_Low;
    mParams.mHeight = 15;
    mParams.mScaleY = 15 / 32.0;
    const ML::CutlistRenderParams odd = ParamsInside(kFieldType_UpperFirst);
    EXPECT_EQ(odd.mHeight, 16u);
    EXPECT_EQ(odd.mScaleY, 0.5);
    EXPECT_EQ(odd.mWidth, 32u);
    EXPECT_EQ(odd.mPixelAspectRatio, PixelAspectRatio(1, 1));
    mParams.mHeight = 14;
    mParams.mScaleY = 0.4; // whatever it is
    const ML::CutlistRenderParams even = ParamsInside(kFieldType_UpperFirst);
    EXPECT_EQ(even.mHeight, 14u);
    EXPECT_EQ(even.mScaleY, 0.4);
}

TEST_F(RenderableCutlistSource, SecondCutlistIsReadForRenderAndForPrefetchAlike)
{
    const auto source = Make();
    for (const std::uint32_t use : {0u, 1u, 7u})
    {
        mParams.mUseSecondCutlist = use;
        Picture& read = use != 0 ? mSecond : mFirst;
        Picture& other = use != 0 ? mFirst : mSecond;
        read.mProducer->mRenders = other.mProducer->mRenders = 0;
        read.mNode->mPrefetchedTimes.clear();
        other.mNode->mPrefetchedTimes.clear();
        RenderedFrame(source, MF::FrameTime(Frames(30)), mParams);
        CollectedItems(source, MF::FrameTime(Frames(31)), mParams);
        EXPECT_EQ(read.mProducer->mRenders, 1) << use;
        EXPECT_EQ(other.mProducer->mRenders, 0) << use;
        EXPECT_EQ(read.mNode->mPrefetchedTimes, std::vector<MF::FrameTime>{MF::FrameTime(Frames(6))});
        EXPECT_TRUE(other.mNode->mPrefetchedTimes.empty());
    }
}

TEST_F(RenderableCutlistSource, FrameKeepsTheFormatThatTheSequenceHasItIn)
{
    mFirst.mProducer->mFormat = kPixelFormat_YUV_420_MPEG2_Frame_8u_709;
    const MF::IVideoFrameRef frame = RenderedFrame(Make(), MF::FrameTime(Frames(30)), mParams);
    PixelFormat format;
    frame->GetPixelFormat(format);
    EXPECT_EQ(format, kPixelFormat_YUV_420_MPEG2_Frame_8u_709);
}

TEST_F(RenderableCutlistSource, FrameIsCachedWhereTheRequestSaysSo)
{
    for (const std::uint32_t flags : {0u, 16u, 32u})
    {
        mParams.mRenderFlags = flags;
        RenderedFrame(Make(), MF::FrameTime(Frames(30)), mParams);
        EXPECT_FALSE(VF::SharedVideoFrameCache::RetrieveFromCache(mFirst.mProducer->mHash)) << flags;
    }
    mParams.mRenderFlags = 8 | 32;
    RenderedFrame(Make(), MF::FrameTime(Frames(30)), mParams);
    EXPECT_TRUE(VF::SharedVideoFrameCache::RetrieveFromCache(mFirst.mProducer->mHash));
}

TEST_F(RenderableCutlistSource, GapIsBlackAndFailingProducerIsEmpty)
{
    const MF::IVideoFrameRef gap = RenderedFrame(Make(), MF::FrameTime(Frames(1)), mParams);
    ASSERT_TRUE(gap);
    EXPECT_EQ(TestSupport::PixelAt(gap, 0, 0), (std::vector<std::uint8_t>{0, 0, 0, 0}));
    mFirst.mProducer->mStatus = -9;
    EXPECT_FALSE(RenderedFrame(Make(), MF::FrameTime(Frames(30)), mParams));
}

// Fails every question for a node.
class FailingCutlist final : public TVK::Implements<FailingCutlist, MF::IRenderableCutlist>
{
public:
    std::uint32_t GetSegmentCount() const override { return 0; }
    TVK::Guid GetHashValue() const override { return {}; }
    std::int32_t GetNthSegmentDescription(std::uint32_t, TickTime&, TickTime&, TickTime&,
                                          TVK::Guid&) const override
    {
        return -7;
    }
    std::int32_t GetRenderableNodeFromHashValue(const TVK::Guid&, MF::IRenderableNodeRef&) const override
    {
        return -7;
    }
    std::int32_t FindNodeForTime(const MF::FrameTime&, MF::IRenderableNodeRef&, MF::FrameTime&) const override
    {
        return -7;
    }
    std::int32_t FindNodeForTimeRange(const MF::FrameTime&, const MF::FrameTime&, MF::IRenderableNodeRef&,
                                      MF::FrameTime&) const override
    {
        return -7;
    }
    std::int32_t FindSegmentForTime(const TickTime&, std::uint32_t&, TickTime&, TickTime&, TickTime&,
                                    TVK::Guid&) const override
    {
        return -7;
    }
    norvik::utility::ImmutableString GetStreamLabel() const override { return {}; }
};

TEST_F(RenderableCutlistSource, FailureOfTheCutlistIsThrownWithItsStatus)
{
    mSequence->mFirst = MF::IRenderableCutlistRef(new FailingCutlist);
    try
    {
        RenderedFrame(Make(), MF::FrameTime(Frames(30)), mParams);
        FAIL() << "nothing was thrown";
    }
    catch (const ML::RenderRequestException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), -7);
    }
}

} // namespace
