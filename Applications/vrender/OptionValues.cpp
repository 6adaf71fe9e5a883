#include "Applications/vrender/OptionValues.h"

#include "Applications/vrender/ExitCodes.h"
#include "norvik/utility/Strings.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <numeric>
#include <string_view>

namespace vrender
{

namespace
{

constexpr std::int64_t kLargestSide = 16384;
// Below this not even a handful of high-definition frames fit beside the decoder's own.
constexpr double kLeastMemory = 64.0 * 1024 * 1024;

[[noreturn]] void Refuse(const std::string& inOption, const std::string& inText, const std::string& inForms)
{
    throw ToolError(ExitCode::kUsage, inOption + ": '" + inText + "' is not " + inForms);
}

template <typename Number>
bool ReadNumber(std::string_view inText, Number& outValue)
{
    const char* const end = inText.data() + inText.size();
    const auto result = std::from_chars(inText.data(), end, outValue);
    return !inText.empty() && result.ec == std::errc() && result.ptr == end;
}

// A decimal number and one letter of inUnits behind it (factors inBase, inBase^2 ...); the letters'
// case doesn't matter. A bare number is multiplied by inPlain.
bool ReadScaled(std::string_view inText, std::string_view inUnits, double inBase, double inPlain,
                double& outValue)
{
    double factor = inPlain;
    double scale = inBase;
    for (const char unit : inUnits)
    {
        if (!inText.empty() && (inText.back() | 0x20) == unit)
        {
            factor = scale;
            inText.remove_suffix(1);
            break;
        }
        scale *= inBase;
    }
    double number = 0;
    if (!ReadNumber(inText, number) || !std::isfinite(number) || number < 0)
    {
        return false;
    }
    outValue = number * factor;
    return outValue < 9.0e18;
}

// Frames a second of video whose clock runs slower by 1000/1001, as they would be without that.
constexpr std::array<std::int64_t, 5> kNominalRates = {24, 30, 48, 60, 120};

// 29.97, 23.976, 23.98 or 59.9401: what such a rate is rounded to, at least to hundredths.
bool IsRounded(std::int64_t inDigits, std::int64_t inUnit, Rational& outRate)
{
    for (const std::int64_t nominal : kNominalRates)
    {
        const std::int64_t scaled = nominal * 1000 * inUnit;
        if (inUnit >= 100 && inDigits == (2 * scaled + 1001) / (2 * 1001))
        {
            outRate = {nominal * 1000, 1001};
            return true;
        }
    }
    return false;
}

// Digits behind the point make a power of ten below the line, unless they are those of a rate that has more.
bool ReadDecimalRate(std::string_view inText, Rational& outRate)
{
    const std::size_t point = inText.find('.');
    const std::string_view fraction = point == std::string_view::npos ? "" : inText.substr(point + 1);
    std::string digits(inText.substr(0, point));
    digits += fraction;
    if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos ||
        (point != std::string_view::npos && (point == 0 || fraction.empty())))
    {
        return false;
    }
    outRate.mDenominator = 1;
    for (std::size_t i = 0; i < fraction.size(); ++i)
    {
        outRate.mDenominator *= 10;
    }
    if (!ReadNumber(digits, outRate.mNumerator))
    {
        return false;
    }
    IsRounded(outRate.mNumerator, outRate.mDenominator, outRate);
    return true;
}

bool ReadRate(std::string_view inText, Rational& outRate)
{
    const std::size_t slash = inText.find('/');
    if (slash == std::string_view::npos)
    {
        return ReadDecimalRate(inText, outRate);
    }
    return ReadNumber(inText.substr(0, slash), outRate.mNumerator) &&
           ReadNumber(inText.substr(slash + 1), outRate.mDenominator);
}

} // namespace

Rational ParseRate(const std::string& inOption, const std::string& inText)
{
    Rational rate;
    const bool read = ReadRate(inText, rate) && rate.mNumerator > 0 && rate.mDenominator > 0 &&
                      rate.mNumerator <= 1000000000 && rate.mDenominator <= 1000000000;
    const double frequency =
        read ? static_cast<double>(rate.mNumerator) / static_cast<double>(rate.mDenominator) : 0;
    if (frequency < 0.001 || frequency > 1000)
    {
        Refuse(inOption, inText, "a frame rate such as 25, 29.97 or 30000/1001, from 0.001 to 1000");
    }
    const std::int64_t divisor = std::gcd(rate.mNumerator, rate.mDenominator);
    return {rate.mNumerator / divisor, rate.mDenominator / divisor};
}

