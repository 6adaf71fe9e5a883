#include "ReferenceHost/FrameLibrary/StackedPlanes.h"

#include <cstring>

namespace VF
{

namespace
{

using norviktypes::PixelFormat;

constexpr std::uint32_t kVariantBit = 0x2000;
constexpr std::uint32_t kUnusedBits = 6; // of 16, below a sample of 10
constexpr std::uint32_t kSampleMask = 0x3FF;

constexpr std::uint32_t kV210GroupSamples = 12;
constexpr std::uint32_t kV210GroupBytes = 16;

bool IsTenBit(const PixelFormat& inFormat) noexcept
{
    return norviktypes::DepthOfProperties(inFormat.mProperties) == 10;
}

bool IsPlanar(const PixelFormat& inFormat) noexcept
{
    return norviktypes::IsSubsampled(inFormat.mProperties);
}

bool IsV210(const PixelFormat& inFormat) noexcept
{
    return IsTenBit(inFormat) && !IsPlanar(inFormat);
}

std::uint32_t ChromaLines(const PixelFormat& inFormat, std::uint32_t inHeight) noexcept
{
    constexpr std::uint32_t kLayout422 = 5;
    const bool isHalved = IsPlanar(inFormat) && (inFormat.mProperties >> 14 & 15) != kLayout422;
    return isHalved ? (inHeight + 1) / 2 : inHeight;
}

// The word of a v210 row that holds a sample, and the sample's place in it. Three samples to a word.
struct V210Place
{
    V210Place(std::uint8_t* inRow, std::uint32_t inSample) noexcept
        : mWord(inRow + inSample / kV210GroupSamples * kV210GroupBytes + inSample % kV210GroupSamples / 3 * 4)
        , mShift(inSample % 3 * 10)
    {
    }
    std::uint16_t Get() const noexcept
    {
        std::uint32_t word = 0;
        std::memcpy(&word, mWord, sizeof(word));
        return static_cast<std::uint16_t>(word >> mShift & kSampleMask);
    }
    void Add(std::uint16_t inValue) const noexcept
    {
        std::uint32_t word = 0;
        std::memcpy(&word, mWord, sizeof(word));
        word |= static_cast<std::uint32_t>(inValue & kSampleMask) << mShift;
        std::memcpy(mWord, &word, sizeof(word));
    }

    std::uint8_t* mWord;
    std::uint32_t mShift;
};

} // namespace

StackedPlanes::StackedPlanes(const FramePixels& inPixels)
    : mPixels(inPixels)
    , mChromaWidth((inPixels.mWidth + 1) / 2)
    , mRow(PNGRowBytes(HeaderOf(inPixels.mFormat, inPixels.mWidth, inPixels.mHeight)))
{
}

PNGHeader StackedPlanes::HeaderOf(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
{
    PNGHeader header;
    header.mWidth = (inWidth + 1) / 2 * 2;
    header.mHeight = inHeight + ChromaLines(inFormat, inHeight);
    header.mBits = IsTenBit(inFormat) ? 16 : 8;
    header.mSamples = PNGSamples::Gray;
    return header;
}

StackedPlanes::Samples StackedPlanes::Luma(std::uint32_t inY) const noexcept
{
    std::uint8_t* const row = mPixels.Row(0, inY);
    if (IsPlanar(mPixels.mFormat))
    {
        return {row, 0, 1, mPixels.mWidth};
    }
    const bool isFirst = (mPixels.mFormat.mProperties & kVariantBit) != 0;
    return {row, isFirst ? 0u : 1u, 2, 2 * mChromaWidth};
}

StackedPlanes::Samples StackedPlanes::Chroma(std::uint32_t inY, bool inIsV) const noexcept
{
    if (IsPlanar(mPixels.mFormat))
    {
        return {mPixels.Row(inIsV ? 2 : 1, inY), 0, 1, mChromaWidth};
    }
    const bool isLumaFirst = (mPixels.mFormat.mProperties & kVariantBit) != 0;
    return {mPixels.Row(0, inY), (isLumaFirst ? 1u : 0u) + (inIsV ? 2u : 0u), 4, mChromaWidth};
}

void StackedPlanes::Gather(const Samples& inSamples, std::size_t inAt) noexcept
{
    const bool isV210 = IsV210(mPixels.mFormat);
    for (std::uint32_t index = 0; index < inSamples.mCount; ++index)
    {
        const std::uint32_t sample = inSamples.mFirst + index * inSamples.mStep;
        if (!IsTenBit(mPixels.mFormat))
        {
            mRow[inAt + index] = inSamples.mRow[sample];
            continue;
        }
        std::uint16_t value = 0;
        if (isV210)
        {
            value = V210Place(inSamples.mRow, sample).Get();
        }
        else
        {
            std::memcpy(&value, inSamples.mRow + 2 * sample, sizeof(value));
        }
        value = static_cast<std::uint16_t>(value << kUnusedBits);
        std::memcpy(mRow.data() + 2 * (inAt + index), &value, sizeof(value));
    }
}

void StackedPlanes::Scatter(const Samples& inSamples, std::size_t inAt) const noexcept
{
    const bool isV210 = IsV210(mPixels.mFormat);
    for (std::uint32_t index = 0; index < inSamples.mCount; ++index)
    {
        const std::uint32_t sample = inSamples.mFirst + index * inSamples.mStep;
        if (!IsTenBit(mPixels.mFormat))
        {
            inSamples.mRow[sample] = mRow[inAt + index];
            continue;
        }
        std::uint16_t value = 0;
        std::memcpy(&value, mRow.data() + 2 * (inAt + index), sizeof(value));
        value = static_cast<std::uint16_t>(value >> kUnusedBits);
        if (isV210)
        {
            V210Place(inSamples.mRow, sample).Add(value);
        }
        else
        {
            std::memcpy(inSamples.mRow + 2 * sample, &value, sizeof(value));
        }
    }
}

const std::uint8_t* StackedPlanes::GetRow(std::uint32_t inY) noexcept
{
    if (inY < mPixels.mHeight)
    {
        Gather(Luma(inY), 0);
    }
    else
    {
        Gather(Chroma(inY - mPixels.mHeight, false), 0);
        Gather(Chroma(inY - mPixels.mHeight, true), mChromaWidth);
    }
    return mRow.data();
}

void StackedPlanes::RowIsThere(std::uint32_t inY) noexcept
{
    if (inY < mPixels.mHeight)
    {
        Scatter(Luma(inY), 0);
        return;
    }
    Scatter(Chroma(inY - mPixels.mHeight, false), 0);
    Scatter(Chroma(inY - mPixels.mHeight, true), mChromaWidth);
}

} // namespace VF
