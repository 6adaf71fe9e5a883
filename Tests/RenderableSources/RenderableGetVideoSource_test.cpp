#include "RenderableSources.h"

#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

namespace
{

using namespace norviktypes;

const FrameRate kRate = FrameRate::FromRational(25, 1);
constexpr PixelFormat kBGRA = kPixelFormat_BGRA_4444_8u;

TickTime Frames(double inNumber)
{
    return TickTime(static_cast<std::int64_t>(inNumber * static_cast<double>(kRate.GetTicks())));
}

// A stream that only fills frames, each pixel with the same bytes, and writes down what it was told.
class FillingSource final : public TestSupport::FakeVideoSource
{
public:
    struct Call
    {
        TickTime mTime;
        BE::FrameDescription mFormat; // of the key
        MF::BinaryData mSettings;
        TickTime mRangeStart;
        TickTime mRangeEnd;
        RenderQuality mQuality;
        FieldType mFieldType;
        bool mOptionA;
        bool mOptionB;
        bool mOptionC;
        double mScale;
        bool mIsProgressive = false; // of the fill
        FieldType mFrameFieldType = kFieldType_Invalid;
        MF::IVideoFrameRef mFrame{};
    };

    std::vector<PixelFormat> mFormats{kBGRA};
    TVK::Guid mKey{0x71, 0x72};
    std::int32_t mStatus = 0;
    std::vector<std::uint8_t> mPixel{10, 20, 30, 255};
    bool mRendersFrames = false;
    mutable std::vector<Call> mKeyCalls;
    std::vector<Call> mFillCalls;

    void GetNativePixelFormat(std::vector<PixelFormat>& outFormats) const override { outFormats = mFormats; }
    bool CanRenderFrames(const MF::BinaryData&) const override { return mRendersFrames; }
    TVK::Guid GetFrameKeyWithOptions(const TickTime& inTime, const BE::FrameDescription& inFormat,
                                     const MF::BinaryData& inSettings, const TickTime& inRangeStart,
                                     const TickTime& inRangeEnd, RenderQuality inQuality,
                                     FieldType inFieldType, bool inOptionA, bool inOptionB, bool inOptionC,
                                     double inScale) const override
    {
        mKeyCalls.push_back({inTime, inFormat, inSettings, inRangeStart, inRangeEnd, inQuality, inFieldType,
                             inOptionA, inOptionB, inOptionC, inScale});
        return mKey;
    }
    std::int32_t GetVideoFrame(const TickTime& inTime, const MF::BinaryData& inSettings,
                               const TickTime& inRangeStart, const TickTime& inRangeEnd,
                               const MF::IVideoFrameRef& ioFrame, RenderQuality inQuality,
                               FieldType inFieldType, bool inIsProgressive, bool inOptionA, bool inOptionB,
                               bool inOptionC, double inScale) override
    {
        mFillCalls.push_back({inTime,
                              {},
                              inSettings,
                              inRangeStart,
                              inRangeEnd,
                              inQuality,
                              inFieldType,
                              inOptionA,
                              inOptionB,
                              inOptionC,
                              inScale,
                              inIsProgressive,
                              ioFrame->GetFieldType(),
                              ioFrame});
        TVK::Rect bounds;
        ioFrame->GetBounds(bounds);
        for (std::uint32_t y = 0; y < static_cast<std::uint32_t>(bounds.Height()); ++y)
        {
            for (std::size_t x = 0; x < static_cast<std::size_t>(bounds.Width()); ++x)
            {
                std::memcpy(TestSupport::RowOf(ioFrame, y) + 4 * x, mPixel.data(), 4);
            }
        }
        return mStatus;
    }
};

class RenderableGetVideoSource : public testing::Test
{
protected:
    RenderableGetVideoSource() { TestSupport::EmptyFrameCache(); }
    ~RenderableGetVideoSource() override { TestSupport::EmptyFrameCache(); }

