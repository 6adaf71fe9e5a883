#include "RenderableSources.h"

#include "MF/PixelFormats.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <thread>
#include <vector>

namespace
{

using norviktypes::FrameRate;
using norviktypes::TickTime;
using TestSupport::FakeVideoSource;

const FrameRate kRate25 = FrameRate::FromRational(25, 1);

struct Options
{
    norviktypes::AlphaChannel mAlpha = norviktypes::kAlphaChannel_Straight;
    TVK::ParamColor<unsigned long> mMatte{};
    bool mIgnoreAlpha = false;
    bool mInvertAlpha = false;
    FrameRate mRate = kRate25;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_FromSource;
    norviktypes::PixelAspectRatio mRatio{};
    MF::BinaryData mSettings{};
    norviktypes::ColorProfile mProfile{};
};

class RenderableVideoSource : public testing::Test
{
protected:
    RenderableVideoSource() : mStream(new FakeVideoSource())
    {
        mParams.mWidth = 64;
        mParams.mHeight = 36;
        mParams.mPixelFormat = MF::kPixelFormat_BGRA_4444_8u;
    }

    ML::IRenderableSourceRef Make(const Options& inOptions = {}) const
    {
        return ML::CreateRenderableSource(BE::IVideoSourceRef(mStream), inOptions.mSettings, inOptions.mAlpha,
                                          inOptions.mMatte, inOptions.mIgnoreAlpha, inOptions.mInvertAlpha,
                                          inOptions.mRate, inOptions.mFieldType, inOptions.mRatio,
                                          inOptions.mProfile, u"label");
    }

    MF::FrameTime Conform(const Options& inOptions, const MF::FrameTime& inTime) const
    {
        MF::FrameTime result;
        Make(inOptions)->ConformFrameTime(inTime, mParams, result);
        return result;
    }

    MF::IVideoFrameRef Render(const Options& inOptions, const MF::FrameTime& inTime = {}) const
    {
        MF::IVideoFrameRef frame;
        Make(inOptions)->Render(inTime, mParams, frame);
        return frame;
    }

    // The stream answers with a frame of one pixel value.
    void GiveFrames(const norviktypes::PixelFormat& inFormat, const std::array<std::uint8_t, 4>& inPixel,
                    bool inFrozen = true)
    {
        mParams.mWidth = 2;
        mParams.mHeight = 2;
        mStream->mFrameFunction = [=](const FakeVideoSource::Request&, MF::IVideoFrameRef& outFrame)
        {
            VF::CreateVideoFrame(outFrame, inFormat, 2, 2, {}, true, false);
            outFrame->SetContentRect({0, 0, 1, 1});
            auto* pixels = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(outFrame)->GetPixels());
            const std::int32_t rowBytes = VF::IVideoFrameRasterRef(outFrame)->GetRowBytes();
            for (int y = 0; y < 2; ++y)
            {
                for (int x = 0; x < 2; ++x)
                {
                    std::memcpy(pixels + y * rowBytes + x * 4, inPixel.data(), 4);
                }
            }
            if (inFrozen)
            {
                outFrame->Freeze();
            }
            return 0;
        };
    }

    static std::array<std::uint8_t, 4> PixelOf(const MF::IVideoFrameRef& inFrame)
    {
        std::array<std::uint8_t, 4> pixel{};
        std::memcpy(pixel.data(), VF::IVideoFramePixelsRef(inFrame)->GetPixels(), 4);
        return pixel;
    }

    TVK::InterfaceRef<FakeVideoSource> mStream;
    ML::CutlistRenderParams mParams;
};

TickTime Frames(double inFrames, const FrameRate& inRate = kRate25)
{
    return TickTime(static_cast<std::int64_t>(inFrames * static_cast<double>(inRate.GetTicks())));
}

TEST_F(RenderableVideoSource, AnswersItsInterfacesAndNoOthers)
{
    const ML::IRenderableSourceRef source = Make();
    void* face = nullptr;
    EXPECT_EQ(source->QueryNoRef(TVK::InterfaceIDs::kRenderableVideoSource, &face), 0);
    EXPECT_NE(face, nullptr);
    EXPECT_EQ(source->Query(TVK::InterfaceIDs::kVideoFrame, &face), static_cast<std::int32_t>(0xa00a0001u));
    EXPECT_EQ(face, nullptr);
}

