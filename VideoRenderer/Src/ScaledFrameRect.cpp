#include "ScaledFrameRect.h"

#include "BE/IClip.h"

#include <algorithm>

namespace ML
{

namespace
{

using norviktypes::PixelAspectRatio;
using TVK::Rect;

// Sides beyond this are nobody's picture; kept within it, sums of them stay integers.
constexpr double kMostPixels = 1 << 24;

// A size that comes of dividing by nothing is no size.
std::int32_t Rounded(double inSize)
{
    return inSize >= 0.0 ? static_cast<std::int32_t>(std::min(inSize + 0.5, kMostPixels)) : 0;
}

void FitOrFill(const Rect& inFrame, const PixelAspectRatio& inFrameRatio, bool inFill, double inScaleX,
               double inScaleY, const Rect& inOutput, const PixelAspectRatio& inOutputRatio,
               const PixelAspectRatio& inDestRatio, Rect& outRect)
{
    const double frameWidth = inFrameRatio.AsDouble() * inFrame.Width();
    const double ratioY = static_cast<double>(inOutput.Height()) / inFrame.Height();
    const double ratioX = inOutputRatio.AsDouble() * inOutput.Width() / frameWidth;
    const double ratio = inFill ? std::max(ratioX, ratioY) : std::min(ratioX, ratioY);
    outRect.right = outRect.left + Rounded(frameWidth * ratio * inScaleX / inDestRatio.AsDouble());
    outRect.bottom = outRect.top + Rounded(inFrame.Height() * ratio * inScaleY);
}

void KeepSize(const Rect& inFrame, const PixelAspectRatio& inFrameRatio, double inScaleX, double inScaleY,
              const Rect& inDest, const PixelAspectRatio& inDestRatio, Rect& outRect)
{
    const auto ratio =
        static_cast<float>(inDestRatio.GetDenominator()) * static_cast<float>(inFrameRatio.GetNumerator()) /
        (static_cast<float>(inDestRatio.GetNumerator()) * static_cast<float>(inFrameRatio.GetDenominator()));
    std::int32_t width = Rounded(static_cast<double>(ratio) * inFrame.Width() * inScaleX);
    const bool isBelowBoth = width < inFrame.Width() && width < inDest.Width();
    if (width % 2 != 0 && inDest.Width() % 2 == 0 && isBelowBoth)
    {
        ++width;
    }
    outRect = inFrame;
    outRect.right = outRect.left + width;
    outRect.bottom = outRect.top + Rounded(inFrame.Height() * inScaleY);
}

} // namespace

void ComputeScaledFrameRect(const Rect& inFrameRect, const PixelAspectRatio& inFrameRatio,
                            std::uint32_t inPolicy, double inScaleX, double inScaleY,
                            const Rect& inOutputRect, const PixelAspectRatio& inOutputRatio,
                            const Rect& inDestRect, const PixelAspectRatio& inDestRatio, bool inPairLines,
                            Rect& outRect)
{
    switch (inPolicy)
    {
    case BE::kScaleToFrame_Stretch: outRect = inDestRect; break;
    case BE::kScaleToFrame_Fit:
    case BE::kScaleToFrame_Fill:
        FitOrFill(inFrameRect, inFrameRatio, inPolicy == BE::kScaleToFrame_Fill, inScaleX, inScaleY,
                  inOutputRect, inOutputRatio, inDestRatio, outRect);
        break;
    default: KeepSize(inFrameRect, inFrameRatio, inScaleX, inScaleY, inDestRect, inDestRatio, outRect); break;
    }
    outRect.right = std::max(outRect.right, outRect.left + 2);
    outRect.bottom = std::max(outRect.bottom, outRect.top + 1);
    if (inPairLines && outRect.Height() % 2 != 0)
    {
        ++outRect.bottom;
    }
}

} // namespace ML
