#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <csignal>
#include <map>
#include <set>
#include <sstream>

using namespace TestSupport;

// What --trace and --stats tell of a run.
namespace
{

using Tree = boost::property_tree::ptree;

// Throws where inText is not JSON.
Tree Parsed(const std::string& inText)
{
    std::istringstream stream(inText);
    Tree tree;
    boost::property_tree::read_json(stream, tree);
    return tree;
}

// The counters that are printed as the last line of standard error.
std::map<std::string, double> Statistics(std::vector<std::string> inWords)
{
    inWords.insert(inWords.end(), {"--stats", "--json"});
    const ChildResult result = RunTool(std::move(inWords));
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    std::map<std::string, double> numbers;
    for (const auto& [name, value] : Parsed(Lines(result.err).back()))
    {
        numbers[name] = value.get_value<double>();
    }
    return numbers;
}

struct Event
{
    std::string mPhase;
    std::string mName;
    std::string mCategory;
    int mID = -1;
    int mNumber = -1;
    bool mHasFailed = false;
    double mBegin = 0;
    double mEnd = 0;
};

std::vector<Event> Trace(const std::string& inPath)
{
    std::vector<Event> events;
    const Tree trace = Parsed(ReadFile(inPath));
    for (const auto& [key, tree] : trace.get_child("traceEvents"))
    {
        Event event;
        event.mPhase = tree.get<std::string>("ph");
        event.mName = tree.get<std::string>("name");
        event.mCategory = tree.get("cat", "");
        event.mID = tree.get("id", -1);
        event.mNumber = tree.get("args.number", -1);
        event.mHasFailed = tree.get("args.failed", false);
        event.mBegin = tree.get("ts", 0.0);
        event.mEnd = event.mBegin + tree.get("dur", 0.0);
        events.push_back(event);
    }
    return events;
}

// The successful work of one kind, in the order of its frames' numbers.
std::vector<Event> WorkOf(const std::vector<Event>& inEvents, const std::string& inName)
{
    std::vector<Event> work;
    std::copy_if(inEvents.begin(), inEvents.end(), std::back_inserter(work),
                 [&](const Event& inEvent)
                 { return inEvent.mCategory == "work" && inEvent.mName == inName && !inEvent.mHasFailed; });
    std::stable_sort(work.begin(), work.end(),
                     [](const Event& inA, const Event& inB) { return inA.mNumber < inB.mNumber; });
    return work;
}

std::multiset<int> IDsOf(const std::vector<Event>& inEvents, const std::string& inPhase)
{
    std::multiset<int> ids;
    for (const Event& event : inEvents)
    {
        if (event.mPhase == inPhase)
        {
            ids.insert(event.mID);
        }
    }
    return ids;
}

} // namespace

TEST(Trace, HoldsOneReadOfEachFrameBeforeItsRenderAndWritesInTheirOrder)
{
    const ScratchFolder folder;
    const std::string path = folder.File("trace.json");
    ASSERT_EQ(RunTool({"render", SmallMovie(), "null:", "--threads", "3", "--trace", path}).exitCode, 0);
    const std::vector<Event> events = Trace(path);
    const std::vector<Event> reads = WorkOf(events, "read");
    const std::vector<Event> renders = WorkOf(events, "render");
    const std::vector<Event> writes = WorkOf(events, "write");
    ASSERT_EQ(reads.size(), 50u);
    ASSERT_EQ(renders.size(), 50u);
    ASSERT_EQ(writes.size(), 50u);
    EXPECT_EQ(WorkOf(events, "decode").size(), 50u);
    EXPECT_NE(ReadFile(path).find(R"("name": "thread_name", "args": {"name": "vr-read-video"}})"),
              std::string::npos);
    for (int n = 0; n < 50; ++n)
    {
        const auto at = static_cast<std::size_t>(n);
        EXPECT_EQ(reads[at].mNumber, n);
        EXPECT_LE(reads[at].mEnd, renders[at].mBegin) << n;
        EXPECT_LE(renders[at].mEnd, writes[at].mBegin) << n;
        EXPECT_TRUE(n == 0 || writes[at - 1].mEnd <= writes[at].mBegin) << n;
    }
}

TEST(Trace, TellsTheBeginAndTheEndOfEachRequest)
{
    const ScratchFolder folder;
    const std::string path = folder.File("trace.json");
    ASSERT_EQ(
        RunTool({"contact-sheet", SmallMovie(), folder.File("sheet.png"), "--count", "6", "--trace", path})
            .exitCode,
        0);
    const std::vector<Event> events = Trace(path);
    EXPECT_EQ(IDsOf(events, "b").size(), 6u);
    EXPECT_EQ(IDsOf(events, "b"), IDsOf(events, "e"));
    for (const char* name : {"queued", "keyed", "prefetch begun", "ready", "finished"})
    {
        EXPECT_EQ(std::count_if(events.begin(), events.end(),
                                [&](const Event& inEvent)
                                { return inEvent.mPhase == "n" && inEvent.mName == name; }),
                  6)
            << name;
    }
}

