// The parameters of this host's effects and transitions: one value, or keyframes with a curve between them.
//
// How a stretch between two keyframes a and b is filled:
//
//   hold     a's outgoing side holds, or the values are words, switches or choices: a's value, up to b.
//   linear   neither side is a bezier: evenly. Colours go evenly by component.
//   bezier   one side is: a cubic curve over time. The ease of a keyframe says how fast the value moves
//            there (units a second) and how much of the stretch that reaches into (influence, 0 to 1); a side
//            that is no bezier aims straight at the other keyframe with an influence of a third.
//
// Points move along a path: a straight line, or the cubic curve that their tangents make, offsets from the point
// in the point's own units. Time then fills the length of the path; speeds are units of that length a second.
//
// Before the first keyframe its value holds, behind the last that one's. Times are media time of the clip, the
// axis on which a render asks; of a transition, time since its start.
//
// A parameter never changes, so that nodes may share it; editing puts another in its place. Its text holds all
// that its values depend on, and two parameters of equal text are interchangeable. Of files that holds size and time
// of modification too, as they are when the parameter is made: whoever hears that a file was written puts an equal
// parameter in the place of the old one.
//
// Thread-safety: safe.
#pragma once

#include "MF/KeyframedParameter.h"
#include "TVK/ParamTypes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Project
{

// Interpolation codes, as keyframes carry them.
inline constexpr std::uint32_t kInterpolation_Linear = 0;
inline constexpr std::uint32_t kInterpolation_Hold = 4;
inline constexpr std::uint32_t kInterpolation_Bezier = 5;

// Kinds of control that values depend on; the others are for panels.
inline constexpr std::uint32_t kControl_Number = 1;
inline constexpr std::uint32_t kControl_Bool = 4;
inline constexpr std::uint32_t kControl_Choice = 5;
inline constexpr std::uint32_t kControl_Color = 6;
inline constexpr std::uint32_t kControl_Point = 7;
inline constexpr std::uint32_t kControl_Text = 8;
inline constexpr std::uint32_t kControl_File = 9; // texts are paths

inline constexpr std::size_t kMostKeyframes = 1000000;

using PointValue = MF::PointKeyframe::Point;
// A switch; a choice, layer or colour (as TVK::ParamColor packs it); a number; a point; a text.
using ParameterValue = std::variant<bool, std::uint32_t, double, PointValue, norvik::WString>;

struct ParameterKey
{
    norviktypes::TickTime mTime;
    ParameterValue mValue;
    std::uint32_t mIncoming = kInterpolation_Linear;
    std::uint32_t mOutgoing = kInterpolation_Linear;
    MF::TemporalEase mEaseIn;
    MF::TemporalEase mEaseOut;
    PointValue mTangentIn; // of points only
    PointValue mTangentOut;
};

struct ParameterContent
{
    std::uint32_t mControl = kControl_Number; // what MF::IKeyframedParameter::GetType answers
    ParameterValue mValue = 0.0;              // where there are no keyframes
    std::vector<ParameterKey> mKeys;
};

// At most kMostKeyframes, their times rising and inside the time axis, all of one type of value, numbers finite,
// influences from 0 to 1.
bool IsWellFormed(const ParameterContent& inContent);
// Contract: well formed.
MF::IKeyframedParameterRef CreateParameter(ParameterContent inContent);

// Parameters of one value.
MF::IKeyframedParameterRef CreateNumber(double inValue, std::uint32_t inControl = kControl_Number);
MF::IKeyframedParameterRef CreateSwitch(bool inValue);
MF::IKeyframedParameterRef CreateChoice(std::uint32_t inValue, std::uint32_t inControl = kControl_Choice);
MF::IKeyframedParameterRef CreateColor(const TVK::ParamColor<std::uint32_t>& inColor);
MF::IKeyframedParameterRef CreatePoint(double inX, double inY);
MF::IKeyframedParameterRef CreateText(std::string_view inUTF8, std::uint32_t inControl = kControl_Text);

// What a parameter of this host was made of; false for one of another maker.
bool GetParameterContent(const MF::IKeyframedParameterRef& inParameter, ParameterContent& outContent);

// The ease of a handle that reaches inReach (of either sign) and inRise away from its keyframe, on the side where
// the next keyframe is inDistance away. A handle that reaches further than the keyframe is cut there.
MF::TemporalEase EaseOfHandle(const norviktypes::TickTime& inReach, double inRise,
                              const norviktypes::TickTime& inDistance);

// The keyframes with each time t put at inSlope * t + inShift, for clips whose media runs at another speed or
// backwards than the axis on which they were set. inSlope is not 0; a negative one turns their order and sides.
ParameterContent MapKeyTimes(const ParameterContent& inContent, double inSlope,
                             const norviktypes::TickTime& inShift);

} // namespace Project
