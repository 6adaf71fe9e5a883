// What a user may choose of how a document is read.
//
// Thread-safety: a value.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Otio
{

// What an item shows where its source range leaves the media.
enum class OutOfRange : std::uint8_t
{
    kHold,  // the nearest frame of the media
    kBlack, // opaque black
    kError, // the nearest frame, and an error
};

// Paths that begin with mFrom begin with mTo instead.
struct PathMapping
{
    std::string mFrom;
    std::string mTo;
};

struct DocumentOptions
{
    bool mIsStrict = false; // broken rules that have a cure are errors
    std::string mTimeline;  // name or index; empty: the first
    OutOfRange mOutOfRange = OutOfRange::kHold;
    std::string mMediaKey; // of the reference to prefer; empty: the active one
    std::vector<PathMapping> mPathMappings;
    std::vector<std::string> mMediaFolders; // searched, with all folders below, by the names of files
    // Whether an effect of that name looks at other tracks, which must be there then though they aren't seen. Empty:
    // none does.
    std::function<bool(const std::string&)> mLooksAtTracks;
};

}
