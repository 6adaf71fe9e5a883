#include "ReferenceHost/Effects/EffectTransition.h"

#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/EffectFormats.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace Effects
{
namespace
{

double ScaleOf(const ML::EffectRenderInfo& inInfo)
{
    return inInfo.isUnset == 0 && inInfo.downsampleFactor > 0.0F
               ? static_cast<double>(inInfo.downsampleFactor)
               : 1.0;
}

double AspectOf(const MF::IVideoFrame& inFrame)
{
    norviktypes::PixelAspectRatio ratio;
    inFrame.GetPixelAspectRatio(ratio);
    const bool isTold = ratio.GetNumerator() != 0 && ratio.GetDenominator() != 0;
    return isTold ? static_cast<double>(ratio.GetNumerator()) / ratio.GetDenominator() : 1.0;
}

bool IsOpaque(const MF::IVideoFrame& inFrame)
{
    return !inFrame.MayHaveTransparency();
}

} // namespace

double ProgressOf(const ML::VideoTransitionRender& inRender) noexcept
{
    const norviktypes::TickTime passed = inRender.mTime - inRender.mStart;
    const norviktypes::TickTime whole = inRender.mEnd - inRender.mStart;
    if (!inRender.mFrameRate.IsCountable() && whole > norviktypes::kTime_Zero)
    {
        return std::clamp(passed / whole, 0.0, 1.0);
    }
    if (inRender.mFrameCount <= 1)
    {
        return 0.5;
    }
    const auto frame = static_cast<double>(passed.ToFrame64(inRender.mFrameRate));
    return std::clamp(frame / static_cast<double>(inRender.mFrameCount), 0.0, 1.0);
}

EffectTransition::EffectTransition(const EffectDescription& inDescription, const ML::TransitionInfo& inInfo,
                                   const BE::ParameterListRef& inParameters)
    : mDescription(inDescription)
    , mInfo(inInfo)
    , mParameters(inParameters ? inParameters : std::make_shared<const MF::KeyframeStore>())
{
    mInfo.mMatchName = norvik::utility::ImmutableString::CreateDynamic(inDescription.mMatchName.c_str());
    mInfo.mRuntimeInstanceID = NextInstanceID();
}

void EffectTransition::GetPixelFormats(std::vector<norviktypes::PixelFormat>& outFormats) const
{
    outFormats = WorkingFormats();
}

std::int32_t EffectTransition::Render(const ML::VideoTransitionRender& inRender,
                                      const MF::IVideoFrameRef& ioFrame, const MF::IVideoFrameRef& inB,
                                      const MF::IVideoFrameRef& inA)
{
    ir::Picture from;
    ir::Picture to;
    ir::Picture target;
    std::int32_t status = PictureOf(inA, from);
    status = status < 0 ? status : PictureOf(inB, to);
    status = status < 0 ? status : PictureOf(ioFrame, target);
    if (status < 0 || !AreAlike(from, target) || !AreAlike(to, target))
    {
        return status < 0 ? status : VF::kFrameStatus_BadArgument;
    }
    const double whole = (mInfo.mEndPercent - mInfo.mStartPercent) / 100.0;
    double progress = mInfo.mStartPercent / 100.0 + whole * ProgressOf(inRender);
    progress = mInfo.mReverse ? 1.0 - progress : progress;
    // Both exchange the pictures: reversal as what is shown at its end is what was there at the start.
    if (mInfo.mReverse != mInfo.mSwitchSources)
    {
        std::swap(from, to);
    }
    const EffectParameters parameters(mDescription, mParameters.get(), inRender.mTime - inRender.mStart);
    try
    {
        status = Draw({std::clamp(progress, 0.0, 1.0), parameters, ScaleOf(inRender.mInfoA.mRender),
                       AspectOf(*ioFrame), from, to, target, (inRender.mTime - inRender.mStart).AsSeconds()});
    }
    catch (const std::bad_alloc&)
    {
        status = VF::kFrameStatus_OutOfMemory;
    }
    if (status >= 0 && IsOpaque(*inA) && IsOpaque(*inB) && KeepsOpaque())
    {
        ioFrame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    }
    return status;
}

} // namespace Effects
