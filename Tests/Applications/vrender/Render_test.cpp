#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <set>

using namespace TestSupport;

namespace
{

std::vector<std::string> Sums(std::vector<std::string> inWords)
{
    inWords.insert(inWords.begin(), "render");
    inWords.push_back("--checksum");
    const ChildResult result = RunTool(inWords);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    return SumsOf(result.out);
}

std::vector<std::string> Part(const std::vector<std::string>& inAll, std::size_t inFirst, std::size_t inEnd)
{
    return {inAll.begin() + static_cast<std::ptrdiff_t>(inFirst),
            inAll.begin() + static_cast<std::ptrdiff_t>(inEnd)};
}

// Bytes of the small movie, written to inPath with inOptions.
std::size_t SizeOfMovie(const std::string& inPath, const std::vector<std::string>& inOptions)
{
    std::vector<std::string> words = {"render", SmallMovie(), inPath, "--overwrite"};
    words.insert(words.end(), inOptions.begin(), inOptions.end());
    const ChildResult result = RunTool(words);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    return ReadFile(inPath).size();
}

} // namespace

TEST(Render, FramesAreThoseThatFFmpegDecodes)
{
    const std::vector<std::string> expected = FrameSums(SmallMovie(), "yuv420p");
    ASSERT_EQ(expected.size(), 50u);
    EXPECT_EQ(Sums({SmallMovie(), "null:", "--pix-fmt", "yuv420p"}), expected);
}

TEST(Render, NumberOfThreadsChangesNothing)
{
    const std::vector<std::string> one = Sums({SmallMovie(), "null:", "--threads", "1"});
    ASSERT_EQ(one.size(), 50u);
    EXPECT_EQ(Sums({SmallMovie(), "null:", "--threads", "2"}), one);
    EXPECT_EQ(Sums({SmallMovie(), "null:", "--threads", "7"}), one);
}

TEST(Render, ChecksumLinesCarryTheSourcesFrameNumbers)
{
    const ChildResult result = RunTool({"render", SmallMovie(), "null:", "--range", "10:13", "--checksum"});
    const std::vector<std::string> lines = Lines(result.out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].rfind("frame 10 ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[2].rfind("frame 12 ", 0), 0u) << lines[2];
}

TEST(Render, RangeTakesItsFramesAndNoOthers)
{
    const std::vector<std::string> all = FrameSums(SmallMovie(), "yuv420p");
    EXPECT_EQ(Sums({SmallMovie(), "null:", "--pix-fmt", "yuv420p", "--range", "10:20"}), Part(all, 10, 20));
    EXPECT_EQ(Sums({SmallMovie(), "null:", "--pix-fmt", "yuv420p", "--range", "1s:end"}), Part(all, 25, 50));
    EXPECT_EQ(Sums({SmallMovie(), "null:", "--pix-fmt", "yuv420p", "--range", "00:00:01:20:"}),
              Part(all, 45, 50));
}

TEST(Render, RateGoesByTheClock)
{
    const std::vector<std::string> all = FrameSums(SmallMovie(), "yuv420p");
    const std::vector<std::string> doubled =
        Sums({SmallMovie(), "null:", "--pix-fmt", "yuv420p", "--rate", "50"});
    ASSERT_EQ(doubled.size(), 100u);
    const std::vector<std::string> uneven =
        Sums({SmallMovie(), "null:", "--pix-fmt", "yuv420p", "--rate", "30"});
    ASSERT_EQ(uneven.size(), 60u);
    const std::vector<std::string> fewer =
        Sums({SmallMovie(), "null:", "--pix-fmt", "yuv420p", "--rate", "10"});
    ASSERT_EQ(fewer.size(), 20u);
    for (std::size_t n = 0; n < 100; ++n)
    {
        EXPECT_EQ(doubled[n], all[n / 2]) << n;
        EXPECT_EQ(n < 60 ? uneven[n] : all[0], n < 60 ? all[n * 25 / 30] : all[0]) << n;
        EXPECT_EQ(n < 20 ? fewer[n] : all[0], n < 20 ? all[n * 25 / 10] : all[0]) << n;
    }
}

TEST(Render, LosslessMoviesHoldTheRenderedFrames)
{
    const ScratchFolder folder;
    const std::vector<std::string> expected = FrameSums(SmallMovie(), "yuv420p");
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"out.mkv", "--codec", "ffv1"},
                                               {"out.y4m"},
                                               {"out.nut"},
                                               {"h264.mkv", "--codec", "libx264", "-o", "qp=0"}})
    {
        std::vector<std::string> command = {"render", SmallMovie(), folder.File(words[0])};
        command.insert(command.end(), words.begin() + 1, words.end());
        const ChildResult result = RunTool(command);
        ASSERT_EQ(result.exitCode, 0) << result.Describe();
        EXPECT_EQ(FrameSums(folder.File(words[0]), "yuv420p"), expected) << words[0];
    }
}

