#include "RenderableCutlistImpl.h"

#include "RenderableNodeProducer.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"
#include "norvik/config/Contract.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>
#include <vector>

namespace ML
{

namespace
{

using MF::TimeRange;
using norviktypes::TickTime;

constexpr const char* kFile = "Src/RenderableCutlistImpl";

struct Segment
{
    TickTime mStart;
    TickTime mEnd;
    TickTime mNodeOffset; // the node's time at mStart
    TVK::Guid mNodeHash;

    bool Contains(const TickTime& inTime) const noexcept { return mStart <= inTime && inTime < mEnd; }
    // From the node's time to the cutlist's.
    TickTime Shift() const noexcept { return mStart - mNodeOffset; }
    MF::FrameTime ToNodeTime(const MF::FrameTime& inTime) const noexcept { return inTime - Shift(); }
};
static_assert(sizeof(Segment) == 40, "segments lie closely, as lookups walk over them");

class MutableCutlist final : public TVK::Implements<MutableCutlist, MF::IRenderableExtendedStillInfo,
                                                    MF::ISmartRenderSegmentInfo, IMutableCutlist>
{
public:
    explicit MutableCutlist(const norvik::utility::ImmutableString& inStreamLabel)
        : mStreamLabel(inStreamLabel)
    {
    }

    // MF::IRenderableCutlist
    std::uint32_t GetSegmentCount() const override;
    TVK::Guid GetHashValue() const override;
    std::int32_t GetNthSegmentDescription(std::uint32_t inIndex, TickTime& outStart, TickTime& outEnd,
                                          TickTime& outNodeOffset, TVK::Guid& outNodeHash) const override;
    std::int32_t GetRenderableNodeFromHashValue(const TVK::Guid& inHash,
                                                MF::IRenderableNodeRef& outNode) const override;
    std::int32_t FindNodeForTime(const MF::FrameTime& inFrameTime, MF::IRenderableNodeRef& outNode,
                                 MF::FrameTime& outNodeFrameTime) const override;
    std::int32_t FindNodeForTimeRange(const MF::FrameTime& inFrameTime,
                                      const MF::FrameTime& inRangeEndFrameTime,
                                      MF::IRenderableNodeRef& outNode,
                                      MF::FrameTime& outNodeFrameTime) const override;
    std::int32_t FindSegmentForTime(const TickTime& inTime, std::uint32_t& outIndex, TickTime& outStart,
                                    TickTime& outEnd, TickTime& outNodeOffset,
                                    TVK::Guid& outNodeHash) const override;
    norvik::utility::ImmutableString GetStreamLabel() const override { return mStreamLabel; }

    // IMutableCutlist
    void AddSegment(const TickTime& inStart, const TickTime& inEnd, const TickTime& inNodeOffset,
                    const MF::IRenderableNodeRef& inNode) override;
    void Finalize() override;

    // MF::IRenderableExtendedStillInfo
    std::int32_t GetStillRangeForTime(const TickTime& inTime, TimeRange& outRange) const override;
    void GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                        std::vector<TimeRange>& ioRanges) const override;

    // MF::ISmartRenderSegmentInfo
    void GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                const norviktypes::PixelFormat& inPixelFormat, bool inIsPreview,
                                MF::SmartRenderSegments& ioSegments) const override;

    void SetStreamLabel(const norvik::utility::ImmutableString& inStreamLabel);

private:
    using Segments = std::vector<Segment>;

    void NormalizeSegments();
    void FindSegmentNodes();
    void ComputeHash();
    void ComputeStillRanges();
    void AppendStillRangesOf(const Segment& inSegment, const MF::IRenderableNodeRef& inNode);

    // The segment that inTime belongs to if it belongs to any: the last one that starts at or before it, or
    // the first one. The end of an empty list.
    Segments::const_iterator SegmentAround(const TickTime& inTime) const;
    MF::IRenderableNode* NodeOf(Segments::const_iterator inSegment) const
    {
        return mSegmentNodes[static_cast<std::size_t>(inSegment - mSegments.begin())];
    }
    std::vector<TimeRange>::const_iterator FirstRangeNotBelow(const TickTime& inTime) const;

    bool mMutable = true;
    Segments mSegments;
    // The node of each segment, held by mNodes: finding one by its hash costs as much as finding its segment.
    std::vector<MF::IRenderableNode*> mSegmentNodes;
    std::map<TVK::Guid, MF::IRenderableNodeRef, norvik::utility::GuidLessSigned> mNodes;
    TVK::Guid mHashValue;
    std::vector<TimeRange> mStillRanges;
    norvik::utility::ImmutableString mStreamLabel;
};

