#include "Tests/Applications/Robustness/Mutation.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace TestSupport
{

namespace
{

constexpr std::size_t kHeadBytes = 256;
constexpr std::size_t kLongestChunk = 8192;

// Most damage near a length of 1, some of it long.
std::size_t Length(Random& ioRandom, std::size_t inLimit)
{
    const std::size_t limit = std::min(inLimit, std::size_t{1} << Below(ioRandom, 14));
    return 1 + Below(ioRandom, std::max<std::size_t>(limit, 1));
}

struct Range
{
    std::size_t begin;
    std::size_t end;
};

Range AnyRange(Random& ioRandom, std::size_t inSize)
{
    const std::size_t begin = Below(ioRandom, inSize);
    return {begin, std::min(inSize, begin + Length(ioRandom, kLongestChunk))};
}

void FlipBits(Bytes& ioFile, Random& ioRandom, std::size_t inWithin)
{
    const std::size_t count = 1 + Below(ioRandom, std::size_t{1} << Below(ioRandom, 8));
    for (std::size_t i = 0; i < count; ++i)
    {
        ioFile[Below(ioRandom, inWithin)] ^= static_cast<unsigned char>(1u << Below(ioRandom, 8));
    }
}

void Overwrite(Bytes& ioFile, Random& ioRandom, std::size_t inWithin)
{
    const Range range = AnyRange(ioRandom, inWithin);
    const std::size_t kind = Below(ioRandom, 3);
    for (std::size_t i = range.begin; i < range.end; ++i)
    {
        ioFile[i] = kind == 0 ? 0x00 : kind == 1 ? 0xFF : static_cast<unsigned char>(ioRandom() & 0xFF);
    }
}

// Near the start, where headers break off, as often as anywhere.
void Truncate(Bytes& ioFile, Random& ioRandom)
{
    const std::size_t within =
        Below(ioRandom, 2) == 0 ? std::min<std::size_t>(ioFile.size(), 4096) : ioFile.size();
    ioFile.resize(Below(ioRandom, within));
}

auto At(Bytes& ioFile, std::size_t inPosition)
{
    return ioFile.begin() + static_cast<std::ptrdiff_t>(inPosition);
}

void Duplicate(Bytes& ioFile, Random& ioRandom)
{
    const Range range = AnyRange(ioRandom, ioFile.size());
    const Bytes chunk(At(ioFile, range.begin), At(ioFile, range.end));
    ioFile.insert(At(ioFile, Below(ioRandom, ioFile.size() + 1)), chunk.begin(), chunk.end());
}

void Remove(Bytes& ioFile, Random& ioRandom)
{
    const Range range = AnyRange(ioRandom, ioFile.size());
    ioFile.erase(At(ioFile, range.begin), At(ioFile, range.end));
}

void SwapBlocks(Bytes& ioFile, Random& ioRandom)
{
    const std::size_t length = std::min(Length(ioRandom, kLongestChunk), ioFile.size() / 2);
    const std::size_t one = Below(ioRandom, ioFile.size() / 2 - length + 1);
    const std::size_t other = ioFile.size() / 2 + Below(ioRandom, ioFile.size() / 2 - length + 1);
    std::swap_ranges(At(ioFile, one), At(ioFile, one + length), At(ioFile, other));
}

void ChangeSizes(Bytes& ioFile, Random& ioRandom)
{
    const std::vector<LengthField> fields = FindLengthFields(ioFile);
    if (fields.empty())
    {
        FlipBits(ioFile, ioRandom, ioFile.size());
        return;
    }
    static constexpr std::array<unsigned char, 5> kFills = {0x00, 0xFF, 0x7F, 0x80, 0x01};
    for (std::size_t count = 1 + Below(ioRandom, 3); count > 0; --count)
    {
        const LengthField field = fields[Below(ioRandom, fields.size())];
        unsigned char* const bytes = ioFile.data() + field.position;
        const std::size_t kind = Below(ioRandom, kFills.size() + 2);
        if (kind < kFills.size())
        {
            std::fill_n(bytes, field.bytes, kFills[kind]);
        }
        else if (kind == kFills.size())
        {
            bytes[Below(ioRandom, field.bytes)] = static_cast<unsigned char>(ioRandom() & 0xFF);
        }
        else
        {
            bytes[field.bytes - 1] = static_cast<unsigned char>(bytes[field.bytes - 1] + 1);
        }
    }
}

void Repeat(Bytes& ioFile, Random& ioRandom, void (*inDamage)(Bytes&, Random&))
{
    for (std::size_t count = 1 + Below(ioRandom, 4); count > 0 && ioFile.size() > 4; --count)
    {
        inDamage(ioFile, ioRandom);
    }
}

void Apply(Bytes& ioFile, Damage inDamage, Random& ioRandom)
{
    const std::size_t head = std::min(kHeadBytes, ioFile.size());
    switch (inDamage)
    {
    case Damage::kFlippedBits: return FlipBits(ioFile, ioRandom, ioFile.size());
    case Damage::kOverwrittenRanges:
        return Repeat(ioFile, ioRandom,
                      [](Bytes& ioBytes, Random& ioDice) { Overwrite(ioBytes, ioDice, ioBytes.size()); });
    case Damage::kTruncated: return Truncate(ioFile, ioRandom);
    case Damage::kDuplicatedChunks: return Repeat(ioFile, ioRandom, Duplicate);
    case Damage::kRemovedChunks: return Repeat(ioFile, ioRandom, Remove);
    case Damage::kSwappedBlocks: return Repeat(ioFile, ioRandom, SwapBlocks);
    case Damage::kHead:
        return Below(ioRandom, 2) == 0 ? FlipBits(ioFile, ioRandom, head) : Overwrite(ioFile, ioRandom, head);
    case Damage::kSizes: return ChangeSizes(ioFile, ioRandom);
    case Damage::kCount: break;
    }
    throw std::logic_error("no such damage");
}

bool IsCode(const unsigned char* inBytes)
{
    return std::all_of(inBytes, inBytes + 4, [](unsigned char inByte) { return std::isalnum(inByte) != 0; });
}

// Those elements of Matroska that hold others, or pictures; with the bytes of their names.
struct Element
{
    std::size_t bytes;
    std::array<unsigned char, 4> name;
};
constexpr std::array<Element, 9> kElements = {{{4, {0x1A, 0x45, 0xDF, 0xA3}},
                                               {4, {0x18, 0x53, 0x80, 0x67}},
                                               {4, {0x1F, 0x43, 0xB6, 0x75}},
                                               {4, {0x16, 0x54, 0xAE, 0x6B}},
                                               {4, {0x1C, 0x53, 0xBB, 0x6B}},
                                               {2, {0x63, 0xA2, 0, 0}},
                                               {1, {0xAE, 0, 0, 0}},
                                               {1, {0xE0, 0, 0, 0}},
                                               {1, {0xA3, 0, 0, 0}}}};

void FindElements(const Bytes& inFile, std::size_t inAt, std::vector<LengthField>& outFields)
{
    for (const Element& element : kElements)
    {
        if (std::memcmp(inFile.data() + inAt, element.name.data(), element.bytes) == 0)
        {
            outFields.push_back({inAt + element.bytes, element.bytes == 4 ? std::size_t{4} : std::size_t{1}});
        }
    }
}

}

const char* DamageName(Damage inDamage)
{
    static constexpr std::array<const char*, static_cast<std::size_t>(Damage::kCount)> kNames = {
        "FlippedBits",   "OverwrittenRanges", "Truncated", "DuplicatedChunks",
        "RemovedChunks", "SwappedBlocks",     "Head",      "Sizes"};
    return kNames.at(static_cast<std::size_t>(inDamage));
}

std::size_t Below(Random& ioRandom, std::size_t inLimit)
{
    return inLimit == 0 ? 0 : static_cast<std::size_t>(ioRandom() % inLimit);
}

std::vector<LengthField> FindLengthFields(const Bytes& inFile)
{
    std::vector<LengthField> fields;
    if (inFile.size() < 12)
    {
        return fields;
    }
    const bool isMatroska = inFile[0] == 0x1A && inFile[1] == 0x45;
    for (std::size_t at = 0; at + 12 <= inFile.size(); ++at)
    {
        const unsigned char* const bytes = inFile.data() + at;
        if (isMatroska)
        {
            FindElements(inFile, at, fields);
        }
        else if (bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 1 && bytes[3] >= 0xBA)
        {
            fields.push_back({at + 4, 2});
        }
        else if (bytes[0] == 0 && IsCode(bytes + 4))
        {
            fields.push_back({at, 4});
        }
        else if (IsCode(bytes) && bytes[7] == 0)
        {
            fields.push_back({at + 4, 4});
        }
    }
    return fields;
}

Bytes Damaged(const Bytes& inFile, Damage inDamage, Random& ioRandom)
{
    Bytes file = inFile;
    while (!file.empty() && file == inFile)
    {
        Apply(file, inDamage, ioRandom);
    }
    return file;
}

Bytes ReadBytes(const std::string& inPath)
{
    std::ifstream stream(inPath, std::ios::binary);
    if (!stream)
    {
        throw std::runtime_error("can't read " + inPath);
    }
    return Bytes(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void WriteBytes(const std::string& inPath, const Bytes& inBytes)
{
    std::ofstream stream(inPath, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(inBytes.data()), static_cast<std::streamsize>(inBytes.size()));
    if (!stream.flush())
    {
        throw std::runtime_error("can't write " + inPath);
    }
}

}
