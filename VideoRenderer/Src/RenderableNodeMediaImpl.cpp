#include "RenderableNodeMediaImpl.h"

#include "ML/InstanceIDs.h"
#include "RenderableNodeMediaImpl_Facts.h"
#include "ScaledFrameRect.h"
#include "norvik/config/Contract.h"
#include "norvik/debug/Debug.h"
#include "norvik/utility/Strings.h"
#include "norviktypes/Pulldown.h"

#include <algorithm>

namespace ML
{

namespace
{

using norviktypes::FieldType;
using norviktypes::IsInterlaced;
using norviktypes::TickTime;
using TVK::Rect;

constexpr const char* kFile = "Src/RenderableNodeMediaImpl";
// Sequences within sequences. A project that nests more deeply is broken, most likely in a circle.
constexpr int kMostNestedSequences = 64;

// Counts the sequences that are being nested on this thread: a sequence builds its cutlists, and with them the
// nodes of the sequences in it, while it is asked for them.
class NestingLevel
{
public:
    NestingLevel() noexcept { ++sDepth; }
    ~NestingLevel() { --sDepth; }
    NestingLevel(const NestingLevel&) = delete;
    NestingLevel& operator=(const NestingLevel&) = delete;

    static bool IsTooDeep() noexcept { return sDepth > kMostNestedSequences; }

private:
    static thread_local int sDepth;
};

thread_local int NestingLevel::sDepth = 0;

bool SameSize(const Rect& inA, const Rect& inB)
{
    return inA.Width() == inB.Width() && inA.Height() == inB.Height();
}

// A sequence that a clip shows, or that stands where a clip does.
BE::ISequenceRef SequenceOf(const BE::IClipRef& inClip)
{
    const TVK::TVKUnknownRef shown = inClip->GetSequence();
    return shown ? BE::ISequenceRef(shown) : BE::ISequenceRef(inClip);
}

norviktypes::FrameRate RateOf(const BE::ISequenceRef& inSequence)
{
    const BE::ITimeBaseRef time(inSequence);
    return time ? time->GetFrameRate() : norviktypes::kFrameRate_Zero;
}

} // namespace

RenderableNodeMediaImpl::RenderableNodeMediaImpl() : mSettings(std::make_shared<MediaNodeSettings>()) {}

RenderableNodeMediaImpl::~RenderableNodeMediaImpl()
{
    for (const std::uint32_t id : {mClipInstanceID, mTimelineInstanceID})
    {
        if (id != 0)
        {
            RemoveIDFromInstanceIDMap(id);
        }
    }
}

void RenderableNodeMediaImpl::SetVideoClip(const BE::IClipRef& inClip,
                                           const norvik::utility::ImmutableString& inStreamLabel,
                                           bool inTrackItemIsMuted, FieldType inSequenceFieldType,
                                           const Rect& inSequenceRect,
                                           const norviktypes::PixelAspectRatio& inSequencePAR,
                                           const norviktypes::FrameRate& inSequenceFrameRate,
                                           bool inFlipDominanceForCompare)
{
    ML_INPUT_CONTRACT(IsMutable(), "mMutable", kFile, "ML::RenderableNodeMediaImpl::SetVideoClip", __LINE__);
    const Surroundings surroundings{inStreamLabel,  inTrackItemIsMuted, inSequenceFieldType,
                                    inSequenceRect, inSequencePAR,      inSequenceFrameRate};
    mSettings->mClip = inClip;
    ReadClip(surroundings, inFlipDominanceForCompare);
    StreamFacts facts;
    if (const BE::ISequenceRef sequence = SequenceOf(inClip))
    {
        mSettings->mIsSequenceOfClip = static_cast<bool>(inClip->GetSequence());
        ReadSequence(sequence, surroundings, facts);
    }
    else
    {
        ReadMedia(surroundings, facts);
    }
    mSettings->mMediaRect = facts.mRect;
    mSettings->mMediaPixelAspectRatio = facts.mPixelAspectRatio;
    CompareWithSequence(surroundings, facts);
    BuildChain(surroundings, facts);
    CentreVertically(surroundings);
    ReadStillRanges();
    DecideOpaqueness(surroundings);
    WriteCommonProperties(surroundings);
}

void RenderableNodeMediaImpl::ReadClip(const Surroundings& inSurroundings, bool inFlipDominanceForCompare)
{
    MediaNodeSettings& settings = *mSettings;
    const BE::IClip& clip = *settings.mClip;
    settings.mFrameRect = clip.GetFrameRect();
    settings.mPixelAspectRatio = clip.GetPixelAspectRatio();
    settings.mFieldType = clip.GetFieldType();
    mConformFieldType = clip.GetConformFieldType();
    const bool fits = settings.mPixelAspectRatio == inSurroundings.mPixelAspectRatio &&
                      settings.mFrameRect == inSurroundings.mRect;
    settings.mScaleToFramePolicy = fits ? BE::kScaleToFrame_None : clip.GetScaleToFramePolicy();
    const bool pairsLines =
        IsInterlaced(inSurroundings.mFieldType) &&
        (IsInterlaced(settings.mFieldType) || settings.mFieldType == norviktypes::kFieldType_FromSource);
    ComputeScaledFrameRect(settings.mFrameRect, settings.mPixelAspectRatio, settings.mScaleToFramePolicy, 1.0,
                           1.0, inSurroundings.mRect, inSurroundings.mPixelAspectRatio, inSurroundings.mRect,
                           inSurroundings.mPixelAspectRatio, pairsLines, mScaledRect);
    mSameFrameSize = inSurroundings.mRect.IsEmpty() || SameSize(inSurroundings.mRect, settings.mFrameRect);

    settings.mInPoint = clip.GetInPoint();
    settings.mOutPoint = clip.GetOutPoint();
    settings.mClipTimeMode = clip.GetTimeMode();
    settings.mDeinterlaceOnTimeMode = clip.DeinterlacesOnTimeMode();
    settings.mReverseFieldDominance = clip.ReversesFieldDominance();
    settings.mFieldOption = clip.GetFieldOption();
    settings.mSpeed = clip.IsBackwards() ? -clip.GetSpeed() : clip.GetSpeed();
    settings.mFlipDominanceForCompare = inFlipDominanceForCompare;
    mMedia = clip.GetMedia();
    settings.mIsStill = mMedia && mMedia->IsStill();
    settings.mFrameBlend = clip.BlendsFrames() && !settings.mIsStill && settings.mClipTimeMode == 0;
    mIsOpaque = true;
    if (const MF::ITimeTransformRef transform = clip.GetTimeTransform();
        transform && !transform->IsIdentity())
    {
        settings.mTimeTransform = transform;
    }
}

void RenderableNodeMediaImpl::ReadAvailability()
{
    switch (mMedia->GetAvailability())
    {
    case BE::MediaAvailability::kOnline: break;
    case BE::MediaAvailability::kPending:
        mSettings->mIsPending = true;
        mSettings->mIsOffline = true;
        break;
    default: mSettings->mIsOffline = true; break;
    }
}

// In and out points count from where the content begins; what is told of them are times of the media.
void RenderableNodeMediaImpl::ReadContentRange()
{
    MF::TimeRange range;
    if (!mDescription || !mDescription->GetContentRange(range))
    {
        return;
    }
    mSettings->mContentStart = range.mStart;
    mSettings->mInPoint += range.mStart;
    mSettings->mOutPoint += range.mStart;
}

void RenderableNodeMediaImpl::ReadMedia(const Surroundings& inSurroundings, StreamFacts& outFacts)
{
    MediaNodeSettings& settings = *mSettings;
    ReadAvailability();
    mDescription = BE::IMediaDescriptionRef(mMedia);
    ReadContentRange();
    mIsContinuousTime = mDescription && mDescription->IsContinuousTime();
    outFacts.mRect = settings.mFrameRect;
    outFacts.mPixelAspectRatio = settings.mPixelAspectRatio;
    outFacts.mFieldType = settings.mFieldType;
    outFacts.mFrameRate = norviktypes::kFrameRate_Zero;
    outFacts.mStream = settings.mClip->GetVideoSource();
    settings.mIsOffline = settings.mIsOffline || !outFacts.mStream;
    settings.mStreamInfo = BE::IVideoStreamInfoRef(outFacts.mStream);
    mSmartRenderSource = settings.mStreamInfo;
    if (outFacts.mStream)
    {
        ReadStream(outFacts);
    }
    mStreamSuiteObject =
        new VideoStreamWithSequenceFieldTypeSuiteObject(settings.mClip, inSurroundings.mFieldType);
    mClipInstanceID = CreateUniqueCallbackInstanceID(mStreamSuiteObject);
    WriteMediaProperties(outFacts);
    if (!settings.mIsOffline && !settings.mIsPending)
    {
        outFacts.mBase = MediaSource(outFacts);
    }
}

void RenderableNodeMediaImpl::ReadStream(StreamFacts& ioFacts)
{
    Rect bounds;
    ioFacts.mStream->GetBounds(bounds);
    ioFacts.mRect = bounds.IsEmpty() ? ioFacts.mRect : bounds;
    ioFacts.mFieldType = ioFacts.mStream->GetFieldType();
    if (mSettings->mIsOffline)
    {
        return;
    }
    ioFacts.mStream->GetFrameRate(ioFacts.mFrameRate);
    if (mDescription && mDescription->HasPulldownRemoval())
    {
        ioFacts.mPulldown = mDescription->GetPulldownCadence();
    }
    if (ioFacts.mPulldown != norviktypes::kPulldownCadence_None)
    {
        ioFacts.mFrameRate = norviktypes::FilmRateOfPulldown(ioFacts.mFrameRate);
    }
    mIsOpaque = !MayBeTransparent(ioFacts.mStream, AlphaOf(ioFacts));
}

// Media that says nothing of its alpha is taken as its stream delivers it.
BE::AlphaInterpretation RenderableNodeMediaImpl::AlphaOf(const StreamFacts& inFacts) const
{
    BE::AlphaInterpretation alpha = mDescription ? mDescription->GetAlpha() : BE::AlphaInterpretation();
    if (alpha.mType == norviktypes::kAlphaChannel_None && inFacts.mStream)
    {
        alpha.mType = inFacts.mStream->GetAlphaType();
    }
    return alpha;
}

// Removing pulldown makes four frames of five, so the chain begins at five fourths of the media's rate. A
// stream that fills frames of its caller counts them from the media's first, or, where its picture goes by
// the part that plays, from there.
IRenderableSourceRef RenderableNodeMediaImpl::MediaSource(StreamFacts& ioFacts) const
{
    const MF::BinaryData settings = mDescription ? mDescription->GetOpaqueData() : MF::BinaryData();
    const BE::AlphaInterpretation alpha = AlphaOf(ioFacts);
    const bool isFilm = ioFacts.mPulldown != norviktypes::kPulldownCadence_None;
    const norviktypes::FrameRate rate = isFilm ? ioFacts.mFrameRate * 1.25 : ioFacts.mFrameRate;
    ioFacts.mIsFilledByStream = !ioFacts.mStream->CanRenderFrames(settings);
    if (!ioFacts.mIsFilledByStream)
    {
        return CreateRenderableSource(ioFacts.mStream, settings, alpha.mType, alpha.mMatte, alpha.mIgnore,
                                      alpha.mInvert, rate, ioFacts.mFieldType, ioFacts.mPixelAspectRatio,
                                      mMedia->GetColorProfile(), mMedia->GetName());
    }
    MF::TimeRange range;
    if (mDescription && mDescription->IsRollCrawl())
    {
        range = {mSettings->mInPoint, mSettings->mOutPoint};
    }
    else if (mDescription)
    {
        range = {mDescription->GetFirstTime(), mDescription->GetFirstTime() + mDescription->GetDuration()};
    }
    return CreateRenderableGetVideoSource(ioFacts.mStream, settings, range.mStart, range.mEnd, alpha.mMatte,
                                          alpha.mType, alpha.mIgnore, alpha.mInvert, false, 1.0, rate,
                                          mMedia->GetName());
}

MF::IRenderableCutlistProviderRef RenderableNodeMediaImpl::ProviderOf(const BE::ISequenceRef& inSequence)
{
    MediaNodeSettings& settings = *mSettings;
    settings.mIsMulticam = inSequence->IsMulticamSource();
    if (!settings.mIsMulticam)
    {
        return inSequence->GetCutlistProvider();
    }
    settings.mSelectedTrack = settings.mClip->GetSelectedMulticamTrack();
    settings.mClip->GetCameraOrder(mCameraOrder);
    const std::uint64_t track = settings.mSelectedTrack < mCameraOrder.size()
                                    ? mCameraOrder[settings.mSelectedTrack]
                                    : settings.mSelectedTrack;
    return inSequence->GetTrackCutlistProvider(track);
}

void RenderableNodeMediaImpl::ReadSequence(const BE::ISequenceRef& inSequence,
                                           const Surroundings& inSurroundings, StreamFacts& outFacts)
{
    outFacts.mRect = inSequence->GetFrameRect();
    outFacts.mPixelAspectRatio = inSequence->GetPixelAspectRatio();
    outFacts.mFieldType = inSequence->GetFieldType();
    outFacts.mFrameRate = RateOf(inSequence);
    mTimelineSuiteObject = CreateTimelineSuiteObject();
    mTimelineSuiteObject->SetSequence(inSequence);
    mTimelineInstanceID = CreateUniqueCallbackInstanceID(mTimelineSuiteObject);

    const NestingLevel level;
    if (const MF::IRenderableCutlistProviderRef provider =
            NestingLevel::IsTooDeep() ? MF::IRenderableCutlistProviderRef() : ProviderOf(inSequence))
    {
        NestSequence(provider, inSurroundings.mStreamLabel, outFacts);
    }
    if (!outFacts.mBase)
    {
        mSettings->mNoMedia = true;
        mSettings->mIsStill = true;
    }
    WriteSequenceProperties(outFacts);
}

void RenderableNodeMediaImpl::NestSequence(const MF::IRenderableCutlistProviderRef& inProvider,
                                           const norvik::utility::ImmutableString& inStreamLabel,
                                           StreamFacts& ioFacts)
{
    mTimelineSuiteObject->SetCutlistProvider(inProvider, ioFacts.mFrameRate);
    const IRenderableSourceRef source =
        CreateRenderableCutlistSource(inProvider, ioFacts.mFrameRate, inStreamLabel);
    // The ones that the source has taken just now.
    inProvider->GetPrimaryCutlist(mSettings->mFullCutlist, inStreamLabel, false);
    inProvider->GetAlternateCutlist(mSettings->mRenderCutlist, inStreamLabel, false);
    if (mSettings->mFullCutlist)
    {
        ioFacts.mBase = source;
        mSmartRenderSource = BE::IVideoStreamInfoRef(inProvider);
    }
}

void RenderableNodeMediaImpl::CompareWithSequence(const Surroundings& inSurroundings,
                                                  const StreamFacts& inFacts)
{
    // Pixels of another shape would be drawn out.
    mSameFrameRect = SameSize(inFacts.mRect, inSurroundings.mRect) &&
                     inFacts.mPixelAspectRatio == inSurroundings.mPixelAspectRatio;
    mSameFieldType = inFacts.mFieldType == inSurroundings.mFieldType;
    mSameFrameRate = inFacts.mFrameRate == inSurroundings.mFrameRate;
    mRemovesPulldown = inFacts.mPulldown != norviktypes::kPulldownCadence_None;
}

void RenderableNodeMediaImpl::BuildChain(const Surroundings& inSurroundings, const StreamFacts& inFacts)
{
    if (!inFacts.mBase)
    {
        return;
    }
    const MediaNodeSettings& settings = *mSettings;
    MediaChainFacts facts;
    facts.mIsFilledByStream = inFacts.mIsFilledByStream;
    facts.mPulldown = inFacts.mPulldown;
    facts.mStreamFieldType = inFacts.mFieldType;
    facts.mSequenceFieldType = inSurroundings.mFieldType;
    facts.mIsStill = settings.mIsStill;
    facts.mReversesFieldDominance = settings.mReverseFieldDominance;
    facts.mFlipsDominanceForCompare = settings.mFlipDominanceForCompare;
    facts.mScaleToFramePolicy = settings.mScaleToFramePolicy;
    facts.mOutputHeight = inSurroundings.mRect.Height();
    facts.mClipHeight = settings.mFrameRect.Height();
    facts.mFieldOption = settings.mFieldOption;
    facts.mDeinterlacesOnTimeMode = settings.mClipTimeMode != 0 && settings.mDeinterlaceOnTimeMode;
    facts.mBlendsFrames = settings.mFrameBlend;
    facts.mSpeed = settings.mSpeed;
    facts.mTimeTransform = settings.mTimeTransform;
    mChainSteps = PlanMediaChain(facts);
    mSettings->mSource = BuildMediaChain(inFacts.mBase, mChainSteps, facts);
}

// Centring moves a picture by half of what it is too high or too low; by an odd number of lines that would
// put its upper field where the lower one is shown.
void RenderableNodeMediaImpl::CentreVertically(const Surroundings& inSurroundings)
{
    const bool keepsFields = mConformFieldType == inSurroundings.mFieldType ||
                             mConformFieldType == norviktypes::kFieldType_FromSource || mIsContinuousTime;
    if (!IsInterlaced(inSurroundings.mFieldType) || !keepsFields)
    {
        return;
    }
    const std::int32_t excess = mScaledRect.Height() - inSurroundings.mRect.Height();
    mScanlineOffsetNegative = excess > 0;
    if (excess / 2 % 2 != 0)
    {
        mScanlineOffset = mScanlineOffsetNegative ? 1 : -1;
    }
}

void RenderableNodeMediaImpl::ReadStillRanges()
{
    const MF::IRenderableExtendedStillInfoRef info(mSettings->mFullCutlist);
    if (!info)
    {
        return;
    }
    info->GetStillRanges(norviktypes::kTime_Zero, norviktypes::kTime_Max, mSettings->mStillRanges);
    for (MF::TimeRange& range : mSettings->mStillRanges)
    {
        range.mStart -= mSettings->mContentStart;
        range.mEnd -= mSettings->mContentStart;
    }
}

// The walk over a nested cutlist is short: one that is made of many pieces is seldom opaque in all of them.
// It has to reach over all that may be shown, as what lies before its first piece is no picture either.
bool RenderableNodeMediaImpl::NestedCutlistIsOpaque() const
{
    constexpr std::uint32_t kTooManySegments = 5;
    const MF::IRenderableCutlistRef& cutlist = mSettings->mFullCutlist;
    const std::uint32_t count = cutlist->GetSegmentCount();
    if (count == 0 || count >= kTooManySegments)
    {
        return false;
    }
    const BE::ISequenceRef sequence = SequenceOf(mSettings->mClip);
    TickTime covered = std::min(norviktypes::kTime_Zero, mSettings->mInPoint);
    for (std::uint32_t i = 0; i < count; ++i)
    {
        TickTime start;
        TickTime end;
        TickTime offset;
        TVK::Guid hash;
        MF::IRenderableNodeRef node;
        cutlist->GetNthSegmentDescription(i, start, end, offset, hash);
        cutlist->GetRenderableNodeFromHashValue(hash, node);
        const bool touches = i == 0 ? start <= covered : start == covered;
        if (!touches || !node || (node->GetInformativeFlags() & MF::kNodeFlag_Opaque) == 0)
        {
            return false;
        }
        covered = end;
    }
    return covered >= std::max(sequence->GetDuration(), mSettings->mOutPoint);
}

void RenderableNodeMediaImpl::DecideOpaqueness(const Surroundings& inSurroundings)
{
    mIsOpaque = mIsOpaque && !mSettings->mNoMedia;
    if (mIsOpaque && !inSurroundings.mRect.IsEmpty())
    {
        mIsOpaque = mScaledRect.Width() >= inSurroundings.mRect.Width() &&
                    mScaledRect.Height() >= inSurroundings.mRect.Height();
    }
    if (mIsOpaque && mSettings->mFullCutlist)
    {
        mIsOpaque = NestedCutlistIsOpaque();
    }
}

norvik::utility::ImmutableString RenderableNodeMediaImpl::GetNodeType() const
{
    return norvik::utility::ImmutableString::CreateStatic("RenderableNodeMediaImpl");
}

std::uint32_t RenderableNodeMediaImpl::CalculateInformativeFlags() const
{
    return FlagsOfMedia(mSettings->mIsStill, mIsOpaque);
}

void RenderableNodeMediaImpl::AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                                       const CutlistRenderParams& inRenderParams,
                                                       std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    if (mSettings->mIsOffline || mSettings->mIsPending)
    {
        return;
    }
    const IRenderableNodePrefetchProviderRef producer(GetProducerForFrame(inFrameTime, inRenderParams));
    producer->GetPrefetchesForFrame(inFrameTime, inRenderParams, ioPrefetches);
}

