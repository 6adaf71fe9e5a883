#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace
{

class Scale : public testing::Test
{
protected:
    void TearDown() override { unsetenv("VR_TEST_SCALE"); }
};

using ScaleDeathTest = Scale;

TEST_F(Scale, CountStaysWithoutVariable)
{
    unsetenv("VR_TEST_SCALE");
    EXPECT_EQ(TestSupport::ScaledCount(1000), 1000u);
}

TEST_F(Scale, CountShrinksButNeverToNothing)
{
    setenv("VR_TEST_SCALE", "0.1", 1);
    EXPECT_EQ(TestSupport::ScaledCount(1000), 100u);
    EXPECT_EQ(TestSupport::ScaledCount(15), 2u);
    EXPECT_EQ(TestSupport::ScaledCount(1), 1u);
}

TEST_F(ScaleDeathTest, NonsenseEndsTheProgram)
{
    setenv("VR_TEST_SCALE", "0,1", 1);
    EXPECT_DEATH(TestSupport::ScaledCount(10), "not a positive number");
    setenv("VR_TEST_SCALE", "0", 1);
    EXPECT_DEATH(TestSupport::ScaledCount(10), "not a positive number");
}

TEST_F(Scale, SeedIsTheSameForEveryCaller)
{
    EXPECT_EQ(TestSupport::Seed(), TestSupport::Seed());
}

TEST(ScratchFolder, IsRemovedWithWhatIsInIt)
{
    std::string path;
    {
        const TestSupport::ScratchFolder folder;
        path = folder.Path();
        std::ofstream(folder.File("any")) << "text";
        EXPECT_TRUE(std::filesystem::exists(path + "/any"));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

}
