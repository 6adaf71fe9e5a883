#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <set>

using namespace TestSupport;

namespace
{

using Numbers = std::vector<int>;

class Timeline : public testing::Test
{
protected:
    std::string Write(const std::string& inText, const std::string& inName = "edit.otio") const
    {
        WriteFile(mFolder.File(inName), inText);
        return mFolder.File(inName);
    }

    Numbers Shown(const std::vector<std::string>& inTracks,
                  const std::vector<std::string>& inOptions = {}) const
    {
        return NumbersShown(Write(TimelineText(inTracks)), inOptions);
    }

    std::string SumsOfRender(const std::string& inPath, const std::vector<std::string>& inOptions) const
    {
        std::vector<std::string> words = {"render", inPath, "null:", "--checksum"};
        words.insert(words.end(), inOptions.begin(), inOptions.end());
        const ChildResult result = RunTool(words);
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        return result.out;
    }

    const ScratchFolder mFolder;
};

Numbers Counting(int inFirst, int inCount)
{
    Numbers numbers(static_cast<std::size_t>(inCount));
    std::iota(numbers.begin(), numbers.end(), inFirst);
    return numbers;
}

Numbers Joined(std::vector<Numbers> inParts)
{
    Numbers all;
    for (const Numbers& part : inParts)
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// Layers with a dissolve, a retime, a gap, a picture in picture and a nested stack.
std::string RichTimeline()
{
    const std::string small = R"(, "metadata": {"vrender": {"version": 1,
        "transform": {"position": [0.7, 0.6], "scale": [0.4, 0.4], "rotation": 15}, "opacity": 0.7}})";
    return TimelineText(
        {TrackText({ClipText(CounterText(), {0}, {12}), TransitionText({3}, {3}),
                    ClipText(CounterText(), {50}, {10}),
                    ClipText(CounterText(), {20}, {8}, EffectsText({WarpText(-1.5)}))}),
         TrackText({GapText({6}), ClipText(CounterText(), {70}, {14}, small)}),
         TrackText({GapText({16}), StackText({TrackText({ClipText(ColorText("#40a0ff60"), {0}, {8})})})})});
}

} // namespace

TEST_F(Timeline, CutsAreFrameExact)
{
    EXPECT_EQ(Shown({TrackText({ClipText(CounterText(), {10}, {5}), ClipText(CounterText(), {40}, {1}),
                                ClipText(CounterText(), {3}, {4})})}),
              Joined({Counting(10, 5), {40}, Counting(3, 4)}));
}

TEST_F(Timeline, GapsAreBlackOnTheLowestTrackAndTransparentAbove)
{
    EXPECT_EQ(Shown({TrackText({GapText({2}), ClipText(CounterText(), {10}, {6})}),
                     TrackText({GapText({4}), ClipText(CounterText(), {60}, {2})})}),
              (Numbers{kBlack, kBlack, 10, 11, 60, 61, 14, 15}));
}

TEST_F(Timeline, DisabledClipsKeepTheirTimeAndShowNothing)
{
    EXPECT_EQ(Shown({TrackText({ClipText(CounterText(), {10}, {2}),
                                ClipText(CounterText(), {20}, {2}, R"(, "enabled": false)"),
                                ClipText(CounterText(), {30}, {2})})}),
              (Numbers{10, 11, kBlack, kBlack, 30, 31}));
}

TEST_F(Timeline, ADissolveMixesFromTheFirstFrameToTheLast)
{
    const Numbers shown = Shown({TrackText({ClipText(CounterText(), {10}, {10}), TransitionText({3}, {2}),
                                            ClipText(CounterText(), {60}, {10})})});
    ASSERT_EQ(shown.size(), 20u);
    // Progress of the first of its five frames is 0; the four others are neither of the two.
    EXPECT_EQ(Numbers(shown.begin(), shown.begin() + 8), Counting(10, 8));
    EXPECT_EQ(Numbers(shown.begin() + 8, shown.begin() + 12), Numbers(4, kOther));
    EXPECT_EQ(Numbers(shown.begin() + 12, shown.end()), Counting(62, 8));
}

