#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Applications/vrender/TimelineText.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

using namespace TestSupport;

// Frames of retimed media by the numbers that they show.
namespace
{

using Numbers = std::vector<int>;

struct Retime
{
    double mScalar;
    int mStart;  // of the source range, in frames of the media
    int mFrames; // of the item, at 25 a second
};

// The rule, in frames of media with inRate frames a second, of which there are inLast and those before it.
Numbers ByTheRule(const Retime& inRetime, double inRate, int inLast)
{
    const double k = inRetime.mScalar * inRate / 25;
    const double first = inRetime.mScalar < 0
                             ? inRetime.mStart + std::ceil(-k * (inRetime.mFrames - 1) - 1e-6)
                             : inRetime.mStart;
    Numbers numbers;
    for (int i = 0; i < inRetime.mFrames; ++i)
    {
        numbers.push_back(std::clamp(static_cast<int>(std::floor(first + k * i + 1e-6)), 0, inLast));
    }
    return numbers;
}

class TimelineRetimes : public testing::Test
{
protected:
    Numbers Shown(const std::vector<std::string>& inChildren, const std::string& inRate = "25",
                  const std::vector<std::string>& inOptions = {}) const
    {
        WriteFile(mFolder.File("edit.otio"), TimelineText({TrackText(inChildren)}));
        return NumbersShown(mFolder.File("edit.otio"), inOptions, inRate);
    }

