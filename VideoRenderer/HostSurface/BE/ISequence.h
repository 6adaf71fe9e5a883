// A sequence of a project: settings of its picture, and its tracks as another face.
//
// Thread-safety: safe while the project is not edited.
#pragma once

#include "BE/ITrack.h"
#include "MF/CutlistProvider.h"
#include "TVK/ParamTypes.h"

#include <cstdint>

namespace BE
{

class ML_EXPORT ISequence : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kSequence;

    virtual TVK::Rect GetFrameRect() const = 0;
    virtual norviktypes::PixelAspectRatio GetPixelAspectRatio() const = 0;
    virtual norviktypes::FieldType GetFieldType() const = 0;
    virtual bool AllowsLinearCompositing() const = 0;
    virtual bool IsMulticamSource() const = 0;
    virtual norviktypes::TickTime GetDuration() const = 0;
    virtual MF::IRenderableCutlistProviderRef GetCutlistProvider() const = 0;
    // Of one track by itself; empty for an index that is not there.
    virtual MF::IRenderableCutlistProviderRef GetTrackCutlistProvider(std::uint64_t inTrack) const = 0;
};
using ISequenceRef = TVK::InterfaceRef<ISequence>;

// A face of a sequence: its video tracks, bottom first.
class ML_EXPORT ITrackList : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTrackList;

    virtual std::uint32_t GetVideoTrackCount() const = 0;
    virtual TVK::TVKUnknownRef GetVideoTrack(std::uint32_t inIndex) const = 0;
};
using ITrackListRef = TVK::InterfaceRef<ITrackList>;

} // namespace BE
