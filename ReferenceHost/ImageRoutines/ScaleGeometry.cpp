#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"

#include <algorithm>
#include <cmath>

namespace ir
{

ScaleFilter FilterOf(std::int32_t inQuality) noexcept
{
    return inQuality <= 3   ? ScaleFilter::kBilinear
           : inQuality == 4 ? ScaleFilter::kBicubic
                            : ScaleFilter::kLanczos;
}

double SupportOf(ScaleFilter inFilter) noexcept
{
    return inFilter == ScaleFilter::kBilinear ? 1.0 : inFilter == ScaleFilter::kBicubic ? 2.0 : 3.0;
}

std::int32_t Mirrored(std::int32_t inIndex, std::int32_t inCount) noexcept
{
    const std::int32_t low = inIndex < 0 ? -1 - inIndex : inIndex;
    const std::int32_t high = low >= inCount ? 2 * inCount - 1 - low : low;
    return std::clamp(high, 0, inCount - 1);
}

std::int32_t PaddedSide(std::int32_t inSide, std::int32_t inShift, double inStep,
                        ScaleFilter inFilter) noexcept
{
    const std::int32_t group = 1 << inShift;
    if (inSide % group == 0)
    {
        return inSide;
    }
    // A chroma sample more than the filter's reach is for siting and for fields, whose places are shifted.
    const double reach = SupportOf(inFilter) * std::max(inStep, static_cast<double>(group)) + 2 * group;
    return (inSide + static_cast<std::int32_t>(std::ceil(reach)) + group - 1) / group * group;
}

std::int32_t RowsOfField(std::int32_t inHeight, std::int32_t inField) noexcept
{
    return inField == kIR_WholePicture ? inHeight
           : inField == kIR_UpperField ? (inHeight + 1) / 2
                                       : inHeight / 2;
}

AxisMap MapRows(std::int32_t inSourceHeight, std::int32_t inSourceField, std::int32_t inTargetHeight,
                std::int32_t inTargetField) noexcept
{
    const double frameStep = static_cast<double>(inSourceHeight) / inTargetHeight;
    if (inSourceField == kIR_WholePicture)
    {
        return {0.0, frameStep};
    }
    const double sourceParity = inSourceField == kIR_LowerField ? 1.0 : 0.0;
    if (inTargetField != kIR_WholePicture)
    {
        const double targetParity = inTargetField == kIR_LowerField ? 1.0 : 0.0;
        return {(targetParity - 0.5) * frameStep / 2.0 + 0.25 - sourceParity / 2.0, frameStep};
    }
    const std::int32_t rows = RowsOfField(inSourceHeight, inSourceField);
    if (inTargetHeight <= rows)
    {
        return {0.0, static_cast<double>(rows) / inTargetHeight};
    }
    return {(0.5 - sourceParity) * (1.0 - frameStep / 2.0), frameStep / 2.0};
}

bool CopiesRows(std::int32_t inSourceWidth, std::int32_t inSourceHeight, std::int32_t inSourceField,
                std::int32_t inTargetWidth, std::int32_t inTargetHeight, std::int32_t inTargetField) noexcept
{
    if (inSourceWidth != inTargetWidth)
    {
        return false;
    }
    if (inSourceField != kIR_WholePicture && inTargetField == kIR_WholePicture)
    {
        return RowsOfField(inSourceHeight, inSourceField) == inTargetHeight;
    }
    const bool isSameParity = inSourceField == inTargetField || inSourceField == kIR_WholePicture;
    return isSameParity && inSourceHeight == inTargetHeight;
}

}
