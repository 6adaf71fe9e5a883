#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <utility>

#include "ReferenceHost/ImageRoutines/MotionTurned.h"

namespace ir
{
namespace
{

int Component(const ByteSource& inSource, const std::uint8_t* inPixel, std::size_t inPlace)
{
    const int alpha = inSource.isOpaque ? 255 : inPixel[3];
    const int code = inPlace == 3 ? 255 : inPixel[inPlace];
    if (inSource.isStraight)
    {
        return code * alpha * 32897 >> 16; // 128 / 255
    }
    return (inPlace == 3 ? alpha : code) << 7;
}

int Mean(int inOne, int inOther)
{
    return (inOne + inOther + 1) >> 1;
}

// The tables that were asked for last, the latest first.
class TapsStore
{
public:
    // Drawings come from all threads at all times.
    static TapsStore& Instance()
    {
        static TapsStore* const sStore = new TapsStore;
        return *sStore;
    }

    TurnedTapsPtr Find(MotionFilter inFilter, double inWidth, std::int32_t inTaps)
    {
        const std::lock_guard<std::mutex> lock(mLock);
        const auto found = std::find_if(mEntries.begin(), mEntries.end(),
                                        [&](const Entry& inEntry)
                                        {
                                            return inEntry.taps && inEntry.filter == inFilter &&
                                                   inEntry.width == inWidth && inEntry.taps->Taps() == inTaps;
                                        });
        if (found == mEntries.end())
        {
            return nullptr;
        }
        std::rotate(mEntries.begin(), found, found + 1);
        return mEntries.front().taps;
    }

    void Keep(MotionFilter inFilter, double inWidth, TurnedTapsPtr inTaps)
    {
        const std::lock_guard<std::mutex> lock(mLock);
        std::rotate(mEntries.begin(), mEntries.end() - 1, mEntries.end());
        std::swap(mEntries.front().taps, inTaps); // the one that goes is let go without the lock
        mEntries.front().filter = inFilter;
        mEntries.front().width = inWidth;
    }

private:
    struct Entry
    {
        MotionFilter filter = MotionFilter::kArea;
        double width = 0.0;
        TurnedTapsPtr taps;
    };

