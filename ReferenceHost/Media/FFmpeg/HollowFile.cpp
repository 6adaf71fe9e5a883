#include "ReferenceHost/Media/FFmpeg/HollowFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/MatroskaBlocks.h"

namespace Media
{

namespace
{

constexpr int kBufferBytes = 1 << 16;
constexpr int kMostAtoms = 4096;         // a plain file has a handful at its top level
constexpr int kMostChunks = 1 << 20;     // ten hours of frames
constexpr std::int64_t kRiffHeader = 12; // tag, size, and what it is a list of

std::uint32_t BigEndian32(const std::uint8_t* inBytes)
{
    return (std::uint32_t{inBytes[0]} << 24) | (std::uint32_t{inBytes[1]} << 16) |
           (std::uint32_t{inBytes[2]} << 8) | std::uint32_t{inBytes[3]};
}

std::uint32_t LittleEndian32(const std::uint8_t* inBytes)
{
    return (std::uint32_t{inBytes[3]} << 24) | (std::uint32_t{inBytes[2]} << 16) |
           (std::uint32_t{inBytes[1]} << 8) | std::uint32_t{inBytes[0]};
}

constexpr std::uint32_t Tag(char inA, char inB, char inC, char inD)
{
    return (static_cast<std::uint32_t>(inA) << 24) | (static_cast<std::uint32_t>(inB) << 16) |
           (static_cast<std::uint32_t>(inC) << 8) | static_cast<std::uint32_t>(inD);
}

bool IsTag(const std::uint8_t* inTag)
{
    return std::all_of(inTag, inTag + 4,
                       [](std::uint8_t inCharacter) { return inCharacter >= ' ' && inCharacter <= '~'; });
}

// 00dc or 00db, 01dc ...: the number of a stream and what there is of it.
bool IsVideoChunk(const std::uint8_t* inTag)
{
    const auto isDigit = [](std::uint8_t inCharacter) { return inCharacter >= '0' && inCharacter <= '9'; };
    return isDigit(inTag[0]) && isDigit(inTag[1]) && inTag[2] == 'd' && (inTag[3] == 'c' || inTag[3] == 'b');
}

}

HollowFile::~HollowFile()
{
    if (mSource)
    {
        av_freep(&mSource->buffer);
        avio_context_free(&mSource);
    }
}

bool HollowFile::Open(const std::string& inPath)
{
    if (!mFile.Open(inPath) || mFile.Size() < 0)
    {
        return false;
    }
    mSize = mFile.Size();
    if (FindMatroskaBlocks(mFile, mHollow))
    {
        mHeadBytes = kMatroskaBlockHead;
    }
    else if (!FindAtoms() && !FindRiffs())
    {
        return false;
    }
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(kBufferBytes));
    if (buffer)
    {
        mSource =
            avio_alloc_context(buffer, kBufferBytes, 0, this, &HollowFile::Read, nullptr, &HollowFile::Seek);
    }
    return mSource != nullptr;
}

bool HollowFile::FindAtoms()
{
    mHollow.clear();
    bool hasTables = false;
    std::int64_t at = 0;
    for (int count = 0; at + 8 <= mSize && count < kMostAtoms; ++count)
    {
        std::uint8_t header[16] = {};
        if (mFile.Read(header, sizeof header, at) < 8)
        {
            return false;
        }
        std::int64_t size = BigEndian32(header);
        const std::uint32_t type = BigEndian32(header + 4);
        std::int64_t headerSize = 8;
        if (size == 1)
        {
            size = static_cast<std::int64_t>((std::uint64_t{BigEndian32(header + 8)} << 32) |
                                             BigEndian32(header + 12));
            headerSize = 16;
        }
        else if (size == 0)
        {
            size = mSize - at;
        }
        if (size < headerSize || type == Tag('m', 'o', 'o', 'f') || type == Tag('s', 'i', 'd', 'x'))
        {
            return false;
        }
        hasTables = hasTables || type == Tag('m', 'o', 'o', 'v');
        if (type == Tag('m', 'd', 'a', 't') && size > headerSize)
        {
            mHollow.emplace_back(at + headerSize, std::min(mSize - at, size) + at);
        }
        if (size > mSize - at)
        {
            break;
        }
        at += size;
    }
    return hasTables && !mHollow.empty();
}

