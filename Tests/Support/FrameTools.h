// Making frames for tests, and the switches of the frame library that a product never needs.
//
// Thread-safety: safe on distinct frames.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>
#include <vector>

namespace TestSupport
{

// Undefined pixels, square. Ends the test's statement with an exception where a frame can't be made.
MF::IVideoFrameRef NewFrame(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth,
                            std::uint32_t inHeight);
// Every pixel of a four-component frame the same bytes.
MF::IVideoFrameRef NewFilledFrame(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth,
                                  std::uint32_t inHeight, const std::vector<std::uint8_t>& inPixel);

// The address of a row in memory, of the first plane.
std::uint8_t* RowOf(const MF::IVideoFrameRef& inFrame, std::uint32_t inRow);
// One pixel of a four-component frame.
std::vector<std::uint8_t> PixelAt(const MF::IVideoFrameRef& inFrame, std::uint32_t inX, std::uint32_t inY);

// The frame stands for smaller bounds from now on, as one that a stream delivered at full size.
void MakeSubstitute(const MF::IVideoFrameRef& inFrame);

// Forgets all frames of the process' cache.
void EmptyFrameCache();
// With a budget of 0 a frame stays only as long as somebody depends on it.
inline constexpr std::uint64_t kUsualFrameCacheBudget = std::uint64_t{1} << 30;
void SetFrameCacheBudget(std::uint64_t inBytes);

// Of the frames in the process' cache, together.
std::uint64_t FrameCacheBytes();
// Keys of the process' cache that somebody depends on.
std::uint64_t AnnouncedKeys();

} // namespace TestSupport
