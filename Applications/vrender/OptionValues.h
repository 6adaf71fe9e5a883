#pragma once

#include "norviktypes/PixelAspectRatio.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>
#include <optional>
#include <string>

// Turns the texts of options into numbers. Each function refuses what it can't read whole with a
// ToolError (kUsage) that names the option, the value and the forms that are understood.
//
// Thread-safety: safe, pure functions.
namespace vrender
{

// Frames a second as an exact ratio, in lowest terms.
struct Rational
{
    std::int64_t mNumerator = 0;
    std::int64_t mDenominator = 1;

    friend bool operator==(const Rational&, const Rational&) = default;
};

// A side of -1 follows from the other one and the picture's shape.
struct PictureSize
{
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
};

// "25", "12.5", "30000/1001"; 23.976, 29.97, 47.952, 59.94 and 119.88 mean their exact /1001 rates.
Rational ParseRate(const std::string& inOption, const std::string& inText);

// "1280x720", "-1x720", "640x-1"; sides up to 16384.
PictureSize ParseSize(const std::string& inOption, const std::string& inText);

// "300" counts MiB; "300M", "1G", "1.5G". At least 64 MiB.
std::uint64_t ParseMemory(const std::string& inOption, const std::string& inText);

// Bits a second: "800000", "800k", "2.5M".
std::int64_t ParseBitrate(const std::string& inOption, const std::string& inText);

std::int64_t ParseInteger(const std::string& inOption, const std::string& inText, std::int64_t inLeast,
                          std::int64_t inMost);

double ParseNumber(const std::string& inOption, const std::string& inText, double inLeast, double inMost);

// How many times as fast: "2", "0.5", "-1"; from 0.001 to 1000, and as negative numbers.
double ParseSpeed(const std::string& inOption, const std::string& inText);

// "16:11", "16/11".
norviktypes::PixelAspectRatio ParseAspect(const std::string& inOption, const std::string& inText);

// The directory; nothing for "off". Names that aren't UTF-8 are refused.
std::optional<std::string> ParseDiskCache(const std::string& inOption, const std::string& inText);

// "draft" to "max"; high for an empty text.
norviktypes::RenderQuality ParseQuality(const std::string& inText);

} // namespace vrender
