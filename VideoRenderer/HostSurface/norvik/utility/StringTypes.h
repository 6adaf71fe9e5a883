#pragma once

#include "norvik/utility/Memory.h"

#include <string>

// The two string types: eight-bit text is always UTF-8; wide text is UTF-16 and serves paths and text that a
// user reads. wchar_t has 32 bits on this platform and is not used.
//
// Thread-safety: as std::string.
namespace norvik
{

using UTF8String = std::basic_string<char, std::char_traits<char>, utility::STLAllocator<char>>;
using WString = std::basic_string<char16_t, std::char_traits<char16_t>, utility::STLAllocator<char16_t>>;

} // namespace norvik
