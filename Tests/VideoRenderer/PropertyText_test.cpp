#include "PropertyText.h"

#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <locale>
#include <random>
#include <string>

namespace
{

namespace PropertyText = ML::PropertyText;

TEST(PropertyText, TruthIsADigitButForTheOneInWords)
{
    EXPECT_EQ(PropertyText::OfTruth(false), "0");
    EXPECT_EQ(PropertyText::OfTruth(true), "1");
    EXPECT_EQ(PropertyText::OfByteFlag(0), "0");
    EXPECT_EQ(PropertyText::OfByteFlag(1), "1");
    EXPECT_EQ(PropertyText::OfTruthInWords(false), "false");
    EXPECT_EQ(PropertyText::OfTruthInWords(true), "true");
}

TEST(PropertyText, WholeNumbersAreDecimalToTheirEnds)
{
    EXPECT_EQ(PropertyText::OfInt32(std::numeric_limits<std::int32_t>::min()), "-2147483648");
    EXPECT_EQ(PropertyText::OfInt32(0), "0");
    EXPECT_EQ(PropertyText::OfUInt32(4294967295u), "4294967295");
    EXPECT_EQ(PropertyText::OfInt64(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(PropertyText::OfInt64(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
    EXPECT_EQ(PropertyText::OfUInt64(18446744073709551615u), "18446744073709551615");
    EXPECT_EQ(PropertyText::OfTime(norviktypes::TickTime(-254016000000)), "-254016000000");
}

TEST(PropertyText, FloatsHaveSeventeenSignificantDigits)
{
    EXPECT_EQ(PropertyText::OfDouble(0.0), "0");
    EXPECT_EQ(PropertyText::OfDouble(-0.0), "-0");
    EXPECT_EQ(PropertyText::OfDouble(1.0), "1");
    EXPECT_EQ(PropertyText::OfDouble(0.1), "0.10000000000000001");
    EXPECT_EQ(PropertyText::OfDouble(29.97), "29.969999999999999");
    EXPECT_EQ(PropertyText::OfDouble(1e16), "10000000000000000");
    EXPECT_EQ(PropertyText::OfDouble(1e17), "1e+17");
    EXPECT_EQ(PropertyText::OfDouble(1e-5), "1.0000000000000001e-05");
    EXPECT_EQ(PropertyText::OfDouble(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
    EXPECT_EQ(PropertyText::OfDouble(-std::numeric_limits<double>::denorm_min()), "-4.9406564584124654e-324");
    EXPECT_EQ(PropertyText::OfDouble(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(PropertyText::OfDouble(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(PropertyText, FloatsReadAsTheClassicLocalePrintsThemAndComeBack)
{
    std::mt19937_64 random(TestSupport::Seed());
    for (std::size_t round = 0; round < TestSupport::ScaledCount(100000); ++round)
    {
        const double value = std::bit_cast<double>(random());
        if (!std::isfinite(value))
        {
            continue;
        }
        const norvik::UTF8String text = PropertyText::OfDouble(value);
        char expected[64];
        std::snprintf(expected, sizeof(expected), "%.17g", value);
        ASSERT_STREQ(text.c_str(), expected);
        ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)),
                  std::bit_cast<std::uint64_t>(value));
    }
}

struct CommaPunctuation final : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(PropertyText, NumbersDoNotFollowTheLocale)
{
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation()));
    std::setlocale(LC_ALL, "de_DE.UTF-8"); // where a machine has it, C functions write commas too
    const norvik::UTF8String text = PropertyText::OfDouble(1234.5);
    const norvik::UTF8String number = PropertyText::OfInt64(1234567);
    std::locale::global(before);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(text, "1234.5");
    EXPECT_EQ(number, "1234567");
}

TEST(PropertyText, GuidsWideTextsAndBytesBecomeText)
{
    EXPECT_EQ(PropertyText::OfGuid(norvik::utility::Guid("0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9")),
              "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9");
    EXPECT_EQ(PropertyText::OfWideText(u"Zo\u00EB \U0001D11E"), "Zo\xC3\xAB \xF0\x9D\x84\x9E");
    EXPECT_EQ(PropertyText::OfBinary("\xFF\x00\x10", 3), "/wAQ");
    EXPECT_EQ(PropertyText::OfBinary(nullptr, 0), "");
}

} // namespace
