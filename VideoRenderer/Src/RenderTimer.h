#pragma once

#include <cstdint>

namespace ML
{

// How long something takes or has taken, by two clocks that watch each other.
//
// The performance counter is exact, but it has been seen to jump; where it disagrees with the tick count by
// more than half a second, the tick count is believed.
//
// Thread-safety: a value.
class RenderTimer
{
public:
    void Start();
    void Stop();

    // From Start to Stop, or to now while it runs. Never negative.
    double ElapsedSeconds() const;

private:
    std::int64_t mStartCount = 0;
    std::int64_t mStopCount = 0;
    double mFrequency = 0.0;       // counts a second
    std::uint32_t mStartTicks = 0; // milliseconds
    std::uint32_t mStopTicks = 0;
    bool mCounterWorks = false;
    bool mRuns = false;
};

} // namespace ML