void MutableCutlist::SetStreamLabel(const norvik::utility::ImmutableString& inStreamLabel)
{
    ML_INPUT_CONTRACT(mMutable, "mMutable", kFile,
                      "ML::`anonymous-namespace'::MutableCutlist::SetStreamLabel", __LINE__);
    mStreamLabel = inStreamLabel;
}

void MutableCutlist::AddSegment(const TickTime& inStart, const TickTime& inEnd, const TickTime& inNodeOffset,
                                const MF::IRenderableNodeRef& inNode)
{
    ML_INPUT_CONTRACT(mMutable, "mMutable", kFile, "ML::`anonymous-namespace'::MutableCutlist::AddSegment",
                      __LINE__);
    if (inStart >= inEnd)
    {
        return;
    }
    const TVK::Guid hash = inNode->GetHashValue();
    mNodes[hash] = inNode;
    mSegments.push_back({inStart, inEnd, inNodeOffset, hash});
}

void MutableCutlist::Finalize()
{
    ML_INPUT_CONTRACT(mMutable, "mMutable", kFile, "ML::`anonymous-namespace'::MutableCutlist::Finalize",
                      __LINE__);
    mMutable = false;
    std::stable_sort(mSegments.begin(), mSegments.end(),
                     [](const Segment& inA, const Segment& inB) { return inA.mStart < inB.mStart; });
    NormalizeSegments();
    FindSegmentNodes();
    ComputeHash();
    ComputeStillRanges();
}

// The rebuilt list grows at the front of the same vector, as it is never longer than what has been read.
void MutableCutlist::NormalizeSegments()
{
    std::size_t kept = 0;
    for (Segment segment : mSegments)
    {
        if (kept > 0)
        {
            Segment& last = mSegments[kept - 1];
            if (segment.mStart < last.mEnd)
            {
                const TickTime hidden = last.mEnd - segment.mStart;
                segment.mStart += hidden;
                segment.mNodeOffset += hidden;
            }
            if (segment.mStart >= segment.mEnd)
            {
                continue;
            }
            if (segment.mNodeHash == last.mNodeHash && segment.mStart == last.mEnd &&
                segment.mNodeOffset == last.mNodeOffset + (last.mEnd - last.mStart))
            {
                last.mEnd = segment.mEnd;
                continue;
            }
        }
        mSegments[kept++] = segment;
    }
    mSegments.resize(kept);
    mSegments.shrink_to_fit();
}

void MutableCutlist::FindSegmentNodes()
{
    mSegmentNodes.reserve(mSegments.size());
    for (const Segment& segment : mSegments)
    {
        MF::IRenderableNodeRef node;
        GetRenderableNodeFromHashValue(segment.mNodeHash, node);
        mSegmentNodes.push_back(&*node);
    }
}

void MutableCutlist::ComputeHash()
{
    TVK::HashValue hash("Hash value for ML::RenderableCutlistImpl");
    for (const Segment& segment : mSegments)
    {
        hash.MixI64(segment.mStart.GetTicks());
        hash.MixI64(segment.mEnd.GetTicks());
        hash.MixI64(segment.mNodeOffset.GetTicks());
        hash.MixGuid(segment.mNodeHash);
    }
    mHashValue = hash.AsGuid();
}

void MutableCutlist::ComputeStillRanges()
{
    TickTime cursor = norviktypes::kTime_Zero;
    for (auto segment = mSegments.cbegin(); segment != mSegments.cend(); ++segment)
    {
        if (cursor < segment->mStart)
        {
            mStillRanges.push_back({cursor, segment->mStart});
        }
        cursor = segment->mEnd;
        AppendStillRangesOf(*segment, NodeOf(segment));
    }
    if (cursor < norviktypes::kTime_Max)
    {
        mStillRanges.push_back({cursor, norviktypes::kTime_Max});
    }
}

void MutableCutlist::AppendStillRangesOf(const Segment& inSegment, const MF::IRenderableNodeRef& inNode)
{
    constexpr std::uint32_t kNeverChanges = MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Still;
    if ((inNode->GetInformativeFlags() & kNeverChanges) == kNeverChanges)
    {
        mStillRanges.push_back({inSegment.mStart, inSegment.mEnd});
        return;
    }
    if (const IRenderableNodeProducerProviderRef provider{inNode})
    {
        std::vector<TimeRange> ranges;
        provider->GetStillRanges(inSegment.mNodeOffset,
                                 inSegment.mNodeOffset + (inSegment.mEnd - inSegment.mStart), ranges);
        for (const TimeRange& range : ranges)
        {
            mStillRanges.push_back({range.mStart + inSegment.Shift(), range.mEnd + inSegment.Shift()});
        }
    }
}

