#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/ComposeReference.h"
#include "ReferenceHost/ImageRoutines/ComposeRows.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "TestPictures.h"
#include "Tests/Support/Scale.h"

// Every mode against its formula, written down here once more from the recommendation and in double.
namespace
{

using Colour = std::array<double, 3>;
using Formula = std::function<Colour(const Colour&, const Colour&)>; // of Cb and Cs
using Curve = std::function<double(double, double)>;

constexpr std::uint32_t kBGRA8 = 0x004;
constexpr std::uint32_t kBGRP8 = 0x008;
constexpr std::uint32_t kBGRX8 = 0x00C;
constexpr std::uint32_t kBGRP32f = 0x108;

double Unit(double inValue)
{
    return std::clamp(inValue, 0.0, 1.0);
}

Formula EachOf(const Curve& inCurve)
{
    return [inCurve](const Colour& inCb, const Colour& inCs) -> Colour {
        return {inCurve(inCb[0], inCs[0]), inCurve(inCb[1], inCs[1]), inCurve(inCb[2], inCs[2])};
    };
}

double Multiply(double inB, double inS)
{
    return inB * inS;
}

double Screen(double inB, double inS)
{
    return 1.0 - (1.0 - inB) * (1.0 - inS);
}

double HardLight(double inB, double inS)
{
    return inS <= 0.5 ? Multiply(inB, 2.0 * inS) : Screen(inB, 2.0 * inS - 1.0);
}

double ColorDodge(double inB, double inS)
{
    if (inB == 0.0)
    {
        return 0.0;
    }
    return inS == 1.0 ? 1.0 : std::min(1.0, inB / (1.0 - inS));
}

double ColorBurn(double inB, double inS)
{
    if (inB == 1.0)
    {
        return 1.0;
    }
    return inS == 0.0 ? 0.0 : 1.0 - std::min(1.0, (1.0 - inB) / inS);
}

double SoftLight(double inB, double inS)
{
    const double d = inB <= 0.25 ? ((16.0 * inB - 12.0) * inB + 4.0) * inB : std::sqrt(inB);
    return inS <= 0.5 ? inB - (1.0 - 2.0 * inS) * inB * (1.0 - inB) : inB + (2.0 * inS - 1.0) * (d - inB);
}

double Lum(const Colour& inColour)
{
    return 0.3 * inColour[0] + 0.59 * inColour[1] + 0.11 * inColour[2];
}

Colour ClipColor(Colour inColour)
{
    const double l = Lum(inColour);
    const double n = *std::min_element(inColour.begin(), inColour.end());
    const double x = *std::max_element(inColour.begin(), inColour.end());
    for (double& c : inColour)
    {
        c = n < 0.0 ? l + (c - l) * l / (l - n) : c;
        c = x > 1.0 ? l + (c - l) * (1.0 - l) / (x - l) : c;
    }
    return inColour;
}

Colour SetLum(Colour inColour, double inLum)
{
    const double d = inLum - Lum(inColour);
    for (double& c : inColour)
    {
        c += d;
    }
    return ClipColor(inColour);
}

double Sat(const Colour& inColour)
{
    const auto [least, greatest] = std::minmax_element(inColour.begin(), inColour.end());
    return *greatest - *least;
}

Colour SetSat(Colour inColour, double inSat)
{
    std::array<std::size_t, 3> order = {0, 1, 2};
    std::sort(order.begin(), order.end(),
              [&](std::size_t inA, std::size_t inB) { return inColour[inA] < inColour[inB]; });
    double& min = inColour[order[0]];
    double& mid = inColour[order[1]];
    double& max = inColour[order[2]];
    if (max > min)
    {
        mid = (mid - min) * inSat / (max - min);
        max = inSat;
    }
    else
    {
        mid = max = 0.0;
    }
    min = 0.0;
    return inColour;
}

struct Mode
{
    const char* name;
    std::uint32_t number;
    bool isSeparable;
    Formula formula;
};

Mode Separable(const char* inName, std::uint32_t inNumber, const Curve& inCurve)
{
    return {inName, inNumber, true, EachOf(inCurve)};
}

const std::vector<Mode>& Modes()
{
    static const std::vector<Mode> sModes = {
        {"color", 0, false, [](const Colour& inB, const Colour& inS) { return SetLum(inS, Lum(inB)); }},
        Separable("colorBurn", 1, ColorBurn),
        Separable("colorDodge", 2, ColorDodge),
        Separable("darken", 3, [](double inB, double inS) { return std::min(inB, inS); }),
        {"darkerColor", 4, false,
         [](const Colour& inB, const Colour& inS) { return Lum(inS) < Lum(inB) - 1e-7 ? inS : inB; }},
        Separable("difference", 5, [](double inB, double inS) { return std::fabs(inB - inS); }),
        Separable("exclusion", 7, [](double inB, double inS) { return inB + inS - 2.0 * inB * inS; }),
        Separable("hardLight", 8, HardLight),
        Separable("hardMix", 9, [](double inB, double inS) { return inB + inS < 1.0 - 1e-7 ? 0.0 : 1.0; }),
        {"hue", 10, false,
         [](const Colour& inB, const Colour& inS) { return SetLum(SetSat(inS, Sat(inB)), Lum(inB)); }},
        Separable("lighten", 11, [](double inB, double inS) { return std::max(inB, inS); }),
        {"lighterColor", 12, false,
         [](const Colour& inB, const Colour& inS) { return Lum(inS) > Lum(inB) + 1e-7 ? inS : inB; }},
        Separable("linearBurn", 13, [](double inB, double inS) { return std::max(0.0, inB + inS - 1.0); }),
        Separable("linearDodge", 14, [](double inB, double inS) { return std::min(1.0, inB + inS); }),
        Separable("linearLight", 15, [](double inB, double inS) { return Unit(inB + 2.0 * inS - 1.0); }),
        {"luminosity", 16, false, [](const Colour& inB, const Colour& inS) { return SetLum(inB, Lum(inS)); }},
        Separable("multiply", 17, Multiply),
        Separable("normal", 18, [](double, double inS) { return inS; }),
        Separable("overlay", 19, [](double inB, double inS) { return HardLight(inS, inB); }),
        Separable("pinLight", 20,
                  [](double inB, double inS)
                  { return inS <= 0.5 ? std::min(inB, 2.0 * inS) : std::max(inB, 2.0 * inS - 1.0); }),
        {"saturation", 21, false,
         [](const Colour& inB, const Colour& inS) { return SetLum(SetSat(inB, Sat(inS)), Lum(inB)); }},
        Separable("screen", 22, Screen),
        Separable("softLight", 23, SoftLight),
        Separable("vividLight", 24,
                  [](double inB, double inS)
                  { return inS <= 0.5 ? ColorBurn(inB, 2.0 * inS) : ColorDodge(inB, 2.0 * inS - 1.0); }),
        Separable("subtract", 25, [](double inB, double inS) { return std::max(0.0, inB - inS); }),
        Separable("divide", 26,
                  [](double inB, double inS) { return inS == 0.0 ? 1.0 : std::min(1.0, inB / inS); })};
    return sModes;
}

struct Straight
{
    Colour colour;
    double alpha;
};

Straight Composed(const Mode& inMode, const Straight& inSource, const Straight& inBackdrop)
{
    const double as = inSource.alpha;
    const double ab = inBackdrop.alpha;
    const Colour blended = inMode.formula(inBackdrop.colour, inSource.colour);
    Straight result = {{}, as + ab * (1.0 - as)};
    for (std::size_t i = 0; i < 3; ++i)
    {
        const double sum = as * (1.0 - ab) * inSource.colour[i] + as * ab * blended[i] +
                           (1.0 - as) * ab * inBackdrop.colour[i];
        result.colour[i] = result.alpha == 0.0 ? 0.0 : sum / result.alpha;
    }
    return result;
}

// One premultiplied pixel, R at place 2 as it is packed.
std::array<float, 4> Packed(const Straight& inPixel)
{
    return {static_cast<float>(inPixel.colour[2] * inPixel.alpha),
            static_cast<float>(inPixel.colour[1] * inPixel.alpha),
            static_cast<float>(inPixel.colour[0] * inPixel.alpha), static_cast<float>(inPixel.alpha)};
}

ir::ComposeSettings SettingsFor(std::uint32_t inMode, float inOpacity = 1.0F)
{
    ir::ComposeSettings settings;
    settings.blendMode = inMode;
    settings.opacity = inOpacity;
    return settings;
}

// Colours of bytes, so that none lies within rounding of a place where a formula jumps.
Straight RandomPixel(std::mt19937& ioRandom)
{
    static constexpr double kAlphas[] = {0.0, 0.25, 0.6, 1.0};
    Straight pixel = {};
    for (double& c : pixel.colour)
    {
        c = static_cast<double>(ioRandom() % 256) / 255.0;
    }
    pixel.alpha = kAlphas[ioRandom() % 4];
    return pixel;
}

class BlendModes : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

std::vector<std::uint8_t> DissolvedShown(std::int32_t inX, std::int32_t inY, std::int32_t inWidth,
                                         float inOpacity)
{
    TestPictures::Memory target(kBGRX8, inX + inWidth, inY + 1);
    std::memset(target.Pixels(), 0,
                static_cast<std::size_t>(target.RowBytes()) * static_cast<std::size_t>(inY + 1));
    const std::vector<std::uint8_t> white(static_cast<std::size_t>(inWidth) * 4, 255);
    ir::ComposeByteRow(white.data(), nullptr, SettingsFor(kIR_Blend_Dissolve, inOpacity), target.View(), inX,
                       inY, inWidth);
    std::vector<std::uint8_t> shown;
    for (std::int32_t i = 0; i < inWidth; ++i)
    {
        shown.push_back(target.View().Row(0, inY)[(inX + i) * 4]);
    }
    return shown;
}

}

