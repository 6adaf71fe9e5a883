// The size that a still image's header claims.
//
// Decoders of images refuse sides whose product they can't count as they refuse any other nonsense. The user
// shall hear that the picture is too large, so the header is asked before a decoder is.
//
// Thread-safety: pure.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Media
{

struct DeclaredSize
{
    std::int64_t mWidth = 0;
    std::int64_t mHeight = 0;
};

// Of PNG, JPEG, TIFF, EXR, DPX and BMP, recognised by their first bytes. Zeros for everything else, and where
// the header ends before it tells.
DeclaredSize ReadDeclaredSize(const std::uint8_t* inBytes, std::size_t inSize);

} // namespace Media
