#include "RenderableCutlistImpl.h"

#include "RenderableNodeProducer.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"
#include "norvik/config/Contract.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
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
    // The node plays on without a seam.
    bool IsContinuedBy(const Segment& inNext) const noexcept
    {
        return mNodeHash == inNext.mNodeHash && mEnd == inNext.mStart && Shift() == inNext.Shift();
    }
};
static_assert(sizeof(Segment) == 40, "segments lie closely, as lookups walk over them");

// The nodes of a cutlist, one for each hash, found by a table of their places: a cutlist of thousands of nodes
// is made anew with every edit, and a tree of as many entries would take longer than all else.
class NodeTable
{
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFFu;

    std::size_t Size() const noexcept { return mNodes.size(); }
    const MF::IRenderableNodeRef& operator[](std::uint32_t inPlace) const { return mNodes[inPlace]; }

    // The place of the node of that hash; kNone without one.
    std::uint32_t Find(const TVK::Guid& inHash) const noexcept
    {
        return mPlaces.empty() ? kNone : mPlaces[SlotOf(inHash)];
    }
    // The place of the node of that hash, which is inNode only where there was none before.
    std::uint32_t Insert(const TVK::Guid& inHash, const MF::IRenderableNodeRef& inNode)
    {
        Reserve(mNodes.size() + 1);
        std::uint32_t& place = mPlaces[SlotOf(inHash)];
        if (place == kNone)
        {
            place = static_cast<std::uint32_t>(mNodes.size());
            mHashes.push_back(inHash);
            mNodes.push_back(inNode);
        }
        return place;
    }
    void Replace(std::uint32_t inPlace, const MF::IRenderableNodeRef& inNode) { mNodes[inPlace] = inNode; }
    void Reserve(std::size_t inCount);

private:
    // Where the hash is, or belongs. Hashes are as good as random: any of their bits spread them.
    std::size_t SlotOf(const TVK::Guid& inHash) const noexcept
    {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &inHash, sizeof bits);
        const std::size_t mask = mPlaces.size() - 1;
        std::size_t slot = static_cast<std::size_t>(bits ^ bits >> 32) & mask;
        while (mPlaces[slot] != kNone && !(mHashes[mPlaces[slot]] == inHash))
        {
            slot = (slot + 1) & mask;
        }
        return slot;
    }

    std::vector<TVK::Guid> mHashes;
    std::vector<MF::IRenderableNodeRef> mNodes;
    std::vector<std::uint32_t> mPlaces; // a power of two of slots, at most half of them taken
};

void NodeTable::Reserve(std::size_t inCount)
{
    if (inCount * 2 <= mPlaces.size())
    {
        return;
    }
    std::size_t slots = std::max<std::size_t>(16, mPlaces.size() * 2);
    while (slots < inCount * 2)
    {
        slots *= 2;
    }
    mPlaces.assign(slots, kNone);
    for (std::size_t i = 0; i < mHashes.size(); ++i)
    {
        mPlaces[SlotOf(mHashes[i])] = static_cast<std::uint32_t>(i);
    }
    mHashes.reserve(inCount);
    mNodes.reserve(inCount);
}

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

    // Room for what is to be copied.
    void ReserveSegments(std::size_t inCount);
    // The segments of inSource that lie in inRange, clipped to it. Calls come in the order of time, and
    // FinishCopying after the last one in place of Finalize.
    void CopySegments(const MutableCutlist& inSource, const TimeRange& inRange);
    void FinishCopying();
    void AppendSegmentsLacking(std::uint32_t inFlags, const TimeRange& inOutside,
                               std::vector<TimeRange>& ioRanges) const;

