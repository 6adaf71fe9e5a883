// What tests of clip nodes share: a clip put together by hand, and media and effects that remember.
//
// Thread-safety: one thread at a time.
#pragma once

#include "MF/PixelFormats.h"
#include "RenderableNodeClipImpl.h"
#include "RenderableNodeMediaImpl.h"
#include "RenderableNodeOperator.h"
#include "Tests/Support/Fakes/FakeNode.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace ClipTests
{

using MF::FrameTime;
using norviktypes::kTicksPerSecond;
using norviktypes::TickTime;

inline constexpr TickTime kFrame{kTicksPerSecond / 25};

constexpr TickTime Frames(std::int64_t inCount)
{
    return kFrame * inCount;
}
constexpr FrameTime At(std::int64_t inFrame)
{
    return FrameTime(Frames(inFrame));
}
// Upper field first, or lower field first with a negative step between the fields.
constexpr FrameTime FieldsAt(std::int64_t inFrame, bool inUpperFirst)
{
    const TickTime half(kFrame.GetTicks() / 2);
    return inUpperFirst ? FrameTime(Frames(inFrame), Frames(inFrame) + half)
                        : FrameTime(Frames(inFrame) + half, Frames(inFrame));
}

// 16 by 8, progressive, 8 bits, nothing cached.
ML::CutlistRenderParams Params();

// Media whose frames are filled with the number of the frame, and which counts.
class Media final : public TVK::Extends<TestSupport::FakeNode, ML::IRenderableNodeProducerProvider,
                                        ML::IRenderableMediaGeometry>
{
public:
    explicit Media(std::uint32_t inFlags = 0x54, const char* inType = "Media") : Extends(inType, inFlags) {}

    ML::IRenderableNodeProducerRef GetProducerForFrame(const FrameTime& inFrameTime,
                                                       const ML::CutlistRenderParams& inParams) override;
    void GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                        std::vector<MF::TimeRange>& ioRanges) override;
    void GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                const norviktypes::PixelFormat& inFormat, bool inIsPreview,
                                MF::SmartRenderSegments& ioSegments) override;
    void AddOwnPrefetchesForFrame(const FrameTime& inFrameTime, const ML::CutlistRenderParams&,
                                  std::vector<ML::IRenderableNodePrefetchRef>&) override
    {
        mPrefetched.push_back(inFrameTime);
    }
    std::int32_t GetScanlineOffset() const override { return mScanlineOffset; }
    bool IsScanlineOffsetNegative() const override { return mIsScanlineOffsetNegative; }
    TVK::Rect GetScaledFrameRect(const ML::CutlistRenderParams&) const override { return mScaledRect; }

    std::int32_t mStatus = 0;
    bool mGivesNothing = false;
    bool mGivesNoProducer = false;
    // Of the frames; 0: as the params ask.
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    std::function<void(const MF::IVideoFrameRef&)> mOnFrame;
    std::int32_t mScanlineOffset = 0;
    bool mIsScanlineOffsetNegative = false;
    TVK::Rect mScaledRect{0, 0, 12, 6};
    MF::TimeRange mStill;
    MF::SmartRenderSegment mSegment;

    std::vector<FrameTime> mProducersAt;
    std::vector<FrameTime> mHashedAt;
    std::vector<FrameTime> mRenderedAt;
    std::vector<FrameTime> mPrefetched;
    std::vector<MF::TimeRange> mStillQuestions;
    std::vector<MF::TimeRange> mSmartQuestions;
    bool mSmartIsPreview = false;
    norviktypes::PixelFormat mSmartFormat;
};
using MediaRef = TVK::InterfaceRef<Media>;

// An effect that adds a number to every byte, and remembers what it was asked.
class Effect final : public TVK::Extends<TestSupport::FakeNode, ML::IRenderableNodeOperatorProvider>
{
public:
    explicit Effect(std::uint8_t inAmount = 1, std::uint32_t inFlags = 0x4D)
        : Extends("Effect", inFlags)
        , mAmount(inAmount)
    {
        SetCommonProperty(norvik::utility::ImmutableString::CreateStatic("Amount"),
                          {static_cast<char>('0' + inAmount)}, true);
    }

    ML::IRenderableNodeOperatorRef GetOperatorForFrame(const FrameTime& inFrameTime,
                                                       const ML::CutlistRenderParams& inParams) override;
    void AddOwnPrefetchesForFrame(const FrameTime& inFrameTime, const ML::CutlistRenderParams&,
                                  std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches) override
    {
        mPrefetched.push_back(inFrameTime);
        ioPrefetches.push_back(mPrefetch);
    }

    struct Call
    {
        FrameTime mClipTime;
        FrameTime mSequenceTime;
        MF::IVideoFrameRef mFrame;
        bool mHasSubTree;
    };

    const std::uint8_t mAmount;
    bool mGivesNoOperator = false;
    std::int32_t mStatus = 0;
    // Runs before the bytes are changed, with the view of the chain below.
    std::function<void(const ML::SubTreeRenderRef&)> mOnApply;
    ML::IRenderableNodePrefetchRef mPrefetch;
    std::vector<FrameTime> mOperatorsAt;
    std::vector<FrameTime> mHashedAt;
    std::vector<FrameTime> mPrefetched;
    std::vector<Call> mCalls;
};
using EffectRef = TVK::InterfaceRef<Effect>;

// A clip node whose fields a test sets, as the builder does from an item.
class Clip final : public ML::RenderableNodeClipImpl
{
public:
    using RenderableNodeClipImpl::mAllowLinearCompositing;
    using RenderableNodeClipImpl::mFrameHoldAtTime;
    using RenderableNodeClipImpl::mFrameHoldFilters;
    using RenderableNodeClipImpl::mHasCaptions;
    using RenderableNodeClipImpl::mIsRetimed;
    using RenderableNodeClipImpl::mMotionKeyframes;
    using RenderableNodeClipImpl::mNeedsLowerTracks;
    using RenderableNodeClipImpl::mOpacityKeyframes;
    using RenderableNodeClipImpl::mRunsEffects;
    using RenderableNodeClipImpl::mTimeBound;
    using RenderableNodeClipImpl::mTimeTransform;

    // Media time inStart at the start of the item, and from there with inSpeed.
    void Play(const TickTime& inStart, double inSpeed = 1.0);
    void Hold(const TickTime& inTime, bool inHoldsEffects);
};
using ClipRef = TVK::InterfaceRef<Clip>;

// Frozen media, and a clip over it that is frozen as well.
MediaRef MakeMedia(std::uint32_t inFlags = 0x54);
ClipRef MakeClip(const MediaRef& inMedia, const std::vector<EffectRef>& inEffects = {},
                 const std::function<void(Clip&)>& inPrepare = {}, const TickTime& inOffset = TickTime());
EffectRef MakeEffect(std::uint8_t inAmount = 1, std::uint32_t inFlags = 0x4D);

TVK::Guid FrameHash(Clip& inClip, const FrameTime& inTime, const ML::CutlistRenderParams& inParams = Params(),
                    const TVK::Guid& inBase = TVK::Guid());
// Empty where the render failed; outStatus may be null.
MF::IVideoFrameRef Render(Clip& inClip, const FrameTime& inTime,
                          const ML::CutlistRenderParams& inParams = Params(),
                          std::int32_t* outStatus = nullptr);
// The first byte of a frame, -1 of none: the frame's number, and what effects have added.
int Painted(const MF::IVideoFrameRef& inFrame);

} // namespace ClipTests
