#include <array>
#include <cmath>
#include <cstring>
#include <future>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <thread>
#include <vector>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "TestPictures.h"

namespace
{

using TestPictures::Memory;
using TestPictures::Name;
using Pixel8 = std::array<unsigned char, 4>;
using PixelFloat = std::array<float, 4>;

template <typename To, typename From>
To Converted(const From& inPixel, std::uint32_t inFrom, std::uint32_t inTo)
{
    To result = {};
    EXPECT_EQ(kIR_Success,
              IR_Convert(inPixel.data(), sizeof(From), inFrom, result.data(), sizeof(To), inTo, 1, 1, 4));
    return result;
}

std::vector<unsigned char> Bytes(const Memory& inMemory)
{
    return inMemory.Packed();
}

// A planar 4:2:0 picture of one luma value, whose chroma the test writes.
Memory Planar420(std::uint32_t inCode, std::int32_t inWidth, std::int32_t inHeight)
{
    Memory picture(inCode, inWidth, inHeight);
    const ir::Picture& view = picture.View();
    for (int plane = 0; plane < 3; ++plane)
    {
        for (std::int32_t y = 0; y < (plane == 0 ? inHeight : view.chromaRows); ++y)
        {
            std::fill_n(view.Row(plane, y), plane == 0 ? inWidth : view.ChromaWidth(), 128);
        }
    }
    return picture;
}

// U of every pixel in 8-bit codes about 0, by way of the float format of the same matrix.
std::vector<float> FloatU(const Memory& inPicture, std::uint32_t inFloatCode = 0x106)
{
    const ir::Picture& view = inPicture.View();
    Memory floats(inFloatCode, view.width, view.height);
    EXPECT_EQ(kIR_Success,
              IR_Convert(inPicture.Pixels(), inPicture.RowBytes(), inPicture.Code(), floats.Pixels(),
                         floats.RowBytes(), inFloatCode, view.width, view.height, 4));
    std::vector<float> values;
    for (std::int32_t y = 0; y < view.height; ++y)
    {
        const auto* row = reinterpret_cast<const float*>(floats.View().Row(0, y));
        for (std::int32_t x = 0; x < view.width; ++x)
        {
            values.push_back(row[x * 4 + 1] * (view.isFullRange ? 255.0F : 224.0F));
        }
    }
    return values;
}

}

TEST(ImageRoutines, KnowTheCodesOfTheFormatsAndEachHasOneOrigin)
{
    const std::set<std::uint32_t> named(TestPictures::kCodes.begin(), TestPictures::kCodes.end());
    for (const std::uint32_t code : named)
    {
        EXPECT_EQ(1, IR_IsOriginTopLeft(code) + IR_IsOriginBottomLeft(code)) << Name(code);
        EXPECT_EQ((code & 0x2000) != 0 ? 1 : 0, IR_IsOriginBottomLeft(code)) << Name(code);
    }
    EXPECT_EQ(47U, named.size());
}

TEST(ImageRoutines, RefuseCodesWhoseBitsDoNotGoTogether)
{
    unsigned char pixels[64] = {};
    for (const std::uint32_t code :
         {0x000U, 0x003U, 0x007U, 0x304U, 0x804U, 0x1004U, 0x205U, 0x905U, 0x015U, 0x010U, 0x111U, 0x031U,
          0x081U, 0x2041U, 0x4004U, 0x80000004U, 0xFFFFFFFFU})
    {
        EXPECT_EQ(0, IR_IsOriginTopLeft(code) + IR_IsOriginBottomLeft(code)) << Name(code);
        EXPECT_EQ(kIR_UnknownFormat, IR_Convert(pixels, 16, code, pixels + 32, 16, 4, 1, 1, 4)) << Name(code);
        EXPECT_EQ(kIR_UnknownFormat, IR_Convert(pixels, 16, 4, pixels + 32, 16, code, 1, 1, 4)) << Name(code);
        EXPECT_EQ(kIR_UnknownFormat, IR_FillWithColor(pixels, 16, 1, 1, code, pixels, 4)) << Name(code);
    }
}

