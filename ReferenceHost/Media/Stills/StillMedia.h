// A still: one picture for all times.
//
// The picture is decoded when the media is opened and then lives in the shared frame cache, frozen; it is
// decoded again only if the cache had to drop it. Frames of other formats and sizes are made from it, and
// cached too.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Media/Media.h"

namespace Media
{

// The media, or an empty reference and the reason. inPath is a file that IsStillFile found to be a still.
BE::IMediaInfoRef OpenStillMedia(const std::string& inPath, OpenError& outError);

} // namespace Media