PictureSize ParseSize(const std::string& inOption, const std::string& inText)
{
    const std::size_t cross = inText.find('x');
    std::int64_t width = 0;
    std::int64_t height = 0;
    const std::string_view text = inText;
    const bool read = cross != std::string::npos && ReadNumber(text.substr(0, cross), width) &&
                      ReadNumber(text.substr(cross + 1), height);
    const auto fits = [](std::int64_t inSide)
    { return inSide == -1 || (inSide > 0 && inSide <= kLargestSide); };
    if (!read || !fits(width) || !fits(height) || (width == -1 && height == -1))
    {
        Refuse(inOption, inText, "a size such as 1280x720, -1x720 or 1280x-1, with sides up to 16384");
    }
    return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
}

std::uint64_t ParseMemory(const std::string& inOption, const std::string& inText)
{
    double bytes = 0;
    constexpr double kMebibyte = 1024.0 * 1024.0;
    if (!ReadScaled(inText, "kmgt", 1024, kMebibyte, bytes) || bytes < kLeastMemory)
    {
        Refuse(inOption, inText, "an amount of memory such as 300 (MiB), 300M or 1.5G, at least 64M");
    }
    return static_cast<std::uint64_t>(bytes);
}

std::int64_t ParseBitrate(const std::string& inOption, const std::string& inText)
{
    double bits = 0;
    if (!ReadScaled(inText, "kmg", 1000, 1, bits) || bits < 1 || bits > 1.0e12)
    {
        Refuse(inOption, inText, "a number of bits a second such as 800k or 2.5M");
    }
    return static_cast<std::int64_t>(bits);
}

std::int64_t ParseInteger(const std::string& inOption, const std::string& inText, std::int64_t inLeast,
                          std::int64_t inMost)
{
    std::int64_t value = 0;
    if (!ReadNumber(std::string_view(inText), value) || value < inLeast || value > inMost)
    {
        Refuse(inOption, inText,
               "a whole number from " + std::to_string(inLeast) + " to " + std::to_string(inMost));
    }
    return value;
}

double ParseNumber(const std::string& inOption, const std::string& inText, double inLeast, double inMost)
{
    double number = 0;
    // A NaN is in no range.
    if (!ReadNumber(std::string_view(inText), number) || !(number >= inLeast && number <= inMost))
    {
        Refuse(inOption, inText, fmt::format("a number from {:g} to {:g}", inLeast, inMost));
    }
    return number;
}

double ParseSpeed(const std::string& inOption, const std::string& inText)
{
    double speed = 0;
    // A NaN is in no range.
    if (!ReadNumber(std::string_view(inText), speed) ||
        !(std::abs(speed) >= 0.001 && std::abs(speed) <= 1000))
    {
        Refuse(inOption, inText, "a speed such as 2, 0.5 or -1, from 0.001 to 1000 forwards or backwards");
    }
    return speed;
}

norviktypes::PixelAspectRatio ParseAspect(const std::string& inOption, const std::string& inText)
{
    const std::string_view text = inText;
    const std::size_t cut = text.find_first_of(":/");
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    const bool read = cut != std::string::npos && ReadNumber(text.substr(0, cut), width) &&
                      ReadNumber(text.substr(cut + 1), height);
    constexpr std::uint32_t kMostTimes = 100; // nothing is shown in pixels that are longer
    if (!read || width == 0 || height == 0 || width > 100000 || height > 100000 ||
        width > height * kMostTimes || height > width * kMostTimes)
    {
        Refuse(inOption, inText, "a pixel aspect such as 1:1 or 16:11, at most 100 times as wide as high");
    }
    return {width, height};
}

std::optional<std::string> ParseDiskCache(const std::string& inOption, const std::string& inText)
{
    // The host names its directories in UTF-16.
    const norvik::UTF8String text(inText.begin(), inText.end());
    if (norvik::utility::UTF16to8(norvik::utility::UTF8to16(text)) != text)
    {
        Refuse(inOption, inText, "a name in UTF-8");
    }
    return inText == "off" ? std::nullopt : std::optional<std::string>(inText);
}

norviktypes::RenderQuality ParseQuality(const std::string& inText)
{
    constexpr std::array<std::string_view, 5> kNames = {"draft", "low", "medium", "high", "max"};
    for (std::size_t i = 0; i < kNames.size(); ++i)
    {
        if (inText == kNames[i])
        {
            return static_cast<norviktypes::RenderQuality>(static_cast<int>(i) +
                                                           norviktypes::kRenderQuality_Draft);
        }
    }
    return norviktypes::kRenderQuality_High;
}

} // namespace vrender
