#include "Tests/Applications/vrender/RunTool.h"

#include <gtest/gtest.h>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <sstream>

using namespace TestSupport;

// The example that the first command of the README renders, without its media: these are made when it is rendered.
TEST(Showreel, HoldsNothingThatIsLeftOutOrUnknown)
{
    const ChildResult result = RunTool({"validate", VR_SHOWREEL, "--json"});
    boost::property_tree::ptree told;
    std::istringstream stream(result.out);
    boost::property_tree::read_json(stream, told);
    EXPECT_TRUE(told.get<bool>("usable"));
    for (const auto& [name, problem] : told.get_child("problems"))
    {
        EXPECT_NE(problem.get<std::string>("text").find("is not there"), std::string::npos)
            << problem.get<std::string>("pointer") << ": " << problem.get<std::string>("text");
    }
}

TEST(Showreel, IsAsLongAndRichAsItsDescriptionSays)
{
    const ChildResult result = RunTool({"info", VR_SHOWREEL});
    for (const char* row :
         {"size:         640x360\n", "frames:       825\n", "21 clips, 6 transitions, 1 nested"})
    {
        EXPECT_NE(result.out.find(row), std::string::npos) << row << "\n" << result.out << result.err;
    }
}
