#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <set>

using namespace TestSupport;

// A timeline of everything - decoded media, retimes, fades, wipes, effects, keys, keyframed layers, nesting -
// has one picture for each of its frames, however it is come to.
namespace
{

constexpr int kFrames = 60;

std::string Effect(const std::string& inName, const std::string& inParams)
{
    return R"({"OTIO_SCHEMA": "Effect.1", "effect_name": ")" + inName +
           R"(", "metadata": {"vrender": {"version": 1, "params": {)" + inParams + "}}}}";
}

std::string Ramp(double inFrom, double inTo)
{
    return R"({"keys": [{"t": [0, 25], "v": )" + std::to_string(inFrom) +
           R"(, "interp": "bezier"}, {"t": [20, 25], "v": )" + std::to_string(inTo) + "}]}";
}

std::string OfItem(const std::string& inMembers)
{
    return R"(, "metadata": {"vrender": {"version": 1, )" + inMembers + "}}";
}

// 60 frames with a movie that has B frames in it.
std::string Everything()
{
    const std::string movie = FileText(SmallMovie());
    const std::string nested =
        StackText({TrackText({ClipText(movie, {3}, {14})}),
                   TrackText({ClipText(CounterText(), {70}, {14}, OfItem(R"("opacity": 0.5)"))})});
    const std::string wipe = TransitionText(
        {4}, {4}, "vrender:wipe", OfItem(R"("params": {"Angle": 40, "Softness": 6, "Border Width": 3})"));
    const std::string ground =
        TrackText({ClipText(movie, {0}, {12}), ClipText(movie, {20}, {12}, EffectsText({WarpText(-1)})),
                   TransitionText({4}, {4}),
                   ClipText(CounterText(100, "30000/1001"), {20}, {12},
                            EffectsText({WarpText(0.3)}) + OfItem(R"("retime": "blend")")),
                   wipe, nested,
                   ClipText(movie, {30}, {10},
                            EffectsText({Effect("vrender:gaussian-blur", R"("Sigma": )" + Ramp(0, 5))}))});
    const std::string layer = R"("blend": "screen", "opacity": )" + Ramp(0.3, 1) +
                              R"(, "transform": {"position": [)" + Ramp(0.2, 0.8) +
                              R"(, 0.5], "scale": [0.5, 0.5], "rotation": )" + Ramp(-30, 15) + "}";
    const std::string above =
        TrackText({GapText({6}), ClipText(movie, {5}, {24}, OfItem(layer)),
                   ClipText(CounterText(), {5}, {24}, EffectsText({Effect("vrender:luma-key", "")}))});
    return TimelineText({ground, above});
}

class SameFrames : public testing::Test
{
protected:
    void SetUp() override
    {
        WriteFile(mPath, Everything());
        const ChildResult problems = RunTool({"validate", mPath});
        ASSERT_EQ(problems.exitCode, 0) << problems.Describe();
        ASSERT_EQ(Lines(problems.out).size(), 1u) << problems.out;
    }

    std::vector<std::string> Sums(const std::vector<std::string>& inOptions) const
    {
        std::vector<std::string> words = {"render", mPath, "null:", "--checksum"};
        words.insert(words.end(), inOptions.begin(), inOptions.end());
        const ChildResult result = RunTool(words);
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        return SumsOf(result.out);
    }

    const ScratchFolder mFolder;
    const std::string mPath = mFolder.File("everything.otio");
};

} // namespace

TEST_F(SameFrames, WithAnyNumberOfThreadsWholeAndInRanges)
{
    const std::vector<std::string> expected = Sums({"--threads", "1"});
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(kFrames));
    EXPECT_GE(std::set<std::string>(expected.begin(), expected.end()).size(), kFrames - 2u);
    for (const char* threads : {"2", "4", "8"})
    {
        EXPECT_EQ(Sums({"--threads", threads}), expected) << threads;
    }
    for (const char* threads : {"1", "4"})
    {
        std::vector<std::string> joined;
        for (const char* range : {"0:13", "13:14", "14:37", "37:60"})
        {
            const std::vector<std::string> part = Sums({"--threads", threads, "--range", range});
            joined.insert(joined.end(), part.begin(), part.end());
        }
        EXPECT_EQ(joined, expected) << threads;
    }
}

TEST_F(SameFrames, WithACacheOnDiskThatIsColdAndThenHot)
{
    const std::vector<std::string> expected = Sums({"--disk-cache", "off"});
    const std::string cache = mFolder.File("cache");
    EXPECT_EQ(Sums({"--disk-cache", cache, "--threads", "2"}), expected) << "cold";
    const std::vector<std::string> kept = FolderNames(cache + "/ThumbnailCache");
    EXPECT_GT(kept.size(), kFrames / 2u);
    EXPECT_EQ(Sums({"--disk-cache", cache, "--threads", "2"}), expected) << "hot";
    EXPECT_EQ(FolderNames(cache + "/ThumbnailCache"), kept) << "made anew under other names";
}
