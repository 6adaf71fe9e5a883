#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace TestSupport;

namespace
{

// One line on stderr that names inName, nothing on stdout, and the code.
void ExpectRefused(const ChildResult& inResult, int inCode, const std::string& inName)
{
    EXPECT_EQ(inResult.exitCode, inCode) << inResult.Describe();
    EXPECT_EQ(Lines(inResult.err).size(), 1u) << inResult.err;
    EXPECT_EQ(inResult.err.rfind("vrender: ", 0), 0u) << inResult.err;
    EXPECT_NE(inResult.err.find(inName), std::string::npos) << inResult.err;
    EXPECT_EQ(inResult.out, "");
}

} // namespace

TEST(BadInput, EachKindHasItsLineAndItsCode)
{
    const ScratchFolder folder;
    WriteFile(folder.File("empty.mp4"), "");
    WriteFile(folder.File("text.mp4"), std::string(5000, 'x'));
    WriteFile(folder.File("zeros.mov"), std::string(100000, '\0'));
    const std::string movie = ReadFile(SmallMovie());
    // The index of such a file stands at its end.
    WriteFile(folder.File("torn.mp4"), movie.substr(0, movie.size() / 2));
    RunFFmpeg("-f lavfi -i sine=duration=1 " + folder.File("sound.wav"));
    const std::vector<std::pair<std::string, int>> cases = {{"missing.mp4", 66}, {"empty.mp4", 65},
                                                            {"text.mp4", 65},    {"zeros.mov", 65},
                                                            {"torn.mp4", 65},    {"sound.wav", 65}};
    for (const auto& [name, code] : cases)
    {
        for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                 {"info", folder.File(name)},
                 {"render", folder.File(name), folder.File("out.mkv")},
                 {"frame", folder.File(name), folder.File("out.png")},
                 {"thumbnails", folder.File(name), folder.File("out")},
                 {"contact-sheet", folder.File(name), folder.File("out.png")}})
        {
            SCOPED_TRACE(name + " " + words[0]);
            ExpectRefused(RunTool(words), code, name);
        }
    }
    EXPECT_EQ(FolderNames(folder.Path()),
              (std::vector<std::string>{"empty.mp4", "sound.wav", "text.mp4", "torn.mp4", "zeros.mov"}));
}

TEST(BadInput, AFolderIsNoInput)
{
    const ScratchFolder folder;
    const ChildResult result = RunTool({"info", folder.Path()});
    EXPECT_TRUE(result.exitCode == 65 || result.exitCode == 66) << result.Describe();
    EXPECT_EQ(Lines(result.err).size(), 1u) << result.err;
}

TEST(BadInput, ARenamedFileIsWhatItHolds)
{
    const ScratchFolder folder;
    WriteFile(folder.File("movie.txt"), ReadFile(SmallMovie()));
    const ChildResult result = RunTool({"render", folder.File("movie.txt"), "null:", "--checksum"});
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_EQ(SumsOf(result.out).size(), 50u);
}

TEST(BadInput, ATornStreamGivesTheFramesThatAreThere)
{
    const ScratchFolder folder;
    RunFFmpeg("-i " + SmallMovie() + " -c copy " + folder.File("whole.ts"));
    const std::string movie = ReadFile(folder.File("whole.ts"));
    WriteFile(folder.File("torn.ts"), movie.substr(0, movie.size() / 2));
    const ChildResult result = RunTool({"render", folder.File("torn.ts"), "null:", "--checksum"});
    EXPECT_TRUE(result.exitCode == 0 || result.exitCode == 2) << result.Describe();
    EXPECT_GT(SumsOf(result.out).size(), 10u);
    EXPECT_LT(SumsOf(result.out).size(), 45u);
}

TEST(BadInput, ARangePastTheEndWritesNothing)
{
    const ScratchFolder folder;
    for (const char* range : {"0:51", "50:60", "0:3s", "10:10", "00:00:00:00:00:00:02:01"})
    {
        SCOPED_TRACE(range);
        ExpectRefused(RunTool({"render", SmallMovie(), folder.File("out.mkv"), "--range", range}), 64,
                      "--range");
        ExpectRefused(RunTool({"thumbnails", SmallMovie(), folder.File("out"), "--range", range}), 64,
                      "--range");
        ExpectRefused(RunTool({"contact-sheet", SmallMovie(), folder.File("out.png"), "--range", range}), 64,
                      "--range");
    }
    ExpectRefused(RunTool({"frame", SmallMovie(), folder.File("out.png"), "--time", "50"}), 64, "--time");
    EXPECT_TRUE(FolderNames(folder.Path()).empty());
}

