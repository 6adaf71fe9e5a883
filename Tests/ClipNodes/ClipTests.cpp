#include "Tests/ClipNodes/ClipTests.h"

#include "MF/ITimeTransform.h"
#include "Tests/Support/FrameTools.h"
#include "VF/VideoFrame.h"

#include <cstring>

namespace ClipTests
{

namespace
{

class MediaProducer final : public TVK::Implements<MediaProducer, ML::IRenderableNodeProducer>
{
public:
    explicit MediaProducer(const MediaRef& inMedia) : mMedia(inMedia) {}

    std::int32_t GetFrame(const FrameTime& inFrameTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        mMedia->mRenderedAt.push_back(inFrameTime);
        if (mMedia->mStatus < 0 || mMedia->mGivesNothing)
        {
            return mMedia->mStatus;
        }
        const auto number = static_cast<std::uint8_t>(inFrameTime.Earlier().GetTicks() / kFrame.GetTicks());
        outFrame = TestSupport::NewFilledFrame(
            inParams.mPixelFormat, mMedia->mWidth != 0 ? mMedia->mWidth : inParams.mWidth,
            mMedia->mHeight != 0 ? mMedia->mHeight : inParams.mHeight, {number, number, number, 255});
        outFrame->SetFieldType(mMedia->mFieldType);
        if (mMedia->mOnFrame)
        {
            mMedia->mOnFrame(outFrame);
        }
        return 0;
    }
    void GetFrameHash(TVK::Guid& outHash, const FrameTime& inFrameTime,
                      const ML::CutlistRenderParams& inParams, const TVK::Guid& inBaseHash) override
    {
        mMedia->mHashedAt.push_back(inFrameTime);
        TVK::HashValue hash(inBaseHash);
        hash.MixText("media of a test");
        hash.MixGuid(mMedia->GetHashValue());
        hash.MixI64(inFrameTime.mFirstTime.GetTicks());
        hash.MixI64(inFrameTime.mSecondTime.GetTicks());
        hash.MixU32(inParams.mWidth);
        hash.MixU32(inParams.mHeight);
        outHash = hash.AsGuid();
    }

private:
    const MediaRef mMedia;
};

class AddingOperator final : public TVK::Implements<AddingOperator, ML::IRenderableNodeOperator>
{
public:
    explicit AddingOperator(const EffectRef& inEffect) : mEffect(inEffect) {}

    std::int32_t ApplyToFrame(const FrameTime& inClipTime, const FrameTime& inSequenceTime,
                              const ML::CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame,
                              const ML::SubTreeRenderRef& inSubTree, MF::IVideoFrameRef& outFrame) override
    {
        mEffect->mCalls.push_back({inClipTime, inSequenceTime, inFrame, static_cast<bool>(inSubTree)});
        if (mEffect->mOnApply)
        {
            mEffect->mOnApply(inSubTree);
        }
        if (mEffect->mStatus < 0 || !inFrame)
        {
            return mEffect->mStatus;
        }
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        std::vector<std::uint8_t> pixel = TestSupport::PixelAt(inFrame, 0, 0);
        for (std::size_t index = 0; index < 3; ++index)
        {
            pixel[index] = static_cast<std::uint8_t>(pixel[index] + mEffect->mAmount);
        }
        outFrame =
            TestSupport::NewFilledFrame(inParams.mPixelFormat, static_cast<std::uint32_t>(bounds.Width()),
                                        static_cast<std::uint32_t>(bounds.Height()), pixel);
        return 0;
    }
    void GetFrameHash(TVK::Guid& outHash, const FrameTime& inFrameTime, const ML::CutlistRenderParams&,
                      const TVK::Guid& inBaseHash) override
    {
        mEffect->mHashedAt.push_back(inFrameTime);
        TVK::HashValue hash(inBaseHash);
        hash.MixText("effect of a test");
        hash.MixGuid(mEffect->GetHashValue());
        outHash = hash.AsGuid();
    }

private:
    const EffectRef mEffect;
};

} // namespace

ML::CutlistRenderParams Params()
{
    ML::CutlistRenderParams params;
    params.mWidth = 16;
    params.mHeight = 8;
    params.mSourceWidth = 16;
    params.mSourceHeight = 8;
    params.mPixelAspectRatio = norviktypes::kPixelAspectRatio_Square;
    params.mSourcePixelAspectRatio = norviktypes::kPixelAspectRatio_Square;
    params.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    params.mFrameRate = norviktypes::FrameRate(kFrame.GetTicks());
    return params;
}

ML::IRenderableNodeProducerRef Media::GetProducerForFrame(const FrameTime& inFrameTime,
                                                          const ML::CutlistRenderParams&)
{
    mProducersAt.push_back(inFrameTime);
    return mGivesNoProducer ? nullptr : ML::IRenderableNodeProducerRef(new MediaProducer(MediaRef(this)));
}

void Media::GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                           std::vector<MF::TimeRange>& ioRanges)
{
    mStillQuestions.push_back({inStart, inEnd});
    ioRanges.push_back(mStill);
}

