#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

#include "IR/BlendModes.h"
#include "MotionScenes.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace
{

using ir::reference::Pixel;
using TestPictures::Memory;
using TestPictures::Scene;

constexpr std::uint32_t kBGRX32f = 0x10C;
constexpr std::uint32_t kBGRP32f = 0x108;

// A grey with an alpha into every pixel, or one of them.
void Paint(const Memory& outMemory, double inGrey, double inAlpha)
{
    for (std::int32_t y = 0; y < outMemory.View().height; ++y)
    {
        for (std::int32_t x = 0; x < outMemory.View().width; ++x)
        {
            for (int c = 0; c < 4; ++c)
            {
                ir::reference::WritePlane(outMemory.View(), c, x, y, c == 3 ? inAlpha : inGrey);
            }
        }
    }
}

void PaintOne(const Memory& outMemory, std::int32_t inX, std::int32_t inY, double inGrey)
{
    for (int c = 0; c < 3; ++c)
    {
        ir::reference::WritePlane(outMemory.View(), c, inX, inY, inGrey);
    }
    ir::reference::WritePlane(outMemory.View(), 3, inX, inY, 1.0);
}

double Grey(const Memory& inMemory, std::int32_t inX, std::int32_t inY)
{
    return ir::reference::ReadPlane(inMemory.View(), 1, inX, inY);
}

double Alpha(const Memory& inMemory, std::int32_t inX, std::int32_t inY)
{
    return ir::reference::ReadPlane(inMemory.View(), 3, inX, inY);
}

// A white picture over black, in floats without rounding.
struct WhiteScene : Scene
{
    WhiteScene(std::int32_t inWidth, std::int32_t inHeight, std::int32_t inTargetWidth,
               std::int32_t inTargetHeight)
        : Scene(kBGRX32f, inWidth, inHeight, kBGRX32f, inTargetWidth, inTargetHeight)
    {
        Paint(source, 1.0, 1.0);
        Paint(target, 0.0, 1.0);
        settings.targetHasPicture = 1;
    }

    double SumOfRow(std::int32_t inY) const
    {
        double sum = 0.0;
        for (std::int32_t x = 0; x < to.width; ++x)
        {
            sum += Grey(target, x, inY);
        }
        return sum;
    }
};

std::vector<unsigned char> PixelBytes(const Memory& inMemory, std::int32_t inX, std::int32_t inY)
{
    const std::ptrdiff_t bytes = ir::PatternBytes(inMemory.View(), 0);
    const unsigned char* pixel = inMemory.View().Row(0, inY) + inX * bytes;
    return {pixel, pixel + bytes};
}

bool IsFourComponent(std::uint32_t inCode)
{
    return (inCode & 0xF0) == 0;
}

// What a source without alpha looks like once it was written: with it.
void MakeOpaque(Memory& ioMemory)
{
    for (std::int32_t y = 0; !ioMemory.View().HasAlpha() && y < ioMemory.View().height; ++y)
    {
        for (std::int32_t x = 0; x < ioMemory.View().width; ++x)
        {
            ir::reference::WritePlane(ioMemory.View(), 3, x, y, 1.0);
        }
    }
}

}

TEST(Motion, BringsTheAnchorToThePositionCountedUpwards)
{
    Scene scene(kBGRX32f, 4, 4, kBGRX32f, 10, 8);
    Paint(scene.source, 0.25, 1.0);
    PaintOne(scene.source, 3, 0, 1.0);
    Paint(scene.target, 0.0, 1.0);
    scene.settings.anchorX = 1.0F;
    scene.settings.anchorY = 1.0F; // the upper right corner
    scene.settings.positionX = 0.5F;
    scene.settings.positionY = 0.75F; // 5 from the left, 2 from the top
    ASSERT_EQ(kIR_Success, scene.Draw());
    EXPECT_EQ(1.0, Grey(scene.target, 4, 2));
    EXPECT_EQ(0.25, Grey(scene.target, 3, 2));
    EXPECT_EQ(0.25, Grey(scene.target, 1, 5));
    EXPECT_EQ(0.0, Grey(scene.target, 5, 2));
    EXPECT_EQ(0.0, Grey(scene.target, 4, 1));
    EXPECT_EQ(0.0, Grey(scene.target, 1, 6));
}

