#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <set>
#include <sstream>

using namespace TestSupport;
using boost::property_tree::ptree;

// What the tool tells of the cutlist and the nodes of a document.
namespace
{

constexpr std::int64_t kTicksPerFrame = 254016000000 / 25;

class Inspect : public testing::Test
{
protected:
    std::string Write(const std::string& inText) const
    {
        WriteFile(mFolder.File("edit.otio"), inText);
        return mFolder.File("edit.otio");
    }

    // Two clips, a fade of four frames between them, a gap, and the first clip once more.
    std::string WithFade() const
    {
        const std::string blurred = EffectsText({kBlur});
        const std::string first = ClipText(CounterText(), {10}, {10}, blurred);
        return Write(TimelineText({TrackText(
            {first, TransitionText({2}, {2}), ClipText(CounterText(), {40}, {10}), GapText({5}), first})}));
    }

    static ptree Json(std::vector<std::string> inWords)
    {
        inWords.insert(inWords.begin(), "inspect");
        const ChildResult result = RunTool(inWords);
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        ptree tree;
        std::istringstream stream(result.out);
        boost::property_tree::read_json(stream, tree);
        return tree;
    }

    static constexpr const char* kBlur =
        R"({"OTIO_SCHEMA": "Effect.1", "effect_name": "vrender:gaussian-blur"})";
    const ScratchFolder mFolder;
};

bool Has(const std::string& inText, const std::string& inPart)
{
    return inText.find(inPart) != std::string::npos;
}

std::vector<std::pair<std::int64_t, std::int64_t>> FramesOfSegments(const ptree& inTree)
{
    std::vector<std::pair<std::int64_t, std::int64_t>> frames;
    for (const auto& [name, segment] : inTree.get_child("segments"))
    {
        frames.emplace_back(segment.get<std::int64_t>("start_ticks") / kTicksPerFrame,
                            segment.get<std::int64_t>("end_ticks") / kTicksPerFrame);
    }
    return frames;
}

std::vector<std::string> Values(const ptree& inTree, const char* inMember)
{
    std::vector<std::string> values;
    for (const auto& [name, child] : inTree.get_child(inMember))
    {
        values.push_back(child.get<std::string>(inMember == std::string("segments") ? "node" : "type"));
    }
    return values;
}

std::size_t Count(const std::string& inText, const std::string& inPart)
{
    std::size_t count = 0;
    for (std::size_t at = inText.find(inPart); at != std::string::npos; at = inText.find(inPart, at + 1))
    {
        ++count;
    }
    return count;
}

} // namespace

TEST_F(Inspect, SegmentsLieWhereClipsAndFadesDo)
{
    const ptree tree = Json({WithFade(), "--json"});
    EXPECT_EQ(FramesOfSegments(tree),
              (std::vector<std::pair<std::int64_t, std::int64_t>>{{0, 8}, {8, 12}, {12, 20}, {25, 35}}));
    EXPECT_EQ(tree.get<int>("segment_count"), 4);
    const std::vector<std::string> types = Values(tree, "nodes");
    const std::set<std::string> kinds(types.begin(), types.end());
    EXPECT_EQ(kinds.count("RenderableNodeTransitionImpl"), 1u);
    EXPECT_EQ(kinds.count("RenderableNodeClipImpl"), 1u);
    EXPECT_EQ(kinds.count("RenderableNodeMediaImpl"), 1u);
    EXPECT_EQ(kinds.count("RenderableNodeEffectImpl"), 1u);
}

TEST_F(Inspect, NodesOfOneHashAreListedOnce)
{
    const ptree tree = Json({WithFade(), "--format", "json"});
    std::set<std::string> hashes;
    for (const auto& [name, node] : tree.get_child("nodes"))
    {
        EXPECT_EQ(node.get<std::string>("hash").size(), 32u);
        EXPECT_TRUE(hashes.insert(node.get<std::string>("hash")).second) << node.get<std::string>("hash");
    }
    // The clip that stands twice is one node.
    const std::vector<std::string> shown = Values(tree, "segments");
    ASSERT_EQ(shown.size(), 4u);
    EXPECT_EQ(shown[0], shown[3]);
    EXPECT_NE(shown[0], shown[2]);
}

TEST_F(Inspect, TextTellsPropertiesFlagsAndWhoReadsWhom)
{
    const ChildResult result = RunTool({"inspect", WithFade()});
    ASSERT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_TRUE(Has(result.out, "4 segments\n")) << result.out;
    EXPECT_TRUE(Has(result.out, "segment 1: 0.320000 s to 0.480000 s, node ")) << result.out;
    EXPECT_TRUE(Has(result.out, " opaque")) << result.out;
    EXPECT_TRUE(Has(result.out, "    MediaNode::StreamFrameWidth = \"160\"\n")) << result.out;
    EXPECT_TRUE(Has(result.out, "    input 1: node ")) << result.out;
    EXPECT_TRUE(Has(result.out, "    operator 0: node ")) << result.out;
}

TEST_F(Inspect, TimeShowsOnlyWhatMakesThatFrame)
{
    const std::string path = WithFade();
    const ptree second = Json({path, "--time", "12", "--json"});
    EXPECT_EQ(FramesOfSegments(second), (std::vector<std::pair<std::int64_t, std::int64_t>>{{12, 20}}));
    EXPECT_EQ(second.get<int>("segments..index"), 2);
    EXPECT_EQ(second.get<int>("segment_count"), 4);
    for (const std::string& type : Values(second, "nodes"))
    {
        EXPECT_NE(type, "RenderableNodeTransitionImpl");
        EXPECT_NE(type, "RenderableNodeEffectImpl");
    }
    const ptree gap = Json({path, "--time", "22", "--json"});
    EXPECT_TRUE(gap.get_child("segments").empty());
    EXPECT_TRUE(gap.get_child("nodes").empty());
    EXPECT_TRUE(Has(RunTool({"inspect", path, "--time", "22"}).out, "nothing plays here"));
}

