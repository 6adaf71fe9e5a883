#include "TVK/Stations.h"

#include "ReferenceHost/Messaging/MessageCenter.h"

#include <atomic>
#include <fmt/format.h>

namespace TVK
{

using Messaging::MessageCenter;
using norvik::utility::ImmutableString;

std::uint32_t HashMessageTypeNameToMessageID(const char* inRawTypeName)
{
    std::uint32_t hash = 2166136261u;
    for (const char* character = inRawTypeName; character != nullptr && *character != '\0'; ++character)
    {
        hash = (hash ^ static_cast<unsigned char>(*character)) * 16777619u;
    }
    return hash != 0 ? hash : 1; // 0 is every message's, to a listener
}

ImmutableString StationRegistry::UniqueStationID()
{
    static std::atomic<std::uint64_t> sLastNumber{0};
    const std::string text = fmt::format("TVK.Station.{}", ++sLastNumber);
    return ImmutableString::CreateDynamic(text.data(), text.size());
}

void StationRegistry::RegisterStation(const ImmutableString& inStationID, CreateFunction inCreate)
{
    MessageCenter::Instance().RegisterStation(inStationID, inCreate);
}

ImmutableString StationRegistry::RegisterUniqueStation(CreateFunction inCreate)
{
    const ImmutableString stationID = UniqueStationID();
    RegisterStation(stationID, inCreate);
    return stationID;
}

void StationRegistry::DisposeStation(const ImmutableString& inStationID)
{
    MessageCenter::Instance().DisposeStation(inStationID);
}

std::uint64_t StationRegistry::AddListener(const ImmutableString& inStationID, std::uint32_t inMessageID,
                                           const Listener& inListener)
{
    return MessageCenter::Instance().AddListener(inStationID, inMessageID, inListener);
}

void StationRegistry::RemoveListener(std::uint64_t inListenerID)
{
    MessageCenter::Instance().RemoveListener(inListenerID);
}

void StationUtils::PostMessageToUIThread(const ImmutableString& inStationID, const MessageRef& inMessage,
                                         std::uint32_t)
{
    MessageCenter::Instance().Post(inStationID, inMessage);
}

} // namespace TVK
