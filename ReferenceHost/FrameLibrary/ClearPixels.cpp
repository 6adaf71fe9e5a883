#include "ReferenceHost/FrameLibrary/ClearPixels.h"

#include <array>
#include <cstring>

namespace VF
{

namespace
{

// Sixteen bytes that repeat along a row: one float pixel, a group of v210 or several smaller pixels.
using Pattern = std::array<std::uint8_t, 16>;
static_assert(kFrameAlignment % sizeof(Pattern) == 0);

constexpr std::uint32_t kFullRangeBit = 0x40;
constexpr std::uint32_t kVariantBit = 0x2000;
constexpr std::uint32_t kFloatBit = 0x10;

template <class T, std::size_t Count>
Pattern Repeat(const T (&inValues)[Count])
{
    static_assert(sizeof(Pattern) % sizeof(inValues) == 0);
    Pattern pattern;
    for (std::size_t at = 0; at < sizeof(pattern); at += sizeof(inValues))
    {
        std::memcpy(pattern.data() + at, inValues, sizeof(inValues));
    }
    return pattern;
}

std::uint8_t BlackLuma(std::uint32_t inProperties) noexcept
{
    return (inProperties & kFullRangeBit) != 0 ? 0 : 16;
}

Pattern FourComponentBlack(std::uint32_t inProperties, bool inClearAlpha)
{
    const bool isYUV = norviktypes::IsYUV(inProperties);
    if ((inProperties & kFloatBit) != 0)
    {
        const float values[4] = {0.0f, 0.0f, 0.0f, inClearAlpha ? 0.0f : 1.0f};
        return Repeat(values);
    }
    if (norviktypes::DepthOfProperties(inProperties) == 16)
    {
        const std::uint16_t values[4] = {0, 0, 0, static_cast<std::uint16_t>(inClearAlpha ? 0 : 65535)};
        return Repeat(values);
    }
    const std::uint8_t chroma = isYUV ? 128 : 0;
    const std::uint8_t luma = isYUV ? BlackLuma(inProperties) : std::uint8_t{0};
    const std::uint8_t values[4] = {chroma, chroma, luma, static_cast<std::uint8_t>(inClearAlpha ? 0 : 255)};
    return Repeat(values);
}

Pattern Packed422Black(std::uint32_t inProperties)
{
    const std::uint8_t luma = BlackLuma(inProperties);
    const bool lumaFirst = (inProperties & kVariantBit) != 0;
    const std::uint8_t values[2] = {lumaFirst ? luma : std::uint8_t{128},
                                    lumaFirst ? std::uint8_t{128} : luma};
    return Repeat(values);
}

Pattern V210Black()
{
    constexpr std::uint32_t kLuma = 64;
    constexpr std::uint32_t kChroma = 512;
    const std::uint32_t values[2] = {kChroma | kLuma << 10 | kChroma << 20,
                                     kLuma | kChroma << 10 | kLuma << 20};
    return Repeat(values);
}

// A sample of one plane, in 8 or, four times as much, in 10 bits.
Pattern PlanarSample(std::uint32_t inProperties, std::uint8_t inCode)
{
    if (norviktypes::DepthOfProperties(inProperties) == 8)
    {
        const std::uint8_t values[1] = {inCode};
        return Repeat(values);
    }
    const std::uint16_t values[1] = {static_cast<std::uint16_t>(inCode * 4)};
    return Repeat(values);
}

Pattern BlackOfPlane(std::uint32_t inProperties, std::size_t inPlane, bool inClearAlpha)
{
    if (norviktypes::IsPackedFourComponent(inProperties))
    {
        return FourComponentBlack(inProperties, inClearAlpha);
    }
    if (norviktypes::IsPacked422(inProperties))
    {
        return Packed422Black(inProperties);
    }
    if (norviktypes::IsSubsampled(inProperties))
    {
        return PlanarSample(inProperties, inPlane == 0 ? BlackLuma(inProperties) : std::uint8_t{128});
    }
    return V210Black();
}

void FillPlane(std::uint8_t* outPlane, const FramePlane& inPlane, const Pattern& inPattern) noexcept
{
    for (std::uint64_t at = 0; at < inPlane.mRowBytes; at += sizeof(inPattern))
    {
        std::memcpy(outPlane + at, inPattern.data(), sizeof(inPattern));
    }
    for (std::uint32_t line = 1; line < inPlane.mLines; ++line)
    {
        std::memcpy(outPlane + inPlane.mRowBytes * line, outPlane, inPlane.mRowBytes);
    }
}

} // namespace

void ClearPixels(const FramePixels& inFrame, bool inClearAlpha) noexcept
{
    for (std::size_t plane = 0; plane < inFrame.mGeometry.mPlaneCount; ++plane)
    {
        FillPlane(inFrame.Row(plane, 0), inFrame.mGeometry.mPlanes[plane],
                  BlackOfPlane(inFrame.mFormat.mProperties, plane, inClearAlpha));
    }
}

} // namespace VF
