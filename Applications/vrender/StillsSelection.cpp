#include "Applications/vrender/StillsSelection.h"

#include "Applications/vrender/ExitCodes.h"

#include <algorithm>
#include <set>

namespace vrender
{

namespace
{

// A slip of the hand shall not fill a disk.
constexpr std::int64_t kMostStills = 100000;

void CheckCount(std::int64_t inCount)
{
    if (inCount > kMostStills)
    {
        throw ToolError(ExitCode::kUsage, "--every: gives " + std::to_string(inCount) +
                                              " pictures, more than " + std::to_string(kMostStills));
    }
}

std::vector<std::int64_t> EveryFewFrames(const FrameRange& inRange, std::int64_t inStep)
{
    CheckCount((inRange.mEnd - inRange.mFirst - 1) / inStep + 1);
    std::vector<std::int64_t> frames;
    for (std::int64_t frame = inRange.mFirst; frame < inRange.mEnd; frame += inStep)
    {
        frames.push_back(frame);
    }
    return frames;
}

std::vector<std::int64_t> EveryFewSeconds(const FrameRange& inRange, const Timeline& inTimeline,
                                          norviktypes::TickTime inStep)
{
    CheckCount((inRange.mStop - inRange.mStart).GetTicks() / inStep.GetTicks());
    std::vector<std::int64_t> frames;
    for (norviktypes::TickTime time = inRange.mStart; time < inRange.mStop; time += inStep)
    {
        const std::int64_t frame = inTimeline.mFrameAt(time);
        if (frame >= 0 && (frames.empty() || frames.back() != frame))
        {
            frames.push_back(frame);
        }
    }
    return frames;
}

} // namespace

std::vector<std::int64_t> SelectFrames(const FrameRange& inRange, const Timeline& inTimeline,
                                       const std::string& inEvery, std::int64_t inCount)
{
    if (!inEvery.empty())
    {
        const TimeExpression step = ParseTime("--every", inEvery);
        if (step.mKind == TimeExpression::Kind::kFrame && step.mFrame > 0)
        {
            return EveryFewFrames(inRange, step.mFrame);
        }
        if (step.mKind == TimeExpression::Kind::kSeconds && step.mTime > norviktypes::kTime_Zero)
        {
            return EveryFewSeconds(inRange, inTimeline, step.mTime);
        }
        throw ToolError(ExitCode::kUsage,
                        "--every: '" + inEvery + "' is not a number of frames or seconds above 0");
    }
    const std::int64_t available = inRange.mEnd - inRange.mFirst;
    const std::int64_t count = std::min(inCount, available);
    std::vector<std::int64_t> frames;
    for (std::int64_t i = 0; i < count; ++i)
    {
        frames.push_back(inRange.mFirst + (2 * i + 1) * available / (2 * count));
    }
    return frames;
}

std::vector<std::int64_t> FramesAt(const FrameRange& inRange, const Timeline& inTimeline,
                                   const std::vector<norviktypes::TickTime>& inTimes)
{
    std::set<std::int64_t> frames;
    for (const norviktypes::TickTime& time : inTimes)
    {
        const std::int64_t frame = time < norviktypes::kTime_Zero ? -1 : inTimeline.mFrameAt(time);
        if (frame >= inRange.mFirst && frame < inRange.mEnd)
        {
            frames.insert(frame);
        }
    }
    return {frames.begin(), frames.end()};
}

} // namespace vrender
