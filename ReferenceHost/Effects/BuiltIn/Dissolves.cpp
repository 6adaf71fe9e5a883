#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectTransition.h"
#include "ReferenceHost/Effects/SolidRow.h"
#include "ReferenceHost/ImageRoutines/ComposePictures.h"

#include <cmath>

namespace Effects
{
namespace
{

// The weights 1 - inShareOfSecond and inShareOfSecond.
void Mix(const ir::Picture& inFirst, const ir::Picture& inSecond, double inShareOfSecond,
         const ir::Picture& outTarget, std::int32_t inWholeHeight = 0)
{
    const ir::Picture pictures[2] = {inFirst, inSecond};
    const double weights[2] = {1.0 - inShareOfSecond, inShareOfSecond};
    ir::MixPictures(pictures, weights, 2, outTarget, inWholeHeight);
}

class CrossDissolve final : public EffectTransition
{
public:
    using EffectTransition::EffectTransition;

protected:
    std::int32_t Draw(const TransitionCall& inCall) const override
    {
        Mix(inCall.from, inCall.to, inCall.progress, inCall.target, inCall.wholeHeight);
        return 0;
    }

    bool DrawsRowByRow() const override { return true; }
    bool KeepsWholeAlpha() const override { return true; }
};

// To a colour in the first half, from it in the second.
class DipToColor final : public EffectTransition
{
public:
    using EffectTransition::EffectTransition;

protected:
    std::int32_t Draw(const TransitionCall& inCall) const override
    {
        const SolidRow color(inCall.parameters.ColorOf(0), inCall.target);
        const bool isFirstHalf = inCall.progress < 0.5;
        const double shareOfColor = 1.0 - std::abs(2.0 * inCall.progress - 1.0);
        Mix(isFirstHalf ? inCall.from : inCall.to, color.AsPicture(), shareOfColor, inCall.target);
        return 0;
    }
};

} // namespace

void AddDissolves(BuiltInTable& ioTable)
{
    ioTable.push_back(
        TransitionRow<CrossDissolve>("cross-dissolve", "VX.ZNTR Cross Dissolve New", "Cross Dissolve", {}));
    ioTable.push_back(
        TransitionRow<DipToColor>("dip-to-color", "", "Dip to Color", {ColorParameter("Color", 0, 0, 0)}));
}

} // namespace Effects