    ML::IRenderableSourceRef Make() const
    {
        return ML::CreateRenderableGetVideoSource(BE::IVideoSourceRef(mStream), mSettings, mStart, mEnd,
                                                  mMatte, mAlpha, mIgnoreAlpha, mInvertAlpha, mFlag, mValue,
                                                  mRate, u"label");
    }
    MF::FrameTime Conform(const MF::FrameTime& inTime) const
    {
        return ConformedTime(Make(), inTime, mParams);
    }
    MF::IVideoFrameRef Render(const MF::FrameTime& inTime = {}) const
    {
        return RenderedFrame(Make(), inTime, mParams);
    }
    // The status that a render throws; nothing if it throws none.
    std::optional<std::int32_t> StatusOfRender() const
    {
        try
        {
            Render();
            return std::nullopt;
        }
        catch (const ML::RenderRequestException& exception)
        {
            return exception.GetStatus();
        }
    }

    TVK::InterfaceRef<FillingSource> mStream{new FillingSource};
    MF::BinaryData mSettings;
    TickTime mStart;
    TickTime mEnd;
    TVK::ParamColor<unsigned long> mMatte{};
    AlphaChannel mAlpha = kAlphaChannel_Straight;
    bool mIgnoreAlpha = false;
    bool mInvertAlpha = false;
    bool mFlag = false;
    double mValue = 1.0;
    FrameRate mRate = kRate;
    ML::CutlistRenderParams mParams = RenderParams(8, 4);
};

TEST_F(RenderableGetVideoSource, FramesAlignToTheGridThatStartsAtTheStartTime)
{
    mStart = Frames(0.3);
    EXPECT_EQ(Conform(MF::FrameTime(Frames(7.2))), MF::FrameTime(Frames(0.3) + Frames(6)));
    EXPECT_EQ(Conform(MF::FrameTime(Frames(7.4))), MF::FrameTime(Frames(0.3) + Frames(7)));
    EXPECT_EQ(Conform(MF::FrameTime(Frames(0.1))), MF::FrameTime(Frames(0.3) - Frames(1)));
}

TEST_F(RenderableGetVideoSource, RequestOfFieldsKeepsItsOrderAtTheStreamsFieldRate)
{
    for (const FieldType type : {kFieldType_UpperFirst, kFieldType_LowerFirst, kFieldType_FromSource})
    {
        mStream->mFieldType = type;
        EXPECT_EQ(Conform(MF::FrameTime(Frames(7.2), Frames(7.7))), MF::FrameTime(Frames(7), Frames(7.5)));
        EXPECT_EQ(Conform(MF::FrameTime(Frames(7.7), Frames(7.2))), MF::FrameTime(Frames(7.5), Frames(7)));
        EXPECT_EQ(Conform(MF::FrameTime(Frames(7.7))), MF::FrameTime(Frames(7)));
    }
    mStream->mFieldType = kFieldType_Progressive;
    EXPECT_EQ(Conform(MF::FrameTime(Frames(7.2), Frames(7.7))), MF::FrameTime(Frames(7), Frames(8)))
        << "whose fields last as long as frames";
}

TEST_F(RenderableGetVideoSource, StreamWithoutFrameGridIsNeitherAlignedNorSplit)
{
    mStream->mHasNoFrameGrid = true;
    mStream->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(Conform(MF::FrameTime(Frames(7.7), Frames(7.2))), MF::FrameTime(Frames(7.2)));
    EXPECT_EQ(FrameRateOf(Make()), kFrameRate_Video1000);
    EXPECT_EQ(FieldRateOf(Make()), kFrameRate_Video1000);
}

TEST_F(RenderableGetVideoSource, StillHasNoRateAndTimeZero)
{
    mStream->mKind = MF::kSourceKind_Still;
    mStream->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(FrameRateOf(Make()), kFrameRate_Zero);
    EXPECT_EQ(FieldRateOf(Make()), kFrameRate_Zero);
    EXPECT_EQ(Conform(MF::FrameTime(Frames(7.7), Frames(7.2))), MF::FrameTime(kTime_Zero));
}

TEST_F(RenderableGetVideoSource, StreamWithoutAnEndHasTimes)
{
    mStream->mKind = MF::kSourceKind_Unbounded;
    EXPECT_EQ(FrameRateOf(Make()), kRate);
    EXPECT_EQ(Conform(MF::FrameTime(Frames(7.7))), MF::FrameTime(Frames(7)));
}

TEST_F(RenderableGetVideoSource, RateZeroAnswersTimeZero)
{
    mRate = kFrameRate_Zero;
    EXPECT_EQ(Conform(MF::FrameTime(Frames(7.7))), MF::FrameTime(kTime_Zero));
}

TEST_F(RenderableGetVideoSource, FieldRateIsTwiceTheFrameRateForFieldsOfTheStream)
{
    EXPECT_EQ(FrameRateOf(Make()), kRate);
    EXPECT_EQ(FieldRateOf(Make()), kRate);
    for (const FieldType type : {kFieldType_UpperFirst, kFieldType_LowerFirst, kFieldType_FromSource})
    {
        mStream->mFieldType = type;
        EXPECT_EQ(FieldRateOf(Make()), kRate * 2) << type;
    }
}

TEST_F(RenderableGetVideoSource, StreamIsToldAllThatTheCreatorAndTheParamsSay)
{
    mSettings = MF::BinaryData("abc", 3);
    mStart = Frames(1);
    mEnd = Frames(90);
    mIgnoreAlpha = true;
    mFlag = true;
    mValue = 0.75;
    mParams.mRenderQuality = kRenderQuality_Low;
    mParams.mPixelAspectRatio = {12, 11};
    const MF::IVideoFrameRef frame = Render(MF::FrameTime(Frames(7.5), Frames(7)));

    ASSERT_EQ(mStream->mFillCalls.size(), 1u);
    const FillingSource::Call& call = mStream->mFillCalls[0];
    EXPECT_EQ(call.mTime, Frames(7));
    EXPECT_EQ(call.mSettings, mSettings);
    EXPECT_EQ(call.mRangeStart, mStart);
    EXPECT_EQ(call.mRangeEnd, mEnd);
    EXPECT_EQ(call.mQuality, kRenderQuality_Low);
    EXPECT_EQ(call.mFieldType, kFieldType_LowerFirst);
    EXPECT_EQ(call.mFrameFieldType, kFieldType_LowerFirst);
    EXPECT_FALSE(call.mIsProgressive);
    EXPECT_TRUE(call.mOptionA);
    EXPECT_FALSE(call.mOptionB);
    EXPECT_TRUE(call.mOptionC);
    EXPECT_EQ(call.mScale, 0.75);

    PixelAspectRatio ratio;
    frame->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, PixelAspectRatio(12, 11));
    TVK::Rect bounds;
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 8, 4}));
    mIgnoreAlpha = false;
    mInvertAlpha = true;
    Render(MF::FrameTime(Frames(7)));
    EXPECT_TRUE(mStream->mFillCalls[1].mIsProgressive);
    EXPECT_TRUE(mStream->mFillCalls[1].mOptionB);
}

