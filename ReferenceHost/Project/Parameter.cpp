#include "ReferenceHost/Project/Parameter.h"

#include "ReferenceHost/Foundation/FileState.h"
#include "ReferenceHost/Project/KeyframeCurve.h"
#include "TVK/Allocated.h"
#include "norvik/config/Contract.h"
#include "norvik/utility/Strings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

namespace Project
{

namespace
{

using norviktypes::TickTime;

// A face by which this host knows its own parameters.
class IParameterContent : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"0B4B2A0C-6F5A-4E0B-9B86-2C1C7B3A5B54"};

    virtual const ParameterContent& GetContent() const = 0;
};
using IParameterContentRef = TVK::InterfaceRef<IParameterContent>;

std::int32_t ValueTypeOf(const ParameterValue& inValue)
{
    constexpr std::int32_t kTypes[] = {MF::kKeyframeValueType<bool>, MF::kKeyframeValueType<std::uint32_t>,
                                       MF::kKeyframeValueType<double>, MF::kKeyframeValueType_Point,
                                       MF::kKeyframeValueType<norvik::WString>};
    return kTypes[inValue.index()];
}

bool IsFinite(const PointValue& inPoint)
{
    return std::isfinite(inPoint.mX) && std::isfinite(inPoint.mY);
}

bool IsFinite(const ParameterValue& inValue)
{
    const double* number = std::get_if<double>(&inValue);
    const PointValue* point = std::get_if<PointValue>(&inValue);
    return (number == nullptr || std::isfinite(*number)) && (point == nullptr || IsFinite(*point));
}

bool IsGood(const MF::TemporalEase& inEase)
{
    return std::isfinite(inEase.mSpeed) && inEase.mInfluence >= 0.0 && inEase.mInfluence <= 1.0;
}

bool IsGood(const ParameterKey& inKey)
{
    return IsFinite(inKey.mValue) && IsGood(inKey.mEaseIn) && IsGood(inKey.mEaseOut) &&
           IsFinite(inKey.mTangentIn) && IsFinite(inKey.mTangentOut) &&
           inKey.mTime > norviktypes::kTime_Min && inKey.mTime < norviktypes::kTime_Max;
}

// Shortest digits that give the number back, the same in every locale.
using Text = fmt::memory_buffer;

void Write(Text& ioText, const PointValue& inPoint)
{
    fmt::format_to(std::back_inserter(ioText), "{},{}", inPoint.mX, inPoint.mY);
}

void Write(Text& ioText, const ParameterValue& inValue)
{
    auto out = std::back_inserter(ioText);
    switch (inValue.index())
    {
    case 0: fmt::format_to(out, "{}", std::get<bool>(inValue) ? 1 : 0); break;
    case 1: fmt::format_to(out, "{}", std::get<std::uint32_t>(inValue)); break;
    case 2: fmt::format_to(out, "{}", std::get<double>(inValue)); break;
    case 3: Write(ioText, std::get<PointValue>(inValue)); break;
    default:
        // Units in hex: whatever the text holds, it can't be taken for another part of the line.
        for (const char16_t unit : std::get<norvik::WString>(inValue))
        {
            fmt::format_to(out, "{:04x}", static_cast<unsigned>(unit));
        }
        break;
    }
}

void Write(Text& ioText, const MF::TemporalEase& inEase)
{
    fmt::format_to(std::back_inserter(ioText), "{},{}", inEase.mSpeed, inEase.mInfluence);
}

// What doesn't count is not said, so that it makes no difference: eases of sides that are no beziers.
void Write(Text& ioText, const ParameterKey& inKey)
{
    auto out = std::back_inserter(ioText);
    fmt::format_to(out, ";{}=", inKey.mTime.GetTicks());
    Write(ioText, inKey.mValue);
    fmt::format_to(out, ":{}", inKey.mIncoming);
    if (inKey.mIncoming == kInterpolation_Bezier)
    {
        fmt::format_to(out, "@");
        Write(ioText, inKey.mEaseIn);
    }
    fmt::format_to(out, ":{}", inKey.mOutgoing);
    if (inKey.mOutgoing == kInterpolation_Bezier)
    {
        fmt::format_to(out, "@");
        Write(ioText, inKey.mEaseOut);
    }
    if (inKey.mValue.index() == 3)
    {
        fmt::format_to(out, "/");
        Write(ioText, inKey.mTangentIn);
        fmt::format_to(out, "/");
        Write(ioText, inKey.mTangentOut);
    }
}

