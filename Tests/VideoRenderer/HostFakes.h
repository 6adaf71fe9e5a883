// A host whose every call may fail: stream, sequence, node, reads, renderer, data cache, executors and client.
//
// Thread-safety: one thread.
#pragma once

#include "AcceleratedSequenceRenderer.h"
#include "BE/IVideoSource.h"
#include "MF/DataCache.h"
#include "MF/ISource.h"
#include "RenderFrame.h"
#include "RenderFrameClient.h"
#include "RenderableCutlistImpl.h"
#include "RenderableNodeCommonImpl.h"
#include "RenderableSources.h"
#include "TVK/Weak.h"
#include "Tests/Support/Fakes/FakeDataCache.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/ManualExecutor.h"
#include "Tests/VideoRenderer/HostCalls.h"
#include "VideoSourcePrefetcher.h"

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport
{

using HostCalls::Fault;
using HostCalls::kByFrame;
using HostCalls::kByResult;
using HostCalls::kByStatus;
using HostCalls::kStatusOfFault;
using HostCalls::Make;
using norvik::utility::ImmutableString;
using norviktypes::TickTime;

// Opaque; its first three bytes are the number.
inline MF::IVideoFrameRef NumberedFrame(std::uint64_t inNumber)
{
    const HostCalls::Aside aside;
    const MF::IVideoFrameRef frame =
        NewFilledFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, {10, 20, 30, 255});
    std::memcpy(RowOf(frame, 0), &inNumber, 3);
    return frame;
}

// What a call answers by that gives frames.
inline std::int32_t GiveFrame(Fault inFault, std::uint64_t inNumber, MF::IVideoFrameRef& outFrame)
{
    const HostCalls::Aside aside;
    switch (inFault)
    {
    case Fault::kStatus: return kStatusOfFault;
    case Fault::kNothing: outFrame.reset(); return 0;
    case Fault::kWrong:
        outFrame = NewFilledFrame(norviktypes::kPixelFormat_BGRA_4444_16u, 5, 3, {1, 2, 3, 4, 5, 6, 7, 8});
        return 0;
    default: outFrame = NumberedFrame(inNumber); return 0;
    }
}

inline constexpr unsigned kByAll = kByStatus | kByResult | kByFrame;

// A stream whose calls may fail.
class HostStream final : public TVK::Extends<FakeVideoSource, BE::IAsyncVideoSource>
{
public:
    explicit HostStream(std::uint64_t inID) : mID(inID) { ++sLive; }
    ~HostStream() override { --sLive; }

    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override
    {
        if (inID == BE::IAsyncVideoSource::kInterfaceID && !mIsAsync)
        {
            *outInterface = nullptr;
            return TVK::kInterfaceNotSupported;
        }
        return Extends::QueryNoRef(inID, outInterface);
    }
    std::int32_t Query(const TVK::Guid& inID, void** outInterface) const override
    {
        return Extends::Query(inID, outInterface);
    }

    std::int32_t GetStillKind(std::uint32_t& outKind) const override
    {
        outKind = MF::kSourceKind_Normal;
        return Make("GetStillKind", kByStatus) == Fault::kStatus ? kStatusOfFault : 0;
    }
    void GetFrameRate(norviktypes::FrameRate& outRate) const override
    {
        Make("GetFrameRate", 0);
        outRate = mRate;
    }
    void NormalizeFormat(TickTime&, BE::FrameDescription&, const MF::BinaryData&) override
    {
        Make("NormalizeFormat", 0);
    }
    bool IsImageSource() const override
    {
        Make("IsImageSource", 0);
        return false;
    }
    bool CanRenderFrames(const MF::BinaryData&) const override
    {
        return Make("CanRenderFrames", kByResult) == Fault::kNothing ? !mRendersFrames : mRendersFrames;
    }
    TVK::Guid GetFrameKey(const TickTime& inTime, const BE::FrameDescription&, const MF::BinaryData&,
                          const norviktypes::ColorProfile&) const override
    {
        return Make("GetFrameKey", kByResult) == Fault::kNothing ? TVK::Guid() : KeyOf(inTime);
    }
    TVK::Guid GetFrameKeyWithOptions(const TickTime& inTime, const BE::FrameDescription&,
                                     const MF::BinaryData&, const TickTime&, const TickTime&,
                                     norviktypes::RenderQuality, norviktypes::FieldType, bool, bool, bool,
                                     double) const override
    {
        return Make("GetFrameKeyWithOptions", kByResult) == Fault::kNothing ? TVK::Guid() : KeyOf(inTime);
    }
    std::int32_t GetRenderedFrame(const TickTime& inTime, const BE::FrameDescription&, const MF::BinaryData&,
                                  const norviktypes::ColorProfile&, bool inAtOnce,
                                  MF::IVideoFrameRef& outFrame) override
    {
        const Fault fault = Make(inAtOnce ? "GetRenderedFrame at once" : "GetRenderedFrame", kByAll);
        if (inAtOnce && fault == Fault::kNone)
        {
            return BE::kSourceStatus_PastEnd;
        }
        return GiveFrame(fault, NumberOf(inTime), outFrame);
    }
    std::int32_t GetVideoFrame(const TickTime& inTime, const MF::BinaryData&, const TickTime&,
                               const TickTime&, const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality,
                               norviktypes::FieldType, bool, bool, bool, bool, double) override
    {
        if (Make("GetVideoFrame", kByStatus) == Fault::kStatus)
        {
            return kStatusOfFault;
        }
        const std::uint64_t number = NumberOf(inTime);
        std::memcpy(RowOf(inFrame, 0), &number, 3);
        return 0;
    }
    void AcquireQuietToken(std::shared_ptr<void>& outToken, bool inNoWait, bool,
                           bool& outMustUnquiet) override
    {
        Make(inNoWait ? "AcquireQuietToken at once" : "AcquireQuietToken", 0);
        outMustUnquiet = inNoWait && mRests;
        outToken = outMustUnquiet ? nullptr : mToken;
        mRests = mRests && inNoWait;
    }