TEST_F(RenderableGetVideoSource, KeyIsAskedForWithTheDescriptionAndAllTheRest)
{
    mStart = Frames(1);
    mEnd = Frames(90);
    mInvertAlpha = true;
    mFlag = true;
    mValue = 0.75;
    mParams.mPixelAspectRatio = {12, 11};
    mParams.mRenderQuality = kRenderQuality_Medium;
    mSettings = MF::BinaryData("abc", 3);
    const MF::FrameTime time(Frames(7), Frames(7.5));
    Render(time);
    const std::size_t ofRender = mStream->mKeyCalls.size();
    CollectedItems(Make(), time, mParams);
    ASSERT_GE(ofRender, 1u);
    ASSERT_GE(mStream->mKeyCalls.size(), ofRender + 2) << "by the source and by the item";
    for (const FillingSource::Call& call : mStream->mKeyCalls)
    {
        EXPECT_EQ(call.mSettings, mSettings);
        EXPECT_EQ(call.mTime, Frames(7));
        EXPECT_EQ(call.mFormat.mPixelFormat, kBGRA);
        EXPECT_EQ(call.mFormat.mBounds, (TVK::Rect{0, 0, 8, 4}));
        EXPECT_EQ(call.mFormat.mPixelAspectRatio, PixelAspectRatio(12, 11));
        EXPECT_EQ(call.mFormat.mQuality, kRenderQuality_Medium);
        EXPECT_EQ(call.mFormat.mFieldType, kFieldType_UpperFirst);
        EXPECT_EQ(call.mFieldType, kFieldType_UpperFirst);
        EXPECT_EQ(call.mQuality, kRenderQuality_Medium);
        EXPECT_EQ(call.mRangeStart, mStart);
        EXPECT_EQ(call.mRangeEnd, mEnd);
        EXPECT_FALSE(call.mOptionA);
        EXPECT_TRUE(call.mOptionB);
        EXPECT_TRUE(call.mOptionC);
        EXPECT_EQ(call.mScale, 0.75);
    }
}

