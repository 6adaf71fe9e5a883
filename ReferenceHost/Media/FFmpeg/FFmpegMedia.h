// A movie file as media: the entry that the door (Media.h) calls for everything that is no still and no
// sequence.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Media/Media.h"

#include <string>

namespace Media
{

// The media with its facts (MediaObject.h), or an empty reference and the reason.
BE::IMediaInfoRef OpenFFmpegMedia(const std::string& inPath, const OpenOptions& inOptions,
                                  OpenError& outError);

// The libraries that decode pictures and unpack their formats, with the versions that are loaded.
std::string FFmpegVersions();

} // namespace Media