std::uint32_t MutableCutlist::GetSegmentCount() const
{
    return static_cast<std::uint32_t>(mSegments.size());
}

TVK::Guid MutableCutlist::GetHashValue() const
{
    ML_INPUT_CONTRACT(!mMutable, "!mMutable", kFile,
                      "ML::`anonymous-namespace'::MutableCutlist::GetHashValue", __LINE__);
    return mHashValue;
}

std::int32_t MutableCutlist::GetNthSegmentDescription(std::uint32_t inIndex, TickTime& outStart,
                                                      TickTime& outEnd, TickTime& outNodeOffset,
                                                      TVK::Guid& outNodeHash) const
{
    ML_INPUT_CONTRACT(!mMutable, "!mMutable", kFile,
                      "ML::`anonymous-namespace'::MutableCutlist::GetNthSegmentDescription", __LINE__);
    if (inIndex >= mSegments.size())
    {
        return MF::kStatus_NoSuchEntry;
    }
    const Segment& segment = mSegments[inIndex];
    outStart = segment.mStart;
    outEnd = segment.mEnd;
    outNodeOffset = segment.mNodeOffset;
    outNodeHash = segment.mNodeHash;
    return TVK::kStatus_OK;
}

std::int32_t MutableCutlist::GetRenderableNodeFromHashValue(const TVK::Guid& inHash,
                                                            MF::IRenderableNodeRef& outNode) const
{
    ML_INPUT_CONTRACT(!mMutable, "!mMutable", kFile,
                      "ML::`anonymous-namespace'::MutableCutlist::GetRenderableNodeFromHashValue", __LINE__);
    const auto entry = mNodes.find(inHash);
    if (entry == mNodes.end())
    {
        return MF::kStatus_NoSuchEntry;
    }
    outNode = entry->second;
    return TVK::kStatus_OK;
}

// The times of a render jump about, so that no branch of a search could be foreseen: each step chooses its
// half by arithmetic.
MutableCutlist::Segments::const_iterator MutableCutlist::SegmentAround(const TickTime& inTime) const
{
    const Segment* first = mSegments.data();
    std::size_t count = mSegments.size();
    while (count > 1)
    {
        const std::size_t half = count / 2;
        first += first[half].mStart <= inTime ? half : 0;
        count -= half;
    }
    return mSegments.begin() + (first - mSegments.data());
}

std::int32_t MutableCutlist::FindNodeForTime(const MF::FrameTime& inFrameTime,
                                             MF::IRenderableNodeRef& outNode,
                                             MF::FrameTime& outNodeFrameTime) const
{
    ML_INPUT_CONTRACT(!mMutable, "!mMutable", kFile,
                      "ML::`anonymous-namespace'::MutableCutlist::FindNodeForTime", __LINE__);
    outNode.reset();
    const TickTime time = inFrameTime.Earlier();
    const auto segment = SegmentAround(time);
    if (segment == mSegments.end() || !segment->Contains(time))
    {
        return TVK::kStatus_OK;
    }
    outNodeFrameTime = segment->ToNodeTime(inFrameTime);
    outNode = NodeOf(segment);
    return TVK::kStatus_OK;
}

std::int32_t MutableCutlist::FindNodeForTimeRange(const MF::FrameTime& inFrameTime,
                                                  const MF::FrameTime& inRangeEndFrameTime,
                                                  MF::IRenderableNodeRef& outNode,
                                                  MF::FrameTime& outNodeFrameTime) const
{
    ML_INPUT_CONTRACT(!mMutable, "!mMutable", kFile,
                      "ML::`anonymous-namespace'::MutableCutlist::FindNodeForTimeRange", __LINE__);
    outNode.reset();
    const TickTime first = inFrameTime.Earlier();
    const TickTime last = inRangeEndFrameTime.Earlier();
    for (auto segment = SegmentAround(first); segment != mSegments.end() && segment->mStart < last; ++segment)
    {
        const bool endsInIt = segment->mStart < last && last <= segment->mEnd;
        const bool liesBetween = first < segment->mStart && segment->mEnd <= last;
        if (segment->Contains(first) || endsInIt || liesBetween)
        {
            outNodeFrameTime = segment->ToNodeTime(inFrameTime);
            outNode = NodeOf(segment);
            return TVK::kStatus_OK;
        }
    }
    return TVK::kStatus_OK;
}

