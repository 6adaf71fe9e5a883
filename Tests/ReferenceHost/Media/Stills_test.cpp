#include "BE/IMediaInfo.h"
#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/Media.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::PixelFormat;
using norviktypes::TickTime;

namespace
{

constexpr int kWidth = 37;
constexpr int kHeight = 23;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

using Bytes = std::vector<std::uint8_t>;

Bytes RandomBytes(std::size_t inCount)
{
    std::mt19937_64 random(Seed());
    Bytes bytes(inCount);
    for (std::uint8_t& byte : bytes)
    {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

// Words of inBits significant low bits, little-endian.
Bytes RandomWords(std::size_t inCount, int inBits)
{
    Bytes bytes = RandomBytes(inCount * 2);
    for (std::size_t i = 0; i < inCount; ++i)
    {
        bytes[2 * i + 1] = static_cast<std::uint8_t>(bytes[2 * i + 1] & ((1 << (inBits - 8)) - 1));
    }
    return bytes;
}

// Floats with many mantissa bits, some of them outside 0 .. 1; multiples of 1/1024 stay exact in half
// precision.
Bytes RandomFloats(std::size_t inCount, bool inFitHalf)
{
    std::mt19937_64 random(Seed());
    Bytes bytes(inCount * 4);
    for (std::size_t i = 0; i < inCount; ++i)
    {
        const float value = inFitHalf ? static_cast<float>(random() % 2048) / 1024.0f
                                      : std::uniform_real_distribution<float>(-1.0f, 30.0f)(random);
        std::memcpy(bytes.data() + 4 * i, &value, 4);
    }
    return bytes;
}

std::uint16_t Word(const Bytes& inBytes, std::size_t inIndex)
{
    return static_cast<std::uint16_t>(inBytes[2 * inIndex] | inBytes[2 * inIndex + 1] << 8);
}

BE::IMediaInfoRef OpenOrFail(const std::string& inPath)
{
    OpenError error;
    const BE::IMediaInfoRef media = OpenMedia(inPath, OpenOptions(), error);
    EXPECT_TRUE(media) << error.mText;
    return media;
}

BE::IVideoSourceRef SourceOf(const BE::IMediaInfoRef& inMedia)
{
    return BE::IVideoSourceRef(inMedia->CreateSourceForStream(MF::kMediaType_Video, 0));
}

std::int32_t Get(const BE::IVideoSourceRef& inSource, const PixelFormat& inFormat,
                 MF::IVideoFrameRef& outFrame, bool inAtOnce = false, const TickTime& inTime = TickTime(),
                 TVK::Rect inBounds = TVK::Rect())
{
    BE::FrameDescription description;
    description.mPixelFormat = inFormat;
    description.mBounds = inBounds;
    return inSource->GetRenderedFrame(inTime, description, MF::BinaryData(), norviktypes::ColorProfile(),
                                      inAtOnce, outFrame);
}

MF::IVideoFrameRef NativeFrame(const std::string& inPath)
{
    MF::IVideoFrameRef frame;
    const BE::IMediaInfoRef media = OpenOrFail(inPath);
    EXPECT_EQ(Get(SourceOf(media), norviktypes::kPixelFormat_Any, frame), 0);
    return frame;
}

PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
}

// A picture of 16-bit (or 8-bit, or float) B, G, R, A from the samples R, G, B, A of pixel n.
template <class Sample, class Pick>
Bytes ExpectedBGRA(Pick inPick)
{
    Bytes bytes(kPixels * 4 * sizeof(Sample));
    for (std::size_t n = 0; n < kPixels; ++n)
    {
        const std::array<Sample, 4> rgba = inPick(n);
        const Sample bgra[4] = {rgba[2], rgba[1], rgba[0], rgba[3]};
        std::memcpy(bytes.data() + n * sizeof(bgra), bgra, sizeof(bgra));
    }
    return bytes;
}

struct StillCase
{
    std::string mFile;
    std::string mCodedFormat;
    Bytes mSamples;
    std::vector<std::string> mEncoder;
    PixelFormat mNative;
    Bytes mExpected;
    std::string mAlpha = "none";
    int mDepth = 8;
};

void ExpectLossless(const StillCase& inCase)
{
    SCOPED_TRACE(inCase.mFile + " " + inCase.mCodedFormat);
    const ScratchFolder scratch;
    const std::string path = scratch.File(inCase.mFile);
    EncodeStill(inCase.mSamples, inCase.mCodedFormat, kWidth, kHeight, inCase.mEncoder, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    ASSERT_TRUE(media);
    const MediaFacts& facts = IMediaFactsRef(media)->GetFacts();
    EXPECT_TRUE(facts.mIsStill);
    EXPECT_EQ(facts.mAlpha, inCase.mAlpha);
    EXPECT_EQ(facts.mBitDepth, inCase.mDepth);
    EXPECT_EQ(facts.mWidth, kWidth);
    EXPECT_EQ(facts.mHeight, kHeight);
    EXPECT_EQ(facts.mNativeFormat, norviktypes::PixelFormatText(inCase.mNative));
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Get(SourceOf(media), norviktypes::kPixelFormat_Any, frame), 0);
    EXPECT_STREQ(norviktypes::PixelFormatText(FormatOf(frame)), norviktypes::PixelFormatText(inCase.mNative));
    EXPECT_EQ(PixelBytes(frame), inCase.mExpected);
    EXPECT_EQ(frame->MayHaveTransparency(), inCase.mAlpha != "none");
}

} // namespace

TEST(Stills, EightBitColourComesBackBitForBit)
{
    const Bytes rgb = RandomBytes(kPixels * 3);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n) {
            return std::array<std::uint8_t, 4>{rgb[3 * n], rgb[3 * n + 1], rgb[3 * n + 2], 255};
        });
    for (const char* file : {"a.png", "a.tif", "a.dpx", "a.ppm"})
    {
        ExpectLossless({file, "rgb24", rgb, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected});
    }
    Bytes bgr(rgb.size());
    for (std::size_t n = 0; n < kPixels; ++n)
    {
        bgr[3 * n] = rgb[3 * n + 2];
        bgr[3 * n + 1] = rgb[3 * n + 1];
        bgr[3 * n + 2] = rgb[3 * n];
    }
    ExpectLossless({"a.bmp", "bgr24", bgr, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected});
    ExpectLossless({"a.tga", "bgr24", bgr, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected});
}

