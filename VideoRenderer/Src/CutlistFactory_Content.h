// The picture of a piece of media by itself, as a stream that a preview node can show.
//
// Thread-safety: called where the project may be read.
#pragma once

#include "BE/IMediaInfo.h"
#include "BE/IPreviewStream.h"

namespace ML
{

// The media's first video stream: as it describes itself where it does, else by what stream and media say of
// theirs. An empty reference throws TVK::NullInterfaceException.
BE::IPreviewStreamRef PreviewStreamOf(const BE::IMediaInfoRef& inMedia);

} // namespace ML
