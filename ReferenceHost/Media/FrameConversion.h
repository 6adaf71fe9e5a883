#pragma once

#include "BE/IVideoSource.h"

#include <cstdint>

// Frames made of other frames, and the failures of the frame library in the words of streams.
//
// Thread-safety: pure functions.
namespace Media
{

// A status of VF/VideoFrame.h as one of BE/IVideoSource.h.
std::int32_t SourceStatusOf(std::int32_t inFrameStatus) noexcept;

// inPicture converted and scaled, each field by itself where it is an interlaced one, to a new frame of
// inFormat. A negative status of BE/IVideoSource.h leaves outFrame as it was.
std::int32_t ConvertFrame(const MF::IVideoFrameRef& inPicture, const BE::FrameDescription& inFormat,
                          MF::IVideoFrameRef& outFrame);

} // namespace Media