TEST(Render, OddSizesKeepTheirLastLinesAndColumns)
{
    const ScratchFolder folder;
    for (const char* format : {"yuv420p", "yuv422p", "yuv444p", "yuv420p10le", "gbrp", "bgr0"})
    {
        RunFFmpeg("-f lavfi -i mandelbrot=size=83x45:rate=25 -frames:v 3 -c:v ffv1 -colorspace bt709 "
                  "-color_range tv -pix_fmt " +
                  std::string(format) + " " + folder.File("in.mkv"));
        const ChildResult result = RunTool(
            {"render", folder.File("in.mkv"), folder.File("out.mkv"), "--codec", "ffv1", "--overwrite"});
        ASSERT_EQ(result.exitCode, 0) << result.Describe();
        EXPECT_EQ(FrameSums(folder.File("out.mkv"), format), FrameSums(folder.File("in.mkv"), format))
            << format;
    }
}

TEST(Render, RawPicturesHaveNoPadding)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"render", SmallMovie(), folder.File("a.raw"), "--range", "0:3"}).exitCode, 0);
    EXPECT_EQ(ReadFile(folder.File("a.raw")).size(), 3u * 160 * 90 * 4);
    ASSERT_EQ(
        RunTool({"render", SmallMovie(), folder.File("b.raw"), "--range", "0:3", "--pix-fmt", "yuv420p"})
            .exitCode,
        0);
    const std::string raw = ReadFile(folder.File("b.raw"));
    ASSERT_EQ(raw.size(), 3u * 160 * 90 * 3 / 2);
    RunFFmpeg("-f rawvideo -pix_fmt yuv420p -s 160x90 -r 25 -i " + folder.File("b.raw") + " -c:v ffv1 " +
              folder.File("b.mkv"));
    EXPECT_EQ(FrameSums(folder.File("b.mkv"), "yuv420p"), Part(FrameSums(SmallMovie(), "yuv420p"), 0, 3));
}

TEST(Render, StandardOutputTakesMoviesAndPictures)
{
    const ScratchFolder folder;
    for (const char* format : {"y4m", "nut", "raw"})
    {
        ChildRequest request =
            ToolRequest({"render", SmallMovie(), "-", "--format", format, "--pix-fmt", "yuv420p"});
        request.outputFile = folder.File(format);
        ASSERT_EQ(RunChild(request).exitCode, 0);
        const std::string input = std::string(format) == "raw"
                                      ? "-f rawvideo -pix_fmt yuv420p -s 160x90 -r 25 -i "
                                      : std::string("-i ");
        RunFFmpeg(input + folder.File(format) + " -c:v ffv1 " + folder.File(std::string(format) + ".mkv"));
        EXPECT_EQ(FrameSums(folder.File(std::string(format) + ".mkv"), "yuv420p"),
                  FrameSums(SmallMovie(), "yuv420p"))
            << format;
    }
    // Without a name for the container a pipe carries YUV4MPEG.
    ChildRequest request = ToolRequest({"render", SmallMovie(), "-", "--range", "0:1"});
    request.outputFile = folder.File("default");
    ASSERT_EQ(RunChild(request).exitCode, 0);
    EXPECT_EQ(ReadFile(folder.File("default")).rfind("YUV4MPEG2 W160 H90 F25:1", 0), 0u);
}

