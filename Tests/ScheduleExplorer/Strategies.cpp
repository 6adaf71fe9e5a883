#include "Tests/ScheduleExplorer/Strategies.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <utility>

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

AllWithFewPreemptions::AllWithFewPreemptions(int inMostPreemptions, Pruning inPruning)
    : mMostPreemptions(inMostPreemptions)
    , mPruning(inPruning)
{
}

// The state at a point where that option runs; beyond the options, nobody does.
std::uint64_t AllWithFewPreemptions::KeyOf(const SchedulePoint& inPoint, std::size_t inOption)
{
    const std::uint64_t running =
        inOption < inPoint.mOptionStates.size() ? inPoint.mOptionStates[inOption] | 1 : 0;
    return (inPoint.mState ^ running * 0x9E3779B97F4A7C15u) * 0xD1B54A32D192ED03u;
}

bool AllWithFewPreemptions::IsCovered(const SchedulePoint& inPoint)
{
    const std::size_t nobody = inPoint.mOptions.size();
    const std::size_t current = inPoint.mCurrent == kNobody ? nobody : 0;
    for (std::size_t option = 0; option <= nobody; ++option)
    {
        const StateTable::Entry* const entry = mStates.Find(KeyOf(inPoint, option));
        const int needed = option == current || option == nobody ? 0 : 1;
        if (entry != nullptr && entry->mFuture != kOpen && entry->mPreemptions + needed <= mPreemptions)
        {
            mRest = mFutures[entry->mFuture];
            return true;
        }
    }
    return false;
}

int AllWithFewPreemptions::Choose(const SchedulePoint& inPoint)
{
    if (mDepth == mDecisions.size())
    {
        if (mPruning != Pruning::kNone && IsCovered(inPoint))
        {
            mIsKnown = true;
            return inPoint.mOptions.front();
        }
        Decision decision;
        decision.mOptions = inPoint.mOptions;
        decision.mIsPreemptive = inPoint.mCurrent != kNobody;
        decision.mMayInterrupt = mPreemptions < mMostPreemptions;
        decision.mPreemptions = mPreemptions;
        decision.mKey = KeyOf(inPoint, decision.mIsPreemptive ? 0 : inPoint.mOptions.size());
        mDecisions.push_back(std::move(decision));
        if (mPruning != Pruning::kNone)
        {
            mStates.Set(mDecisions.back().mKey, mPreemptions, kOpen);
        }
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

// What is repeated of an earlier run has been noted there.
void AllWithFewPreemptions::Met(const Meeting& inMeeting)
{
    if (mPruning != Pruning::kNone && mDepth != 0 && mDepth == mDecisions.size())
    {
        mDecisions.back().mMeetings.push_back(inMeeting);
    }
}

// Whether another thread comes to something that the first step after a decision meets, one of the two to change
// it. The thread that was running went on, so that what was met first is that step.
bool AllWithFewPreemptions::MattersToOthers(const Decision& inDecision) const
{
    const Meeting& first = inDecision.mMeetings.front();
    return std::any_of(inDecision.mMeetings.begin(), inDecision.mMeetings.end(),
                       [&](const Meeting& inMeeting)
                       {
                           return inMeeting.mThread == first.mThread && inMeeting.mStep == first.mStep &&
                                  inDecision.mFuture.IsMetByOthers(inMeeting);
                       });
}

bool AllWithFewPreemptions::Advance()
{
    mDepth = 0;
    mIsKnown = false;
    mPreemptions = 0;
    while (!mDecisions.empty())
    {
        Decision& last = mDecisions.back();
        last.mFuture.Add(last.mMeetings);
        last.mFuture.Add(mRest);
        if (mPruning == Pruning::kFull && last.mIsPreemptive && last.mChosen == 0 && last.HasMore() &&
            !MattersToOthers(last))
        {
            last.mMayInterrupt = false;
            mNeedless += last.mOptions.size() - 1;
        }
        if (last.HasMore())
        {
            ++last.mChosen;
            last.mMeetings.clear();
            mRest.Clear();
            return true;
        }
        if (mPruning != Pruning::kNone)
        {
            mStates.Set(last.mKey, last.mPreemptions, mFutures.NumberOf(last.mFuture));
        }
        mRest = std::move(last.mFuture);
        mDecisions.pop_back();
    }
    return false;
}

double AllWithFewPreemptions::Done() const
{
    double done = 0;
    double share = 1;
    for (const Decision& decision : mDecisions)
    {
        const bool isFree = !decision.mIsPreemptive || decision.mMayInterrupt;
        share /= isFree ? static_cast<double>(decision.mOptions.size()) : 1.0;
        done += share * static_cast<double>(decision.mChosen);
    }
    return done;
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
