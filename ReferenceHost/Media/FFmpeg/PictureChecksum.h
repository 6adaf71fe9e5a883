#pragma once

#include <cstdint>

struct AVFrame;

namespace Media
{

// A checksum over the visible samples of a picture, plane by plane and row by row: the Adler-32 that FFmpeg's
// framecrc writes for a raw picture, so that a frame can be compared with another reader's without its
// pixels.
//
// Thread-safety: safe.
std::uint32_t PictureChecksum(const AVFrame& inPicture);

}
