#include "MediaNodeProducer.h"

#include "CutlistRenderer.h"
#include "FrameConforming.h"
#include "MF/PixelFormats.h"
#include "ML/StaticImages.h"
#include "ScaledFrameRect.h"
#include "StreamAlpha.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"

#include <algorithm>
#include <cmath>

namespace ML
{

namespace
{

using norviktypes::IsInterlaced;
using norviktypes::TickTime;
using TVK::Rect;

Rect RectOfSize(std::uint32_t inWidth, std::uint32_t inHeight)
{
    return {0, 0, static_cast<std::int32_t>(inWidth), static_cast<std::int32_t>(inHeight)};
}

bool PairsLines(const MediaNodeSettings& inSettings, const CutlistRenderParams& inRenderParams)
{
    return IsInterlaced(inRenderParams.mFieldType) &&
           (IsInterlaced(inSettings.mFieldType) ||
            inSettings.mFieldType == norviktypes::kFieldType_FromSource);
}

Rect ScaledRect(const MediaNodeSettings& inSettings, const CutlistRenderParams& inRenderParams,
                bool inPairLines)
{
    const Rect full = RectOfSize(inRenderParams.mSourceWidth, inRenderParams.mSourceHeight);
    // Of media that was never seen nobody knows the size; its slate takes the whole picture.
    const bool isKnown = !inSettings.mFrameRect.IsEmpty();
    Rect rect;
    ComputeScaledFrameRect(isKnown ? inSettings.mFrameRect : full,
                           isKnown ? inSettings.mPixelAspectRatio : inRenderParams.mSourcePixelAspectRatio,
                           inSettings.mScaleToFramePolicy, inRenderParams.mScaleX, inRenderParams.mScaleY,
                           full, inRenderParams.mSourcePixelAspectRatio,
                           RectOfSize(inRenderParams.mWidth, inRenderParams.mHeight),
                           inRenderParams.mPixelAspectRatio, inPairLines, rect);
    return rect;
}

bool MayHaveAlpha(const norviktypes::PixelFormat& inFormat)
{
    const std::uint32_t tone = norviktypes::ToneOfProperties(inFormat.mProperties);
    return inFormat == norviktypes::kPixelFormat_Any || tone == norviktypes::kAlphaChannel_Straight ||
           tone == norviktypes::kAlphaChannel_Premultiplied;
}

// How far two frames of the output reach in the media; held well within the axis, as no range is longer.
TickTime TwoFrames(const norviktypes::FrameRate& inRate, double inSpeed)
{
    const TickTime one = TickTime(inRate.GetTicks()) * std::abs(inSpeed);
    return std::min(one, norviktypes::kTime_Max / 4u) * 2;
}

// The start of a still range stands for all of it but its last two frames: these a blend with what follows
// may still look at. So a long still stretch is one frame in the cache. kTime_Invalid where nothing is held.
TickTime HoldTimeFor(const MediaNodeSettings& inSettings, const MF::FrameTime& inFrameTime,
                     const CutlistRenderParams& inRenderParams)
{
    if (inSettings.mIsStill || inSettings.mStillRanges.empty())
    {
        return norviktypes::kTime_Invalid;
    }
    const TickTime time = inFrameTime.Earlier();
    auto range = std::upper_bound(inSettings.mStillRanges.begin(), inSettings.mStillRanges.end(), time,
                                  [](const TickTime& inTime, const MF::TimeRange& inRange)
                                  { return inTime < inRange.mStart; });
    if (range == inSettings.mStillRanges.begin() || !(--range)->Contains(time))
    {
        return norviktypes::kTime_Invalid;
    }
    const TickTime step = TwoFrames(inRenderParams.mFrameRate, inSettings.mSpeed);
    const TickTime next = inSettings.mSpeed <= 0.0 ? time - step : time + step;
    return range->Contains(next) ? range->mStart + inSettings.mContentStart : norviktypes::kTime_Invalid;
}

// A frame of full size, or of half its width, that stands for the size of the picture can only be told from one
// that stands for the render size by who asked for it. So it is scaled here, unless the two are one.
bool StandsForPictureOnly(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inOfPicture,
                          const CutlistRenderParams& inOfRender)
{
    Rect bounds;
    inFrame->GetBounds(bounds);
    if (bounds == RectOfSize(inOfPicture.mWidth, inOfPicture.mHeight))
    {
        return false;
    }
    const bool standsForPicture =
        NeedsScaleToRenderSize(inFrame, inOfPicture) || FrameHasRenderSize(inFrame, inOfPicture);
    const bool isWholeRender =
        inOfPicture.mWidth == inOfRender.mWidth && inOfPicture.mHeight == inOfRender.mHeight &&
        inOfPicture.mSourceWidth == inOfRender.mSourceWidth &&
        inOfPicture.mSourceHeight == inOfRender.mSourceHeight && FrameHasRenderSize(inFrame, inOfRender);
    return standsForPicture && !isWholeRender;
}

class MediaNodeProducer final
    : public TVK::Implements<MediaNodeProducer, IRenderableNodeProducer, IRenderableNodePrefetchProvider>
{
public:
    MediaNodeProducer(const MediaNodeSettingsRef& inSettings, const TVK::Guid& inNodeHash,
                      const TickTime& inHoldTime)
        : mSettings(inSettings)
        , mNodeHash(inNodeHash)
        , mHoldTime(inHoldTime)
    {
    }

    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                          MF::IVideoFrameRef& outFrame) override;
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) override;
    void GetPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                               std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;

private:
    // What the chain is asked for, and at which of its times.
    struct ChainRequest
    {
        CutlistRenderParams mParams;
        MF::FrameTime mTime;
    };

