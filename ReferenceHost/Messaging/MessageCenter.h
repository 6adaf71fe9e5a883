#pragma once

#include "TVK/Stations.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Messaging
{

// The stations of the process and the queue to the user-interface thread. One lock guards all of it; it is
// never held while a listener, a create function or the destructor of a message runs, so all of these may
// call back.
//
// Thread-safety: safe.
class MessageCenter
{
public:
    using StationID = norvik::utility::ImmutableString;

    // Never destroyed: other threads may post while the process ends.
    static MessageCenter& Instance();

    void RegisterStation(const StationID& inStationID, TVK::StationRegistry::CreateFunction inCreate);
    void DisposeStation(const StationID& inStationID);
    uint64_t AddListener(const StationID& inStationID, uint32_t inMessageID,
                         const TVK::StationRegistry::Listener& inListener);
    void RemoveListener(uint64_t inListenerID);

    void Post(const StationID& inStationID, const TVK::MessageRef& inMessage);

    // Delivers the messages that are queued at this moment, not those that listeners post meanwhile; the
    // number of messages taken. On a second thread while one is at it: 0.
    size_t Pump();

    // True as soon as a message is queued or Wake was called; false after the time. -1 waits for ever.
    bool WaitForMessage(int32_t inMilliseconds);

    // Lets one wait through.
    void Wake();

    // Called after each post, on the posting thread, with no lock held.
    void SetWakeFunction(const norvik::Function& inWake);

    // Whether this thread is inside Pump.
    bool IsPumpThread() const;

private:
    struct ListenerEntry
    {
        uint64_t mID = 0;
        uint32_t mMessageID = 0;
        TVK::StationRegistry::Listener mFunction;
    };

    struct Station
    {
        TVK::StationRegistry::CreateFunction mCreate = nullptr;
        TVK::TVKUnknownRef mCompanion;
        std::vector<std::shared_ptr<const ListenerEntry>> mListeners;
    };

    // Held by pending messages too: a message of a station that was disposed of and registered again under
    // the same id finds another one there.
    using StationPtr = std::shared_ptr<Station>;

    struct Pending
    {
        StationID mStationID;
        StationPtr mStation;
        TVK::MessageRef mMessage;
    };

    bool BeginPump();
    void EndPump();
    bool TakeNext(Pending& outPending);
    void Deliver(const Pending& inPending);
    void MakeCompanion(const Pending& inPending);
    bool IsRegisteredLocked(const Pending& inPending) const;
    bool HasListenerLocked(const Pending& inPending, const ListenerEntry* inListener) const;

    mutable std::mutex mMutex;
    std::condition_variable mArrived;
    std::map<std::string, StationPtr, std::less<>> mStations;
    std::deque<Pending> mQueue;
    norvik::Function mWakeFunction;
    uint64_t mLastListenerID = 0;
    std::thread::id mPumpThread;
    uint32_t mPumpDepth = 0;
    bool mWoken = false;
};

} // namespace Messaging
