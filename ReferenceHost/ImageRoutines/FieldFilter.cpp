#include "ReferenceHost/ImageRoutines/FieldFilter.h"

#include <algorithm>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Rows422.h"

namespace ir
{
namespace
{

bool IsPacked422(const Picture& inPicture)
{
    return inPicture.storage == Storage::kYUYV || inPicture.storage == Storage::kUYVY ||
           inPicture.storage == Storage::kV210;
}

template <typename T>
T AlphaAt(const void* inRow, std::int32_t inX)
{
    T alpha;
    std::memcpy(&alpha, static_cast<const T*>(inRow) + static_cast<std::ptrdiff_t>(inX) * 4 + 3, sizeof(T));
    return alpha;
}

template <typename T>
bool IsColumnOf(T inAlpha, const FilterTaps& inTaps, std::int32_t inX)
{
    return AlphaAt<T>(inTaps.outerAbove, inX) == inAlpha && AlphaAt<T>(inTaps.above, inX) == inAlpha &&
           AlphaAt<T>(inTaps.below, inX) == inAlpha && AlphaAt<T>(inTaps.outerBelow, inX) == inAlpha;
}

// Pixels whose surroundings aren't of one alpha, from the row of means; the others stay.
template <typename T>
void TakeMeans(const FilterTaps& inTaps, std::int32_t inWidth, const unsigned char* inMeans,
               unsigned char* ioRow)
{
    constexpr std::size_t kPixelBytes = 4 * sizeof(T);
    T alpha = AlphaAt<T>(inTaps.above, 0);
    std::int32_t columns = IsColumnOf(alpha, inTaps, 0) ? 2 : 0; // up to x that have one alpha
    for (std::int32_t x = 0; x < inWidth; ++x)
    {
        const std::int32_t next = std::min(x + 1, inWidth - 1);
        const T nextAlpha = AlphaAt<T>(inTaps.above, next);
        const bool continues = columns > 0 && nextAlpha == alpha;
        columns = !IsColumnOf(nextAlpha, inTaps, next) ? 0 : continues ? columns + 1 : 1;
        alpha = nextAlpha;
        if (columns < 3)
        {
            const std::size_t at = static_cast<std::size_t>(x) * kPixelBytes;
            std::memcpy(ioRow + at, inMeans + at, kPixelBytes);
        }
    }
}

void TakeMeansAs(Sample inSample, const FilterTaps& inTaps, std::int32_t inWidth,
                 const unsigned char* inMeans, unsigned char* ioRow)
{
    switch (inSample)
    {
    case Sample::kByte: return TakeMeans<std::uint8_t>(inTaps, inWidth, inMeans, ioRow);
    case Sample::kWord: return TakeMeans<std::uint16_t>(inTaps, inWidth, inMeans, ioRow);
    default: return TakeMeans<float>(inTaps, inWidth, inMeans, ioRow);
    }
}

}

FieldFilter::FieldFilter(const Picture& inSource, int inPlane)
    : mSource(inSource)
    , mPlane(inPlane)
    , mLast((inPlane == 0 ? inSource.height : inSource.chromaRows) - 1)
    , mIsPacked422(IsPacked422(inSource))
    , mSample(inSource.storage == Storage::kV210 ? Sample::kWord : inSource.sample)
    , mWork(kFilterWorkRows, static_cast<std::size_t>(inSource.width) * 4 + 2 * kFilterPad)
    , mMeans(1, static_cast<std::size_t>(RowBytesOf(inSource, inPlane)))
    , mRows(mIsPacked422 ? 3 * (kKept + 1) : 1, static_cast<std::size_t>(inSource.width) + kFilterPad)
{
    for (std::size_t i = 0; mIsPacked422 && i < 3 * (kKept + 1); ++i)
    {
        mSplit[i / 3].c[i % 3] = mRows.Row(i);
    }
}

FilterTaps FieldFilter::TapsAt(std::int32_t inAbove, std::int32_t inBelow) const
{
    return {mSource.Row(mPlane, std::max(inAbove - 1, 0)), mSource.Row(mPlane, inAbove),
            mSource.Row(mPlane, inBelow), mSource.Row(mPlane, std::min(inBelow + 1, mLast))};
}

const ComponentRows& FieldFilter::Split(std::int32_t inRow)
{
    const std::size_t place = static_cast<std::size_t>(inRow) % kKept;
    if (mKept[place] != inRow)
    {
        Split422Row(mSource, mSource.Row(0, inRow), mSplit[place]);
        mKept[place] = inRow;
    }
    return mSplit[place];
}

void FieldFilter::Filter(const FilterTaps& inTaps, std::size_t inStep, std::size_t inCount, bool inIsChroma,
                         void* outRow) const
{
    void* const work[kFilterWorkRows] = {mWork.Row(0), mWork.Row(1), mWork.Row(2)};
    FilterRow({mSample, mSource.bits, inIsChroma, inStep, inCount}, inTaps, outRow, work);
}

void FieldFilter::MakeSplitRow(std::int32_t inAbove, std::int32_t inBelow, unsigned char* outRow)
{
    const ComponentRows& outerAbove = Split(std::max(inAbove - 1, 0));
    const ComponentRows& above = Split(inAbove);
    const ComponentRows& below = Split(inBelow);
    const ComponentRows& outerBelow = Split(std::min(inBelow + 1, mLast));
    const ComponentRows& made = mSplit[kKept];
    for (int i = 0; i < 3; ++i)
    {
        const std::int32_t width = i == 0 ? mSource.width : mSource.ChromaWidth();
        Filter({outerAbove.c[i], above.c[i], below.c[i], outerBelow.c[i]}, 1, static_cast<std::size_t>(width),
               i != 0, made.c[i]);
    }
    Join422Row(mSource, made, outRow);
}

void FieldFilter::MakeRow(std::int32_t inAbove, std::int32_t inBelow, const Picture& inTarget,
                          std::int32_t inRow)
{
    unsigned char* row = inTarget.Row(mPlane, inRow);
    if (mIsPacked422)
    {
        MakeSplitRow(inAbove, inBelow, row);
        return;
    }
    const auto bytes = static_cast<std::size_t>(RowBytesOf(mSource, mPlane));
    const FilterTaps taps = TapsAt(inAbove, inBelow);
    const bool isPixels = mSource.storage == Storage::kPacked4;
    const std::size_t sampleBytes = mSample == Sample::kByte ? 1 : mSample == Sample::kWord ? 2 : 4;
    Filter(taps, isPixels ? 4 : 1, bytes / sampleBytes, mPlane != 0, row);
    if (mSource.HasAlpha())
    {
        MeanRow(FieldRowKindOf(mSource), taps.above, taps.below, mMeans.Row(0), bytes);
        TakeMeansAs(mSample, taps, mSource.width, mMeans.Row(0), row);
    }
}

}