TEST(Motion, CopiesAPictureThatLiesWhereItWasBitForBit)
{
    std::mt19937 random(41);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        if (!IsFourComponent(code))
        {
            continue;
        }
        Scene scene(code, 21, 9, code, 21, 9);
        scene.source.Randomise(random);
        MakeOpaque(scene.source);
        ASSERT_EQ(kIR_Success, scene.Draw());
        EXPECT_EQ(scene.source.Packed(), scene.target.Packed()) << TestPictures::Name(code);
    }
}

TEST(Motion, TurnsByQuartersWithoutTouchingAPixel)
{
    std::mt19937 random(42);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        for (int quarter = 1; IsFourComponent(code) && quarter < 4; ++quarter)
        {
            const bool isAcross = quarter != 2;
            Scene scene(code, 13, 6, code, isAcross ? 6 : 13, isAcross ? 13 : 6);
            scene.source.Randomise(random);
            MakeOpaque(scene.source);
            scene.settings.rotation = 90.0 * quarter - 720.0;
            ASSERT_EQ(kIR_Success, scene.Draw());
            for (std::int32_t y = 0; y < 6; ++y)
            {
                for (std::int32_t x = 0; x < 13; ++x)
                {
                    const std::int32_t toX = quarter == 1 ? 5 - y : quarter == 2 ? 12 - x : y;
                    const std::int32_t toY = quarter == 1 ? x : quarter == 2 ? 5 - y : 12 - x;
                    ASSERT_EQ(PixelBytes(scene.source, x, y), PixelBytes(scene.target, toX, toY))
                        << TestPictures::Name(code) << " quarter " << quarter << " pixel " << x << " " << y;
                }
            }
        }
    }
}

TEST(Motion, CoversTheEdgesOfASubPixelMoveExactly)
{
    double previous = 1.0;
    for (int step = 0; step <= 32; ++step)
    {
        const double shift = step / 32.0;
        WhiteScene scene(8, 4, 16, 8);
        scene.PutCorner(3.0 + shift, 2.0);
        ASSERT_EQ(kIR_Success, scene.Draw());
        EXPECT_NEAR(1.0 - shift, Grey(scene.target, 3, 3), 1e-7);
        EXPECT_EQ(1.0, Grey(scene.target, 5, 3));
        EXPECT_NEAR(shift, Grey(scene.target, 11, 3), 1e-7);
        EXPECT_EQ(0.0, Grey(scene.target, 12, 3));
        EXPECT_NEAR(8.0, scene.SumOfRow(3), 1e-5);
        EXPECT_LE(Grey(scene.target, 3, 3), previous);
        previous = Grey(scene.target, 3, 3);
    }
}

TEST(Motion, CoversCornersByBothSides)
{
    WhiteScene scene(4, 4, 8, 8);
    scene.PutCorner(2.25, 2.5);
    ASSERT_EQ(kIR_Success, scene.Draw());
    EXPECT_NEAR(0.75 * 0.5, Grey(scene.target, 2, 2), 1e-7);
    EXPECT_NEAR(0.25 * 0.5, Grey(scene.target, 6, 6), 1e-7);
}

TEST(Motion, KeepsEdgesOnePixelWideAtAnyScale)
{
    for (const float scale : {1000.0F, 33.3F, -200.0F})
    {
        WhiteScene scene(3, 2, 40, 10);
        scene.settings.scaleX = scale;
        scene.settings.scaleY = std::fabs(scale);
        scene.PutCorner(20.25, -5.0);
        ASSERT_EQ(kIR_Success, scene.Draw());
        int partial = 0;
        for (std::int32_t x = 0; x < 40; ++x)
        {
            const double grey = Grey(scene.target, x, 5);
            partial += grey > 0.0 && grey < 1.0 ? 1 : 0;
            EXPECT_EQ(x == 20, grey > 0.0 && grey < 1.0) << scale << " at " << x;
        }
        EXPECT_EQ(1, partial) << scale;
        EXPECT_NEAR(scale > 0.0F ? 0.75 : 0.25, Grey(scene.target, 20, 5), 1e-3);
    }
}

