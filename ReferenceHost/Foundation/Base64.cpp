#include "BE/Utilities.h"

#include <cstdint>

namespace BE
{

namespace
{

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

norvik::UTF8String EncodeBinaryDataToUTF8String(const void* inBytes, std::size_t inSize)
{
    const auto* bytes = static_cast<const std::uint8_t*>(inBytes);
    norvik::UTF8String text;
    text.reserve((inSize + 2) / 3 * 4);
    for (std::size_t at = 0; at < inSize; at += 3)
    {
        const std::size_t left = inSize - at;
        const unsigned group = static_cast<unsigned>(bytes[at]) << 16 |
                               (left > 1 ? static_cast<unsigned>(bytes[at + 1]) << 8 : 0u) |
                               (left > 2 ? static_cast<unsigned>(bytes[at + 2]) : 0u);
        text.push_back(kDigits[group >> 18]);
        text.push_back(kDigits[group >> 12 & 63]);
        text.push_back(left > 1 ? kDigits[group >> 6 & 63] : '=');
        text.push_back(left > 2 ? kDigits[group & 63] : '=');
    }
    return text;
}

} // namespace BE
