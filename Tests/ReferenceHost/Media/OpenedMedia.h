#pragma once

#include "BE/IMediaInfo.h"
#include "ReferenceHost/Media/Media.h"

#include <string>

// Media opened through the door that applications use, for tests that ask for its frames.
//
// Thread-safety: safe.
namespace MediaTests
{

// Fails the test with the reason and answers null when the media can't be opened.
BE::IMediaInfoRef OpenOrFail(const std::string& inPath,
                             const Media::OpenOptions& inOptions = Media::OpenOptions());

// A source of its own for the first video stream.
BE::IVideoSourceRef SourceOf(const BE::IMediaInfoRef& inMedia);

// The frame at inTime, and the status with which it came. inBounds: the size to make it, empty for its own.
std::int32_t FrameAt(const BE::IVideoSourceRef& inSource, const norviktypes::TickTime& inTime,
                     const norviktypes::PixelFormat& inFormat, MF::IVideoFrameRef& outFrame,
                     bool inAtOnce = false, const TVK::Rect& inBounds = TVK::Rect());

// The first frame as the media holds it.
MF::IVideoFrameRef NativeFrame(const std::string& inPath);

norviktypes::PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame);

}