TEST(Stills, EightBitAlphaComesBackStraight)
{
    const Bytes rgba = RandomBytes(kPixels * 4);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n) {
            return std::array<std::uint8_t, 4>{rgba[4 * n], rgba[4 * n + 1], rgba[4 * n + 2],
                                               rgba[4 * n + 3]};
        });
    for (const char* file : {"a.png", "a.tif"})
    {
        ExpectLossless(
            {file, "rgba", rgba, {}, norviktypes::kPixelFormat_BGRA_4444_8u, expected, "straight"});
    }
}

TEST(Stills, SixteenBitColourComesBackBitForBit)
{
    const Bytes samples = RandomBytes(kPixels * 6);
    const Bytes expected = ExpectedBGRA<std::uint16_t>(
        [&](std::size_t n)
        {
            return std::array<std::uint16_t, 4>{Word(samples, 3 * n), Word(samples, 3 * n + 1),
                                                Word(samples, 3 * n + 2), 65535};
        });
    Bytes bigEndian = samples;
    for (std::size_t i = 0; i < bigEndian.size(); i += 2)
    {
        std::swap(bigEndian[i], bigEndian[i + 1]);
    }
    ExpectLossless(
        {"a.png", "rgb48be", bigEndian, {}, norviktypes::kPixelFormat_BGRX_4444_16u, expected, "none", 16});
    ExpectLossless(
        {"a.tif", "rgb48le", samples, {}, norviktypes::kPixelFormat_BGRX_4444_16u, expected, "none", 16});
    ExpectLossless(
        {"a.dpx", "rgb48le", samples, {}, norviktypes::kPixelFormat_BGRX_4444_16u, expected, "none", 16});
}

