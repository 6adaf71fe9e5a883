#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace OtioTests;

using Faults = std::vector<std::string>;

const std::string kClip = "/tracks/children/0/children/0";

TEST(BadInput, MalformedDocumentsSayWhereByLineColumnAndPointer)
{
    const Read read("{\"OTIO_SCHEMA\": \"Timeline.1\",\n \"tracks\": {\"children\": [1, 2, oops]}}");
    EXPECT_EQ(read.Faults(), Faults{"!malformed /tracks/children/1"});
    EXPECT_NE(read.mProblems.Problems()[0].mText.find("line 2, column 32"), std::string::npos)
        << read.mProblems.Problems()[0].mText;
    EXPECT_TRUE(read.mDocument.mTimelines.empty());
}

TEST(BadInput, TextBehindTheDocumentIsMalformed)
{
    EXPECT_EQ(Read(OneTrack(ClipText("0", "5")) + "}").Faults(), Faults{"!malformed "});
    EXPECT_EQ(Read(OneTrack(ClipText("0", "5")) + std::string("\0x", 2)).Faults(), Faults{"!malformed "});
}

TEST(BadInput, BytesThatAreNoTextAreMalformed)
{
    const Read read("{\"OTIO_SCHEMA\": \"Timeline.1\", \"name\": \"\xFF\xFE\"}");
    EXPECT_EQ(read.Faults(), Faults{"!malformed /name"});
}

TEST(BadInput, EveryTruncationIsAnError)
{
    const std::string text = OneTrack(ClipText("0", "5"));
    for (std::size_t length = 0; length < text.size(); ++length)
    {
        const Read read(text.substr(0, length));
        ASSERT_EQ(read.mProblems.ErrorCount(), 1u) << length;
        ASSERT_TRUE(read.mProblems.Has("truncated") || read.mProblems.Has("malformed")) << length;
    }
    EXPECT_EQ(Read(text.substr(0, text.size() - 1)).Faults(), Faults{"!truncated /tracks"});
}

TEST(BadInput, DocumentsThatAreNoTimelinesAreErrors)
{
    EXPECT_EQ(Read("[]").Faults(), Faults{"!no-timeline "});
    EXPECT_EQ(Read("null").Faults(), Faults{"!no-timeline "});
    EXPECT_EQ(Read("{}").Faults(), Faults{"!no-timeline "});
    EXPECT_EQ(Read(R"({"OTIO_SCHEMA":"Recipe.1"})").Faults(), Faults{"!no-timeline "});
    EXPECT_EQ(Read(R"({"OTIO_SCHEMA":"SerializableCollection.1","children":[]})").Faults(),
              Faults{"!no-timeline "});
    EXPECT_EQ(Read(R"({"OTIO_SCHEMA":"SerializableCollection.1","children":[3]})").Faults(),
              Faults{"!no-timeline /children/0"});
    EXPECT_EQ(Read(R"({"OTIO_SCHEMA":"Timeline.1","tracks":null})").Faults(), Faults{"!missing-key "});
}

TEST(BadInput, TimesThatAreNoNumbersAreErrorsAndZero)
{
    for (const char* value : {"NaN", "Infinity", "-Infinity", "Inf"})
    {
        const Read read(OneTrack(ClipText(value, "5")));
        EXPECT_EQ(read.Faults(), Faults{"!bad-time " + kClip + "/source_range/start_time"}) << value;
        EXPECT_EQ(read.Item().mRun.mIn, Frames(0));
        const Read duration(OneTrack(ClipText("0", value) + "," + ClipText("0", "5")));
        EXPECT_EQ(duration.Faults(), Faults{"!bad-time " + kClip + "/source_range/duration"}) << value;
        EXPECT_EQ(duration.Item().mStart, Frames(0));
    }
    const Read text(OneTrack(ClipText("\"3\"", "5")));
    EXPECT_EQ(text.Faults(), Faults{"!bad-time " + kClip + "/source_range/start_time"});
}

