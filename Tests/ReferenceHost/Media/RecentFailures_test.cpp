#include "ReferenceHost/Media/RecentFailures.h"

#include <gtest/gtest.h>

namespace
{

TEST(RecentFailures, EachFrameHasItsOwnText)
{
    Media::RecentFailures failures;
    failures.Remember(5, "five");
    failures.Remember(3, "three");
    failures.Remember(5, "five again");
    EXPECT_EQ(failures.TextOf(3), "three");
    EXPECT_EQ(failures.TextOf(5), "five again");
    EXPECT_EQ(failures.TextOf(4), "");
}

TEST(RecentFailures, TheEarliestOfThousandsAreForgotten)
{
    Media::RecentFailures failures;
    for (std::int64_t frame = 0; frame < 5000; ++frame)
    {
        failures.Remember(frame, std::to_string(frame));
    }
    EXPECT_EQ(failures.TextOf(4999), "4999");
    EXPECT_EQ(failures.TextOf(4900), "4900");
    EXPECT_EQ(failures.TextOf(0), "");
}

}
