#include "norvik/utility/Strings.h"

namespace norvik::utility
{

namespace
{

constexpr char32_t kReplacement = 0xFFFD;

bool IsSurrogate(char32_t inUnit)
{
    return inUnit >= 0xD800 && inUnit <= 0xDFFF;
}

void AppendUTF8(UTF8String& ioText, char32_t inCode)
{
    const auto put = [&ioText](char32_t inByte) { ioText.push_back(static_cast<char>(inByte)); };
    if (inCode < 0x80)
    {
        put(inCode);
    }
    else if (inCode < 0x800)
    {
        put(0xC0 | (inCode >> 6));
        put(0x80 | (inCode & 0x3F));
    }
    else if (inCode < 0x10000)
    {
        put(0xE0 | (inCode >> 12));
        put(0x80 | ((inCode >> 6) & 0x3F));
        put(0x80 | (inCode & 0x3F));
    }
    else
    {
        put(0xF0 | (inCode >> 18));
        put(0x80 | ((inCode >> 12) & 0x3F));
        put(0x80 | ((inCode >> 6) & 0x3F));
        put(0x80 | (inCode & 0x3F));
    }
}

void AppendUTF16(WString& ioText, char32_t inCode)
{
    if (inCode < 0x10000)
    {
        ioText.push_back(static_cast<char16_t>(inCode));
        return;
    }
    ioText.push_back(static_cast<char16_t>(0xD800 + ((inCode - 0x10000) >> 10)));
    ioText.push_back(static_cast<char16_t>(0xDC00 + ((inCode - 0x10000) & 0x3FF)));
}

// What a lead byte announces: how many bytes follow, and within which bounds the first of them must lie. The
// bounds shut out overlong forms, surrogates and codes above U+10FFFF.
struct LeadByte
{
    int mFollowing;
    char32_t mBits;
    uint8_t mLower;
    uint8_t mUpper;
};

bool ReadLeadByte(uint8_t inByte, LeadByte& outLead)
{
    outLead = {0, inByte, 0x80, 0xBF};
    if (inByte < 0x80)
    {
        return true;
    }
    if (inByte >= 0xC2 && inByte <= 0xDF)
    {
        outLead.mFollowing = 1;
        outLead.mBits = inByte & 0x1Fu;
        return true;
    }
    if (inByte >= 0xE0 && inByte <= 0xEF)
    {
        outLead.mFollowing = 2;
        outLead.mBits = inByte & 0x0Fu;
        outLead.mLower = inByte == 0xE0 ? 0xA0 : 0x80;
        outLead.mUpper = inByte == 0xED ? 0x9F : 0xBF;
        return true;
    }
    if (inByte >= 0xF0 && inByte <= 0xF4)
    {
        outLead.mFollowing = 3;
        outLead.mBits = inByte & 0x07u;
        outLead.mLower = inByte == 0xF0 ? 0x90 : 0x80;
        outLead.mUpper = inByte == 0xF4 ? 0x8F : 0xBF;
        return true;
    }
    return false;
}

// The code that begins at ioIndex, which moves behind it; U+FFFD for what can't go on as it began.
char32_t ReadCode(const UTF8String& inText, size_t& ioIndex)
{
    LeadByte lead{};
    if (!ReadLeadByte(static_cast<uint8_t>(inText[ioIndex++]), lead))
    {
        return kReplacement;
    }
    char32_t code = lead.mBits;
    for (int left = lead.mFollowing; left > 0; --left)
    {
        const uint8_t byte = ioIndex < inText.size() ? static_cast<uint8_t>(inText[ioIndex]) : 0;
        if (byte < lead.mLower || byte > lead.mUpper)
        {
            return kReplacement;
        }
        lead.mLower = 0x80;
        lead.mUpper = 0xBF;
        code = (code << 6) | (byte & 0x3Fu);
        ++ioIndex;
    }
    return code;
}

} // namespace

UTF8String UTF16to8(const WString& inText)
{
    UTF8String result;
    result.reserve(inText.size());
    for (size_t index = 0; index < inText.size(); ++index)
    {
        char32_t code = inText[index];
        if (IsSurrogate(code))
        {
            const char32_t next = index + 1 < inText.size() ? inText[index + 1] : 0;
            if (code < 0xDC00 && next >= 0xDC00 && next <= 0xDFFF)
            {
                code = 0x10000 + ((code - 0xD800) << 10) + (next - 0xDC00);
                ++index;
            }
            else
            {
                code = kReplacement;
            }
        }
        AppendUTF8(result, code);
    }
    return result;
}

WString UTF8to16(const UTF8String& inText)
{
    WString result;
    result.reserve(inText.size());
    for (size_t index = 0; index < inText.size();)
    {
        AppendUTF16(result, ReadCode(inText, index));
    }
    return result;
}

WString AsciiToUTF16(const char* inText)
{
    WString result;
    for (; inText != nullptr && *inText != '\0'; ++inText)
    {
        const auto byte = static_cast<uint8_t>(*inText);
        result.push_back(byte < 0x80 ? static_cast<char16_t>(byte) : static_cast<char16_t>(kReplacement));
    }
    return result;
}

std::string ToMultiByte(const ImmutableString& inText)
{
    return std::string(inText.View());
}

} // namespace norvik::utility
