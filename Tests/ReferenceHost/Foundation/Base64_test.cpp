#include "BE/Utilities.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace
{

norvik::UTF8String Encode(const std::string& inBytes)
{
    return BE::EncodeBinaryDataToUTF8String(inBytes.data(), inBytes.size());
}

// The examples of RFC 4648.
TEST(Base64, EncodesTheKnownExamples)
{
    EXPECT_EQ(Encode(""), "");
    EXPECT_EQ(Encode("f"), "Zg==");
    EXPECT_EQ(Encode("fo"), "Zm8=");
    EXPECT_EQ(Encode("foo"), "Zm9v");
    EXPECT_EQ(Encode("foob"), "Zm9vYg==");
    EXPECT_EQ(Encode("fooba"), "Zm9vYmE=");
    EXPECT_EQ(Encode("foobar"), "Zm9vYmFy");
}

TEST(Base64, UsesEveryDigitInOrder)
{
    std::string bytes;
    for (unsigned group = 0; group < 16; ++group)
    {
        const unsigned first = 4 * group;
        const unsigned bits = first << 18 | (first + 1) << 12 | (first + 2) << 6 | (first + 3);
        bytes += {static_cast<char>(bits >> 16), static_cast<char>(bits >> 8), static_cast<char>(bits)};
    }
    EXPECT_EQ(Encode(bytes), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64, HasNoLineBreaksHoweverLong)
{
    EXPECT_EQ(Encode(std::string(3000, '\0')), norvik::UTF8String(4000, 'A'));
}

TEST(Base64, DifferentBytesGiveDifferentTexts)
{
    std::set<norvik::UTF8String> texts;
    std::size_t count = 0;
    for (std::size_t length = 0; length < 3; ++length)
    {
        for (unsigned value = 0; value < 1u << (8 * length); ++value, ++count)
        {
            std::string bytes;
            for (std::size_t at = 0; at < length; ++at)
            {
                bytes.push_back(static_cast<char>(value >> (8 * at)));
            }
            texts.insert(Encode(bytes));
        }
    }
    EXPECT_EQ(texts.size(), count);
}

} // namespace