TEST(ImageRoutines, RefuseWhatIsNoPictureAndWriteNothing)
{
    std::array<unsigned char, 256> source = {};
    std::array<unsigned char, 256> target;
    target.fill(7);
    const auto untouched = target;
    const auto convert = [&](const void* inSource, int inSourceBytes, void* outTarget, int inTargetBytes,
                             int inWidth, int inHeight)
    { return IR_Convert(inSource, inSourceBytes, 4, outTarget, inTargetBytes, 4, inWidth, inHeight, 4); };
    EXPECT_EQ(kIR_NullPointer, convert(nullptr, 16, target.data(), 16, 4, 2));
    EXPECT_EQ(kIR_NullPointer, convert(source.data(), 16, nullptr, 16, 4, 2));
    EXPECT_EQ(kIR_BadSize, convert(source.data(), 16, target.data(), 16, 0, 2));
    EXPECT_EQ(kIR_BadSize, convert(source.data(), 16, target.data(), 16, 4, -1));
    EXPECT_EQ(kIR_BadSize, convert(source.data(), 15, target.data(), 16, 4, 2));
    EXPECT_EQ(kIR_BadSize, convert(source.data(), 16, target.data(), 15, 4, 2));
    EXPECT_EQ(kIR_BadSize, convert(source.data(), 1 << 20, target.data(), 1 << 20, 65537, 2));
    EXPECT_EQ(kIR_BadSize, IR_Convert(source.data(), 4, 4, target.data(), 1, 0x042, 1, 1, 4));
    EXPECT_EQ(kIR_BadArgument,
              IR_ScaleConvert(source.data(), 16, 4, 2, 4, 3, target.data(), 16, 4, 2, 4, 0, 4));
    EXPECT_EQ(kIR_BadArgument,
              IR_ScaleConvert(source.data(), 16, 4, 2, 4, 0, target.data(), 16, 4, 2, 4, -1, 4));
    EXPECT_EQ(kIR_BadSize, IR_ScaleConvert(source.data(), 16, 4, 1, 4, 2, target.data(), 16, 4, 2, 4, 0, 4));
    EXPECT_EQ(kIR_BadArgument,
              IR_CompositeToBlack(source.data(), 16, 4, target.data(), 16, 4, 4, 2, std::nanf(""), 4));
    EXPECT_EQ(kIR_UnknownFormat,
              IR_UnPremultiplyAgainstMatteColor(target.data(), 16, 0x042, 4, 2, source.data(), 4, 4));
    EXPECT_EQ(untouched, target);
}

TEST(ImageRoutines, RefuseOverlapsThatWouldReadWhatWasWritten)
{
    std::vector<unsigned char> pixels(4096);
    EXPECT_EQ(kIR_BadArgument, IR_Convert(pixels.data(), 64, 4, pixels.data() + 4, 64, 8, 16, 8, 4));
    EXPECT_EQ(kIR_BadArgument, IR_Convert(pixels.data(), 256, 4, pixels.data(), 256, 0x104, 16, 8, 4));
    EXPECT_EQ(kIR_BadArgument, IR_Convert(pixels.data(), 256, 4, pixels.data(), 128, 8, 16, 8, 4));
    EXPECT_EQ(kIR_Success, IR_Convert(pixels.data(), 128, 4, pixels.data() + 64, 128, 8, 16, 8, 4))
        << "the fields of one frame lie between each other's rows";
}