    std::mutex mLock;
    std::array<Entry, 8> mEntries; // a table takes up to 32 KiB
};

}

std::int32_t TurnedTaps::TapsFor(MotionFilter inFilter, double inWidth) noexcept
{
    const auto taps = static_cast<std::int32_t>(std::ceil(FilterLength(inFilter, inWidth) - 1e-6));
    return (taps + 1) / 2 * 2;
}

TurnedTaps::TurnedTaps(MotionFilter inFilter, double inWidth, std::int32_t inTaps)
    : mTaps(inTaps)
    , mHalfLength(std::llround(FilterLength(inFilter, inWidth) * 2147483648.0))
{
    mWeights.reserve(static_cast<std::size_t>(kPhases + 1) * static_cast<std::size_t>(mTaps));
    for (std::int32_t phase = 0; phase <= kPhases; ++phase)
    {
        AppendRow(inFilter, inWidth,
                  static_cast<double>(phase) / kPhases - FilterLength(inFilter, inWidth) / 2.0);
    }
    mIsLinear = FindsLinear();
}

bool TurnedTaps::FindsLinear() const noexcept
{
    bool isLinear = mTaps == 2;
    for (std::int32_t phase = 0; phase <= kPhases && isLinear; ++phase)
    {
        isLinear = Row(phase)[0] == phase * kStep && Row(phase)[1] == kOne - phase * kStep;
    }
    return isLinear;
}

TurnedTapsPtr TurnedTapsFor(MotionFilter inFilter, double inWidth, std::int32_t inTaps)
{
    TapsStore& store = TapsStore::Instance();
    TurnedTapsPtr taps = store.Find(inFilter, inWidth, inTaps);
    if (!taps)
    {
        taps = std::make_shared<TurnedTaps>(inFilter, inWidth, inTaps);
        store.Keep(inFilter, inWidth, taps);
    }
    return taps;
}

void TurnedTaps::AppendRow(MotionFilter inFilter, double inWidth, double inFirst)
{
    double weights[kMostTaps] = {};
    double sum = 0.0;
    for (std::int32_t tap = 0; tap < mTaps; ++tap)
    {
        weights[tap] = FilterWeight(inFilter, inWidth, inFirst + tap);
        sum += weights[tap];
    }
    // What rounding leaves goes to the largest, where it counts least.
    const std::ptrdiff_t largest = std::max_element(weights, weights + mTaps) - weights;
    const std::size_t row = mWeights.size();
    std::int32_t rest = kOne;
    for (std::int32_t tap = 0; tap < mTaps; ++tap)
    {
        const auto weight = static_cast<std::int32_t>(std::lround(weights[tap] / sum * kOne));
        mWeights.push_back(static_cast<std::int16_t>(weight));
        rest -= weight;
    }
    std::int16_t& most = mWeights[row + static_cast<std::size_t>(largest)];
    most = static_cast<std::int16_t>(most + rest);
}

void SumTurned(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int32_t inColumn,
               std::int32_t* outSums)
{
    const TurnedPlace u = TurnedPlaceAt(inU, inColumn);
    const TurnedPlace v = TurnedPlaceAt(inV, inColumn);
    const std::int16_t* across = inU.taps->Row(u.phase);
    const std::int16_t* down = inV.taps->Row(v.phase);
    const std::int16_t* corner =
        inGrid.pixels + (v.first - inGrid.top) * inGrid.pitch + (u.first - inGrid.left) * std::ptrdiff_t{4};
    for (int place = 0; place < 4; ++place)
    {
        outSums[place] = 0;
        for (std::int32_t column = 0; column < inU.taps->Taps(); ++column)
        {
            int sum = 0;
            for (std::int32_t row = 0; row < inV.taps->Taps(); ++row)
            {
                sum +=
                    (corner[row * inGrid.pitch + column * std::ptrdiff_t{4} + place] * down[row] + 16384) >>
                    15;
            }
            outSums[place] += sum * across[column];
        }
    }
}

namespace reference
{

void WidenBytes(const ByteSource& inSource, const std::uint8_t* inPixels, std::int16_t* outPixels,
                std::size_t inCount)
{
    for (std::size_t i = 0; i < inCount * 4; ++i)
    {
        outPixels[i] = static_cast<std::int16_t>(Component(inSource, inPixels + i / 4 * 4, i % 4));
    }
}

void HalveWidely(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                 std::int16_t* outPixels, std::size_t inCount)
{
    for (std::size_t i = 0; i < inCount * 4; ++i)
    {
        const std::size_t pixel = i / 4 * 8;
        const auto at = [&](const std::uint8_t* inPixel) { return Component(inSource, inPixel, i % 4); };
        outPixels[i] =
            static_cast<std::int16_t>(Mean(Mean(at(inUpper + pixel), at(inLower + pixel)),
                                           Mean(at(inUpper + pixel + 4), at(inLower + pixel + 4))));
    }
}

bool SampleTurned(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV,
                  std::int32_t inFirst, std::uint8_t* outPixels, std::size_t inCount)
{
    bool isOpaque = true;
    for (std::size_t i = 0; i < inCount; ++i)
    {
        std::int32_t sums[4];
        SumTurned(inGrid, inU, inV, inFirst + static_cast<std::int32_t>(i), sums);
        for (std::size_t place = 0; place < 4; ++place)
        {
            outPixels[i * 4 + place] = static_cast<std::uint8_t>(
                std::clamp((sums[place] + (1 << (kSumBits - 1))) >> kSumBits, 0, 255));
        }
        isOpaque = isOpaque && outPixels[i * 4 + 3] == 255;
    }
    return isOpaque;
}

}

}
