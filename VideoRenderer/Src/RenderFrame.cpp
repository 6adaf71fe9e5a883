#include "RenderFrame.h"

#include "RenderFrameImpl.h"
#include "RenderFrameQueue.h"
#include "TVK/Stations.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer.h"
#include "norvik/config/Contract.h"
#include "norvik/logging/Logging.h"

#include <exception>
#include <new>
#include <utility>

namespace ML
{

namespace
{

using norviktypes::FrameRate;
using norviktypes::TickTime;

constexpr char kFile[] = "Src/RenderFrame";

// Keys are worked out as of an ordinary request: the priority is in the flags that sources see.
constexpr std::uint32_t kPriorityOfQuestions = 1000;
constexpr std::uint32_t kRenderFlagsAtFirst = 10;

} // namespace

RenderFrame::RenderFrame() : mImpl(std::make_unique<Impl>())
{
    RenderFrameSettings& settings = mImpl->mSettings;
    settings.mPixelAspectRatio = norviktypes::kPixelAspectRatio_Square;
    settings.mRenderFlags = kRenderFlagsAtFirst;
    settings.mCompositeOnBlack = true;
    settings.mCaller = reinterpret_cast<std::uintptr_t>(this);
    settings.mStationID = TVK::StationRegistry::UniqueStationID();
    if (!settings.mStationID.empty())
    {
        TVK::StationRegistry::RegisterStation(settings.mStationID);
    }
}

RenderFrame::~RenderFrame()
{
    try
    {
        CancelAllRequests();
    }
    catch (const std::exception& error)
    {
        // Thrown by a client that was told of a cancellation; everybody has been told by then.
        norvik::logging::LogText(norvik::logging::kLogLevel_Error, "RenderFrame", error.what());
    }
    catch (...)
    {
        norvik::logging::LogText(norvik::logging::kLogLevel_Error, "RenderFrame", "Foreign exception");
    }
    if (!mImpl->mSettings.mStationID.empty())
    {
        TVK::StationRegistry::DisposeStation(mImpl->mSettings.mStationID);
    }
}

// ---- requests ----

RenderFrameSettings RenderFrame::SettingsFor(const TickTime& inTime, const FrameRate& inFrameRate,
                                             const Provider& inVideoSegments,
                                             const Formats& inRequestedFormats) const
{
    RenderFrameSettings settings = mImpl->mSettings;
    settings.mTime = inTime;
    settings.mFrameRate = inFrameRate;
    settings.mVideoSegments = inVideoSegments;
    settings.mRequestedFormats = inRequestedFormats;
    settings.mCutlistSelector = mImpl->Selector();
    settings.mPriority = kPriorityOfQuestions;
    if (mImpl->TakesSourceRectOfSequence())
    {
        TakeSourceRectOf(inVideoSegments, settings);
    }
    return settings;
}

void RenderFrame::TakeSourceRectOf(const Provider& inVideoSegments, RenderFrameSettings& ioSettings)
{
    const MF::ISequenceVideoPropertiesRef properties = MF::ISequenceVideoPropertiesRef(inVideoSegments);
    ioSettings.mSourceRect = properties->GetBounds();
    ioSettings.mSourcePixelAspectRatio = properties->GetPixelAspectRatio();
}

std::int32_t RenderFrame::RenderInternal(const TickTime& inTime, const FrameRate& inFrameRate,
                                         const Provider& inVideoSegments, const Formats& inRequestedFormats,
                                         bool inSynchronous, std::uint32_t inPriority,
                                         std::uint64_t inContext,
                                         const RequestCompletionFunction& inCompletion,
                                         MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID,
                                         TVK::Guid* outKey)
{
    constexpr char kFunction[] = "ML::RenderFrame::Render";
    ML_INPUT_CONTRACT(inVideoSegments, "inVideoSegments", kFile, kFunction, __LINE__);
    ML_INPUT_CONTRACT(!inRequestedFormats.empty(), "!inRequestedFormats.empty()", kFile, kFunction, __LINE__);
    ML_INPUT_CONTRACT(inFrameRate >= norviktypes::kFrameRate_Zero,
                      "inFrameRate >= norviktypes::kFrameRate_Zero", kFile, kFunction, __LINE__);
    outFrame.reset();
    try
    {
        RenderFrameSettings settings = SettingsFor(inTime, inFrameRate, inVideoSegments, inRequestedFormats);
        settings.mPriority = inPriority;
        settings.mContext = inContext;
        settings.mRequestID = GetNextRequestID();
        RenderFrameRequest request(settings, false, inSynchronous || outKey != nullptr);
        request.SetCompletionFunction(inCompletion);
        const std::int32_t status = Submit(request, inSynchronous, outFrame, outRequestID);
        if (outKey != nullptr)
        {
            *outKey = request.GetKey();
        }
        return status;
    }
    catch (const std::bad_alloc&)
    {
        return kRenderFrameOutOfMemory;
    }
}

std::int32_t RenderFrame::Submit(RenderFrameRequest& ioRequest, bool inSynchronous,
                                 MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID)
{
    const RenderFrameQueueRef queue = RenderFrameQueue::Create();
    if (!queue)
    {
        return kRenderFrameFailed;
    }
    if (ioRequest.mRenderFlags != 0 && !ioRequest.GetKey().IsZero())
    {
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(ioRequest.GetKey());
        if (outFrame)
        {
            return kRenderFrameCompleted;
        }
    }
    if (inSynchronous)
    {
        PrepareToWait(ioRequest);
    }
    queue->AddRenderRequest(ioRequest);
    if (outRequestID != nullptr)
    {
        *outRequestID = ioRequest.mRequestID;
    }
    if (!inSynchronous)
    {
        return kRenderFrameQueued;
    }
    if (mImpl->mSignal->WaitForSignal(-1) == 0)
    {
        outFrame = ioRequest.GetResultFrame();
    }
    return outFrame ? kRenderFrameCompleted : kRenderFrameFailed;
}

void RenderFrame::PrepareToWait(RenderFrameRequest& ioRequest)
{
    if (!mImpl->mSignal)
    {
        mImpl->mSignal = std::make_unique<TVK::WaitableObject>();
    }
    // A request that failed with an exception may have given its signal before, to nobody.
    mImpl->mSignal->WaitForSignal(0);
    ioRequest.SetCompletionSignal(mImpl->mSignal.get());
}

std::int32_t RenderFrame::RenderWithCompletion(const TickTime& inTime, const FrameRate& inFrameRate,
                                               const Provider& inVideoSegments,
                                               const Formats& inRequestedFormats, std::uint32_t inPriority,
                                               const RequestCompletionFunction& inCompletion,
                                               MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID,
                                               TVK::Guid* outKey)
{
    return RenderInternal(inTime, inFrameRate, inVideoSegments, inRequestedFormats, false, inPriority, 0,
                          inCompletion, outFrame, outRequestID, outKey);
}

std::int32_t RenderFrame::Render(const TickTime& inTime, const FrameRate& inFrameRate,
                                 const Provider& inVideoSegments, const Formats& inRequestedFormats,
                                 bool inSynchronous, std::uint32_t inPriority, std::uint64_t inContext,
                                 MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID)
{
    return RenderInternal(inTime, inFrameRate, inVideoSegments, inRequestedFormats, inSynchronous, inPriority,
                          inContext, RequestCompletionFunction(), outFrame, outRequestID, nullptr);
}

void RenderFrame::GetRenderKey(TVK::Guid& outKey, const TickTime& inTime, const FrameRate& inFrameRate,
                               const Provider& inVideoSegments, const Formats& inRequestedFormats)
{
    RenderFrameSettings settings = SettingsFor(inTime, inFrameRate, inVideoSegments, inRequestedFormats);
    settings.mCutlistSelector = 0;
    outKey = RenderFrameRequest(settings, false, true).GetKey();
}

bool RenderFrame::IsRenderReady(const TickTime& inTime, const FrameRate& inFrameRate,
                                const Provider& inVideoSegments, const Formats& inRequestedFormats,
                                MF::IVideoFrameRef& outFrame)
{
    ML_INPUT_CONTRACT(inFrameRate >= norviktypes::kFrameRate_Zero,
                      "inFrameRate >= norviktypes::kFrameRate_Zero", kFile, "ML::RenderFrame::IsRenderReady",
                      __LINE__);
    outFrame.reset();
    const RenderFrameRequest request(SettingsFor(inTime, inFrameRate, inVideoSegments, inRequestedFormats),
                                     false, false);
    if (!request.GetKey().IsZero())
    {
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(request.GetKey());
    }
    return static_cast<bool>(outFrame);
}

void RenderFrame::CancelAllRequests()
{
    if (const RenderFrameQueueRef queue = RenderFrameQueue::Create())
    {
        queue->CancelCallersRequests(mImpl->mSettings.mCaller);
    }
}

void RenderFrame::CancelRequest(std::uint32_t inRequestID)
{
    if (const RenderFrameQueueRef queue = RenderFrameQueue::Create())
    {
        queue->CancelOne(inRequestID);
    }
}

// ---- settings ----

void RenderFrame::SetRenderQuality(std::uint32_t inQuality)
{
    mImpl->mSettings.mRenderQuality = static_cast<norviktypes::RenderQuality>(inQuality);
}

void RenderFrame::SetDeinterlaceQuality(std::uint32_t inQuality)
{
    mImpl->mSettings.mDeinterlaceQuality = inQuality;
}

void RenderFrame::SetOutputRect(const TVK::Rect& inRect, const norviktypes::PixelAspectRatio& inRatio)
{
    mImpl->mSettings.mOutputRect = inRect;
    mImpl->mSettings.mPixelAspectRatio = inRatio;
}

void RenderFrame::SetSourceRect(const TVK::Rect& inRect, const norviktypes::PixelAspectRatio& inRatio)
{
    mImpl->mSettings.mSourceRect = inRect;
    mImpl->mSettings.mSourcePixelAspectRatio = inRatio;
}

void RenderFrame::SetFieldType(norviktypes::FieldType inFieldType)
{
    ML_INPUT_CONTRACT(inFieldType != norviktypes::kFieldType_Invalid,
                      "inFieldType != norviktypes::kFieldType_Invalid", kFile,
                      "ML::RenderFrame::SetFieldType", __LINE__);
    mImpl->mSettings.mFieldType =
        inFieldType == norviktypes::kFieldType_Unknown ? norviktypes::kFieldType_Progressive : inFieldType;
}

void RenderFrame::SetRenderSingleField(bool inRenderSingleField)
{
    mImpl->mSettings.mRenderSingleField = inRenderSingleField;
}

std::int32_t RenderFrame::GetStatus() const
{
    return kRenderFrameCompleted;
}

void RenderFrame::SetRenderFlags(std::uint32_t inFlags)
{
    mImpl->mSettings.mRenderFlags = inFlags;
}

void RenderFrame::Reserved() {}

bool RenderFrame::SetCompositeOnBlack(bool inCompositeOnBlack)
{
    return std::exchange(mImpl->mSettings.mCompositeOnBlack, inCompositeOnBlack);
}

void RenderFrame::GetStationID(norvik::utility::ImmutableString& outStationID) const
{
    outStationID = mImpl->mSettings.mStationID;
}

void RenderFrame::SetCompletionClient(const IRenderFrameClientRef& inClient)
{
    constexpr char kFunction[] = "ML::RenderFrame::SetCompletionClient";
    ML_INPUT_CONTRACT(inClient, "inClient != NULL", kFile, kFunction, __LINE__);
    ML_INPUT_CONTRACT(TVK::IWeakReferenceCapableRef(inClient),
                      "TVK::IWeakReferenceCapableRef(inClient) != NULL", kFile, kFunction, __LINE__);
    mImpl->mSettings.mClient = TVK::WeakRef<IRenderFrameClient>(inClient);
}

void RenderFrame::SetUseFirstCutlist(bool inUseFirstCutlist)
{
    mImpl->mUseFirstCutlist = inUseFirstCutlist;
}

void RenderFrame::SetSelectCutlistMask(bool inSelectCutlistMask)
{
    mImpl->mSelectCutlistMask = inSelectCutlistMask;
}

void RenderFrame::SetRenderContext(std::uint64_t inRenderContext)
{
    mImpl->mSettings.mRenderContext = inRenderContext;
}

void RenderFrame::ExchangeAcceleratedRenderer(IAcceleratedSequenceRendererRef& outPrevious,
                                              const IAcceleratedSequenceRendererRef& inRenderer)
{
    outPrevious = std::exchange(mImpl->mSettings.mAcceleratedRenderer, inRenderer);
}

void RenderFrame::SetCutlistName(const norvik::utility::ImmutableString& inName)
{
    mImpl->mSettings.mCutlistName = inName;
}

TVK::TVKUnknownRef CreateRenderFrame()
{
    return TVK::TVKUnknownRef(IRenderFrameRef(new RenderFrame));
}

TVK::Guid GetRenderFrameClassID()
{
    return kRenderFrameClassID;
}

} // namespace ML
