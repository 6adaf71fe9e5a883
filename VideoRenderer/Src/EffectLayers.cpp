#include "EffectLayers.h"

#include "BE/ISequence.h"
#include "CutlistFactory_Stacks.h"
#include "PropertyText.h"
#include "RenderableCutlistImpl.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace ML
{

namespace
{

using norvik::UTF8String;
using norviktypes::TickTime;

// Where other tracks are looked at: as long as the item is seen, transitions at its ends included, in whole
// frames, and no longer than is looked at itself. Without an item the effect may be anywhere.
MF::TimeRange SpanOf(const EffectNodeSettings& inSettings)
{
    const BE::ITrackItemRef& item = inSettings.mTrackItem;
    if (!item)
    {
        return LookedAtWithin(inSettings.mCutlistContext, kAllTimes);
    }
    TickTime start = item->GetStart();
    TickTime end = item->GetEnd();
    for (const bool isAtEnd : {false, true})
    {
        if (const BE::ITransitionItemRef transition = item->GetTransition(isAtEnd))
        {
            start = std::min(start, transition->GetStart());
            end = std::max(end, transition->GetEnd());
        }
    }
    if (const BE::ITimeBaseRef timeBase{inSettings.mCutlistContext})
    {
        start = start.AlignToFrame(timeBase->GetFrameRate());
        end = end.AlignToFrameCeil(timeBase->GetFrameRate());
    }
    return LookedAtWithin(inSettings.mCutlistContext, {start, end});
}

using TrackVisitor = std::function<bool(const BE::ITrackRef&)>; // false ends the walk

void ForEachTrack(const TVK::TVKUnknownRef& inSequence, const TrackVisitor& inVisitor)
{
    const BE::ITrackListRef tracks(inSequence);
    const std::uint32_t count = tracks ? tracks->GetVideoTrackCount() : 0;
    for (std::uint32_t index = 0; index < count; ++index)
    {
        const BE::ITrackRef track(tracks->GetVideoTrack(index));
        if (track && !inVisitor(track))
        {
            return;
        }
    }
}

std::vector<BE::ITrackItemRef> ItemsOf(const BE::ITrackRef& inTrack, const MF::TimeRange& inSpan)
{
    std::vector<BE::ITrackItemRef> items;
    inTrack->GetItemsInSpan(inSpan.mStart, inSpan.mEnd, items);
    return items;
}

// The clips on the track of that index within the span.
std::vector<BE::IClipRef> ClipsOnTrack(const EffectNodeSettings& inSettings, std::uint64_t inTrack,
                                       const MF::TimeRange& inSpan)
{
    std::vector<BE::IClipRef> clips;
    ForEachTrack(inSettings.mCutlistContext,
                 [&](const BE::ITrackRef& track)
                 {
                     if (track->GetIndex() != inTrack)
                     {
                         return true;
                     }
                     for (const BE::ITrackItemRef& item : ItemsOf(track, inSpan))
                     {
                         const BE::IClipRef clip =
                             item->GetKind() == BE::kTrackItemKind_Clip ? item->GetClip() : BE::IClipRef();
                         if (clip)
                         {
                             clips.push_back(clip);
                         }
                     }
                     return false;
                 });
    return clips;
}

// Where the item really lies: builders of single tracks count these as they like.
std::uint64_t OwnTrackOf(const EffectNodeSettings& inSettings)
{
    std::uint64_t own = inSettings.mTrackIndex;
    const BE::ITrackItemRef& item = inSettings.mTrackItem;
    if (!item)
    {
        return own;
    }
    const MF::TimeRange span{item->GetStart(), item->GetEnd()};
    ForEachTrack(inSettings.mCutlistContext,
                 [&](const BE::ITrackRef& track)
                 {
                     const std::vector<BE::ITrackItemRef> items = ItemsOf(track, span);
                     if (std::find(items.begin(), items.end(), item) == items.end())
                     {
                         return true;
                     }
                     own = track->GetIndex();
                     return false;
                 });
    return own;
}

// Calls inFunction with place and value of each layer parameter.
template <class Function>
void ForEachLayerParameter(const EffectNodeSettings& inSettings, const Function& inFunction)
{
    const MF::KeyframeStore& parameters = *inSettings.mParameters;
    for (std::uint32_t index = 0; index < parameters.size(); ++index)
    {
        if (parameters[index]->GetType() == MF::kParameterType_Layer)
        {
            inFunction(index, LayerValueOf(*parameters[index]));
        }
    }
}

bool HasLayerParameter(const EffectNodeSettings& inSettings)
{
    bool found = false;
    ForEachLayerParameter(inSettings, [&](std::uint32_t, std::uint32_t) { found = true; });
    return found;
}

} // namespace

UTF8String LayerInputText(const EffectNodeSettings& inSettings)
{
    UTF8String text;
    if (!inSettings.mCutlistContext || !HasLayerParameter(inSettings))
    {
        return text;
    }
    const std::uint64_t own = OwnTrackOf(inSettings);
    const MF::TimeRange span = SpanOf(inSettings);
    ForEachLayerParameter(inSettings,
                          [&](std::uint32_t, std::uint32_t inTrack)
                          {
                              if (inTrack == MF::kLayer_NotSet)
                              {
                                  text += "Not Set;";
                              }
                              else if (inTrack == own)
                              {
                                  text += "Self;";
                              }
                              else
                              {
                                  const auto clips = ClipsOnTrack(inSettings, inTrack, span);
                                  text += PropertyText::OfGuid(clips.empty() ? TVK::Guid()
                                                                             : clips.front()->GetContentID());
                                  text += ";";
                              }
                          });
    return text;
}

UTF8String LayerClipNames(const EffectNodeSettings& inSettings)
{
    UTF8String text;
    const std::uint32_t track = LayerValueOf(*(*inSettings.mParameters)[inSettings.mLayerIndex - 1]);
    if (track == MF::kLayer_NotSet)
    {
        return text;
    }
    for (const BE::IClipRef& clip : ClipsOnTrack(inSettings, track, SpanOf(inSettings)))
    {
        const BE::IMasterClipRef master = clip->GetMasterClip();
        const norvik::WString path = BE::MasterClipUtils::GetMediaInstanceString(master);
        text += PropertyText::OfWideText(clip->GetName()) + "\n";
        text += (master ? PropertyText::OfWideText(master->GetName()) : UTF8String()) + "\n";
        text += (path.empty() ? UTF8String(" ") : PropertyText::OfWideText(path)) + "\n";
    }
    return text;
}

EffectLayers CaptureLayers(const EffectNodeSettings& inSettings)
{
    EffectLayers layers;
    if (!inSettings.mCutlistContext || !HasLayerParameter(inSettings))
    {
        return layers;
    }
    const std::uint64_t own = OwnTrackOf(inSettings);
    const MF::TimeRange span = SpanOf(inSettings);
    const TrackUse use(inSettings.mCutlistContext, own, span);
    ForEachLayerParameter(
        inSettings,
        [&](std::uint32_t inParameter, std::uint32_t inTrack)
        {
            if (inTrack != MF::kLayer_NotSet && inTrack != own)
            {
                layers.push_back({inParameter, CaptureTrack(inSettings.mCutlistContext, inTrack, span)});
            }
        });
    return layers;
}

UTF8String LayerPictureText(const EffectLayers& inLayers)
{
    UTF8String text;
    for (const EffectLayer& layer : inLayers)
    {
        text += PropertyText::OfGuid(layer.mCutlist->GetHashValue()) + ";";
    }
    return text;
}

} // namespace ML