TEST_F(Timeline, ADissolveOfTwoColoursIsTheirWeightedMean)
{
    const std::string path =
        Write(TimelineText({TrackText({ClipText(ColorText("#c80000"), {0}, {10}), TransitionText({5}, {5}),
                                       ClipText(ColorText("#0000c8"), {0}, {10})})}));
    for (const int i : {0, 3, 7, 9})
    {
        // Frame i of the ten has progress i / 10.
        const int red = 200 - 20 * i;
        char color[32];
        std::snprintf(color, sizeof color, "color:#%02x00%02x", static_cast<unsigned>(red),
                      static_cast<unsigned>(200 - red));
        const std::string png = mFolder.File("f" + std::to_string(i) + ".png");
        ASSERT_EQ(RunTool({"frame", path, png, "--time", std::to_string(5 + i)}).exitCode, 0);
        const ChildResult result =
            RunTool({"compare", png, std::string(color) + ":size=160x90", "--max-diff", "1"});
        EXPECT_EQ(result.exitCode, 0) << i << ": " << result.Describe();
    }
}

TEST_F(Timeline, RetimesShowTheFramesOfTheRule)
{
    struct Retime
    {
        double mScalar;
        int mStart;
        int mFrames;
    };
    for (const Retime& retime : std::vector<Retime>{{2, 10, 12},
                                                    {0.5, 10, 12},
                                                    {0.3, 7, 20},
                                                    {1.7, 4, 20},
                                                    {1.0 / 3.0, 5, 15},
                                                    {-1, 20, 10},
                                                    {-2, 20, 10},
                                                    {-0.5, 20, 10},
                                                    {0, 33, 6},
                                                    {1, 90, 20},
                                                    {-4, 60, 20}})
    {
        const double scalar = retime.mScalar;
        Numbers expected;
        const double first =
            scalar < 0 ? retime.mStart + std::ceil(-scalar * (retime.mFrames - 1) - 1e-9) : retime.mStart;
        for (int i = 0; i < retime.mFrames; ++i)
        {
            const auto frame = static_cast<int>(std::floor(first + scalar * i + 1e-6));
            expected.push_back(std::clamp(frame, 0, 99));
        }
        const std::string effects = scalar == 1 ? "" : EffectsText({WarpText(scalar)});
        EXPECT_EQ(Shown({TrackText({ClipText(CounterText(100), {static_cast<double>(retime.mStart)},
                                             {static_cast<double>(retime.mFrames)}, effects)})}),
                  expected)
            << scalar << " from " << retime.mStart;
    }
}

TEST_F(Timeline, SeveralWarpsMultiply)
{
    EXPECT_EQ(
        Shown({TrackText({ClipText(CounterText(), {10}, {5}, EffectsText({WarpText(4), WarpText(0.5)}))})}),
        (Numbers{10, 12, 14, 16, 18}));
}

TEST_F(Timeline, MediaOfAnotherRateShowsTheFrameThatHasBegun)
{
    // 30 frames a second shown at 25: frame n of the timeline is floor(n * 30 / 25) of the media.
    Numbers expected;
    for (int n = 0; n < 20; ++n)
    {
        expected.push_back((6 + n * 6 / 5));
    }
    EXPECT_EQ(
        NumbersShown(Write(TimelineText({TrackText({ClipText(CounterText(100, "30"), {6, 30}, {24, 30})})})),
                     {}, "30"),
        expected);
}

TEST_F(Timeline, DecimalRatesOfDocumentsAreTheirExactOnes)
{
    // 23.976 is written where 24000/1001 is meant; an hour's worth of frames later it would be another frame.
    const std::string clip = ClipText(CounterText(0, "24000/1001"), {10, 23.976}, {6, 23.976});
    const std::string path = Write(
        TimelineText({TrackText({clip, ClipText(CounterText(0, "24000/1001"), {50, 23.976}, {4, 23.976})})},
                     "", R"("width": 160, "height": 90)"));
    EXPECT_EQ(NumbersShown(path, {}, "24000/1001"), Joined({Counting(10, 6), Counting(50, 4)}));
    EXPECT_NE(RunTool({"info", path}).out.find("rate:         24000/1001"), std::string::npos);
}

