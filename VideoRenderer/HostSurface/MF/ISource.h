// What every media stream answers about its time axis.
//
// Thread-safety: safe.
#pragma once

#include "TVK/InterfaceRef.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

namespace MF
{

// Streams are asked for by the type of their media.
inline constexpr TVK::Guid kMediaType_Video{"AF5D0867-7AB1-419D-AF43-75DDB9BF3593"};
inline constexpr TVK::Guid kMediaType_Audio{"8C532CE6-EADD-4D52-9F3F-651D75111AF6"};

// Kinds of time axis.
inline constexpr std::uint32_t kSourceKind_Normal = 0;
inline constexpr std::uint32_t kSourceKind_Still = 1;     // no time axis: one picture for all times
inline constexpr std::uint32_t kSourceKind_Unbounded = 4; // generated, without an end

class ML_EXPORT ISource : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kSource;

    virtual std::int32_t GetDuration(norviktypes::TickTime& outDuration) const = 0;
    virtual std::int32_t GetStillKind(std::uint32_t& outKind) const = 0;
};
using ISourceRef = TVK::InterfaceRef<ISource>;

} // namespace MF
