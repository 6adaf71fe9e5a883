// What the tests of the render frame share: a sequence of one node, whose frames and reads are fakes.
#pragma once

#include "RenderFrame.h"
#include "RenderableNodeCommonImpl.h"
#include "Tests/VideoRenderer/QueueTests.h"

#include <functional>
#include <vector>

namespace TestSupport
{

// The one node of a sequence: gives the producer, and wants read what the test says.
class SequenceNode final
    : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    SequenceNode();

    norvik::utility::ImmutableString GetNodeType() const override;
    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                       const ML::CutlistRenderParams& inParams) override;
    void GetStillRanges(const norviktypes::TickTime&, const norviktypes::TickTime&,
                        std::vector<MF::TimeRange>&) override
    {
    }
    void GetSmartRenderSegments(const norviktypes::TickTime&, const norviktypes::TickTime&,
                                const norviktypes::PixelFormat&, bool, MF::SmartRenderSegments&) override
    {
    }
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime, const ML::CutlistRenderParams& inParams,
                                  std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches) override;

    FakeProducerRef mProducer;
    std::vector<ML::IRenderableNodePrefetchRef> mItems;
    std::vector<ML::CutlistRenderParams> mRenderParams;   // that frames were asked for with
    std::vector<ML::CutlistRenderParams> mPrefetchParams; // that reads were asked for with
};

// A sequence of 64 x 32 with that node from 0 to 1,000,000 ticks, and nothing after it.
class FakeSequence final
    : public TVK::Implements<FakeSequence, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    FakeSequence();

    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist,
                                   const norvik::utility::ImmutableString& inName, bool inRefresh) override;
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist,
                                     const norvik::utility::ImmutableString& inName, bool inRefresh) override;
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist,
                                 const norvik::utility::ImmutableString& inName, bool inRefresh,
                                 bool inReserved) override;
    TVK::Rect GetBounds() const override;
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {16, 15}; }
    norviktypes::FieldType GetFieldType() const override { return norviktypes::kFieldType_FromSource; }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(1000); }

    const TVK::InterfaceRef<SequenceNode> mNode;
    MF::IRenderableCutlistRef mCutlist;
    std::function<void()> mWhileAskedForBounds; // may throw
    Texts mAsked;                               // which cutlist, the name in quotes, " fresh"

private:
    std::int32_t Give(MF::IRenderableCutlistRef& outCutlist, const char* inWhich,
                      const norvik::utility::ImmutableString& inName, bool inRefresh);
};

class RenderFrameTest : public QueueTest
{
protected:
    using Formats = ML::IRenderFrame::Formats;

    RenderFrameTest();

    // Statuses. Frame and id are kept.
    std::int32_t Render(bool inSynchronous = false, std::int64_t inTime = 5000);
    std::int32_t RenderWithKey(TVK::Guid& outKey);
    // As a client waits for it on a thread of its own, while the passes run here. inWhenRead is called when
    // the request's reads have begun.
    std::int32_t RenderInAThread(const std::function<void()>& inWhenRead = {});
    bool IsReady();
    void Prefetch(std::int64_t inTime = 5000);
    bool IsPrefetched(std::int64_t inTime = 5000);
    MF::IRenderableCutlistProviderRef Segments() const;
    TVK::InterfaceRef<FakePrefetch> AddRead();

    const norviktypes::FrameRate mRate{1000};
    const Formats mFormats{norviktypes::kPixelFormat_BGRA_4444_8u};
    TVK::InterfaceRef<FakeSequence> mSequence;
    ML::IRenderFrameRef mRenderFrame; // of 16 x 8, with mClient
    MF::IVideoFrameRef mFrame;
    std::uint32_t mID = 0;
};

} // namespace TestSupport
