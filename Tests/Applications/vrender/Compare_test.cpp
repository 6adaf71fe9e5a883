#include "Applications/vrender/PictureDifference.h"
#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
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

// A movie of frames 0 to inFrames - 1 of a counter, without loss.
void MakeCounter(const std::string& inPath, int inFrames)
{
    ASSERT_EQ(RunTool({"render", "counter:size=160x90:duration=" + std::to_string(inFrames), inPath,
                       "--codec", "ffv1", "--pix-fmt", "bgr0"})
                  .exitCode,
              0);
}

// A folder of stills, each of one colour.
std::string MakeStills(const ScratchFolder& inFolder, const std::string& inName,
                       const std::vector<std::pair<std::string, std::string>>& inStills)
{
    const std::string path = inFolder.File(inName);
    EXPECT_EQ(::mkdir(path.c_str(), 0777), 0);
    for (const auto& [name, colour] : inStills)
    {
        EXPECT_EQ(RunTool({"frame", "color:" + colour + ":size=32x16", path + "/" + name}).exitCode, 0);
    }
    return path;
}

// A PNG of 16 bits, all components of which are inLevel.
std::string MakeDeepStill(const ScratchFolder& inFolder, int inLevel)
{
    const std::string path = inFolder.File(std::to_string(inLevel) + ".png");
    const std::string level = std::to_string(inLevel);
    RunFFmpeg("-f lavfi -i color=black:size=32x16,format=gbrp16le,geq=r=" + level + ":g=" + level +
              ":b=" + level + " -frames:v 1 -pix_fmt rgb48be " + path);
    return path;
}

