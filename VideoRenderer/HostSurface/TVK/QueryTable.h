#pragma once

#include "TVK/TVKUnknown.h"

#include <cstdint>

// Answers queries for a class that has several interfaces as bases, from a list of them.
//
// An interface that extends another names it as InterfaceBase; the id of the other is then answered too,
// without being listed. TVKUnknown is answered through the first interface of the list, whichever face asks,
// so that an object has one canonical pointer.
//
// Thread-safety: no state.
namespace TVK
{

namespace detail
{

template <class Interface, class Object>
bool FindFace(Object* inObject, const Guid& inID, void*& outFace) noexcept
{
    if (inID == Interface::kInterfaceID)
    {
        outFace = static_cast<Interface*>(inObject);
        return true;
    }
    if constexpr (requires { typename Interface::InterfaceBase; })
    {
        return FindFace<typename Interface::InterfaceBase>(static_cast<Interface*>(inObject), inID, outFace);
    }
    return false;
}

} // namespace detail

// Looks inID up among the interfaces. Adds no reference: the whole of QueryNoRef.
//   return TVK::QueryInterfaces<IFoo, IBar>(this, inID, outInterface);
template <class First, class... Others, class Object>
std::int32_t QueryInterfaces(const Object* inObject, const Guid& inID, void** outInterface) noexcept
{
    // Queries are const because counting is; the faces themselves are not.
    Object* object = const_cast<Object*>(inObject);
    void* face = nullptr;
    if (inID == TVKUnknown::kInterfaceID)
    {
        face = static_cast<TVKUnknown*>(static_cast<First*>(object));
    }
    else
    {
        static_cast<void>(detail::FindFace<First>(object, inID, face) ||
                          (detail::FindFace<Others>(object, inID, face) || ...));
    }
    *outInterface = face;
    return face != nullptr ? kStatus_OK : kInterfaceNotSupported;
}

} // namespace TVK
