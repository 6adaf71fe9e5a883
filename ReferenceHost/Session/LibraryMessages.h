#pragma once

#include "ReferenceHost/Media/LibraryLog.h"

// The errors that FFmpeg's libraries tell of, for applications that encode with them: the host reads with the
// same libraries, and who set a receiver of their own would take the host's causes away from it.
//
// Thread-safety: safe.
namespace Session
{

using Media::LibraryListener;
using Media::ListenToLibraries;

} // namespace Session
