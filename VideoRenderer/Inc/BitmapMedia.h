// A frame that exists only in memory, as a piece of media.
//
// A still made by a plug-in, or a title, can so stand in a timeline like an imported file. The media
// gives one video stream; every source made of it has a key of its own that covers all times, so a
// media whose callback yields frames by time is not for users who cache by that key.
//
// Thread-safety: safe. A callback runs with the media's lock held and must not call back into the same
// media from another thread.
#pragma once

#include "BE/IMediaInfo.h"
#include "VideoRendererExport.h"

#include <cstdint>

namespace ML
{

// Fills outFrame for inTime; answers 0 or a negative status.
using BitmapFrameCallback = std::int32_t (*)(std::uint64_t inContext, const norviktypes::TickTime inTime,
                                             MF::IVideoFrameRef& outFrame);

class VIDEORENDERER_EXPORT IBitmapMedia : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kBitmapMedia;

    // Replaces the frame and tells listeners that the media changed.
    virtual void SetFrame(const MF::IVideoFrameRef& inFrame) = 0;
    // With a callback, frames come from it; a null callback goes back to the frame, and tells nobody.
    virtual void SetFrameCallback(BitmapFrameCallback inCallback, std::uint64_t inContext) = 0;
};
using IBitmapMediaRef = TVK::InterfaceRef<IBitmapMedia>;

// inCallback may be null. An empty inVideoFrame is a contract violation.
VIDEORENDERER_EXPORT BE::IMediaInfoRef CreateBitmapMedia(const MF::IVideoFrameRef& inVideoFrame,
                                                         BitmapFrameCallback inCallback,
                                                         std::uint64_t inContext,
                                                         const norvik::WString& inName);

} // namespace ML
