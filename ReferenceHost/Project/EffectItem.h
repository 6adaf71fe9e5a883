// Effects on a clip, as values that a host program fills and as the objects that renders read.
//
// Motion and Opacity are effects like others, known by their match names: they say how the clip's picture lies on
// the output, and the library applies them where it composites.
//
//   Motion   0 position (point), 1 scale, or height with 3 off (percent), 2 width (percent), 3 uniform scale
//            (switch), 4 rotation (degrees), 5 anchor (point), 6 anti-flicker (0 to 1)
//   Opacity  0 opacity (percent), 1 blend mode (choice: the library's numbers, 18 is normal)
//
// Points are fractions, x to the right and y down: of the output for the position, of the picture for the anchor.
//
// Thread-safety: the objects are immutable and safe; the values belong to who fills them.
#pragma once

#include "BE/Effects.h"
#include "ML/VideoFilter.h"
#include "ReferenceHost/Project/Parameter.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Project
{

inline constexpr const char* kMatchName_Motion = "VX.ZNTR Motion";
inline constexpr const char* kMatchName_Opacity = "VX.ZNTR Opacity";

struct EffectContent
{
    norvik::utility::ImmutableString mMatchName;
    ML::IVideoFilterRef mFilter; // empty for a group only
    MF::KeyframeStore mParameters;
    bool mIsEnabled = true;
    bool mIsHidden = false;
    bool mIsInert = false;
    bool mDependsOnClipRange = false;
    std::vector<BE::IEffectRef> mSubEffects; // of a group
    std::uint32_t mLayerIndex = 0;           // as BE::IEffect::GetLayerIndex
};

// Contract: a filter or sub-effects, and no empty parameter.
BE::IEffectRef CreateEffect(EffectContent inContent);
// What an effect of this host was made of; false for one of another maker.
bool GetEffectContent(const BE::IEffectRef& inEffect, EffectContent& outContent);
// The same effect with another parameter in the place inIndex, which it has.
BE::IEffectRef WithParameter(const BE::IEffectRef& inEffect, std::size_t inIndex,
                             const MF::IKeyframedParameterRef& inParameter);
BE::IEffectRef WithEnabled(const BE::IEffectRef& inEffect, bool inIsEnabled);

// The first one in the list is applied last.
BE::IEffectChainRef CreateEffectChain(std::vector<BE::IEffectRef> inEffects);

// Empty references stand for the defaults: in the middle, full size, not turned.
struct MotionContent
{
    MF::IKeyframedParameterRef mPosition;
    MF::IKeyframedParameterRef mScale; // percent; the height where mScaleWidth is set
    MF::IKeyframedParameterRef mScaleWidth;
    MF::IKeyframedParameterRef mRotation;
    MF::IKeyframedParameterRef mAnchor;
    MF::IKeyframedParameterRef mAntiFlicker;
};
BE::IEffectRef CreateMotion(const MotionContent& inContent);

inline constexpr std::uint32_t kBlendMode_Default = 18;
// inOpacity: percent; empty: 100.
BE::IEffectRef CreateOpacity(const MF::IKeyframedParameterRef& inOpacity,
                             std::uint32_t inBlendMode = kBlendMode_Default);

} // namespace Project
