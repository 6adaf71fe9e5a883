// Items of clips: the part of the media, its speed, and what happens outside of it. Inner header of this
// folder.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/TrackLayout.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace Otio
{

class ItemMaker
{
public:
    ItemMaker(const PathTable& inPaths, const DocumentOptions& inOptions,
              const norviktypes::FrameRate& inRate, MediaTable& inMedia, ProblemList& inProblems)
        : mPaths(inPaths)
        , mOptions(inOptions)
        , mRate(inRate)
        , mMedia(inMedia)
        , mProblems(inProblems)
    {
    }

    // The items of a slot with a clip: one, or where black stands for missing parts, up to three. In order.
    std::vector<Item> MakeClip(const Slot& inSlot);

    // What all kinds of items have: place, settings, effects, speed.
    Item MakePlain(const Slot& inSlot);

private:
    // What an object's effects come to. Documents may show one object many times.
    struct Known
    {
        double mSpeed = 1.0;
        std::shared_ptr<const EffectList> mEffects;
    };

    const Known& LookAt(const Composable& inObject);
    double Speed(const Composable& inObject);
    MediaRun FindRun(const Composable& inClip, const MediaReference* inReference, std::size_t inMedia,
                     double inSpeed);
    norviktypes::TickTime FileStart(const Composable& inClip, const MediaReference* inReference,
                                    const MediaFacts* inFacts) const;
    // The item, or its parts where black stands for what the media doesn't have. Says what is missing, and what is
    // shown instead.
    std::vector<Item> WithinMedia(const Slot& inSlot, Item inItem);
    std::vector<Item> Divide(const Slot& inSlot, const Item& inItem) const;
    Item Piece(const Item& inItem, const norviktypes::TickTime& inFrom,
               const norviktypes::TickTime& inTo) const;

    const PathTable& mPaths;
    const DocumentOptions& mOptions;
    const norviktypes::FrameRate mRate; // of the sequences
    MediaTable& mMedia;
    ProblemList& mProblems;
    std::unordered_map<const Composable*, Known> mKnown;
};

}
