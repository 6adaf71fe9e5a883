// Makes cutlists of the objects of a project: what a host calls when a timeline is opened or edited.
//
// The library puts its factory here when it starts and takes it out when it stops. Main objects are given as
// TVKUnknown and asked for the face that the operation needs; one that lacks it is an empty reference where
// it is used first, which throws TVK::NullInterfaceException.
//
// Statuses: 0, kStatus_NoSuchEntry where a sequence gives no cutlist, or what a piece failed with.
//
// Thread-safety: the factory has no state. It is called from threads that may read the project.
#pragma once

#include "MF/IRenderableCutlist.h"
#include "norvik/utility/Guid.h"

#include <cstdint>
#include <map>
#include <vector>

namespace MF
{

// A stretch that is shown instead of what a node or cutlist shows: a preview that was rendered before.
struct CutlistOverlay
{
    norviktypes::TickTime mStart; // on the time axis of what is overlaid
    norviktypes::TickTime mEnd;
    std::uint64_t mFirstValue = 0; // the host's own
    std::uint64_t mSecondValue = 0;
    // A node, used as it is, or a preview stream.
    TVK::TVKUnknownRef mSubject;
};

// By the hash of the node, or of the cutlist, that is overlaid.
using CutlistOverlays = std::map<TVK::Guid, std::vector<CutlistOverlay>, norvik::utility::GuidLessStored>;

class ML_EXPORT IRenderableCutlistFactory : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableCutlistFactory;
    using Label = norvik::utility::ImmutableString;

    // All tracks, at all times.
    virtual std::int32_t CreateCutlistForSequence(const TVK::TVKUnknownRef& inSequence,
                                                  const Label& inStreamLabel,
                                                  IRenderableCutlistRef& outCutlist) = 0;
    // Rebuilds what a change between inStart and inEnd touches and splices it into inPrevious. Equals what
    // CreateCutlistForSequence gives. A change spans the whole of each item that is not what it was, before and
    // after; a transition that comes or goes alters both its neighbours. Without a previous cutlist, or with an
    // end of the time axis for a limit, everything is built anew.
    virtual std::int32_t
    UpdateCutlistForSequence(const TVK::TVKUnknownRef& inSequence, const Label& inStreamLabel,
                             const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                             const IRenderableCutlistRef& inPrevious, IRenderableCutlistRef& outCutlist) = 0;
    // One track by itself.
    virtual std::int32_t CreateCutlistForTrack(const TVK::TVKUnknownRef& inTrack, const Label& inStreamLabel,
                                               IRenderableCutlistRef& outCutlist) = 0;
    virtual std::int32_t UpdateCutlistForTrack(const TVK::TVKUnknownRef& inTrack, const Label& inStreamLabel,
                                               const norviktypes::TickTime& inStart,
                                               const norviktypes::TickTime& inEnd,
                                               const IRenderableCutlistRef& inPrevious,
                                               IRenderableCutlistRef& outCutlist) = 0;
    // One clip with its effects, at its time on the track.
    virtual std::int32_t CreateCutlistForTrackItem(const TVK::TVKUnknownRef& inTrackItem,
                                                   const Label& inStreamLabel,
                                                   IRenderableCutlistRef& outCutlist) = 0;
    // One clip without a track.
    virtual std::int32_t CreateCutlistForClip(const TVK::TVKUnknownRef& inClip,
                                              IRenderableCutlistRef& outCutlist) = 0;
    // The picture of a clip's media, from its start.
    virtual std::int32_t CreateCutlistForMediaContent(const TVK::TVKUnknownRef& inMediaContent,
                                                      const Label& inStreamLabel,
                                                      IRenderableCutlistRef& outCutlist) = 0;
    virtual std::int32_t CreateCutlistForVideoStream(const TVK::TVKUnknownRef& inStream,
                                                     const Label& inStreamLabel,
                                                     IRenderableCutlistRef& outCutlist) = 0;
    // inCutlist with inOverlays put over it; inCutlist itself where there are none.
    virtual std::int32_t OverlayCutlist(const IRenderableCutlistRef& inCutlist,
                                        const CutlistOverlays& inOverlays,
                                        IRenderableCutlistRef& outCutlist) = 0;
    // The whole of a sequence in two forms at once, each made only where its reference comes in empty: as
    // CreateCutlistForSequence gives it, and with the clips of nested sequences replaced by what these show.
    // outPreview is the first form with inOverlays put over it.
    //
    // inTracks              the tracks to take, by index; empty takes all.
    // inIncludeAdjustments  of no effect: adjustment items are left out in any case.
    // inIncludeEffects      false: clips of the second form are built without their effects.
    virtual std::int32_t
    CreateCutlistsForSequence(IRenderableCutlistRef& ioFullCutlist, IRenderableCutlistRef& ioSegmentCutlist,
                              const Label& inStreamLabel, const TVK::TVKUnknownRef& inSequence,
                              const std::vector<std::uint64_t>& inTracks, const CutlistOverlays& inOverlays,
                              bool inIncludeAdjustments, bool inIncludeEffects,
                              IRenderableCutlistRef& outPreview) = 0;
};
using IRenderableCutlistFactoryRef = TVK::InterfaceRef<IRenderableCutlistFactory>;

// Empty where the library is not running. Both are safe from any thread.
ML_EXPORT void SetCutlistFactory(const IRenderableCutlistFactoryRef& inFactory);
ML_EXPORT IRenderableCutlistFactoryRef GetCutlistFactory();

} // namespace MF