TEST_F(Timeline, ATimelineOfFieldsIsWrittenAsSuch)
{
    const std::string counter =
        R"({"OTIO_SCHEMA": "GeneratorReference.1", "generator_kind": "vrender:counter",
        "parameters": {"size": "160x90", "rate": "25", "fields": "upper", "duration": "40"}})";
    const std::string path =
        Write(TimelineText({TrackText({ClipText(counter, {10}, {5})})}, "",
                           R"("width": 160, "height": 90, "rate": [25, 1], "field": "upper")"));
    const std::vector<std::string> expected =
        SumsOf(RunTool({"render", "counter:size=160x90:fields=upper:duration=40", "null:", "--checksum",
                        "--range", "10:15"})
                   .out);
    EXPECT_EQ(SumsOf(SumsOfRender(path, {})), expected);
    EXPECT_NE(RunTool({"info", path}).out.find("fields:       upper first"), std::string::npos);
}

TEST_F(Timeline, ANestedStackIsOneItem)
{
    const std::string nested = StackText(
        {TrackText({ClipText(CounterText(), {10}, {4}), GapText({2}), ClipText(CounterText(), {30}, {4})})});
    // Its transparent part shows the track below.
    EXPECT_EQ(Shown({TrackText({ClipText(CounterText(), {80}, {12})}), TrackText({GapText({1}), nested})}),
              Joined({{80}, Counting(10, 4), {85, 86}, Counting(30, 4), {91}}));
    const std::string part = StackText({TrackText({ClipText(CounterText(), {10}, {8})})},
                                       R"(, "source_range": )" + RangeText({3}, {4}));
    EXPECT_EQ(Shown({TrackText({part, ClipText(CounterText(), {50}, {1})})}),
              Joined({Counting(13, 4), {50}}));
}

TEST_F(Timeline, ThreadsAndRangesAndMemoryChangeNoPixel)
{
    const std::string path = Write(RichTimeline());
    const std::string expected = SumsOfRender(path, {"--threads", "1"});
    EXPECT_EQ(Lines(expected).size(), 30u);
    for (const char* threads : {"2", "4", "8"})
    {
        EXPECT_EQ(SumsOfRender(path, {"--threads", threads}), expected) << threads;
    }
    EXPECT_EQ(SumsOfRender(path, {"--memory", "64M", "--threads", "4"}), expected);
    std::string joined;
    for (const char* range : {"0:7", "7:13", "13:14", "14:30"})
    {
        joined += SumsOfRender(path, {"--range", range, "--threads", "3"});
    }
    EXPECT_EQ(joined, expected);
    const std::vector<std::string> sums = SumsOf(expected);
    EXPECT_GE(std::set<std::string>(sums.begin(), sums.end()).size(), 29u) << expected;
}

TEST_F(Timeline, AFrameThatIsAskedForAgainIsTheSameAndFoundInMemory)
{
    const std::string path = Write(RichTimeline());
    const ChildResult told = RunTool({"explain", path, "--time", "12", "--again"});
    EXPECT_EQ(told.exitCode, 0) << told.Describe();
    EXPECT_EQ(Lines(told.out).back(), "found in memory") << told.out;
    ASSERT_EQ(RunTool({"frame", path, mFolder.File("a.png"), "--time", "12"}).exitCode, 0);
    const ChildResult same = RunTool({"compare", mFolder.File("a.png"), path, "--json"});
    EXPECT_EQ(same.exitCode, 1) << "a timeline of 30 frames is no still";
    const std::string sum = Lines(SumsOfRender(path, {"--range", "12:13"})).at(0);
    const ChildResult alone =
        RunTool({"frame", path, "null:", "--time", "12", "--checksum", "--pix-fmt", "bgra"});
    EXPECT_EQ(Lines(alone.out).at(0), sum);
}

TEST_F(Timeline, IsWrittenAsAMovieAndReadBackFrameByFrame)
{
    const std::string path = Write(RichTimeline());
    ASSERT_EQ(
        RunTool({"render", path, mFolder.File("out.mkv"), "--codec", "ffv1", "--pix-fmt", "bgr0"}).exitCode,
        0);
    const ChildResult result = RunTool({"compare", path, mFolder.File("out.mkv"), "--threads", "3"});
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_EQ(Probe(mFolder.File("out.mkv"), "stream=width,height,avg_frame_rate,nb_read_frames"),
              "width=160\nheight=90\navg_frame_rate=25/1\nnb_read_frames=30\n");
}

