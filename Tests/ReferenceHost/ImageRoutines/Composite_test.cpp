#include <array>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "TestPictures.h"

namespace
{

using Bytes = std::vector<std::uint8_t>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr std::int32_t kRow = 8 * 4;

Bytes Pixels(std::uint8_t inCode)
{
    return Bytes(kRow * 4, inCode);
}

std::int32_t CompositeOf(const void* inSource, void* ioTarget, float inOpacity = 1.0F,
                         std::uint32_t inFormat = 0x004)
{
    return IR_Composite(inSource, kRow, 0x004, ioTarget, kRow, inFormat, 8, 4, inOpacity, 4);
}

// Two pictures of 8 by 4 summed.
struct TwoPictures
{
    Bytes first = Pixels(40);
    Bytes second = Pixels(80);
    std::array<const void*, 2> pixels = {first.data(), second.data()};
    std::array<std::int32_t, 2> rowBytes = {kRow, kRow};
    std::array<std::uint32_t, 2> formats = {0x00C, 0x00C};
    std::array<double, 2> weights = {0.5, 0.5};

    std::int32_t Into(void* outTarget, std::int32_t inCount = 2) const
    {
        return IR_Accumulate(pixels.data(), rowBytes.data(), formats.data(), weights.data(), inCount,
                             outTarget, kRow, 4, 8, 0x00C, 4);
    }
};

}

TEST(Composite, RefusesOpacitiesThatAreNoNumbersAndWritesNothing)
{
    const Bytes source = Pixels(200);
    Bytes target = Pixels(90);
    for (const float opacity : {kNaN, kInfinity, -kInfinity})
    {
        EXPECT_EQ(kIR_BadArgument, CompositeOf(source.data(), target.data(), opacity));
    }
    EXPECT_EQ(Pixels(90), target);
}

TEST(Composite, LimitsOpacityToItsRange)
{
    const Bytes source = Pixels(200);
    Bytes none = Pixels(90);
    Bytes all = Pixels(90);
    Bytes most = Pixels(90);
    EXPECT_EQ(kIR_Success, CompositeOf(source.data(), none.data(), -3.0F));
    EXPECT_EQ(Pixels(90), none);
    EXPECT_EQ(kIR_Success, CompositeOf(source.data(), all.data(), 7.0F));
    EXPECT_EQ(kIR_Success, CompositeOf(source.data(), most.data(), 1.0F));
    EXPECT_EQ(most, all);
    EXPECT_NE(none, all);
}

TEST(Composite, RefusesWhatIsNoPictureAndTargetsWithoutFourComponents)
{
    const Bytes source = Pixels(200);
    Bytes target = Pixels(90);
    EXPECT_EQ(kIR_NullPointer, CompositeOf(nullptr, target.data()));
    EXPECT_EQ(kIR_NullPointer, CompositeOf(source.data(), nullptr));
    EXPECT_EQ(kIR_UnknownFormat, CompositeOf(source.data(), target.data(), 1.0F, 0x000));
    EXPECT_EQ(kIR_UnknownFormat, CompositeOf(source.data(), target.data(), 1.0F, 0x042));
    EXPECT_EQ(kIR_BadSize,
              CompositeOf(source.data(), target.data(), 1.0F, 0x104)); // rows too short for floats
    EXPECT_EQ(kIR_BadSize,
              IR_Composite(source.data(), kRow, 0x004, target.data(), kRow, 0x004, 0, 4, 1.0F, 4));
    EXPECT_EQ(kIR_BadSize,
              IR_Composite(source.data(), kRow, 0x004, target.data(), kRow, 0x004, 8, -1, 1.0F, 4));
    EXPECT_EQ(Pixels(90), target);
}

TEST(Composite, RefusesOverlaps)
{
    Bytes memory(kRow * 6, 90);
    EXPECT_EQ(kIR_BadArgument, CompositeOf(memory.data(), memory.data()));
    EXPECT_EQ(kIR_BadArgument, CompositeOf(memory.data(), memory.data() + kRow));
    EXPECT_EQ(Bytes(kRow * 6, 90), memory);
}

TEST(Composite, TurnsBottomUpPicturesTheRightWayRound)
{
    Bytes source(kRow * 4);
    for (std::size_t i = 0; i < source.size(); ++i)
    {
        source[i] = i % 4 == 3 ? 255 : static_cast<std::uint8_t>(i / kRow * 10 + 5);
    }
    Bytes target = Pixels(0);
    // As IR_Convert has it, a bottom-up picture's address is that of its lowest row.
    ASSERT_EQ(kIR_Success,
              IR_Composite(source.data(), kRow, 0x004, target.data(), kRow, 0x2004, 8, 4, 1.0F, 4));
    EXPECT_EQ(35, target[0]);
    EXPECT_EQ(5, target[kRow * 3]);
}