TEST(Stills, SixteenBitAlphaComesBackStraight)
{
    const Bytes samples = RandomBytes(kPixels * 8);
    const Bytes expected = ExpectedBGRA<std::uint16_t>(
        [&](std::size_t n)
        {
            return std::array<std::uint16_t, 4>{Word(samples, 4 * n), Word(samples, 4 * n + 1),
                                                Word(samples, 4 * n + 2), Word(samples, 4 * n + 3)};
        });
    Bytes bigEndian = samples;
    for (std::size_t i = 0; i < bigEndian.size(); i += 2)
    {
        std::swap(bigEndian[i], bigEndian[i + 1]);
    }
    const PixelFormat native = norviktypes::kPixelFormat_BGRA_4444_16u;
    ExpectLossless({"a.png", "rgba64be", bigEndian, {}, native, expected, "straight", 16});
    ExpectLossless({"a.tif", "rgba64le", samples, {}, native, expected, "straight", 16});
}

TEST(Stills, GreyBecomesOpaqueGreyOfItsDepth)
{
    const Bytes grey = RandomBytes(kPixels);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n) {
            return std::array<std::uint8_t, 4>{grey[n], grey[n], grey[n], 255};
        });
    for (const char* file : {"a.png", "a.tif", "a.dpx"})
    {
        ExpectLossless({file, "gray", grey, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected});
    }
    const Bytes words = RandomBytes(kPixels * 2);
    const Bytes expectedWords = ExpectedBGRA<std::uint16_t>(
        [&](std::size_t n) {
            return std::array<std::uint16_t, 4>{Word(words, n), Word(words, n), Word(words, n), 65535};
        });
    ExpectLossless(
        {"a.tif", "gray16le", words, {}, norviktypes::kPixelFormat_BGRX_4444_16u, expectedWords, "none", 16});
}

TEST(Stills, GreyWithAlphaKeepsBoth)
{
    const Bytes samples = RandomBytes(kPixels * 2);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n) {
            return std::array<std::uint8_t, 4>{samples[2 * n], samples[2 * n], samples[2 * n],
                                               samples[2 * n + 1]};
        });
    ExpectLossless(
        {"a.png", "ya8", samples, {}, norviktypes::kPixelFormat_BGRA_4444_8u, expected, "straight"});
}

TEST(Stills, OneBitPicturesAreBlackAndWhite)
{
    constexpr std::size_t kRowBytes = (kWidth + 7) / 8;
    const Bytes bits = RandomBytes(kRowBytes * kHeight);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n)
        {
            const std::size_t x = n % kWidth;
            const std::uint8_t value =
                (bits[n / kWidth * kRowBytes + x / 8] >> (7 - x % 8) & 1) != 0 ? 255 : 0;
            return std::array<std::uint8_t, 4>{value, value, value, 255};
        });
    ExpectLossless({"a.png", "monob", bits, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected, "none", 1});
}

TEST(Stills, PalettesBecomeTheirColoursWithTheirAlpha)
{
    Bytes samples = RandomBytes(kPixels + 1024);
    const std::uint8_t* palette = samples.data() + kPixels; // B, G, R, A
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n)
        {
            const std::uint8_t* color = palette + std::size_t{4} * samples[n];
            return std::array<std::uint8_t, 4>{color[2], color[1], color[0], color[3]};
        });
    ExpectLossless(
        {"a.png", "pal8", samples, {}, norviktypes::kPixelFormat_BGRA_4444_8u, expected, "straight"});
}

