#include "Applications/vrender/RenderPipeline.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace vrender;

// How many frames are on their way at the same time.
namespace
{

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
constexpr std::uint64_t kPlenty = std::uint64_t{64} << 30;
constexpr std::uint64_t kFrame1080 = std::uint64_t{1920} * 1080 * 4;

FrameWeight Layers(std::uint64_t inBytes)
{
    return {kFrame1080, 0, inBytes};
}

} // namespace

TEST(RenderWindow, HoldsFramesOnlyAsFarAsMemoryReaches)
{
    const FrameWeight weight{8 * kMiB, 0, 0};
    const std::int64_t many = WindowFrames(2, kPlenty, weight);
    EXPECT_GT(many, 4);
    EXPECT_EQ(WindowFrames(2, 5 * 8 * kMiB, weight), 4); // and one that stands in for the next
    EXPECT_EQ(WindowFrames(2, 0, weight), 2);
}

TEST(RenderWindow, LayersReadBeforeTheirTurnStayBelowTheirMostHoweverMuchMemoryThereIs)
{
    const std::int64_t window = WindowFrames(4, kPlenty, Layers(32 * kMiB));
    ASSERT_GT(window, 6);
    EXPECT_EQ(WindowFramesReadAhead(window, 1, Layers(32 * kMiB)), 6);
    EXPECT_EQ(WindowFramesReadAhead(window, 1, Layers(64 * kMiB)), 3);
    EXPECT_EQ(WindowFramesReadAhead(5, 1, Layers(32 * kMiB)), 5);
}

TEST(RenderWindow, EveryThreadHasItsNextFrameHoweverLargeItsLayersAre)
{
    EXPECT_EQ(WindowFramesReadAhead(24, 8, Layers(1024 * kMiB)), 10);
    EXPECT_EQ(WindowFramesReadAhead(3, 8, Layers(1024 * kMiB)), 3);
}

TEST(RenderWindow, SmallFramesAndThoseWithoutLayersKeepTheirWindow)
{
    EXPECT_EQ(WindowFramesReadAhead(24, 4, Layers(kMiB)), 24);
    EXPECT_EQ(WindowFramesReadAhead(24, 4, Layers(0)), 24);
}
