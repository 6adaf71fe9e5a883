#include "ReferenceHost/ImageRoutines/MotionFilter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <numeric>

namespace ir
{
namespace
{

constexpr double kPi = 3.14159265358979323846;

double Sinc(double inX)
{
    return inX == 0.0 ? 1.0 : std::sin(kPi * inX) / (kPi * inX);
}

double Bicubic(double inDistance)
{
    const double x = std::fabs(inDistance);
    return x >= 2.0 ? 0.0 : x >= 1.0 ? ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0 : (1.5 * x - 2.5) * x * x + 1.0;
}

double Lanczos(double inDistance)
{
    const double x = std::fabs(inDistance);
    return x >= 3.0 ? 0.0 : Sinc(x) * Sinc(x / 3.0);
}

// A kernel and its integral from 0 on, at nodes so close that cubic pieces between them are exact to 1e-8. It is
// made at its first use, which has no way to say that there is no memory.
class Kernel
{
public:
    Kernel(double (*inFunction)(double), int inReach) noexcept : mFunction(inFunction), mReach(inReach)
    {
        double sum = 0.0;
        for (std::size_t i = 0; i <= LastNode(); ++i)
        {
            const double x = static_cast<double>(i) / kNodes;
            mIntegral[i] = sum;
            mValue[i] = inFunction(x);
            sum += Simpson(x, x + 0.5 / kNodes) + Simpson(x + 0.5 / kNodes, x + 1.0 / kNodes);
        }
    }

    double Value(double inX) const { return mFunction(inX); }
    double Reach() const { return mReach; }

    // The mean over a box of inWidth about inX, times 1 / the integral of the whole.
    double Mean(double inX, double inWidth) const
    {
        // Differences of the integral lose their digits over a narrow box, over which Simpson's rule is
        // exact.
        return inWidth < 0.05 ? Simpson(inX - inWidth / 2.0, inX + inWidth / 2.0, 1.0)
                              : (Integral(inX + inWidth / 2.0) - Integral(inX - inWidth / 2.0)) / inWidth;
    }

private:
    static constexpr int kNodes = 64;
    static constexpr int kLargestReach = 3;

    std::size_t LastNode() const { return static_cast<std::size_t>(mReach) * kNodes; }

    double Simpson(double inFrom, double inTo, double inScale) const
    {
        return (Value(inFrom) + 4.0 * Value((inFrom + inTo) / 2.0) + Value(inTo)) / 6.0 * inScale;
    }
    double Simpson(double inFrom, double inTo) const { return Simpson(inFrom, inTo, inTo - inFrom); }

    double Integral(double inX) const
    {
        const double x = std::fabs(inX);
        const double place = std::min(x, static_cast<double>(mReach)) * kNodes;
        const auto node = std::min(static_cast<std::size_t>(place), LastNode() - 1);
        const double t = place - static_cast<double>(node);
        const double slopes[2] = {mValue[node] / kNodes, mValue[node + 1] / kNodes};
        const double step = mIntegral[node + 1] - mIntegral[node];
        const double cubic =
            mIntegral[node] + t * (slopes[0] + t * (3.0 * step - 2.0 * slopes[0] - slopes[1] +
                                                    t * (slopes[0] + slopes[1] - 2.0 * step)));
        return inX < 0.0 ? -cubic : cubic;
    }

