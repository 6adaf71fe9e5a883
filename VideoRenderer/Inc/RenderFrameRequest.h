// Everything that is needed to make one frame, and to tell somebody that it is there.
//
// A request is a value and is copied freely. What its copies must have in common they hold by reference: the
// slot of the result, the claim on its end, and the completion function.
//
// The claim: whoever ends a request (finishes or cancels it) claims it first, and only who has the claim
// tells the maker. A frame may be found by two threads, or found and cancelled, at the same moment.
//
// Two kinds. A full request knows a sequence and is rendered. A prefetch-only request is ended when its items
// are read, with the frame of the first.
//
// Thread-safety: one thread uses a copy at a time. The slot is written by who holds the claim and read by the
// waiting thread after the signal.
#pragma once

#include "AcceleratedSequenceRenderer.h"
#include "CutlistRenderParams.h"
#include "MF/CutlistProvider.h"
#include "RenderFrameClient.h"
#include "RenderableNodePrefetch.h"
#include "TVK/Weak.h"
#include "norvik/BoostTypes.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace TVK
{
class WaitableObject;
}

namespace ML
{

class RenderFrameQueue;

// Frame (empty if there is none), cancelled, error.
using RequestCompletionFunction = boost::function<void(MF::IVideoFrameRef, bool, int)>;

// Requests of at least this priority are normal ones; those below are low.
inline constexpr std::uint32_t kNormalPriority = 900;

// For deinterlacing: the quality of the render.
inline constexpr std::uint32_t kDeinterlaceQuality_AsRender = 0xFFFFFFFFu;

// What the maker of a request says.
struct RenderFrameSettings
{
    norviktypes::TickTime mTime; // in the sequence
    norviktypes::FrameRate mFrameRate = norviktypes::kFrameRate_Unset;
    TVK::Rect mSourceRect;
    norviktypes::PixelAspectRatio mSourcePixelAspectRatio;
    MF::IRenderableCutlistProviderRef mVideoSegments; // empty: prefetch-only
    norvik::utility::ImmutableString mCutlistName;
    norviktypes::RenderQuality mRenderQuality = norviktypes::kRenderQuality_High;
    std::uint32_t mDeinterlaceQuality = kDeinterlaceQuality_AsRender;
    TVK::Rect mOutputRect;
    norviktypes::PixelAspectRatio mPixelAspectRatio;                         // of the output
    std::vector<norviktypes::PixelFormat> mRequestedFormats;                 // accepted, best first
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive; // of the sequence
    bool mRenderSingleField = false; // mTime names a field, not a frame
    std::uint32_t mRenderFlags = 0;  // kRenderFlag_
    bool mCompositeOnBlack = false;  // flatten a frame with alpha
    norvik::utility::ImmutableString mStationID;
    std::uint64_t mContext = 0; // given back in every notification
    TVK::WeakRef<IRenderFrameClient> mClient;
    IAcceleratedSequenceRendererRef mAcceleratedRenderer; // offered the request first
    std::uint32_t mPriority = 0;
    std::uint64_t mCaller = 0; // by which CancelCallersRequests finds the request; 0: not at all
    std::uint32_t mRequestID = 0;
    std::uint32_t mCutlistSelector = 0; // of the provider: 0 the first, 1 the second, 3 the third
    std::uint64_t mRenderContext = ~std::uint64_t{0};
};

// What the copies of a request share besides its completion function.
struct RequestResult
{
    MF::IVideoFrameRef mFrame;
    std::atomic<bool> mClaimed{false};

    // True for the first who calls it.
    bool Claim() noexcept { return !mClaimed.exchange(true, std::memory_order_acq_rel); }
};

class RenderFrameRequest : public RenderFrameSettings
{
public:
    // To be assigned to.
    RenderFrameRequest();

    // Prefetch-only: for the items, or for those of a provider of prefetches (or for inPrefetch itself, if it
    // is a single item).
    RenderFrameRequest(const norviktypes::TickTime& inTime, std::vector<IRenderableNodePrefetchRef> inItems,
                       std::uint32_t inRequestID);
    RenderFrameRequest(const norviktypes::TickTime& inTime, const TVK::TVKUnknownRef& inPrefetch,
                       std::uint32_t inRequestID);

    // Full. inSkipKey: the key is computed later. inKeyFlag goes to ComputeKey.
    // Contract, in this order: "inSourceRect.Height() > 0", "inSourceRect.Width() > 0",
    // "inOutputRect.Height() > 0", "inOutputRect.Width() > 0", "mRequestedFormats.size() > 0".
    RenderFrameRequest(const RenderFrameSettings& inSettings, bool inSkipKey, bool inKeyFlag);

    // Full, of one producer, whose time is the field times of the request. Client, accelerated renderer and
    // selector of the settings are not taken. Contract as above.
    RenderFrameRequest(const RenderFrameSettings& inSettings, const TVK::TVKUnknownRef& inProducer,
                       const TVK::TVKUnknownRef& inPrefetchProvider, bool inSkipKey, bool inKeyFlag);

