// A video track.
//
// Thread-safety: safe while the project is not edited.
#pragma once

#include "BE/ITrackItem.h"
#include "norviktypes/FrameRate.h"

#include <cstdint>
#include <vector>

namespace BE
{

class ML_EXPORT ITrack : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTrack;

    // In time order, not overlapping.
    virtual void GetItems(std::vector<ITrackItemRef>& outItems) const = 0;
    // Those that overlap [inStart, inEnd), transitions not counted.
    virtual void GetItemsInSpan(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                std::vector<ITrackItemRef>& outItems) const = 0;
    // Counted from the bottom.
    virtual std::uint64_t GetIndex() const = 0;
};
using ITrackRef = TVK::InterfaceRef<ITrack>;

// An optional face of a track; one without it is on.
class ML_EXPORT ITrackEnabled : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTrackEnabled;

    virtual bool IsDisabled() const = 0;
};
using ITrackEnabledRef = TVK::InterfaceRef<ITrackEnabled>;

// The grid of a sequence or track.
class ML_EXPORT ITimeBase : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTimeBase;

    virtual norviktypes::FrameRate GetFrameRate() const = 0;
};
using ITimeBaseRef = TVK::InterfaceRef<ITimeBase>;

} // namespace BE
