#include "ReferenceHost/Media/Synthetic/CounterCode.h"
#include "ReferenceHost/Media/Synthetic/SyntheticSettings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Media;

namespace
{

SyntheticSettings Parse(const std::string& inText)
{
    SyntheticSettings settings;
    std::string error;
    EXPECT_TRUE(ParseSyntheticText(inText, settings, error)) << error;
    EXPECT_EQ(error, "");
    return settings;
}

} // namespace

TEST(SyntheticSettings, OnlyAKindWithAColonIsSynthetic)
{
    EXPECT_TRUE(IsSyntheticText("bars:"));
    EXPECT_TRUE(IsSyntheticText("color:red"));
    EXPECT_TRUE(IsSyntheticText("counter:size=64x64"));
    for (const char* text : {"bars", "color", "counter.mov", "Bars:", "bar:", "", ":", "movie:bars:"})
    {
        EXPECT_FALSE(IsSyntheticText(text)) << text;
    }
}

TEST(SyntheticSettings, WhatIsLeftOutIsFullHighDefinitionAtTwentyFiveWithoutEnd)
{
    const SyntheticSettings settings = Parse("bars:");
    EXPECT_EQ(settings.mKind, SyntheticKind::kBars);
    EXPECT_EQ(settings.mWidth, 1920);
    EXPECT_EQ(settings.mHeight, 1080);
    EXPECT_EQ(settings.mRate, (Ratio{25, 1}));
    EXPECT_EQ(settings.mFieldType, norviktypes::kFieldType_Progressive);
    EXPECT_EQ(settings.mPixelAspectRatio, norviktypes::kPixelAspectRatio_Square);
    EXPECT_EQ(settings.mFrameCount, kWithoutEnd);
}

