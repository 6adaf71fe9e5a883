#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"

namespace ir
{

ScaleFilter FilterOf(std::int32_t inQuality) noexcept
{
    return inQuality <= 3   ? ScaleFilter::kBilinear
           : inQuality == 4 ? ScaleFilter::kBicubic
                            : ScaleFilter::kLanczos;
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
