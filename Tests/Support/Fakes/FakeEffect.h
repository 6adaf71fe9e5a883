// An effect of a clip that says what a test lets it say, and a chain of effects. By default an active effect with
// neither filter nor parameters.
//
// Thread-safety: fields are set before it is shared.
#pragma once

#include "BE/Effects.h"
#include "ML/VideoFilter.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace TestSupport
{

class FakeEffect : public TVK::Implements<FakeEffect, BE::IEffect>
{
public:
    bool mIsActive = true;
    bool mIsHidden = false;
    bool mIsInert = false;
    bool mIsChainDisabled = false;
    bool mDependsOnClipRange = false;
    norvik::utility::ImmutableString mMatchName;
    ML::IVideoFilterRef mFilter;
    MF::KeyframeStore mParameters;
    BE::IEffectChainRef mSubEffects;
    std::uint32_t mLayerIndex = 0;

    bool IsActive() const override { return mIsActive; }
    bool IsHidden() const override { return mIsHidden; }
    bool IsInert() const override { return mIsInert; }
    bool IsChainDisabled() const override { return mIsChainDisabled; }
    bool DependsOnClipRange() const override { return mDependsOnClipRange; }
    norvik::utility::ImmutableString GetMatchName() const override { return mMatchName; }
    ML::IVideoFilterRef GetFilter() const override { return mFilter; }
    BE::ParameterListRef GetParameters() const override
    {
        return std::make_shared<const MF::KeyframeStore>(mParameters);
    }
    BE::IEffectChainRef GetSubEffects() const override { return mSubEffects; }
    std::uint32_t GetLayerIndex() const override { return mLayerIndex; }
};
using FakeEffectRef = TVK::InterfaceRef<FakeEffect>;

class FakeEffectChain : public TVK::Implements<FakeEffectChain, BE::IEffectChain>
{
public:
    std::vector<BE::IEffectRef> mEffects; // the first is applied last

    void GetEffects(std::vector<BE::IEffectRef>& outEffects) const override { outEffects = mEffects; }
};
using FakeEffectChainRef = TVK::InterfaceRef<FakeEffectChain>;

inline FakeEffectChainRef MakeEffectChain(std::vector<BE::IEffectRef> inEffects)
{
    FakeEffectChainRef chain(new FakeEffectChain());
    chain->mEffects = std::move(inEffects);
    return chain;
}

} // namespace TestSupport
