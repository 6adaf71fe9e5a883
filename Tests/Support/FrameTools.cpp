#include "Tests/Support/FrameTools.h"

#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "VF/VideoFrame.h"

#include <cstring>
#include <stdexcept>

namespace TestSupport
{

MF::IVideoFrameRef NewFrame(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth,
                            std::uint32_t inHeight)
{
    MF::IVideoFrameRef frame;
    if (VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, {}, false, false) < 0)
    {
        throw std::runtime_error("a frame for the test can't be made");
    }
    return frame;
}

MF::IVideoFrameRef NewFilledFrame(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth,
                                  std::uint32_t inHeight, const std::vector<std::uint8_t>& inPixel)
{
    const MF::IVideoFrameRef frame = NewFrame(inFormat, inWidth, inHeight);
    for (std::uint32_t y = 0; y < inHeight; ++y)
    {
        for (std::uint32_t x = 0; x < inWidth; ++x)
        {
            std::memcpy(RowOf(frame, y) + x * inPixel.size(), inPixel.data(), inPixel.size());
        }
    }
    return frame;
}

std::uint8_t* RowOf(const MF::IVideoFrameRef& inFrame, std::uint32_t inRow)
{
    return static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels()) +
           static_cast<std::size_t>(inRow) *
               static_cast<std::size_t>(VF::IVideoFrameRasterRef(inFrame)->GetRowBytes());
}

std::vector<std::uint8_t> PixelAt(const MF::IVideoFrameRef& inFrame, std::uint32_t inX, std::uint32_t inY)
{
    const auto size = static_cast<std::uint32_t>(VF::IVideoFrameRasterRef(inFrame)->GetPixelStride());
    const std::uint8_t* pixel = RowOf(inFrame, inY) + inX * size;
    return {pixel, pixel + size};
}

void MakeSubstitute(const MF::IVideoFrameRef& inFrame)
{
    VF::IVideoFrameSubstituteRef(inFrame)->SetSubstitute(true);
}

void EmptyFrameCache()
{
    VF::SharedVideoFrameCache::Clear();
}

void SetFrameCacheBudget(std::uint64_t inBytes)
{
    VF::SharedVideoFrameCache::SetBudget(inBytes);
}

std::uint64_t FrameCacheBytes()
{
    return VF::SharedVideoFrameCache::GetCounters().mBytes;
}

std::uint64_t AnnouncedKeys()
{
    return VF::SharedVideoFrameCache::GetCounters().mAnnouncedKeys;
}

} // namespace TestSupport
