#include "RenderableGetVideoSource.h"

#include "MF/ISource.h"
#include "RenderableSourceTools.h"
#include "StreamFacts.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

namespace ML
{

namespace
{

// Streams that are filled tell whether they have a time axis; one that doesn't is not taken for a movie.
bool IsStill(const BE::IVideoSourceRef& inSource)
{
    const MF::ISourceRef source(inSource);
    std::uint32_t kind = MF::kSourceKind_Normal;
    return source->GetStillKind(kind) >= 0 && kind == MF::kSourceKind_Still;
}

} // namespace

RenderableGetVideoSource::RenderableGetVideoSource(
    const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
    const norviktypes::TickTime& inStartTime, const norviktypes::TickTime& inEndTime,
    const TVK::ParamColor<unsigned long>& inMatte, norviktypes::AlphaChannel inAlpha, bool inIgnoreAlpha,
    bool inInvertAlpha, bool inStreamFlag, double inStreamValue, const norviktypes::FrameRate& inFrameRate,
    const norvik::WString& inPrefetchLabel)
    : mVideoSource(inSource)
    , mBinaryData(inBinaryData)
    , mStartTime(inStartTime)
    , mEndTime(inEndTime)
    , mAlpha{inAlpha, inMatte, inIgnoreAlpha, inInvertAlpha}
    , mStreamFlag(inStreamFlag)
    , mStreamValue(inStreamValue)
    , mFrameRate(inFrameRate)
    , mPrefetchLabel(inPrefetchLabel)
{
}

void RenderableGetVideoSource::GetFrameRate(norviktypes::FrameRate& outRate)
{
    outRate = FrameRateOnGrid(!HasNoFrameGrid(mVideoSource));
}

void RenderableGetVideoSource::GetFieldRate(norviktypes::FrameRate& outRate)
{
    outRate = FieldRateOnGrid(!HasNoFrameGrid(mVideoSource));
}

norviktypes::FrameRate RenderableGetVideoSource::FrameRateOnGrid(bool inHasGrid) const
{
    if (IsStill(mVideoSource))
    {
        return norviktypes::kFrameRate_Zero;
    }
    return inHasGrid ? mFrameRate : norviktypes::kFrameRate_Video1000;
}

// A still's rate is zero, and twice that is zero as well.
norviktypes::FrameRate RenderableGetVideoSource::FieldRateOnGrid(bool inHasGrid) const
{
    const norviktypes::FrameRate rate = FrameRateOnGrid(inHasGrid);
    return inHasGrid && MayBeInterlaced(mVideoSource->GetFieldType()) ? rate * 2 : rate;
}

void RenderableGetVideoSource::ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams&,
                                                MF::FrameTime& outTime)
{
    const bool hasGrid = !HasNoFrameGrid(mVideoSource);
    const norviktypes::FrameRate rate = FrameRateOnGrid(hasGrid);
    if (rate == norviktypes::kFrameRate_Zero)
    {
        outTime = MF::FrameTime(norviktypes::kTime_Zero);
        return;
    }
    if (!hasGrid)
    {
        outTime = MF::FrameTime(inTime.Earlier());
        return;
    }
    const norviktypes::TickTime start = (inTime.Earlier() - mStartTime).AlignToFrame(rate) + mStartTime;
    outTime = FrameOfFields(start, inTime.Order(), FieldRateOnGrid(hasGrid));
}

RenderableGetVideoSource::Request
RenderableGetVideoSource::DescribeRequest(const MF::FrameTime& inTime,
                                          const CutlistRenderParams& inRenderParams) const
{
    std::vector<norviktypes::PixelFormat> formats;
    mVideoSource->GetNativePixelFormat(formats);

    Request request;
    request.mTime = inTime.Earlier();
    request.mFormat.mPixelFormat = norviktypes::SelectNearestPixelFormat(
        {inRenderParams.mPixelFormat}, formats, inRenderParams.mRenderQuality, false);
    request.mFormat.mBounds = {0, 0, static_cast<std::int32_t>(inRenderParams.mWidth),
                               static_cast<std::int32_t>(inRenderParams.mHeight)};
    request.mFormat.mPixelAspectRatio = inRenderParams.mPixelAspectRatio;
    request.mFormat.mQuality = inRenderParams.mRenderQuality;
    request.mFormat.mFieldType = inTime.Order();
    mVideoSource->NormalizeFormat(request.mTime, request.mFormat, mBinaryData);

    request.mParameters.mRangeStart = mStartTime;
    request.mParameters.mRangeEnd = mEndTime;
    request.mParameters.mQuality = inRenderParams.mRenderQuality;
    request.mParameters.mFieldType = inTime.Order();
    request.mParameters.mOptionA = mAlpha.mIgnoreAlpha;
    request.mParameters.mOptionB = mAlpha.mInvertAlpha;
    request.mParameters.mOptionC = mStreamFlag;
    request.mParameters.mScale = mStreamValue;
    return request;
}

