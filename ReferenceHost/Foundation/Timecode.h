#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Foundation
{

// Timecode: the text HH:MM:SS:FF that names a frame of a day. Frames are counted from 00:00:00:00.
//
// At rates such as 30000/1001 the count of 30 frames a second drifts from the clock; drop-frame timecode,
// which is written with ';' before the frames, leaves out the first labels of each minute but every tenth
// (two at 30, four at 60) and so keeps to the clock within a frame or two. No frame is dropped, only labels.
//
// Thread-safety: pure functions.

// Frames a second as a fraction; both above 0.
struct TimecodeRate
{
    int mNumerator = 25;
    int mDenominator = 1;
};

// Labels a second: the rate rounded to the nearest integer, at least 1.
int NominalFramesPerSecond(const TimecodeRate& inRate);

// Whether drop-frame labels exist for a rate: a multiple of 30 labels a second over 1001.
bool SupportsDropFrame(const TimecodeRate& inRate);

// The label of a frame, "-" before it for frames below 0; hours grow beyond 24. inDropFrame is ignored where
// the rate has no drop-frame labels.
std::string FormatTimecode(int64_t inFrame, const TimecodeRate& inRate, bool inDropFrame);

// The frame of a label of four groups of digits, H:M:S:F; with a semicolon (or a point) before the frames it
// is a drop-frame label. False, and nothing written, for anything else: groups out of range, labels that
// drop-frame leaves out, ';' where the rate has no drop-frame labels.
bool ParseTimecode(std::string_view inText, const TimecodeRate& inRate, int64_t& outFrame,
                   bool& outDropFrame);

} // namespace Foundation
