#include "Tests/ReferenceHost/Effects/EffectScenes.h"

#include <algorithm>
#include <cmath>

// Keys that find their matte from colour, each beside its formula in double.
namespace
{

using namespace EffectScenes;
using TestSupport::MakeChoiceParameter;
using TestSupport::MakeNumberParameter;
using TestSupport::MakeTruthParameter;

double Luma(const Pixel& inPixel)
{
    return 0.2126 * inPixel[0] + 0.7152 * inPixel[1] + 0.0722 * inPixel[2];
}

double Stretched(double inValue, double inCutoff, double inThreshold)
{
    return std::clamp((inValue - inCutoff) / (inThreshold - inCutoff), 0.0, 1.0);
}

Pixel WithMatte(Pixel inPixel, double inMatte)
{
    inPixel[3] *= inMatte;
    return inPixel;
}

// What a key makes of one opaque colour.
Pixel KeyOf(const std::string& inName, const Values& inValues, const Pixel& inColor)
{
    const auto result =
        RunFilter(inName, inValues, FrameOf(Filled(3, 2, inColor), MF::kPixelFormat_BGRA_4444_32f));
    EXPECT_TRUE(result) << inName;
    return result ? SceneOf(result).At(1, 1) : Pixel{};
}

TEST(LumaKey, KeepsWhatIsBright)
{
    ExpectPixelFormula("VX.ZNTR Legacy Key Luma", {},
                       [](const Pixel& inPixel) { return WithMatte(inPixel, Luma(inPixel)); });
    ExpectPixelFormula(
        "VX.ZNTR Legacy Key Luma", {{0, MakeNumberParameter(70.0)}, {1, MakeNumberParameter(25.0)}},
        [](const Pixel& inPixel) { return WithMatte(inPixel, Stretched(Luma(inPixel), 0.25, 0.7)); });
}

TEST(LumaKey, KeepsWhatIsDarkWhereTheCutoffIsTheGreater)
{
    ExpectPixelFormula(
        "VX.ZNTR Legacy Key Luma", {{0, MakeNumberParameter(20.0)}, {1, MakeNumberParameter(80.0)}},
        [](const Pixel& inPixel) { return WithMatte(inPixel, Stretched(Luma(inPixel), 0.8, 0.2)); });
}

TEST(LumaKey, CutsHardWhereCutoffAndThresholdAreEqual)
{
    const Values half = {{0, MakeNumberParameter(50.0)}, {1, MakeNumberParameter(50.0)}};
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key Luma", half, {0.4, 0.4, 0.4, 1.0})[3], 0.0);
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key Luma", half, {0.6, 0.6, 0.6, 1.0})[3], 1.0);
}

TEST(LumaKey, ShowsItsMatteInGrey)
{
    ExpectPixelFormula("VX.ZNTR Legacy Key Luma", {{3, MakeTruthParameter(true)}},
                       [](const Pixel& inPixel)
                       {
                           const double shown = inPixel[3] * Luma(inPixel);
                           return Pixel{shown, shown, shown, 1.0};
                       });
}

TEST(LumaKey, SmoothsItsMatteByBinomialWeights)
{
    const std::vector<std::vector<double>> weights = {
        {1}, {0.25, 0.5, 0.25}, {0.0625, 0.25, 0.375, 0.25, 0.0625}};
    const auto frame = FrameOf(Noise(23, 11, 8), MF::kPixelFormat_BGRA_4444_32f);
    const Scene scene = SceneOf(frame);
    for (int reach = 0; reach <= 2; ++reach)
    {
        const auto result = RunFilter("VX.ZNTR Legacy Key Luma",
                                      {{2, MakeChoiceParameter(static_cast<std::uint32_t>(reach))}}, frame);
        ASSERT_TRUE(result);
        Scene expected = scene;
        for (int y = 0; y < scene.height; ++y)
        {
            for (int x = 0; x < scene.width; ++x)
            {
                double sum = 0.0;
                for (int i = 0; i <= 2 * reach; ++i)
                {
                    for (int j = 0; j <= 2 * reach; ++j)
                    {
                        const auto& kernel = weights[static_cast<std::size_t>(reach)];
                        const Pixel& near = scene.At(std::clamp(x + j - reach, 0, scene.width - 1),
                                                     std::clamp(y + i - reach, 0, scene.height - 1));
                        sum += kernel[static_cast<std::size_t>(i)] * kernel[static_cast<std::size_t>(j)] *
                               Luma(near);
                    }
                }
                expected.At(x, y) = WithMatte(scene.At(x, y), sum);
            }
        }
        EXPECT_TRUE(AreNear(SceneOf(result), expected, 1e-5)) << "reach " << reach;
    }
}

TEST(LumaKey, SmoothsPicturesThatAreSmallerThanItsReach)
{
    for (const int size : {1, 2, 3})
    {
        const auto frame = FrameOf(Filled(size, size, {0.5, 0.5, 0.5, 1.0}), MF::kPixelFormat_BGRA_4444_32f);
        const auto result = RunFilter("VX.ZNTR Legacy Key Luma", {{2, MakeChoiceParameter(2)}}, frame);
        ASSERT_TRUE(result);
        EXPECT_TRUE(AreNear(SceneOf(result), Filled(size, size, {0.5, 0.5, 0.5, 0.5}), 1e-6)) << size;
    }
}

TEST(ChromaKey, GoesByDistanceOfChromaThenStretches)
{
    const auto distance = [](const Pixel& inPixel, const Pixel& inKey)
    {
        const double u = ((inPixel[2] - Luma(inPixel)) - (inKey[2] - Luma(inKey))) / 1.8556;
        const double v = ((inPixel[0] - Luma(inPixel)) - (inKey[0] - Luma(inKey))) / 1.5748;
        return std::hypot(u, v);
    };
    ExpectPixelFormula("VX.ZNTR Legacy Key Chroma",
                       {{0, ColorValue(51, 153, 102)},
                        {1, MakeNumberParameter(15.0)},
                        {2, MakeNumberParameter(40.0)},
                        {3, MakeNumberParameter(90.0)},
                        {4, MakeNumberParameter(10.0)}},
                       [&](const Pixel& inPixel)
                       {
                           const double far = distance(inPixel, {0.2, 0.6, 0.4, 1.0});
                           return WithMatte(inPixel, Stretched(Stretched(far, 0.15, 0.55), 0.1, 0.9));
                       });
}

TEST(ChromaKey, TakesItsColourWhateverGreyIsAdded)
{
    const Values green = {{0, ColorValue(51, 153, 51)}};
    for (const double grey : {-0.2, 0.0, 0.4})
    {
        const Pixel color = {0.2 + grey, 0.6 + grey, 0.2 + grey, 1.0};
        EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key Chroma", green, color)[3], 0.0) << grey;
    }
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key Chroma", green, {0.85, 0.55, 0.45, 1.0})[3], 1.0) << "skin";
}

TEST(RGBDifferenceKey, GoesByTheGreatestDifference)
{
    ExpectPixelFormula(
        "VX.ZNTR Legacy Key RGBDifference",
        {{0, ColorValue(51, 153, 102)}, {1, MakeNumberParameter(15.0)}, {2, MakeNumberParameter(40.0)}},
        [](const Pixel& inPixel)
        {
            const double far = std::max(
                {std::abs(inPixel[0] - 0.2), std::abs(inPixel[1] - 0.6), std::abs(inPixel[2] - 0.4)});
            return WithMatte(inPixel, Stretched(far, 0.15, 0.55));
        });
}

TEST(RGBDifferenceKey, TakesOneColourOnlyWithoutSimilarityAndBlend)
{
    const Values exact = {
        {0, ColorValue(0, 0, 255)}, {1, MakeNumberParameter(0.0)}, {2, MakeNumberParameter(0.0)}};
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key RGBDifference", exact, {0.0, 0.0, 1.0, 1.0})[3], 0.0);
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key RGBDifference", exact, {0.0, 0.0, 0.99, 1.0})[3], 1.0);
}

TEST(BlueScreenKey, GoesByBlueAboveTheOthersAndLowersIt)
{
    ExpectPixelFormula(
        "VX.ZNTR Legacy Key BlueScreen",
        {{0, MakeNumberParameter(95.0)}, {1, MakeNumberParameter(40.0)}, {2, MakeNumberParameter(75.0)}},
        [](const Pixel& inPixel)
        {
            const double more = std::max(0.0, inPixel[2] - std::max(inPixel[0], inPixel[1]));
            Pixel result = WithMatte(inPixel, Stretched(1.0 - more, 0.4, 0.95));
            result[2] -= 0.75 * more;
            return result;
        });
}

TEST(GreenScreenKey, GoesByGreenAboveTheOthersAndLowersIt)
{
    ExpectPixelFormula(
        "VX.ZNTR Legacy Key GreenScreen",
        {{0, MakeNumberParameter(95.0)}, {1, MakeNumberParameter(40.0)}, {2, MakeNumberParameter(75.0)}},
        [](const Pixel& inPixel)
        {
            const double more = std::max(0.0, inPixel[1] - std::max(inPixel[0], inPixel[2]));
            Pixel result = WithMatte(inPixel, Stretched(1.0 - more, 0.4, 0.95));
            result[1] -= 0.75 * more;
            return result;
        });
}

TEST(NonRedKey, GoesByGreenOrBlueAboveRedAndDefringes)
{
    for (std::uint32_t fringe = 0; fringe < 3; ++fringe)
    {
        ExpectPixelFormula("VX.ZNTR Legacy Key NonRed",
                           {{0, MakeNumberParameter(95.0)},
                            {1, MakeNumberParameter(40.0)},
                            {2, MakeChoiceParameter(fringe)}},
                           [&](const Pixel& inPixel)
                           {
                               const double more =
                                   std::max(0.0, std::max(inPixel[1], inPixel[2]) - inPixel[0]);
                               Pixel result = WithMatte(inPixel, Stretched(1.0 - more, 0.4, 0.95));
                               if (fringe != 0)
                               {
                                   const double other = std::max(inPixel[0], inPixel[3 - fringe]);
                                   result[fringe] = std::min(inPixel[fringe], other);
                               }
                               return result;
                           });
    }
}

TEST(ScreenKeys, TakeStudioScreensAndKeepSkinAsTheyCome)
{
    const Pixel blue = {0.1, 0.2, 0.7, 1.0};
    const Pixel green = {0.15, 0.7, 0.2, 1.0};
    const Pixel skin = {0.85, 0.6, 0.5, 1.0};
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key BlueScreen", {}, blue)[3], 0.0);
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key BlueScreen", {}, green)[3], 1.0);
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key GreenScreen", {}, green)[3], 0.0);
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key GreenScreen", {}, blue)[3], 1.0);
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key NonRed", {}, blue)[3], 0.0);
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key NonRed", {}, green)[3], 0.0);
    for (const char* name :
         {"VX.ZNTR Legacy Key BlueScreen", "VX.ZNTR Legacy Key GreenScreen", "VX.ZNTR Legacy Key NonRed"})
    {
        EXPECT_EQ(KeyOf(name, {}, skin), KeyOf("vrender:asc-cdl", {}, skin)) << name;
    }
}

TEST(MultiplyKey, TakesWhiteOutOfColour)
{
    ExpectPixelFormula("VX.ZNTR Legacy Key Multiply",
                       {{0, MakeNumberParameter(80.0)}, {1, MakeNumberParameter(20.0)}},
                       [](const Pixel& inPixel)
                       {
                           const double alpha = 1.0 - std::min({inPixel[0], inPixel[1], inPixel[2]});
                           Pixel result = WithMatte(inPixel, 0.8 * Stretched(alpha, 0.2, 1.0));
                           for (std::size_t c = 0; c < 3; ++c)
                           {
                               result[c] = (inPixel[c] - (1.0 - alpha)) / alpha;
                           }
                           return result;
                       });
}

TEST(ScreenKey, TakesBlackOutOfColour)
{
    ExpectPixelFormula("VX.ZNTR Legacy Key Screen",
                       {{0, MakeNumberParameter(80.0)}, {1, MakeNumberParameter(20.0)}},
                       [](const Pixel& inPixel)
                       {
                           const double alpha = std::max({inPixel[0], inPixel[1], inPixel[2]});
                           Pixel result = WithMatte(inPixel, 0.8 * Stretched(alpha, 0.2, 1.0));
                           for (std::size_t c = 0; c < 3; ++c)
                           {
                               result[c] = inPixel[c] / alpha;
                           }
                           return result;
                       });
}

double Over(const Pixel& inFront, double inBack, std::size_t inComponent)
{
    return inFront[inComponent] * inFront[3] + inBack * (1.0 - inFront[3]);
}

TEST(MultiplyKey, MultipliesByGreyAndStaysOverWhite)
{
    const Pixel grey = KeyOf("VX.ZNTR Legacy Key Multiply", {}, {0.3, 0.3, 0.3, 1.0});
    const Pixel color = {0.9, 0.4, 0.2, 1.0};
    const Pixel keyed = KeyOf("VX.ZNTR Legacy Key Multiply", {}, color);
    for (std::size_t c = 0; c < 3; ++c)
    {
        EXPECT_NEAR(Over(grey, 0.6, c), 0.3 * 0.6, 1e-6);
        EXPECT_NEAR(Over(keyed, 1.0, c), color[c], 1e-6);
    }
}

TEST(ScreenKey, ScreensWithGreyAndStaysOverBlack)
{
    const Pixel grey = KeyOf("VX.ZNTR Legacy Key Screen", {}, {0.3, 0.3, 0.3, 1.0});
    const Pixel color = {0.9, 0.4, 0.2, 1.0};
    const Pixel keyed = KeyOf("VX.ZNTR Legacy Key Screen", {}, color);
    for (std::size_t c = 0; c < 3; ++c)
    {
        EXPECT_NEAR(Over(grey, 0.6, c), 0.3 + 0.6 - 0.3 * 0.6, 1e-6);
        EXPECT_NEAR(Over(keyed, 0.0, c), color[c], 1e-6);
    }
}

TEST(BlendKeys, LetGroundsThroughThatAreNothingButThat)
{
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key Multiply", {}, {1.0, 1.0, 1.0, 1.0}), (Pixel{0, 0, 0, 0}));
    EXPECT_EQ(KeyOf("VX.ZNTR Legacy Key Screen", {}, {0.0, 0.0, 0.0, 1.0}), (Pixel{0, 0, 0, 0}));
}

TEST(Keys, MakeAnOpaqueFrameOneThatMayBeSeenThrough)
{
    for (const char* name :
         {"Luma", "Chroma", "RGBDifference", "BlueScreen", "GreenScreen", "NonRed", "Multiply", "Screen"})
    {
        const auto frame = FrameOf(Noise(8, 8, 3, true), Formats()[0].format);
        frame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
        const auto result = RunFilter(std::string("VX.ZNTR Legacy Key ") + name, {}, frame);
        ASSERT_TRUE(result) << name;
        EXPECT_TRUE(result->MayHaveTransparency()) << name;
    }
}

} // namespace