TEST(Composite, KeepsWhatIsBrighterThanWhiteInLinearFloats)
{
    const std::array<float, 4> source = {3.0F, 0.0F, 0.5F, 0.5F};
    std::array<float, 4> target = {2.0F, 2.0F, -0.5F, 1.0F};
    ASSERT_EQ(kIR_Success, IR_Composite(source.data(), 16, 0x908, target.data(), 16, 0x908, 1, 1, 1.0F, 5));
    EXPECT_EQ((std::array<float, 4>{4.0F, 1.0F, 0.25F, 1.0F}), target);
}

TEST(Composite, MeetsInLightFromQualityFiveOn)
{
    const Bytes white = Pixels(255);
    for (const auto& [quality, wanted] : {std::pair<std::int32_t, int>{4, 128}, {5, 180}})
    {
        Bytes target = Pixels(0);
        for (std::size_t i = 3; i < target.size(); i += 4)
        {
            target[i] = 255;
        }
        ASSERT_EQ(kIR_Success,
                  IR_Composite(white.data(), kRow, 0x004, target.data(), kRow, 0x004, 8, 4, 0.5F, quality));
        // Half the light of white is coded as 1.0993 * 0.5^0.45 - 0.0993.
        EXPECT_NEAR(wanted, target[0], 1) << quality;
        EXPECT_EQ(255, target[3]);
    }
}

TEST(CrossDissolve, RefusesWhatItCannotDo)
{
    const Bytes first = Pixels(10);
    const Bytes second = Pixels(20);
    Bytes target = Pixels(90);
    const auto dissolve = [&](const void* inFirst, void* outTarget, float inWeight, std::uint32_t inFormat)
    {
        return IR_CrossDissolve(inFirst, kRow, 0x00C, second.data(), kRow, 0x00C, outTarget, kRow, inFormat,
                                8, 4, inWeight, 4);
    };
    EXPECT_EQ(kIR_BadArgument, dissolve(first.data(), target.data(), kNaN, 0x00C));
    EXPECT_EQ(kIR_BadArgument, dissolve(first.data(), target.data(), kInfinity, 0x00C));
    EXPECT_EQ(kIR_NullPointer, dissolve(nullptr, target.data(), 0.5F, 0x00C));
    EXPECT_EQ(kIR_NullPointer, dissolve(first.data(), nullptr, 0.5F, 0x00C));
    EXPECT_EQ(kIR_UnknownFormat, dissolve(first.data(), target.data(), 0.5F, 0x000));
    EXPECT_EQ(kIR_BadSize, dissolve(first.data(), target.data(), 0.5F, 0x104));
    EXPECT_EQ(Pixels(90), target);
    Bytes memory(kRow * 6, 90);
    EXPECT_EQ(kIR_BadArgument, dissolve(memory.data(), memory.data() + kRow, 0.5F, 0x00C));
    EXPECT_EQ(Bytes(kRow * 6, 90), memory);
}

TEST(CrossDissolve, GoesFromTheFirstToTheSecondAndNotBeyond)
{
    const Bytes first = Pixels(10);
    const Bytes second = Pixels(210);
    for (const auto& [weight, wanted] :
         {std::pair<float, int>{-1.0F, 10}, {0.0F, 10}, {0.25F, 60}, {0.5F, 110}, {1.0F, 210}, {9.0F, 210}})
    {
        Bytes target = Pixels(0);
        ASSERT_EQ(kIR_Success, IR_CrossDissolve(first.data(), kRow, 0x00C, second.data(), kRow, 0x00C,
                                                target.data(), kRow, 0x00C, 8, 4, weight, 4));
        EXPECT_EQ(wanted, target[0]) << weight;
        EXPECT_EQ(255, target[3]) << weight;
    }
}

TEST(CrossDissolve, LetsColourCountByItsAlpha)
{
    const Bytes clear = {200, 200, 200, 0};
    const Bytes solid = {100, 50, 0, 255};
    Bytes target(4);
    ASSERT_EQ(kIR_Success, IR_CrossDissolve(clear.data(), 4, 0x004, solid.data(), 4, 0x004, target.data(), 4,
                                            0x004, 1, 1, 0.5F, 4));
    EXPECT_EQ((Bytes{100, 50, 0, 128}), target);
    ASSERT_EQ(kIR_Success, IR_CrossDissolve(clear.data(), 4, 0x004, solid.data(), 4, 0x004, target.data(), 4,
                                            0x008, 1, 1, 0.5F, 4));
    EXPECT_EQ((Bytes{50, 25, 0, 128}), target);
}

