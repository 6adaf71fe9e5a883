// A use of a piece of media, or of a sequence, in a timeline: which part, how fast, and how conformed.
//
// Times are media times where nothing else is said.
//
// Thread-safety: safe while the project is not edited.
#pragma once

#include "BE/Effects.h"
#include "BE/IMasterClip.h"
#include "BE/IMediaInfo.h"
#include "BE/IVideoSource.h"

#include <cstdint>
#include <vector>

namespace BE
{

inline constexpr std::uint32_t kScaleToFrame_None = 0;
inline constexpr std::uint32_t kScaleToFrame_Fit = 1;
inline constexpr std::uint32_t kScaleToFrame_Fill = 2;
inline constexpr std::uint32_t kScaleToFrame_Stretch = 3;

inline constexpr std::uint32_t kFieldOption_None = 0;
inline constexpr std::uint32_t kFieldOption_InterlaceConsecutive = 1;
inline constexpr std::uint32_t kFieldOption_Deinterlace = 2;
inline constexpr std::uint32_t kFieldOption_RemoveFlicker = 3;

inline constexpr std::uint32_t kClipKind_Plain = 0;

class ML_EXPORT IClip : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kClip;

    virtual TVK::Rect GetFrameRect() const = 0;
    virtual norviktypes::PixelAspectRatio GetPixelAspectRatio() const = 0;
    virtual norviktypes::FieldType GetFieldType() const = 0;
    // The order of fields that its frames are brought to; kFieldType_FromSource: no order of its own.
    virtual norviktypes::FieldType GetConformFieldType() const = 0;

    // The part of the media that plays. A clip that plays backwards begins a frame of its stream before the out
    // point, or a field where it has fields.
    virtual norviktypes::TickTime GetInPoint() const = 0;
    virtual norviktypes::TickTime GetOutPoint() const = 0;
    // Where it lies by itself, on the axis that its track item has, and how long it plays.
    virtual norviktypes::TickTime GetStart() const = 0;
    virtual norviktypes::TickTime GetEnd() const = 0;
    virtual norviktypes::TickTime GetDuration() const = 0;
    // Positive; IsBackwards tells the direction.
    virtual double GetSpeed() const = 0;
    virtual bool IsBackwards() const = 0;
    // Held at outTime, kTime_Max where it is not; outHoldsEffects: effects stand still with it.
    virtual void GetFrameHold(norviktypes::TickTime& outTime, bool& outHoldsEffects) const = 0;
    // Not the clip's speed, but a mapping that blending between frames knows of. Empty without one.
    virtual MF::ITimeTransformRef GetTimeTransform() const = 0;
    virtual ITimeRemapParameterRef GetTimeRemapParameter() const = 0;

    virtual std::uint32_t GetScaleToFramePolicy() const = 0;
    virtual std::uint32_t GetTimeMode() const = 0;
    virtual bool DeinterlacesOnTimeMode() const = 0;
    virtual bool ReversesFieldDominance() const = 0;
    virtual std::uint32_t GetFieldOption() const = 0;
    virtual bool BlendsFrames() const = 0;
    virtual bool NeedsLowerTracks() const = 0;

    // kClipKind_.
    virtual std::uint32_t GetKind() const = 0;
    // Names what the clip shows: changes whenever that does.
    virtual TVK::Guid GetContentID() const = 0;
    virtual norvik::WString GetName() const = 0;
    // Empty where there is none.
    virtual IMasterClipRef GetMasterClip() const = 0;
    // Empty for a clip of a sequence.
    virtual IMediaInfoRef GetMedia() const = 0;
    // The sequence that the clip shows; empty for a clip of media.
    virtual TVK::TVKUnknownRef GetSequence() const = 0;
    // Empty while the media is offline.
    virtual IVideoSourceRef GetVideoSource() const = 0;

    // Of a clip whose sequence is a multi-camera source: the chosen track, and the tracks by camera.
    virtual std::uint32_t GetSelectedMulticamTrack() const = 0;
    virtual void GetCameraOrder(std::vector<std::uint64_t>& outTracks) const = 0;
};
using IClipRef = TVK::InterfaceRef<IClip>;

} // namespace BE