TEST(BadInput, UnknownCodecsAndFormatsAreNamed)
{
    const ScratchFolder folder;
    const std::string out = folder.File("out.mkv");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--codec", "nosuch"}), 69, "nosuch");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--codec", "aac"}), 64, "aac");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--format", "nosuch"}), 64, "nosuch");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--pix-fmt", "nosuch"}), 64, "nosuch");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--codec", "libx264", "--pix-fmt", "rgb24"}), 64,
                  "rgb24");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "-o", "nosuch=1"}), 64, "nosuch");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "-o", "preset=nosuch", "--codec", "libx264"}), 64,
                  "out.mkv");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--codec", "ffv1", "--crf", "20"}), 64, "--crf");
    ExpectRefused(RunTool({"render", SmallMovie(), folder.File("out.nosuch")}), 64, "out.nosuch");
    ExpectRefused(RunTool({"frame", SmallMovie(), folder.File("out.nosuch")}), 64, "out.nosuch");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--cpu", "abacus"}), 64, "abacus");
    ExpectRefused(RunTool({"render", SmallMovie(), out, "--stream", "7"}), 64, "stream 7");
    ExpectRefused(RunTool({"render", SmallMovie(), "-", "--format", "mp4"}), 64, "mp4");
    EXPECT_TRUE(FolderNames(folder.Path()).empty());
}

TEST(BadInput, WhatCannotBeWrittenIsToldBeforeAnythingIsRendered)
{
    const ScratchFolder folder;
    WriteFile(folder.File("file"), "x");
    ExpectRefused(RunTool({"render", SmallMovie(), folder.File("file/out.mkv")}), 73, "file/out.mkv");
    ExpectRefused(RunTool({"render", SmallMovie(), folder.File("none/out.mkv")}), 73, "none/out.mkv");
    ExpectRefused(RunTool({"frame", SmallMovie(), folder.File("none/out.png")}), 73, "none/out.png");
    ExpectRefused(RunTool({"thumbnails", SmallMovie(), folder.File("file")}), 73, "file");
    ExpectRefused(RunTool({"contact-sheet", SmallMovie(), folder.File("none/out.png")}), 73, "none/out.png");
    ExpectRefused(RunTool({"render", SmallMovie(), "null:", "--progress", folder.File("none/p")}), 73,
                  "none/p");
}

TEST(BadInput, AnOlderOutputIsLeftAlone)
{
    const ScratchFolder folder;
    const std::vector<std::vector<std::string>> commands = {
        {"render", SmallMovie(), folder.File("out.mkv")},
        {"render", SmallMovie(), folder.File("out%02d.png")},
        {"frame", SmallMovie(), folder.File("frame.png")},
        {"contact-sheet", SmallMovie(), folder.File("sheet.png")}};
    for (const char* name : {"out.mkv", "out49.png", "frame.png", "sheet.png"})
    {
        WriteFile(folder.File(name), "older");
    }
    for (const std::vector<std::string>& words : commands)
    {
        ExpectRefused(RunTool(words), 73, "--overwrite");
    }
    for (const char* name : {"out.mkv", "out49.png", "frame.png", "sheet.png"})
    {
        EXPECT_EQ(ReadFile(folder.File(name)), "older") << name;
    }
    EXPECT_EQ(FolderNames(folder.Path()).size(), 4u);
    for (std::vector<std::string> words : commands)
    {
        words.push_back("--overwrite");
        EXPECT_EQ(RunTool(words).exitCode, 0) << words[0];
    }
    EXPECT_NE(ReadFile(folder.File("out.mkv")), "older");
}

TEST(BadInput, AnOlderOutputSurvivesARenderThatFails)
{
    const ScratchFolder folder;
    WriteFile(folder.File("out.mkv"), "older");
    WriteFile(folder.File("bad.mp4"), "not media");
    ExpectRefused(RunTool({"render", folder.File("bad.mp4"), folder.File("out.mkv"), "--overwrite"}), 65,
                  "bad.mp4");
    ExpectRefused(RunTool({"render", SmallMovie(), folder.File("out.mkv"), "--overwrite", "-o", "nosuch=1"}),
                  64, "nosuch");
    EXPECT_EQ(ReadFile(folder.File("out.mkv")), "older");
    EXPECT_EQ(FolderNames(folder.Path()).size(), 2u);
}

