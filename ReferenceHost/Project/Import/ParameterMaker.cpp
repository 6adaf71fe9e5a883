#include "ReferenceHost/Project/Import/ParameterMaker.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace Import
{

using norviktypes::TickTime;
using Otio::Key;
using Otio::KeyMotion;
using Otio::Scalar;
using Project::ParameterContent;
using Project::ParameterKey;
using Project::ParameterValue;

namespace
{

// Values beyond are held here, so that no product of them leaves the numbers.
constexpr double kLargestValue = 1e12;
// Times beyond are of no use: no item is so long.
constexpr TickTime kLastTime{std::int64_t{1} << 60};
constexpr std::int64_t kMostSamples = 100000;

double Held(double inValue)
{
    return std::clamp(inValue, -kLargestValue, kLargestValue);
}

std::uint32_t CodeOf(KeyMotion inMotion)
{
    return inMotion == KeyMotion::kHold     ? Project::kInterpolation_Hold
           : inMotion == KeyMotion::kBezier ? Project::kInterpolation_Bezier
                                            : Project::kInterpolation_Linear;
}

// A handle without length aims at the other keyframe, from a third of the way.
MF::TemporalEase EaseOf(const Otio::KeyHandle& inHandle, const Key& inFrom, const Key& inTo, double inFactor)
{
    const TickTime distance = inTo.mTime - inFrom.mTime;
    const bool isOut = inHandle.mTime > TickTime();
    if (inHandle.mTime == TickTime())
    {
        return Project::EaseOfHandle(distance / 3u, Held((inTo.mValue - inFrom.mValue) * inFactor / 3.0),
                                     distance);
    }
    const double rise = Held(inHandle.mValue * inFactor);
    return Project::EaseOfHandle(isOut ? inHandle.mTime : -inHandle.mTime, isOut ? rise : -rise, distance);
}

// Keyframes on the axis of media time. Very slow and very fast clips bring some of them together, or carry them
// away.
ParameterContent OnMediaAxis(ParameterContent inContent, const KeyAxis& inAxis)
{
    std::vector<ParameterKey>& keys = inContent.mKeys;
    const auto isFar = [&](const ParameterKey& inKey)
    {
        const double limit = static_cast<double>(kLastTime.GetTicks());
        return std::fabs(static_cast<double>(inKey.mTime.GetTicks()) * inAxis.mSlope) > limit;
    };
    keys.erase(std::remove_if(keys.begin(), keys.end(), isFar), keys.end());
    ParameterContent mapped = Project::MapKeyTimes(inContent, inAxis.mSlope, inAxis.mShift);
    const auto isSame = [](const ParameterKey& inA, const ParameterKey& inB)
    { return inA.mTime >= inB.mTime; };
    mapped.mKeys.erase(std::unique(mapped.mKeys.begin(), mapped.mKeys.end(), isSame), mapped.mKeys.end());
    if (mapped.mKeys.size() == 1)
    {
        mapped.mValue = mapped.mKeys.front().mValue;
        mapped.mKeys.clear();
    }
    return mapped;
}

ParameterContent NumberContent(const Scalar& inScalar, double inFactor, std::uint32_t inControl)
{
    ParameterContent content;
    content.mControl = inControl;
    content.mValue = Held(inScalar.mValue * inFactor);
    for (std::size_t index = 0; inScalar.IsAnimated() && index < inScalar.mKeys.size(); ++index)
    {
        const Key& key = inScalar.mKeys[index];
        ParameterKey made;
        made.mTime = key.mTime;
        made.mValue = Held(key.mValue * inFactor);
        if (index + 1 < inScalar.mKeys.size())
        {
            made.mOutgoing = CodeOf(key.mMotion);
            made.mEaseOut = EaseOf(key.mOut, key, inScalar.mKeys[index + 1], inFactor);
        }
        if (index > 0 && inScalar.mKeys[index - 1].mMotion == KeyMotion::kBezier)
        {
            made.mIncoming = Project::kInterpolation_Bezier;
            made.mEaseIn = EaseOf(key.mIn, inScalar.mKeys[index - 1], key, inFactor);
        }
        content.mKeys.push_back(std::move(made));
    }
    return content;
}

// A scalar that can be asked for its value at any time of the item.
class MovingNumber
{
public:
    explicit MovingNumber(const Scalar& inScalar)
        : mParameter(Project::CreateParameter(NumberContent(inScalar, 1.0, Project::kControl_Number)))
    {
    }

    double At(const TickTime& inTime) const
    {
        MF::Keyframe<double> value;
        mParameter->GetValueAtTime(value, inTime, 0);
        return value.mValue;
    }

private:
    MF::IKeyframedParameterRef mParameter;
};

// True if all that move do so at the same times, in straight lines or steps.
bool MoveTogether(const std::vector<Scalar>& inScalars)
{
    const Scalar* first = nullptr;
    for (const Scalar& scalar : inScalars)
    {
        if (!scalar.IsAnimated())
        {
            continue;
        }
        first = first == nullptr ? &scalar : first;
        const bool isAlike =
            std::equal(scalar.mKeys.begin(), scalar.mKeys.end(), first->mKeys.begin(), first->mKeys.end(),
                       [](const Key& inA, const Key& inB) {
                           return inA.mTime == inB.mTime && inA.mMotion == inB.mMotion &&
                                  inA.mMotion != KeyMotion::kBezier;
                       });
        if (!isAlike)
        {
            return false;
        }
    }
    return first != nullptr;
}

// The times at which a value that is made of several has keyframes.
std::vector<Key> JointKeys(const std::vector<Scalar>& inScalars, const KeyAxis& inAxis)
{
    const Scalar* first = nullptr;
    TickTime start = norviktypes::kTime_Max;
    TickTime end = norviktypes::kTime_Min;
    for (const Scalar& scalar : inScalars)
    {
        if (scalar.IsAnimated())
        {
            first = first == nullptr ? &scalar : first;
            start = std::min(start, scalar.mKeys.front().mTime);
            end = std::max(end, scalar.mKeys.back().mTime);
        }
    }
    if (MoveTogether(inScalars))
    {
        return first->mKeys;
    }
    // An item's length on either side leaves room for what transitions show of it.
    start = std::max(start, -inAxis.mDuration).AlignToFrame(inAxis.mFrameRate);
    end = std::min(end, inAxis.mDuration * 2).AlignToFrameCeil(inAxis.mFrameRate);
    const std::int64_t frames = std::max<std::int64_t>((end - start).ToFrame64(inAxis.mFrameRate), 1);
    const std::int64_t step = (frames + kMostSamples - 1) / kMostSamples;
    std::vector<Key> keys;
    for (std::int64_t frame = 0; frame <= frames; frame += step)
    {
        Key key;
        key.mTime = start + TickTime::FromFrame(frame, inAxis.mFrameRate);
        keys.push_back(key);
    }
    return keys;
}

// A value of several numbers, which inJoin makes of them.
MF::IKeyframedParameterRef MakeJoint(const std::vector<Scalar>& inScalars, const KeyAxis& inAxis,
                                     std::uint32_t inControl,
                                     const std::function<ParameterValue(const std::vector<double>&)>& inJoin)
{
    std::vector<double> values;
    std::vector<MovingNumber> numbers;
    for (const Scalar& scalar : inScalars)
    {
        values.push_back(Held(scalar.mValue));
        numbers.emplace_back(scalar);
    }
    ParameterContent content;
    content.mControl = inControl;
    content.mValue = inJoin(values);
    const bool isMoving = std::any_of(inScalars.begin(), inScalars.end(),
                                      [](const Scalar& inScalar) { return inScalar.IsAnimated(); });
    for (const Key& key : isMoving ? JointKeys(inScalars, inAxis) : std::vector<Key>())
    {
        for (std::size_t index = 0; index < numbers.size(); ++index)
        {
            values[index] = numbers[index].At(key.mTime);
        }
        ParameterKey made;
        made.mTime = key.mTime;
        made.mValue = inJoin(values);
        made.mOutgoing = CodeOf(key.mMotion);
        content.mKeys.push_back(std::move(made));
    }
    return Project::CreateParameter(OnMediaAxis(std::move(content), inAxis));
}

std::uint8_t AsByte(double inValue)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp(inValue, 0.0, 1.0) * 255.0));
}