    bool IsHeld() const noexcept { return mHoldTime != norviktypes::kTime_Invalid; }
    MF::FrameTime MediaTime(const MF::FrameTime& inFrameTime) const noexcept;
    bool UsesRenderCutlist(const CutlistRenderParams& inOfPicture) const noexcept;
    ChainRequest RequestFor(const MF::FrameTime& inFrameTime,
                            const CutlistRenderParams& inRenderParams) const;
    void LookAgainForMedia(const CutlistRenderParams& inRenderParams) const;
    void MixParams(TVK::HashValue& ioHash, const CutlistRenderParams& inRenderParams) const;
    void MixWhatOnlySomeFramesGoBy(TVK::HashValue& ioHash, const MF::FrameTime& inFrameTime,
                                   const CutlistRenderParams& inRenderParams) const;
    void MixPrefetches(TVK::HashValue& ioHash, const MF::FrameTime& inFrameTime,
                       const CutlistRenderParams& inRenderParams);
    TVK::Guid HashOfNested(TVK::HashValue& ioHash, const MF::FrameTime& inFrameTime,
                           const CutlistRenderParams& inRenderParams) const;
    MF::IVideoFrameRef WithFieldsOf(MF::IVideoFrameRef inFrame, const ChainRequest& inRequest) const;
    MF::IVideoFrameRef FrameOfChain(const MF::FrameTime& inFrameTime,
                                    const CutlistRenderParams& inRenderParams) const;
    MF::IVideoFrameRef FrameInPlaceOfMedia(const CutlistRenderParams& inRenderParams) const;

    const MediaNodeSettingsRef mSettings;
    const TVK::Guid mNodeHash;
    const TickTime mHoldTime; // of the media; kTime_Invalid: the frame's own
};

MF::FrameTime MediaNodeProducer::MediaTime(const MF::FrameTime& inFrameTime) const noexcept
{
    if (!IsHeld())
    {
        return inFrameTime + mSettings->mContentStart;
    }
    const TickTime earlier = inFrameTime.Earlier();
    return inFrameTime - earlier + mHoldTime;
}

// A clip's frame is named by the whole sequence; that of a sequence by itself may be named by what was made for
// just its size.
bool MediaNodeProducer::UsesRenderCutlist(const CutlistRenderParams& inOfPicture) const noexcept
{
    return !mSettings->mIsSequenceOfClip && inOfPicture.mUseSecondCutlist != 0 &&
           RectOfSize(inOfPicture.mWidth, inOfPicture.mHeight) == mSettings->mFrameRect;
}

