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

struct Effect;

// The numbers of the tracks that an effect looks at, from 0 at the bottom; none for most.
using LookFunction = std::function<std::vector<std::uint32_t>(const Effect&)>;

struct DocumentOptions
{
    bool mIsStrict = false; // broken rules that have a cure are errors
    std::string mTimeline;  // name or index; empty: the first
    OutOfRange mOutOfRange = OutOfRange::kHold;
    std::string mMediaKey; // of the reference to prefer; empty: the active one
    std::vector<PathMapping> mPathMappings;
    std::vector<std::string> mMediaFolders; // searched, with all folders below, by the names of files
    // Tracks that are looked at must be there though they aren't seen. Empty: no effect looks at any.
    LookFunction mLooks;
};

}
