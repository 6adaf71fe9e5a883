#include "ReferenceHost/Project/SequenceState.h"

#include <algorithm>
#include <deque>
#include <utility>

namespace Project
{

void SequenceState::Tie(const std::vector<BE::ISequenceRef>& inSequences)
{
    for (const BE::ISequenceRef& sequence : inSequences)
    {
        const std::shared_ptr<SequenceState> nested = ISequenceOfHostRef(sequence)->GetState();
        bool isShown = false;
        {
            const std::lock_guard<std::mutex> lock(mLock);
            isShown = mNested.count(nested.get()) != 0;
        }
        nested->SetParent(shared_from_this(), isShown);
    }
}

void SequenceState::SetParent(const std::shared_ptr<SequenceState>& inParent, bool inIsThere)
{
    const std::lock_guard<std::mutex> lock(mLock);
    if (inIsThere)
    {
        mParents[inParent.get()] = inParent;
    }
    else
    {
        mParents.erase(inParent.get());
    }
}

void SequenceState::ForgetParent(const SequenceState* inParent)
{
    const std::lock_guard<std::mutex> lock(mLock);
    mParents.erase(inParent);
}

SequenceState::States SequenceState::Nested() const
{
    const std::lock_guard<std::mutex> lock(mLock);
    States states;
    for (const auto& [address, use] : mNested)
    {
        if (std::shared_ptr<SequenceState> state = use.mState.lock())
        {
            states.push_back(std::move(state));
        }
    }
    return states;
}

SequenceState::States SequenceState::Parents() const
{
    const std::lock_guard<std::mutex> lock(mLock);
    States states;
    for (const auto& [address, parent] : mParents)
    {
        if (std::shared_ptr<SequenceState> state = parent.lock())
        {
            states.push_back(std::move(state));
        }
    }
    return states;
}

// What is known is kept: sequences that share what they show would else be walked once for every way to them.
std::uint32_t SequenceState::LevelsOf(const SequenceState& inState,
                                      States (SequenceState::*inNeighbours)() const, Levels& ioKnown)
{
    const auto known = ioKnown.find(&inState);
    if (known != ioKnown.end())
    {
        return known->second;
    }
    std::uint32_t levels = 0;
    for (const std::shared_ptr<SequenceState>& neighbour : (inState.*inNeighbours)())
    {
        levels = std::max(levels, LevelsOf(*neighbour, inNeighbours, ioKnown));
    }
    return ioKnown[&inState] = levels + 1;
}

std::uint32_t SequenceState::GetDepth() const
{
    Levels known;
    return LevelsOf(*this, &SequenceState::Nested, known);
}

std::uint32_t SequenceState::GetHeight() const
{
    Levels known;
    return LevelsOf(*this, &SequenceState::Parents, known);
}

bool SequenceState::Shows(const SequenceState& inOther) const
{
    std::set<const SequenceState*> seen;
    States waiting = Nested();
    while (!waiting.empty())
    {
        const std::shared_ptr<SequenceState> state = waiting.back();
        waiting.pop_back();
        if (state.get() == &inOther)
        {
            return true;
        }
        if (seen.insert(state.get()).second)
        {
            const States nested = state->Nested();
            waiting.insert(waiting.end(), nested.begin(), nested.end());
        }
    }
    return false;
}

// Every sequence around is marked for each sequence in it that has changed, but passes that on only once: what
// shows it was marked for the whole of the items that do.
void SequenceState::Announce(const SequenceChange& inChange)
{
    CallObservers(inChange);
    std::set<const SequenceState*> told;
    std::deque<std::shared_ptr<SequenceState>> waiting{shared_from_this()};
    while (!waiting.empty())
    {
        const std::shared_ptr<SequenceState> state = waiting.front();
        waiting.pop_front();
        for (const std::shared_ptr<SequenceState>& parent : state->Parents())
        {
            parent->NestedChanged(*state);
            if (told.insert(parent.get()).second)
            {
                waiting.push_back(parent);
            }
        }
    }
}

void SequenceState::NestedChanged(SequenceState& inNested)
{
    Aftermath aftermath;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        const auto found = mNested.find(&inNested);
        if (found == mNested.end())
        {
            return;
        }
        for (const ItemID id : found->second.mItems)
        {
            ItemList::Place place;
            std::size_t track = 0;
            const TrackItemRef item = FindLocked(id, place, track);
            MarkLocked(item->GetReach(), track);
        }
        std::swap(aftermath, mAftermath);
    }
    CallObservers(aftermath.mChange);
}

void SequenceState::CallObservers(const SequenceChange& inChange)
{
    std::vector<std::shared_ptr<const Sequence::Observer>> observers;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        for (const auto& [number, observer] : mObservers)
        {
            observers.push_back(observer);
        }
    }
    for (const std::shared_ptr<const Sequence::Observer>& observer : observers)
    {
        (*observer)(inChange);
    }
}

std::uint64_t SequenceState::AddObserver(Sequence::Observer inObserver)
{
    const std::lock_guard<std::mutex> lock(mLock);
    mObservers[++mLastObserver] = std::make_shared<const Sequence::Observer>(std::move(inObserver));
    return mLastObserver;
}

void SequenceState::RemoveObserver(std::uint64_t inNumber)
{
    std::shared_ptr<const Sequence::Observer> removed;
    const std::lock_guard<std::mutex> lock(mLock);
    const auto found = mObservers.find(inNumber);
    if (found != mObservers.end())
    {
        removed = std::move(found->second);
        mObservers.erase(found);
    }
}

} // namespace Project