TEST_F(RenderableVideoSource, StreamWithoutFrameGridReportsVideo1000ForBothRates)
{
    mStream->mHasNoFrameGrid = true;
    FrameRate rate;
    Make()->GetFrameRate(rate);
    EXPECT_EQ(rate, norviktypes::kFrameRate_Video1000);
    mStream->mFieldType = norviktypes::kFieldType_UpperFirst;
    Make()->GetFieldRate(rate);
    EXPECT_EQ(rate, norviktypes::kFrameRate_Video1000);
}

TEST_F(RenderableVideoSource, StreamOfRateZeroHasNoFrameGrid)
{
    mStream->mRate = norviktypes::kFrameRate_Zero;
    FrameRate rate;
    Make()->GetFrameRate(rate);
    EXPECT_EQ(rate, norviktypes::kFrameRate_Video1000);
}

TEST_F(RenderableVideoSource, InterlacedSourceOfOddTicksReportsOneTickMore)
{
    const FrameRate odd(10160640001);
    for (const auto type : {norviktypes::kFieldType_UpperFirst, norviktypes::kFieldType_LowerFirst})
    {
        FrameRate rate;
        Make({.mRate = odd, .mFieldType = type})->GetFrameRate(rate);
        EXPECT_EQ(rate.GetTicks(), odd.GetTicks() + 1);
    }
    for (const auto type : {norviktypes::kFieldType_Progressive, norviktypes::kFieldType_FromSource})
    {
        FrameRate rate;
        Make({.mRate = odd, .mFieldType = type})->GetFrameRate(rate);
        EXPECT_EQ(rate.GetTicks(), odd.GetTicks());
    }
}

TEST_F(RenderableVideoSource, FieldRateIsTwiceTheFrameRateWhereThereMayBeFields)
{
    struct Case
    {
        norviktypes::FieldType mOwn, mStreams;
        bool mDoubled;
    };
    for (const Case& each :
         {Case{norviktypes::kFieldType_Progressive, norviktypes::kFieldType_UpperFirst, false},
          Case{norviktypes::kFieldType_UpperFirst, norviktypes::kFieldType_Progressive, true},
          Case{norviktypes::kFieldType_LowerFirst, norviktypes::kFieldType_Progressive, true},
          Case{norviktypes::kFieldType_FromSource, norviktypes::kFieldType_Progressive, false},
          Case{norviktypes::kFieldType_FromSource, norviktypes::kFieldType_LowerFirst, true},
          Case{norviktypes::kFieldType_FromSource, norviktypes::kFieldType_FromSource, true},
          Case{norviktypes::kFieldType_FromSource, norviktypes::kFieldType_Unknown, false}})
    {
        mStream->mFieldType = each.mStreams;
        FrameRate rate;
        Make({.mFieldType = each.mOwn})->GetFieldRate(rate);
        EXPECT_EQ(rate, each.mDoubled ? kRate25 * 2 : kRate25) << each.mOwn << " on " << each.mStreams;
    }
}

TEST_F(RenderableVideoSource, ProgressiveTimeIsAlignedToTheFrameGrid)
{
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(3.7))), MF::FrameTime(Frames(3)));
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(-0.5))), MF::FrameTime(Frames(-1)));
}

TEST_F(RenderableVideoSource, ProgressiveTimeOnInterlacedStreamIsAlignedToTheFieldGridAndGetsNoSecondTime)
{
    for (const auto type : {norviktypes::kFieldType_UpperFirst, norviktypes::kFieldType_LowerFirst,
                            norviktypes::kFieldType_FromSource})
    {
        mStream->mFieldType = type;
        EXPECT_EQ(Conform({}, MF::FrameTime(Frames(3.7))), MF::FrameTime(Frames(3.5))) << type;
    }
}

TEST_F(RenderableVideoSource, InterlacedTimeOnInterlacedStreamKeepsItsOrder)
{
    mStream->mFieldType = norviktypes::kFieldType_UpperFirst;
    const TickTime field(kRate25.GetTicks() / 2);
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(3.7), Frames(4.2))),
              MF::FrameTime(Frames(3), Frames(3) + field));
    // The order is the request's, whatever the stream's.
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(4.2), Frames(3.7))),
              MF::FrameTime(Frames(3) + field, Frames(3)));
}