private:
    using Segments = std::vector<Segment>;

    // What is known of a segment beside its record.
    struct Facts
    {
        MF::IRenderableNode* mNode = nullptr; // held by mNodes: a lookup doesn't go through the table
        std::uint32_t mFlags = 0;             // the node's
        std::uint32_t mFirstStillRange = 0;   // of those that are the segment's own
        std::uint32_t mStillRangeCount = 0;
    };

    void NormalizeSegments();
    void FindSegmentNodes();
    void CopySegment(const Segment& inSegment, const MutableCutlist& inSource, std::size_t inIndex);
    void ComputeHash();
    void ComputeStillRanges();
    void AppendStillRangesOf(std::size_t inIndex);

    // The segment that inTime belongs to if it belongs to any: the last one that starts at or before it, or
    // the first one. The end of an empty list.
    Segments::const_iterator SegmentAround(const TickTime& inTime) const;
    MF::IRenderableNode* NodeOf(Segments::const_iterator inSegment) const
    {
        return mFacts[static_cast<std::size_t>(inSegment - mSegments.begin())].mNode;
    }
    std::vector<TimeRange>::const_iterator FirstRangeNotBelow(const TickTime& inTime) const;

    bool mMutable = true;
    Segments mSegments;
    std::vector<Facts> mFacts; // by segment
    // While segments are copied: the cutlist that knows the still ranges of a segment, where it came whole.
    std::vector<const MutableCutlist*> mStillSources;
    NodeTable mNodes;
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
    mNodes.Replace(mNodes.Insert(hash, inNode), inNode);
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
            if (last.IsContinuedBy(segment))
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
    mFacts.reserve(mSegments.size());
    for (const Segment& segment : mSegments)
    {
        MF::IRenderableNode& node = *mNodes[mNodes.Find(segment.mNodeHash)];
        mFacts.push_back({&node, node.GetInformativeFlags(), 0, 0});
    }
}

void MutableCutlist::ReserveSegments(std::size_t inCount)
{
    mNodes.Reserve(inCount);
    mSegments.reserve(inCount);
    mFacts.reserve(inCount);
    mStillSources.reserve(inCount);
}

void MutableCutlist::CopySegments(const MutableCutlist& inSource, const TimeRange& inRange)
{
    for (auto source = inSource.SegmentAround(inRange.mStart);
         source != inSource.mSegments.end() && source->mStart < inRange.mEnd; ++source)
    {
        Segment segment = *source;
        segment.mStart = std::max(segment.mStart, inRange.mStart);
        segment.mEnd = std::min(segment.mEnd, inRange.mEnd);
        segment.mNodeOffset += segment.mStart - source->mStart;
        if (segment.mStart < segment.mEnd)
        {
            CopySegment(segment, inSource, static_cast<std::size_t>(source - inSource.mSegments.begin()));
        }
    }
}

// A segment that goes on where the last one ends becomes part of it, as in a cutlist that is built. Its still
// ranges are asked for anew then, and also where it was cut.
void MutableCutlist::CopySegment(const Segment& inSegment, const MutableCutlist& inSource,
                                 std::size_t inIndex)
{
    if (!mSegments.empty() && mSegments.back().IsContinuedBy(inSegment))
    {
        mSegments.back().mEnd = inSegment.mEnd;
        mStillSources.back() = nullptr;
        return;
    }
    const Segment& source = inSource.mSegments[inIndex];
    const bool isWhole = source.mStart == inSegment.mStart && source.mEnd == inSegment.mEnd;
    Facts facts = inSource.mFacts[inIndex];
    facts.mNode = mNodes[mNodes.Insert(inSegment.mNodeHash, MF::IRenderableNodeRef(facts.mNode))].get();
    mSegments.push_back(inSegment);
    mFacts.push_back(facts);
    mStillSources.push_back(isWhole ? &inSource : nullptr);
}

void MutableCutlist::FinishCopying()
{
    mMutable = false;
    ComputeHash();
    ComputeStillRanges();
    std::vector<const MutableCutlist*>().swap(mStillSources);
}

