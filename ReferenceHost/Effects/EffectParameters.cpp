#include "ReferenceHost/Effects/EffectParameters.h"

#include "norvik/utility/Strings.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Effects
{
namespace
{

template <class T>
bool Read(const MF::IKeyframedParameter& inParameter, const norviktypes::TickTime& inTime, T& outValue)
{
    MF::Keyframe<T> keyframe;
    const bool isRead = inParameter.GetValueAtTime(keyframe, inTime, 0) >= 0;
    outValue = keyframe.mValue;
    return isRead;
}

template <class T>
bool ReadAsDouble(const MF::IKeyframedParameter& inParameter, const norviktypes::TickTime& inTime,
                  double& outValue)
{
    T value{};
    const bool isRead = Read(inParameter, inTime, value);
    outValue = static_cast<double>(value);
    return isRead;
}

bool ReadNumber(const MF::IKeyframedParameter& inParameter, const norviktypes::TickTime& inTime,
                double& outValue)
{
    switch (inParameter.GetValueType())
    {
    case MF::kKeyframeValueType<bool>: return ReadAsDouble<bool>(inParameter, inTime, outValue);
    case MF::kKeyframeValueType<std::int32_t>:
        return ReadAsDouble<std::int32_t>(inParameter, inTime, outValue);
    case MF::kKeyframeValueType<std::uint32_t>:
        return ReadAsDouble<std::uint32_t>(inParameter, inTime, outValue);
    case MF::kKeyframeValueType<std::int64_t>:
        return ReadAsDouble<std::int64_t>(inParameter, inTime, outValue);
    case MF::kKeyframeValueType<std::uint64_t>:
        return ReadAsDouble<std::uint64_t>(inParameter, inTime, outValue);
    case MF::kKeyframeValueType<float>: return ReadAsDouble<float>(inParameter, inTime, outValue);
    default: return ReadAsDouble<double>(inParameter, inTime, outValue);
    }
}

// Whether a number, which may be of a wider type, is a colour of four bytes.
bool IsPacked(double inNumber)
{
    return inNumber >= 0.0 && inNumber <= 4294967295.0;
}

Color FromPacked(const TVK::ParamColor<std::uint32_t>& inColor)
{
    return {inColor.Red() / 255.0, inColor.Green() / 255.0, inColor.Blue() / 255.0, inColor.Alpha() / 255.0};
}

} // namespace

EffectParameters::EffectParameters(const EffectDescription& inDescription, const MF::KeyframeStore* inStore,
                                   const norviktypes::TickTime& inTime)
    : mDescription(inDescription)
    , mStore(inStore)
    , mTime(inTime)
{
}

double EffectParameters::Number(std::size_t inIndex) const
{
    const ParameterDescription& description = mDescription.mParameters.at(inIndex);
    double value = 0.0;
    const MF::IKeyframedParameter* parameter = Find(inIndex);
    if (parameter == nullptr || !ReadNumber(*parameter, mTime, value) || std::isnan(value))
    {
        return description.mDefault.mNumber;
    }
    return std::clamp(value, description.mLeast, description.mMost);
}

std::uint32_t EffectParameters::Choice(std::size_t inIndex) const
{
    return static_cast<std::uint32_t>(std::lround(Number(inIndex)));
}

double EffectParameters::Radians(std::size_t inIndex) const
{
    return Number(inIndex) * std::numbers::pi / 180.0;
}

TVK::ParamPoint<double> EffectParameters::Point(std::size_t inIndex) const
{
    MF::PointKeyframe keyframe;
    const MF::IKeyframedParameter* parameter = Find(inIndex);
    if (parameter == nullptr || parameter->GetValueAtTime(keyframe, mTime, 0) < 0 ||
        !std::isfinite(keyframe.mValue.mX) || !std::isfinite(keyframe.mValue.mY))
    {
        return mDescription.mParameters.at(inIndex).mDefault.mPoint;
    }
    return {keyframe.mValue.mX, keyframe.mValue.mY};
}

Color EffectParameters::ColorOf(std::size_t inIndex) const
{
    double packed = 0.0;
    const MF::IKeyframedParameter* parameter = Find(inIndex);
    if (parameter == nullptr || !ReadNumber(*parameter, mTime, packed) || !IsPacked(packed))
    {
        return FromPacked(mDescription.mParameters.at(inIndex).mDefault.mColor);
    }
    return FromPacked({static_cast<std::uint32_t>(packed)});
}

std::string EffectParameters::Text(std::size_t inIndex) const
{
    norvik::WString wide;
    const MF::IKeyframedParameter* parameter = Find(inIndex);
    if (parameter == nullptr || !Read(*parameter, mTime, wide))
    {
        return mDescription.mParameters.at(inIndex).mDefault.mText;
    }
    return std::string(norvik::utility::ImmutableString::CreateDynamic(wide).View());
}

bool EffectParameters::IsLayerSet(std::size_t inIndex) const
{
    double track = kNoLayer;
    const MF::IKeyframedParameter* parameter = Find(inIndex);
    return parameter != nullptr && ReadNumber(*parameter, mTime, track) && track != kNoLayer;
}

const MF::IKeyframedParameter* EffectParameters::Find(std::size_t inIndex) const
{
    return mStore != nullptr && inIndex < mStore->size() ? (*mStore)[inIndex].get() : nullptr;
}

} // namespace Effects
