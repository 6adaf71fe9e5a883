#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace TestSupport;

// Keys, mattes and plug-ins of documents, through the whole of the tool. Beneath everything lies a counter,
// so that its numbers tell where the picture above has gone.
namespace
{

const std::string kPlugins = "/usr/lib/frei0r-1";
const std::vector<int> kBeneath{10, 11};

// inParams: members of the list of parameters.
std::string EffectText(const std::string& inName, const std::string& inParams = "")
{
    return R"({"OTIO_SCHEMA": "Effect.1", "effect_name": ")" + inName +
           R"(", "metadata": {"vrender": {"params": {)" + inParams + "}}}}";
}

std::string Clip(const std::string& inMedia, const std::string& inEffect = "", int inStart = 0)
{
    return TrackText(
        {ClipText(inMedia, {double(inStart)}, {2}, inEffect.empty() ? "" : EffectsText({inEffect}))});
}

std::string Off(const std::string& inMedia)
{
    return TrackText({ClipText(inMedia, {0}, {2})}, R"(, "enabled": false)");
}

class TimelineEffects : public testing::Test
{
protected:
    std::string Write(const std::vector<std::string>& inTracks) const
    {
        const std::string path = mFolder.File("edit.otio");
        WriteFile(path, TimelineText(inTracks));
        return path;
    }
    std::vector<int> Numbers(const std::vector<std::string>& inTracks) const
    {
        return NumbersShown(Write(inTracks));
    }
    // Of the counter with one picture above it.
    std::vector<int> NumbersBeneath(const std::string& inMedia, const std::string& inEffect) const
    {
        return Numbers({Clip(CounterText(), "", 10), Clip(inMedia, inEffect)});
    }
    ChildResult Render(const std::vector<std::string>& inTracks,
                       const std::vector<std::string>& inOptions) const
    {
        std::vector<std::string> words = {"render", Write(inTracks), "null:", "--checksum"};
        words.insert(words.end(), inOptions.begin(), inOptions.end());
        return RunTool(words);
    }

    const ScratchFolder mFolder;
};

bool HasPlugin(const std::string& inName)
{
    return FileExists(kPlugins + "/" + inName + ".so");
}

} // namespace

