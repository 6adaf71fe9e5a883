// An effect's picture side: a filter that a host or its plug-ins supply.
//
// Statuses: negative is a failure; the render ends with it.
//
// Thread-safety: called from any number of render threads at once.
#pragma once

#include "BE/Effects.h"
#include "MF/BinaryData.h"
#include "MF/IVideoFrame.h"
#include "ML/EffectRenderInfo.h"
#include "ML/SubTreeRender.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/PixelFormat.h"

#include <cstdint>
#include <vector>

namespace ML
{

// The moment and the surroundings of one call of a filter.
struct VideoFilterRender
{
    norviktypes::TickTime mClipTime;     // time of the clip's media, after speed and remapping
    norviktypes::TickTime mSequenceTime; // time in the item that the effect sits on
    norviktypes::FrameRate mFrameRate;
    std::int64_t mFrame = 0;      // mSequenceTime in frames
    std::int64_t mFrameCount = 0; // length of the effect in frames
    norviktypes::TickTime mEffectStart;
    const MF::KeyframeStore* mParameters = nullptr; // values at mClipTime
    const EffectRenderInfo* mInfo = nullptr;
    SubTreeRenderRef mSubTree; // may be empty
    LayerRenderRef mLayers;    // may be empty
};

class ML_EXPORT IVideoFilter : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoFilter;

    virtual norvik::utility::ImmutableString GetMatchName() const = 0;
    // The formats in which the filter takes a frame, the best one first. inFrame may be empty; inFormat is
    // the one that the render asks for.
    virtual void GetPixelFormats(const MF::IVideoFrameRef& inFrame, const norviktypes::PixelFormat& inFormat,
                                 std::vector<norviktypes::PixelFormat>& outFormats) const = 0;
    // Its picture moves even where input and parameters stand still.
    virtual bool VariesByItself() const = 0;
    // State beyond the parameters that its picture depends on.
    virtual bool HasOpaqueData() const = 0;
    virtual std::int32_t GetOpaqueData(MF::BinaryData& outData) const = 0;
    virtual std::uint32_t GetRuntimeInstanceID() const = 0;
    // Its picture depends on the names of clips and files.
    virtual bool WantsClipNames() const = 0;
    virtual void GetStreamLabels(std::vector<norvik::utility::ImmutableString>& outLabels) const = 0;
    // An opaque picture stays opaque with these parameters, at all times.
    virtual bool KeepsOpaque(const MF::KeyframeStore& inParameters) const = 0;
    // inFrame is of one of the formats that were asked for, and never changed. outFrame is a frame of the
    // filter's own, of inFrame's format; or inFrame, where nothing is to be done.
    virtual std::int32_t Render(const VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                                MF::IVideoFrameRef& outFrame) = 0;
};
using IVideoFilterRef = TVK::InterfaceRef<IVideoFilter>;

} // namespace ML
