#include "ReferenceHost/Messaging/MessageCenter.h"

#include "ReferenceHost/Foundation/CallLogged.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <iterator>
#include <utility>

namespace Messaging
{

namespace
{

template <class Callable>
void CallListener(const Callable& inCall) noexcept
{
    Foundation::CallLogged("norvik.Messaging", "A listener", inCall);
}

} // namespace

MessageCenter& MessageCenter::Instance()
{
    static MessageCenter* const sInstance = new MessageCenter;
    return *sInstance;
}

void MessageCenter::RegisterStation(const StationID& inStationID,
                                    TVK::StationRegistry::CreateFunction inCreate)
{
    if (inStationID.empty())
    {
        return;
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    StationPtr& station = mStations[std::string(inStationID.View())];
    if (!station)
    {
        station = std::make_shared<Station>();
    }
    if (inCreate != nullptr)
    {
        station->mCreate = inCreate;
    }
}

void MessageCenter::DisposeStation(const StationID& inStationID)
{
    // What goes is gathered here and destroyed after the lock is gone.
    StationPtr station;
    Station content;
    std::vector<Pending> dropped;
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mStations.find(inStationID.View());
    if (found == mStations.end())
    {
        return;
    }
    station = found->second;
    mStations.erase(found);
    std::swap(content, *station);
    const auto belongs = [&station](const Pending& inPending) { return inPending.mStation == station; };
    const auto kept = std::stable_partition(mQueue.begin(), mQueue.end(), std::not_fn(belongs));
    std::move(kept, mQueue.end(), std::back_inserter(dropped));
    mQueue.erase(kept, mQueue.end());
}

uint64_t MessageCenter::AddListener(const StationID& inStationID, uint32_t inMessageID,
                                    const TVK::StationRegistry::Listener& inListener)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mStations.find(inStationID.View());
    if (found == mStations.end())
    {
        return 0;
    }
    const auto entry =
        std::make_shared<const ListenerEntry>(ListenerEntry{++mLastListenerID, inMessageID, inListener});
    found->second->mListeners.push_back(entry);
    return entry->mID;
}

void MessageCenter::RemoveListener(uint64_t inListenerID)
{
    std::shared_ptr<const ListenerEntry> removed;
    const std::lock_guard<std::mutex> lock(mMutex);
    for (const auto& [id, station] : mStations)
    {
        auto& listeners = station->mListeners;
        const auto found =
            std::find_if(listeners.begin(), listeners.end(),
                         [inListenerID](const auto& inEntry) { return inEntry->mID == inListenerID; });
        if (found != listeners.end())
        {
            removed = *found;
            listeners.erase(found);
            return;
        }
    }
}

void MessageCenter::Post(const StationID& inStationID, const TVK::MessageRef& inMessage)
{
    if (!inMessage)
    {
        return;
    }
    norvik::Function wake;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mStations.find(inStationID.View());
        if (found == mStations.end())
        {
            return;
        }
        mQueue.push_back({inStationID, found->second, inMessage});
        mArrived.notify_all();
        wake = mWakeFunction;
    }
    if (wake)
    {
        wake();
    }
}

size_t MessageCenter::Pump()
{
    if (!BeginPump())
    {
        return 0;
    }
    const std::shared_ptr<void> end(nullptr, [this](void*) { EndPump(); });
    size_t limit = 0;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        limit = mQueue.size();
    }
    size_t taken = 0;
    for (Pending pending; taken < limit && TakeNext(pending); ++taken)
    {
        Deliver(pending);
        pending = Pending();
    }
    return taken;
}

// A listener may pump again, as a modal dialog does; another thread may not, as it isn't the one that
// listeners expect.
bool MessageCenter::BeginPump()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mPumpDepth > 0 && mPumpThread != std::this_thread::get_id())
    {
        return false;
    }
    mPumpThread = std::this_thread::get_id();
    ++mPumpDepth;
    return true;
}

void MessageCenter::EndPump()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    --mPumpDepth;
}

bool MessageCenter::TakeNext(Pending& outPending)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mQueue.empty())
    {
        return false;
    }
    outPending = std::move(mQueue.front());
    mQueue.pop_front();
    return true;
}

// Before each listener it is asked again whether station and listener are still there: an earlier listener
// may have disposed of either.
void MessageCenter::Deliver(const Pending& inPending)
{
    CallListener([this, &inPending] { MakeCompanion(inPending); });
    std::vector<std::shared_ptr<const ListenerEntry>> listeners;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        listeners = inPending.mStation->mListeners;
    }
    for (const auto& listener : listeners)
    {
        if (listener->mMessageID != 0 && listener->mMessageID != inPending.mMessage->GetMessageID())
        {
            continue;
        }
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            if (!HasListenerLocked(inPending, listener.get()))
            {
                continue;
            }
        }
        CallListener([&] { listener->mFunction(inPending.mMessage); });
    }
}

void MessageCenter::MakeCompanion(const Pending& inPending)
{
    TVK::StationRegistry::CreateFunction create = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (IsRegisteredLocked(inPending) && !inPending.mStation->mCompanion)
        {
            create = std::exchange(inPending.mStation->mCreate, nullptr);
        }
    }
    if (create == nullptr)
    {
        return;
    }
    TVK::TVKUnknownRef made = create();
    const std::lock_guard<std::mutex> lock(mMutex);
    if (IsRegisteredLocked(inPending))
    {
        inPending.mStation->mCompanion = std::move(made);
    }
}

bool MessageCenter::IsRegisteredLocked(const Pending& inPending) const
{
    const auto found = mStations.find(inPending.mStationID.View());
    return found != mStations.end() && found->second == inPending.mStation;
}

bool MessageCenter::HasListenerLocked(const Pending& inPending, const ListenerEntry* inListener) const
{
    const auto& listeners = inPending.mStation->mListeners;
    return std::any_of(listeners.begin(), listeners.end(),
                       [inListener](const auto& inEntry) { return inEntry.get() == inListener; });
}

bool MessageCenter::WaitForMessage(int32_t inMilliseconds)
{
    std::unique_lock<std::mutex> lock(mMutex);
    const auto ready = [this] { return mWoken || !mQueue.empty(); };
    if (inMilliseconds < 0)
    {
        mArrived.wait(lock, ready);
    }
    else if (!mArrived.wait_for(lock, std::chrono::milliseconds(inMilliseconds), ready))
    {
        return false;
    }
    mWoken = false;
    return true;
}

void MessageCenter::Wake()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mWoken = true;
    mArrived.notify_all();
}

void MessageCenter::SetWakeFunction(const norvik::Function& inWake)
{
    norvik::Function previous = inWake;
    const std::lock_guard<std::mutex> lock(mMutex);
    mWakeFunction.swap(previous);
}

bool MessageCenter::IsPumpThread() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mPumpDepth > 0 && mPumpThread == std::this_thread::get_id();
}

} // namespace Messaging
