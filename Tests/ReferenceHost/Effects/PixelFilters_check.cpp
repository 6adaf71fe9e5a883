#include "ReferenceHost/Effects/EffectRegistry.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "Tests/Support/Paths.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>

// Filters of pixels by themselves, each beside its formula in double.
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

Pixel FromYuv(double inY, double inU, double inV, double inAlpha)
{
    const double red = inY + 1.5748 * inV;
    const double blue = inY + 1.8556 * inU;
    return {red, (inY - 0.2126 * red - 0.0722 * blue) / 0.7152, blue, inAlpha};
}

TEST(ProcAmp, ChangesBrightnessContrastHueAndSaturation)
{
    const double turn = 35.0 * std::numbers::pi / 180.0;
    ExpectPixelFormula("VX.ZNTR ProcAmp",
                       {{0, MakeNumberParameter(12.0)},
                        {1, MakeNumberParameter(130.0)},
                        {2, MakeNumberParameter(35.0)},
                        {3, MakeNumberParameter(70.0)}},
                       [&](const Pixel& inPixel)
                       {
                           const double y = Luma(inPixel);
                           const double u = (inPixel[2] - y) / 1.8556 * 1.3 * 0.7;
                           const double v = (inPixel[0] - y) / 1.5748 * 1.3 * 0.7;
                           return FromYuv(1.3 * y + 0.12, std::cos(turn) * u - std::sin(turn) * v,
                                          std::sin(turn) * u + std::cos(turn) * v, inPixel[3]);
                       });
}

TEST(ProcAmp, LeavesTheRightOfASplitScreen)
{
    const Scene noise = Noise(40, 8, 3);
    const auto frame = FrameOf(noise, Formats()[2].format);
    const auto result = RunFilter(
        "VX.ZNTR ProcAmp",
        {{0, MakeNumberParameter(50.0)}, {4, MakeTruthParameter(true)}, {5, MakeNumberParameter(25.0)}},
        frame);
    ASSERT_TRUE(result);
    const Scene before = SceneOf(frame);
    const Scene after = SceneOf(result);
    EXPECT_NEAR(after.At(9, 3)[1], before.At(9, 3)[1] + 0.5, 1e-5);
    EXPECT_NEAR(after.At(10, 3)[1], before.At(10, 3)[1], 1e-6);
}

TEST(AlphaAdjust, ScalesInvertsIgnoresAndShowsAlpha)
{
    for (int set = 0; set < 8; ++set)
    {
        const bool ignores = set % 2 != 0;
        const bool inverts = set / 2 % 2 != 0;
        const bool isMask = set / 4 != 0;
        ExpectPixelFormula("VX.ZNTR Alpha Adjust",
                           {{0, MakeNumberParameter(60.0)},
                            {1, MakeTruthParameter(ignores)},
                            {2, MakeTruthParameter(inverts)},
                            {3, MakeTruthParameter(isMask)}},
                           [&](const Pixel& inPixel)
                           {
                               const double alpha = ignores ? 1.0 : inPixel[3];
                               const double shown = 0.6 * (inverts ? 1.0 - alpha : alpha);
                               return isMask ? Pixel{shown, shown, shown, 1.0}
                                             : Pixel{inPixel[0], inPixel[1], inPixel[2], shown};
                           });
    }
}

TEST(AlphaAdjust, MakesAnOpaqueFrameOneThatMayBeSeenThrough)
{
    const auto frame = FrameOf(Noise(8, 8, 3, true), Formats()[0].format);
    frame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    const auto result = RunFilter("VX.ZNTR Alpha Adjust", {{0, MakeNumberParameter(60.0)}}, frame);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->MayHaveTransparency());
}

double Level(double inValue, double inBlack, double inWhite, double inGamma, double inLow, double inHigh)
{
    const double place = std::clamp((inValue - inBlack) / (inWhite - inBlack), 0.0, 1.0);
    return inLow + (inHigh - inLow) * std::pow(place, 1.0 / inGamma);
}

TEST(Levels, MapEachComponentThenAll)
{
    Values values;
    const double numbers[4][5] = {
        {10, 90, 1.4, 5, 95}, {0, 80, 0.7, 0, 100}, {20, 100, 1, 10, 100}, {0, 100, 2, 0, 60}};
    for (std::size_t set = 0; set < 4; ++set)
    {
        for (std::size_t place = 0; place < 5; ++place)
        {
            values.emplace_back(set * 5 + place, MakeNumberParameter(numbers[set][place]));
        }
    }
    const auto level = [&](std::size_t inSet, double inValue)
    {
        const double* set = numbers[inSet];
        return Level(inValue, set[0] / 100, set[1] / 100, set[2], set[3] / 100, set[4] / 100);
    };
    ExpectPixelFormula("vrender:levels", values,
                       [&](const Pixel& inPixel)
                       {
                           return Pixel{level(0, level(1, inPixel[0])), level(0, level(2, inPixel[1])),
                                        level(0, level(3, inPixel[2])), inPixel[3]};
                       });
}

