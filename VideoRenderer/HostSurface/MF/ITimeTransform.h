// A mapping of one time axis to another: speed, reverse play, a remapped clip.
//
// Immutable, so that nodes and sources share one without a lock. Nothing is clamped: the time of a handle
// outside of an item maps as any other.
//
// Thread-safety: safe.
#pragma once

#include "TVK/InterfaceRef.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

namespace MF
{

class ML_EXPORT ITimeTransform : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTimeTransform;

    // inFlag: 0; other values are kept for mappings that have a choice.
    virtual norviktypes::TickTime MapTime(const norviktypes::TickTime& inTime,
                                          std::uint32_t inFlag) const = 0;
    // True where every time maps to itself.
    virtual bool IsIdentity() const = 0;
    // Equal for mappings that are interchangeable; never zero.
    virtual TVK::Guid GetHash() const = 0;
};
using ITimeTransformRef = TVK::InterfaceRef<ITimeTransform>;

// Maps t to inStart + inSpeed * (t - inOffset), rounded to the nearest tick.
//
// inDuration  length of what is mapped; it informs and takes part in the hash, and clamps nothing.
ML_EXPORT ITimeTransformRef CreateTimeTransform(const norviktypes::TickTime& inStart, double inSpeed,
                                                const norviktypes::TickTime& inDuration,
                                                const norviktypes::TickTime& inOffset);

} // namespace MF
