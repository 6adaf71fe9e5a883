#include "RenderableCutlistSource.h"

#include "CutlistRenderer.h"
#include "RenderFrameRequest.h"
#include "RenderableSourceTools.h"

namespace ML
{

namespace
{

// Fields of a low-quality render are told apart by an even height; it is still smaller than the sequence.
void MakeHeightEven(CutlistRenderParams& ioParams)
{
    if (ioParams.mHeight % 2 != 0)
    {
        ++ioParams.mHeight;
        ioParams.mScaleY = static_cast<double>(ioParams.mHeight) / ioParams.mSourceHeight;
    }
}

void RenderAtFullSize(CutlistRenderParams& ioParams)
{
    ioParams.mWidth = ioParams.mSourceWidth;
    ioParams.mHeight = ioParams.mSourceHeight;
    ioParams.mScaleX = 1.0;
    ioParams.mScaleY = 1.0;
    ioParams.mPixelAspectRatio = ioParams.mSourcePixelAspectRatio;
}

} // namespace

RenderableCutlistSource::RenderableCutlistSource(const MF::IRenderableCutlistProviderRef& inProvider,
                                                 const norviktypes::FrameRate& inFrameRate,
                                                 const norvik::utility::ImmutableString& inCutlistName)
    : mProvider(inProvider)
{
    mProvider->GetPrimaryCutlist(mFirstCutlist, inCutlistName, true);
    mProvider->GetAlternateCutlist(mSecondCutlist, inCutlistName, true);
    mFrameRate = inFrameRate;
    mFieldType = MF::ISequenceVideoPropertiesRef(mProvider)->GetFieldType();
}

std::int32_t RenderableCutlistSource::QueryNoRef(const TVK::Guid& inID, void** outInterface) const
{
    if (inID == kInterfaceID)
    {
        *outInterface = const_cast<RenderableCutlistSource*>(this);
        return TVK::kStatus_OK;
    }
    return Implements::QueryNoRef(inID, outInterface);
}

void RenderableCutlistSource::GetFrameRate(norviktypes::FrameRate& outRate)
{
    outRate = mFrameRate;
}

void RenderableCutlistSource::GetFieldRate(norviktypes::FrameRate& outRate)
{
    outRate = norviktypes::IsInterlaced(mFieldType) ? mFrameRate * 2 : mFrameRate;
}

void RenderableCutlistSource::ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams&,
                                               MF::FrameTime& outTime)
{
    norviktypes::FrameRate fieldRate;
    GetFieldRate(fieldRate);
    const norviktypes::FieldType order =
        mFieldType == norviktypes::kFieldType_FromSource ? inTime.Order() : mFieldType;
    outTime = FrameOfFields(inTime.Earlier().AlignToFrame(mFrameRate), order, fieldRate);
}

// At high quality, and with fields, the sequence is rendered as it is: effects work on whole pixels and whole
// lines, and the scaler outside does the rest once.
CutlistRenderParams RenderableCutlistSource::ParamsOfRender(const MF::FrameTime& inTime,
                                                            const CutlistRenderParams& inRenderParams) const
{
    CutlistRenderParams params = inRenderParams;
    params.mFrameTime = inTime;
    params.mFrameRate = mFrameRate;
    params.mFieldToRender = 0;
    params.mFieldType = mFieldType;
    if (!norviktypes::IsInterlaced(mFieldType) && params.mRenderQuality < norviktypes::kRenderQuality_Max)
    {
        return params;
    }
    if (params.mRenderQuality < norviktypes::kRenderQuality_Medium)
    {
        MakeHeightEven(params);
    }
    else
    {
        RenderAtFullSize(params);
    }
    return params;
}

const MF::IRenderableCutlistRef&
RenderableCutlistSource::ChooseCutlist(const CutlistRenderParams& inRenderParams) const
{
    return inRenderParams.mUseSecondCutlist != 0 ? mSecondCutlist : mFirstCutlist;
}

void RenderableCutlistSource::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                   const CutlistRenderParams& inRenderParams,
                                                   std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    PrefetchFromCutlist(ChooseCutlist(inRenderParams), ParamsOfRender(inTime, inRenderParams), ioItems);
}

void RenderableCutlistSource::Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                     MF::IVideoFrameRef& outFrame)
{
    const CutlistRenderParams params = ParamsOfRender(inTime, inRenderParams);
    IRenderableNodeProducerRef producer;
    MF::FrameTime nodeTimes;
    const std::int32_t status =
        ResolveProducerAtTime(ChooseCutlist(inRenderParams), params, producer, nodeTimes);
    ThrowIfFailed(status);
    const bool isCached = (params.mRenderFlags & kRenderFlag_CacheAlways) != 0;
    outFrame = RenderFrameFromCutlist(producer, params, nodeTimes, {norviktypes::kPixelFormat_Any}, isCached);
}

IRenderableSourceRef CreateRenderableCutlistSource(const MF::IRenderableCutlistProviderRef& inProvider,
                                                   const norviktypes::FrameRate& inFrameRate,
                                                   const norvik::utility::ImmutableString& inCutlistName)
{
    return MakeSource<RenderableCutlistSource>(inProvider, inFrameRate, inCutlistName);
}

} // namespace ML
