// The door to all media that this host reads.
//
//   clip.mov              a file, by FFmpeg's libraries
//   card.png              a still: what FFmpeg reads as a single image
//   film.zip//10+20/a.mov a part of a file, as FilePart.h tells
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
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Media
{

// What a frame of a numbered sequence shows whose file isn't there.
enum class MissingFiles : std::uint8_t
{
    kFail,  // it can't be read
    kHold,  // the file before it, or the first one
    kBlack, // opaque
};

// Names of files, without folders, and what they are opened by.
using NamedFiles = std::map<std::string, std::string, std::less<>>;

// Which files of a numbered sequence are its frames: frame n is number mFirst + n * mStep.
struct SequenceFrames
{
    std::optional<std::int64_t> mFirst; // none: the lowest number there is
    std::int64_t mStep = 1;             // above 0
    std::int64_t mCount = 0;            // 0: up to the highest number there is
    MissingFiles mMissing = MissingFiles::kFail;
    std::shared_ptr<const NamedFiles> mFiles = nullptr; // all there are; null: those of the folder
};

struct OpenOptions
{
    std::int32_t mStreamIndex = -1;       // of the container's streams; -1: the best video stream
    norviktypes::FrameRate mSequenceRate; // of a numbered sequence; none: 25 frames a second
    SequenceFrames mSequenceFrames;
    std::uint32_t mDecoderThreads = 0; // for each decoder; 0: as many as processors
    std::uint64_t mCacheBytes = 0;     // of decoded frames for each file; 0: a default
    bool mKeepsLeadIn = true; // false: single looks; frames decoded on the way to another aren't kept
};

// The media, which answers IMediaFacts too; or an empty reference and the reason in outError.
BE::IMediaInfoRef OpenMedia(const std::string& inPath, const OpenOptions& inOptions, OpenError& outError);

} // namespace Media
