#include "RenderableNodeClipImpl_Producer.h"

#include "IntrinsicOperations.h"
#include "RenderFrameClient.h"
#include "RenderableNodeMediaImpl.h"
#include "RenderableNodeSubtreeImpl.h"
#include "TVK/HashValue.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <algorithm>

namespace ML
{

namespace
{

constexpr std::int32_t kCachePriority = 10;

// The frame that all threads use from now on: this one, or what another thread stored first.
MF::IVideoFrameRef Share(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey)
{
    inFrame->Freeze();
    VF::SharedVideoFrameCache::InsertIntoCache(inFrame, inKey, kCachePriority);
    const MF::IVideoFrameRef shared = VF::SharedVideoFrameCache::RetrieveFromCache(inKey);
    return shared ? shared : inFrame;
}

// Frames of a clip that plays against the direction of its fields have their order exchanged: the lines are
// where they were, but the other field comes first.
MF::IVideoFrameRef WithOrderOf(const MF::FrameTime& inFrameTime, const MF::FrameTime& inMediaTime,
                               const CutlistRenderParams& inRenderParams, const MF::IVideoFrameRef& inFrame)
{
    const norviktypes::FieldType ofMedia = inMediaTime.Order();
    const norviktypes::FieldType wanted = inFrameTime.Order();
    if (!norviktypes::IsInterlaced(ofMedia) || !norviktypes::IsInterlaced(wanted) || ofMedia == wanted ||
        inFrame->GetFieldType() == wanted)
    {
        return inFrame;
    }
    const MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inRenderParams.mRenderQuality);
    frame->SetFieldType(wanted);
    return frame;
}

// Frames that are drawn for effects have the order of fields of the render, which the media's hash, and that of
// a still above all, does not tell.
void MixFieldsOfRender(TVK::HashValue& ioHash, const CutlistRenderParams& inRenderParams)
{
    if (norviktypes::IsInterlaced(inRenderParams.mFieldType))
    {
        ioHash.MixI32(inRenderParams.mFieldType);
    }
}

MF::IVideoFrameRef CentredOn(const CutlistRenderParams& inRenderParams, const MF::IVideoFrameRef& inFrame)
{
    const auto width = static_cast<std::int32_t>(inRenderParams.mWidth);
    const auto height = static_cast<std::int32_t>(inRenderParams.mHeight);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    if (bounds.Width() <= width && bounds.Height() <= height)
    {
        return inFrame;
    }
    const TVK::Point wanted{(bounds.Width() - width) / 2, (bounds.Height() - height) / 2};
    TVK::Point origin;
    inFrame->GetOrigin(origin);
    if (origin == wanted)
    {
        return inFrame;
    }
    const MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inRenderParams.mRenderQuality);
    frame->SetOrigin(wanted);
    return frame;
}

} // namespace

MF::IVideoFrameRef ConformClipFrame(const MF::IVideoFrameRef& inFrame,
                                    const CutlistRenderParams& inRenderParams, std::int32_t inScanlineOffset)
{
    const TVK::Rect target{0, 0, static_cast<std::int32_t>(inRenderParams.mWidth),
                           static_cast<std::int32_t>(inRenderParams.mHeight)};
    const norviktypes::FieldType fields = inFrame->GetFieldType();
    const bool fits = inFrame->SupportsTargetBounds(target);
    if (fits && (fields == norviktypes::kFieldType_Progressive || fields == inRenderParams.mFieldType ||
                 inRenderParams.mRenderQuality <= norviktypes::kRenderQuality_Low))
    {
        return inFrame;
    }
    CutlistRenderParams params = inRenderParams;
    if (!fits)
    {
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        params.mWidth = std::max(params.mWidth, static_cast<std::uint32_t>(bounds.Width()));
        params.mHeight = std::max(params.mHeight, static_cast<std::uint32_t>(bounds.Height()));
    }
    NodeIntrinsicParameters place;
    place.scanlineOffset = inScanlineOffset;
    const MF::IVideoFrameRef frame = ApplyIntrinsicsIfNeeded(inFrame, place, place, params);
    // A full-size substitute is not centred, as it is not larger: it stands for the render size.
    return frame && !fits ? CentredOn(inRenderParams, frame) : frame;
}