TEST(BlendModeNumbers, AreThoseThatDocumentsCarry)
{
    std::vector<bool> isNamed(kIR_Blend_Count, false);
    isNamed[kIR_Blend_Dissolve] = true;
    for (const Mode& mode : Modes())
    {
        ASSERT_LT(mode.number, static_cast<std::uint32_t>(kIR_Blend_Count));
        EXPECT_FALSE(isNamed[mode.number]) << mode.name;
        isNamed[mode.number] = true;
        EXPECT_TRUE(ir::IsBlendMode(mode.number));
    }
    EXPECT_EQ(27, std::count(isNamed.begin(), isNamed.end(), true));
    EXPECT_EQ(18, kIR_Blend_Normal);
    EXPECT_EQ(6, kIR_Blend_Dissolve);
    EXPECT_FALSE(ir::IsBlendMode(27));
    EXPECT_FALSE(ir::IsBlendMode(0xFFFFFFFFU));
}

TEST(BlendModeBytes, AreTheSameOnEveryInstructionSet)
{
    for (const std::uint32_t code : {kBGRA8, kBGRP8, kBGRX8, 0x00AU})
    {
        for (std::uint32_t mode = 0; mode < kIR_Blend_Count; ++mode)
        {
            for (std::int32_t width = 1; width < 68; width += 11)
            {
                std::vector<std::vector<unsigned char>> results;
                for (const std::string& name : TestPictures::Targets())
                {
                    ASSERT_TRUE(ir::SetCpuTarget(name.c_str()));
                    std::mt19937 random(mode);
                    TestPictures::Memory target(code, width, 2, 12, 4);
                    TestPictures::Memory layer((code & 0x3U) | 0x8U, width, 1, 0, 4);
                    target.Randomise(random);
                    layer.Randomise(random);
                    std::vector<std::uint8_t> coverage(static_cast<std::size_t>(width));
                    std::generate(coverage.begin(), coverage.end(),
                                  [&] { return static_cast<std::uint8_t>(random() >> 8); });
                    ir::ComposeByteRow(static_cast<const std::uint8_t*>(layer.Pixels()), coverage.data(),
                                       SettingsFor(mode, 0.9F), target.View(), 0, 1, width);
                    ASSERT_TRUE(target.GuardsAreWhole()) << mode << " on " << name;
                    results.push_back(target.Packed());
                }
                for (const auto& result : results)
                {
                    ASSERT_EQ(results.back(), result) << mode << " on " << TestPictures::Name(code);
                }
            }
        }
    }
    ASSERT_TRUE(ir::SetCpuTarget("auto"));
}

