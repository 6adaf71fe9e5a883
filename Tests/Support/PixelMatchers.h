// What a test says about the pixels of frames.
//
// Thread-safety: safe on frozen frames.
#pragma once

#include "MF/IVideoFrame.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace TestSupport
{

// The bytes of all rows of all planes, without padding. Empty for a frame whose pixels can't be reached.
std::vector<std::uint8_t> PixelBytes(const MF::IVideoFrameRef& inFrame);

// A copy in another format, of the same size; empty where the pixels can't be reached.
MF::IVideoFrameRef CopyAs(const MF::IVideoFrameRef& inFrame, const norviktypes::PixelFormat& inFormat);

// Equal formats, bounds and bytes. A failure names the first byte that differs.
testing::AssertionResult HaveEqualPixels(const MF::IVideoFrameRef& inA, const MF::IVideoFrameRef& inB);

// Equal bounds, and no component differs by more than inTolerance of its range (1.0 is black against white)
// when both are converted to 16-bit straight B G R A. A failure names the largest difference.
testing::AssertionResult HaveNearPixels(const MF::IVideoFrameRef& inA, const MF::IVideoFrameRef& inB,
                                        double inTolerance);

// Every pixel of a four-component frame holds these bytes.
testing::AssertionResult IsFilledWith(const MF::IVideoFrameRef& inFrame,
                                      const std::vector<std::uint8_t>& inPixel);

// Random bytes into all planes, padding included, from a seed; floats come out between 0 and 1.
void FillWithNoise(const MF::IVideoFrameRef& inFrame, std::uint64_t inSeed);

} // namespace TestSupport
