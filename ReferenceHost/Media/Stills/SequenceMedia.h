// A numbered sequence of stills: one file a frame, on a grid.
//
// Frame 0 is the file with the lowest number, and each following number is the next frame, present or not, so
// that all others keep their times; SequenceFrames says otherwise, and what stands for files that are missing.
// The first file there is decides size and format; others are scaled to it. Files are listed when the sequence
// is opened and decoded one by one when they are asked for.
//
// Thread-safety: safe; frames are decoded side by side.
#pragma once

#include "ReferenceHost/Media/Media.h"
#include "ReferenceHost/Media/Stills/SequencePattern.h"

#include <cstdint>
#include <vector>

namespace Media
{

// The media, or an empty reference and the reason. inNumbers: of the files there are, ascending, not empty;
// those that are no frames are left out.
BE::IMediaInfoRef OpenSequenceMedia(const std::string& inText, const SequencePattern& inPattern,
                                    const std::vector<std::int64_t>& inNumbers, const OpenOptions& inOptions,
                                    OpenError& outError);

} // namespace Media
