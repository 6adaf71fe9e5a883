#include "ReferenceHost/Project/Import/SequenceBuilder.h"

#include "BE/IVideoSource.h"
#include "ReferenceHost/Media/Synthetic/SyntheticMedia.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

namespace Import
{

using norviktypes::FrameRate;
using norviktypes::TickTime;

namespace
{

constexpr std::uint32_t kUsualWidth = 1920;
constexpr std::uint32_t kUsualHeight = 1080;

TVK::Rect RectOf(std::uint32_t inWidth, std::uint32_t inHeight)
{
    TVK::Rect rect;
    rect.right = static_cast<std::int32_t>(inWidth);
    rect.bottom = static_cast<std::int32_t>(inHeight);
    return rect;
}

norviktypes::FieldType FieldTypeOf(Otio::FieldOrder inOrder)
{
    return inOrder == Otio::FieldOrder::kUpperFirst   ? norviktypes::kFieldType_UpperFirst
           : inOrder == Otio::FieldOrder::kLowerFirst ? norviktypes::kFieldType_LowerFirst
                                                      : norviktypes::kFieldType_Progressive;
}

std::string NameOf(const Otio::LocatedMedia& inMedia)
{
    return inMedia.mName.empty() ? inMedia.mWanted : inMedia.mName;
}

// How far the picture of the media reaches to either side of the canvas' middle, in parts of the canvas.
struct Reach
{
    double mWidth = 1.0;
    double mHeight = 1.0;
};

Reach ReachOf(const BE::IMediaInfoRef& inMedia, const Project::Sequence& inSequence, std::uint32_t inPolicy)
{
    const Otio::MediaFacts facts = FactsOf(inMedia);
    if (facts.mWidth == 0 || facts.mHeight == 0 || inPolicy == BE::kScaleToFrame_Stretch)
    {
        return {};
    }
    norviktypes::PixelAspectRatio ratio;
    BE::IVideoSourceRef(inMedia->GetStream(BE::kMediaType_Video, 0))->GetPixelAspectRatio(ratio);
    const TVK::Rect canvas = inSequence.GetFrameRect();
    const Reach unscaled{facts.mWidth * ratio.AsDouble() /
                             (canvas.Width() * inSequence.GetPixelAspectRatio().AsDouble()),
                         static_cast<double>(facts.mHeight) / canvas.Height()};
    const double larger = std::max(unscaled.mWidth, unscaled.mHeight);
    const double smaller = std::min(unscaled.mWidth, unscaled.mHeight);
    const double divisor = inPolicy == BE::kScaleToFrame_Fit    ? larger
                           : inPolicy == BE::kScaleToFrame_Fill ? smaller
                                                                : 1.0;
    return {unscaled.mWidth / divisor, unscaled.mHeight / divisor};
}

void Place(Otio::Scalar& ioPart, double inReach)
{
    const auto placed = [inReach](double inValue) { return 0.5 + (inValue - 0.5) * inReach; };
    ioPart.mValue = placed(ioPart.mValue);
    for (Otio::Key& key : ioPart.mKeys)
    {
        key.mValue = placed(key.mValue);
        key.mIn.mValue *= inReach;
        key.mOut.mValue *= inReach;
    }
}

bool HasEffectsOnMedia(const Otio::Item& inItem)
{
    return inItem.mEffects != nullptr &&
           std::any_of(inItem.mEffects->begin(), inItem.mEffects->end(),
                       [](const auto& inEffect) { return inEffect->mIsOnMedia; });
}

// inItem with the points of all effects in parts of the canvas.
Otio::Item WithPlacedEffects(const Otio::Item& inItem, const Reach& inReach)
{
    auto effects = std::make_shared<Otio::EffectList>(*inItem.mEffects);
    for (std::shared_ptr<const Otio::Effect>& effect : *effects)
    {
        const auto placed = std::make_shared<Otio::Effect>(*effect);
        for (Otio::Parameter& parameter : placed->mParameters)
        {
            auto* const point = std::get_if<std::vector<Otio::Scalar>>(&parameter.mValue);
            if (effect->mIsOnMedia && point != nullptr && point->size() == 2)
            {
                Place(point->front(), inReach.mWidth);
                Place(point->back(), inReach.mHeight);
            }
        }
        effect = placed;
    }
    Otio::Item item = inItem;
    item.mEffects = effects;
    return item;
}

}

bool SequenceBuilder::Build()
{
    const Otio::Timeline& timeline = mTarget.mTimeline;
    if (timeline.mMain == Otio::kNone)
    {
        return false;
    }
    const Project::SequenceSettings main = MainSettings();
    for (const Otio::SequenceOfTracks& sequence : timeline.mSequences)
    {
        Project::SequenceSettings settings = main;
        settings.mName = sequence.mName;
        if (sequence.mCanvas && mSequences.size() != timeline.mMain)
        {
            ApplyCanvas(*sequence.mCanvas, true, settings);
        }
        mSequences.push_back(BuildSequence(sequence, settings));
    }
    mTarget.mMain = mSequences[timeline.mMain];
    mTarget.mProject.SetMainSequence(mTarget.mMain);
    return true;
}

Project::SequenceSettings SequenceBuilder::MainSettings()
{
    const Otio::Timeline& timeline = mTarget.mTimeline;
    Project::SequenceSettings settings;
    settings.mFrameRate = timeline.mRate;
    settings.mPixelAspectRatio = norviktypes::kPixelAspectRatio_Square;
    const bool isChosen = mOptions.mWidth > 0 && mOptions.mHeight > 0;
    const bool hasCanvas = timeline.mCanvas && timeline.mCanvas->mWidth > 0;
    if (timeline.mCanvas)
    {
        ApplyCanvas(*timeline.mCanvas, !isChosen, settings);
    }
    if (isChosen)
    {
        settings.mFrameRect = RectOf(mOptions.mWidth, mOptions.mHeight);
    }
    else if (!hasCanvas && !SizeOfFirstVideo(settings))
    {
        settings.mFrameRect = RectOf(kUsualWidth, kUsualHeight);
        mProblems.Warn(
            "no-size", "",
            fmt::format("nothing tells the size of the picture; {}x{} is used", kUsualWidth, kUsualHeight));
    }
    return settings;
}

void SequenceBuilder::ApplyCanvas(const Otio::Canvas& inCanvas, bool inHasOwnSize,
                                  Project::SequenceSettings& ioSettings) const
{
    if (inHasOwnSize && inCanvas.mWidth > 0)
    {
        ioSettings.mFrameRect = RectOf(inCanvas.mWidth, inCanvas.mHeight);
        ioSettings.mPixelAspectRatio = {inCanvas.mPixelWidth, inCanvas.mPixelHeight};
    }
    if (inCanvas.mFields)
    {
        ioSettings.mFieldType = FieldTypeOf(*inCanvas.mFields);
    }
}

bool SequenceBuilder::SizeOfFirstVideo(Project::SequenceSettings& ioSettings) const
{
    const std::size_t first = mTarget.mTimeline.mFirstVideo;
    const BE::IMediaInfoRef media = first == Otio::kNone ? BE::IMediaInfoRef() : mTarget.mMedia[first];
    const Otio::MediaFacts facts = FactsOf(media);
    if (facts.mWidth == 0 || facts.mHeight == 0)
    {
        return false;
    }
    ioSettings.mFrameRect = RectOf(facts.mWidth, facts.mHeight);
    const BE::IVideoSourceRef source(media->GetStream(BE::kMediaType_Video, 0));
    source->GetPixelAspectRatio(ioSettings.mPixelAspectRatio);
    return true;
}

Project::SequenceRef SequenceBuilder::BuildSequence(const Otio::SequenceOfTracks& inSequence,
                                                    const Project::SequenceSettings& inSettings)
{
    Project::SequenceRef sequence = mTarget.mProject.AddSequence(inSettings);
    for (const Otio::TrackOfItems& track : inSequence.mTracks)
    {
        BuildTrack(track, *sequence);
    }
    return sequence;
}

void SequenceBuilder::BuildTrack(const Otio::TrackOfItems& inTrack, Project::Sequence& ioSequence)
{
    const std::size_t index = ioSequence.AddTrack();
    ioSequence.SetTrackEnabled(index, inTrack.mIsSeen);
    const FrameRate rate = ioSequence.GetFrameRate();
    for (const Otio::Item& item : inTrack.mItems)
    {
        const Project::EditStatus status = ioSequence.AddItem(index, MakeClip(item, ioSequence));
        if (status != Project::EditStatus::kOK)
        {
            mProblems.Fail("refused", mPaths.Text(item.mPath),
                           fmt::format("can't be shown: {}", Project::ToText(status)));
        }
    }
    for (const Otio::Transition& transition : inTrack.mTransitions)
    {
        Project::TransitionItem made;
        made.mCut = transition.mCut;
        made.mInOffset = transition.mInOffset;
        made.mOutOffset = transition.mOutOffset;
        made.mTransition = mEffects.MakeTransition(transition, rate);
        const Project::EditStatus status = ioSequence.AddTransition(index, made);
        if (status != Project::EditStatus::kOK)
        {
            mProblems.Fail("refused", mPaths.Text(transition.mPath),
                           fmt::format("can't be shown: {}; a cut", Project::ToText(status)));
        }
    }
}

Project::ClipItem SequenceBuilder::MakeClip(const Otio::Item& inItem, const Project::Sequence& inSequence)
{
    const FrameRate rate = inSequence.GetFrameRate();
    Project::ClipItem clip;
    clip.mName = inItem.mName;
    clip.mStart = inItem.mStart;
    clip.mDuration = inItem.mDuration;
    clip.mInPoint = inItem.mRun.mIn;
    clip.mSpeed = inItem.mRun.mSpeed;
    clip.mBlendsFrames = inItem.mRun.mBlendsFrames;
    clip.mScaleToFrame = mOptions.mScaleToFrame;
    if (inItem.mSequence != Otio::kNone)
    {
        clip.mSequence = mSequences[inItem.mSequence];
    }
    else if (inItem.IsBlack() || inItem.mIsClear)
    {
        SetPlainColor(inItem.mIsClear, inSequence, clip);
    }
    else
    {
        SetMedia(inItem, clip);
    }
    KeyAxis axis;
    axis.mSlope = clip.mSpeed == 0.0 ? 1.0 : clip.mSpeed;
    axis.mShift = Project::ToMediaTime(clip, -inItem.mCutOff, rate);
    axis.mFrameRate = rate;
    axis.mDuration = inItem.mCutOff + clip.mDuration;
    clip.mEffects =
        HasEffectsOnMedia(inItem)
            ? mEffects.MakeEffects(
                  WithPlacedEffects(inItem, ReachOf(clip.mMedia, inSequence, clip.mScaleToFrame)), axis)
            : mEffects.MakeEffects(inItem, axis);
    return clip;
}

void SequenceBuilder::SetMedia(const Otio::Item& inItem, Project::ClipItem& ioClip)
{
    const Otio::LocatedMedia& media = mTarget.mTimeline.mMedia[inItem.mMedia];
    ioClip.mMedia = mTarget.mMedia[inItem.mMedia];
    // What is packed in an archive has no text of its own to be opened by.
    const bool isPacked = !media.mEntry.empty() && media.mSize == 0;
    ioClip.mMasterClip = mTarget.mProject.GetMasterClip(
        NameOf(media), media.mFile.empty() || isPacked ? media.mWanted : OpeningText(media));
    if (inItem.mRun.mAvailable)
    {
        ioClip.mAvailable = MF::TimeRange{inItem.mRun.mAvailable->mStart, inItem.mRun.mAvailable->mEnd};
    }
    if (!ioClip.mMedia)
    {
        ioClip.mMediaRate = inItem.mRun.mRate;
    }
}

// As large as the sequence: it is all of the picture, and effects lie on it as on the output.
void SequenceBuilder::SetPlainColor(bool inIsClear, const Project::Sequence& inSequence,
                                    Project::ClipItem& ioClip)
{
    Media::SyntheticSettings settings;
    settings.mKind = Media::SyntheticKind::kColor;
    settings.mWidth = inSequence.GetFrameRect().Width();
    settings.mHeight = inSequence.GetFrameRect().Height();
    settings.mPixelAspectRatio = inSequence.GetPixelAspectRatio();
    settings.mColor = TVK::ParamColor<std::uint32_t>::FromComponents(0, 0, 0, inIsClear ? 0 : 255);
    BE::IMediaInfoRef& media = mPlainColors[Media::SyntheticText(settings)];
    if (!media)
    {
        media = Media::CreateSyntheticMedia(settings);
    }
    ioClip.mMedia = media;
    const char* const name = inIsClear ? "transparent" : "black";
    ioClip.mMasterClip = mTarget.mProject.GetMasterClip(name, name);
}

}
