#include "CutlistRenderer.h"
#include "EffectLayers.h"
#include "FrameConforming.h"
#include "FrameImage.h"
#include "ParamsHash.h"
#include "RenderableNodeEffectImpl.h"

namespace ML
{

namespace
{

using norviktypes::PixelFormat;

PixelFormat FormatForFilter(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame,
                            const PixelFormat& inFormat, const IVideoFilterRef& inFilter)
{
    std::vector<PixelFormat> accepted;
    inFilter->GetPixelFormats(inFrame, inFormat, accepted);
    return ChoosePluginFormat(inParams, inFrame, inFormat, accepted);
}

// A full-size frame that stands for a smaller one becomes that one: a filter counts in the output's pixels.
MF::IVideoFrameRef FrameInFormat(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame,
                                 const PixelFormat& inFormat)
{
    CutlistRenderParams params = inParams;
    params.mPixelFormat = inFormat;
    if (!inFrame)
    {
        return GetBlackVideoFrame(params);
    }
    return NeedsScaleToRenderSize(inFrame, params) ? MakeAddressableAtRenderSize(inFrame, params)
                                                   : ConformFrameToFormat(params, inFrame, inFormat);
}

} // namespace

MF::IVideoFrameRef PrepareInputFrame(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame,
                                     const PixelFormat& inFormat, const IVideoFilterRef& inFilter)
{
    return FrameInFormat(inParams, inFrame, FormatForFilter(inParams, inFrame, inFormat, inFilter));
}

void EffectNodeOperator::Initialize(const IVideoFilterRef& inFilter,
                                    const norviktypes::TickTime& inEffectStart,
                                    const norviktypes::TickTime& inEffectDuration,
                                    const BE::ParameterListRef& inParameters, const EffectRenderInfo& inInfo,
                                    const TVK::Guid& inNodeHash, std::uint32_t inNodeFlags)
{
    mFilter = inFilter;
    mParameters = inParameters;
    mEffectStart = inEffectStart;
    mEffectDuration = inEffectDuration;
    mInfo = inInfo;
    mNodeHash = inNodeHash;
    mNodeFlags = inNodeFlags;
}

void EffectNodeOperator::SetLayers(const std::shared_ptr<const EffectLayers>& inLayers)
{
    mLayers = inLayers;
}

std::int32_t EffectNodeOperator::ApplyToFrame(const MF::FrameTime& inClipTime,
                                              const MF::FrameTime& inSequenceTime,
                                              const CutlistRenderParams& inRenderParams,
                                              const MF::IVideoFrameRef& inFrame,
                                              const SubTreeRenderRef& inSubTree, MF::IVideoFrameRef& outFrame)
{
    const PixelFormat format = FormatForFilter(inRenderParams, inFrame, inRenderParams.mPixelFormat, mFilter);
    const MF::IVideoFrameRef frame = FrameInFormat(inRenderParams, inFrame, format);
    if (!frame || FormatOfFrame(frame) != format)
    {
        return MF::kStatus_NoSuchEntry;
    }
    outFrame.reset();
    const EffectRenderInfo info = mInfo;
    VideoFilterRender render;
    render.mClipTime = inClipTime.Earlier();
    render.mSequenceTime = inSequenceTime.Earlier();
    render.mFrameRate = inRenderParams.mFrameRate;
    render.mFrame = render.mSequenceTime.ToFrame64(render.mFrameRate);
    render.mFrameCount = mEffectDuration.ToFrame64(render.mFrameRate);
    render.mEffectStart = mEffectStart;
    render.mParameters = mParameters.get();
    render.mInfo = &info;
    render.mSubTree = inSubTree;
    render.mLayers = CreateLayerRender(mLayers, inRenderParams, format);
    return mFilter->Render(render, frame, outFrame);
}

void EffectNodeOperator::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash)
{
    TVK::HashValue hash(inBaseHash);
    hash.MixText("EffectNodeOperator");
    if ((mNodeFlags & MF::kNodeFlag_Still) == 0)
    {
        MixFrameTime(hash, inFrameTime);
    }
    hash.MixGuid(mNodeHash);
    hash.MixU32(inRenderParams.mWidth);
    hash.MixU32(inRenderParams.mHeight);
    hash.MixU32(inRenderParams.mPixelAspectRatio.GetNumerator());
    hash.MixU32(inRenderParams.mPixelAspectRatio.GetDenominator());
    hash.MixDouble(inRenderParams.mScaleX);
    hash.MixDouble(inRenderParams.mScaleY);
    hash.MixI32(inRenderParams.mRenderQuality);
    hash.MixI32(inRenderParams.mDeinterlaceQuality);
    MixPixelFormat(hash, inRenderParams.mPixelFormat);
    if (mLayers)
    {
        MixLayers(hash, *mLayers, inRenderParams);
    }
    outHash = hash.AsGuid();
}

} // namespace ML
