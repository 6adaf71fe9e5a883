#include "PulldownPrefetcher.h"

#include "FieldOperations.h"
#include "FrameConforming.h"
#include "FrameImage.h"
#include "RenderFrameClient.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"
#include "VideoSourcePrefetcher.h"
#include "norviktypes/Pulldown.h"

#include <utility>

namespace ML
{

namespace
{

// Carried by the items; the disk cache is not for these frames.
constexpr std::uint32_t kPrefetchFlags = 31;

// The most lines of planar video that begins with its lower field.
constexpr std::int32_t kMostStandardLines = 576;

CutlistRenderParams ParamsOf(const MF::IVideoFrameRef& inFrame)
{
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = static_cast<std::uint32_t>(bounds.Width());
    params.mHeight = params.mSourceHeight = static_cast<std::uint32_t>(bounds.Height());
    inFrame->GetPixelAspectRatio(params.mPixelAspectRatio);
    params.mSourcePixelAspectRatio = params.mPixelAspectRatio;
    params.mPixelFormat = norviktypes::kPixelFormat_Any;
    return params;
}

bool GivesUpperLines(const MF::IVideoFrameRef& inFirst)
{
    const bool isHighPlanar = norviktypes::IsSubsampled(FormatOfFrame(inFirst).mProperties) &&
                              BoundsOfFrame(inFirst).Height() > kMostStandardLines;
    return isHighPlanar || inFirst->GetFieldType() == norviktypes::kFieldType_UpperFirst;
}

MF::IVideoFrameRef Merge(const MF::IVideoFrameRef& inFirst, const MF::IVideoFrameRef& inSecond)
{
    const CutlistRenderParams params = ParamsOf(inFirst);
    const MF::IVideoFrameRef merged = CreateConformedFrame(params, inFirst, false, false);
    if (!merged)
    {
        return merged;
    }
    if (!inFirst->MayHaveTransparency() && !inSecond->MayHaveTransparency())
    {
        merged->SetAlphaType(inFirst->GetAlphaType());
    }
    const bool isExchanged = GivesUpperLines(inFirst);
    CopyField(isExchanged ? inSecond : inFirst, merged, true, params);
    CopyField(isExchanged ? inFirst : inSecond, merged, false, params);
    // The item keeps it, and so does who asks.
    merged->Freeze();
    return merged;
}

class PulldownPrefetcher final : public TVK::Implements<PulldownPrefetcher, IRenderableNodePrefetch>
{
public:
    PulldownPrefetcher(IRenderableNodePrefetchRef inFirst, IRenderableNodePrefetchRef inSecond)
        : mFirst(std::move(inFirst))
        , mSecond(std::move(inSecond))
    {
    }

    std::int32_t BeginPrefetch() override
    {
        mFirst->BeginPrefetch();
        mSecond->BeginPrefetch();
        return TVK::kStatus_OK;
    }

    std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) override
    {
        outFrame.reset();
        if (!mMerged)
        {
            const MF::IVideoFrameRef first = ResultOf(mFirst);
            const MF::IVideoFrameRef second = first ? ResultOf(mSecond) : MF::IVideoFrameRef();
            mMerged = first && second ? Merge(first, second) : MF::IVideoFrameRef();
        }
        outFrame = mMerged;
        return mMerged ? TVK::kStatus_OK : kRenderFramePrefetchFailed;
    }

    std::int32_t CancelPrefetch() override
    {
        mFirst->CancelPrefetch();
        mSecond->CancelPrefetch();
        mMerged.reset();
        return TVK::kStatus_OK;
    }

    void GetPrefetchKey(TVK::Guid& outKey) const override
    {
        TVK::Guid first;
        mFirst->GetPrefetchKey(first);
        TVK::Guid second;
        mSecond->GetPrefetchKey(second);
        outKey = TVK::Guid();
        // Frames without a name have no name together either.
        if (first != TVK::Guid() && second != TVK::Guid())
        {
            TVK::HashValue hash("PulldownPrefetcher");
            hash.MixGuid(first);
            hash.MixGuid(second);
            outKey = hash.AsGuid();
        }
    }

    bool ContinueWaitingForPrefetch(double inElapsedSeconds) override
    {
        return mFirst->ContinueWaitingForPrefetch(inElapsedSeconds) &&
               mSecond->ContinueWaitingForPrefetch(inElapsedSeconds);
    }

private:
    static MF::IVideoFrameRef ResultOf(const IRenderableNodePrefetchRef& inItem)
    {
        MF::IVideoFrameRef frame;
        return inItem->GetPrefetchResult(frame) < 0 ? MF::IVideoFrameRef() : frame;
    }

    const IRenderableNodePrefetchRef mFirst;
    const IRenderableNodePrefetchRef mSecond;
    MF::IVideoFrameRef mMerged; // empty until both are there
};

// Frames of the media are those that the stream gives, one for one, whatever rate the media goes by: film
// frames where pulldown is removed.
norviktypes::TickTime TimeInStream(const norviktypes::TickTime& inTime,
                                   const norviktypes::FrameRate& inMediaRate,
                                   const norviktypes::FrameRate& inStreamRate, bool inHasPulldown)
{
    if (inMediaRate == inStreamRate)
    {
        return inTime;
    }
    return norviktypes::TickTime::FromFrame(inTime.ToFrame32(inMediaRate),
                                            inHasPulldown ? norviktypes::FilmRateOfPulldown(inStreamRate)
                                                          : inStreamRate);
}

} // namespace

IRenderableNodePrefetchRef CreateMergingPrefetch(const IRenderableNodePrefetchRef& inFirst,
                                                 const IRenderableNodePrefetchRef& inSecond)
{
    return IRenderableNodePrefetchRef(new PulldownPrefetcher(inFirst, inSecond));
}

IRenderableNodePrefetchRef
CreatePulldownPrefetch(const BE::IVideoSourceRef& inSource, const norviktypes::FrameRate& inMediaRate,
                       const BE::FrameDescription& inFormat, const norviktypes::TickTime& inTime,
                       const MF::BinaryData& inSettings, const norviktypes::ColorProfile& inColorProfile,
                       const norvik::WString& inMediaName)
{
    norviktypes::FrameRate rate;
    inSource->GetFrameRate(rate);
    norviktypes::PulldownCadence cadence = norviktypes::kPulldownCadence_None;
    const BE::IVideoStreamInfoRef info(inSource);
    const bool hasPulldown = info && info->GetPulldown(cadence);
    norviktypes::TickTime time = TimeInStream(inTime, inMediaRate, rate, hasPulldown);
    bool needsMerge = false;
    if (hasPulldown)
    {
        time = norviktypes::MapPulldownFrameTo2997Frame(time, rate, cadence, needsMerge);
    }
    const auto itemFor = [&](const norviktypes::TickTime& inItemTime)
    {
        return VideoSourcePrefetcher::CreateMediaPrefetcher(inSource, inFormat, inItemTime, inSettings,
                                                            inColorProfile, inMediaName, kPrefetchFlags);
    };
    const norviktypes::TickTime previousTime = time - norviktypes::TickTime(rate.GetTicks());
    const IRenderableNodePrefetchRef item = itemFor(time);
    if (!item || !needsMerge || previousTime == inTime)
    {
        return item;
    }
    const IRenderableNodePrefetchRef previousItem = itemFor(previousTime);
    return previousItem ? CreateMergingPrefetch(item, previousItem) : item;
}

} // namespace ML