// Pictures depend on what is in a file and not on its name alone.
void WriteFileState(Text& ioText, const ParameterValue& inValue)
{
    if (const norvik::WString* const path = std::get_if<norvik::WString>(&inValue))
    {
        const norvik::UTF8String name = norvik::utility::UTF16to8(*path);
        const Foundation::FileState state = Foundation::LookAtFile(std::string(name.data(), name.size()));
        fmt::format_to(std::back_inserter(ioText), "!{},{}", state.mBytes, state.mModified);
    }
}

norvik::UTF8String TextOf(const ParameterContent& inContent)
{
    Text text;
    const ParameterValue& first = inContent.mKeys.empty() ? inContent.mValue : inContent.mKeys.front().mValue;
    fmt::format_to(std::back_inserter(text), "{}.{}", ValueTypeOf(first), inContent.mControl);
    if (inContent.mKeys.empty())
    {
        fmt::format_to(std::back_inserter(text), "=");
        Write(text, inContent.mValue);
    }
    for (const ParameterKey& key : inContent.mKeys)
    {
        Write(text, key);
    }
    if (inContent.mControl == kControl_File)
    {
        WriteFileState(text, inContent.mValue);
        for (const ParameterKey& key : inContent.mKeys)
        {
            WriteFileState(text, key.mValue);
        }
    }
    return norvik::UTF8String(text.data(), text.size());
}

std::uint32_t MixColors(std::uint32_t inFrom, std::uint32_t inTo, double inPart)
{
    std::uint32_t mixed = 0;
    for (int shift = 0; shift < 32; shift += 8)
    {
        const double from = static_cast<double>(inFrom >> shift & 0xFF);
        const double to = static_cast<double>(inTo >> shift & 0xFF);
        const double component = std::clamp(std::round(from + (to - from) * inPart), 0.0, 255.0);
        mixed |= static_cast<std::uint32_t>(component) << shift;
    }
    return mixed;
}

template <class T>
std::int32_t Put(MF::KeyframeBase& outKeyframe, const T& inValue)
{
    static_cast<MF::Keyframe<T>&>(outKeyframe).mValue = inValue;
    return 0;
}

std::int32_t Put(MF::KeyframeBase& outKeyframe, const PointValue& inValue)
{
    static_cast<MF::PointKeyframe&>(outKeyframe).mValue = inValue;
    return 0;
}

template <class T>
std::shared_ptr<MF::KeyframeBase> MakeKeyframe(const ParameterKey&, const T& inValue)
{
    return std::make_shared<MF::Keyframe<T>>(TickTime(), inValue);
}

std::shared_ptr<MF::KeyframeBase> MakeKeyframe(const ParameterKey& inKey, const PointValue& inValue)
{
    auto keyframe = std::make_shared<MF::PointKeyframe>(TickTime(), inValue);
    keyframe->mSpatialTangents[MF::kfDirection_Incoming] = inKey.mTangentIn;
    keyframe->mSpatialTangents[MF::kfDirection_Outgoing] = inKey.mTangentOut;
    return keyframe;
}

class Parameter final : public TVK::Implements<Parameter, MF::IKeyframedParameter, IParameterContent>
{
public:
    explicit Parameter(ParameterContent inContent) : mContent(std::move(inContent)), mText(TextOf(mContent))
    {
        const std::vector<ParameterKey>& keys = mContent.mKeys;
        for (std::size_t index = 1; index < keys.size(); ++index)
        {
            mIsConstant = mIsConstant && keys[index].mValue == keys.front().mValue;
        }
        MeasurePaths();
    }

    const ParameterContent& GetContent() const override { return mContent; }

    std::int32_t GetValueType() const override { return ValueTypeOf(AnyValue()); }

    std::int32_t GetValueAtTime(MF::KeyframeBase& outValue, const TickTime& inTime,
                                std::uint32_t) const override
    {
        if (outValue.GetValueType() != GetValueType())
        {
            return TVK::kInterfaceNotSupported;
        }
        outValue.mTime = inTime;
        return std::visit([&](const auto& inValue) { return Put(outValue, inValue); }, ValueAt(inTime));
    }

    std::int32_t GetNextKeyframeTime(const TickTime& inTime, TickTime& outTime) const override
    {
        const auto next = Behind(inTime);
        outTime = next == mContent.mKeys.end() ? norviktypes::kTime_Invalid : next->mTime;
        return 0;
    }

