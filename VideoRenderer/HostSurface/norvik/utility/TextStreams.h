#pragma once

#include "norvik/utility/StringTypes.h"

#include <locale>
#include <sstream>

// Text streams that always use the classic locale: numbers in hashed or stored text must not change with the
// language of the session or of the application around us.
//
// Thread-safety: as std::stringstream.
namespace norvik
{

template <class Char, class Base>
class ClassicStream : public Base
{
public:
    using String = std::basic_string<Char, std::char_traits<Char>, utility::STLAllocator<Char>>;

    ClassicStream() { this->imbue(std::locale::classic()); }

    explicit ClassicStream(const String& inText) : Base(inText) { this->imbue(std::locale::classic()); }
};

using oUTF8StringStream =
    ClassicStream<char, std::basic_ostringstream<char, std::char_traits<char>, utility::STLAllocator<char>>>;
using iUTF8StringStream =
    ClassicStream<char, std::basic_istringstream<char, std::char_traits<char>, utility::STLAllocator<char>>>;

} // namespace norvik
