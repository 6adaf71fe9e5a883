#include "ReferenceHost/Media/FFmpeg/PacketTable.h"

#include <algorithm>
#include <numeric>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace Media
{

namespace
{

std::uint32_t HashBytes(const std::uint8_t* inBytes, int inCount, std::uint32_t inHash)
{
    for (int index = 0; index < inCount; ++index)
    {
        inHash = (inHash ^ inBytes[index]) * 16777619u;
    }
    return inHash;
}

// Head and tail tell packets apart: they hold the picture's number and the last of its entropy-coded bits.
std::uint32_t HashEnds(const std::uint8_t* inHead, int inHeadBytes, const std::uint8_t* inTail,
                       int inTailBytes)
{
    const std::uint32_t hash = HashBytes(inTail, inTailBytes, HashBytes(inHead, inHeadBytes, 2166136261u));
    return hash == 0 ? 1 : hash;
}

std::uint32_t HashPacket(const AVPacket& inPacket)
{
    const int head = std::min(inPacket.size, kHashedEnd);
    const int tail = std::min(inPacket.size - head, kHashedEnd);
    return HashEnds(inPacket.data, head, inPacket.data + inPacket.size - tail, tail);
}

}

bool HasEnds(const PacketRecord& inRecord, const std::uint8_t* inHead, const std::uint8_t* inTail)
{
    return inRecord.hash == 0 || inRecord.hash == HashEnds(inHead, kHashedEnd, inTail, kHashedEnd);
}

bool IsPacketOf(const PacketRecord& inRecord, const AVPacket& inPacket)
{
    return inRecord.size == inPacket.size && inRecord.position == inPacket.pos &&
           (inRecord.hash == 0 || inRecord.hash == HashPacket(inPacket));
}

void PacketTable::Append(const AVPacket& inPacket, bool inHasContent)
{
    PacketRecord record;
    record.position = inPacket.pos;
    record.pts = inPacket.pts;
    record.dts = inPacket.dts;
    record.size = inPacket.size;
    record.hash = inHasContent ? HashPacket(inPacket) : 0;
    record.duration = static_cast<std::int32_t>(std::clamp<std::int64_t>(inPacket.duration, 0, INT32_MAX));
    record.isKey = (inPacket.flags & AV_PKT_FLAG_KEY) != 0;
    record.isDiscarded = (inPacket.flags & AV_PKT_FLAG_DISCARD) != 0;
    record.isCorrupt = (inPacket.flags & AV_PKT_FLAG_CORRUPT) != 0;
    mPackets.push_back(record);
}

void PacketTable::Finish()
{
    mPackets.shrink_to_fit();
    const auto byPosition = [](const PacketRecord& inA, const PacketRecord& inB)
    { return inA.position < inB.position; };
    if (std::is_sorted(mPackets.begin(), mPackets.end(), byPosition))
    {
        return;
    }
    mByPosition.resize(mPackets.size());
    std::iota(mByPosition.begin(), mByPosition.end(), 0u);
    std::stable_sort(mByPosition.begin(), mByPosition.end(),
                     [&](std::uint32_t inA, std::uint32_t inB)
                     { return byPosition(mPackets[inA], mPackets[inB]); });
}

bool PacketTable::Matches(std::uint32_t inOrdinal, const AVPacket& inPacket) const
{
    return inOrdinal < mPackets.size() && IsPacketOf(mPackets[inOrdinal], inPacket);
}

std::int64_t PacketTable::Find(const AVPacket& inPacket) const
{
    if (inPacket.pos < 0)
    {
        return -1;
    }
    const auto ordinalAt = [&](std::size_t inPlace)
    { return mByPosition.empty() ? static_cast<std::uint32_t>(inPlace) : mByPosition[inPlace]; };

    std::size_t first = 0;
    std::size_t count = mPackets.size();
    while (count > 0)
    {
        const std::size_t half = count / 2;
        if (mPackets[ordinalAt(first + half)].position < inPacket.pos)
        {
            first += half + 1;
            count -= half + 1;
        }
        else
        {
            count = half;
        }
    }
    // An edit list may show a packet several times: the times tell which showing this is.
    std::int64_t found = -1;
    for (; first < mPackets.size() && mPackets[ordinalAt(first)].position == inPacket.pos; ++first)
    {
        const std::uint32_t ordinal = ordinalAt(first);
        if (!Matches(ordinal, inPacket))
        {
            continue;
        }
        if (mPackets[ordinal].pts == inPacket.pts && mPackets[ordinal].dts == inPacket.dts)
        {
            return ordinal;
        }
        found = found < 0 ? ordinal : found;
    }
    return found;
}

}
