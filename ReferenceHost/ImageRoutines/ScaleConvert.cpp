#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/Reference.h"

namespace ir
{

std::int32_t ScalePictures(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
                           std::int32_t inTargetField, std::int32_t inQuality)
{
    const bool isWhole = inSourceField == kIR_WholePicture && inTargetField == kIR_WholePicture;
    if (isWhole && inSource.width == inTarget.width && inSource.height == inTarget.height)
    {
        return ConvertPictures(inSource, inTarget);
    }
    reference::ScalePicture(inSource, inSourceField, inTarget, inTargetField, inQuality);
    return kIR_Success;
}

}