ClipNodeProducer::ClipNodeProducer(const TVK::InterfaceRef<RenderableNodeClipImpl>& inNode,
                                   const ClipTime& inTime)
    : mClipNode(inNode)
    , mNodeHash(inNode->GetHashValue())
    , mTime(inTime)
{
}

void ClipNodeProducer::SetInputProducer(const MF::FrameTime& inFrameTime,
                                        const CutlistRenderParams& inRenderParams,
                                        const MF::IRenderableNodeRef& inInput)
{
    if (const IRenderableNodeProducerProviderRef provider{inInput})
    {
        mInputProducer = provider->GetProducerForFrame(mTime.OfMedia(inFrameTime), inRenderParams);
    }
    if (const IRenderableMediaGeometryRef geometry{inInput})
    {
        mScanlineOffset = geometry->IsScanlineOffsetNegative() ? 0 : geometry->GetScanlineOffset();
    }
}

void ClipNodeProducer::SetOperators(const MF::FrameTime& inEffectTime,
                                    const CutlistRenderParams& inRenderParams,
                                    const std::vector<MF::IRenderableNodeRef>& inNodes, std::size_t inCount,
                                    bool inFirstOperatorIsLimit)
{
    mFirstOperatorIsLimit = inFirstOperatorIsLimit;
    for (std::size_t index = 0; index < inCount; ++index)
    {
        const IRenderableNodeOperatorProviderRef provider(inNodes[index]);
        IRenderableNodeOperatorRef made =
            provider ? provider->GetOperatorForFrame(inEffectTime, inRenderParams) : nullptr;
        if (made)
        {
            mOperators.push_back(
                {std::move(made), CreateSubTreeRender(inRenderParams, mClipNode->GetSubTrees()[index],
                                                      inEffectTime, -mTime.mInputOffset)});
        }
    }
}

bool ClipNodeProducer::CachesFrames(const CutlistRenderParams& inRenderParams) const
{
    const std::uint32_t wanted =
        kRenderFlag_CacheParts | (mTime.mInputIsStill ? kRenderFlag_CachePartsOfStills : 0);
    return (inRenderParams.mRenderFlags & wanted) != 0;
}

// Whoever changes what is hashed here changes GetFrameHash too: the frame that the first effect looks at by its
// view of the chain is the one that the clip itself goes on from, and they share it by this key.
TVK::Guid ClipNodeProducer::HashBeforeEffects(const MF::FrameTime& inMediaTime,
                                              const CutlistRenderParams& inRenderParams) const
{
    TVK::HashValue hash((TVK::Guid()));
    hash.MixText("ClipNodeProducer FrameHash");
    hash.MixGuid(mNodeHash);
    hash.MixBool(true);
    MixFieldsOfRender(hash, inRenderParams);
    TVK::Guid digest = hash.AsGuid();
    mInputProducer->GetFrameHash(digest, inMediaTime, inRenderParams, TVK::Guid(digest));
    return digest;
}

void ClipNodeProducer::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                                    const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash)
{
    TVK::HashValue hash(inBaseHash);
    hash.MixText("ClipNodeProducer FrameHash");
    if (mCachedFrame)
    {
        hash.MixGuid(TVK::Guid::CreateUnique());
        outHash = hash.AsGuid();
        return;
    }
    if (!mInputProducer || ChangesMedia())
    {
        hash.MixGuid(mNodeHash);
        hash.MixBool(mFirstOperatorIsLimit);
        MixFieldsOfRender(hash, inRenderParams);
    }
    TVK::Guid digest = hash.AsGuid();
    if (mInputProducer)
    {
        mInputProducer->GetFrameHash(digest, mTime.OfMedia(inFrameTime), inRenderParams, TVK::Guid(digest));
    }
    const MF::FrameTime effectTime = mTime.OfEffects(inFrameTime);
    for (const Operator& step : mOperators)
    {
        step.mOperator->GetFrameHash(digest, effectTime, inRenderParams, TVK::Guid(digest));
    }
    outHash = digest;
}

