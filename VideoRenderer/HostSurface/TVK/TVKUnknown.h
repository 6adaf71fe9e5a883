// Root of every interface: a reference count and a way to ask an object for its other faces.
//
// Ownership: an object is created with a count of zero and lives while references are held; the
// last Release destroys it. Hold objects by InterfaceRef, not by hand.
// Errors: a query for a face that the object does not have answers kInterfaceNotSupported and an
// empty pointer.
// Identity: a query for TVKUnknown gives the same pointer for every face of one object.
//
// Thread-safety: counting and querying are safe from any thread.
#pragma once

#include "Platform.h"
#include "TVK/InterfaceIDs.h"

#include <cstdint>

namespace TVK
{

using Guid = norvik::utility::Guid;

// Statuses are signed; negative ones are failures.
inline constexpr std::int32_t kStatus_OK = 0;
inline constexpr std::int32_t kInterfaceNotSupported = static_cast<std::int32_t>(0xa00a0001u);

class ML_EXPORT TVKUnknown
{
public:
    static constexpr Guid kInterfaceID = InterfaceIDs::kTVKUnknown;

    // Both give the count after the call, for diagnostics only.
    virtual std::uint32_t AddRef() const = 0;
    virtual std::uint32_t Release() const = 0;
    virtual ~TVKUnknown() = default;

    // Answers 0 with the face inID in *outInterface and a reference added to it.
    virtual std::int32_t Query(const Guid& inID, void** outInterface) const = 0;
    // The same without the added reference, for a caller who holds the object anyway.
    virtual std::int32_t QueryNoRef(const Guid& inID, void** outInterface) const = 0;

protected:
    TVKUnknown() = default;
    TVKUnknown(const TVKUnknown&) = default;
    TVKUnknown& operator=(const TVKUnknown&) = default;
};

} // namespace TVK

using TVK::TVKUnknown;
