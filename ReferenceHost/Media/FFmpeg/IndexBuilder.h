#pragma once

#include <string>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/DecoderCursor.h"
#include "ReferenceHost/Media/FFmpeg/FrameIndex.h"
#include "ReferenceHost/Media/FFmpeg/PacketScan.h"

namespace Media
{

// Makes the index of a stream from its packets.
//
// 1. Where every packet has a time of showing, each its own, the order of these times is the order of the
//    frames.
// 2. Where a key frame isn't the first to be decoded and shown (a cut in an open group, a recording from the
//    air), the head is decoded to see which of the pictures before it come out; likewise the tail of a
//    truncated file.
// 3. Where the clock jumps, as in recordings joined end to end, it's set right first, and the pictures about
//    each joint are decoded to see which of them come out.
// 4. Everywhere else (elementary streams, AVI with B pictures) the file is decoded once, and its frames take
//    their times in order from the decoding times or a constant rate.
//
// Thread-safety: one thread at a time.
class IndexBuilder
{
public:
    // inInput: the stream is selected; its rates serve as candidates for the grid. ioNotes: gets what was
    // found odd.
    IndexBuilder(const DecoderSetup& inSetup, const MediaInput& inInput, std::vector<std::string>& ioNotes);

    // Takes the scan's packets. False, with outCause, when no frame can be had.
    bool Build(PacketScan&& inScan, FrameIndex& outIndex, std::string& outCause);

private:
    bool HasUsableTimes(const PacketTable& inPackets) const;
    bool OrderByTimes(PacketScan& ioScan, FrameIndex& outIndex);
    bool OrderByDecoding(FrameIndex& outIndex, std::string& outCause);
    bool MendClock(PacketTable& ioPackets);
    void CheckJoint(PacketTable& ioPackets, std::uint32_t inFirst);
    void CheckHead(PacketTable& ioPackets);
    void CheckTail(PacketTable& ioPackets);
    bool DecodedPackets(const PacketTable& inPackets, std::uint32_t inFrom, std::int64_t inUntilShown,
                        std::vector<std::uint32_t>& outPackets) const;
    std::vector<std::int64_t> TimesInOrder(const FrameIndex& inIndex) const;
    void SetTimes(const std::vector<std::int64_t>& inTimes, std::int64_t inLastDuration,
                  FrameIndex& ioIndex) const;
    bool FitsGrid(const std::vector<std::int64_t>& inTimes, AVRational inRate) const;
    AVRational FindRate(const std::vector<std::int64_t>& inTimes, bool& outIsGrid) const;

    const DecoderSetup& mSetup;
    const AVRational mTimeBase;
    const bool mClockMayJump; // by the nature of the container
    const std::vector<AVRational> mRates;
    std::vector<std::string>& mNotes;
};

}