IRenderableNodeProducerRef
RenderableNodeMediaImpl::GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                             const CutlistRenderParams& inRenderParams)
{
    return CreateMediaNodeProducer(mSettings, GetHashValue(), inFrameTime, inRenderParams);
}

void RenderableNodeMediaImpl::GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                                             std::vector<MF::TimeRange>& ioRanges)
{
    for (const MF::TimeRange& range : mSettings->mStillRanges)
    {
        const MF::TimeRange clipped{std::max(range.mStart, inStart), std::min(range.mEnd, inEnd)};
        if (clipped.mStart < clipped.mEnd)
        {
            ioRanges.push_back(clipped);
        }
    }
}

bool RenderableNodeMediaImpl::IsPassThrough() const
{
    const MediaNodeSettings& settings = *mSettings;
    const bool matches = mSameFrameSize && mSameFrameRect && mSameFieldType && mSameFrameRate;
    const bool isRead = !settings.mIsPending && !settings.mIsOffline;
    const bool keepsFields = settings.mFieldOption == BE::kFieldOption_None &&
                             !settings.mReverseFieldDominance && !settings.mFlipDominanceForCompare &&
                             !mRemovesPulldown;
    return isRead && matches && keepsFields && settings.mSpeed == 1.0 && settings.mClipTimeMode == 0;
}

