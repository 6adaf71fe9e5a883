#include "ReferenceHost/Media/IMediaFacts.h"
#include "Tests/ReferenceHost/Media/OpenedMedia.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::PixelFormat;
using norviktypes::TickTime;

// What becomes of the samples of each kind of file.
namespace
{

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

float Float(const Bytes& inBytes, std::size_t inIndex)
{
    float value = 0.0f;
    std::memcpy(&value, inBytes.data() + 4 * inIndex, 4);
    return value;
}

// A picture of 16-bit (or 8-bit, or float) B, G, R, A from the samples R, G, B, A of pixel n.
template <class Sample, class Pick>
Bytes ExpectedBGRA(Pick inPick)
{
    Bytes bytes(kStillPixels * 4 * sizeof(Sample));
    for (std::size_t n = 0; n < kStillPixels; ++n)
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
    EncodeStill(inCase.mSamples, inCase.mCodedFormat, kStillWidth, kStillHeight, inCase.mEncoder, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    ASSERT_TRUE(media);
    const MediaFacts& facts = IMediaFactsRef(media)->GetFacts();
    EXPECT_TRUE(facts.mIsStill);
    EXPECT_EQ(facts.mAlpha, inCase.mAlpha);
    EXPECT_EQ(facts.mBitDepth, inCase.mDepth);
    EXPECT_EQ(facts.mWidth, kStillWidth);
    EXPECT_EQ(facts.mHeight, kStillHeight);
    EXPECT_EQ(facts.mNativeFormat, norviktypes::PixelFormatText(inCase.mNative));
    MF::IVideoFrameRef frame;
    ASSERT_EQ(FrameAt(SourceOf(media), TickTime(), norviktypes::kPixelFormat_Any, frame), 0);
    EXPECT_STREQ(norviktypes::PixelFormatText(FormatOf(frame)), norviktypes::PixelFormatText(inCase.mNative));
    EXPECT_EQ(PixelBytes(frame), inCase.mExpected);
    EXPECT_EQ(frame->MayHaveTransparency(), inCase.mAlpha != "none");
}

} // namespace

TEST(Stills, EightBitColourComesBackBitForBit)
{
    const Bytes rgb = RandomBytes(kStillPixels * 3);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n) {
            return std::array<std::uint8_t, 4>{rgb[3 * n], rgb[3 * n + 1], rgb[3 * n + 2], 255};
        });
    for (const char* file : {"a.png", "a.tif", "a.dpx", "a.ppm"})
    {
        ExpectLossless({file, "rgb24", rgb, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected});
    }
    Bytes bgr(rgb.size());
    for (std::size_t n = 0; n < kStillPixels; ++n)
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
    const Bytes rgba = RandomBytes(kStillPixels * 4);
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
    const Bytes samples = RandomBytes(kStillPixels * 6);
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
    const Bytes samples = RandomBytes(kStillPixels * 8);
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
    const Bytes grey = RandomBytes(kStillPixels);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n) {
            return std::array<std::uint8_t, 4>{grey[n], grey[n], grey[n], 255};
        });
    for (const char* file : {"a.png", "a.tif", "a.dpx"})
    {
        ExpectLossless({file, "gray", grey, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected});
    }
    const Bytes words = RandomBytes(kStillPixels * 2);
    const Bytes expectedWords = ExpectedBGRA<std::uint16_t>(
        [&](std::size_t n) {
            return std::array<std::uint16_t, 4>{Word(words, n), Word(words, n), Word(words, n), 65535};
        });
    ExpectLossless(
        {"a.tif", "gray16le", words, {}, norviktypes::kPixelFormat_BGRX_4444_16u, expectedWords, "none", 16});
}

TEST(Stills, GreyWithAlphaKeepsBoth)
{
    const Bytes samples = RandomBytes(kStillPixels * 2);
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
    constexpr std::size_t kRowBytes = (kStillWidth + 7) / 8;
    const Bytes bits = RandomBytes(kRowBytes * kStillHeight);
    const Bytes expected = ExpectedBGRA<std::uint8_t>(
        [&](std::size_t n)
        {
            const std::size_t x = n % kStillWidth;
            const std::uint8_t value =
                (bits[n / kStillWidth * kRowBytes + x / 8] >> (7 - x % 8) & 1) != 0 ? 255 : 0;
            return std::array<std::uint8_t, 4>{value, value, value, 255};
        });
    ExpectLossless({"a.png", "monob", bits, {}, norviktypes::kPixelFormat_BGRX_4444_8u, expected, "none", 1});
}

TEST(Stills, PalettesBecomeTheirColoursWithTheirAlpha)
{
    Bytes samples = RandomBytes(kStillPixels + 1024);
    const std::uint8_t* palette = samples.data() + kStillPixels; // B, G, R, A
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
        const Bytes samples = RandomWords(kStillPixels * 3, bits); // planes G, B, R
        const std::string path = scratch.File("a" + std::to_string(bits) + ".dpx");
        EncodeStill(samples, "gbrp" + std::to_string(bits) + "le", kStillWidth, kStillHeight, {}, path);
        const MF::IVideoFrameRef frame = NativeFrame(path);
        ASSERT_TRUE(frame);
        ASSERT_EQ(FormatOf(frame), norviktypes::kPixelFormat_BGRX_4444_16u);
        const Bytes words = PixelBytes(frame);
        const double largest = (1 << bits) - 1;
        constexpr std::size_t kPlanes[3] = {1, 0, 2}; // of B, G, R
        for (std::size_t n = 0; n < kStillPixels * 4; ++n)
        {
            if (n % 4 == 3)
            {
                ASSERT_EQ(Word(words, n), 65535);
                continue;
            }
            const double exact = Word(samples, kPlanes[n % 4] * kStillPixels + n / 4) * 65535.0 / largest;
            // A code is 64 or 16 values of the scan wide; half a value and a float's error stay far within.
            ASSERT_NEAR(Word(words, n), exact, 0.51) << n;
        }
    }
}

TEST(Stills, FloatsComeBackAsLinearLightBitForBit)
{
    for (const bool isHalf : {false, true})
    {
        const Bytes samples = RandomFloats(kStillPixels * 3, isHalf);
        const auto at = [&](std::size_t inIndex) { return Float(samples, inIndex); };
        const Bytes expected = ExpectedBGRA<float>(
            [&](std::size_t n) {
                return std::array<float, 4>{at(2 * kStillPixels + n), at(n), at(kStillPixels + n), 1.0f};
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
    const Bytes samples = RandomFloats(kStillPixels * 4, true);
    const auto at = [&](std::size_t inIndex) { return Float(samples, inIndex); };
    const Bytes expected = ExpectedBGRA<float>(
        [&](std::size_t n)
        {
            return std::array<float, 4>{at(2 * kStillPixels + n), at(n), at(kStillPixels + n),
                                        at(3 * kStillPixels + n)};
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
    Bytes samples(kStillPixels * 16);
    for (std::size_t n = 0; n < kStillPixels * 4; ++n)
    {
        const float value = n < 3 * kStillPixels ? 0.25f : 0.5f;
        std::memcpy(samples.data() + 4 * n, &value, 4);
    }
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.exr");
    EncodeStill(samples, "gbrapf32le", kStillWidth, kStillHeight, {}, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const BE::IVideoSourceRef source = SourceOf(media);
    MF::IVideoFrameRef frame;
    ASSERT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_BGRA_4444_8u, frame), 0);
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
