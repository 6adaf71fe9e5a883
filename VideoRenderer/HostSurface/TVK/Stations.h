#pragma once

#include "Platform.h"
#include "TVK/InterfaceRef.h"
#include "TVK/Message.h"
#include "norvik/BoostTypes.h"
#include "norvik/utility/Strings.h"

#include <cstdint>

// Messages from any thread to the user-interface thread. A station is a name that its owner registers, posts
// to and disposes of; listeners hear what is posted there. The user-interface thread is the one on which the
// host pumps messages.
//
// Thread-safety: all functions are safe. Listeners are called on the user-interface thread with no lock held.
namespace TVK
{

class StationRegistry
{
public:
    // Makes what accompanies a station; called on the user-interface thread before the station's first
    // message is delivered. The object is held until the station is disposed of.
    using CreateFunction = InterfaceRef<TVKUnknown> (*)();
    using Listener = boost::function<void(const MessageRef&)>;

    // An id that nobody has had in this process. Registers nothing.
    ML_EXPORT static norvik::utility::ImmutableString UniqueStationID();

    // Opens a station. Doing so twice changes nothing but the create function, if one is given; an empty id
    // does nothing.
    ML_EXPORT static void RegisterStation(const norvik::utility::ImmutableString& inStationID,
                                          CreateFunction inCreate = nullptr);

    // Both of the above.
    ML_EXPORT static norvik::utility::ImmutableString
    RegisterUniqueStation(CreateFunction inCreate = nullptr);

    // Closes a station: its listeners are forgotten, and messages that were posted to it and aren't delivered
    // yet are dropped. Called on the user-interface thread, no listener of it runs after the return; called
    // elsewhere, one that is running may still be running. Unknown ids do nothing.
    ML_EXPORT static void DisposeStation(const norvik::utility::ImmutableString& inStationID);

    // Hears messages of the class inMessageID (0: of all) at a registered station, in addition to those who
    // already do. Gives a number for RemoveListener, 0 if the station is not there.
    ML_EXPORT static std::uint64_t AddListener(const norvik::utility::ImmutableString& inStationID,
                                               std::uint32_t inMessageID, const Listener& inListener);
    ML_EXPORT static void RemoveListener(std::uint64_t inListenerID);
};

namespace StationUtils
{

// Posts a message. Always asynchronous: it is delivered on the user-interface thread after this call has
// returned, also when that thread itself posts, and messages are delivered in the order of posting over all
// stations. A station that isn't registered at the time of posting, an empty message: dropped. inFlag is
// reserved and 0.
ML_EXPORT void PostMessageToUIThread(const norvik::utility::ImmutableString& inStationID,
                                     const MessageRef& inMessage, std::uint32_t inFlag);

} // namespace StationUtils

} // namespace TVK
