// Stands for media that can't be had, so that a clip of it is still a clip of media: it has a name, and no stream.
//
// Thread-safety: safe.
#pragma once

#include "BE/IMasterClip.h"

namespace Project
{

// inMasterClip: says what it is called and where it should be; may be empty.
BE::IMediaInfoRef CreateOfflineMedia(const BE::IMasterClipRef& inMasterClip);

} // namespace Project
