#include "MF/Geometry.h"

#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

using MF::AdjustPixelAspectRatioForNonUniformDownsample;
using MF::AdjustPixelAspectRectToSquarePixelRect;
using norviktypes::PixelAspectRatio;
using TVK::Rect;

namespace
{

constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
constexpr std::int32_t kMostSide = std::numeric_limits<std::int32_t>::max();

Rect Size(std::int32_t inWidth, std::int32_t inHeight)
{
    return {0, 0, inWidth, inHeight};
}

} // namespace

TEST(PixelAspectRatio, ComparesAsPair)
{
    EXPECT_EQ(PixelAspectRatio(1, 1), norviktypes::kPixelAspectRatio_Square);
    EXPECT_NE(PixelAspectRatio(2, 2), PixelAspectRatio(1, 1));
    EXPECT_EQ(PixelAspectRatio(), norviktypes::kPixelAspectRatio_Square);
}

TEST(PixelAspectRatio, ZeroCountsAsSquare)
{
    EXPECT_EQ(PixelAspectRatio(64, 45).AsDouble(), 64.0 / 45.0);
    EXPECT_EQ(norviktypes::kPixelAspectRatio_Any.AsDouble(), 1.0);
    EXPECT_EQ(PixelAspectRatio(0, 3).AsDouble(), 1.0);
    EXPECT_EQ(PixelAspectRatio(3, 0).AsDouble(), 1.0);
}

TEST(SquarePixelRect, WidthIsMultipliedAndRounded)
{
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Size(720, 576), PixelAspectRatio(64, 45)),
              Size(1024, 576));
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Size(720, 480), PixelAspectRatio(8, 9)), Size(640, 480));
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Size(3, 1), PixelAspectRatio(1, 2)), Size(2, 1))
        << "half up";
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Size(10, 1), PixelAspectRatio(1, 3)), Size(3, 1));
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Rect{100, 7, 120, 9}, PixelAspectRatio(2, 1)),
              (Rect{100, 7, 140, 9}));
}

TEST(SquarePixelRect, ZeroRatioAndEmptyRectStay)
{
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Size(720, 576), PixelAspectRatio(0, 0)), Size(720, 576));
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Size(720, 576), PixelAspectRatio(5, 0)), Size(720, 576));
    EXPECT_EQ(AdjustPixelAspectRectToSquarePixelRect(Size(0, 576), PixelAspectRatio(2, 1)), Size(0, 576));
}

TEST(SquarePixelRect, HugeRatioStopsAtTheEndOfTheAxis)
{
    const Rect rect =
        AdjustPixelAspectRectToSquarePixelRect(Rect{-5, 0, kMostSide, 1}, PixelAspectRatio(kMost, 1));
    EXPECT_EQ(rect, (Rect{-5, 0, kMostSide, 1}));
}

TEST(NonUniformDownsample, UnchangedWhereBothAxesAreAlike)
{
    const PixelAspectRatio ratio(128, 90);
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(ratio, Size(720, 576), Size(720, 576)), ratio);
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(ratio, Size(720, 576), Size(360, 288)), ratio);
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(ratio, Size(0, 576), Size(360, 288)), ratio);
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(ratio, Size(720, 576), Size(360, 0)), ratio);
    EXPECT_EQ(
        AdjustPixelAspectRatioForNonUniformDownsample(PixelAspectRatio(0, 0), Size(720, 576), Size(360, 576)),
        PixelAspectRatio(0, 0));
}

TEST(NonUniformDownsample, HalfTheWidthDoublesTheRatio)
{
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(PixelAspectRatio(1, 1), Size(1920, 1080),
                                                            Size(960, 1080)),
              PixelAspectRatio(2, 1));
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(PixelAspectRatio(64, 45), Size(720, 576),
                                                            Size(360, 576)),
              PixelAspectRatio(128, 45));
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(PixelAspectRatio(2, 1), Size(1920, 1080),
                                                            Size(1920, 540)),
              PixelAspectRatio(1, 1));
}

TEST(NonUniformDownsample, ExactAndReducedWhereItFits)
{
    std::mt19937_64 random(TestSupport::Seed());
    const std::size_t count = TestSupport::ScaledCount(5000);
    for (std::size_t i = 0; i < count; ++i)
    {
        const auto side = [&] { return static_cast<std::int32_t>(random() % 200 + 1); };
        const PixelAspectRatio ratio(static_cast<std::uint32_t>(side()), static_cast<std::uint32_t>(side()));
        const Rect requested = Size(side(), side());
        const Rect frame = Size(side(), side());
        const std::int64_t across = std::int64_t{requested.right} * frame.bottom;
        const std::int64_t down = std::int64_t{requested.bottom} * frame.right;
        const PixelAspectRatio result =
            AdjustPixelAspectRatioForNonUniformDownsample(ratio, requested, frame);
        if (across == down)
        {
            ASSERT_EQ(result, ratio);
            continue;
        }
        ASSERT_EQ(std::gcd(result.GetNumerator(), result.GetDenominator()), 1u);
        ASSERT_EQ(result.GetNumerator() * (ratio.GetDenominator() * down),
                  result.GetDenominator() * (ratio.GetNumerator() * across));
    }
}

TEST(NonUniformDownsample, TooLargeResultIsTheNearestThatFits)
{
    std::mt19937_64 random(TestSupport::Seed());
    const std::size_t count = TestSupport::ScaledCount(2000);
    for (std::size_t i = 0; i < count; ++i)
    {
        const auto term = [&] { return static_cast<std::uint32_t>(random()) | 1u << 31; };
        const auto side = [&] { return static_cast<std::int32_t>(random() >> 33) | 1 << 30; };
        const PixelAspectRatio ratio(term(), term());
        const Rect requested = Size(side(), side());
        const Rect frame = Size(side(), side());
        const PixelAspectRatio result =
            AdjustPixelAspectRatioForNonUniformDownsample(ratio, requested, frame);
        const long double exact = static_cast<long double>(ratio.GetNumerator()) / ratio.GetDenominator() *
                                  requested.right / requested.bottom * frame.bottom / frame.right;
        const long double given = static_cast<long double>(result.GetNumerator()) / result.GetDenominator();
        // The best fraction with terms up to n is within 1/n of a ratio near one, and mostly much nearer.
        ASSERT_NEAR(static_cast<double>(given / exact), 1.0, 4.0 / static_cast<double>(kMost)) << i;
    }
}

TEST(NonUniformDownsample, ExtremesStayRatios)
{
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(PixelAspectRatio(kMost, 1), Size(kMostSide, 1),
                                                            Size(1, kMostSide)),
              PixelAspectRatio(kMost, 1));
    EXPECT_EQ(AdjustPixelAspectRatioForNonUniformDownsample(PixelAspectRatio(1, kMost), Size(1, kMostSide),
                                                            Size(kMostSide, 1)),
              PixelAspectRatio(1, kMost));
}