TEST_F(TimelineEffects, KeysTakeTheirScreenAwayAndNothingElse)
{
    struct Case
    {
        const char* mEffect;
        const char* mScreen;
        const char* mOther;
        const char* mParams;
    };
    const Case cases[] = {{"vrender:green-screen-key", "#00ff00", "#ff8060", ""},
                          {"vrender:blue-screen-key", "#0000ff", "#ff8060", ""},
                          {"vrender:non-red-key", "#0000ff", "#ff8060", ""},
                          {"vrender:chroma-key", "#20c030", "#c02030", R"("Color": "#20c030")"},
                          {"vrender:rgb-difference-key", "#20c030", "#c02030", R"("Color": "#20c030")"},
                          {"vrender:luma-key", "#000000", "#ffffff", ""},
                          {"vrender:multiply-key", "#ffffff", "#000001", ""},
                          {"vrender:screen-key", "#000000", "#ffffff", ""},
                          {"VX.ZNTR Legacy Key GreenScreen", "#00ff00", "#ff8060", ""}};
    for (const Case& one : cases)
    {
        const std::string effect = EffectText(one.mEffect, one.mParams);
        EXPECT_EQ(NumbersBeneath(ColorText(one.mScreen), effect), kBeneath) << one.mEffect;
        const std::vector<int> other = NumbersBeneath(ColorText(one.mOther), effect);
        EXPECT_TRUE(std::all_of(other.begin(), other.end(), [](int inNumber) { return inNumber < 0; }))
            << one.mEffect;
    }
}

TEST_F(TimelineEffects, ATrackMatteShowsTheClipWhereTheMatteIsBright)
{
    const std::string key =
        EffectText("vrender:track-matte-key", R"("Matte": 0, "Composite Using": "matte luma")");
    const auto shown = [&](const std::string& inMatte) {
        return Numbers({Off(inMatte), Clip(CounterText(), "", 10), Clip(CounterText(), key, 50)});
    };
    EXPECT_EQ(shown(ColorText("#ffffff")), (std::vector<int>{50, 51}));
    EXPECT_EQ(shown(ColorText("#000000")), kBeneath) << "an edit of the matte's track";
    EXPECT_EQ(shown(ColorText("#808080")), (std::vector<int>{kOther, kOther}));
}

TEST_F(TimelineEffects, TracksThatAreOffCountForMattesAndAreNotSeen)
{
    const std::string key =
        EffectText("vrender:track-matte-key", R"("Matte": 1, "Composite Using": "matte luma")");
    EXPECT_EQ(Numbers({Clip(CounterText(), "", 10), Off(ColorText("#ffffff")), Clip(CounterText(), key, 50)}),
              (std::vector<int>{50, 51}));
    EXPECT_EQ(Numbers({Clip(CounterText(), "", 10), Off(ColorText("#000000")), Clip(CounterText(), key, 50)}),
              kBeneath);
    EXPECT_EQ(Numbers({Clip(CounterText(), "", 10), Off(ColorText("#ffffff"))}), kBeneath);
}

TEST_F(TimelineEffects, ADifferenceMatteTakesAwayWhatTheOtherTrackShows)
{
    const std::string key = EffectText("vrender:difference-matte-key", R"("Difference Layer": 0)");
    const auto shown = [&](const char* inColor) {
        return Numbers(
            {Off(ColorText(inColor)), Clip(CounterText(), "", 10), Clip(ColorText("#406080"), key)});
    };
    EXPECT_EQ(shown("#406080"), kBeneath);
    EXPECT_EQ(shown("#c06080"), (std::vector<int>{kOther, kOther}));
}

TEST_F(TimelineEffects, AnImageMatteIsReadFromBesideTheDocument)
{
    for (const std::string color : {"white", "black"})
    {
        const ChildResult made =
            RunTool({"frame", "color:" + color + ":size=16x16", mFolder.File("matte.png"), "--overwrite"});
        ASSERT_EQ(made.exitCode, 0) << made.Describe();
        const std::string key =
            EffectText("vrender:image-matte-key", R"("Image": "matte.png", "Composite Using": "matte luma")");
        EXPECT_EQ(Numbers({Clip(CounterText(), "", 10), Clip(CounterText(), key, 50)}),
                  color == "white" ? (std::vector<int>{50, 51}) : kBeneath);
    }
}

TEST_F(TimelineEffects, ParametersGoByPlaceToo)
{
    EXPECT_EQ(NumbersBeneath(ColorText("#ff0000"), EffectText("vrender:alpha-adjust", R"("0": 0)")),
              kBeneath);
    EXPECT_EQ(NumbersBeneath(ColorText("#ff0000"), EffectText("vrender:alpha-adjust", R"("Opacity": 0)")),
              kBeneath);
    const ChildResult beyond =
        Render({Clip(CounterText(), EffectText("vrender:alpha-adjust", R"("4": 0)"))}, {});
    EXPECT_NE(beyond.err.find("has no parameter \"4\""), std::string::npos) << beyond.err;
}

TEST_F(TimelineEffects, StatefulPluginsAreRefusedUnlessTheyAreAllowed)
{
    if (!HasPlugin("delay0r"))
    {
        GTEST_SKIP() << "the package frei0r-plugins is not installed";
    }
    const std::vector<std::string> tracks = {Clip(CounterText(), EffectText("frei0r:delay0r"), 50)};
    const ChildResult refused = Render(tracks, {});
    EXPECT_EQ(refused.exitCode, 65) << refused.Describe();
    EXPECT_NE(refused.err.find("--allow-stateful"), std::string::npos) << refused.err;
    const ChildResult allowed = Render(tracks, {"--allow-stateful"});
    EXPECT_EQ(allowed.exitCode, 0) << allowed.Describe();
    ASSERT_EQ(SumsOf(allowed.out).size(), 2u);
    const ChildResult again = Render(tracks, {"--allow-stateful", "--threads", "4"});
    EXPECT_EQ(SumsOf(again.out), SumsOf(allowed.out)) << "whatever the threads";
    const ChildResult validated = RunTool({"validate", Write(tracks)});
    EXPECT_EQ(validated.exitCode, 65) << validated.Describe();
}

TEST_F(TimelineEffects, PluginsDrawTheSameInProcessesOfTheirOwn)
{
    if (!HasPlugin("invert0r") || !HasPlugin("addition"))
    {
        GTEST_SKIP() << "the package frei0r-plugins is not installed";
    }
    const std::vector<std::string> tracks = {
        Clip(CounterText(), EffectText("frei0r:invert0r"), 10),
        Clip(CounterText(), EffectText("frei0r:addition", R"("Track": 0)"), 50)};
    const ChildResult here = Render(tracks, {});
    const ChildResult there = Render(tracks, {"--sandbox-plugins"});
    EXPECT_EQ(there.exitCode, 0) << there.Describe();
    ASSERT_EQ(SumsOf(here.out).size(), 2u) << here.Describe();
    EXPECT_EQ(SumsOf(there.out), SumsOf(here.out));
}