    double (*mFunction)(double);
    int mReach;
    std::array<double, kLargestReach * kNodes + 1> mValue{};
    std::array<double, kLargestReach * kNodes + 1> mIntegral{};
};

const Kernel& KernelOf(MotionFilter inFilter) noexcept
{
    static const Kernel sBicubic(Bicubic, 2);
    static const Kernel sLanczos(Lanczos, 3);
    return inFilter == MotionFilter::kBicubic ? sBicubic : sLanczos;
}

// The box over which a kernel is averaged: none where nothing is reduced, the target pixel where much is.
double BoxOf(double inWidth)
{
    return inWidth - 1.0 / inWidth;
}

// The first pixel whose middle lies within half a length of the place.
double FirstPixel(double inPlace, double inLength)
{
    return std::ceil(inPlace - inLength / 2.0 - 0.5);
}

// Rounding must not choose another way for a reduction by whole numbers.
constexpr double kWidthMargin = 1e-6;

bool IsHalvedFirst(const MotionPlan& inPlan, const MotionAxis& inAxis)
{
    return !inPlan.IsUpright() && inPlan.filter != MotionFilter::kLanczos &&
           inAxis.coverWidth >= 2.0 - kWidthMargin;
}

}

MotionFilter FilterFor(MotionFilter inFilter, double inWidth) noexcept
{
    return inWidth > kWidestKernel ? MotionFilter::kArea : inFilter;
}

MotionFilter FilterFor(const MotionPlan& inPlan, const MotionAxis& inAxis) noexcept
{
    return IsHalvedFirst(inPlan, inAxis) ? MotionFilter::kArea : FilterFor(inPlan.filter, inAxis.filterWidth);
}

std::int32_t BlockSize(const MotionPlan& inPlan, const MotionAxis& inAxis) noexcept
{
    if (inPlan.IsUpright())
    {
        return 1;
    }
    if (inAxis.filterWidth >= kMostWidths * inAxis.count)
    {
        return std::max(inAxis.count, 1);
    }
    const double least = IsHalvedFirst(inPlan, inAxis) ? 2.0 : 1.0;
    const double block = std::max(least, std::ceil(inAxis.filterWidth / kWidestKernel - kWidthMargin));
    return static_cast<std::int32_t>(std::min(block, static_cast<double>(std::max(inAxis.count, 1))));
}

double FilterLength(MotionFilter inFilter, double inWidth) noexcept
{
    return inFilter == MotionFilter::kArea ? inWidth + 1.0
                                           : 2.0 * KernelOf(inFilter).Reach() + BoxOf(inWidth);
}

double FilterWeight(MotionFilter inFilter, double inWidth, double inDistance) noexcept
{
    if (inFilter == MotionFilter::kArea)
    {
        return std::clamp((inWidth + 1.0) / 2.0 - std::fabs(inDistance), 0.0, 1.0) / inWidth;
    }
    const Kernel& kernel = KernelOf(inFilter);
    return inWidth <= 1.0 ? kernel.Value(inDistance) : kernel.Mean(inDistance, BoxOf(inWidth));
}

MotionTaps AppendTaps(const MotionAxis& inAxis, MotionFilter inFilter, double inPlace,
                      std::vector<float>& ioWeights)
{
    const MotionFilter filter = FilterFor(inFilter, inAxis.filterWidth);
    const double length = FilterLength(filter, inAxis.filterWidth);
    const double begin = FirstPixel(inPlace, length);
    const double end = std::floor(inPlace + length / 2.0 - 0.5);
    const double last = inAxis.count - 1;
    const auto first = static_cast<std::int32_t>(std::clamp(begin, 0.0, last));
    const std::int32_t count = static_cast<std::int32_t>(std::clamp(end, 0.0, last)) - first + 1;
    std::vector<double> weights(static_cast<std::size_t>(count), 0.0);
    for (double pixel = begin; pixel <= end; pixel += 1.0)
    {
        const auto at =
            static_cast<std::size_t>(std::clamp(pixel, 0.0, last)) - static_cast<std::size_t>(first);
        weights[at] += FilterWeight(filter, inAxis.filterWidth, pixel + 0.5 - inPlace);
    }
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    const auto counts = [](double inWeight) { return inWeight != 0.0; };
    const auto from = std::find_if(weights.begin(), weights.end(), counts);
    const auto to = std::find_if(weights.rbegin(), weights.rend(), counts).base();
    const MotionTaps taps = {first + static_cast<std::int32_t>(from - weights.begin()),
                             static_cast<std::int32_t>(to - from), ioWeights.size()};
    std::transform(from, to, std::back_inserter(ioWeights),
                   [sum](double inWeight) { return static_cast<float>(inWeight / sum); });
    return taps;
}

MotionPhases::MotionPhases(MotionFilter inFilter, double inWidth)
    : mLength(FilterLength(inFilter, inWidth))
    , mTaps(static_cast<std::int32_t>(std::ceil(mLength)))
{
    std::vector<double> row(static_cast<std::size_t>(mTaps));
    for (std::int32_t phase = 0; phase <= kPhases; ++phase)
    {
        const double first = static_cast<double>(phase) / kPhases - mLength / 2.0;
        for (std::int32_t tap = 0; tap < mTaps; ++tap)
        {
            row[static_cast<std::size_t>(tap)] = FilterWeight(inFilter, inWidth, first + tap);
        }
        const double sum = std::accumulate(row.begin(), row.end(), 0.0);
        for (const double weight : row)
        {
            mWeights.push_back(static_cast<float>(weight / sum));
        }
    }
    mWeights.resize(mWeights.size() + 3, 0.0F);
}

}