// Y, U and V of a colour 0..255 of R, G and B, by Rec.709 in the limited range.
std::vector<double> YuvOf(double inRed, double inGreen, double inBlue)
{
    const double y = 0.2126 * inRed + 0.7152 * inGreen + 0.0722 * inBlue;
    return {16 + y * 219 / 255, 128 + (inBlue - y) / 1.8556 * 224 / 255,
            128 + (inRed - y) / 1.5748 * 224 / 255};
}

// Pictures are laid over each other with alpha, which a movie of 4:2:0 has no place for.
TEST_F(Timeline, AMovieOfLayersHasTheirMixInPlanes)
{
    const std::string halved = R"(, "metadata": {"vrender": {"version": 1,
        "transform": {"position": [0.5, 0.5], "scale": [0.5, 0.5]}, "opacity": 0.5}})";
    const std::string path =
        Write(TimelineText({TrackText({ClipText(ColorText("#c80000"), {0}, {2})}),
                            TrackText({ClipText(ColorText("#ffffff"), {0}, {2}, halved)})}));
    const std::string raw = mFolder.File("out.yuv");
    ASSERT_EQ(RunTool({"render", path, raw, "--format", "raw", "--pix-fmt", "yuv420p"}).exitCode, 0);
    const std::string bytes = ReadFile(raw);
    constexpr std::size_t kLuma = 160 * 90;
    constexpr std::size_t kChroma = 80 * 45;
    ASSERT_EQ(bytes.size(), 2 * (kLuma + 2 * kChroma));
    const auto expect = [&](std::size_t inX, std::size_t inY, const std::vector<double>& inYuv)
    {
        const std::size_t chroma = inY / 2 * 80 + inX / 2;
        for (const std::size_t at : {std::size_t{0}, kLuma + 2 * kChroma})
        {
            const auto code = [&](std::size_t inOffset)
            { return static_cast<double>(static_cast<unsigned char>(bytes[at + inOffset])); };
            EXPECT_NEAR(code(inY * 160 + inX), inYuv[0], 1.5);
            EXPECT_NEAR(code(kLuma + chroma), inYuv[1], 1.5);
            EXPECT_NEAR(code(kLuma + kChroma + chroma), inYuv[2], 1.5);
        }
    };
    expect(10, 10, YuvOf(200, 0, 0));
    expect(80, 45, YuvOf(227.5, 127.5, 127.5));

    const std::string movie = mFolder.File("out.mov");
    ASSERT_EQ(
        RunTool({"render", path, movie, "--codec", "libx264", "--crf", "0", "--pix-fmt", "yuv420p"}).exitCode,
        0);
    EXPECT_EQ(FrameSums(movie, "yuv420p"), SumsOf(SumsOfRender(path, {"--pix-fmt", "yuv420p"})));
}

TEST_F(Timeline, TheTimecodeOfTheDocumentCountsItsFrames)
{
    const std::string path = Write(TimelineText(
        {TrackText({ClipText(CounterText(), {10}, {50})})},
        R"(, "global_start_time": {"OTIO_SCHEMA": "RationalTime.1", "value": 90000, "rate": 25})"));
    EXPECT_EQ(NumbersShown(path, {"--range", "01:00:00:20:01:00:00:23"}), (Numbers{30, 31, 32}));
    const ChildResult info = RunTool({"info", path});
    EXPECT_NE(info.out.find("timecode:     01:00:00:00\n"), std::string::npos) << info.out;
}

TEST_F(Timeline, AnAnswerOfItsOwnComesForEachPieceOfTheReport)
{
    const std::string path = Write(RichTimeline());
    const ChildResult run =
        RunTool({"render", path, "null:", "--stats", "--json", "--trace", mFolder.File("trace.json")});
    EXPECT_EQ(run.exitCode, 0) << run.Describe();
    EXPECT_NE(run.err.find("\"finished\": 30"), std::string::npos) << run.err;
    EXPECT_NE(ReadFile(mFolder.File("trace.json")).find("\"render\""), std::string::npos);
}
