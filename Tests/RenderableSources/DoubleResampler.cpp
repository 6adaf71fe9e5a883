#include "Tests/RenderableSources/DoubleResampler.h"

#include <algorithm>
#include <cmath>

namespace DoubleResampler
{

namespace
{

double Reach(Filter inFilter)
{
    return inFilter == Filter::Triangle ? 1 : 2;
}

double Weight(Filter inFilter, double inX)
{
    const double x = std::fabs(inX);
    if (x >= Reach(inFilter))
    {
        return 0;
    }
    if (inFilter == Filter::Triangle)
    {
        return 1 - x;
    }
    return x < 1 ? 1 - 2.5 * x * x + 1.5 * x * x * x : 2 - 4 * x + 2.5 * x * x - 0.5 * x * x * x;
}

std::uint32_t Mirrored(std::int64_t inIndex, std::uint32_t inCount)
{
    const std::int64_t count = inCount;
    const std::int64_t period = 2 * count;
    const std::int64_t index = ((inIndex % period) + period) % period;
    return static_cast<std::uint32_t>(index < count ? index : period - 1 - index);
}

// The value at inPlace (middles of samples are whole numbers) of inCount samples, inStep of which make one of
// the result.
template <class SampleAt>
double Interpolate(const SampleAt& inSampleAt, std::uint32_t inCount, double inPlace, double inStep,
                   Filter inFilter)
{
    const double width = std::max(1.0, inStep);
    const auto first = static_cast<std::int64_t>(std::ceil(inPlace - Reach(inFilter) * width));
    const auto last = static_cast<std::int64_t>(std::floor(inPlace + Reach(inFilter) * width));
    double sum = 0;
    double weights = 0;
    for (std::int64_t index = first; index <= last; ++index)
    {
        const double weight = Weight(inFilter, (static_cast<double>(index) - inPlace) / width);
        sum += weight * inSampleAt(Mirrored(index, inCount));
        weights += weight;
    }
    return sum / weights;
}

Plane ScaleWidth(const Plane& inSource, std::uint32_t inWidth, Filter inFilter)
{
    const double step = static_cast<double>(inSource.mWidth) / inWidth;
    Plane target(inWidth, inSource.mHeight);
    for (std::uint32_t y = 0; y < target.mHeight; ++y)
    {
        for (std::uint32_t x = 0; x < inWidth; ++x)
        {
            target.At(x, y) = Interpolate([&](std::uint32_t inX) { return inSource.At(inX, y); },
                                          inSource.mWidth, (x + 0.5) * step - 0.5, step, inFilter);
        }
    }
    return target;
}

} // namespace

Plane FieldOf(const Plane& inSource, std::uint32_t inParity)
{
    Plane field(inSource.mWidth, (inSource.mHeight + 1 - inParity) / 2);
    for (std::uint32_t y = 0; y < field.mHeight; ++y)
    {
        for (std::uint32_t x = 0; x < field.mWidth; ++x)
        {
            field.At(x, y) = inSource.At(x, 2 * y + inParity);
        }
    }
    return field;
}

Plane Scale(const Plane& inSource, std::uint32_t inWidth, std::uint32_t inHeight, Filter inFilter)
{
    const Plane source = ScaleWidth(inSource, inWidth, inFilter);
    const double step = static_cast<double>(source.mHeight) / inHeight;
    Plane target(inWidth, inHeight);
    for (std::uint32_t y = 0; y < inHeight; ++y)
    {
        for (std::uint32_t x = 0; x < inWidth; ++x)
        {
            target.At(x, y) = Interpolate([&](std::uint32_t inY) { return source.At(x, inY); },
                                          source.mHeight, (y + 0.5) * step - 0.5, step, inFilter);
        }
    }
    return target;
}

Plane ScaleFields(const Plane& inSource, std::uint32_t inWidth, std::uint32_t inHeight, Filter inFilter)
{
    const double step = static_cast<double>(inSource.mHeight) / inHeight;
    Plane target(inWidth, inHeight);
    for (const std::uint32_t parity : {0u, 1u})
    {
        const Plane field = ScaleWidth(FieldOf(inSource, parity), inWidth, inFilter);
        for (std::uint32_t y = parity; y < inHeight; y += 2)
        {
            // From the middle of the line in the picture to lines of the field, two of the picture apart.
            const double place = ((y + 0.5) * step - (parity + 0.5)) / 2;
            for (std::uint32_t x = 0; x < inWidth; ++x)
            {
                target.At(x, y) = Interpolate([&](std::uint32_t inY) { return field.At(x, inY); },
                                              field.mHeight, place, step, inFilter);
            }
        }
    }
    return target;
}

} // namespace DoubleResampler