    std::int32_t GetKeyframeAt(const TickTime& inTime,
                               std::shared_ptr<MF::KeyframeBase>& outKeyframe) const override
    {
        const auto next = Behind(inTime);
        if (next == mContent.mKeys.begin() || std::prev(next)->mTime != inTime)
        {
            return TVK::kInterfaceNotSupported;
        }
        const ParameterKey& key = *std::prev(next);
        outKeyframe = std::visit([&](const auto& inValue) { return MakeKeyframe(key, inValue); }, key.mValue);
        outKeyframe->mTime = key.mTime;
        outKeyframe->mInterpolationIncoming = key.mIncoming;
        outKeyframe->mInterpolationOutgoing = key.mOutgoing;
        outKeyframe->GetTemporalEase(MF::kfDirection_Incoming) = key.mEaseIn;
        outKeyframe->GetTemporalEase(MF::kfDirection_Outgoing) = key.mEaseOut;
        return 0;
    }

    bool IsKeyframed() const override { return !mContent.mKeys.empty(); }
    bool IsConstant() const override { return mIsConstant && !MovesBetweenEqualKeys(); }
    bool IsTimeVarying() const override { return !IsConstant(); }
    std::uint32_t GetType() const override { return mContent.mControl; }
    norvik::UTF8String GetText() const override { return mText; }

private:
    using KeyIterator = std::vector<ParameterKey>::const_iterator;

    const ParameterValue& AnyValue() const
    {
        return mContent.mKeys.empty() ? mContent.mValue : mContent.mKeys.front().mValue;
    }

    KeyIterator Behind(const TickTime& inTime) const
    {
        return std::upper_bound(mContent.mKeys.begin(), mContent.mKeys.end(), inTime,
                                [](const TickTime& inA, const ParameterKey& inB) { return inA < inB.mTime; });
    }

    // A bezier may leave and come back, and so may a path.
    bool MovesBetweenEqualKeys() const
    {
        return std::any_of(mContent.mKeys.begin(), mContent.mKeys.end(),
                           [](const ParameterKey& inKey)
                           {
                               return inKey.mIncoming == kInterpolation_Bezier ||
                                      inKey.mOutgoing == kInterpolation_Bezier ||
                                      inKey.mTangentIn != PointValue() || inKey.mTangentOut != PointValue();
                           }) &&
               mContent.mKeys.size() > 1;
    }

    void MeasurePaths()
    {
        if (ValueTypeOf(AnyValue()) != MF::kKeyframeValueType_Point)
        {
            return;
        }
        for (std::size_t index = 1; index < mContent.mKeys.size(); ++index)
        {
            mPaths.emplace_back(mContent.mKeys[index - 1], mContent.mKeys[index]);
        }
    }

    ParameterValue ValueAt(const TickTime& inTime) const
    {
        const auto behind = Behind(inTime);
        if (mContent.mKeys.empty() || behind == mContent.mKeys.begin())
        {
            return AnyValue();
        }
        const ParameterKey& from = *std::prev(behind);
        if (behind == mContent.mKeys.end() || from.mTime == inTime || IsHeld(from))
        {
            return from.mValue;
        }
        return Between(from, *behind, inTime);
    }

    ParameterValue Between(const ParameterKey& inFrom, const ParameterKey& inTo, const TickTime& inTime) const
    {
        if (const double* number = std::get_if<double>(&inFrom.mValue))
        {
            return InterpolateNumber(inFrom, inTo, *number, std::get<double>(inTo.mValue), inTime);
        }
        if (std::holds_alternative<PointValue>(inFrom.mValue))
        {
            const PointPath& path = mPaths[static_cast<std::size_t>(&inFrom - mContent.mKeys.data())];
            return path.At(InterpolateNumber(inFrom, inTo, 0.0, path.GetLength(), inTime));
        }
        const std::uint32_t* color = std::get_if<std::uint32_t>(&inFrom.mValue);
        if (color != nullptr && mContent.mControl == kControl_Color)
        {
            return MixColors(*color, std::get<std::uint32_t>(inTo.mValue),
                             InterpolateNumber(inFrom, inTo, 0.0, 1.0, inTime));
        }
        return inFrom.mValue;
    }

    const ParameterContent mContent;
    const norvik::UTF8String mText;
    bool mIsConstant = true;
    std::vector<PointPath> mPaths; // behind each keyframe but the last, of points
};

void MapKey(ParameterKey& ioKey, double inSlope, const TickTime& inShift)
{
    const double ticks = static_cast<double>(ioKey.mTime.GetTicks()) * inSlope;
    ioKey.mTime = inShift + TickTime(static_cast<std::int64_t>(std::llround(ticks)));
    // A path that is walked the other way round is as long.
    const double stretch = ioKey.mValue.index() == 3 ? std::abs(inSlope) : inSlope;
    ioKey.mEaseIn.mSpeed /= stretch;
    ioKey.mEaseOut.mSpeed /= stretch;
}

