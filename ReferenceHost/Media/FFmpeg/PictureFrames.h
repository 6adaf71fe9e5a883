// Frames made of decoded pictures: converted once, scaled and turned on the way.
//
// Thread-safety: pure functions.
#pragma once

#include "BE/IVideoSource.h"
#include "ReferenceHost/Media/FFmpeg/BarePictures.h"
#include "ReferenceHost/Media/FFmpeg/PictureMapping.h"

namespace Media
{

// Makes a new frame of inFormat's pixel format and bounds from a picture, which is shown as inOrientation
// says; the bounds are those after the turn. A picture of another size than the stream's fills the bounds as
// well. The fields of an interlaced stream (inFormat's field type) are scaled each by itself.
// 0, or a negative status of BE/IVideoSource.h and outFrame as it was.
std::int32_t MakeFrameOfPicture(const AVFrame& inPicture, const PictureTraits& inTraits,
                                const Orientation& inOrientation, const BE::FrameDescription& inFormat,
                                MF::IVideoFrameRef& outFrame);

// The same of a picture that is left in its file. False, and no frame, where more is to be done than to convert rows.
bool MakeFrameOfBarePicture(const BarePicturePtr& inPicture, const PictureTraits& inTraits,
                            const Orientation& inOrientation, const BE::FrameDescription& inFormat,
                            MF::IVideoFrameRef& outFrame);

} // namespace Media
