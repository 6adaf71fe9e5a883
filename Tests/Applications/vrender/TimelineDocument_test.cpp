#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <sys/stat.h>

using namespace TestSupport;

// The commands on documents: options, problems, missing media, exit codes.
namespace
{

class TimelineDocument : public testing::Test
{
protected:
    std::string Write(const std::string& inText, const std::string& inName = "edit.otio") const
    {
        WriteFile(mFolder.File(inName), inText);
        return mFolder.File(inName);
    }

    // Two clips of a counter with one of a file in between.
    std::string WithFile(const std::string& inUrl) const
    {
        return Write(
            TimelineText({TrackText({ClipText(CounterText(), {10}, {2}), ClipText(FileText(inUrl), {20}, {2}),
                                     ClipText(CounterText(), {30}, {2})})}));
    }

    // A counter as a movie without loss.
    void MakeMovie(const std::string& inPath, int inFrames = 100) const
    {
        const ChildResult result =
            RunTool({"render", "counter:size=160x90:duration=" + std::to_string(inFrames), inPath, "--codec",
                     "ffv1", "--pix-fmt", "bgr0"});
        ASSERT_EQ(result.exitCode, 0) << result.Describe();
    }

    const ScratchFolder mFolder;
};

bool Has(const std::string& inText, const std::string& inPart)
{
    return inText.find(inPart) != std::string::npos;
}

} // namespace

TEST_F(TimelineDocument, MediaBesideTheDocumentIsFoundAndShown)
{
    MakeMovie(mFolder.File("shot.mkv"));
    EXPECT_EQ(NumbersShown(WithFile("shot.mkv")), (std::vector<int>{10, 11, 20, 21, 30, 31}));
}

TEST_F(TimelineDocument, RenderEndsBeforeTheFirstFrameWhereMediaIsMissing)
{
    const std::string path = WithFile("gone.mkv");
    const ChildResult result = RunTool({"render", path, mFolder.File("out.mkv")});
    EXPECT_EQ(result.exitCode, 66) << result.Describe();
    EXPECT_TRUE(Has(result.err, "gone.mkv")) << result.err;
    EXPECT_TRUE(Has(result.err, "/tracks/children/0/children/1")) << result.err;
    EXPECT_EQ(FolderNames(mFolder.File("")), (std::vector<std::string>{"edit.otio"}));
}

TEST_F(TimelineDocument, MissingMediaWithoutAFileIsCalledByItsClip)
{
    const std::string missing = R"({"OTIO_SCHEMA": "MissingReference.1"})";
    const auto refused = [&](const std::string& inMembers)
    {
        const std::string clip = ClipText(missing, {0}, {2}, inMembers);
        const ChildResult result =
            RunTool({"render", Write(TimelineText({TrackText({clip})}), "bare.otio"), "null:"});
        EXPECT_EQ(result.exitCode, 66) << result.Describe();
        return result.err;
    };
    const std::string named = refused(R"(, "name": "Sunset")");
    EXPECT_TRUE(Has(named, "1 media is missing, the first is 'Sunset';")) << named;
    const std::string nameless = refused("");
    EXPECT_TRUE(Has(nameless, "1 media is missing; --on-missing")) << nameless;
}

TEST_F(TimelineDocument, OnMissingSaysWhatStandsThereAndEndsWithTwo)
{
    const std::string path = WithFile("gone.mkv");
    const std::string below =
        Write(TimelineText({TrackText({ClipText(CounterText(), {50}, {4})}),
                            TrackText({GapText({1}), ClipText(FileText("gone.mkv"), {0}, {2})})}),
              "layers.otio");
    const auto sums = [](const std::string& inPath, const std::string& inWay)
    {
        const ChildResult result = RunTool({"render", inPath, "null:", "--checksum", "--on-missing", inWay});
        EXPECT_EQ(result.exitCode, 2) << result.Describe();
        EXPECT_TRUE(Has(result.err, "2 frames show what stands for missing media")) << result.err;
        return SumsOf(result.out);
    };
    const std::vector<std::string> counter =
        SumsOf(RunTool({"render", "counter:size=160x90", "null:", "--checksum", "--range", "0:60"}).out);
    const std::string black =
        SumsOf(RunTool({"render", "color:#000000:size=160x90", "null:", "--checksum", "--range", "0:1"}).out)
            .at(0);
    EXPECT_EQ(sums(path, "black"), (std::vector<std::string>{counter.at(10), counter.at(11), black, black,
                                                             counter.at(30), counter.at(31)}));
    EXPECT_EQ(sums(below, "black"), (std::vector<std::string>{counter.at(50), black, black, counter.at(53)}));
    EXPECT_EQ(sums(below, "transparent"),
              (std::vector<std::string>{counter.at(50), counter.at(51), counter.at(52), counter.at(53)}));
    const std::vector<std::string> card = sums(path, "card");
    ASSERT_EQ(card.size(), 6u);
    EXPECT_EQ(card.at(1), counter.at(11));
    EXPECT_NE(card.at(2), black);
    EXPECT_NE(card.at(2), counter.at(20));
    EXPECT_EQ(card.at(2), card.at(3));
}

