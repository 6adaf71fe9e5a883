#include "ReferenceHost/Project/Otio/LookedAtTracks.h"

#include <algorithm>
#include <cstddef>

namespace Otio
{

namespace
{

bool HasNumber(const Composable& inObject)
{
    switch (inObject.mKind)
    {
    case ObjectKind::kTransition: return false;
    case ObjectKind::kTrack: return inObject.mTrackKind == TrackKind::kVideo;
    case ObjectKind::kClip:
    case ObjectKind::kGap:
    case ObjectKind::kStack: break;
    }
    return inObject.mIsEnabled;
}

void AddLooks(const Composable& inObject, const LookFunction& inLooks, std::vector<std::uint32_t>& ioTracks)
{
    for (const auto& effect : inObject.mEffects)
    {
        if (effect->mIsEnabled && effect->mKind == EffectKind::kPicture)
        {
            const std::vector<std::uint32_t> tracks = inLooks(*effect);
            ioTracks.insert(ioTracks.end(), tracks.begin(), tracks.end());
        }
    }
}

// The tracks that effects of a layer look at, its own and those of its items.
std::vector<std::uint32_t> LooksOf(const Composable& inLayer, const LookFunction& inLooks)
{
    std::vector<std::uint32_t> tracks;
    AddLooks(inLayer, inLooks, tracks);
    for (const auto& child : inLayer.mChildren)
    {
        if (child->mIsEnabled)
        {
            AddLooks(*child, inLooks, tracks);
        }
    }
    return tracks;
}

}

std::vector<NumberedLayer> LayersOfStack(const Composable& inStack, const LookFunction& inLooks)
{
    std::vector<NumberedLayer> layers;
    std::vector<std::size_t> waiting;
    for (const auto& child : inStack.mChildren)
    {
        if (HasNumber(*child))
        {
            layers.push_back({child.get(), child->mIsEnabled});
            waiting.insert(waiting.end(), child->mIsEnabled ? 1 : 0, layers.size() - 1);
        }
    }
    bool hasLooks = false;
    while (inLooks && !waiting.empty())
    {
        const std::size_t layer = waiting.back();
        waiting.pop_back();
        for (const std::uint32_t track : LooksOf(*layers[layer].mObject, inLooks))
        {
            hasLooks = true;
            if (track < layers.size() && !layers[track].mIsThere)
            {
                layers[track].mIsThere = true;
                waiting.push_back(track);
            }
        }
    }
    if (!hasLooks)
    {
        std::erase_if(layers, [](const NumberedLayer& inLayer) { return !inLayer.mIsThere; });
    }
    return layers;
}

}