void MutableCutlist::AppendSegmentsLacking(std::uint32_t inFlags, const TimeRange& inOutside,
                                           std::vector<TimeRange>& ioRanges) const
{
    for (std::size_t i = 0; i < mSegments.size(); ++i)
    {
        const Segment& segment = mSegments[i];
        const bool reachesOutside = segment.mStart < inOutside.mStart || inOutside.mEnd < segment.mEnd;
        if ((mFacts[i].mFlags & inFlags) != inFlags && reachesOutside)
        {
            ioRanges.push_back({segment.mStart, segment.mEnd});
        }
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
    for (std::size_t i = 0; i < mSegments.size(); ++i)
    {
        if (cursor < mSegments[i].mStart)
        {
            mStillRanges.push_back({cursor, mSegments[i].mStart});
        }
        cursor = mSegments[i].mEnd;
        const std::size_t before = mStillRanges.size();
        AppendStillRangesOf(i);
        mFacts[i].mFirstStillRange = static_cast<std::uint32_t>(before);
        mFacts[i].mStillRangeCount = static_cast<std::uint32_t>(mStillRanges.size() - before);
    }
    if (cursor < norviktypes::kTime_Max)
    {
        mStillRanges.push_back({cursor, norviktypes::kTime_Max});
    }
}

void MutableCutlist::AppendStillRangesOf(std::size_t inIndex)
{
    constexpr std::uint32_t kNeverChanges = MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Still;
    const Segment& segment = mSegments[inIndex];
    const Facts& facts = mFacts[inIndex];
    if ((facts.mFlags & kNeverChanges) == kNeverChanges)
    {
        mStillRanges.push_back({segment.mStart, segment.mEnd});
        return;
    }
    if (!mStillSources.empty() && mStillSources[inIndex] != nullptr)
    {
        const auto first = mStillSources[inIndex]->mStillRanges.begin() + facts.mFirstStillRange;
        mStillRanges.insert(mStillRanges.end(), first, first + facts.mStillRangeCount);
        return;
    }
    if (const IRenderableNodeProducerProviderRef provider{MF::IRenderableNodeRef(facts.mNode)})
    {
        std::vector<TimeRange> ranges;
        provider->GetStillRanges(segment.mNodeOffset, segment.mNodeOffset + (segment.mEnd - segment.mStart),
                                 ranges);
        for (const TimeRange& range : ranges)
        {
            mStillRanges.push_back({range.mStart + segment.Shift(), range.mEnd + segment.Shift()});
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
    const std::uint32_t place = mNodes.Find(inHash);
    if (place == NodeTable::kNone)
    {
        return MF::kStatus_NoSuchEntry;
    }
    outNode = mNodes[place];
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
    // While segments are still added they lie in any order, and only the table knows their nodes.
    auto found = mMutable ? mSegments.begin() : SegmentAround(inStart);
    for (; found != mSegments.end() && (mMutable || found->mStart < inEnd); ++found)
    {
        const Segment& segment = *found;
        const TimeRange asked{std::max(inStart, segment.mStart), std::min(inEnd, segment.mEnd)};
        if (asked.mStart >= asked.mEnd)
        {
            continue;
        }
        const IRenderableNodeProducerProviderRef provider{mNodes[mNodes.Find(segment.mNodeHash)]};
        if (!provider)
        {
            continue;
        }
        MF::SmartRenderSegments stretches;
        provider->GetSmartRenderSegments(asked.mStart - segment.Shift(), asked.mEnd - segment.Shift(),
                                         inPixelFormat, inIsPreview, stretches);
        for (auto& [start, entry] : stretches)
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

MF::IRenderableCutlistRef SpliceCutlists(const MF::IRenderableCutlistRef& inBase,
                                         const std::vector<CutlistPiece>& inPieces)
{
    const auto& base = dynamic_cast<const MutableCutlist&>(*inBase);
    const TVK::InterfaceRef<MutableCutlist> spliced(new MutableCutlist(base.GetStreamLabel()));
    std::size_t count = base.GetSegmentCount() + inPieces.size();
    for (const CutlistPiece& piece : inPieces)
    {
        count += piece.mCutlist->GetSegmentCount();
    }
    spliced->ReserveSegments(count);
    TickTime copiedTo = norviktypes::kTime_Min;
    for (const CutlistPiece& piece : inPieces)
    {
        spliced->CopySegments(base, {copiedTo, piece.mRange.mStart});
        spliced->CopySegments(dynamic_cast<const MutableCutlist&>(*piece.mCutlist), piece.mRange);
        copiedTo = piece.mRange.mEnd;
    }
    spliced->CopySegments(base, {copiedTo, norviktypes::kTime_Max});
    spliced->FinishCopying();
    return MF::IRenderableCutlistRef(spliced.get());
}

void AppendSegmentsLacking(const MF::IRenderableCutlistRef& inCutlist, std::uint32_t inFlags,
                           const MF::TimeRange& inOutside, std::vector<MF::TimeRange>& ioRanges)
{
    dynamic_cast<const MutableCutlist&>(*inCutlist).AppendSegmentsLacking(inFlags, inOutside, ioRanges);
}

} // namespace ML
