#include "ReferenceHost/ImageRoutines/BlendRows.h"
#include "ReferenceHost/ImageRoutines/ComposeBytes.h"
#include "ReferenceHost/ImageRoutines/ComposeFloats.h"
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

void CompositeByFloatRows(const Picture& inSource, const Picture& ioTarget, float inOpacity, bool inIsLinear)
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

// Four components of one depth, model, coding and range; alpha may differ.
bool ArePackedAlike(const Picture& inSource, const Picture& inTarget)
{
    return inSource.storage == Storage::kPacked4 && inSource.sample == inTarget.sample &&
           inSource.matrix == inTarget.matrix && inSource.isFullRange == inTarget.isFullRange &&
           inSource.transfer == inTarget.transfer && inSource.primaries == inTarget.primaries;
}

void CompositeBytes(const Picture& inSource, const Picture& ioTarget, float inOpacity, bool inIsLinear)
{
    ByteLayers layers = ByteLayersFor(inSource, ioTarget, inOpacity);
    layers.isLinear = inIsLinear;
    for (std::int32_t y = 0; y < ioTarget.height; ++y)
    {
        ComposeBytes(layers, inSource.Row(0, y), nullptr, ioTarget.Row(0, y),
                     static_cast<std::size_t>(ioTarget.width));
    }
}

void CompositeFloats(const Picture& inSource, const Picture& ioTarget, float inOpacity)
{
    FloatLayers layers;
    layers.sourceIsPremultiplied = inSource.alpha == PictureAlpha::kPremultiplied;
    layers.sourceIsOpaque = !inSource.HasAlpha();
    layers.targetIsStraight = ioTarget.alpha == PictureAlpha::kStraight;
    layers.targetIsOpaque = !ioTarget.HasAlpha();
    layers.opacity = inOpacity;
    for (std::int32_t y = 0; y < ioTarget.height; ++y)
    {
        ComposeFloats(layers, reinterpret_cast<const float*>(inSource.Row(0, y)),
                      reinterpret_cast<float*>(ioTarget.Row(0, y)), static_cast<std::size_t>(ioTarget.width));
    }
}

}

void CompositePictures(const Picture& inSource, const Picture& ioTarget, float inOpacity, bool inIsLinear)
{
    const bool areAlike = ArePackedAlike(inSource, ioTarget);
    if (areAlike && ioTarget.sample == Sample::kByte)
    {
        CompositeBytes(inSource, ioTarget, inOpacity, inIsLinear);
    }
    else if (areAlike && ioTarget.sample == Sample::kFloat && !inIsLinear)
    {
        CompositeFloats(inSource, ioTarget, inOpacity);
    }
    else
    {
        CompositeByFloatRows(inSource, ioTarget, inOpacity, inIsLinear);
    }
}

}
