#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/Synthetic/SyntheticMedia.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "Tests/ReferenceHost/Media/CounterReader.h"
#include "Tests/Support/PixelMatchers.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::TickTime;

namespace
{

BE::IMediaInfoRef Open(const std::string& inText)
{
    SyntheticSettings settings;
    std::string error;
    EXPECT_TRUE(ParseSyntheticText(inText, settings, error)) << error;
    return CreateSyntheticMedia(settings);
}

BE::IVideoSourceRef Source(const std::string& inText)
{
    return BE::IVideoSourceRef(Open(inText)->CreateSourceForStream(MF::kMediaType_Video, 0));
}

BE::FrameDescription Asked(const norviktypes::PixelFormat& inFormat, std::int32_t inWidth = 0,
                           std::int32_t inHeight = 0)
{
    BE::FrameDescription description;
    description.mPixelFormat = inFormat;
    description.mBounds = {0, 0, inWidth, inHeight};
    return description;
}

std::int32_t Get(const BE::IVideoSourceRef& inSource, const TickTime& inTime,
                 const BE::FrameDescription& inFormat, MF::IVideoFrameRef& outFrame, bool inAtOnce = false)
{
    return inSource->GetRenderedFrame(inTime, inFormat, MF::BinaryData(), norviktypes::ColorProfile(),
                                      inAtOnce, outFrame);
}

MF::IVideoFrameRef Frame(const BE::IVideoSourceRef& inSource, const TickTime& inTime,
                         const BE::FrameDescription& inFormat)
{
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(inSource, inTime, inFormat, frame), BE::kSourceStatus_OK);
    return frame;
}

TVK::Guid Key(const BE::IVideoSourceRef& inSource, const TickTime& inTime,
              const BE::FrameDescription& inFormat, const MF::BinaryData& inSettings = MF::BinaryData())
{
    return inSource->GetFrameKey(inTime, inFormat, inSettings, norviktypes::ColorProfile());
}

testing::AssertionResult Shows(const MF::IVideoFrameRef& inFrame, std::uint32_t inNumber,
                               CounterMoment inMoment = CounterMoment::kWholeFrame,
                               CounterLines inLines = CounterLines::kAll)
{
    CounterReading reading;
    if (!ReadCounter(inFrame, reading, inLines))
    {
        return testing::AssertionFailure() << "no counter can be read";
    }
    if (reading != CounterReading{inNumber, inMoment})
    {
        return testing::AssertionFailure() << "frame " << reading.mFrame << ", moment "
                                           << static_cast<int>(reading.mMoment) << ", not " << inNumber;
    }
    return testing::AssertionSuccess();
}

} // namespace

TEST(CounterMedia, EachFrameOfEachRateShowsItsNumber)
{
    for (const char* rate : {"24000/1001", "24", "25", "30000/1001", "50", "60000/1001", "120", "1", "1/2"})
    {
        const BE::IVideoSourceRef source =
            Source("counter:size=160x96:duration=100:rate=" + std::string(rate));
        norviktypes::FrameRate frameRate;
        source->GetFrameRate(frameRate);
        for (const std::int64_t n : {0, 1, 2, 49, 98, 99})
        {
            const TickTime start = TickTime::FromFrame(n, frameRate);
            const TickTime last = start + TickTime(frameRate.GetTicks() - 1);
            EXPECT_TRUE(Shows(Frame(source, start, Asked(norviktypes::kPixelFormat_Any)),
                              static_cast<std::uint32_t>(n)))
                << rate;
            EXPECT_TRUE(Shows(Frame(source, last, Asked(norviktypes::kPixelFormat_Any)),
                              static_cast<std::uint32_t>(n)))
                << rate;
        }
    }
}

TEST(CounterMedia, IsReadableInEveryFormatAtFullAndAtHalfSize)
{
    const BE::IVideoSourceRef source = Source("counter:size=320x180");
    const TickTime time = TickTime::FromSeconds(51.44);
    for (const norviktypes::PixelFormatRow& row : norviktypes::kPixelFormatTable)
    {
        for (const std::int32_t divisor : {1, 2})
        {
            const MF::IVideoFrameRef frame =
                Frame(source, time, Asked(row.mFormat, 320 / divisor, 180 / divisor));
            ASSERT_TRUE(frame) << row.mText;
            norviktypes::PixelFormat format;
            TVK::Rect bounds;
            frame->GetPixelFormat(format);
            frame->GetBounds(bounds);
            EXPECT_EQ(format, row.mFormat);
            EXPECT_EQ(bounds, (TVK::Rect{0, 0, 320 / divisor, 180 / divisor}));
            EXPECT_TRUE(Shows(frame, 1286)) << row.mText << " 1/" << divisor;
        }
    }
}

