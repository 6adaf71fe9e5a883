#pragma once

#include <cstdint>
#include <vector>

struct AVPacket;

namespace Media
{

inline constexpr std::int64_t kNoTimestamp = INT64_MIN;

// One packet of the video stream as the container gives it. An ordinal is a packet's number in that order,
// which is also the order of decoding.
struct PacketRecord
{
    std::int64_t position = -1;      // in the file
    std::int64_t pts = kNoTimestamp; // in the stream's time base
    std::int64_t dts = kNoTimestamp;
    std::int32_t size = 0;
    std::uint32_t hash = 0; // of some of the content; 0 where the content wasn't read
    std::int32_t duration = 0;
    bool isKey : 1 = false;         // decoding may start here
    bool isDiscarded : 1 = false;   // decoded, and not shown (outside of an edit list's spans)
    bool yieldsNoFrame : 1 = false; // second field of a frame, or a picture that is never shown
    bool isCorrupt : 1 = false;
};

// Bytes at each end of a packet that its hash is of.
inline constexpr int kHashedEnd = 48;

// Whether a packet of that record, of two ends at least, begins with inHead and ends with inTail, kHashedEnd bytes
// each. True where the content wasn't read.
bool HasEnds(const PacketRecord& inRecord, const std::uint8_t* inHead, const std::uint8_t* inTail);

// Whether inPacket is the one of inRecord, by its place, size and content.
bool IsPacketOf(const PacketRecord& inRecord, const AVPacket& inPacket);

// All packets of a stream, and the recognition of one of them after a seek.
//
// Demuxers land where they like and tell the time in their own way after a seek, so a packet is recognised by
// its place in the file, size and content rather than by its timestamps.
//
// Thread-safety: safe once built.
class PacketTable
{
public:
    void Reserve(std::uint32_t inCount) { mPackets.reserve(inCount); }
    void Append(const AVPacket& inPacket, bool inHasContent);
    void Finish(); // call once, after the last Append

    std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(mPackets.size()); }
    const PacketRecord& operator[](std::uint32_t inOrdinal) const noexcept { return mPackets[inOrdinal]; }
    PacketRecord& operator[](std::uint32_t inOrdinal) noexcept { return mPackets[inOrdinal]; }

    // Of memory.
    std::int64_t Bytes() const noexcept
    {
        return static_cast<std::int64_t>(mPackets.capacity() * sizeof(PacketRecord) +
                                         mByPosition.capacity() * sizeof(mByPosition[0]));
    }

    bool Matches(std::uint32_t inOrdinal, const AVPacket& inPacket) const;

    // The ordinal of inPacket, or -1 if it isn't one of these.
    std::int64_t Find(const AVPacket& inPacket) const;

private:
    std::vector<PacketRecord> mPackets;
    std::vector<std::uint32_t> mByPosition; // empty where ordinals ascend with positions
};

}