TEST(Stills, TenAndTwelveBitFilmScansKeepEachOfTheirValues)
{
    const ScratchFolder scratch;
    for (const int bits : {10, 12})
    {
        const Bytes samples = RandomWords(kPixels * 3, bits); // planes G, B, R
        const std::string path = scratch.File("a" + std::to_string(bits) + ".dpx");
        EncodeStill(samples, "gbrp" + std::to_string(bits) + "le", kWidth, kHeight, {}, path);
        const MF::IVideoFrameRef frame = NativeFrame(path);
        ASSERT_TRUE(frame);
        ASSERT_EQ(FormatOf(frame), norviktypes::kPixelFormat_BGRX_4444_16u);
        const Bytes words = PixelBytes(frame);
        const double largest = (1 << bits) - 1;
        constexpr std::size_t kPlanes[3] = {1, 0, 2}; // of B, G, R
        for (std::size_t n = 0; n < kPixels * 4; ++n)
        {
            if (n % 4 == 3)
            {
                ASSERT_EQ(Word(words, n), 65535);
                continue;
            }
            const double exact = Word(samples, kPlanes[n % 4] * kPixels + n / 4) * 65535.0 / largest;
            // A code is 64 or 16 values of the scan wide; half a value and a float's error stay far within.
            ASSERT_NEAR(Word(words, n), exact, 0.51) << n;
        }
    }
}

TEST(Stills, FloatsComeBackAsLinearLightBitForBit)
{
    for (const bool isHalf : {false, true})
    {
        const Bytes samples = RandomFloats(kPixels * 3, isHalf);
        const auto at = [&](std::size_t inIndex)
        {
            float value = 0.0f;
            std::memcpy(&value, samples.data() + 4 * inIndex, 4);
            return value;
        };
        const Bytes expected = ExpectedBGRA<float>(
            [&](std::size_t n) {
                return std::array<float, 4>{at(2 * kPixels + n), at(n), at(kPixels + n), 1.0f};
            });
        ExpectLossless({"a.exr",
                        "gbrpf32le",
                        samples,
                        {"-format", isHalf ? "half" : "float"},
                        norviktypes::kPixelFormat_BGRX_4444_32f_Linear,
                        expected,
                        "none",
                        32});
    }
}

TEST(Stills, FloatsWithAlphaArePremultiplied)
{
    const Bytes samples = RandomFloats(kPixels * 4, true);
    const auto at = [&](std::size_t inIndex)
    {
        float value = 0.0f;
        std::memcpy(&value, samples.data() + 4 * inIndex, 4);
        return value;
    };
    const Bytes expected = ExpectedBGRA<float>(
        [&](std::size_t n) {
            return std::array<float, 4>{at(2 * kPixels + n), at(n), at(kPixels + n), at(3 * kPixels + n)};
        });
    ExpectLossless({"a.exr",
                    "gbrapf32le",
                    samples,
                    {"-format", "half"},
                    norviktypes::kPixelFormat_BGRP_4444_32f_Linear,
                    expected,
                    "premultiplied",
                    32});
}

TEST(Stills, PremultipliedPictureIsDividedOnceWhenStraightAlphaIsAsked)
{
    // G, B, R, A: linear 0.25 under alpha 0.5, which is 0.5 straight.
    Bytes samples(kPixels * 16);
    for (std::size_t n = 0; n < kPixels * 4; ++n)
    {
        const float value = n < 3 * kPixels ? 0.25f : 0.5f;
        std::memcpy(samples.data() + 4 * n, &value, 4);
    }
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.exr");
    EncodeStill(samples, "gbrapf32le", kWidth, kHeight, {}, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const BE::IVideoSourceRef source = SourceOf(media);
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Get(source, norviktypes::kPixelFormat_BGRA_4444_8u, frame), 0);
    // 1.09929682680944 * 0.5^0.45 - 0.09929682680944 = 0.7054 of 255
    EXPECT_TRUE(IsFilledWith(frame, {180, 180, 180, 128}));
    EXPECT_EQ(frame->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
    // Whoever reads the frames is told that their colour is not multiplied any more.
    EXPECT_EQ(source->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
}

TEST(Stills, JPEGKeepsItsOwnSamples)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.jpg");
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48", "-frames:v", "1", "-pix_fmt", "yuvj420p", "-update",
               "1", path});
    const MF::IVideoFrameRef frame = NativeFrame(path);
    ASSERT_TRUE(frame);
    EXPECT_EQ(FormatOf(frame), norviktypes::kPixelFormat_YUV_420_Center_Frame_8u_601_Full);
    EXPECT_EQ(PixelBytes(frame), DecodeStill(path));
}