TEST_F(TimelineDocument, StillsShowACardForMissingMedia)
{
    const std::string path = WithFile("gone.mkv");
    const ChildResult there = RunTool({"frame", path, "null:", "--time", "1"});
    EXPECT_EQ(there.exitCode, 0) << there.Describe();
    EXPECT_TRUE(Has(there.err, "gone.mkv")) << there.err;
    EXPECT_EQ(RunTool({"frame", path, "null:", "--time", "2"}).exitCode, 2);
    const ChildResult sheet = RunTool({"contact-sheet", path, mFolder.File("sheet.png"), "--count", "6"});
    EXPECT_EQ(sheet.exitCode, 2) << sheet.Describe();
    EXPECT_TRUE(FileExists(mFolder.File("sheet.png")));
}

TEST_F(TimelineDocument, MediaIsLookedForInFoldersAndThroughMappings)
{
    ASSERT_EQ(::mkdir(mFolder.File("elsewhere").c_str(), 0777), 0);
    MakeMovie(mFolder.File("elsewhere/shot.mkv"));
    const std::string path = WithFile("file:///volumes/old%20disk/reel/shot.mkv");
    const std::vector<int> expected = {10, 11, 20, 21, 30, 31};
    EXPECT_EQ(RunTool({"render", path, "null:"}).exitCode, 66);
    EXPECT_EQ(NumbersShown(path, {"--media-dir", mFolder.File("")}), expected);
    EXPECT_EQ(NumbersShown(path, {"--map-path", "/volumes/old disk/reel=" + mFolder.File("elsewhere")}),
              expected);
    EXPECT_EQ(RunTool({"render", path, "null:", "--map-path", "nonsense"}).exitCode, 64);
}

TEST_F(TimelineDocument, MediaKeyChoosesAmongReferences)
{
    const std::string clip = R"({"OTIO_SCHEMA": "Clip.2", "source_range": )" + RangeText({10}, {3}) +
                             R"(, "media_references": {"DEFAULT_MEDIA": )" + ColorText("#000000") +
                             R"(, "proxy": )" + CounterText() +
                             R"(}, "active_media_reference_key": "DEFAULT_MEDIA"})";
    const std::string path = Write(TimelineText({TrackText({clip, ClipText(CounterText(), {40}, {1})})}));
    EXPECT_EQ(NumbersShown(path), (std::vector<int>{kBlack, kBlack, kBlack, 40}));
    EXPECT_EQ(NumbersShown(path, {"--media-key", "proxy"}), (std::vector<int>{10, 11, 12, 40}));
}

TEST_F(TimelineDocument, OneOfSeveralTimelinesIsChosenByNameOrNumber)
{
    std::string second = TimelineText({TrackText({ClipText(CounterText(), {40}, {2})})});
    second.replace(second.find("\"test\""), 6, "\"other\"");
    const std::string path =
        Write(R"({"OTIO_SCHEMA": "SerializableCollection.1", "children": [)" +
              TimelineText({TrackText({ClipText(CounterText(), {10}, {2})})}) + ", " + second + "]}");
    EXPECT_EQ(NumbersShown(path), (std::vector<int>{10, 11}));
    EXPECT_EQ(NumbersShown(path, {"--timeline", "other"}), (std::vector<int>{40, 41}));
    EXPECT_EQ(NumbersShown(path, {"--timeline", "1"}), (std::vector<int>{40, 41}));
    const ChildResult unknown = RunTool({"render", path, "null:", "--timeline", "third"});
    EXPECT_EQ(unknown.exitCode, 64) << unknown.Describe();
    EXPECT_TRUE(Has(unknown.err, "other")) << unknown.err;
}

