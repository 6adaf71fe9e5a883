#include <algorithm>
#include <cmath>
#include <vector>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/ComposePictures.h"

namespace
{

using ir::Picture;

constexpr std::int32_t kLinearQuality = 5;

bool IsSamePlace(const Picture& inSource, const Picture& inTarget)
{
    return inSource.storage == ir::Storage::kPacked4 && inTarget.storage == ir::Storage::kPacked4 &&
           inSource.sample == inTarget.sample && inSource.planes[0] == inTarget.planes[0] &&
           inSource.strides[0] == inTarget.strides[0];
}

bool IsInTheWay(const Picture& inSource, const Picture& inTarget)
{
    return ir::Overlap(inSource, inTarget) && !IsSamePlace(inSource, inTarget);
}

// Pictures of one size that are summed.
class Sum
{
public:
    Sum(const void* inTarget, std::int32_t inRowBytes, std::uint32_t inFormat, std::int32_t inWidth,
        std::int32_t inHeight) noexcept
        : mWidth(inWidth)
        , mHeight(inHeight)
        , mStatus(ir::PictureFromCode(inTarget, inRowBytes, inWidth, inHeight, inFormat, mTarget))
    {
    }

    void Add(const void* inPixels, std::int32_t inRowBytes, std::uint32_t inFormat, double inWeight)
    {
        Picture source;
        const std::int32_t status =
            ir::PictureFromCode(inPixels, inRowBytes, mWidth, mHeight, inFormat, source);
        if (mStatus != kIR_Success || status != kIR_Success)
        {
            mStatus = mStatus != kIR_Success ? mStatus : status;
            return;
        }
        if (!std::isfinite(inWeight) || IsInTheWay(source, mTarget))
        {
            mStatus = kIR_BadArgument;
            return;
        }
        mSources.push_back(source);
        mWeights.push_back(inWeight);
    }

    std::int32_t Write() const
    {
        if (mStatus == kIR_Success)
        {
            ir::MixPictures(mSources.data(), mWeights.data(), mSources.size(), mTarget);
        }
        return mStatus;
    }

private:
    std::int32_t mWidth;
    std::int32_t mHeight;
    Picture mTarget;
    std::int32_t mStatus;
    std::vector<Picture> mSources;
    std::vector<double> mWeights;
};

template <typename Work>
std::int32_t Guarded(Work inWork) noexcept
{
    try
    {
        return inWork();
    }
    catch (...)
    {
        return kIR_OutOfMemory; // nothing else is thrown below here
    }
}

bool CanBeLinear(const Picture& inTarget)
{
    return inTarget.IsRGB() && inTarget.transfer == ir::Transfer::kDisplay;
}

std::int32_t Composite(const Picture& inSource, const Picture& ioTarget, float inOpacity,
                       std::int32_t inQuality)
{
    if (ioTarget.storage != ir::Storage::kPacked4)
    {
        return kIR_UnknownFormat;
    }
    if (!std::isfinite(inOpacity) || ir::Overlap(inSource, ioTarget))
    {
        return kIR_BadArgument;
    }
    ir::CompositePictures(inSource, ioTarget, std::clamp(inOpacity, 0.0F, 1.0F),
                          inQuality >= kLinearQuality && CanBeLinear(ioTarget));
    return kIR_Success;
}

}

extern "C"
{

    int32_t IR_Composite(const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
                         void* ioTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat, int32_t inWidth,
                         int32_t inHeight, float inOpacity, int32_t inQuality)
    {
        Picture source;
        Picture target;
        std::int32_t status =
            ir::PictureFromCode(inSource, inSourceRowBytes, inWidth, inHeight, inSourceFormat, source);
        if (status == kIR_Success)
        {
            status =
                ir::PictureFromCode(ioTarget, inTargetRowBytes, inWidth, inHeight, inTargetFormat, target);
        }
        return status != kIR_Success
                   ? status
                   : Guarded([&] { return Composite(source, target, inOpacity, inQuality); });
    }

    int32_t IR_CrossDissolve(const void* inFirst, int32_t inFirstRowBytes, uint32_t inFirstFormat,
                             const void* inSecond, int32_t inSecondRowBytes, uint32_t inSecondFormat,
                             void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
                             int32_t inWidth, int32_t inHeight, float inWeightOfSecond, int32_t)
    {
        // A number that is none goes through to where it's found.
        const double weight = static_cast<double>(
            std::isfinite(inWeightOfSecond) ? std::clamp(inWeightOfSecond, 0.0F, 1.0F) : inWeightOfSecond);
        return Guarded(
            [&]
            {
                Sum sum(outTarget, inTargetRowBytes, inTargetFormat, inWidth, inHeight);
                sum.Add(inFirst, inFirstRowBytes, inFirstFormat, 1.0 - weight);
                sum.Add(inSecond, inSecondRowBytes, inSecondFormat, weight);
                return sum.Write();
            });
    }

    int32_t IR_Accumulate(const void* const inPixels[], const int32_t inRowBytes[],
                          const uint32_t inFormats[], const double inWeights[], int32_t inCount,
                          void* outTarget, int32_t inTargetRowBytes, int32_t inHeight, int32_t inWidth,
                          uint32_t inTargetFormat, int32_t)
    {
        if (inCount < 0)
        {
            return kIR_BadArgument;
        }
        if (inCount > 0 &&
            (inPixels == nullptr || inRowBytes == nullptr || inFormats == nullptr || inWeights == nullptr))
        {
            return kIR_NullPointer;
        }
        return Guarded(
            [&]
            {
                Sum sum(outTarget, inTargetRowBytes, inTargetFormat, inWidth, inHeight);
                for (std::int32_t i = 0; i < inCount; ++i)
                {
                    sum.Add(inPixels[i], inRowBytes[i], inFormats[i], inWeights[i]);
                }
                return sum.Write();
            });
    }
}