TEST_F(RenderableVideoSource, InterlacedTimeOnProgressiveStreamBecomesProgressive)
{
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(3.7), Frames(4.2))), MF::FrameTime(Frames(3)));
}

TEST_F(RenderableVideoSource, StreamThatLeavesTheOrderOpenTakesTheRequests)
{
    mStream->mFieldType = norviktypes::kFieldType_FromSource;
    const TickTime field(kRate25.GetTicks() / 2);
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(4.2), Frames(3.7))),
              MF::FrameTime(Frames(3) + field, Frames(3)));
}

TEST_F(RenderableVideoSource, FieldTypeOfTheCreatorDecidesTheOrder)
{
    const TickTime field(kRate25.GetTicks() / 2);
    EXPECT_EQ(Conform({.mFieldType = norviktypes::kFieldType_UpperFirst}, MF::FrameTime(Frames(3.7))),
              MF::FrameTime(Frames(3), Frames(3) + field));
    EXPECT_EQ(Conform({.mFieldType = norviktypes::kFieldType_LowerFirst}, MF::FrameTime(Frames(3.7))),
              MF::FrameTime(Frames(3) + field, Frames(3)));
    EXPECT_EQ(
        Conform({.mFieldType = norviktypes::kFieldType_Progressive}, MF::FrameTime(Frames(3.7), Frames(4.2))),
        MF::FrameTime(Frames(3)));
}

TEST_F(RenderableVideoSource, OrderOfTheCreatorIsAlignedToFramesWhateverIsAskedFor)
{
    mStream->mFieldType = norviktypes::kFieldType_UpperFirst;
    const TickTime field(kRate25.GetTicks() / 2);
    EXPECT_EQ(Conform({.mFieldType = norviktypes::kFieldType_UpperFirst}, MF::FrameTime(Frames(3.7))),
              MF::FrameTime(Frames(3), Frames(3) + field));
    EXPECT_EQ(Conform({.mFieldType = norviktypes::kFieldType_Progressive}, MF::FrameTime(Frames(3.7))),
              MF::FrameTime(Frames(3)));
}

TEST_F(RenderableVideoSource, TimeOfAStreamWithoutFrameGridIsNotAligned)
{
    mStream->mHasNoFrameGrid = true;
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(3.7))), MF::FrameTime(Frames(3.7)));
}

TEST_F(RenderableVideoSource, StillAnswersTimeZeroWhateverTheInput)
{
    mStream->mKind = MF::kSourceKind_Still;
    mStream->mFieldType = norviktypes::kFieldType_UpperFirst;
    for (const MF::FrameTime& time :
         {MF::FrameTime(Frames(3.7)), MF::FrameTime(Frames(5), Frames(4)),
          MF::FrameTime(norviktypes::kTime_Max), MF::FrameTime(norviktypes::kTime_Min)})
    {
        EXPECT_EQ(Conform({.mFieldType = norviktypes::kFieldType_UpperFirst}, time),
                  MF::FrameTime(norviktypes::kTime_Zero));
    }
}

TEST_F(RenderableVideoSource, StreamWithoutAnEndHasTimes)
{
    mStream->mKind = MF::kSourceKind_Unbounded;
    EXPECT_EQ(Conform({}, MF::FrameTime(Frames(3.7))), MF::FrameTime(Frames(3)));
}

TEST_F(RenderableVideoSource, RateZeroAnswersTimeZero)
{
    EXPECT_EQ(Conform({.mRate = norviktypes::kFrameRate_Zero}, MF::FrameTime(Frames(3.7))),
              MF::FrameTime(norviktypes::kTime_Zero));
}

TEST_F(RenderableVideoSource, EqualRatesLeaveTheTimeUnchanged)
{
    Render({}, MF::FrameTime(Frames(3.7)));
    EXPECT_EQ(mStream->TakeRequests().at(0).mTime, Frames(3.7));
}

TEST_F(RenderableVideoSource, OtherRateMapsFramesOneToOne)
{
    const FrameRate rate50 = FrameRate::FromRational(50, 1);
    Render({.mRate = rate50}, MF::FrameTime(Frames(7.5, rate50)));
    EXPECT_EQ(mStream->TakeRequests().at(0).mTime, Frames(7));
}