void Media::GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                   const norviktypes::PixelFormat& inFormat, bool inIsPreview,
                                   MF::SmartRenderSegments& ioSegments)
{
    mSmartQuestions.push_back({inStart, inEnd});
    mSmartFormat = inFormat;
    mSmartIsPreview = inIsPreview;
    ioSegments.emplace(mSegment.mStart, mSegment);
}

ML::IRenderableNodeOperatorRef Effect::GetOperatorForFrame(const FrameTime& inFrameTime,
                                                           const ML::CutlistRenderParams&)
{
    mOperatorsAt.push_back(inFrameTime);
    return mGivesNoOperator ? nullptr : ML::IRenderableNodeOperatorRef(new AddingOperator(EffectRef(this)));
}

void Clip::Play(const TickTime& inStart, double inSpeed)
{
    mTimeTransform = MF::CreateTimeTransform(inStart, inSpeed, TickTime(kTicksPerSecond), TickTime());
    mIsRetimed = inSpeed != 1.0;
}

void Clip::Hold(const TickTime& inTime, bool inHoldsEffects)
{
    mFrameHoldAtTime = inTime;
    mFrameHoldFilters = inHoldsEffects;
}

MediaRef MakeMedia(std::uint32_t inFlags)
{
    MediaRef media(new Media(inFlags));
    media->Finalize();
    return media;
}

EffectRef MakeEffect(std::uint8_t inAmount, std::uint32_t inFlags)
{
    EffectRef effect(new Effect(inAmount, inFlags));
    effect->Finalize();
    return effect;
}

ClipRef MakeClip(const MediaRef& inMedia, const std::vector<EffectRef>& inEffects,
                 const std::function<void(Clip&)>& inPrepare, const TickTime& inOffset)
{
    ClipRef clip(new Clip());
    if (inMedia)
    {
        clip->AppendInput(MF::IRenderableNodeRef(inMedia.get()), inOffset);
    }
    for (const EffectRef& effect : inEffects)
    {
        clip->AppendOperator(MF::IRenderableNodeRef(effect.get()));
        clip->mRunsEffects = true;
    }
    if (inPrepare)
    {
        inPrepare(*clip);
    }
    clip->Finalize();
    return clip;
}

TVK::Guid FrameHash(Clip& inClip, const FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                    const TVK::Guid& inBase)
{
    TVK::Guid hash;
    inClip.GetProducerForFrame(inTime, inParams)->GetFrameHash(hash, inTime, inParams, inBase);
    return hash;
}

MF::IVideoFrameRef Render(Clip& inClip, const FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          std::int32_t* outStatus)
{
    MF::IVideoFrameRef frame;
    const std::int32_t status =
        inClip.GetProducerForFrame(inTime, inParams)->GetFrame(inTime, inParams, frame);
    if (outStatus)
    {
        *outStatus = status;
    }
    return frame;
}

int Painted(const MF::IVideoFrameRef& inFrame)
{
    return inFrame ? TestSupport::PixelAt(inFrame, 0, 0)[0] : -1;
}

} // namespace ClipTests
