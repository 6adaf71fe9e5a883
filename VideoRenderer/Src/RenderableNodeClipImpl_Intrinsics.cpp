#include "RenderableNodeClipImpl_Intrinsics.h"

#include <cmath>
#include <cstddef>

namespace ML
{

namespace
{

using norviktypes::TickTime;

enum MotionParameter : std::size_t
{
    kMotion_Position = 0,
    kMotion_ScaleHeight = 1,
    kMotion_ScaleWidth = 2,
    kMotion_UniformScale = 3,
    kMotion_Rotation = 4,
    kMotion_Anchor = 5,
    kMotion_AntiFlicker = 6,
};

enum OpacityParameter : std::size_t
{
    kOpacity_Percent = 0,
    kOpacity_BlendMode = 1,
};

// The parameters of one effect at one moment.
class Values
{
public:
    Values(const MF::KeyframeStore& inParameters, const TickTime& inTime)
        : mParameters(inParameters)
        , mTime(inTime)
    {
    }

    template <class T>
    bool Get(std::size_t inPlace, T& outValue) const
    {
        MF::Keyframe<T> value;
        if (!GetKeyframe(inPlace, value))
        {
            return false;
        }
        outValue = value.mValue;
        return true;
    }

    // Hosts keep numbers as they like.
    bool GetNumber(std::size_t inPlace, double& outValue) const
    {
        double number = 0.0;
        const bool isThere = Get(inPlace, number) || GetAs<float>(inPlace, number) ||
                             GetAs<std::int32_t>(inPlace, number) || GetAs<std::uint32_t>(inPlace, number);
        if (!isThere || !std::isfinite(number))
        {
            return false;
        }
        outValue = number;
        return true;
    }

    // Stored with y downwards.
    void GetPoint(std::size_t inPlace, float& ioX, float& ioY) const
    {
        MF::PointKeyframe point;
        if (GetKeyframe(inPlace, point) && std::isfinite(point.mValue.mX) && std::isfinite(point.mValue.mY))
        {
            ioX = static_cast<float>(point.mValue.mX);
            ioY = static_cast<float>(1.0 - point.mValue.mY);
        }
    }

private:
    template <class T>
    bool GetAs(std::size_t inPlace, double& outValue) const
    {
        T value{};
        const bool isThere = Get(inPlace, value);
        outValue = isThere ? static_cast<double>(value) : outValue;
        return isThere;
    }

    bool GetKeyframe(std::size_t inPlace, MF::KeyframeBase& outValue) const
    {
        return inPlace < mParameters.size() && mParameters[inPlace] &&
               mParameters[inPlace]->GetValueType() == outValue.GetValueType() &&
               mParameters[inPlace]->GetValueAtTime(outValue, mTime, 0) >= 0;
    }

    const MF::KeyframeStore& mParameters;
    const TickTime mTime;
};

constexpr double kPercent = 100.0;

void EvaluateScale(const Values& inValues, NodeIntrinsicParameters& ioRecord)
{
    double height = kPercent;
    double width = kPercent;
    bool isUniform = false;
    inValues.GetNumber(kMotion_ScaleHeight, height);
    inValues.GetNumber(kMotion_ScaleWidth, width);
    inValues.Get(kMotion_UniformScale, isUniform);
    ioRecord.scaleY = static_cast<float>(height / kPercent);
    ioRecord.scaleX = isUniform ? ioRecord.scaleY : static_cast<float>(width / kPercent);
}

} // namespace

void EvaluateMotion(const MF::KeyframeStore& inParameters, const TickTime& inTime,
                    NodeIntrinsicParameters& ioRecord)
{
    if (inParameters.empty())
    {
        return;
    }
    const Values values(inParameters, inTime);
    values.GetPoint(kMotion_Position, ioRecord.positionX, ioRecord.positionY);
    values.GetPoint(kMotion_Anchor, ioRecord.anchorX, ioRecord.anchorY);
    EvaluateScale(values, ioRecord);
    values.GetNumber(kMotion_Rotation, ioRecord.rotation);
    values.GetNumber(kMotion_AntiFlicker, ioRecord.antiFlicker);
}

void EvaluateOpacity(const MF::KeyframeStore& inParameters, const TickTime& inTime,
                     NodeIntrinsicParameters& ioRecord)
{
    const Values values(inParameters, inTime);
    double percent = kPercent;
    if (values.GetNumber(kOpacity_Percent, percent))
    {
        ioRecord.opacity = static_cast<float>(percent / kPercent);
        ioRecord.blendOpacity = ioRecord.opacity;
    }
    values.Get(kOpacity_BlendMode, ioRecord.blendMode);
}

} // namespace ML
