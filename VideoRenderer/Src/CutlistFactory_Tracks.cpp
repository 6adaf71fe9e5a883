#include "CutlistFactory_Tracks.h"

#include "RenderableCutlistImpl.h"
#include "RenderableNodeClipImpl.h"
#include "RenderableNodeTransitionImpl.h"
#include "TVK/Allocated.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace ML
{

namespace
{

using MF::TimeRange;
using norviktypes::FrameRate;
using norviktypes::TickTime;
using Items = std::vector<BE::ITrackItemRef>;

bool Overlap(const TimeRange& inA, const TimeRange& inB)
{
    return inA.mStart < inB.mEnd && inB.mStart < inA.mEnd;
}

TimeRange AlignedOutward(const TimeRange& inRange, const FrameRate& inFrameRate)
{
    return {inRange.mStart.AlignToFrame(inFrameRate), inRange.mEnd.AlignToFrameCeil(inFrameRate)};
}

TimeRange RangeOf(const BE::ITransitionItemRef& inTransition, const FrameRate& inFrameRate)
{
    return AlignedOutward({inTransition->GetStart(), inTransition->GetEnd()}, inFrameRate);
}

// Generated media go on for as long as they are asked.
bool HasMediaWithoutEnd(const BE::IClipRef& inClip)
{
    std::uint32_t kind = MF::kSourceKind_Normal;
    const MF::ISourceRef source(inClip->GetVideoSource());
    return source && source->GetStillKind(kind) >= 0 && kind == MF::kSourceKind_Unbounded;
}

TickTime OffsetOfFirstInput(const MF::IRenderableNodeRef& inNode)
{
    TickTime offset;
    MF::IRenderableNodeRef input;
    inNode->GetNthInput(0, offset, input);
    return offset;
}

// An item as it is before its effects.
class ItemWithoutEffects final : public TVK::Implements<ItemWithoutEffects, BE::ITrackItem>
{
public:
    explicit ItemWithoutEffects(const BE::ITrackItemRef& inItem) : mItem(inItem) {}

    TickTime GetStart() const override { return mItem->GetStart(); }
    TickTime GetEnd() const override { return mItem->GetEnd(); }
    std::uint32_t GetKind() const override { return mItem->GetKind(); }
    BE::IClipRef GetClip() const override { return mItem->GetClip(); }
    BE::ITransitionItemRef GetTransition(bool inAtEnd) const override
    {
        return mItem->GetTransition(inAtEnd);
    }
    BE::IEffectChainRef GetEffects() const override { return {}; }
    std::uint32_t GetGroupID() const override { return mItem->GetGroupID(); }
    bool IsAdjustment() const override { return mItem->IsAdjustment(); }
    bool IsMuted() const override { return mItem->IsMuted(); }

private:
    const BE::ITrackItemRef mItem;
};

// What lies between two items, or beside one that has no neighbour there.
struct Cut
{
    static constexpr std::size_t kNone = ~std::size_t{0};

    BE::ITransitionItemRef mTransition;
    std::size_t mLeft = kNone;
    std::size_t mRight = kNone;
    TimeRange mSeen;
};

// The nearest item beyond one end of the list. The span in which it is looked for is doubled until one is
// there, so that a long gap costs a few questions and a short one gives few items.
BE::ITrackItemRef NearestItem(const BE::ITrackRef& inTrack, const TickTime& inTime, bool inAtEnd)
{
    Items found;
    for (TickTime reach(norviktypes::kTicksPerSecond); found.empty(); reach = reach * 2)
    {
        const TickTime limit = inAtEnd ? norviktypes::kTime_Max : norviktypes::kTime_Min;
        const TickTime far = inAtEnd ? std::min(inTime + reach, limit) : std::max(inTime - reach, limit);
        inTrack->GetItemsInSpan(std::min(inTime, far), std::max(inTime, far), found);
        if (far == limit)
        {
            break;
        }
    }
    return found.empty() ? BE::ITrackItemRef() : (inAtEnd ? found.front() : found.back());
}

void AppendNeighbours(const BE::ITrackRef& inTrack, const TimeRange& inRange, bool inAtEnd, Items& ioItems)
{
    const bool isInsideItem = !ioItems.empty() && (inAtEnd ? ioItems.back()->GetEnd() >= inRange.mEnd
                                                           : ioItems.front()->GetStart() <= inRange.mStart);
    if (isInsideItem && !(inAtEnd ? ioItems.back() : ioItems.front())->GetTransition(inAtEnd))
    {
        return;
    }
    const TickTime from = ioItems.empty() ? (inAtEnd ? inRange.mEnd : inRange.mStart)
                          : inAtEnd       ? std::max(ioItems.back()->GetEnd(), inRange.mEnd)
                                          : std::min(ioItems.front()->GetStart(), inRange.mStart);
    if (const BE::ITrackItemRef item = NearestItem(inTrack, from, inAtEnd))
    {
        ioItems.insert(inAtEnd ? ioItems.end() : ioItems.begin(), item);
    }
}

class TrackBuilder
{
public:
    TrackBuilder(const TrackContext& inContext, const BE::ITrackRef& inTrack)
        : mContext(inContext)
        , mRange(AlignedOutward(inContext.mRange, inContext.mFrameRate))
    {
        mItems = FindTrackItems(inTrack, mRange);
        mRecords.resize(mItems.size());
        FindCuts();
    }

    TrackItemList Build();

private:
    void FindCuts();
    void AddCut(std::size_t inRight);
    void AddTransition(const BE::ITransitionItemRef& inTransition, std::size_t inLeft, std::size_t inRight);
    bool Touches(std::size_t inRight) const;
    Cut MakeCut(const BE::ITransitionItemRef& inTransition, std::size_t inLeft, std::size_t inRight) const;

    const TrackItemRecord& RecordOf(std::size_t inItem);
    TrackItemRecord RecordForTransition(std::size_t inItem);
    TrackItemRecord MakeTransition(const Cut& inCut);
    std::pair<MF::IRenderableNodeRef, TickTime> SideOf(std::size_t inItem, const TickTime& inStart);

    const TrackContext& mContext;
    const TimeRange mRange; // on the grid
    Items mItems;
    std::vector<Cut> mCuts;       // those that are seen, in order
    std::vector<TimeRange> mSeen; // where each item is seen as itself: its range without its transitions
    std::vector<std::optional<TrackItemRecord>> mRecords;
};

bool TrackBuilder::Touches(std::size_t inRight) const
{
    return inRight > 0 && inRight < mItems.size() &&
           mItems[inRight - 1]->GetEnd() >= mItems[inRight]->GetStart();
}

// A transition reaches over its two neighbours at most; beside a gap, over the gap. What is longer than that
// would cover items that it has nothing to do with.
Cut TrackBuilder::MakeCut(const BE::ITransitionItemRef& inTransition, std::size_t inLeft,
                          std::size_t inRight) const
{
    Cut cut{inTransition, inLeft, inRight, RangeOf(inTransition, mContext.mFrameRate)};
    const FrameRate& rate = mContext.mFrameRate;
    if (inLeft != Cut::kNone)
    {
        cut.mSeen.mStart = std::max(cut.mSeen.mStart, mItems[inLeft]->GetStart().AlignToFrame(rate));
        if (inRight == Cut::kNone && inLeft + 1 < mItems.size())
        {
            cut.mSeen.mEnd = std::min(cut.mSeen.mEnd, mItems[inLeft + 1]->GetStart().AlignToFrame(rate));
        }
    }
    if (inRight != Cut::kNone)
    {
        cut.mSeen.mEnd = std::min(cut.mSeen.mEnd, mItems[inRight]->GetEnd().AlignToFrameCeil(rate));
        if (inLeft == Cut::kNone && inRight > 0)
        {
            cut.mSeen.mStart =
                std::max(cut.mSeen.mStart, mItems[inRight - 1]->GetEnd().AlignToFrameCeil(rate));
        }
    }
    return cut;
}

// The transitions between the items inRight - 1 and inRight; either may not be there.
void TrackBuilder::AddCut(std::size_t inRight)
{
    const BE::ITransitionItemRef atEnd =
        inRight > 0 ? mItems[inRight - 1]->GetTransition(true) : BE::ITransitionItemRef();
    const BE::ITransitionItemRef atStart =
        inRight < mItems.size() ? mItems[inRight]->GetTransition(false) : BE::ITransitionItemRef();
    if (Touches(inRight))
    {
        AddTransition(atStart ? atStart : atEnd, inRight - 1, inRight);
        return;
    }
    AddTransition(atEnd, inRight - 1, Cut::kNone);
    AddTransition(atStart, Cut::kNone, inRight);
}

void TrackBuilder::AddTransition(const BE::ITransitionItemRef& inTransition, std::size_t inLeft,
                                 std::size_t inRight)
{
    if (!inTransition)
    {
        return;
    }
    const Cut cut = MakeCut(inTransition, inLeft, inRight);
    if (cut.mSeen.mStart >= cut.mSeen.mEnd)
    {
        return;
    }
    if (inLeft != Cut::kNone)
    {
        mSeen[inLeft].mEnd = std::min(mSeen[inLeft].mEnd, cut.mSeen.mStart);
    }
    if (inRight != Cut::kNone)
    {
        mSeen[inRight].mStart = std::max(mSeen[inRight].mStart, cut.mSeen.mEnd);
    }
    mCuts.push_back(cut);
}

void TrackBuilder::FindCuts()
{
    for (const BE::ITrackItemRef& item : mItems)
    {
        mSeen.push_back(AlignedOutward({item->GetStart(), item->GetEnd()}, mContext.mFrameRate));
    }
    for (std::size_t right = 0; right <= mItems.size(); ++right)
    {
        AddCut(right);
    }
}

const TrackItemRecord& TrackBuilder::RecordOf(std::size_t inItem)
{
    std::optional<TrackItemRecord>& record = mRecords[inItem];
    if (!record)
    {
        record = BuildItemNode(mContext, mItems[inItem], false);
    }
    return *record;
}

// A clip that can be shown beyond its item is built once more for that.
TrackItemRecord TrackBuilder::RecordForTransition(std::size_t inItem)
{
    const TrackItemRecord& record = RecordOf(inItem);
    const bool isExtendable = (record.mNode->GetInformativeFlags() & MF::kNodeFlag_Extendable) != 0;
    return isExtendable ? BuildItemNode(mContext, mItems[inItem], true) : record;
}

// One side of a transition that starts at inStart, and when its node's time is zero.
std::pair<MF::IRenderableNodeRef, TickTime> TrackBuilder::SideOf(std::size_t inItem, const TickTime& inStart)
{
    if (inItem == Cut::kNone)
    {
        return {};
    }
    const TrackItemRecord record = RecordForTransition(inItem);
    if (record.mStart == norviktypes::kTime_Min)
    {
        return {record.mNode, norviktypes::kTime_Zero};
    }
    return {record.mNode, record.mStart - record.mInputOffset - inStart};
}

TrackItemRecord TrackBuilder::MakeTransition(const Cut& inCut)
{
    TrackItemRecord record;
    const TimeRange range = RangeOf(inCut.mTransition, mContext.mFrameRate);
    record.mStart = range.mStart;
    record.mEnd = range.mEnd;
    record.mEffectiveStart = inCut.mSeen.mStart;
    record.mEffectiveEnd = inCut.mSeen.mEnd;
    record.mTrackIndex = mContext.mTrackIndex;
    const auto [nodeA, offsetA] = SideOf(inCut.mLeft, range.mStart);
    const auto [nodeB, offsetB] = SideOf(inCut.mRight, range.mStart);
    record.mNode = CreateTransitionNode(inCut.mTransition, nodeA, offsetA, nodeB, offsetB);
    return record;
}

TrackItemList TrackBuilder::Build()
{
    TrackItemList list;
    for (std::size_t i = 0; i < mItems.size(); ++i)
    {
        if (!Overlap(mSeen[i], mRange))
        {
            continue;
        }
        TrackItemRecord record = RecordOf(i);
        record.mEffectiveStart = std::max(record.mEffectiveStart, mSeen[i].mStart);
        record.mEffectiveEnd = std::min(record.mEffectiveEnd, mSeen[i].mEnd);
        if (record.mEffectiveStart < record.mEffectiveEnd)
        {
            list.push_back(std::move(record));
        }
    }
    for (const Cut& cut : mCuts)
    {
        if (Overlap(cut.mSeen, mRange))
        {
            list.push_back(MakeTransition(cut));
        }
    }
    std::stable_sort(list.begin(), list.end(),
                     [](const TrackItemRecord& inA, const TrackItemRecord& inB)
                     { return inA.mEffectiveStart < inB.mEffectiveStart; });
    return list;
}

bool IsDisabled(const BE::ITrackRef& inTrack)
{
    const BE::ITrackEnabledRef enabled(inTrack);
    return enabled && enabled->IsDisabled();
}

} // namespace

std::vector<BE::ITrackItemRef> FindTrackItems(const BE::ITrackRef& inTrack, const TimeRange& inRange)
{
    Items items;
    if (inRange == kAllTimes)
    {
        inTrack->GetItems(items);
    }
    else
    {
        inTrack->GetItemsInSpan(inRange.mStart, inRange.mEnd, items);
        AppendNeighbours(inTrack, inRange, false, items);
        AppendNeighbours(inTrack, inRange, true, items);
    }
    std::erase_if(items, [](const BE::ITrackItemRef& inItem)
                  { return inItem->GetKind() != BE::kTrackItemKind_Clip || inItem->IsAdjustment(); });
    return items;
}

FrameRate FrameRateOf(const TVK::TVKUnknownRef& inObject)
{
    const BE::ITimeBaseRef timeBase(inObject);
    const FrameRate rate = timeBase ? timeBase->GetFrameRate() : FrameRate(1);
    return rate.IsCountable() ? rate : FrameRate(1);
}

TrackItemList BuildTrackItems(const TrackContext& inContext, const BE::ITrackRef& inTrack)
{
    return IsDisabled(inTrack) ? TrackItemList() : TrackBuilder(inContext, inTrack).Build();
}

std::vector<TrackItemList> BuildSequenceTrackLists(TrackContext inContext)
{
    const BE::ITrackListRef tracks(inContext.mSequence);
    std::vector<TrackItemList> lists(tracks->GetVideoTrackCount());
    for (std::uint32_t i = 0; i < lists.size(); ++i)
    {
        const BE::ITrackRef track(tracks->GetVideoTrack(i));
        if (!track)
        {
            break;
        }
        inContext.mTrackIndex = i;
        lists[i] = BuildTrackItems(inContext, track);
    }
    return lists;
}

// A clip that can be shown anywhere has a place on the time axis of its own, that of its media; others have
// that of their item. A picture that never changes has none.
TrackItemRecord BuildItemNode(const TrackContext& inContext, const BE::ITrackItemRef& inItem, bool inExtended)
{
    TrackItemRecord record;
    record.mItem = inItem;
    record.mNode =
        CreateClipNode(inContext.mSequence,
                       inContext.mHasEffects ? inItem : BE::ITrackItemRef(new ItemWithoutEffects(inItem)),
                       inContext.mStreamLabel, inContext.mTrackIsMuted, inContext.mTrackIndex, inExtended);
    record.mTrackIndex = inContext.mTrackIndex;
    record.mGroupID = inItem->GetGroupID();
    const TickTime start = inItem->GetStart();
    const TimeRange item = AlignedOutward({start, inItem->GetEnd()}, inContext.mFrameRate);
    const std::uint32_t flags = record.mNode->GetInformativeFlags();
    const bool isExtendable = (flags & MF::kNodeFlag_Extendable) != 0;
    record.mEffectiveStart = item.mStart;
    record.mEffectiveEnd = item.mEnd;
    record.mInputOffset = OffsetOfFirstInput(record.mNode);
    if (isExtendable && (flags & MF::kNodeFlag_Still) != 0)
    {
        record.mStart = norviktypes::kTime_Min;
        record.mEnd = norviktypes::kTime_Max;
        return record;
    }
    const BE::IClipRef clip = inItem->GetClip();
    const TickTime clipStart = clip->GetStart();
    const TimeRange range =
        isExtendable || inExtended
            ? AlignedOutward({clipStart, clipStart + clip->GetDuration()}, inContext.mFrameRate)
            : item;
    record.mStart = range.mStart;
    record.mEnd = range.mEnd;
    record.mInputOffset += record.mStart - start;
    if (isExtendable && !HasMediaWithoutEnd(clip))
    {
        record.mEffectiveStart = std::max(item.mStart, range.mStart);
        record.mEffectiveEnd = std::min(item.mEnd, range.mEnd);
        record.mEffectiveStart = std::min(record.mEffectiveStart, record.mEffectiveEnd);
    }
    return record;
}

MF::IRenderableCutlistRef BuildTrackCutlist(const TrackItemList& inItems,
                                            const norvik::utility::ImmutableString& inStreamLabel,
                                            const TimeRange& inRange)
{
    const IMutableCutlistRef cutlist = CreateMutableCutlist(inStreamLabel);
    for (const TrackItemRecord& item : inItems)
    {
        const TickTime start = std::max(item.mEffectiveStart, inRange.mStart);
        const TickTime end = std::min(item.mEffectiveEnd, inRange.mEnd);
        const bool hasStart = item.mStart != norviktypes::kTime_Min;
        cutlist->AddSegment(start, end, hasStart ? start - item.mStart + item.mInputOffset : start,
                            item.mNode);
    }
    cutlist->Finalize();
    return cutlist;
}

} // namespace ML