TEST_F(TimelineDocument, WhatLiesOutsideOfTheMediaIsHeldOrBlackOrAnError)
{
    const std::string path = Write(TimelineText({TrackText({ClipText(CounterText(20), {18}, {4})})}));
    EXPECT_EQ(NumbersShown(path), (std::vector<int>{18, 19, 19, 19}));
    EXPECT_EQ(NumbersShown(path, {"--out-of-range", "black"}), (std::vector<int>{18, 19, kBlack, kBlack}));
    const ChildResult error = RunTool({"render", path, "null:", "--out-of-range", "error"});
    EXPECT_EQ(error.exitCode, 2) << error.Describe();
    EXPECT_TRUE(Has(error.err, "error: /tracks/children/0/children/0")) << error.err;
    EXPECT_EQ(RunTool({"render", path, "null:", "--out-of-range", "error", "--strict"}).exitCode, 65);
}

TEST_F(TimelineDocument, FitPutsMediaOfAnotherShapeIntoThePicture)
{
    const std::string canvas = R"("width": 160, "height": 160, "rate": [25, 1])";
    const std::string path =
        Write(TimelineText({TrackText({ClipText(ColorText("#ffffff"), {0}, {1})})}, "", canvas));
    const auto white = [&](const std::string& inFit)
    {
        const std::string png = mFolder.File(inFit + ".png");
        EXPECT_EQ(RunTool({"frame", path, png, "--fit", inFit}).exitCode, 0);
        const ChildResult result = RunTool({"compare", png, "color:#ffffff:size=160x160", "--json"});
        const std::size_t at = result.out.find("\"psnr\": ");
        return at == std::string::npos ? "(none)"
                                       : result.out.substr(at + 8, result.out.find(',', at) - at - 8);
    };
    EXPECT_EQ(white("fill"), "null");
    EXPECT_EQ(white("stretch"), "null");
    // 70 of 160 lines are black: three of four components of those pixels differ by all there is.
    const double margins = 10 * std::log10(1 / (0.75 * 70 / 160));
    EXPECT_NEAR(std::stod(white("fit")), margins, 0.1);
    EXPECT_NEAR(std::stod(white("none")), margins, 0.1);
}

TEST_F(TimelineDocument, SizeIsThatOfTheOutput)
{
    const std::string path = Write(TimelineText({TrackText({ClipText(CounterText(), {10}, {2})})}));
    ASSERT_EQ(
        RunTool({"render", path, mFolder.File("large.mkv"), "--size", "320x180", "--codec", "ffv1"}).exitCode,
        0);
    EXPECT_EQ(Probe(mFolder.File("large.mkv"), "stream=width,height,sample_aspect_ratio"),
              "width=320\nheight=180\nsample_aspect_ratio=1:1\n");
    ASSERT_EQ(RunTool({"thumbnails", path, mFolder.File("t"), "--count", "2", "--size", "80x-1"}).exitCode,
              0);
    EXPECT_EQ(Probe(mFolder.File("t/frame000000.png"), "stream=width,height"), "width=80\nheight=45\n");
}

TEST_F(TimelineDocument, ThumbnailsStandAtCutsAndMarkers)
{
    const std::string marker =
        R"(, "markers": [{"OTIO_SCHEMA": "Marker.2", "name": "here", "marked_range": )" +
        RangeText({12}, {1}) + R"(}])";
    const std::string path = Write(TimelineText(
        {TrackText({ClipText(CounterText(), {10}, {5}, marker), ClipText(CounterText(), {40}, {5})}),
         TrackText({GapText({7}), ClipText(CounterText(), {60}, {1})})}));
    ASSERT_EQ(RunTool({"thumbnails", path, mFolder.File("cuts"), "--at", "cuts"}).exitCode, 0);
    EXPECT_EQ(FolderNames(mFolder.File("cuts")),
              (std::vector<std::string>{"frame000000.png", "frame000005.png", "frame000007.png",
                                        "frame000008.png"}));
    ASSERT_EQ(RunTool({"thumbnails", path, mFolder.File("marks"), "--at", "markers"}).exitCode, 0);
    EXPECT_EQ(FolderNames(mFolder.File("marks")), (std::vector<std::string>{"frame000002.png"}));
    EXPECT_EQ(
        RunTool({"thumbnails", path, mFolder.File("none"), "--at", "markers", "--range", "5:9"}).exitCode,
        64);
    EXPECT_EQ(RunTool({"thumbnails", SmallMovie(), mFolder.File("none"), "--at", "cuts"}).exitCode, 64);
    const ChildResult info = RunTool({"info", path});
    EXPECT_TRUE(Has(info.out, "here")) << info.out;
}

