#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <vector>

#include <sys/stat.h>

using namespace TestSupport;

namespace
{

using Numbers = std::vector<int>;

constexpr double kRate = 25;

class TimelineMedia : public testing::Test
{
protected:
    std::string Write(const std::string& inText) const
    {
        WriteFile(mFolder.File("edit.otio"), inText);
        return mFolder.File("edit.otio");
    }

    // Files f00.png to f39.png, each with its number's frame of a counter.
    void WriteImages() const
    {
        ASSERT_EQ(RunTool({"render", "counter:size=160x90:duration=40", mFolder.File("f%02d.png")}).exitCode,
                  0);
    }
    void Remove(const std::vector<int>& inNumbers) const
    {
        for (const int number : inNumbers)
        {
            ASSERT_EQ(std::remove(mFolder.File(fmt::format("f{:02}.png", number)).c_str()), 0);
        }
    }

    const ScratchFolder mFolder;
};

std::string ImagesText(const std::string& inMembers, const Moment& inAvailableStart,
                       const Moment& inAvailable)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "ImageSequenceReference.1", "target_url_base": ".",
        "name_prefix": "f", "name_suffix": ".png", "rate": {}, "frame_zero_padding": 2,
        "available_range": {}, {}}})",
                       kRate, RangeText(inAvailableStart, inAvailable), inMembers);
}

} // namespace

TEST_F(TimelineMedia, ImagesCountFromTheirFirstNumberInTheirSteps)
{
    WriteImages();
    // Image n is number 10 + 3 n, and is shown for three frames.
    const std::string thirds = ImagesText(R"("start_frame": 10, "frame_step": 3)", {100}, {27});
    EXPECT_EQ(NumbersShown(Write(TimelineText({TrackText({ClipText(thirds, {102}, {8})})}))),
              (Numbers{10, 13, 13, 13, 16, 16, 16, 19}));
    const std::string each = ImagesText(R"("start_frame": 10)", {100}, {20});
    EXPECT_EQ(NumbersShown(Write(TimelineText({TrackText({ClipText(each, {103}, {3})})}))),
              (Numbers{13, 14, 15}));
    // Both in one timeline are two media.
    EXPECT_EQ(NumbersShown(Write(
                  TimelineText({TrackText({ClipText(each, {103}, {2}), ClipText(thirds, {103}, {2})})}))),
              (Numbers{13, 14, 13, 13}));
}

TEST_F(TimelineMedia, RetimedImagesShowTheFramesOfTheRule)
{
    WriteImages();
    const std::string halves = ImagesText(R"("start_frame": 0, "frame_step": 2)", {0}, {40});
    // Frames of the media are images, so that a speed of 0.5 shows each for four frames.
    EXPECT_EQ(NumbersShown(Write(
                  TimelineText({TrackText({ClipText(halves, {4}, {8}, EffectsText({WarpText(0.5)}))})}))),
              (Numbers{4, 4, 4, 4, 6, 6, 6, 6}));
    EXPECT_EQ(NumbersShown(Write(
                  TimelineText({TrackText({ClipText(halves, {4}, {5}, EffectsText({WarpText(-2)}))})}))),
              (Numbers{12, 10, 8, 6, 4}));
}

TEST_F(TimelineMedia, MissingImagesFailAreHeldOrBlack)
{
    WriteImages();
    Remove({12, 13, 18, 19});
    const auto render = [&](const std::string& inPolicy)
    {
        const std::string images = ImagesText(
            fmt::format(R"("start_frame": 10, "missing_frame_policy": "{}")", inPolicy), {0}, {10});
        return RunTool({"render", Write(TimelineText({TrackText({ClipText(images, {0}, {10})})})),
                        "null:", "--checksum", "--threads", "2"});
    };
    const ChildResult held = render("hold");
    EXPECT_EQ(held.exitCode, 0) << held.Describe();
    EXPECT_EQ(NumbersOf(held.out), (Numbers{10, 11, 11, 11, 14, 15, 16, 17, 17, 17}));
    const ChildResult black = render("black");
    EXPECT_EQ(black.exitCode, 0) << black.Describe();
    EXPECT_EQ(NumbersOf(black.out), (Numbers{10, 11, kBlack, kBlack, 14, 15, 16, 17, kBlack, kBlack}));
    const ChildResult failed = render("error");
    EXPECT_EQ(failed.exitCode, 2) << failed.Describe();
    EXPECT_NE(failed.err.find("f12.png"), std::string::npos) << failed.err;
    EXPECT_NE(failed.err.find("4 of 10 frames"), std::string::npos) << failed.err;
}

TEST_F(TimelineMedia, ImagesWithoutAnyFileAreMissing)
{
    const std::string images = ImagesText(R"("start_frame": 90, "missing_frame_policy": "black")", {0}, {10});
    WriteImages();
    const std::string path = Write(TimelineText({TrackText({ClipText(images, {0}, {2})})}));
    const ChildResult result = RunTool({"render", path, "null:"});
    EXPECT_EQ(result.exitCode, 66) << result.Describe();
    EXPECT_NE(result.err.find("f90.png"), std::string::npos) << result.err;
}

