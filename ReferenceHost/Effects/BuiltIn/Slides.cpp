#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFormats.h"
#include "ReferenceHost/Effects/EffectTransition.h"

#include <algorithm>
#include <cmath>

// Pictures that come in from a side, by whole pixels: nothing is filtered, so that a picture stays as sharp
// while it moves as it is when it rests.
namespace Effects
{
namespace
{

enum class Side : std::uint32_t
{
    kLeft = 0,
    kRight = 1,
    kTop = 2,
    kBottom = 3,
};

struct Shift
{
    std::int32_t x = 0;
    std::int32_t y = 0;
};

std::int32_t Rounded(double inValue)
{
    return static_cast<std::int32_t>(std::lround(inValue));
}

// Where the incoming picture's corner lies.
Shift IncomingAt(Side inSide, double inProgress, const ir::Picture& inPicture)
{
    const double rest = 1.0 - inProgress;
    switch (inSide)
    {
    case Side::kLeft: return {-Rounded(rest * inPicture.width), 0};
    case Side::kRight: return {Rounded(rest * inPicture.width), 0};
    case Side::kTop: return {0, -Rounded(rest * inPicture.height)};
    case Side::kBottom: break;
    }
    return {0, Rounded(rest * inPicture.height)};
}

// What of a picture lies in the target when its corner is moved there.
void CopyShifted(const ir::Picture& inSource, const Shift& inShift, const ir::Picture& outTarget)
{
    const std::int32_t width = outTarget.width - std::abs(inShift.x);
    const std::int32_t height = outTarget.height - std::abs(inShift.y);
    for (std::int32_t row = 0; row < height && width > 0; ++row)
    {
        CopyPixels(inSource, std::max(-inShift.x, 0), row + std::max(-inShift.y, 0), outTarget,
                   std::max(inShift.x, 0), row + std::max(inShift.y, 0), width);
    }
}

template <bool kMovesBoth>
class Slide final : public EffectTransition
{
public:
    using EffectTransition::EffectTransition;

protected:
    std::int32_t Draw(const TransitionCall& inCall) const override
    {
        const auto side = static_cast<Side>(inCall.parameters.Choice(0));
        const Shift in = IncomingAt(side, inCall.progress, inCall.target);
        CopyShifted(inCall.from, kMovesBoth ? Outgoing(side, in, inCall.target) : Shift(), inCall.target);
        CopyShifted(inCall.to, in, inCall.target);
        return 0;
    }

private:
    // Against the side that the other one comes from, edge to edge with it.
    static Shift Outgoing(Side inSide, const Shift& inIncoming, const ir::Picture& inPicture)
    {
        switch (inSide)
        {
        case Side::kLeft: return {inIncoming.x + inPicture.width, 0};
        case Side::kRight: return {inIncoming.x - inPicture.width, 0};
        case Side::kTop: return {0, inIncoming.y + inPicture.height};
        case Side::kBottom: break;
        }
        return {0, inIncoming.y - inPicture.height};
    }
};

ParameterDescription SideParameter()
{
    return ChoiceParameter("From", {"left", "right", "top", "bottom"}, 0);
}

} // namespace

void AddSlides(BuiltInTable& ioTable)
{
    ioTable.push_back(TransitionRow<Slide<false>>("slide", "", "Slide", {SideParameter()}));
    ioTable.push_back(TransitionRow<Slide<true>>("push", "", "Push", {SideParameter()}));
}

} // namespace Effects