TEST(CounterMedia, FieldsShowTheirOwnMomentsOnTheirOwnLines)
{
    for (const char* order : {"upper", "lower"})
    {
        const BE::IVideoSourceRef source =
            Source("counter:size=320x192:rate=25:duration=50:fields=" + std::string(order));
        const auto expected = std::string(order) == "upper" ? norviktypes::kFieldType_UpperFirst
                                                            : norviktypes::kFieldType_LowerFirst;
        EXPECT_EQ(source->GetFieldType(), expected);
        EXPECT_EQ(source->GetFieldTypeForTime(TickTime()), expected);
        for (const std::uint32_t n : {0u, 1u, 49u})
        {
            const TickTime time = TickTime::FromFrame(n, norviktypes::FrameRate::FromRational(25, 1));
            const MF::IVideoFrameRef frame =
                Frame(source, time, Asked(norviktypes::kPixelFormat_BGRA_4444_8u));
            EXPECT_EQ(frame->GetFieldType(), expected);
            EXPECT_TRUE(Shows(frame, n, CounterMoment::kUpperField, CounterLines::kUpper));
            EXPECT_TRUE(Shows(frame, n, CounterMoment::kLowerField, CounterLines::kLower));
            EXPECT_FALSE(Shows(frame, n, CounterMoment::kUpperField, CounterLines::kAll));
        }
    }
}

TEST(CounterMedia, LinesOfTwoFieldsAreNotMixedWhenTheyAreScaledOrSubsampled)
{
    const BE::IVideoSourceRef source = Source("counter:size=640x480:rate=30000/1001:fields=lower");
    const TickTime time = TickTime::FromSeconds(100.0);
    for (const norviktypes::PixelFormat& format :
         {norviktypes::kPixelFormat_BGRA_4444_8u, norviktypes::kPixelFormat_YUV_420_MPEG2_Field_8u_601,
          norviktypes::kPixelFormat_UYVY_422_8u_601})
    {
        for (const BE::FrameDescription& asked : {Asked(format, 640, 480), Asked(format, 320, 240)})
        {
            const MF::IVideoFrameRef frame = Frame(source, time, asked);
            EXPECT_TRUE(Shows(frame, 2997, CounterMoment::kUpperField, CounterLines::kUpper));
            EXPECT_TRUE(Shows(frame, 2997, CounterMoment::kLowerField, CounterLines::kLower));
        }
    }
}

TEST(CounterMedia, TextTellsNumberAndTimeAndField)
{
    // The upper lines of the part below the code: where the moving line is in the same place only the text
    // can differ.
    const auto text = [](const std::string& inSettings, double inSeconds)
    {
        const std::vector<std::uint8_t> bytes =
            PixelBytes(Frame(Source("counter:size=320x180:" + inSettings), TickTime::FromSeconds(inSeconds),
                             Asked(norviktypes::kPixelFormat_BGRA_4444_8u)));
        std::vector<std::uint8_t> lines;
        for (std::ptrdiff_t y = 40; y < 180; y += 2)
        {
            lines.insert(lines.end(), bytes.begin() + y * 320 * 4, bytes.begin() + (y + 1) * 320 * 4);
        }
        return lines;
    };
    EXPECT_EQ(text("rate=25", 1.0), text("rate=25", 1.0));
    EXPECT_NE(text("rate=25", 1.0), text("rate=25", 3.0));
    EXPECT_NE(text("rate=25", 1.0), text("rate=50", 1.0));              // frames 25 and 50 of one moment
    EXPECT_NE(text("rate=25", 2.0), text("rate=25/2", 4.0));            // two moments, both of a frame 50
    EXPECT_NE(text("rate=25:fields=upper", 1.0), text("rate=25", 1.0)); // a field and a frame of one moment
}