TEST_F(RenderableVideoSource, ZeroRateOnEitherSideTurnsTheConversionOff)
{
    Render({.mRate = norviktypes::kFrameRate_Zero}, MF::FrameTime(Frames(3.7)));
    mStream->mRate = norviktypes::kFrameRate_Zero;
    mStream->mFrameFunction = [](const FakeVideoSource::Request& inRequest, MF::IVideoFrameRef& outFrame)
    { return VF::CreateVideoFrame(outFrame, inRequest.mFormat.mPixelFormat, 64, 36, {}, true, false); };
    Render({}, MF::FrameTime(Frames(3.7)));
    for (const auto& request : mStream->TakeRequests())
    {
        EXPECT_EQ(request.mTime, Frames(3.7));
    }
}

TEST_F(RenderableVideoSource, RequestCarriesWhatTheParamsAndTheCreatorSay)
{
    mParams.mPixelAspectRatio = {12, 11};
    mParams.mRenderQuality = norviktypes::kRenderQuality_Low;
    const Options options{.mSettings = MF::BinaryData("abc", 3), .mProfile = {"profile", nullptr}};
    Render(options, MF::FrameTime(Frames(2.5), Frames(2)));

    const auto request = mStream->TakeRequests().at(0);
    EXPECT_EQ(request.mTime, Frames(2));
    EXPECT_EQ(request.mFormat.mPixelFormat, MF::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(request.mFormat.mBounds, (TVK::Rect{0, 0, 64, 36}));
    EXPECT_EQ(request.mFormat.mPixelAspectRatio, norviktypes::PixelAspectRatio(12, 11));
    EXPECT_EQ(request.mFormat.mQuality, norviktypes::kRenderQuality_Low);
    EXPECT_EQ(request.mFormat.mFieldType, norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(request.mSettings, options.mSettings);
    EXPECT_EQ(request.mProfile, options.mProfile);
}

TEST_F(RenderableVideoSource, StreamNarrowsTheRequestBeforeItIsRead)
{
    mStream->mNormalizeFunction = [](TickTime& ioTime, BE::FrameDescription& ioFormat)
    {
        ioTime = Frames(4);
        ioFormat.mBounds = {0, 0, 32, 36};
    };
    Render({.mSettings = MF::BinaryData("x", 1)}, MF::FrameTime(Frames(9)));
    EXPECT_EQ(mStream->TakeNormalizeCalls().at(0).mSettings.Size(), 1u);
    const auto request = mStream->TakeRequests().at(0);
    EXPECT_EQ(request.mTime, Frames(4));
    EXPECT_EQ(request.mFormat.mBounds.Width(), 32);
}

TEST_F(RenderableVideoSource, FramesAreCountedAtTheTimeThatTheStreamMadeOfTheRequest)
{
    const FrameRate rate50 = FrameRate::FromRational(50, 1);
    mStream->mNormalizeFunction = [&](TickTime& ioTime, BE::FrameDescription&)
    { ioTime = Frames(4, rate50); };
    Render({.mRate = rate50}, MF::FrameTime(Frames(9, rate50)));
    EXPECT_EQ(mStream->TakeRequests().at(0).mTime, Frames(4));
}

// A stream that names its frames, and remembers by what.
class NamingSource final : public FakeVideoSource
{
public:
    TVK::Guid GetFrameKey(const TickTime& inTime, const BE::FrameDescription& inFormat,
                          const MF::BinaryData& inSettings,
                          const norviktypes::ColorProfile& inProfile) const override
    {
        mKeyCalls.push_back({inTime, inFormat, inSettings, inProfile});
        return {1, 2};
    }

    mutable std::vector<Request> mKeyCalls;
};

TEST_F(RenderableVideoSource, ItemIsMadeOfAllThatARenderTellsTheStream)
{
    const TVK::InterfaceRef<NamingSource> named(new NamingSource);
    mStream = TVK::InterfaceRef<FakeVideoSource>(named.get());
    mParams.mPixelAspectRatio = {12, 11};
    const Options options{.mSettings = MF::BinaryData("abc", 3), .mProfile = {"profile", nullptr}};
    std::vector<ML::IRenderableNodePrefetchRef> items;
    Make(options)->CollectPrefetchItems(MF::FrameTime(Frames(2.5), Frames(2)), mParams, items);
    ASSERT_EQ(items.size(), 1u);
    ASSERT_FALSE(named->mKeyCalls.empty());
    const FakeVideoSource::Request& asked = named->mKeyCalls.front();
    EXPECT_EQ(asked.mTime, Frames(2));
    EXPECT_EQ(asked.mFormat.mBounds, (TVK::Rect{0, 0, 64, 36}));
    EXPECT_EQ(asked.mFormat.mPixelAspectRatio, norviktypes::PixelAspectRatio(12, 11));
    EXPECT_EQ(asked.mFormat.mFieldType, norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(asked.mSettings, options.mSettings);
    EXPECT_EQ(asked.mProfile, options.mProfile);
}

TEST_F(RenderableVideoSource, CollectedItemStandsForTheFrameThatARenderAsksFor)
{
    const TestSupport::FakeReadSourceRef named(new TestSupport::FakeReadSource);
    const auto source = ML::CreateRenderableSource(
        BE::IVideoSourceRef(named), {}, norviktypes::kAlphaChannel_Straight, {}, false, false, kRate25 * 2,
        norviktypes::kFieldType_FromSource, {}, {}, u"label");
    std::vector<ML::IRenderableNodePrefetchRef> items(1);
    source->CollectPrefetchItems(MF::FrameTime(Frames(3)), mParams, items);
    ASSERT_EQ(items.size(), 2u) << "appended";
    EXPECT_EQ(named->TakeNormalizeCalls().size(), 1u);
    TVK::Guid key;
    items[1]->GetPrefetchKey(key);
    // Time 3/25 is frame 6 of a source at 50, and frames map one to one: not frame 3 of the stream.
    EXPECT_EQ(key, named->KeyOf(6));
}

TEST_F(RenderableVideoSource, CollectsNoItemOfAStreamThatRendersNoFrames)
{
    const TestSupport::FakeReadSourceRef blind(new TestSupport::FakeReadSource);
    blind->mRendersFrames = false;
    const auto source = ML::CreateRenderableSource(
        BE::IVideoSourceRef(blind), {}, norviktypes::kAlphaChannel_Straight, {}, false, false, kRate25,
        norviktypes::kFieldType_FromSource, {}, {}, u"label");
    std::vector<ML::IRenderableNodePrefetchRef> items;
    source->CollectPrefetchItems(MF::FrameTime(Frames(3)), mParams, items);
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(blind->TakeNormalizeCalls().size(), 1u);
}

TEST_F(RenderableVideoSource, FailureOfTheStreamIsThrownWithItsStatusAndNotRetried)
{
    mStream->mFrameFunction = [](const FakeVideoSource::Request& inRequest, MF::IVideoFrameRef& outFrame)
    {
        VF::CreateVideoFrame(outFrame, inRequest.mFormat.mPixelFormat, 8, 8, {}, true, false);
        return BE::kSourceStatus_PastEnd;
    };
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, MF::kPixelFormat_BGRA_4444_8u, 8, 8, {}, true, false);
    try
    {
        Make()->Render(MF::FrameTime(), mParams, frame);
        FAIL() << "nothing was thrown";
    }
    catch (const ML::RenderRequestException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), BE::kSourceStatus_PastEnd);
    }
    EXPECT_FALSE(frame);
    EXPECT_EQ(mStream->TakeRequests().size(), 1u);
}