MediaNodeProducer::ChainRequest MediaNodeProducer::RequestFor(const MF::FrameTime& inFrameTime,
                                                              const CutlistRenderParams& inRenderParams) const
{
    const Rect rect = ScaledRectInRender(*mSettings, inRenderParams);
    const Rect& media = mSettings->mMediaRect;
    const norviktypes::PixelAspectRatio& ofRender = inRenderParams.mPixelAspectRatio;
    const norviktypes::PixelAspectRatio& ofMedia = mSettings->mMediaPixelAspectRatio;

    ChainRequest request{inRenderParams, {}};
    CutlistRenderParams& params = request.mParams;
    params.mFrameTime = MediaTime(inFrameTime);
    params.mWidth = static_cast<std::uint32_t>(rect.Width());
    params.mHeight = static_cast<std::uint32_t>(rect.Height());
    params.mSourceWidth = static_cast<std::uint32_t>(media.Width());
    params.mSourceHeight = static_cast<std::uint32_t>(media.Height());
    params.mSourcePixelAspectRatio = ofMedia;
    params.mRenderContext =
        ~std::uint64_t{0}; // limits the tracks of this sequence, not those of a nested one
    params.mScaleY = static_cast<float>(rect.Height()) / static_cast<float>(media.Height());
    params.mScaleX = static_cast<float>(ofRender.GetNumerator()) *
                     static_cast<float>(ofMedia.GetDenominator()) * static_cast<float>(rect.Width()) /
                     (static_cast<float>(ofMedia.GetNumerator()) *
                      static_cast<float>(ofRender.GetDenominator()) * static_cast<float>(media.Width()));
    mSettings->mSource->ConformFrameTime(params.mFrameTime, params, request.mTime);
    return request;
}

// Only where somebody waits for the frame: a request of low priority would look without end.
void MediaNodeProducer::LookAgainForMedia(const CutlistRenderParams& inRenderParams) const
{
    if (!mSettings->mIsPending || !mSettings->mClip ||
        (inRenderParams.mRenderFlags & kRenderFlag_LowPriority) != 0)
    {
        return;
    }
    if (const BE::IVideoStreamInfoRef info{mSettings->mClip->GetVideoSource()})
    {
        info->Refresh(true);
    }
}

void MediaNodeProducer::MixParams(TVK::HashValue& ioHash, const CutlistRenderParams& inRenderParams) const
{
    ioHash.MixU32(inRenderParams.mWidth);
    ioHash.MixU32(inRenderParams.mHeight);
    ioHash.MixU32(inRenderParams.mPixelAspectRatio.GetNumerator());
    ioHash.MixU32(inRenderParams.mPixelAspectRatio.GetDenominator());
    ioHash.MixDouble(inRenderParams.mScaleX);
    ioHash.MixDouble(inRenderParams.mScaleY);
    ioHash.MixI32(inRenderParams.mRenderQuality);
    ioHash.MixI32(inRenderParams.mDeinterlaceQuality);
    ioHash.MixU64(inRenderParams.mPixelFormat.mName |
                  static_cast<std::uint64_t>(inRenderParams.mPixelFormat.mProperties) << 32);
}

// What changes the picture of few frames is mixed for these alone, as most hashes are asked for in a hurry:
// a blend looks as far as a frame of the output lasts; a single field at low quality is a frame of its own;
// fields may have made the picture a line higher; and held fields are of one moment, which those at the time
// that is held are not.
void MediaNodeProducer::MixWhatOnlySomeFramesGoBy(TVK::HashValue& ioHash, const MF::FrameTime& inFrameTime,
                                                  const CutlistRenderParams& inRenderParams) const
{
    if (mSettings->mFrameBlend)
    {
        ioHash.MixI64(inRenderParams.mFrameRate.GetTicks());
    }
    if (inRenderParams.mFieldToRender != 0 &&
        inRenderParams.mRenderQuality < norviktypes::kRenderQuality_Medium)
    {
        ioHash.MixU32(inRenderParams.mFieldToRender);
    }
    if (PairsLines(*mSettings, inRenderParams) &&
        ScaledRect(*mSettings, inRenderParams, false).Height() % 2 != 0)
    {
        ioHash.MixBool(true);
    }
    if (IsHeld() && IsInterlaced(inFrameTime.Order()))
    {
        ioHash.MixText("held");
    }
}

