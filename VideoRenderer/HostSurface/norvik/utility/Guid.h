#pragma once

#include "Platform.h"
#include "norvik/utility/StringTypes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace norvik::utility
{

class ImmutableString;

namespace detail
{

template <class Char>
constexpr int GuidDigitValue(Char inChar) noexcept
{
    if (inChar >= Char('0') && inChar <= Char('9'))
    {
        return static_cast<int>(inChar) - '0';
    }
    if (inChar >= Char('a') && inChar <= Char('f'))
    {
        return static_cast<int>(inChar) - 'a' + 10;
    }
    if (inChar >= Char('A') && inChar <= Char('F'))
    {
        return static_cast<int>(inChar) - 'A' + 10;
    }
    return -1;
}

// Reads the text form into the two halves; leaves them alone if the text is malformed.
template <class Char>
constexpr void ParseGuid(std::basic_string_view<Char> inText, uint64_t& outHi, uint64_t& outLo) noexcept
{
    if (inText.size() == 38 && inText.front() == Char('{') && inText.back() == Char('}'))
    {
        inText = inText.substr(1, 36);
    }
    if (inText.size() != 36)
    {
        return;
    }
    uint64_t halves[2] = {0, 0};
    size_t digits = 0;
    for (size_t index = 0; index < 36; ++index)
    {
        if (index == 8 || index == 13 || index == 18 || index == 23)
        {
            if (inText[index] != Char('-'))
            {
                return;
            }
            continue;
        }
        const int value = GuidDigitValue(inText[index]);
        if (value < 0)
        {
            return;
        }
        uint64_t& half = halves[digits / 16];
        half = (half << 4) | static_cast<uint64_t>(value);
        ++digits;
    }
    outHi = halves[0];
    outLo = halves[1];
}

} // namespace detail

// A 128-bit id or hash. mHi holds the first sixteen hexadecimal digits of the text, mLo the others, so that
// the numbers, the text and the bytes of GuidToBytes run in the same order. Default: zero, which stands for
// "none" and is never the key of anything.
//
// There is no operator<: two different orders are in use and each container names its own.
//
// Thread-safety: a value.
struct Guid
{
    uint64_t mHi = 0;
    uint64_t mLo = 0;

    constexpr Guid() noexcept = default;

    constexpr Guid(uint64_t inHi, uint64_t inLo) noexcept : mHi(inHi), mLo(inLo) {}

    // From the 36-character text, in either case, with or without braces. Anything else gives zero.
    // Usable in constant expressions, so that ids are there before any static constructor runs.
    constexpr explicit Guid(std::string_view inText) noexcept { detail::ParseGuid(inText, mHi, mLo); }

    constexpr explicit Guid(const char* inText) noexcept
    {
        if (inText != nullptr)
        {
            detail::ParseGuid(std::string_view(inText), mHi, mLo);
        }
    }

    constexpr explicit Guid(std::u16string_view inText) noexcept { detail::ParseGuid(inText, mHi, mLo); }

    ML_EXPORT explicit Guid(const ImmutableString& inText);

    // From the four groups of a component form; inTail are the last eight bytes in text order.
    constexpr Guid(uint32_t inFirst, uint16_t inSecond, uint16_t inThird, const uint8_t (&inTail)[8]) noexcept
        : mHi((static_cast<uint64_t>(inFirst) << 32) | (static_cast<uint64_t>(inSecond) << 16) | inThird)
    {
        for (const uint8_t byte : inTail)
        {
            mLo = (mLo << 8) | byte;
        }
    }

    // A random id of version 4, never zero. Throws std::system_error if the system has no random bytes.
    ML_EXPORT static Guid CreateUnique();

    // The sixteen bytes in text order, whatever the machine's byte order: stored hashes and hashes that pass
    // between modules are made of them.
    constexpr void GuidToBytes(uint8_t outBytes[16]) const noexcept
    {
        for (int index = 0; index < 8; ++index)
        {
            outBytes[index] = static_cast<uint8_t>(mHi >> (56 - 8 * index));
            outBytes[8 + index] = static_cast<uint8_t>(mLo >> (56 - 8 * index));
        }
    }

    static constexpr Guid FromBytes(const uint8_t (&inBytes)[16]) noexcept
    {
        Guid result;
        for (int index = 0; index < 8; ++index)
        {
            result.mHi = (result.mHi << 8) | inBytes[index];
            result.mLo = (result.mLo << 8) | inBytes[8 + index];
        }
        return result;
    }

    // The counterpart of the component constructor.
    constexpr void GuidToComponents(uint32_t& outFirst, uint16_t& outSecond, uint16_t& outThird,
                                    uint8_t (&outTail)[8]) const noexcept
    {
        outFirst = static_cast<uint32_t>(mHi >> 32);
        outSecond = static_cast<uint16_t>(mHi >> 16);
        outThird = static_cast<uint16_t>(mHi);
        for (int index = 0; index < 8; ++index)
        {
            outTail[index] = static_cast<uint8_t>(mLo >> (56 - 8 * index));
        }
    }

    // 36 characters, upper case, without braces.
    ML_EXPORT UTF8String AsUTF8String() const;
    ML_EXPORT WString AsString() const;

    constexpr bool IsZero() const noexcept { return (mHi | mLo) == 0; }

    friend constexpr bool operator==(const Guid& inLeft, const Guid& inRight) noexcept
    {
        return inLeft.mHi == inRight.mHi && inLeft.mLo == inRight.mLo;
    }

    friend constexpr bool operator!=(const Guid& inLeft, const Guid& inRight) noexcept
    {
        return !(inLeft == inRight);
    }
};

static_assert(sizeof(Guid) == 16, "ids are mixed into hashes and stored as sixteen bytes");

// The order of the two stored halves as unsigned numbers; the text's order.
struct GuidLessStored
{
    constexpr bool operator()(const Guid& inLeft, const Guid& inRight) const noexcept
    {
        return inLeft.mHi != inRight.mHi ? inLeft.mHi < inRight.mHi : inLeft.mLo < inRight.mLo;
    }
};

// The order of the two halves as signed numbers.
struct GuidLessSigned
{
    constexpr bool operator()(const Guid& inLeft, const Guid& inRight) const noexcept
    {
        const auto leftHi = static_cast<int64_t>(inLeft.mHi);
        const auto rightHi = static_cast<int64_t>(inRight.mHi);
        return leftHi != rightHi ? leftHi < rightHi
                                 : static_cast<int64_t>(inLeft.mLo) < static_cast<int64_t>(inRight.mLo);
    }
};

} // namespace norvik::utility

namespace TVK
{

using Guid = norvik::utility::Guid;

} // namespace TVK

template <>
struct std::hash<norvik::utility::Guid>
{
    // Ids are random or digests, but hand-made ones differ in a few digits only; the multiplication spreads
    // these over the buckets.
    size_t operator()(const norvik::utility::Guid& inGuid) const noexcept
    {
        uint64_t mixed = (inGuid.mHi ^ (inGuid.mLo >> 32) ^ (inGuid.mLo << 32)) * 0x9E3779B97F4A7C15u;
        return static_cast<size_t>(mixed ^ (mixed >> 32));
    }
};
