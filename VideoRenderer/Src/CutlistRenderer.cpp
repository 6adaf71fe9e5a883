#include "CutlistRenderer.h"

#include "FrameConforming.h"
#include "TVK/HashValue.h"
#include "VF/SharedVideoFrameCache.h"

namespace ML
{

namespace
{

// Frames of this renderer are as important as those of any other.
constexpr std::int32_t kCachePriority = 10;

std::uint64_t Pair(std::uint32_t inFirst, std::uint32_t inSecond)
{
    return inFirst | static_cast<std::uint64_t>(inSecond) << 32;
}

void FreezeAndCache(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey)
{
    inFrame->Freeze();
    VF::SharedVideoFrameCache::InsertIntoCache(inFrame, inKey, kCachePriority);
}

// A producer that fails has no frame, whatever it left behind.
MF::IVideoFrameRef FrameOfProducer(const IRenderableNodeProducerRef& inProducer,
                                   const CutlistRenderParams& inRenderParams,
                                   const MF::FrameTime& inFrameTime)
{
    MF::IVideoFrameRef frame;
    if (inProducer->GetFrame(inFrameTime, inRenderParams, frame) < 0)
    {
        frame.reset();
    }
    return frame;
}

} // namespace

std::int32_t ResolveProducerAtTime(const MF::IRenderableCutlistRef& inCutlist,
                                   const CutlistRenderParams& inRenderParams,
                                   IRenderableNodeProducerRef& outProducer, MF::FrameTime& outNodeTimes)
{
    outProducer.reset();
    MF::IRenderableNodeRef node;
    const std::int32_t status = inCutlist->FindNodeForTime(inRenderParams.mFrameTime, node, outNodeTimes);
    if (status < 0)
    {
        return status;
    }
    if (const IRenderableNodeProducerProviderRef provider{node})
    {
        outProducer = provider->GetProducerForFrame(outNodeTimes, inRenderParams);
    }
    return TVK::kStatus_OK;
}

void ComputeFrameHash(TVK::Guid& outHash, const MF::IRenderableCutlistRef& inCutlist,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash)
{
    IRenderableNodeProducerRef producer;
    MF::FrameTime nodeTimes;
    ResolveProducerAtTime(inCutlist, inRenderParams, producer, nodeTimes);
    if (producer)
    {
        producer->GetFrameHash(outHash, nodeTimes, inRenderParams, inBaseHash);
    }
    else
    {
        outHash = HashOfBlackVideoFrame(inRenderParams, inBaseHash);
    }
}

void PrefetchFromCutlist(const MF::IRenderableCutlistRef& inCutlist,
                         const CutlistRenderParams& inRenderParams,
                         std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    MF::IRenderableNodeRef node;
    MF::FrameTime nodeTimes;
    if (inCutlist->FindNodeForTime(inRenderParams.mFrameTime, node, nodeTimes) < 0)
    {
        return;
    }
    if (const IRenderableNodePrefetchProviderRef provider{node})
    {
        provider->GetPrefetchesForFrame(nodeTimes, inRenderParams, ioItems);
    }
}

MF::IVideoFrameRef RenderFrameFromCutlist(const IRenderableNodeProducerRef& inProducer,
                                          const CutlistRenderParams& inRenderParams,
                                          const MF::FrameTime& inFrameTime,
                                          const std::vector<norviktypes::PixelFormat>& inAcceptedFormats,
                                          bool inStoreInCache)
{
    if (!inProducer)
    {
        return GetBlackVideoFrame(inRenderParams);
    }
    TVK::Guid hash;
    inProducer->GetFrameHash(hash, inFrameTime, inRenderParams, TVK::Guid());
    MF::IVideoFrameRef frame = VF::SharedVideoFrameCache::RetrieveFromCache(hash);
    const bool isCached = static_cast<bool>(frame);
    if (!isCached)
    {
        frame = FrameOfProducer(inProducer, inRenderParams, inFrameTime);
    }
    if (!frame)
    {
        return frame;
    }
    frame = ConformFrameToFormats(inRenderParams, frame, inRenderParams.mPixelFormat, inAcceptedFormats);
    if (!isCached && inStoreInCache)
    {
        FreezeAndCache(frame, hash);
    }
    return frame;
}

MF::IVideoFrameRef GetBlackVideoFrame(const CutlistRenderParams& inRenderParams)
{
    const TVK::Guid key = HashOfBlackVideoFrame(inRenderParams, TVK::Guid());
    MF::IVideoFrameRef frame = VF::SharedVideoFrameCache::RetrieveFromCache(key);
    if (!frame)
    {
        frame = CreateRenderSizeFrame(inRenderParams, true, true);
        if (frame)
        {
            FreezeAndCache(frame, key);
        }
    }
    return frame;
}

TVK::Guid HashOfBlackVideoFrame(const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash)
{
    const norviktypes::PixelAspectRatio& ratio = inRenderParams.mPixelAspectRatio;
    const norviktypes::PixelFormat& format = inRenderParams.mPixelFormat;
    TVK::HashValue hash(inBaseHash);
    hash.MixText("BlackVideoFrame from RenderFrameFromCutlist");
    hash.MixU32(inRenderParams.mWidth);
    hash.MixU32(inRenderParams.mHeight);
    hash.MixU64(Pair(ratio.GetNumerator(), ratio.GetDenominator()));
    hash.MixU64(Pair(format.mName, format.mProperties));
    return hash.AsGuid();
}

} // namespace ML
