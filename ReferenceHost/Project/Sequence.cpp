#include "ReferenceHost/Project/Sequence.h"

#include "ReferenceHost/Project/EffectItem.h"
#include "ReferenceHost/Project/SequenceState.h"
#include "norvik/config/Contract.h"

#include <algorithm>
#include <utility>

namespace Project
{

namespace
{

using norviktypes::TickTime;

void CheckSettings(const SequenceSettings& inSettings, const char* inFunction)
{
    const bool isGood = inSettings.mFrameRate.IsCountable() && !inSettings.mFrameRect.IsEmpty();
    ML_INPUT_CONTRACT(isGood, "inSettings.mFrameRate.IsCountable() && !inSettings.mFrameRect.IsEmpty()",
                      "ReferenceHost/Project/Sequence", inFunction, __LINE__);
}

void CheckItem(const ClipItem& inItem, const char* inFunction)
{
    const bool isWhole = std::all_of(inItem.mEffects.begin(), inItem.mEffects.end(),
                                     [](const BE::IEffectRef& inEffect) { return bool(inEffect); });
    ML_INPUT_CONTRACT(isWhole, "no effect of inItem is empty", "ReferenceHost/Project/Sequence", inFunction,
                      __LINE__);
}

bool HasEffect(const ClipItem& inItem, std::size_t inPlace)
{
    return inPlace < inItem.mEffects.size();
}

} // namespace

const char* ToText(EditStatus inStatus)
{
    switch (inStatus)
    {
    case EditStatus::kOK: return "ok";
    case EditStatus::kNoSuchTrack: return "no such track";
    case EditStatus::kNoSuchItem: return "no such item";
    case EditStatus::kBadTime: return "a time or speed that is not possible";
    case EditStatus::kOverlap: return "overlaps another item";
    case EditStatus::kCycle: return "the sequence would show itself";
    case EditStatus::kTooDeep: return "too many sequences inside each other";
    case EditStatus::kForeign: return "a sequence of another host";
    }
    return "";
}

SequenceRef Sequence::Create(const SequenceSettings& inSettings)
{
    CheckSettings(inSettings, "Project::Sequence::Create");
    const SequenceRef sequence(new Sequence(inSettings));
    sequence->mState->SetSequence(sequence);
    return sequence;
}

SequenceRef Sequence::FromInterface(const TVK::TVKUnknownRef& inSequence)
{
    const ISequenceOfHostRef host(inSequence);
    const std::shared_ptr<SequenceState> state = host ? host->GetState() : nullptr;
    return state ? state->GetSequence() : SequenceRef();
}

Sequence::Sequence(const SequenceSettings& inSettings) : mState(std::make_shared<SequenceState>(inSettings))
{
}

Sequence::~Sequence() = default;

BE::ISequenceRef Sequence::Snapshot() const
{
    return CreateSequenceSnapshot(mState->GetData(), mState);
}

SequenceSettings Sequence::GetSettings() const
{
    return mState->GetSettings();
}

void Sequence::SetSettings(const SequenceSettings& inSettings)
{
    CheckSettings(inSettings, "Project::Sequence::SetSettings");
    mState->SetSettings(inSettings);
}

std::size_t Sequence::AddTrack()
{
    const std::size_t index = mState->GetTrackCount();
    mState->InsertTrack(index);
    return index;
}

EditStatus Sequence::InsertTrack(std::size_t inIndex)
{
    return mState->InsertTrack(inIndex);
}

EditStatus Sequence::RemoveTrack(std::size_t inIndex)
{
    return mState->RemoveTrack(inIndex);
}

EditStatus Sequence::SetTrackEnabled(std::size_t inIndex, bool inIsEnabled)
{
    return mState->SetTrackEnabled(inIndex, inIsEnabled);
}

std::size_t Sequence::GetTrackCount() const
{
    return mState->GetTrackCount();
}

EditStatus Sequence::AddItem(std::size_t inTrack, ClipItem inItem, ItemID* outID)
{
    CheckItem(inItem, "Project::Sequence::AddItem");
    return mState->AddItem(inTrack, std::move(inItem), outID);
}

EditStatus Sequence::RemoveItem(ItemID inID)
{
    return mState->RemoveItem(inID);
}

EditStatus Sequence::MoveItem(ItemID inID, std::size_t inTrack, const TickTime& inStart)
{
    ClipItem item;
    if (!GetItem(inID, item))
    {
        return EditStatus::kNoSuchItem;
    }
    item.mStart = inStart;
    return mState->SetItem(inID, inTrack, std::move(item));
}

EditStatus Sequence::TrimItem(ItemID inID, const TickTime& inStart, const TickTime& inEnd)
{
    return mState->TrimItem(inID, inStart, inEnd);
}

EditStatus Sequence::SplitItem(ItemID inID, const TickTime& inTime, ItemID* outSecond)
{
    return mState->SplitItem(inID, inTime, outSecond);
}

EditStatus Sequence::ShiftItems(std::size_t inTrack, const TickTime& inFrom, const TickTime& inDistance)
{
    return mState->ShiftItems(inTrack, inFrom, inDistance);
}

EditStatus Sequence::SetItem(ItemID inID, ClipItem inItem)
{
    CheckItem(inItem, "Project::Sequence::SetItem");
    return mState->SetItem(inID, mState->GetItemTrack(inID), std::move(inItem));
}

EditStatus Sequence::ChangeItem(ItemID inID, const std::function<void(ClipItem&)>& inChange)
{
    ClipItem item;
    if (!GetItem(inID, item))
    {
        return EditStatus::kNoSuchItem;
    }
    inChange(item);
    return SetItem(inID, std::move(item));
}

EditStatus Sequence::SetItemEnabled(ItemID inID, bool inIsEnabled)
{
    return ChangeItem(inID, [&](ClipItem& ioItem) { ioItem.mIsEnabled = inIsEnabled; });
}

EditStatus Sequence::SetSpeed(ItemID inID, double inSpeed)
{
    return ChangeItem(inID, [&](ClipItem& ioItem) { ioItem.mSpeed = inSpeed; });
}

EditStatus Sequence::SetTimeRemap(ItemID inID, std::vector<ParameterKey> inKeys)
{
    return ChangeItem(inID, [&](ClipItem& ioItem) { ioItem.mTimeRemap = std::move(inKeys); });
}

EditStatus Sequence::SetFrameHold(ItemID inID, std::optional<TickTime> inMediaTime, bool inHoldsEffects)
{
    return ChangeItem(inID,
                      [&](ClipItem& ioItem)
                      {
                          ioItem.mHoldTime = inMediaTime;
                          ioItem.mHoldsEffects = inHoldsEffects;
                      });
}

EditStatus Sequence::AddEffect(ItemID inID, const BE::IEffectRef& inEffect, std::size_t inPlace)
{
    ML_INPUT_CONTRACT(inEffect, "inEffect", "ReferenceHost/Project/Sequence", "Project::Sequence::AddEffect",
                      __LINE__);
    return ChangeItem(inID,
                      [&](ClipItem& ioItem)
                      {
                          const std::size_t place = std::min(inPlace, ioItem.mEffects.size());
                          ioItem.mEffects.insert(ioItem.mEffects.begin() + static_cast<std::ptrdiff_t>(place),
                                                 inEffect);
                      });
}

EditStatus Sequence::RemoveEffect(ItemID inID, std::size_t inPlace)
{
    ClipItem item;
    if (!GetItem(inID, item) || !HasEffect(item, inPlace))
    {
        return EditStatus::kNoSuchItem;
    }
    item.mEffects.erase(item.mEffects.begin() + static_cast<std::ptrdiff_t>(inPlace));
    return SetItem(inID, std::move(item));
}

EditStatus Sequence::SetEffectEnabled(ItemID inID, std::size_t inPlace, bool inIsEnabled)
{
    ClipItem item;
    EffectContent content;
    if (!GetItem(inID, item) || !HasEffect(item, inPlace) ||
        !GetEffectContent(item.mEffects[inPlace], content))
    {
        return EditStatus::kNoSuchItem;
    }
    item.mEffects[inPlace] = WithEnabled(item.mEffects[inPlace], inIsEnabled);
    return SetItem(inID, std::move(item));
}

EditStatus Sequence::SetEffectParameter(ItemID inID, std::size_t inPlace, std::size_t inParameter,
                                        const MF::IKeyframedParameterRef& inValue)
{
    ClipItem item;
    EffectContent content;
    if (!GetItem(inID, item) || !HasEffect(item, inPlace) ||
        !GetEffectContent(item.mEffects[inPlace], content) || inParameter >= content.mParameters.size())
    {
        return EditStatus::kNoSuchItem;
    }
    item.mEffects[inPlace] = WithParameter(item.mEffects[inPlace], inParameter, inValue);
    return SetItem(inID, std::move(item));
}

EditStatus Sequence::AddTransition(std::size_t inTrack, const TransitionItem& inTransition, ItemID* outID)
{
    ML_INPUT_CONTRACT(inTransition.mTransition, "inTransition.mTransition", "ReferenceHost/Project/Sequence",
                      "Project::Sequence::AddTransition", __LINE__);
    return mState->AddTransition(inTrack, inTransition, outID);
}

EditStatus Sequence::RemoveTransition(ItemID inID)
{
    return mState->RemoveTransition(inID);
}

EditStatus Sequence::SetTransitionEnabled(ItemID inID, bool inIsEnabled)
{
    return mState->SetTransitionEnabled(inID, inIsEnabled);
}

bool Sequence::GetItem(ItemID inID, ClipItem& outItem) const
{
    const TrackItemRef item = mState->GetItem(inID);
    if (item)
    {
        outItem = *item->GetContent();
    }
    return bool(item);
}

bool Sequence::GetTransition(ItemID inID, TransitionItem& outTransition) const
{
    const TransitionObjectRef transition = mState->GetTransition(inID);
    if (transition)
    {
        outTransition = transition->GetContent();
    }
    return bool(transition);
}

ItemID Sequence::FindItem(std::size_t inTrack, const TickTime& inTime) const
{
    const TrackItemRef item = mState->FindItem(inTrack, inTime);
    return item ? item->GetID() : 0;
}

std::vector<ItemID> Sequence::GetItems(std::size_t inTrack) const
{
    return mState->GetItems(inTrack);
}

std::size_t Sequence::GetItemTrack(ItemID inID) const
{
    return mState->GetItemTrack(inID);
}

std::uint32_t Sequence::GetDepth() const
{
    return mState->GetDepth();
}

bool Sequence::AddPreview(const TickTime& inTime, const BE::IPreviewStreamRef& inStream)
{
    ML_INPUT_CONTRACT(inStream, "inStream", "ReferenceHost/Project/Sequence", "Project::Sequence::AddPreview",
                      __LINE__);
    MF::IRenderableCutlistRef cutlist;
    std::uint32_t index = 0;
    TickTime start;
    TickTime end;
    TickTime nodeOffset;
    TVK::Guid node;
    if (mState->GetCutlist(kAllTracks, {}, true, cutlist) < 0 ||
        cutlist->FindSegmentForTime(inTime, index, start, end, nodeOffset, node) < 0)
    {
        return false;
    }
    MF::CutlistOverlay overlay;
    overlay.mStart = nodeOffset + (inTime - start);
    overlay.mEnd = overlay.mStart + std::min(inStream->GetDuration(), end - inTime);
    overlay.mSubject = TVK::TVKUnknownRef(inStream);
    mState->AddOverlay(node, overlay, {inTime, end});
    return true;
}

void Sequence::RemovePreviews()
{
    mState->RemoveOverlays();
}

std::uint64_t Sequence::AddObserver(Observer inObserver)
{
    ML_INPUT_CONTRACT(bool(inObserver), "inObserver", "ReferenceHost/Project/Sequence",
                      "Project::Sequence::AddObserver", __LINE__);
    return mState->AddObserver(std::move(inObserver));
}

void Sequence::RemoveObserver(std::uint64_t inNumber)
{
    mState->RemoveObserver(inNumber);
}

TVK::Rect Sequence::GetFrameRect() const
{
    return GetSettings().mFrameRect;
}

norviktypes::PixelAspectRatio Sequence::GetPixelAspectRatio() const
{
    return GetSettings().mPixelAspectRatio;
}

norviktypes::FieldType Sequence::GetFieldType() const
{
    return GetSettings().mFieldType;
}

bool Sequence::AllowsLinearCompositing() const
{
    return GetSettings().mAllowsLinearCompositing;
}

bool Sequence::IsMulticamSource() const
{
    return GetSettings().mIsMulticamSource;
}

TickTime Sequence::GetDuration() const
{
    return mState->GetData()->mDuration;
}

MF::IRenderableCutlistProviderRef Sequence::GetCutlistProvider() const
{
    return mState->GetProvider(kAllTracks);
}

MF::IRenderableCutlistProviderRef Sequence::GetTrackCutlistProvider(std::uint64_t inTrack) const
{
    return inTrack < mState->GetTrackCount() ? mState->GetProvider(inTrack)
                                             : MF::IRenderableCutlistProviderRef();
}

std::uint32_t Sequence::GetVideoTrackCount() const
{
    return static_cast<std::uint32_t>(mState->GetTrackCount());
}

TVK::TVKUnknownRef Sequence::GetVideoTrack(std::uint32_t inIndex) const
{
    const SequenceDataRef data = mState->GetData();
    return inIndex < data->mTracks.size() ? UnknownOf(data->mTracks[inIndex]) : TVK::TVKUnknownRef();
}

norviktypes::FrameRate Sequence::GetFrameRate() const
{
    return GetSettings().mFrameRate;
}

} // namespace Project
