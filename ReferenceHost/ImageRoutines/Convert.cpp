#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/Reference.h"

namespace ir
{

std::int32_t ConvertPictures(const Picture& inSource, const Picture& inTarget, const OverBlack& inOverBlack)
{
    if (inOverBlack.isWanted)
    {
        reference::CompositeToBlack(inSource, inTarget, static_cast<double>(inOverBlack.opacity));
        return kIR_Success;
    }
    reference::ConvertPicture(inSource, inTarget);
    return kIR_Success;
}

std::int32_t UnPremultiplyPicture(const Picture& ioPicture, const Picture& inMatte)
{
    Picture straight = inMatte;
    straight.alpha = PictureAlpha::kOpaque;
    reference::UnPremultiplyAgainstMatte(
        ioPicture, reference::ConvertPixel(reference::ReadPixel(straight, 0, 0), straight, ioPicture));
    return kIR_Success;
}

}
