// Draws the pictures of synthetic media in 8-bit BGRA.
//
// Thread-safety: pure functions of their arguments; a canvas belongs to one thread.
#pragma once

#include "ReferenceHost/Media/Synthetic/SyntheticSettings.h"

#include <cstddef>
#include <cstdint>

namespace Media
{

// Rows run from the top down; the memory belongs to the caller.
struct BGRAPicture
{
    std::uint8_t* mPixels = nullptr;
    std::ptrdiff_t mRowBytes = 0;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
};

// Bars at 75 %, with the reversed blue strip and the black levels below them.
void PaintBars(const BGRAPicture& outPicture);

void PaintColor(const BGRAPicture& outPicture, TVK::ParamColor<std::uint32_t> inColor);

// Number, field and time of frame inFrame, once as text and once as cells (CounterCode.h), and a line that
// crosses the picture once in two seconds. The lines of the two fields of an interlaced picture show their
// own moments.
void PaintCounter(const BGRAPicture& outPicture, const SyntheticSettings& inSettings, std::int64_t inFrame);

} // namespace Media