TEST_F(RenderableGetVideoSource, TimeIsNotConvertedToTheStreamsRate)
{
    mStream->mRate = kRate * 2;
    Render(MF::FrameTime(Frames(7.5)));
    EXPECT_EQ(mStream->mFillCalls.at(0).mTime, Frames(7.5));
}

TEST_F(RenderableGetVideoSource, FormatIsTheNearestThatTheStreamFills)
{
    mStream->mFormats = {kPixelFormat_BGRA_4444_16u, kPixelFormat_VUYA_4444_8u, kBGRA};
    PixelFormat format;
    Render()->GetPixelFormat(format);
    EXPECT_EQ(format, kBGRA) << "the very one";
    mStream->mFormats = {kPixelFormat_VUYA_4444_8u};
    Render()->GetPixelFormat(format);
    EXPECT_EQ(format, kPixelFormat_VUYA_4444_8u) << "the only one";
}

TEST_F(RenderableGetVideoSource, StreamNarrowsTheRequestBeforeItIsFilled)
{
    mSettings = MF::BinaryData("x", 1);
    mStream->mNormalizeFunction = [](TickTime& ioTime, BE::FrameDescription& ioFormat)
    {
        ioTime = Frames(4);
        ioFormat.mBounds = {0, 0, 4, 2};
    };
    const MF::IVideoFrameRef frame = Render(MF::FrameTime(Frames(9)));
    EXPECT_EQ(mStream->TakeNormalizeCalls().at(0).mSettings.Size(), 1u);
    EXPECT_EQ(mStream->mFillCalls.at(0).mTime, Frames(4));
    TVK::Rect bounds;
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 4, 2}));
}

TEST_F(RenderableGetVideoSource, FrameHasTheAspectOfTheParamsWhateverTheStreamNarrowsItTo)
{
    mParams.mPixelAspectRatio = {12, 11};
    mStream->mNormalizeFunction = [](TickTime&, BE::FrameDescription& ioFormat) {
        ioFormat.mPixelAspectRatio = {4, 3};
    };
    PixelAspectRatio ratio;
    Render()->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, PixelAspectRatio(12, 11));
    EXPECT_EQ(mStream->mKeyCalls.at(0).mFormat.mPixelAspectRatio, PixelAspectRatio(4, 3));
}

TEST_F(RenderableGetVideoSource, CachedFrameIsGivenAsItIs)
{
    mIgnoreAlpha = true;
    const MF::IVideoFrameRef cached = TestSupport::NewFilledFrame(kBGRA, 8, 4, {1, 2, 3, 4});
    VF::SharedVideoFrameCache::InsertIntoCache(cached, mStream->mKey, 10);
    const MF::IVideoFrameRef frame = Render();
    EXPECT_TRUE(frame == cached);
    EXPECT_TRUE(TestSupport::IsFilledWith(frame, {1, 2, 3, 4})) << "alpha is not conformed again";
    EXPECT_TRUE(mStream->mFillCalls.empty());
}

TEST_F(RenderableGetVideoSource, StreamThatCannotNameItsFramesIsFilledEachTimeAndNotReadAhead)
{
    mStream->mKey = {};
    Render();
    Render();
    EXPECT_EQ(mStream->mFillCalls.size(), 2u);
    EXPECT_TRUE(CollectedItems(Make(), MF::FrameTime(Frames(3)), mParams).empty());
}

TEST_F(RenderableGetVideoSource, CollectedItemHasTheKeyOfTheRender)
{
    std::vector<ML::IRenderableNodePrefetchRef> items(1);
    Make()->CollectPrefetchItems(MF::FrameTime(Frames(3)), mParams, items);
    ASSERT_EQ(items.size(), 2u) << "appended";
    TVK::Guid key;
    items[1]->GetPrefetchKey(key);
    EXPECT_EQ(key, mStream->mKey);
}

TEST_F(RenderableGetVideoSource, StreamThatRendersItsFramesHasNoItemHere)
{
    mStream->mRendersFrames = true;
    EXPECT_TRUE(CollectedItems(Make(), MF::FrameTime(Frames(3)), mParams).empty());
}

