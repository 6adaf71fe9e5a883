// The ways to choose schedules.
//
// Thread-safety: as IStrategy.
#pragma once

#include "Tests/ScheduleExplorer/Scheduler.h"

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <unordered_set>
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
// that must wait is free. Minor points are left out. A schedule that leads to a state that has been explored is not followed any further.
class AllWithFewPreemptions final : public IStrategy
{
public:
    explicit AllWithFewPreemptions(int inMostPreemptions) : mMostPreemptions(inMostPreemptions) {}

    int Choose(const SchedulePoint& inPoint) override;
    bool WantsState() const override { return true; }
    bool TakesMinorPoints() const override { return false; }

    // To the next schedule; false if there is none left.
    bool Advance();

private:
    struct Decision
    {
        std::vector<int> mOptions;
        std::size_t mChosen = 0;
        bool mIsPreemptive = false; // to choose another than the first
    };

    bool IsNew(const SchedulePoint& inPoint, int inPreemptions);

    const int mMostPreemptions;
    std::vector<Decision> mDecisions;
    std::size_t mDepth = 0;
    int mPreemptions = 0;  // up to here in this run
    bool mIsKnown = false; // this run has come to a state that was explored before
    std::unordered_set<std::uint64_t> mStates;
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