TEST_P(BlendModes, FollowTheirFormulasInFloatsWhateverTheAlphas)
{
    std::mt19937 random(27);
    for (const Mode& mode : Modes())
    {
        if (mode.number == kIR_Blend_LinearDodge || mode.number == kIR_Blend_LinearLight)
        {
            continue; // not limited in floats: below
        }
        for (std::size_t i = 0; i < TestSupport::ScaledCount(3000); ++i)
        {
            const Straight source = RandomPixel(random);
            const Straight backdrop = RandomPixel(random);
            const Straight expected = Composed(mode, source, backdrop);
            TestPictures::Memory target(kBGRP32f, 1, 1);
            const auto under = Packed(backdrop);
            std::memcpy(target.Pixels(), under.data(), sizeof under);
            ir::ComposeFloatRow(Packed(source).data(), nullptr, SettingsFor(mode.number), target.View(), 0, 0,
                                1);
            std::array<float, 4> result = {};
            std::memcpy(result.data(), target.Pixels(), sizeof result);
            const auto wanted = Packed(expected);
            for (std::size_t c = 0; c < 4; ++c)
            {
                ASSERT_NEAR(wanted[c], result[c], 1e-5)
                    << mode.name << " place " << c << ", as " << source.alpha << ", ab " << backdrop.alpha;
            }
        }
    }
}

