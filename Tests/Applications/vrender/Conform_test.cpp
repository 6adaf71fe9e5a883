#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <cstdlib>

using namespace TestSupport;

namespace
{

using Sums = std::vector<std::string>;

constexpr std::size_t kFilmFrames = 25;

// A film, and video that was made of it and begins at frame mPhase of the rhythm.
struct Telecine
{
    const char* mSize;
    const char* mFirstField;
    const char* mPattern;
    int mPhase;
    const char* mCadence;
    std::size_t mFirstFilmFrame; // that is whole in the video
    const char* mPixels;
};

std::string MakeFilm(const ScratchFolder& inFolder, const Telecine& inTelecine)
{
    std::string path = inFolder.File("film.mkv");
    RunFFmpeg(fmt::format("-f lavfi -i testsrc2=size={}:rate=24000/1001,format={} -frames:v {} -c:v ffv1 {}",
                          inTelecine.mSize, inTelecine.mPixels, kFilmFrames, path));
    return path;
}

std::string MakeVideo(const ScratchFolder& inFolder, const Telecine& inTelecine, const std::string& inFilm)
{
    std::string path = inFolder.File("video.mkv");
    RunFFmpeg(fmt::format("-i {} -vf telecine=first_field={}:pattern={},trim=start_frame={},"
                          "setpts=PTS-STARTPTS -c:v ffv1 {}",
                          inFilm, inTelecine.mFirstField, inTelecine.mPattern, inTelecine.mPhase, path));
    return path;
}

Sums SumsOfTool(std::vector<std::string> inWords)
{
    inWords.insert(inWords.begin(), "render");
    inWords.insert(inWords.begin() + 2, {"null:", "--checksum"});
    const ChildResult result = RunTool(inWords);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    return SumsOf(result.out);
}

// Every film frame comes back once, each pixel as it was.
void ExpectFilm(const Telecine& inTelecine, const std::vector<std::string>& inOptions)
{
    const ScratchFolder folder;
    const std::string film = MakeFilm(folder, inTelecine);
    const Sums expected = FrameSums(film, inTelecine.mPixels);
    std::vector<std::string> words = {MakeVideo(folder, inTelecine, film), "--pix-fmt", inTelecine.mPixels};
    words.insert(words.end(), inOptions.begin(), inOptions.end());
    EXPECT_EQ(
        SumsOfTool(words),
        Sums(expected.begin() + static_cast<std::ptrdiff_t>(inTelecine.mFirstFilmFrame), expected.end()))
        << inTelecine.mSize << " " << inTelecine.mFirstField << " " << inTelecine.mPattern << " "
        << inTelecine.mPhase;
}

Sums Picked(const Sums& inSums, const std::vector<std::size_t>& inFrames)
{
    Sums picked;
    for (const std::size_t frame : inFrames)
    {
        picked.push_back(inSums.at(frame));
    }
    return picked;
}

constexpr const char* kCounter = "counter:size=96x64:rate=25:duration=0.4s"; // ten frames

void ExpectRefused(const std::vector<std::string>& inWords, int inCode, const std::string& inCause)
{
    const ChildResult result = RunTool(inWords);
    EXPECT_EQ(result.exitCode, inCode) << result.Describe();
    EXPECT_NE(result.err.find(inCause), std::string::npos) << result.err;
}

std::string ChainOf(std::vector<std::string> inWords)
{
    inWords.insert(inWords.begin(), "info");
    inWords.emplace_back("--chain");
    const ChildResult result = RunTool(inWords);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    for (const std::string& line : Lines(result.out))
    {
        if (line.rfind("chain:", 0) == 0)
        {
            return line.substr(line.find_first_not_of(' ', 6));
        }
    }
    return "(none)";
}

} // namespace

TEST(Conform, FilmComesBackFromEveryPhaseOfStandardVideo)
{
    ExpectFilm({"96x64", "bottom", "23", 0, "WWSSW", 0, "yuv422p"}, {"--remove-pulldown"});
    ExpectFilm({"96x64", "bottom", "23", 1, "WSSWW", 1, "yuv422p"}, {"--remove-pulldown"});
    ExpectFilm({"96x64", "bottom", "23", 2, "SSWWW", 2, "yuv422p"}, {"--remove-pulldown"});
    ExpectFilm({"96x64", "bottom", "23", 3, "SWWWS", 3, "yuv422p"}, {"--remove-pulldown"});
    ExpectFilm({"96x64", "bottom", "23", 4, "WWWSS", 3, "yuv422p"}, {"--remove-pulldown"});
}

