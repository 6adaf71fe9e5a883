#include "ReferenceHost/FrameLibrary/FrameGeometry.h"

#include <algorithm>

namespace VF
{

namespace
{

using norviktypes::PixelFormat;

constexpr std::uint32_t kPackingMask = 0xC00;
constexpr std::uint32_t kPackingWords = 0x800;
constexpr std::uint32_t kPlanarLayout422 = 5;

constexpr std::uint64_t kV210GroupPixels = 6;
constexpr std::uint64_t kV210GroupBytes = 16;
// Readers and writers of v210 outside this program count on it.
constexpr std::uint64_t kV210RowAlignment = 128;

bool IsV210(std::uint32_t inProperties) noexcept
{
    return norviktypes::IsUncompressed(inProperties) && (inProperties & kPackingMask) == kPackingWords;
}

std::uint32_t PlanarLayout(std::uint32_t inProperties) noexcept
{
    return inProperties >> 14 & 15;
}

std::uint64_t SampleBytes(std::uint32_t inProperties) noexcept
{
    return norviktypes::DepthOfProperties(inProperties) > 8 ? 2 : 1;
}

std::uint64_t RoundUp(std::uint64_t inValue, std::uint64_t inStep) noexcept
{
    return (inValue + inStep - 1) / inStep * inStep;
}

// Bytes of a row that hold pixels; for a planar format those of luma.
std::uint64_t UsedBytes(std::uint32_t inProperties, std::uint64_t inWidth) noexcept
{
    if (norviktypes::IsPackedFourComponent(inProperties))
    {
        return inWidth * norviktypes::BytesPerPixel(inProperties);
    }
    if (IsV210(inProperties))
    {
        return RoundUp(inWidth, kV210GroupPixels) / kV210GroupPixels * kV210GroupBytes;
    }
    if (norviktypes::IsPacked422(inProperties))
    {
        return RoundUp(inWidth, 2) * 2;
    }
    return inWidth * SampleBytes(inProperties);
}

// What the first plane's rows must have at least: chroma rows are half as long, and of an odd width
// they hold half a pixel more.
std::uint64_t LeastRowBytes(std::uint32_t inProperties, std::uint64_t inWidth) noexcept
{
    return norviktypes::IsSubsampled(inProperties) ? RoundUp(inWidth, 2) * SampleBytes(inProperties)
                                                   : UsedBytes(inProperties, inWidth);
}

bool AppendPlane(FrameGeometry& ioGeometry, std::uint64_t inRowBytes, std::uint64_t inUsedBytes,
                 std::uint32_t inLines) noexcept
{
    FramePlane& plane = ioGeometry.mPlanes[ioGeometry.mPlaneCount++];
    plane = {ioGeometry.mTotalBytes, inRowBytes, inUsedBytes, inLines};
    std::uint64_t bytes = 0;
    return !__builtin_mul_overflow(inRowBytes, inLines, &bytes) &&
           !__builtin_add_overflow(ioGeometry.mTotalBytes, bytes, &ioGeometry.mTotalBytes);
}

bool AppendPlanes(FrameGeometry& ioGeometry, std::uint32_t inProperties, std::uint64_t inRowBytes,
                  std::uint64_t inWidth, std::uint32_t inHeight) noexcept
{
    const bool firstFits = AppendPlane(ioGeometry, inRowBytes, UsedBytes(inProperties, inWidth), inHeight);
    if (!firstFits || !norviktypes::IsSubsampled(inProperties))
    {
        return firstFits;
    }
    const std::uint64_t chromaUsed = (inWidth + 1) / 2 * SampleBytes(inProperties);
    const std::uint32_t chromaLines =
        PlanarLayout(inProperties) == kPlanarLayout422 ? inHeight : inHeight / 2 + inHeight % 2;
    return inRowBytes % 2 == 0 && AppendPlane(ioGeometry, inRowBytes / 2, chromaUsed, chromaLines) &&
           AppendPlane(ioGeometry, inRowBytes / 2, chromaUsed, chromaLines);
}

} // namespace

bool IsFrameFormat(const PixelFormat& inFormat) noexcept
{
    return std::any_of(norviktypes::kPixelFormatTable.begin(), norviktypes::kPixelFormatTable.end(),
                       [&](const norviktypes::PixelFormatRow& row) { return row.mFormat == inFormat; });
}

std::uint64_t RowBytesOfFrame(const PixelFormat& inFormat, std::uint32_t inWidth) noexcept
{
    if (!IsFrameFormat(inFormat))
    {
        return 0;
    }
    const std::uint32_t properties = inFormat.mProperties;
    if (IsV210(properties))
    {
        return RoundUp(UsedBytes(properties, inWidth), kV210RowAlignment);
    }
    const std::uint64_t alignment =
        norviktypes::IsSubsampled(properties) ? 2 * kFrameAlignment : kFrameAlignment;
    return RoundUp(LeastRowBytes(properties, inWidth), alignment);
}

bool GetFrameGeometry(const PixelFormat& inFormat, std::uint64_t inRowBytes, std::uint32_t inWidth,
                      std::uint32_t inHeight, FrameGeometry& outGeometry) noexcept
{
    outGeometry = FrameGeometry();
    if (inWidth == 0 || inHeight == 0 || !IsFrameFormat(inFormat) ||
        inRowBytes < LeastRowBytes(inFormat.mProperties, inWidth))
    {
        return false;
    }
    if (!AppendPlanes(outGeometry, inFormat.mProperties, inRowBytes, inWidth, inHeight))
    {
        outGeometry = FrameGeometry();
        return false;
    }
    return true;
}

} // namespace VF