TEST(Stills, OtherJPEGLayoutsKeepTheirSamplesToo)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.jpg");
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=40x24", "-frames:v", "1", "-pix_fmt", "yuvj444p", "-update",
               "1", path});
    const MF::IVideoFrameRef frame = NativeFrame(path);
    ASSERT_TRUE(frame);
    ASSERT_EQ(FormatOf(frame), norviktypes::kPixelFormat_VUYX_4444_8u_601_Full);
    const Bytes planes = DecodeStill(path);
    Bytes expected(40 * 24 * 4);
    for (std::size_t n = 0; n < 40 * 24; ++n)
    {
        expected[4 * n] = planes[2 * 40 * 24 + n];
        expected[4 * n + 1] = planes[40 * 24 + n];
        expected[4 * n + 2] = planes[n];
        expected[4 * n + 3] = 255;
    }
    EXPECT_EQ(PixelBytes(frame), expected);
}

namespace
{

// The JPEG with an EXIF block that tells how it is to be turned.
Bytes WithOrientation(const Bytes& inJPEG, std::uint8_t inOrientation)
{
    const Bytes exif = {0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, // APP1 and its length
                        'M',  'M',  0, 42, 0,   0,   0,   8,   0, 1, // one entry at offset 8
                        0x01, 0x12, 0, 3,  0,   0,   0,   1,   0, inOrientation,
                        0,    0,    0, 0,  0,   0};
    Bytes result(inJPEG.begin(), inJPEG.begin() + 2);
    result.insert(result.end(), exif.begin(), exif.end());
    result.insert(result.end(), inJPEG.begin() + 2, inJPEG.end());
    return result;
}

} // namespace

TEST(Stills, PicturesAreTurnedAsTheirFileAsks)
{
    const ScratchFolder scratch;
    const std::string upright = scratch.File("upright.jpg");
    constexpr std::size_t kW = 40;
    constexpr std::size_t kH = 24;
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=40x24", "-frames:v", "1", "-pix_fmt", "yuvj444p", "-update",
               "1", upright});
    const Bytes source = PixelBytes(NativeFrame(upright));
    ASSERT_EQ(source.size(), kW * kH * 4);
    // Where the pixel (x, y) of the shown picture lies in the stored one, for each EXIF orientation.
    struct Turn
    {
        std::uint8_t mOrientation;
        bool mSwaps;
        std::array<std::size_t, 2> (*mSource)(std::size_t, std::size_t);
    };
    using P = std::array<std::size_t, 2>;
    const Turn turns[] = {
        {1, false,
         [](std::size_t x, std::size_t y) {
             return P{x, y};
         }},
        {2, false,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - x, y};
         }},
        {3, false,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - x, kH - 1 - y};
         }},
        {4, false,
         [](std::size_t x, std::size_t y) {
             return P{x, kH - 1 - y};
         }},
        {5, true,
         [](std::size_t x, std::size_t y) {
             return P{y, x};
         }},
        {6, true,
         [](std::size_t x, std::size_t y) {
             return P{y, kH - 1 - x};
         }},
        {7, true,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - y, kH - 1 - x};
         }},
        {8, true,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - y, x};
         }},
    };
    for (const Turn& turn : turns)
    {
        const std::string path = scratch.File("turned" + std::to_string(turn.mOrientation) + ".jpg");
        WriteBytes(path, WithOrientation(ReadBytes(upright), turn.mOrientation));
        const MF::IVideoFrameRef frame = NativeFrame(path);
        ASSERT_TRUE(frame);
        const std::size_t width = turn.mSwaps ? kH : kW;
        const std::size_t height = turn.mSwaps ? kW : kH;
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        ASSERT_EQ(bounds, (TVK::Rect{0, 0, static_cast<int>(width), static_cast<int>(height)}));
        Bytes expected(source.size());
        for (std::size_t y = 0; y < height; ++y)
        {
            for (std::size_t x = 0; x < width; ++x)
            {
                const P from = turn.mSource(x, y);
                std::memcpy(&expected[(y * width + x) * 4], &source[(from[1] * kW + from[0]) * 4], 4);
            }
        }
        EXPECT_EQ(PixelBytes(frame), expected) << "orientation " << int{turn.mOrientation};
    }
}

