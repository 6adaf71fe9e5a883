#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <set>

using namespace TestSupport;

namespace
{

std::string SumOfFrame(const std::vector<std::string>& inOptions)
{
    std::vector<std::string> words = {"frame", SmallMovie(), "null:", "--pix-fmt", "yuv420p", "--checksum"};
    words.insert(words.end(), inOptions.begin(), inOptions.end());
    const ChildResult result = RunTool(words);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    const std::vector<std::string> sums = SumsOf(result.out);
    return sums.size() == 1 ? sums[0] : "(none)";
}

} // namespace

TEST(Frame, TimeChoosesTheFrame)
{
    const std::vector<std::string> all = FrameSums(SmallMovie(), "yuv420p");
    EXPECT_EQ(SumOfFrame({}), all[0]);
    EXPECT_EQ(SumOfFrame({"--time", "start"}), all[0]);
    EXPECT_EQ(SumOfFrame({"--time", "31"}), all[31]);
    EXPECT_EQ(SumOfFrame({"--time", "#31"}), all[31]);
    EXPECT_EQ(SumOfFrame({"--time", "1.25s"}), all[31]);
    EXPECT_EQ(SumOfFrame({"--time", "00:00:01:06"}), all[31]);
    EXPECT_EQ(SumOfFrame({"--time", "end"}), all[49]);
}

TEST(Frame, SuffixChoosesTheFormat)
{
    const ScratchFolder folder;
    for (const auto& [name, codec] : std::vector<std::pair<std::string, std::string>>{{"a.png", "png"},
                                                                                      {"a.jpg", "mjpeg"},
                                                                                      {"a.tif", "tiff"},
                                                                                      {"a.exr", "exr"},
                                                                                      {"a.dpx", "dpx"},
                                                                                      {"a.bmp", "bmp"}})
    {
        const ChildResult result = RunTool({"frame", SmallMovie(), folder.File(name), "--time", "10"});
        ASSERT_EQ(result.exitCode, 0) << name << ": " << result.Describe();
        EXPECT_EQ(Probe(folder.File(name), "stream=codec_name,width,height"),
                  "codec_name=" + codec + "\nwidth=160\nheight=90\n");
    }
}

TEST(Frame, StillsOfSeveralFormatsShowTheSamePicture)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"frame", SmallMovie(), folder.File("a.png"), "--time", "10"}).exitCode, 0);
    const std::string expected = FrameSums(folder.File("a.png"), "rgb24")[0];
    for (const char* name : {"a.tif", "a.bmp"})
    {
        ASSERT_EQ(RunTool({"frame", SmallMovie(), folder.File(name), "--time", "10"}).exitCode, 0);
        EXPECT_EQ(FrameSums(folder.File(name), "rgb24")[0], expected) << name;
    }
}

TEST(Thumbnails, AreNamedByFrameNumberAndSpreadEvenly)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"thumbnails", SmallMovie(), folder.File("t"), "--count", "5"}).exitCode, 0);
    EXPECT_EQ(FolderNames(folder.File("t")),
              (std::vector<std::string>{"frame000005.png", "frame000015.png", "frame000025.png",
                                        "frame000035.png", "frame000045.png"}));
    EXPECT_EQ(Probe(folder.File("t/frame000005.png"), "stream=width,height"), "width=160\nheight=90\n");
}

TEST(Thumbnails, ShowTheFramesOfTheirNames)
{
    const ScratchFolder folder;
    ASSERT_EQ(
        RunTool({"thumbnails", SmallMovie(), folder.File("t"), "--every", "20", "--threads", "3"}).exitCode,
        0);
    EXPECT_EQ(FolderNames(folder.File("t")),
              (std::vector<std::string>{"frame000000.png", "frame000020.png", "frame000040.png"}));
    for (const char* number : {"0", "20", "40"})
    {
        const std::string name =
            std::string("frame0000") + (std::string(number) == "0" ? "00" : number) + ".png";
        const std::string still = folder.File(std::string(number) + ".png");
        ASSERT_EQ(RunTool({"frame", SmallMovie(), still, "--time", number}).exitCode, 0);
        EXPECT_EQ(FrameSums(folder.File("t/" + name), "rgb24"), FrameSums(still, "rgb24"));
    }
}

TEST(Thumbnails, DistanceMayBeInSecondsAndARangeHolds)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"thumbnails", SmallMovie(), folder.File("t"), "--every", "0.5s", "--range", "10:45"})
                  .exitCode,
              0);
    EXPECT_EQ(FolderNames(folder.File("t")),
              (std::vector<std::string>{"frame000010.png", "frame000022.png", "frame000035.png"}));
}

