#include "ReferenceHost/Media/VideoSourceBase.h"

#include "MF/Geometry.h"
#include "ReferenceHost/Foundation/WorkObserver.h"
#include "ReferenceHost/Media/FramesInTheMaking.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace Media
{

using norviktypes::FieldType;
using norviktypes::TickTime;

namespace
{

// Frames of a stream without alpha count as opaque, so that nobody looks for transparency in them.
norviktypes::AlphaChannel AlphaOfFormat(const norviktypes::PixelFormat& inFormat, bool inHasAlpha)
{
    const std::uint32_t tone = norviktypes::ToneOfProperties(inFormat.mProperties);
    if (!inHasAlpha)
    {
        return tone == 0 ? norviktypes::kAlphaChannel_None : norviktypes::kAlphaChannel_Opaque;
    }
    switch (tone)
    {
    case 1: return norviktypes::kAlphaChannel_Straight;
    case 2: return norviktypes::kAlphaChannel_Premultiplied;
    case 3: return norviktypes::kAlphaChannel_Opaque;
    default: return norviktypes::kAlphaChannel_None;
    }
}

BE::FrameDescription DescriptionOf(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality)
{
    BE::FrameDescription description;
    inFrame->GetPixelFormat(description.mPixelFormat);
    inFrame->GetBounds(description.mBounds);
    inFrame->GetPixelAspectRatio(description.mPixelAspectRatio);
    description.mFieldType = inFrame->GetFieldType();
    description.mAlphaType = inFrame->GetAlphaType();
    description.mQuality = inQuality;
    return description;
}

// What a caller sees of an exception that a stream met: streams answer statuses.
std::int32_t StatusOfCurrentException()
{
    try
    {
        throw;
    }
    catch (const std::bad_alloc&)
    {
        return BE::kSourceStatus_OutOfMemory;
    }
    catch (const std::exception&)
    {
        return BE::kSourceStatus_BadMedia;
    }
}

} // namespace

VideoSourceBase::VideoSourceBase(StreamTraits inTraits) : mTraits(std::move(inTraits)) {}

VideoSourceBase::~VideoSourceBase() = default;

std::int32_t VideoSourceBase::GetDuration(TickTime& outDuration) const
{
    outDuration = mTraits.mDuration;
    return BE::kSourceStatus_OK;
}

std::int32_t VideoSourceBase::GetStillKind(std::uint32_t& outKind) const
{
    outKind = mTraits.mKind;
    return BE::kSourceStatus_OK;
}

bool VideoSourceBase::HasNoFrameGrid() const
{
    return mTraits.mHasNoFrameGrid || !mTraits.mFrameRate.IsCountable();
}

std::string VideoSourceBase::DescribeFieldChange() const
{
    return std::string();
}

std::string VideoSourceBase::DescribeFailure(const TickTime&) const
{
    return std::string();
}

std::int64_t VideoSourceBase::GetFrameNumber(const TickTime& inTime) const
{
    return FrameIndexAt(inTime);
}

void VideoSourceBase::GetFrameRate(norviktypes::FrameRate& outRate) const
{
    outRate = mTraits.mFrameRate;
}

void VideoSourceBase::GetBounds(TVK::Rect& outBounds) const
{
    outBounds = mTraits.mBounds;
}

std::uint32_t VideoSourceBase::GetStreamCount() const
{
    return 1;
}

void VideoSourceBase::GetMaxBounds(TVK::Rect& outBounds) const
{
    outBounds = mTraits.mBounds;
}

void VideoSourceBase::GetPixelAspectRatio(norviktypes::PixelAspectRatio& outRatio) const
{
    outRatio = mTraits.mPixelAspectRatio;
}

bool VideoSourceBase::IsDropFrame() const
{
    return mTraits.mIsDropFrame;
}

FieldType VideoSourceBase::GetFieldType() const
{
    return mTraits.mFieldType;
}

FieldType VideoSourceBase::GetFieldTypeForTime(const TickTime&) const
{
    return mTraits.mFieldType;
}

std::uint32_t VideoSourceBase::Query1() const
{
    return 0;
}
std::uint32_t VideoSourceBase::Query2() const
{
    return 0;
}
std::uint32_t VideoSourceBase::Query3() const
{
    return 0;
}
std::uint32_t VideoSourceBase::Query4() const
{
    return 0;
}
std::uint32_t VideoSourceBase::Query5() const
{
    return 0;
}
std::uint32_t VideoSourceBase::Query6() const
{
    return 0;
}
std::uint32_t VideoSourceBase::Query7() const
{
    return 0;
}

norviktypes::AlphaChannel VideoSourceBase::GetAlphaType() const
{
    return mTraits.mAlphaType;
}

void VideoSourceBase::GetNativePixelFormat(std::vector<norviktypes::PixelFormat>& outFormats) const
{
    outFormats = mTraits.mNativeFormats;
}

bool VideoSourceBase::IsImageSource() const
{
    return mTraits.mKind == MF::kSourceKind_Still;
}

std::int64_t VideoSourceBase::FrameIndexAt(const TickTime& inTime) const
{
    if (!mTraits.mFrameRate.IsCountable())
    {
        return 0;
    }
    if (inTime >= mTraits.mDuration)
    {
        return kNoFrame;
    }
    return std::max<std::int64_t>(0, inTime.ToFrame64(mTraits.mFrameRate));
}

void VideoSourceBase::ConformDescription(BE::FrameDescription& ioFormat) const
{
    if (VF::BEPixelFormatToIRPixelFormat(ioFormat.mPixelFormat) == 0)
    {
        ioFormat.mPixelFormat = mTraits.mNativeFormats.front();
    }
    const TVK::Rect& own = mTraits.mBounds;
    if (ioFormat.mBounds.IsEmpty())
    {
        ioFormat.mBounds = own;
    }
    // Whoever wants the picture larger enlarges it himself, and later: fewer pixels travel.
    ioFormat.mBounds = {0, 0, std::min(ioFormat.mBounds.Width(), own.Width()),
                        std::min(ioFormat.mBounds.Height(), own.Height())};
    ioFormat.mPixelAspectRatio =
        MF::AdjustPixelAspectRatioForNonUniformDownsample(mTraits.mPixelAspectRatio, own, ioFormat.mBounds);
    ioFormat.mFieldType = mTraits.mFieldType;
    ioFormat.mAlphaType =
        AlphaOfFormat(ioFormat.mPixelFormat, mTraits.mAlphaType != norviktypes::kAlphaChannel_None);
}

void VideoSourceBase::NormalizeFormat(TickTime&, BE::FrameDescription& ioFormat, const MF::BinaryData&)
{
    // The time stays: a caller who plays the stream at another rate maps it only afterwards.
    ConformDescription(ioFormat);
}

TVK::Guid VideoSourceBase::KeyOfFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                                      const MF::BinaryData& inSettings,
                                      const norviktypes::ColorProfile& inProfile) const
{
    TVK::HashValue hash("Media::Frame");
    hash.MixGuid(mTraits.mContentID);
    hash.MixI64(inIndex);
    hash.MixU32(inFormat.mPixelFormat.mName);
    hash.MixU32(inFormat.mPixelFormat.mProperties);
    hash.MixI32(inFormat.mBounds.Width());
    hash.MixI32(inFormat.mBounds.Height());
    // Conversions are exact at every quality; only scaling has better and worse filters.
    const bool isScaled = inFormat.mBounds != mTraits.mBounds;
    hash.MixI32(isScaled ? inFormat.mQuality : norviktypes::kRenderQuality_High);
    hash.MixU64(inSettings.Size());
    hash.Mix(inSettings.Data(), inSettings.Size());
    hash.MixU64(inProfile.mName.size());
    hash.Mix(inProfile.mName.data(), inProfile.mName.size());
    if (inProfile.mData)
    {
        hash.Mix(inProfile.mData->data(), inProfile.mData->size());
    }
    return hash.AsGuid();
}

