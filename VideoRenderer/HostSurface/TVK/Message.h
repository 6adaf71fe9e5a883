#pragma once

#include "Platform.h"
#include "TVK/Allocated.h"
#include "TVK/InterfaceRef.h"

#include <cstdint>
#include <typeinfo>

namespace TVK
{

// Something that is posted to a station. Immutable once posted, as it is read on another thread.
//
// Thread-safety: as told above.
class ML_EXPORT Message : public TVKUnknown
{
public:
    static constexpr Guid kInterfaceID = InterfaceIDs::kMessage;

    // Tells the class of the message; listeners name the id that they wait for.
    virtual std::uint32_t GetMessageID() const = 0;
};

using MessageRef = InterfaceRef<Message>;

// Id of a message class, from the raw name that the compiler gives its type (FNV-1a, 32 bits). The class must
// have external linkage: the names of others need not agree between modules.
ML_EXPORT std::uint32_t HashMessageTypeNameToMessageID(const char* inRawTypeName);

// Base of a message class: class FrameArrived final : public TVK::MessageImpl<FrameArrived>.
//
// Thread-safety: as Message.
template <class T>
class MessageImpl : public Implements<T, Message>
{
public:
    static std::uint32_t StaticMessageID()
    {
        static const std::uint32_t sMessageID = HashMessageTypeNameToMessageID(typeid(T).name());
        return sMessageID;
    }

    std::uint32_t GetMessageID() const override { return StaticMessageID(); }
};

} // namespace TVK
