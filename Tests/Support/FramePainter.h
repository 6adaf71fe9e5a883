// Writes into a frame which one it is, so that a test sees which it got.
//
// A frame is divided into 16 by 8 blocks, black or white: the bits of number, field and time, and a checksum.
// They survive conversion between all formats and any scaling that leaves a block some pixels. Where the two
// fields of a frame are of different moments, each is painted on its own lines.
//
// Thread-safety: safe on distinct frames.
#pragma once

#include "MF/IVideoFrame.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

namespace TestSupport
{

// The least frame that can carry a mark for each field, with room for scaling to half its size.
inline constexpr std::uint32_t kLeastPaintedWidth = 128;
inline constexpr std::uint32_t kLeastPaintedHeight = 96;

enum class PaintedLines : std::uint32_t
{
    All = 0,
    Upper = 1, // lines 0, 2, 4 ...
    Lower = 2,
};

struct FrameMark
{
    std::uint32_t mNumber = 0;
    std::uint32_t mField = 0; // 0 whole frame, 1 upper, 2 lower
    norviktypes::TickTime mTime;

    friend bool operator==(const FrameMark&, const FrameMark&) = default;
};

// Paints onto a frame of any format that has pixels in memory; its size is free.
void PaintMark(const MF::IVideoFrameRef& inFrame, const FrameMark& inMark,
               PaintedLines inLines = PaintedLines::All);

// False where there is no mark to be read, or a damaged one.
bool ReadMark(const MF::IVideoFrameRef& inFrame, FrameMark& outMark,
              PaintedLines inLines = PaintedLines::All);

} // namespace TestSupport
