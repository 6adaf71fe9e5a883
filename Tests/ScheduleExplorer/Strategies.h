// The ways to choose schedules.
//
// Thread-safety: as IStrategy.
#pragma once

#include "Tests/ScheduleExplorer/Explored.h"
#include "Tests/ScheduleExplorer/Scheduler.h"

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace ScheduleExplorer
{

// Random priorities: of those that can go on, always the most important one does. At a few points, drawn over
// the length that runs are expected to have, the running one becomes the least important, or the clock moves.
// A bug that needs d threads at d places in one order is met with a chance that falls with the length of the
// run only to the power of d - 1.
class RandomPriorities final : public IStrategy
{
public:
    RandomPriorities(std::uint64_t inSeed, std::uint64_t inExpectedPoints);

    int Choose(const SchedulePoint& inPoint) override;
    bool MovesClock() const override { return true; }

private:
    std::mt19937_64 mRandom;
    std::array<int, kClock> mPriorities{};
    std::multiset<std::uint64_t> mChangePoints;
    int mLowest = 0;
};

// All schedules in which at most so many threads are interrupted that could have gone on. Who follows a thread
// that must wait is free. Minor points are left out.
//
// Of schedules that differ only in the order of steps that have nothing to do with each other, one is enough. So
// two kinds are not followed any further:
//
// 1. Those that come to a state that was explored before, with as many interruptions left or more. Where another
//    thread was running when it was explored, one more is needed to get from that one to ours.
// 2. Those that interrupt a thread before a step which meets nothing that other threads still come to. That is
//    known when all is explored that follows the step: whatever the others would do first, they can do
//    after it as well, with no more interruptions, and they do the same. What they wait for counts as met, since
//    they come to it in the end.
//
// Both can be switched off, which leaves the plain enumeration to compare with.
class AllWithFewPreemptions final : public IStrategy
{
public:
    enum class Pruning
    {
        kFull,
        kStates, // only the first kind
        kNone
    };

    AllWithFewPreemptions(int inMostPreemptions, Pruning inPruning);

    int Choose(const SchedulePoint& inPoint) override;
    bool WantsState() const override { return !mIsKnown; }
    bool TakesMinorPoints() const override { return false; }
    bool IsDone() const override { return mIsKnown; }
    void Met(const Meeting& inMeeting) override;

    // To the next schedule; false if there is none left.
    bool Advance();

    // Whether the last run came to its end without meeting an explored state.
    bool IsWhole() const { return !mIsKnown; }
    std::size_t States() const { return mStates.Count(); }
    std::size_t Depth() const { return mDecisions.size(); }
    std::size_t Needless() const { return mNeedless; }
    // Of the whole, between 0 and 1, if what is left were like what is done.
    double Done() const;

private:
    struct Decision
    {
        std::vector<int> mOptions;
        std::size_t mChosen = 0;
        bool mIsPreemptive = false; // to choose another than the first
        bool mMayInterrupt = false;
        int mPreemptions = 0; // before it
        std::uint64_t mKey = 0;
        std::vector<Meeting> mMeetings; // up to the next decision
        Future mFuture;                 // after it, whatever is chosen

        bool HasMore() const { return mChosen + 1 < mOptions.size() && (!mIsPreemptive || mMayInterrupt); }
    };

    bool IsCovered(const SchedulePoint& inPoint);
    static std::uint64_t KeyOf(const SchedulePoint& inPoint, std::size_t inOption);
    bool MattersToOthers(const Decision& inDecision) const;

    const int mMostPreemptions;
    const Pruning mPruning;
    std::vector<Decision> mDecisions;
    std::size_t mDepth = 0;
    int mPreemptions = 0;      // up to here in this run
    bool mIsKnown = false;     // this run has come to a state that was explored before
    Future mRest;              // what comes after the last decision of a run
    std::size_t mNeedless = 0; // interruptions that were left out
    StateTable mStates;
    FutureTable mFutures;
};

// A list of choices, and else the default.
class Replay final : public IStrategy
{
public:
    explicit Replay(const std::vector<Choice>& inChoices);

    int Choose(const SchedulePoint& inPoint) override;
    bool MovesClock() const override { return true; }

    // Choices of the list that could not be made.
    std::size_t Missed() const { return mMissed; }

private:
    std::map<std::uint64_t, int> mChoices;
    std::size_t mMissed = 0;
};

} // namespace ScheduleExplorer