TEST(ImageRoutines, GiveTheKnownColoursOfBars)
{
    // Rec.601 and 709 narrow range, V U Y A, against B G R A of full bars; from the matrices by hand.
    EXPECT_EQ((Pixel8{255, 255, 255, 255}), Converted<Pixel8>(Pixel8{128, 128, 235, 9}, 0x00E, 0x004));
    EXPECT_EQ((Pixel8{0, 0, 0, 255}), Converted<Pixel8>(Pixel8{128, 128, 16, 9}, 0x00E, 0x004));
    EXPECT_EQ((Pixel8{240, 90, 81, 255}), Converted<Pixel8>(Pixel8{0, 0, 255, 255}, 0x004, 0x005));
    EXPECT_EQ((Pixel8{240, 102, 63, 255}), Converted<Pixel8>(Pixel8{0, 0, 255, 255}, 0x004, 0x006));
    EXPECT_EQ((Pixel8{110, 240, 41, 255}), Converted<Pixel8>(Pixel8{255, 0, 0, 255}, 0x004, 0x005));
    EXPECT_EQ((Pixel8{118, 240, 32, 255}), Converted<Pixel8>(Pixel8{255, 0, 0, 255}, 0x004, 0x006));
    EXPECT_EQ((Pixel8{255, 85, 76, 255}), Converted<Pixel8>(Pixel8{0, 0, 255, 255}, 0x004, 0x1005));
    const PixelFloat grey = Converted<PixelFloat>(Pixel8{128, 128, 126, 255}, 0x00E, 0x106);
    EXPECT_NEAR((126.0 - 16.0) / 219.0, grey[2], 1e-6);
    EXPECT_EQ(0.0F, grey[0]);
    EXPECT_EQ(0.0F, grey[1]);
}

TEST(ImageRoutines, WidenDepthsOverTheWholeRange)
{
    using Pixel16 = std::array<std::uint16_t, 4>;
    EXPECT_EQ((Pixel16{0, 257, 65535, 257 * 128}), Converted<Pixel16>(Pixel8{0, 1, 255, 128}, 0x004, 0x204));
    for (int code = 0; code < 256; ++code)
    {
        const auto value = static_cast<unsigned char>(code);
        const Pixel8 pixel = {value, static_cast<unsigned char>(255 - code), value, value};
        EXPECT_EQ(pixel, Converted<Pixel8>(Converted<PixelFloat>(pixel, 0x004, 0x104), 0x104, 0x004));
        EXPECT_EQ(pixel, Converted<Pixel8>(Converted<PixelFloat>(pixel, 0x004, 0x904), 0x904, 0x004));
        EXPECT_EQ(pixel, Converted<Pixel8>(Converted<Pixel16>(pixel, 0x004, 0x204), 0x204, 0x004));
    }
}

TEST(ImageRoutines, TakeTheCameraCurveAwayAndPutItBack)
{
    const PixelFloat linear = Converted<PixelFloat>(PixelFloat{0.5F, 0.045F, -0.5F, 1.0F}, 0x104, 0x904);
    EXPECT_NEAR(0.25972, linear[0], 1e-4);
    EXPECT_NEAR(0.01, linear[1], 1e-6);
    EXPECT_NEAR(-linear[0], linear[2], 1e-7);
    for (const float value : {0.0F, 0.001F, 0.0180539F, 0.0181F, 0.2F, 0.9F, 1.0F, 3.5F, -0.7F})
    {
        const PixelFloat there = Converted<PixelFloat>(PixelFloat{value, 0, 0, 1}, 0x904, 0x104);
        EXPECT_NEAR(value, Converted<PixelFloat>(there, 0x104, 0x904)[0],
                    2e-6F * std::max(1.0F, std::fabs(value)));
    }
}

TEST(ImageRoutines, ConvertAlphaKindsByTheirPixels)
{
    const Pixel8 straight = {200, 100, 40, 128};
    const Pixel8 premultiplied = {100, 50, 20, 128};
    EXPECT_EQ(premultiplied, Converted<Pixel8>(straight, 0x004, 0x008));
    EXPECT_EQ((Pixel8{199, 100, 40, 128}), Converted<Pixel8>(premultiplied, 0x008, 0x004));
    EXPECT_EQ((Pixel8{0, 0, 0, 0}), Converted<Pixel8>(Pixel8{9, 9, 9, 0}, 0x008, 0x004));
    EXPECT_EQ((Pixel8{200, 100, 40, 255}), Converted<Pixel8>(straight, 0x004, 0x00C)) << "alpha is dropped";
    EXPECT_EQ((Pixel8{100, 50, 20, 255}), Converted<Pixel8>(premultiplied, 0x008, 0x00C)) << "over black";
    EXPECT_EQ((Pixel8{100, 50, 20, 255}), Converted<Pixel8>(premultiplied, 0x00C, 0x008)) << "opaque in";
    EXPECT_EQ((Pixel8{100, 50, 20, 255}), Converted<Pixel8>(premultiplied, 0x00C, 0x00C))
        << "opaque is written as 1";
}

