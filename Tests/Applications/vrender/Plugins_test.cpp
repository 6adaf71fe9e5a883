#include "Tests/Applications/vrender/RunTool.h"

#include <gtest/gtest.h>

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
