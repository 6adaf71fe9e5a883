#pragma once

#include <cstdint>
#include <string>

#include "ReferenceHost/Media/FilePart.h"

struct AVIOContext;

namespace Media
{

// A part of a file as FFmpeg's libraries read it: they see nothing of what is around it.
//
// Thread-safety: one thread at a time.
class PartInput
{
public:
    PartInput() = default;
    ~PartInput();
    PartInput(const PartInput&) = delete;
    PartInput& operator=(const PartInput&) = delete;

    // False with errno set.
    bool Open(const std::string& inText);

    AVIOContext* Source() const noexcept { return mSource; }

private:
    static int Read(void* inSelf, std::uint8_t* outBytes, int inCount);
    static std::int64_t Seek(void* inSelf, std::int64_t inOffset, int inWhence);

    OpenedPart mFile;
    std::int64_t mPosition = 0;
    AVIOContext* mSource = nullptr;
};

}
