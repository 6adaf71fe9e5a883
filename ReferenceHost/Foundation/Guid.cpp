#include "norvik/utility/Guid.h"

#include "norvik/utility/Strings.h"

#include <cerrno>
#include <sys/random.h>
#include <system_error>

namespace norvik::utility
{

namespace
{

template <class String>
String WriteGuid(const Guid& inGuid)
{
    using Char = typename String::value_type;
    uint8_t bytes[16];
    inGuid.GuidToBytes(bytes);
    String text;
    text.reserve(36);
    for (int index = 0; index < 16; ++index)
    {
        if (index == 4 || index == 6 || index == 8 || index == 10)
        {
            text.push_back(Char('-'));
        }
        text.push_back(static_cast<Char>("0123456789ABCDEF"[bytes[index] >> 4]));
        text.push_back(static_cast<Char>("0123456789ABCDEF"[bytes[index] & 15]));
    }
    return text;
}

void FillRandom(uint8_t* outBytes, size_t inSize)
{
    size_t filled = 0;
    while (filled < inSize)
    {
        const ssize_t got = getrandom(outBytes + filled, inSize - filled, 0);
        if (got >= 0)
        {
            filled += static_cast<size_t>(got);
        }
        else if (errno != EINTR)
        {
            throw std::system_error(errno, std::generic_category(), "no random bytes for an id");
        }
    }
}

} // namespace

Guid::Guid(const ImmutableString& inText) : Guid(inText.View()) {}

Guid Guid::CreateUnique()
{
    uint8_t bytes[16];
    FillRandom(bytes, sizeof(bytes));
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);
    return FromBytes(bytes);
}

UTF8String Guid::AsUTF8String() const
{
    return WriteGuid<UTF8String>(*this);
}

WString Guid::AsString() const
{
    return WriteGuid<WString>(*this);
}

} // namespace norvik::utility
