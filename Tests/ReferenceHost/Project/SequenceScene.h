// A sequence in which a test puts items by number: times are ticks of a grid of ten.
//
// Thread-safety: one thread.
#pragma once

#include "ReferenceHost/Project/Sequence.h"
#include "Tests/Support/Fakes/FakeVideoTransition.h"

#include <cstdint>
#include <vector>

namespace TestSupport
{

inline Project::SequenceSettings TenTickSettings()
{
    Project::SequenceSettings settings;
    settings.mFrameRate = norviktypes::FrameRate(10);
    return settings;
}

inline Project::ClipItem ItemFrom(std::int64_t inStart, std::int64_t inEnd, std::int64_t inInPoint = 0)
{
    Project::ClipItem item;
    item.mStart = norviktypes::TickTime(inStart);
    item.mDuration = norviktypes::TickTime(inEnd - inStart);
    item.mInPoint = norviktypes::TickTime(inInPoint);
    return item;
}

struct SequenceScene
{
    Project::SequenceRef mSequence = Project::Sequence::Create(TenTickSettings());
    std::vector<Project::SequenceChange> mChanges;

    explicit SequenceScene(std::size_t inTracks = 1)
    {
        while (mSequence->GetTrackCount() < inTracks)
        {
            mSequence->AddTrack();
        }
        mSequence->AddObserver([this](const Project::SequenceChange& inChange)
                               { mChanges.push_back(inChange); });
    }

    Project::ItemID Add(std::int64_t inStart, std::int64_t inEnd, std::int64_t inInPoint = 0,
                        std::size_t inTrack = 0)
    {
        Project::ItemID id = 0;
        mSequence->AddItem(inTrack, ItemFrom(inStart, inEnd, inInPoint), &id);
        return id;
    }

    Project::ItemID AddNested(const Project::SequenceRef& inNested, std::int64_t inStart, std::int64_t inEnd)
    {
        Project::ItemID id = 0;
        Project::ClipItem item = ItemFrom(inStart, inEnd);
        item.mSequence = BE::ISequenceRef(inNested.get());
        mSequence->AddItem(0, item, &id);
        return id;
    }

    Project::EditStatus Dissolve(std::int64_t inCut, std::int64_t inBefore, std::int64_t inAfter,
                                 Project::ItemID* outID = nullptr)
    {
        Project::TransitionItem transition;
        transition.mCut = norviktypes::TickTime(inCut);
        transition.mInOffset = norviktypes::TickTime(inBefore);
        transition.mOutOffset = norviktypes::TickTime(inAfter);
        transition.mTransition = ML::IVideoTransitionRef(new FakeVideoTransition);
        return mSequence->AddTransition(0, transition, outID);
    }

    Project::ClipItem Get(Project::ItemID inID) const
    {
        Project::ClipItem item;
        mSequence->GetItem(inID, item);
        return item;
    }

    // The items of a track as a render sees them.
    std::vector<BE::ITrackItemRef> Seen(std::uint32_t inTrack = 0) const
    {
        std::vector<BE::ITrackItemRef> items;
        BE::ITrackRef(mSequence->GetVideoTrack(inTrack))->GetItems(items);
        return items;
    }

    // The one stretch that was told since the last call; the whole axis turned around if there was none.
    MF::TimeRange TakeChange()
    {
        MF::TimeRange range{norviktypes::kTime_Max, norviktypes::kTime_Min};
        if (mChanges.size() == 1)
        {
            range = mChanges.front().mRange;
        }
        mChanges.clear();
        return range;
    }
};

inline MF::TimeRange Ticks(std::int64_t inStart, std::int64_t inEnd)
{
    return {norviktypes::TickTime(inStart), norviktypes::TickTime(inEnd)};
}

} // namespace TestSupport
