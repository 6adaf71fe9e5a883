#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace TestSupport;

namespace
{

std::string Explained(std::vector<std::string> inWords, int inCode = 0)
{
    inWords.insert(inWords.begin(), "explain");
    const ChildResult result = RunTool(std::move(inWords));
    EXPECT_EQ(result.exitCode, inCode) << result.Describe();
    return result.out;
}

// Index of the first line with inWhat as its step.
std::size_t LineOf(const std::string& inText, const std::string& inWhat)
{
    const std::vector<std::string> lines = Lines(inText);
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [&](const std::string& inLine)
                                    { return inLine.find(" " + inWhat) != std::string::npos; });
    EXPECT_NE(found, lines.end()) << inWhat << "\n" << inText;
    return static_cast<std::size_t>(found - lines.begin());
}

} // namespace

TEST(Explain, TellsTheStepsOfAFrameInTheirOrder)
{
    const std::string text = Explained({SmallMovie(), "--time", "40"});
    std::size_t last = 0;
    for (const char* step :
         {"queued", "keyed", "read 40,", "decode ", "ready", "finished", "render 40,", "convert"})
    {
        EXPECT_GT(LineOf(text, step), last) << step << "\n" << text;
        last = LineOf(text, step);
    }
    LineOf(text, "prefetch begun, items: 1");
    EXPECT_NE(Lines(text)[0].find("frame 40 of " + SmallMovie() + ", at 1.600000 s"), std::string::npos)
        << text;
    EXPECT_EQ(Lines(text).back().rfind("made, with ", 0), 0u) << text;
}

TEST(Explain, AFrameThatIsAskedForAgainIsFoundInMemory)
{
    const std::vector<std::string> lines = Lines(Explained({SmallMovie(), "--time", "3", "--again"}));
    const auto again =
        std::find_if(lines.begin(), lines.end(),
                     [](const std::string& inLine) { return inLine.find("once more") != std::string::npos; });
    ASSERT_NE(again, lines.end());
    EXPECT_EQ(lines.back(), "found in memory");
    EXPECT_TRUE(std::none_of(again, lines.end(),
                             [](const std::string& inLine)
                             { return inLine.find("decode") != std::string::npos; }));
}

TEST(Explain, AFrameThatWasKeptOnDiskIsFoundThere)
{
    const ScratchFolder folder;
    const std::vector<std::string> words = {SmallMovie(), "--time", "3", "--disk-cache",
                                            folder.File("cache")};
    const std::string first = Explained(words);
    LineOf(first, "keep,");
    EXPECT_EQ(Lines(first).back().rfind("made, with ", 0), 0u) << first;
    const std::string second = Explained(words);
    LineOf(second, "fetch,");
    EXPECT_EQ(Lines(second).back(), "found in the disk cache") << second;
}

TEST(Explain, ADamagedFrameHasItsCauseAndItsCode)
{
    const ScratchFolder folder;
    ASSERT_EQ(RunTool({"render", "counter:size=64x64:duration=1s", folder.File("s%02d.png")}).exitCode, 0);
    WriteFile(folder.File("s12.png"), "torn");
    const std::string text = Explained({folder.File("s%02d.png"), "--time", "12"}, 65);
    EXPECT_NE(text.find("read 12,"), std::string::npos) << text;
    EXPECT_NE(text.find("ms, failed"), std::string::npos) << text;
    EXPECT_EQ(Lines(text).back().rfind("could not be made: ", 0), 0u) << text;
    EXPECT_NE(Lines(text).back().find("s12.png"), std::string::npos) << text;
}

TEST(Explain, AFrameThatIsNotThereIsRefused)
{
    EXPECT_EQ(Explained({SmallMovie(), "--time", "50"}, 64), "");
    EXPECT_EQ(Explained({"/nowhere.mp4"}, 66), "");
}

TEST(Explain, JsonHoldsTheSameSteps)
{
    const std::string text = Explained({SmallMovie(), "--json"});
    for (const char* part : {"\"frame\": 0", "\"what\": \"queued\"", "\"what\": \"decode\"",
                             "\"took_ms\": ", "\"what\": \"finished\"", "\"result\": \"made, with "})
    {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}
