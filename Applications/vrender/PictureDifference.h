#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>

// How far two pictures are apart.
//
// Units: steps of 8 bits, for all depths; a float of 1 is 255 of them. Every component of every pixel counts
// alike, alpha among them.
//
// Thread-safety: safe, pure functions; a PictureDifference is a value.
namespace vrender
{

struct PictureDifference
{
    double mLargest = 0;
    double mSquares = 0; // summed
    std::uint64_t mSamples = 0;

    void Add(const PictureDifference& inOther) noexcept;
    // In decibels; infinite where nothing differs.
    double PSNR() const noexcept;
};

// Of two frames of one size, both BGRA in 8 bits, or both in 32-bit floats. A component that is no number in one
// of them only is as far off as can be.
PictureDifference ComparePictures(const MF::IVideoFrameRef& inFirst, const MF::IVideoFrameRef& inSecond);

} // namespace vrender
