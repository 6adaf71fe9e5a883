#include "RenderableVideoSource.h"

#include "MF/Geometry.h"
#include "RenderableSourceTools.h"
#include "StreamFacts.h"
#include "VideoSourcePrefetcher.h"

namespace ML
{

namespace
{

// A frame of interlaced media must split into two fields of equal length.
norviktypes::FrameRate RateForFields(const norviktypes::FrameRate& inRate, norviktypes::FieldType inFieldType)
{
    const bool splits = inRate.GetTicks() % 2 == 0;
    return splits || !norviktypes::IsInterlaced(inFieldType) ? inRate
                                                             : norviktypes::FrameRate(inRate.GetTicks() + 1);
}

} // namespace

RenderableVideoSource::RenderableVideoSource(
    const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
    norviktypes::AlphaChannel inAlpha, const TVK::ParamColor<unsigned long>& inMatte, bool inIgnoreAlpha,
    bool inInvertAlpha, const norviktypes::FrameRate& inFrameRate, norviktypes::FieldType inFieldType,
    const norviktypes::PixelAspectRatio& inPixelAspectRatio, const norviktypes::ColorProfile& inColorProfile,
    const norvik::WString& inPrefetchLabel)
    : mVideoSource(inSource)
    , mBinaryData(inBinaryData)
    , mAlpha{inAlpha, inMatte, inIgnoreAlpha, inInvertAlpha}
    , mFrameRate(RateForFields(inFrameRate, inFieldType))
    , mFieldType(inFieldType)
    , mStreamFieldType(inSource ? inSource->GetFieldType() : inFieldType)
    , mPixelAspectRatio(inPixelAspectRatio)
    , mColorProfile(inColorProfile)
    , mPrefetchLabel(inPrefetchLabel)
{
}

std::int32_t RenderableVideoSource::QueryNoRef(const TVK::Guid& inID, void** outInterface) const
{
    if (inID == kInterfaceID)
    {
        *outInterface = const_cast<RenderableVideoSource*>(this);
        return TVK::kStatus_OK;
    }
    return Implements::QueryNoRef(inID, outInterface);
}

void RenderableVideoSource::GetFrameRate(norviktypes::FrameRate& outRate)
{
    outRate = FrameRateOnGrid(!HasNoFrameGrid(mVideoSource));
}

void RenderableVideoSource::GetFieldRate(norviktypes::FrameRate& outRate)
{
    outRate = FieldRateOnGrid(!HasNoFrameGrid(mVideoSource));
}

norviktypes::FrameRate RenderableVideoSource::FrameRateOnGrid(bool inHasGrid) const
{
    return inHasGrid ? mFrameRate : norviktypes::kFrameRate_Video1000;
}

norviktypes::FrameRate RenderableVideoSource::FieldRateOnGrid(bool inHasGrid) const
{
    const norviktypes::FieldType type =
        mFieldType == norviktypes::kFieldType_FromSource ? mStreamFieldType : mFieldType;
    const norviktypes::FrameRate rate = FrameRateOnGrid(inHasGrid);
    return inHasGrid && MayBeInterlaced(type) ? rate * 2 : rate;
}

// The field order of the frame delivered for inTime. Media that follows the request delivers fields
// only where both the request and the stream have them.
norviktypes::FieldType RenderableVideoSource::OrderOfFrame(const MF::FrameTime& inTime) const
{
    if (mFieldType != norviktypes::kFieldType_FromSource)
    {
        return mFieldType;
    }
    const norviktypes::FieldType requested = inTime.Order();
    const norviktypes::FieldType streams =
        mStreamFieldType == norviktypes::kFieldType_FromSource ? requested : mStreamFieldType;
    return norviktypes::IsInterlaced(streams) ? requested : norviktypes::kFieldType_Progressive;
}

void RenderableVideoSource::ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams&,
                                             MF::FrameTime& outTime)
{
    const bool hasGrid = !HasNoFrameGrid(mVideoSource);
    const norviktypes::FrameRate rate = FrameRateOnGrid(hasGrid);
    if (rate == norviktypes::kFrameRate_Zero || IsStillStream(mVideoSource))
    {
        outTime = MF::FrameTime(norviktypes::kTime_Zero);
        return;
    }

    norviktypes::TickTime time = inTime.Earlier();
    if (hasGrid)
    {
        // A progressive request on media of fields may ask for either moment of a frame.
        const bool onFieldGrid = mFieldType == norviktypes::kFieldType_FromSource &&
                                 MayBeInterlaced(mStreamFieldType) &&
                                 inTime.Order() == norviktypes::kFieldType_Progressive;
        time = time.AlignToFrame(onFieldGrid ? rate * 2 : rate);
    }

    outTime = FrameOfFields(time, OrderOfFrame(inTime), FieldRateOnGrid(hasGrid));
}