TEST(BadInput, AFileCanBeRenderedOntoItself)
{
    const ScratchFolder folder;
    WriteFile(folder.File("in.mp4"), ReadFile(SmallMovie()));
    EXPECT_EQ(RunTool({"render", folder.File("in.mp4"), folder.File("in.mp4"), "--overwrite"}).exitCode, 0);
    EXPECT_EQ(FrameSums(folder.File("in.mp4"), "yuv420p").size(), 50u);
}

TEST(BadInput, AFullDiskIsAnInputOutputError)
{
    for (const char* format : {"nut", "raw", "y4m", "mpegts"})
    {
        SCOPED_TRACE(format);
        ExpectRefused(RunTool({"render", SmallMovie(), "/dev/full", "--format", format}), 74,
                      "/dev/full: No space left");
    }
    ChildRequest request = ToolRequest({"info", SmallMovie()});
    request.outputFile = "/dev/full";
    EXPECT_EQ(RunChild(request).exitCode, 74);
}

TEST(BadInput, AFileThatMayNotGrowLeavesNoPartAndTheOlderOutput)
{
    const ScratchFolder folder;
    WriteFile(folder.File("out.nut"), "older");
    ChildRequest request;
    request.words = {"sh", "-c",
                     "ulimit -f 100; exec '" + std::string(VRENDER_PATH) + "' render '" + SmallMovie() +
                         "' '" + folder.File("out.nut") + "' --overwrite"};
    const ChildResult result = RunChild(request);
    ExpectRefused(result, 74, "out.nut");
    EXPECT_EQ(ReadFile(folder.File("out.nut")), "older");
    EXPECT_EQ(FolderNames(folder.Path()), std::vector<std::string>{"out.nut"});
}

TEST(BadInput, AClosedPipeEndsTheRender)
{
    ChildProcess tool(ToolRequest({"render", LongMovie(), "-", "--format", "raw"}));
    tool.CloseOutput();
    const ChildResult result = tool.Wait();
    EXPECT_EQ(result.signal, 0);
    ExpectRefused(result, 74, "closed the pipe");
}

TEST(BadInput, HugePicturesAreRefusedBeforeTheyAreMade)
{
    const ScratchFolder folder;
    // Headers alone: 20000 pixels wide, and 16000 by 16000 of four bytes.
    WriteFile(folder.File("wide.y4m"), "YUV4MPEG2 W20000 H100 F25:1 C420\nFRAME\n");
    RunFFmpeg("-f lavfi -i color=size=16x16:rate=1:duration=1 -c:v rawvideo -pix_fmt bgra " +
              folder.File("small.avi"));
    std::string large = ReadFile(folder.File("small.avi"));
    const std::size_t header = large.find("strf");
    ASSERT_NE(header, std::string::npos);
    large.replace(header + 12, 8, std::string("\x80\x3e\0\0\x80\x3e\0\0", 8));
    WriteFile(folder.File("large.avi"), large);
    for (const char* name : {"wide.y4m", "large.avi"})
    {
        SCOPED_TRACE(name);
        const ChildResult result = RunTool({"render", folder.File(name), "null:"});
        ExpectRefused(result, 65, name);
        EXPECT_TRUE(result.peakBytes < std::uint64_t{300} << 20 || !CanLimitMemory());
    }
}