TVK::Guid VideoSourceBase::GetFrameKey(const TickTime& inTime, const BE::FrameDescription& inFormat,
                                       const MF::BinaryData& inSettings,
                                       const norviktypes::ColorProfile& inProfile) const
{
    BE::FrameDescription format = inFormat;
    ConformDescription(format);
    return KeyOfFrame(FrameIndexAt(inTime), format, inSettings, inProfile);
}

TVK::Guid VideoSourceBase::GetFrameKeyInternal(const TickTime& inTime, const BE::FrameDescription& inFormat,
                                               const MF::BinaryData& inSettings,
                                               const norviktypes::ColorProfile& inProfile) const
{
    return GetFrameKey(inTime, inFormat, inSettings, inProfile);
}

TVK::Guid VideoSourceBase::GetFrameKeyWithOptions(const TickTime& inTime,
                                                  const BE::FrameDescription& inFormat,
                                                  const MF::BinaryData& inSettings, const TickTime&,
                                                  const TickTime&, norviktypes::RenderQuality inQuality,
                                                  FieldType, bool inOptionA, bool inOptionB, bool inOptionC,
                                                  double inScale) const
{
    BE::FrameDescription format = inFormat;
    format.mQuality = inQuality;
    const TVK::Guid plain = GetFrameKey(inTime, format, inSettings, norviktypes::ColorProfile());
    if (!inOptionA && !inOptionB && !inOptionC)
    {
        return plain;
    }
    TVK::HashValue hash(plain);
    hash.MixBool(inOptionA);
    hash.MixBool(inOptionB);
    hash.MixBool(inOptionC);
    hash.MixDouble(inScale);
    return hash.AsGuid();
}

