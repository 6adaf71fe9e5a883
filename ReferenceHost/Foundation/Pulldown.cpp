#include "norviktypes/Pulldown.h"

namespace norviktypes
{

namespace
{

constexpr std::int64_t kFilmFrames = 4; // of a group
constexpr std::int64_t kVideoFrames = 5;

bool IsTwoThree(PulldownCadence inCadence)
{
    return inCadence >= kPulldownCadence_WWSSW && inCadence <= kPulldownCadence_WWWSS;
}

bool IsTwoThreeThreeTwo(PulldownCadence inCadence)
{
    return inCadence >= kPulldownCadence_WWSWW && inCadence <= kPulldownCadence_WWWSW;
}

} // namespace

TickTime MapPulldownFrameTo2997Frame(const TickTime& inTime, const FrameRate& inVideoRate,
                                     PulldownCadence inCadence, bool& outNeedsMerge) noexcept
{
    outNeedsMerge = false;
    const bool isTwoThree = IsTwoThree(inCadence);
    if (!inVideoRate.IsCountable() || !(isTwoThree || IsTwoThreeThreeTwo(inCadence)))
    {
        return inTime.AlignToFrame(inVideoRate);
    }
    const std::int64_t film = inTime.ToFrame64(FilmRateOfPulldown(inVideoRate));
    const std::int64_t k = (film % kFilmFrames + kFilmFrames) % kFilmFrames;
    const std::int64_t group = (film - k) / kFilmFrames;

    const std::int64_t begin = inCadence - (isTwoThree ? kPulldownCadence_WWSSW : kPulldownCadence_WWSWW);
    const std::int64_t skipped = ((isTwoThree ? 3 : 2) - begin + kVideoFrames) % kVideoFrames;
    const std::int64_t first = k < skipped ? k : k + 1;
    outNeedsMerge = isTwoThree && (first + begin) % kVideoFrames == 2;
    return TickTime::FromFrame(kVideoFrames * group + first + (outNeedsMerge ? 1 : 0), inVideoRate);
}

} // namespace norviktypes