TEST(Motion, LeavesNoSeamBetweenNeighboursOnWholePixels)
{
    for (const std::uint32_t code : {TestPictures::kBGRA8, TestPictures::kBGRP8, TestPictures::kBGRA32f})
    {
        Scene scene(code, 6, 5, code, 12, 5);
        Paint(scene.source, 1.0, 1.0);
        Paint(scene.target, 0.0, 1.0);
        scene.settings.targetHasPicture = 1;
        for (const double left : {0.0, 6.0})
        {
            scene.PutCorner(left, 0.0);
            ASSERT_EQ(kIR_Success, scene.Draw());
        }
        for (std::int32_t x = 0; x < 12; ++x)
        {
            EXPECT_EQ(1.0, Grey(scene.target, x, 2)) << TestPictures::Name(code) << " at " << x;
        }
    }
}

TEST(Motion, TakesWholePixelsFromFractionsThatFloatsCannotHold)
{
    std::mt19937 random(43);
    for (const std::int32_t left : {1, 7, 333, 1001})
    {
        Scene scene(TestPictures::kBGRA8, 40, 1, TestPictures::kBGRA8, 1111, 1);
        scene.source.Randomise(random);
        Paint(scene.target, 0.0, 0.0);
        scene.settings.anchorX = 0.3F; // 12 from the left, but for the last bit
        scene.settings.positionX = static_cast<float>((left + 12) / 1111.0);
        ASSERT_EQ(kIR_Success, scene.Draw());
        for (std::int32_t x = 0; x < 40; ++x)
        {
            ASSERT_EQ(PixelBytes(scene.source, x, 0), PixelBytes(scene.target, left + x, 0)) << left;
        }
    }
}

TEST(Motion, WidensAPictureOfWidePixels)
{
    WhiteScene scene(6, 6, 24, 12);
    scene.from.aspectNumerator = 2;
    scene.PutCorner(2.0, 3.0);
    ASSERT_EQ(kIR_Success, scene.Draw());
    EXPECT_NEAR(12.0, scene.SumOfRow(5), 1e-5);
    EXPECT_EQ(1.0, Grey(scene.target, 13, 8));
    EXPECT_EQ(0.0, Grey(scene.target, 14, 8));

    WhiteScene other(6, 6, 24, 12);
    other.from.aspectNumerator = other.to.aspectNumerator = 16;
    other.from.aspectDenominator = other.to.aspectDenominator = 15;
    other.PutCorner(2.0, 3.0);
    ASSERT_EQ(kIR_Success, other.Draw());
    EXPECT_EQ(6.0, other.SumOfRow(5));
}

TEST(Motion, FadesColourAndAlphaAlike)
{
    Scene scene(kBGRP32f, 4, 4, kBGRP32f, 4, 4);
    Paint(scene.source, 0.5, 1.0);
    Paint(scene.target, 0.0, 0.0);
    scene.settings.opacity = 0.25F;
    ASSERT_EQ(kIR_Success, scene.Draw());
    EXPECT_FLOAT_EQ(0.125F, static_cast<float>(Grey(scene.target, 2, 2)));
    EXPECT_FLOAT_EQ(0.25F, static_cast<float>(Alpha(scene.target, 2, 2)));
}

TEST(Motion, MixesLinesThatWouldFlicker)
{
    WhiteScene scene(4, 8, 4, 8);
    for (std::int32_t y = 0; y < 8; y += 2)
    {
        for (std::int32_t x = 0; x < 4; ++x)
        {
            PaintOne(scene.source, x, y, 0.0);
        }
    }
    scene.settings.antiFlicker = 1.0;
    ASSERT_EQ(kIR_Success, scene.Draw());
    for (std::int32_t y = 1; y < 7; ++y)
    {
        EXPECT_NEAR(0.5, Grey(scene.target, 1, y), 1e-6);
    }
    EXPECT_EQ(1.0, Alpha(scene.target, 1, 0)); // the edge stays where it is
}