// A file of more than a gigabyte is several RIFF lists in a row.
bool HollowFile::FindRiffs()
{
    mHollow.clear();
    std::int64_t at = 0;
    while (at + kRiffHeader <= mSize)
    {
        std::uint8_t header[kRiffHeader] = {};
        if (mFile.Read(header, sizeof header, at) != kRiffHeader)
        {
            return false;
        }
        const std::uint32_t kind = BigEndian32(header + 8);
        const bool isMore = at > 0 && kind == Tag('A', 'V', 'I', 'X');
        if (BigEndian32(header) != Tag('R', 'I', 'F', 'F') || !(isMore || kind == Tag('A', 'V', 'I', ' ')))
        {
            return false;
        }
        const std::int64_t size = LittleEndian32(header + 4);
        if (!FindChunks(at + kRiffHeader, std::min(at + 8 + size, mSize), ListKind::kFile))
        {
            return false;
        }
        at += 8 + size + size % 2;
    }
    return !mHollow.empty();
}

// False where something else than a chunk stands, or a chunk neither ends within the list nor with a torn file.
bool HollowFile::FindChunks(std::int64_t inBegin, std::int64_t inEnd, ListKind inKind)
{
    std::int64_t at = inBegin;
    while (at + 8 <= inEnd)
    {
        std::uint8_t header[kRiffHeader] = {};
        if (mFile.Read(header, sizeof header, at) < 8 || !IsTag(header) || ++mChunks > kMostChunks)
        {
            return false;
        }
        const std::int64_t size = LittleEndian32(header + 4);
        const std::int64_t end = std::min(at + 8 + size, mSize);
        if (end > inEnd)
        {
            return false;
        }
        const std::uint32_t list =
            BigEndian32(header) == Tag('L', 'I', 'S', 'T') ? BigEndian32(header + 8) : 0;
        const bool isMovie = inKind == ListKind::kFile && list == Tag('m', 'o', 'v', 'i');
        const bool isRecord = inKind == ListKind::kMovie && list == Tag('r', 'e', 'c', ' ');
        if ((isMovie || isRecord) &&
            !FindChunks(at + kRiffHeader, end, isMovie ? ListKind::kMovie : ListKind::kRecord))
        {
            return false;
        }
        if (inKind != ListKind::kFile && IsVideoChunk(header) && end > at + 8)
        {
            mHollow.emplace_back(at + 8, end);
        }
        at += 8 + size + size % 2;
    }
    return true;
}

// The area at inPosition, or else the next one; null behind the last.
const HollowFile::Area* HollowFile::AreaFrom(std::int64_t inPosition) const noexcept
{
    const auto area =
        std::upper_bound(mHollow.begin(), mHollow.end(), inPosition,
                         [](std::int64_t inAt, const Area& inArea) { return inAt < inArea.second; });
    return area == mHollow.end() ? nullptr : &*area;
}

bool HollowFile::IsWholeArea(std::int64_t inPlace, std::int64_t inBytes) const noexcept
{
    const std::int64_t begin = inPlace + mHeadBytes;
    const Area* area = AreaFrom(begin);
    return area != nullptr && area->first == begin && area->second - area->first == inBytes;
}

int HollowFile::Read(void* inSelf, std::uint8_t* outBytes, int inCount)
{
    auto& self = *static_cast<HollowFile*>(inSelf);
    if (self.mPosition >= self.mSize)
    {
        return AVERROR_EOF;
    }
    std::int64_t count = std::min<std::int64_t>(inCount, self.mSize - self.mPosition);
    const Area* area = self.AreaFrom(self.mPosition);
    if (area != nullptr && area->first <= self.mPosition)
    {
        count = std::min(count, area->second - self.mPosition);
        if (inCount <= kBufferBytes)
        {
            std::memset(outBytes, 0, static_cast<std::size_t>(count));
        }
        self.mPosition += count;
        return static_cast<int>(count);
    }
    if (area != nullptr)
    {
        count = std::min(count, area->first - self.mPosition);
    }
    const std::ptrdiff_t got = self.mFile.Read(outBytes, static_cast<std::size_t>(count), self.mPosition);
    if (got <= 0)
    {
        return got == 0 ? AVERROR_EOF : AVERROR(EIO);
    }
    self.mPosition += got;
    return static_cast<int>(got);
}

std::int64_t HollowFile::Seek(void* inSelf, std::int64_t inOffset, int inWhence)
{
    auto& self = *static_cast<HollowFile*>(inSelf);
    const int whence = inWhence & ~AVSEEK_FORCE;
    if (whence == AVSEEK_SIZE)
    {
        return self.mSize;
    }
    const std::int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? self.mPosition : self.mSize;
    if (inOffset < -base)
    {
        return AVERROR(EINVAL);
    }
    self.mPosition = base + inOffset;
    return self.mPosition;
}

}
