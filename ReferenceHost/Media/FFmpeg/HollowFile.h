#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ReferenceHost/Media/FilePart.h"

struct AVIOContext;

namespace Media
{

// An MP4, QuickTime, AVI or Matroska file whose media data is passed over without touching the disk.
//
// Such a file tells place, size and time of every packet outside of the packets themselves; a demuxer run over
// the hollow file yields them all in no time. Everything outside of the hollow areas is read truly; inside of
// them short stretches read as zeros, and long ones, which go straight into a packet, leave in it what is
// there.
//
// Of MP4 and QuickTime the `mdat` atoms are hollow. Files with movie fragments are not for this: their tables
// lie between the data. Of AVI each chunk of video is a hollow area of its own, found by the headers from one
// chunk to the next; a demuxer that keeps to the chunks meets the same headers as in the whole file.
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

    // Whether a packet at that place is one hollow area, from its first byte to its last. Of a Matroska frame the
    // demuxer tells the place of the block around it.
    bool IsWholeArea(std::int64_t inPlace, std::int64_t inBytes) const noexcept;
    std::size_t AreaCount() const noexcept { return mHollow.size(); }

private:
    using Area = std::pair<std::int64_t, std::int64_t>; // [begin, end)

    enum class ListKind
    {
        kFile,
        kMovie,
        kRecord // within a movie
    };

    static int Read(void* inSelf, std::uint8_t* outBytes, int inCount);
    static std::int64_t Seek(void* inSelf, std::int64_t inOffset, int inWhence);
    bool FindAtoms();
    bool FindRiffs();
    bool FindChunks(std::int64_t inBegin, std::int64_t inEnd, ListKind inKind);
    const Area* AreaFrom(std::int64_t inPosition) const noexcept;

    OpenedPart mFile;
    std::int64_t mSize = 0;
    std::int64_t mPosition = 0;
    std::vector<Area> mHollow; // in ascending order, none empty
    int mChunks = 0;
    std::int64_t mHeadBytes = 0; // from the place that is told of a packet to its area
    AVIOContext* mSource = nullptr;
};

}
