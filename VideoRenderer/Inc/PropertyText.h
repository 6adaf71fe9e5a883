// Values of all kinds as the text of a node's property.
//
// The texts are hashed, so they depend on neither locale nor machine, and each kind has one form in the whole
// graph. Functions say in their name what they write; there is none that picks a form by overload.
//
// Thread-safety: pure functions.
#pragma once

#include "norvik/utility/Guid.h"
#include "norvik/utility/StringTypes.h"
#include "norviktypes/TickTime.h"

#include <cstddef>
#include <cstdint>

namespace ML::PropertyText
{

using norvik::UTF8String;

// "0" or "1".
UTF8String OfTruth(bool inValue);
// "false" or "true", for the one property whose readers compare its text with "true".
UTF8String OfTruthInWords(bool inValue);
// A flag that is kept as a byte: its number.
UTF8String OfByteFlag(std::uint8_t inValue);

UTF8String OfInt32(std::int32_t inValue);
UTF8String OfUInt32(std::uint32_t inValue);
UTF8String OfInt64(std::int64_t inValue);
UTF8String OfUInt64(std::uint64_t inValue);
// Ticks.
UTF8String OfTime(const norviktypes::TickTime& inValue);

// Seventeen significant digits, as "%.17g" writes them in the "C" locale: enough to tell any two apart.
UTF8String OfDouble(double inValue);

// 36 characters, upper case.
UTF8String OfGuid(const norvik::utility::Guid& inValue);
UTF8String OfWideText(const norvik::WString& inValue);
// As the host encodes bytes.
UTF8String OfBinary(const void* inBytes, std::size_t inSize);

} // namespace ML::PropertyText
