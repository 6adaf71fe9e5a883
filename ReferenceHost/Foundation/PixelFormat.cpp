#include "norviktypes/PixelFormat.h"

#include <algorithm>
#include <cstring>

namespace norviktypes
{

namespace
{

constexpr std::uint32_t kKindMask = 0xC0000;
constexpr std::uint32_t kKindUncompressed = 0x40000;
constexpr std::uint32_t kToneOpaque = 0x180;
constexpr std::uint32_t kFloat32 = 0x1A;
constexpr std::uint32_t kMatrixBit = 0x20;
constexpr std::uint32_t kRangeBit = 0x40;
constexpr std::uint32_t kVariantBit = 0x2000;
constexpr std::uint32_t kFamilyBits = 1 | kMatrixBit | kRangeBit;

// What a conversion costs a picture, in the order of what one would give up last. Only the order of the
// sums has a meaning.
constexpr std::uint32_t kCostOfKind = 10000;
constexpr std::uint32_t kCostOfFamily = 1000;
constexpr std::uint32_t kCostOfAlphaLost = 500;
constexpr std::uint32_t kCostOfChromaLost = 400; // a step of resolution
constexpr std::uint32_t kCostOfDepthLost = 200;  // a step of depth
constexpr std::uint32_t kCostOfLinear = 100;
constexpr std::uint32_t kCostOfChromaGained = 50;
constexpr std::uint32_t kCostOfMatrix = 30;
constexpr std::uint32_t kCostOfRange = 30;
constexpr std::uint32_t kCostOfDepthGained = 20;
constexpr std::uint32_t kCostOfAlphaKind = 10;
constexpr std::uint32_t kCostOfOrigin = 5;

const PixelFormatRow* FindByProperties(std::uint32_t inProperties) noexcept
{
    const auto found =
        std::find_if(kPixelFormatTable.begin(), kPixelFormatTable.end(),
                     [=](const PixelFormatRow& row) { return row.mFormat.mProperties == inProperties; });
    return found != kPixelFormatTable.end() ? &*found : nullptr;
}

bool Holds(const std::vector<PixelFormat>& inFormats, const PixelFormat& inFormat)
{
    return std::find(inFormats.begin(), inFormats.end(), inFormat) != inFormats.end();
}

bool HasAlpha(std::uint32_t inProperties) noexcept
{
    const std::uint32_t tone = ToneOfProperties(inProperties);
    return tone == 1 || tone == 2;
}

// Steps of colour resolution: 4:2:0, 4:2:2, 4:4:4.
std::uint32_t ChromaStep(std::uint32_t inProperties) noexcept
{
    constexpr std::uint32_t kLayout422 = 5;
    if (IsSubsampled(inProperties))
    {
        return (inProperties >> 14 & 15) == kLayout422 ? 1 : 0;
    }
    return (inProperties & 0xC00) == 0 ? 2 : 1;
}

std::uint32_t DepthStep(std::uint32_t inProperties) noexcept
{
    constexpr std::uint32_t kSteps[8] = {0, 1, 2, 2, 3, 4, 0, 0};
    return kSteps[inProperties >> 1 & 7];
}

std::uint32_t CostOfSteps(std::uint32_t inFrom, std::uint32_t inTo, std::uint32_t inLoss,
                          std::uint32_t inGain) noexcept
{
    return inTo < inFrom ? (inFrom - inTo) * inLoss : (inTo - inFrom) * inGain;
}

std::uint32_t CostOfBit(std::uint32_t inFrom, std::uint32_t inTo, std::uint32_t inBit,
                        std::uint32_t inCost) noexcept
{
    return ((inFrom ^ inTo) & inBit) != 0 ? inCost : 0;
}

std::uint32_t CostOfAlpha(std::uint32_t inFrom, std::uint32_t inTo) noexcept
{
    if (HasAlpha(inFrom) && !HasAlpha(inTo))
    {
        return kCostOfAlphaLost;
    }
    return ToneOfProperties(inFrom) != ToneOfProperties(inTo) ? kCostOfAlphaKind : 0;
}

std::uint32_t CostOfOrigin(std::uint32_t inFrom, std::uint32_t inTo) noexcept
{
    const auto isBottomUp = [](std::uint32_t properties)
    { return IsPackedFourComponent(properties) && (properties & kVariantBit) != 0; };
    return isBottomUp(inFrom) != isBottomUp(inTo) ? kCostOfOrigin : 0;
}

// Words of another kind have nothing else to compare.
std::uint32_t Distance(std::uint32_t inFrom, std::uint32_t inTo) noexcept
{
    if (((inFrom ^ inTo) & kKindMask) != 0)
    {
        return kCostOfKind;
    }
    return CostOfBit(inFrom, inTo, 1, kCostOfFamily) + CostOfAlpha(inFrom, inTo) +
           CostOfSteps(ChromaStep(inFrom), ChromaStep(inTo), kCostOfChromaLost, kCostOfChromaGained) +
           CostOfSteps(DepthStep(inFrom), DepthStep(inTo), kCostOfDepthLost, kCostOfDepthGained) +
           (IsLinear(inFrom) != IsLinear(inTo) ? kCostOfLinear : 0) +
           CostOfBit(inFrom, inTo, kMatrixBit, kCostOfMatrix) +
           CostOfBit(inFrom, inTo, kRangeBit, kCostOfRange) + CostOfOrigin(inFrom, inTo);
}

PixelFormat NearestOf(const std::vector<PixelFormat>& inAccepted, const PixelFormat& inTo)
{
    return *std::min_element(
        inAccepted.begin(), inAccepted.end(),
        [&](const PixelFormat& a, const PixelFormat& b)
        { return Distance(inTo.mProperties, a.mProperties) < Distance(inTo.mProperties, b.mProperties); });
}

} // namespace

std::uint32_t GuessNameForProperties(std::uint32_t inProperties) noexcept
{
    if ((inProperties & kKindMask) == 0)
    {
        return 0;
    }
    const PixelFormatRow* const row = FindByProperties(inProperties);
    return row ? row->mFormat.mName : kPixelFormatName_Unknown;
}

const char* PixelFormatText(const PixelFormat& inFormat) noexcept
{
    if (inFormat == kPixelFormat_Any)
    {
        return "Any";
    }
    const PixelFormatRow* const row = FindByProperties(inFormat.mProperties);
    return row && row->mFormat == inFormat ? row->mText : "Invalid";
}

bool PixelFormatFromText(const char* inText, PixelFormat& outFormat) noexcept
{
    outFormat = kPixelFormat_Invalid;
    if (!inText)
    {
        return false;
    }
    if (std::strcmp(inText, "Any") == 0)
    {
        outFormat = kPixelFormat_Any;
        return true;
    }
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        if (std::strcmp(inText, row.mText) == 0)
        {
            outFormat = row.mFormat;
            return true;
        }
    }
    return false;
}

