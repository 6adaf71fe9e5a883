#include "ReferenceHost/Media/FFmpeg/ExpectedFrames.h"

#include <algorithm>

namespace Media
{

namespace
{

constexpr std::int64_t kNeighboursBefore = 8;
constexpr std::int64_t kNeighboursAfter = 64;

}

ExpectedFrames::ExpectedFrames(const FrameIndex& inIndex, const std::vector<FrameRun>& inRuns)
    : mIndex(inIndex)
    , mIsExpected(static_cast<std::size_t>(inIndex.Count()))
{
    for (const FrameRun& run : inRuns)
    {
        Add(run);
    }
}

void ExpectedFrames::Add(const FrameRun& inRun)
{
    const std::int64_t begin = std::clamp<std::int64_t>(inRun.begin, 0, mIndex.Count());
    const std::int64_t end = std::clamp<std::int64_t>(inRun.end, begin, mIndex.Count());
    std::fill(mIsExpected.begin() + begin, mIsExpected.begin() + end, true);
}

bool ExpectedFrames::Contains(std::int64_t inRank) const
{
    return mIsExpected[static_cast<std::size_t>(inRank)];
}

bool ExpectedFrames::NeedsPictureOf(std::uint32_t inPacket) const
{
    const std::int64_t rank = mIndex.RankOf(inPacket);
    return rank < 0 || Contains(rank);
}

std::shared_ptr<const ExpectedFrames> ExpectedFrames::With(std::int64_t inRank) const
{
    auto wider = std::make_shared<ExpectedFrames>(*this);
    wider->Add({inRank - kNeighboursBefore, inRank + kNeighboursAfter});
    return wider;
}

}
