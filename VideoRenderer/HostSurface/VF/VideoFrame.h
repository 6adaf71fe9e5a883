// Making frames.
//
// Frames come from a pool of 64-byte aligned buffers with rows a multiple of 64 bytes; a buffer goes
// back when the last reference to its frame is dropped.
//
// Thread-safety: safe.
#pragma once

#include "MF/IVideoFrame.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>

namespace VF
{

inline constexpr std::int32_t kFrameStatus_OK = 0;
inline constexpr std::int32_t kFrameStatus_BadArgument = static_cast<std::int32_t>(0x80000001u);
inline constexpr std::int32_t kFrameStatus_OutOfMemory = static_cast<std::int32_t>(0x80000003u);

// Largest side and largest size of a frame: what hostile media may ask for at most.
inline constexpr std::uint32_t kMaximumFrameSide = 16384;
inline constexpr std::uint64_t kMaximumFrameBytes = std::uint64_t{512} << 20;

// A new, unfrozen frame. inClear: colour to black (YUV: black of its range); inClearAlpha: alpha to
// zero, so that both give transparent black; inClear alone gives opaque black. Without inClear the
// pixels are undefined, whatever inClearAlpha says.
// 0, or negative with an empty reference: kFrameStatus_BadArgument for a wildcard, invalid or unknown
// format, a zero size, a side or a size above the limits; kFrameStatus_OutOfMemory.
std::int32_t CreateVideoFrame(MF::IVideoFrameRef& outFrame, const norviktypes::PixelFormat& inFormat,
                              std::uint32_t inWidth, std::uint32_t inHeight,
                              const norviktypes::PixelAspectRatio& inRatio, bool inClear, bool inClearAlpha);

// A frame that may be written: inFrame itself unless it is frozen, else a copy with all attributes.
// Empty if there is no memory. An empty inFrame throws TVK::NullInterfaceException.
MF::IVideoFrameRef MakeWriteableVideoFrame(const MF::IVideoFrameRef& inFrame,
                                           norviktypes::RenderQuality inQuality);

// The image routines' code of a format; 0 where they do not know it. Both names are in use.
std::uint32_t BEPixelFormatToIRPixelFormat(const norviktypes::PixelFormat& inFormat) noexcept;
inline std::uint32_t BEToIRPixelFormat(const norviktypes::PixelFormat& inFormat) noexcept
{
    return BEPixelFormatToIRPixelFormat(inFormat);
}

} // namespace VF