TEST_F(RenderableVideoSource, SuccessWithoutAFrameIsANullInterface)
{
    mStream->mFrameFunction = [](const FakeVideoSource::Request&, MF::IVideoFrameRef&) { return 0; };
    EXPECT_THROW(Render({}), TVK::NullInterfaceException);
}

TEST_F(RenderableVideoSource, EmptyStreamIsANullInterfaceForEveryOperation)
{
    const ML::IRenderableSourceRef source =
        ML::CreateRenderableSource({}, {}, norviktypes::kAlphaChannel_None, {}, false, false, kRate25,
                                   norviktypes::kFieldType_UpperFirst, {}, {}, {});
    MF::FrameTime time;
    MF::IVideoFrameRef frame;
    FrameRate rate;
    std::vector<ML::IRenderableNodePrefetchRef> items;
    EXPECT_THROW(source->ConformFrameTime(time, mParams, time), TVK::NullInterfaceException);
    EXPECT_THROW(source->CollectPrefetchItems(time, mParams, items), TVK::NullInterfaceException);
    EXPECT_THROW(source->Render(time, mParams, frame), TVK::NullInterfaceException);
    EXPECT_THROW(source->GetFrameRate(rate), TVK::NullInterfaceException);
    EXPECT_THROW(source->GetFieldRate(rate), TVK::NullInterfaceException);
}