RenderableVideoSource::Request
RenderableVideoSource::DescribeRequest(const MF::FrameTime& inTime,
                                       const CutlistRenderParams& inRenderParams) const
{
    Request request;
    request.mFormat.mPixelFormat = inRenderParams.mPixelFormat;
    request.mFormat.mBounds = {0, 0, static_cast<std::int32_t>(inRenderParams.mWidth),
                               static_cast<std::int32_t>(inRenderParams.mHeight)};
    request.mFormat.mPixelAspectRatio = inRenderParams.mPixelAspectRatio;
    request.mFormat.mQuality = inRenderParams.mRenderQuality;
    request.mFormat.mFieldType = inTime.Order();
    request.mTime = inTime.Earlier();
    mVideoSource->NormalizeFormat(request.mTime, request.mFormat, mBinaryData);

    // Frames map one to one on the stream's frames, not by the clock: footage interpreted at another
    // rate plays every frame, only faster or slower.
    norviktypes::FrameRate streamRate;
    mVideoSource->GetFrameRate(streamRate);
    if (mFrameRate != streamRate && mFrameRate != norviktypes::kFrameRate_Zero &&
        streamRate != norviktypes::kFrameRate_Zero)
    {
        request.mTime = norviktypes::TickTime::FromFrame(request.mTime.ToFrame64(mFrameRate), streamRate);
    }
    return request;
}

void RenderableVideoSource::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                 const CutlistRenderParams& inRenderParams,
                                                 std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    const Request request = DescribeRequest(inTime, inRenderParams);
    const IRenderableNodePrefetchRef item = VideoSourcePrefetcher::CreateMediaPrefetcher(
        mVideoSource, request.mFormat, request.mTime, mBinaryData, mColorProfile, mPrefetchLabel,
        inRenderParams.mRenderFlags);
    if (item)
    {
        ioItems.push_back(item);
    }
}

void RenderableVideoSource::Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                   MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const Request request = DescribeRequest(inTime, inRenderParams);

    MF::IVideoFrameRef frame;
    const std::int32_t status = mVideoSource->GetRenderedFrame(request.mTime, request.mFormat, mBinaryData,
                                                               mColorProfile, false, frame);
    ThrowIfFailed(status);
    mAlpha.Conform(frame, inRenderParams.mRenderQuality);
    ConformPixelAspectRatio(frame, inRenderParams);
    outFrame = frame;
}

void RenderableVideoSource::ConformPixelAspectRatio(MF::IVideoFrameRef& ioFrame,
                                                    const CutlistRenderParams& inRenderParams) const
{
    TVK::Rect bounds;
    ioFrame->GetBounds(bounds);
    const TVK::Rect requested{0, 0, static_cast<std::int32_t>(inRenderParams.mWidth),
                              static_cast<std::int32_t>(inRenderParams.mHeight)};
    const norviktypes::PixelAspectRatio wanted =
        MF::AdjustPixelAspectRatioForNonUniformDownsample(mPixelAspectRatio, requested, bounds);
    norviktypes::PixelAspectRatio present;
    ioFrame->GetPixelAspectRatio(present);
    if (wanted != present)
    {
        ioFrame = MakeWriteable(ioFrame, inRenderParams.mRenderQuality);
        ioFrame->SetPixelAspectRatio(wanted);
    }
}

IRenderableSourceRef CreateRenderableSource(
    const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
    norviktypes::AlphaChannel inAlpha, const TVK::ParamColor<unsigned long>& inMatte, bool inIgnoreAlpha,
    bool inInvertAlpha, const norviktypes::FrameRate& inFrameRate, norviktypes::FieldType inFieldType,
    const norviktypes::PixelAspectRatio& inPixelAspectRatio, const norviktypes::ColorProfile& inColorProfile,
    const norvik::WString& inPrefetchLabel)
{
    return MakeSource<RenderableVideoSource>(inSource, inBinaryData, inAlpha, inMatte, inIgnoreAlpha,
                                             inInvertAlpha, inFrameRate, inFieldType, inPixelAspectRatio,
                                             inColorProfile, inPrefetchLabel);
}

} // namespace ML