TEST(Stills, HaveNoTimeAxis)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(RandomBytes(kPixels * 3), "rgb24", kWidth, kHeight, {}, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    EXPECT_TRUE(media->IsStill());
    EXPECT_TRUE(media->IsFileSource());
    EXPECT_EQ(media->GetPath().View(), path);
    EXPECT_EQ(media->GetName(), u"a.png");
    const BE::IVideoSourceRef source = SourceOf(media);
    EXPECT_TRUE(source->IsImageSource());
    EXPECT_TRUE(BE::IVideoStreamInfoRef(source)->HasNoFrameGrid());
    norviktypes::FrameRate rate(5);
    source->GetFrameRate(rate);
    EXPECT_EQ(rate, norviktypes::kFrameRate_Zero);
    TickTime duration;
    std::uint32_t kind = 0;
    MF::ISourceRef(source)->GetDuration(duration);
    MF::ISourceRef(source)->GetStillKind(kind);
    EXPECT_EQ(duration, norviktypes::kTime_Max);
    EXPECT_EQ(kind, MF::kSourceKind_Still);
    MF::IVideoFrameRef first;
    MF::IVideoFrameRef other;
    for (const TickTime& time : {norviktypes::kTime_Min, TickTime(-1), TickTime(1), norviktypes::kTime_Max})
    {
        ASSERT_EQ(Get(source, norviktypes::kPixelFormat_Any, first), 0);
        ASSERT_EQ(Get(source, norviktypes::kPixelFormat_Any, other, false, time), 0);
        EXPECT_TRUE(first == other);
    }
}

TEST(Stills, AreDecodedOnceAndAgainOnlyWhenTheCacheDroppedThem)
{
    VF::SharedVideoFrameCache::Clear();
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(RandomBytes(kPixels * 3), "rgb24", kWidth, kHeight, {}, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const BE::IVideoSourceRef source = SourceOf(media);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(source, norviktypes::kPixelFormat_Any, frame, true), kSourceStatus_NotAtHand);
    EXPECT_FALSE(frame);
    EXPECT_EQ(Get(source, norviktypes::kPixelFormat_BGRA_4444_16u, frame, true), kSourceStatus_NotAtHand);
    MF::IVideoFrameRef picture;
    ASSERT_EQ(Get(source, norviktypes::kPixelFormat_Any, picture), 0);
    EXPECT_TRUE(picture->IsFrozen());

    // From here on the file is not needed: every source of it shares the decoded picture.
    std::filesystem::rename(path, scratch.File("away.png"));
    MF::IVideoFrameRef again;
    EXPECT_EQ(Get(SourceOf(media), norviktypes::kPixelFormat_Any, again, true), 0);
    EXPECT_TRUE(again == picture);
    MF::IVideoFrameRef converted;
    EXPECT_EQ(Get(source, norviktypes::kPixelFormat_BGRA_4444_16u, converted, true), 0);
    EXPECT_TRUE(HaveNearPixels(converted, picture, 0.0));
    EXPECT_EQ(IFrameFailureRef(source)->DescribeFailure(TickTime()), "");

    VF::SharedVideoFrameCache::Clear();
    EXPECT_EQ(Get(source, norviktypes::kPixelFormat_Any, again), BE::kSourceStatus_BadMedia);
    EXPECT_FALSE(again);
    const std::string reason = IFrameFailureRef(source)->DescribeFailure(TickTime());
    EXPECT_NE(reason.find(path), std::string::npos) << reason;
    EXPECT_NE(reason.find("No such file"), std::string::npos) << reason;

    std::filesystem::rename(scratch.File("away.png"), path);
    EXPECT_EQ(Get(source, norviktypes::kPixelFormat_Any, again), 0);
    EXPECT_TRUE(HaveEqualPixels(again, picture));
}

