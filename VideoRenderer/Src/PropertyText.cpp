#include "PropertyText.h"

#include "BE/Utilities.h"
#include "norvik/utility/Strings.h"

#include <charconv>

namespace ML::PropertyText
{

namespace
{

constexpr int kSignificantDigits = 17;

// Longer than any number here: a sign, 20 digits, a point, an exponent of three digits.
using NumberBuffer = char[40];

template <class Integer>
UTF8String OfInteger(Integer inValue)
{
    NumberBuffer buffer;
    return UTF8String(buffer, std::to_chars(buffer, buffer + sizeof(buffer), inValue).ptr);
}

} // namespace

UTF8String OfTruth(bool inValue)
{
    return inValue ? "1" : "0";
}

UTF8String OfTruthInWords(bool inValue)
{
    return inValue ? "true" : "false";
}

UTF8String OfByteFlag(std::uint8_t inValue)
{
    return OfInteger(static_cast<unsigned>(inValue));
}

UTF8String OfInt32(std::int32_t inValue)
{
    return OfInteger(inValue);
}

UTF8String OfUInt32(std::uint32_t inValue)
{
    return OfInteger(inValue);
}

UTF8String OfInt64(std::int64_t inValue)
{
    return OfInteger(inValue);
}

UTF8String OfUInt64(std::uint64_t inValue)
{
    return OfInteger(inValue);
}

UTF8String OfTime(const norviktypes::TickTime& inValue)
{
    return OfInteger(inValue.GetTicks());
}

UTF8String OfDouble(double inValue)
{
    NumberBuffer buffer;
    return UTF8String(buffer, std::to_chars(buffer, buffer + sizeof(buffer), inValue,
                                            std::chars_format::general, kSignificantDigits)
                                  .ptr);
}

UTF8String OfGuid(const norvik::utility::Guid& inValue)
{
    return inValue.AsUTF8String();
}

UTF8String OfWideText(const norvik::WString& inValue)
{
    return norvik::utility::UTF16to8(inValue);
}

UTF8String OfBinary(const void* inBytes, std::size_t inSize)
{
    return BE::EncodeBinaryDataToUTF8String(inBytes, inSize);
}

} // namespace ML::PropertyText