    RenderFrameRequest(const RenderFrameRequest&);
    RenderFrameRequest(RenderFrameRequest&&) noexcept;
    RenderFrameRequest& operator=(const RenderFrameRequest&);
    RenderFrameRequest& operator=(RenderFrameRequest&&) noexcept;
    virtual ~RenderFrameRequest();

    // A copy that can end the request, and nothing else: what its frame is made of is left out, which is
    // most of the cost of a copy.
    RenderFrameRequest CopyOfItsEnd() const noexcept;

    const TVK::Guid& GetKey() const noexcept { return mKey; }
    const TVK::Rect& GetOutputRect() const noexcept { return mOutputRect; }
    const TVK::Rect& GetSourceRect() const noexcept { return mSourceRect; }
    const MF::IRenderableCutlistProviderRef& GetVideoSegments() const noexcept { return mVideoSegments; }
    float GetScale() const noexcept { return mScale; } // output over source size
    bool IsPrefetchOnly() const noexcept { return mPrefetchOnly; }
    std::size_t PrefetchItemCount() const noexcept { return mPrefetchItems.size(); } // begun ones

    // A full request that is only read for.
    void SetPrefetchOnly() noexcept { mPrefetchOnly = true; }
    // Not owned, and kept alive by who waits. With a signal nobody is notified: the waiting thread finds the
    // frame in the slot.
    void SetCompletionSignal(TVK::WaitableObject* inSignal) noexcept { mCompletionSignal = inSignal; }
    TVK::WaitableObject* GetCompletionSignal() const noexcept { return mCompletionSignal; }
    // Called after client or station were told.
    void SetCompletionFunction(const RequestCompletionFunction& inFunction);
    const RequestCompletionFunction* GetCompletionFunction() const noexcept
    {
        return mCompletionFunction.get();
    }

    // The first accepted packed four-component format, or BGRA in 8 bits. The flag of these three functions
    // goes to the provider as its inRefresh, where one is asked; it changes nothing else.
    const norviktypes::PixelFormat& SelectPixelFormat(bool inFlag);
    const MF::IRenderableCutlistRef& GetCutlist(bool inFlag);
    CutlistRenderParams BuildRenderParams(bool inFlag);

    // Finds producer and key. The key stays as it was if the frame has no hash.
    // Throws TVK::NullInterfaceException for a producer that is none.
    void ComputeKey(bool inFlag);

    // Begins the reads that the frame wants; what can't begin is left out. An empty item throws
    // TVK::NullInterfaceException.
    void StartPrefetch();
    bool IsPrefetchReady() const;
    // Asks every item.
    bool HasPrefetchItemStillWorking(double inElapsedSeconds) const;
    void CancelPrefetchItems();
    // Empty if there are no items. Throws TVK::NullInterfaceException for an empty item.
    MF::IVideoFrameRef GetFirstPrefetchResult() const;

    void CancelAcceleratedRender() const;
    // Throws TVK::NullInterfaceException without a renderer. A refusal lets go of the renderer.
    std::int32_t SubmitToAcceleratedRenderer(const IRenderFrameClientRef& inClient);

    // Empty if there is nothing to show. Throws what producers throw. Contract:
    // "inPixelFormat != MF::kPixelFormat_Invalid", "mKey != TVK::Guid()".
    MF::IVideoFrameRef Render(const norviktypes::PixelFormat& inPixelFormat);

    // True for the first of all copies that calls it.
    bool Claim() const noexcept { return mResultFrame->Claim(); }
    const boost::shared_ptr<RequestResult>& GetResult() const noexcept { return mResultFrame; }
    void SetResultFrame(const MF::IVideoFrameRef& inFrame) const noexcept;
    MF::IVideoFrameRef GetResultFrame() const;

private:
    explicit RenderFrameRequest(const boost::shared_ptr<RequestResult>& inResult) noexcept;

    void CheckContract() const;
    void CompleteConstruction(bool inSkipKey, bool inKeyFlag);
    void CollectPrefetchItems(bool inFlag, std::vector<IRenderableNodePrefetchRef>& outItems);

    float mScale = 1.0F;
    TVK::WaitableObject* mCompletionSignal = nullptr;
    TVK::Guid mKey; // zero: no key
    boost::shared_ptr<RequestResult> mResultFrame;
    norviktypes::PixelFormat mSelectedPixelFormat = norviktypes::kPixelFormat_Invalid;
    TVK::TVKUnknownRef mProducer;
    MF::FrameTime mProducerTime; // in the producer's own terms
    TVK::TVKUnknownRef mPrefetchProvider;
    MF::IRenderableCutlistRef mCutlist;
    std::vector<IRenderableNodePrefetchRef> mPrefetchItems;        // begun
    std::vector<IRenderableNodePrefetchRef> mPendingPrefetchItems; // not begun
    bool mPrefetchOnly = false;
    boost::shared_ptr<const RequestCompletionFunction> mCompletionFunction;
};

} // namespace ML