TEST(ImageRoutines, InterpolateLeftSitedChromaBetweenPixels)
{
    Memory picture = Planar420(0x042, 6, 2);
    const unsigned char chroma[3] = {128, 168, 88};
    std::memcpy(picture.View().Row(1, 0), chroma, 3);
    const std::vector<float> u = FloatU(picture);
    const float expected[6] = {0, 20, 40, 0, -40, -40};
    for (std::size_t x = 0; x < 6; ++x)
    {
        EXPECT_NEAR(expected[x], u[x], 1e-3F) << x;
    }
}

TEST(ImageRoutines, InterpolateCentredChromaAtQuarters)
{
    Memory picture = Planar420(0x1071, 4, 2);
    const unsigned char chroma[2] = {128, 168};
    std::memcpy(picture.View().Row(1, 0), chroma, 2);
    const std::vector<float> u = FloatU(picture, 0x1105);
    const float expected[4] = {0, 10, 30, 40};
    for (std::size_t x = 0; x < 4; ++x)
    {
        EXPECT_NEAR(expected[x], u[x], 1e-3F) << x;
    }
}

TEST(ImageRoutines, InterpolateChromaRowsOfFramesAndOfFields)
{
    const unsigned char rows[4] = {128, 168, 208, 88};
    Memory frame = Planar420(0x042, 2, 8);
    Memory field = Planar420(0x052, 2, 8);
    for (std::int32_t row = 0; row < 4; ++row)
    {
        *frame.View().Row(1, row) = rows[row];
        *field.View().Row(1, row) = rows[row];
    }
    const std::vector<float> ofFrame = FloatU(frame);
    const std::vector<float> ofField = FloatU(field);
    // Rows of the frame lie a quarter and three quarters of the way between two chroma rows.
    const float expectedFrame[8] = {0, 10, 30, 50, 70, 50, -10, -40};
    // The upper field has chroma rows 0 and 2, a quarter row below its even rows; the lower field 1 and 3,
    // three quarters.
    const float expectedField[8] = {0, 40, 30, 30, 70, -10, 80, -40};
    for (std::size_t y = 0; y < 8; ++y)
    {
        EXPECT_NEAR(expectedFrame[y], ofFrame[y * 2], 1e-3F) << y;
        EXPECT_NEAR(expectedField[y], ofField[y * 2], 1e-3F) << y;
    }
}

TEST(ImageRoutines, KeepChromaBetweenFormatsThatHaveItAtTheSamePlaces)
{
    std::mt19937 random(3);
    Memory packed(0x012, 31, 6);
    packed.Randomise(random);
    Memory other(0x022, 31, 6);
    Memory deep(0x332, 31, 6);
    Memory back(0x012, 31, 6);
    ASSERT_EQ(kIR_Success, IR_Convert(packed.Pixels(), packed.RowBytes(), 0x012, other.Pixels(),
                                      other.RowBytes(), 0x022, 31, 6, 4));
    ASSERT_EQ(kIR_Success, IR_Convert(other.Pixels(), other.RowBytes(), 0x022, deep.Pixels(), deep.RowBytes(),
                                      0x332, 31, 6, 4));
    ASSERT_EQ(kIR_Success, IR_Convert(deep.Pixels(), deep.RowBytes(), 0x332, back.Pixels(), back.RowBytes(),
                                      0x012, 31, 6, 4));
    EXPECT_EQ(0.0, TestPictures::Difference(packed.View(), back.View()));
}