TEST(Stills, CachedFrameIsOneThatWasMadeBefore)
{
    VF::SharedVideoFrameCache::Clear();
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(RandomBytes(kPixels * 3), "rgb24", kWidth, kHeight, {}, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const BE::IVideoSourceRef source = SourceOf(media);
    BE::FrameDescription asked;
    asked.mPixelFormat = norviktypes::kPixelFormat_BGRP_4444_8u;
    MF::IVideoFrameRef frame;
    EXPECT_LT(source->GetCachedFrame(TickTime(), asked, MF::BinaryData(), norviktypes::ColorProfile(), frame),
              0);
    EXPECT_FALSE(frame);
    MF::IVideoFrameRef made;
    ASSERT_EQ(Get(source, asked.mPixelFormat, made), 0);
    EXPECT_EQ(source->GetCachedFrame(TickTime(), asked, MF::BinaryData(), norviktypes::ColorProfile(), frame),
              0);
    EXPECT_TRUE(frame == made);
}

TEST(Stills, AreScaledToSmallerBoundsAndNeverEnlarged)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(Bytes(kPixels * 3, 77), "rgb24", kWidth, kHeight, {}, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    MF::IVideoFrameRef frame;
    ASSERT_EQ(
        Get(SourceOf(media), norviktypes::kPixelFormat_BGRA_4444_8u, frame, false, TickTime(), {0, 0, 10, 7}),
        0);
    TVK::Rect bounds;
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 10, 7}));
    EXPECT_TRUE(IsFilledWith(frame, {77, 77, 77, 255}));
    ASSERT_EQ(Get(SourceOf(media), norviktypes::kPixelFormat_BGRA_4444_8u, frame, false, TickTime(),
                  {0, 0, 100, 7}),
              0);
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, kWidth, 7}));
}

TEST(Stills, KeyAndContentFollowTheFile)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(Bytes(kPixels * 3, 10), "rgb24", kWidth, kHeight, {}, path);
    const auto key = [&]
    {
        const BE::IMediaInfoRef media = OpenOrFail(path);
        return SourceOf(media)->GetFrameKey(TickTime(), BE::FrameDescription(), MF::BinaryData(),
                                            norviktypes::ColorProfile());
    };
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const norvik::UTF8String before = media->GetContentHash();
    const TVK::Guid first = key();
    EXPECT_NE(first, TVK::Guid());
    EXPECT_EQ(key(), first);
    EXPECT_EQ(media->GetContentHash(), before);
    // Same size, other time.
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::seconds(2));
    EXPECT_NE(key(), first);
    EXPECT_NE(media->GetContentHash(), before);
    std::filesystem::copy_file(path, scratch.File("b.png"));
    const BE::IMediaInfoRef copy = OpenOrFail(scratch.File("b.png"));
    EXPECT_NE(SourceOf(copy)->GetFrameKey(TickTime(), BE::FrameDescription(), MF::BinaryData(),
                                          norviktypes::ColorProfile()),
              first);
}

TEST(Stills, TornPicturesAreRefusedWithNameAndCause)
{
    const ScratchFolder scratch;
    const struct
    {
        const char* mFile;
        const char* mFormat;
        std::size_t mBytes;
    } files[] = {{"a.png", "rgb24", 3},      {"a.tif", "rgb24", 3}, {"a.dpx", "rgb24", 3},
                 {"a.exr", "gbrpf32le", 12}, {"a.bmp", "bgr24", 3}, {"a.jpg", "yuvj444p", 3},
                 {"a.ppm", "rgb24", 3},      {"a.sgi", "rgb24", 3}, {"a.tga", "bgr24", 3}};
    for (const auto& file : files)
    {
        const std::string whole = scratch.File(file.mFile);
        EncodeStill(RandomBytes(kPixels * file.mBytes), file.mFormat, kWidth, kHeight, {}, whole);
        const Bytes bytes = ReadBytes(whole);
        const std::string torn = scratch.File(std::string("torn-") + file.mFile);
        for (const std::size_t kept : {bytes.size() / 2, bytes.size() / 10, std::size_t{30}})
        {
            WriteBytes(torn, Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(kept)));
            OpenError error;
            EXPECT_FALSE(OpenMedia(torn, OpenOptions(), error)) << torn << " of " << kept;
            EXPECT_EQ(error.mKind, OpenErrorKind::kBadData) << error.mText;
            EXPECT_NE(error.mText.find(torn), std::string::npos) << error.mText;
            EXPECT_EQ(error.mText.find('\n'), std::string::npos);
        }
    }
}

