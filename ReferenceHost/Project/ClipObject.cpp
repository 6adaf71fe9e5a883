#include "ReferenceHost/Project/ClipObject.h"

#include "ReferenceHost/Project/ClipTimes.h"
#include "ReferenceHost/Project/OfflineMedia.h"
#include "ReferenceHost/Project/TimeRemap.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"
#include "norvik/utility/Strings.h"

#include <cmath>
#include <cstdint>
#include <utility>

namespace Project
{

namespace
{

using norviktypes::TickTime;

class Clip final : public TVK::Implements<Clip, BE::IClip>
{
public:
    Clip(std::shared_ptr<const ClipItem> inItem, const ClipSurroundings& inSurroundings)
        : mItem(std::move(inItem))
        , mAround(inSurroundings)
    {
    }

    TVK::Rect GetFrameRect() const override
    {
        TVK::Rect rect = mAround.mFrameRect;
        if (mItem->mSequence)
        {
            rect = mItem->mSequence->GetFrameRect();
        }
        else if (const BE::IVideoSourceRef source = GetVideoSource())
        {
            source->GetBounds(rect);
        }
        return rect;
    }

    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override
    {
        norviktypes::PixelAspectRatio ratio = mAround.mPixelAspectRatio;
        if (mItem->mSequence)
        {
            ratio = mItem->mSequence->GetPixelAspectRatio();
        }
        else if (const BE::IVideoSourceRef source = GetVideoSource())
        {
            source->GetPixelAspectRatio(ratio);
        }
        return ratio;
    }

    norviktypes::FieldType GetFieldType() const override
    {
        if (mItem->mSequence)
        {
            return mItem->mSequence->GetFieldType();
        }
        const BE::IVideoSourceRef source = GetVideoSource();
        return source ? source->GetFieldType() : mAround.mFieldType;
    }

    norviktypes::FieldType GetConformFieldType() const override { return mItem->mConformFieldType; }

    TickTime GetInPoint() const override
    {
        return mItem->mSpeed == 1.0 ? OnFrameIfNear(mItem->mInPoint) : mItem->mInPoint;
    }

    TickTime GetOutPoint() const override
    {
        return IsBackwards() ? FirstMediaTime(*mItem, mAround.mRate, MediaRate()) + StepOfBackwardsPlay()
                             : GetInPoint() + mItem->mDuration * GetSpeed();
    }

    TickTime GetStart() const override { return mItem->mStart; }
    TickTime GetEnd() const override { return mItem->GetEnd(); }
    TickTime GetDuration() const override { return mItem->mDuration; }
    double GetSpeed() const override { return IsFrozen() ? 1.0 : std::abs(mItem->mSpeed); }
    bool IsBackwards() const override { return mItem->mSpeed < 0.0; }

    void GetFrameHold(TickTime& outTime, bool& outHoldsEffects) const override
    {
        outHoldsEffects = mItem->mHoldTime && mItem->mHoldsEffects;
        outTime = norviktypes::kTime_Max;
        if (mItem->mHoldTime || IsFrozen())
        {
            const TickTime held = mItem->mHoldTime.value_or(mItem->mInPoint);
            outTime = Held(held + NudgeOf(MediaRate()), mItem->mAvailable);
        }
    }

    MF::ITimeTransformRef GetTimeTransform() const override
    {
        return mItem->mTimeRemap.empty() ? MF::ITimeTransformRef() : GetTimeRemapParameter()->GetTransform();
    }

    BE::ITimeRemapParameterRef GetTimeRemapParameter() const override
    {
        const bool isRetimed = GetSpeed() != 1.0 || IsBackwards() || !mItem->mTimeRemap.empty();
        return isRetimed || ShowsMoreThanThereIs()
                   ? CreateTimeRemap(MakeCurve(), MediaRate(), mItem->mAvailable)
                   : BE::ITimeRemapParameterRef();
    }

    std::uint32_t GetScaleToFramePolicy() const override { return mItem->mScaleToFrame; }
    std::uint32_t GetTimeMode() const override { return mItem->mTimeMode; }
    bool DeinterlacesOnTimeMode() const override { return mItem->mDeinterlacesOnTimeMode; }
    bool ReversesFieldDominance() const override { return mItem->mReversesFieldDominance; }
    std::uint32_t GetFieldOption() const override { return mItem->mFieldOption; }
    bool BlendsFrames() const override { return mItem->mBlendsFrames; }
    bool NeedsLowerTracks() const override { return mItem->mNeedsLowerTracks; }

