#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Foundation
{

// A small font for counters, timecode and captions: printable ASCII on a grid of dots, enlarged by whole
// factors so that it stays sharp and reads the same on every machine. Everything else shows as a box.
//
// Thread-safety: pure functions over constant data.

// A glyph's cell in dots, with the gap to the next character and to the next line in it. The ink is five
// columns wide; capitals and digits are seven rows high, an eighth row holds what hangs below the line.
inline constexpr int kGlyphCellWidth = 6;
inline constexpr int kGlyphCellHeight = 9;

// A picture of one byte a pixel, owned by the caller. mRowBytes goes from one row to the next and may be
// negative.
struct ByteMask
{
    uint8_t* mPixels = nullptr;
    int mWidth = 0;
    int mHeight = 0;
    ptrdiff_t mRowBytes = 0;
};

// Writes 255 wherever the text has ink, and nothing elsewhere. (inLeft, inTop) is the corner of the first
// cell, inScale the pixels of a dot (at least 1). '\n' begins a new line below the first. What falls outside
// the mask is cut off.
void DrawText(const ByteMask& inMask, int inLeft, int inTop, std::string_view inText, int inScale);

// Size of the text in pixels, all gaps included.
int TextWidth(std::string_view inText, int inScale);
int TextHeight(std::string_view inText, int inScale);

} // namespace Foundation