TEST(Thumbnails, AnamorphicPicturesAreShownInTheirShape)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i testsrc2=size=180x144:rate=25:duration=0.4 -vf setsar=2/1 -c:v mpeg4 " +
              folder.File("in.mp4"));
    ASSERT_EQ(RunTool({"thumbnails", folder.File("in.mp4"), folder.File("t"), "--count", "1"}).exitCode, 0);
    EXPECT_EQ(Probe(folder.File("t/frame000005.png"), "stream=width,height"), "width=180\nheight=72\n");
}

TEST(Thumbnails, OlderStillsNeedOverwrite)
{
    const ScratchFolder folder;
    const std::vector<std::string> words = {"thumbnails", SmallMovie(), folder.File("t"), "--count", "2"};
    ASSERT_EQ(RunTool(words).exitCode, 0);
    EXPECT_EQ(RunTool(words).exitCode, 73);
    std::vector<std::string> again = words;
    again.push_back("--overwrite");
    EXPECT_EQ(RunTool(again).exitCode, 0);
}

TEST(ContactSheet, IsAGridOfLabelledPictures)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"contact-sheet", SmallMovie(), folder.File("s.png"), "--count", "6", "--columns", "3"})
                  .exitCode,
              0);
    // Three columns of 160 and two rows of 90 pixels with a label of 9 below, and margins of 8.
    EXPECT_EQ(Probe(folder.File("s.png"), "stream=width,height"), "width=512\nheight=228\n");
    // Each picture stands in its cell: what is cut out of the sheet is the frame.
    const int frames[6] = {4, 12, 20, 29, 37, 45};
    for (int i = 0; i < 6; ++i)
    {
        const std::string still = folder.File("still.png");
        ASSERT_EQ(RunTool({"frame", SmallMovie(), still, "--time", std::to_string(frames[i]), "--overwrite"})
                      .exitCode,
                  0);
        const std::string cut = folder.File("cut.png");
        RunFFmpeg("-i " + folder.File("s.png") + " -vf crop=160:90:" + std::to_string(8 + i % 3 * 168) + ":" +
                  std::to_string(8 + i / 3 * 110) + " " + cut);
        EXPECT_EQ(FrameSums(cut, "rgb24"), FrameSums(still, "rgb24")) << i;
        // And something is written below it.
        RunFFmpeg("-i " + folder.File("s.png") + " -vf crop=160:9:" + std::to_string(8 + i % 3 * 168) + ":" +
                  std::to_string(8 + i / 3 * 110 + 93) + " " + cut);
        RunFFmpeg("-f lavfi -i color=black:size=160x9:rate=1:duration=1 " + folder.File("black.png"));
        EXPECT_NE(FrameSums(cut, "rgb24"), FrameSums(folder.File("black.png"), "rgb24")) << i;
    }
}

TEST(ContactSheet, ASheetThatIsTooLargeIsRefused)
{
    const ScratchFolder folder;
    const ChildResult result = RunTool(
        {"contact-sheet", SmallMovie(), folder.File("s.png"), "--size", "8000x4500", "--columns", "5"});
    EXPECT_EQ(result.exitCode, 64) << result.Describe();
    EXPECT_NE(result.err.find("too large"), std::string::npos) << result.err;
    EXPECT_TRUE(FolderNames(folder.Path()).empty());
}

TEST(ContactSheet, ASheetThatIsTooLargeInItsOwnFormatIsRefusedToo)
{
    // 150 MB as it is painted, and four times as much in the floats of the file.
    const ScratchFolder folder;
    const ChildResult result = RunTool({"contact-sheet", SmallMovie(), folder.File("s.exr"), "--size",
                                        "3000x3100", "--count", "4", "--columns", "4"});
    EXPECT_EQ(result.exitCode, 64) << result.Describe();
    EXPECT_NE(result.err.find("too large"), std::string::npos) << result.err;
    EXPECT_TRUE(FolderNames(folder.Path()).empty());
}