// The monotone cubic through (0, 0.1), (0.4, 0.2), (0.6, 0.8), (1, 0.8): chords 0.25, 3 and 0.
double Curve(double inX)
{
    const double xs[4] = {0.0, 0.4, 0.6, 1.0};
    const double ys[4] = {0.1, 0.2, 0.8, 0.8};
    // Slopes by Fritsch and Carlson: means of the chords beside a point, 0 where they don't agree, drawn in where
    // they would overshoot.
    double slopes[4] = {0.25, 1.625, 0.0, 0.0};
    const double length = std::hypot(0.25 / 0.25, 1.625 / 0.25);
    slopes[0] = 3.0 * 1.0 / length * 0.25;
    slopes[1] = 3.0 * 6.5 / length * 0.25;
    const double x = std::clamp(inX, 0.0, 1.0);
    const int i = x < 0.4 ? 0 : x < 0.6 ? 1 : 2;
    const double h = xs[i + 1] - xs[i];
    const double t = (x - xs[i]) / h;
    return (2 * t * t * t - 3 * t * t + 1) * ys[i] + (t * t * t - 2 * t * t + t) * h * slopes[i] +
           (-2 * t * t * t + 3 * t * t) * ys[i + 1] + (t * t * t - t * t) * h * slopes[i + 1];
}

TEST(Curves, FollowAMonotoneCubicThroughTheirPoints)
{
    ExpectPixelFormula(
        "vrender:curves", {{0, TextValue("0,0.1 0.4,0.2 0.6,0.8 1,0.8")}, {1, TextValue("0,1 1,0")}},
        [](const Pixel& inPixel) {
            return Pixel{Curve(1.0 - inPixel[0]), Curve(inPixel[1]), Curve(inPixel[2]), inPixel[3]};
        });
}

TEST(Curves, StayStraightForTextThatIsNoCurve)
{
    ExpectPixelFormula("vrender:curves", {{0, TextValue("0,0 0.5;0.2 1,1")}},
                       [](const Pixel& inPixel) { return inPixel; });
}

TEST(AscCdl, TakesSlopeOffsetPowerThenSaturation)
{
    Values values;
    const double numbers[10] = {1.2, 0.8, 1.0, 0.05, -0.1, 0.0, 0.9, 1.3, 2.0, 1.4};
    for (std::size_t place = 0; place < 10; ++place)
    {
        values.emplace_back(place, MakeNumberParameter(numbers[place]));
    }
    ExpectPixelFormula("vrender:asc-cdl", values,
                       [&](const Pixel& inPixel)
                       {
                           Pixel graded = inPixel;
                           for (std::size_t c = 0; c < 3; ++c)
                           {
                               graded[c] =
                                   std::pow(std::clamp(inPixel[c] * numbers[c] + numbers[3 + c], 0.0, 1.0),
                                            numbers[6 + c]);
                           }
                           const double luma = Luma(graded);
                           for (std::size_t c = 0; c < 3; ++c)
                           {
                               graded[c] = std::clamp(luma + 1.4 * (graded[c] - luma), 0.0, 1.0);
                           }
                           return graded;
                       });
}

TEST(VideoLimiter, HoldsLumaAndChroma)
{
    for (const std::uint32_t method : {0U, 1U, 2U})
    {
        ExpectPixelFormula("VX.ZNTR Video Limiter",
                           {{0, MakeNumberParameter(20.0)},
                            {1, MakeNumberParameter(70.0)},
                            {2, MakeNumberParameter(30.0)},
                            {3, MakeChoiceParameter(method)}},
                           [&](const Pixel& inPixel)
                           {
                               const double y = Luma(inPixel);
                               const double u = (inPixel[2] - y) / 1.8556;
                               const double v = (inPixel[0] - y) / 1.5748;
                               const double chroma = std::sqrt(u * u + v * v);
                               const double share = method == 0 ? 1.0 : std::min(1.0, 0.15 / chroma);
                               return FromYuv(method == 1 ? y : std::clamp(y, 0.2, 0.7), u * share, v * share,
                                              inPixel[3]);
                           });
    }
}

// A table whose entries are no straight line of their places.
double CubeEntry(int inRed, int inGreen, int inBlue, int inComponent)
{
    return std::fmod(0.37 * inRed + 0.21 * inGreen * inGreen + 0.53 * inBlue + 0.3 * inComponent, 1.0);
}

std::string CubeText(int inSize)
{
    std::string text = "# a table\nTITLE \"curious\"\nLUT_3D_SIZE " + std::to_string(inSize) + "\n\n";
    for (int i = 0; i < inSize * inSize * inSize; ++i)
    {
        for (int c = 0; c < 3; ++c)
        {
            text += std::to_string(CubeEntry(i % inSize, i / inSize % inSize, i / inSize / inSize, c)) + " ";
        }
        text += "\n";
    }
    return text;
}

