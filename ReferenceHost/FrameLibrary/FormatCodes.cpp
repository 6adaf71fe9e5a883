#include "ReferenceHost/FrameLibrary/FrameGeometry.h"
#include "VF/VideoFrame.h"

namespace VF
{

namespace
{

std::uint32_t FamilyBits(std::uint32_t inProperties) noexcept
{
    constexpr std::uint32_t kMatrix709 = 0x20;
    if (!norviktypes::IsYUV(inProperties))
    {
        return 0;
    }
    return (inProperties & kMatrix709) != 0 ? 2 : 1;
}

std::uint32_t PlanarLayoutBits(std::uint32_t inProperties) noexcept
{
    switch (inProperties >> 14 & 15)
    {
    case 9: return 0x50;
    case 5: return 0x60;
    case 3: return 0x70;
    default: return 0x40;
    }
}

std::uint32_t LayoutBits(std::uint32_t inProperties) noexcept
{
    switch (inProperties & 0xC00)
    {
    case 0x400: return (inProperties & 0x2000) != 0 ? 0x20 : 0x10;
    case 0x800: return 0x30;
    case 0xC00: return PlanarLayoutBits(inProperties);
    default: return 0;
    }
}

std::uint32_t DepthBits(std::uint32_t inProperties) noexcept
{
    switch (norviktypes::DepthOfProperties(inProperties))
    {
    case 10: return 0x300;
    case 16: return 0x200;
    case 32: return 0x100;
    default: return 0;
    }
}

std::uint32_t FlagBits(std::uint32_t inProperties) noexcept
{
    const bool isBottomUp = norviktypes::IsPackedFourComponent(inProperties) && (inProperties & 0x2000) != 0;
    return (norviktypes::IsLinear(inProperties) ? 0x800u : 0u) | ((inProperties & 0x40) != 0 ? 0x1000u : 0u) |
           (isBottomUp ? 0x2000u : 0u);
}

} // namespace

std::uint32_t BEPixelFormatToIRPixelFormat(const norviktypes::PixelFormat& inFormat) noexcept
{
    if (!IsFrameFormat(inFormat))
    {
        return 0;
    }
    const std::uint32_t properties = inFormat.mProperties;
    return FamilyBits(properties) | norviktypes::ToneOfProperties(properties) << 2 | LayoutBits(properties) |
           DepthBits(properties) | FlagBits(properties);
}

} // namespace VF
