#include "ReferenceHost/Media/FFmpeg/PartInput.h"

#include <cerrno>
#include <cstdio>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace Media
{

namespace
{

// As large as what the libraries' own files read at once.
constexpr int kBufferBytes = 1 << 15;

}

PartInput::~PartInput()
{
    if (mSource)
    {
        av_freep(&mSource->buffer);
        avio_context_free(&mSource);
    }
}

bool PartInput::Open(const std::string& inText)
{
    if (!mFile.Open(inText))
    {
        return false;
    }
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(kBufferBytes));
    mSource = buffer ? avio_alloc_context(buffer, kBufferBytes, 0, this, &PartInput::Read, nullptr,
                                          &PartInput::Seek)
                     : nullptr;
    if (!mSource)
    {
        av_free(buffer);
        errno = ENOMEM;
    }
    return mSource != nullptr;
}

int PartInput::Read(void* inSelf, std::uint8_t* outBytes, int inCount)
{
    auto& self = *static_cast<PartInput*>(inSelf);
    const std::ptrdiff_t got = self.mFile.Read(outBytes, static_cast<std::size_t>(inCount), self.mPosition);
    if (got <= 0)
    {
        return got == 0 ? AVERROR_EOF : AVERROR(errno);
    }
    self.mPosition += got;
    return static_cast<int>(got);
}

std::int64_t PartInput::Seek(void* inSelf, std::int64_t inOffset, int inWhence)
{
    auto& self = *static_cast<PartInput*>(inSelf);
    const int whence = inWhence & ~AVSEEK_FORCE;
    if (whence == AVSEEK_SIZE)
    {
        return self.mFile.Size();
    }
    const std::int64_t base = whence == SEEK_SET   ? 0
                              : whence == SEEK_CUR ? self.mPosition
                                                   : self.mFile.Size();
    if (inOffset < -base)
    {
        return AVERROR(EINVAL);
    }
    self.mPosition = base + inOffset;
    return self.mPosition;
}

}
