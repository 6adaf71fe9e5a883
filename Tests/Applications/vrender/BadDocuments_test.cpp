#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <string>
#include <vector>

using namespace TestSupport;

// What is wrong with a document is told with its place, ends with its code, and leaves of the picture what can be
// shown. Documents are shown frame by frame: counters by their numbers, black where nothing is.
namespace
{

using Numbers = std::vector<int>;

std::string Child(int inIndex)
{
    return fmt::format("/tracks/children/0/children/{}", inIndex);
}

const std::string kClip = Child(0);

class BadDocuments : public testing::Test
{
protected:
    struct Expected
    {
        std::vector<std::string> mPlaces; // that lines name
        int mCode;                        // of validate: 0 where it is only warned of, 65 for errors
        Numbers mShown; // of render, which ends with 2 where validate ends with 65; empty: 65 too
    };

    void Try(const std::string& inText, const Expected& inExpected)
    {
        const std::string path = mFolder.File(fmt::format("{}.otio", mCount++));
        WriteFile(path, inText);
        SCOPED_TRACE(inText.substr(0, 600));
        const ChildResult told = RunTool({"validate", path});
        EXPECT_EQ(told.exitCode, inExpected.mCode) << told.Describe();

        const ChildResult rendered = RunTool({"render", path, "null:", "--checksum"});
        const int code = inExpected.mCode == 0 ? 0 : inExpected.mShown.empty() ? 65 : 2;
        EXPECT_EQ(rendered.exitCode, code) << rendered.Describe();
        for (const std::string& place : inExpected.mPlaces)
        {
            const std::string line = std::string(inExpected.mCode == 0 ? "warning: " : "error: ") + place +
                                     (place.empty() ? "" : ": ");
            EXPECT_NE(told.out.find(line), std::string::npos) << line << "\n" << told.out;
            EXPECT_NE(rendered.err.find(line), std::string::npos) << line << "\n" << rendered.err;
        }
        EXPECT_EQ(NumbersOf(rendered.out), inExpected.mShown);
    }

    // A track of what is bad and three frames that can be seen.
    void TryBefore(const std::string& inBad, const Expected& inExpected)
    {
        Try(TimelineText({TrackText({inBad, ClipText(CounterText(), {20}, {3})})}), inExpected);
    }

    const ScratchFolder mFolder;
    int mCount = 0;
};

std::string Spoilt(const std::string& inStart, const std::string& inDuration,
                   const std::string& inRate = "25", const std::string& inMembers = "")
{
    constexpr const char* kTime = R"({{"OTIO_SCHEMA": "RationalTime.1", "value": {}, "rate": {}}})";
    return fmt::format(R"({{"OTIO_SCHEMA": "Clip.2", "source_range": {{"start_time": {}, "duration": {}}},
        "media_references": {{"DEFAULT_MEDIA": {}}}{}}})",
                       fmt::format(fmt::runtime(kTime), inStart, inRate),
                       fmt::format(fmt::runtime(kTime), inDuration, inRate), CounterText(), inMembers);
}

} // namespace

TEST_F(BadDocuments, MalformedAndTruncatedOnesShowNothing)
{
    const std::string text = TimelineText({TrackText({ClipText(CounterText(), {0}, {3})})});
    Try(R"({"OTIO_SCHEMA": "Timeline.1", "tracks": {"children": [oops]}})", {{"/tracks/children/0"}, 65, {}});
    Try(text.substr(0, text.size() - 1), {{"/tracks"}, 65, {}});
    Try(R"({"OTIO_SCHEMA": "Timeline.1", "name": "none"})", {{""}, 65, {}});
}

TEST_F(BadDocuments, CyclicOnesShowWhatIsNoPartOfItself)
{
    const std::string itself = R"({"OTIO_SCHEMA": "SerializableObjectRef.1", "id": "s"})";
    const std::string cyclic =
        StackText({itself, TrackText({ClipText(CounterText(), {5}, {2})})}, R"(, "OTIO_REF_ID": "s")");
    TryBefore(cyclic, {{kClip + "/children/0"}, 65, {5, 6, 20, 21, 22}});
    TryBefore(R"({"OTIO_SCHEMA": "SerializableObjectRef.1", "id": "nobody"})", {{kClip}, 65, {20, 21, 22}});
}

