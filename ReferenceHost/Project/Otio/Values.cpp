#include "ReferenceHost/Project/Otio/Values.h"

#include <algorithm>
#include <iterator>

namespace Otio
{

namespace
{

// In the order of the enumeration.
constexpr const char* kBlendWords[] = {"normal",     "multiply",     "screen",     "overlay",    "darken",
                                       "lighten",    "color-dodge",  "color-burn", "hard-light", "soft-light",
                                       "difference", "exclusion",    "hue",        "saturation", "color",
                                       "luminosity", "plus-lighter", "subtract"};

bool IsPlain(const std::array<Scalar, 2>& inPair, double inValue)
{
    return std::all_of(inPair.begin(), inPair.end(),
                       [inValue](const Scalar& inScalar)
                       { return !inScalar.IsAnimated() && inScalar.mValue == inValue; });
}

bool MovesNothing(const Transform& inTransform)
{
    return IsPlain(inTransform.mPosition, 0.5) && IsPlain(inTransform.mAnchor, 0.5) &&
           IsPlain(inTransform.mScale, 1.0) && !inTransform.mRotation.IsAnimated() &&
           inTransform.mRotation.mValue == 0.0;
}

}

const char* BlendModeWord(BlendMode inMode)
{
    return kBlendWords[static_cast<std::size_t>(inMode)];
}

bool ParseBlendMode(const std::string& inWord, BlendMode& outMode)
{
    const auto* const found = std::find(std::begin(kBlendWords), std::end(kBlendWords), inWord);
    if (found == std::end(kBlendWords))
    {
        return false;
    }
    outMode = static_cast<BlendMode>(found - std::begin(kBlendWords));
    return true;
}

bool ItemSettings::ChangesPicture() const noexcept
{
    return (mTransform && !MovesNothing(*mTransform)) ||
           (mOpacity && (mOpacity->IsAnimated() || mOpacity->mValue != 1.0)) ||
           (mBlend && *mBlend != BlendMode::kNormal);
}

}