void MediaNodeProducer::MixPrefetches(TVK::HashValue& ioHash, const MF::FrameTime& inFrameTime,
                                      const CutlistRenderParams& inRenderParams)
{
    std::vector<IRenderableNodePrefetchRef> prefetches;
    GetPrefetchesForFrame(inFrameTime, inRenderParams, prefetches);
    for (const IRenderableNodePrefetchRef& prefetch : prefetches)
    {
        TVK::Guid key;
        prefetch->GetPrefetchKey(key);
        ioHash.MixGuid(key);
    }
}

void MediaNodeProducer::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                                     const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash)
{
    LookAgainForMedia(inRenderParams);
    TVK::HashValue hash(inBaseHash);
    hash.MixText("MediaNode frame hash");
    hash.MixGuid(mNodeHash);
    if (!mSettings->mIsStill)
    {
        const MF::FrameTime mediaTime = MediaTime(inFrameTime);
        hash.MixI64(mediaTime.mSecondTime.GetTicks());
        hash.MixI64(mediaTime.mFirstTime.GetTicks());
    }
    MixParams(hash, inRenderParams);
    hash.MixBool(mSettings->mClipTimeMode != 0 && mSettings->mDeinterlaceOnTimeMode);
    hash.MixBool(static_cast<bool>(mSettings->mSource));
    MixWhatOnlySomeFramesGoBy(hash, inFrameTime, inRenderParams);
    if (mSettings->mStreamInfo && mSettings->mStreamInfo->FramesDependOnPrefetchState())
    {
        MixPrefetches(hash, inFrameTime, inRenderParams);
    }
    if (mSettings->mFullCutlist && mSettings->mRenderCutlist && mSettings->mSource)
    {
        outHash = HashOfNested(hash, inFrameTime, inRenderParams);
        return;
    }
    outHash = hash.AsGuid();
}

// The sources show the second cutlist wherever the render asks for it, so a frame of it must not be taken for
// one of the first.
TVK::Guid MediaNodeProducer::HashOfNested(TVK::HashValue& ioHash, const MF::FrameTime& inFrameTime,
                                          const CutlistRenderParams& inRenderParams) const
{
    const MF::IRenderableCutlistRef& full = mSettings->mFullCutlist;
    const MF::IRenderableCutlistRef& forRender = mSettings->mRenderCutlist;
    if (inRenderParams.mUseSecondCutlist != 0 && forRender->GetHashValue() != full->GetHashValue())
    {
        ioHash.MixGuid(forRender->GetHashValue());
    }
    ChainRequest request = RequestFor(inFrameTime, inRenderParams);
    request.mParams.mFrameTime = request.mTime;
    TVK::Guid hash;
    ComputeFrameHash(hash, UsesRenderCutlist(request.mParams) ? forRender : full, request.mParams,
                     ioHash.AsGuid());
    return hash;
}

// Fields that a still or a held frame has are of one moment.
MF::IVideoFrameRef MediaNodeProducer::WithFieldsOf(MF::IVideoFrameRef inFrame,
                                                   const ChainRequest& inRequest) const
{
    const norviktypes::FieldType expected =
        mSettings->mIsStill || IsHeld() ? norviktypes::kFieldType_Progressive : inRequest.mTime.Order();
    if (inFrame->GetFieldType() != expected)
    {
        inFrame = MakeWriteable(inFrame, inRequest.mParams.mRenderQuality);
        inFrame->SetFieldType(expected);
    }
    return inFrame;
}