TEST(Accumulate, RefusesWhatItCannotDo)
{
    Bytes target = Pixels(90);
    TwoPictures pictures;
    EXPECT_EQ(kIR_BadArgument, pictures.Into(target.data(), -1));
    EXPECT_EQ(kIR_NullPointer, pictures.Into(nullptr));
    EXPECT_EQ(kIR_NullPointer,
              IR_Accumulate(nullptr, pictures.rowBytes.data(), pictures.formats.data(),
                            pictures.weights.data(), 2, target.data(), kRow, 4, 8, 0x00C, 4));
    EXPECT_EQ(kIR_NullPointer,
              IR_Accumulate(pictures.pixels.data(), pictures.rowBytes.data(), pictures.formats.data(),
                            nullptr, 2, target.data(), kRow, 4, 8, 0x00C, 4));
    pictures.weights[1] = static_cast<double>(kNaN);
    EXPECT_EQ(kIR_BadArgument, pictures.Into(target.data()));
    pictures.weights[1] = static_cast<double>(kInfinity);
    EXPECT_EQ(kIR_BadArgument, pictures.Into(target.data()));
    pictures.weights[1] = 0.5;
    pictures.formats[1] = 0;
    EXPECT_EQ(kIR_UnknownFormat, pictures.Into(target.data()));
    pictures.formats[1] = 0x10C;
    EXPECT_EQ(kIR_BadSize, pictures.Into(target.data()));
    pictures.formats[1] = 0x00C;
    pictures.pixels[0] = target.data() + 4;
    EXPECT_EQ(kIR_BadArgument, pictures.Into(target.data()));
    EXPECT_EQ(Pixels(90), target);
}

TEST(Accumulate, TakesHeightBeforeWidth)
{
    Bytes target(kRow * 4, 90);
    TwoPictures pictures;
    ASSERT_EQ(kIR_Success, pictures.Into(target.data()));
    for (std::size_t i = 0; i < target.size(); ++i)
    {
        ASSERT_EQ(i % 4 == 3 ? 255 : 60, target[i]) << i;
    }
}

TEST(Accumulate, OfNothingIsBlackAndClearWhereItCanBe)
{
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        TestPictures::Memory target(code, 8, 4);
        ASSERT_EQ(kIR_Success, IR_Accumulate(nullptr, nullptr, nullptr, nullptr, 0, target.Pixels(),
                                             target.RowBytes(), 4, 8, code, 4));
        const ir::reference::Pixel pixel = ir::reference::ReadPixel(target.View(), 5, 2);
        for (int i = 0; i < 3; ++i)
        {
            EXPECT_EQ(0.0, pixel.c[i]) << TestPictures::Name(code);
        }
        EXPECT_EQ(target.View().HasAlpha() ? 0.0 : 1.0, pixel.c[3]) << TestPictures::Name(code);
    }
}

TEST(Accumulate, TakesWeightsThatDoNotSumToOne)
{
    Bytes target(kRow * 4, 90);
    TwoPictures pictures;
    pictures.weights = {2.0, 1.0};
    ASSERT_EQ(kIR_Success, pictures.Into(target.data()));
    EXPECT_EQ(160, target[0]);
    pictures.weights = {1.0, 1.0};
    ASSERT_EQ(kIR_Success, pictures.Into(target.data()));
    EXPECT_EQ(120, target[0]);
    pictures.weights = {-1.0, 0.75};
    ASSERT_EQ(kIR_Success, pictures.Into(target.data()));
    EXPECT_EQ(20, target[0]);
    pictures.weights = {-1.0, 0.25};
    ASSERT_EQ(kIR_Success, pictures.Into(target.data()));
    EXPECT_EQ(0, target[0]);
}

TEST(Accumulate, SumsMorePicturesThanBytesCanTakeAtATime)
{
    const std::size_t count = 100;
    const Bytes picture = Pixels(77);
    const std::vector<const void*> pixels(count, picture.data());
    const std::vector<std::int32_t> rowBytes(count, kRow);
    const std::vector<std::uint32_t> formats(count, 0x008);
    const std::vector<double> weights(count, 0.01);
    for (const std::int32_t used : {100, 32, 33})
    {
        Bytes target = Pixels(0);
        ASSERT_EQ(kIR_Success, IR_Accumulate(pixels.data(), rowBytes.data(), formats.data(), weights.data(),
                                             used, target.data(), kRow, 4, 8, 0x008, 4));
        EXPECT_NEAR(0.77 * used, target[0], 0.6) << used;
    }
}
