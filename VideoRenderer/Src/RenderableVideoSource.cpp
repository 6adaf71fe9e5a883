#include "RenderableVideoSource.h"

#include "IR/ImageRoutines.h"
#include "MF/Geometry.h"
#include "StreamFacts.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"
#include "VideoSourcePrefetcher.h"

#include <new>

namespace ML
{

namespace
{

// The image routines' code of an 8-bit straight BGRA colour, which a matte is handed over as.
constexpr std::uint32_t kMatteColorCode = 4;
// In a code of the image routines: straight alpha, premultiplied alpha.
constexpr std::uint32_t kStraightCodeBit = 4;
constexpr std::uint32_t kPremultipliedCodeBit = 8;

// A frame of interlaced media must split into two fields of equal length.
norviktypes::FrameRate RateForFields(const norviktypes::FrameRate& inRate, norviktypes::FieldType inFieldType)
{
    const bool splits = inRate.GetTicks() % 2 == 0;
    return splits || !norviktypes::IsInterlaced(inFieldType) ? inRate
                                                             : norviktypes::FrameRate(inRate.GetTicks() + 1);
}

bool MayBeInterlaced(norviktypes::FieldType inType)
{
    return norviktypes::IsInterlaced(inType) || inType == norviktypes::kFieldType_FromSource;
}

MF::IVideoFrameRef Writeable(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality)
{
    MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inQuality);
    if (!frame)
    {
        throw TVK::NullInterfaceException();
    }
    return frame;
}

void ThrowIfFailed(std::int32_t inStatus)
{
    if (inStatus < 0)
    {
        throw RenderRequestException(inStatus);
    }
}

std::uint32_t PropertiesOf(const MF::IVideoFrameRef& inFrame)
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format.mProperties;
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
    , mMatteColor(inMatte)
    , mAlphaChannel(inAlpha)
    , mIgnoreAlpha(inIgnoreAlpha)
    , mInvertAlpha(inInvertAlpha)
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

    MF::FrameTime conformed(time);
    const norviktypes::TickTime fieldLength(FieldRateOnGrid(hasGrid).GetTicks());
    switch (OrderOfFrame(inTime))
    {
    case norviktypes::kFieldType_UpperFirst: conformed.mSecondTime += fieldLength; break;
    case norviktypes::kFieldType_LowerFirst: conformed.mFirstTime += fieldLength; break;
    default: break;
    }
    outTime = conformed;
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
    if (frame->MayHaveTransparency() && norviktypes::IsPackedFourComponent(PropertiesOf(frame)))
    {
        ConformTransparency(frame, inRenderParams.mRenderQuality);
    }
    ConformPixelAspectRatio(frame, inRenderParams);
    outFrame = frame;
}

void RenderableVideoSource::ConformTransparency(MF::IVideoFrameRef& ioFrame,
                                                norviktypes::RenderQuality inQuality) const
{
    if (mIgnoreAlpha || mInvertAlpha)
    {
        ioFrame = Writeable(ioFrame, inQuality);
        ThrowIfFailed(mIgnoreAlpha ? VF::VideoFrameManipulators::OpaqueAlpha(ioFrame)
                                   : VF::VideoFrameManipulators::InvertAlpha(ioFrame));
        ioFrame->ClearContentRect();
    }
    if (!mIgnoreAlpha)
    {
        ConformAlpha(ioFrame, inQuality);
    }
}

void RenderableVideoSource::ConformAlpha(MF::IVideoFrameRef& ioFrame,
                                         norviktypes::RenderQuality inQuality) const
{
    const std::uint32_t properties = PropertiesOf(ioFrame);
    const bool isPremultipliedRGB = mAlphaChannel == norviktypes::kAlphaChannel_Premultiplied &&
                                    ioFrame->GetAlphaType() != norviktypes::kAlphaChannel_None &&
                                    norviktypes::IsPackedFourComponent(properties) &&
                                    !norviktypes::IsYUV(properties) && VF::IVideoFrameRasterRef(ioFrame);
    if (isPremultipliedRGB)
    {
        ioFrame = Writeable(ioFrame, inQuality);
        UnPremultiply(ioFrame, inQuality);
        // Straight now, even where the frame's format says premultiplied: what follows goes by this.
        ioFrame->SetAlphaType(norviktypes::kAlphaChannel_Straight);
    }
    else if (ioFrame->GetAlphaType() != mAlphaChannel)
    {
        ioFrame = Writeable(ioFrame, inQuality);
        ioFrame->SetAlphaType(mAlphaChannel);
    }
}

void RenderableVideoSource::UnPremultiply(const MF::IVideoFrameRef& inFrame,
                                          norviktypes::RenderQuality inQuality) const
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    const std::uint32_t code = VF::BEPixelFormatToIRPixelFormat(format);
    void* pixels = VF::IVideoFramePixelsRef(inFrame)->GetPixels();
    const std::int32_t rowBytes = VF::IVideoFrameRasterRef(inFrame)->GetRowBytes();

    if (mMatteColor.RGB() != 0)
    {
        const std::uint8_t matte[4] = {mMatteColor.Blue(), mMatteColor.Green(), mMatteColor.Red(), 255};
        ThrowIfFailed(IR_UnPremultiplyAgainstMatteColor(pixels, rowBytes, code, bounds.Width(),
                                                        bounds.Height(), matte, kMatteColorCode, inQuality));
        return;
    }
    const std::uint32_t premultipliedCode = (code & ~kStraightCodeBit) | kPremultipliedCodeBit;
    ThrowIfFailed(IR_Convert(pixels, rowBytes, premultipliedCode, pixels, rowBytes, code, bounds.Width(),
                             bounds.Height(), inQuality));
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
        ioFrame = Writeable(ioFrame, inRenderParams.mRenderQuality);
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
    try
    {
        const TVK::InterfaceRef<RenderableVideoSource> source(new RenderableVideoSource(
            inSource, inBinaryData, inAlpha, inMatte, inIgnoreAlpha, inInvertAlpha, inFrameRate, inFieldType,
            inPixelAspectRatio, inColorProfile, inPrefetchLabel));
        return source;
    }
    catch (const std::bad_alloc&)
    {
        throw TVK::NullInterfaceException();
    }
}

} // namespace ML
