// A movie file as media: the entry that the door (Media.h) calls for everything that is no still and no
// sequence.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Media/Media.h"

namespace Media
{

// The media with its facts (MediaObject.h), or an empty reference and the reason.
BE::IMediaInfoRef OpenFFmpegMedia(const std::string& inPath, const OpenOptions& inOptions,
                                  OpenError& outError);

} // namespace Media
