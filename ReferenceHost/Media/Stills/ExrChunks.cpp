#include "ReferenceHost/Media/Stills/ExrChunks.h"

#include <cstring>
#include <iterator>
#include <string_view>

namespace Media
{

namespace
{

constexpr std::uint32_t kMagic = 20000630;
constexpr std::uint32_t kTiledFlag = 0x200;
constexpr std::uint32_t kDeepFlag = 0x800;
constexpr std::uint32_t kMultiPartFlag = 0x1000;

// Lines of a chunk by compression: none, RLE, ZIPS, ZIP, PIZ, PXR24, B44, B44A, DWAA, DWAB.
constexpr std::uint32_t kLinesOfChunk[] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256};

// Little-endian numbers one after the other; everything is 0 once the end was passed.
class Reader
{
public:
    Reader(const std::uint8_t* inBytes, std::size_t inSize) : mBytes(inBytes), mSize(inSize) {}

    template <class Number>
    Number Read()
    {
        Number number = 0;
        if (mSize - mAt < sizeof(number))
        {
            mIsPastEnd = true;
            mAt = mSize;
            return 0;
        }
        for (std::size_t i = 0; i < sizeof(number); ++i)
        {
            number = static_cast<Number>(number | static_cast<Number>(mBytes[mAt++]) << (8 * i));
        }
        return number;
    }

    std::string_view ReadText()
    {
        const void* end = mAt < mSize ? std::memchr(mBytes + mAt, 0, mSize - mAt) : nullptr;
        if (!end)
        {
            mIsPastEnd = true;
            mAt = mSize;
            return {};
        }
        const std::string_view text(reinterpret_cast<const char*>(mBytes + mAt));
        mAt += text.size() + 1;
        return text;
    }

    void GoTo(std::uint64_t inPlace)
    {
        mIsPastEnd = mIsPastEnd || inPlace > mSize;
        mAt = inPlace > mSize ? mSize : static_cast<std::size_t>(inPlace);
    }

    std::size_t Place() const noexcept { return mAt; }
    bool IsPastEnd() const noexcept { return mIsPastEnd; }

private:
    const std::uint8_t* mBytes;
    std::size_t mSize;
    std::size_t mAt = 0;
    bool mIsPastEnd = false;
};

struct Header
{
    std::uint64_t mWidth = 0;
    std::uint64_t mHeight = 0;
    std::uint32_t mCompression = 0;
    std::uint32_t mTileWidth = 0;
    std::uint32_t mTileHeight = 0;
    std::uint32_t mTileMode = 0;
};

// One side of a window, whose last line or column belongs to it.
std::uint64_t Extent(std::uint32_t inFirst, std::uint32_t inLast)
{
    const std::int64_t extent =
        std::int64_t{static_cast<std::int32_t>(inLast)} - static_cast<std::int32_t>(inFirst) + 1;
    return extent > 0 ? static_cast<std::uint64_t>(extent) : 0;
}

Header ReadHeader(Reader& ioReader)
{
    Header header;
    while (!ioReader.IsPastEnd())
    {
        const std::string_view name = ioReader.ReadText();
        if (name.empty())
        {
            break;
        }
        ioReader.ReadText();
        const auto size = ioReader.Read<std::uint32_t>();
        const std::size_t value = ioReader.Place();
        if (name == "dataWindow")
        {
            const auto left = ioReader.Read<std::uint32_t>();
            const auto top = ioReader.Read<std::uint32_t>();
            header.mWidth = Extent(left, ioReader.Read<std::uint32_t>());
            header.mHeight = Extent(top, ioReader.Read<std::uint32_t>());
        }
        else if (name == "compression")
        {
            header.mCompression = ioReader.Read<std::uint8_t>();
        }
        else if (name == "tiles")
        {
            header.mTileWidth = ioReader.Read<std::uint32_t>();
            header.mTileHeight = ioReader.Read<std::uint32_t>();
            header.mTileMode = ioReader.Read<std::uint8_t>();
        }
        ioReader.GoTo(std::uint64_t{value} + size);
    }
    return header;
}

// 0 where the header doesn't tell in a way that is understood here.
std::uint64_t CountChunks(const Header& inHeader, bool inIsTiled)
{
    if (!inIsTiled)
    {
        const bool isKnown = inHeader.mCompression < std::size(kLinesOfChunk);
        const std::uint64_t lines = isKnown ? kLinesOfChunk[inHeader.mCompression] : 0;
        return lines == 0 ? 0 : (inHeader.mHeight + lines - 1) / lines;
    }
    if (inHeader.mTileMode != 0 || inHeader.mTileWidth == 0 || inHeader.mTileHeight == 0)
    {
        return 0;
    }
    return (inHeader.mWidth + inHeader.mTileWidth - 1) / inHeader.mTileWidth *
           ((inHeader.mHeight + inHeader.mTileHeight - 1) / inHeader.mTileHeight);
}

} // namespace

bool IsTornExr(const std::uint8_t* inBytes, std::size_t inSize)
{
    Reader reader(inBytes, inSize);
    if (reader.Read<std::uint32_t>() != kMagic)
    {
        return false;
    }
    const auto flags = reader.Read<std::uint32_t>();
    if ((flags & (kDeepFlag | kMultiPartFlag)) != 0)
    {
        return false;
    }
    const bool isTiled = (flags & kTiledFlag) != 0;
    const Header header = ReadHeader(reader);
    const std::uint64_t chunks = CountChunks(header, isTiled);
    for (std::uint64_t chunk = 0; chunk < chunks && !reader.IsPastEnd(); ++chunk)
    {
        const auto place = reader.Read<std::uint64_t>();
        Reader lines(inBytes, inSize);
        // The number of the line, or the place of the tile in four numbers; then the size of what follows.
        lines.GoTo(place > inSize ? std::uint64_t{inSize} + 1 : place + (isTiled ? 16 : 4));
        const auto size = lines.Read<std::uint32_t>();
        lines.GoTo(std::uint64_t{lines.Place()} + size);
        if (lines.IsPastEnd())
        {
            return true;
        }
    }
    return reader.IsPastEnd();
}

DeclaredSize SizeOfExr(const std::uint8_t* inBytes, std::size_t inSize)
{
    Reader reader(inBytes, inSize);
    if (reader.Read<std::uint32_t>() != kMagic)
    {
        return {};
    }
    reader.Read<std::uint32_t>(); // flags
    const Header header = ReadHeader(reader);
    return {static_cast<std::int64_t>(header.mWidth), static_cast<std::int64_t>(header.mHeight)};
}

} // namespace Media
