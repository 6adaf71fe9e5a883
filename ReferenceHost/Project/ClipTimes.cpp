#include "ReferenceHost/Project/ClipTimes.h"

#include "MF/ITimeTransform.h"

#include <cmath>

namespace Project
{

namespace
{

using norviktypes::FrameRate;
using norviktypes::TickTime;

// Counts of frames that miss a whole number by less are that number.
constexpr double kSlack = 1e-6;

FrameRate RateOfStream(const BE::IMediaInfoRef& inMedia)
{
    FrameRate rate;
    if (const BE::IVideoSourceRef source = BE::IVideoSourceRef(inMedia->GetStream(BE::kMediaType_Video, 0)))
    {
        source->GetFrameRate(rate);
    }
    return rate;
}

double FramesIn(const TickTime& inTime, const FrameRate& inRate)
{
    return static_cast<double>(inTime.GetTicks()) / static_cast<double>(inRate.GetTicks());
}

} // namespace

FrameRate MediaRateOf(const ClipItem& inItem, const FrameRate& inSequenceRate)
{
    FrameRate rate = inItem.mMediaRate;
    if (!rate.IsCountable() && inItem.mSequence)
    {
        const BE::ITimeBaseRef timeBase(inItem.mSequence);
        rate = timeBase ? timeBase->GetFrameRate() : FrameRate();
    }
    if (!rate.IsCountable() && inItem.mMedia)
    {
        rate = RateOfStream(inItem.mMedia);
    }
    return rate.IsCountable() ? rate : inSequenceRate;
}

TickTime FirstMediaTime(const ClipItem& inItem, const FrameRate& inSequenceRate, const FrameRate& inMediaRate)
{
    if (inItem.mSpeed >= 0.0)
    {
        return inItem.mInPoint;
    }
    const double count = std::ceil(FramesIn(inItem.mDuration, inSequenceRate) - kSlack);
    const double sequenceFrame = static_cast<double>(inSequenceRate.GetTicks());
    const double mediaFrame = static_cast<double>(inMediaRate.GetTicks());
    const double reach = -inItem.mSpeed * (count - 1.0) * (sequenceFrame / mediaFrame);
    const double frames = std::ceil(reach - kSlack);
    return inItem.mInPoint + TickTime(static_cast<std::int64_t>(frames) * inMediaRate.GetTicks());
}

TickTime ToMediaTime(const ClipItem& inItem, const TickTime& inTime, const FrameRate& inSequenceRate)
{
    if (!inItem.mTimeRemap.empty())
    {
        ParameterContent content;
        content.mKeys = inItem.mTimeRemap;
        MF::Keyframe<double> seconds;
        CreateParameter(content)->GetValueAtTime(seconds, inTime, 0);
        return TickTime::FromSeconds(seconds.mValue);
    }
    const double speed = inItem.mSpeed == 0.0 ? 1.0 : inItem.mSpeed;
    const TickTime first = FirstMediaTime(inItem, inSequenceRate, MediaRateOf(inItem, inSequenceRate));
    return MF::CreateTimeTransform(first, speed, inItem.mDuration, TickTime())->MapTime(inTime, 0);
}

} // namespace Project