TEST_P(BlendModes, FollowTheirFormulasInBytesForEveryPairOfOpaqueCodes)
{
    for (const Mode& mode : Modes())
    {
        for (int below = 0; below < 256 && mode.isSeparable; ++below)
        {
            TestPictures::Memory target(kBGRX8, 256, 1);
            std::memset(target.Pixels(), below, 1024);
            std::vector<std::uint8_t> source(1024, 255);
            for (std::size_t i = 0; i < 256; ++i)
            {
                std::fill_n(source.begin() + static_cast<std::ptrdiff_t>(i) * 4, 3,
                            static_cast<std::uint8_t>(i));
            }
            ir::ComposeByteRow(source.data(), nullptr, SettingsFor(mode.number), target.View(), 0, 0, 256);
            for (int above = 0; above < 256; ++above)
            {
                const Colour b = {below / 255.0, below / 255.0, below / 255.0};
                const Colour s = {above / 255.0, above / 255.0, above / 255.0};
                const double wanted = 255.0 * mode.formula(b, s)[0];
                ASSERT_NEAR(wanted, target.View().Row(0, 0)[above * 4 + 1], 0.5001)
                    << mode.name << " of " << above << " on " << below;
            }
        }
    }
}

TEST_P(BlendModes, FollowTheirFormulasInBytesOfEveryAlphaKind)
{
    std::mt19937 random(28);
    const std::size_t count = TestSupport::ScaledCount(600);
    for (const std::uint32_t code : {kBGRA8, kBGRP8, kBGRX8})
    {
        for (const Mode& mode : Modes())
        {
            const auto width = static_cast<std::int32_t>(count);
            TestPictures::Memory target(code, width, 1);
            target.Randomise(random);
            TestPictures::Memory source(kBGRP8, width, 1);
            source.Randomise(random);
            TestPictures::Memory before = target;
            ir::ComposeByteRow(static_cast<const std::uint8_t*>(source.Pixels()), nullptr,
                               SettingsFor(mode.number), target.View(), 0, 0, width);
            ir::Picture beforeView = target.View();
            beforeView.planes[0] = static_cast<unsigned char*>(before.Pixels());
            for (std::int32_t x = 0; x < width; ++x)
            {
                const ir::reference::Pixel wanted = ir::reference::ComposePixel(
                    ir::reference::ReadPixel(source.View(), x, 0), ir::reference::ReadPixel(beforeView, x, 0),
                    target.View(), SettingsFor(mode.number), x, 0);
                const std::uint8_t* result = target.View().Row(0, 0) + x * 4;
                for (int c = 0; c < (code == kBGRX8 || result[3] == 0 ? 3 : 4); ++c)
                {
                    const double held = std::clamp(wanted.c[c], 0.0, 1.0);
                    ASSERT_NEAR(result[3] == 0 ? 0.0 : 255.0 * held, result[ir::kPackedPlace[c]], 1.0)
                        << mode.name << " on " << TestPictures::Name(code) << " at " << x;
                }
            }
        }
    }
}