TEST(ImageRoutines, ConvertInPlaceAsTheyDoElsewhere)
{
    std::mt19937 random(5);
    for (const std::uint32_t from : TestPictures::kCodes)
    {
        for (const std::uint32_t to : TestPictures::kCodes)
        {
            if ((from & 0xF0) != 0 || (to & 0xF0) != 0 || (from & 0x700) != (to & 0x700))
            {
                continue;
            }
            Memory picture(from, 37, 5);
            picture.Randomise(random);
            Memory elsewhere(to, 37, 5);
            ASSERT_EQ(kIR_Success, IR_Convert(picture.Pixels(), picture.RowBytes(), from, elsewhere.Pixels(),
                                              elsewhere.RowBytes(), to, 37, 5, 4));
            ASSERT_EQ(kIR_Success, IR_Convert(picture.Pixels(), picture.RowBytes(), from, picture.Pixels(),
                                              picture.RowBytes(), to, 37, 5, 4));
            EXPECT_EQ(Bytes(elsewhere), Bytes(picture)) << Name(from) << " -> " << Name(to);
        }
    }
}

TEST(ImageRoutines, TurnBottomUpPicturesRound)
{
    const unsigned char rows[12] = {1, 1, 1, 255, 2, 2, 2, 255, 3, 3, 3, 255};
    unsigned char turned[12] = {};
    ASSERT_EQ(kIR_Success, IR_Convert(rows, 4, 0x004, turned, 4, 0x2004, 1, 3, 4));
    EXPECT_EQ(3, turned[0]);
    EXPECT_EQ(2, turned[4]);
    EXPECT_EQ(1, turned[8]);
}

TEST(ImageRoutines, FillEveryPixelOfEveryFormatWithTheConvertedColour)
{
    const Pixel8 colour = {30, 200, 120, 128};
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        Memory filled(code, 29, 7, 8, 4);
        ASSERT_EQ(kIR_Success,
                  IR_FillWithColor(filled.Pixels(), filled.RowBytes(), 29, 7, code, colour.data(), 4));
        EXPECT_TRUE(filled.GuardsAreWhole()) << Name(code);
        Memory plain(0x004, 29, 7);
        for (std::int32_t y = 0; y < 7; ++y)
        {
            for (std::int32_t x = 0; x < 29; ++x)
            {
                std::memcpy(plain.View().Row(0, y) + x * 4, colour.data(), 4);
            }
        }
        Memory converted(code, 29, 7);
        ASSERT_EQ(kIR_Success, IR_Convert(plain.Pixels(), plain.RowBytes(), 4, converted.Pixels(),
                                          converted.RowBytes(), code, 29, 7, 4));
        const double bound = filled.View().sample == ir::Sample::kFloat ? 1e-6 : 1.0001;
        EXPECT_LE(TestPictures::Difference(converted.View(), filled.View()), bound) << Name(code);
    }
}

TEST(ImageRoutines, TakeBackTheColourThatWasLaidOverAMatte)
{
    const double matte[3] = {0.8, 0.1, 0.4};
    const double colour[3] = {0.2, 0.9, 0.5};
    const double alpha = 0.25;
    PixelFloat pixel = {0, 0, 0, static_cast<float>(alpha)};
    for (std::size_t i = 0; i < 3; ++i)
    {
        pixel[i] = static_cast<float>(colour[i] * alpha + matte[i] * (1.0 - alpha));
    }
    const PixelFloat matteFloats = {0.8F, 0.1F, 0.4F, 0.0F};
    ASSERT_EQ(kIR_Success,
              IR_UnPremultiplyAgainstMatteColor(pixel.data(), 16, 0x104, 1, 1, matteFloats.data(), 0x104, 4));
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_NEAR(colour[i], pixel[i], 1e-6);
    }
    EXPECT_EQ(0.25F, pixel[3]);
    Pixel8 opaque = {10, 20, 30, 40};
    ASSERT_EQ(kIR_Success,
              IR_UnPremultiplyAgainstMatteColor(opaque.data(), 4, 0x00C, 1, 1, matteFloats.data(), 0x104, 4));
    EXPECT_EQ((Pixel8{10, 20, 30, 40}), opaque);
}

