// Pictures of bare video that are left in their file until rows of them are looked at.
//
// A picture of megabytes that is read ahead of time has left the caches when it is converted: it goes through memory
// twice more than it must, and memory is what two processors wait for. A few rows, read right before they are
// converted, stay in the second-level cache. Read ahead are the bytes alone, into the memory of the system, where they
// aren't there already: nobody who draws shall wait for a disk.
//
// The file must not be changed meanwhile. Rows of one that was cut short can't be read; that is logged, once for
// a file.
//
// Thread-safety: all is safe for any number of threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "ReferenceHost/Media/FFmpeg/DirectReader.h"

struct AVFrame;

namespace Media
{

// Where the planes of all pictures of a file lie in their packets.
struct BareLayout;

class BarePicture
{
public:
    // Rows that are read at once, and then converted. They and those around them, of some pictures in turn, have room
    // in the second-level cache.
    static constexpr std::uint32_t kMostRows = 32;

    // inNumber: what messages call it.
    BarePicture(std::shared_ptr<const BareLayout> inLayout, const PacketRecord& inRecord,
                std::int64_t inNumber);

    // Format, size, colour and line sizes, without samples.
    const AVFrame& Shape() const noexcept;

    // Waits until the system has it in its memory. False unless it's there whole, and the one that was listed. Throws
    // std::bad_alloc.
    bool Fetch() const;

    // Whether it's there already, without waiting for it.
    bool IsFetched() const;

    // Rows inFirst to inFirst + inCount - 1, which are kMostRows at most, among those that converting them may look
    // at: a picture of its own, whose first row is row outTop of the whole one. Valid until the calling thread asks
    // eight others for rows. Null if they can't be read. Throws std::bad_alloc.
    const AVFrame* ReadRows(int inFirst, int inCount, int& outTop) const;

private:
    struct Window;

    Window& WindowOfThread() const;
    bool Fill(Window& ioWindow, int inTop, int inBottom) const;
    bool FillPlane(Window& ioWindow, std::size_t inPlane, int inTop, int inBottom, int inFrom) const;
    void SayThatItIsGone() const;

    const std::shared_ptr<const BareLayout> mLayout;
    const PacketRecord mRecord;
    const std::int64_t mNumber;
    const std::uint64_t mID;
};
using BarePicturePtr = std::shared_ptr<const BarePicture>;

// The pictures of one file.
class BarePictures
{
public:
    // Finds out from a picture that was decoded how all of them lie in their packets, if they do. inReader: null where
    // there can be none. inPath: what messages call the file. Throws std::bad_alloc, and has learned nothing then.
    void LearnFrom(const AVFrame& inPicture, const PacketRecord& inRecord,
                   const std::shared_ptr<const DirectReader>& inReader, const std::string& inPath);

    bool HasLearned() const noexcept { return mHasLearned; }

    // Whether they can be read so. False before that is learned.
    bool AreKnown() const noexcept { return mHasLearned && mLayout; }

    // Null unless the layout is known. The picture isn't fetched yet.
    BarePicturePtr Find(const PacketRecord& inRecord, std::int64_t inNumber) const;

private:
    std::atomic<bool> mHasLearned{false};
    std::shared_ptr<const BareLayout>
        mLayout; // not written any more once that is true; null: can't be read so
};

} // namespace Media
