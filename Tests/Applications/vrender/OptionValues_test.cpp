#include "Applications/vrender/OptionValues.h"

#include "Applications/vrender/ExitCodes.h"

#include <gtest/gtest.h>

#include <vector>

using namespace vrender;

namespace
{

template <typename Function>
bool IsRefused(const Function& inFunction)
{
    try
    {
        inFunction();
    }
    catch (const ToolError& error)
    {
        return error.Code() == ExitCode::kUsage && std::string(error.what()).rfind("--x: '", 0) == 0;
    }
    return false;
}

} // namespace

TEST(OptionValues, RatesAreExact)
{
    EXPECT_EQ(ParseRate("--x", "25"), (Rational{25, 1}));
    EXPECT_EQ(ParseRate("--x", "29.97"), (Rational{30000, 1001}));
    EXPECT_EQ(ParseRate("--x", "23.976"), (Rational{24000, 1001}));
    EXPECT_EQ(ParseRate("--x", "60000/1001"), (Rational{60000, 1001}));
    EXPECT_EQ(ParseRate("--x", "12.5"), (Rational{25, 2}));
    EXPECT_EQ(ParseRate("--x", "50/2"), (Rational{25, 1}));
    for (const char* text :
         {"", "0", "-25", "25/0", "0/1", "abc", "25fps", "1/", "/1", "1.", ".5", "1e3", "5000", "1/1000000"})
    {
        EXPECT_TRUE(IsRefused([&] { ParseRate("--x", text); })) << text;
    }
}

TEST(OptionValues, DecimalsThatAFractionIsRoundedToAreThatFraction)
{
    const auto expect = [](const std::vector<const char*>& inTexts, const Rational& inRate)
    {
        for (const char* text : inTexts)
        {
            EXPECT_EQ(ParseRate("--x", text), inRate) << text;
        }
    };
    expect({"23.98", "23.976", "23.9760", "23.97602", "23.9760240"}, {24000, 1001});
    expect({"29.97", "29.970", "29.9700", "29.97003"}, {30000, 1001});
    expect({"47.95", "47.952"}, {48000, 1001});
    expect({"59.94", "59.940", "59.94006"}, {60000, 1001});
    expect({"119.88", "119.8801"}, {120000, 1001});
    // Those that it isn't rounded to are what they say.
    expect({"29.97000", "2997/100"}, {2997, 100});
    expect({"23.97", "2397/100"}, {2397, 100});
    expect({"59.9", "599/10"}, {599, 10});
    expect({"24.0", "24.00", "24"}, {24, 1});
    expect({"30.0", "30.00"}, {30, 1});
}

TEST(OptionValues, SizesHaveBothSidesOrOneToFollow)
{
    EXPECT_EQ(ParseSize("--x", "1280x720").mWidth, 1280);
    EXPECT_EQ(ParseSize("--x", "1280x720").mHeight, 720);
    EXPECT_EQ(ParseSize("--x", "-1x720").mWidth, -1);
    for (const char* text : {"", "1280", "1280x", "x720", "0x10", "10x0", "-1x-1", "-2x10", "16385x10",
                             "12x7x3", "1280X720", "10 x10"})
    {
        EXPECT_TRUE(IsRefused([&] { ParseSize("--x", text); })) << text;
    }
}

TEST(OptionValues, BareMemoryCountsMebibytes)
{
    EXPECT_EQ(ParseMemory("--x", "300"), std::uint64_t{300} << 20);
    EXPECT_EQ(ParseMemory("--x", "300M"), std::uint64_t{300} << 20);
    EXPECT_EQ(ParseMemory("--x", "1G"), std::uint64_t{1} << 30);
    EXPECT_EQ(ParseMemory("--x", "1.5g"), std::uint64_t{3} << 29);
    for (const char* text : {"", "0", "63", "-300", "300X", "G", "1e30", "inf", "nan", "300MB"})
    {
        EXPECT_TRUE(IsRefused([&] { ParseMemory("--x", text); })) << text;
    }
}

TEST(OptionValues, BitratesCountByThousands)
{
    EXPECT_EQ(ParseBitrate("--x", "800000"), 800000);
    EXPECT_EQ(ParseBitrate("--x", "800k"), 800000);
    EXPECT_EQ(ParseBitrate("--x", "2.5M"), 2500000);
    EXPECT_TRUE(IsRefused([] { ParseBitrate("--x", "0"); }));
    EXPECT_TRUE(IsRefused([] { ParseBitrate("--x", "fast"); }));
}

TEST(OptionValues, IntegersStayInTheirBounds)
{
    EXPECT_EQ(ParseInteger("--x", "8", 1, 8), 8);
    EXPECT_TRUE(IsRefused([] { ParseInteger("--x", "9", 1, 8); }));
    EXPECT_TRUE(IsRefused([] { ParseInteger("--x", "0", 1, 8); }));
    EXPECT_TRUE(IsRefused([] { ParseInteger("--x", "1.5", 1, 8); }));
}
