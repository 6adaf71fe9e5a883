#include "ReferenceHost/Media/Synthetic/SyntheticSettings.h"

#include "VF/VideoFrame.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

namespace Media
{

namespace
{

// A thousand frames a second and one in a thousand seconds lie far beyond use, and keep every product of
// frames and ticks within 63 bits.
constexpr std::int64_t kMaximumRateTerm = 1000000;
constexpr double kFastestRate = 1000.0;
constexpr double kSlowestRate = 0.001;
constexpr std::int64_t kLongestTicks = std::int64_t{1} << 60;

struct NamedColor
{
    std::string_view mName;
    std::uint8_t mRed, mGreen, mBlue, mAlpha;
};

constexpr NamedColor kColors[] = {
    {"black", 0, 0, 0, 255},       {"white", 255, 255, 255, 255}, {"gray", 128, 128, 128, 255},
    {"grey", 128, 128, 128, 255},  {"red", 255, 0, 0, 255},       {"green", 0, 255, 0, 255},
    {"blue", 0, 0, 255, 255},      {"yellow", 255, 255, 0, 255},  {"cyan", 0, 255, 255, 255},
    {"magenta", 255, 0, 255, 255}, {"transparent", 0, 0, 0, 0},
};

std::string_view KindName(SyntheticKind inKind)
{
    switch (inKind)
    {
    case SyntheticKind::kBars: return "bars";
    case SyntheticKind::kColor: return "color";
    case SyntheticKind::kCounter: return "counter";
    }
    return "";
}

bool KindOfText(std::string_view inText, SyntheticKind& outKind)
{
    for (const SyntheticKind kind : {SyntheticKind::kBars, SyntheticKind::kColor, SyntheticKind::kCounter})
    {
        if (inText == KindName(kind))
        {
            outKind = kind;
            return true;
        }
    }
    return false;
}

std::vector<std::string_view> Split(std::string_view inText, char inSeparator)
{
    std::vector<std::string_view> parts;
    for (;;)
    {
        const std::size_t end = inText.find(inSeparator);
        parts.push_back(inText.substr(0, end));
        if (end == std::string_view::npos)
        {
            return parts;
        }
        inText.remove_prefix(end + 1);
    }
}

// The whole of the text as a number; nothing else.
template <class Number>
bool ParseNumber(std::string_view inText, Number& outNumber)
{
    const char* end = inText.data() + inText.size();
    const auto [stop, fault] = std::from_chars(inText.data(), end, outNumber);
    return fault == std::errc() && stop == end && !inText.empty();
}

template <class Number>
bool ParsePair(std::string_view inText, char inSeparator, Number& outFirst, Number& outSecond)
{
    const std::vector<std::string_view> parts = Split(inText, inSeparator);
    return parts.size() == 2 && ParseNumber(parts[0], outFirst) && ParseNumber(parts[1], outSecond);
}

bool ParseSize(std::string_view inText, SyntheticSettings& ioSettings, std::string& outFault)
{
    std::int64_t width = 0;
    std::int64_t height = 0;
    if (!ParsePair(inText, 'x', width, height) || width <= 0 || height <= 0)
    {
        outFault = "a size is WIDTHxHEIGHT in pixels, such as 1920x1080";
        return false;
    }
    constexpr std::int64_t kSide = VF::kMaximumFrameSide;
    if (width > kSide || height > kSide ||
        static_cast<std::uint64_t>(width * height) * 4 > VF::kMaximumFrameBytes)
    {
        outFault = fmt::format("a picture has at most {} pixels a side and {} MiB", kSide,
                               VF::kMaximumFrameBytes >> 20);
        return false;
    }
    ioSettings.mWidth = static_cast<std::int32_t>(width);
    ioSettings.mHeight = static_cast<std::int32_t>(height);
    return true;
}

bool ParseRate(std::string_view inText, SyntheticSettings& ioSettings, std::string& outFault)
{
    Ratio rate{0, 1};
    const bool isWhole = ParseNumber(inText, rate.mNumerator);
    const bool isSound = (isWhole || ParsePair(inText, '/', rate.mNumerator, rate.mDenominator)) &&
                         rate.mNumerator > 0 && rate.mDenominator > 0 &&
                         rate.mNumerator <= kMaximumRateTerm && rate.mDenominator <= kMaximumRateTerm;
    const double framesPerSecond =
        isSound ? static_cast<double>(rate.mNumerator) / static_cast<double>(rate.mDenominator) : 0.0;
    if (framesPerSecond < kSlowestRate || framesPerSecond > kFastestRate)
    {
        outFault = "a rate is frames a second, whole or as a ratio, such as 25 or 30000/1001";
        return false;
    }
    ioSettings.mRate = rate;
    return true;
}

bool ParseFields(std::string_view inText, SyntheticSettings& ioSettings, std::string& outFault)
{
    if (inText == "progressive")
    {
        ioSettings.mFieldType = norviktypes::kFieldType_Progressive;
    }
    else if (inText == "upper")
    {
        ioSettings.mFieldType = norviktypes::kFieldType_UpperFirst;
    }
    else if (inText == "lower")
    {
        ioSettings.mFieldType = norviktypes::kFieldType_LowerFirst;
    }
    else
    {
        outFault = "fields are progressive, upper or lower";
        return false;
    }
    return true;
}

bool ParsePixelAspect(std::string_view inText, SyntheticSettings& ioSettings, std::string& outFault)
{
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 0;
    if (!ParsePair(inText, '/', numerator, denominator) || numerator == 0 || denominator == 0)
    {
        outFault = "a pixel aspect ratio is WIDTH/HEIGHT, such as 64/45";
        return false;
    }
    ioSettings.mPixelAspectRatio = norviktypes::PixelAspectRatio(numerator, denominator);
    return true;
}

// Digits of a colour: three, six or eight of them.
bool ParseHexColor(std::string_view inDigits, TVK::ParamColor<std::uint32_t>& outColor)
{
    std::uint32_t value = 0;
    const char* end = inDigits.data() + inDigits.size();
    const auto [stop, fault] = std::from_chars(inDigits.data(), end, value, 16);
    if (fault != std::errc() || stop != end)
    {
        return false;
    }
    const auto byteAt = [value](int inShift) { return static_cast<std::uint8_t>(value >> inShift & 0xFF); };
    const auto nibbleAt = [value](int inShift)
    { return static_cast<std::uint8_t>((value >> inShift & 0xF) * 17); };
    switch (inDigits.size())
    {
    case 3: outColor = outColor.FromComponents(nibbleAt(8), nibbleAt(4), nibbleAt(0), 255); return true;
    case 6: outColor = outColor.FromComponents(byteAt(16), byteAt(8), byteAt(0), 255); return true;
    case 8: outColor = outColor.FromComponents(byteAt(24), byteAt(16), byteAt(8), byteAt(0)); return true;
    default: return false;
    }
}

bool ParseColor(std::string_view inText, SyntheticSettings& ioSettings, std::string& outFault)
{
    if (!inText.empty() && inText.front() == '#' && ParseHexColor(inText.substr(1), ioSettings.mColor))
    {
        return true;
    }
    for (const NamedColor& color : kColors)
    {
        if (inText == color.mName)
        {
            ioSettings.mColor =
                ioSettings.mColor.FromComponents(color.mRed, color.mGreen, color.mBlue, color.mAlpha);
            return true;
        }
    }
    outFault =
        "a colour is #rrggbb, #rrggbbaa, #rgb or one of black, white, gray, red, green, blue, yellow, cyan, "
        "magenta, transparent";
    return false;
}

// Needs the rate, so it is read when all other settings are known.
bool ParseDuration(std::string_view inText, SyntheticSettings& ioSettings, std::string& outFault)
{
    std::int64_t frames = 0;
    double seconds = 0.0;
    if (!inText.empty() && inText.back() == 's' &&
        ParseNumber(inText.substr(0, inText.size() - 1), seconds) && std::isfinite(seconds))
    {
        // The nearest whole number of frames.
        const double exact = seconds * ioSettings.FrameRate().AsFramesPerSecond();
        frames = exact < 9.0e15 ? std::llround(exact) : std::numeric_limits<std::int64_t>::max();
    }
    else if (!ParseNumber(inText, frames))
    {
        frames = 0;
    }
    if (frames <= 0)
    {
        outFault =
            "a duration is seconds, such as 10s, or a number of frames, such as 250, and at least one frame";
        return false;
    }
    if (frames > kLongestTicks / ioSettings.FrameRate().GetTicks())
    {
        outFault = "the duration is longer than the time axis";
        return false;
    }
    ioSettings.mFrameCount = frames;
    return true;
}

bool ParseSetting(std::string_view inPart, SyntheticSettings& ioSettings, std::string_view& ioDuration,
                  std::string& outFault)
{
    const std::size_t equals = inPart.find('=');
    const std::string_view key = inPart.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : inPart.substr(equals + 1);
    if (equals == std::string_view::npos)
    {
        outFault = fmt::format("'{}' is no setting (key=value)", inPart);
        return false;
    }
    if (key == "size")
    {
        return ParseSize(value, ioSettings, outFault);
    }
    if (key == "rate")
    {
        return ParseRate(value, ioSettings, outFault);
    }
    if (key == "fields")
    {
        return ParseFields(value, ioSettings, outFault);
    }
    if (key == "par")
    {
        return ParsePixelAspect(value, ioSettings, outFault);
    }
    if (key == "duration")
    {
        ioDuration = inPart.substr(equals + 1);
        return true;
    }
    outFault = fmt::format("'{}' is not one of size, rate, fields, par, duration", key);
    return false;
}

bool ParseParts(const std::vector<std::string_view>& inParts, SyntheticSettings& ioSettings,
                std::string& outFault)
{
    std::size_t next = 1;
    if (ioSettings.mKind == SyntheticKind::kColor)
    {
        if (!ParseColor(inParts[next++], ioSettings, outFault))
        {
            return false;
        }
    }
    else if (inParts.size() == 2 && inParts[1].empty())
    {
        return true;
    }
    std::string_view duration;
    for (; next < inParts.size(); ++next)
    {
        if (!ParseSetting(inParts[next], ioSettings, duration, outFault))
        {
            return false;
        }
    }
    return duration.data() == nullptr || ParseDuration(duration, ioSettings, outFault);
}

std::string_view FieldsName(norviktypes::FieldType inType)
{
    switch (inType)
    {
    case norviktypes::kFieldType_UpperFirst: return "upper";
    case norviktypes::kFieldType_LowerFirst: return "lower";
    default: return "progressive";
    }
}

} // namespace

bool IsSyntheticText(const std::string& inText)
{
    const std::size_t colon = inText.find(':');
    SyntheticKind kind = SyntheticKind::kBars;
    return colon != std::string::npos && KindOfText(std::string_view(inText).substr(0, colon), kind);
}

bool ParseSyntheticText(const std::string& inText, SyntheticSettings& outSettings, std::string& outError)
{
    const std::vector<std::string_view> parts = Split(inText, ':');
    SyntheticSettings settings;
    std::string fault = "the kinds of synthetic media are bars, color and counter";
    if (parts.size() < 2 || !KindOfText(parts[0], settings.mKind) || !ParseParts(parts, settings, fault))
    {
        outError = fmt::format("{}: {}", inText, fault);
        return false;
    }
    outSettings = settings;
    return true;
}

std::string SyntheticText(const SyntheticSettings& inSettings)
{
    std::string text(KindName(inSettings.mKind));
    if (inSettings.mKind == SyntheticKind::kColor)
    {
        const TVK::ParamColor<std::uint32_t>& color = inSettings.mColor;
        text += fmt::format(":#{:02x}{:02x}{:02x}{:02x}", color.Red(), color.Green(), color.Blue(),
                            color.Alpha());
    }
    text += fmt::format(":size={}x{}:rate={}/{}:fields={}:par={}/{}", inSettings.mWidth, inSettings.mHeight,
                        inSettings.mRate.mNumerator, inSettings.mRate.mDenominator,
                        FieldsName(inSettings.mFieldType), inSettings.mPixelAspectRatio.GetNumerator(),
                        inSettings.mPixelAspectRatio.GetDenominator());
    if (inSettings.mFrameCount != kWithoutEnd)
    {
        text += fmt::format(":duration={}", inSettings.mFrameCount);
    }
    return text;
}

} // namespace Media