    bool IsAsyncEnabled() const override { return Make("IsAsyncEnabled", kByResult) != Fault::kNothing; }
    std::int32_t IssueAsyncRead(const TickTime&, const BE::FrameDescription&, const MF::BinaryData&,
                                const norviktypes::ColorProfile&) override
    {
        return Make("IssueAsyncRead", kByStatus) == Fault::kStatus ? kStatusOfFault : 0;
    }
    void Reserved1() override {}
    void CancelAsyncRead(const TickTime&, const BE::FrameDescription&, const MF::BinaryData&,
                         const norviktypes::ColorProfile&) override
    {
        Make("CancelAsyncRead", 0);
    }
    void Reserved2() override {}
    bool IsAsyncReadAlive(const TickTime&, const BE::FrameDescription&, double, const MF::BinaryData&,
                          const norviktypes::ColorProfile&) override
    {
        return Make("IsAsyncReadAlive", kByResult) == Fault::kNothing; // still at it, which it isn't
    }

    TVK::Guid KeyOf(const TickTime& inTime) const { return TVK::Guid(0x57AEA0 + mID, NumberOf(inTime)); }
    static std::uint64_t NumberOf(const TickTime& inTime)
    {
        return static_cast<std::uint64_t>(inTime.GetTicks()) / 1000 + 1;
    }

    static inline int sLive = 0;
    bool mRendersFrames = true;
    bool mIsAsync = false;
    bool mRests = false;

private:
    const std::uint64_t mID;
    const std::shared_ptr<void> mToken = std::make_shared<int>(0);
};
using HostStreamRef = TVK::InterfaceRef<HostStream>;

// Renders a stream's frames, or frames of its own.
class HostProducer final : public TVK::Implements<HostProducer, ML::IRenderableNodeProducer>
{
public:
    HostProducer(std::uint64_t inID, ML::IRenderableSourceRef inSource, MF::IVideoFrameRef inFrame)
        : mID(inID)
        , mSource(std::move(inSource))
        , mFrame(std::move(inFrame))
    {
    }
    std::int32_t GetFrame(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        const Fault fault = Make("GetFrame", kByAll);
        if (fault != Fault::kNone || !mSource)
        {
            const std::int32_t status = GiveFrame(fault, HostStream::NumberOf(inTime.Earlier()), outFrame);
            outFrame = fault == Fault::kNone && mFrame ? mFrame : outFrame;
            return status;
        }
        mSource->Render(inTime, inParams, outFrame);
        return 0;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                      const TVK::Guid&) override
    {
        outHash = Make("GetFrameHash", kByResult) == Fault::kNothing
                      ? TVK::Guid()
                      : TVK::Guid(0xF4A3E + mID, static_cast<std::uint64_t>(inTime.Earlier().GetTicks()) + 1);
    }

private:
    const std::uint64_t mID;
    const ML::IRenderableSourceRef mSource;
    const MF::IVideoFrameRef mFrame;
};