TVK::Guid RenderableGetVideoSource::KeyOf(const Request& inRequest) const
{
    const VideoSourcePrefetcher::ReadParameters& parameters = inRequest.mParameters;
    return mVideoSource->GetFrameKeyWithOptions(
        inRequest.mTime, inRequest.mFormat, mBinaryData, parameters.mRangeStart, parameters.mRangeEnd,
        parameters.mQuality, parameters.mFieldType, parameters.mOptionA, parameters.mOptionB,
        parameters.mOptionC, parameters.mScale);
}

std::int32_t RenderableGetVideoSource::Fill(const Request& inRequest, const MF::IVideoFrameRef& ioFrame) const
{
    const VideoSourcePrefetcher::ReadParameters& parameters = inRequest.mParameters;
    ioFrame->SetFieldType(parameters.mFieldType);
    return mVideoSource->GetVideoFrame(
        inRequest.mTime, mBinaryData, parameters.mRangeStart, parameters.mRangeEnd, ioFrame,
        parameters.mQuality, parameters.mFieldType, !norviktypes::IsInterlaced(parameters.mFieldType),
        parameters.mOptionA, parameters.mOptionB, parameters.mOptionC, parameters.mScale);
}

void RenderableGetVideoSource::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                    const CutlistRenderParams& inRenderParams,
                                                    std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    const Request request = DescribeRequest(inTime, inRenderParams);
    if (KeyOf(request).IsZero())
    {
        return; // what is read ahead could not be found again
    }
    const IRenderableNodePrefetchRef item = VideoSourcePrefetcher::CreateParameterizedMediaPrefetcher(
        mVideoSource, request.mFormat, request.mTime, mBinaryData, {}, mPrefetchLabel, request.mParameters,
        inRenderParams.mRenderFlags);
    if (item)
    {
        ioItems.push_back(item);
    }
}

void RenderableGetVideoSource::Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                      MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const Request request = DescribeRequest(inTime, inRenderParams);
    outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(KeyOf(request));
    if (outFrame)
    {
        return;
    }
    MF::IVideoFrameRef frame;
    std::int32_t status = VF::CreateVideoFrame(frame, request.mFormat.mPixelFormat,
                                               static_cast<std::uint32_t>(request.mFormat.mBounds.Width()),
                                               static_cast<std::uint32_t>(request.mFormat.mBounds.Height()),
                                               inRenderParams.mPixelAspectRatio, false, false);
    if (status >= 0)
    {
        status = Fill(request, frame);
    }
    ThrowIfFailed(status);
    mAlpha.Conform(frame, inRenderParams.mRenderQuality);
    outFrame = frame;
}

IRenderableSourceRef CreateRenderableGetVideoSource(
    const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
    const norviktypes::TickTime& inStartTime, const norviktypes::TickTime& inEndTime,
    const TVK::ParamColor<unsigned long>& inMatte, norviktypes::AlphaChannel inAlpha, bool inIgnoreAlpha,
    bool inInvertAlpha, bool inStreamFlag, const double& inStreamValue,
    const norviktypes::FrameRate& inFrameRate, const norvik::WString& inPrefetchLabel)
{
    return MakeSource<RenderableGetVideoSource>(inSource, inBinaryData, inStartTime, inEndTime, inMatte,
                                                inAlpha, inIgnoreAlpha, inInvertAlpha, inStreamFlag,
                                                inStreamValue, inFrameRate, inPrefetchLabel);
}

} // namespace ML
