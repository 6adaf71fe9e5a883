#include "Tests/Applications/vrender/RunTool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace TestSupport;

// The commands that tell of effects, with what is built in alone: the folder of plug-ins is one that isn't there.
namespace
{

ChildResult RunAlone(const std::vector<std::string>& inWords)
{
    ChildRequest request = ToolRequest(inWords);
    request.environment.emplace_back("FREI0R_PATH", "/nowhere");
    return RunChild(request);
}

bool Has(const std::string& inText, const std::string& inPart)
{
    return inText.find(inPart) != std::string::npos;
}

std::string FirstLineOf(const std::filesystem::path& inPath)
{
    std::string line;
    std::getline(std::ifstream(inPath), line);
    return line;
}

// The numbers of processes whose parent is inParent.
std::vector<pid_t> ChildrenOf(pid_t inParent)
{
    std::vector<pid_t> children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc"))
    {
        // After the name, which may hold anything: state and parent.
        const std::string facts = FirstLineOf(entry.path() / "stat");
        const std::size_t name = facts.rfind(") ");
        if (name != std::string::npos && std::atoi(facts.c_str() + name + 4) == inParent)
        {
            children.push_back(std::atoi(facts.c_str()));
        }
    }
    return children;
}

// The numbers of the threads of a process that are the tool's own, by their names.
std::vector<pid_t> OwnThreadsOf(pid_t inProcess)
{
    std::vector<pid_t> threads;
    const std::filesystem::path folder = "/proc/" + std::to_string(inProcess) + "/task";
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        if (FirstLineOf(entry.path() / "comm").rfind("vr-", 0) == 0)
        {
            threads.push_back(std::stoi(entry.path().filename()));
        }
    }
    return threads;
}

} // namespace

TEST(Plugins, AreListedALineEach)
{
    const ChildResult result = RunAlone({"plugins", "list"});
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_TRUE(Has(result.out, "vrender:gaussian-blur            filter     Gaussian Blur\n")) << result.out;
    EXPECT_TRUE(Has(result.out, "vrender:wipe                     transition Linear Wipe\n")) << result.out;
    EXPECT_FALSE(Has(result.out, "frei0r:")) << result.out;
}

TEST(Plugins, AreShownWithTheirParameters)
{
    const ChildResult text = RunAlone({"plugins", "show", "vrender:dip-to-color"});
    EXPECT_EQ(text.exitCode, 0) << text.Describe();
    EXPECT_TRUE(Has(text.out, "parameter 0: Color, color, default #000000\n")) << text.out;
    const ChildResult slide = RunAlone({"plugins", "show", "vrender:slide"});
    EXPECT_TRUE(Has(slide.out, "choice (left, right, top, bottom), default left")) << slide.out;
    const ChildResult moved = RunAlone({"plugins", "show", "vrender:transform"});
    EXPECT_TRUE(Has(moved.out, "parameter 7: Skew, angle -85 to 85 deg, default 0\n")) << moved.out;
    const ChildResult json = RunAlone({"plugins", "show", "vrender:dip-to-color", "--json"});
    EXPECT_TRUE(Has(json.out, "\"index\": 0")) << json.out;
    EXPECT_TRUE(Has(json.out, "\"kind\": \"transition\"")) << json.out;
    EXPECT_TRUE(Has(json.out, "\"usable\": true")) << json.out;
    EXPECT_TRUE(Has(json.out, "\"default\": \"#000000\"")) << json.out;
}

TEST(Plugins, RefuseWrongWords)
{
    EXPECT_EQ(RunAlone({"plugins"}).exitCode, 64);
    EXPECT_EQ(RunAlone({"plugins", "show"}).exitCode, 64);
    EXPECT_EQ(RunAlone({"plugins", "list", "vrender:wipe"}).exitCode, 64);
    EXPECT_EQ(RunAlone({"plugins", "show", "vrender:nothing"}).exitCode, 64);
}

// What another thread holds when a process is forked stays locked in the child for ever. Processes and threads get
// their numbers in one row, which begins anew at some time; then they tell nothing.
TEST(Plugins, GetAProcessThatMakesOthersBeforeThereAreThreads)
{
    if (!FileExists("/usr/lib/frei0r-1/invert0r.so"))
    {
        GTEST_SKIP() << "the package frei0r-plugins is not installed";
    }
    bool isTold = false;
    for (int attempt = 0; attempt < 3 && !isTold; ++attempt)
    {
        // Nobody reads what it writes, so it stands still with all that it has.
        ChildProcess tool(ToolRequest(
            {"render", "counter:size=160x90:duration=100000", "-", "--format", "y4m", "--sandbox-plugins"}));
        ASSERT_TRUE(tool.WaitForText("FRAME"));
        const std::vector<pid_t> children = ChildrenOf(tool.ID());
        std::vector<pid_t> threads = OwnThreadsOf(tool.ID());
        ASSERT_EQ(children.size(), 1u);
        ASSERT_FALSE(threads.empty());
        const pid_t first = *std::min_element(threads.begin(), threads.end());
        isTold = tool.ID() < std::min(first, children.front());
        EXPECT_TRUE(!isTold || children.front() < first) << children.front() << ", " << first;
    }
    EXPECT_TRUE(isTold);
}