TEST(Conform, FilmComesBackFromEveryPhaseOfTheAdvancedRhythm)
{
    ExpectFilm({"96x64", "bottom", "2332", 0, "WWSWW", 0, "yuv422p"}, {"--remove-pulldown", "auto"});
    ExpectFilm({"96x64", "bottom", "2332", 1, "WSWWW", 1, "yuv422p"}, {"--remove-pulldown", "auto"});
    ExpectFilm({"96x64", "bottom", "2332", 2, "SWWWW", 2, "yuv422p"}, {"--remove-pulldown", "auto"});
    ExpectFilm({"96x64", "bottom", "2332", 3, "WWWWS", 2, "yuv422p"}, {"--remove-pulldown", "auto"});
    ExpectFilm({"96x64", "bottom", "2332", 4, "WWWSW", 3, "yuv422p"}, {"--remove-pulldown", "auto"});
}

TEST(Conform, FilmComesBackFromHighDefinitionWithTheUpperFieldFirst)
{
    ExpectFilm({"96x592", "top", "23", 0, "WWSSW", 0, "yuv422p"}, {"--remove-pulldown"});
    ExpectFilm({"96x592", "top", "23", 3, "SWWWS", 3, "yuv444p"}, {"--remove-pulldown"});
}

TEST(Conform, FilmComesBackWithChromaThatFieldsShareInTheFile)
{
    ExpectFilm({"96x64", "bottom", "23", 0, "WWSSW", 0, "yuv420p"}, {"--remove-pulldown"});
    ExpectFilm({"96x64", "bottom", "2332", 1, "WSWWW", 1, "yuv420p"}, {"--remove-pulldown"});
    ExpectFilm({"96x592", "top", "23", 4, "WWWSS", 3, "yuv420p"}, {"--remove-pulldown"});
    ExpectFilm({"97x66", "bottom", "23", 0, "WWSSW", 0, "yuv420p"}, {"--remove-pulldown"});
    ExpectFilm({"96x64", "top", "23", 0, "WWSSW", 0, "yuv420p"}, {"--remove-pulldown", "--swap-fields"});
}

TEST(Conform, FilmComesBackByItsPhaseAsItDoesByLooking)
{
    ExpectFilm({"96x64", "bottom", "23", 2, "SSWWW", 2, "yuv422p"}, {"--remove-pulldown", "SSWWW"});
}

TEST(Conform, FilmOfTheOtherDominanceComesBackWithSwappedFields)
{
    ExpectFilm({"96x64", "top", "23", 1, "WSSWW", 1, "yuv444p"}, {"--remove-pulldown", "--swap-fields"});
    ExpectFilm({"96x64", "top", "2332", 1, "WSWWW", 1, "yuv422p"}, {"--remove-pulldown", "--swap-fields"});
    ExpectFilm({"96x592", "bottom", "23", 0, "WWSSW", 0, "yuv422p"}, {"--remove-pulldown", "--swap-fields"});
}

TEST(Conform, PulldownThatIsNotThereIsRefusedWithItsScore)
{
    ExpectRefused({"render", kCounter, "null:", "--remove-pulldown"}, 64, "has too few frames");
    ExpectRefused({"render", "counter:size=96x64:rate=30000/1001:duration=2s", "null:", "--remove-pulldown"},
                  65, "no pulldown was found in the first 30 frames: the best phase, ");
    const ScratchFolder folder;
    const Telecine other = {"96x64", "top", "23", 0, "WWSSW", 0, "yuv444p"};
    const std::string video = MakeVideo(folder, other, MakeFilm(folder, other));
    ExpectRefused({"render", video, folder.File("out.mkv"), "--remove-pulldown"}, 65,
                  "with fields swapped WWSSW scores 1.00");
    EXPECT_FALSE(FileExists(folder.File("out.mkv")));
}

TEST(Conform, NamedPulldownThatIsAnotherIsRefusedWithBothScores)
{
    const ScratchFolder folder;
    const Telecine made = {"96x64", "bottom", "23", 0, "WWSSW", 0, "yuv422p"};
    const std::string video = MakeVideo(folder, made, MakeFilm(folder, made));
    const auto refused = [&](std::vector<std::string> inOptions, const std::string& inCause)
    {
        inOptions.insert(inOptions.begin(), {"render", video, folder.File("out.mkv"), "--remove-pulldown"});
        ExpectRefused(inOptions, 65, inCause);
        EXPECT_FALSE(FileExists(folder.File("out.mkv")));
    };
    refused({"SSWWW"}, "phase SSWWW is not that of the first 30 frames: it scores -");
    refused({"SSWWW"}, ", less than 0.70; WWSSW scores 1.00\n");
    refused({"WWSWW"}, ", less than 0.70; WWSSW scores 1.00\n"); // half of it is right
    refused({"WWSSW", "--swap-fields"}, ", less than 0.70; with fields swapped WWSSW scores 1.00\n");
}

