#include "ReferenceHost/Project/EffectItem.h"

#include "TVK/Allocated.h"
#include "norvik/config/Contract.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Project
{

namespace
{

// A face by which this host knows its own effects.
class IEffectContent : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"1C3A0F5E-7D0B-4E7D-8F0C-6E2B4D9A7C11"};

    virtual const EffectContent& GetContent() const = 0;
};
using IEffectContentRef = TVK::InterfaceRef<IEffectContent>;

class EffectChain final : public TVK::Implements<EffectChain, BE::IEffectChain>
{
public:
    explicit EffectChain(std::vector<BE::IEffectRef> inEffects) : mEffects(std::move(inEffects)) {}

    void GetEffects(std::vector<BE::IEffectRef>& outEffects) const override { outEffects = mEffects; }

private:
    const std::vector<BE::IEffectRef> mEffects;
};

class Effect final : public TVK::Implements<Effect, BE::IEffect, IEffectContent>
{
public:
    explicit Effect(EffectContent inContent)
        : mContent(std::move(inContent))
        , mParameters(std::make_shared<const MF::KeyframeStore>(mContent.mParameters))
    {
        if (!mContent.mSubEffects.empty())
        {
            mSubEffects = CreateEffectChain(mContent.mSubEffects);
        }
    }

    const EffectContent& GetContent() const override { return mContent; }

    bool IsActive() const override { return mContent.mIsEnabled; }
    bool IsHidden() const override { return mContent.mIsHidden; }
    bool IsInert() const override { return mContent.mIsInert; }
    bool IsChainDisabled() const override { return false; }
    bool DependsOnClipRange() const override { return mContent.mDependsOnClipRange; }
    norvik::utility::ImmutableString GetMatchName() const override { return mContent.mMatchName; }
    ML::IVideoFilterRef GetFilter() const override { return mContent.mFilter; }
    BE::ParameterListRef GetParameters() const override { return mParameters; }
    BE::IEffectChainRef GetSubEffects() const override { return mSubEffects; }
    std::uint32_t GetLayerIndex() const override { return mContent.mLayerIndex; }

private:
    const EffectContent mContent;
    const BE::ParameterListRef mParameters;
    BE::IEffectChainRef mSubEffects;
};

// Stands for an effect that the library applies itself. Asked to render, it has nothing to add.
class IntrinsicFilter final : public TVK::Implements<IntrinsicFilter, ML::IVideoFilter>
{
public:
    explicit IntrinsicFilter(const char* inMatchName)
        : mMatchName(norvik::utility::ImmutableString::CreateDynamic(inMatchName))
    {
    }

    norvik::utility::ImmutableString GetMatchName() const override { return mMatchName; }
    void GetPixelFormats(const MF::IVideoFrameRef&, const norviktypes::PixelFormat& inFormat,
                         std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        outFormats.assign(1, inFormat);
    }
    bool VariesByItself() const override { return false; }
    bool HasOpaqueData() const override { return false; }
    std::int32_t GetOpaqueData(MF::BinaryData&) const override { return TVK::kInterfaceNotSupported; }
    std::uint32_t GetRuntimeInstanceID() const override { return 0; }
    bool WantsClipNames() const override { return false; }
    void GetStreamLabels(std::vector<norvik::utility::ImmutableString>& outLabels) const override
    {
        outLabels.clear();
    }
    // A picture that is moved or seen through lets the tracks beneath show.
    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }
    std::int32_t Render(const ML::VideoFilterRender&, const MF::IVideoFrameRef& inFrame,
                        MF::IVideoFrameRef& outFrame) override
    {
        outFrame = inFrame;
        return 0;
    }

private:
    const norvik::utility::ImmutableString mMatchName;
};

MF::IKeyframedParameterRef Or(const MF::IKeyframedParameterRef& inParameter,
                              const MF::IKeyframedParameterRef& inDefault)
{
    return inParameter ? inParameter : inDefault;
}