namespace
{

// A PNG of noise whose header says another size.
void WriteWithHeader(const std::string& inPath, std::uint32_t inWidth, std::uint32_t inHeight)
{
    EncodeStill(RandomBytes(kPixels * 3), "rgb24", kWidth, kHeight, {}, inPath);
    Bytes bytes = ReadBytes(inPath);
    for (std::size_t i = 0; i < 4; ++i)
    {
        bytes[16 + i] = static_cast<std::uint8_t>(inWidth >> (24 - 8 * i));
        bytes[20 + i] = static_cast<std::uint8_t>(inHeight >> (24 - 8 * i));
    }
    // The checksum of type and contents, so that only the size is wrong.
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 12; i < 29; ++i)
    {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
        {
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
        }
    }
    for (std::size_t i = 0; i < 4; ++i)
    {
        bytes[29 + i] = static_cast<std::uint8_t>(~crc >> (24 - 8 * i));
    }
    WriteBytes(inPath, bytes);
}

} // namespace

TEST(Stills, PicturesBeyondTheLimitsAreRefusedByTheirHeader)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    for (const auto& [width, height] :
         {std::pair{40000u, 40000u}, std::pair{16385u, 10u}, std::pair{10u, 16385u},
          std::pair{16000u, 16384u}, std::pair{0x7FFFFFFFu, 0x7FFFFFFFu}})
    {
        WriteWithHeader(path, width, height);
        OpenError error;
        EXPECT_FALSE(OpenMedia(path, OpenOptions(), error));
        EXPECT_EQ(error.mKind, OpenErrorKind::kTooLarge) << error.mText;
        EXPECT_NE(error.mText.find("too large"), std::string::npos) << error.mText;
        EXPECT_NE(error.mText.find(path), std::string::npos) << error.mText;
    }
}

TEST(Stills, LaterFileOfASequenceKeepsTheSameLimits)
{
    const ScratchFolder scratch;
    EncodeStill(RandomBytes(kPixels * 3), "rgb24", kWidth, kHeight, {}, scratch.File("a1.png"));
    WriteWithHeader(scratch.File("a2.png"), 20000, 1000);
    const BE::IMediaInfoRef media = OpenOrFail(scratch.File("a%d.png"));
    const BE::IVideoSourceRef source = SourceOf(media);
    const TickTime second = TickTime::FromSeconds(0.04);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(source, norviktypes::kPixelFormat_Any, frame, false, second), BE::kSourceStatus_BadMedia);
    const std::string reason = IFrameFailureRef(source)->DescribeFailure(second);
    EXPECT_NE(reason.find("a2.png: the picture is too large"), std::string::npos) << reason;
}

TEST(Stills, SmallPictureThatMakesAHugeFrameIsRefused)
{
    // One bit a pixel is 20 MB, and its frame of four bytes a pixel 640 MB.
    constexpr int kSides[2] = {16000, 10000};
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(Bytes(std::size_t{kSides[0]} / 8 * kSides[1], 0), "monob", kSides[0], kSides[1], {}, path);
    OpenError error;
    EXPECT_FALSE(OpenMedia(path, OpenOptions(), error));
    EXPECT_EQ(error.mKind, OpenErrorKind::kTooLarge) << error.mText;
    EXPECT_NE(error.mText.find("16000x10000"), std::string::npos) << error.mText;
}
