#include "ReferenceHost/ImageRoutines/MotionLayer.h"

#include <cstring>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/MotionDraw.h"

namespace ir
{

bool IsNormal(const ComposeSettings& inSettings) noexcept
{
    return inSettings.blendMode == kIR_Blend_Normal || !inSettings.targetHasPicture;
}

bool Hides(const MotionPlan& inPlan, bool inIsOpaque) noexcept
{
    return IsNormal(inPlan.compose) && inPlan.compose.opacity == 1.0F &&
           (inIsOpaque || !inPlan.compose.targetHasPicture);
}

bool AreBytesOfOneCoding(const MotionPlan& inPlan) noexcept
{
    // Multiplying by alpha goes from 0, which is not where YUV has its colourless middle.
    const bool isPlain = inPlan.source.alpha != PictureAlpha::kStraight || inPlan.source.IsRGB();
    return inPlan.source.sample == Sample::kByte && inPlan.target.sample == Sample::kByte && isPlain &&
           HasSameCoding(inPlan.source, inPlan.target);
}

ByteLayer::ByteLayer(const MotionPlan& inPlan) : mPlan(inPlan), mSourceIsOpaque(!inPlan.source.HasAlpha())
{
    Picture sampled = inPlan.target;
    sampled.alpha = PictureAlpha::kPremultiplied;
    mLayers = ByteLayersFor(sampled, inPlan.target, inPlan.compose.opacity);
    mLayers.targetIsEmpty = !inPlan.compose.targetHasPicture;
}

std::uint8_t* ByteLayer::PlaceFor(std::int32_t inColumn, std::int32_t inRow, std::uint8_t* ioPixels) const
{
    return Hides(mPlan, mSourceIsOpaque) ? Place(inColumn, inRow) : ioPixels;
}

void ByteLayer::Lay(const std::uint8_t* inMade, bool inIsOpaque, std::int32_t inColumn, std::int32_t inRow,
                    std::int32_t inCount, std::uint8_t* ioPixels) const
{
    const auto bytes = static_cast<std::size_t>(inCount) * 4;
    const bool isInPlace = inMade != ioPixels;
    if (isInPlace && (inIsOpaque || mLayers.targetIsPremultiplied))
    {
        return;
    }
    if (isInPlace)
    {
        std::memcpy(ioPixels, inMade, bytes);
    }
    if (inIsOpaque && Hides(mPlan, true))
    {
        std::memcpy(Place(inColumn, inRow), ioPixels, bytes);
    }
    else if (IsNormal(mPlan.compose))
    {
        ComposeBytes(mLayers, ioPixels, nullptr, Place(inColumn, inRow), bytes / 4);
    }
    else
    {
        ComposeByteRow(ioPixels, nullptr, mPlan.compose, mPlan.target, inColumn, mPlan.TargetRow(inRow),
                       inCount);
    }
}

std::uint8_t* ByteLayer::Place(std::int32_t inColumn, std::int32_t inRow) const
{
    return mPlan.target.Row(0, mPlan.TargetRow(inRow)) + static_cast<std::ptrdiff_t>(inColumn) * 4;
}

}
