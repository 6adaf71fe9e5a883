#pragma once

#include "norviktypes/FrameRate.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

// Which moment of a chain of sources is shown at which moment of the output.
//
// With speed S, what the output shows from t for a length d is, of the chain, forwards
//
//   from t * S  up to (t + d) * S
//
// and backwards, with D the length of the chain,
//
//   from D - (t + d) * |S|  up to  D - t * |S|
//
// so that a clip that is played backwards shows the same frames as one that is played forwards, the last one
// first. Moments within a thousandth of a frame of the chain's grid are on it: rates whose frames are no whole
// ticks would show the frame before, or the one after.
//
// Thread-safety: value type.
namespace Session
{

class OutputTimes
{
public:
    // Output and chain are one.
    OutputTimes() = default;
    // inChainLength is kTime_Max for a chain without an end, which is not played backwards. inMomentRate is that
    // of its distinct moments, fields or frames.
    OutputTimes(const norviktypes::TickTime& inChainLength, const norviktypes::FrameRate& inChainRate,
                const norviktypes::FrameRate& inMomentRate, const norviktypes::FrameRate& inOutputRate,
                double inSpeed, bool inBlends);

    // Frames of the output; -1: without an end.
    std::int64_t FrameCount() const noexcept;
    // The moment of the chain for what is shown at inTime for inLength. Blended output keeps away from the end of
    // the chain by what it blends, as there is nothing to blend with behind it.
    norviktypes::TickTime ToChain(const norviktypes::TickTime& inTime,
                                  const norviktypes::TickTime& inLength) const noexcept;
    // How many frames of the chain make one of the output.
    double FramesForOne() const noexcept;

private:
    norviktypes::TickTime OnGrid(const norviktypes::TickTime& inTime) const noexcept;

    bool mIsIdentity = true;
    norviktypes::TickTime mChainLength = norviktypes::kTime_Max;
    norviktypes::FrameRate mChainRate;
    norviktypes::FrameRate mMomentRate;
    norviktypes::FrameRate mOutputRate;
    double mSpeed = 1;
    bool mBlends = false;
};

} // namespace Session
