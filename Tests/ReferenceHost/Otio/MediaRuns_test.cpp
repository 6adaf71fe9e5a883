#include "ReferenceHost/Project/Otio/MediaRuns.h"

#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{

using norviktypes::FrameRate;
using norviktypes::TickTime;
using Otio::AvailableMedia;
using Otio::MediaRun;
using OtioTests::Frames;

const FrameRate k24 = FrameRate::FromRational(24, 1);

MediaRun MakeRun(double inStart, double inSpeed, double inAvailable = 100)
{
    MediaRun run;
    run.mIn = Frames(inStart);
    run.mSpeed = inSpeed;
    run.mRate = k24;
    run.mAvailable = AvailableMedia{TickTime(), Frames(inAvailable)};
    return run;
}

// The media frames of an item of inCount frames, with inLead before it and inTail behind.
std::vector<std::int64_t> Shown(const MediaRun& inRun, int inCount, int inLead = 0, int inTail = 0)
{
    std::vector<std::int64_t> frames;
    for (int frame = -inLead; frame < inCount + inTail; ++frame)
    {
        frames.push_back(Otio::MediaFrameAt(inRun, Frames(inCount), k24, Frames(frame)));
    }
    return frames;
}

using List = std::vector<std::int64_t>;

TEST(MediaRuns, PlayFrameForFrameAtTheirUsualSpeed)
{
    EXPECT_EQ(Shown(MakeRun(10, 1.0), 4), (List{10, 11, 12, 13}));
    EXPECT_EQ(Shown(MakeRun(10.5, 1.0), 3), (List{10, 11, 12}));
}

TEST(MediaRuns, GoOnStraightInThePartsThatTransitionsShow)
{
    EXPECT_EQ(Shown(MakeRun(10, 1.0), 3, 2, 2), (List{8, 9, 10, 11, 12, 13, 14}));
    EXPECT_EQ(Shown(MakeRun(10, 2.0), 3, 2, 1), (List{6, 8, 10, 12, 14, 16}));
    EXPECT_EQ(Shown(MakeRun(10, -1.0), 3, 1, 2), (List{13, 12, 11, 10, 9, 8}));
}

TEST(MediaRuns, RoundDownAndNeverToTheNearest)
{
    EXPECT_EQ(Shown(MakeRun(10, 2.0), 4), (List{10, 12, 14, 16}));
    EXPECT_EQ(Shown(MakeRun(10, 0.5), 6), (List{10, 10, 11, 11, 12, 12}));
    EXPECT_EQ(Shown(MakeRun(10, 1.5), 5), (List{10, 11, 13, 14, 16}));
    EXPECT_EQ(Shown(MakeRun(0, 0.75), 5), (List{0, 0, 1, 2, 3}));
    EXPECT_EQ(Shown(MakeRun(0, 0.9), 4), (List{0, 0, 1, 2}));
}

TEST(MediaRuns, ProductsThatFallShortByTheirLastBitsShowTheFrameThatIsMeant)
{
    // A third of 30 frames is frame 10, as far as a document's digits go.
    const MediaRun run = MakeRun(0, 0.33333333);
    for (int frame = 0; frame < 30; ++frame)
    {
        EXPECT_EQ(Otio::MediaFrameAt(run, Frames(30), k24, Frames(frame)), frame / 3) << frame;
    }
    const MediaRun tenth = MakeRun(0, 0.1);
    EXPECT_EQ(Otio::MediaFrameAt(tenth, Frames(31), k24, Frames(30)), 3);
}

TEST(MediaRuns, BackwardsTheStartIsTheLowestFrameUsed)
{
    EXPECT_EQ(Shown(MakeRun(10, -1.0), 4), (List{13, 12, 11, 10}));
    EXPECT_EQ(Shown(MakeRun(10, -2.0), 4), (List{16, 14, 12, 10}));
    // first = 10 + ceil(0.5 * 3) = 12
    EXPECT_EQ(Shown(MakeRun(10, -0.5), 4), (List{12, 11, 11, 10}));
    // first = 10 + ceil(1.5 * 3) = 15
    EXPECT_EQ(Shown(MakeRun(10, -1.5), 4), (List{15, 13, 12, 10}));
    EXPECT_EQ(Shown(MakeRun(10, -1.0), 1), (List{10}));
}

TEST(MediaRuns, HoldTheirFirstFrameAtSpeedZero)
{
    EXPECT_EQ(Shown(MakeRun(10, 0.0), 3, 1, 1), (List{10, 10, 10, 10, 10}));
}

TEST(MediaRuns, AreHeldAtTheEndsOfTheMedia)
{
    EXPECT_EQ(Shown(MakeRun(97, 1.0), 5), (List{97, 98, 99, 99, 99}));
    EXPECT_EQ(Shown(MakeRun(-2, 1.0), 4), (List{0, 0, 0, 1}));
    EXPECT_EQ(Shown(MakeRun(96, 2.0), 4), (List{96, 98, 99, 99}));
    EXPECT_EQ(Shown(MakeRun(-2, -1.0), 4), (List{1, 0, 0, 0}));
    EXPECT_EQ(Shown(MakeRun(200, 0.0), 2), (List{99, 99}));
}

TEST(MediaRuns, CountTheMediaOnItsOwnGrid)
{
    // Video of 60 frames a second in a sequence of 24, at half its speed and backwards.
    MediaRun run = MakeRun(0, 0.5);
    run.mRate = FrameRate::FromRational(60, 1);
    EXPECT_EQ(Shown(run, 5), (List{0, 1, 2, 3, 5}));
    run.mSpeed = -1.0;
    // The last of 5 frames starts 4/24 s = 10 media frames behind the first.
    EXPECT_EQ(Shown(run, 5), (List{10, 7, 5, 2, 0}));
}

TEST(MediaRuns, AnItemThatEndsWithinAFrameIsCountedWhole)
{
    // 2.5 frames are three of the output, so three are reversed.
    EXPECT_EQ(Otio::FirstMediaTime(MakeRun(10, -1.0), Frames(2.5), k24), Frames(12));
    EXPECT_EQ(Otio::FirstMediaTime(MakeRun(10, 1.0), Frames(2.5), k24), Frames(10));
}

TEST(MediaRuns, TellWhatTheyUseOfTheMedia)
{
    AvailableMedia used = Otio::UsedMedia(MakeRun(10, 1.0), Frames(4), k24, Frames(2), Frames(3));
    EXPECT_EQ(used.mStart, Frames(8));
    EXPECT_EQ(used.mEnd, Frames(17));
    used = Otio::UsedMedia(MakeRun(10, -1.0), Frames(4), k24, TickTime(), TickTime());
    EXPECT_EQ(used.mStart, Frames(10));
    EXPECT_EQ(used.mEnd, Frames(13) + TickTime(1));
    used = Otio::UsedMedia(MakeRun(10, 0.0), Frames(4), k24, Frames(2), Frames(3));
    EXPECT_EQ(used.mStart, Frames(10));
    EXPECT_EQ(used.mEnd, Frames(10) + TickTime(1));
}

}
