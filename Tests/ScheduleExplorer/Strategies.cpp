#include "Tests/ScheduleExplorer/Strategies.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>

namespace ScheduleExplorer
{

namespace
{

constexpr std::uint64_t kMostChangePoints = 6;
// Of the change points, one in so many moves the clock.
constexpr std::uint64_t kClockEvery = 4;

bool Has(const std::vector<int>& inOptions, int inThread)
{
    return std::find(inOptions.begin(), inOptions.end(), inThread) != inOptions.end();
}

} // namespace

// ---- random priorities ----

RandomPriorities::RandomPriorities(std::uint64_t inSeed, std::uint64_t inExpectedPoints) : mRandom(inSeed)
{
    std::iota(mPriorities.begin(), mPriorities.end(), 1);
    for (std::size_t last = mPriorities.size() - 1; last > 0; --last)
    {
        std::swap(mPriorities[last], mPriorities[mRandom() % (last + 1)]);
    }
    for (std::uint64_t count = mRandom() % (kMostChangePoints + 1); count > 0; --count)
    {
        mChangePoints.insert(1 + mRandom() % inExpectedPoints);
    }
}

int RandomPriorities::Choose(const SchedulePoint& inPoint)
{
    const auto priorityOf = [this](int inThread)
    { return inThread == kClock ? -1000000 : mPriorities[static_cast<std::size_t>(inThread)]; };
    const auto best = [&]
    {
        return *std::max_element(inPoint.mOptions.begin(), inPoint.mOptions.end(),
                                 [&](int inA, int inB) { return priorityOf(inA) < priorityOf(inB); });
    };
    bool changes = false;
    while (!mChangePoints.empty() && *mChangePoints.begin() <= inPoint.mNumber)
    {
        mChangePoints.erase(mChangePoints.begin());
        changes = true;
    }
    if (changes && mRandom() % kClockEvery == 0 && Has(inPoint.mOptions, kClock))
    {
        return kClock;
    }
    if (changes && best() != kClock)
    {
        mPriorities[static_cast<std::size_t>(best())] = --mLowest;
    }
    return best();
}

// ---- all with few preemptions ----

bool AllWithFewPreemptions::IsNew(const SchedulePoint& inPoint, int inPreemptions)
{
    const auto keyOf = [&inPoint](int inUsed)
    {
        return (inPoint.mState ^ static_cast<std::uint64_t>(inPoint.mCurrent + 2) * 0x9E3779B97F4A7C15u) +
               static_cast<std::uint64_t>(inUsed) * 0xD1B54A32D192ED03u;
    };
    for (int used = 0; used < inPreemptions; ++used)
    {
        if (mStates.count(keyOf(used)) != 0)
        {
            return false;
        }
    }
    return mStates.insert(keyOf(inPreemptions)).second;
}

int AllWithFewPreemptions::Choose(const SchedulePoint& inPoint)
{
    if (mDepth == mDecisions.size())
    {
        mIsKnown = mIsKnown || !IsNew(inPoint, mPreemptions);
        if (mIsKnown)
        {
            return inPoint.mOptions.front();
        }
        mDecisions.push_back({inPoint.mOptions, 0, inPoint.mCurrent != kNobody});
    }
    const Decision& decision = mDecisions[mDepth++];
    if (decision.mOptions != inPoint.mOptions)
    {
        std::fprintf(stderr, "the same choices led to another run: something is not under control\n");
        std::abort();
    }
    mPreemptions += decision.mIsPreemptive && decision.mChosen != 0 ? 1 : 0;
    return decision.mOptions[decision.mChosen];
}

bool AllWithFewPreemptions::Advance()
{
    mDepth = 0;
    mIsKnown = false;
    mPreemptions = 0;
    while (!mDecisions.empty())
    {
        int before = 0;
        for (std::size_t number = 0; number + 1 < mDecisions.size(); ++number)
        {
            before += mDecisions[number].mIsPreemptive && mDecisions[number].mChosen != 0 ? 1 : 0;
        }
        Decision& last = mDecisions.back();
        const bool mayInterrupt = !last.mIsPreemptive || before < mMostPreemptions;
        if (mayInterrupt && last.mChosen + 1 < last.mOptions.size())
        {
            ++last.mChosen;
            return true;
        }
        mDecisions.pop_back();
    }
    return false;
}

// ---- replay ----

Replay::Replay(const std::vector<Choice>& inChoices)
{
    for (const Choice& choice : inChoices)
    {
        mChoices[choice.mPoint] = choice.mThread;
    }
}

int Replay::Choose(const SchedulePoint& inPoint)
{
    const auto place = mChoices.find(inPoint.mNumber);
    if (place == mChoices.end())
    {
        return inPoint.mOptions.front();
    }
    mMissed += Has(inPoint.mOptions, place->second) ? 0 : 1;
    return Has(inPoint.mOptions, place->second) ? place->second : inPoint.mOptions.front();
}

} // namespace ScheduleExplorer