BE::IEffectRef CreateIntrinsic(const char* inMatchName, MF::KeyframeStore inParameters)
{
    EffectContent content;
    content.mMatchName = norvik::utility::ImmutableString::CreateDynamic(inMatchName);
    content.mFilter = ML::IVideoFilterRef(new IntrinsicFilter(inMatchName));
    content.mParameters = std::move(inParameters);
    return CreateEffect(std::move(content));
}

bool IsWhole(const EffectContent& inContent)
{
    return (inContent.mFilter || !inContent.mSubEffects.empty()) &&
           std::all_of(inContent.mParameters.begin(), inContent.mParameters.end(),
                       [](const MF::IKeyframedParameterRef& inParameter) { return bool(inParameter); }) &&
           std::all_of(inContent.mSubEffects.begin(), inContent.mSubEffects.end(),
                       [](const BE::IEffectRef& inEffect) { return bool(inEffect); });
}

EffectContent ContentOf(const BE::IEffectRef& inEffect, const char* inFunction)
{
    EffectContent content;
    const bool isKnown = GetEffectContent(inEffect, content);
    ML_INPUT_CONTRACT(isKnown, "GetEffectContent(inEffect, content)", "ReferenceHost/Project/EffectItem",
                      inFunction, __LINE__);
    return content;
}

} // namespace

BE::IEffectRef CreateEffect(EffectContent inContent)
{
    ML_INPUT_CONTRACT(IsWhole(inContent), "IsWhole(inContent)", "ReferenceHost/Project/EffectItem",
                      "Project::CreateEffect", __LINE__);
    return new Effect(std::move(inContent));
}

bool GetEffectContent(const BE::IEffectRef& inEffect, EffectContent& outContent)
{
    const IEffectContentRef content(inEffect);
    if (!content)
    {
        return false;
    }
    outContent = content->GetContent();
    return true;
}

BE::IEffectRef WithParameter(const BE::IEffectRef& inEffect, std::size_t inIndex,
                             const MF::IKeyframedParameterRef& inParameter)
{
    EffectContent content = ContentOf(inEffect, "Project::WithParameter");
    ML_INPUT_CONTRACT(inIndex < content.mParameters.size(), "inIndex < content.mParameters.size()",
                      "ReferenceHost/Project/EffectItem", "Project::WithParameter", __LINE__);
    content.mParameters[inIndex] = inParameter;
    return CreateEffect(std::move(content));
}

BE::IEffectRef WithEnabled(const BE::IEffectRef& inEffect, bool inIsEnabled)
{
    EffectContent content = ContentOf(inEffect, "Project::WithEnabled");
    content.mIsEnabled = inIsEnabled;
    return CreateEffect(std::move(content));
}

BE::IEffectChainRef CreateEffectChain(std::vector<BE::IEffectRef> inEffects)
{
    return new EffectChain(std::move(inEffects));
}

BE::IEffectRef CreateMotion(const MotionContent& inContent)
{
    const MF::IKeyframedParameterRef scale = Or(inContent.mScale, CreateNumber(100.0));
    return CreateIntrinsic(
        kMatchName_Motion,
        {Or(inContent.mPosition, CreatePoint(0.5, 0.5)), scale, Or(inContent.mScaleWidth, scale),
         CreateSwitch(!inContent.mScaleWidth), Or(inContent.mRotation, CreateNumber(0.0)),
         Or(inContent.mAnchor, CreatePoint(0.5, 0.5)), Or(inContent.mAntiFlicker, CreateNumber(0.0))});
}

BE::IEffectRef CreateOpacity(const MF::IKeyframedParameterRef& inOpacity, std::uint32_t inBlendMode)
{
    return CreateIntrinsic(kMatchName_Opacity,
                           {Or(inOpacity, CreateNumber(100.0)), CreateChoice(inBlendMode)});
}

} // namespace Project