std::int32_t MutableCutlist::FindSegmentForTime(const TickTime& inTime, std::uint32_t& outIndex,
                                                TickTime& outStart, TickTime& outEnd, TickTime& outNodeOffset,
                                                TVK::Guid& outNodeHash) const
{
    ML_INPUT_CONTRACT(!mMutable, "!mMutable", kFile,
                      "ML::`anonymous-namespace'::MutableCutlist::FindSegmentForTime", __LINE__);
    const auto segment = SegmentAround(inTime);
    if (segment != mSegments.end() && segment->Contains(inTime))
    {
        outIndex = static_cast<std::uint32_t>(segment - mSegments.begin());
        return GetNthSegmentDescription(outIndex, outStart, outEnd, outNodeOffset, outNodeHash);
    }
    const bool isAhead = segment != mSegments.end() && inTime < segment->mStart;
    const auto next = segment == mSegments.end() || isAhead ? segment : segment + 1;
    outIndex = MF::kNoSegment;
    outStart = next == mSegments.begin() ? norviktypes::kTime_Zero : (next - 1)->mEnd;
    outEnd = next == mSegments.end() ? norviktypes::kTime_Max : next->mStart;
    outNodeOffset = norviktypes::kTime_Zero;
    outNodeHash = {};
    return MF::kStatus_NoSuchEntry;
}

std::vector<TimeRange>::const_iterator MutableCutlist::FirstRangeNotBelow(const TickTime& inTime) const
{
    return std::lower_bound(mStillRanges.begin(), mStillRanges.end(),
                            TimeRange{inTime, norviktypes::kTime_Zero});
}

std::int32_t MutableCutlist::GetStillRangeForTime(const TickTime& inTime, TimeRange& outRange) const
{
    outRange = {inTime, inTime};
    auto range = FirstRangeNotBelow(inTime);
    if ((range == mStillRanges.end() || range->mStart > inTime) && range != mStillRanges.begin())
    {
        --range;
    }
    if (range != mStillRanges.end() && range->Contains(inTime))
    {
        outRange = *range;
    }
    return TVK::kStatus_OK;
}

void MutableCutlist::GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                                    std::vector<TimeRange>& ioRanges) const
{
    auto range = FirstRangeNotBelow(inStart);
    if (range != mStillRanges.begin())
    {
        --range;
    }
    const TimeRange behind{inEnd + TickTime(1), norviktypes::kTime_Zero};
    for (; range != mStillRanges.end() && *range <= behind; ++range)
    {
        const TimeRange clipped{std::max(range->mStart, inStart), std::min(range->mEnd, inEnd)};
        if (clipped.mStart < clipped.mEnd)
        {
            ioRanges.push_back(clipped);
        }
    }
}

void MutableCutlist::GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                            const norviktypes::PixelFormat& inPixelFormat, bool inIsPreview,
                                            MF::SmartRenderSegments& ioSegments) const
{
    for (const Segment& segment : mSegments)
    {
        const TimeRange asked{std::max(inStart, segment.mStart), std::min(inEnd, segment.mEnd)};
        const auto node = mNodes.find(segment.mNodeHash);
        if (asked.mStart >= asked.mEnd || node == mNodes.end())
        {
            continue;
        }
        const IRenderableNodeProducerProviderRef provider(node->second);
        if (!provider)
        {
            continue;
        }
        MF::SmartRenderSegments found;
        provider->GetSmartRenderSegments(asked.mStart - segment.Shift(), asked.mEnd - segment.Shift(),
                                         inPixelFormat, inIsPreview, found);
        for (auto& [start, entry] : found)
        {
            entry.mStart += segment.Shift();
            entry.mEnd += segment.Shift();
            ioSegments.emplace(start + segment.Shift(), std::move(entry));
        }
    }
}

} // namespace

IMutableCutlistRef CreateMutableCutlist(const norvik::utility::ImmutableString& inStreamLabel)
{
    return IMutableCutlistRef(new MutableCutlist(inStreamLabel));
}

void SetCutlistStreamLabel(const IMutableCutlistRef& inCutlist,
                           const norvik::utility::ImmutableString& inStreamLabel)
{
    dynamic_cast<MutableCutlist&>(*inCutlist).SetStreamLabel(inStreamLabel);
}

} // namespace ML
