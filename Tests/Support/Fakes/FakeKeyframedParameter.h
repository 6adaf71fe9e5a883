// A parameter that is constant, or that moves evenly.
//
// Thread-safety: fields are set before it is shared.
#pragma once

#include "MF/KeyframedParameter.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <memory>
#include <string>

namespace TestSupport
{

class FakeKeyframedParameter : public TVK::Implements<FakeKeyframedParameter, MF::IKeyframedParameter>
{
public:
    std::int32_t mValueType = MF::kKeyframeValueType<double>;
    double mNumber = 0.0;
    MF::PointKeyframe::Point mPoint;
    double mPerSecond = 0.0; // what is added to the number, and to both coordinates, in a second
    std::uint32_t mControlType = 0;
    std::int32_t mStatus = 0; // of GetValueAtTime

    std::int32_t GetValueType() const override { return mValueType; }
    std::int32_t GetValueAtTime(MF::KeyframeBase& outValue, const norviktypes::TickTime& inTime,
                                std::uint32_t) const override
    {
        if (mStatus < 0 || outValue.GetValueType() != mValueType)
        {
            return mStatus < 0 ? mStatus : -1;
        }
        const double moved = mPerSecond * inTime.AsSeconds();
        if (mValueType == MF::kKeyframeValueType_Point)
        {
            static_cast<MF::PointKeyframe&>(outValue).mValue = {mPoint.mX + moved, mPoint.mY + moved};
            return 0;
        }
        return Put<double>(outValue, mNumber + moved) || Put<float>(outValue, mNumber + moved) ||
                       Put<bool>(outValue, mNumber + moved) || Put<std::int32_t>(outValue, mNumber + moved) ||
                       Put<std::uint32_t>(outValue, mNumber + moved)
                   ? 0
                   : -1;
    }
    std::int32_t GetNextKeyframeTime(const norviktypes::TickTime&,
                                     norviktypes::TickTime& outTime) const override
    {
        outTime = norviktypes::kTime_Invalid;
        return 0;
    }
    std::int32_t GetKeyframeAt(const norviktypes::TickTime&,
                               std::shared_ptr<MF::KeyframeBase>&) const override
    {
        return -1;
    }
    bool IsKeyframed() const override { return mPerSecond != 0.0; }
    bool IsConstant() const override { return mPerSecond == 0.0; }
    bool IsTimeVarying() const override { return mPerSecond != 0.0; }
    std::uint32_t GetType() const override { return mControlType; }
    norvik::UTF8String GetText() const override
    {
        const std::string text = std::to_string(mValueType) + " " + std::to_string(mNumber) + " " +
                                 std::to_string(mPoint.mX) + " " + std::to_string(mPoint.mY) + " " +
                                 std::to_string(mPerSecond);
        return norvik::UTF8String(text.data(), text.size());
    }

private:
    template <class T>
    bool Put(MF::KeyframeBase& outValue, double inNumber) const
    {
        if (mValueType != MF::kKeyframeValueType<T>)
        {
            return false;
        }
        static_cast<MF::Keyframe<T>&>(outValue).mValue = static_cast<T>(inNumber);
        return true;
    }
};
using FakeKeyframedParameterRef = TVK::InterfaceRef<FakeKeyframedParameter>;

inline FakeKeyframedParameterRef MakeNumberParameter(double inNumber, double inPerSecond = 0.0)
{
    FakeKeyframedParameterRef parameter(new FakeKeyframedParameter());
    parameter->mNumber = inNumber;
    parameter->mPerSecond = inPerSecond;
    return parameter;
}

inline FakeKeyframedParameterRef MakeTruthParameter(bool inValue)
{
    FakeKeyframedParameterRef parameter = MakeNumberParameter(inValue ? 1.0 : 0.0);
    parameter->mValueType = MF::kKeyframeValueType<bool>;
    return parameter;
}

// A number out of a list, as a blend mode.
inline FakeKeyframedParameterRef MakeChoiceParameter(std::uint32_t inValue)
{
    FakeKeyframedParameterRef parameter = MakeNumberParameter(inValue);
    parameter->mValueType = MF::kKeyframeValueType<std::uint32_t>;
    return parameter;
}

// The place of a track, of the kind that picks a layer.
inline FakeKeyframedParameterRef MakeLayerParameter(std::uint32_t inTrack)
{
    FakeKeyframedParameterRef parameter = MakeChoiceParameter(inTrack);
    parameter->mControlType = MF::kParameterType_Layer;
    return parameter;
}

inline FakeKeyframedParameterRef MakePointParameter(double inX, double inY, double inPerSecond = 0.0)
{
    FakeKeyframedParameterRef parameter(new FakeKeyframedParameter());
    parameter->mValueType = MF::kKeyframeValueType_Point;
    parameter->mPoint = {inX, inY};
    parameter->mPerSecond = inPerSecond;
    return parameter;
}

} // namespace TestSupport
