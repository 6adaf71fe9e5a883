#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Foundation/BitmapFont.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

// Filters whose pixels depend on others or on their place, each beside its formula in double.
namespace
{

using namespace EffectScenes;
using TestSupport::MakeChoiceParameter;
using TestSupport::MakeNumberParameter;
using TestSupport::MakePointParameter;
using TestSupport::MakeTruthParameter;

using SceneFormula = std::function<Scene(const Scene&)>;

// The formula is given what lies in the frame, in its own coding.
void ExpectScene(const std::string& inName, const Values& inValues, const SceneFormula& inFormula,
                 bool inIsLimited = false, double inScale = 1.0, const Scene& inNoise = Noise(61, 43, 7))
{
    for (const Format& format : Formats())
    {
        const auto frame = FrameOf(inNoise, format.format);
        Scene expected = inFormula(SceneOf(frame));
        const bool isInteger = format.bound > 2e-5 || format.format == MF::kPixelFormat_BGRA_4444_16u;
        for (Pixel& pixel : expected.pixels)
        {
            for (double& component : pixel)
            {
                component = inIsLimited && isInteger ? std::clamp(component, 0.0, 1.0) : component;
            }
        }
        const auto result = RunFilter(inName, inValues, frame, inScale);
        ASSERT_TRUE(result) << inName;
        EXPECT_TRUE(AreNear(SceneOf(result), expected, format.bound, true)) << inName << ", " << format.name;
    }
}

Scene Premultiplied(Scene inScene)
{
    for (Pixel& pixel : inScene.pixels)
    {
        pixel = {pixel[0] * pixel[3], pixel[1] * pixel[3], pixel[2] * pixel[3], pixel[3]};
    }
    return inScene;
}

Scene Straight(Scene inScene)
{
    for (Pixel& pixel : inScene.pixels)
    {
        const double inverse = pixel[3] > 1e-9 ? 1.0 / pixel[3] : 0.0;
        pixel = {pixel[0] * inverse, pixel[1] * inverse, pixel[2] * inverse, pixel[3]};
    }
    return inScene;
}

// The whole sum for each pixel, with no separation of the axes.
Scene Blurred(const Scene& inScene, double inSigmaX, double inSigmaY, bool inRepeats)
{
    const Scene source = Premultiplied(inScene);
    Scene result = Filled(inScene.width, inScene.height, {0, 0, 0, 0});
    const auto weight = [](int inDistance, double inSigma)
    { return inSigma > 0.0 ? std::exp(-inDistance * inDistance / (2.0 * inSigma * inSigma)) : 1.0; };
    const int reachX = static_cast<int>(std::ceil(3.0 * inSigmaX));
    const int reachY = static_cast<int>(std::ceil(3.0 * inSigmaY));
    for (int y = 0; y < source.height; ++y)
    {
        for (int x = 0; x < source.width; ++x)
        {
            double sum = 0.0;
            for (int dy = -reachY; dy <= reachY; ++dy)
            {
                for (int dx = -reachX; dx <= reachX; ++dx)
                {
                    const double share = weight(dx, inSigmaX) * weight(dy, inSigmaY);
                    const int atX = std::clamp(x + dx, 0, source.width - 1);
                    const int atY = std::clamp(y + dy, 0, source.height - 1);
                    sum += share;
                    const bool isThere = inRepeats || (atX == x + dx && atY == y + dy);
                    for (std::size_t c = 0; c < 4 && isThere; ++c)
                    {
                        result.At(x, y)[c] += share * source.At(atX, atY)[c];
                    }
                }
            }
            for (double& component : result.At(x, y))
            {
                component /= sum;
            }
        }
    }
    return Straight(result);
}

TEST(GaussianBlur, IsTheSumOfItsNeighbours)
{
    for (const bool repeats : {true, false})
    {
        ExpectScene("vrender:gaussian-blur",
                    {{0, MakeNumberParameter(2.3)}, {2, MakeTruthParameter(repeats)}},
                    [&](const Scene& inScene) { return Blurred(inScene, 2.3, 2.3, repeats); });
    }
    ExpectScene("vrender:gaussian-blur", {{0, MakeNumberParameter(4.0)}, {1, MakeChoiceParameter(1)}},
                [](const Scene& inScene) { return Blurred(inScene, 4.0, 0.0, true); });
    ExpectScene("vrender:gaussian-blur", {{0, MakeNumberParameter(4.0)}, {1, MakeChoiceParameter(2)}},
                [](const Scene& inScene) { return Blurred(inScene, 0.0, 4.0, true); });
}

TEST(GaussianBlur, ReachesBeyondASmallPicture)
{
    ExpectScene(
        "vrender:gaussian-blur", {{0, MakeNumberParameter(9.0)}},
        [](const Scene& inScene) { return Blurred(inScene, 9.0, 9.0, true); }, false, 1.0, Noise(13, 9, 7));
}

TEST(GaussianBlur, HalvesInAHalvedPicture)
{
    ExpectScene(
        "vrender:gaussian-blur", {{0, MakeNumberParameter(3.0)}},
        [](const Scene& inScene) { return Blurred(inScene, 1.5, 1.5, true); }, false, 0.5);
}

TEST(GaussianBlur, KeepsOpaqueOnlyWithRepeatedEdges)
{
    const auto filter = Effects::GetEffectRegistry().CreateFilter("vrender:gaussian-blur");
    ASSERT_TRUE(filter);
    EXPECT_TRUE(filter->KeepsOpaque({}));
    EXPECT_TRUE(filter->KeepsOpaque(StoreOf({{2, MakeTruthParameter(true)}})));
    EXPECT_FALSE(filter->KeepsOpaque(StoreOf({{2, MakeTruthParameter(false)}})));
    const auto moving = MakeNumberParameter(1.0, -1.0);
    EXPECT_FALSE(filter->KeepsOpaque(StoreOf({{2, moving}})));
}

TEST(Sharpen, AddsWhatABlurTakes)
{
    ExpectScene(
        "vrender:sharpen", {{0, MakeNumberParameter(150.0)}, {1, MakeNumberParameter(1.2)}},
        [](const Scene& inScene)
        {
            const Scene blurred = Blurred(inScene, 1.2, 1.2, true);
            Scene result = inScene;
            for (std::size_t i = 0; i < result.pixels.size(); ++i)
            {
                for (std::size_t c = 0; c < 3; ++c)
                {
                    result.pixels[i][c] += 1.5 * (inScene.pixels[i][c] - blurred.pixels[i][c]);
                }
            }
            return result;
        },
        true);
}

TEST(Transform, MovesByWholePixelsWithoutLoss)
{
    // Seven to the right and five up: fractions of 61 and 43.
    ExpectScene("VX.ZNTR Geometry", {{1, MakePointParameter(0.5 + 7.0 / 61.0, 0.5 - 5.0 / 43.0)}},
                [](const Scene& inScene)
                {
                    Scene result = Filled(61, 43, {0, 0, 0, 0});
                    for (int y = 0; y < 38; ++y)
                    {
                        for (int x = 7; x < 61; ++x)
                        {
                            result.At(x, y) = inScene.At(x - 7, y + 5);
                        }
                    }
                    return result;
                });
}

TEST(Transform, TurnsHalfwayAndFades)
{
    ExpectScene("VX.ZNTR Geometry", {{5, MakeNumberParameter(180.0)}, {6, MakeNumberParameter(40.0)}},
                [](const Scene& inScene)
                {
                    Scene result = inScene;
                    std::reverse(result.pixels.begin(), result.pixels.end());
                    for (Pixel& pixel : result.pixels)
                    {
                        pixel[3] *= 0.4;
                    }
                    return result;
                });
}

TEST(Transform, ScalesEachAxisUnlessItIsUniform)
{
    // Of a white picture over nothing the alpha tells where it lies.
    const auto frame = FrameOf(Filled(40, 40, {1, 1, 1, 1}), MF::kPixelFormat_BGRA_4444_32f);
    for (const bool isUniform : {true, false})
    {
        const auto result = RunFilter("VX.ZNTR Geometry",
                                      {{2, MakeTruthParameter(isUniform)},
                                       {3, MakeNumberParameter(50.0)},
                                       {4, MakeNumberParameter(25.0)}},
                                      frame);
        ASSERT_TRUE(result);
        const Scene scene = SceneOf(result);
        double across = 0.0;
        double down = 0.0;
        for (int i = 0; i < 40; ++i)
        {
            across += scene.At(i, 20)[3];
            down += scene.At(20, i)[3];
        }
        EXPECT_NEAR(across, isUniform ? 20.0 : 10.0, 0.01);
        EXPECT_NEAR(down, 20.0, 0.01);
    }
}

// Eight equations for eight numbers of a perspective, by elimination.
struct Perspective
{
    double n[8] = {};

