#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

using namespace TestSupport;

namespace
{

// The value of one key in ffprobe's answer.
std::string Value(const std::string& inAnswer, const std::string& inKey)
{
    for (const std::string& line : Lines(inAnswer))
    {
        if (line.rfind(inKey + "=", 0) == 0)
        {
            return line.substr(inKey.size() + 1);
        }
    }
    return "(none)";
}

struct Case
{
    const char* mName;
    const char* mMake;               // FFmpeg's arguments for the source, without its output
    const char* mSource;             // its file name
    std::vector<std::string> mWords; // output name and options
};

constexpr const char* kEntries =
    "stream=width,height,sample_aspect_ratio,field_order,color_range,color_space,color_transfer,color_"
    "primaries,"
    "r_frame_rate,nb_read_frames,pix_fmt:stream_tags=timecode:format_tags=timecode";

// What the rendered file tells must be what the source tells.
void ExpectSameTags(const Case& inCase)
{
    const ScratchFolder folder;
    const std::string source = folder.File(inCase.mSource);
    RunFFmpeg(std::string(inCase.mMake) + " " + source);
    std::vector<std::string> words = {"render", source, folder.File(inCase.mWords[0])};
    words.insert(words.end(), inCase.mWords.begin() + 1, inCase.mWords.end());
    const ChildResult result = RunTool(words);
    ASSERT_EQ(result.exitCode, 0) << inCase.mName << ": " << result.Describe();
    const std::string before = Probe(source, kEntries);
    const std::string after = Probe(folder.File(inCase.mWords[0]), kEntries);
    for (const char* key :
         {"width", "height", "sample_aspect_ratio", "field_order", "color_range", "color_space",
          "color_transfer", "color_primaries", "r_frame_rate", "nb_read_frames", "TAG:timecode"})
    {
        EXPECT_EQ(Value(after, key), Value(before, key)) << inCase.mName << ": " << key << "\n"
                                                         << before << after;
    }
}

} // namespace

TEST(ReadBack, HighDefinition709)
{
    ExpectSameTags(
        {"709",
         "-f lavfi -i testsrc2=size=160x90:rate=30000/1001:duration=0.5 -pix_fmt yuv420p -c:v libx264 "
         "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv",
         "in.mp4",
         {"out.mp4"}});
}

TEST(ReadBack, StandardDefinition601WithItsPixelsAspect)
{
    ExpectSameTags(
        {"601",
         "-f lavfi -i testsrc2=size=180x144:rate=25:duration=0.5 -vf setsar=16/15 -pix_fmt yuv420p -c:v "
         "libx264 -colorspace bt470bg -color_primaries bt470bg -color_trc gamma28 -color_range tv",
         "in.mov",
         {"out.mov"}});
}

TEST(ReadBack, FullRange)
{
    ExpectSameTags({"full",
                    "-f lavfi -i testsrc2=size=160x90:rate=24:duration=0.5 -vf "
                    "scale=out_range=pc:out_color_matrix=bt601 "
                    "-pix_fmt yuv420p -c:v libx264 -colorspace smpte170m -color_primaries smpte170m "
                    "-color_trc smpte170m "
                    "-color_range pc",
                    "in.mkv",
                    {"out.mkv", "--codec", "libx264"}});
}

TEST(ReadBack, UpperFieldFirst)
{
    ExpectSameTags(
        {"upper",
         "-f lavfi -i testsrc2=size=176x144:rate=50:duration=0.5 -vf interlace=scan=tff -pix_fmt yuv420p "
         "-c:v mpeg2video -flags +ildct+ilme -q:v 2 -colorspace smpte170m -color_primaries smpte170m "
         "-color_trc smpte170m",
         "in.mkv",
         {"out.mkv", "--codec", "mpeg2video"}});
}

TEST(ReadBack, LowerFieldFirst)
{
    ExpectSameTags(
        {"lower",
         "-f lavfi -i testsrc2=size=176x144:rate=50:duration=0.5 -vf interlace=scan=bff -pix_fmt yuv420p "
         "-c:v ffv1 -colorspace smpte170m -color_primaries smpte170m -color_trc smpte170m -color_range tv",
         "in.mkv",
         {"out.mkv", "--codec", "ffv1"}});
}