int HexDigit(char inLetter)
{
    return inLetter >= '0' && inLetter <= '9'   ? inLetter - '0'
           : inLetter >= 'a' && inLetter <= 'f' ? inLetter - 'a' + 10
           : inLetter >= 'A' && inLetter <= 'F' ? inLetter - 'A' + 10
                                                : -1;
}

}

MF::IKeyframedParameterRef MakeNumber(const Scalar& inScalar, const KeyAxis& inAxis, double inFactor,
                                      std::uint32_t inControl)
{
    return Project::CreateParameter(OnMediaAxis(NumberContent(inScalar, inFactor, inControl), inAxis));
}

MF::IKeyframedParameterRef MakeSteps(const Scalar& inScalar, const KeyAxis& inAxis, std::uint32_t inControl)
{
    const auto asStep = [inControl](const ParameterValue& inValue) -> ParameterValue
    {
        const double whole = std::round(std::get<double>(inValue));
        if (inControl == Project::kControl_Bool)
        {
            return whole >= 1.0;
        }
        return static_cast<std::uint32_t>(whole);
    };
    ParameterContent content = NumberContent(inScalar, 1.0, inControl);
    content.mValue = asStep(content.mValue);
    for (ParameterKey& key : content.mKeys)
    {
        key.mValue = asStep(key.mValue);
        key.mIncoming = Project::kInterpolation_Linear;
        key.mOutgoing = Project::kInterpolation_Hold;
    }
    return Project::CreateParameter(OnMediaAxis(std::move(content), inAxis));
}