// What held its value up to the next keyframe now takes it right behind that one, and keeps it.
std::vector<ParameterKey> TurnedAround(const std::vector<ParameterKey>& inKeys)
{
    std::vector<ParameterKey> turned;
    turned.reserve(inKeys.size());
    for (std::size_t index = inKeys.size(); index-- > 0;)
    {
        ParameterKey key = inKeys[index];
        std::swap(key.mIncoming, key.mOutgoing);
        std::swap(key.mEaseIn, key.mEaseOut);
        std::swap(key.mTangentIn, key.mTangentOut);
        key.mIncoming = key.mIncoming == kInterpolation_Hold ? kInterpolation_Linear : key.mIncoming;
        const bool isHeldBefore = index > 0 && IsHeld(inKeys[index - 1]);
        if (isHeldBefore)
        {
            key.mOutgoing = kInterpolation_Hold;
        }
        else if (key.mOutgoing == kInterpolation_Hold)
        {
            key.mOutgoing = kInterpolation_Linear;
        }
        turned.push_back(key);
        const TickTime behind = key.mTime + TickTime(1);
        if (isHeldBefore && behind < inKeys[index - 1].mTime)
        {
            ParameterKey held = inKeys[index - 1];
            held.mTime = behind;
            held.mIncoming = kInterpolation_Linear;
            turned.push_back(held);
        }
    }
    return turned;
}

MF::IKeyframedParameterRef CreateConstant(ParameterValue inValue, std::uint32_t inControl)
{
    return CreateParameter({inControl, std::move(inValue), {}});
}

} // namespace

bool IsWellFormed(const ParameterContent& inContent)
{
    if (inContent.mKeys.size() > kMostKeyframes || !IsFinite(inContent.mValue))
    {
        return false;
    }
    for (std::size_t index = 0; index < inContent.mKeys.size(); ++index)
    {
        const ParameterKey& key = inContent.mKeys[index];
        const bool isBehind = index == 0 || inContent.mKeys[index - 1].mTime < key.mTime;
        const bool isOfType = key.mValue.index() == inContent.mKeys.front().mValue.index();
        if (!IsGood(key) || !isBehind || !isOfType)
        {
            return false;
        }
    }
    return true;
}

MF::IKeyframedParameterRef CreateParameter(ParameterContent inContent)
{
    ML_INPUT_CONTRACT(IsWellFormed(inContent), "IsWellFormed(inContent)", "ReferenceHost/Project/Parameter",
                      "Project::CreateParameter", __LINE__);
    return new Parameter(std::move(inContent));
}

MF::IKeyframedParameterRef CreateNumber(double inValue, std::uint32_t inControl)
{
    return CreateConstant(inValue, inControl);
}

MF::IKeyframedParameterRef CreateSwitch(bool inValue)
{
    return CreateConstant(inValue, kControl_Bool);
}

MF::IKeyframedParameterRef CreateChoice(std::uint32_t inValue, std::uint32_t inControl)
{
    return CreateConstant(inValue, inControl);
}

MF::IKeyframedParameterRef CreateColor(const TVK::ParamColor<std::uint32_t>& inColor)
{
    return CreateConstant(inColor.mValue, kControl_Color);
}

MF::IKeyframedParameterRef CreatePoint(double inX, double inY)
{
    return CreateConstant(PointValue{inX, inY}, kControl_Point);
}

MF::IKeyframedParameterRef CreateText(std::string_view inUTF8, std::uint32_t inControl)
{
    return CreateConstant(norvik::utility::UTF8to16(norvik::UTF8String(inUTF8.data(), inUTF8.size())),
                          inControl);
}

bool GetParameterContent(const MF::IKeyframedParameterRef& inParameter, ParameterContent& outContent)
{
    const IParameterContentRef content(inParameter);
    if (!content)
    {
        return false;
    }
    outContent = content->GetContent();
    return true;
}

MF::TemporalEase EaseOfHandle(const TickTime& inReach, double inRise, const TickTime& inDistance)
{
    const double reach = std::abs(inReach.AsSeconds());
    if (reach == 0.0 || inDistance <= norviktypes::kTime_Zero)
    {
        return {};
    }
    const double direction = inReach < norviktypes::kTime_Zero ? -1.0 : 1.0;
    return {direction * inRise / reach, std::min(1.0, reach / inDistance.AsSeconds())};
}

ParameterContent MapKeyTimes(const ParameterContent& inContent, double inSlope, const TickTime& inShift)
{
    ParameterContent mapped = inContent;
    for (ParameterKey& key : mapped.mKeys)
    {
        MapKey(key, inSlope, inShift);
    }
    if (inSlope < 0.0)
    {
        mapped.mKeys = TurnedAround(mapped.mKeys);
    }
    return mapped;
}

} // namespace Project
