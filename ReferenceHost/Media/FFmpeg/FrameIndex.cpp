#include "ReferenceHost/Media/FFmpeg/FrameIndex.h"

#include <algorithm>

namespace Media
{

std::int64_t FrameIndex::RankAt(std::int64_t inTicks) const
{
    if (inTicks >= endTicks || frames.empty())
    {
        return -1;
    }
    const auto after = std::upper_bound(frames.begin(), frames.end(), inTicks,
                                        [](std::int64_t inTime, const Frame& inFrame)
                                        { return inTime < inFrame.startTicks; });
    return after == frames.begin() ? 0 : after - frames.begin() - 1;
}

std::int64_t FrameIndex::RankOf(std::uint32_t inPacket) const
{
    return inPacket < mRankOfPacket.size() ? mRankOfPacket[inPacket] : -1;
}

std::int64_t FrameIndex::FirstRankFrom(std::uint32_t inKey) const
{
    const auto found = std::lower_bound(mKeys.begin(), mKeys.end(), inKey);
    return found != mKeys.end() && *found == inKey
               ? mFirstRankFrom[static_cast<std::size_t>(found - mKeys.begin())]
               : 0;
}

std::uint32_t FrameIndex::FirstPacketFor(std::int64_t inRank) const
{
    // Packets stand at most about a decoder's picture buffer away from the order of showing.
    constexpr std::uint32_t kReorder = 20;
    const std::uint32_t packet =
        frames[static_cast<std::size_t>(std::clamp<std::int64_t>(inRank, 0, Count() - 1))].packet;
    return packet > kReorder ? packet - kReorder : 0;
}

std::uint32_t FrameIndex::KeyBefore(std::uint32_t inKey) const
{
    const auto found = std::lower_bound(mKeys.begin(), mKeys.end(), inKey);
    return found == mKeys.begin() ? 0 : *(found - 1);
}

std::int64_t FrameIndex::Bytes() const noexcept
{
    const std::size_t bytes =
        frames.capacity() * sizeof(Frame) + mRankOfPacket.capacity() * sizeof(mRankOfPacket[0]) +
        mFirstRankFrom.capacity() * sizeof(mFirstRankFrom[0]) + mKeys.capacity() * sizeof(mKeys[0]);
    return static_cast<std::int64_t>(bytes) + packets.Bytes();
}

void FrameIndex::Finish()
{
    frames.shrink_to_fit();
    mRankOfPacket.assign(packets.Count(), -1);
    for (std::size_t rank = 0; rank < frames.size(); ++rank)
    {
        mRankOfPacket[frames[rank].packet] = static_cast<std::int32_t>(rank);
    }
    for (std::uint32_t ordinal = 0; ordinal < packets.Count(); ++ordinal)
    {
        if (packets[ordinal].isKey)
        {
            mKeys.push_back(ordinal);
        }
    }

    // A frame starts from the last key packet that is neither decoded nor shown after it.
    mFirstRankFrom.assign(mKeys.size(), Count());
    for (std::size_t rank = 0; rank < frames.size(); ++rank)
    {
        Frame& frame = frames[rank];
        auto key = std::upper_bound(mKeys.begin(), mKeys.end(), frame.packet);
        const std::int64_t shown = packets[frame.packet].pts;
        const bool hasTimes = shown != kNoTimestamp;
        while (key != mKeys.begin())
        {
            const std::uint32_t candidate = *(key - 1);
            const std::int64_t keyRank = mRankOfPacket[candidate];
            const bool isShownAfter = keyRank >= 0 ? keyRank > static_cast<std::int64_t>(rank)
                                                   : hasTimes && packets[candidate].pts > shown;
            if (!isShownAfter)
            {
                break;
            }
            --key;
        }
        frame.key = key == mKeys.begin() ? 0 : *(key - 1);
    }
    // Downwards, so that the lowest rank stands at the end.
    for (std::int64_t rank = Count() - 1; rank >= 0; --rank)
    {
        const auto key =
            std::lower_bound(mKeys.begin(), mKeys.end(), frames[static_cast<std::size_t>(rank)].key);
        if (key != mKeys.end() && *key == frames[static_cast<std::size_t>(rank)].key)
        {
            mFirstRankFrom[static_cast<std::size_t>(key - mKeys.begin())] = rank;
        }
    }
    for (std::size_t key = mKeys.size(); key-- > 1;)
    {
        mFirstRankFrom[key - 1] = std::min(mFirstRankFrom[key - 1], mFirstRankFrom[key]);
    }
}

}