    const ScratchFolder mFolder;
};

std::string Retimed(const Retime& inRetime, const std::string& inMedia, double inRate)
{
    return ClipText(inMedia, {static_cast<double>(inRetime.mStart), inRate},
                    {static_cast<double>(inRetime.mFrames), 25},
                    inRetime.mScalar == 1 ? "" : EffectsText({WarpText(inRetime.mScalar)}));
}

Numbers Parts(std::initializer_list<Numbers> inParts)
{
    Numbers all;
    for (const Numbers& part : inParts)
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

} // namespace

TEST_F(TimelineRetimes, OfMediaWithAnotherRateCountItsFrames)
{
    struct Rate
    {
        const char* mText;
        double mRate;
    };
    // One timeline of all retimes, with a black frame behind each.
    for (const Rate& rate :
         {Rate{"30", 30}, Rate{"50", 50}, Rate{"25/2", 12.5}, Rate{"24000/1001", 24000.0 / 1001}})
    {
        std::vector<std::string> children;
        Numbers expected;
        for (const Retime& retime : std::vector<Retime>{{1, 6, 7},
                                                        {2, 10, 7},
                                                        {0.5, 11, 9},
                                                        {0.3, 7, 9},
                                                        {-1, 20, 7},
                                                        {-0.5, 20, 9},
                                                        {-1.7, 20, 7},
                                                        {0, 33, 3},
                                                        {4, 50, 9},
                                                        {-8, 58, 6}})
        {
            children.push_back(Retimed(retime, CounterText(60, rate.mText), rate.mRate));
            children.push_back(GapText({1}));
            const Numbers shown = ByTheRule(retime, rate.mRate, 59);
            expected.insert(expected.end(), shown.begin(), shown.end());
            expected.push_back(kBlack);
        }
        EXPECT_EQ(Shown(children, rate.mText), expected) << rate.mText;
    }
}

TEST_F(TimelineRetimes, BeforeTheMediaHoldItsFirstFrame)
{
    // The media's time begins at 100, and the items at 95.
    const std::string counter = CounterText(60);
    const std::string offset =
        counter.substr(0, counter.size() - 1) + R"(, "available_range": )" + RangeText({100}, {60}) + "}";
    EXPECT_EQ(Shown({ClipText(offset, {95}, {8})}), (Numbers{0, 0, 0, 0, 0, 0, 1, 2}));
    EXPECT_EQ(Shown({ClipText(offset, {98}, {6}, EffectsText({WarpText(0.5)}))}),
              (Numbers{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Shown({ClipText(offset, {97}, {7}, EffectsText({WarpText(-1)}))}),
              (Numbers{3, 2, 1, 0, 0, 0, 0}));
    EXPECT_EQ(Shown({ClipText(offset, {90}, {2}, EffectsText({WarpText(0)}))}), (Numbers{0, 0}));
    EXPECT_EQ(Shown({ClipText(offset, {105}, {3})}), (Numbers{5, 6, 7}));
}

TEST_F(TimelineRetimes, OffTheEndAreHeldOrBlack)
{
    const std::vector<std::string> children = {Retimed({2, 90, 8}, CounterText(100), 25),
                                               Retimed({-2, 92, 8}, CounterText(100), 25)};
    EXPECT_EQ(Shown(children), Parts({{90, 92, 94, 96, 98, 99, 99, 99}, {99, 99, 99, 99, 98, 96, 94, 92}}));
    EXPECT_EQ(Shown(children, "25", {"--out-of-range", "black"}),
              Parts({{90, 92, 94, 96, 98, kBlack, kBlack, kBlack},
                     {kBlack, kBlack, kBlack, kBlack, 98, 96, 94, 92}}));
    EXPECT_EQ(Shown({Retimed({0, 140, 2}, CounterText(100), 25)}), (Numbers{99, 99}));
}

TEST_F(TimelineRetimes, MultiplyWithTheirSigns)
{
    const auto shown = [&](const std::vector<std::string>& inWarps)
    { return Shown({ClipText(CounterText(), {10}, {4}, EffectsText(inWarps))}); };
    EXPECT_EQ(shown({WarpText(-1), WarpText(-1)}), (Numbers{10, 11, 12, 13}));
    EXPECT_EQ(shown({WarpText(-4), WarpText(0.5)}), (Numbers{16, 14, 12, 10}));
    EXPECT_EQ(shown({WarpText(0), WarpText(7)}), (Numbers{10, 10, 10, 10}));
    EXPECT_EQ(
        shown({R"({"OTIO_SCHEMA": "LinearTimeWarp.1", "time_scalar": 3, "enabled": false})", WarpText(2)}),
        (Numbers{10, 12, 14, 16}));
}

TEST_F(TimelineRetimes, OfANestedStackCountFramesOfTheTimeline)
{
    const auto nested = [](double inScalar)
    {
        return StackText(
            {TrackText({ClipText(CounterText(), {10}, {8}), ClipText(CounterText(), {50}, {20})})},
            R"(, "source_range": )" + RangeText({2}, {6}) + EffectsText({WarpText(inScalar)}));
    };
    EXPECT_EQ(Shown({nested(2)}), (Numbers{12, 14, 16, 50, 52, 54}));
    EXPECT_EQ(Shown({nested(0.5)}), (Numbers{12, 12, 13, 13, 14, 14}));
    EXPECT_EQ(Shown({nested(-1)}), (Numbers{17, 16, 15, 14, 13, 12}));
    EXPECT_EQ(Shown({nested(0)}), (Numbers{12, 12, 12, 12, 12, 12}));
}

TEST_F(TimelineRetimes, GoOnStraightUnderTransitions)
{
    // The first frame of a dissolve is the earlier item alone, be it beyond that item's end.
    EXPECT_EQ(Shown({Retimed({2, 10, 6}, CounterText(), 25), TransitionText({2}, {2}),
                     Retimed({0.5, 60, 6}, CounterText(), 25)}),
              (Numbers{10, 12, 14, 16, 18, kOther, kOther, kOther, 61, 61, 62, 62}));
    EXPECT_EQ(Shown({Retimed({-1, 20, 6}, CounterText(), 25), TransitionText({0}, {3}),
                     Retimed({-1, 60, 6}, CounterText(), 25)}),
              (Numbers{25, 24, 23, 22, 21, 20, 19, kOther, kOther, 62, 61, 60}));
}

TEST_F(TimelineRetimes, BlendFramesOnlyWhereThatIsWanted)
{
    const std::string blend = R"(, "metadata": {"vrender": {"version": 1, "retime": "blend"}})";
    const Numbers shown = Shown({ClipText(CounterText(), {10}, {6}, EffectsText({WarpText(0.5)}) + blend)});
    ASSERT_EQ(shown.size(), 6u);
    for (int i = 0; i < 6; ++i)
    {
        EXPECT_EQ(shown[static_cast<std::size_t>(i)], i % 2 == 0 ? 10 + i / 2 : kOther) << i;
    }
}