TEST(BadInput, DamagedFramesAreReplacedAndCounted)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i testsrc2=size=160x90:rate=25:duration=1 -c:v png " + folder.File("a.mov"));
    ASSERT_EQ(RunTool({"render", folder.File("a.mov"), folder.File("s%02d.png")}).exitCode, 0);
    ASSERT_EQ(std::remove(folder.File("s07.png").c_str()), 0);
    WriteFile(folder.File("s12.png"), "torn");
    const ChildResult result =
        RunTool({"render", folder.File("s%02d.png"), "null:", "--checksum", "--threads", "2"});
    EXPECT_EQ(result.exitCode, 2) << result.Describe();
    const std::vector<std::string> sums = SumsOf(result.out);
    ASSERT_EQ(sums.size(), 25u);
    EXPECT_EQ(sums[7], sums[6]);
    EXPECT_EQ(sums[12], sums[11]);
    EXPECT_NE(sums[8], sums[7]);
    EXPECT_NE(result.err.find("s07.png"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("s12.png"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("2 of 25 frames"), std::string::npos) << result.err;
}

TEST(BadInput, WithoutAnyFrameThereIsNoOutput)
{
    const ScratchFolder folder;
    for (const char* name : {"s1.png", "s2.png"})
    {
        WriteFile(folder.File(name), "torn");
    }
    const ChildResult result = RunTool({"render", folder.File("s%d.png"), folder.File("out.mkv")});
    EXPECT_EQ(result.exitCode, 65) << result.Describe();
    EXPECT_FALSE(FileExists(folder.File("out.mkv")));
    EXPECT_FALSE(FileExists(folder.File("out.mkv.part")));
}

// Reader and writer use the same libraries, and each wants to hear why it failed.
TEST(BadInput, TheCauseOfADamagedFrameIsToldBesideAWriterOfMovies)
{
    const ScratchFolder folder;
    std::string movie = ReadFile(MediaPath("png.mov"));
    const std::string signature = "\x89PNG";
    const std::size_t first = movie.find(signature);
    ASSERT_NE(first, std::string::npos);
    const std::size_t second = movie.find(signature, first + 1);
    ASSERT_NE(second, std::string::npos);
    movie.replace(second, 4, "xxxx");
    WriteFile(folder.File("damaged.mov"), movie);
    for (const char* output : {"null:", "out.mkv", "frame%03d.png"})
    {
        const std::string path = output == std::string("null:") ? output : folder.File(output);
        const ChildResult result = RunTool({"render", folder.File("damaged.mov"), path, "--threads", "1"});
        EXPECT_EQ(result.exitCode, 2) << result.Describe();
        EXPECT_NE(result.err.find("(Invalid PNG signature"), std::string::npos)
            << output << ": " << result.err;
    }
}

TEST(BadInput, AStreamThatIsTooLargeSpoilsNoOther)
{
    const ScratchFolder folder;
    const std::string path = folder.File("two.mov");
    RunFFmpeg("-f lavfi -i testsrc2=s=64x48:d=1 -map 0 -map 0 -c:v qtrle " + path);
    std::string movie = ReadFile(path);
    const std::size_t first = movie.find("rle ");
    const std::size_t second = movie.find("rle ", first + 4);
    ASSERT_NE(second, std::string::npos);
    constexpr std::size_t kWidthBehindName = 28; // in the description of a track's samples
    ASSERT_EQ(movie.substr(second + kWidthBehindName, 4), std::string("\0\x40\0\x30", 4));
    movie.replace(second + kWidthBehindName, 4, "\x7F\x40\x7F\x30");
    WriteFile(path, movie);
    const ChildResult good = RunTool({"render", path, "null:"});
    EXPECT_EQ(good.exitCode, 0) << good.Describe();
    const ChildResult bad = RunTool({"render", path, "null:", "--stream", "1"});
    EXPECT_EQ(bad.exitCode, 65) << bad.Describe();
    EXPECT_NE(bad.err.find("too large"), std::string::npos) << bad.err;
}

TEST(BadInput, ImagesThatAreTooLargeAreRefusedByTheirHead)
{
    if (!CanLimitMemory())
    {
        GTEST_SKIP() << "a sanitizer's own memory is counted with the tool's";
    }
    const ScratchFolder folder;
    const std::string path = folder.File("huge.png");
    RunFFmpeg("-f lavfi -i testsrc2=s=64x48:d=1 -frames:v 1 " + path);
    std::string image = ReadFile(path);
    const std::size_t header = image.find("IHDR");
    ASSERT_NE(header, std::string::npos);
    image.replace(header + 4, 8, std::string("\0\x01\0\0\0\x01\0\0", 8));
    WriteFile(path, image);
    ASSERT_EQ(::truncate(path.c_str(), 1000 << 20), 0);
    const ChildResult result = RunTool({"info", path});
    EXPECT_EQ(result.exitCode, 65) << result.Describe();
    EXPECT_NE(result.err.find("too large"), std::string::npos) << result.err;
    EXPECT_LT(result.peakBytes, std::uint64_t{200} << 20);
}
