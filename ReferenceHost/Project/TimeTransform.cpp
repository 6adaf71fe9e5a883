#include "MF/ITimeTransform.h"

#include "TVK/Allocated.h"
#include "TVK/HashValue.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace MF
{

namespace
{

using norviktypes::TickTime;

// Mapped times stay far enough from the ends of the integer that two of them can still be added.
constexpr std::int64_t kFurthest = std::int64_t{1} << 62;

class LinearTimeTransform final : public TVK::Implements<LinearTimeTransform, ITimeTransform>
{
public:
    LinearTimeTransform(const TickTime& inStart, double inSpeed, const TickTime& inDuration,
                        const TickTime& inOffset)
        : mStart(inStart)
        , mSpeed(std::isfinite(inSpeed) ? inSpeed : 0.0)
        , mDuration(inDuration)
        , mOffset(inOffset)
    {
    }

    TickTime MapTime(const TickTime& inTime, std::uint32_t) const override
    {
        const std::int64_t distance = inTime.GetTicks() - mOffset.GetTicks();
        return TickTime(std::clamp(mStart.GetTicks() + Scaled(distance), -kFurthest, kFurthest));
    }

    bool IsIdentity() const override { return mSpeed == 1.0 && mStart == mOffset; }

    TVK::Guid GetHash() const override
    {
        TVK::HashValue hash("MF::LinearTimeTransform");
        hash.MixI64(mStart.GetTicks());
        hash.MixDouble(mSpeed);
        hash.MixI64(mDuration.GetTicks());
        hash.MixI64(mOffset.GetTicks());
        return hash.AsGuid();
    }

private:
    // At plain speed no time passes through a double, which holds ticks exactly for ten hours only.
    std::int64_t Scaled(std::int64_t inDistance) const
    {
        if (mSpeed == 1.0 || mSpeed == -1.0)
        {
            return mSpeed > 0 ? inDistance : -inDistance;
        }
        const double scaled = std::round(static_cast<double>(inDistance) * mSpeed);
        constexpr double kLimit = static_cast<double>(kFurthest);
        return static_cast<std::int64_t>(std::clamp(scaled, -kLimit, kLimit));
    }

    const TickTime mStart;
    const double mSpeed;
    const TickTime mDuration;
    const TickTime mOffset;
};

} // namespace

ITimeTransformRef CreateTimeTransform(const TickTime& inStart, double inSpeed, const TickTime& inDuration,
                                      const TickTime& inOffset)
{
    return new LinearTimeTransform(inStart, inSpeed, inDuration, inOffset);
}

} // namespace MF