TEST(ReadBack, StartTimecode)
{
    ExpectSameTags(
        {"timecode",
         "-f lavfi -i testsrc2=size=160x90:rate=25:duration=0.5 -timecode 10:11:12:13 -pix_fmt yuv420p "
         "-c:v libx264 -colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv",
         "in.mov",
         {"out.mov"}});
}

TEST(ReadBack, StartTimecodeWithDroppedNumbers)
{
    ExpectSameTags(
        {"drop",
         "-f lavfi -i testsrc2=size=160x90:rate=30000/1001:duration=0.5 -timecode 01:00:00;00 -pix_fmt "
         "yuv420p -c:v libx264 -colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv",
         "in.mov",
         {"out.mov"}});
}

TEST(ReadBack, TimecodeOfARangeIsThatOfItsFirstFrame)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i testsrc2=size=160x90:rate=30000/1001:duration=61 -timecode 01:00:00;00 -pix_fmt "
              "yuv420p -c:v "
              "libx264 -preset ultrafast " +
              folder.File("in.mov"));
    ASSERT_EQ(
        RunTool({"render", folder.File("in.mov"), folder.File("out.mov"), "--range", "01:01:00;02:#1810"})
            .exitCode,
        0);
    EXPECT_EQ(Value(Probe(folder.File("out.mov"), kEntries), "TAG:timecode"), "01:01:00;02");
    EXPECT_EQ(Value(Probe(folder.File("out.mov"), kEntries), "nb_read_frames"), "10");
}

TEST(ReadBack, RateIsWrittenAsAskedFor)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"render", SmallMovie(), folder.File("out.mp4"), "--rate", "59.94"}).exitCode, 0);
    EXPECT_EQ(Value(Probe(folder.File("out.mp4"), kEntries), "r_frame_rate"), "60000/1001");
}

namespace
{

// 24 frames whose durations are 1, 2 and 3 twentieth of a second by turns.
std::string UnequalMovie(const ScratchFolder& inFolder)
{
    RunFFmpeg("-f lavfi -i testsrc2=size=160x90:rate=20:duration=2.4 -vf "
              "select='not(mod(n,6))+eq(mod(n,6),1)+eq(mod(n,6),3)'"
              " -vsync vfr -pix_fmt yuv420p -c:v libx264 -preset ultrafast " +
              inFolder.File("in.mkv"));
    return inFolder.File("in.mkv");
}

std::vector<std::string> FrameTimes(const std::string& inPath)
{
    ChildRequest request;
    request.words = {"ffprobe",
                     "-v",
                     "error",
                     "-select_streams",
                     "v:0",
                     "-show_entries",
                     "frame=best_effort_timestamp_time",
                     "-of",
                     "csv=p=0",
                     inPath};
    std::vector<std::string> times;
    for (const std::string& line : Lines(RunChild(request).out))
    {
        if (!line.empty())
        {
            times.push_back(line.substr(0, line.find(',')).substr(0, 5));
        }
    }
    return times;
}

} // namespace

TEST(ReadBack, FramesThatLastUnequallyKeepTheirTimes)
{
    const ScratchFolder folder;
    const std::string source = UnequalMovie(folder);
    ASSERT_EQ(FrameTimes(source).size(), 24u);
    for (const char* name : {"a.mkv", "a.mp4", "a.mov", "a.nut"})
    {
        const ChildResult result = RunTool({"render", source, folder.File(name), "--pix-fmt", "yuv420p"});
        ASSERT_EQ(result.exitCode, 0) << result.Describe();
        EXPECT_EQ(result.err, "") << name;
        EXPECT_EQ(FrameTimes(folder.File(name)), FrameTimes(source)) << name;
    }
}