TEST_P(BlendModes, ThatAddKeepWhatIsAboveWhiteInFloats)
{
    for (const auto& [mode, wanted] : {std::pair<std::uint32_t, float>{kIR_Blend_LinearDodge, 1.5F},
                                       {kIR_Blend_LinearLight, 1.3F},
                                       {kIR_Blend_Normal, 0.8F},
                                       {kIR_Blend_Screen, 0.94F}})
    {
        TestPictures::Memory target(kBGRP32f, 1, 1);
        const std::array<float, 4> under = {0.7F, 0.7F, 0.7F, 1.0F};
        const std::array<float, 4> over = {0.8F, 0.8F, 0.8F, 1.0F};
        std::memcpy(target.Pixels(), under.data(), sizeof under);
        ir::ComposeFloatRow(over.data(), nullptr, SettingsFor(mode), target.View(), 0, 0, 1);
        EXPECT_NEAR(wanted, *static_cast<const float*>(target.Pixels()), 1e-6F) << mode;
    }
}

TEST_P(BlendModes, ShowTheSourceWhereNothingIsBelowAndKeepTheBackdropWhereNothingIsAbove)
{
    std::mt19937 random(29);
    for (std::uint32_t mode = 0; mode < kIR_Blend_Count; ++mode)
    {
        TestPictures::Memory source(kBGRP8, 67, 1);
        source.Randomise(random);
        TestPictures::Memory target(kBGRP8, 67, 1);
        std::memset(target.Pixels(), 0, 67 * 4);
        const auto* pixels = static_cast<const std::uint8_t*>(source.Pixels());
        if (mode != kIR_Blend_Dissolve)
        {
            ir::ComposeByteRow(pixels, nullptr, SettingsFor(mode), target.View(), 0, 0, 67);
            EXPECT_EQ(source.Packed(), target.Packed()) << mode;
        }
        const std::vector<std::uint8_t> nothing(67 * 4, 0);
        const auto before = target.Packed();
        ir::ComposeByteRow(nothing.data(), nullptr, SettingsFor(mode), target.View(), 0, 0, 67);
        EXPECT_EQ(before, target.Packed()) << mode;
        ir::ComposeByteRow(pixels, nullptr, SettingsFor(mode, 0.0F), target.View(), 0, 0, 67);
        EXPECT_EQ(before, target.Packed()) << mode;
    }
}

TEST_P(BlendModes, HaveTheirNeutralColours)
{
    struct Neutral
    {
        std::uint32_t mode;
        std::uint8_t code;
    };
    constexpr Neutral kNeutrals[] = {
        {kIR_Blend_Multiply, 255},   {kIR_Blend_Darken, 255},   {kIR_Blend_ColorBurn, 255},
        {kIR_Blend_LinearBurn, 255}, {kIR_Blend_Divide, 255},   {kIR_Blend_Screen, 0},
        {kIR_Blend_Lighten, 0},      {kIR_Blend_ColorDodge, 0}, {kIR_Blend_LinearDodge, 0},
        {kIR_Blend_Difference, 0},   {kIR_Blend_Exclusion, 0},  {kIR_Blend_Subtract, 0}};
    for (const Neutral& neutral : kNeutrals)
    {
        TestPictures::Memory target(kBGRX8, 256, 1);
        auto* pixels = static_cast<std::uint8_t*>(target.Pixels());
        for (std::size_t i = 0; i < 1024; ++i)
        {
            pixels[i] = i % 4 == 3 ? 255 : static_cast<std::uint8_t>(i / 4);
        }
        const auto before = target.Packed();
        std::vector<std::uint8_t> source(1024, neutral.code);
        for (std::size_t i = 3; i < 1024; i += 4)
        {
            source[i] = 255;
        }
        ir::ComposeByteRow(source.data(), nullptr, SettingsFor(neutral.mode), target.View(), 0, 0, 256);
        EXPECT_EQ(before, target.Packed()) << neutral.mode;
    }
}