TEST(ImageRoutines, LayStraightColourOverBlackAtAnOpacity)
{
    Pixel8 pixel = {200, 100, 40, 128};
    ASSERT_EQ(kIR_Success, IR_CompositeToBlack(pixel.data(), 4, 4, pixel.data(), 4, 4, 1, 1, 1.0F, 4));
    EXPECT_EQ((Pixel8{100, 50, 20, 255}), pixel);
    ASSERT_EQ(kIR_Success, IR_CompositeToBlack(pixel.data(), 4, 8, pixel.data(), 4, 8, 1, 1, 0.5F, 4));
    EXPECT_EQ((Pixel8{50, 25, 10, 255}), pixel);
}

TEST(ImageRoutines, CopyAFieldsRowsWhenTheTargetIsAsHighAsTheField)
{
    std::mt19937 random(6);
    for (const std::uint32_t code : {0x004U, 0x012U, 0x104U})
    {
        for (const std::int32_t field : {kIR_UpperField, kIR_LowerField})
        {
            Memory source(code, 20, 9);
            source.Randomise(random);
            const std::int32_t rows = field == kIR_UpperField ? 5 : 4;
            Memory target(code, 20, rows);
            ASSERT_EQ(kIR_Success,
                      IR_ScaleConvert(source.Pixels(), source.RowBytes(), 20, 9, code, field, target.Pixels(),
                                      target.RowBytes(), 20, rows, code, kIR_WholePicture, 4));
            Memory expected(code, 20, rows);
            for (std::int32_t y = 0; y < rows; ++y)
            {
                std::memcpy(expected.View().Row(0, y), source.View().Row(0, y * 2 + field - 1),
                            static_cast<std::size_t>(ir::RowBytesOf(source.View(), 0)));
            }
            const double bound = code == 0x104 ? 1e-5 : 1.0001;
            EXPECT_LE(TestPictures::Difference(expected.View(), target.View()), bound)
                << Name(code) << " " << field;
        }
    }
}

TEST(ImageRoutines, WriteOnlyTheRowsOfTheTargetsField)
{
    std::mt19937 random(7);
    Memory source(0x00C, 16, 12);
    source.Randomise(random);
    for (const std::int32_t field : {kIR_UpperField, kIR_LowerField})
    {
        for (const std::int32_t sourceField : {kIR_WholePicture, kIR_UpperField, kIR_LowerField})
        {
            Memory target(0x004, 24, 10);
            const std::vector<unsigned char> guard = target.Packed();
            ASSERT_EQ(kIR_Success,
                      IR_ScaleConvert(source.Pixels(), source.RowBytes(), 16, 12, 0x00C, sourceField,
                                      target.Pixels(), target.RowBytes(), 24, 10, 0x004, field, 4));
            for (std::int32_t y = 0; y < 10; ++y)
            {
                const bool isWritten = std::memcmp(target.View().Row(0, y), guard.data(), 96) != 0;
                EXPECT_EQ(y % 2 == field - 1, isWritten) << y;
            }
        }
    }
}

TEST(ImageRoutines, KeepAFieldsRowsInTheirPlacesWhenOneFieldFillsAFrame)
{
    // A picture whose rows rise evenly must rise evenly again from either field.
    Memory source(0x104, 8, 16);
    for (std::int32_t y = 0; y < 16; ++y)
    {
        auto* row = reinterpret_cast<float*>(source.View().Row(0, y));
        std::fill_n(row, 32, static_cast<float>(y));
        for (int x = 0; x < 8; ++x)
        {
            row[x * 4 + 3] = 1.0F;
        }
    }
    for (const std::int32_t field : {kIR_UpperField, kIR_LowerField})
    {
        Memory target(0x104, 8, 16);
        ASSERT_EQ(kIR_Success,
                  IR_ScaleConvert(source.Pixels(), source.RowBytes(), 8, 16, 0x104, field, target.Pixels(),
                                  target.RowBytes(), 8, 16, 0x104, kIR_WholePicture, 3));
        for (std::int32_t y = 2; y < 14; ++y)
        {
            EXPECT_NEAR(static_cast<float>(y), *reinterpret_cast<const float*>(target.View().Row(0, y)),
                        1e-4F);
        }
    }
}

