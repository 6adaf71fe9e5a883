// A frame as the image routines take it.
//
// Thread-safety: as of the frame.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>

namespace ML
{

// Valid while the frame lives. The pixels of a frozen frame are for reading.
struct FrameImage
{
    std::uint8_t* mPixels = nullptr; // of the first row in memory
    std::int32_t mRowBytes = 0;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
    std::uint32_t mCode = 0; // of the image routines; 0 for a format that they don't know

    // One field of a format whose rows can be walked with one pointer, as a picture of its own.
    FrameImage Field(bool inIsLower) const noexcept;
    // From the bottom up, the last line of the picture is the first in memory and belongs to the lower field.
    bool FieldStartsOnSecondRow(bool inIsLower) const noexcept;
};

// Throws TVK::NullInterfaceException for an empty reference and for a frame without raw pixels,
// RenderRequestException for one that has no memory for its pixels.
FrameImage ImageOfFrame(const MF::IVideoFrameRef& inFrame);

TVK::Rect BoundsOfFrame(const MF::IVideoFrameRef& inFrame);
norviktypes::PixelFormat FormatOfFrame(const MF::IVideoFrameRef& inFrame);

} // namespace ML