TEST(Lut, InterpolatesOverTetrahedra)
{
    const TestSupport::ScratchFolder folder;
    std::ofstream(folder.File("table.cube")) << CubeText(5);
    ExpectPixelFormula(
        "vrender:lut", {{0, TextValue(folder.File("table.cube"))}, {1, MakeNumberParameter(80.0)}},
        [](const Pixel& inPixel)
        {
            int corner[3];
            double share[3];
            for (std::size_t c = 0; c < 3; ++c)
            {
                corner[c] = std::min(3, static_cast<int>(inPixel[c] * 4.0));
                share[c] = inPixel[c] * 4.0 - corner[c];
            }
            // Every corner's weight on the way along the axes from the greatest share to the least.
            int order[3] = {0, 1, 2};
            std::stable_sort(order, order + 3, [&](int inA, int inB) { return share[inA] > share[inB]; });
            Pixel result = inPixel;
            for (int c = 0; c < 3; ++c)
            {
                int at[3] = {corner[0], corner[1], corner[2]};
                double sum = (1.0 - share[order[0]]) * CubeEntry(at[0], at[1], at[2], c);
                for (int step = 0; step < 3; ++step)
                {
                    ++at[order[step]];
                    const double next = step < 2 ? share[order[step + 1]] : 0.0;
                    sum += (share[order[step]] - next) * CubeEntry(at[0], at[1], at[2], c);
                }
                result[static_cast<std::size_t>(c)] += 0.8 * (sum - result[static_cast<std::size_t>(c)]);
            }
            return result;
        });
}

TEST(Lut, TakesOneDimensionalTablesAndDomains)
{
    const TestSupport::ScratchFolder folder;
    std::ofstream(folder.File("line.cube"))
        << "LUT_1D_SIZE 3\nDOMAIN_MIN 0.1 0 0\nDOMAIN_MAX 0.9 1 2\n1 0 0\n0.2 0.5 0.1\n0 1 0.6\n";
    ExpectPixelFormula(
        "vrender:lut", {{0, TextValue(folder.File("line.cube"))}},
        [](const Pixel& inPixel)
        {
            const auto line = [](double inPlace, double inA, double inB, double inC)
            {
                const double place = 2.0 * std::clamp(inPlace, 0.0, 1.0);
                return place < 1.0 ? inA + (inB - inA) * place : inB + (inC - inB) * (place - 1.0);
            };
            return Pixel{line((inPixel[0] - 0.1) / 0.8, 1, 0.2, 0), line(inPixel[1], 0, 0.5, 1),
                         line(inPixel[2] / 2.0, 0, 0.1, 0.6), inPixel[3]};
        });
}

TEST(Lut, IsReadAgainWhenItWasWrittenSince)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("table.cube");
    const ML::IVideoFilterRef filter = Effects::GetEffectRegistry().CreateFilter("vrender:lut");
    const MF::KeyframeStore store = StoreOf({{0, TextValue(path)}});
    ML::VideoFilterRender render;
    render.mParameters = &store;
    const auto red = [&]
    {
        MF::IVideoFrameRef frame;
        filter->Render(render, FrameOf(EffectScenes::Filled(4, 4, {0.5, 0.5, 0.5, 1.0}), Formats()[0].format),
                       frame);
        return frame ? SceneOf(frame).At(1, 1)[0] : -1.0;
    };
    std::ofstream(path) << "LUT_1D_SIZE 2\n1 1 1\n1 1 1\n";
    EXPECT_EQ(red(), 1.0);
    std::ofstream(path) << "LUT_1D_SIZE 2\n0.0 1 1\n0.0 1 1\n";
    EXPECT_EQ(red(), 0.0);
    std::filesystem::remove(path);
    EXPECT_NEAR(red(), 0.5, 0.6 / 255) << "as if there were no effect";
}

TEST(Lut, PassesThePictureWhereATableIsBroken)
{
    const TestSupport::ScratchFolder folder;
    const auto frame = FrameOf(Noise(8, 8, 3), Formats()[0].format);
    const char* const texts[] = {"",
                                 "LUT_3D_SIZE 2\n0 0 0\n",
                                 "LUT_3D_SIZE 1\n0 0 0\n",
                                 "LUT_3D_SIZE 100000\n",
                                 "LUT_1D_SIZE 2\n0 0 0\n1 1\n",
                                 "LUT_1D_SIZE 2\n0 0 0\n1 1 nan\n",
                                 "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n1 1 1\n",
                                 "LUT_1D_SIZE 2\nDOMAIN_MIN 1 1 1\n0 0 0\n1 1 1\n",
                                 "0 0 0\n"};
    int number = 0;
    for (const char* text : texts)
    {
        const std::string path = folder.File(std::to_string(number++));
        std::ofstream(path) << text;
        EXPECT_TRUE(RunFilter("vrender:lut", {{0, TextValue(path)}}, frame) == frame) << text;
    }
    EXPECT_TRUE(RunFilter("vrender:lut", {{0, TextValue(folder.File("none"))}}, frame) == frame);
}

TEST(PixelFilters, PassTheirInputOnWhereNothingIsToBeDone)
{
    const auto frame = FrameOf(Noise(8, 8, 3), Formats()[0].format);
    for (const char* name : {"VX.ZNTR ProcAmp", "VX.ZNTR Alpha Adjust", "vrender:lut"})
    {
        EXPECT_TRUE(RunFilter(name, {}, frame) == frame) << name;
    }
}

} // namespace