TEST(Render, SequencesAreNumberedByTheSourcesFrames)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"render", SmallMovie(), folder.File("s%05d.png"), "--range", "8:12"}).exitCode, 0);
    EXPECT_EQ(FolderNames(folder.Path()),
              (std::vector<std::string>{"s00008.png", "s00009.png", "s00010.png", "s00011.png"}));
    std::set<std::string> different;
    for (const std::string& name : FolderNames(folder.Path()))
    {
        const std::string answer = Probe(folder.File(name), "stream=codec_name,width,height,pix_fmt");
        EXPECT_EQ(answer, "codec_name=png\nwidth=160\nheight=90\npix_fmt=rgb24\n");
        different.insert(ReadFile(folder.File(name)));
    }
    EXPECT_EQ(different.size(), 4u);
}

TEST(Render, SequencesComeBackAsTheyWere)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"render", SmallMovie(), folder.File("a%03d.png"), "--range", "0:5"}).exitCode, 0);
    ASSERT_EQ(RunTool({"render", folder.File("a%03d.png"), folder.File("b%03d.png")}).exitCode, 0);
    for (int i = 0; i < 5; ++i)
    {
        const std::string number = "00" + std::to_string(i) + ".png";
        EXPECT_EQ(FrameSums(folder.File("a" + number), "rgb24"),
                  FrameSums(folder.File("b" + number), "rgb24"));
    }
}

TEST(Render, SizeIsThatOfTheOutputAndMayFollowTheShape)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"render", SmallMovie(), folder.File("a.mkv"), "--range", "0:2", "--size", "320x-1"})
                  .exitCode,
              0);
    EXPECT_NE(Probe(folder.File("a.mkv"), "stream=width,height").find("width=320\nheight=180"),
              std::string::npos);
    // Another shape is made up for by the pixels', so that the picture is shown as before.
    ASSERT_EQ(
        RunTool({"render", SmallMovie(), folder.File("b.mkv"), "--range", "0:2", "--size", "80x90"}).exitCode,
        0);
    EXPECT_NE(Probe(folder.File("b.mkv"), "stream=width,height,sample_aspect_ratio")
                  .find("width=80\nheight=90\nsample_aspect_ratio=2:1"),
              std::string::npos);
}

TEST(Render, EncoderAndContainerOptionsArrive)
{
    const ScratchFolder folder;
    const auto size = [&](const std::vector<std::string>& inOptions)
    { return SizeOfMovie(folder.File("a.mp4"), inOptions); };
    EXPECT_LT(size({"--crf", "40"}), size({"--crf", "15"}) / 2);
    EXPECT_LT(size({"--codec", "mpeg4", "--bitrate", "100k"}), size({"--codec", "mpeg4", "--bitrate", "2M"}));
    size({"-o", "movflags=+faststart", "-o", "preset=ultrafast"});
    const std::string movie = ReadFile(folder.File("a.mp4"));
    EXPECT_LT(movie.find("moov"), movie.find("mdat"));
}

TEST(Render, QualityMayBeAskedForInEitherOption)
{
    const ScratchFolder folder;
    const auto sizeWith = [&](const std::vector<std::string>& inOptions)
    { return SizeOfMovie(folder.File("a.webm"), inOptions); };
    const std::size_t usual = sizeWith({});
    const std::size_t coarse = sizeWith({"--crf", "60"});
    EXPECT_LT(coarse, usual / 2);
    EXPECT_EQ(sizeWith({"-o", "crf=60"}), coarse);
    EXPECT_EQ(sizeWith({"-o", "crf=31"}), usual);
    // A rate alone is kept to, and not cut short by the usual quality.
    EXPECT_GT(sizeWith({"-o", "b=2M"}), usual);
}