TEST_F(RenderableVideoSource, IgnoredAlphaBecomesOpaqueOnACopyOfASharedFrame)
{
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {10, 20, 30, 40});
    const MF::IVideoFrameRef frame = Render({.mIgnoreAlpha = true, .mInvertAlpha = true});
    EXPECT_EQ(PixelOf(frame), (std::array<std::uint8_t, 4>{10, 20, 30, 255}));
    TVK::Rect content;
    EXPECT_FALSE(frame->GetContentRect(content));
    EXPECT_FALSE(frame->IsFrozen());
}

TEST_F(RenderableVideoSource, IgnoredAlphaIsNotReadAsWhatTheCreatorSaysOfIt)
{
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {64, 32, 16, 128});
    const MF::IVideoFrameRef frame =
        Render({.mAlpha = norviktypes::kAlphaChannel_Premultiplied, .mIgnoreAlpha = true});
    EXPECT_EQ(PixelOf(frame), (std::array<std::uint8_t, 4>{64, 32, 16, 255}));
    EXPECT_NE(frame->GetAlphaType(), norviktypes::kAlphaChannel_Premultiplied);
    EXPECT_NE(frame->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
}

TEST_F(RenderableVideoSource, InvertedAlphaClearsTheContentRect)
{
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {10, 20, 30, 40});
    const MF::IVideoFrameRef frame = Render({.mInvertAlpha = true});
    EXPECT_EQ(PixelOf(frame), (std::array<std::uint8_t, 4>{10, 20, 30, 215}));
    TVK::Rect content;
    EXPECT_FALSE(frame->GetContentRect(content));
}

TEST_F(RenderableVideoSource, StraightAlphaIsLeftAsItIs)
{
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {10, 20, 30, 40});
    const MF::IVideoFrameRef frame = Render({});
    EXPECT_EQ(PixelOf(frame), (std::array<std::uint8_t, 4>{10, 20, 30, 40}));
    EXPECT_TRUE(frame->IsFrozen()) << "nothing had to be written, so nothing was copied";
}

TEST_F(RenderableVideoSource, PremultipliedAlphaOverBlackIsMadeStraight)
{
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {64, 32, 16, 128});
    const MF::IVideoFrameRef frame = Render({.mAlpha = norviktypes::kAlphaChannel_Premultiplied});
    const auto pixel = PixelOf(frame);
    EXPECT_NEAR(pixel[0], 64 * 255 / 128.0, 1);
    EXPECT_NEAR(pixel[1], 32 * 255 / 128.0, 1);
    EXPECT_NEAR(pixel[2], 16 * 255 / 128.0, 1);
    EXPECT_EQ(pixel[3], 128);
    EXPECT_EQ(frame->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
}

TEST_F(RenderableVideoSource, PremultipliedAlphaOverAMatteColourIsTakenOutOfIt)
{
    // Half of pure blue over a matte of red 200, green 100: the matte's bytes must not be exchanged.
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {128, 50, 100, 128});
    const MF::IVideoFrameRef frame =
        Render({.mAlpha = norviktypes::kAlphaChannel_Premultiplied,
                .mMatte = TVK::ParamColor<unsigned long>::FromComponents(200, 100, 0, 255)});
    const auto pixel = PixelOf(frame);
    EXPECT_NEAR(pixel[0], 255, 1);
    EXPECT_NEAR(pixel[1], 0, 1);
    EXPECT_NEAR(pixel[2], 0, 1);
    EXPECT_EQ(pixel[3], 128);
}

