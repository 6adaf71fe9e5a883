#include "RenderableNodeClipImpl.h"

#include "BE/IMediaDescription.h"
#include "BE/ISequence.h"
#include "BE/ProjectUtilities.h"
#include "MatchNames.h"
#include "PropertyText.h"
#include "RenderableNodeCompositorImpl.h"
#include "RenderableNodeEffectImpl.h"
#include "RenderableNodeMediaImpl.h"
#include "TVK/PathUtils.h"
#include "norvik/config/Contract.h"

#include <algorithm>

namespace ML
{

namespace
{

using norvik::utility::ImmutableString;
using norviktypes::FrameRate;
using norviktypes::TickTime;

constexpr const char* kFile = "Src/RenderableNodeClipImpl";

// Groups of effects within groups: none that a person made is as deep.
constexpr int kMaximumGroupDepth = 256;

ImmutableString Key(const char* inText)
{
    return ImmutableString::CreateStatic(inText);
}

// What a clip asks of where it plays; a clip by itself has no rectangle and no rate.
struct Surroundings
{
    explicit Surroundings(const TVK::TVKUnknownRef& inSequence)
    {
        if (const BE::ISequenceRef sequence{inSequence})
        {
            mFieldType = sequence->GetFieldType();
            mRect = sequence->GetFrameRect();
            mPixelAspectRatio = sequence->GetPixelAspectRatio();
            mAllowsLinearCompositing = sequence->AllowsLinearCompositing();
        }
        if (const BE::ITimeBaseRef timeBase{inSequence})
        {
            mFrameRate = timeBase->GetFrameRate();
        }
    }

    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Invalid;
    TVK::Rect mRect;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    FrameRate mFrameRate;
    bool mAllowsLinearCompositing = true;
};

FrameRate RateOfMedia(const BE::IClipRef& inClip)
{
    FrameRate rate;
    if (const BE::IVideoSourceRef source = inClip->GetVideoSource())
    {
        source->GetFrameRate(rate);
    }
    else if (const BE::ITimeBaseRef timeBase{inClip->GetSequence()})
    {
        rate = timeBase->GetFrameRate();
    }
    return rate;
}

// The media time of the first frame that is shown. Played backwards this is the last frame before the out
// point; of a picture with fields its last field, as fields come in the opposite order then too.
TickTime FirstMediaTime(const BE::IClipRef& inClip)
{
    if (!inClip->IsBackwards())
    {
        return inClip->GetInPoint();
    }
    const FrameRate rate = RateOfMedia(inClip);
    if (!rate.IsCountable())
    {
        return inClip->GetOutPoint();
    }
    const FrameRate step = norviktypes::IsInterlaced(inClip->GetFieldType()) ? rate * 2 : rate;
    return inClip->GetOutPoint() - TickTime(step.GetTicks());
}

// How long the clip's media goes on; kTime_Max where it has no end or does not say.
TickTime LengthOfMedia(const BE::IClipRef& inClip)
{
    if (const BE::ISequenceRef sequence{inClip->GetSequence()})
    {
        return sequence->GetDuration();
    }
    const BE::IMediaDescriptionRef description(inClip->GetMedia());
    if (!description)
    {
        return norviktypes::kTime_Max;
    }
    MF::TimeRange content;
    const TickTime length =
        description->GetContentRange(content) ? content.mEnd - content.mStart : description->GetDuration();
    return length > norviktypes::kTime_Zero ? length : norviktypes::kTime_Max;
}

// Where the item is seen: its own span, and what its transitions show of it.
MF::TimeRange SpanWithTransitions(const BE::ITrackItemRef& inItem)
{
    MF::TimeRange span{inItem->GetStart(), inItem->GetEnd()};
    if (const BE::ITransitionItemRef transition = inItem->GetTransition(false))
    {
        span.mStart = std::min(span.mStart, transition->GetStart());
    }
    if (const BE::ITransitionItemRef transition = inItem->GetTransition(true))
    {
        span.mEnd = std::max(span.mEnd, transition->GetEnd());
    }
    return span;
}

// inSpan without the time in which the media has not begun, or has ended. inMediaStart: the media time that is
// shown at the item's start.
MF::TimeRange CutToMedia(const MF::TimeRange& inSpan, const TickTime& inItemStart,
                         const TickTime& inMediaStart, const TickTime& inMediaLength)
{
    const TickTime mediaOnTrack = inItemStart - inMediaStart;
    MF::TimeRange span{std::max(inSpan.mStart, mediaOnTrack), inSpan.mEnd};
    if (inMediaLength < norviktypes::kTime_Max)
    {
        span.mEnd = std::min(span.mEnd, mediaOnTrack + inMediaLength);
    }
    span.mStart = std::min(span.mStart, inSpan.mEnd);
    span.mEnd = std::max(span.mEnd, span.mStart);
    return span;
}

bool Runs(const BE::IEffectRef& inEffect)
{
    return inEffect && inEffect->IsActive() && !inEffect->IsHidden() && !inEffect->IsChainDisabled() &&
           !inEffect->IsInert();
}

struct ItemEffects
{
    std::vector<BE::IEffectRef> mEffects; // groups taken apart, in the order of the panel
    bool mDependOnClipRange = false;
};

// Those that do something.
void CollectEffects(const BE::IEffectChainRef& inChain, int inDepth, ItemEffects& ioEffects)
{
    if (!inChain || inDepth > kMaximumGroupDepth)
    {
        return;
    }
    std::vector<BE::IEffectRef> effects;
    inChain->GetEffects(effects);
    for (const BE::IEffectRef& effect : effects)
    {
        if (!Runs(effect))
        {
            continue;
        }
        ioEffects.mDependOnClipRange = ioEffects.mDependOnClipRange || effect->DependsOnClipRange();
        if (const BE::IEffectChainRef group = effect->GetSubEffects())
        {
            CollectEffects(group, inDepth + 1, ioEffects);
        }
        else
        {
            ioEffects.mEffects.push_back(effect);
        }
    }
}

bool IsTimeVarying(const MF::KeyframeStore& inParameters)
{
    return std::any_of(inParameters.begin(), inParameters.end(),
                       [](const MF::IKeyframedParameterRef& parameter)
                       { return parameter && parameter->IsTimeVarying(); });
}

// A list of effects as one operator: a stack of nothing with these over it. It hands out nothing that runs, as
// the compositor draws the clip by its parameters, but it shows who walks the graph which effects move.
MF::IRenderableNodeRef CreateEffectChainNode(const std::vector<MF::IRenderableNodeRef>& inEffects)
{
    const RenderableNodeCompositorRef chain(new RenderableNodeCompositorImpl());
    for (const MF::IRenderableNodeRef& effect : inEffects)
    {
        chain->AppendOperator(effect);
    }
    chain->Finalize();
    return chain->AsNode();
}

// A blank for media that has no name, as readers expect a text.
norvik::UTF8String FileNameOf(const BE::IMasterClipRef& inMasterClip)
{
    const norvik::WString path = BE::MasterClipUtils::GetMediaInstanceString(inMasterClip);
    return path.empty() ? norvik::UTF8String(" ")
                        : PropertyText::OfWideText(TVK::PathUtils::GetFilePart(path));
}

} // namespace

// What the steps of SetClipTrackItem know.
struct RenderableNodeClipImpl::Building
{
    TVK::TVKUnknownRef mSequence;
    BE::ITrackItemRef mItem;
    BE::IClipRef mClip;
    ImmutableString mStreamLabel;
    std::uint64_t mTrackIndex = 0;
    TickTime mMediaStart; // media time of the item's start
    MF::TimeRange mEffectiveSpan;
};

void RenderableNodeClipImpl::SetClipTrackItem(const TVK::TVKUnknownRef& inSequence,
                                              const BE::ITrackItemRef& inTrackItem,
                                              const ImmutableString& inStreamLabel, bool inTrackFlag,
                                              std::uint64_t inTrackIndex, bool inExtended)
{
    ML_INPUT_CONTRACT(IsMutable(), "mMutable", kFile, "ML::RenderableNodeClipImpl::SetClipTrackItem",
                      __LINE__);
    const BE::IClipRef clip = inTrackItem->GetClip();
    const Surroundings surroundings(inSequence);
    mNeedsLowerTracks = clip->NeedsLowerTracks();
    clip->GetFrameHold(mFrameHoldAtTime, mFrameHoldFilters);
    mAllowLinearCompositing = surroundings.mAllowsLinearCompositing;
    mHasCaptions = BE::ClipContainsCaptions(clip);
    const MF::IRenderableNodeRef media =
        CreateMediaNode(clip, inStreamLabel, inTrackFlag || inTrackItem->IsMuted(), surroundings.mFieldType,
                        surroundings.mRect, surroundings.mPixelAspectRatio, surroundings.mFrameRate);

    Building building{inSequence, inTrackItem, clip, inStreamLabel, inTrackIndex, {}, {}};
    SetTimeTransform(building);
    building.mEffectiveSpan = SpanWithTransitions(inTrackItem);
    // The length of a still is only how long it is laid in at first.
    if (!mIsRetimed && !inExtended && (media->GetInformativeFlags() & MF::kNodeFlag_Still) == 0)
    {
        building.mEffectiveSpan = CutToMedia(building.mEffectiveSpan, inTrackItem->GetStart(),
                                             building.mMediaStart, LengthOfMedia(clip));
    }
    AppendInput(
        media,
        (inTrackItem->GetStart() - building.mEffectiveSpan.mStart).AlignToFrame(surroundings.mFrameRate));
    mTimeBound = (media->GetInformativeFlags() & MF::kNodeFlag_Extendable) == 0 || clip->IsBackwards();
    AppendEffects(building);
    SetProperties(building);
}

void RenderableNodeClipImpl::SetTimeTransform(Building& ioBuilding)
{
    const BE::IClipRef& clip = ioBuilding.mClip;
    const double speed = clip->IsBackwards() ? -clip->GetSpeed() : clip->GetSpeed();
    ioBuilding.mMediaStart = FirstMediaTime(clip);
    mIsRetimed = speed != 1.0;
    const TVK::InterfaceRef<BE::MultiTimeTransform> transform(new BE::MultiTimeTransform());
    transform->Add(MF::CreateTimeTransform(ioBuilding.mMediaStart, speed, clip->GetDuration() - TickTime(1),
                                           norviktypes::kTime_Zero));
    const BE::ITimeRemapParameterRef remap = clip->GetTimeRemapParameter();
    if (remap && remap->IsEnabled())
    {
        transform->Add(remap->GetTransform());
        mKeyframeStore = remap->GetKeyframes();
        mIsRetimed = true;
        SetCommonProperty(Key("ClipNode::TimeRemapping"), remap->GetHashText(), true);
    }
    mTimeTransform = transform;
}

// Motion and Opacity go apart, as the compositor does what they say; the others become operators.
void RenderableNodeClipImpl::AppendEffects(const Building& inBuilding)
{
    ItemEffects effects;
    CollectEffects(inBuilding.mItem->GetEffects(), 0, effects);
    mTimeBound = mTimeBound || effects.mDependOnClipRange;
    std::vector<MF::IRenderableNodeRef> operators;
    std::vector<MF::IRenderableNodeRef> intrinsics;
    std::vector<MF::IRenderableNodeRef> moving;
    for (const BE::IEffectRef& effect : effects.mEffects)
    {
        const ImmutableString name = effect->GetMatchName();
        const bool isMotion = name == kMatchnameMotion;
        const MF::IRenderableNodeRef node = CreateEffect(inBuilding, effect);
        if (!isMotion && name != kMatchnameOpacity)
        {
            operators.push_back(node);
            continue;
        }
        const BE::ParameterListRef parameters = effect->GetParameters();
        MF::KeyframeStore& keyframes = isMotion ? mMotionKeyframes : mOpacityKeyframes;
        // Of two of a kind the one that is applied last counts.
        keyframes = keyframes.empty() ? *parameters : keyframes;
        intrinsics.push_back(node);
        if (IsTimeVarying(*parameters))
        {
            moving.push_back(node);
        }
    }
    mRunsEffects = !operators.empty();
    std::for_each(operators.rbegin(), operators.rend(),
                  [this](const MF::IRenderableNodeRef& node) { AppendOperator(node); });
    AppendIntrinsics(intrinsics, moving);
}

MF::IRenderableNodeRef RenderableNodeClipImpl::CreateEffect(const Building& inBuilding,
                                                            const BE::IEffectRef& inEffect) const
{
    EffectNodeSettings settings;
    settings.mFilter = inEffect->GetFilter();
    settings.mStreamLabel = inBuilding.mStreamLabel;
    settings.mParameters = inEffect->GetParameters();
    settings.mEffectStart = inBuilding.mClip->GetInPoint();
    settings.mEffectDuration = inBuilding.mClip->GetOutPoint() - inBuilding.mClip->GetInPoint();
    settings.mCutlistContext = inBuilding.mSequence;
    settings.mTrackItem = inBuilding.mItem;
    settings.mLayerIndex = inEffect->GetLayerIndex();
    settings.mTrackIndex = inBuilding.mTrackIndex;
    return CreateEffectNode(settings);
}

// A picture that always lies as it would anyway needs nothing more. Any other has its Motion and Opacity among
// the operators: they run nothing, but flags and hash are theirs too.
void RenderableNodeClipImpl::AppendIntrinsics(const std::vector<MF::IRenderableNodeRef>& inIntrinsics,
                                              const std::vector<MF::IRenderableNodeRef>& inMoving)
{
    if (!inMoving.empty())
    {
        AppendOperator(CreateEffectChainNode(inMoving));
    }
    NodeIntrinsicParameters record;
    EvaluateIntrinsics(norviktypes::kTime_Zero, record);
    const bool areConstant = !IsTimeVarying(mMotionKeyframes) && !IsTimeVarying(mOpacityKeyframes);
    if (areConstant && SameGeometry(record, kDefaultIntrinsicParameters) &&
        record.blendMode == kDefaultIntrinsicParameters.blendMode &&
        record.highQualitySampling == kDefaultIntrinsicParameters.highQualitySampling)
    {
        return;
    }
    for (const MF::IRenderableNodeRef& node : inIntrinsics)
    {
        AppendOperator(node);
    }
}

void RenderableNodeClipImpl::SetProperties(const Building& inBuilding)
{
    const BE::IClipRef& clip = inBuilding.mClip;
    const auto hashed = [this](const char* inKey, const norvik::UTF8String& inValue)
    { SetCommonProperty(Key(inKey), inValue, true); };
    const auto unhashed = [this](const char* inKey, const norvik::UTF8String& inValue)
    { SetCommonProperty(Key(inKey), inValue, false); };

    hashed("ClipNode::ClipSpeed", PropertyText::OfDouble(clip->GetSpeed()));
    hashed("ClipNode::ClipBackwards", PropertyText::OfTruth(clip->IsBackwards()));
    // Two parts of one clip are two nodes: a cutlist keeps one node for each hash.
    hashed("ClipNode::MediaStartAsTicks", PropertyText::OfTime(inBuilding.mMediaStart));
    if (mFrameHoldAtTime != norviktypes::kTime_Max)
    {
        hashed("ClipNode::FrameHoldFilters", PropertyText::OfTruth(mFrameHoldFilters));
        hashed("ClipNode::FrameHoldAtTime", PropertyText::OfTime(mFrameHoldAtTime));
    }
    if (const BE::IMediaDescriptionRef media{clip->GetMedia()}; media && media->IsGrowing())
    {
        hashed("ClipNode::GrowingDuration", PropertyText::OfTime(media->GetDuration()));
    }
    if (!mAllowLinearCompositing)
    {
        hashed("ClipNode::AllowLinearCompositing", PropertyText::OfTruth(mAllowLinearCompositing));
    }
    if (mHasCaptions)
    {
        hashed("ClipNode::HasCaptions", PropertyText::OfTruth(mHasCaptions));
    }

    unhashed("ClipNode::TrackID", PropertyText::OfUInt64(inBuilding.mTrackIndex));
    unhashed("ClipNode::TrackItemStartAsTicks", PropertyText::OfTime(inBuilding.mItem->GetStart()));
    unhashed("ClipNode::TrackItemEndAsTicks", PropertyText::OfTime(inBuilding.mItem->GetEnd()));
    unhashed("ClipNode::EffectiveTrackItemStartAsTicks",
             PropertyText::OfTime(inBuilding.mEffectiveSpan.mStart));
    unhashed("ClipNode::EffectiveTrackItemEndAsTicks", PropertyText::OfTime(inBuilding.mEffectiveSpan.mEnd));
    unhashed("EffectNode::ClipName", PropertyText::OfWideText(clip->GetName()));
    if (const BE::IMasterClipRef master = clip->GetMasterClip())
    {
        unhashed("EffectNode::MasterClipName", PropertyText::OfWideText(master->GetName()));
        unhashed("EffectNode::FileName", FileNameOf(master));
    }
}

MF::IRenderableNodeRef CreateClipNode(const TVK::TVKUnknownRef& inSequence,
                                      const BE::ITrackItemRef& inTrackItem,
                                      const ImmutableString& inStreamLabel, bool inTrackFlag,
                                      std::uint64_t inTrackIndex, bool inExtended)
{
    const TVK::InterfaceRef<RenderableNodeClipImpl> node(new RenderableNodeClipImpl());
    node->SetClipTrackItem(inSequence, inTrackItem, inStreamLabel, inTrackFlag, inTrackIndex, inExtended);
    node->Finalize();
    return node->AsNode();
}

} // namespace ML
