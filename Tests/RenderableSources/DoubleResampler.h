// A resampler that is slow and plainly right, to hold scaled frames against.
//
// In double precision, one output sample at a time: each is the weighted mean of the samples around its place,
// by the filter's own formula, widened where the picture shrinks, mirrored at the edges.
//
// Thread-safety: pure functions.
#pragma once

#include <cstdint>
#include <vector>

namespace DoubleResampler
{

enum class Filter
{
    Triangle,
    Cubic // b = 0, c = 0.5
};

// One component of a picture, row by row.
struct Plane
{
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    std::vector<double> mSamples;

    Plane() = default;
    Plane(std::uint32_t inWidth, std::uint32_t inHeight)
        : mWidth(inWidth)
        , mHeight(inHeight)
        , mSamples(std::size_t{inWidth} * inHeight)
    {
    }
    double& At(std::uint32_t inX, std::uint32_t inY) { return mSamples[std::size_t{inY} * mWidth + inX]; }
    double At(std::uint32_t inX, std::uint32_t inY) const
    {
        return mSamples[std::size_t{inY} * mWidth + inX];
    }
};

// The picture as a whole.
Plane Scale(const Plane& inSource, std::uint32_t inWidth, std::uint32_t inHeight, Filter inFilter);
// Each field from its own lines only, every line at its place in the picture.
Plane ScaleFields(const Plane& inSource, std::uint32_t inWidth, std::uint32_t inHeight, Filter inFilter);
// The lines of one field (0 upper, 1 lower) as a picture of their own.
Plane FieldOf(const Plane& inSource, std::uint32_t inParity);

} // namespace DoubleResampler