// Media are told of the frames that the window of the root shows, wherever it begins.
TEST_F(TimelineDocument, NoMoreIsDecodedForAWindowOfTheRoot)
{
    const std::string tracks = TrackText({ClipText(FileText(MediaPath("h264_long.mp4")), {0}, {250})});
    const auto decodedAt = [&](const std::string& inRootMembers, const char* inTime)
    {
        const std::string path = Write(R"({"OTIO_SCHEMA": "Timeline.1", "metadata": {"vrender": {"version": 1,
            "canvas": {"width": 160, "height": 96, "rate": [25, 1]}}}, "tracks": )" +
                                       StackText({tracks}, inRootMembers) + "}");
        const ChildResult result = RunTool({"frame", path, mFolder.File("f.png"), "--overwrite", "--time",
                                            inTime, "--threads", "1", "--stats", "--json"});
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        const std::string name = "\"decoded\": ";
        const std::size_t at = result.err.find(name);
        return at == std::string::npos ? -1 : std::stoi(result.err.substr(at + name.size()));
    };
    const int decoded = decodedAt("", "200");
    EXPECT_GT(decoded, 0);
    EXPECT_EQ(decodedAt(R"(, "source_range": )" + RangeText({200}, {20}), "0"), decoded);
}

TEST_F(TimelineDocument, InfoTellsWhatItHolds)
{
    const std::string path = Write(TimelineText(
        {TrackText({ClipText(CounterText(), {0}, {10}), TransitionText({2}, {2}),
                    ClipText(FileText("gone.mkv"), {0}, {10})}),
         TrackText({GapText({3}), StackText({TrackText({ClipText(CounterText(), {0}, {4})})})})}));
    const ChildResult text = RunTool({"info", path});
    EXPECT_EQ(text.exitCode, 0) << text.Describe();
    for (const char* line : {"timeline:     test", "size:         160x90", "frames:       20",
                             "tracks:       2 video, 0 audio", "gone.mkv (missing)"})
    {
        EXPECT_TRUE(Has(text.out, line)) << line << "\n" << text.out;
    }
    const ChildResult json = RunTool({"info", path, "--json"});
    for (const char* member : {"\"transitions\": 1", "\"nested_sequences\": 1", "\"frames\": 20",
                               "\"missing\": true", "\"frame_rate\": \"25/1\""})
    {
        EXPECT_TRUE(Has(json.out, member)) << member << "\n" << json.out;
    }
}

TEST_F(TimelineDocument, ValidateListsEveryProblemWithItsPlace)
{
    const std::string good = Write(TimelineText({TrackText({ClipText(CounterText(), {0}, {10})})}));
    const ChildResult fine = RunTool({"validate", good});
    EXPECT_EQ(fine.exitCode, 0) << fine.Describe();
    EXPECT_TRUE(Has(fine.out, "0 errors, 0 warnings")) << fine.out;

    const std::string doubtful = Write(
        TimelineText({TrackText({ClipText(CounterText(), {0}, {10}), TransitionText({2}, {2}, "Unheard_Of"),
                                 ClipText(FileText("gone.mkv"), {0}, {10})})}));
    const ChildResult warned = RunTool({"validate", doubtful});
    EXPECT_EQ(warned.exitCode, 0) << warned.Describe();
    EXPECT_TRUE(Has(warned.out, "warning: /tracks/children/0/children/1")) << warned.out;
    EXPECT_TRUE(Has(warned.out, "Unheard_Of")) << warned.out;
    const ChildResult json = RunTool({"validate", doubtful, "--json"});
    EXPECT_TRUE(Has(json.out, "\"kind\": \"missing-media\"")) << json.out;
    EXPECT_TRUE(Has(json.out, "\"severity\": \"warning\"")) << json.out;
}

TEST_F(TimelineDocument, BadDocumentsEndWithOneLineAndTheRightCode)
{
    struct Case
    {
        const char* mText;
        int mCode;
    };
    for (const Case& bad : {Case{"", 65}, Case{"{", 65}, Case{"[1, 2]", 65},
                            Case{R"({"OTIO_SCHEMA": "Timeline.1", "tracks": 5})", 65},
                            Case{R"({"OTIO_SCHEMA": "Unknown.1"})", 65}})
    {
        const std::string path = Write(bad.mText);
        for (const char* command : {"render", "validate"})
        {
            std::vector<std::string> words = {command, path};
            if (command == std::string("render"))
            {
                words.emplace_back("null:");
            }
            const ChildResult result = RunTool(words);
            EXPECT_EQ(result.exitCode, bad.mCode) << command << " " << bad.mText << ": " << result.Describe();
            EXPECT_FALSE(result.err.empty());
        }
    }
    EXPECT_EQ(RunTool({"render", mFolder.File("none.otio"), "null:"}).exitCode, 66);
    EXPECT_EQ(RunTool({"validate", mFolder.File("none.otio")}).exitCode, 66);
    EXPECT_EQ(RunTool({"validate", SmallMovie()}).exitCode, 64);
}

