#include "Applications/vrender/PictureDifference.h"
#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sys/stat.h>

using namespace TestSupport;

namespace
{

ChildResult Compare(std::vector<std::string> inWords)
{
    inWords.insert(inWords.begin(), "compare");
    return RunTool(std::move(inWords));
}

// The value of a member of a JSON object that stands on one line each.
std::string Member(const std::string& inJson, const std::string& inName)
{
    const std::string key = "\"" + inName + "\": ";
    const std::size_t at = inJson.find(key);
    if (at == std::string::npos)
    {
        return "(missing)";
    }
    const std::size_t begin = at + key.size();
    return inJson.substr(begin, inJson.find_first_of(",\n", begin) - begin);
}

MF::IVideoFrameRef NewFrame(const norviktypes::PixelFormat& inFormat)
{
    MF::IVideoFrameRef frame;
    EXPECT_GE(
        VF::CreateVideoFrame(frame, inFormat, 16, 4, norviktypes::kPixelAspectRatio_Square, true, false), 0);
    return frame;
}

template <typename Sample>
Sample& SampleOf(const MF::IVideoFrameRef& inFrame, int inRow, int inSample)
{
    auto* bytes = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
    bytes += inRow * VF::IVideoFrameRasterRef(inFrame)->GetRowBytes();
    return reinterpret_cast<Sample*>(bytes)[inSample];
}

// Of 16x4 pixels of four components.
constexpr double kSamples = 256;

// A movie of frames 0 to inFrames - 1 of a counter, without loss, and frame inOther in place of frame 3.
void MakeCounter(const std::string& inPath, int inFrames)
{
    ASSERT_EQ(RunTool({"render", "counter:size=160x90:duration=" + std::to_string(inFrames), inPath,
                       "--codec", "ffv1", "--pix-fmt", "bgr0"})
                  .exitCode,
              0);
}

} // namespace

TEST(PictureDifference, CountsEveryComponentOfEveryPixel)
{
    const MF::IVideoFrameRef first = NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u);
    const MF::IVideoFrameRef second = NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(vrender::ComparePictures(first, second).mLargest, 0);
    EXPECT_TRUE(std::isinf(vrender::ComparePictures(first, second).PSNR()));
    SampleOf<std::uint8_t>(first, 0, 0) = 10;
    SampleOf<std::uint8_t>(second, 3, 63) =
        static_cast<std::uint8_t>(SampleOf<std::uint8_t>(first, 3, 63) ^ 4);
    const vrender::PictureDifference difference = vrender::ComparePictures(first, second);
    EXPECT_EQ(difference.mLargest, 10);
    EXPECT_EQ(difference.mSquares, 116);
    EXPECT_NEAR(difference.PSNR(), 10 * std::log10(255 * 255 * kSamples / 116), 1e-9);
}

TEST(PictureDifference, CountsFloatsInStepsOfEightBits)
{
    const MF::IVideoFrameRef first = NewFrame(norviktypes::kPixelFormat_BGRA_4444_32f);
    const MF::IVideoFrameRef second = NewFrame(norviktypes::kPixelFormat_BGRA_4444_32f);
    SampleOf<float>(second, 2, 5) = 0.5F;
    EXPECT_DOUBLE_EQ(vrender::ComparePictures(first, second).mLargest, 127.5);
}

TEST(PictureDifference, NoNumberIsFarFromEveryNumberAndEqualToItself)
{
    const MF::IVideoFrameRef first = NewFrame(norviktypes::kPixelFormat_BGRA_4444_32f);
    const MF::IVideoFrameRef second = NewFrame(norviktypes::kPixelFormat_BGRA_4444_32f);
    SampleOf<float>(first, 1, 1) = std::numeric_limits<float>::quiet_NaN();
    EXPECT_GT(vrender::ComparePictures(first, second).mLargest, 255);
    EXPECT_TRUE(std::isfinite(vrender::ComparePictures(first, second).PSNR()));
    SampleOf<float>(second, 1, 1) = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(vrender::ComparePictures(first, second).mLargest, 0);
}

TEST(Compare, AnInputIsEqualToItself)
{
    for (const char* threads : {"1", "4"})
    {
        const ChildResult result = Compare({SmallMovie(), SmallMovie(), "--json", "--threads", threads});
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        EXPECT_EQ(Member(result.out, "equal"), "true");
        EXPECT_EQ(Member(result.out, "psnr"), "null");
        EXPECT_EQ(Member(result.out, "first_differing"), "null");
        EXPECT_NE(result.out.find("\"frames\": 50"), std::string::npos);
    }
}

