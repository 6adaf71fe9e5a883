// Small services that nodes ask of the host.
//
// Thread-safety: pure functions.
#pragma once

#include "Platform.h"
#include "norvik/utility/StringTypes.h"

#include <cstddef>

namespace BE
{

// Bytes as text: base64 with padding and without line breaks, so that different bytes never give the same
// text. No bytes give an empty text.
ML_EXPORT norvik::UTF8String EncodeBinaryDataToUTF8String(const void* inBytes, std::size_t inSize);

} // namespace BE
