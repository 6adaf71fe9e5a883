#include "RenderFrameRequest.h"

#include "CutlistRenderer.h"
#include "IntrinsicOperations.h"
#include "MF/Geometry.h"
#include "MF/PixelFormats.h"
#include "TVK/HashValue.h"
#include "norvik/config/Contract.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ML
{

namespace
{

constexpr char kFile[] = "Src/RenderFrameRequest";
constexpr char kConstructor[] = "ML::RenderFrameRequest::RenderFrameRequest";
constexpr char kRender[] = "ML::RenderFrameRequest::Render";

// Two frames whose shapes differ by less are taken for the same shape.
constexpr float kSameShape = 0.025F;

norviktypes::TickTime HalfFrame(const norviktypes::FrameRate& inRate)
{
    return norviktypes::TickTime((inRate * 2).GetTicks());
}

norviktypes::FrameRate FieldRate(const norviktypes::FrameRate& inRate)
{
    const double fieldsPerSecond = inRate.IsCountable() ? inRate.AsFramesPerSecond() * 2.0 : 0.0;
    return fieldsPerSecond != 0.0 ? norviktypes::FrameRate(static_cast<std::int64_t>(
                                        static_cast<double>(norviktypes::kTicksPerSecond) / fieldsPerSecond))
                                  : norviktypes::kFrameRate_Unset;
}

MF::FrameTime FieldTimes(const norviktypes::TickTime& inTime, const norviktypes::FrameRate& inRate,
                         norviktypes::FieldType inType)
{
    const norviktypes::TickTime later =
        inRate == norviktypes::kFrameRate_Zero ? inTime : inTime + HalfFrame(inRate);
    switch (inType)
    {
    case norviktypes::kFieldType_UpperFirst: return MF::FrameTime(inTime, later);
    case norviktypes::kFieldType_LowerFirst: return MF::FrameTime(later, inTime);
    default: return MF::FrameTime(inTime);
    }
}

float CalculateScale(const RenderFrameSettings& inSettings)
{
    const TVK::Rect source = MF::AdjustPixelAspectRectToSquarePixelRect(inSettings.mSourceRect,
                                                                        inSettings.mSourcePixelAspectRatio);
    const TVK::Rect output =
        MF::AdjustPixelAspectRectToSquarePixelRect(inSettings.mOutputRect, inSettings.mPixelAspectRatio);
    int sourceWidth = source.Width();
    const int sourceHeight = source.Height();
    const int outputWidth = output.Width();
    const int outputHeight = output.Height();
    // A width that squaring made odd lost half a pixel to rounding, which an even output would show as a
    // line at the edge.
    if (sourceWidth % 2 != 0 && outputWidth % 2 == 0 && sourceWidth < inSettings.mSourceRect.Width() &&
        sourceWidth < outputWidth)
    {
        ++sourceWidth;
    }
    const float byWidth = static_cast<float>(outputWidth) / static_cast<float>(sourceWidth);
    const float byHeight = static_cast<float>(outputHeight) / static_cast<float>(sourceHeight);
    if (sourceHeight < 1 || outputHeight < 1)
    {
        return 0.0F;
    }
    // The shapes of this pair are near enough to be taken for the same, and the picture would be cropped.
    if (outputHeight == 480 && outputWidth == 864 && sourceHeight == 1080 && sourceWidth == 1920)
    {
        return std::min(byWidth, byHeight);
    }
    const float difference = static_cast<float>(sourceWidth) / static_cast<float>(sourceHeight) -
                             static_cast<float>(outputWidth) / static_cast<float>(outputHeight);
    return std::fabs(difference) < kSameShape ? std::max(byWidth, byHeight) : std::min(byWidth, byHeight);
}

void CancelEach(const std::vector<IRenderableNodePrefetchRef>& inItems)
{
    for (const IRenderableNodePrefetchRef& item : inItems)
    {
        item->CancelPrefetch();
    }
}

} // namespace

RenderFrameRequest::RenderFrameRequest() : mResultFrame(boost::make_shared<RequestResult>()) {}

RenderFrameRequest::RenderFrameRequest(const norviktypes::TickTime& inTime,
                                       std::vector<IRenderableNodePrefetchRef> inItems,
                                       std::uint32_t inRequestID)
    : mResultFrame(boost::make_shared<RequestResult>())
    , mProducerTime(inTime)
    , mPendingPrefetchItems(std::move(inItems))
    , mPrefetchOnly(true)
{
    mTime = inTime;
    mRequestID = inRequestID;
}

RenderFrameRequest::RenderFrameRequest(const norviktypes::TickTime& inTime,
                                       const TVK::TVKUnknownRef& inPrefetch, std::uint32_t inRequestID)
    : mResultFrame(boost::make_shared<RequestResult>())
    , mProducerTime(inTime)
    , mPrefetchProvider(inPrefetch)
    , mPrefetchOnly(true)
{
    mTime = inTime;
    mRequestID = inRequestID;
}

RenderFrameRequest::RenderFrameRequest(const RenderFrameSettings& inSettings, bool inSkipKey, bool inKeyFlag)
    : RenderFrameSettings(inSettings)
    , mResultFrame(boost::make_shared<RequestResult>())
    , mProducerTime(inSettings.mTime)
{
    CompleteConstruction(inSkipKey, inKeyFlag);
}

RenderFrameRequest::RenderFrameRequest(const RenderFrameSettings& inSettings,
                                       const TVK::TVKUnknownRef& inProducer,
                                       const TVK::TVKUnknownRef& inPrefetchProvider, bool inSkipKey,
                                       bool inKeyFlag)
    : RenderFrameSettings(inSettings)
    , mResultFrame(boost::make_shared<RequestResult>())
    , mProducer(inProducer)
    , mProducerTime(FieldTimes(inSettings.mTime, inSettings.mFrameRate, inSettings.mFieldType))
    , mPrefetchProvider(inPrefetchProvider)
{
    mClient.reset();
    mAcceleratedRenderer.reset();
    mCutlistSelector = 0;
    CompleteConstruction(inSkipKey, inKeyFlag);
}

RenderFrameRequest::RenderFrameRequest(const RenderFrameRequest&) = default;
RenderFrameRequest::RenderFrameRequest(RenderFrameRequest&&) noexcept = default;
RenderFrameRequest& RenderFrameRequest::operator=(const RenderFrameRequest&) = default;
RenderFrameRequest& RenderFrameRequest::operator=(RenderFrameRequest&&) noexcept = default;
RenderFrameRequest::~RenderFrameRequest() = default;

RenderFrameRequest::RenderFrameRequest(const boost::shared_ptr<RequestResult>& inResult) noexcept
    : mResultFrame(inResult)
{
}

RenderFrameRequest RenderFrameRequest::CopyOfItsEnd() const noexcept
{
    RenderFrameRequest copy(mResultFrame);
    copy.mTime = mTime;
    copy.mStationID = mStationID;
    copy.mContext = mContext;
    copy.mClient = mClient;
    copy.mPriority = mPriority;
    copy.mCaller = mCaller;
    copy.mRequestID = mRequestID;
    copy.mCompletionSignal = mCompletionSignal;
    copy.mKey = mKey;
    copy.mPrefetchOnly = mPrefetchOnly;
    copy.mCompletionFunction = mCompletionFunction;
    return copy;
}

void RenderFrameRequest::CompleteConstruction(bool inSkipKey, bool inKeyFlag)
{
    CheckContract();
    mScale = CalculateScale(*this);
    if (!inSkipKey)
    {
        ComputeKey(inKeyFlag);
    }
}

void RenderFrameRequest::CheckContract() const
{
    ML_INPUT_CONTRACT(mSourceRect.Height() > 0, "inSourceRect.Height() > 0", kFile, kConstructor, __LINE__);
    ML_INPUT_CONTRACT(mSourceRect.Width() > 0, "inSourceRect.Width() > 0", kFile, kConstructor, __LINE__);
    ML_INPUT_CONTRACT(mOutputRect.Height() > 0, "inOutputRect.Height() > 0", kFile, kConstructor, __LINE__);
    ML_INPUT_CONTRACT(mOutputRect.Width() > 0, "inOutputRect.Width() > 0", kFile, kConstructor, __LINE__);
    ML_INPUT_CONTRACT(!mRequestedFormats.empty(), "mRequestedFormats.size() > 0", kFile, kConstructor,
                      __LINE__);
}

void RenderFrameRequest::SetCompletionFunction(const RequestCompletionFunction& inFunction)
{
    mCompletionFunction = inFunction ? boost::make_shared<const RequestCompletionFunction>(inFunction)
                                     : boost::shared_ptr<const RequestCompletionFunction>();
}

const norviktypes::PixelFormat& RenderFrameRequest::SelectPixelFormat(bool /*inFlag*/)
{
    if (mSelectedPixelFormat == MF::kPixelFormat_Invalid)
    {
        const auto found = std::find_if(mRequestedFormats.begin(), mRequestedFormats.end(),
                                        [](const norviktypes::PixelFormat& inFormat)
                                        { return norviktypes::IsPackedFourComponent(inFormat.mProperties); });
        mSelectedPixelFormat = found != mRequestedFormats.end() ? *found : MF::kPixelFormat_BGRA_4444_8u;
    }
    return mSelectedPixelFormat;
}

const MF::IRenderableCutlistRef& RenderFrameRequest::GetCutlist(bool inFlag)
{
    if (mVideoSegments && !mCutlist)
    {
        switch (mCutlistSelector)
        {
        case 3: mVideoSegments->GetThirdCutlist(mCutlist, mCutlistName, inFlag, false); break;
        case 1: mVideoSegments->GetAlternateCutlist(mCutlist, mCutlistName, inFlag); break;
        default: mVideoSegments->GetPrimaryCutlist(mCutlist, mCutlistName, inFlag); break;
        }
    }
    return mCutlist;
}

CutlistRenderParams RenderFrameRequest::BuildRenderParams(bool inFlag)
{
    CutlistRenderParams params;
    params.mWidth = static_cast<std::uint32_t>(mOutputRect.Width());
    params.mHeight = static_cast<std::uint32_t>(mOutputRect.Height());
    params.mPixelAspectRatio = mPixelAspectRatio;
    params.mRenderQuality = mRenderQuality;
    params.mRenderContext = mRenderContext;
    params.mDeinterlaceQuality = mDeinterlaceQuality == kDeinterlaceQuality_AsRender
                                     ? mRenderQuality
                                     : static_cast<norviktypes::RenderQuality>(mDeinterlaceQuality);
    params.mPixelFormat = SelectPixelFormat(inFlag);
    params.mScaleX = static_cast<double>(mScale);
    params.mScaleY = static_cast<double>(mScale);
    params.mSourceWidth = static_cast<std::uint32_t>(mSourceRect.Width());
    params.mSourceHeight = static_cast<std::uint32_t>(mSourceRect.Height());
    params.mSourcePixelAspectRatio = mSourcePixelAspectRatio;
    params.mFrameRate = mFrameRate;
    params.mFieldType = mFieldType;
    params.mUseSecondCutlist = mCutlistSelector & 1;

    norviktypes::TickTime time = mTime;
    if (mRenderSingleField)
    {
        const bool isSecond = (mTime.ToFrame64(FieldRate(mFrameRate)) & 1) != 0;
        params.mFieldToRender = isSecond ? 2 : 1;
        if (isSecond && mFrameRate != norviktypes::kFrameRate_Zero)
        {
            time -= HalfFrame(mFrameRate);
        }
    }
    if (const MF::ISequenceVideoPropertiesRef properties = MF::ISequenceVideoPropertiesRef(mVideoSegments))
    {
        const norviktypes::FieldType type = properties->GetFieldType();
        params.mFieldType = type != norviktypes::kFieldType_FromSource ? type : params.mFieldType;
    }
    params.mFrameTime = FieldTimes(time, mFrameRate, params.mFieldType);
    params.mRenderFlags = mRenderFlags | (mPriority < kNormalPriority ? kRenderFlag_LowPriority : 0);
    return params;
}

void RenderFrameRequest::ComputeKey(bool inFlag)
{
    const MF::IRenderableCutlistRef& cutlist = GetCutlist(inFlag);
    const CutlistRenderParams params = BuildRenderParams(inFlag);
    TVK::Guid hash;
    if (mProducer)
    {
        IRenderableNodeProducerRef(mProducer)->GetFrameHash(hash, mProducerTime, params, TVK::Guid());
    }
    else if (cutlist)
    {
        IRenderableNodeProducerRef producer;
        if (ResolveProducerAtTime(cutlist, params, producer, mProducerTime) >= 0 && producer)
        {
            producer->GetFrameHash(hash, mProducerTime, params, TVK::Guid());
            mProducer = TVK::TVKUnknownRef(producer);
        }
    }
    if (hash.IsZero() && cutlist)
    {
        ComputeFrameHash(hash, cutlist, params, TVK::Guid());
    }
    if (hash.IsZero())
    {
        return;
    }
    TVK::HashValue key(hash);
    key.MixText("Hash Including Render Params");
    for (const norviktypes::PixelFormat& format : mRequestedFormats)
    {
        key.MixU64(std::uint64_t{format.mProperties} << 32 | format.mName);
    }
    key.MixBool(mCompositeOnBlack);
    key.MixI32(mRenderQuality);
    key.MixU32(mDeinterlaceQuality);
    mKey = key.AsGuid();
}

// What a render would want read, begun or not.
void RenderFrameRequest::CollectPrefetchItems(bool inFlag, std::vector<IRenderableNodePrefetchRef>& outItems)
{
    const CutlistRenderParams params = BuildRenderParams(inFlag);
    if (mPrefetchProvider)
    {
        if (const IRenderableNodePrefetchProviderRef provider =
                IRenderableNodePrefetchProviderRef(mPrefetchProvider))
        {
            provider->GetPrefetchesForFrame(mProducerTime, params, outItems);
        }
    }
    else if (mVideoSegments)
    {
        PrefetchFromCutlist(GetCutlist(inFlag), params, outItems);
    }
}

void RenderFrameRequest::StartPrefetch()
{
    std::vector<IRenderableNodePrefetchRef> items;
    CollectPrefetchItems(true, items);
    if (mPrefetchProvider && !IRenderableNodePrefetchProviderRef(mPrefetchProvider))
    {
        if (const IRenderableNodePrefetchRef item = IRenderableNodePrefetchRef(mPrefetchProvider))
        {
            items.push_back(item);
        }
    }
    else if (!mPrefetchProvider && !mVideoSegments)
    {
        items.swap(mPendingPrefetchItems);
    }
    // Room first: an item that was begun must find its place.
    mPrefetchItems.reserve(mPrefetchItems.size() + items.size());
    for (const IRenderableNodePrefetchRef& item : items)
    {
        if (item->BeginPrefetch() >= 0)
        {
            mPrefetchItems.push_back(item);
        }
    }
}

bool RenderFrameRequest::IsPrefetchReady() const
{
    return std::all_of(mPrefetchItems.begin(), mPrefetchItems.end(),
                       [](const IRenderableNodePrefetchRef& inItem)
                       {
                           MF::IVideoFrameRef frame;
                           return inItem->GetPrefetchResult(frame) >= 0;
                       });
}

bool RenderFrameRequest::HasPrefetchItemStillWorking(double inElapsedSeconds) const
{
    bool working = false;
    for (const IRenderableNodePrefetchRef& item : mPrefetchItems)
    {
        working = item->ContinueWaitingForPrefetch(inElapsedSeconds) || working;
    }
    return working;
}

void RenderFrameRequest::CancelPrefetchItems()
{
    std::vector<IRenderableNodePrefetchRef> items;
    items.swap(mPrefetchItems);
    // Nothing was begun through this copy, but it may have been through another.
    if (mPrefetchOnly && items.empty())
    {
        CollectPrefetchItems(false, items);
    }
    CancelEach(items);
}

MF::IVideoFrameRef RenderFrameRequest::GetFirstPrefetchResult() const
{
    MF::IVideoFrameRef frame;
    if (!mPrefetchItems.empty())
    {
        mPrefetchItems.front()->GetPrefetchResult(frame);
    }
    return frame;
}

void RenderFrameRequest::CancelAcceleratedRender() const
{
    if (mAcceleratedRenderer && mRequestID != 0)
    {
        mAcceleratedRenderer->CancelFrame(mRequestID);
    }
}

std::int32_t RenderFrameRequest::SubmitToAcceleratedRenderer(const IRenderFrameClientRef& inClient)
{
    AcceleratedRenderRequest render;
    render.mTime = mTime;
    render.mWidth = static_cast<std::uint32_t>(mOutputRect.Width());
    render.mHeight = static_cast<std::uint32_t>(mOutputRect.Height());
    render.mPixelAspectRatio = mPixelAspectRatio;
    render.mPixelFormats = mRequestedFormats;
    render.mQuality = mRenderQuality;
    render.mPrefetchOnly = mPrefetchOnly;
    render.mCompositeOnBlack = mCompositeOnBlack;
    render.mRenderProgressive = !mRenderSingleField;
    render.mClient = inClient;
    render.mRequestID = mRequestID;
    const std::int32_t status = mAcceleratedRenderer->RenderFrame(render);
    if (status < 0)
    {
        mAcceleratedRenderer.reset();
    }
    return status;
}

MF::IVideoFrameRef RenderFrameRequest::Render(const norviktypes::PixelFormat& inPixelFormat)
{
    ML_INPUT_CONTRACT(inPixelFormat != MF::kPixelFormat_Invalid, "inPixelFormat != MF::kPixelFormat_Invalid",
                      kFile, kRender, __LINE__);
    ML_INPUT_CONTRACT(mKey != TVK::Guid(), "mKey != TVK::Guid()", kFile, kRender, __LINE__);
    const CutlistRenderParams params = BuildRenderParams(true);
    MF::IVideoFrameRef frame;
    if (const IRenderableNodeProducerRef producer = IRenderableNodeProducerRef(mProducer))
    {
        frame = RenderFrameFromCutlist(producer, params, mProducerTime, mRequestedFormats, false);
    }
    return frame && mCompositeOnBlack ? FlattenFrameOnBlack(frame, mRenderQuality) : frame;
}

void RenderFrameRequest::SetResultFrame(const MF::IVideoFrameRef& inFrame) const noexcept
{
    mResultFrame->mFrame = inFrame;
}

MF::IVideoFrameRef RenderFrameRequest::GetResultFrame() const
{
    return mResultFrame->mFrame;
}

} // namespace ML
