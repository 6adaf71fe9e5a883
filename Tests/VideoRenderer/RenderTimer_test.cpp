#include "Platform.h"
#include "VideoRenderer/Src/RenderTimer.h"

#include <gtest/gtest.h>

namespace
{

std::int64_t sCount = 0;
std::int64_t sFrequency = 1000;
bool sCounterWorks = true;
std::uint32_t sTicks = 0;

class RenderTimer : public testing::Test
{
protected:
    RenderTimer()
    {
        sCount = 0;
        sFrequency = 1000;
        sCounterWorks = true;
        sTicks = 0;
        os::SetClockFunctions({[] { return sCount; },
                               [](std::int64_t& outFrequency)
                               {
                                   outFrequency = sFrequency;
                                   return sCounterWorks;
                               },
                               [] { return sTicks; }, nullptr});
    }
    ~RenderTimer() override { os::SetClockFunctions({}); }

    // Seconds, after both clocks went on by so much.
    double Elapsed(std::int64_t inCounts, std::uint32_t inTicks)
    {
        ML::RenderTimer timer;
        timer.Start();
        sCount += inCounts;
        sTicks += inTicks;
        return timer.ElapsedSeconds();
    }
};

TEST_F(RenderTimer, BelievesTheCounter)
{
    EXPECT_EQ(Elapsed(1234, 1000), 1.234);
    EXPECT_EQ(Elapsed(1500, 1000), 1.5); // half a second apart is not too far
}

TEST_F(RenderTimer, BelievesTheTicksWhereTheCounterJumps)
{
    EXPECT_EQ(Elapsed(1501, 1000), 1.0);
    EXPECT_EQ(Elapsed(-90000, 1000), 1.0);
}

TEST_F(RenderTimer, BelievesTheTicksWhereThereIsNoCounter)
{
    sCounterWorks = false;
    EXPECT_EQ(Elapsed(1234, 1000), 1.0);
}

TEST_F(RenderTimer, TakesAMissingFrequencyForOne)
{
    sFrequency = 0;
    EXPECT_EQ(Elapsed(3, 3000), 3.0);
}

TEST_F(RenderTimer, IsNeverNegative)
{
    EXPECT_EQ(Elapsed(-100, 0), 0.0);
}

TEST_F(RenderTimer, DoesNotMindTicksThatWrap)
{
    sCounterWorks = false;
    sTicks = 0xFFFFFF00u;
    EXPECT_EQ(Elapsed(0, 1000), 1.0);
}

TEST_F(RenderTimer, StandsStillOnceItIsStopped)
{
    ML::RenderTimer timer;
    timer.Start();
    sCount = sTicks = 2000;
    timer.Stop();
    sCount = sTicks = 9000;
    EXPECT_EQ(timer.ElapsedSeconds(), 2.0);
}

} // namespace
