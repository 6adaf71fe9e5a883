#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "ReferenceHost/Media/FilePart.h"

namespace Media
{

// The bytes that stand in a block in front of a frame: the track's number, a time and flags.
inline constexpr std::int64_t kMatroskaBlockHead = 4;

// Finds the frames of the one video track of a Matroska or WebM file by the heads of its elements, without reading a
// frame. Each is [begin, end) of one block, in ascending order.
//
// False for a file that doesn't say where all of its elements end, is torn, has several video tracks or one whose
// blocks aren't plain: compressed or encrypted, or with several frames in one.
//
// Thread-safety: safe.
bool FindMatroskaBlocks(const OpenedPart& inFile,
                        std::vector<std::pair<std::int64_t, std::int64_t>>& outFrames);

}