TEST(SyntheticMedia, EndsWhereItsDurationSaysAndNotBefore)
{
    const BE::IMediaInfoRef media = Open("counter:size=160x96:rate=25:duration=10s");
    const MF::ISourceRef stream = media->GetStream(MF::kMediaType_Video, 0);
    TickTime duration;
    std::uint32_t kind = 99;
    stream->GetDuration(duration);
    stream->GetStillKind(kind);
    EXPECT_EQ(duration, TickTime::FromSeconds(10.0));
    EXPECT_EQ(kind, MF::kSourceKind_Normal);

    const BE::IVideoSourceRef source(stream);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(source, duration - TickTime(1), Asked(norviktypes::kPixelFormat_Any), frame),
              BE::kSourceStatus_OK);
    EXPECT_TRUE(Shows(frame, 249));
    EXPECT_EQ(Get(source, duration, Asked(norviktypes::kPixelFormat_Any), frame), BE::kSourceStatus_PastEnd);
    EXPECT_FALSE(frame);
    EXPECT_EQ(Get(source, norviktypes::kTime_Max, Asked(norviktypes::kPixelFormat_Any), frame),
              BE::kSourceStatus_PastEnd);
    EXPECT_EQ(Get(source, TickTime(-1), Asked(norviktypes::kPixelFormat_Any), frame), BE::kSourceStatus_OK);
    EXPECT_TRUE(Shows(frame, 0));
    EXPECT_EQ(Get(source, norviktypes::kTime_Min, Asked(norviktypes::kPixelFormat_Any), frame),
              BE::kSourceStatus_OK);
    EXPECT_TRUE(Shows(frame, 0));
}

TEST(SyntheticMedia, WithoutADurationItHasNoEnd)
{
    const BE::IMediaInfoRef media = Open("counter:size=160x96");
    const MF::ISourceRef stream = media->GetStream(MF::kMediaType_Video, 0);
    TickTime duration;
    std::uint32_t kind = 99;
    stream->GetDuration(duration);
    stream->GetStillKind(kind);
    EXPECT_EQ(duration, norviktypes::kTime_Max);
    EXPECT_EQ(kind, MF::kSourceKind_Unbounded);
    EXPECT_TRUE(Shows(Frame(BE::IVideoSourceRef(stream), TickTime::FromSeconds(86400.0 * 30),
                            Asked(norviktypes::kPixelFormat_Any)),
                      86400u * 30 * 25));
}

TEST(SyntheticMedia, ColourFillsThePictureInTheAskedFormat)
{
    const BE::IVideoSourceRef source = Source("color:#204060:size=33x17");
    EXPECT_EQ(source->GetAlphaType(), norviktypes::kAlphaChannel_None);
    EXPECT_TRUE(IsFilledWith(Frame(source, TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_8u)),
                             {0x60, 0x40, 0x20, 255}));
    // Rec. 709, narrow range: Y = 16 + 219 (0.2126 R + 0.7152 G + 0.0722 B), and V, U about 128.
    EXPECT_TRUE(IsFilledWith(Frame(source, TickTime(), Asked(norviktypes::kPixelFormat_VUYX_4444_8u_709)),
                             {113, 145, 67, 255}));
}

TEST(SyntheticMedia, TranslucentColourKeepsItsAlpha)
{
    const BE::IVideoSourceRef source = Source("color:#ff800080:size=16x16");
    EXPECT_EQ(source->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
    std::vector<norviktypes::PixelFormat> formats;
    source->GetNativePixelFormat(formats);
    EXPECT_EQ(formats.front(), norviktypes::kPixelFormat_BGRA_4444_8u);
    const MF::IVideoFrameRef straight = Frame(source, TickTime(), Asked(norviktypes::kPixelFormat_Any));
    EXPECT_TRUE(IsFilledWith(straight, {0, 128, 255, 128}));
    EXPECT_EQ(straight->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
    EXPECT_TRUE(straight->MayHaveTransparency());
    const MF::IVideoFrameRef premultiplied =
        Frame(source, TickTime(), Asked(norviktypes::kPixelFormat_BGRP_4444_8u));
    EXPECT_TRUE(IsFilledWith(premultiplied, {0, 64, 128, 128}));
    EXPECT_EQ(premultiplied->GetAlphaType(), norviktypes::kAlphaChannel_Premultiplied);
}

TEST(SyntheticMedia, OpaqueMediaMakesFramesThatNobodySearchesForTransparency)
{
    const MF::IVideoFrameRef frame =
        Frame(Source("bars:size=64x48"), TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_8u));
    EXPECT_FALSE(frame->MayHaveTransparency());
}

TEST(SyntheticMedia, BarsAreSevenColoursFromLightToDark)
{
    const MF::IVideoFrameRef frame =
        Frame(Source("bars:size=70x60"), TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_8u));
    const std::vector<std::uint8_t> bytes = PixelBytes(frame);
    const auto pixel = [&](std::size_t inX, std::size_t inY)
    {
        const std::size_t at = (inY * 70 + inX) * 4;
        return std::vector<int>{bytes[at + 2], bytes[at + 1], bytes[at]};
    };
    const std::vector<std::vector<int>> expected = {
        {191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0}, {191, 0, 191}, {191, 0, 0}, {0, 0, 191}};
    for (std::size_t bar = 0; bar < 7; ++bar)
    {
        EXPECT_EQ(pixel(bar * 10, 0), expected[bar]) << bar;
        EXPECT_EQ(pixel(bar * 10 + 9, 39), expected[bar]) << bar;
    }
    EXPECT_EQ(pixel(0, 42), expected[6]); // the reversed strip begins with blue
    EXPECT_EQ(pixel(15, 55), (std::vector<int>{255, 255, 255}));
    EXPECT_EQ(pixel(69, 59), (std::vector<int>{0, 0, 0}));
}

