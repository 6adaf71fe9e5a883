#include "ReferenceHost/Project/Otio/Document.h"

#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include <gtest/gtest.h>

namespace
{

using namespace OtioTests;
using Otio::Composable;
using Otio::ObjectKind;

using Faults = std::vector<std::string>;

const Composable& FirstChild(const Read& inRead)
{
    return *inRead.mDocument.mTimelines.at(0).mRoot->mChildren.at(0)->mChildren.at(0);
}

TEST(Documents, WithoutFaultsHaveNoProblems)
{
    const Read read(TimelineText(StackText(TrackText(ClipText("10", "20") + "," + GapText("5"))),
                                 R"(,"global_start_time":)" + TimeText("86400")));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_EQ(read.mDocument.mTimelines.size(), 1u);
    EXPECT_EQ(read.mDocument.mTimelines[0].mName, "film");
    EXPECT_EQ(read.mDocument.mTimelines[0].mGlobalStart->mTime, Frames(86400));
    EXPECT_EQ(FirstChild(read).mKind, ObjectKind::kClip);
    EXPECT_EQ(FirstChild(read).mSourceRange->Start(), Frames(10));
    EXPECT_EQ(FirstChild(read).mReferences.at(0).mReference->mUrl, "a.mov");
}

TEST(Documents, MissingAndNullKeysTakeTheirDefaults)
{
    const Read read(R"({"OTIO_SCHEMA":"Timeline.1","tracks":{"OTIO_SCHEMA":"Stack.1","children":[
        {"OTIO_SCHEMA":"Track.1","children":[{"OTIO_SCHEMA":"Clip.2","source_range":null,"effects":null,
         "media_references":{"DEFAULT_MEDIA":{"OTIO_SCHEMA":"ImageSequenceReference.1","name_prefix":"x"}}}]}]}})",
                    {}, {{"", {Frames(10), {}, {}, 0, 0}}});
    const Composable& clip = FirstChild(read);
    EXPECT_TRUE(clip.mIsEnabled);
    EXPECT_FALSE(clip.mSourceRange.has_value());
    EXPECT_EQ(clip.mActiveKey, "DEFAULT_MEDIA");
    const Otio::ImageNumbers& images = clip.mReferences.at(0).mReference->mImages;
    EXPECT_EQ(images.mStart, 1);
    EXPECT_EQ(images.mStep, 1);
    EXPECT_EQ(images.mPadding, 0);
    EXPECT_EQ(images.mRate, norviktypes::FrameRate::FromRational(1, 1));
    EXPECT_EQ(images.mMissing, Otio::MissingFramePolicy::kError);
    EXPECT_EQ(read.mDocument.mTimelines[0].mRoot->mChildren[0]->mTrackKind, Otio::TrackKind::kVideo);
}

TEST(Documents, OldNamesAreReadAsTodays)
{
    const Read read(R"({"OTIO_SCHEMA":"SerializeableCollection.1","children":[)" +
                    TimelineText(StackText(R"({"OTIO_SCHEMA":"Sequence.1","children":[
                        {"OTIO_SCHEMA":"Filler.1","source_range":)" +
                                           RangeText("0", "5") + "}]}")) +
                    "]}");
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.mDocument.mTimelines.at(0).mRoot->mChildren.at(0)->mKind, ObjectKind::kTrack);
    EXPECT_EQ(FirstChild(read).mKind, ObjectKind::kGap);
}

TEST(Documents, ClipsOfTheFirstVersionHaveOneReference)
{
    const Read read(OneTrack(R"({"OTIO_SCHEMA":"Clip.1","source_range":)" + RangeText("0", "5") +
                             R"(,"media_reference":)" + ReferenceText() + "}"));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(FirstChild(read).mReferences.at(0).mKey, "DEFAULT_MEDIA");
    EXPECT_EQ(read.mTimeline.mMedia.at(0).mFile, "a.mov");
    const Read without(OneTrack(R"({"OTIO_SCHEMA":"Clip.1","media_reference":null,"source_range":)" +
                                RangeText("0", "5") + "}"));
    EXPECT_EQ(without.Faults(), Faults{"missing-media /tracks/children/0/children/0"});
    EXPECT_EQ(without.mTimeline.mMedia.at(0).mKind, Otio::MediaKind::kMissing);
}

TEST(Documents, NewerVersionsAreReadWithAWarning)
{
    const Read read(OneTrack(R"({"OTIO_SCHEMA":"Clip.7","source_range":)" + RangeText("0", "5") +
                             R"(,"media_references":{"DEFAULT_MEDIA":)" + ReferenceText() + "}}"));
    EXPECT_EQ(read.Faults(), Faults{"newer-version /tracks/children/0/children/0/OTIO_SCHEMA"});
    EXPECT_EQ(read.Track().mItems.size(), 1u);
    const Read without(R"({"OTIO_SCHEMA":"Timeline.2","x":0})");
    EXPECT_EQ(without.Faults(),
              (Faults{"newer-version /OTIO_SCHEMA", "!missing-key ", "unknown-key /x", "!missing-key "}));
}

