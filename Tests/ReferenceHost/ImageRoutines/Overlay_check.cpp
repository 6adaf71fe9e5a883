#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/ComposeRows.h"
#include "TestPictures.h"
#include "Tests/Support/Paths.h"

// Agreement with FFmpeg: its overlay filter in RGB with straight alpha, and its blend filter for the modes that
// both have. Its soft light is another formula, the modes of whole colours it has not.
namespace
{

constexpr std::size_t kSide = 256;
constexpr std::size_t kPixels = kSide * kSide;

using Bytes = std::vector<std::uint8_t>;

bool Runs(const std::string& inCommand)
{
    return std::system((inCommand + " >/dev/null 2>&1").c_str()) == 0;
}

bool HasFilters()
{
    static const bool sHas = Runs("ffmpeg -hide_banner -filters | grep -q ' overlay ' && "
                                  "ffmpeg -hide_banner -filters | grep -q ' blend '");
    return sHas;
}

void Save(const std::string& inPath, const Bytes& inBytes)
{
    std::ofstream(inPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(inBytes.data()), static_cast<std::streamsize>(inBytes.size()));
}

// What a filter of two inputs makes of them; empty if it failed.
Bytes Filtered(const Bytes& inFirst, const char* inFirstFormat, const Bytes& inSecond,
               const char* inSecondFormat, const std::string& inFilter, const char* inFormat)
{
    const TestSupport::ScratchFolder folder;
    Save(folder.File("first.raw"), inFirst);
    Save(folder.File("second.raw"), inSecond);
    const std::string input = "-f rawvideo -s 256x256 -pix_fmt ";
    const bool isDone = Runs(
        "ffmpeg -y -hide_banner -nostdin " + input + inFirstFormat + " -i '" + folder.File("first.raw") +
        "' " + input + inSecondFormat + " -i '" + folder.File("second.raw") + "' -filter_complex '[0][1]" +
        inFilter + ",format=" + inFormat + "' -frames:v 1 -f rawvideo '" + folder.File("out.raw") + "'");
    std::ifstream file(folder.File("out.raw"), std::ios::binary);
    return isDone ? Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()) : Bytes();
}

Bytes Noise(std::uint32_t inSeed)
{
    std::mt19937 random(inSeed);
    Bytes bytes(kPixels * 4);
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        const auto draw = static_cast<std::uint32_t>(random() >> 4);
        bytes[i] = static_cast<std::uint8_t>(draw);
        if (i % 4 == 3 && draw % 8192 < 2048)
        {
            bytes[i] = draw % 8192 < 1024 ? 0 : 255;
        }
    }
    return bytes;
}

struct Mode
{
    const char* name;
    std::uint32_t number;
    const char* theirs;
    bool isBackdropFirst; // of their two inputs
    bool isFloat = false; // asked of floats: in 8 bits theirs doubles what it has cut off before
    bool hasCorners =
        false; // where the formula is 0 / 0, theirs looks at the source first and ours at the backdrop
};

constexpr Mode kModes[] = {{"multiply", kIR_Blend_Multiply, "multiply", true},
                           {"screen", kIR_Blend_Screen, "screen", true},
                           {"darken", kIR_Blend_Darken, "darken", true},
                           {"lighten", kIR_Blend_Lighten, "lighten", true},
                           {"difference", kIR_Blend_Difference, "difference", true},
                           {"exclusion", kIR_Blend_Exclusion, "exclusion", true},
                           {"linearDodge", kIR_Blend_LinearDodge, "addition", true},
                           {"hardMix", kIR_Blend_HardMix, "hardmix", true},
                           {"subtract", kIR_Blend_Subtract, "subtract", true},
                           {"divide", kIR_Blend_Divide, "divide", true},
                           {"overlay", kIR_Blend_Overlay, "overlay", true, true},
                           {"hardLight", kIR_Blend_HardLight, "hardlight", true, true},
                           {"pinLight", kIR_Blend_PinLight, "pinlight", true},
                           {"colorBurn", kIR_Blend_ColorBurn, "burn", false, false, true},
                           {"colorDodge", kIR_Blend_ColorDodge, "dodge", false, false, true},
                           {"linearLight", kIR_Blend_LinearLight, "linearlight", false},
                           {"vividLight", kIR_Blend_VividLight, "vividlight", false, true, true},
                           {"normal", kIR_Blend_Normal, "normal", false}};