TEST(SyntheticMedia, ConstantPictureIsOneFrameForAllTimes)
{
    VF::SharedVideoFrameCache::Clear();
    const BE::IVideoSourceRef source = Source("bars:size=64x48:rate=25");
    const BE::FrameDescription asked = Asked(norviktypes::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(Key(source, TickTime(), asked), Key(source, TickTime::FromSeconds(9.0), asked));
    EXPECT_TRUE(Frame(source, TickTime(), asked) == Frame(source, TickTime::FromSeconds(9.0), asked));
}

TEST(SyntheticMedia, RequestAtOnceIsAnswered)
{
    VF::SharedVideoFrameCache::Clear();
    MF::IVideoFrameRef frame;
    EXPECT_EQ(
        Get(Source("counter:size=160x96"), TickTime(), Asked(norviktypes::kPixelFormat_Any), frame, true),
        BE::kSourceStatus_OK);
    EXPECT_TRUE(Shows(frame, 0));
}

TEST(SyntheticMedia, KeysAreEqualExactlyWhereFramesAre)
{
    const BE::IVideoSourceRef source = Source("counter:size=160x96:rate=25");
    const TickTime frameLength(norviktypes::FrameRate::FromRational(25, 1).GetTicks());
    const BE::FrameDescription asked = Asked(norviktypes::kPixelFormat_BGRA_4444_8u);
    const TVK::Guid base = Key(source, TickTime(), asked);
    EXPECT_NE(base, TVK::Guid());

    EXPECT_EQ(Key(source, frameLength - TickTime(1), asked), base);
    EXPECT_EQ(Key(source, TickTime(-5), asked), base);
    EXPECT_EQ(Key(Source("counter:rate=25/1:size=160x96"), TickTime(), asked), base);
    EXPECT_EQ(Key(source, TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 160, 96)), base);
    EXPECT_EQ(Key(source, TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 999, 999)), base);
    BE::FrameDescription draft = asked;
    draft.mQuality = norviktypes::kRenderQuality_Draft;
    EXPECT_EQ(Key(source, TickTime(), draft), base);

    std::vector<TVK::Guid> others = {
        Key(source, frameLength, asked),
        Key(source, TickTime(), Asked(norviktypes::kPixelFormat_BGRP_4444_8u)),
        Key(source, TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 80, 96)),
        Key(source, TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 160, 48)),
        Key(source, TickTime(), asked, MF::BinaryData("x", 1)),
        Key(Source("counter:size=160x96:rate=50"), TickTime(), asked),
        Key(Source("counter:size=160x96:rate=25:fields=upper"), TickTime(), asked),
        Key(Source("bars:size=160x96:rate=25"), TickTime(), asked),
    };
    BE::FrameDescription scaled = Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 80, 48);
    others.push_back(Key(source, TickTime(), scaled));
    scaled.mQuality = norviktypes::kRenderQuality_Draft;
    others.push_back(Key(source, TickTime(), scaled));
    std::set<std::string> distinct;
    for (const TVK::Guid& key : others)
    {
        EXPECT_NE(key, TVK::Guid());
        EXPECT_NE(key, base);
        const norvik::UTF8String text = key.AsUTF8String();
        distinct.emplace(text.begin(), text.end());
    }
    EXPECT_EQ(distinct.size(), others.size());
}

