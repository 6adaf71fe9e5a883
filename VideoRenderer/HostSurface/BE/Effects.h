// Effects as a clip carries them, and the parameter by which a clip's time is remapped.
//
// Thread-safety: safe while the project is not edited.
#pragma once

#include "MF/ITimeTransform.h"
#include "MF/KeyframedParameter.h"
#include "TVK/InterfaceRef.h"
#include "norvik/utility/Strings.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ML
{
class IVideoFilter;
}

namespace BE
{

using ParameterListRef = std::shared_ptr<const MF::KeyframeStore>;

class IEffectChain;
using IEffectChainRef = TVK::InterfaceRef<IEffectChain>;

class ML_EXPORT IEffect : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kEffect;

    virtual bool IsActive() const = 0;
    virtual bool IsHidden() const = 0;
    // Does nothing by its nature.
    virtual bool IsInert() const = 0;
    virtual bool IsChainDisabled() const = 0;
    // Its picture changes with the range of the clip that it sits on.
    virtual bool DependsOnClipRange() const = 0;
    virtual norvik::utility::ImmutableString GetMatchName() const = 0;
    // Empty for an effect that is a group of others.
    virtual TVK::InterfaceRef<ML::IVideoFilter> GetFilter() const = 0;
    // Never null.
    virtual ParameterListRef GetParameters() const = 0;
    // Empty unless the effect is a group.
    virtual IEffectChainRef GetSubEffects() const = 0;
    // For effects that look at other tracks: the place of the layer parameter, counted from 1; else 0.
    virtual std::uint32_t GetLayerIndex() const = 0;
};
using IEffectRef = TVK::InterfaceRef<IEffect>;

// In the order in which a panel lists them: the first is applied last.
class ML_EXPORT IEffectChain : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kEffectChain;

    virtual void GetEffects(std::vector<IEffectRef>& outEffects) const = 0;
};

class ML_EXPORT ITimeRemapParameter : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTimeRemapParameter;

    virtual bool IsEnabled() const = 0;
    // From media time as speed and in-point give it to the time that is shown.
    virtual MF::ITimeTransformRef GetTransform() const = 0;
    // Equal texts map alike.
    virtual norvik::UTF8String GetHashText() const = 0;
    virtual const MF::KeyframeStore& GetKeyframes() const = 0;
};
using ITimeRemapParameterRef = TVK::InterfaceRef<ITimeRemapParameter>;

} // namespace BE