TEST(BadInput, ARateOfZeroIsAnErrorUnlessTheTimeIsZero)
{
    const std::string clip = R"({"OTIO_SCHEMA":"Clip.2","source_range":{"start_time":)";
    const std::string rest = R"(},"media_references":{"DEFAULT_MEDIA":)" + ReferenceText() + "}}";
    const Read zero(OneTrack(clip + TimeText("0", "0") + R"(,"duration":)" + TimeText("5") + rest));
    EXPECT_EQ(zero.Faults(), Faults());
    const Read other(OneTrack(clip + TimeText("7", "0") + R"(,"duration":)" + TimeText("5") + rest));
    EXPECT_EQ(other.Faults(), Faults{"!bad-time " + kClip + "/source_range/start_time"});
    const Read negative(OneTrack(clip + TimeText("7", "-24") + R"(,"duration":)" + TimeText("5") + rest));
    EXPECT_EQ(negative.Faults(), Faults{"!bad-time " + kClip + "/source_range/start_time"});
}

TEST(BadInput, NegativeDurationsAreErrorsAndZero)
{
    const Read read(OneTrack(ClipText("0", "-5") + "," + ClipText("0", "5")));
    EXPECT_EQ(read.Faults(), Faults{"!negative-duration " + kClip + "/source_range/duration"});
    ASSERT_EQ(read.Track().mItems.size(), 1u);
    EXPECT_EQ(read.mTimeline.mFrameCount, 5);
}

TEST(BadInput, TimesBeyondTheLongestAreErrors)
{
    EXPECT_EQ(Read(OneTrack(ClipText("0", "1e15") + "," + ClipText("0", "5"))).Faults(),
              Faults{"!bad-time " + kClip + "/source_range/duration"});
    // Each is allowed, their sum is not.
    const std::string gap = GapText("100000000");
    const Read sum(OneTrack(gap + "," + gap + "," + ClipText("0", "5")));
    EXPECT_EQ(sum.Faults(), Faults{"!too-long /tracks/children/0"});
    EXPECT_TRUE(sum.Track().mItems.empty());
}

TEST(BadInput, RatesThatNobodyHasAreNamed)
{
    const Read read(
        OneTrack(R"({"OTIO_SCHEMA":"Gap.1","source_range":)" + RangeText("0", "5", "23.98") + "}"));
    EXPECT_EQ(read.Faults(), (Faults{"unusual-rate " + kClip + "/source_range/start_time/rate",
                                     "unusual-rate " + kClip + "/source_range/duration/rate"}));
}

TEST(BadInput, TimelinesWithoutDurationAreErrors)
{
    EXPECT_EQ(Read(OneTrack(GapText("0"))).Faults(), Faults{"!empty /tracks"});
    EXPECT_EQ(Read(TimelineText(StackText(""))).Faults(), (Faults{"no-rate ", "!empty /tracks"}));
}

TEST(BadInput, ClipsOfUnknownDurationTakeNoTimeAndAreNamed)
{
    const Read read(OneTrack(R"({"OTIO_SCHEMA": "Clip.2", "media_references": {"DEFAULT_MEDIA":
        {"OTIO_SCHEMA": "MissingReference.1"}}},)" +
                             ClipText("0", "5")));
    const Faults faults = read.Faults();
    EXPECT_EQ(std::count(faults.begin(), faults.end(), "no-duration " + kClip), 1);
    EXPECT_EQ(read.mTimeline.mFrameCount, 5);
}

TEST(BadInput, MissingMediaIsNamedOnceAndKeepsItsPlace)
{
    const std::string gone = ReferenceText("missing");
    const Read read(OneTrack(ClipText("0", "5", "", gone) + "," + ClipText("0", "5")));
    EXPECT_EQ(read.Faults(), Faults{"missing-media " + kClip + "/media_references/DEFAULT_MEDIA"});
    ASSERT_EQ(read.Track().mItems.size(), 2u);
    EXPECT_EQ(read.mTimeline.mMedia.at(read.Item(0).mMedia).mKind, Otio::MediaKind::kMissing);
    EXPECT_EQ(read.mTimeline.mMedia.at(read.Item(0).mMedia).mWanted, "missing");
}

