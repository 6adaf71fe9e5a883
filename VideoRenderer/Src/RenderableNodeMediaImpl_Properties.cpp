#include "MF/Conversions.h"
#include "PropertyText.h"
#include "RenderableNodeMediaImpl.h"
#include "RenderableNodeMediaImpl_Facts.h"
#include "TVK/HashValue.h"

#include <cstdint>

namespace ML
{

namespace
{

using norvik::UTF8String;

constexpr bool kHashed = true;
constexpr bool kInformative = false;

// Media in memory that has no state of its own is told from other media by its content.
TVK::Guid StateOfContent(const BE::IMediaInfoRef& inMedia)
{
    TVK::HashValue hash("MediaNode content");
    hash.MixText(inMedia->GetContentHash());
    return hash.AsGuid();
}

UTF8String ListOf(const std::vector<std::uint64_t>& inNumbers)
{
    UTF8String text;
    for (const std::uint64_t number : inNumbers)
    {
        text += (text.empty() ? "" : ",") + PropertyText::OfUInt64(number);
    }
    return text;
}

} // namespace

void RenderableNodeMediaImpl::SetProperty(const char* inKey, const UTF8String& inValue, bool inHashed)
{
    SetCommonProperty(norvik::utility::ImmutableString::CreateStatic(inKey), inValue, inHashed);
}

// The state is written as UTF-16, as the instance text of a file has always been plain.
UTF8String RenderableNodeMediaImpl::ModificationStateText(const norvik::WString& inMediaInstance) const
{
    TVK::Guid state;
    const bool hasState = mDescription && mDescription->GetModificationState(state);
    if (!hasState && mMedia->IsFileSource())
    {
        // Clips without a master clip have no instance text, and are still not all of one file.
        const UTF8String file = inMediaInstance.empty() ? mMedia->GetPath().ToString()
                                                        : PropertyText::OfWideText(inMediaInstance);
        if (!file.empty())
        {
            return file;
        }
    }
    const norvik::WString text =
        norvik::utility::UTF8to16((hasState ? state : StateOfContent(mMedia)).AsUTF8String());
    return PropertyText::OfBinary(text.data(), text.size() * sizeof(text[0]));
}

// The text that names the media is no part of what it shows, unless there is nothing else to go by.
void RenderableNodeMediaImpl::WriteMediaIdentity()
{
    const MediaNodeSettings& settings = *mSettings;
    const norvik::WString instance =
        BE::MasterClipUtils::GetMediaInstanceString(settings.mClip->GetMasterClip());
    SetProperty("MediaNode::ClipID", PropertyText::OfUInt32(mClipInstanceID), kInformative);
    SetProperty("MediaNode::MediaInstanceString", PropertyText::OfWideText(instance),
                settings.mIsOffline && settings.mIsPending);
    SetProperty("MediaNode::MediaModState", ModificationStateText(instance), kHashed);
    SetProperty("MediaNode::MediaIsDraft", "0", kHashed);
    SetProperty("MediaNode::MediaIsOffline", PropertyText::OfTruth(settings.mIsOffline), kHashed);
    SetProperty("MediaNode::MediaIsPending", PropertyText::OfTruth(settings.mIsPending), kHashed);
    SetProperty("MediaNode::StartTimecodeOffset", PropertyText::OfTime(mMedia->GetStartTimecode()), kHashed);
}

void RenderableNodeMediaImpl::WriteAlpha(const BE::AlphaInterpretation& inAlpha)
{
    SetProperty("MediaNode::StreamAlphaType",
                PropertyText::OfInt32(MF::BEToSDKAlphaType(inAlpha.mType, inAlpha.mMatte)), kHashed);
    SetProperty("MediaNode::StreamIgnoreAlpha", PropertyText::OfTruth(inAlpha.mIgnore), kHashed);
    SetProperty("MediaNode::StreamInvertAlpha", PropertyText::OfTruth(inAlpha.mInvert), kHashed);
    if (inAlpha.mType == norviktypes::kAlphaChannel_Premultiplied)
    {
        SetProperty("MediaNode::StreamAlphaMatteColor",
                    PropertyText::OfUInt32(static_cast<std::uint32_t>(inAlpha.mMatte.mValue)), kHashed);
    }
}

void RenderableNodeMediaImpl::WriteColorProfile(const norviktypes::ColorProfile& inProfile)
{
    SetProperty("MediaNode::SelectedColorProfileName",
                UTF8String(inProfile.mName.begin(), inProfile.mName.end()), kHashed);
    if (inProfile.mData && !inProfile.mData->empty())
    {
        SetProperty("MediaNode::SelectedColorProfileData",
                    PropertyText::OfBinary(inProfile.mData->data(), inProfile.mData->size()), kHashed);
    }
}

// What only media with a description can tell; the flags that readers ask for are there for any media.
void RenderableNodeMediaImpl::WriteDescription()
{
    const bool removesPulldown = mDescription && mDescription->HasPulldownRemoval();
    SetProperty("MediaNode::MediaStreamGroup",
                PropertyText::OfUInt32(mDescription ? mDescription->GetStreamGroup() : 0), kHashed);
    SetProperty("MediaNode::StreamRemovePulldown", PropertyText::OfTruth(removesPulldown), kHashed);
    SetProperty("MediaNode::kVideoSegmentProperty_Media_StreamIsContinuousTime",
                PropertyText::OfTruthInWords(mIsContinuousTime), kInformative);
    if (!mDescription)
    {
        return;
    }
    SetProperty("MediaNode::ImplementationID", mDescription->GetImplementationID(), kInformative);
    SetProperty("MediaNode::StreamFrameVidSubType", PropertyText::OfUInt32(mDescription->GetVideoSubType()),
                kInformative);
    const MF::BinaryData settings = mDescription->GetOpaqueData();
    SetProperty("MediaNode::StreamOpaqueData", PropertyText::OfBinary(settings.Data(), settings.Size()),
                kHashed);
    MF::TimeRange content;
    if (mDescription->GetContentRange(content))
    {
        SetProperty("MediaNode::ContentStart", PropertyText::OfTime(content.mStart), kHashed);
        SetProperty("MediaNode::ContentEnd", PropertyText::OfTime(content.mEnd), kHashed);
    }
    if (const auto cadence = mDescription->GetPulldownCadence();
        cadence != norviktypes::kPulldownCadence_None)
    {
        SetProperty("MediaNode::StreamPullDownCadence",
                    PropertyText::OfInt32(MF::NorvikToSDKPulldownCadence(cadence)), kHashed);
    }
    if (mDescription->IsRollCrawl())
    {
        SetProperty("MediaNode::StreamIsRollCrawl", PropertyText::OfTruth(true), kHashed);
        SetProperty("MediaNode::RollCrawlDuration",
                    PropertyText::OfTime(mSettings->mOutPoint - mSettings->mInPoint), kHashed);
        // Two parts of one length of a roll show different lines at one time of the media.
        SetProperty("MediaNode::RollCrawlStart", PropertyText::OfTime(mSettings->mInPoint), kHashed);
    }
}

void RenderableNodeMediaImpl::WriteFrame(const StreamFacts& inFacts, norviktypes::FieldType inFieldType)
{
    SetProperty("MediaNode::StreamFrameRate", PropertyText::OfInt64(inFacts.mFrameRate.GetTicks()), kHashed);
    SetProperty("MediaNode::StreamFrameWidth", PropertyText::OfInt32(inFacts.mRect.Width()), kHashed);
    SetProperty("MediaNode::StreamFrameHeight", PropertyText::OfInt32(inFacts.mRect.Height()), kHashed);
    SetProperty("MediaNode::StreamPixelAspectRatioNum",
                PropertyText::OfUInt32(inFacts.mPixelAspectRatio.GetNumerator()), kHashed);
    SetProperty("MediaNode::StreamPixelAspectRatioDen",
                PropertyText::OfUInt32(inFacts.mPixelAspectRatio.GetDenominator()), kHashed);
    SetProperty("MediaNode::StreamFieldType", PropertyText::OfInt32(MF::SDKToBEFieldType(inFieldType)),
                kHashed);
}

void RenderableNodeMediaImpl::WriteMediaProperties(const StreamFacts& inFacts)
{
    const bool isMadeProgressive = !mSettings->mIsOffline && mDescription &&
                                   mDescription->HasPulldownRemoval() &&
                                   mDescription->IsProgressiveWithPulldownRemoved();
    WriteMediaIdentity();
    WriteDescription();
    WriteAlpha(AlphaOf(inFacts));
    WriteColorProfile(mMedia->GetColorProfile());
    WriteFrame(inFacts, isMadeProgressive ? norviktypes::kFieldType_Progressive : inFacts.mFieldType);
}

void RenderableNodeMediaImpl::WriteSequenceProperties(const StreamFacts& inFacts)
{
    WriteFrame(inFacts, inFacts.mFieldType);
    SetProperty("MediaNode::StreamRemovePulldown", "0", kHashed);
    if (mSettings->mIsMulticam)
    {
        SetProperty("MediaNode::SelectedMulticamTrack", PropertyText::OfUInt32(mSettings->mSelectedTrack),
                    kHashed);
        SetProperty("MediaNode::MulticamCameraOrder", ListOf(mCameraOrder), kHashed);
    }
    if (mTimelineInstanceID != 0)
    {
        SetProperty("MediaNode::SelectedMulticamTrackTimelineID", PropertyText::OfUInt32(mTimelineInstanceID),
                    kInformative);
    }
    if (mSettings->mFullCutlist)
    {
        SetProperty("MediaNode::NestedSequenceHash",
                    PropertyText::OfGuid(mSettings->mFullCutlist->GetHashValue()), kHashed);
    }
}

void RenderableNodeMediaImpl::WriteCommonProperties(const Surroundings& inSurroundings)
{
    const MediaNodeSettings& settings = *mSettings;
    const BE::IClip& clip = *settings.mClip;
    SetProperty("MediaNode::MediaStreamLabel", inSurroundings.mStreamLabel.ToString(), kHashed);
    if (mConformFieldType != inSurroundings.mFieldType)
    {
        SetProperty("MediaNode::SequenceFieldType", PropertyText::OfInt32(inSurroundings.mFieldType),
                    kHashed);
    }
    if (mScanlineOffset != 0)
    {
        SetProperty("MediaNode::ScanlineOffsetToImproveVerticalCentering",
                    PropertyText::OfInt32(mScanlineOffset), kHashed);
    }
    SetProperty("MediaNode::TrackItemIsMuted", PropertyText::OfTruth(inSurroundings.mIsMuted), kHashed);
    SetProperty("MediaNode::ClipSpeed", PropertyText::OfDouble(clip.GetSpeed()), kInformative);
    SetProperty("MediaNode::ClipBackwards", PropertyText::OfTruth(clip.IsBackwards()), kInformative);
    SetProperty("MediaNode::StreamFrameBlend", PropertyText::OfTruth(settings.mFrameBlend), kHashed);
    // How far a blend reaches is the speed's doing, though times of the media say nothing of it.
    if (settings.mFrameBlend)
    {
        SetProperty("MediaNode::FrameBlendSpeed", PropertyText::OfDouble(settings.mSpeed), kHashed);
    }
    SetProperty("MediaNode::ClipScaleToFramePolicy", PropertyText::OfUInt32(settings.mScaleToFramePolicy),
                kHashed);
    SetProperty("MediaNode::StreamReverseFieldDominance",
                PropertyText::OfTruth(settings.mReverseFieldDominance), kHashed);
    SetProperty("MediaNode::DeinterlaceAlways",
                PropertyText::OfTruth(settings.mFieldOption == BE::kFieldOption_Deinterlace), kHashed);
    SetProperty("MediaNode::RemoveFlicker",
                PropertyText::OfTruth(settings.mFieldOption == BE::kFieldOption_RemoveFlicker), kHashed);
    SetProperty("MediaNode::InterlaceConsecutiveFrames",
                PropertyText::OfTruth(settings.mFieldOption == BE::kFieldOption_InterlaceConsecutive),
                kHashed);
    SetProperty("MediaNode::InPointMediaTimeAsTicks", PropertyText::OfTime(settings.mInPoint), kInformative);
    SetProperty("MediaNode::OutPointMediaTimeAsTicks", PropertyText::OfTime(settings.mOutPoint),
                kInformative);
}

} // namespace ML