TEST(SyntheticMedia, KeyWithOptionsIsThePlainOneUntilAnOptionIsSet)
{
    const BE::IVideoSourceRef source = Source("counter:size=160x96");
    const BE::FrameDescription asked = Asked(norviktypes::kPixelFormat_BGRA_4444_8u);
    const auto key = [&](bool inA, bool inB, bool inC)
    {
        return source->GetFrameKeyWithOptions(TickTime(), asked, MF::BinaryData(), TickTime(), TickTime(),
                                              norviktypes::kRenderQuality_High,
                                              norviktypes::kFieldType_Progressive, inA, inB, inC, 1.0);
    };
    EXPECT_EQ(key(false, false, false), Key(source, TickTime(), asked));
    EXPECT_NE(key(true, false, false), key(false, false, false));
    EXPECT_NE(key(false, true, false), key(false, false, false));
    EXPECT_NE(key(true, false, false), key(false, true, false));
    EXPECT_NE(key(false, false, true), key(false, false, false));
}

TEST(SyntheticMedia, RequestIsConformedToWhatIsDelivered)
{
    const BE::IVideoSourceRef source = Source("counter:size=720x576:rate=25:fields=upper:par=64/45");
    const auto conformed = [&](BE::FrameDescription inAsked)
    {
        TickTime time = TickTime::FromSeconds(1.23);
        source->NormalizeFormat(time, inAsked, MF::BinaryData());
        EXPECT_EQ(time, TickTime::FromSeconds(1.23));
        return inAsked;
    };
    const BE::FrameDescription any = conformed(Asked(norviktypes::kPixelFormat_Any));
    EXPECT_EQ(any.mPixelFormat, norviktypes::kPixelFormat_BGRX_4444_8u);
    EXPECT_EQ(any.mBounds, (TVK::Rect{0, 0, 720, 576}));
    EXPECT_EQ(any.mPixelAspectRatio, norviktypes::PixelAspectRatio(64, 45));
    EXPECT_EQ(any.mFieldType, norviktypes::kFieldType_UpperFirst);
    EXPECT_EQ(conformed(Asked(norviktypes::kPixelFormat_Invalid)).mPixelFormat,
              norviktypes::kPixelFormat_BGRX_4444_8u);

    const BE::FrameDescription half = conformed(Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 360, 288));
    EXPECT_EQ(half.mBounds, (TVK::Rect{0, 0, 360, 288}));
    EXPECT_EQ(half.mPixelAspectRatio, norviktypes::PixelAspectRatio(64, 45));
    const BE::FrameDescription narrow = conformed(Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 360, 576));
    EXPECT_EQ(narrow.mPixelAspectRatio.AsDouble(), 128.0 / 45.0);
    EXPECT_EQ(conformed(Asked(norviktypes::kPixelFormat_BGRA_4444_8u, 5000, 5000)).mBounds,
              (TVK::Rect{0, 0, 720, 576}));
}

TEST(SyntheticMedia, GivenFrameIsFilledWhateverItsSizeAndFormat)
{
    const BE::IVideoSourceRef source = Source("counter:size=320x180:rate=25");
    MF::IVideoFrameRef frame;
    ASSERT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_VUYA_4444_32f, 640, 360,
                                   norviktypes::kPixelAspectRatio_Square, true, true),
              0);
    EXPECT_EQ(source->GetVideoFrame(TickTime::FromSeconds(2.0), MF::BinaryData(), TickTime(), TickTime(),
                                    frame, norviktypes::kRenderQuality_High,
                                    norviktypes::kFieldType_Progressive, true, false, false, false, 1.0),
              BE::kSourceStatus_OK);
    EXPECT_TRUE(Shows(frame, 50));
}