    Perspective(const double (&inFrom)[4][2], const double (&inTo)[4][2])
    {
        double m[8][9] = {};
        for (int i = 0; i < 4; ++i)
        {
            const double x = inFrom[i][0];
            const double y = inFrom[i][1];
            const double rows[2][9] = {{x, y, 1, 0, 0, 0, -x * inTo[i][0], -y * inTo[i][0], inTo[i][0]},
                                       {0, 0, 0, x, y, 1, -x * inTo[i][1], -y * inTo[i][1], inTo[i][1]}};
            std::copy_n(rows[0], 9, m[2 * i]);
            std::copy_n(rows[1], 9, m[2 * i + 1]);
        }
        for (int column = 0; column < 8; ++column)
        {
            int best = column;
            for (int row = column; row < 8; ++row)
            {
                best = std::abs(m[row][column]) > std::abs(m[best][column]) ? row : best;
            }
            std::swap_ranges(m[best], m[best] + 9, m[column]);
            for (int row = 0; row < 8; ++row)
            {
                const double factor = row == column ? 0.0 : m[row][column] / m[column][column];
                for (int k = 0; k < 9; ++k)
                {
                    m[row][k] -= factor * m[column][k];
                }
            }
        }
        for (int i = 0; i < 8; ++i)
        {
            n[i] = m[i][8] / m[i][i];
        }
    }