TEST_F(BadDocuments, OverDeepOnesAreRefusedAndOverDeepPartsLeftOut)
{
    std::string deep = "0";
    for (int level = 0; level < 600; ++level)
    {
        deep = "[" + deep + "]";
    }
    const std::string path = mFolder.File("deep.otio");
    WriteFile(path,
              TimelineText({TrackText({ClipText(CounterText(), {0}, {3})})}, R"(, "metadata2": )" + deep));
    EXPECT_EQ(RunTool({"validate", path}).exitCode, 65);
    EXPECT_EQ(RunTool({"render", path, "null:"}).exitCode, 65);

    std::string nested = TrackText({ClipText(CounterText(), {5}, {2})});
    for (int level = 0; level < 70; ++level)
    {
        nested = TrackText({StackText({nested})});
    }
    const ChildResult told = [&]
    {
        WriteFile(path,
                  TimelineText({nested, TrackText({GapText({1}), ClipText(CounterText(), {20}, {1})})}));
        return RunTool({"validate", path});
    }();
    EXPECT_EQ(told.exitCode, 65) << told.Describe();
    EXPECT_NE(told.out.find("compositions within each other; left out"), std::string::npos) << told.out;
    const ChildResult rendered = RunTool({"render", path, "null:", "--checksum"});
    EXPECT_EQ(rendered.exitCode, 2) << rendered.Describe();
    EXPECT_EQ(NumbersOf(rendered.out), (Numbers{kBlack, 20}));
}

TEST_F(BadDocuments, OverLongOnesAreCut)
{
    TryBefore(Spoilt("0", "1e15"), {{kClip + "/source_range/duration"}, 65, {20, 21, 22}});
}

TEST_F(BadDocuments, TimesThatAreNoNumbersAreZero)
{
    const std::string warp = EffectsText({R"({"OTIO_SCHEMA": "LinearTimeWarp.1", "time_scalar": NaN})"});
    Try(TimelineText({TrackText({Spoilt("NaN", "2"), Spoilt("Infinity", "1"), Spoilt("4", "NaN"),
                                 Spoilt("4", "-Infinity"), Spoilt("4", "2", "0"), Spoilt("4", "-2"),
                                 Spoilt("4", "2", "25", warp), ClipText(CounterText(), {20}, {3})})}),
        {{Child(0) + "/source_range/start_time", Child(1) + "/source_range/start_time",
          Child(2) + "/source_range/duration", Child(3) + "/source_range/duration",
          Child(4) + "/source_range/start_time", Child(5) + "/source_range/duration",
          Child(6) + "/effects/0/time_scalar"},
         65,
         {0, 1, 0, 4, 5, 20, 21, 22}});
}

TEST_F(BadDocuments, TransitionsThatOverlapAreShortened)
{
    // The second one may take two of the five frames only.
    const std::vector<std::string> children = {ClipText(CounterText(), {0}, {6}), TransitionText({1}, {3}),
                                               ClipText(CounterText(), {40}, {5}), TransitionText({4}, {1}),
                                               ClipText(CounterText(), {60}, {5})};
    Try(TimelineText({TrackText(children)}),
        {{"/tracks/children/0/children/3/in_offset"},
         0,
         {0, 1, 2, 3, 4, 5, kOther, kOther, kOther, 43, kOther, kOther, 61, 62, 63, 64}});
}

