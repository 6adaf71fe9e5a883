// What an enumeration remembers of what it has explored.
//
// Thread-safety: one thread.
#pragma once

#include "Tests/ScheduleExplorer/Scheduler.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace ScheduleExplorer
{

// Which threads come to which objects from a state on, in any of the schedules that follow it, to look at them
// or to change them.
class Future
{
public:
    void Add(const std::vector<Meeting>& inMeetings);
    void Add(const Future& inFuture);
    void Clear() { mObjects.clear(); }

    // Whether a thread other than that of the meeting comes to its object, one of the two to change it.
    bool IsMetByOthers(const Meeting& inMeeting) const;

    std::uint64_t Hash() const;
    bool operator==(const Future& inOther) const { return mObjects == inOther.mObjects; }

private:
    struct Object
    {
        std::uint32_t mNumber;
        std::uint64_t mReaders; // a bit for each thread
        std::uint64_t mWriters;

        bool operator==(const Object&) const = default;
    };

    std::vector<Object> mObjects; // by number
};

using FutureNumber = std::uint32_t;
// Of a state that is being explored.
inline constexpr FutureNumber kOpen = ~FutureNumber{0};

// Each different future once.
class FutureTable
{
public:
    FutureNumber NumberOf(const Future& inFuture);
    const Future& operator[](FutureNumber inNumber) const { return mFutures[inNumber]; }

private:
    std::vector<Future> mFutures;
    std::unordered_multimap<std::uint64_t, FutureNumber> mNumbers;
};

// The states that were explored, by a hash of them.
class StateTable
{
public:
    struct Entry
    {
        std::uint64_t mKey = 0; // 0: free
        int mPreemptions = 0;   // when it was reached, the fewest
        FutureNumber mFuture = kOpen;
    };

    StateTable();

    const Entry* Find(std::uint64_t inKey) const;
    void Set(std::uint64_t inKey, int inPreemptions, FutureNumber inFuture);
    std::size_t Count() const { return mCount; }

private:
    std::size_t PlaceOf(std::uint64_t inKey) const;
    void Grow();

    std::vector<Entry> mEntries; // a power of two, at most half of them in use
    std::size_t mCount = 0;
};

} // namespace ScheduleExplorer
