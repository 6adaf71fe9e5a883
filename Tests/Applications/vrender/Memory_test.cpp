#include "RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

// What a process holds at most, by what it was allowed: --memory and 100 MiB for the program itself. Many threads
// each want a decoder's pictures, a frame in hand and one on its way, which must not add up to more.
namespace
{

using TestSupport::CanLimitMemory;
using TestSupport::ChildResult;
using TestSupport::RunTool;
using TestSupport::ScratchFolder;

class Memory : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!CanLimitMemory())
        {
            GTEST_SKIP() << "a sanitizer's own memory is counted with the tool's";
        }
    }

    // inSource: size and seconds of a moving chart; inCodec: FFmpeg's options.
    std::string Make(const std::string& inName, const std::string& inSource, const std::string& inCodec)
    {
        const std::string path = mFolder.File(inName);
        TestSupport::RunFFmpeg("-f lavfi -i testsrc2=" + inSource + ":r=25 -pix_fmt yuv420p " + inCodec +
                               " " + path);
        return path;
    }

    void ExpectWithin(std::uint64_t inMebibytes, std::vector<std::string> inWords)
    {
        inWords.insert(inWords.end(), {"--threads", "8", "--memory", std::to_string(inMebibytes) + "M"});
        const ChildResult result = RunTool(inWords);
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        EXPECT_LE(result.peakBytes >> 20, inMebibytes + 100) << inWords[0] << " " << inWords[1];
    }

    const ScratchFolder mFolder;
};

TEST_F(Memory, LimitHoldsForManyThreadsOnManyGroups)
{
    const std::string movie = Make("groups.mp4", "s=1920x1080:d=4", "-c:v libx264 -preset ultrafast -g 25");
    ExpectWithin(300, {"thumbnails", movie, mFolder.File("thumbnails"), "--count", "40"});
    ExpectWithin(300, {"contact-sheet", movie, mFolder.File("sheet.png")});
    ExpectWithin(200, {"render", movie, "null:", "--pix-fmt", "bgra"});
}

TEST_F(Memory, LimitHoldsForLargeBarePictures)
{
    const std::string movie = Make("bare.avi", "s=3840x2160:d=1", "-c:v rawvideo");
    ExpectWithin(300, {"render", movie, "null:", "--pix-fmt", "bgra"});
    ExpectWithin(300, {"thumbnails", movie, mFolder.File("thumbnails"), "--count", "24"});
}

TEST_F(Memory, LimitHoldsForPicturesThatAreLaidOutAnew)
{
    const std::string movie = Make("large.mp4", "s=3840x2160:d=1", "-c:v libx264 -preset ultrafast");
    ExpectWithin(300, {"render", movie, "null:", "--pix-fmt", "rgb24"});
}

TEST_F(Memory, LimitHoldsForTheMediaOfATimelineTogether)
{
    const std::string movie =
        TestSupport::ReadFile(Make("shot.mp4", "s=1280x720:d=2", "-c:v libx264 -preset ultrafast -g 50"));
    std::vector<std::string> clips;
    for (int i = 0; i < 12; ++i)
    {
        const std::string name = "shot" + std::to_string(i) + ".mp4";
        TestSupport::WriteFile(mFolder.File(name), movie);
        clips.push_back(TestSupport::ClipText(TestSupport::FileText(name), {3.0 * i}, {10}));
    }
    TestSupport::WriteFile(mFolder.File("edit.otio"),
                           TestSupport::TimelineText({TestSupport::TrackText(clips)}, "",
                                                     R"("width": 1280, "height": 720, "rate": [25, 1])"));
    ExpectWithin(200, {"render", mFolder.File("edit.otio"), "null:"});
}

}