TEST(Documents, TheRootMayBeAnyThingThatIsShown)
{
    for (const std::string& root :
         {StackText(TrackText(ClipText("0", "5"))), TrackText(ClipText("0", "5")), ClipText("0", "5")})
    {
        const Read read(root);
        EXPECT_EQ(read.Faults(), Faults()) << root;
        EXPECT_EQ(read.mTimeline.mFrameCount, 5) << root;
        EXPECT_EQ(read.Track().mItems.size(), 1u) << root;
    }
}

TEST(Documents, CollectionsOfferTheirTimelinesByNameAndByIndex)
{
    const std::string text = R"({"OTIO_SCHEMA":"SerializableCollection.1","children":[)" +
                             TimelineText(StackText(TrackText(ClipText("0", "5")))) + "," +
                             R"({"OTIO_SCHEMA":"Timeline.1","name":"second","tracks":)" +
                             StackText(TrackText(ClipText("0", "7"))) + "}]}";
    Otio::DocumentOptions options;
    EXPECT_EQ(Read(text, options).mTimeline.mFrameCount, 5);
    options.mTimeline = "second";
    EXPECT_EQ(Read(text, options).mTimeline.mFrameCount, 7);
    options.mTimeline = "1";
    EXPECT_EQ(Read(text, options).mTimeline.mFrameCount, 7);
    options.mTimeline = "third";
    const Read none(text, options);
    EXPECT_EQ(none.Faults(), Faults{"!no-such-timeline "});
    EXPECT_NE(none.mProblems.Problems()[0].mText.find("1 \"second\""), std::string::npos);
    options.mTimeline = "2";
    EXPECT_EQ(Read(text, options).Faults(), Faults{"!no-such-timeline "});
}

TEST(Documents, UnknownObjectsAreGapsOfTheirRange)
{
    const Read read(OneTrack(R"({"OTIO_SCHEMA":"Hologram.3","source_range":)" + RangeText("0", "8") + "}," +
                             ClipText("0", "5")));
    EXPECT_EQ(read.Faults(), Faults{"unknown-schema /tracks/children/0/children/0"});
    EXPECT_EQ(read.Item().mStart, Frames(8));
    const Read bare(OneTrack(R"({"name":"x"},)" + ClipText("0", "5")));
    EXPECT_EQ(bare.Faults(), Faults{"unknown-schema /tracks/children/0/children/0"});
    EXPECT_EQ(bare.Item().mStart, Frames(0));
}

TEST(Documents, UnknownKeysAreNamed)
{
    const Read read(OneTrack(ClipText("0", "5", R"(,"sparkle":1,"a/b~c":2)")));
    EXPECT_EQ(read.Faults(), (Faults{"unknown-key /tracks/children/0/children/0/sparkle",
                                     "unknown-key /tracks/children/0/children/0/a~1b~0c"}));
}

TEST(Documents, ValuesOfAnotherTypeAreNamedAndPassedOver)
{
    const Read read(OneTrack(ClipText("0", "5", R"(,"enabled":"no","effects":7,"markers":{})")));
    EXPECT_EQ(read.Faults(), (Faults{"wrong-type /tracks/children/0/children/0/enabled",
                                     "wrong-type /tracks/children/0/children/0/effects",
                                     "wrong-type /tracks/children/0/children/0/markers"}));
    EXPECT_EQ(read.Track().mItems.size(), 1u);
}

TEST(Documents, ForeignMetadataIsNoProblem)
{
    const Read read(OneTrack(ClipText("0", "5", R"(,"metadata":{"other":{"deep":[1,{"x":null}]}})")));
    EXPECT_EQ(read.Faults(), Faults());
}

TEST(Documents, SeparateNumbersAndTextsMayBeIntegersOrDecimals)
{
    const Read read(OneTrack(ClipText("0", "5.0")));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.Item().mDuration, Frames(5));
}