TEST_F(TimelineMedia, DisabledTracksShowNothingAndKeepTheirTime)
{
    const std::string off = R"(, "enabled": false)";
    EXPECT_EQ(NumbersShown(Write(TimelineText({TrackText({ClipText(CounterText(), {10}, {3})}),
                                               TrackText({ClipText(CounterText(), {60}, {5})}, off)}))),
              (Numbers{10, 11, 12, kBlack, kBlack}));
    EXPECT_EQ(NumbersShown(Write(
                  TimelineText({TrackText({ClipText(CounterText(), {10}, {2}),
                                           StackText({TrackText({ClipText(CounterText(), {70}, {2})})}, off),
                                           ClipText(CounterText(), {30}, {1})})}))),
              (Numbers{10, 11, kBlack, kBlack, 30}));
    EXPECT_EQ(NumbersShown(Write(TimelineText({TrackText(
                  {ClipText(CounterText(), {10}, {2}),
                   StackText({TrackText({ClipText(CounterText(), {70}, {2})}, off),
                              TrackText({GapText({1}), ClipText(CounterText(), {50}, {1})})})})}))),
              (Numbers{10, 11, kBlack, 50}));
    // A fade from a clip that is off begins at nothing.
    const std::vector<int> faded = NumbersShown(
        Write(TimelineText({TrackText({ClipText(CounterText(), {10}, {3}, off), TransitionText({1}, {2}),
                                       ClipText(CounterText(), {40}, {4})})})));
    EXPECT_EQ(faded, (Numbers{kBlack, kBlack, kBlack, kOther, kOther, 42, 43}));
}

// Square media in a wide picture: edges are cut off the media, not off the picture.
TEST_F(TimelineMedia, CroppingOfTheDialectCutsEdgesOffTheMedia)
{
    const auto parameter = [](const char* inID, double inValue)
    {
        return fmt::format(R"({{"Parameter ID": "{}", "Parameter Value": {}, "Default Parameter Value": 0.0,
                               "Key Frames": {{}}}})",
                           inID, inValue);
    };
    const auto effect = [](const char* inName, int inType, const std::string& inParameters)
    {
        return fmt::format(R"({{"OTIO_SCHEMA": "Effect.1", "effect_name": "Resolve Effect", "metadata":
            {{"Resolve_OTIO": {{"Effect Name": "{}", "Enabled": true, "Type": {}, "Parameters": [{}]}}}}}})",
                           inName, inType, inParameters);
    };
    const std::string cropping =
        effect("Cropping", 3, parameter("cropLeft", 0.25) + ", " + parameter("cropBottom", 0.5));
    const std::string path = Write(TimelineText(
        {TrackText({ClipText(R"({"OTIO_SCHEMA": "GeneratorReference.1", "generator_kind": "vrender:color",
            "parameters": {"color": "#ff0000", "size": "80x80"}})",
                             {0}, {1}, EffectsText({cropping}))})},
        "", R"("width": 160, "height": 80, "rate": [25, 1])"));
    EXPECT_NE(RunTool({"validate", path}).out.find("0 errors, 0 warnings"), std::string::npos);
    // The square lies from 40 to 120; a quarter of it is gone on the left, and its lower half.
    ASSERT_EQ(RunTool({"frame", path, mFolder.File("out.png"), "--time", "0"}).exitCode, 0);
    const auto expect = [&](const std::string& inCrop, const char* inColor)
    {
        const std::string part = mFolder.File("part.png");
        RunFFmpeg(fmt::format("-y -i {} -vf crop={} -update 1 {}", mFolder.File("out.png"), inCrop, part));
        const std::string size = inCrop.substr(0, inCrop.find(':', inCrop.find(':') + 1));
        const std::string shape = size.substr(0, size.find(':')) + "x" + size.substr(size.find(':') + 1);
        const ChildResult same =
            RunTool({"compare", part, fmt::format("color:{}:size={}", inColor, shape), "--max-diff", "1"});
        EXPECT_EQ(same.exitCode, 0) << inCrop << ": " << same.Describe();
    };
    expect("58:38:61:1", "#ff0000");
    expect("58:80:0:0", "#000000");
    expect("38:80:122:0", "#000000");
    expect("160:38:0:42", "#000000");
}

