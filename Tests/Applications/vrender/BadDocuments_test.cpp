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

const std::string kClip = "/tracks/children/0/children/0";

class BadDocuments : public testing::Test
{
protected:
    struct Expected
    {
        std::string mPlace; // that a line names
        int mCode;          // of validate: 0 where it is only warned of, 65 for errors
        Numbers mShown;     // of render, which ends with 2 where validate ends with 65; empty: 65 too
    };

    void Try(const std::string& inText, const Expected& inExpected)
    {
        const std::string path = mFolder.File(fmt::format("{}.otio", mCount++));
        WriteFile(path, inText);
        SCOPED_TRACE(inText.substr(0, 600));
        const std::string line = std::string(inExpected.mCode == 0 ? "warning: " : "error: ") +
                                 inExpected.mPlace + (inExpected.mPlace.empty() ? "" : ": ");
        const ChildResult told = RunTool({"validate", path});
        EXPECT_EQ(told.exitCode, inExpected.mCode) << told.Describe();
        EXPECT_NE(told.out.find(line), std::string::npos) << line << "\n" << told.out;

        const ChildResult rendered = RunTool({"render", path, "null:", "--checksum"});
        const int code = inExpected.mCode == 0 ? 0 : inExpected.mShown.empty() ? 65 : 2;
        EXPECT_EQ(rendered.exitCode, code) << rendered.Describe();
        EXPECT_NE(rendered.err.find(line), std::string::npos) << line << "\n" << rendered.err;
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
    Try(R"({"OTIO_SCHEMA": "Timeline.1", "tracks": {"children": [oops]}})", {"/tracks/children/0", 65, {}});
    Try(text.substr(0, text.size() - 1), {"/tracks", 65, {}});
    Try(R"({"OTIO_SCHEMA": "Timeline.1", "name": "none"})", {"", 65, {}});
}

TEST_F(BadDocuments, CyclicOnesShowWhatIsNoPartOfItself)
{
    const std::string itself = R"({"OTIO_SCHEMA": "SerializableObjectRef.1", "id": "s"})";
    const std::string cyclic =
        StackText({itself, TrackText({ClipText(CounterText(), {5}, {2})})}, R"(, "OTIO_REF_ID": "s")");
    TryBefore(cyclic, {kClip + "/children/0", 65, {5, 6, 20, 21, 22}});
    TryBefore(R"({"OTIO_SCHEMA": "SerializableObjectRef.1", "id": "nobody"})", {kClip, 65, {20, 21, 22}});
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
    TryBefore(Spoilt("0", "1e15"), {kClip + "/source_range/duration", 65, {20, 21, 22}});
}

TEST_F(BadDocuments, TimesThatAreNoNumbersAreZero)
{
    for (const char* number : {"NaN", "Infinity", "-Infinity"})
    {
        TryBefore(Spoilt(number, "2"), {kClip + "/source_range/start_time", 65, {0, 1, 20, 21, 22}});
        TryBefore(Spoilt("4", number), {kClip + "/source_range/duration", 65, {20, 21, 22}});
    }
    TryBefore(Spoilt("4", "2", "0"), {kClip + "/source_range/start_time", 65, {20, 21, 22}});
    TryBefore(Spoilt("4", "-2"), {kClip + "/source_range/duration", 65, {20, 21, 22}});
    TryBefore(
        Spoilt("4", "2", "25", EffectsText({R"({"OTIO_SCHEMA": "LinearTimeWarp.1", "time_scalar": NaN})"})),
        {kClip + "/effects/0/time_scalar", 65, {4, 5, 20, 21, 22}});
}

TEST_F(BadDocuments, TransitionsThatOverlapAreShortened)
{
    // The second one may take two of the five frames only.
    const std::vector<std::string> children = {ClipText(CounterText(), {0}, {6}), TransitionText({1}, {3}),
                                               ClipText(CounterText(), {40}, {5}), TransitionText({4}, {1}),
                                               ClipText(CounterText(), {60}, {5})};
    Try(TimelineText({TrackText(children)}),
        {"/tracks/children/0/children/3/in_offset",
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
    TryBefore(R"({"OTIO_SCHEMA": "Telepathy.3", "source_range": )" + RangeText({0}, {2}) + "}",
              {kClip, 0, {kBlack, kBlack, 20, 21, 22}});
    const auto withEffect = [](const std::string& inEffect)
    { return ClipText(CounterText(), {4}, {2}, EffectsText({inEffect})); };
    TryBefore(withEffect(R"({"OTIO_SCHEMA": "Spell.1"})"), {kClip + "/effects/0", 0, {4, 5, 20, 21, 22}});
    TryBefore(withEffect(R"({"OTIO_SCHEMA": "Effect.1", "effect_name": "magic:wand"})"),
              {kClip + "/effects/0", 0, {4, 5, 20, 21, 22}});
    TryBefore(withEffect(R"({"OTIO_SCHEMA": "TimeEffect.1"})"),
              {kClip + "/effects/0", 0, {4, 5, 20, 21, 22}});
    TryBefore(withEffect(R"({"OTIO_SCHEMA": "Effect.1", "effect_name": "vrender:procamp",
                             "metadata": {"vrender": {"version": 1, "params": {"Magic": 1}}}})"),
              {kClip + "/effects/0/metadata/vrender/params/Magic", 0, {4, 5, 20, 21, 22}});
    TryBefore(ClipText(CounterText(), {4}, {2}, R"(, "colour": "blue")"),
              {kClip + "/colour", 0, {4, 5, 20, 21, 22}});
    TryBefore(
        ClipText(CounterText(), {4}, {2}, R"(, "metadata": {"vrender": {"version": 1, "opaqueness": 1}})"),
        {kClip + "/metadata/vrender/opaqueness", 0, {4, 5, 20, 21, 22}});
}

TEST_F(BadDocuments, UnknownTransitionsAreDissolves)
{
    for (const char* type : {"Custom_Transition", "Star_Wipe", "vrender:gaussian-blur", ""})
    {
        const auto document = [](const std::string& inType)
        {
            return TimelineText(
                {TrackText({ClipText(CounterText(), {0}, {4}), TransitionText({2}, {2}, inType),
                            ClipText(CounterText(), {40}, {4})})});
        };
        Try(document(type), {"/tracks/children/0/children/1", 0, {0, 1, 2, kOther, kOther, kOther, 42, 43}});
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
