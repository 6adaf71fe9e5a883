// A picture that was rendered before, as Sequence::AddPreview takes it: media, and how it stands for what it shows.
//
// Thread-safety: safe.
#pragma once

#include "BE/IPreviewStream.h"

namespace Project
{

// inMedia: of the sequence's size and rate, first frame first; not empty. inIsDraft: rendered at less than full
// quality.
BE::IPreviewStreamRef CreatePreviewStream(const BE::IMediaInfoRef& inMedia, bool inIsDraft = false);

} // namespace Project
