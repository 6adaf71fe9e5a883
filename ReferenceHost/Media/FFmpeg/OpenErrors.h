// The errors of this folder as those of the door.
//
// Thread-safety: pure.
#pragma once

#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"
#include "ReferenceHost/Media/OpenError.h"

namespace Media
{

inline OpenError OpenErrorOf(const FileError& inError)
{
    switch (inError.kind)
    {
    case FileErrorKind::kNoInput: return {OpenErrorKind::kNoInput, inError.text};
    case FileErrorKind::kNotVideo: return {OpenErrorKind::kNotVideo, inError.text};
    case FileErrorKind::kCodecMissing: return {OpenErrorKind::kCodecMissing, inError.text};
    case FileErrorKind::kTooLarge: return {OpenErrorKind::kTooLarge, inError.text};
    case FileErrorKind::kIOError: return {OpenErrorKind::kIOError, inError.text};
    case FileErrorKind::kBadData: break;
    }
    return {OpenErrorKind::kBadData, inError.text};
}

} // namespace Media
