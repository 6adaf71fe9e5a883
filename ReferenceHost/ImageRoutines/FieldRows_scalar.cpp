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

double SampleAt(Sample inSample, const void* inRow, std::ptrdiff_t inIndex)
{
    return inSample == Sample::kByte   ? LoadAs<std::uint8_t>(inRow, inIndex)
           : inSample == Sample::kWord ? LoadAs<std::uint16_t>(inRow, inIndex)
                                       : static_cast<double>(LoadAs<float>(inRow, inIndex));
}

double Excess(const double (&inColumn)[4])
{
    return inColumn[1] + inColumn[2] - inColumn[0] - inColumn[3];
}

// Both in sixteenths.
double Sharp(const double (&inColumn)[4])
{
    return 8.0 * (inColumn[1] + inColumn[2]) + Excess(inColumn);
}

double Soft(const double (&inColumn)[4])
{
    return 8.0 * (inColumn[1] + inColumn[2]) + Excess(inColumn) / 2.0;
}

double ShareOfSoft(const FilterSamples& inSamples, const double (&inColumns)[3][4])
{
    const FilterLimits limits = inSamples.isChroma ? kChromaLimits : kLumaLimits;
    const double range = std::ldexp(1.0, limits.bitsOfRange);
    const bool isFloat = inSamples.sample == Sample::kFloat;
    double sum = 0.0;
    for (const auto& column : inColumns)
    {
        sum += std::fabs(column[1] - column[2]);
    }
    const double steps = sum * (isFloat ? 255.0 : std::ldexp(1.0, 8 - inSamples.bits));
    return std::clamp((isFloat ? steps : std::floor(steps)) - limits.first, 0.0, range) / range;
}

}

double FilteredSample(const FilterSamples& inSamples, const double (&inColumns)[3][4])
{
    const double sharp = Sharp(inColumns[1]);
    const double soft = (Soft(inColumns[0]) + 2.0 * Soft(inColumns[1]) + Soft(inColumns[2])) / 4.0;
    const double way = ShareOfSoft(inSamples, inColumns) * (soft - sharp);
    if (inSamples.sample == Sample::kFloat)
    {
        return (sharp + way) / 16.0;
    }
    const double most = std::ldexp(1.0, inSamples.bits) - 1.0;
    return std::clamp(std::floor((sharp + std::floor(way + 0.5) + 8.0) / 16.0), 0.0, most);
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

void FilterRow(const FilterSamples& inSamples, const FilterTaps& inTaps, void* outRow)
{
    const auto count = static_cast<std::ptrdiff_t>(inSamples.count);
    const auto step = static_cast<std::ptrdiff_t>(inSamples.step);
    const void* const rows[4] = {inTaps.outerAbove, inTaps.above, inTaps.below, inTaps.outerBelow};
    for (std::ptrdiff_t i = 0; i < count; ++i)
    {
        const std::ptrdiff_t places[3] = {i < step ? i : i - step, i, i + step < count ? i + step : i};
        double columns[3][4];
        for (int column = 0; column < 3; ++column)
        {
            for (int row = 0; row < 4; ++row)
            {
                columns[column][row] = SampleAt(inSamples.sample, rows[row], places[column]);
            }
        }
        const double made = FilteredSample(inSamples, columns);
        switch (inSamples.sample)
        {
        case Sample::kByte: StoreAs(static_cast<std::uint8_t>(made), outRow, i); break;
        case Sample::kWord: StoreAs(static_cast<std::uint16_t>(made), outRow, i); break;
        default: StoreAs(static_cast<float>(made), outRow, i); break;
        }
    }
}

}
