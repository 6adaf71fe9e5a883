#include "ReferenceHost/Session/ExpectedMedia.h"

#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Project/ClipTimes.h"
#include "ReferenceHost/Project/SequenceState.h"
#include "ReferenceHost/Session/ItemTimes.h"

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

namespace Session
{

namespace
{

using norviktypes::TickTime;
using TimeRanges = std::vector<MF::TimeRange>;

// Frames beside the one shown that blending and fields may take, and those by which a retimed one may be missed.
constexpr std::int64_t kNeighbours = 4;

// In order and apart from each other.
void Normalize(TimeRanges& ioTimes)
{
    std::sort(ioTimes.begin(), ioTimes.end());
    TimeRanges merged;
    for (const MF::TimeRange& range : ioTimes)
    {
        if (!merged.empty() && range.mStart <= merged.back().mEnd)
        {
            merged.back().mEnd = std::max(merged.back().mEnd, range.mEnd);
        }
        else
        {
            merged.push_back(range);
        }
    }
    ioTimes.swap(merged);
}

// What is shown at a time is the frame of that time, and nothing beside it.
bool IsPlain(const Project::ClipItem& inItem, const norviktypes::FrameRate& inSequenceRate,
             const norviktypes::FrameRate& inMediaRate, norviktypes::FieldType inSequenceFields)
{
    const bool isRetimed =
        inItem.mSpeed != 1.0 || !inItem.mTimeRemap.empty() || inMediaRate != inSequenceRate;
    const bool isProcessed = inItem.mBlendsFrames || inItem.mTimeMode != 0 ||
                             inItem.mReversesFieldDominance || inItem.mFieldOption != BE::kFieldOption_None;
    norviktypes::FieldType fields = norviktypes::kFieldType_Progressive;
    if (const BE::IVideoSourceRef source =
            inItem.mMedia ? BE::IVideoSourceRef(inItem.mMedia->GetStream(BE::kMediaType_Video, 0))
                          : BE::IVideoSourceRef())
    {
        fields = source->GetFieldType();
    }
    return !isRetimed && !isProcessed && fields == norviktypes::kFieldType_Progressive &&
           inSequenceFields == norviktypes::kFieldType_Progressive;
}

class Expectations
{
public:
    void Tell(const Project::SequenceRef& inSequence, TimeRanges inTimes)
    {
        Order(inSequence->GetState());
        if (mOrdered.empty())
        {
            return;
        }
        mTimes[mOrdered.back().get()] = std::move(inTimes);
        // Those around a sequence come before it, so that all its times are known.
        for (auto sequence = mOrdered.rbegin(); sequence != mOrdered.rend(); ++sequence)
        {
            ReadSequence(**sequence);
        }
        for (auto& [media, times] : mMedia)
        {
            Normalize(times);
            const Media::IFrameExpectationsRef stream(media->GetStream(BE::kMediaType_Video, 0));
            if (stream)
            {
                stream->Expect(times);
            }
        }
    }

private:
    using StateRef = std::shared_ptr<Project::SequenceState>;

    static StateRef NestedIn(const Project::ClipItem& inItem)
    {
        const Project::ISequenceOfHostRef nested(inItem.mSequence);
        return nested ? nested->GetState() : nullptr;
    }

    // Each sequence after all that it shows.
    void Order(const StateRef& inState)
    {
        if (!inState || !mTimes.try_emplace(inState.get()).second)
        {
            return;
        }
        const Project::SequenceDataRef data = inState->GetData();
        for (const Project::TrackSnapshotRef& track : data->mTracks)
        {
            const Project::ItemList& items = track->GetList();
            for (auto place = items.Begin(); !items.IsEnd(place); place = items.Next(place))
            {
                const Project::ClipItem& item = *items.At(place)->GetContent();
                if (item.mMedia)
                {
                    mMedia.try_emplace(item.mMedia.get(), TimeRanges());
                }
                if (item.mSequence)
                {
                    Order(NestedIn(item));
                }
            }
        }
        mOrdered.push_back(inState);
    }

    void ReadSequence(Project::SequenceState& inState)
    {
        TimeRanges times = std::move(mTimes[&inState]);
        Normalize(times);
        if (times.empty())
        {
            return;
        }
        const Project::SequenceDataRef data = inState.GetData();
        for (const Project::TrackSnapshotRef& track : data->mTracks)
        {
            const Project::ItemList& items = track->GetList();
            for (auto place = items.Begin(); !items.IsEnd(place); place = items.Next(place))
            {
                ReadItem(*items.At(place), data->mSettings, times);
            }
        }
    }

    void ReadItem(const Project::TrackItemObject& inItem, const Project::SequenceSettings& inSettings,
                  const TimeRanges& inTimes)
    {
        const MF::TimeRange reach = inItem.GetReach();
        const Project::ClipItem& item = *inItem.GetContent();
        auto range =
            std::partition_point(inTimes.begin(), inTimes.end(),
                                 [&](const MF::TimeRange& inRange) { return inRange.mEnd <= reach.mStart; });
        if (range == inTimes.end() || range->mStart >= reach.mEnd)
        {
            return;
        }
        TimeRanges* const times = TimesOf(item);
        if (times == nullptr)
        {
            return;
        }
        const norviktypes::FrameRate mediaRate = Project::MediaRateOf(item, inSettings.mFrameRate);
        const TickTime beside(IsPlain(item, inSettings.mFrameRate, mediaRate, inSettings.mFieldType)
                                  ? 0
                                  : kNeighbours *
                                        std::max(mediaRate.GetTicks(), inSettings.mFrameRate.GetTicks()));
        for (; range != inTimes.end() && range->mStart < reach.mEnd; ++range)
        {
            const MF::TimeRange shown{std::max(range->mStart, reach.mStart),
                                      std::min(range->mEnd, reach.mEnd)};
            times->push_back(MediaTimesOf(item, shown, inSettings.mFrameRate, beside));
        }
    }

    // Null for what shows neither media nor a sequence.
    TimeRanges* TimesOf(const Project::ClipItem& inItem)
    {
        const StateRef nested = inItem.mSequence ? NestedIn(inItem) : nullptr;
        return nested ? &mTimes[nested.get()] : inItem.mMedia ? &mMedia[inItem.mMedia.get()] : nullptr;
    }

    static MF::TimeRange MediaTimesOf(const Project::ClipItem& inItem, const MF::TimeRange& inShown,
                                      const norviktypes::FrameRate& inSequenceRate, const TickTime& inBeside)
    {
        const TickTime last = inShown.mEnd - TickTime(1);
        // The curve may turn back in between.
        if (!inItem.mTimeRemap.empty() && inShown.mStart != last)
        {
            return Project::kAllTime;
        }
        const TickTime begin = MediaTimeOf(inItem, inShown.mStart, inSequenceRate);
        const TickTime end = inShown.mStart == last ? begin : MediaTimeOf(inItem, last, inSequenceRate);
        return {std::min(begin, end) - inBeside, std::max(begin, end) + TickTime(1) + inBeside};
    }

    std::map<Project::SequenceState*, TimeRanges> mTimes;
    std::vector<StateRef> mOrdered;
    std::map<BE::IMediaInfo*, TimeRanges> mMedia;
};

} // namespace

void ExpectMedia(const Project::SequenceRef& inSequence, TimeRanges inTimes)
{
    Expectations().Tell(inSequence, std::move(inTimes));
}

} // namespace Session