std::int32_t VideoSourceBase::GetCachedFrame(const TickTime& inTime, const BE::FrameDescription& inFormat,
                                             const MF::BinaryData& inSettings,
                                             const norviktypes::ColorProfile& inProfile,
                                             MF::IVideoFrameRef& outFrame)
{
    outFrame =
        VF::SharedVideoFrameCache::RetrieveFromCache(GetFrameKey(inTime, inFormat, inSettings, inProfile));
    return outFrame ? BE::kSourceStatus_OK : kSourceStatus_NotAtHand;
}

std::int32_t VideoSourceBase::GetRenderedFrame(const TickTime& inTime, const BE::FrameDescription& inFormat,
                                               const MF::BinaryData& inSettings,
                                               const norviktypes::ColorProfile& inProfile, bool inAtOnce,
                                               MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const std::int64_t index = FrameIndexAt(inTime);
    if (index == kNoFrame)
    {
        return BE::kSourceStatus_PastEnd;
    }
    BE::FrameDescription format = inFormat;
    ConformDescription(format);
    const auto make = [&](MF::IVideoFrameRef& outMade)
    { return MakeStamped(index, format, inAtOnce, outMade); };
    try
    {
        return ShareFrame(KeyOfFrame(index, format, inSettings, inProfile), inAtOnce, make, outFrame);
    }
    catch (...)
    {
        outFrame.reset();
        return StatusOfCurrentException();
    }
}

// Success comes with a frame, failure without one.
std::int32_t VideoSourceBase::MakeStamped(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                                          bool inAtOnce, MF::IVideoFrameRef& outFrame)
{
    Foundation::WorkSpan span(Foundation::WorkKind::kRead, inIndex);
    const std::int32_t status = MakeFrame(inIndex, inFormat, inAtOnce, outFrame);
    if (status < 0 || !outFrame)
    {
        if (status == kSourceStatus_NotAtHand)
        {
            span.Forget();
        }
        outFrame.reset();
        return status < 0 ? status : BE::kSourceStatus_OutOfMemory;
    }
    StampFrame(inFormat, outFrame);
    span.Succeed();
    return status;
}

std::int32_t VideoSourceBase::GetRenderedFrameInternal(const TickTime& inTime,
                                                       const BE::FrameDescription& inFormat,
                                                       const MF::BinaryData& inSettings,
                                                       const norviktypes::ColorProfile& inProfile,
                                                       bool inAtOnce, MF::IVideoFrameRef& outFrame)
{
    return GetRenderedFrame(inTime, inFormat, inSettings, inProfile, inAtOnce, outFrame);
}

std::int32_t VideoSourceBase::GetVideoFrame(const TickTime& inTime, const MF::BinaryData& inSettings,
                                            const TickTime&, const TickTime&,
                                            const MF::IVideoFrameRef& ioFrame,
                                            norviktypes::RenderQuality inQuality, FieldType, bool,
                                            bool inOptionA, bool inOptionB, bool, double)
{
    MF::IVideoFrameRef picture;
    std::int32_t status = GetRenderedFrame(inTime, DescriptionOf(ioFrame, inQuality), inSettings,
                                           norviktypes::ColorProfile(), false, picture);
    if (status >= 0)
    {
        ioFrame->SetFieldType(mTraits.mFieldType);
        status = VF::VideoFrameManipulators::CopyFrameWithFields(picture, ioFrame, inQuality, 0);
    }
    if (status >= 0 && inOptionA)
    {
        status = VF::VideoFrameManipulators::OpaqueAlpha(ioFrame);
    }
    else if (status >= 0 && inOptionB)
    {
        status = VF::VideoFrameManipulators::InvertAlpha(ioFrame);
    }
    return status;
}

void VideoSourceBase::GetStartTime(TickTime& outTime) const
{
    outTime = norviktypes::kTime_Zero;
}

bool VideoSourceBase::CanRenderFrames(const MF::BinaryData&) const
{
    return true;
}

void VideoSourceBase::GetSourceID(TVK::Guid& outID) const
{
    outID = mTraits.mContentID;
}

void VideoSourceBase::AcquireQuietToken(std::shared_ptr<void>& outToken, bool, bool, bool& outMustUnquiet)
{
    outToken.reset();
    outMustUnquiet = false;
}

void VideoSourceBase::StampFrame(const BE::FrameDescription& inFormat, const MF::IVideoFrameRef& inFrame)
{
    if (inFrame->IsFrozen())
    {
        return;
    }
    inFrame->SetPixelAspectRatio(inFormat.mPixelAspectRatio);
    inFrame->SetFieldType(inFormat.mFieldType);
    inFrame->SetAlphaType(inFormat.mAlphaType);
}

} // namespace Media