PixelFormat Select4444PixelFormat(const PixelFormat& inFormat, RenderQuality inQuality) noexcept
{
    if (inQuality >= kRenderQuality_Max)
    {
        return kPixelFormat_BGRP_4444_32f_Linear;
    }
    const std::uint32_t properties = inFormat.mProperties;
    if (IsPackedFourComponent(properties))
    {
        return inFormat;
    }
    if (!IsUncompressed(properties))
    {
        return kPixelFormat_BGRA_4444_8u;
    }
    const std::uint32_t depth = DepthOfProperties(properties) == 8 ? 0 : kFloat32;
    const PixelFormatRow* const row =
        FindByProperties(kKindUncompressed | kToneOpaque | (properties & kFamilyBits) | depth);
    return row ? row->mFormat : kPixelFormat_BGRA_4444_8u;
}

PixelFormat SelectNearestPixelFormat(const std::vector<PixelFormat>& inWished, const PixelFormat& inFrame,
                                     const std::vector<PixelFormat>& inAccepted, RenderQuality,
                                     bool inPreferFrame)
{
    if (inWished.empty())
    {
        return kPixelFormat_Invalid;
    }
    if (inAccepted.empty())
    {
        return inWished[0];
    }
    const bool acceptsAny = Holds(inAccepted, kPixelFormat_Any);
    const bool goesByFrame = inPreferFrame && inFrame != kPixelFormat_Invalid;
    if (goesByFrame && (acceptsAny || Holds(inAccepted, inFrame)))
    {
        return inFrame;
    }
    const auto found =
        std::find_if(inWished.begin(), inWished.end(),
                     [&](const PixelFormat& wished) { return acceptsAny || Holds(inAccepted, wished); });
    return found != inWished.end() ? *found : NearestOf(inAccepted, goesByFrame ? inFrame : inWished[0]);
}

PixelFormat SelectNearestPixelFormat(const std::vector<PixelFormat>& inWished,
                                     const std::vector<PixelFormat>& inOffered, RenderQuality inQuality, bool)
{
    return SelectNearestPixelFormat(inWished, kPixelFormat_Invalid, inOffered, inQuality, false);
}

PixelFormat SelectNearestPixelFormat(const std::vector<PixelFormat>& inOffered,
                                     const std::vector<PixelFormat>& inWanted, const PixelFormat& inNoMatch,
                                     RenderQuality)
{
    if (inOffered.empty() || inWanted.empty())
    {
        return inNoMatch;
    }
    // A wildcard that both hold names nothing; it must not hide a format that both name.
    const auto found = std::find_if(inOffered.begin(), inOffered.end(),
                                    [&](const PixelFormat& offered)
                                    { return offered != kPixelFormat_Any && Holds(inWanted, offered); });
    if (found != inOffered.end())
    {
        return *found;
    }
    if (Holds(inWanted, kPixelFormat_Any))
    {
        return inOffered[0];
    }
    return Holds(inOffered, kPixelFormat_Any) ? inWanted[0] : inNoMatch;
}

} // namespace norviktypes
