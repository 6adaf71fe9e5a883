#pragma once

#include <cstdint>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"
#include "ReferenceHost/Media/FFmpeg/PacketTable.h"

namespace Media
{

// The frames of a stream in the order in which they are shown, with their times and with the packet that
// decoding has to start from. A rank is a frame's number in that order; ticks count from the first frame.
//
// Where the times fit a constant rate, to within the rounding of the container's clock, frames stand on that
// grid exactly: in a file with a clock of milliseconds the third frame of 29.97 a second is stamped 67 ms,
// and a question for 2 * 1001/30000 s has to find it all the same.
//
// Thread-safety: safe once built.
class FrameIndex
{
public:
    struct Frame
    {
        std::int64_t startTicks;
        std::uint32_t packet; // ordinal of the packet that yields it
        std::uint32_t key;    // ordinal of the packet to start decoding from
    };

    PacketTable packets;
    std::vector<Frame> frames;
    std::int64_t endTicks = 0;
    bool hasGrid = false;
    Rational rate; // the mean where there is no grid

    std::int64_t Count() const noexcept { return static_cast<std::int64_t>(frames.size()); }

    const PacketRecord& RecordOf(std::int64_t inRank) const
    {
        return packets[frames[static_cast<std::size_t>(inRank)].packet];
    }

    // The rank of the frame that is shown at inTicks: the first one before the start, -1 at or past the end.
    std::int64_t RankAt(std::int64_t inTicks) const;

    // The rank of the frame that the packet yields, or -1.
    std::int64_t RankOf(std::uint32_t inPacket) const;

    // The first rank that comes out right when decoding starts from the key packet inKey: pictures which are
    // shown before it refer to what was decoded before it.
    std::int64_t FirstRankFrom(std::uint32_t inKey) const;

    // The first packet that may matter to frames from inRank on beyond being referred to.
    std::uint32_t FirstPacketFor(std::int64_t inRank) const;

    // The nearest key packet before inKey; the first packet if there is none.
    std::uint32_t KeyBefore(std::uint32_t inKey) const;

    // Of memory, those of the packets included.
    std::int64_t Bytes() const noexcept;

    // Fills what follows from `frames` and `packets`; call once.
    void Finish();

private:
    std::vector<std::int32_t> mRankOfPacket;
    std::vector<std::int64_t> mFirstRankFrom; // parallel to mKeys
    std::vector<std::uint32_t> mKeys;         // ascending
};

}