TEST_P(BlendModes, OfYuvPicturesMeetInRgb)
{
    // Half grey over full colour: multiply halves R, G and B, so Y, U and V above black are halved.
    TestPictures::Memory target(0x106, 1, 1); // V U Y A in floats
    const std::array<float, 4> under = {0.2F, -0.1F, 0.5F, 1.0F};
    const std::array<float, 4> grey = {0.0F, 0.0F, 0.5F, 1.0F};
    std::memcpy(target.Pixels(), under.data(), sizeof under);
    ir::ComposeFloatRow(grey.data(), nullptr, SettingsFor(kIR_Blend_Multiply), target.View(), 0, 0, 1);
    std::array<float, 4> result = {};
    std::memcpy(result.data(), target.Pixels(), sizeof result);
    EXPECT_NEAR(0.1F, result[0], 1e-6F);
    EXPECT_NEAR(-0.05F, result[1], 1e-6F);
    EXPECT_NEAR(0.25F, result[2], 1e-6F);
    EXPECT_EQ(1.0F, result[3]);
}

TEST_P(BlendModes, ReplaceTheStretchWhenThereIsNoPictureAndTouchNothingBeside)
{
    std::mt19937 random(30);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        if ((code & 0xF0) != 0)
        {
            continue;
        }
        for (const std::uint32_t mode : {kIR_Blend_Normal, kIR_Blend_Multiply})
        {
            TestPictures::Memory target(code, 40, 3, 4, 4);
            target.Randomise(random);
            const auto before = target.Packed();
            ir::ComposeSettings settings = SettingsFor(mode, 0.5F);
            settings.targetHasPicture = false;
            const std::vector<float> white(4 * 20, (code & 3) == 0 ? 1.0F : 0.5F);
            ir::ComposeFloatRow(white.data(), nullptr, settings, target.View(), 7, 1, 20);
            const auto after = target.Packed();
            for (std::int32_t x = 7; x < 27 && target.View().HasAlpha(); ++x)
            {
                const ir::reference::Pixel pixel = ir::reference::ReadPixel(target.View(), x, 1);
                ASSERT_NEAR((code & 3) == 0 ? 0.5 : 0.25, pixel.c[3], 0.003) << TestPictures::Name(code);
            }
            const std::size_t bytes = before.size() / 120;
            constexpr std::size_t kRow = 1; // the middle one, from both ends
            for (std::size_t i = 0; i < before.size(); ++i)
            {
                const bool isInside = i >= (kRow * 40 + 7) * bytes && i < (kRow * 40 + 27) * bytes;
                ASSERT_TRUE(isInside || before[i] == after[i]) << TestPictures::Name(code) << " byte " << i;
            }
            ASSERT_TRUE(target.GuardsAreWhole());
        }
    }
}

TEST_P(BlendModes, ReplaceTheStretchOfBytesAsIfTheTargetWereClear)
{
    std::mt19937 random(32);
    for (const std::uint32_t code : {0x004U, 0x008U, 0x00CU, 0x006U, 0x00AU, 0x00EU})
    {
        for (const std::uint32_t mode : {kIR_Blend_Normal, kIR_Blend_Difference})
        {
            TestPictures::Memory target(code, 67, 1);
            target.Randomise(random);
            TestPictures::Memory layer((code & 0x3U) | 0x8U, 67, 1);
            layer.RandomiseModerately(random);
            ir::ComposeSettings settings = SettingsFor(mode, 0.6F);
            settings.targetHasPicture = false;
            ir::ComposeByteRow(static_cast<const std::uint8_t*>(layer.Pixels()), nullptr, settings,
                               target.View(), 0, 0, 67);
            for (std::int32_t x = 0; x < 67; ++x)
            {
                ir::reference::Pixel source = ir::reference::ReadPixel(layer.View(), x, 0);
                std::transform(source.c, source.c + 4, source.c,
                               [](double inValue) { return inValue * 0.6; });
                const ir::reference::Pixel wanted =
                    ir::reference::ComposePixel(source, {}, target.View(), settings, x, 0);
                const ir::reference::Pixel result = ir::reference::ReadPixel(target.View(), x, 0);
                for (int c = 0; c < (target.View().HasAlpha() ? 4 : 3); ++c)
                {
                    ASSERT_NEAR(wanted.c[c], result.c[c], 1.0 / 219.0)
                        << TestPictures::Name(code) << " mode " << mode << " component " << c;
                }
            }
        }
    }
}

