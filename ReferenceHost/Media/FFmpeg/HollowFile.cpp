#include "ReferenceHost/Media/FFmpeg/HollowFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace Media
{

namespace
{

constexpr int kBufferBytes = 1 << 16;
constexpr int kMostAtoms = 4096; // a plain file has a handful at its top level

std::uint32_t BigEndian32(const std::uint8_t* inBytes)
{
    return (std::uint32_t{inBytes[0]} << 24) | (std::uint32_t{inBytes[1]} << 16) |
           (std::uint32_t{inBytes[2]} << 8) | std::uint32_t{inBytes[3]};
}

constexpr std::uint32_t Tag(char inA, char inB, char inC, char inD)
{
    return (static_cast<std::uint32_t>(inA) << 24) | (static_cast<std::uint32_t>(inB) << 16) |
           (static_cast<std::uint32_t>(inC) << 8) | static_cast<std::uint32_t>(inD);
}

}

HollowFile::~HollowFile()
{
    if (mSource)
    {
        av_freep(&mSource->buffer);
        avio_context_free(&mSource);
    }
    if (mFile >= 0)
    {
        close(mFile);
    }
}

bool HollowFile::Open(const std::string& inPath)
{
    mFile = open(inPath.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat facts = {};
    if (mFile < 0 || fstat(mFile, &facts) != 0 || !S_ISREG(facts.st_mode))
    {
        return false;
    }
    mSize = facts.st_size;
    if (!FindAtoms())
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
    bool hasTables = false;
    std::int64_t at = 0;
    for (int count = 0; at + 8 <= mSize && count < kMostAtoms; ++count)
    {
        std::uint8_t header[16] = {};
        if (pread(mFile, header, sizeof header, at) < 8)
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
        if (type == Tag('m', 'd', 'a', 't'))
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

int HollowFile::Read(void* inSelf, std::uint8_t* outBytes, int inCount)
{
    auto& self = *static_cast<HollowFile*>(inSelf);
    if (self.mPosition >= self.mSize)
    {
        return AVERROR_EOF;
    }
    std::int64_t count = std::min<std::int64_t>(inCount, self.mSize - self.mPosition);
    for (const auto& [begin, end] : self.mHollow)
    {
        if (self.mPosition >= begin && self.mPosition < end)
        {
            count = std::min(count, end - self.mPosition);
            std::memset(outBytes, 0, static_cast<std::size_t>(count));
            self.mPosition += count;
            return static_cast<int>(count);
        }
        if (self.mPosition < begin)
        {
            count = std::min(count, begin - self.mPosition);
            break;
        }
    }
    const ssize_t got = pread(self.mFile, outBytes, static_cast<std::size_t>(count), self.mPosition);
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
