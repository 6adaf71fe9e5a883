#include "ReferenceHost/ImageRoutines/ComposeRows.h"

#include <algorithm>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/BlendRows.h"
#include "ReferenceHost/ImageRoutines/ComposeBytes.h"
#include "ReferenceHost/ImageRoutines/ComposeFloats.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace ir
{
namespace
{

// A stretch of a row as a picture of its own.
Picture StretchOf(const Picture& inPicture, std::int32_t inX, std::int32_t inY, std::int32_t inCount)
{
    Picture stretch = inPicture;
    stretch.planes[0] =
        inPicture.Row(0, inY) + static_cast<std::ptrdiff_t>(inX) * 4 * SampleBytes(inPicture.sample);
    stretch.width = inCount;
    stretch.height = 1;
    return stretch;
}

// The pixels to lay as a picture of the target's model.
Picture LayerOf(const void* inPixels, Sample inSample, const Picture& inTarget, std::int32_t inCount)
{
    Picture layer = StretchOf(inTarget, 0, 0, inCount);
    layer.planes[0] = const_cast<unsigned char*>(static_cast<const unsigned char*>(inPixels));
    layer.sample = inSample;
    layer.bits = inSample == Sample::kByte ? 8 : 32;
    layer.alpha = PictureAlpha::kPremultiplied;
    return layer;
}

void Clear(const FloatRow& outRow, std::size_t inCount)
{
    for (float* row : outRow.c)
    {
        std::fill_n(row, inCount, 0.0F);
    }
}

bool GoesThroughRGB(const Picture& inTarget, std::uint32_t inMode)
{
    return !inTarget.IsRGB() && inMode != kIR_Blend_Normal && inMode != kIR_Blend_Dissolve;
}

BlendPlan BlendPlanFor(const ComposeSettings& inSettings, const Picture& inTarget)
{
    BlendPlan plan;
    plan.mode = inSettings.blendMode;
    plan.opacity = inSettings.opacity;
    plan.isStraight = inTarget.alpha == PictureAlpha::kStraight;
    plan.isOpaque = !inTarget.HasAlpha();
    plan.isLimited = inTarget.sample != Sample::kFloat;
    plan.mostAlpha = plan.isLimited ? static_cast<float>(AlphaRange(inTarget).scale) : 0.0F;
    return plan;
}

// One stretch by way of rows of floats.
class FloatStretch
{
public:
    FloatStretch(const Picture& inTarget, std::int32_t inX, std::int32_t inY, std::int32_t inCount)
        : mTarget(StretchOf(inTarget, inX, inY, inCount))
        , mCount(static_cast<std::size_t>(inCount))
        , mRows(11, mCount + 64)
        , mLayer{{mRows.Row(0), mRows.Row(1), mRows.Row(2), mRows.Row(3)}}
        , mBackdrop{{mRows.Row(4), mRows.Row(5), mRows.Row(6), mRows.Row(7)}}
    {
    }

    float* Coverage() const { return mRows.Row(10); }

    void Compose(const Picture& inLayer, const ComposeSettings& inSettings, const BlendPlan& inPlan) const
    {
        ReadFloatRow(inLayer, 0, mLayer, mRows.Row(8));
        inSettings.targetHasPicture ? ReadFloatRow(mTarget, 0, mBackdrop, mRows.Row(8))
                                    : Clear(mBackdrop, mCount);
        if (GoesThroughRGB(mTarget, inPlan.mode))
        {
            Picture rgb = mTarget;
            rgb.matrix = Matrix::kRGB;
            Recolour(inLayer.alpha, mTarget, rgb, mLayer);
            Recolour(mTarget.alpha, mTarget, rgb, mBackdrop);
            BlendRow(inPlan, mLayer, mBackdrop, mCount);
            Recolour(mTarget.alpha, rgb, mTarget, mBackdrop);
        }
        else
        {
            BlendRow(inPlan, mLayer, mBackdrop, mCount);
        }
        WriteFloatRow(mTarget, 0, mBackdrop);
    }

private:
    // The matrix alone: alpha keeps its kind.
    void Recolour(PictureAlpha inAlpha, Picture inFrom, Picture inTo, const FloatRow& ioRow) const
    {
        inFrom.alpha = inAlpha == PictureAlpha::kOpaque ? PictureAlpha::kPremultiplied : inAlpha;
        inTo.alpha = inFrom.alpha;
        ApplyPlan(PlanFor(inFrom, inTo), ioRow, mCount);
    }

    Picture mTarget;
    std::size_t mCount;
    RowBuffers<float> mRows;
    FloatRow mLayer;
    FloatRow mBackdrop;
};

}

bool IsBlendMode(std::uint32_t inMode) noexcept
{
    return inMode < kIR_Blend_Count;
}

void ComposeByteRow(const std::uint8_t* inPremultiplied, const std::uint8_t* inCoverage,
                    const ComposeSettings& inSettings, const Picture& ioTarget, std::int32_t inX,
                    std::int32_t inY, std::int32_t inCount)
{
    const Picture layer = LayerOf(inPremultiplied, Sample::kByte, ioTarget, inCount);
    if (inSettings.blendMode == kIR_Blend_Normal)
    {
        ByteLayers layers = ByteLayersFor(layer, ioTarget, inSettings.opacity);
        layers.targetIsEmpty = !inSettings.targetHasPicture;
        ComposeBytes(layers, inPremultiplied, inCoverage, StretchOf(ioTarget, inX, inY, inCount).planes[0],
                     static_cast<std::size_t>(inCount));
        return;
    }
    BlendPlan plan = BlendPlanFor(inSettings, ioTarget);
    plan.x = inX;
    plan.y = inY;
    if (ioTarget.IsRGB())
    {
        plan.isEmpty = !inSettings.targetHasPicture;
        BlendByteRow(plan, inPremultiplied, inCoverage, StretchOf(ioTarget, inX, inY, inCount).planes[0],
                     static_cast<std::size_t>(inCount));
        return;
    }
    const FloatStretch stretch(ioTarget, inX, inY, inCount);
    for (std::int32_t i = 0; inCoverage != nullptr && i < inCount; ++i)
    {
        stretch.Coverage()[i] = static_cast<float>(inCoverage[i]) / 255.0F;
    }
    plan.coverage = inCoverage == nullptr ? nullptr : stretch.Coverage();
    stretch.Compose(layer, inSettings, plan);
}

void ComposeFloatRow(const float* inPremultiplied, const float* inCoverage, const ComposeSettings& inSettings,
                     const Picture& ioTarget, std::int32_t inX, std::int32_t inY, std::int32_t inCount)
{
    const FloatStretch stretch(ioTarget, inX, inY, inCount);
    BlendPlan plan = BlendPlanFor(inSettings, ioTarget);
    plan.x = inX;
    plan.y = inY;
    if (inCoverage != nullptr)
    {
        std::copy_n(inCoverage, inCount, stretch.Coverage()); // a whole vector of them is read
        plan.coverage = stretch.Coverage();
    }
    stretch.Compose(LayerOf(inPremultiplied, Sample::kFloat, ioTarget, inCount), inSettings, plan);
}

}
