#include "ReferenceHost/Foundation/Timecode.h"

#include <algorithm>
#include <fmt/format.h>

namespace Foundation
{

namespace
{

constexpr int64_t kLongestHours = 99999; // keeps the frame count far from overflow

// Labels left out in a minute that isn't a tenth one.
int64_t DroppedPerMinute(const TimecodeRate& inRate)
{
    return NominalFramesPerSecond(inRate) / 15;
}

// The number that the label of a frame spells when labels are counted through.
int64_t LabelNumber(int64_t inFrame, const TimecodeRate& inRate)
{
    const int64_t dropped = DroppedPerMinute(inRate);
    const int64_t perMinute = NominalFramesPerSecond(inRate) * int64_t{60} - dropped;
    const int64_t perTenMinutes = perMinute * 10 + dropped;
    const int64_t tens = inFrame / perTenMinutes;
    const int64_t rest = inFrame % perTenMinutes;
    // The first minute of ten has all of its labels.
    const int64_t minutes = std::max<int64_t>(rest - dropped, 0) / perMinute;
    return inFrame + dropped * (9 * tens + minutes);
}

// Reads a group of one to inMostDigits digits and the separator behind it; none is left at the end.
bool ReadGroup(std::string_view& ioText, size_t inMostDigits, int64_t& outValue, char& outSeparator)
{
    size_t digits = 0;
    outValue = 0;
    while (digits < ioText.size() && ioText[digits] >= '0' && ioText[digits] <= '9')
    {
        outValue = outValue * 10 + (ioText[digits] - '0');
        if (++digits > inMostDigits)
        {
            return false;
        }
    }
    outSeparator = digits < ioText.size() ? ioText[digits] : '\0';
    ioText.remove_prefix(digits < ioText.size() ? digits + 1 : digits);
    return digits > 0;
}

struct Label
{
    int64_t mHours = 0;
    int64_t mMinutes = 0;
    int64_t mSeconds = 0;
    int64_t mFrames = 0;
    bool mDropFrame = false;
};

bool ReadLabel(std::string_view inText, Label& outLabel)
{
    char first = '\0';
    char second = '\0';
    char third = '\0';
    char end = '\0';
    const bool read = ReadGroup(inText, 5, outLabel.mHours, first) && first == ':' &&
                      ReadGroup(inText, 2, outLabel.mMinutes, second) && second == ':' &&
                      ReadGroup(inText, 2, outLabel.mSeconds, third) &&
                      ReadGroup(inText, 4, outLabel.mFrames, end) && end == '\0';
    outLabel.mDropFrame = third == ';' || third == '.';
    return read && (third == ':' || outLabel.mDropFrame);
}

bool IsInRange(const Label& inLabel, const TimecodeRate& inRate)
{
    if (inLabel.mHours > kLongestHours || inLabel.mMinutes > 59 || inLabel.mSeconds > 59 ||
        inLabel.mFrames >= NominalFramesPerSecond(inRate))
    {
        return false;
    }
    const bool leftOut =
        inLabel.mSeconds == 0 && inLabel.mMinutes % 10 != 0 && inLabel.mFrames < DroppedPerMinute(inRate);
    return !inLabel.mDropFrame || (SupportsDropFrame(inRate) && !leftOut);
}

} // namespace

int NominalFramesPerSecond(const TimecodeRate& inRate)
{
    const int64_t denominator = inRate.mDenominator > 0 ? inRate.mDenominator : 1;
    const int64_t rounded = (int64_t{2} * inRate.mNumerator + denominator) / (2 * denominator);
    return rounded > 1 ? static_cast<int>(rounded) : 1;
}

bool SupportsDropFrame(const TimecodeRate& inRate)
{
    const int nominal = NominalFramesPerSecond(inRate);
    return nominal % 30 == 0 &&
           int64_t{inRate.mNumerator} * 1001 == int64_t{nominal} * 1000 * inRate.mDenominator;
}

std::string FormatTimecode(int64_t inFrame, const TimecodeRate& inRate, bool inDropFrame)
{
    const bool drops = inDropFrame && SupportsDropFrame(inRate);
    const int64_t nominal = NominalFramesPerSecond(inRate);
    const int64_t frame = inFrame < 0 ? -inFrame : inFrame;
    const int64_t number = drops ? LabelNumber(frame, inRate) : frame;
    const int64_t seconds = number / nominal;
    return fmt::format("{}{:02}:{:02}:{:02}{}{:02}", inFrame < 0 ? "-" : "", seconds / 3600,
                       seconds / 60 % 60, seconds % 60, drops ? ';' : ':', number % nominal);
}

bool ParseTimecode(std::string_view inText, const TimecodeRate& inRate, int64_t& outFrame, bool& outDropFrame)
{
    const bool negative = !inText.empty() && inText.front() == '-';
    Label label;
    if (!ReadLabel(inText.substr(negative ? 1 : 0), label) || !IsInRange(label, inRate))
    {
        return false;
    }
    const int64_t minutes = label.mHours * 60 + label.mMinutes;
    int64_t frame = (minutes * 60 + label.mSeconds) * NominalFramesPerSecond(inRate) + label.mFrames;
    if (label.mDropFrame)
    {
        frame -= DroppedPerMinute(inRate) * (minutes - minutes / 10);
    }
    outFrame = negative ? -frame : frame;
    outDropFrame = label.mDropFrame;
    return true;
}

} // namespace Foundation