TEST_F(BadDocuments, MissingMediaEndsARenderUnlessSomethingStandsForIt)
{
    const std::string path = mFolder.File("missing.otio");
    WriteFile(path, TimelineText({TrackText(
                        {ClipText(FileText("gone.mkv"), {0}, {2}), ClipText(CounterText(), {20}, {2})})}));
    const std::string line = "warning: " + kClip + "/media_references/DEFAULT_MEDIA: ";
    const ChildResult told = RunTool({"validate", path});
    EXPECT_EQ(told.exitCode, 0) << told.Describe();
    EXPECT_NE(told.out.find(line), std::string::npos) << told.out;
    const ChildResult refused = RunTool({"render", path, "null:", "--checksum"});
    EXPECT_EQ(refused.exitCode, 66) << refused.Describe();
    EXPECT_TRUE(NumbersOf(refused.out).empty());
    const ChildResult card = RunTool({"render", path, "null:", "--checksum", "--on-missing", "card"});
    EXPECT_EQ(card.exitCode, 2) << card.Describe();
    EXPECT_EQ(NumbersOf(card.out), (Numbers{kOther, kOther, 20, 21}));
    const ChildResult black = RunTool({"render", path, "null:", "--checksum", "--on-missing", "black"});
    EXPECT_EQ(black.exitCode, 2) << black.Describe();
    EXPECT_EQ(NumbersOf(black.out), (Numbers{kBlack, kBlack, 20, 21}));
}

TEST_F(BadDocuments, UnknownThingsAreLeftOut)
{
    const auto clip = [](int inStart, const std::string& inMembers)
    { return ClipText(CounterText(), {static_cast<double>(inStart)}, {1}, inMembers); };
    const std::string procamp = R"({"OTIO_SCHEMA": "Effect.1", "effect_name": "vrender:procamp",
                                    "metadata": {"vrender": {"version": 1, "params": {"Magic": 1}}}})";
    Try(TimelineText(
            {TrackText({R"({"OTIO_SCHEMA": "Telepathy.3", "source_range": )" + RangeText({0}, {2}) + "}",
                        clip(4, EffectsText({R"({"OTIO_SCHEMA": "Spell.1"})"})),
                        clip(5, EffectsText({R"({"OTIO_SCHEMA": "Effect.1", "effect_name": "magic:wand"})"})),
                        clip(6, EffectsText({R"({"OTIO_SCHEMA": "TimeEffect.1"})"})),
                        clip(7, EffectsText({procamp})), clip(8, R"(, "colour": "blue")"),
                        clip(9, R"(, "metadata": {"vrender": {"version": 1, "opaqueness": 1}})")})}),
        {{Child(0), Child(1) + "/effects/0", Child(2) + "/effects/0", Child(3) + "/effects/0",
          Child(4) + "/effects/0/metadata/vrender/params/Magic", Child(5) + "/colour",
          Child(6) + "/metadata/vrender/opaqueness"},
         0,
         {kBlack, kBlack, 4, 5, 6, 7, 8, 9}});
}

TEST_F(BadDocuments, UnknownTransitionsAreDissolves)
{
    for (const char* type : {"Star_Wipe", ""})
    {
        const auto document = [](const std::string& inType)
        {
            return TimelineText(
                {TrackText({ClipText(CounterText(), {0}, {4}), TransitionText({2}, {2}, inType),
                            ClipText(CounterText(), {40}, {4})})});
        };
        Try(document(type),
            {{"/tracks/children/0/children/1"}, 0, {0, 1, 2, kOther, kOther, kOther, 42, 43}});
        WriteFile(mFolder.File("a.otio"), document(type));
        WriteFile(mFolder.File("b.otio"), document("SMPTE_Dissolve"));
        const ChildResult same = RunTool({"compare", mFolder.File("a.otio"), mFolder.File("b.otio")});
        EXPECT_EQ(same.exitCode, 0) << type << ": " << same.Describe();
    }
}

TEST_F(BadDocuments, StrictOnesEndWhereOthersAreMended)
{
    const std::string path = mFolder.File("strict.otio");
    WriteFile(path, TimelineText({TrackText({ClipText(CounterText(), {0}, {3}), TransitionText({9}, {1}),
                                             ClipText(CounterText(), {40}, {3})})}));
    EXPECT_EQ(RunTool({"render", path, "null:"}).exitCode, 0);
    const ChildResult strict = RunTool({"render", path, "null:", "--strict"});
    EXPECT_EQ(strict.exitCode, 65) << strict.Describe();
    EXPECT_NE(strict.err.find("error: /tracks/children/0/children/1/in_offset: "), std::string::npos)
        << strict.err;
}
