#include "norvik/utility/Strings.h"
#include "norvik/utility/TextStreams.h"

#include <gtest/gtest.h>

#include <locale>
#include <string>

namespace
{

using norvik::UTF8String;
using norvik::WString;
using norvik::utility::AsciiToUTF16;
using norvik::utility::ImmutableString;
using norvik::utility::UTF16to8;
using norvik::utility::UTF8to16;

TEST(ImmutableString, NullAndEmptyAreBothEmptyAndDiffer)
{
    const ImmutableString null;
    const ImmutableString empty = ImmutableString::CreateStatic("");
    EXPECT_TRUE(null.empty() && empty.empty());
    EXPECT_TRUE(null.IsNull() && ImmutableString::sNullString.IsNull());
    EXPECT_FALSE(empty.IsNull());
    EXPECT_FALSE(ImmutableString::CreateDynamic("").IsNull());
    EXPECT_TRUE(ImmutableString::CreateStatic(nullptr).IsNull());
    EXPECT_TRUE(ImmutableString::CreateDynamic(static_cast<const char*>(nullptr)).IsNull());
    EXPECT_STREQ(null.CStr(), "");
    EXPECT_EQ(null.Compare(empty), 0);
}

TEST(ImmutableString, StaticTextIsHeldByAddress)
{
    static const char text[] = "for ever";
    EXPECT_EQ(ImmutableString::CreateStatic(text).CStr(), text);
}

TEST(ImmutableString, CopiesShareOneText)
{
    ImmutableString first = ImmutableString::CreateDynamic("a text of its own");
    const ImmutableString second = first;
    const char* address = first.CStr();
    EXPECT_EQ(second.CStr(), address);
    first = ImmutableString();
    EXPECT_STREQ(second.CStr(), "a text of its own");
    ImmutableString moved = std::move(first);
    moved = second;
    EXPECT_EQ(moved.CStr(), address);
    const ImmutableString& alias = moved;
    moved = alias;
    EXPECT_EQ(moved.CStr(), address);
}

TEST(ImmutableString, DynamicTextIsACopy)
{
    char text[] = "changing";
    const ImmutableString string = ImmutableString::CreateDynamic(text, 6);
    text[0] = 'X';
    EXPECT_STREQ(string.CStr(), "changi");
    EXPECT_EQ(string.Size(), 6u);
    EXPECT_EQ(string.ToString(), UTF8String("changi"));
    EXPECT_STREQ(ImmutableString::CreateDynamic(WString(u"\u00E9\u20AC")).CStr(), "\xC3\xA9\xE2\x82\xAC");
    EXPECT_STREQ(ImmutableString::CreateDynamic(UTF8String("utf")).CStr(), "utf");
}

TEST(ImmutableString, ComparesUnsignedBytesThenLength)
{
    const auto make = [](const char* inText) { return ImmutableString::CreateDynamic(inText); };
    EXPECT_LT(make("a").Compare(make("b")), 0);
    EXPECT_LT(make("a").Compare(make("\xFF")), 0) << "a byte above 127 is large, not negative";
    EXPECT_LT(make("Z").Compare(make("a")), 0) << "no locale's order";
    EXPECT_LT(make("ab").Compare(make("abc")), 0);
    EXPECT_GT(make("b").Compare(make("abc")), 0);
    EXPECT_EQ(make("abc").Compare(make("abc")), 0);
    EXPECT_LT(ImmutableString::CreateDynamic("a\0a", 3).Compare(ImmutableString::CreateDynamic("a\0b", 3)),
              0);
    EXPECT_TRUE(make("a") < make("b"));
    EXPECT_TRUE(make("a") == ImmutableString::CreateStatic("a"));
    EXPECT_TRUE(make("a") != make("b"));
}

TEST(TextConversions, GoThereAndBack)
{
    const UTF8String text("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC\x7F");
    EXPECT_EQ(UTF8to16(text), u"A\u00E9\u20AC\U0001F3AC\u007F");
    EXPECT_EQ(UTF16to8(u"A\u00E9\u20AC\U0001F3AC\u007F"), text);
    EXPECT_EQ(UTF16to8(WString(u"\0x", 2)), UTF8String("\0x", 2));
}

TEST(TextConversions, EveryCodeSurvives)
{
    for (char32_t code = 0; code <= 0x10FFFF; code += code < 0x3000 ? 1 : 97)
    {
        if (code >= 0xD800 && code <= 0xDFFF)
        {
            continue;
        }
        WString wide;
        if (code < 0x10000)
        {
            wide.push_back(static_cast<char16_t>(code));
        }
        else
        {
            wide.push_back(static_cast<char16_t>(0xD7C0 + (code >> 10)));
            wide.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
        }
        const UTF8String narrow = UTF16to8(wide);
        ASSERT_EQ(narrow.size(), code < 0x80 ? 1u : code < 0x800 ? 2u : code < 0x10000 ? 3u : 4u);
        ASSERT_EQ(UTF8to16(narrow), wide) << static_cast<uint32_t>(code);
    }
}

TEST(TextConversions, LoneSurrogatesAreReplaced)
{
    const UTF8String replaced("\xEF\xBF\xBD");
    const auto units = [](std::initializer_list<char16_t> inUnits) { return WString(inUnits); };
    EXPECT_EQ(UTF16to8(units({0xD83C})), replaced);
    EXPECT_EQ(UTF16to8(units({0xDFAC})), replaced);
    EXPECT_EQ(UTF16to8(units({0xDFAC, 0xD83C})), replaced + replaced);
    EXPECT_EQ(UTF16to8(units({0xDFAC, 0xDFAC})), replaced + replaced);
    EXPECT_EQ(UTF16to8(units({0xD83C, u'x'})), replaced + "x");
    EXPECT_EQ(UTF16to8(units({0xD83C, 0xD83C, 0xDFAC})), replaced + "\xF0\x9F\x8E\xAC");
}

TEST(TextConversions, IllFormedBytesAreReplaced)
{
    const WString replaced(u"\uFFFD");
    EXPECT_EQ(UTF8to16("\x80"), replaced);
    EXPECT_EQ(UTF8to16("\xC0\xAF"), replaced + replaced) << "an overlong form";
    EXPECT_EQ(UTF8to16("\xE0\x80\xAF"), replaced + replaced + replaced);
    EXPECT_EQ(UTF8to16("\xED\xA0\x80"), replaced + replaced + replaced) << "a surrogate";
    EXPECT_EQ(UTF8to16("\xF4\x90\x80\x80"), replaced + replaced + replaced + replaced) << "above U+10FFFF";
    EXPECT_EQ(UTF8to16("\xF5"), replaced);
    EXPECT_EQ(UTF8to16("\xE2\x82"), replaced) << "cut off: one for what there is";
    EXPECT_EQ(UTF8to16("\xE2\x82"
                       "A"),
              replaced + u"A");
    EXPECT_EQ(UTF8to16("\xF0\x9F\x8E"), replaced);
}

TEST(TextConversions, AsciiStopsAtNulAndReplacesTheRest)
{
    EXPECT_EQ(AsciiToUTF16("abc"), u"abc");
    EXPECT_EQ(AsciiToUTF16("a\xC3"), u"a\uFFFD");
    EXPECT_EQ(AsciiToUTF16(nullptr), u"");
}

TEST(TextConversions, MultiByteIsTheBytes)
{
    EXPECT_EQ(norvik::utility::ToMultiByte(ImmutableString::CreateStatic("\xC3\xA9")), "\xC3\xA9");
}

// A locale with the decimal comma and grouped digits that some sessions have.
class CommaLocale : public std::numpunct<char>
{
protected:
    char do_decimal_point() const override { return ','; }

    char do_thousands_sep() const override { return '.'; }

    std::string do_grouping() const override { return "\3"; }
};

TEST(TextStreams, IgnoreTheLocaleOfTheSession)
{
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new CommaLocale));
    norvik::oUTF8StringStream out;
    out << 1234567 << ' ' << 0.5;
    norvik::iUTF8StringStream in(UTF8String("0.25 7654321"));
    double fraction = 0;
    uint32_t number = 0;
    in >> fraction >> number;
    std::locale::global(previous);
    EXPECT_EQ(out.str(), "1234567 0.5");
    EXPECT_EQ(fraction, 0.25);
    EXPECT_EQ(number, 7654321u);
}

TEST(TextStreams, FailedReadGivesZero)
{
    norvik::iUTF8StringStream in(UTF8String("green"));
    uint32_t number = 5;
    in >> number;
    EXPECT_EQ(number, 0u);
}

} // namespace
