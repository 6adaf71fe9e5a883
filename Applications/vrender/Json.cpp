#include "Applications/vrender/Json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace vrender
{

namespace
{

// Bytes of the UTF-8 character at inText[inAt], or 0 where there is none (stray, torn or overlong
// bytes, surrogates, beyond U+10FFFF).
std::size_t LengthOfCharacter(const std::string& inText, std::size_t inAt)
{
    const auto byte = [&](std::size_t i) -> unsigned
    { return inAt + i < inText.size() ? static_cast<unsigned char>(inText[inAt + i]) : 0u; };
    const unsigned lead = byte(0);
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : (lead & 0xF0) == 0xE0       ? 3
                                                             : 4;
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4)
    {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i)
    {
        if ((byte(i) & 0xC0) != 0x80)
        {
            return 0;
        }
    }
    const bool overlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool outside = (lead == 0xED && byte(1) >= 0xA0) || (lead == 0xF4 && byte(1) >= 0x90);
    return overlong || outside ? 0 : length;
}

std::string Escaped(char inCharacter)
{
    switch (inCharacter)
    {
    case '"': return "\\\"";
    case '\\': return "\\\\";
    case '\n': return "\\n";
    case '\t': return "\\t";
    default: break;
    }
    if (static_cast<unsigned char>(inCharacter) >= 0x20)
    {
        return std::string(1, inCharacter);
    }
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(inCharacter));
    return text.data();
}

} // namespace

std::string JsonQuoted(const std::string& inText)
{
    std::string result = "\"";
    for (std::size_t i = 0; i < inText.size();)
    {
        const std::size_t length = LengthOfCharacter(inText, i);
        if (length == 1)
        {
            result += Escaped(inText[i]);
        }
        else
        {
            result += length == 0 ? "\xEF\xBF\xBD" : inText.substr(i, length);
        }
        i += length == 0 ? 1 : length;
    }
    return result + "\"";
}

JsonWriter::JsonWriter(bool inIndented) : mIndented(inIndented) {}

void JsonWriter::NewLine()
{
    if (mIndented)
    {
        mText += "\n" + std::string(2 * mClosers.size(), ' ');
    }
}

void JsonWriter::BeginMember(const std::string& inName)
{
    mText += mFirst ? "" : mIndented ? "," : ", ";
    NewLine();
    mFirst = false;
    if (mClosers.back() == '}')
    {
        mText += JsonQuoted(inName) + ": ";
    }
}

void JsonWriter::Text(const std::string& inName, const std::string& inValue)
{
    BeginMember(inName);
    mText += JsonQuoted(inValue);
}

void JsonWriter::Integer(const std::string& inName, std::int64_t inValue)
{
    BeginMember(inName);
    mText += std::to_string(inValue);
}

void JsonWriter::Number(const std::string& inName, double inValue)
{
    BeginMember(inName);
    std::array<char, 40> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), inValue);
    mText += std::isfinite(inValue) ? std::string(text.data(), result.ptr) : "null";
}

void JsonWriter::Bool(const std::string& inName, bool inValue)
{
    BeginMember(inName);
    mText += inValue ? "true" : "false";
}

void JsonWriter::Null(const std::string& inName)
{
    BeginMember(inName);
    mText += "null";
}

void JsonWriter::Open(const std::string& inName, char inBracket)
{
    BeginMember(inName);
    mText += inBracket;
    mClosers += inBracket == '{' ? '}' : ']';
    mFirst = true;
}

void JsonWriter::BeginObject(const std::string& inName)
{
    Open(inName, '{');
}

void JsonWriter::BeginList(const std::string& inName)
{
    Open(inName, '[');
}

void JsonWriter::End()
{
    const char closer = mClosers.back();
    mClosers.pop_back();
    if (!mFirst)
    {
        NewLine();
    }
    mText += closer;
    mFirst = false;
}

std::string JsonWriter::Finish()
{
    while (!mClosers.empty())
    {
        End();
    }
    return mText + "\n";
}

} // namespace vrender