TEST(Info, TellsWhatTheFileHolds)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i testsrc2=size=176x144:rate=30000/1001:duration=1 -f lavfi -i sine=duration=1 -vf "
              "setsar=12/11 "
              "-timecode 01:00:00;00 -pix_fmt yuv420p -c:v libx264 -colorspace smpte170m -color_primaries "
              "smpte170m -color_trc "
              "smpte170m -color_range tv -c:a aac " +
              folder.File("in.mov"));
    const ChildResult text = RunTool({"info", folder.File("in.mov")});
    EXPECT_EQ(text.exitCode, 0);
    for (const char* part : {"176x144", "12:11", "30000/1001", "01:00:00;00", "matrix smpte170m",
                             "progressive", "h264", "audio"})
    {
        EXPECT_NE(text.out.find(part), std::string::npos) << part << "\n" << text.out;
    }
    const ChildResult json = RunTool({"info", folder.File("in.mov"), "--json"});
    for (const char* part :
         {"\"width\": 176", "\"height\": 144", "\"pixel_aspect\": \"12:11\"",
          "\"frame_rate\": \"30000/1001\"", "\"frames\": 30", "\"timecode\": \"01:00:00;00\"",
          "\"drop_frame\": true", "\"audio\": true", "\"matrix\": \"smpte170m\"",
          "\"field_order\": \"progressive\"", "\"codec\": \"h264\""})
    {
        EXPECT_NE(json.out.find(part), std::string::npos) << part << "\n" << json.out;
    }
}

TEST(Info, JsonIsReadByOthers)
{
    const ScratchFolder folder;
    ChildRequest info = ToolRequest({"info", SmallMovie(), "--json"});
    info.outputFile = folder.File("info.json");
    ASSERT_EQ(RunChild(info).exitCode, 0);
    ChildRequest python;
    python.words = {"python3", "-c",
                    "import json,sys; d=json.load(open(sys.argv[1])); print(d['frames'], "
                    "d['color']['matrix'], len(d['streams']))",
                    folder.File("info.json")};
    EXPECT_EQ(RunChild(python).out, "50 bt709 1\n");
}

TEST(Info, TagsOfFileAndStreamKeepTheirNamesApart)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i testsrc2=size=64x64:rate=25:duration=0.2 -metadata title=whole "
              "-metadata:s:v title=part " +
              folder.File("in.mkv"));
    const std::string json = RunTool({"info", "--json", folder.File("in.mkv")}).out;
    EXPECT_NE(json.find("\"title\": \"whole\""), std::string::npos) << json;
    EXPECT_NE(json.find("\"stream:title\": \"part\""), std::string::npos) << json;
}

TEST(Info, SaysHowHighDynamicRangeIsShown)
{
    const ScratchFolder folder;
    RunFFmpeg("-f lavfi -i testsrc2=size=160x90:rate=25:duration=0.2 -pix_fmt yuv420p10le -c:v libx265 "
              "-x265-params log-level=error "
              "-colorspace bt2020nc -color_primaries bt2020 -color_trc smpte2084 " +
              folder.File("in.mkv"));
    const ChildResult result = RunTool({"info", folder.File("in.mkv")});
    EXPECT_NE(result.out.find("transfer smpte2084"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("note:"), std::string::npos) << result.out;
}

TEST(Version, NamesThePartsAndTheirLicences)
{
    const ChildResult result = RunTool({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    for (const char* part :
         {"Boost", "fmt", "spdlog", "Highway", "zimg", "FFmpeg", "libpng", "CLI11", "MIT", "GPL"})
    {
        EXPECT_NE(result.out.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(result.out.find("  \n"), std::string::npos);
}

TEST(Generate, ManualPageAndCompletionsAreAcceptedByTheirReaders)
{
    const ScratchFolder folder;
    WriteFile(folder.File("bash"), RunTool({"--generate", "bash"}).out);
    ChildRequest bash;
    bash.words = {"bash", "-c",
                  "source '" + folder.File("bash") +
                      "'; COMP_WORDS=(vrender render --ra); COMP_CWORD=2; _vrender; "
                      "echo ${COMPREPLY[@]}"};
    EXPECT_EQ(RunChild(bash).out, "--range --rate --rate-by\n");
    // A name with a blank is one word, as an argument and behind an option.
    WriteFile(folder.File("two words.mov"), "x");
    for (const char* line : {"COMP_WORDS=(vrender render two); COMP_CWORD=2",
                             "COMP_WORDS=(vrender render --progress two); COMP_CWORD=3"})
    {
        bash.words[2] = "cd '" + folder.Path() + "'; source ./bash; " + line +
                        "; _vrender; printf '%s|' \"${COMPREPLY[@]}\"";
        EXPECT_EQ(RunChild(bash).out, "two words.mov|") << line;
    }
    EXPECT_EQ(RunTool({"--generate", "man"}).out.rfind(".TH VRENDER 1", 0), 0u);
    EXPECT_NE(RunTool({"--generate", "zsh"}).out.find("#compdef vrender"), std::string::npos);
    EXPECT_NE(RunTool({"--generate", "fish"}).out.find("complete -c vrender"), std::string::npos);
    EXPECT_EQ(RunTool({"--generate", "csh"}).exitCode, 64);
}
