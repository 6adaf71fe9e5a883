#include "CutlistRenderer.h"
#include "FrameConforming.h"
#include "FrameImage.h"
#include "IntrinsicOperations.h"
#include "ParamsHash.h"
#include "PluginRender.h"
#include "RenderableNodeEffectImpl.h"
#include "RenderableNodeSubtreeImpl.h"
#include "RenderableNodeTransitionImpl.h"
#include "norvik/config/Contract.h"

namespace ML
{

namespace
{

using norviktypes::PixelFormat;

constexpr const char* kFile = "Src/RenderableNodeTransitionImpl";

// Where memory runs out a frame is missing or in a format that a transition doesn't know.
bool IsOfFormat(const MF::IVideoFrameRef& inFrame, const PixelFormat& inFormat)
{
    return inFrame && FormatOfFrame(inFrame) == inFormat;
}

} // namespace

PixelFormat ConformTransitionInputs(const CutlistRenderParams& inParams, MF::IVideoFrameRef& ioFrameA,
                                    MF::IVideoFrameRef& ioFrameB, const IVideoTransitionRef& inTransition)
{
    std::vector<PixelFormat> accepted;
    inTransition->GetPixelFormats(accepted);
    CutlistRenderParams params = inParams;
    params.mPixelFormat = ChooseSharedFormat(inParams, ioFrameA, ioFrameB, accepted);
    const MF::IVideoFrameRef black = ioFrameA && ioFrameB ? MF::IVideoFrameRef() : GetBlackVideoFrame(params);
    ioFrameA = ioFrameA ? ConformToOutput(params, ioFrameA) : black;
    ioFrameB = ioFrameB ? ConformToOutput(params, ioFrameB) : black;
    return params.mPixelFormat;
}

PixelFormat ChooseSharedFormat(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrameA,
                               const MF::IVideoFrameRef& inFrameB,
                               const std::vector<PixelFormat>& inAcceptedFormats)
{
    const PixelFormat a = ChoosePluginFormat(inParams, inFrameA, inParams.mPixelFormat, inAcceptedFormats);
    const PixelFormat b = ChoosePluginFormat(inParams, inFrameB, inParams.mPixelFormat, inAcceptedFormats);
    return a == b ? a
                  : norviktypes::SelectNearestPixelFormat({inParams.mPixelFormat}, {a, b},
                                                          inParams.mRenderQuality, false);
}

void TransitionNodeProducer::SetInputs(const std::vector<Input>& inInputs, const MF::FrameTime& inFrameTime,
                                       const CutlistRenderParams& inRenderParams)
{
    ML_INPUT_CONTRACT(inInputs.size() == 2, "inInputs.size() == 2", kFile,
                      "ML::TransitionNodeProducer::SetInputs", __LINE__);
    SetSide(mA, inInputs[0], inFrameTime, inRenderParams);
    SetSide(mB, inInputs[1], inFrameTime, inRenderParams);
}

void TransitionNodeProducer::SetSide(Side& outSide, const Input& inInput, const MF::FrameTime& inFrameTime,
                                     const CutlistRenderParams& inRenderParams)
{
    outSide = Side();
    outSide.mNode = inInput.first;
    outSide.mOffset = inInput.second;
    const MF::FrameTime inputTime = inFrameTime - outSide.mOffset;
    if (const IRenderableNodeProducerProviderRef provider{outSide.mNode})
    {
        outSide.mProducer = provider->GetProducerForFrame(inputTime, inRenderParams);
    }
    ReadIntrinsics(IRenderableNodeIntrinsicParameterProviderRef(outSide.mNode), inputTime, inRenderParams,
                   outSide.mIntrinsics);
}

void TransitionNodeProducer::SetTransition(const IVideoTransitionRef& inTransition,
                                           const norviktypes::TickTime& inStart,
                                           const norviktypes::TickTime& inEnd, const TVK::Guid& inNodeHash)
{
    mTransition = inTransition;
    mStart = inStart;
    mEnd = inEnd;
    mNodeHash = inNodeHash;
}

void TransitionNodeProducer::SetPresetFrames(const MF::IVideoFrameRef& inFrameA,
                                             const MF::IVideoFrameRef& inFrameB)
{
    mHasPresetFrames = true;
    mA.mPresetFrame = inFrameA;
    mB.mPresetFrame = inFrameB;
}

std::int32_t TransitionNodeProducer::GetSideFrame(const Side& inSide, const MF::FrameTime& inFrameTime,
                                                  const CutlistRenderParams& inRenderParams,
                                                  MF::IVideoFrameRef& outFrame) const
{
    outFrame = inSide.mPresetFrame;
    if (mHasPresetFrames || !inSide.mProducer)
    {
        return TVK::kStatus_OK;
    }
    const std::int32_t status =
        inSide.mProducer->GetFrame(inFrameTime - inSide.mOffset, inRenderParams, outFrame);
    if (status < 0 || !outFrame)
    {
        return status;
    }
    outFrame =
        ApplyIntrinsicsIfNeeded(outFrame, inSide.mIntrinsics[0], inSide.mIntrinsics[1], inRenderParams);
    return outFrame ? status : MF::kStatus_NoSuchEntry;
}

std::int32_t TransitionNodeProducer::GetFrame(const MF::FrameTime& inFrameTime,
                                              const CutlistRenderParams& inRenderParams,
                                              MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    MF::IVideoFrameRef frameA;
    MF::IVideoFrameRef frameB;
    for (const auto& [side, frame] : {std::pair{&mA, &frameA}, std::pair{&mB, &frameB}})
    {
        const std::int32_t status = GetSideFrame(*side, inFrameTime, inRenderParams, *frame);
        if (status < 0)
        {
            return status;
        }
    }
    const PixelFormat format = ConformTransitionInputs(inRenderParams, frameA, frameB, mTransition);
    if (!IsOfFormat(frameA, format) || !IsOfFormat(frameB, format))
    {
        return MF::kStatus_NoSuchEntry;
    }
    return RenderTransition(inFrameTime, inRenderParams, frameA, frameB, outFrame);
}

std::int32_t TransitionNodeProducer::RenderTransition(const MF::FrameTime& inFrameTime,
                                                      const CutlistRenderParams& inParams,
                                                      const MF::IVideoFrameRef& inFrameA,
                                                      const MF::IVideoFrameRef& inFrameB,
                                                      MF::IVideoFrameRef& outFrame) const
{
    CutlistRenderParams params = inParams;
    params.mPixelFormat = FormatOfFrame(inFrameA);
    const MF::IVideoFrameRef frame = CreateRenderSizeFrame(params, false, false);
    if (!frame)
    {
        return MF::kStatus_NoSuchEntry;
    }
    frame->SetFieldType(inFrameTime.Order());
    VideoTransitionRender render;
    render.mInfoB = InfoOfSide(mB, inFrameTime, params);
    render.mInfoA = InfoOfSide(mA, inFrameTime, params);
    render.mTime = inFrameTime.Earlier();
    render.mFrame = render.mTime.ToFrame64(inParams.mFrameRate);
    render.mFrameCount = (mEnd - mStart).ToFrame64(inParams.mFrameRate);
    render.mStart = mStart;
    render.mEnd = mEnd;
    render.mFrameRate = inParams.mFrameRate;
    render.mFlags =
        (inParams.mRenderQuality < norviktypes::kRenderQuality_Medium ? kTransitionFlag_Draft : 0) |
        (mB.mNode ? kTransitionFlag_HasB : 0) | (mA.mNode ? kTransitionFlag_HasA : 0);
    const std::int32_t status = mTransition->Render(render, frame, inFrameB, inFrameA);
    if (status >= 0)
    {
        outFrame = frame;
    }
    return status;
}

TransitionInputInfo TransitionNodeProducer::InfoOfSide(const Side& inSide, const MF::FrameTime& inFrameTime,
                                                       const CutlistRenderParams& inParams)
{
    TransitionInputInfo info;
    info.mRender = EffectRenderInfoOf(inParams, {});
    info.mRender.timeOffset = inSide.mOffset;
    info.mSubTree = CreateSubTreeRender(inParams, IRenderableNodeProducerProviderRef(inSide.mNode),
                                        inFrameTime, inSide.mOffset);
    return info;
}

void TransitionNodeProducer::HashSide(TVK::HashValue& ioHash, const Side& inSide,
                                      const MF::FrameTime& inFrameTime,
                                      const CutlistRenderParams& inRenderParams)
{
    if (!inSide.mProducer)
    {
        ioHash.MixGuid(TVK::Guid());
        return;
    }
    TVK::Guid hash;
    inSide.mProducer->GetFrameHash(hash, inFrameTime - inSide.mOffset, inRenderParams, ioHash.AsGuid());
    ioHash = TVK::HashValue(hash);
    MixGeometry(ioHash, inSide.mIntrinsics[0]);
    MixGeometry(ioHash, inSide.mIntrinsics[1]);
}

void TransitionNodeProducer::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                                          const CutlistRenderParams& inRenderParams,
                                          const TVK::Guid& inBaseHash)
{
    TVK::HashValue hash(inBaseHash);
    hash.MixText("TransitionNodeProducer");
    if (mHasPresetFrames)
    {
        hash.MixGuid(TVK::Guid::CreateUnique());
    }
    else
    {
        HashSide(hash, mA, inFrameTime, inRenderParams);
        HashSide(hash, mB, inFrameTime, inRenderParams);
    }
    const norviktypes::PixelAspectRatio& ratio = inRenderParams.mPixelAspectRatio;
    MixPair(hash, ratio.GetNumerator(), ratio.GetDenominator());
    hash.MixU32(inRenderParams.mWidth);
    hash.MixU32(inRenderParams.mHeight);
    hash.MixGuid(mNodeHash);
    MixFrameTime(hash, inFrameTime);
    hash.MixI32(inRenderParams.mRenderQuality);
    hash.MixI32(inRenderParams.mDeinterlaceQuality);
    MixPixelFormat(hash, inRenderParams.mPixelFormat);
    outHash = hash.AsGuid();
}

} // namespace ML