TEST(Documents, NumbersAreTheNearestOnes)
{
    const auto value = [](const std::string& inNumber)
    {
        const Read read(OneTrack(
            ClipText("0", "5", R"(,"metadata":{"vrender":{"transform":{"rotation":)" + inNumber + "}}}")));
        EXPECT_EQ(read.Faults(), Faults()) << inNumber;
        return read.Item().mSettings->mTransform->mRotation.mValue;
    };
    EXPECT_EQ(value("0.1"), 0.1);
    EXPECT_EQ(value("-12.5e-1"), -1.25);
    EXPECT_EQ(value("1E3"), 1000.0);
    EXPECT_EQ(value("9007199254740993"), 9007199254740992.0);
    EXPECT_EQ(value("123456789012345678901234567890"), 123456789012345678901234567890.0);
    EXPECT_EQ(value("2.22507385850720113605740979670913e-308"), 2.22507385850720113605740979670913e-308);
    EXPECT_EQ(value("0.000000000000000000000000000000000"), 0.0);
    EXPECT_EQ(value("1e-99999"), 0.0);
    EXPECT_EQ(value("-0"), 0.0);
    for (const char* beyond : {"NaN", "Inf", "-Infinity"})
    {
        const Read read(OneTrack(
            ClipText("0", "5", R"(,"metadata":{"vrender":{"opacity":)" + std::string(beyond) + "}}")));
        EXPECT_EQ(read.Faults(), Faults{"!not-finite /tracks/children/0/children/0/metadata/vrender/opacity"})
            << beyond;
    }
}

TEST(Documents, NumbersBeyondAllNumbersAreMalformed)
{
    EXPECT_EQ(Read(R"({"OTIO_SCHEMA":"Timeline.1","x":[1e99999]})").Faults(), Faults{"!malformed /x/0"});
}

TEST(Documents, AByteOrderMarkIsNoPartOfThem)
{
    EXPECT_EQ(Read("\xEF\xBB\xBF" + OneTrack(ClipText("0", "5"))).Faults(), Faults());
}

TEST(SharedObjects, AreReadOnceAndShownWhereverTheyAreReferredTo)
{
    const std::string shared = ClipText("3", "5", R"(,"OTIO_REF_ID":"c1")");
    const std::string reference = R"({"OTIO_SCHEMA":"SerializableObjectRef.1","id":"c1"})";
    const Read read(OneTrack(shared + "," + reference + "," + reference));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_EQ(read.Track().mItems.size(), 3u);
    EXPECT_EQ(read.Item(2).mStart, Frames(10));
    EXPECT_EQ(read.Item(2).mRun.mIn, Frames(3));
    EXPECT_EQ(read.mTimeline.mMedia.size(), 1u);
}

TEST(SharedObjects, MayComeAfterTheReference)
{
    const Read read(OneTrack(R"({"OTIO_SCHEMA":"SerializableObjectRef.1","id":"c1"},)" +
                             ClipText("3", "5", R"(,"OTIO_REF_ID":"c1")")));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.Track().mItems.size(), 2u);
}

TEST(SharedObjects, ThatAreNotThereAreErrors)
{
    const Read read(
        OneTrack(R"({"OTIO_SCHEMA":"SerializableObjectRef.1","id":"nobody"},)" + ClipText("0", "5")));
    EXPECT_EQ(read.Faults(), Faults{"!unknown-reference /tracks/children/0/children/0"});
    EXPECT_EQ(read.Track().mItems.size(), 1u);
}

TEST(SharedObjects, ThatContainThemselvesAreErrors)
{
    const std::string reference = R"({"OTIO_SCHEMA":"SerializableObjectRef.1","id":"s"})";
    const Read read(OneTrack(ClipText("0", "5") + "," + StackText(reference, R"(,"OTIO_REF_ID":"s")")));
    EXPECT_EQ(read.Faults(), Faults{"!cycle /tracks/children/0/children/1/children/0"});
    EXPECT_EQ(read.mTimeline.mFrameCount, 5);
    // Of references alone.
    const Read loop(OneTrack(R"({"OTIO_SCHEMA":"SerializableObjectRef.1","id":"r","OTIO_REF_ID":"r"},)" +
                             ClipText("0", "5")));
    EXPECT_EQ(loop.Faults(), Faults{"!unknown-reference /tracks/children/0/children/0"});
}

TEST(SharedObjects, ShownByTheThousandTakeNoMoreThanTheirReferences)
{
    // Each level shows the one below ten times: a million clips.
    std::string children = TrackText(ClipText("0", "1"), R"(,"OTIO_REF_ID":"0")");
    for (int level = 1; level <= 6; ++level)
    {
        std::string row = children;
        for (int copy = 0; copy < 9; ++copy)
        {
            row += R"(,{"OTIO_SCHEMA":"SerializableObjectRef.1","id":")" + std::to_string(level - 1) + "\"}";
        }
        children = TrackText(row, R"(,"OTIO_REF_ID":")" + std::to_string(level) + "\"");
    }
    const Read read(TimelineText(StackText(children)));
    std::size_t items = 0;
    for (const Otio::SequenceOfTracks& sequence : read.mTimeline.mSequences)
    {
        for (const Otio::TrackOfItems& track : sequence.mTracks)
        {
            items += track.mItems.size();
        }
    }
    EXPECT_LE(items, 71u);
    EXPECT_EQ(read.mTimeline.mFrameCount, 1000000);
    EXPECT_EQ(read.Faults(), Faults());
}

}