class HostNode final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    HostNode(std::uint64_t inID, HostStreamRef inStream) : mID(inID), mStream(std::move(inStream)) {}

    ImmutableString GetNodeType() const override { return ImmutableString::CreateStatic("HostNode"); }
    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime&,
                                                       const ML::CutlistRenderParams&) override
    {
        if (Make("GetProducerForFrame", kByResult) == Fault::kNothing)
        {
            return nullptr;
        }
        return ML::IRenderableNodeProducerRef(
            new HostProducer(mID, mStream && mStream->mRendersFrames ? Source() : nullptr, mFrame));
    }
    void GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                        std::vector<MF::TimeRange>& ioRanges) override
    {
        ioRanges.push_back({inStart, inEnd});
    }
    void GetSmartRenderSegments(const TickTime&, const TickTime&, const norviktypes::PixelFormat&, bool,
                                MF::SmartRenderSegments&) override
    {
    }
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                                  std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        Make("AddOwnPrefetchesForFrame", 0);
        ioItems.insert(ioItems.end(), mItems.begin(), mItems.end());
        if (mStream && mStream->mRendersFrames)
        {
            Source()->CollectPrefetchItems(inTime, inParams, ioItems);
        }
        else if (mStream)
        {
            BE::FrameDescription format;
            format.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
            format.mBounds = {0, 0, 16, 8};
            const ML::IRenderableNodePrefetchRef item =
                ML::VideoSourcePrefetcher::CreateParameterizedMediaPrefetcher(
                    BE::IVideoSourceRef(mStream.get()), format, inTime.Earlier(), {}, {}, u"filled", {}, 0);
            if (item)
            {
                ioItems.push_back(item);
            }
        }
    }

    std::vector<ML::IRenderableNodePrefetchRef> mItems;
    MF::IVideoFrameRef mFrame;
    norviktypes::AlphaChannel mAlpha = norviktypes::kAlphaChannel_Straight;

private:
    ML::IRenderableSourceRef Source() const
    {
        return ML::CreateRenderableSource(BE::IVideoSourceRef(mStream.get()), {}, mAlpha, {}, false, false,
                                          mStream->mRate, norviktypes::kFieldType_FromSource, {}, {},
                                          u"media");
    }

    const std::uint64_t mID;
    const HostStreamRef mStream;
};
using HostNodeRef = TVK::InterfaceRef<HostNode>;

class HostSequence final
    : public TVK::Implements<HostSequence, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    explicit HostSequence(const HostNodeRef& inNode)
    {
        inNode->Finalize();
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        cutlist->AddSegment(TickTime(0), TickTime(1000000), TickTime(0),
                            MF::IRenderableNodeRef(inNode.get()));
        cutlist->Finalize();
        mCutlist = MF::IRenderableCutlistRef(cutlist);
    }
    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                   bool) override
    {
        return Give("GetPrimaryCutlist", outCutlist);
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                     bool) override
    {
        return Give("GetAlternateCutlist", outCutlist);
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&, bool,
                                 bool) override
    {
        return Give("GetThirdCutlist", outCutlist);
    }
    TVK::Rect GetBounds() const override
    {
        return Make("GetBounds", kByResult) == Fault::kNothing ? TVK::Rect{} : TVK::Rect{0, 0, 16, 8};
    }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override
    {
        Make("GetPixelAspectRatio", 0);
        return {};
    }
    norviktypes::FieldType GetFieldType() const override
    {
        Make("GetFieldType", 0);
        return norviktypes::kFieldType_FromSource;
    }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(1000); }

private:
    std::int32_t Give(const char* inName, MF::IRenderableCutlistRef& outCutlist)
    {
        const Fault fault = Make(inName, kByStatus | kByResult);
        outCutlist = fault == Fault::kNone ? mCutlist : MF::IRenderableCutlistRef();
        return fault == Fault::kStatus ? kStatusOfFault : 0;
    }
    MF::IRenderableCutlistRef mCutlist;
};

// Forwards to an executor without threads; posting may fail, and has then not been done.
class HostExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    HostExecutor(std::string inName, boost::shared_ptr<ManualExecutor> inInner)
        : mName("Post to " + std::move(inName))
        , mInner(std::move(inInner))
    {
    }
    void Post(norvik::Function inFunction, std::uint32_t inDelay) override
    {
        Make(mName.c_str(), 0);
        mInner->Post(std::move(inFunction), inDelay);
    }
    bool IsCurrentThread() const override { return mInner->IsCurrentThread(); }
    void CancelPending() override { mInner->CancelPending(); }
    void Close() override { mInner->Close(); }
    void WaitForTermination() override { mInner->WaitForTermination(); }