TEST(ImageRoutines, LendTransientBlocksThatAreAlignedAndApart)
{
    std::vector<void*> blocks;
    for (const std::size_t bytes : {std::size_t{1}, std::size_t{63}, std::size_t{64}, std::size_t{5000},
                                    std::size_t{1} << 20, std::size_t{3} << 20})
    {
        void* block = IR_AllocateTransientMemoryBlock(bytes);
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(block) % 64);
        std::memset(block, static_cast<int>(bytes), bytes);
        blocks.push_back(block);
    }
    EXPECT_EQ(blocks.size(), std::set<void*>(blocks.begin(), blocks.end()).size());
    for (void* block : blocks)
    {
        IR_FreeTransientMemoryBlock(block);
    }
    void* again = IR_AllocateTransientMemoryBlock(5000);
    EXPECT_EQ(blocks[3], again) << "a freed block is lent again";
    IR_FreeTransientMemoryBlock(again);
    IR_FreeTransientMemoryBlock(nullptr);
    EXPECT_EQ(nullptr, IR_AllocateTransientMemoryBlock(0));
    EXPECT_EQ(nullptr, IR_AllocateTransientMemoryBlock(std::numeric_limits<std::size_t>::max()));
}

// All blocks of a size that this thread and the pool keep, so that a test knows where the next ones come from.
class KeptBlocks
{
public:
    explicit KeptBlocks(std::size_t inBytes)
    {
        constexpr int kMoreThanAreKept = 16;
        for (int i = 0; i < kMoreThanAreKept; ++i)
        {
            mBlocks.push_back(IR_AllocateTransientMemoryBlock(inBytes));
        }
    }
    ~KeptBlocks()
    {
        for (void* block : mBlocks)
        {
            IR_FreeTransientMemoryBlock(block);
        }
    }
    KeptBlocks(const KeptBlocks&) = delete;
    KeptBlocks& operator=(const KeptBlocks&) = delete;

private:
    std::vector<void*> mBlocks;
};

// A thread finds the block that is in its processor's caches; what it leaves behind at its end is for others.
TEST(ImageRoutines, LendATransientBlockToTheThreadThatHadItLast)
{
    constexpr std::size_t kBytes = 600000;
    const KeptBlocks kept(kBytes);
    const auto lendTwice = []
    {
        void* block = IR_AllocateTransientMemoryBlock(kBytes);
        IR_FreeTransientMemoryBlock(block);
        void* again = IR_AllocateTransientMemoryBlock(kBytes);
        EXPECT_EQ(again, block);
        IR_FreeTransientMemoryBlock(again);
        return again;
    };
    std::thread(
        [&] // one that keeps nothing of other tests
        {
            void* const own = lendTwice();
            void* ofOther = nullptr;
            std::thread([&] { ofOther = lendTwice(); }).join();
            EXPECT_NE(own, ofOther);
            void* const first = IR_AllocateTransientMemoryBlock(kBytes);
            void* const second = IR_AllocateTransientMemoryBlock(kBytes);
            EXPECT_EQ(first, own);
            EXPECT_EQ(second, ofOther);
            IR_FreeTransientMemoryBlock(first);
            IR_FreeTransientMemoryBlock(second);
        })
        .join();
}

