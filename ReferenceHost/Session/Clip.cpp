#include "ReferenceHost/Session/Clip.h"

#include "MF/ISource.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/Media.h"
#include "norvik/utility/Strings.h"

#include <utility>

namespace Session
{

namespace
{

using norviktypes::TickTime;

norviktypes::FrameRate RateOf(const BE::IVideoSourceRef& inSource)
{
    norviktypes::FrameRate rate;
    inSource->GetFrameRate(rate);
    return rate;
}

TickTime DurationOf(const BE::IVideoSourceRef& inSource)
{
    TickTime duration = norviktypes::kTime_Max;
    const MF::ISourceRef stream(inSource);
    if (stream)
    {
        stream->GetDuration(duration);
    }
    return duration;
}

norvik::WString WideName(const std::string& inText)
{
    return norvik::utility::UTF8to16(norvik::UTF8String(inText.begin(), inText.end()));
}

// The stream's own rate, fields and aspect, so that its frames are shown one for one.
ML::IRenderableSourceRef MakeRenderable(const BE::IVideoSourceRef& inSource, const std::string& inPath)
{
    norviktypes::PixelAspectRatio ratio;
    inSource->GetPixelAspectRatio(ratio);
    return ML::CreateRenderableSource(inSource, MF::BinaryData(nullptr, 0), inSource->GetAlphaType(),
                                      TVK::ParamColor<unsigned long>{}, false, false, RateOf(inSource),
                                      inSource->GetFieldType(), ratio, norviktypes::ColorProfile{},
                                      WideName(inPath));
}

} // namespace

std::unique_ptr<Clip> Clip::Open(const std::string& inPath, const ClipOptions& inOptions,
                                 Media::OpenError& outError)
{
    Media::OpenOptions options;
    options.mStreamIndex = inOptions.mStreamIndex;
    options.mDecoderThreads = inOptions.mDecoderThreads;
    options.mCacheBytes = inOptions.mPicturesBytes;
    options.mKeepsLeadIn = inOptions.mKeepsLeadIn;
    const BE::IMediaInfoRef media = Media::OpenMedia(inPath, options, outError);
    if (!media)
    {
        return nullptr;
    }
    const BE::IVideoSourceRef source(media->CreateSourceForStream(MF::kMediaType_Video, 0));
    const Media::IMediaFactsRef facts(media);
    if (!source || !facts)
    {
        outError = {Media::OpenErrorKind::kNotVideo, inPath + ": holds no video"};
        return nullptr;
    }
    return std::unique_ptr<Clip>(new Clip(source, facts->GetFacts(), inPath));
}

Clip::Clip(BE::IVideoSourceRef inSource, Media::MediaFacts inFacts, std::string inPath)
    : mSource(std::move(inSource))
    , mRenderable(MakeRenderable(mSource, inPath))
    , mFacts(std::move(inFacts))
    , mPath(std::move(inPath))
    , mFrameRate(RateOf(mSource))
    , mDuration(DurationOf(mSource))
{
}

std::int64_t Clip::FrameAt(const TickTime& inTime) const
{
    const Media::IFrameNumbersRef numbers(mSource);
    return numbers ? numbers->GetFrameNumber(inTime) : -1;
}

TickTime Clip::FrameStart(std::int64_t inNumber) const
{
    if (inNumber <= 0)
    {
        return norviktypes::kTime_Zero;
    }
    if (HasEnd() && inNumber >= FrameCount())
    {
        return mDuration;
    }
    if (mFacts.mHasFrameGrid && mFrameRate.IsCountable())
    {
        return TickTime::FromFrame(inNumber, mFrameRate);
    }
    // Off the grid only the stream knows; its numbers rise with time.
    std::int64_t before = 0;
    std::int64_t after = HasEnd() ? mDuration.GetTicks() : 0;
    while (after - before > 1)
    {
        const std::int64_t middle = before + (after - before) / 2;
        const std::int64_t number = FrameAt(TickTime(middle));
        (number >= 0 && number < inNumber ? before : after) = middle;
    }
    return TickTime(after);
}

ML::CutlistRenderParams Clip::DescribeRender(const TickTime& inTime, const RenderRequest& inRequest,
                                             Urgency inUrgency) const
{
    ML::CutlistRenderParams params;
    params.mFrameTime = MF::FrameTime(inTime);
    // Two different moments ask for the two fields of a frame, not for one picture made of them.
    const TickTime halfFrame(mFrameRate.GetTicks() / 2);
    if (mFacts.mFieldType == norviktypes::kFieldType_UpperFirst)
    {
        params.mFrameTime.mSecondTime += halfFrame;
    }
    else if (mFacts.mFieldType == norviktypes::kFieldType_LowerFirst)
    {
        params.mFrameTime.mFirstTime += halfFrame;
    }
    params.mWidth = inRequest.mWidth;
    params.mHeight = inRequest.mHeight;
    params.mPixelFormat = inRequest.mPixelFormat;
    params.mPixelAspectRatio = mFacts.mPixelAspectRatio;
    params.mRenderQuality = inRequest.mQuality;
    params.mDeinterlaceQuality = inRequest.mQuality;
    params.mSourceWidth = static_cast<std::uint32_t>(mFacts.mWidth);
    params.mSourceHeight = static_cast<std::uint32_t>(mFacts.mHeight);
    params.mSourcePixelAspectRatio = mFacts.mPixelAspectRatio;
    params.mScaleX = static_cast<double>(inRequest.mWidth) / mFacts.mWidth;
    params.mScaleY = static_cast<double>(inRequest.mHeight) / mFacts.mHeight;
    params.mFrameRate = mFrameRate;
    params.mFieldType = mFacts.mFieldType;
    params.mRenderFlags = inUrgency == Urgency::kLow ? ML::kRenderFlag_LowPriority : 0;
    // The time that the stream really delivers: what is read ahead must be what is rendered.
    MF::FrameTime conformed;
    mRenderable->ConformFrameTime(params.mFrameTime, params, conformed);
    params.mFrameTime = conformed;
    return params;
}

MF::IVideoFrameRef Clip::Render(const TickTime& inTime, const RenderRequest& inRequest) const
{
    const ML::CutlistRenderParams params = DescribeRender(inTime, inRequest, Urgency::kNormal);
    MF::IVideoFrameRef frame;
    mRenderable->Render(params, params, frame);
    // Streams never enlarge, and may deliver a format of their own.
    MF::IVideoFrameRef shaped;
    const std::int32_t status = ShapePicture(frame, inRequest, shaped);
    if (status < 0)
    {
        throw ML::RenderRequestException(status);
    }
    return shaped;
}

std::string Clip::FailureAt(const TickTime& inTime) const
{
    const Media::IFrameFailureRef failure(mSource);
    const std::string text = failure ? failure->DescribeFailure(inTime) : std::string();
    if (!text.empty())
    {
        return text;
    }
    return mPath + ": frame " + std::to_string(FrameAt(inTime)) + " could not be made";
}

} // namespace Session