void RenderableNodeMediaImpl::GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                                     const norviktypes::PixelFormat& inPixelFormat, bool,
                                                     MF::SmartRenderSegments& ioSegments)
{
    if (!IsPassThrough() || !mSmartRenderSource)
    {
        return;
    }
    std::vector<norviktypes::PixelFormat> formats;
    mSmartRenderSource->GetSmartRenderFormats(formats);
    if (std::find(formats.begin(), formats.end(), inPixelFormat) == formats.end())
    {
        return;
    }
    MF::SmartRenderSegment segment;
    segment.mClipInstanceID = mClipInstanceID;
    segment.mStart = inStart;
    segment.mEnd = inEnd;
    segment.mMediaStart = inStart + mSettings->mContentStart;
    segment.mMediaEnd = inEnd + mSettings->mContentStart;
    if (mMedia)
    {
        segment.mMediaPath = norvik::utility::UTF8to16(mMedia->GetPath().ToString());
    }
    if (mDescription)
    {
        segment.mMediaFirstTime = mDescription->GetFirstTime();
        segment.mMediaLastTime = segment.mMediaFirstTime + mDescription->GetDuration();
    }
    ioSegments.emplace(inStart, segment);
}

Rect RenderableNodeMediaImpl::GetScaledFrameRect(const CutlistRenderParams& inRenderParams) const
{
    return ScaledRectInRender(*mSettings, inRenderParams);
}

MF::IRenderableNodeRef CreateMediaNode(const BE::IClipRef& inClip,
                                       const norvik::utility::ImmutableString& inStreamLabel,
                                       bool inTrackItemIsMuted, FieldType inSequenceFieldType,
                                       const Rect& inSequenceRect,
                                       const norviktypes::PixelAspectRatio& inSequencePAR,
                                       const norviktypes::FrameRate& inSequenceFrameRate)
{
    const bool flips =
        norvik::debug::DebugDatabase::Instance().GetBoolEntry("CompareMediaNodeRenderers", false) &&
        inClip->GetKind() == BE::kClipKind_Plain;
    const TVK::InterfaceRef<RenderableNodeMediaImpl> node(new RenderableNodeMediaImpl());
    node->SetVideoClip(inClip, inStreamLabel, inTrackItemIsMuted, inSequenceFieldType, inSequenceRect,
                       inSequencePAR, inSequenceFrameRate, flips);
    node->Finalize();
    return node->AsNode();
}

} // namespace ML
