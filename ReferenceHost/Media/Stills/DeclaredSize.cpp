#include "ReferenceHost/Media/Stills/DeclaredSize.h"

#include "ReferenceHost/Media/Stills/ExrChunks.h"

#include <cstdlib>

namespace Media
{

namespace
{

// Numbers of one byte order at given places; 0 beyond the end.
class Bytes
{
public:
    Bytes(const std::uint8_t* inBytes, std::size_t inSize, bool inIsBigEndian)
        : mBytes(inBytes)
        , mSize(inSize)
        , mIsBigEndian(inIsBigEndian)
    {
    }

    std::uint32_t Number(std::uint64_t inPlace, std::uint32_t inCount) const
    {
        std::uint32_t number = 0;
        for (std::uint32_t i = 0; Has(inPlace, inCount) && i < inCount; ++i)
        {
            const std::uint32_t shift = 8 * (mIsBigEndian ? inCount - 1 - i : i);
            number |= std::uint32_t{mBytes[inPlace + i]} << shift;
        }
        return number;
    }

    std::uint32_t Number16(std::uint64_t inPlace) const { return Number(inPlace, 2); }
    std::uint32_t Number32(std::uint64_t inPlace) const { return Number(inPlace, 4); }

    bool Has(std::uint64_t inPlace, std::uint64_t inCount) const
    {
        return inPlace <= mSize && inCount <= mSize - inPlace;
    }

private:
    const std::uint8_t* mBytes;
    std::size_t mSize;
    bool mIsBigEndian;
};

DeclaredSize SizeOfJpeg(const Bytes& inFile)
{
    std::uint64_t at = 2;
    while (inFile.Has(at, 9) && inFile.Number(at, 1) == 0xFF)
    {
        const std::uint32_t marker = inFile.Number(at + 1, 1);
        if (marker == 0xFF)
        {
            ++at; // markers may be filled up
            continue;
        }
        const bool isTable = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
        if (marker >= 0xC0 && marker <= 0xCF && !isTable)
        {
            return {inFile.Number16(at + 7), inFile.Number16(at + 5)};
        }
        at += 2 + std::uint64_t{inFile.Number16(at + 2)};
    }
    return {};
}

DeclaredSize SizeOfTiff(const Bytes& inFile)
{
    constexpr std::uint32_t kWidthTag = 256;
    constexpr std::uint32_t kHeightTag = 257;
    constexpr std::uint32_t kShortType = 3;
    DeclaredSize size;
    const std::uint64_t directory = inFile.Number32(4);
    const std::uint32_t count = inFile.Number16(directory);
    for (std::uint32_t entry = 0; entry < count; ++entry)
    {
        const std::uint64_t at = directory + 2 + std::uint64_t{12} * entry;
        const std::uint32_t tag = inFile.Number16(at);
        const bool isShort = inFile.Number16(at + 2) == kShortType;
        const std::int64_t value = isShort ? inFile.Number16(at + 8) : inFile.Number32(at + 8);
        size.mWidth = tag == kWidthTag ? value : size.mWidth;
        size.mHeight = tag == kHeightTag ? value : size.mHeight;
    }
    return size;
}

DeclaredSize SizeOfBmp(const Bytes& inFile)
{
    constexpr std::uint32_t kShortHeader = 12;
    if (inFile.Number32(14) == kShortHeader)
    {
        return {inFile.Number16(18), inFile.Number16(20)};
    }
    // Rows from the top are told by a negative height.
    const auto height = static_cast<std::int32_t>(inFile.Number32(22));
    return {static_cast<std::int32_t>(inFile.Number32(18)), std::llabs(height)};
}

} // namespace

DeclaredSize ReadDeclaredSize(const std::uint8_t* inBytes, std::size_t inSize)
{
    const Bytes big(inBytes, inSize, true);
    const Bytes little(inBytes, inSize, false);
    switch (big.Number32(0))
    {
    case 0x89504E47: return {big.Number32(16), big.Number32(20)};         // PNG
    case 0x53445058: return {big.Number32(772), big.Number32(776)};       // DPX
    case 0x58504453: return {little.Number32(772), little.Number32(776)}; // DPX
    case 0x4D4D002A: return SizeOfTiff(big);                              // TIFF
    case 0x49492A00: return SizeOfTiff(little);                           // TIFF
    case 0x762F3101: return SizeOfExr(inBytes, inSize);                   // EXR
    default: break;
    }
    if (big.Number(0, 3) == 0xFFD8FF)
    {
        return SizeOfJpeg(big);
    }
    return big.Number16(0) == 0x424D ? SizeOfBmp(little) : DeclaredSize{};
}

} // namespace Media