TEST(Render, ManyEncodersTakeTheirNearestFormat)
{
    const ScratchFolder folder;
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"a.mov", "--codec", "prores_ks"}, "yuv422p10le"},
        {{"b.mov", "--codec", "dnxhd", "--size", "320x180"}, "yuv422p"},
        {{"c.webm", "--codec", "libvpx-vp9", "-o", "deadline=realtime", "-o", "cpu-used=8"}, "yuv420p"},
        {{"d.mkv", "--codec", "libx265", "-o", "preset=ultrafast"}, "yuv420p"},
        {{"e.mpg", "--codec", "mpeg2video"}, "yuv420p"},
        {{"f.avi", "--codec", "mjpeg"}, "yuvj420p"},
        {{"g.mov", "--codec", "qtrle"}, "rgb24"},
        {{"h.mkv", "--codec", "libx264", "--pix-fmt", "yuv444p10le"}, "yuv444p10le"}};
    for (const auto& [words, format] : cases)
    {
        std::vector<std::string> command = {"render", SmallMovie(), folder.File(words[0]), "--range", "0:5"};
        command.insert(command.end(), words.begin() + 1, words.end());
        const ChildResult result = RunTool(command);
        ASSERT_EQ(result.exitCode, 0) << words[0] << ": " << result.Describe();
        EXPECT_EQ(result.err, "") << words[0];
        EXPECT_EQ(Probe(folder.File(words[0]), "stream=pix_fmt,nb_read_frames"),
                  "pix_fmt=" + format + "\nnb_read_frames=5\n")
            << words[0];
    }
}

TEST(Render, SoundIsDroppedWithOneNote)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i testsrc2=size=160x90:rate=25:duration=1 -f lavfi -i sine=duration=1 -c:v mpeg4 "
              "-c:a aac " +
              folder.File("in.mp4"));
    const ChildResult result = RunTool({"render", folder.File("in.mp4"), folder.File("out.mkv")});
    EXPECT_EQ(result.exitCode, 0);
    ASSERT_EQ(Lines(result.err).size(), 1u) << result.err;
    EXPECT_NE(result.err.find("in.mp4: sound is not carried over"), std::string::npos) << result.err;
    EXPECT_EQ(Probe(folder.File("out.mkv"), "format=nb_streams"), "nb_streams=1\n");
}

TEST(Render, MadePicturesNeedARangeOrADuration)
{
    EXPECT_EQ(Sums({"bars:size=160x90", "null:", "--range", "0:10"}).size(), 10u);
    EXPECT_EQ(Sums({"counter:size=160x90:rate=25:duration=1s", "null:"}).size(), 25u);
    const ChildResult result = RunTool({"render", "bars:size=160x90", "null:"});
    EXPECT_EQ(result.exitCode, 64);
    EXPECT_NE(result.err.find("has no end"), std::string::npos) << result.err;
}

TEST(Render, AStillFillsARangeAtTheRateAskedFor)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"frame", SmallMovie(), folder.File("a.png")}).exitCode, 0);
    ASSERT_EQ(
        RunTool({"render", folder.File("a.png"), folder.File("a.mkv"), "--range", "0:2s", "--rate", "10"})
            .exitCode,
        0);
    EXPECT_EQ(Probe(folder.File("a.mkv"), "stream=r_frame_rate,nb_read_frames"),
              "r_frame_rate=10/1\nnb_read_frames=20\n");
}

TEST(Render, NamesWithColonsPercentsAndDashesAreFiles)
{
    const ScratchFolder folder;
    for (const char* name : {"a:b.mkv", "a%b.mkv", "file:x.mkv"})
    {
        const ChildResult made = RunTool({"render", SmallMovie(), folder.File(name), "--range", "0:2"});
        ASSERT_EQ(made.exitCode, 0) << made.Describe();
        EXPECT_EQ(RunTool({"render", folder.File(name), "null:"}).exitCode, 0) << name;
    }
    ChildRequest dash = ToolRequest({"render", SmallMovie(), "--range", "0:2", "--", "-a.mkv"});
    dash.words = {dash.words[0], "render", "--range", "0:2", "--", SmallMovie(), "-a.mkv"};
    dash.folder = folder.Path();
    const ChildResult result = RunChild(dash);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_TRUE(FileExists(folder.File("-a.mkv")));
}

TEST(Render, WithinLittleMemoryItStaysThere)
{
    if (!CanLimitMemory())
    {
        GTEST_SKIP() << "a sanitizer's own memory is counted with the tool's";
    }
    const ChildResult result = RunTool({"render", LongMovie(), "null:", "--memory", "64M", "--threads", "2"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_LT(result.peakBytes, std::uint64_t{164} << 20);
}
