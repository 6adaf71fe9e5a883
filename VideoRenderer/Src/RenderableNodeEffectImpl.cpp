#include "RenderableNodeEffectImpl.h"

#include "EffectLayers.h"
#include "MatchNames.h"
#include "PluginRender.h"
#include "PropertyText.h"
#include "TVK/PathUtils.h"

#include <algorithm>

namespace ML
{

namespace
{

using norvik::UTF8String;
using norvik::utility::ImmutableString;

ImmutableString Key(const char* inText)
{
    return ImmutableString::CreateStatic(inText);
}

bool HoldsLabel(const IVideoFilterRef& inFilter, const ImmutableString& inLabel)
{
    std::vector<ImmutableString> labels;
    inFilter->GetStreamLabels(labels);
    return std::find(labels.begin(), labels.end(), inLabel) != labels.end();
}

bool MayVary(const MF::IKeyframedParameter& inParameter)
{
    return (inParameter.IsKeyframed() && !inParameter.IsConstant()) ||
           (inParameter.GetType() == MF::kParameterType_Layer &&
            LayerValueOf(inParameter) != MF::kLayer_NotSet);
}

} // namespace

MF::IRenderableNodeRef CreateEffectNode(const EffectNodeSettings& inSettings)
{
    const TVK::InterfaceRef<RenderableNodeEffectImpl> node(new RenderableNodeEffectImpl());
    node->Initialize(inSettings);
    node->Finalize();
    return node->AsNode();
}

UTF8String TextOfParameterList(const MF::KeyframeStore& inParameters)
{
    UTF8String text = PropertyText::OfUInt64(inParameters.size()) + "\n";
    for (const MF::IKeyframedParameterRef& parameter : inParameters)
    {
        text += parameter->GetText() + "\n";
    }
    return text;
}

void RenderableNodeEffectImpl::Initialize(const EffectNodeSettings& inSettings)
{
    if (!inSettings.mFilter || !inSettings.mParameters)
    {
        throw TVK::NullInterfaceException();
    }
    mFilter = inSettings.mFilter;
    mParameters = std::make_shared<const MF::KeyframeStore>(*inSettings.mParameters);
    mEffectStart = inSettings.mEffectStart;
    mEffectDuration = inSettings.mEffectDuration;
    mStreamLabel = HoldsLabel(mFilter, inSettings.mStreamLabel) ? inSettings.mStreamLabel : ImmutableString();
    SetFilterProperties();
    SetLayerProperties(inSettings);
    if (mFilter->WantsClipNames())
    {
        SetNameProperties(inSettings);
    }
}

void RenderableNodeEffectImpl::SetFilterProperties()
{
    SetCommonProperty(Key("EffectNode::FilterMatchName"), mFilter->GetMatchName().ToString(), true);
    SetCommonProperty(Key("EffectNode::StreamLabel"), mStreamLabel.ToString(), true);
    if (mFilter->VariesByItself())
    {
        // Two uses of one piece of media meet at the same media time, but not at the same time of the effect.
        SetCommonProperty(Key("EffectNode::EffectStart"), PropertyText::OfTime(mEffectStart), true);
        SetCommonProperty(Key("EffectNode::EffectDuration"), PropertyText::OfTime(mEffectDuration), true);
    }
    MF::BinaryData data;
    if (mFilter->HasOpaqueData() && mFilter->GetOpaqueData(data) >= 0)
    {
        SetCommonProperty(Key("EffectNode::FilterOpaqueData"),
                          PropertyText::OfBinary(data.Data(), data.Size()), true);
    }
    SetCommonProperty(Key("EffectNode::FilterParams"), TextOfParameterList(*mParameters), true);
    SetCommonProperty(Key("EffectNode::RuntimeInstanceID"),
                      PropertyText::OfUInt32(mFilter->GetRuntimeInstanceID()), false);
}

// A layer's clip names what it shows by itself; its effects, its neighbours and its place are in the hash of
// what was taken of the track.
void RenderableNodeEffectImpl::SetLayerProperties(const EffectNodeSettings& inSettings)
{
    SetCommonProperty(Key("EffectNode::LayerInputHashes"), LayerInputText(inSettings), true);
    EffectLayers layers = CaptureLayers(inSettings);
    if (layers.empty())
    {
        return;
    }
    SetCommonProperty(Key("EffectNode::LayerPictureHashes"), LayerPictureText(layers), true);
    mLayers = std::make_shared<const EffectLayers>(std::move(layers));
}

void RenderableNodeEffectImpl::SetNameProperties(const EffectNodeSettings& inSettings)
{
    const BE::IClipRef clip = inSettings.mTrackItem ? inSettings.mTrackItem->GetClip() : BE::IClipRef();
    if (!clip)
    {
        return;
    }
    if (inSettings.mLayerIndex != 0 && inSettings.mLayerIndex <= mParameters->size())
    {
        SetCommonProperty(Key("EffectNode::SourceTrackClipNameHashes"), LayerClipNames(inSettings), true);
    }
    SetCommonProperty(Key("EffectNode::ClipName"), PropertyText::OfWideText(clip->GetName()), true);
    const BE::IMasterClipRef master = clip->GetMasterClip();
    if (!master)
    {
        return;
    }
    const norvik::WString path = BE::MasterClipUtils::GetMediaInstanceString(master);
    SetCommonProperty(Key("EffectNode::MasterClipName"), PropertyText::OfWideText(master->GetName()), true);
    SetCommonProperty(
        Key("EffectNode::FileName"),
        path.empty() ? UTF8String(" ") : PropertyText::OfWideText(TVK::PathUtils::GetFilePart(path)), true);
}

ImmutableString RenderableNodeEffectImpl::GetNodeType() const
{
    return Key("RenderableNodeEffectImpl");
}

std::uint32_t RenderableNodeEffectImpl::CalculateInformativeFlags() const
{
    const bool varies =
        mFilter->VariesByItself() ||
        std::any_of(mParameters->begin(), mParameters->end(),
                    [](const MF::IKeyframedParameterRef& inParameter) { return MayVary(*inParameter); });
    std::uint32_t flags = MF::kNodeFlag_StaticParameters;
    flags |= varies ? 0 : MF::kNodeFlag_Still;
    flags |= mFilter->KeepsOpaque(*mParameters) ? MF::kNodeFlag_Opaque : 0;
    UTF8String layers;
    const bool looksElsewhere = GetProperty(Key("EffectNode::LayerInputHashes"), layers) >= 0;
    return flags | (looksElsewhere ? 0 : MF::kNodeFlag_TimeContained);
}

void RenderableNodeEffectImpl::AddOwnPrefetchesForFrame(const MF::FrameTime&,
                                                        const CutlistRenderParams& inRenderParams,
                                                        std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    if (mLayers)
    {
        PrefetchLayers(*mLayers, inRenderParams, ioPrefetches);
    }
}

IRenderableNodeOperatorRef
RenderableNodeEffectImpl::GetOperatorForFrame(const MF::FrameTime&, const CutlistRenderParams& inRenderParams)
{
    const ImmutableString matchName = mFilter->GetMatchName();
    if (matchName == kMatchnameOpacity || matchName == kMatchnameMotion)
    {
        return {};
    }
    const TVK::InterfaceRef<EffectNodeOperator> filtering(new EffectNodeOperator());
    filtering->Initialize(mFilter, mEffectStart, mEffectDuration, mParameters,
                          EffectRenderInfoOf(inRenderParams, mStreamLabel), GetHashValue(),
                          GetInformativeFlags());
    filtering->SetLayers(mLayers);
    return filtering->AsOperator();
}

} // namespace ML