TEST_F(RenderableGetVideoSource, FailureOfTheStreamIsThrownWithItsStatusAndTheFrameLetGo)
{
    mStream->mStatus = BE::kSourceStatus_BadMedia;
    MF::IVideoFrameRef frame = TestSupport::NewFrame(kBGRA, 8, 4);
    EXPECT_THROW(Make()->Render({}, mParams, frame), ML::RenderRequestException);
    EXPECT_FALSE(frame);
    EXPECT_EQ(StatusOfRender(), BE::kSourceStatus_BadMedia);
}

TEST_F(RenderableGetVideoSource, FrameThatCannotBeMadeIsThrownWithItsStatus)
{
    mParams.mWidth = 0;
    EXPECT_EQ(StatusOfRender(), VF::kFrameStatus_BadArgument);
    EXPECT_TRUE(mStream->mFillCalls.empty());
}

TEST_F(RenderableGetVideoSource, EmptyStreamIsANullInterfaceForEveryOperation)
{
    mStream.reset();
    const auto source = Make();
    EXPECT_THROW(ConformedTime(source, {}, mParams), TVK::NullInterfaceException);
    EXPECT_THROW(CollectedItems(source, {}, mParams), TVK::NullInterfaceException);
    EXPECT_THROW(RenderedFrame(source, {}, mParams), TVK::NullInterfaceException);
    EXPECT_THROW(FrameRateOf(source), TVK::NullInterfaceException);
    EXPECT_THROW(FieldRateOf(source), TVK::NullInterfaceException);
}

TEST_F(RenderableGetVideoSource, StreamWithoutATimeAxisFaceIsANullInterfaceWhereItIsAskedFor)
{
    const TestSupport::FakeReadSourceRef faceless(new TestSupport::FakeReadSource);
    faceless->mHasTimeAxisFace = false;
    const auto source =
        ML::CreateRenderableGetVideoSource(BE::IVideoSourceRef(faceless), {}, {}, {}, {},
                                           kAlphaChannel_Straight, false, false, false, 1.0, kRate, {});
    EXPECT_THROW(ConformedTime(source, {}, mParams), TVK::NullInterfaceException);
    EXPECT_THROW(FrameRateOf(source), TVK::NullInterfaceException);
    EXPECT_THROW(FieldRateOf(source), TVK::NullInterfaceException);
    EXPECT_TRUE(RenderedFrame(source, {}, mParams)) << "a render asks for nothing of it";
}

TEST_F(RenderableGetVideoSource, AlphaIsConformedToWhatTheCreatorSays)
{
    mStream->mPixel = {64, 32, 16, 128};
    EXPECT_TRUE(TestSupport::IsFilledWith(Render(), {64, 32, 16, 128}));
    mIgnoreAlpha = true;
    EXPECT_TRUE(TestSupport::IsFilledWith(Render(), {64, 32, 16, 255}));
    mIgnoreAlpha = false;
    mInvertAlpha = true;
    EXPECT_TRUE(TestSupport::IsFilledWith(Render(), {64, 32, 16, 127}));
    mInvertAlpha = false;
    mAlpha = kAlphaChannel_Premultiplied;
    EXPECT_TRUE(TestSupport::IsFilledWith(Render(), {128, 64, 32, 128}));
    EXPECT_EQ(Render()->GetAlphaType(), kAlphaChannel_Straight);
    mMatte = TVK::ParamColor<unsigned long>::FromComponents(0, 0, 128, 255);
    const MF::IVideoFrameRef overMatte = Render();
    EXPECT_NEAR(TestSupport::PixelAt(overMatte, 0, 0)[0], 0, 1) << "half of the blue is the matte's";
    EXPECT_NEAR(TestSupport::PixelAt(overMatte, 0, 0)[1], 64, 1);
}

TEST_F(RenderableGetVideoSource, OpaqueFormatIsLeftAlone)
{
    mStream->mFormats = {kPixelFormat_BGRX_4444_8u};
    mStream->mPixel = {10, 20, 30, 255};
    mInvertAlpha = true;
    EXPECT_TRUE(TestSupport::IsFilledWith(Render(), {10, 20, 30, 255}));
}

} // namespace