TEST(SyntheticSettings, EverySettingIsRead)
{
    const SyntheticSettings settings =
        Parse("counter:size=720x576:rate=30000/1001:fields=lower:par=64/45:duration=250");
    EXPECT_EQ(settings.mKind, SyntheticKind::kCounter);
    EXPECT_EQ(settings.mWidth, 720);
    EXPECT_EQ(settings.mHeight, 576);
    EXPECT_EQ(settings.FrameRate().GetTicks(), 8475667200);
    EXPECT_EQ(settings.mFieldType, norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(settings.mPixelAspectRatio, norviktypes::PixelAspectRatio(64, 45));
    EXPECT_EQ(settings.mFrameCount, 250);
}

TEST(SyntheticSettings, SecondsBecomeTheNearestWholeNumberOfFramesWhereverTheRateStands)
{
    EXPECT_EQ(Parse("bars:duration=10s").mFrameCount, 250);
    EXPECT_EQ(Parse("bars:duration=10s:rate=30000/1001").mFrameCount, 300);
    EXPECT_EQ(Parse("bars:rate=50:duration=2.5s").mFrameCount, 125);
    EXPECT_EQ(Parse("bars:rate=24000/1001:duration=1s").mFrameCount, 24);
}

TEST(SyntheticSettings, ColoursAreNamesOrDigits)
{
    const auto color = [](const std::string& inText) { return Parse("color:" + inText).mColor; };
    using Color = TVK::ParamColor<std::uint32_t>;
    EXPECT_EQ(color("red"), Color::FromComponents(255, 0, 0, 255));
    EXPECT_EQ(color("transparent"), Color::FromComponents(0, 0, 0, 0));
    EXPECT_EQ(color("#1a2B3c"), Color::FromComponents(0x1A, 0x2B, 0x3C, 255));
    EXPECT_EQ(color("#1a2b3c4d"), Color::FromComponents(0x1A, 0x2B, 0x3C, 0x4D));
    EXPECT_EQ(color("#f80"), Color::FromComponents(255, 0x88, 0, 255));
    EXPECT_EQ(Parse("color:blue:size=64x32").mWidth, 64);
}

TEST(SyntheticSettings, TextOfSettingsGivesTheSameSettingsAgain)
{
    for (const char* text :
         {"bars:", "color:#01020304:size=31x17:rate=24000/1001", "counter:fields=upper:duration=7:par=16/11"})
    {
        const std::string whole = SyntheticText(Parse(text));
        EXPECT_EQ(SyntheticText(Parse(whole)), whole);
        EXPECT_TRUE(IsSyntheticText(whole));
    }
    EXPECT_NE(SyntheticText(Parse("counter:fields=upper")), SyntheticText(Parse("counter:fields=lower")));
    EXPECT_NE(SyntheticText(Parse("color:#01020304")), SyntheticText(Parse("color:#01020305")));
}

TEST(SyntheticSettings, WhatMakesNoSenseIsRefusedWithTextAndReason)
{
    struct Case
    {
        const char* mText;
        const char* mReason;
    };
    const std::vector<Case> cases = {
        {"bars:size=1920", "WIDTHxHEIGHT"},
        {"bars:size=0x10", "WIDTHxHEIGHT"},
        {"bars:size=-5x10", "WIDTHxHEIGHT"},
        {"bars:size=10x10x10", "WIDTHxHEIGHT"},
        {"bars:size=99999999999999999999x10", "WIDTHxHEIGHT"},
        {"bars:size=16385x10", "16384"},
        {"bars:size=16384x16384", "512 MiB"},
        {"bars:rate=0", "frames a second"},
        {"bars:rate=-25", "frames a second"},
        {"bars:rate=25fps", "frames a second"},
        {"bars:rate=30000/0", "frames a second"},
        {"bars:rate=1000000", "frames a second"},
        {"bars:fields=top", "progressive, upper or lower"},
        {"bars:par=1", "WIDTH/HEIGHT"},
        {"bars:par=0/1", "WIDTH/HEIGHT"},
        {"bars:duration=0", "at least one frame"},
        {"bars:duration=-3s", "at least one frame"},
        {"bars:duration=nans", "at least one frame"},
        {"bars:duration=1e300s", "longer than the time axis"},
        {"bars:duration=9223372036854775807", "longer than the time axis"},
        {"bars:length=3", "'length' is not one of"},
        {"bars:size", "'size' is no setting"},
        {"bars:size=64x64:", "'' is no setting"},
        {"color:", "a colour is"},
        {"color:mauve", "a colour is"},
        {"color:#12345", "a colour is"},
        {"color:#12345g", "a colour is"},
        {"snow:", "bars, color and counter"},
    };
    for (const Case& each : cases)
    {
        SyntheticSettings settings;
        settings.mWidth = 7;
        std::string error;
        EXPECT_FALSE(ParseSyntheticText(each.mText, settings, error)) << each.mText;
        EXPECT_EQ(settings.mWidth, 7);
        EXPECT_NE(error.find(each.mText), std::string::npos) << error;
        EXPECT_NE(error.find(each.mReason), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos);
    }
}

TEST(CounterCode, GivesBackNumberAndMoment)
{
    for (const std::int64_t frame : {0LL, 1LL, 2LL, 255LL, 1000000LL, 4294967295LL})
    {
        for (const CounterMoment moment :
             {CounterMoment::kWholeFrame, CounterMoment::kUpperField, CounterMoment::kLowerField})
        {
            std::uint32_t readFrame = 7;
            CounterMoment readMoment = CounterMoment::kWholeFrame;
            const std::uint64_t bits = EncodeCounter(frame, moment);
            EXPECT_EQ(bits >> kCounterCells, 0u);
            ASSERT_TRUE(DecodeCounter(bits, readFrame, readMoment));
            EXPECT_EQ(readFrame, frame);
            EXPECT_EQ(readMoment, moment);
        }
    }
}

TEST(CounterCode, OneWrongBitIsNoticed)
{
    std::uint32_t frame = 0;
    CounterMoment moment = CounterMoment::kWholeFrame;
    for (const std::int64_t number : {0LL, 1234LL, 4294967295LL})
    {
        const std::uint64_t bits = EncodeCounter(number, CounterMoment::kUpperField);
        for (int bit = 0; bit < kCounterCells; ++bit)
        {
            EXPECT_FALSE(DecodeCounter(bits ^ std::uint64_t{1} << bit, frame, moment)) << bit;
        }
    }
    EXPECT_FALSE(DecodeCounter(0, frame, moment));
    EXPECT_FALSE(DecodeCounter((std::uint64_t{1} << kCounterCells) - 1, frame, moment));
}
