// Where the pixels of a frame lie: the one place that knows the memory layout of each format.
//
// Everything derives from (format, row bytes, width, height), because that is all that the two raw
// faces of a frame tell. The row bytes are those of the first plane.
//
//   four components, packed 4:2:2   one plane
//   v210                            one plane; 6 pixels in 16 bytes, rows a multiple of 128 bytes
//   planar                          Y, then U, then V with half the row bytes; a chroma line holds
//                                   (width + 1) / 2 samples, a 4:2:0 chroma plane (height + 1) / 2 lines
//
// Units: bytes, lines. Sizes are formed in 64 bits and checked, so that no width or height, however
// hostile, wraps round.
//
// Thread-safety: pure functions.
#pragma once

#include "norviktypes/PixelFormat.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace VF
{

// Alignment of the rows and of the first byte of each plane.
inline constexpr std::uint32_t kFrameAlignment = 64;

struct FramePlane
{
    std::uint64_t mOffset = 0;
    std::uint64_t mRowBytes = 0;
    // Bytes of a row that hold pixels; the others up to mRowBytes are padding.
    std::uint64_t mUsedBytes = 0;
    std::uint32_t mLines = 0;
};

struct FrameGeometry
{
    std::uint32_t mPlaneCount = 0;
    std::array<FramePlane, 3> mPlanes;
    std::uint64_t mTotalBytes = 0;
};

// True for the formats of the table, which are those that a frame can have.
bool IsFrameFormat(const norviktypes::PixelFormat& inFormat) noexcept;

// Row bytes of the first plane of a new frame: all planes come out with rows a multiple of
// kFrameAlignment. 0 for a format that no frame can have and for a width of 0.
std::uint64_t RowBytesOfFrame(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth) noexcept;

// The planes of a frame. False, and an empty geometry, for a format that no frame can have, a zero side,
// row bytes too few for the width, odd row bytes of a planar frame, or a size that 64 bits can't hold.
bool GetFrameGeometry(const norviktypes::PixelFormat& inFormat, std::uint64_t inRowBytes,
                      std::uint32_t inWidth, std::uint32_t inHeight, FrameGeometry& outGeometry) noexcept;

} // namespace VF
