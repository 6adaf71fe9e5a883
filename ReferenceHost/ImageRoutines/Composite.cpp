#include "ReferenceHost/ImageRoutines/BlendRows.h"
#include "ReferenceHost/ImageRoutines/ComposePictures.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace ir
{
namespace
{

BlendPlan PlanForRows(const Picture& inTarget, float inOpacity, bool inIsLinear)
{
    BlendPlan plan;
    plan.opacity = inOpacity;
    plan.isStraight = inTarget.alpha == PictureAlpha::kStraight && !inIsLinear;
    plan.isOpaque = !inTarget.HasAlpha();
    plan.mostAlpha =
        inTarget.sample == Sample::kFloat ? 0.0F : static_cast<float>(AlphaRange(inTarget).scale);
    return plan;
}

void CompositeByFloats(const Picture& inSource, const Picture& ioTarget, float inOpacity, bool inIsLinear)
{
    Picture layer = ioTarget;
    layer.alpha = PictureAlpha::kPremultiplied;
    layer.transfer = inIsLinear ? Transfer::kLinear : ioTarget.transfer;
    const Picture& backdrop = inIsLinear ? layer : ioTarget;
    const RowPlan forSource = PlanFor(inSource, layer);
    const RowPlan forBackdrop = PlanFor(ioTarget, backdrop);
    const RowPlan forResult = PlanFor(backdrop, ioTarget);
    const BlendPlan blend = PlanForRows(ioTarget, inOpacity, inIsLinear);

    const auto width = static_cast<std::size_t>(ioTarget.width);
    const RowBuffers<float> rows(10, width + 64);
    const FloatRow above = {{rows.Row(0), rows.Row(1), rows.Row(2), rows.Row(3)}};
    const FloatRow below = {{rows.Row(4), rows.Row(5), rows.Row(6), rows.Row(7)}};
    for (std::int32_t y = 0; y < ioTarget.height; ++y)
    {
        ReadFloatRow(inSource, y, above, rows.Row(8));
        ApplyPlan(forSource, above, width);
        ReadFloatRow(ioTarget, y, below, rows.Row(8));
        ApplyPlan(forBackdrop, below, width);
        BlendRow(blend, above, below, width);
        ApplyPlan(forResult, below, width);
        WriteFloatRow(ioTarget, y, below);
    }
}

}

void CompositePictures(const Picture& inSource, const Picture& ioTarget, float inOpacity, bool inIsLinear)
{
    CompositeByFloats(inSource, ioTarget, inOpacity, inIsLinear);
}

}
