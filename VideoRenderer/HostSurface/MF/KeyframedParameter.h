// A parameter of an effect or clip, and the list of them that a node owns.
//
// Thread-safety: safe once the node that owns it is frozen.
#pragma once

#include "MF/Keyframe.h"
#include "TVK/InterfaceRef.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace MF
{

class ML_EXPORT IKeyframedParameter : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kKeyframedParameter;

    // As KeyframeBase::GetValueType; -1: the parameter has no value.
    virtual std::int32_t GetValueType() const = 0;
    // Negative if outValue is of another type. inFlag: 0.
    virtual std::int32_t GetValueAtTime(KeyframeBase& outValue, const norviktypes::TickTime& inTime,
                                        std::uint32_t inFlag) const = 0;
    // Time of the first keyframe after inTime; kTime_Invalid if there is none.
    virtual std::int32_t GetNextKeyframeTime(const norviktypes::TickTime& inTime,
                                             norviktypes::TickTime& outTime) const = 0;
    // The keyframe that lies exactly at inTime.
    virtual std::int32_t GetKeyframeAt(const norviktypes::TickTime& inTime,
                                       std::shared_ptr<KeyframeBase>& outKeyframe) const = 0;
    virtual bool IsKeyframed() const = 0;
    // The same value at all keyframes.
    virtual bool IsConstant() const = 0;
    virtual bool IsTimeVarying() const = 0;
    // The kind of control; kParameterType_Layer picks a track.
    virtual std::uint32_t GetType() const = 0;
    // All that its values depend on, as text on one line: equal texts give equal pictures.
    virtual norvik::UTF8String GetText() const = 0;
};
using IKeyframedParameterRef = TVK::InterfaceRef<IKeyframedParameter>;

// Its value is an unsigned 32-bit number: the index of a track, from the bottom, or kLayer_NotSet.
inline constexpr std::uint32_t kParameterType_Layer = 13;
inline constexpr std::uint32_t kLayer_NotSet = 0xFFFFFFFFu;

using KeyframeStore = std::vector<IKeyframedParameterRef>;

} // namespace MF
