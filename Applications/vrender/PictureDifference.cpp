#include "Applications/vrender/PictureDifference.h"

#include "VF/VideoFrame.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace vrender
{

namespace
{

constexpr double kSteps = 255;
constexpr std::int32_t kComponents = 4;
// What stands for a component that is no number: more than any picture holds, and its square is finite.
constexpr double kNoNumber = 1e9;

struct Rows
{
    explicit Rows(const MF::IVideoFrameRef& inFrame)
        : mPixels(static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels()))
        , mRowBytes(VF::IVideoFrameRasterRef(inFrame)->GetRowBytes())
    {
    }

    template <typename Sample>
    const Sample* At(std::int32_t inRow) const
    {
        return reinterpret_cast<const Sample*>(mPixels + static_cast<std::ptrdiff_t>(inRow) * mRowBytes);
    }

    const std::uint8_t* mPixels;
    std::int32_t mRowBytes;
};

// Sums of a row of bytes fit into 64 bits, and need no rounding.
void CompareRow(const std::uint8_t* inFirst, const std::uint8_t* inSecond, std::int32_t inSamples,
                PictureDifference& ioSum)
{
    std::uint64_t squares = 0;
    std::int32_t largest = 0;
    for (std::int32_t i = 0; i < inSamples; ++i)
    {
        const std::int32_t distance = std::abs(inFirst[i] - inSecond[i]);
        largest = std::max(largest, distance);
        squares += static_cast<std::uint64_t>(distance * distance);
    }
    ioSum.mSquares += static_cast<double>(squares);
    ioSum.mLargest = std::max(ioSum.mLargest, static_cast<double>(largest));
}

double Distance(float inFirst, float inSecond)
{
    if (inFirst == inSecond || (std::isnan(inFirst) && std::isnan(inSecond)))
    {
        return 0;
    }
    const double distance = std::abs(static_cast<double>(inFirst) - static_cast<double>(inSecond)) * kSteps;
    return std::isfinite(distance) ? std::min(distance, kNoNumber) : kNoNumber;
}

void CompareRow(const float* inFirst, const float* inSecond, std::int32_t inSamples, PictureDifference& ioSum)
{
    for (std::int32_t i = 0; i < inSamples; ++i)
    {
        const double distance = Distance(inFirst[i], inSecond[i]);
        ioSum.mLargest = std::max(ioSum.mLargest, distance);
        ioSum.mSquares += distance * distance;
    }
}

template <typename Sample>
PictureDifference CompareRows(const Rows& inFirst, const Rows& inSecond, std::int32_t inWidth,
                              std::int32_t inHeight)
{
    PictureDifference difference;
    for (std::int32_t y = 0; y < inHeight; ++y)
    {
        CompareRow(inFirst.At<Sample>(y), inSecond.At<Sample>(y), inWidth * kComponents, difference);
    }
    difference.mSamples =
        static_cast<std::uint64_t>(inWidth) * static_cast<std::uint64_t>(inHeight) * kComponents;
    return difference;
}

} // namespace

void PictureDifference::Add(const PictureDifference& inOther) noexcept
{
    mLargest = std::max(mLargest, inOther.mLargest);
    mSquares += inOther.mSquares;
    mSamples += inOther.mSamples;
}

double PictureDifference::PSNR() const noexcept
{
    if (mSquares <= 0)
    {
        return std::numeric_limits<double>::infinity();
    }
    return 10 * std::log10(kSteps * kSteps * static_cast<double>(mSamples) / mSquares);
}

PictureDifference ComparePictures(const MF::IVideoFrameRef& inFirst, const MF::IVideoFrameRef& inSecond)
{
    TVK::Rect bounds;
    inFirst->GetBounds(bounds);
    norviktypes::PixelFormat format;
    inFirst->GetPixelFormat(format);
    const Rows first(inFirst);
    const Rows second(inSecond);
    return norviktypes::DepthOfProperties(format.mProperties) == 8
               ? CompareRows<std::uint8_t>(first, second, bounds.Width(), bounds.Height())
               : CompareRows<float>(first, second, bounds.Width(), bounds.Height());
}

} // namespace vrender
