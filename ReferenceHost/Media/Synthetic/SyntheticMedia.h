// Media made in memory: bars, a colour, a counter.
//
// The source is drawn, not decoded, so that a request at once gets its frame as well.
//
// Thread-safety: safe.
#pragma once

#include "BE/IMediaInfo.h"
#include "ReferenceHost/Media/Synthetic/SyntheticSettings.h"

namespace Media
{

BE::IMediaInfoRef CreateSyntheticMedia(const SyntheticSettings& inSettings);

} // namespace Media