TEST(Motion, DrawsOnlyTheRowsOfTheField)
{
    for (const std::int32_t field : {kIR_UpperField, kIR_LowerField})
    {
        Scene scene(TestPictures::kBGRA8, 6, 7, TestPictures::kBGRA8, 6, 7);
        for (std::int32_t y = 0; y < 7; ++y)
        {
            for (std::int32_t x = 0; x < 6; ++x)
            {
                PaintOne(scene.source, x, y, (y + 1) / 8.0);
            }
        }
        Paint(scene.target, 0.0, 0.0);
        scene.settings.field = field;
        ASSERT_EQ(kIR_Success, scene.Draw());
        for (std::int32_t y = 0; y < 7; ++y)
        {
            const bool isDrawn = (y % 2 == 1) == (field == kIR_LowerField);
            EXPECT_EQ(PixelBytes(isDrawn ? scene.source : scene.target, 3, y),
                      PixelBytes(scene.target, 3, y));
            EXPECT_EQ(isDrawn ? 1.0 : 0.0, Alpha(scene.target, 3, y)) << y;
        }
    }
}

TEST(Motion, ShowsTheFieldOfTheSameMoment)
{
    for (const std::int32_t order : {1, 2})
    {
        Scene scene(kBGRX32f, 4, 16, kBGRX32f, 4, 16);
        for (std::int32_t y = 0; y < 16; ++y)
        {
            for (std::int32_t x = 0; x < 4; ++x)
            {
                PaintOne(scene.source, x, y, y % 2 == 0 ? 0.25 : 0.75);
            }
        }
        Paint(scene.target, 0.0, 1.0);
        scene.from.fieldType = order;
        scene.to.fieldType = 1;
        ASSERT_EQ(kIR_Success, scene.Draw());
        for (std::int32_t y = 2; y < 14; ++y)
        {
            const bool isUpper = y % 2 == 0;
            EXPECT_NEAR(isUpper == (order == 1) ? 0.25 : 0.75, Grey(scene.target, 1, y), 1e-6) << order << y;
        }
    }
}

TEST(Motion, DrawsTheSameWithTheRectangleThatHoldsAnything)
{
    std::mt19937 random(44);
    for (int i = 0; i < 60; ++i)
    {
        const std::uint32_t code = i % 2 == 0 ? TestPictures::kBGRA8 : kBGRP32f;
        Scene whole(code, 30, 24, code, 40, 32);
        Paint(whole.source, 0.0, 0.0);
        const IR_Rect holds = {7, 9, 16, 15};
        for (std::int32_t y = holds.top; y < holds.bottom; ++y)
        {
            for (std::int32_t x = holds.left; x < holds.right; ++x)
            {
                PaintOne(whole.source, x, y, static_cast<double>(random() % 256) / 255.0);
            }
        }
        whole.target.RandomiseModerately(random); // clear pixels of straight targets would lose their colour
        whole.settings.targetHasPicture = 1;
        whole.settings.rotation = i % 3 == 0 ? 0.0 : static_cast<double>(random() % 360);
        whole.settings.scaleX = whole.settings.scaleY = 0.2F + static_cast<float>(random() % 100) * 0.02F;
        whole.settings.quality = 1 + i % 5;
        Memory clipped = whole.target;
        const Memory before = whole.target;
        IR_MotionPicture to = TestPictures::Described(clipped);
        IR_Rect clip = holds;
        ASSERT_EQ(kIR_Success, whole.Draw());
        ASSERT_EQ(kIR_Success, IR_Motion(&whole.from, &to, &clip, &whole.settings));
        ASSERT_EQ(whole.target.Packed(), clipped.Packed()) << whole.Text();
        ir::Picture seen;
        ASSERT_EQ(kIR_Success, ir::PictureFromCode(clipped.Pixels(), clipped.RowBytes(), 40, 32, code, seen));
        for (std::int32_t y = 0; y < 32; ++y)
        {
            for (std::int32_t x = 0; x < 40; ++x)
            {
                const bool isInside = x >= clip.left && x < clip.right && y >= clip.top && y < clip.bottom;
                ASSERT_TRUE(isInside || PixelBytes(before, x, y) == PixelBytes(whole.target, x, y));
            }
        }
    }
}