private:
    const std::string mName;
    const boost::shared_ptr<ManualExecutor> mInner;
};

// An item whose calls may fail.
class HostItem final : public TVK::Implements<HostItem, ML::IRenderableNodePrefetch>
{
public:
    std::int32_t BeginPrefetch() override
    {
        return Make("BeginPrefetch", kByStatus) == Fault::kStatus ? kStatusOfFault : 0;
    }
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) override
    {
        const Fault fault = Make("GetPrefetchResult", kByAll);
        if (fault == Fault::kNone && mLooks != 0)
        {
            --mLooks;
            return ML::kRenderFramePrefetchFailed;
        }
        return GiveFrame(fault, 1, outFrame);
    }
    std::int32_t CancelPrefetch() override
    {
        return Make("CancelPrefetch", kByStatus) == Fault::kStatus ? kStatusOfFault : 0;
    }
    void GetPrefetchKey(TVK::Guid&) const override {}
    bool ContinueWaitingForPrefetch(double) override
    {
        return Make("ContinueWaitingForPrefetch", kByResult) != Fault::kNothing;
    }

    int mLooks = 0; // until it's ready
};

class HostRenderer final : public TVK::Implements<HostRenderer, ML::IAcceleratedSequenceRenderer>
{
public:
    void RefreshSegments() override {}
    const ML::AcceleratedSegmentMap& GetSegmentMap() override { return mSegments; }
    std::int32_t RenderFrame(const ML::AcceleratedRenderRequest& inRequest) override
    {
        if (Make("RenderFrame", kByStatus) == Fault::kStatus)
        {
            return kStatusOfFault;
        }
        mClient = inRequest.mClient;
        return 0;
    }
    std::int32_t CancelFrame(std::uint32_t) override
    {
        return Make("CancelFrame", kByStatus) == Fault::kStatus ? kStatusOfFault : 0;
    }
    std::int32_t NotifySequence(std::uint32_t) override { return 0; }

    ML::IRenderFrameClientRef mClient;

private:
    ML::AcceleratedSegmentMap mSegments;
};

class HostDataCache final : public MF::DataCache
{
public:
    std::int32_t ReadEntry(const ImmutableString& inName, const ImmutableString& inTag,
                           const ReadCompletion& inCompletion, TVK::TVKUnknownRef& outHandle) override
    {
        if (Make("ReadEntry", kByStatus) == Fault::kStatus)
        {
            return kStatusOfFault;
        }
        return mInner.ReadEntry(
            inName, inTag,
            [inCompletion](std::int32_t inStatus, const ImmutableString& inEntry,
                           const ImmutableString& inType, const Bytes& inBytes)
            {
                const Fault fault = Make("what is read", kByStatus | kByResult);
                const bool failed = fault == Fault::kStatus;
                inCompletion(failed ? MF::kDataCache_Damaged : inStatus, inEntry, inType,
                             fault == Fault::kNone ? inBytes : Bytes());
            },
            outHandle);
    }
    void WriteEntry(const ImmutableString& inName, const ImmutableString& inTag,
                    const Bytes& inBytes) override
    {
        Make("WriteEntry", 0);
        mInner.WriteEntry(inName, inTag, inBytes);
    }

    FakeDataCache mInner;
};

// Writes down what it is told, before it may fail.
class HostClient final : public TVK::ImplementsWeak<HostClient, ML::IRenderFrameClient>
{
public:
    void RenderFrameCompleted(std::uint64_t, std::uint32_t, const TickTime&, MF::IVideoFrameRef inFrame,
                              std::int32_t) override
    {
        mFrames.push_back(inFrame);
        mStatuses.push_back(0);
        Make("RenderFrameCompleted", 0);
    }
    void RenderFrameCancelled(std::uint64_t, std::uint32_t, const TickTime&) override
    {
        mStatuses.push_back(1);
        Make("RenderFrameCancelled", 0);
    }
    void RenderFrameError(std::uint64_t, std::uint32_t, const TickTime&, std::int32_t inStatus) override
    {
        mStatuses.push_back(inStatus);
        Make("RenderFrameError", 0);
    }

    std::vector<MF::IVideoFrameRef> mFrames;
    std::vector<std::int32_t> mStatuses; // 0: completed, 1: cancelled, below 0: error
};
using HostClientRef = TVK::InterfaceRef<HostClient>;

} // namespace TestSupport