TEST(SyntheticMedia, OptionsOfAGivenFrameIgnoreOrInvertItsAlpha)
{
    const BE::IVideoSourceRef source = Source("color:#10203040:size=8x8");
    const auto filled = [&](bool inIgnore, bool inInvert)
    {
        MF::IVideoFrameRef frame;
        EXPECT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 8, 8,
                                       norviktypes::kPixelAspectRatio_Square, true, true),
                  0);
        EXPECT_EQ(source->GetVideoFrame(TickTime(), MF::BinaryData(), TickTime(), TickTime(), frame,
                                        norviktypes::kRenderQuality_High, norviktypes::kFieldType_Progressive,
                                        true, inIgnore, inInvert, false, 1.0),
                  BE::kSourceStatus_OK);
        return frame;
    };
    EXPECT_TRUE(IsFilledWith(filled(false, false), {0x30, 0x20, 0x10, 0x40}));
    EXPECT_TRUE(IsFilledWith(filled(true, false), {0x30, 0x20, 0x10, 255}));
    EXPECT_TRUE(IsFilledWith(filled(false, true), {0x30, 0x20, 0x10, 255 - 0x40}));
    EXPECT_TRUE(IsFilledWith(filled(true, true), {0x30, 0x20, 0x10, 255}));
}

TEST(SyntheticMedia, TellsAboutItself)
{
    const BE::IMediaInfoRef media =
        Open("counter:size=720x576:rate=30000/1001:duration=300:fields=lower:par=64/45");
    EXPECT_EQ(media->GetAvailability(), BE::MediaAvailability::kOnline);
    EXPECT_FALSE(media->IsFileSource());
    EXPECT_FALSE(media->IsStill());
    EXPECT_TRUE(media->HasMediaType(MF::kMediaType_Video));
    EXPECT_FALSE(media->HasMediaType(MF::kMediaType_Audio));
    EXPECT_FALSE(media->GetStream(MF::kMediaType_Audio, 0));
    EXPECT_FALSE(media->GetStream(MF::kMediaType_Video, 1));
    EXPECT_TRUE(media->GetStream(MF::kMediaType_Video, 0) == media->GetStream(MF::kMediaType_Video, 0));
    EXPECT_FALSE(media->GetStream(MF::kMediaType_Video, 0) ==
                 media->CreateSourceForStream(MF::kMediaType_Video, 0));
    EXPECT_FALSE(media->Clone() == media);
    EXPECT_EQ(media->Clone()->GetContentHash(), media->GetContentHash());

    const MediaFacts& facts = IMediaFactsRef(media)->GetFacts();
    EXPECT_EQ(facts.mFrameRate, (Ratio{30000, 1001}));
    EXPECT_EQ(facts.mFrameCount, 300);
    EXPECT_EQ(facts.mWidth, 720);
    EXPECT_EQ(facts.mFieldType, norviktypes::kFieldType_LowerFirst);
    EXPECT_TRUE(facts.mHasFrameGrid);
    const BE::IVideoSourceRef source(media->GetStream(MF::kMediaType_Video, 0));
    EXPECT_FALSE(BE::IVideoStreamInfoRef(source)->HasNoFrameGrid());
    EXPECT_FALSE(source->IsImageSource());
    EXPECT_EQ(source->GetStreamCount(), 1u);
    std::shared_ptr<void> token = std::make_shared<int>(1);
    bool mustUnquiet = true;
    source->AcquireQuietToken(token, false, false, mustUnquiet);
    EXPECT_FALSE(token);
    EXPECT_FALSE(mustUnquiet);
}

TEST(Synthetic, FramesBeyondTheLimitAreRefusedInTheWordsOfStreams)
{
    // Floats of this picture take 549 MiB.
    MF::IVideoFrameRef frame;
    EXPECT_EQ(
        Get(Source("bars:size=6000x6000"), TickTime(), Asked(norviktypes::kPixelFormat_BGRA_4444_32f), frame),
        BE::kSourceStatus_BadMedia);
    EXPECT_FALSE(frame);
}

TEST(Synthetic, FramesAreCountedHoweverAlikeTheyLook)
{
    for (const char* text :
         {"bars:rate=25:duration=100", "color:red:rate=25:duration=100", "counter:rate=25:duration=100"})
    {
        const IFrameNumbersRef numbers(Source(text));
        ASSERT_TRUE(numbers) << text;
        EXPECT_EQ(numbers->GetFrameNumber(TickTime(-1)), 0) << text;
        EXPECT_EQ(numbers->GetFrameNumber(TickTime::FromSeconds(2.0)), 50) << text;
        EXPECT_EQ(numbers->GetFrameNumber(TickTime::FromSeconds(2.0) - TickTime(1)), 49) << text;
        EXPECT_EQ(numbers->GetFrameNumber(TickTime::FromSeconds(4.0)), -1) << text;
    }
}