MF::IVideoFrameRef MediaNodeProducer::FrameOfChain(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) const
{
    const ChainRequest request = RequestFor(inFrameTime, inRenderParams);
    MF::IVideoFrameRef frame;
    mSettings->mSource->Render(request.mTime, request.mParams, frame);
    if (!frame)
    {
        return frame;
    }
    frame = WithFieldsOf(frame, request);
    if (StandsForPictureOnly(frame, request.mParams, inRenderParams))
    {
        frame = ConformToRenderSize(frame, request.mParams);
    }
    return frame;
}

MF::IVideoFrameRef MediaNodeProducer::FrameInPlaceOfMedia(const CutlistRenderParams& inRenderParams) const
{
    if (mSettings->mNoMedia)
    {
        return GetBlackVideoFrame(inRenderParams);
    }
    if (!mSettings->mIsOffline && !mSettings->mIsPending)
    {
        return {};
    }
    const Rect rect = ScaledRectInRender(*mSettings, inRenderParams);
    return StaticImageFactory::LoadImage(
        mSettings->mIsPending ? kStaticImage_Pending : kStaticImage_Offline,
        static_cast<std::uint32_t>(rect.Width()), static_cast<std::uint32_t>(rect.Height()),
        MF::kPixelFormat_BGRA_4444_8u, inRenderParams.mPixelAspectRatio, inRenderParams.mRenderQuality);
}

std::int32_t MediaNodeProducer::GetFrame(const MF::FrameTime& inFrameTime,
                                         const CutlistRenderParams& inRenderParams,
                                         MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    if (mSettings->mSource)
    {
        outFrame = FrameOfChain(inFrameTime, inRenderParams);
    }
    if (!outFrame)
    {
        outFrame = FrameInPlaceOfMedia(inRenderParams);
    }
    return TVK::kStatus_OK;
}

void MediaNodeProducer::GetPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                              const CutlistRenderParams& inRenderParams,
                                              std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    if (mSettings->mSource)
    {
        const ChainRequest request = RequestFor(inFrameTime, inRenderParams);
        mSettings->mSource->CollectPrefetchItems(request.mTime, request.mParams, ioPrefetches);
    }
}

} // namespace

IRenderableNodeProducerRef CreateMediaNodeProducer(const MediaNodeSettingsRef& inSettings,
                                                   const TVK::Guid& inNodeHash,
                                                   const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams)
{
    return IRenderableNodeProducerRef(
        new MediaNodeProducer(inSettings, inNodeHash, HoldTimeFor(*inSettings, inFrameTime, inRenderParams)));
}

bool MayBeTransparent(const BE::IVideoSourceRef& inStream, const BE::AlphaInterpretation& inAlpha)
{
    if (inAlpha.mIgnore || inAlpha.mType == norviktypes::kAlphaChannel_None ||
        inAlpha.mType == norviktypes::kAlphaChannel_Opaque)
    {
        return false;
    }
    std::vector<norviktypes::PixelFormat> formats;
    inStream->GetNativePixelFormat(formats);
    return std::any_of(formats.begin(), formats.end(), MayHaveAlpha);
}

Rect ScaledRectInRender(const MediaNodeSettings& inSettings, const CutlistRenderParams& inRenderParams)
{
    return ScaledRect(inSettings, inRenderParams, PairsLines(inSettings, inRenderParams));
}

bool FrameHasRenderSize(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams)
{
    Rect bounds;
    inFrame->GetBounds(bounds);
    if (bounds.Width() == static_cast<std::int32_t>(inRenderParams.mWidth) &&
        bounds.Height() == static_cast<std::int32_t>(inRenderParams.mHeight))
    {
        return true;
    }
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return norviktypes::IsPacked422(format.mProperties) && bounds.left == 0 && bounds.top == 0 &&
           bounds.Width() == static_cast<std::int32_t>(inRenderParams.mSourceWidth >> 1) &&
           bounds.Height() == static_cast<std::int32_t>(inRenderParams.mSourceHeight);
}

} // namespace ML