TEST(Motion, TakesThePartOfAnOpaquePictureAsThePicture)
{
    std::mt19937 random(45);
    Scene whole(TestPictures::kBGRX8, 20, 18, TestPictures::kBGRA8, 30, 30);
    whole.source.Randomise(random);
    whole.target.Randomise(random);
    whole.settings.targetHasPicture = 1;
    whole.PutCorner(4.0, 3.0);
    Memory tiled = whole.target;
    IR_MotionPicture to = TestPictures::Described(tiled);
    ASSERT_EQ(kIR_Success, whole.Draw());
    for (const IR_Rect& part : {IR_Rect{0, 0, 7, 18}, IR_Rect{7, 0, 20, 5}, IR_Rect{7, 5, 20, 18}})
    {
        IR_Rect clip = part;
        ASSERT_EQ(kIR_Success, IR_Motion(&whole.from, &to, &clip, &whole.settings));
        EXPECT_EQ(part.left + 4, clip.left);
        EXPECT_EQ(part.bottom + 3, clip.bottom);
    }
    EXPECT_EQ(whole.target.Packed(), tiled.Packed());

    WhiteScene scene(8, 8, 16, 16);
    scene.settings.scaleX = scene.settings.scaleY = 1.5F;
    scene.PutCorner(0.0, 0.0);
    IR_Rect clip = {2, 0, 4, 8};
    ASSERT_EQ(kIR_Success, IR_Motion(&scene.from, &scene.to, &clip, &scene.settings));
    EXPECT_NEAR(3.0, scene.SumOfRow(4), 1e-5);
    EXPECT_EQ(3, clip.left);
    EXPECT_EQ(6, clip.right);
}

TEST(Motion, DrawsNothingOfNothing)
{
    for (const IR_Rect& empty : {IR_Rect{0, 0, 0, 0}, IR_Rect{5, 5, 2, 9}, IR_Rect{50, 0, 60, 4}})
    {
        WhiteScene scene(8, 8, 8, 8);
        const std::vector<unsigned char> before = scene.target.Packed();
        IR_Rect clip = empty;
        ASSERT_EQ(kIR_Success, IR_Motion(&scene.from, &scene.to, &clip, &scene.settings));
        EXPECT_EQ(before, scene.target.Packed());
        EXPECT_TRUE(clip.left == 0 && clip.top == 0 && clip.right == 0 && clip.bottom == 0);
    }
    WhiteScene flat(8, 8, 8, 8);
    flat.settings.scaleX = 0.0F;
    const std::vector<unsigned char> before = flat.target.Packed();
    EXPECT_EQ(kIR_Success, flat.Draw());
    EXPECT_EQ(before, flat.target.Packed());
    WhiteScene away(8, 8, 8, 8);
    away.settings.positionX = 1e30F;
    EXPECT_EQ(kIR_Success, away.Draw());
    EXPECT_EQ(before, away.target.Packed());
    WhiteScene clear(8, 8, 8, 8);
    clear.settings.opacity = -1.0F;
    EXPECT_EQ(kIR_Success, clear.Draw());
    EXPECT_EQ(before, clear.target.Packed());
}

TEST(Motion, TakesPlanarPicturesAsSources)
{
    std::mt19937 random(46);
    Scene scene(TestPictures::k420Frame709, 12, 8, TestPictures::kBGRX8, 12, 8);
    scene.source.Randomise(random);
    Memory expected(TestPictures::kBGRX8, 12, 8);
    ASSERT_EQ(kIR_Success, IR_Convert(scene.source.Pixels(), scene.source.RowBytes(), scene.source.Code(),
                                      expected.Pixels(), expected.RowBytes(), expected.Code(), 12, 8, 4));
    ASSERT_EQ(kIR_Success, scene.Draw());
    EXPECT_EQ(expected.Packed(), scene.target.Packed());
}