TEST(Conform, NamedPulldownIsRefusedWhereMovingPicturesHaveNone)
{
    ExpectRefused(
        {"render", "counter:size=96x64:rate=30000/1001:duration=2s", "null:", "--remove-pulldown", "WWSSW"},
        65, "less than 0.35\n");
}

TEST(Conform, NamedPulldownIsTakenWherePicturesTellNothing)
{
    const auto frames = [](const char* inVideo) {
        return SumsOfTool({inVideo, "--remove-pulldown", "WWSSW"}).size();
    };
    EXPECT_EQ(frames("color:white:size=96x64:rate=30000/1001:duration=2s"), 48u);              // don't move
    EXPECT_EQ(frames("counter:size=96x64:rate=30000/1001:duration=0.33366666666666667s"), 8u); // too few
}

TEST(Conform, DecimalRatesNearAFractionAreThatFraction)
{
    const ScratchFolder folder;
    const std::string video = folder.File("decimal.mkv");
    RunFFmpeg("-f lavfi -i testsrc2=size=96x64:rate=2997/100 -frames:v 40 -c:v ffv1 " + video);
    const Sums own = SumsOfTool({video});
    ASSERT_EQ(own.size(), 40u);
    // The clock of the file is that of the output: none is lost and none doubled.
    EXPECT_EQ(SumsOfTool({video, "--rate", "30000/1001"}), own);
    EXPECT_EQ(SumsOfTool({video, "--rate", "29.97", "--rate-by", "mix"}), own);
    EXPECT_EQ(SumsOfTool({video, "--rate", "2997/100"}), own);
    const ChildResult info = RunTool({"info", video});
    EXPECT_NE(info.out.find("its rate of 2997/100 is taken for 30000/1001\n"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("duration:     1.334667 s"), std::string::npos) << info.out; // 40 of 1001/30000
}

TEST(Conform, FilmComesBackFromVideoWhoseRateIsTheDecimal)
{
    const ScratchFolder folder;
    const Telecine made = {"96x64", "bottom", "23", 1, "WSSWW", 1, "yuv422p"};
    const std::string film = MakeFilm(folder, made);
    const std::string decimal = folder.File("decimal.avi");
    RunFFmpeg("-r 2997/100 -i " + MakeVideo(folder, made, film) + " -vsync passthrough -c:v ffv1 " + decimal);
    const Sums expected = FrameSums(film, made.mPixels);
    EXPECT_EQ(SumsOfTool({decimal, "--pix-fmt", made.mPixels, "--remove-pulldown"}),
              Sums(expected.begin() + 1, expected.end()));
}

TEST(Conform, OrderOfFieldsThatChangesInTheFileIsToldOf)
{
    const ScratchFolder folder;
    const auto part = [&](const char* inName, const char* inOptions)
    {
        RunFFmpeg(fmt::format("-f lavfi -i testsrc2=size=96x64:rate=25 -frames:v 4 {} -c:v mpeg2video {}",
                              inOptions, folder.File(inName)));
        return ReadFile(folder.File(inName));
    };
    const std::string upper = part("upper.m2v", "-vf setfield=tff -flags +ildct+ilme -top 1");
    const std::string lower = part("lower.m2v", "-vf setfield=bff -flags +ildct+ilme -top 0");
    const std::string whole = part("whole.m2v", "");
    const auto notes = [&](const std::string& inBytes)
    {
        const std::string path = folder.File("clip.m2v");
        WriteFile(path, inBytes);
        const ChildResult result = RunTool({"render", path, "null:"});
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        return result.err;
    };
    const auto changes = [&](const std::string& inHow)
    { return "vrender: " + folder.File("clip.m2v") + ": the order of fields changes: " + inHow + "\n"; };
    EXPECT_EQ(notes(upper + lower),
              changes("frame 0 is upper first, frame 4 lower first; all are treated as upper first"));
    EXPECT_EQ(notes(lower + upper + lower),
              changes("frame 0 is lower first, frame 4 upper first; all are treated as lower first"));
    EXPECT_EQ(notes(whole + upper),
              changes("frame 0 is progressive, frame 4 upper first; all are treated as progressive"));
    EXPECT_EQ(notes(upper + upper), "");
    EXPECT_EQ(notes(upper + whole), ""); // such frames lose nothing
}

TEST(Conform, WidthThatFollowsFromThePixelAspectIsEven)
{
    const auto width = [](const char* inSize, const char* inAspect)
    {
        const ChildResult result = RunTool(
            {"info", fmt::format("color:white:size={}:duration=1s", inSize), "--chain", "--par", inAspect});
        for (const std::string& line : Lines(result.out))
        {
            if (line.rfind("output:", 0) == 0)
            {
                return std::atoi(line.c_str() + line.find_first_not_of(' ', 7));
            }
        }
        return 0;
    };
    EXPECT_EQ(width("720x576", "16:11"), 496); // 495
    EXPECT_EQ(width("720x576", "12:11"), 660);
    EXPECT_EQ(width("720x576", "32:27"), 608); // 607.5
    EXPECT_EQ(width("97x66", "12:11"), 88);    // 88.9
    EXPECT_EQ(width("2x64", "50:1"), 2);
    const ScratchFolder folder;
    const ChildResult movie =
        RunTool({"render", "color:white:size=90x64:duration=0.2s", folder.File("out.mp4"), "--par",
                 "16:11"}); // 61.9, an odd one would be refused
    EXPECT_EQ(movie.exitCode, 0) << movie.Describe();
    EXPECT_EQ(Probe(folder.File("out.mp4"), "stream=width,sample_aspect_ratio"),
              "width=62\nsample_aspect_ratio=16:11\n");
}

TEST(Conform, SpeedChoosesFramesForwardsAndBackwards)
{
    const Sums own = SumsOfTool({kCounter});
    ASSERT_EQ(own.size(), 10u);
    EXPECT_EQ(SumsOfTool({kCounter, "--speed", "2"}), Picked(own, {0, 2, 4, 6, 8}));
    EXPECT_EQ(SumsOfTool({kCounter, "--speed", "0.5", "--range", "0:6"}), Picked(own, {0, 0, 1, 1, 2, 2}));
    EXPECT_EQ(SumsOfTool({kCounter, "--speed", "-1"}), Picked(own, {9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(SumsOfTool({kCounter, "--speed", "-2"}), Picked(own, {8, 6, 4, 2, 0}));
    EXPECT_EQ(SumsOfTool({kCounter, "--speed", "-0.5", "--range", "0:5"}), Picked(own, {9, 9, 8, 8, 7}));
}

TEST(Conform, RateByMixShowsTheFrameOfTheMoment)
{
    const Sums own = SumsOfTool({kCounter});
    EXPECT_EQ(SumsOfTool({kCounter, "--rate", "50", "--rate-by", "mix", "--range", "0:5"}),
              Picked(own, {0, 0, 1, 1, 2}));
    EXPECT_EQ(SumsOfTool({kCounter, "--rate", "25/2", "--rate-by", "mix"}), Picked(own, {0, 2, 4, 6, 8}));
}

TEST(Conform, BlendedFramesDifferFromBothAndTheLastIsNotDark)
{
    const Sums own = SumsOfTool({kCounter});
    const Sums blended = SumsOfTool({kCounter, "--speed", "0.5", "--blend"});
    ASSERT_EQ(blended.size(), 20u);
    EXPECT_EQ(blended[0], own[0]);
    EXPECT_EQ(blended[2], own[1]);
    EXPECT_NE(blended[1], own[0]);
    EXPECT_NE(blended[1], own[1]);
    EXPECT_EQ(blended[18], own[9]);
    EXPECT_EQ(blended[19], own[9]); // nothing is behind it to blend with
}

TEST(Conform, ChainsHoldTheirLinksInOrder)
{
    const std::string upper = "counter:size=96x64:rate=25:duration=1s:fields=upper";
    EXPECT_EQ(ChainOf({kCounter}), "stream");
    EXPECT_EQ(ChainOf({kCounter, "--speed", "2"}), "stream, scale, time mix");
    EXPECT_EQ(ChainOf({kCounter, "--blend", "--rate", "30"}), "stream, scale, time blend");
    EXPECT_EQ(ChainOf({upper, "--reverse-dominance", "--field", "upper", "--remove-flicker"}),
              "stream, reverse dominance, exchange fields, remove flicker, scale, time mix");
    EXPECT_EQ(ChainOf({upper, "--reverse-dominance", "--field", "lower"}),
              "stream, reverse dominance, scale, time mix");
    EXPECT_EQ(ChainOf({upper, "--swap-fields"}), "stream, exchange fields, scale, time mix");
    EXPECT_EQ(ChainOf({upper, "--field", "lower", "--deinterlace"}),
              "stream, exchange fields, deinterlace, scale, time mix");
    EXPECT_EQ(ChainOf({kCounter, "--deinterlace"}), "stream, scale, time mix");
    EXPECT_EQ(ChainOf({kCounter, "--interlace-consecutive"}),
              "stream, interlace consecutive frames, scale, time mix");
    EXPECT_EQ(ChainOf({kCounter, "--remove-pulldown", "WWSSW"}),
              "stream, label lower first, remove pulldown WWSSW, scale, time mix");
}

TEST(Conform, InfoTellsWhatComesOut)
{
    const ChildResult text = RunTool(
        {"info", kCounter, "--chain", "--speed", "2", "--rate", "50", "--par", "2:1", "--field", "lower"});
    EXPECT_NE(text.out.find("48x64, pixels 2:1, lower first, 50 frames a second, 10 frames\n"),
              std::string::npos)
        << text.out << text.err;
    const ChildResult json = RunTool({"info", kCounter, "--chain", "--json", "--interlace-consecutive"});
    EXPECT_NE(json.out.find("\"interlace consecutive frames\""), std::string::npos) << json.out;
    EXPECT_NE(json.out.find("\"field_order\": \"upper first\""), std::string::npos) << json.out;
}

TEST(Conform, ContradictionsAreRefused)
{
    const auto refused = [](std::vector<std::string> inOptions, const std::string& inCause)
    {
        inOptions.insert(inOptions.begin(), {"render", kCounter, "null:"});
        ExpectRefused(inOptions, 64, inCause);
    };
    refused({"--speed", "0"}, "--speed: '0' is not a speed");
    refused({"--speed", "nan"}, "--speed: 'nan' is not a speed");
    refused({"--par", "16"}, "--par: '16' is not a pixel aspect");
    refused({"--rate", "0"}, "--rate: '0' is not a frame rate");
    refused({"--rate-by", "mix"}, "--rate-by: needs --rate");
    refused({"--fit", "inside"}, "--fit: needs a --size");
    refused({"--blend", "--rate", "30", "--rate-by", "clock"}, "exclude each other");
    refused({"--field", "upper", "--swap-fields"}, "exclude each other");
    refused({"--field", "progressive", "--interlace-consecutive"}, "exclude each other");
    refused({"--remove-pulldown", "--deinterlace"}, "exclude each other");
    refused({"--swap-fields"}, "is progressive");
    refused({"--reverse-dominance"}, "is progressive");
    ExpectRefused({"info", kCounter, "--deinterlace"}, 64, "need --chain");
}

TEST(Conform, StreamsThatAreNotFitAreRefused)
{
    ExpectRefused({"render", MediaPath("vfr.mkv"), "null:", "--speed", "2"}, 64, "frames last unequally");
    ExpectRefused({"render", MediaPath("vfr.mkv"), "null:", "--remove-pulldown"}, 64,
                  "frames last unequally");
    ExpectRefused({"render", "counter:size=96x64", "null:", "--range", "0:5", "--speed", "-1"}, 64,
                  "has no end");
    EXPECT_EQ(SumsOfTool({MediaPath("vfr.mkv"), "--speed", "2", "--rate", "10"}).empty(), false);
}

TEST(Conform, PicturesFitIntoAFrameOfAnotherShape)
{
    const ScratchFolder folder;
    const auto render = [&](const char* inFit, const char* inName)
    {
        const ChildResult result =
            RunTool({"frame", "color:white:size=96x64:duration=1s", folder.File(inName), "--size", "96x96",
                     "--fit", inFit, "--pix-fmt", "gray"});
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        const std::string raw = folder.File("raw");
        RunFFmpeg("-i " + folder.File(inName) + " -f rawvideo -pix_fmt gray " + raw);
        return ReadFile(raw);
    };
    const std::string inside = render("inside", "inside.png");
    ASSERT_EQ(inside.size(), 96u * 96u);
    const auto light = [&](const std::string& inPixels, std::size_t inLine)
    { return static_cast<unsigned char>(inPixels[inLine * 96 + 48]) > 200; };
    EXPECT_FALSE(light(inside, 15));
    EXPECT_TRUE(light(inside, 16));
    EXPECT_TRUE(light(inside, 79));
    EXPECT_FALSE(light(inside, 80));
    EXPECT_TRUE(light(render("fill", "fill.png"), 0));
    EXPECT_TRUE(light(render("stretch", "stretch.png"), 0));
}
