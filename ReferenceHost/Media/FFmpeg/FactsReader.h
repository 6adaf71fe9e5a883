#pragma once

#include <string>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"

namespace Media
{

// What container and stream say, but for what follows from the index (counts, times, grid).
FileFacts ReadFacts(const std::string& inPath, const AVFormatContext& inContext, const AVStream& inStream);

// Whether a container of that name is a single image by itself.
bool IsStillContainer(const std::string& inName);

// How a picture with a display matrix (nine numbers, as streams and pictures carry them) is to be shown.
Orientation OrientationOfMatrix(const std::int32_t* inMatrix);

// Replaces what a picture knows better: size, format, depth, alpha and colour.
void ReadPicture(const AVFrame& inPicture, FileFacts& ioFacts);

// Colour of a picture or stream with what is left open filled in by its size and format.
ColourDescription ResolveColour(int inMatrix, int inPrimaries, int inTransfer, int inRange, int inSiting,
                                int inHeight, int inPixelFormat);

}