// All pairs of codes: the source's along a row, the backdrop's down the picture.
Bytes Ours(std::uint32_t inMode)
{
    Bytes codes(kPixels);
    for (std::size_t below = 0; below < kSide; ++below)
    {
        TestPictures::Memory target(0x00C, 256, 1);
        Bytes source(kSide * 4, 255);
        auto* row = static_cast<std::uint8_t*>(target.Pixels());
        for (std::size_t above = 0; above < kSide; ++above)
        {
            std::fill_n(source.begin() + static_cast<std::ptrdiff_t>(above * 4), 3,
                        static_cast<std::uint8_t>(above));
            std::fill_n(row + above * 4, 4, static_cast<std::uint8_t>(below));
        }
        ir::ComposeSettings settings;
        settings.blendMode = inMode;
        ir::ComposeByteRow(source.data(), nullptr, settings, target.View(), 0, 0, 256);
        for (std::size_t above = 0; above < kSide; ++above)
        {
            codes[below * kSide + above] = row[above * 4];
        }
    }
    return codes;
}

void AddCode(const Mode& inMode, std::uint8_t inCode, Bytes& ioBytes)
{
    if (!inMode.isFloat)
    {
        ioBytes.push_back(inCode);
        return;
    }
    const float value = static_cast<float>(inCode) / 255.0F;
    std::uint8_t bytes[4];
    std::memcpy(bytes, &value, 4);
    ioBytes.insert(ioBytes.end(), bytes, bytes + 4);
}

int CodeAt(const Mode& inMode, const Bytes& inBytes, std::size_t inIndex)
{
    if (!inMode.isFloat)
    {
        return inBytes[inIndex];
    }
    float value = 0.0F;
    std::memcpy(&value, inBytes.data() + inIndex * 4, 4);
    return static_cast<int>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255.0F));
}

class Blend : public testing::TestWithParam<Mode>
{
};

}

TEST_P(Blend, AgreesWithinACodeForEveryPairOfCodes)
{
    if (!HasFilters())
    {
        GTEST_SKIP() << "this ffmpeg has no overlay and blend filters";
    }
    const Mode& mode = GetParam();
    Bytes source;
    Bytes backdrop;
    for (std::size_t i = 0; i < kPixels; ++i)
    {
        AddCode(mode, static_cast<std::uint8_t>(i % kSide), source);
        AddCode(mode, static_cast<std::uint8_t>(i / kSide), backdrop);
    }
    const char* format = mode.isFloat ? "grayf32le" : "gray";
    const Bytes theirs =
        Filtered(mode.isBackdropFirst ? backdrop : source, format, mode.isBackdropFirst ? source : backdrop,
                 format, std::string("blend=all_mode=") + mode.theirs, format);
    ASSERT_EQ(source.size(), theirs.size());
    const Bytes ours = Ours(mode.number);
    std::size_t differing = 0;
    for (std::size_t i = 0; i < kPixels; ++i)
    {
        const std::size_t above = i % kSide;
        const std::size_t below = i / kSide;
        const int theirCode = CodeAt(mode, theirs, i);
        const bool isCorner =
            mode.hasCorners && ((above == 0 && below == 255) || (above == 255 && below == 0));
        const bool agrees = isCorner || std::abs(ours[i] - theirCode) <= 1;
        differing += agrees ? 0 : 1;
        EXPECT_TRUE(differing > 5 || agrees) << mode.name << " of " << above << " on " << below << ": "
                                             << int{ours[i]} << ", theirs " << theirCode;
    }
    EXPECT_EQ(0U, differing);
}

INSTANTIATE_TEST_SUITE_P(FFmpeg, Blend, testing::ValuesIn(kModes),
                         [](const auto& inInfo) { return std::string(inInfo.param.name); });

TEST(Overlay, AgreesWithinACodeWithStraightAlpha)
{
    if (!HasFilters())
    {
        GTEST_SKIP() << "this ffmpeg has no overlay and blend filters";
    }
    const Bytes above = Noise(5);
    const Bytes below = Noise(6);
    for (const bool isOpaque : {true, false})
    {
        const Bytes theirs = Filtered(below, isOpaque ? "bgr0" : "bgra", above, "bgra",
                                      "overlay=format=rgb:alpha=straight", isOpaque ? "bgr0" : "bgra");
        ASSERT_EQ(kPixels * 4, theirs.size());
        Bytes ours = below;
        ASSERT_EQ(kIR_Success, IR_Composite(above.data(), 1024, 0x004, ours.data(), 1024,
                                            isOpaque ? 0x00C : 0x004, 256, 256, 1.0F, 4));
        std::size_t differing = 0;
        for (std::size_t i = 0; i < kPixels * 4; ++i)
        {
            const bool isCompared = isOpaque ? i % 4 != 3 : ours[i | 3] != 0 && theirs[i | 3] != 0;
            const int difference = isCompared ? std::abs(ours[i] - theirs[i]) : 0;
            differing += difference > 1 ? 1 : 0;
            EXPECT_TRUE(differing > 5 || difference <= 1)
                << "place " << i % 4 << ": " << int{ours[i]} << ", theirs " << int{theirs[i]} << ", source "
                << int{above[i]} << " with " << int{above[i | 3]} << ", target " << int{below[i]} << " with "
                << int{below[i | 3]};
        }
        EXPECT_EQ(0U, differing) << (isOpaque ? "opaque" : "straight");
    }
}
