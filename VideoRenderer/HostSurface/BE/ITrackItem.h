// What lies on a track: clips, and the transitions between them.
//
// Thread-safety: safe while the project is not edited.
#pragma once

#include "BE/Effects.h"
#include "BE/IClip.h"

#include <cstdint>

namespace ML
{
class IVideoTransition;
}

namespace BE
{

inline constexpr std::uint32_t kTrackItemKind_Clip = 1;

class ML_EXPORT ITransitionItem : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTransitionItem;

    // On the track.
    virtual norviktypes::TickTime GetStart() const = 0;
    virtual norviktypes::TickTime GetEnd() const = 0;
    virtual TVK::InterfaceRef<ML::IVideoTransition> GetTransition() const = 0;
};
using ITransitionItemRef = TVK::InterfaceRef<ITransitionItem>;

class ML_EXPORT ITrackItem : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTrackItem;

    // On the track, transitions not counted.
    virtual norviktypes::TickTime GetStart() const = 0;
    virtual norviktypes::TickTime GetEnd() const = 0;
    // kTrackItemKind_.
    virtual std::uint32_t GetKind() const = 0;
    virtual IClipRef GetClip() const = 0;
    // The transition at its end, or at its start; empty without one. Two items at a cut answer with the same.
    virtual ITransitionItemRef GetTransition(bool inAtEnd) const = 0;
    // Motion and Opacity among them. May be empty.
    virtual IEffectChainRef GetEffects() const = 0;
    // Items of one group other than 0 stay together.
    virtual std::uint32_t GetGroupID() const = 0;
    virtual bool IsAdjustment() const = 0;
    virtual bool IsMuted() const = 0;
};
using ITrackItemRef = TVK::InterfaceRef<ITrackItem>;

} // namespace BE
