#include "ReferenceHost/Project/TimeRemap.h"

#include "TVK/Allocated.h"
#include "TVK/HashValue.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace Project
{

namespace
{

using norviktypes::TickTime;

class TimeRemap final : public TVK::Implements<TimeRemap, BE::ITimeRemapParameter, MF::ITimeTransform>
{
public:
    TimeRemap(const MF::IKeyframedParameterRef& inCurve, const norviktypes::FrameRate& inRate,
              const std::optional<MF::TimeRange>& inAvailable)
        : mCurve(inCurve)
        , mNudge(NudgeOf(inRate))
        , mAvailable(inAvailable)
    {
        if (mCurve)
        {
            mKeyframes.push_back(mCurve);
        }
    }

    bool IsEnabled() const override { return true; }
    MF::ITimeTransformRef GetTransform() const override
    {
        return MF::ITimeTransformRef(const_cast<TimeRemap*>(this));
    }
    const MF::KeyframeStore& GetKeyframes() const override { return mKeyframes; }

    norvik::UTF8String GetHashText() const override
    {
        fmt::memory_buffer text;
        fmt::format_to(std::back_inserter(text), "{}", mNudge.GetTicks());
        if (mAvailable)
        {
            fmt::format_to(std::back_inserter(text), " {} {}", mAvailable->mStart.GetTicks(),
                           mAvailable->mEnd.GetTicks());
        }
        norvik::UTF8String whole(text.data(), text.size());
        if (mCurve)
        {
            whole += '|';
            whole += mCurve->GetText();
        }
        return whole;
    }

    TickTime MapTime(const TickTime& inTime, std::uint32_t) const override
    {
        return Held(OnCurve(inTime) + mNudge, mAvailable);
    }

    bool IsIdentity() const override { return false; }

    TVK::Guid GetHash() const override
    {
        TVK::HashValue hash("Project::TimeRemap");
        hash.MixText(GetHashText());
        return hash.AsGuid();
    }

private:
    TickTime OnCurve(const TickTime& inTime) const
    {
        MF::Keyframe<double> seconds;
        const bool isMapped = mCurve && mCurve->GetValueAtTime(seconds, inTime, 0) >= 0;
        return isMapped ? TickTime::FromSeconds(seconds.mValue) : inTime;
    }

    const MF::IKeyframedParameterRef mCurve;
    const TickTime mNudge;
    const std::optional<MF::TimeRange> mAvailable;
    MF::KeyframeStore mKeyframes;
};

} // namespace

TickTime NudgeOf(const norviktypes::FrameRate& inRate)
{
    return inRate.IsCountable() ? TickTime(inRate.GetTicks() / 1000000 + 1) : TickTime();
}

TickTime Held(const TickTime& inTime, const std::optional<MF::TimeRange>& inAvailable)
{
    if (!inAvailable || inAvailable->mStart >= inAvailable->mEnd)
    {
        return inTime;
    }
    return std::clamp(inTime, inAvailable->mStart, inAvailable->mEnd - TickTime(1));
}

BE::ITimeRemapParameterRef CreateTimeRemap(const MF::IKeyframedParameterRef& inCurve,
                                           const norviktypes::FrameRate& inRate,
                                           const std::optional<MF::TimeRange>& inAvailable)
{
    return BE::ITimeRemapParameterRef(new TimeRemap(inCurve, inRate, inAvailable));
}

} // namespace Project