TEST(BadInput, AnActiveReferenceThatIsNotThereIsMissingMedia)
{
    const Read read(OneTrack(ClipText("0", "5", R"(,"active_media_reference_key":"proxy")")));
    EXPECT_EQ(read.Faults(), Faults{"missing-media " + kClip});
}

TEST(BadInput, UnknownMediaEffectsAndKindsOfTracksAreNamed)
{
    const Read media(OneTrack(ClipText("0", "5", "", R"({"OTIO_SCHEMA":"Telepathy.1"})")));
    const std::string reference = kClip + "/media_references/DEFAULT_MEDIA";
    EXPECT_EQ(media.Faults(), (Faults{"unknown-schema " + reference, "missing-media " + reference}));
    const Read effect(OneTrack(ClipText("0", "5", R"(,"effects":[{"OTIO_SCHEMA":"Spell.2"}, 5])")));
    EXPECT_EQ(effect.Faults(),
              (Faults{"unknown-schema " + kClip + "/effects/0", "!wrong-type " + kClip + "/effects/1"}));
    const Read retime(OneTrack(ClipText("0", "5", R"(,"effects":[{"OTIO_SCHEMA":"TimeEffect.1"}])")));
    EXPECT_EQ(retime.Faults(), Faults{"unknown-retime " + kClip + "/effects/0"});
    EXPECT_EQ(retime.Item().mRun.mSpeed, 1.0);
    const Read track(TimelineText(StackText(TrackText(ClipText("0", "5")) + "," +
                                            R"({"OTIO_SCHEMA":"Track.1","kind":"Smell","children":[]})")));
    EXPECT_EQ(track.Faults(), Faults{"unknown-track-kind /tracks/children/1/kind"});
}

TEST(BadInput, SpeedsThatAreNoNumbersAreErrors)
{
    for (const char* scalar : {"NaN", "Infinity", "-Infinity"})
    {
        const Read read(OneTrack(ClipText("0", "5", R"(,"effects":[)" + WarpText(scalar) + "]")));
        EXPECT_EQ(read.Faults(), Faults{"!not-finite " + kClip + "/effects/0/time_scalar"}) << scalar;
        EXPECT_EQ(read.Item().mRun.mSpeed, 1.0);
    }
    const Read fast(
        OneTrack(ClipText("0", "5", R"(,"effects":[)" + WarpText("1e300") + "," + WarpText("1e300") + "]")));
    EXPECT_EQ(fast.Faults(), (Faults{"!too-fast " + kClip, "out-of-media " + kClip}));
    EXPECT_EQ(fast.Item().mRun.mSpeed, 1e6);
}

TEST(BadInput, ChildrenThatAreNoObjectsAreErrors)
{
    const Read read(OneTrack("null,7," + ClipText("0", "5")));
    EXPECT_EQ(read.Faults(), (Faults{"!wrong-type " + kClip, "!wrong-type /tracks/children/0/children/1"}));
    EXPECT_EQ(read.Track().mItems.size(), 1u);
}

TEST(BadInput, ImageSequencesNeedARateAndAStep)
{
    const auto sequence = [](const std::string& inMore)
    {
        return OneTrack(
            ClipText("0", "5", "",
                     R"({"OTIO_SCHEMA":"ImageSequenceReference.1","name_prefix":"x","available_range":)" +
                         RangeText("0", "9") + inMore + "}"));
    };
    const std::string place = kClip + "/media_references/DEFAULT_MEDIA";
    EXPECT_EQ(Read(sequence(R"(,"rate":0)")).Faults(),
              Faults({"!bad-rate " + place + "/rate", "missing-media " + place}));
    EXPECT_EQ(Read(sequence(R"(,"frame_step":0)")).Faults(),
              Faults{"!out-of-range " + place + "/frame_step"});
    EXPECT_EQ(Read(sequence(R"(,"frame_zero_padding":1.5)")).Faults(),
              Faults{"!out-of-range " + place + "/frame_zero_padding"});
    EXPECT_EQ(Read(sequence(R"(,"missing_frame_policy":"pray")")).Faults(),
              Faults{"unknown-policy " + place + "/missing_frame_policy"});
}

}
