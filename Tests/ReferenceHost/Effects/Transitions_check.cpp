#include "ReferenceHost/FrameLibrary/PNGFile.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Paths.h"

#include <algorithm>
#include <cmath>
#include <numbers>

// Every transition beside a formula in double, pixel by pixel, in all working formats.
namespace
{

using namespace EffectScenes;
using TestSupport::MakeChoiceParameter;
using TestSupport::MakeNumberParameter;
using TestSupport::MakePointParameter;
using TestSupport::MakeTruthParameter;

constexpr int kWidth = 101;
constexpr int kHeight = 67;

struct Shares
{
    double from;
    double to;
};

// The share of each picture at the middle of a pixel; what is left is the border's.
using ShareFormula = std::function<Shares(double inX, double inY)>;

Pixel MixOf(const Pixel& inFrom, const Pixel& inTo, const Pixel& inBorder, const Shares& inShares)
{
    const double border = 1.0 - inShares.from - inShares.to;
    const double from = inShares.from * inFrom[3];
    const double to = inShares.to * inTo[3];
    const double alpha = from + to + border;
    Pixel mixed = {0.0, 0.0, 0.0, alpha};
    for (std::size_t c = 0; c < 3 && alpha > 1e-9; ++c)
    {
        mixed[c] = (from * inFrom[c] + to * inTo[c] + border * inBorder[c]) / alpha;
    }
    return mixed;
}

Pixel InCoding(const Pixel& inColor, const norviktypes::PixelFormat& inFormat)
{
    return IsLinear(inFormat) ? Pixel{Decode(inColor[0]), Decode(inColor[1]), Decode(inColor[2]), inColor[3]}
                              : inColor;
}

void ExpectShares(const std::string& inName, const Values& inValues, const Moment& inMoment,
                  const Pixel& inBorder, const ShareFormula& inFormula)
{
    for (const Format& format : Formats())
    {
        const MF::IVideoFrameRef from = FrameOf(Noise(kWidth, kHeight, 1), format.format);
        const MF::IVideoFrameRef to = FrameOf(Noise(kWidth, kHeight, 2), format.format);
        const Scene fromScene = SceneOf(from);
        const Scene toScene = SceneOf(to);
        Scene expected = fromScene;
        for (int y = 0; y < kHeight; ++y)
        {
            for (int x = 0; x < kWidth; ++x)
            {
                const Shares shares = inFormula(x + 0.5, y + 0.5);
                // What is not mixed is copied, clear pixels with their colour.
                expected.At(x, y) = shares.from >= 1.0 ? fromScene.At(x, y)
                                    : shares.to >= 1.0 ? toScene.At(x, y)
                                                       : MixOf(fromScene.At(x, y), toScene.At(x, y),
                                                               InCoding(inBorder, format.format), shares);
            }
        }
        const MF::IVideoFrameRef result = RunTransition(inName, inValues, inMoment, from, to);
        ASSERT_TRUE(result) << inName;
        EXPECT_TRUE(AreNear(SceneOf(result), expected, format.bound, true))
            << inName << ", " << format.name << ", frame " << inMoment.frame << " of " << inMoment.count;
    }
}

double Ramp(double inInside, double inSoftness)
{
    return std::clamp(inInside / inSoftness + 0.5, 0.0, 1.0);
}

Shares EdgeShares(double inInside, double inSoftness, double inBorder)
{
    return {1.0 - Ramp(inInside + inBorder / 2.0, inSoftness), Ramp(inInside - inBorder / 2.0, inSoftness)};
}

const Pixel kBorderColor = {1.0, 0.5019607843137255, 0.0, 1.0};

Values EdgeValues(double inSoftness, double inBorder)
{
    return {{0, MakeNumberParameter(inSoftness)},
            {1, MakeNumberParameter(inBorder)},
            {2, ColorValue(255, 128, 0)}};
}

Values With(Values inValues, std::size_t inPlace, const MF::IKeyframedParameterRef& inValue)
{
    inValues.emplace_back(inPlace, inValue);
    return inValues;
}

TEST(CrossDissolve, MixesByProgress)
{
    for (const Moment moment : {Moment{0, 4}, Moment{1, 4}, Moment{3, 4}, Moment{0, 1}})
    {
        const double progress = moment.count == 1 ? 0.5 : static_cast<double>(moment.frame) / 4.0;
        for (const Format& format : Formats())
        {
            const MF::IVideoFrameRef from = FrameOf(Noise(kWidth, kHeight, 1), format.format);
            const MF::IVideoFrameRef to = FrameOf(Noise(kWidth, kHeight, 2), format.format);
            Scene expected = SceneOf(from);
            const Scene toScene = SceneOf(to);
            for (std::size_t i = 0; i < expected.pixels.size(); ++i)
            {
                expected.pixels[i] =
                    MixOf(expected.pixels[i], toScene.pixels[i], {}, {1.0 - progress, progress});
            }
            const MF::IVideoFrameRef result =
                RunTransition("VX.ZNTR Cross Dissolve New", {}, moment, from, to);
            ASSERT_TRUE(result);
            EXPECT_TRUE(AreNear(SceneOf(result), expected, format.bound, true)) << format.name << progress;
        }
    }
}

MF::IVideoFrameRef WholeFrame(const Format& inFormat, std::uint64_t inSeed, bool inIsNoted = true)
{
    MF::IVideoFrameRef frame = FrameOf(Noise(37, 2, inSeed, true), inFormat.format);
    if (inIsNoted)
    {
        VF::NoteWholeAlpha(frame);
    }
    frame->Freeze();
    return frame;
}

// Nobody looks through the result of two that are known to be whole; so it had better be.
TEST(CrossDissolve, OfWholeAlphasIsKnownToBeWholeInIntegers)
{
    constexpr std::int64_t kCount = 499;
    for (const Format& format : Formats())
    {
        const MF::IVideoFrameRef from = WholeFrame(format, 1);
        const MF::IVideoFrameRef to = WholeFrame(format, 2);
        const bool isInteger = norviktypes::DepthOfProperties(format.format.mProperties) <= 16;
        for (std::int64_t frame = 0; frame < kCount; ++frame)
        {
            const MF::IVideoFrameRef result =
                RunTransition("VX.ZNTR Cross Dissolve New", {}, {frame, kCount}, from, to);
            ASSERT_TRUE(result);
            ASSERT_EQ(VF::IsKnownToHaveWholeAlpha(result), isInteger) << format.name;
            VF::FramePixels pixels;
            ASSERT_TRUE(VF::GetFramePixels(result, pixels));
            ASSERT_TRUE(!isInteger || VF::HasWholeAlpha(pixels)) << format.name << ", frame " << frame;
            EXPECT_FALSE(VF::IsKnownToHaveWholeAlpha(result)) << "who asked for the pixels may have written";
        }
    }
}

TEST(CrossDissolve, IsNotKnownToBeWholeWhereOnePictureIsNot)
{
    for (const Format& format : Formats())
    {
        for (const bool isFirst : {false, true})
        {
            const MF::IVideoFrameRef result =
                RunTransition("VX.ZNTR Cross Dissolve New", {}, {1, 4}, WholeFrame(format, 1, isFirst),
                              WholeFrame(format, 2, !isFirst));
            ASSERT_TRUE(result);
            EXPECT_FALSE(VF::IsKnownToHaveWholeAlpha(result)) << format.name;
        }
    }
}

TEST(DipToColor, IsNotKnownToBeWhole)
{
    const Format& format = Formats().front();
    const MF::IVideoFrameRef result =
        RunTransition("vrender:dip-to-color", {}, {1, 4}, WholeFrame(format, 1), WholeFrame(format, 2));
    ASSERT_TRUE(result);
    EXPECT_FALSE(VF::IsKnownToHaveWholeAlpha(result));
}

TEST(DipToColor, GoesThroughTheColor)
{
    for (const std::int64_t frame : {0, 2, 4, 5, 8, 9})
    {
        const double progress = static_cast<double>(frame) / 10.0;
        const double color = 1.0 - std::abs(2.0 * progress - 1.0);
        const Shares shares = {progress < 0.5 ? 1.0 - color : 0.0, progress < 0.5 ? 0.0 : 1.0 - color};
        for (const Format& format : Formats())
        {
            const MF::IVideoFrameRef from = FrameOf(Noise(kWidth, kHeight, 1), format.format);
            const MF::IVideoFrameRef to = FrameOf(Noise(kWidth, kHeight, 2), format.format);
            Scene expected = SceneOf(from);
            const Scene toScene = SceneOf(to);
            for (std::size_t i = 0; i < expected.pixels.size(); ++i)
            {
                expected.pixels[i] = MixOf(expected.pixels[i], toScene.pixels[i],
                                           InCoding(kBorderColor, format.format), shares);
            }
            const auto result =
                RunTransition("vrender:dip-to-color", {{0, ColorValue(255, 128, 0)}}, {frame, 10}, from, to);
            ASSERT_TRUE(result);
            EXPECT_TRUE(AreNear(SceneOf(result), expected, format.bound, true)) << format.name << progress;
        }
    }
}

TEST(LinearWipe, MovesItsEdgeAtAnyAngle)
{
    for (const double angle : {0.0, 30.0, 90.0, 180.0, 247.0})
    {
        for (const auto& [softness, border] : {std::pair{0.0, 0.0}, {9.0, 0.0}, {3.0, 7.0}, {60.0, 5.0}})
        {
            const double soft = std::max(1.0, softness);
            const double x = std::cos(angle * std::numbers::pi / 180.0);
            const double y = std::sin(angle * std::numbers::pi / 180.0);
            const double half = (std::abs(x) * kWidth + std::abs(y) * kHeight) / 2.0 + (soft + border) / 2.0;
            for (const std::int64_t frame : {0, 3, 5, 9})
            {
                const double edge = half * (2.0 * static_cast<double>(frame) / 10.0 - 1.0);
                ExpectShares("vrender:wipe",
                             With(EdgeValues(softness, border), 3, MakeNumberParameter(angle)), {frame, 10},
                             kBorderColor,
                             [&, border_ = border](double inX, double inY)
                             {
                                 const double along = x * (inX - kWidth / 2.0) + y * (inY - kHeight / 2.0);
                                 return EdgeShares(edge - along, soft, border_);
                             });
            }
        }
    }
}

// The angle of a place, clockwise from the top, and how far it is from the nearer side of the sector.
double InsideSector(double inX, double inY, double inStart, double inSweep)
{
    const double angle = std::atan2(inX, -inY);
    double turned = std::fmod(angle - inStart, 2.0 * std::numbers::pi);
    turned = turned < 0.0 ? turned + 2.0 * std::numbers::pi : turned;
    const double radius = std::hypot(inX, inY);
    const auto distance = [&](double inSide)
    { return std::cos(angle - inSide) > 0.0 ? std::abs(radius * std::sin(angle - inSide)) : radius; };
    const double nearer = std::min(distance(inStart), distance(inStart + inSweep));
    return turned <= inSweep ? nearer : -nearer;
}

TEST(ClockWipe, OpensClockwiseFromItsStart)
{
    for (const auto& [softness, border] : {std::pair{0.0, 0.0}, {8.0, 4.0}})
    {
        for (const std::int64_t frame : {0, 1, 20, 50, 77, 98})
        {
            const double progress = static_cast<double>(frame) / 100.0;
            const double start = 40.0 * std::numbers::pi / 180.0;
            const double grown = std::min({1.0, progress * 20.0, (1.0 - progress) * 20.0});
            Values values = With(EdgeValues(softness, border), 3, MakeNumberParameter(40.0));
            values.emplace_back(4, MakePointParameter(0.3, 0.6));
            ExpectShares("vrender:clock-wipe", values, {frame, 100}, kBorderColor,
                         [&, softness_ = softness, border_ = border](double inX, double inY)
                         {
                             const double inside = InsideSector(inX - 0.3 * kWidth, inY - 0.6 * kHeight,
                                                                start, 2.0 * std::numbers::pi * progress);
                             return frame == 0 ? Shares{1.0, 0.0}
                                               : EdgeShares(inside, std::max(1.0, softness_) * grown,
                                                            border_ * grown);
                         });
        }
    }
}

TEST(IrisWipe, OpensItsShapeFromTheCenter)
{
    constexpr double kX = 0.4 * kWidth;
    constexpr double kY = 0.7 * kHeight;
    constexpr double kFarX = kWidth - kX;
    constexpr double kFarY = kY;
    const double root = std::sqrt(0.5);
    for (const std::uint32_t shape : {0U, 1U, 2U})
    {
        for (const auto& [softness, border] : {std::pair{0.0, 0.0}, {8.0, 4.0}})
        {
            const double soft = std::max(1.0, softness);
            const double reach = (soft + border) / 2.0;
            for (const std::int64_t frame : {0, 2, 5, 9})
            {
                const double progress = static_cast<double>(frame) / 10.0;
                const auto grown = [&](double inFar) { return progress * (inFar + 2.0 * reach) - reach; };
                const auto inside = [&](double inX, double inY)
                {
                    const double x = std::abs(inX - kX);
                    const double y = std::abs(inY - kY);
                    if (shape == 0)
                    {
                        return std::min(grown(kFarX) - x, grown(kFarY) - y);
                    }
                    return shape == 1 ? grown(std::hypot(kFarX, kFarY)) - std::hypot(x, y)
                                      : grown((kFarX + kFarY) * root) - (x + y) * root;
                };
                Values values = With(EdgeValues(softness, border), 3, MakeChoiceParameter(shape));
                values.emplace_back(4, MakePointParameter(0.4, 0.7));
                ExpectShares("vrender:iris", values, {frame, 10}, kBorderColor,
                             [&, border_ = border](double inX, double inY)
                             { return EdgeShares(inside(inX, inY), soft, border_); });
            }
        }
    }
}

TEST(Wipes, EndWithTheIncomingPictureAlone)
{
    // One frame short of the end there may be an edge; at 100 percent there is none.
    ML::TransitionInfo info;
    info.mStartPercent = 100.0;
    const Format& format = Formats()[0];
    const MF::IVideoFrameRef from = FrameOf(Noise(kWidth, kHeight, 1), format.format);
    const MF::IVideoFrameRef to = FrameOf(Noise(kWidth, kHeight, 2), format.format);
    for (const char* name : {"vrender:wipe", "vrender:clock-wipe", "vrender:iris"})
    {
        const auto result = RunTransition(name, EdgeValues(30.0, 20.0), {0, 10}, from, to, info);
        ASSERT_TRUE(result);
        EXPECT_TRUE(AreNear(SceneOf(result), SceneOf(to), 0.0)) << name;
    }
}

TEST(Wipes, HalveTheirEdgeInAHalvedPicture)
{
    const Format& format = Formats()[2];
    const MF::IVideoFrameRef from = FrameOf(Noise(kWidth, kHeight, 1), format.format);
    const MF::IVideoFrameRef to = FrameOf(Noise(kWidth, kHeight, 2), format.format);
    const auto half = RunTransition("vrender:wipe", EdgeValues(40.0, 12.0), {5, 10, 0.5}, from, to);
    const auto full = RunTransition("vrender:wipe", EdgeValues(20.0, 6.0), {5, 10, 1.0}, from, to);
    ASSERT_TRUE(half && full);
    EXPECT_TRUE(AreNear(SceneOf(half), SceneOf(full), 0.0));
}

TEST(Wipes, AreRoundOnScreenWherePixelsAreNot)
{
    const Format& format = Formats()[0];
    const MF::IVideoFrameRef from = FrameOf(Filled(64, 64, {0, 0, 0, 1}), format.format);
    const MF::IVideoFrameRef to = FrameOf(Filled(64, 64, {1, 1, 1, 1}), format.format);
    from->SetPixelAspectRatio(norviktypes::PixelAspectRatio(2, 1));
    const auto result = RunTransition("vrender:iris", {}, {3, 10}, from, to);
    ASSERT_TRUE(result);
    const Scene scene = SceneOf(result);
    int across = 0;
    int down = 0;
    for (int i = 0; i < 64; ++i)
    {
        across += scene.At(i, 32)[0] > 0.5;
        down += scene.At(32, i)[0] > 0.5;
    }
    EXPECT_GT(across, 10);
    EXPECT_NEAR(down, 2 * across, 2);
}

Scene Moved(const Scene& inBack, const Scene& inFront, int inBackX, int inBackY, int inFrontX, int inFrontY)
{
    Scene result = inBack;
    for (int y = 0; y < kHeight; ++y)
    {
        for (int x = 0; x < kWidth; ++x)
        {
            const bool isFront =
                x >= inFrontX && x < inFrontX + kWidth && y >= inFrontY && y < inFrontY + kHeight;
            result.At(x, y) =
                isFront ? inFront.At(x - inFrontX, y - inFrontY) : inBack.At(x - inBackX, y - inBackY);
        }
    }
    return result;
}

TEST(Slides, MoveWholePixels)
{
    for (const std::uint32_t side : {0U, 1U, 2U, 3U})
    {
        for (const std::int64_t frame : {0, 3, 9})
        {
            const double rest = 1.0 - static_cast<double>(frame) / 10.0;
            const int x = static_cast<int>(std::lround(rest * kWidth));
            const int y = static_cast<int>(std::lround(rest * kHeight));
            const int frontX = side == 0 ? -x : side == 1 ? x : 0;
            const int frontY = side == 2 ? -y : side == 3 ? y : 0;
            const int backX = side == 0 ? frontX + kWidth : side == 1 ? frontX - kWidth : 0;
            const int backY = side == 2 ? frontY + kHeight : side == 3 ? frontY - kHeight : 0;
            for (const Format& format : Formats())
            {
                const MF::IVideoFrameRef from = FrameOf(Noise(kWidth, kHeight, 1), format.format);
                const MF::IVideoFrameRef to = FrameOf(Noise(kWidth, kHeight, 2), format.format);
                const Values values = {{0, MakeChoiceParameter(side)}};
                const auto slide = RunTransition("vrender:slide", values, {frame, 10}, from, to);
                const auto push = RunTransition("vrender:push", values, {frame, 10}, from, to);
                ASSERT_TRUE(slide && push);
                EXPECT_TRUE(
                    AreNear(SceneOf(slide), Moved(SceneOf(from), SceneOf(to), 0, 0, frontX, frontY), 0.0));
                EXPECT_TRUE(AreNear(SceneOf(push),
                                    Moved(SceneOf(from), SceneOf(to), backX, backY, frontX, frontY), 0.0));
            }
        }
    }
}

TEST(LumaWipe, ShowsTheIncomingPictureFirstWhereTheMapIsDark)
{
    Scene map = Filled(7, 5, {0, 0, 0, 1});
    for (int i = 0; i < 35; ++i)
    {
        const double level = i * 29 % 35 / 34.0;
        map.pixels[static_cast<std::size_t>(i)] = {level, level, level, 1.0};
    }
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("luma.png");
    const MF::IVideoFrameRef mapFrame = FrameOf(map, MF::kPixelFormat_BGRA_4444_8u);
    mapFrame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    const Scene stored = SceneOf(mapFrame);
    std::string error;
    ASSERT_TRUE(VF::WritePNGFile(mapFrame, path, error)) << error;
    const auto at = [&](double inPlace, int inCount, int inSamples)
    { return std::clamp(inPlace * inSamples / inCount - 0.5, 0.0, inSamples - 1.0); };
    const auto level = [&](double inX, double inY)
    {
        const double x = at(inX, kWidth, 7);
        const double y = at(inY, kHeight, 5);
        const int left = static_cast<int>(x);
        const int top = static_cast<int>(y);
        const auto row = [&](int inRow)
        {
            const double second = stored.At(std::min(left + 1, 6), inRow)[0];
            return stored.At(left, inRow)[0] * (1.0 - (x - left)) + second * (x - left);
        };
        return row(top) * (1.0 - (y - top)) + row(std::min(top + 1, 4)) * (y - top);
    };
    for (const bool isInverted : {false, true})
    {
        for (const std::int64_t frame : {0, 4, 9})
        {
            const double progress = static_cast<double>(frame) / 10.0;
            ExpectShares(
                "vrender:luma-wipe",
                {{0, TextValue(path)}, {1, MakeNumberParameter(25.0)}, {2, MakeTruthParameter(isInverted)}},
                {frame, 10}, kBorderColor,
                [&](double inX, double inY)
                {
                    const double found = level(inX, inY);
                    const double value = isInverted ? 1.0 - found : found;
                    const double to = std::clamp((progress * 1.25 - value) / 0.25, 0.0, 1.0);
                    return Shares{1.0 - to, to};
                });
        }
    }
}

TEST(LumaWipe, DissolvesWithoutAMap)
{
    const Format& format = Formats()[2];
    const MF::IVideoFrameRef from = FrameOf(Noise(kWidth, kHeight, 1), format.format);
    const MF::IVideoFrameRef to = FrameOf(Noise(kWidth, kHeight, 2), format.format);
    const auto result = RunTransition("vrender:luma-wipe", {}, {3, 10}, from, to);
    const auto dissolve = RunTransition("vrender:cross-dissolve", {}, {3, 10}, from, to);
    ASSERT_TRUE(result && dissolve);
    EXPECT_TRUE(AreNear(SceneOf(result), SceneOf(dissolve), 1e-5, true));
}

} // namespace
