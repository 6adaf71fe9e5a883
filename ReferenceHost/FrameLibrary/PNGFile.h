// A frame as a picture that any viewer shows, for tools and tests. Frames that must come back as they
// were go through VF/PNG.h.
//
// The picture is display-referred RGB: with straight alpha if the frame may have transparency, else without.
// Frames of more than 8 bits a component give 16 bits, others 8. The pixel aspect is noted where it isn't square.
//
// Thread-safety: safe.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VF
{

// False, and no bytes, if the frame has no pixels to read or memory is short.
bool EncodeViewablePNG(const MF::IVideoFrameRef& inFrame, std::vector<std::uint8_t>& outBytes);

// Writes such a picture, over an older file if there is one. False if it can't be written whole; outError
// then names the file and the cause.
bool WritePNGFile(const MF::IVideoFrameRef& inFrame, const std::string& inPath, std::string& outError);

} // namespace VF