TEST(Compare, TellsTheFirstFrameThatDiffersAndEndsWithOne)
{
    const ScratchFolder folder;
    for (const char* name : {"a", "b"})
    {
        ASSERT_EQ(::mkdir(folder.File(name).c_str(), 0777), 0);
        ASSERT_EQ(
            RunTool({"render", "counter:size=160x90:duration=12", folder.File(name) + "/f%d.png"}).exitCode,
            0);
    }
    // In the order of numbers, not of letters, frame 3 comes before frame 10.
    for (const char* frame : {"/f3.png", "/f10.png"})
    {
        WriteFile(folder.File("b") + frame, ReadFile(folder.File("a") + "/f5.png"));
    }
    const ChildResult result = Compare({folder.File("a"), folder.File("b"), "--json", "--threads", "3"});
    EXPECT_EQ(result.exitCode, 1) << result.Describe();
    EXPECT_EQ(Member(result.out, "first_differing"), "3");
    EXPECT_EQ(Member(result.out, "differing"), "2");
    EXPECT_EQ(Member(result.out, "equal"), "false");
    const ChildResult text = Compare({folder.File("a"), folder.File("b")});
    EXPECT_NE(text.out.find("the first is 3 (f3.png)"), std::string::npos) << text.out;
}

TEST(Compare, LimitsSayWhatCountsAsEqual)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"frame", "color:#808080:size=64x64", folder.File("a.png")}).exitCode, 0);
    ASSERT_EQ(RunTool({"frame", "color:#828080:size=64x64", folder.File("b.png")}).exitCode, 0);
    const std::vector<std::string> both = {folder.File("a.png"), folder.File("b.png"), "--json"};
    const auto withLimits = [&](std::vector<std::string> inLimits)
    {
        inLimits.insert(inLimits.begin(), both.begin(), both.end());
        return Compare(std::move(inLimits));
    };
    const ChildResult result = withLimits({});
    EXPECT_EQ(result.exitCode, 1) << result.Describe();
    EXPECT_EQ(Member(result.out, "largest_difference"), "2");
    // One of four components differs by 2: 10 log10(255^2 / 1).
    EXPECT_NEAR(std::stod(Member(result.out, "psnr")), 48.1308, 1e-3);
    EXPECT_EQ(withLimits({"--max-diff", "1.9"}).exitCode, 1);
    EXPECT_EQ(withLimits({"--max-diff", "2"}).exitCode, 0);
    EXPECT_EQ(withLimits({"--min-psnr", "48"}).exitCode, 0);
    EXPECT_EQ(withLimits({"--min-psnr", "48.2"}).exitCode, 1);
    EXPECT_EQ(withLimits({"--min-psnr", "48", "--max-diff", "1"}).exitCode, 1);
}

TEST(Compare, InputsOfAnotherLengthOrSizeDiffer)
{
    const ScratchFolder folder;
    MakeCounter(folder.File("five.mkv"), 5);
    MakeCounter(folder.File("six.mkv"), 6);
    const ChildResult longer = Compare({folder.File("five.mkv"), folder.File("six.mkv"), "--json"});
    EXPECT_EQ(longer.exitCode, 1) << longer.Describe();
    EXPECT_EQ(Member(longer.out, "same_length"), "false");
    EXPECT_EQ(Member(longer.out, "differing"), "0");
    const ChildResult larger = Compare({folder.File("five.mkv"), "counter:size=162x90:duration=5", "--json"});
    EXPECT_EQ(larger.exitCode, 1) << larger.Describe();
    EXPECT_EQ(Member(larger.out, "same_size"), "false");
}

TEST(Compare, WhatHasNoEndIsAsLongAsTheOther)
{
    const ScratchFolder folder;
    MakeCounter(folder.File("five.mkv"), 5);
    EXPECT_EQ(Compare({folder.File("five.mkv"), "counter:size=160x90"}).exitCode, 0);
    EXPECT_EQ(Compare({"counter:size=160x90", "counter:size=160x90"}).exitCode, 64);
}

TEST(Compare, WhatCannotBeReadIsNoDifference)
{
    const ScratchFolder folder;
    WriteFile(folder.File("text.png"), "no picture");
    EXPECT_EQ(Compare({SmallMovie(), folder.File("missing.mov")}).exitCode, 66);
    EXPECT_EQ(Compare({folder.File("text.png"), SmallMovie()}).exitCode, 65);
    ASSERT_EQ(::mkdir(folder.File("empty").c_str(), 0777), 0);
    EXPECT_EQ(Compare({folder.File("empty"), SmallMovie()}).exitCode, 65);
    EXPECT_EQ(Compare({SmallMovie(), SmallMovie(), "--max-diff", "-1"}).exitCode, 64);
    EXPECT_EQ(Compare({SmallMovie(), SmallMovie(), "--min-psnr", "nan"}).exitCode, 64);
}