double Psnr(double inMeanSquare)
{
    return 10 * std::log10(255 * 255 / inMeanSquare);
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

TEST(Compare, TellsHowFarFramesAreApart)
{
    const ScratchFolder folder;
    const std::string first =
        MakeStills(folder, "a",
                   {{"0.png", "#808080"}, {"1.png", "#808080"}, {"2.png", "#808080"}, {"3.png", "#808080"}});
    const std::string second =
        MakeStills(folder, "b",
                   {{"0.png", "#828080"}, {"1.png", "#908080"}, {"2.png", "#908080"}, {"3.png", "#808080"}});
    const ChildResult result = Compare({first, second, "--json", "--max-diff", "2", "--threads", "1"});
    EXPECT_EQ(result.exitCode, 1) << result.Describe();
    EXPECT_EQ(Member(result.out, "differing"), "3");
    EXPECT_EQ(Member(result.out, "first_differing"), "0");
    EXPECT_EQ(Member(result.out, "beyond_limits"), "2");
    EXPECT_EQ(Member(result.out, "first_beyond_limits"), "1");
    EXPECT_EQ(Member(result.out, "lowest_psnr_frame"), "1") << "the first of those that are as low";
    EXPECT_NEAR(std::stod(Member(result.out, "lowest_psnr")), Psnr(16 * 16 / 4.0), 1e-6);
    EXPECT_NEAR(std::stod(Member(result.out, "psnr")), Psnr((2 * 2 + 2 * 16 * 16) / 16.0), 1e-6);
    const ChildResult text = Compare({first, second, "--max-diff", "2"});
    EXPECT_NE(text.out.find("beyond the limits:   2 frames, the first is 1\n"), std::string::npos)
        << text.out;
    const std::string lowest = Member(result.out, "lowest_psnr");
    EXPECT_EQ(Compare({first, second, "--min-psnr", lowest}).exitCode, 0) << "a limit is still allowed";
}

TEST(Compare, FinerPicturesAreComparedInFloats)
{
    const ScratchFolder folder;
    const std::string coarse = MakeDeepStill(folder, 32896); // 128 of 255
    const std::string fine = MakeDeepStill(folder, 32960);
    ASSERT_EQ(RunTool({"frame", "color:#808080:size=32x16", folder.File("8.png")}).exitCode, 0);
    for (const auto& [first, second] : {std::pair{coarse, fine}, std::pair{folder.File("8.png"), fine},
                                        std::pair{fine, folder.File("8.png")}})
    {
        const ChildResult result = Compare({first, second, "--json"});
        EXPECT_EQ(result.exitCode, 1) << result.Describe();
        EXPECT_NEAR(std::stod(Member(result.out, "largest_difference")), 64.0 / 257, 1e-3);
    }
}

TEST(Compare, FoldersHoldStillsOfOneSizeInTheOrderOfNumbers)
{
    const ScratchFolder folder;
    const std::string padded =
        MakeStills(folder, "a", {{"f003.png", "red"}, {"f10.png", "#00FF00"}, {".f1.png", "blue"}});
    const std::string plain = MakeStills(folder, "b", {{"f0.png", "red"}, {"f1.png", "#00FF00"}});
    const ChildResult result = Compare({padded, plain});
    EXPECT_EQ(result.exitCode, 0) << result.Describe() << result.out;
    ASSERT_EQ(RunTool({"frame", "color:#00FF00:size=32x18", plain + "/f1.png", "--overwrite"}).exitCode, 0);
    const ChildResult larger = Compare({padded, plain});
    EXPECT_EQ(larger.exitCode, 65) << larger.Describe();
    EXPECT_NE(larger.err.find("f1.png: has another size than f0.png"), std::string::npos) << larger.err;
    MakeCounter(padded + "/f11.mkv", 3);
    const ChildResult movie = Compare({padded, padded});
    EXPECT_EQ(movie.exitCode, 65) << movie.Describe();
    EXPECT_NE(movie.err.find("f11.mkv: is no still"), std::string::npos) << movie.err;
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
    EXPECT_EQ(Member(larger.out, "lowest_psnr"), "null") << "nothing was compared";
    const ChildResult higher = Compare({folder.File("five.mkv"), "counter:size=160x92:duration=5", "--json"});
    EXPECT_EQ(higher.exitCode, 1) << higher.Describe();
    EXPECT_EQ(Member(higher.out, "same_size"), "false");
}

TEST(Compare, WhatHasNoEndIsAsLongAsTheOther)
{
    const ScratchFolder folder;
    MakeCounter(folder.File("five.mkv"), 5);
    const ChildResult text = Compare({folder.File("five.mkv"), "counter:size=160x90"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.out.find("the lengths differ"), std::string::npos) << text.out;
    const ChildResult json = Compare({"counter:size=160x90", folder.File("five.mkv"), "--json"});
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_EQ(Member(json.out, "same_length"), "true");
    EXPECT_EQ(Compare({"color:red:size=160x90", folder.File("five.mkv")}).exitCode, 1);
    EXPECT_EQ(Compare({folder.File("five.mkv"), "color:red:size=160x90"}).exitCode, 1);
    EXPECT_EQ(Compare({"counter:size=160x90", "counter:size=160x90"}).exitCode, 64);
}

TEST(Compare, WhatStandsForMissingMediaIsNotEqualWithoutAWord)
{
    const ScratchFolder folder;
    const std::string path = folder.File("edit.otio");
    WriteFile(path, TimelineText({TrackText({ClipText(FileText("gone.mov"), {0}, {2})})}));
    const ChildResult missing = Compare({path, path});
    EXPECT_EQ(missing.exitCode, 2) << missing.Describe();
    EXPECT_NE(missing.err.find("2 frames show what stands for missing media"), std::string::npos)
        << missing.err;
    EXPECT_EQ(Compare({"counter:size=160x90", path}).exitCode, 1);
    WriteFile(
        path,
        TimelineText({TrackText({ClipText(CounterText(), {0}, {2}), ClipText(CounterText(), {0}, {-2})})}));
    EXPECT_EQ(Compare({path, path}).exitCode, 2) << "an error of the document";
    WriteFile(path, TimelineText({TrackText({ClipText(CounterText(), {0}, {2})})}));
    EXPECT_EQ(Compare({path, "counter:size=160x90"}).exitCode, 0);
}

TEST(Compare, WhatStandsForMissingMediaIsToldOfBothInputs)
{
    const ScratchFolder folder;
    const std::string twoFrames = folder.File("two.otio");
    const std::string threeFrames = folder.File("three.otio");
    const std::string whole = folder.File("whole.otio");
    WriteFile(twoFrames, TimelineText({TrackText({ClipText(FileText("gone.mov"), {0}, {2})})}));
    WriteFile(threeFrames, TimelineText({TrackText({ClipText(FileText("gone.mov"), {0}, {2}),
                                                    ClipText(FileText("lost.mov"), {0}, {1})})}));
    WriteFile(whole, TimelineText({TrackText({ClipText(CounterText(), {0}, {2})})}));
    const std::string ofTwo = twoFrames + ": 2 frames show what stands for missing media";
    const auto has = [](const ChildResult& inResult, const std::string& inText)
    { return inResult.err.find(inText) != std::string::npos; };

    const ChildResult equal = Compare({twoFrames, threeFrames, "--max-diff", "255"});
    EXPECT_EQ(equal.exitCode, 1) << "their lengths differ";
    EXPECT_TRUE(has(equal, ofTwo)) << equal.err;
    EXPECT_TRUE(has(equal, threeFrames + ": 2 frames show")) << equal.err;

    const ChildResult different = Compare({whole, twoFrames});
    EXPECT_EQ(different.exitCode, 1);
    EXPECT_TRUE(has(different, ofTwo)) << different.err;
    EXPECT_FALSE(has(different, whole + ":")) << different.err;
    const ChildResult tolerated = Compare({whole, twoFrames, "--max-diff", "255"});
    EXPECT_EQ(tolerated.exitCode, 2) << tolerated.Describe();
    EXPECT_TRUE(has(tolerated, ofTwo)) << tolerated.err;
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
