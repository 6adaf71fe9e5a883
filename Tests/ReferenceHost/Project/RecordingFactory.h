// A factory whose cutlists tell what they were made of, and how often and for which ranges it was called.
//
// A cutlist of a sequence is the ids of what its tracks hold, as text: two are equal if a render would see
// the same items in the same places.
//
// Thread-safety: safe.
#pragma once

#include "BE/ISequence.h"
#include "MF/RenderableCutlistFactory.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport
{

class RecordedCutlist final : public TVK::Implements<RecordedCutlist, MF::IRenderableCutlist>
{
public:
    explicit RecordedCutlist(std::string inContent) : mContent(std::move(inContent)) {}

    const std::string mContent;

    std::uint32_t GetSegmentCount() const override { return 1; }
    TVK::Guid GetHashValue() const override
    {
        TVK::HashValue hash("RecordedCutlist");
        hash.Mix(mContent.data(), mContent.size());
        return hash.AsGuid();
    }
    std::int32_t GetNthSegmentDescription(std::uint32_t, norviktypes::TickTime&, norviktypes::TickTime&,
                                          norviktypes::TickTime&, TVK::Guid&) const override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t GetRenderableNodeFromHashValue(const TVK::Guid&, MF::IRenderableNodeRef&) const override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t FindNodeForTime(const MF::FrameTime&, MF::IRenderableNodeRef&, MF::FrameTime&) const override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t FindNodeForTimeRange(const MF::FrameTime&, const MF::FrameTime&, MF::IRenderableNodeRef&,
                                      MF::FrameTime&) const override
    {
        return MF::kStatus_NoSuchEntry;
    }
    // One segment from 100 to 200, whose node begins at 30.
    std::int32_t FindSegmentForTime(const norviktypes::TickTime& inTime, std::uint32_t& outIndex,
                                    norviktypes::TickTime& outStart, norviktypes::TickTime& outEnd,
                                    norviktypes::TickTime& outNodeOffset,
                                    TVK::Guid& outNodeHash) const override
    {
        outIndex = 0;
        outStart = norviktypes::TickTime(100);
        outEnd = norviktypes::TickTime(200);
        outNodeOffset = norviktypes::TickTime(30);
        outNodeHash = TVK::Guid("3F1F7F2A-1B1F-4C57-9C0E-6E1F3C1F9A55");
        return inTime >= outStart && inTime < outEnd ? 0 : MF::kStatus_NoSuchEntry;
    }
    norvik::utility::ImmutableString GetStreamLabel() const override { return {}; }
};

class RecordingFactory final : public TVK::Implements<RecordingFactory, MF::IRenderableCutlistFactory>
{
public:
    struct Call
    {
        std::string mName;
        MF::TimeRange mRange;
        std::string mLabel;
    };

    std::vector<Call> TakeCalls()
    {
        const std::lock_guard<std::mutex> lock(mLock);
        return std::exchange(mCalls, {});
    }
    MF::CutlistOverlays TakeOverlays()
    {
        const std::lock_guard<std::mutex> lock(mLock);
        return std::exchange(mOverlays, {});
    }
    void FailNext(std::int32_t inStatus) { mNextStatus = inStatus; }
    // Called once, when the next cutlist has been made and not yet handed over.
    void DuringNext(std::function<void()> inFunction) { mDuringNext = std::move(inFunction); }

    std::int32_t CreateCutlistForSequence(const TVK::TVKUnknownRef& inSequence, const Label& inLabel,
                                          MF::IRenderableCutlistRef& outCutlist) override
    {
        return Make("sequence", {}, inLabel, TextOfSequence(inSequence), outCutlist);
    }
    std::int32_t UpdateCutlistForSequence(const TVK::TVKUnknownRef& inSequence, const Label& inLabel,
                                          const norviktypes::TickTime& inStart,
                                          const norviktypes::TickTime& inEnd,
                                          const MF::IRenderableCutlistRef& inPrevious,
                                          MF::IRenderableCutlistRef& outCutlist) override
    {
        return Make(inPrevious ? "update" : "update of nothing", {inStart, inEnd}, inLabel,
                    TextOfSequence(inSequence), outCutlist);
    }
    std::int32_t CreateCutlistForTrack(const TVK::TVKUnknownRef& inTrack, const Label& inLabel,
                                       MF::IRenderableCutlistRef& outCutlist) override
    {
        return Make("track", {}, inLabel, TextOfTrack(inTrack), outCutlist);
    }
    std::int32_t UpdateCutlistForTrack(const TVK::TVKUnknownRef& inTrack, const Label& inLabel,
                                       const norviktypes::TickTime& inStart,
                                       const norviktypes::TickTime& inEnd, const MF::IRenderableCutlistRef&,
                                       MF::IRenderableCutlistRef& outCutlist) override
    {
        return Make("update track", {inStart, inEnd}, inLabel, TextOfTrack(inTrack), outCutlist);
    }
    std::int32_t CreateCutlistForTrackItem(const TVK::TVKUnknownRef&, const Label&,
                                           MF::IRenderableCutlistRef&) override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t CreateCutlistForClip(const TVK::TVKUnknownRef&, MF::IRenderableCutlistRef&) override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t CreateCutlistForMediaContent(const TVK::TVKUnknownRef&, const Label&,
                                              MF::IRenderableCutlistRef&) override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t CreateCutlistForVideoStream(const TVK::TVKUnknownRef&, const Label&,
                                             MF::IRenderableCutlistRef&) override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t OverlayCutlist(const MF::IRenderableCutlistRef& inCutlist,
                                const MF::CutlistOverlays& inOverlays,
                                MF::IRenderableCutlistRef& outCutlist) override
    {
        {
            const std::lock_guard<std::mutex> lock(mLock);
            mOverlays = inOverlays;
        }
        return Make("overlay", {}, {}, "over " + ContentOf(inCutlist), outCutlist);
    }
    std::int32_t CreateCutlistsForSequence(MF::IRenderableCutlistRef& ioFullCutlist,
                                           MF::IRenderableCutlistRef& ioSegmentCutlist, const Label& inLabel,
                                           const TVK::TVKUnknownRef&, const std::vector<std::uint64_t>&,
                                           const MF::CutlistOverlays&, bool, bool,
                                           MF::IRenderableCutlistRef&) override
    {
        return Make("segments", {}, inLabel, "flat " + ContentOf(ioFullCutlist), ioSegmentCutlist);
    }

    static std::string ContentOf(const MF::IRenderableCutlistRef& inCutlist)
    {
        return inCutlist ? static_cast<RecordedCutlist*>(inCutlist.get())->mContent : std::string("nothing");
    }

    // What a cutlist of the sequence, or track, as it is would hold. Nested sequences are asked for theirs.
    static std::string TextOfSequence(const TVK::TVKUnknownRef& inSequence)
    {
        std::string text;
        const BE::ITrackListRef tracks(inSequence);
        for (std::uint32_t index = 0; index < tracks->GetVideoTrackCount(); ++index)
        {
            text += "[" + TextOfTrack(tracks->GetVideoTrack(index)) + "]";
        }
        return text;
    }
    static std::string TextOfTrack(const TVK::TVKUnknownRef& inTrack)
    {
        std::string text;
        const BE::ITrackRef track(inTrack);
        const BE::ITrackEnabledRef enabled(inTrack);
        std::vector<BE::ITrackItemRef> items;
        track->GetItems(items);
        if (enabled->IsDisabled())
        {
            items.clear();
        }
        for (const BE::ITrackItemRef& item : items)
        {
            text += TextOfItem(*item) + " ";
        }
        return text;
    }

private:
    static std::string TextOfItem(const BE::ITrackItem& inItem)
    {
        std::string text = std::to_string(inItem.GetStart().GetTicks()) + "-" +
                           std::to_string(inItem.GetEnd().GetTicks()) + "@" +
                           std::to_string(inItem.GetClip()->GetInPoint().GetTicks());
        for (const bool atEnd : {false, true})
        {
            const BE::ITransitionItemRef transition = inItem.GetTransition(atEnd);
            text += transition ? "x" + std::to_string(transition->GetStart().GetTicks()) : "";
        }
        if (const BE::ISequenceRef nested{inItem.GetClip()->GetSequence()})
        {
            MF::IRenderableCutlistRef cutlist;
            nested->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true);
            text += "{" + ContentOf(cutlist) + "}";
        }
        return text;
    }

    std::int32_t Make(const std::string& inName, const MF::TimeRange& inRange, const Label& inLabel,
                      const std::string& inContent, MF::IRenderableCutlistRef& outCutlist)
    {
        if (const std::function<void()> during = std::exchange(mDuringNext, nullptr))
        {
            during();
        }
        const std::lock_guard<std::mutex> lock(mLock);
        mCalls.push_back({inName, inRange, std::string(inLabel.CStr(), inLabel.Size())});
        outCutlist = MF::IRenderableCutlistRef(new RecordedCutlist(inContent));
        return std::exchange(mNextStatus, 0);
    }

    std::mutex mLock;
    std::vector<Call> mCalls;
    MF::CutlistOverlays mOverlays;
    std::int32_t mNextStatus = 0;
    std::function<void()> mDuringNext;
};

} // namespace TestSupport