    std::pair<double, double> At(double inX, double inY) const
    {
        const double w = n[6] * inX + n[7] * inY + 1.0;
        return {(n[0] * inX + n[1] * inY + n[2]) / w, (n[3] * inX + n[4] * inY + n[5]) / w};
    }
};

Pixel Bilinear(const Scene& inPremultiplied, double inX, double inY)
{
    const double x = std::clamp(inX - 0.5, 0.0, inPremultiplied.width - 1.0);
    const double y = std::clamp(inY - 0.5, 0.0, inPremultiplied.height - 1.0);
    const int left = static_cast<int>(x);
    const int top = static_cast<int>(y);
    Pixel result{};
    for (int i = 0; i < 4; ++i)
    {
        const double share = (i % 2 ? x - left : 1.0 - (x - left)) * (i / 2 ? y - top : 1.0 - (y - top));
        const Pixel& pixel = inPremultiplied.At(std::min(left + i % 2, inPremultiplied.width - 1),
                                                std::min(top + i / 2, inPremultiplied.height - 1));
        for (std::size_t c = 0; c < 4; ++c)
        {
            result[c] += share * pixel[c];
        }
    }
    return result;
}

Scene Pinned(const Scene& inScene, const Perspective& inMapping)
{
    const Scene source = Premultiplied(inScene);
    Scene result = Filled(inScene.width, inScene.height, {0, 0, 0, 0});
    constexpr double kStep = 1e-4;
    for (int y = 0; y < result.height; ++y)
    {
        for (int x = 0; x < result.width; ++x)
        {
            const auto [atX, atY] = inMapping.At(x + 0.5, y + 0.5);
            const auto [leftX, leftY] = inMapping.At(x + 0.5 - kStep, y + 0.5);
            const auto [rightX, rightY] = inMapping.At(x + 0.5 + kStep, y + 0.5);
            const auto [upX, upY] = inMapping.At(x + 0.5, y + 0.5 - kStep);
            const auto [downX, downY] = inMapping.At(x + 0.5, y + 0.5 + kStep);
            const double xr = (rightX - leftX) / (2 * kStep);
            const double yr = (rightY - leftY) / (2 * kStep);
            const double xd = (downX - upX) / (2 * kStep);
            const double yd = (downY - upY) / (2 * kStep);
            const double coverage =
                std::clamp(std::min(atX, source.width - atX) / std::hypot(xr, xd) + 0.5, 0.0, 1.0) *
                std::clamp(std::min(atY, source.height - atY) / std::hypot(yr, yd) + 0.5, 0.0, 1.0);
            const auto count = [](double inStep)
            { return std::clamp(static_cast<int>(std::ceil(std::min(inStep, 8.0) - 1e-6)), 1, 8); };
            int across = count(std::hypot(xr, yr));
            int down = count(std::hypot(xd, yd));
            if (std::max(across, down) > 1)
            {
                across = std::max(across, 2);
                down = std::max(down, 2);
            }
            for (int i = 0; i < across * down && coverage > 0.0; ++i)
            {
                const auto [sampleX, sampleY] =
                    inMapping.At(x + (i % across + 0.5) / across, y + (i / across + 0.5) / down);
                const Pixel pixel = Bilinear(source, sampleX, sampleY);
                for (std::size_t c = 0; c < 4; ++c)
                {
                    result.At(x, y)[c] += pixel[c] * coverage / (across * down);
                }
            }
        }
    }
    return Straight(result);
}

TEST(CornerPin, StretchesThePictureInPerspective)
{
    const double corners[4][4][2] = {{{0.1, 0.05}, {0.9, 0.2}, {0.25, 0.95}, {0.8, 0.7}},
                                     {{-0.3, -0.2}, {1.6, 0.1}, {0.1, 1.4}, {1.1, 1.3}},
                                     {{0.4, 0.1}, {0.6, 0.1}, {0.4, 0.9}, {0.6, 0.9}},
                                     {{0.1, 0.45}, {0.9, 0.5}, {0.1, 0.6}, {0.9, 0.63}}};
    for (const auto& quad : corners)
    {
        Values values;
        double from[4][2];
        const double to[4][2] = {{0, 0}, {61, 0}, {0, 43}, {61, 43}};
        for (std::size_t corner = 0; corner < 4; ++corner)
        {
            values.emplace_back(corner, MakePointParameter(quad[corner][0], quad[corner][1]));
            from[corner][0] = quad[corner][0] * 61;
            from[corner][1] = quad[corner][1] * 43;
        }
        const Perspective mapping(from, to);
        ExpectScene("VX.ZNTR Corner Pin", values,
                    [&](const Scene& inScene) { return Pinned(inScene, mapping); });
    }
}

// Where the corners of a picture of 61 by 43 come to lie, in fractions of it, about its middle.
Perspective Moved(const std::function<void(double& ioX, double& ioY)>& inMove)
{
    double from[4][2];
    const double to[4][2] = {{0, 0}, {61, 0}, {0, 43}, {61, 43}};
    for (int corner = 0; corner < 4; ++corner)
    {
        double x = to[corner][0] - 30.5;
        double y = to[corner][1] - 21.5;
        inMove(x, y);
        from[corner][0] = x + 30.5;
        from[corner][1] = y + 21.5;
    }
    return Perspective(from, to);
}

TEST(Transform, LeansAlongAnAxis)
{
    const double lean = std::tan(30.0 * std::numbers::pi / 180.0);
    ExpectScene("VX.ZNTR Geometry", {{7, MakeNumberParameter(30.0)}},
                [&](const Scene& inScene)
                { return Pinned(inScene, Moved([=](double& ioX, double& ioY) { ioX -= lean * ioY; })); });
    ExpectScene("VX.ZNTR Geometry", {{7, MakeNumberParameter(-30.0)}, {8, MakeNumberParameter(90.0)}},
                [&](const Scene& inScene)
                { return Pinned(inScene, Moved([=](double& ioX, double& ioY) { ioY -= lean * ioX; })); });
}

TEST(Transform, LeansAfterItIsScaledAndBeforeItIsTurned)
{
    const double lean = std::tan(20.0 * std::numbers::pi / 180.0);
    ExpectScene("VX.ZNTR Geometry",
                {{3, MakeNumberParameter(50.0)},
                 {2, MakeTruthParameter(false)},
                 {4, MakeNumberParameter(80.0)},
                 {5, MakeNumberParameter(90.0)},
                 {7, MakeNumberParameter(20.0)}},
                [&](const Scene& inScene)
                {
                    return Pinned(inScene, Moved(
                                               [=](double& ioX, double& ioY)
                                               {
                                                   const double x = 0.8 * ioX - lean * 0.5 * ioY;
                                                   ioX = -0.5 * ioY;
                                                   ioY = x;
                                               }));
                });
}

TEST(Transform, LeansAndFadesInTheShapeOfItsPixels)
{
    // Pixels that are twice as wide as high.
    const double lean = std::tan(30.0 * std::numbers::pi / 180.0);
    const auto frame = FrameOf(Noise(61, 43, 7), MF::kPixelFormat_BGRA_4444_32f);
    frame->SetPixelAspectRatio({2, 1});
    for (const double axis : {0.0, 90.0})
    {
        Scene expected = Pinned(SceneOf(frame), Moved(
                                                    [=](double& ioX, double& ioY)
                                                    {
                                                        const double x = ioX;
                                                        ioX -= axis == 0.0 ? lean * ioY / 2.0 : 0.0;
                                                        ioY += axis == 0.0 ? 0.0 : lean * x * 2.0;
                                                    }));
        for (Pixel& pixel : expected.pixels)
        {
            pixel[3] *= 0.25;
        }
        const auto result = RunFilter(
            "VX.ZNTR Geometry",
            {{6, MakeNumberParameter(25.0)}, {7, MakeNumberParameter(30.0)}, {8, MakeNumberParameter(axis)}},
            frame);
        ASSERT_TRUE(result);
        EXPECT_TRUE(AreNear(SceneOf(result), expected, 2e-5, true)) << axis;
    }
}

TEST(Fields, AreNeverMixedByMovements)
{
    // Of two moments, one is white and the other one black.
    Scene scene = Filled(24, 24, {0, 0, 0, 1});
    for (int i = 0; i < 24 * 12; ++i)
    {
        scene.At(i % 24, i / 24 * 2) = {1, 1, 1, 1};
    }
    const std::vector<std::pair<std::string, Values>> all = {
        {"VX.ZNTR Geometry", {{3, MakeNumberParameter(70.0)}}},
        {"VX.ZNTR Geometry", {{3, MakeNumberParameter(70.0)}, {7, MakeNumberParameter(10.0)}}},
        {"VX.ZNTR Corner Pin", {{2, MakePointParameter(0.1, 0.7)}, {3, MakePointParameter(0.9, 0.8)}}}};
    for (const auto& [name, values] : all)
    {
        const auto frame = FrameOf(scene, MF::kPixelFormat_BGRA_4444_32f);
        frame->SetFieldType(norviktypes::kFieldType_UpperFirst);
        const auto result = RunFilter(name, values, frame);
        ASSERT_TRUE(result);
        const Scene drawn = SceneOf(result);
        for (int y = 6; y < 16; ++y)
        {
            EXPECT_NEAR(drawn.At(12, y)[0], y % 2 == 0 ? 1.0 : 0.0, 1e-4) << name << " row " << y;
        }
        frame->SetFieldType(norviktypes::kFieldType_Progressive);
        EXPECT_GT(SceneOf(RunFilter(name, values, frame)).At(12, 11)[0], 0.01) << name;
    }
}

TEST(CornerPin, KeepsThePictureWithItsCornersAtHome)
{
    const auto frame = FrameOf(Noise(61, 43, 7, true), MF::kPixelFormat_BGRA_4444_32f);
    const auto result = RunFilter("VX.ZNTR Corner Pin", {}, frame);
    ASSERT_TRUE(result);
    EXPECT_TRUE(AreNear(SceneOf(result), SceneOf(frame), 1e-5));
}

TEST(CornerPin, ShowsNothingWhereCornersLieInALine)
{
    const auto frame = FrameOf(Noise(20, 20, 7, true), MF::kPixelFormat_BGRA_4444_8u);
    const auto result =
        RunFilter("VX.ZNTR Corner Pin",
                  {{1, MakePointParameter(0.5, 0.5)}, {2, MakePointParameter(0.25, 0.25)}}, frame);
    ASSERT_TRUE(result);
    EXPECT_TRUE(AreNear(SceneOf(result), Filled(20, 20, {0, 0, 0, 0}), 0.0));
}

double InsidePolygon(const std::vector<std::pair<double, double>>& inPoints, double inX, double inY)
{
    double nearest = 1e9;
    double turns = 0.0;
    for (std::size_t i = 0; i < inPoints.size(); ++i)
    {
        const auto [ax, ay] = inPoints[i];
        const auto [bx, by] = inPoints[(i + 1) % inPoints.size()];
        const double length = std::hypot(bx - ax, by - ay);
        const double along = ((inX - ax) * (bx - ax) + (inY - ay) * (by - ay)) / length;
        const double held = std::clamp(along, 0.0, length) / length;
        nearest = std::min(nearest, std::hypot(ax + held * (bx - ax) - inX, ay + held * (by - ay) - inY));
        turns += std::atan2((ax - inX) * (by - inY) - (ay - inY) * (bx - inX),
                            (ax - inX) * (bx - inX) + (ay - inY) * (by - inY));
    }
    return std::abs(turns) > 1.0 ? nearest : -nearest;
}

TEST(GarbageMatte, KeepsWhatLiesInsideItsCorners)
{
    const std::vector<std::pair<double, double>> all = {{0.2, 0.1}, {0.7, 0.2}, {0.95, 0.9}, {0.1, 0.6}};
    for (const double feather : {0.0, 9.0})
    {
        for (const bool isInverted : {false, true})
        {
            Values values = {{17, MakeNumberParameter(feather)}, {18, MakeTruthParameter(isInverted)}};
            std::vector<std::pair<double, double>> points;
            for (std::size_t i = 0; i < 4; ++i)
            {
                values.emplace_back(4 * i, MakePointParameter(all[i].first, all[i].second));
                points.emplace_back(all[i].first * 61, all[i].second * 43);
            }
            ExpectScene("VX.ZNTR Garbage Matte", values,
                        [&](const Scene& inScene)
                        {
                            Scene result = inScene;
                            for (int y = 0; y < 43; ++y)
                            {
                                for (int x = 0; x < 61; ++x)
                                {
                                    const double inside = InsidePolygon(points, x + 0.5, y + 0.5);
                                    const double share =
                                        std::clamp(inside / std::max(1.0, feather) + 0.5, 0.0, 1.0);
                                    result.At(x, y)[3] *= isInverted ? 1.0 - share : share;
                                }
                            }
                            return result;
                        });
        }
    }
}

TEST(GarbageMatte, TakesEightAndSixteenCorners)
{
    // A point that only the larger sets have, pulled to the middle.
    const auto frame = FrameOf(Filled(64, 64, {1, 1, 1, 1}), MF::kPixelFormat_BGRA_4444_8u);
    for (const auto& [point, corners] : {std::pair{std::size_t{2}, 1U}, {std::size_t{1}, 2U}})
    {
        for (const std::uint32_t choice : {0U, 1U, 2U})
        {
            const auto result =
                RunFilter("VX.ZNTR Garbage Matte",
                          {{point, MakePointParameter(0.25 * static_cast<double>(point), 0.5)},
                           {16, MakeChoiceParameter(choice)}},
                          frame);
            ASSERT_TRUE(result);
            const int x = static_cast<int>(16 * point);
            EXPECT_EQ(SceneOf(result).At(x, 8)[3], choice >= corners ? 0.0 : 1.0)
                << point << " of " << choice;
        }
    }
}

// The text in its box over a picture, by a mask of the whole picture.
Scene Labelled(const Scene& inScene, const std::string& inText, int inDot, double inBox)
{
    const int boxWidth = Foundation::TextWidth(inText, inDot) + 3 * inDot;
    const int boxHeight = Foundation::TextHeight(inText, inDot) + 2 * inDot;
    const int left = static_cast<int>(std::lround(0.4 * inScene.width - boxWidth / 2.0));
    const int top = static_cast<int>(std::lround(0.3 * inScene.height - boxHeight / 2.0));
    std::vector<std::uint8_t> ink(inScene.pixels.size());
    Foundation::DrawText({ink.data(), inScene.width, inScene.height, inScene.width}, left + 2 * inDot,
                         top + 2 * inDot, inText, inDot);
    Scene result = inScene;
    for (int y = std::max(0, top); y < std::min(result.height, top + boxHeight); ++y)
    {
        for (int x = std::max(0, left); x < std::min(result.width, left + boxWidth); ++x)
        {
            const bool isInk = ink[static_cast<std::size_t>(y * result.width + x)] != 0;
            const double over = isInk ? 1.0 : inBox;
            Pixel& pixel = result.At(x, y);
            const double alpha = over + pixel[3] * (1.0 - over);
            for (std::size_t c = 0; c < 3; ++c)
            {
                pixel[c] = ((isInk ? 1.0 : 0.0) * over + pixel[c] * pixel[3] * (1.0 - over)) / alpha;
            }
            pixel[3] = alpha;
        }
    }
    return result;
}

TEST(TimecodeBurnIn, WritesTheFrameInABox)
{
    const Values place = {
        {0, MakePointParameter(0.4, 0.3)}, {1, MakeNumberParameter(40.0)}, {2, MakeNumberParameter(50.0)}};
    // The text reaches beyond the picture on both sides.
    Values values = place;
    values.emplace_back(5, MakeNumberParameter(1503.0));
    const Scene noise = Noise(61, 43, 7);
    for (const Format& format : Formats())
    {
        if (IsLinear(format.format))
        {
            continue; // black and white are laid over coded pixels, which the next test looks at
        }
        const auto frame = FrameOf(noise, format.format);
        const auto result = RunFilter("VX.ZNTR Kest Timecode", values, frame);
        ASSERT_TRUE(result);
        EXPECT_TRUE(
            AreNear(SceneOf(result), Labelled(SceneOf(frame), "00:01:00:03", 2, 0.5), format.bound, true))
            << format.name;
    }
}

TEST(TimecodeBurnIn, LooksTheSameInLinearPictures)
{
    const Scene noise = Noise(61, 43, 7);
    const Values values = {{3, MakeChoiceParameter(1)}, {5, MakeNumberParameter(42.0)}};
    const auto coded =
        RunFilter("VX.ZNTR Kest Timecode", values, FrameOf(noise, MF::kPixelFormat_BGRA_4444_32f));
    const auto linear =
        RunFilter("VX.ZNTR Kest Timecode", values, FrameOf(noise, MF::kPixelFormat_BGRA_4444_32f_Linear));
    ASSERT_TRUE(coded && linear);
    Scene decoded = SceneOf(linear);
    for (Pixel& pixel : decoded.pixels)
    {
        pixel = {Encode(pixel[0]), Encode(pixel[1]), Encode(pixel[2]), pixel[3]};
    }
    EXPECT_TRUE(AreNear(decoded, SceneOf(coded), 5e-5, true));
}

TEST(TimecodeBurnIn, CountsTheClipOrTheSequence)
{
    const auto filter = Effects::GetEffectRegistry().CreateFilter("VX.ZNTR Kest Timecode");
    ASSERT_TRUE(filter);
    EXPECT_TRUE(filter->VariesByItself());
    const auto frame = FrameOf(Filled(61, 43, {0, 0, 0, 1}), MF::kPixelFormat_BGRA_4444_32f);
    const norviktypes::FrameRate rate = norviktypes::FrameRate::FromRational(30000, 1001);
    for (const std::uint32_t source : {0U, 1U})
    {
        const MF::KeyframeStore parameters = StoreOf({{0, MakePointParameter(0.4, 0.3)},
                                                      {1, MakeNumberParameter(10.0)},
                                                      {2, MakeNumberParameter(100.0)},
                                                      {4, MakeChoiceParameter(source)}});
        ML::VideoFilterRender render;
        render.mClipTime = norviktypes::TickTime::FromFrame(1800, rate);
        render.mSequenceTime = norviktypes::TickTime::FromFrame(31, rate);
        render.mFrameRate = rate;
        render.mParameters = &parameters;
        MF::IVideoFrameRef result;
        ASSERT_EQ(filter->Render(render, frame, result), 0);
        // Drop-frame labels leave out the first two of a minute.
        const char* const text = source == 0 ? "00:01:00;02" : "00:00:01;01";
        EXPECT_TRUE(AreNear(SceneOf(result), Labelled(SceneOf(frame), text, 1, 1.0), 1e-5)) << text;
    }
}

} // namespace