std::int32_t ClipNodeProducer::GetFrame(const MF::FrameTime& inFrameTime,
                                        const CutlistRenderParams& inRenderParams,
                                        MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    MF::IVideoFrameRef frame;
    std::int32_t status = GetFrameBeforeEffects(inFrameTime, inRenderParams, frame);
    if (status >= 0)
    {
        status = ApplyOperators(inFrameTime, inRenderParams, frame);
    }
    if (status >= 0)
    {
        outFrame = frame;
    }
    return status;
}

// The media's frame, from the cache of the whole process or rendered.
std::int32_t ClipNodeProducer::GetMediaFrame(const MF::FrameTime& inMediaTime,
                                             const CutlistRenderParams& inRenderParams,
                                             MF::IVideoFrameRef& outFrame)
{
    TVK::Guid key;
    mInputProducer->GetFrameHash(key, inMediaTime, inRenderParams, TVK::Guid());
    outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(key);
    if (outFrame)
    {
        return TVK::kStatus_OK;
    }
    const std::int32_t status = mInputProducer->GetFrame(inMediaTime, inRenderParams, outFrame);
    if (status >= 0 && outFrame && CachesFrames(inRenderParams))
    {
        outFrame = Share(outFrame, key);
    }
    return status;
}

// The frame that the first effect is given; without effects the media's as it is. Empty where nothing is there.
std::int32_t ClipNodeProducer::GetFrameBeforeEffects(const MF::FrameTime& inFrameTime,
                                                     const CutlistRenderParams& inRenderParams,
                                                     MF::IVideoFrameRef& outFrame)
{
    // Of a frame that the caller brought nothing is known by which it could be found again.
    const bool isShared = !mCachedFrame && mInputProducer && ChangesMedia() && CachesFrames(inRenderParams);
    const MF::FrameTime mediaTime = mTime.OfMedia(inFrameTime);
    const TVK::Guid key = isShared ? HashBeforeEffects(mediaTime, inRenderParams) : TVK::Guid();
    if (isShared)
    {
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(key);
        if (outFrame)
        {
            return TVK::kStatus_OK;
        }
    }
    outFrame = mCachedFrame;
    if (!outFrame && mInputProducer)
    {
        const std::int32_t status = GetMediaFrame(mediaTime, inRenderParams, outFrame);
        if (status < 0)
        {
            return status;
        }
        outFrame = outFrame ? WithOrderOf(inFrameTime, mediaTime, inRenderParams, outFrame) : outFrame;
    }
    if (!outFrame || !ChangesMedia())
    {
        return TVK::kStatus_OK;
    }
    const MF::IVideoFrameRef conformed = ConformClipFrame(outFrame, inRenderParams, mScanlineOffset);
    if (!conformed)
    {
        return kRenderFrameFailed;
    }
    outFrame = isShared && conformed.get() != outFrame.get() ? Share(conformed, key) : conformed;
    return TVK::kStatus_OK;
}

std::int32_t ClipNodeProducer::ApplyOperators(const MF::FrameTime& inFrameTime,
                                              const CutlistRenderParams& inRenderParams,
                                              MF::IVideoFrameRef& ioFrame) const
{
    const MF::FrameTime clipTime = mTime.OfEffects(inFrameTime);
    const MF::FrameTime sequenceTime = mTime.OfSequence(inFrameTime);
    for (const Operator& step : mOperators)
    {
        MF::IVideoFrameRef output;
        const std::int32_t status = step.mOperator->ApplyToFrame(clipTime, sequenceTime, inRenderParams,
                                                                 ioFrame, step.mSubTree, output);
        if (status < 0)
        {
            return status;
        }
        ioFrame = output;
    }
    return TVK::kStatus_OK;
}

} // namespace ML