TEST_F(TimelineMedia, AnArchivesMediaIsReadWhereItLies)
{
    RunFFmpeg("-f lavfi -i testsrc=size=160x90:rate=25:duration=1 -c:v ffv1 " + mFolder.File("shot.mkv"));
    const std::string media = ReadFile(mFolder.File("shot.mkv"));
    const std::string text = TimelineText({TrackText(
        {ClipText(FileText("media/a.mkv"), {5}, {2}), ClipText(FileText("media/b.mkv"), {5}, {2})})});
    const std::string path = mFolder.File("edit.otioz");
    WriteArchive(path, {{"content.otio", text}, {"media/a.mkv", media}, {"media/b.mkv", media}});
    // Where there is no room for a copy.
    ChildRequest request = ToolRequest({"render", path, "null:", "--checksum", "--threads", "2"});
    request.environment.emplace_back("TMPDIR", mFolder.File("none"));
    const ChildResult done = RunChild(request);
    EXPECT_EQ(done.exitCode, 0) << done.Describe();
    const std::vector<std::string> sums = SumsOf(done.out);
    ASSERT_EQ(sums.size(), 4u);
    EXPECT_EQ(sums[2], sums[0]);
    EXPECT_EQ(
        SumsOf(RunTool({"render", mFolder.File("shot.mkv"), "null:", "--checksum", "--range", "5:6"}).out)
            .at(0),
        sums[0]);
}

TEST_F(TimelineMedia, PackedMediaOfAnArchiveLeavesNothingBehind)
{
    RunFFmpeg("-f lavfi -i testsrc=size=160x90:rate=25:duration=1 -c:v ffv1 " + mFolder.File("shot.mkv"));
    const std::string text = TimelineText({TrackText({ClipText(FileText("media/shot.mkv"), {5}, {2})})});
    const std::string path = mFolder.File("edit.otioz");
    WriteArchive(path, {{"content.otio", text}, {"media/shot.mkv", ReadFile(mFolder.File("shot.mkv"))}},
                 {"media/shot.mkv"});
    const std::string copies = mFolder.File("copies");
    ASSERT_EQ(::mkdir(copies.c_str(), 0777), 0);
    const auto render = [&](const std::string& inFolder)
    {
        ChildRequest request = ToolRequest({"render", path, "null:", "--checksum"});
        request.environment.emplace_back("TMPDIR", inFolder);
        return RunChild(request);
    };
    const ChildResult done = render(copies);
    EXPECT_EQ(done.exitCode, 0) << done.Describe();
    EXPECT_EQ(
        SumsOf(done.out),
        SumsOf(RunTool({"render", mFolder.File("shot.mkv"), "null:", "--checksum", "--range", "5:7"}).out));
    EXPECT_TRUE(FolderNames(copies).empty());
    const ChildResult nowhere = render(mFolder.File("none"));
    EXPECT_EQ(nowhere.exitCode, 66) << nowhere.Describe();
    EXPECT_NE(nowhere.err.find("media/shot.mkv: can't be unpacked from the archive"), std::string::npos)
        << nowhere.err;
}

TEST_F(TimelineMedia, AnArchivesImagesAreASequence)
{
    WriteImages();
    std::vector<std::pair<std::string, std::string>> files;
    for (int number = 10; number < 16; ++number)
    {
        if (number != 13)
        {
            const std::string name = fmt::format("f{:02}.png", number);
            files.emplace_back("media/" + name, ReadFile(mFolder.File(name)));
        }
    }
    // Neither in another folder nor of another name.
    files.emplace_back("media/deeper/f13.png", ReadFile(mFolder.File("f20.png")));
    files.emplace_back("media/f013.png", ReadFile(mFolder.File("f21.png")));
    for (const char* const policy : {"hold", "black"})
    {
        const std::string images = fmt::format(
            R"({{"OTIO_SCHEMA": "ImageSequenceReference.1", "target_url_base": "media/",
            "name_prefix": "f", "name_suffix": ".png", "rate": {}, "frame_zero_padding": 2, "start_frame": 10,
            "missing_frame_policy": "{}", "available_range": {}}})",
            kRate, policy, RangeText({0}, {6}));
        std::vector<std::pair<std::string, std::string>> all = files;
        all.emplace_back("content.otio", TimelineText({TrackText({ClipText(images, {1}, {5})})}));
        WriteArchive(mFolder.File("edit.otioz"), all);
        const bool isHeld = std::string(policy) == "hold";
        EXPECT_EQ(NumbersShown(mFolder.File("edit.otioz")), (Numbers{11, 12, isHeld ? 12 : kBlack, 14, 15}));
    }
}

TEST_F(TimelineMedia, AGapWithAnEffectShowsWhatTheEffectMakes)
{
    const auto shown = [&](const std::string& inMembers)
    {
        return NumbersShown(
            Write(TimelineText({TrackText({ClipText(CounterText(), {10}, {3})}),
                                TrackText({GapText({1}), GapText({1}, inMembers), GapText({1})})})));
    };
    EXPECT_EQ(shown(""), (Numbers{10, 11, 12}));
    EXPECT_EQ(shown(EffectsText({R"({"OTIO_SCHEMA": "Effect.1", "effect_name": "vrender:timecode"})"})),
              (Numbers{10, kOther, 12}));
}
