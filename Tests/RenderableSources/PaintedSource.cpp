#include "Tests/RenderableSources/PaintedSource.h"

#include "Tests/Support/FrameTools.h"
#include "VF/VideoFrame.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace TestSupport
{

namespace
{

constexpr std::uint32_t kBandWidth = kPaintedSourceWidth / 3;

norviktypes::PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame)
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
}

std::uint32_t HeightOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return static_cast<std::uint32_t>(bounds.Height());
}

// Where the luma of a pixel lies in its row; all colours of an RGB pixel are the same grey.
struct LumaPlaces
{
    std::uint32_t mFirst;
    std::uint32_t mStride;
    std::uint32_t mCount;
};

LumaPlaces LumaOf(const norviktypes::PixelFormat& inFormat)
{
    if (inFormat == norviktypes::kPixelFormat_UYVY_422_8u_709)
    {
        return {1, 2, 1};
    }
    if (norviktypes::IsSubsampled(inFormat.mProperties))
    {
        return {0, 1, 1};
    }
    return norviktypes::IsYUV(inFormat.mProperties) ? LumaPlaces{2, 4, 1} : LumaPlaces{0, 4, 3};
}

void PaintBand(std::uint8_t* inRow, const LumaPlaces& inPlaces, std::uint32_t inBand, double inLevel)
{
    for (std::uint32_t x = inBand * kBandWidth; x < (inBand + 1) * kBandWidth; ++x)
    {
        for (std::uint32_t n = 0; n < inPlaces.mCount; ++n)
        {
            inRow[inPlaces.mFirst + x * inPlaces.mStride + n] = static_cast<std::uint8_t>(inLevel);
        }
    }
}

std::vector<MF::FrameTime> Take(std::mutex& inLock, std::vector<MF::FrameTime>& ioTimes)
{
    const std::lock_guard<std::mutex> lock(inLock);
    return std::exchange(ioTimes, {});
}

} // namespace

LineLevels LevelsOf(std::int64_t inMoment, std::uint32_t inLine)
{
    return {30.0 + 8.0 * static_cast<double>(inMoment), inLine % 2 == 0 ? 60.0 : 180.0, 30.0 + 8.0 * inLine};
}

LineLevels Mix(const LineLevels& inA, double inWeightOfA, const LineLevels& inB)
{
    const auto mix = [=](double inOfA, double inOfB) { return inOfB + (inOfA - inOfB) * inWeightOfA; };
    return {mix(inA.mMoment, inB.mMoment), mix(inA.mParity, inB.mParity), mix(inA.mLine, inB.mLine)};
}

LineLevels ReadLevels(const MF::IVideoFrameRef& inFrame, std::uint32_t inLine)
{
    const LumaPlaces places = LumaOf(FormatOf(inFrame));
    const std::uint8_t* row = RowOf(inFrame, inLine);
    const auto at = [&](std::uint32_t inBand) -> double
    { return row[places.mFirst + (inBand * kBandWidth + kBandWidth / 2) * places.mStride]; };
    return {at(0), at(1), at(2)};
}

void PaintLevels(const MF::IVideoFrameRef& inFrame, std::int64_t inMoment, std::uint32_t inField)
{
    const LumaPlaces places = LumaOf(FormatOf(inFrame));
    for (std::uint32_t line = 0; line < HeightOf(inFrame); ++line)
    {
        if (inField != 2 && line % 2 != inField)
        {
            continue;
        }
        const LineLevels levels = LevelsOf(inMoment, line);
        PaintBand(RowOf(inFrame, line), places, 0, levels.mMoment);
        PaintBand(RowOf(inFrame, line), places, 1, levels.mParity);
        PaintBand(RowOf(inFrame, line), places, 2, levels.mLine);
    }
}

std::vector<MF::FrameTime> PaintedSource::TakeRenders()
{
    return Take(mLock, mRenders);
}

std::vector<MF::FrameTime> PaintedSource::TakeConforms()
{
    return Take(mLock, mConforms);
}

std::vector<MF::FrameTime> PaintedSource::TakeCollects()
{
    return Take(mLock, mCollects);
}

ML::CutlistRenderParams PaintedSource::LastParams()
{
    const std::lock_guard<std::mutex> lock(mLock);
    return mLastParams;
}

norviktypes::TickTime PaintedSource::Moment(std::int64_t inNumber) const
{
    const bool hasFields = mFieldType != norviktypes::kFieldType_Progressive;
    return norviktypes::TickTime::FromFrame(inNumber, hasFields ? mRate * 2 : mRate);
}

void PaintedSource::GetFrameRate(norviktypes::FrameRate& outRate)
{
    outRate = mRate;
}

void PaintedSource::GetFieldRate(norviktypes::FrameRate& outRate)
{
    outRate = mFieldType == norviktypes::kFieldType_Progressive ? mRate : mRate * 2;
}

void PaintedSource::ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                                     MF::FrameTime& outTime)
{
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mConforms.push_back(inTime);
    }
    const bool follows = mFieldType == norviktypes::kFieldType_FromSource;
    const bool onFields = follows && inTime.Order() == norviktypes::kFieldType_Progressive;
    MF::FrameTime conformed(inTime.Earlier().AlignToFrame(onFields ? mRate * 2 : mRate));
    switch (follows ? inTime.Order() : mFieldType)
    {
    case norviktypes::kFieldType_UpperFirst: conformed.mSecondTime += Moment(1); break;
    case norviktypes::kFieldType_LowerFirst: conformed.mFirstTime += Moment(1); break;
    default: break;
    }
    outTime = conformed;
}

void PaintedSource::CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                                         std::vector<ML::IRenderableNodePrefetchRef>& ioItems)
{
    const std::lock_guard<std::mutex> lock(mLock);
    mCollects.push_back(inTime);
    ioItems.emplace_back();
}

void PaintedSource::Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inRenderParams,
                           MF::IVideoFrameRef& outFrame)
{
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mRenders.push_back(inTime);
        mLastParams = inRenderParams;
    }
    outFrame.reset();
    if (mStatus < 0)
    {
        throw ML::RenderRequestException(mStatus);
    }
    if (!mIsEmpty)
    {
        outFrame = mFrameFunction ? mFrameFunction(inTime) : Paint(inTime);
    }
}

MF::IVideoFrameRef PaintedSource::Paint(const MF::FrameTime& inTime) const
{
    MF::IVideoFrameRef frame;
    // Cleared for its grey chroma.
    if (VF::CreateVideoFrame(frame, mFormat, mWidth, mHeight, mPixelAspectRatio, true, false) < 0)
    {
        throw std::runtime_error("a frame for the test can't be made");
    }
    const std::int64_t length = Moment(1).GetTicks();
    PaintLevels(frame, inTime.mFirstTime.GetTicks() / length, 0);
    PaintLevels(frame, inTime.mSecondTime.GetTicks() / length, 1);
    frame->SetFieldType(inTime.Order());
    if (mFreezes)
    {
        frame->Freeze();
    }
    return frame;
}

} // namespace TestSupport
