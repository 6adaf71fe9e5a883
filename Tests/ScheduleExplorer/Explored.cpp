#include "Tests/ScheduleExplorer/Explored.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ScheduleExplorer
{

namespace
{

constexpr std::size_t kFirstEntries = 1024;

std::uint64_t BitOf(const Meeting& inMeeting)
{
    return std::uint64_t{1} << inMeeting.mThread;
}

} // namespace

// ---- futures ----

void Future::Add(const std::vector<Meeting>& inMeetings)
{
    for (const Meeting& meeting : inMeetings)
    {
        auto place = std::lower_bound(mObjects.begin(), mObjects.end(), meeting.mObject,
                                      [](const Object& inObject, std::uint32_t inNumber)
                                      { return inObject.mNumber < inNumber; });
        if (place == mObjects.end() || place->mNumber != meeting.mObject)
        {
            place = mObjects.insert(place, {meeting.mObject, 0, 0});
        }
        (meeting.mAccess == Access::kRead ? place->mReaders : place->mWriters) |= BitOf(meeting);
    }
}

void Future::Add(const Future& inFuture)
{
    if (mObjects.empty())
    {
        mObjects = inFuture.mObjects;
        return;
    }
    std::size_t own = 0;
    std::size_t missing = 0;
    for (const Object& object : inFuture.mObjects)
    {
        while (own < mObjects.size() && mObjects[own].mNumber < object.mNumber)
        {
            ++own;
        }
        if (own < mObjects.size() && mObjects[own].mNumber == object.mNumber)
        {
            mObjects[own].mReaders |= object.mReaders;
            mObjects[own].mWriters |= object.mWriters;
        }
        else
        {
            ++missing;
        }
    }
    if (missing == 0)
    {
        return;
    }
    std::vector<Object> all;
    all.reserve(mObjects.size() + missing);
    std::set_union(mObjects.begin(), mObjects.end(), inFuture.mObjects.begin(), inFuture.mObjects.end(),
                   std::back_inserter(all),
                   [](const Object& inA, const Object& inB) { return inA.mNumber < inB.mNumber; });
    mObjects = std::move(all);
}

bool Future::IsMetByOthers(const Meeting& inMeeting) const
{
    const auto place = std::lower_bound(mObjects.begin(), mObjects.end(), inMeeting.mObject,
                                        [](const Object& inObject, std::uint32_t inNumber)
                                        { return inObject.mNumber < inNumber; });
    if (place == mObjects.end() || place->mNumber != inMeeting.mObject)
    {
        return false;
    }
    const std::uint64_t met =
        inMeeting.mAccess == Access::kRead ? place->mWriters : place->mReaders | place->mWriters;
    return (met & ~(inMeeting.mThread == kSomeThread ? 0 : BitOf(inMeeting))) != 0;
}

std::uint64_t Future::Hash() const
{
    std::uint64_t hash = 0;
    for (const Object& object : mObjects)
    {
        hash = (hash ^ object.mNumber) * 0x9E3779B97F4A7C15u;
        hash = (hash ^ (hash >> 29) ^ object.mReaders) * 0xBF58476D1CE4E5B9u;
        hash = (hash ^ (hash >> 31) ^ object.mWriters) * 0x94D049BB133111EBu;
    }
    return hash;
}

FutureNumber FutureTable::NumberOf(const Future& inFuture)
{
    const std::uint64_t hash = inFuture.Hash();
    const auto [first, last] = mNumbers.equal_range(hash);
    for (auto place = first; place != last; ++place)
    {
        if (mFutures[place->second] == inFuture)
        {
            return place->second;
        }
    }
    const auto number = static_cast<FutureNumber>(mFutures.size());
    mFutures.push_back(inFuture);
    mNumbers.emplace(hash, number);
    return number;
}

// ---- states ----

StateTable::StateTable() : mEntries(kFirstEntries) {}

std::size_t StateTable::PlaceOf(std::uint64_t inKey) const
{
    const std::size_t mask = mEntries.size() - 1;
    std::size_t place = (inKey >> 20) & mask;
    while (mEntries[place].mKey != 0 && mEntries[place].mKey != inKey)
    {
        place = (place + 1) & mask;
    }
    return place;
}

const StateTable::Entry* StateTable::Find(std::uint64_t inKey) const
{
    const Entry& entry = mEntries[PlaceOf(inKey | 1)];
    return entry.mKey == 0 ? nullptr : &entry;
}

void StateTable::Set(std::uint64_t inKey, int inPreemptions, FutureNumber inFuture)
{
    if (mCount * 2 >= mEntries.size())
    {
        Grow();
    }
    Entry& entry = mEntries[PlaceOf(inKey | 1)];
    mCount += entry.mKey == 0 ? 1 : 0;
    entry = {inKey | 1, inPreemptions, inFuture};
}

void StateTable::Grow()
{
    const std::vector<Entry> old = std::exchange(mEntries, std::vector<Entry>(mEntries.size() * 2));
    for (const Entry& entry : old)
    {
        if (entry.mKey != 0)
        {
            mEntries[PlaceOf(entry.mKey)] = entry;
        }
    }
}

} // namespace ScheduleExplorer
