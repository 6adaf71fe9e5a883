#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include <gtest/gtest.h>

namespace
{

using namespace OtioTests;

using Faults = std::vector<std::string>;

// A document with inDepth arrays within each other, the outermost in an object.
std::string Nested(std::size_t inDepth)
{
    return R"({"OTIO_SCHEMA":"Timeline.1","x":)" + std::string(inDepth, '[') + std::string(inDepth, ']') +
           "}";
}

TEST(DocumentLimits, DepthIsAllowedUpToItsLimit)
{
    EXPECT_FALSE(Read(Nested(Otio::kMostDepth - 1)).mProblems.Has("too-large"));
    const Read beyond(Nested(Otio::kMostDepth));
    ASSERT_EQ(beyond.mProblems.Problems().size(), 1u);
    EXPECT_TRUE(beyond.mProblems.Has("too-large"));
    EXPECT_EQ(beyond.mProblems.Problems()[0].mPointer.substr(0, 6), "/x/0/0");
}

TEST(DocumentLimits, AMillionLevelsAreRefusedLikeTheFirstTooMany)
{
    EXPECT_TRUE(Read(Nested(1000000)).mProblems.Has("too-large"));
}

// inCount objects in all.
std::string Objects(std::size_t inCount, const char* inKey)
{
    std::string text = R"({"OTIO_SCHEMA":"Timeline.1",")" + std::string(inKey) + "\":[";
    for (std::size_t index = 1; index < inCount; ++index)
    {
        text += index == 1 ? "{}" : ",{}";
    }
    return text + "]}";
}

TEST(DocumentLimits, ObjectsAreAllowedUpToTheirLimit)
{
    EXPECT_FALSE(Read(Objects(Otio::kMostObjects, "x")).mProblems.Has("too-large"));
    EXPECT_EQ(Read(Objects(Otio::kMostObjects + 1, "x")).Faults(), Faults{"!too-large /x/999999"});
}

TEST(DocumentLimits, ObjectsOfMetadataDoNotCount)
{
    EXPECT_FALSE(Read(Objects(Otio::kMostObjects + 1, "metadata")).mProblems.Has("too-large"));
}

TEST(DocumentLimits, BytesAreCountedBeforeAnythingIsRead)
{
    // Memory that is never touched.
    const std::string_view text("{}", 2);
    Otio::ProblemList problems;
    const std::string_view longText(text.data(), Otio::kMostBytes + 1);
    EXPECT_TRUE(Otio::ReadDocument(longText, problems).mTimelines.empty());
    ASSERT_EQ(problems.Problems().size(), 1u);
    EXPECT_EQ(problems.Problems()[0].mKind, "too-large");
}

std::string WithKeys(std::size_t inCount)
{
    std::string keys;
    for (std::size_t index = 0; index < inCount; ++index)
    {
        keys += (index == 0 ? R"({"t":[)" : R"(,{"t":[)") + std::to_string(index) + R"(,24],"v":0.5})";
    }
    return OneTrack(ClipText("0", "5", R"(,"metadata":{"vrender":{"opacity":{"keys":[)" + keys + "]}}}"));
}

TEST(DocumentLimits, KeyframesAreAllowedUpToTheirLimit)
{
    const Read limit(WithKeys(Otio::kMostKeyframes));
    EXPECT_EQ(limit.Faults(), Faults());
    EXPECT_EQ(limit.Item().mSettings->mOpacity->mKeys.size(), Otio::kMostKeyframes);
    const Read beyond(WithKeys(Otio::kMostKeyframes + 1));
    EXPECT_EQ(beyond.Faults(),
              Faults{"!too-large /tracks/children/0/children/0/metadata/vrender/opacity/keys"});
    EXPECT_EQ(beyond.Item().mSettings->mOpacity->mValue, 1.0);
}

// A clip in inLevels stacks in tracks, so that each level is a sequence.
std::string Levels(std::size_t inLevels)
{
    std::string text = ClipText("0", "5");
    for (std::size_t level = 0; level < inLevels; ++level)
    {
        text = StackText(TrackText(text));
    }
    return TimelineText(text);
}

TEST(DocumentLimits, SequencesAreNestedUpToTheirLimit)
{
    const Read limit(Levels(Otio::kMostNestedSequences));
    EXPECT_EQ(limit.Faults(), Faults());
    EXPECT_EQ(limit.mTimeline.mSequences.size(), Otio::kMostNestedSequences);
    EXPECT_EQ(limit.mTimeline.mFrameCount, 5);
    const Read beyond(Levels(Otio::kMostNestedSequences + 1));
    ASSERT_EQ(beyond.mProblems.Problems().size(), 1u);
    EXPECT_TRUE(beyond.mProblems.Has("too-deep"));
    EXPECT_TRUE(beyond.Track().mItems.empty());
}

TEST(DocumentLimits, DepthThatReferencesMakeCountsLikeWrittenDepth)
{
    // Each stack refers to the one before it: no text is deep, the tree is.
    std::string collection = StackText(TrackText(ClipText("0", "5")), R"(,"OTIO_REF_ID":"0")");
    for (int level = 1; level <= 1000; ++level)
    {
        collection += "," + StackText(R"({"OTIO_SCHEMA":"SerializableObjectRef.1","id":")" +
                                          std::to_string(level - 1) + "\"}",
                                      R"(,"OTIO_REF_ID":")" + std::to_string(level) + "\"");
    }
    Otio::DocumentOptions options;
    options.mTimeline = "1000";
    const Read read(R"({"OTIO_SCHEMA":"SerializableCollection.1","children":[)" + collection + "]}", options);
    EXPECT_TRUE(read.mProblems.Has("too-deep"));
    EXPECT_EQ(read.mDocument.mTimelines.size(), 1001u);
}

}
