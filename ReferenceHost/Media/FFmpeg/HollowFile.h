#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct AVIOContext;

namespace Media
{

// An MP4 or QuickTime file whose media data reads as zeros without touching the disk.
//
// The tables of such a file tell place, size and time of every packet; a demuxer run over the hollow file
// yields them all at memory speed. Everything outside the `mdat` atoms is read truly. Files with movie
// fragments are not for this: their tables lie between the data.
//
// Thread-safety: one thread at a time.
class HollowFile
{
public:
    HollowFile() = default;
    ~HollowFile();
    HollowFile(const HollowFile&) = delete;
    HollowFile& operator=(const HollowFile&) = delete;

    // False if the file can't be read or isn't a plain one of that kind.
    bool Open(const std::string& inPath);

    AVIOContext* Source() const noexcept { return mSource; }

private:
    static int Read(void* inSelf, std::uint8_t* outBytes, int inCount);
    static std::int64_t Seek(void* inSelf, std::int64_t inOffset, int inWhence);
    bool FindAtoms();

    int mFile = -1;
    std::int64_t mSize = 0;
    std::int64_t mPosition = 0;
    std::vector<std::pair<std::int64_t, std::int64_t>> mHollow; // [begin, end) in ascending order
    AVIOContext* mSource = nullptr;
};

}
