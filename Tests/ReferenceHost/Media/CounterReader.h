// Reads back which frame a counter (ReferenceHost/Media/Synthetic) shows.
//
// Thread-safety: safe on frozen frames.
#pragma once

#include "MF/IVideoFrame.h"
#include "ReferenceHost/Media/Synthetic/CounterCode.h"

#include <cstdint>

namespace MediaTests
{

enum class CounterLines : std::uint8_t
{
    kAll = 0,
    kUpper = 1,
    kLower = 2,
};

struct CounterReading
{
    std::uint32_t mFrame = 0;
    Media::CounterMoment mMoment = Media::CounterMoment::kWholeFrame;

    friend bool operator==(const CounterReading&, const CounterReading&) = default;
};

// From a frame of any format and size. False where the lines hold no code, or two.
bool ReadCounter(const MF::IVideoFrameRef& inFrame, CounterReading& outReading,
                 CounterLines inLines = CounterLines::kAll);

} // namespace MediaTests
