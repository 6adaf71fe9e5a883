#include "CutlistRenderer.h"
#include "RenderFrame.h"
#include "RenderFrameImpl.h"
#include "RenderFrameQueue.h"
#include "VideoRenderer.h"
#include "norvik/config/Contract.h"

#include <vector>

namespace ML
{

namespace
{

using norvik::threads::ScopedLock;
using norviktypes::FrameRate;
using norviktypes::TickTime;

constexpr char kFile[] = "Src/Renderframe_PrefetchSegment";

void CheckTime(const TickTime& inTime, const char* inFunction)
{
    ML_INPUT_CONTRACT(inTime >= norviktypes::kTime_Zero, "inTime >= norviktypes::kTime_Zero", kFile,
                      inFunction, __LINE__);
}

} // namespace

// Of a request that finds out what a frame wants read, and of which nobody is told anything.
RenderFrameSettings RenderFrame::PrefetchSettingsFor(const TickTime& inTime, const FrameRate& inFrameRate,
                                                     const Provider& inVideoSegments,
                                                     const Formats& inRequestedFormats) const
{
    if (!inVideoSegments)
    {
        throw TVK::NullInterfaceException();
    }
    RenderFrameSettings settings = SettingsFor(inTime, inFrameRate, inVideoSegments, inRequestedFormats);
    TakeSourceRectOf(inVideoSegments, settings);
    settings.mPriority = kNormalPriority;
    settings.mRequestID = GetNextRequestID();
    settings.mClient.reset();
    settings.mStationID = norvik::utility::ImmutableString();
    return settings;
}

void RenderFrame::PrefetchMedia(const TickTime& inTime, const Provider& inVideoSegments)
{
    PrefetchMediaWithRenderParameters(inTime, norviktypes::kFrameRate_Unset, inVideoSegments, Formats());
}

void RenderFrame::PrefetchMediaWithRenderParameters(const TickTime& inTime, const FrameRate& inFrameRate,
                                                    const Provider& inVideoSegments,
                                                    const Formats& inRequestedFormats)
{
    CheckTime(inTime, "ML::RenderFrame::PrefetchMediaWithRenderParameters");
    {
        const ScopedLock lock(mImpl->mLock, "RenderFrame::PrefetchMediaWithRenderParameters");
        if (!inRequestedFormats.empty() && inRequestedFormats != mImpl->mPrefetchFormats)
        {
            mImpl->mPrefetchFormats = inRequestedFormats;
        }
        if (inFrameRate != norviktypes::kFrameRate_Unset)
        {
            mImpl->mPrefetchFrameRate = inFrameRate;
        }
    }
    RenderFrameRequest request(PrefetchSettingsFor(inTime, inFrameRate, inVideoSegments, inRequestedFormats),
                               false, true);
    request.SetPrefetchOnly();
    if (const RenderFrameQueueRef queue = RenderFrameQueue::Create())
    {
        queue->AddRenderRequest(request);
    }
}

void RenderFrame::CancelPrefetchMediaWithRenderParameters(const TickTime& inTime,
                                                          const FrameRate& inFrameRate,
                                                          const Provider& inVideoSegments,
                                                          const Formats& inRequestedFormats)
{
    CheckTime(inTime, "ML::RenderFrame::CancelPrefetchMediaWithRenderParameters");
    RenderFrameRequest request(PrefetchSettingsFor(inTime, inFrameRate, inVideoSegments, inRequestedFormats),
                               false, true);
    // It began nothing itself, so it cancels what the frame would want read.
    request.SetPrefetchOnly();
    request.CancelPrefetchItems();
}

void RenderFrame::CancelPrefetchMedia(const Provider& /*inVideoSegments*/) {}

bool RenderFrame::IsPrefetchedMediaReady(const TickTime& inTime, const Provider& inVideoSegments)
{
    Formats formats;
    FrameRate frameRate;
    {
        const ScopedLock lock(mImpl->mLock, "RenderFrame::IsPrefetchedMediaReady");
        formats = mImpl->mPrefetchFormats;
        frameRate = mImpl->mPrefetchFrameRate;
    }
    if (formats.empty())
    {
        return false;
    }
    CheckTime(inTime, "ML::RenderFrame::IsPrefetchedMediaReady");
    RenderFrameRequest request(PrefetchSettingsFor(inTime, frameRate, inVideoSegments, formats), false, true);
    const CutlistRenderParams params = request.BuildRenderParams(false);
    std::vector<IRenderableNodePrefetchRef> items;
    if (const MF::IRenderableCutlistRef cutlist = request.GetCutlist(false))
    {
        PrefetchFromCutlist(cutlist, params, items);
    }
    for (const IRenderableNodePrefetchRef& item : items)
    {
        MF::IVideoFrameRef frame;
        if (item->GetPrefetchResult(frame) < 0)
        {
            return false;
        }
    }
    return true;
}

} // namespace ML