MF::IKeyframedParameterRef MakePoint(const Scalar& inX, const Scalar& inY, const KeyAxis& inAxis)
{
    return MakeJoint({inX, inY}, inAxis, Project::kControl_Point,
                     [](const std::vector<double>& inValues) {
                         return ParameterValue(Project::PointValue{inValues[0], inValues[1]});
                     });
}

MF::IKeyframedParameterRef MakeColor(const std::vector<Scalar>& inNumbers, const KeyAxis& inAxis)
{
    std::vector<Scalar> numbers = inNumbers;
    numbers.resize(4, Scalar(1.0));
    return MakeJoint(numbers, inAxis, Project::kControl_Color,
                     [](const std::vector<double>& inValues)
                     {
                         return ParameterValue(TVK::ParamColor<std::uint32_t>::FromComponents(
                                                   AsByte(inValues[0]), AsByte(inValues[1]),
                                                   AsByte(inValues[2]), AsByte(inValues[3]))
                                                   .mValue);
                     });
}

bool ParseColor(const std::string& inText, TVK::ParamColor<std::uint32_t>& outColor)
{
    std::string digits = inText.empty() || inText[0] != '#' ? std::string() : inText.substr(1);
    if (digits.size() == 3)
    {
        digits = {digits[0], digits[0], digits[1], digits[1], digits[2], digits[2]};
    }
    if (digits.size() == 6)
    {
        digits += "ff";
    }
    const bool isColor =
        digits.size() == 8 &&
        std::all_of(digits.begin(), digits.end(), [](char inLetter) { return HexDigit(inLetter) >= 0; });
    if (!isColor)
    {
        return false;
    }
    std::uint8_t bytes[4];
    for (std::size_t index = 0; index < 4; ++index)
    {
        bytes[index] =
            static_cast<std::uint8_t>(HexDigit(digits[2 * index]) * 16 + HexDigit(digits[2 * index + 1]));
    }
    outColor = TVK::ParamColor<std::uint32_t>::FromComponents(bytes[0], bytes[1], bytes[2], bytes[3]);
    return true;
}

}
