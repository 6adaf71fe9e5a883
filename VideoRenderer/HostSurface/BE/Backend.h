// The host as one object, with a face for each of its services.
//
// Thread-safety: safe.
#pragma once

#include "TVK/InterfaceRef.h"
#include "norvik/utility/StringTypes.h"

#include <cstdint>

namespace BE
{

// Where the application keeps its files.
class ML_EXPORT IDirectories : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kDirectories;

    // The directory for what can be made again; it need not exist yet. Negative, and an empty path: there is
    // none.
    virtual std::int32_t GetCacheDirectory(norvik::WString& outPath) = 0;
};
using IDirectoriesRef = TVK::InterfaceRef<IDirectories>;

ML_EXPORT TVK::TVKUnknownRef GetBackend();

} // namespace BE
