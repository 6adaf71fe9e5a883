#include "ReferenceHost/Effects/QuadMapping.h"

#include <gtest/gtest.h>

#include <limits>

using Effects::QuadPlace;

namespace
{

void ExpectSamples(const QuadPlace& inPlace, int inAcross, int inDown)
{
    EXPECT_EQ(inPlace.Samples().across, inAcross);
    EXPECT_EQ(inPlace.Samples().down, inDown);
}

TEST(QuadPlace, IsLookedAtOnceWhereItIsFine)
{
    ExpectSamples({0, 0, 1.0, 0, 0, 1.0}, 1, 1);
    ExpectSamples({0, 0, 0.1, 0.6, -0.7, 0.2}, 1, 1);
}

TEST(QuadPlace, IsLookedAtNoOftenerThanItShrinksEachWay)
{
    ExpectSamples({0, 0, 1.5, 0, 0, 1.7}, 2, 2);
    ExpectSamples({0, 0, 8.0, 0, 0, 1.0}, 8, 2);
    ExpectSamples({0, 0, 1.0, 0, 0, 5.5}, 2, 6);
    // Turned by a right angle: a step to the right goes up in the source.
    ExpectSamples({0, 0, 0, 1.0, -6.5, 0}, 7, 2);
    ExpectSamples({0, 0, 3.0, 0, 4.0, 1.0}, 5, 2);
}

TEST(QuadPlace, IsLookedAtEightTimesEachWayAtMost)
{
    ExpectSamples({0, 0, 1e300, 0, 0, 9.0}, 8, 8);
    ExpectSamples({0, 0, std::numeric_limits<double>::infinity(), 0, 0, 1.0}, 8, 2);
}

// Looking at each pixel of the source about once takes about the same time however the picture is squeezed.
TEST(QuadMapping, CostOfASqueezedPictureIsBounded)
{
    constexpr int kSize = 240;
    const auto samplesOf = [](double inWidth, double inHeight)
    {
        const TVK::ParamPoint<double> corners[4] = {
            {0, 0}, {inWidth * kSize, 0}, {0, inHeight * kSize}, {inWidth * kSize, inHeight * kSize}};
        const Effects::QuadMapping mapping(corners, kSize, kSize);
        int samples = 0;
        for (int y = 0; y < kSize; ++y)
        {
            for (int x = 0; x < kSize; ++x)
            {
                const auto place = mapping.At(x + 0.5, y + 0.5);
                if (place && place->CoverageOf(kSize, kSize) > 0.0)
                {
                    samples += place->Samples().across * place->Samples().down;
                }
            }
        }
        return samples;
    };
    const int whole = samplesOf(1.0, 1.0);
    EXPECT_EQ(whole, kSize * kSize);
    EXPECT_LE(samplesOf(0.125, 1.0), whole * 5 / 2);
    EXPECT_LE(samplesOf(1.0, 0.125), whole * 5 / 2);
    EXPECT_LE(samplesOf(0.125, 0.125), whole * 5 / 4);
    EXPECT_LE(samplesOf(0.9, 0.15), whole * 5 / 2);
}

TEST(QuadMapping, CornersBeyondAllBoundsShowNothing)
{
    for (const double far : {1e60, 1e160, 1e300})
    {
        const TVK::ParamPoint<double> corners[4] = {{far, 0}, {-far, far}, {-far, -far}, {far, 10}};
        const Effects::QuadMapping mapping(corners, 160, 90);
        const auto place = mapping.At(80.5, 45.5);
        EXPECT_FALSE(place) << far << ": " << place->x << ' ' << place->y;
    }
}

} // namespace
