#include "ReferenceHost/Effects/EffectTransition.h"

#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/EffectFormats.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>

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

// Rows of two pictures that stay in the second-level cache until they are mixed.
constexpr std::int32_t kRowsAtOnce = 8;

ir::Picture RowsOf(const ir::Picture& inPicture, std::int32_t inFirst, std::int32_t inCount)
{
    ir::Picture rows = PartOf(inPicture, 0, inFirst, inPicture.width, inCount);
    rows.chromaRows = inCount;
    return rows;
}

// Pixels that lie in memory, or rows of them that are made when it's their turn.
class InputRows
{
public:
    InputRows(const MF::IVideoFrameRef& inFrame, bool inMakesRows)
        : mMaker(inMakesRows ? VF::PendingMakerOf(inFrame) : nullptr)
    {
        norviktypes::PixelFormat format;
        inFrame->GetPixelFormat(format);
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        mStatus = mMaker ? DescribeRows(format, bounds) : PictureOf(inFrame, mPicture);
    }

    std::int32_t Status() const { return mStatus; }
    bool IsPending() const { return mMaker != nullptr; }
    const ir::Picture& Shape() const { return mPicture; } // no pixels are behind a pending one's

    std::int32_t Get(std::int32_t inFirst, std::int32_t inCount, ir::Picture& outRows) const
    {
        outRows = RowsOf(mPicture, mMaker ? 0 : inFirst, inCount);
        return mMaker ? mMaker->MakeRows(static_cast<std::uint32_t>(inFirst),
                                         static_cast<std::uint32_t>(inCount), outRows.planes[0],
                                         static_cast<std::int32_t>(outRows.strides[0]))
                      : 0;
    }

private:
    std::int32_t DescribeRows(const norviktypes::PixelFormat& inFormat, const TVK::Rect& inBounds)
    {
        const std::uint32_t bytes = norviktypes::BytesPerPixel(inFormat.mProperties);
        mRows.emplace(static_cast<std::size_t>(kRowsAtOnce),
                      static_cast<std::size_t>(inBounds.Width()) * bytes);
        return ir::PictureFromCode(mRows->Row(0), static_cast<std::int32_t>(mRows->Row(1) - mRows->Row(0)),
                                   inBounds.Width(), inBounds.Height(),
                                   VF::BEPixelFormatToIRPixelFormat(inFormat), mPicture);
    }

    VF::PixelMakerPtr mMaker;
    std::optional<ir::RowBuffers<unsigned char>> mRows;
    ir::Picture mPicture;
    std::int32_t mStatus = 0;
};

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
    const bool isWhole = WillBeWhole(*ioFrame, inB, inA);
    std::int32_t status = VF::kFrameStatus_OutOfMemory;
    try
    {
        status = RenderPictures(inRender, ioFrame, inB, inA);
    }
    catch (const std::bad_alloc&)
    {
    }
    if (status >= 0 && isWhole)
    {
        VF::NoteWholeAlpha(ioFrame);
    }
    // A frame without alpha says so, which is more than opaque.
    const bool hasAlpha = ioFrame->GetAlphaType() != norviktypes::kAlphaChannel_None;
    if (status >= 0 && hasAlpha && IsOpaque(*inA) && IsOpaque(*inB) && KeepsOpaque())
    {
        ioFrame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    }
    return status;
}

// Weights in floating point may lack a little of one together.
bool EffectTransition::WillBeWhole(const MF::IVideoFrame& inTarget, const MF::IVideoFrameRef& inB,
                                   const MF::IVideoFrameRef& inA) const
{
    norviktypes::PixelFormat format;
    inTarget.GetPixelFormat(format);
    return KeepsWholeAlpha() && norviktypes::DepthOfProperties(format.mProperties) <= 16 &&
           VF::IsKnownToHaveWholeAlpha(inA) && VF::IsKnownToHaveWholeAlpha(inB);
}

std::int32_t EffectTransition::RenderPictures(const ML::VideoTransitionRender& inRender,
                                              const MF::IVideoFrameRef& ioFrame,
                                              const MF::IVideoFrameRef& inB,
                                              const MF::IVideoFrameRef& inA) const
{
    ir::Picture target;
    const InputRows a(inA, DrawsRowByRow());
    const InputRows b(inB, DrawsRowByRow());
    std::int32_t status = a.Status() < 0 ? a.Status() : b.Status();
    status = status < 0 ? status : PictureOf(ioFrame, target);
    if (status < 0 || !AreAlike(a.Shape(), target) || !AreAlike(b.Shape(), target))
    {
        return status < 0 ? status : VF::kFrameStatus_BadArgument;
    }
    const double whole = (mInfo.mEndPercent - mInfo.mStartPercent) / 100.0;
    double progress = mInfo.mStartPercent / 100.0 + whole * ProgressOf(inRender);
    progress = std::clamp(mInfo.mReverse ? 1.0 - progress : progress, 0.0, 1.0);
    // Both exchange the pictures: reversal as what is shown at its end is what was there at the start.
    const bool isExchanged = mInfo.mReverse != mInfo.mSwitchSources;
    const InputRows& from = isExchanged ? b : a;
    const InputRows& to = isExchanged ? a : b;
    const EffectParameters parameters(mDescription, mParameters.get(), inRender.mTime - inRender.mStart);
    const double seconds = (inRender.mTime - inRender.mStart).AsSeconds();
    const bool isPending = from.IsPending() || to.IsPending();
    const std::int32_t step = isPending ? kRowsAtOnce : target.height;
    for (std::int32_t first = 0; first < target.height && status >= 0; first += step)
    {
        const std::int32_t count = std::min(step, target.height - first);
        ir::Picture fromRows;
        ir::Picture toRows;
        status = from.Get(first, count, fromRows);
        status = status < 0 ? status : to.Get(first, count, toRows);
        status = status < 0
                     ? status
                     : Draw({progress, parameters, ScaleOf(inRender.mInfoA.mRender), AspectOf(*ioFrame),
                             fromRows, toRows, RowsOf(target, first, count), seconds, target.height});
    }
    return status;
}

} // namespace Effects