TEST_F(RenderableVideoSource, FormatThatIsPremultipliedAlreadyIsMarkedStraightAllTheSame)
{
    GiveFrames(MF::kPixelFormat_BGRP_4444_8u, {64, 32, 16, 128});
    const MF::IVideoFrameRef frame = Render({.mAlpha = norviktypes::kAlphaChannel_Premultiplied});
    EXPECT_EQ(PixelOf(frame), (std::array<std::uint8_t, 4>{64, 32, 16, 128}));
    EXPECT_EQ(frame->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
}

TEST_F(RenderableVideoSource, PremultipliedYUVIsOnlyMarked)
{
    GiveFrames(MF::kPixelFormat_VUYA_4444_8u, {128, 128, 60, 128});
    const MF::IVideoFrameRef frame = Render({.mAlpha = norviktypes::kAlphaChannel_Premultiplied});
    EXPECT_EQ(PixelOf(frame), (std::array<std::uint8_t, 4>{128, 128, 60, 128}));
    EXPECT_EQ(frame->GetAlphaType(), norviktypes::kAlphaChannel_Premultiplied);
}

TEST_F(RenderableVideoSource, PremultipliedFrameWhoseRowsCannotBeReachedIsOnlyMarked)
{
    mParams.mWidth = mParams.mHeight = 2;
    MF::IVideoFrameRef inner;
    mStream->mFrameFunction = [&](const FakeVideoSource::Request&, MF::IVideoFrameRef& outFrame)
    {
        VF::CreateVideoFrame(inner, MF::kPixelFormat_BGRA_4444_8u, 2, 2, {}, true, false);
        const TestSupport::FakeVideoFrameRef fake(new TestSupport::FakeVideoFrame(inner));
        fake->mHasRaster = false;
        outFrame = MF::IVideoFrameRef(fake.get());
        return 0;
    };
    const MF::IVideoFrameRef frame = Render({.mAlpha = norviktypes::kAlphaChannel_Premultiplied});
    EXPECT_EQ(frame->GetAlphaType(), norviktypes::kAlphaChannel_Premultiplied);
}

TEST_F(RenderableVideoSource, OpaqueFramesAreNotTouched)
{
    GiveFrames(MF::kPixelFormat_BGRX_4444_8u, {10, 20, 30, 255});
    const MF::IVideoFrameRef frame =
        Render({.mAlpha = norviktypes::kAlphaChannel_Premultiplied, .mIgnoreAlpha = true});
    EXPECT_TRUE(frame->IsFrozen());
    EXPECT_EQ(frame->GetAlphaType(), norviktypes::kAlphaChannel_Opaque);
}

TEST_F(RenderableVideoSource, PixelAspectRatioIsStampedOnACopyOfASharedFrame)
{
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {1, 2, 3, 4});
    const MF::IVideoFrameRef frame = Render({.mRatio = {12, 11}});
    norviktypes::PixelAspectRatio ratio;
    frame->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, norviktypes::PixelAspectRatio(12, 11));
    EXPECT_FALSE(frame->IsFrozen());
}

TEST_F(RenderableVideoSource, PixelAspectRatioFollowsANonUniformDownsample)
{
    GiveFrames(MF::kPixelFormat_BGRA_4444_8u, {1, 2, 3, 4});
    mParams.mWidth = 4; // asked 4 by 2, given 2 by 2: each pixel is twice as wide
    norviktypes::PixelAspectRatio ratio;
    Render({.mRatio = {12, 11}})->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, norviktypes::PixelAspectRatio(24, 11));
}

TEST_F(RenderableVideoSource, ServesManyThreadsAtOnce)
{
    const ML::IRenderableSourceRef source = Make();
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int n = 0; n < 8; ++n)
    {
        threads.emplace_back(
            [&, n]
            {
                for (int i = 0; i < 200; ++i)
                {
                    MF::FrameTime time;
                    source->ConformFrameTime(MF::FrameTime(Frames(n * 1000 + i + 0.5)), mParams, time);
                    MF::IVideoFrameRef frame;
                    source->Render(time, mParams, frame);
                    std::int32_t number = 0;
                    std::memcpy(&number, VF::IVideoFramePixelsRef(frame)->GetPixels(), sizeof(number));
                    wrong += number != n * 1000 + i;
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