TEST_P(BlendModes, CoverageCountsAsOpacityDoes)
{
    std::mt19937 random(31);
    for (const std::uint32_t code : {0x004U, 0x008U, 0x00CU, 0x006U, 0x00AU, 0x00EU, 0x204U, 0x104U, 0x10AU})
    {
        for (const std::uint32_t mode : {kIR_Blend_Normal, kIR_Blend_Screen, kIR_Blend_Hue})
        {
            TestPictures::Memory one(code, 67, 1);
            one.Randomise(random);
            TestPictures::Memory other = one;
            const ir::Picture otherView = [&]
            {
                ir::Picture view = one.View();
                view.planes[0] = static_cast<unsigned char*>(other.Pixels());
                return view;
            }();
            const std::uint32_t layerCode = (code & 0x3U) | 0x108U;
            TestPictures::Memory layer(layerCode, 67, 1);
            layer.RandomiseModerately(random);
            const auto* pixels = static_cast<const float*>(layer.Pixels());
            const std::vector<float> third(67, 51.0F / 255.0F);
            ir::ComposeFloatRow(pixels, third.data(), SettingsFor(mode), one.View(), 0, 0, 67);
            ir::ComposeFloatRow(pixels, nullptr, SettingsFor(mode, 51.0F / 255.0F), otherView, 0, 0, 67);
            EXPECT_LE(TestPictures::Difference(one.View(), otherView),
                      one.View().sample == ir::Sample::kFloat ? 2e-5 : 1.0)
                << TestPictures::Name(code) << " mode " << mode;
        }
    }
}

TEST_P(BlendModes, DissolveShowsAsManyPixelsAsTheOpacitySays)
{
    for (const float opacity : {0.0F, 0.1F, 0.25F, 0.5F, 0.9F, 1.0F})
    {
        double shown = 0.0;
        for (std::int32_t y = 0; y < 100; ++y)
        {
            for (const std::uint8_t code : DissolvedShown(0, y, 400, opacity))
            {
                ASSERT_TRUE(code == 0 || code == 255);
                shown += code == 255 ? 1.0 : 0.0;
            }
        }
        // Four standard deviations of 40000 draws.
        EXPECT_NEAR(static_cast<double>(opacity), shown / 40000.0, 0.01) << opacity;
        EXPECT_TRUE(opacity != 0.0F || shown == 0.0);
        EXPECT_TRUE(opacity != 1.0F || shown == 40000.0);
    }
}

TEST_P(BlendModes, DissolveDependsOnThePlaceAlone)
{
    const auto whole = DissolvedShown(0, 5, 300, 0.4F);
    for (const std::int32_t first : {1, 17, 64, 255})
    {
        const auto part = DissolvedShown(first, 5, 300 - first, 0.4F);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + first)) << first;
    }
    std::vector<std::uint8_t> elsewhere;
    std::thread([&] { elsewhere = DissolvedShown(0, 5, 300, 0.4F); }).join();
    EXPECT_EQ(whole, elsewhere);
    EXPECT_NE(whole, DissolvedShown(0, 6, 300, 0.4F));
    // Golden: documents that dissolve look the same in every version.
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 32; ++i)
    {
        bits |= whole[i] == 255 ? 1U << i : 0;
    }
    EXPECT_EQ(0x3BB36307U, bits);
}

INSTANTIATE_TEST_SUITE_P(Each, BlendModes, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
