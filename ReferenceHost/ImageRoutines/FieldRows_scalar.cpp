#include "ReferenceHost/ImageRoutines/FieldRows.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace ir::reference
{
namespace
{

template <typename T>
T LoadAs(const void* inRow, std::ptrdiff_t inIndex)
{
    T value;
    std::memcpy(&value, static_cast<const unsigned char*>(inRow) + inIndex * std::ptrdiff_t{sizeof(T)},
                sizeof(T));
    return value;
}

template <typename T>
void StoreAs(T inValue, void* outRow, std::ptrdiff_t inIndex)
{
    std::memcpy(static_cast<unsigned char*>(outRow) + inIndex * std::ptrdiff_t{sizeof(T)}, &inValue,
                sizeof(T));
}

// Samples of a row by their numbers.
struct Samples
{
    FieldRowKind kind;

    bool IsFloat() const { return kind == FieldRowKind::kFloats || kind == FieldRowKind::kStraightFloats; }
    bool IsStraight() const
    {
        return kind == FieldRowKind::kStraightBytes || kind == FieldRowKind::kStraightWords ||
               kind == FieldRowKind::kStraightFloats;
    }

    std::ptrdiff_t CountIn(std::size_t inBytes) const
    {
        const auto bytes = static_cast<std::ptrdiff_t>(inBytes);
        switch (kind)
        {
        case FieldRowKind::kBytes:
        case FieldRowKind::kStraightBytes: return bytes;
        case FieldRowKind::kWords:
        case FieldRowKind::kStraightWords: return bytes / 2;
        case FieldRowKind::kTenBits: return bytes / 4 * 3;
        default: return bytes / 4;
        }
    }

    double Load(const void* inRow, std::ptrdiff_t inIndex) const
    {
        switch (kind)
        {
        case FieldRowKind::kBytes:
        case FieldRowKind::kStraightBytes: return LoadAs<std::uint8_t>(inRow, inIndex);
        case FieldRowKind::kWords:
        case FieldRowKind::kStraightWords: return LoadAs<std::uint16_t>(inRow, inIndex);
        case FieldRowKind::kTenBits:
            return (LoadAs<std::uint32_t>(inRow, inIndex / 3) >> (inIndex % 3 * 10)) & 1023U;
        default: return static_cast<double>(LoadAs<float>(inRow, inIndex));
        }
    }

    void Store(double inValue, void* outRow, std::ptrdiff_t inIndex) const
    {
        switch (kind)
        {
        case FieldRowKind::kBytes:
        case FieldRowKind::kStraightBytes:
            return StoreAs(static_cast<std::uint8_t>(inValue), outRow, inIndex);
        case FieldRowKind::kWords:
        case FieldRowKind::kStraightWords:
            return StoreAs(static_cast<std::uint16_t>(inValue), outRow, inIndex);
        case FieldRowKind::kTenBits:
        {
            const std::ptrdiff_t shift = inIndex % 3 * 10;
            const std::uint32_t others =
                LoadAs<std::uint32_t>(outRow, inIndex / 3) & 0x3FFFFFFFU & ~(1023U << shift);
            return StoreAs(others | static_cast<std::uint32_t>(inValue) << shift, outRow, inIndex / 3);
        }
        default: return StoreAs(static_cast<float>(inValue), outRow, inIndex);
        }
    }
};

struct Tap
{
    const void* row;
    double weight;
};

double WeighedMean(const Samples& inSamples, const std::vector<Tap>& inTaps, std::ptrdiff_t inIndex)
{
    const std::ptrdiff_t alphaAt = inIndex | 3;
    double sum = 0.0;
    double sumOfWeights = 0.0;
    double plain = 0.0;
    double plainWeights = 0.0;
    bool isEqual = true;
    for (const Tap& tap : inTaps)
    {
        const double sample = inSamples.Load(tap.row, inIndex);
        const double alpha = inSamples.IsStraight() ? inSamples.Load(tap.row, alphaAt) : 1.0;
        isEqual = isEqual && (!inSamples.IsStraight() || alpha == inSamples.Load(inTaps[0].row, alphaAt));
        sum += sample * alpha * tap.weight;
        sumOfWeights += alpha * tap.weight;
        plain += sample * tap.weight;
        plainWeights += tap.weight;
    }
    const bool isPlain = isEqual || sumOfWeights <= 0.0 || inIndex == alphaAt;
    return isPlain ? plain / plainWeights : sum / sumOfWeights;
}

void MakeRow(FieldRowKind inKind, const std::vector<Tap>& inTaps, void* outRow, std::size_t inBytes)
{
    const Samples samples = {inKind};
    for (std::ptrdiff_t i = 0; i < samples.CountIn(inBytes); ++i)
    {
        const double mean = WeighedMean(samples, inTaps, i);
        samples.Store(samples.IsFloat() ? mean : std::floor(mean + 0.5), outRow, i);
    }
}

double Component(Sample inSample, const void* inRow, std::ptrdiff_t inX)
{
    return inSample == Sample::kByte   ? LoadAs<std::uint8_t>(inRow, inX)
           : inSample == Sample::kWord ? LoadAs<std::uint16_t>(inRow, inX)
                                       : static_cast<double>(LoadAs<float>(inRow, inX));
}

// The sum over the components of how much the ends of a slope differ; in single precision, as told.
float Difference(Sample inSample, std::size_t inComponents, const ComponentRows& inAbove,
                 const ComponentRows& inBelow, std::ptrdiff_t inX, std::ptrdiff_t inSlope)
{
    float parts[4] = {};
    for (std::size_t i = 0; i < inComponents; ++i)
    {
        parts[i] = std::fabs(static_cast<float>(Component(inSample, inAbove.c[i], inX + inSlope)) -
                             static_cast<float>(Component(inSample, inBelow.c[i], inX - inSlope)));
    }
    return (parts[0] + parts[1]) + (parts[2] + parts[3]);
}

std::ptrdiff_t SlopeAt(Sample inSample, std::size_t inComponents, const ComponentRows& inAbove,
                       const ComponentRows& inBelow, std::ptrdiff_t inX)
{
    float least = 0.0F;
    std::ptrdiff_t slope = 0;
    for (const std::ptrdiff_t candidate : {0, -1, 1, -2, 2})
    {
        const auto at = [&](std::ptrdiff_t inPlace)
        { return Difference(inSample, inComponents, inAbove, inBelow, inPlace, candidate); };
        const float cost = (at(inX - 1) + at(inX + 1)) + at(inX);
        if (candidate == 0 || cost < least)
        {
            least = cost;
            slope = candidate;
        }
        else if (cost == least)
        {
            slope = 0;
        }
    }
    return slope;
}

void CopySample(Sample inSample, const void* inRow, std::ptrdiff_t inFrom, void* outRow, std::ptrdiff_t inTo)
{
    const std::ptrdiff_t bytes = SampleBytes(inSample);
    std::memcpy(static_cast<unsigned char*>(outRow) + inTo * bytes,
                static_cast<const unsigned char*>(inRow) + inFrom * bytes, static_cast<std::size_t>(bytes));
}

}

void MeanRow(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* outRow, std::size_t inBytes)
{
    MakeRow(inKind, {{inAbove, 1.0}, {inBelow, 1.0}}, outRow, inBytes);
}

void SmoothRow(FieldRowKind inKind, const void* inAbove, const void* inHere, const void* inBelow,
               void* outRow, std::size_t inBytes)
{
    MakeRow(inKind, {{inAbove, 1.0}, {inHere, 2.0}, {inBelow, 1.0}}, outRow, inBytes);
}

void HoldBetweenRows(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* ioRow,
                     std::size_t inBytes)
{
    const Samples samples = {inKind};
    for (std::ptrdiff_t i = 0; i < samples.CountIn(inBytes); ++i)
    {
        const auto [least, most] = std::minmax({samples.Load(inAbove, i), samples.Load(inBelow, i)});
        samples.Store(std::clamp(samples.Load(ioRow, i), least, most), ioRow, i);
    }
}

void SelectAlongEdges(Sample inSample, std::size_t inComponents, const ComponentRows& inAbove,
                      const ComponentRows& inBelow, const ComponentRows& outAbove,
                      const ComponentRows& outBelow, std::size_t inWidth)
{
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(inWidth); ++x)
    {
        const std::ptrdiff_t slope = SlopeAt(inSample, inComponents, inAbove, inBelow, x);
        for (std::size_t i = 0; i < inComponents; ++i)
        {
            CopySample(inSample, inAbove.c[i], x + slope, outAbove.c[i], x);
            CopySample(inSample, inBelow.c[i], x - slope, outBelow.c[i], x);
        }
    }
}

}
