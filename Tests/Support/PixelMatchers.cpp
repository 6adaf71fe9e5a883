#include "Tests/Support/PixelMatchers.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>

namespace TestSupport
{

namespace
{

using VF::FramePixels;

std::vector<std::uint16_t> Components(const MF::IVideoFrameRef& inDeepFrame)
{
    const std::vector<std::uint8_t> bytes = PixelBytes(inDeepFrame);
    std::vector<std::uint16_t> components(bytes.size() / 2);
    std::memcpy(components.data(), bytes.data(), bytes.size());
    return components;
}

} // namespace

MF::IVideoFrameRef CopyAs(const MF::IVideoFrameRef& inFrame, const norviktypes::PixelFormat& inFormat)
{
    FramePixels pixels;
    MF::IVideoFrameRef copy;
    const bool isThere =
        VF::GetFramePixels(inFrame, pixels) &&
        VF::CreateVideoFrame(copy, inFormat, pixels.mWidth, pixels.mHeight,
                             norviktypes::kPixelAspectRatio_Square, false, false) >= 0 &&
        VF::VideoFrameManipulators::CopyFrame(inFrame, copy, norviktypes::kRenderQuality_High) >= 0;
    return isThere ? copy : MF::IVideoFrameRef();
}

std::vector<std::uint8_t> PixelBytes(const MF::IVideoFrameRef& inFrame)
{
    FramePixels pixels;
    std::vector<std::uint8_t> bytes;
    if (!VF::GetFramePixels(inFrame, pixels))
    {
        return bytes;
    }
    for (std::size_t plane = 0; plane < pixels.mGeometry.mPlaneCount; ++plane)
    {
        for (std::uint32_t line = 0; line < pixels.mGeometry.mPlanes[plane].mLines; ++line)
        {
            const std::uint8_t* const row = pixels.Row(plane, line);
            bytes.insert(bytes.end(), row, row + pixels.mGeometry.mPlanes[plane].mUsedBytes);
        }
    }
    return bytes;
}

testing::AssertionResult HaveEqualPixels(const MF::IVideoFrameRef& inA, const MF::IVideoFrameRef& inB)
{
    FramePixels a;
    FramePixels b;
    if (!VF::GetFramePixels(inA, a) || !VF::GetFramePixels(inB, b))
    {
        return testing::AssertionFailure() << "a frame's pixels can't be reached";
    }
    if (a.mFormat != b.mFormat || a.mWidth != b.mWidth || a.mHeight != b.mHeight)
    {
        return testing::AssertionFailure()
               << norviktypes::PixelFormatText(a.mFormat) << " " << a.mWidth << "x" << a.mHeight
               << " against " << norviktypes::PixelFormatText(b.mFormat) << " " << b.mWidth << "x"
               << b.mHeight;
    }
    const std::vector<std::uint8_t> bytesA = PixelBytes(inA);
    const std::vector<std::uint8_t> bytesB = PixelBytes(inB);
    const auto [atA, atB] = std::mismatch(bytesA.begin(), bytesA.end(), bytesB.begin());
    if (atA == bytesA.end())
    {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "byte " << atA - bytesA.begin() << " of the rows is " << int{*atA} << " against " << int{*atB};
}

testing::AssertionResult HaveNearPixels(const MF::IVideoFrameRef& inA, const MF::IVideoFrameRef& inB,
                                        double inTolerance)
{
    const MF::IVideoFrameRef deepA = CopyAs(inA, norviktypes::kPixelFormat_BGRA_4444_16u);
    const MF::IVideoFrameRef deepB = CopyAs(inB, norviktypes::kPixelFormat_BGRA_4444_16u);
    if (!deepA || !deepB)
    {
        return testing::AssertionFailure() << "a frame can't be converted";
    }
    const std::vector<std::uint16_t> a = Components(deepA);
    const std::vector<std::uint16_t> b = Components(deepB);
    TVK::Rect boundsA;
    TVK::Rect boundsB;
    inA->GetBounds(boundsA);
    inB->GetBounds(boundsB);
    if (boundsA != boundsB)
    {
        return testing::AssertionFailure() << "bounds differ";
    }
    int largest = 0;
    std::size_t where = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
    {
        const int difference = std::abs(int{a[i]} - int{b[i]});
        where = difference > largest ? i : where;
        largest = std::max(largest, difference);
    }
    if (largest <= inTolerance * 65535.0)
    {
        return testing::AssertionSuccess();
    }
    const auto width = static_cast<std::size_t>(boundsA.Width());
    return testing::AssertionFailure() << "component " << where % 4 << " of pixel (" << where / 4 % width
                                       << ", " << where / 4 / width << ") differs by " << largest / 65535.0;
}

testing::AssertionResult IsFilledWith(const MF::IVideoFrameRef& inFrame,
                                      const std::vector<std::uint8_t>& inPixel)
{
    const std::vector<std::uint8_t> bytes = PixelBytes(inFrame);
    if (bytes.empty() || bytes.size() % inPixel.size() != 0)
    {
        return testing::AssertionFailure() << bytes.size() << " bytes are no such pixels";
    }
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        if (bytes[i] != inPixel[i % inPixel.size()])
        {
            return testing::AssertionFailure() << "byte " << i % inPixel.size() << " of pixel "
                                               << i / inPixel.size() << " is " << int{bytes[i]};
        }
    }
    return testing::AssertionSuccess();
}

void FillWithNoise(const MF::IVideoFrameRef& inFrame, std::uint64_t inSeed)
{
    FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(inFrame, pixels));
    std::mt19937_64 random(inSeed);
    const bool isFloat = (pixels.mFormat.mProperties & 0x10) != 0;
    const std::uint64_t bytes = pixels.mGeometry.mTotalBytes;
    for (std::uint64_t at = 0; at < bytes; at += 4)
    {
        const auto bits = static_cast<std::uint32_t>(random());
        const float value = static_cast<float>(bits >> 8) / 16777216.0f;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(4, bytes - at));
        std::memcpy(pixels.mPixels + at, isFloat ? static_cast<const void*>(&value) : &bits, count);
    }
}

} // namespace TestSupport
