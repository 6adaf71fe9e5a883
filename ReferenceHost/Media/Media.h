// The door to all media that this host reads.
//
//   clip.mov              a file, by FFmpeg's libraries
//   card.png              a still: what FFmpeg reads as a single image
//   frames/shot%05d.png   a numbered sequence: printf's %d or %0Nd, once
//   bars:  color:red  counter:rate=50     synthetic media (Synthetic/SyntheticSettings.h)
//
// A file of that very name goes before a sequence and before synthetic media.
//
// Thread-safety: safe.
#pragma once

#include "BE/IMediaInfo.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/OpenError.h"
#include "norviktypes/FrameRate.h"

#include <cstdint>
#include <string>

namespace Media
{

struct OpenOptions
{
    std::int32_t mStreamIndex = -1;       // of the container's streams; -1: the best video stream
    norviktypes::FrameRate mSequenceRate; // of a numbered sequence; none: 25 frames a second
    std::uint32_t mDecoderThreads = 0;    // for each decoder; 0: as many as processors
    std::uint64_t mCacheBytes = 0;        // of decoded frames for each file; 0: a default
    bool mKeepsLeadIn = true; // false: single looks; frames decoded on the way to another aren't kept
};

// The media, which answers IMediaFacts too; or an empty reference and the reason in outError.
BE::IMediaInfoRef OpenMedia(const std::string& inPath, const OpenOptions& inOptions, OpenError& outError);

} // namespace Media