TEST(Motion, BlendsAsTheModeSays)
{
    Scene scene(kBGRX32f, 4, 4, kBGRX32f, 4, 4);
    Paint(scene.source, 0.5, 1.0);
    Paint(scene.target, 0.6, 1.0);
    scene.settings.targetHasPicture = 1;
    scene.settings.opacity = 0.5F;
    ASSERT_EQ(kIR_Success,
              IR_MotionWithBlendMode(&scene.from, &scene.to, nullptr, &scene.settings, kIR_Blend_Multiply));
    EXPECT_NEAR(0.6 * 0.5 + 0.3 * 0.5, Grey(scene.target, 2, 2), 1e-6);

    Paint(scene.target, 0.6, 1.0);
    scene.settings.targetHasPicture = 0;
    scene.settings.opacity = 1.0F;
    ASSERT_EQ(kIR_Success,
              IR_MotionWithBlendMode(&scene.from, &scene.to, nullptr, &scene.settings, kIR_Blend_Multiply));
    EXPECT_NEAR(0.5, Grey(scene.target, 2, 2), 1e-6);
}

TEST(Motion, RefusesWhatIsNoMotion)
{
    const auto refusal = [](const auto& inSpoil)
    {
        WhiteScene scene(8, 8, 8, 8);
        inSpoil(scene);
        const std::vector<unsigned char> before = scene.target.Packed();
        IR_Rect clip = {1, 2, 3, 4};
        const std::int32_t status = IR_Motion(&scene.from, &scene.to, &clip, &scene.settings);
        EXPECT_EQ(before, scene.target.Packed());
        EXPECT_TRUE(status == kIR_Success || (clip.left == 1 && clip.bottom == 4));
        return status;
    };
    const float none = std::numeric_limits<float>::quiet_NaN();
    const float endless = std::numeric_limits<float>::infinity();
    EXPECT_EQ(kIR_BadArgument, refusal([&](Scene& s) { s.settings.positionX = none; }));
    EXPECT_EQ(kIR_BadArgument, refusal([&](Scene& s) { s.settings.anchorY = endless; }));
    EXPECT_EQ(kIR_BadArgument, refusal([&](Scene& s) { s.settings.scaleY = -endless; }));
    EXPECT_EQ(kIR_BadArgument, refusal([&](Scene& s) { s.settings.opacity = none; }));
    EXPECT_EQ(kIR_BadArgument,
              refusal([&](Scene& s) { s.settings.rotation = static_cast<double>(endless); }));
    EXPECT_EQ(kIR_BadArgument,
              refusal([&](Scene& s) { s.settings.antiFlicker = static_cast<double>(none); }));
    EXPECT_EQ(kIR_BadArgument, refusal([](Scene& s) { s.settings.field = 3; }));
    EXPECT_EQ(kIR_BadArgument, refusal([](Scene& s) { s.from.fieldType = -1; }));
    EXPECT_EQ(kIR_BadArgument, refusal([](Scene& s) { s.to.aspectDenominator = 0; }));
    EXPECT_EQ(kIR_BadArgument, refusal([](Scene& s) { s.from.pixels = s.to.pixels; }));
    EXPECT_EQ(kIR_NullPointer, refusal([](Scene& s) { s.from.pixels = nullptr; }));
    EXPECT_EQ(kIR_NullPointer, refusal([](Scene& s) { s.to.pixels = nullptr; }));
    EXPECT_EQ(kIR_BadSize, refusal([](Scene& s) { s.from.width = 0; }));
    EXPECT_EQ(kIR_BadSize, refusal([](Scene& s) { s.to.height = -3; }));
    EXPECT_EQ(kIR_BadSize, refusal([](Scene& s) { s.to.rowBytes = 12; }));
    EXPECT_EQ(kIR_UnknownFormat, refusal([](Scene& s) { s.from.format = 0x4000; }));
    EXPECT_EQ(kIR_UnknownFormat, refusal([](Scene& s) { s.to.format = TestPictures::k420Frame709; }));

    WhiteScene scene(8, 8, 8, 8);
    EXPECT_EQ(kIR_NullPointer, IR_Motion(nullptr, &scene.to, nullptr, &scene.settings));
    EXPECT_EQ(kIR_NullPointer, IR_Motion(&scene.from, nullptr, nullptr, &scene.settings));
    EXPECT_EQ(kIR_NullPointer, IR_Motion(&scene.from, &scene.to, nullptr, nullptr));
    EXPECT_EQ(kIR_BadArgument, IR_MotionWithBlendMode(&scene.from, &scene.to, nullptr, &scene.settings, 27));
}