TEST(ReadBack, WhereTheyCannotTheClockGivesThemARateAndANoteSaysSo)
{
    const ScratchFolder folder;
    const std::string source = UnequalMovie(folder);
    const ChildResult result = RunTool({"render", source, folder.File("a.y4m")});
    ASSERT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_NE(result.err.find("by the clock"), std::string::npos) << result.err;
    const ChildResult asked = RunTool({"render", source, folder.File("b.y4m"), "--rate", "20", "--checksum"});
    EXPECT_EQ(asked.err, "");
    // At 20 a second each frame is shown as many times as it lasts twentieths.
    const std::vector<std::string> sums = SumsOf(asked.out);
    ASSERT_GE(sums.size(), 46u);
    EXPECT_EQ(sums[1], sums[2]);
    EXPECT_EQ(sums[3], sums[4]);
    EXPECT_EQ(sums[3], sums[5]);
    EXPECT_NE(sums[0], sums[1]);
    EXPECT_NE(sums[2], sums[3]);
    EXPECT_NE(sums[5], sums[6]);
}

TEST(ReadBack, FramesThatLastUnequallyAreRenderedOneForOne)
{
    const ScratchFolder folder;
    const std::string source = UnequalMovie(folder);
    const ChildResult result = RunTool({"render", source, "null:", "--pix-fmt", "yuv420p", "--checksum"});
    EXPECT_EQ(SumsOf(result.out), FrameSums(source, "yuv420p"));
    const ChildResult part =
        RunTool({"render", source, "null:", "--pix-fmt", "yuv420p", "--checksum", "--range", "5:9"});
    const std::vector<std::string> all = FrameSums(source, "yuv420p");
    EXPECT_EQ(SumsOf(part.out), (std::vector<std::string>(all.begin() + 5, all.begin() + 9)));
}

TEST(ReadBack, AlphaStaysInStillsAndMovies)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i color=red@0.5:size=64x48:rate=25:duration=0.2,format=rgba -c:v png " +
              folder.File("in.mov"));
    ASSERT_EQ(RunTool({"render", folder.File("in.mov"), folder.File("a%d.png")}).exitCode, 0);
    EXPECT_EQ(FrameSums(folder.File("a0.png"), "rgba"),
              (std::vector<std::string>{FrameSums(folder.File("in.mov"), "rgba")[0]}));
    ASSERT_EQ(RunTool({"render", folder.File("in.mov"), folder.File("b.mov"), "--codec", "qtrle"}).exitCode,
              0);
    EXPECT_EQ(FrameSums(folder.File("b.mov"), "rgba"), FrameSums(folder.File("in.mov"), "rgba"));
    const ChildResult opaque =
        RunTool({"render", folder.File("in.mov"), folder.File("c.mp4"), "--codec", "libx264"});
    EXPECT_EQ(opaque.exitCode, 0);
    EXPECT_NE(opaque.err.find("holds no alpha"), std::string::npos) << opaque.err;
}

TEST(ReadBack, SixteenBitsStayInStills)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i gradients=size=64x48:rate=1:duration=1,format=rgb48be -frames:v 1 " +
              folder.File("in.png"));
    ASSERT_EQ(RunTool({"frame", folder.File("in.png"), folder.File("out.png")}).exitCode, 0);
    EXPECT_EQ(Probe(folder.File("out.png"), "stream=pix_fmt"), "pix_fmt=rgb48be\n");
    EXPECT_EQ(FrameSums(folder.File("out.png"), "rgb48be"), FrameSums(folder.File("in.png"), "rgb48be"));
}

TEST(ReadBack, TenBitsStayInMovies)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i gradients=size=160x96:rate=25:duration=0.2 -pix_fmt yuv422p10le -c:v ffv1 "
              "-colorspace bt709 " +
              folder.File("in.mkv"));
    ASSERT_EQ(RunTool({"render", folder.File("in.mkv"), folder.File("out.mkv"), "--codec", "ffv1"}).exitCode,
              0);
    EXPECT_EQ(FrameSums(folder.File("out.mkv"), "yuv422p10le"),
              FrameSums(folder.File("in.mkv"), "yuv422p10le"));
}
