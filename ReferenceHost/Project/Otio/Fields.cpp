#include "ReferenceHost/Project/Otio/Fields.h"

#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace Otio
{

namespace
{

// Keys that a hostile object may have by the million are told of one by one only up to here.
constexpr std::size_t kMostUnknownKeys = 20;

}

std::string_view TextOf(const JsonValue& inText)
{
    return {inText.GetString(), inText.GetStringLength()};
}

const char* KindText(const JsonValue& inValue)
{
    switch (inValue.GetType())
    {
    case rapidjson::kNullType: return "null";
    case rapidjson::kFalseType: return "false";
    case rapidjson::kTrueType: return "true";
    case rapidjson::kObjectType: return "an object";
    case rapidjson::kArrayType: return "an array";
    case rapidjson::kStringType: return "a text";
    case rapidjson::kNumberType: return "a number";
    }
    return "";
}

Fields::Fields(ReadContext& inContext, const JsonValue& inObject, PathID inPath)
    : mContext(inContext)
    , mObject(inObject)
    , mPath(inPath)
{
}

const JsonValue* Fields::Find(std::string_view inKey)
{
    mKnown.push_back(inKey);
    const auto member = mObject.FindMember(
        JsonValue(rapidjson::StringRef(inKey.data(), static_cast<rapidjson::SizeType>(inKey.size()))));
    return member == mObject.MemberEnd() || member->value.IsNull() ? nullptr : &member->value;
}

const JsonValue* Fields::FindObject(std::string_view inKey)
{
    const JsonValue* const value = Find(inKey);
    if (value != nullptr && !value->IsObject())
    {
        WarnOfType(inKey, *value, "an object");
        return nullptr;
    }
    return value;
}

const JsonValue* Fields::FindArray(std::string_view inKey)
{
    const JsonValue* const value = Find(inKey);
    if (value != nullptr && !value->IsArray())
    {
        WarnOfType(inKey, *value, "an array");
        return nullptr;
    }
    return value;
}

double Fields::Number(std::string_view inKey, double inDefault)
{
    const JsonValue* const value = Find(inKey);
    if (value == nullptr)
    {
        return inDefault;
    }
    if (!value->IsNumber())
    {
        WarnOfType(inKey, *value, "a number");
        return inDefault;
    }
    if (!std::isfinite(value->GetDouble()))
    {
        mContext.mProblems.Fail("not-finite", PointerOf(inKey), "the number is not finite");
        return inDefault;
    }
    return value->GetDouble();
}

std::int64_t Fields::Integer(std::string_view inKey, std::int64_t inDefault, std::int64_t inLowest,
                             std::int64_t inHighest)
{
    const double number = Number(inKey, static_cast<double>(inDefault));
    if (number < static_cast<double>(inLowest) || number > static_cast<double>(inHighest) ||
        number != std::floor(number))
    {
        mContext.mProblems.Fail(
            "out-of-range", PointerOf(inKey),
            fmt::format("{} is not a whole number from {} to {}", number, inLowest, inHighest));
        return inDefault;
    }
    return static_cast<std::int64_t>(number);
}

std::string Fields::Text(std::string_view inKey, std::string_view inDefault)
{
    const JsonValue* const value = Find(inKey);
    if (value != nullptr && !value->IsString())
    {
        WarnOfType(inKey, *value, "a text");
    }
    return std::string(value != nullptr && value->IsString() ? TextOf(*value) : inDefault);
}

bool Fields::Truth(std::string_view inKey, bool inDefault)
{
    const JsonValue* const value = Find(inKey);
    if (value != nullptr && !value->IsBool())
    {
        WarnOfType(inKey, *value, "true or false");
    }
    return value != nullptr && value->IsBool() ? value->GetBool() : inDefault;
}

std::optional<Time> Fields::TimeAt(std::string_view inKey)
{
    const JsonValue* const value = FindObject(inKey);
    return value == nullptr ? std::nullopt : std::optional<Time>(ReadTime(*value, PathOf(inKey)));
}

std::optional<Range> Fields::RangeAt(std::string_view inKey)
{
    const JsonValue* const value = FindObject(inKey);
    if (value == nullptr)
    {
        return std::nullopt;
    }
    Fields fields(mContext, *value, PathOf(inKey));
    Range range;
    range.mPath = fields.Path();
    range.mStart = fields.TimeAt("start_time").value_or(Time());
    range.mDuration = fields.TimeAt("duration").value_or(Time());
    if (range.Duration() < norviktypes::kTime_Zero)
    {
        mContext.mProblems.Fail("negative-duration", fields.PointerOf("duration"),
                                "a negative duration; taken as zero");
        range.mDuration.mTime = norviktypes::kTime_Zero;
    }
    fields.Skip("OTIO_SCHEMA");
    fields.ReportUnknown("TimeRange.1");
    return range;
}

void Fields::ReportUnknown(std::string_view inWhat) const
{
    std::size_t unknown = 0;
    for (const auto& member : mObject.GetObject())
    {
        const std::string_view key = TextOf(member.name);
        if (std::find(mKnown.begin(), mKnown.end(), key) != mKnown.end())
        {
            continue;
        }
        if (++unknown <= kMostUnknownKeys)
        {
            mContext.mProblems.Warn("unknown-key", PointerOf(key),
                                    fmt::format("{} has no such key; ignored", inWhat));
        }
    }
    if (unknown > kMostUnknownKeys)
    {
        mContext.mProblems.Warn("unknown-key", mContext.Pointer(mPath),
                                fmt::format("{} more unknown keys; ignored", unknown - kMostUnknownKeys));
    }
}

void Fields::WarnOfType(std::string_view inKey, const JsonValue& inValue, const char* inExpected)
{
    mContext.mProblems.Warn("wrong-type", PointerOf(inKey),
                            fmt::format("{} where {} is expected; ignored", KindText(inValue), inExpected));
}

Time Fields::ReadTime(const JsonValue& inValue, PathID inPath)
{
    Fields fields(mContext, inValue, inPath);
    const JsonValue* const value = fields.Find("value");
    const JsonValue* const rate = fields.Find("rate");
    Time time;
    if ((value != nullptr && !value->IsNumber()) || (rate != nullptr && !rate->IsNumber()))
    {
        mContext.mProblems.Fail("bad-time", mContext.Pointer(inPath),
                                "a time needs the numbers \"value\" and \"rate\"; taken as zero");
        return time;
    }
    const double rateNumber = rate == nullptr ? 1.0 : rate->GetDouble();
    const TimeFault fault =
        ToTicks(value == nullptr ? 0.0 : value->GetDouble(), rateNumber, time.mTime, time.mRate);
    if (fault != TimeFault::kFine)
    {
        mContext.mProblems.Fail("bad-time", mContext.Pointer(inPath),
                                fmt::format("{}; taken as zero", TimeFaultText(fault)));
    }
    else if (time.mRate.IsCountable() && !IsUsualRate(rateNumber))
    {
        mContext.mProblems.Warn(
            "unusual-rate", fields.PointerOf("rate"),
            fmt::format("{} frames a second is no usual rate; taken as written", rateNumber));
    }
    fields.Skip("OTIO_SCHEMA");
    fields.ReportUnknown("RationalTime.1");
    return time;
}

}