TEST_F(TimelineDocument, OptionsForMediaAreRefused)
{
    const std::string path = Write(TimelineText({TrackText({ClipText(CounterText(), {0}, {10})})}));
    for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{
             {"--speed", "2"}, {"--deinterlace"}, {"--stream", "1"}, {"--par", "4:3"}})
    {
        std::vector<std::string> words = {"render", path, "null:"};
        words.insert(words.end(), options.begin(), options.end());
        EXPECT_EQ(RunTool(words).exitCode, 64) << options[0];
    }
    EXPECT_EQ(RunTool({"render", SmallMovie(), "null:", "--fit", "none", "--size", "40x40"}).exitCode, 64);
    EXPECT_EQ(NumbersShown(path, {"--rate", "12.5"}), (std::vector<int>{0, 2, 4, 6, 8}));
}

// A layer over it doesn't hide that a frame could not be read.
TEST_F(TimelineDocument, AFrameWhoseMediaIsDamagedCountsAndNamesItsCause)
{
    const std::string source = "counter:size=160x90:duration=10";
    ASSERT_EQ(RunTool({"render", source, mFolder.File("s%02d.png")}).exitCode, 0);
    ASSERT_EQ(std::remove(mFolder.File("s04.png").c_str()), 0);
    WriteFile(mFolder.File("s07.png"), "torn");
    const std::string images = R"({"OTIO_SCHEMA": "ImageSequenceReference.1", "target_url_base": ".",
        "name_prefix": "s", "name_suffix": ".png", "start_frame": 0, "rate": 25, "frame_zero_padding": 2})";
    const std::string small =
        R"(, "metadata": {"vrender": {"version": 1, "transform": {"scale": [0.1, 0.1]}}})";
    for (const bool hasLayer : {false, true})
    {
        std::vector<std::string> tracks = {TrackText({ClipText(images, {0}, {10})})};
        if (hasLayer)
        {
            tracks.push_back(TrackText({ClipText(ColorText("#ff0000"), {0}, {10}, small)}));
        }
        const ChildResult result =
            RunTool({"render", Write(TimelineText(tracks)), "null:", "--checksum", "--threads", "2"});
        EXPECT_EQ(result.exitCode, 2) << result.Describe();
        const std::vector<std::string> sums = SumsOf(result.out);
        ASSERT_EQ(sums.size(), 10u);
        EXPECT_EQ(sums.at(4), sums.at(3));
        EXPECT_EQ(sums.at(7), sums.at(6));
        EXPECT_NE(sums.at(5), sums.at(4));
        EXPECT_TRUE(Has(result.err, "s04.png") && Has(result.err, "s07.png")) << result.err;
        EXPECT_TRUE(Has(result.err, "2 of 10 frames")) << result.err;
    }
}

TEST_F(TimelineDocument, AFolderBundleBringsItsMedia)
{
    ASSERT_EQ(::mkdir(mFolder.File("edit.otiod").c_str(), 0777), 0);
    ASSERT_EQ(::mkdir(mFolder.File("edit.otiod/media").c_str(), 0777), 0);
    MakeMovie(mFolder.File("edit.otiod/media/shot.mkv"));
    WriteFile(mFolder.File("edit.otiod/content.otio"),
              TimelineText({TrackText({ClipText(FileText("media/shot.mkv"), {20}, {3})})}));
    EXPECT_EQ(NumbersShown(mFolder.File("edit.otiod")), (std::vector<int>{20, 21, 22}));
}

TEST_F(TimelineDocument, AnArchiveBringsItsMedia)
{
    MakeMovie(mFolder.File("shot.mkv"));
    const std::string text = TimelineText({TrackText({ClipText(FileText("media/shot.mkv"), {20}, {3})})});
    WriteArchive(mFolder.File("edit.otioz"), {{"content.otio", text},
                                              {"version.txt", "1.0.0"},
                                              {"media/shot.mkv", ReadFile(mFolder.File("shot.mkv"))}});
    EXPECT_EQ(NumbersShown(mFolder.File("edit.otioz")), (std::vector<int>{20, 21, 22}));
}