TEST(Trace, IsWrittenWhileTheRunGoesOnSoThatNothingIsDropped)
{
    const ScratchFolder folder;
    const std::string path = folder.File("trace.json");
    // More than is kept in memory.
    ASSERT_EQ(RunTool({"render", "bars:size=16x16:duration=20s", "null:", "--rate", "500", "--trace", path})
                  .exitCode,
              0);
    const std::string trace = ReadFile(path);
    EXPECT_NE(trace.find("\"otherData\": {\"dropped\": \"0\"}", trace.size() - 100), std::string::npos)
        << trace.substr(trace.size() - 100);
    EXPECT_NE(trace.find("\"name\": \"processors\", \"args\": {\"busy\": "), std::string::npos);
    EXPECT_NE(trace.find("\"name\": \"requests\", \"args\": {\"open\": "), std::string::npos);
    EXPECT_NE(trace.find("\"name\": \"memory units\", \"args\": {\"in use\": "), std::string::npos);
}

TEST(Trace, IsWholeWhenTheRunFails)
{
    const ScratchFolder folder;
    const std::string path = folder.File("trace.json");
    const ChildResult result =
        RunTool({"render", SmallMovie(), "/dev/full", "--format", "raw", "--trace", path});
    EXPECT_EQ(result.exitCode, 74) << result.Describe();
    const std::vector<Event> events = Trace(path);
    EXPECT_GE(WorkOf(events, "read").size(), 1u);
    EXPECT_EQ(IDsOf(events, "b"), IDsOf(events, "e"));
    EXPECT_TRUE(std::any_of(events.begin(), events.end(),
                            [](const Event& inEvent)
                            { return inEvent.mName == "write" && inEvent.mHasFailed; }));
}

TEST(Trace, AfterAnInterruptNoRequestIsLeftOpen)
{
    const ScratchFolder folder;
    const std::string path = folder.File("trace.json");
    // Longer than anybody waits, so that the render is still in its middle however late it is interrupted.
    ChildProcess tool(ToolRequest({"render", "counter:size=640x360:duration=1000000", folder.File("out.mkv"),
                                   "-o", "preset=veryslow", "--progress", "fd:1", "--trace", path}));
    ASSERT_TRUE(tool.WaitForText("progress=continue"));
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Wait().exitCode, 130);
    const std::vector<Event> events = Trace(path);
    EXPECT_GE(IDsOf(events, "b").size(), 1u);
    EXPECT_EQ(IDsOf(events, "b"), IDsOf(events, "e"));
}

TEST(Trace, AFileThatCannotBeMadeIsNamed)
{
    const ScratchFolder folder;
    const ChildResult result =
        RunTool({"render", SmallMovie(), folder.File("out.mkv"), "--trace", folder.File("no/trace.json")});
    EXPECT_EQ(result.exitCode, 73) << result.Describe();
    EXPECT_NE(result.err.find("no/trace.json"), std::string::npos) << result.err;
    EXPECT_FALSE(FileExists(folder.File("out.mkv")));
}

TEST(Trace, ADiskThatIsFullDoesNotEndTheRender)
{
    const ChildResult result = RunTool({"render", SmallMovie(), "null:", "--trace", "/dev/full"});
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_NE(result.err.find("/dev/full: can't be written"), std::string::npos) << result.err;
}

TEST(Statistics, CountWhatWasDone)
{
    const auto numbers = Statistics({"render", SmallMovie(), "null:"});
    for (const char* name :
         {"requests", "finished", "read", "decoded", "converted", "rendered", "laid_out", "written"})
    {
        EXPECT_EQ(numbers.at(name), 50) << name;
    }
    for (const char* name : {"cancelled", "timed_out", "read_failures", "render_failures", "fetched", "kept"})
    {
        EXPECT_EQ(numbers.at(name), 0) << name;
    }
    for (const char* name : {"decode_ms", "seconds", "processor_seconds", "most_reading"})
    {
        EXPECT_GT(numbers.at(name), 0) << name;
    }
    EXPECT_GE(numbers.at("most_open"), numbers.at("most_reading"));
    EXPECT_GT(numbers.at("peak_memory"), 1 << 20);
    EXPECT_EQ(numbers.at("frame_cache_stored"), 50);
    EXPECT_GE(numbers.at("frame_cache_hits"), 50);
}

TEST(Statistics, AFrameThatIsShownTwiceIsMadeOnce)
{
    const auto numbers = Statistics({"render", SmallMovie(), "null:", "--rate", "50"});
    EXPECT_EQ(numbers.at("written"), 100);
    EXPECT_EQ(numbers.at("decoded"), 50);
    EXPECT_EQ(numbers.at("converted"), 50);
}

TEST(Statistics, NoMoreFramesAreOrderedThanTheWindowHolds)
{
    EXPECT_LE(Statistics({"render", SmallMovie(), "null:", "--threads", "1"}).at("most_open"), 10);
    EXPECT_LE(Statistics({"render", "bars:size=3840x2160:duration=1s", "null:", "--range", "0:8", "--threads",
                          "2", "--memory", "64M", "--pix-fmt", "bgra"})
                  .at("most_open"),
              2);
}

TEST(Statistics, FailuresOfReadsAreCounted)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"render", "counter:size=64x64:duration=1s", folder.File("s%02d.png")}).exitCode, 0);
    WriteFile(folder.File("s12.png"), "torn");
    const ChildResult result = RunTool({"render", folder.File("s%02d.png"), "null:", "--stats"});
    EXPECT_EQ(result.exitCode, 2) << result.Describe();
    EXPECT_NE(result.err.find(
                  "frames rendered                         24\n  failures                               1\n"),
              std::string::npos)
        << result.err;
}

TEST(Statistics, JsonNeedsThem)
{
    const ChildResult result = RunTool({"render", SmallMovie(), "null:", "--json"});
    EXPECT_EQ(result.exitCode, 64);
    EXPECT_NE(result.err.find("--stats"), std::string::npos) << result.err;
}