TEST_F(Inspect, TimesCountFromTheFirstFrameOfTheDocument)
{
    const std::string path = Write(
        TimelineText({TrackText({ClipText(CounterText(), {10}, {10}), ClipText(CounterText(), {40}, {10})},
                                R"(, "source_range": )" + RangeText({5}, {10}))}));
    const ptree tree = Json({path, "--time", "5", "--json"});
    EXPECT_EQ(tree.get<std::int64_t>("segments..start_ticks"), 5 * kTicksPerFrame);
}

// The window that the root shows of its tracks begins in the first clip.
TEST_F(Inspect, TimesCountFromTheWindowOfTheRoot)
{
    const std::string tracks =
        StackText({TrackText({ClipText(CounterText(), {10}, {10}), ClipText(CounterText(), {40}, {10})})},
                  R"(, "source_range": )" + RangeText({5}, {10}));
    const std::string path = Write(R"({"OTIO_SCHEMA": "Timeline.1", "metadata": {"vrender": {"version": 1,
        "canvas": {"width": 160, "height": 90, "rate": [25, 1]}}}, "tracks": )" +
                                   tracks + "}");
    EXPECT_EQ(FramesOfSegments(Json({path, "--json"})),
              (std::vector<std::pair<std::int64_t, std::int64_t>>{{-5, 5}, {5, 15}}));
    EXPECT_EQ(Json({path, "--time", "7", "--json"}).get<int>("segments..index"), 1);
    EXPECT_EQ(Json({path, "--time", "4", "--json"}).get<int>("segments..index"), 0);
}

TEST_F(Inspect, DotIsOneGraphWhoseArrowsLeadToItsNodes)
{
    const std::string odd = R"(, "name": "a \"name\" with \\ and \n")";
    const std::string path =
        Write(TimelineText({TrackText({ClipText(CounterText(), {10}, {5}, odd + EffectsText({kBlur}))})}));
    const ChildResult result = RunTool({"inspect", path, "--format", "dot"});
    ASSERT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_EQ(result.out.rfind("digraph timeline {\n", 0), 0u) << result.out;
    EXPECT_TRUE(Has(result.out, R"(a \"name\" with \\ and)")) << result.out;
    const std::size_t nodes = Json({path, "--json"}).get_child("nodes").size();
    EXPECT_EQ(Count(result.out, " [label=\"Renderable"), nodes);
    EXPECT_EQ(Count(result.out, "style=dashed"), 1u);
    for (const std::string& line : Lines(result.out))
    {
        EXPECT_NE(std::string("{;}").find(line.back()), std::string::npos) << line;
        const std::size_t arrow = line.find(" -> n");
        if (arrow != std::string::npos)
        {
            const std::string target = line.substr(arrow + 4, line.find(' ', arrow + 4) - arrow - 4);
            EXPECT_TRUE(Has(result.out, "\n  " + target + " [label=\"Renderable")) << line;
        }
    }
}

TEST_F(Inspect, HashesStayFromRunToRunAndChangeWithThePicture)
{
    const auto hashOf = [](const std::string& inPath) {
        return Json({inPath, "--json"}).get<std::string>("cutlist");
    };
    const auto blurredBy = [&](const char* inSigma)
    {
        return hashOf(Write(TimelineText({TrackText({ClipText(
            CounterText(), {10}, {10},
            EffectsText({std::string(R"({"OTIO_SCHEMA": "Effect.1", "effect_name": "vrender:gaussian-blur",
                "metadata": {"vrender": {"version": 1, "params": {"Sigma": )") +
                         inSigma + "}}}}"}))})})));
    };
    const std::string first = blurredBy("3");
    EXPECT_EQ(first, blurredBy("3"));
    EXPECT_NE(first, blurredBy("4"));
}

TEST_F(Inspect, ADocumentWithErrorsIsShownAndTheyAreTold)
{
    const std::string path = Write(
        TimelineText({TrackText({ClipText(CounterText(), {0}, {2}), ClipText(CounterText(), {0}, {-2})})}));
    const ChildResult result = RunTool({"inspect", path});
    EXPECT_EQ(result.exitCode, 2) << result.Describe();
    EXPECT_TRUE(Has(result.out, ", 1 segment\n")) << result.out;
}

TEST_F(Inspect, RefusesWhatIsNoTimelineAndFormsThatItHasNot)
{
    const std::string path = WithFade();
    EXPECT_EQ(RunTool({"inspect", SmallMovie()}).exitCode, 64);
    const ChildResult form = RunTool({"inspect", path, "--format", "xml"});
    EXPECT_EQ(form.exitCode, 64);
    EXPECT_TRUE(Has(form.err, "text, json and dot")) << form.err;
    EXPECT_EQ(RunTool({"inspect", path, "--time", "35"}).exitCode, 64);
    EXPECT_EQ(RunTool({"inspect", path, "--range", "1:2"}).exitCode, 64);
    EXPECT_EQ(RunTool({"inspect", mFolder.File("gone.otio")}).exitCode, 66);
}
