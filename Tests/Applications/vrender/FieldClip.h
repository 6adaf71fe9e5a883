#pragma once

#include <string>
#include <vector>

// Small clips whose lines tell where they are from, and what became of them in the tool.
//
// The luma of a line is the moment of its field (counted in fields of the clip, from 0), its chroma the line, both
// in steps of eight code values, so that a part of a step shows how much of a neighbour is in it.
//
// Thread-safety: one thread.
namespace TestSupport
{

enum class ClipFields
{
    kProgressive, // moments are those of the first field: 0, 2, 4 ...
    kUpperFirst,
    kLowerFirst
};

constexpr int kFieldStep = 8;
constexpr int kFieldClipWidth = 16;

struct FieldClip
{
    ClipFields mFields = ClipFields::kUpperFirst;
    int mHeight = 16;
    int mFrames = 4;
    bool mSharesChroma = false; // 4:2:0, whose chroma tells its own line; else 4:4:4
};

// As YUV4MPEG.
void WriteFieldClip(const std::string& inPath, const FieldClip& inClip);

// Where a line is from, in eighths.
struct FieldLine
{
    int mMoment = 0;
    int mLine = 0;
};

// The lines of a frame; of 4:2:0 the moments of all lines, and the chroma lines in the first half of them.
using FieldFrame = std::vector<FieldLine>;

// What comes of inClip with inOptions of the tool. Every line must be of one colour.
std::vector<FieldFrame> FramesOfFieldClip(const FieldClip& inClip, const std::vector<std::string>& inOptions);

} // namespace TestSupport