// Of more than a thread keeps for itself, and given back by another one than took them.
TEST(ImageRoutines, LendTransientBlocksAcrossThreads)
{
    std::vector<void*> blocks;
    for (int i = 0; i < 20; ++i)
    {
        blocks.push_back(IR_AllocateTransientMemoryBlock(3000));
    }
    EXPECT_EQ(std::set<void*>(blocks.begin(), blocks.end()).size(), 20u);
    std::thread(
        [&]
        {
            for (void* block : blocks)
            {
                std::memset(block, 1, 3000);
                IR_FreeTransientMemoryBlock(block);
            }
        })
        .join();
    std::set<void*> again;
    for (std::size_t i = 0; i < blocks.size(); ++i)
    {
        again.insert(IR_AllocateTransientMemoryBlock(3000));
    }
    EXPECT_EQ(again.size(), 20u);
    for (void* block : again)
    {
        IR_FreeTransientMemoryBlock(block);
    }
}

// Objects of a thread may hold blocks, and go in an order that nobody knows.
TEST(ImageRoutines, TakeTransientBlocksBackFromAThreadThatEnds)
{
    struct Holder
    {
        ~Holder()
        {
            IR_FreeTransientMemoryBlock(mBlock);
            IR_FreeTransientMemoryBlock(IR_AllocateTransientMemoryBlock(5000));
        }
        void* mBlock = nullptr;
    };
    const KeptBlocks kept(5000);
    std::set<void*> left;
    std::thread(
        [&]
        {
            // Goes last. Declared where the thread comes by: else it would be nobody's to destroy.
            static thread_local Holder sFirst;
            sFirst.mBlock = IR_AllocateTransientMemoryBlock(5000);
            void* keptByThread = IR_AllocateTransientMemoryBlock(5000);
            left = {sFirst.mBlock, keptByThread};
            IR_FreeTransientMemoryBlock(keptByThread);
        })
        .join();
    std::set<void*> found;
    for (std::size_t i = 0; i < left.size(); ++i)
    {
        found.insert(IR_AllocateTransientMemoryBlock(5000));
    }
    EXPECT_EQ(found, left) << "each for others, and once";
    for (void* block : found)
    {
        IR_FreeTransientMemoryBlock(block);
    }
}

// Of blocks that are too large to be kept by threads, too, and though another one came back later.
TEST(ImageRoutines, LendALargeTransientBlockToTheThreadThatHadItLast)
{
    constexpr std::size_t kBytes = std::size_t{3} << 20;
    std::vector<void*> kept; // those that others have left
    for (int i = 0; i < 8; ++i)
    {
        kept.push_back(IR_AllocateTransientMemoryBlock(kBytes));
    }
    void* const own = IR_AllocateTransientMemoryBlock(kBytes);
    std::promise<void> isTaken;
    std::promise<void> isFreed;
    std::thread other(
        [&]
        {
            void* const block = IR_AllocateTransientMemoryBlock(kBytes);
            isTaken.set_value();
            isFreed.get_future().wait();
            IR_FreeTransientMemoryBlock(block);
        });
    isTaken.get_future().wait();
    IR_FreeTransientMemoryBlock(own);
    isFreed.set_value();
    other.join();
    void* const again = IR_AllocateTransientMemoryBlock(kBytes);
    EXPECT_EQ(again, own);
    IR_FreeTransientMemoryBlock(again);
    for (void* block : kept)
    {
        IR_FreeTransientMemoryBlock(block);
    }
}

TEST(CpuTarget, TakesNamesOfTheMachineAndNoOthers)
{
    const std::vector<std::string> names = ir::CpuTargets();
    ASSERT_FALSE(names.empty());
    for (const std::string& name : names)
    {
        EXPECT_TRUE(ir::SetCpuTarget(name.c_str()));
        EXPECT_EQ(name, ir::CurrentCpuTarget());
    }
    EXPECT_FALSE(ir::SetCpuTarget("abacus"));
    EXPECT_FALSE(ir::SetCpuTarget(nullptr));
    EXPECT_EQ(names.back(), ir::CurrentCpuTarget()) << "a refused name changes nothing";
    EXPECT_TRUE(ir::SetCpuTarget("auto"));
    EXPECT_EQ(names.front(), ir::CurrentCpuTarget());
}