    std::uint32_t GetKind() const override { return BE::kClipKind_Plain; }
    TVK::Guid GetContentID() const override;
    norvik::WString GetName() const override
    {
        return norvik::utility::UTF8to16(norvik::UTF8String(mItem->mName.data(), mItem->mName.size()));
    }
    BE::IMasterClipRef GetMasterClip() const override { return mItem->mMasterClip; }
    BE::IMediaInfoRef GetMedia() const override
    {
        return mItem->mMedia || mItem->mSequence ? mItem->mMedia : CreateOfflineMedia(mItem->mMasterClip);
    }
    TVK::TVKUnknownRef GetSequence() const override { return TVK::TVKUnknownRef(mItem->mSequence); }
    BE::IVideoSourceRef GetVideoSource() const override
    {
        return mItem->mMedia ? BE::IVideoSourceRef(mItem->mMedia->GetStream(BE::kMediaType_Video, 0))
                             : BE::IVideoSourceRef();
    }
    std::uint32_t GetSelectedMulticamTrack() const override { return mItem->mSelectedCamera; }
    void GetCameraOrder(std::vector<std::uint64_t>& outTracks) const override
    {
        outTracks = mItem->mCameraOrder;
    }

private:
    // Asked for when it is needed: a clip is made while its sequence is locked, and media and other sequences have
    // locks of their own.
    norviktypes::FrameRate MediaRate() const { return MediaRateOf(*mItem, mAround.mRate); }

    bool IsFrozen() const { return mItem->mSpeed == 0.0; }

    // A time that falls short of its frame by less than counts means that frame.
    TickTime OnFrameIfNear(const TickTime& inTime) const
    {
        const TickTime nearest = inTime.AlignToNearestFrame(MediaRate());
        return inTime < nearest && nearest - inTime < NudgeOf(MediaRate()) ? nearest : inTime;
    }

    bool ShowsMoreThanThereIs() const
    {
        if (!mItem->mAvailable || mItem->mSpeed != 1.0)
        {
            return false;
        }
        const TickTime start = GetInPoint() - mAround.mHandleBefore;
        const TickTime end = GetInPoint() + mItem->mDuration + mAround.mHandleAfter;
        return start < mItem->mAvailable->mStart || end > mItem->mAvailable->mEnd;
    }

    // The keyframes lie on the time of the item; what is mapped begins at the in-point.
    MF::IKeyframedParameterRef MakeCurve() const
    {
        if (mItem->mTimeRemap.empty())
        {
            return {};
        }
        ParameterContent content;
        content.mKeys = mItem->mTimeRemap;
        return CreateParameter(MapKeyTimes(content, 1.0, GetInPoint()));
    }

    // How far before its out point a clip that plays backwards begins: a frame, or a field, of its stream.
    TickTime StepOfBackwardsPlay() const
    {
        norviktypes::FrameRate rate;
        if (const BE::IVideoSourceRef source = GetVideoSource())
        {
            source->GetFrameRate(rate);
        }
        else if (const BE::ITimeBaseRef timeBase{mItem->mSequence})
        {
            rate = timeBase->GetFrameRate();
        }
        if (!rate.IsCountable())
        {
            return TickTime();
        }
        return TickTime((norviktypes::IsInterlaced(GetFieldType()) ? rate * 2 : rate).GetTicks());
    }

    const std::shared_ptr<const ClipItem> mItem;
    const ClipSurroundings mAround;
};

void MixContent(TVK::HashValue& ioHash, const ClipItem& inItem)
{
    if (inItem.mMasterClip)
    {
        const norvik::WString instance = inItem.mMasterClip->GetMediaInstanceString();
        ioHash.MixText(norvik::utility::UTF16to8(instance));
    }
    if (inItem.mMedia)
    {
        ioHash.MixText(inItem.mMedia->GetPath());
        ioHash.MixText(inItem.mMedia->GetContentHash());
    }
    if (inItem.mSequence)
    {
        MF::IRenderableCutlistRef cutlist;
        inItem.mSequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true);
        ioHash.MixGuid(cutlist ? cutlist->GetHashValue() : TVK::Guid());
    }
}

void MixEffect(TVK::HashValue& ioHash, const BE::IEffect& inEffect)
{
    ioHash.MixText(inEffect.GetMatchName());
    ioHash.MixBool(inEffect.IsActive());
    for (const MF::IKeyframedParameterRef& parameter : *inEffect.GetParameters())
    {
        ioHash.MixText(parameter->GetText());
        ioHash.MixU8(0);
    }
}

// Where the clip lies and how it is conformed is not content: whoever looks at it asks for its picture.
TVK::Guid Clip::GetContentID() const
{
    TVK::HashValue hash("Project::Clip");
    MixContent(hash, *mItem);
    hash.MixI64(GetInPoint().GetTicks());
    hash.MixI64(mItem->mDuration.GetTicks());
    hash.MixDouble(mItem->mSpeed);
    TickTime hold;
    bool holdsEffects = false;
    GetFrameHold(hold, holdsEffects);
    hash.MixI64(hold.GetTicks());
    hash.MixBool(holdsEffects);
    if (const BE::ITimeRemapParameterRef remap = GetTimeRemapParameter())
    {
        hash.MixText(remap->GetHashText());
    }
    for (const BE::IEffectRef& effect : mItem->mEffects)
    {
        MixEffect(hash, *effect);
    }
    return hash.AsGuid();
}

} // namespace

BE::IClipRef CreateClip(std::shared_ptr<const ClipItem> inItem, const ClipSurroundings& inSurroundings)
{
    return new Clip(std::move(inItem), inSurroundings);
}

} // namespace Project
