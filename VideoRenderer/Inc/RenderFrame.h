// How a client renders the frames of a timeline: the settings of a render, and calls that ask for frames.
//
// Each call takes a copy of the settings; changing them doesn't touch what was asked for before. Any number of
// frames may be asked for and not be there yet. Letting the object go cancels those that can still be
// cancelled, and tells their client on the thread that lets go; a client that owned the object is past hearing
// by then.
//
// A frame that is asked for without waiting ends with one notification of the completion client or, without
// one, one message to the object's own station (RenderFrameClient.h). It may come before the asking call has
// returned, and so before that has stored the request's id. No notification follows when a call already
// answers with the frame, or when it waits for the frame.
//
// Ownership: counted; made by TVK::CreateClassInstanceRef(kRenderFrameClassID) or by the constructor.
// Errors: a status, as told with each call. Contract violations, and what the sources of a timeline throw when
// they are asked for the key of a frame, pass to the caller.
//
// After the end of the service nothing is rendered any more: what is asked for stays queued until it is
// cancelled, and who waits for it waits for ever.
//
// Thread-safety: frames are asked for and cancelled from any thread. Settings are not changed while another
// thread is asking. One thread at a time waits for a frame: the object has one signal. A thread of the shared
// render and prefetch executors that waits renders the frame itself.
#pragma once

#include "MF/CutlistProvider.h"
#include "MF/IVideoFrame.h"
#include "RenderFrameClient.h"
#include "TVK/Allocated.h"
#include "VideoRendererExport.h"
#include "norvik/BoostTypes.h"
#include "norvik/utility/Strings.h"
#include "norviktypes/PixelFormat.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ML
{

class IAcceleratedSequenceRenderer;
class RenderFrameRequest;
struct RenderFrameSettings;

// Frame (empty if there is none), cancelled, error: what is called after the client was told.
using RequestCompletionFunction = boost::function<void(MF::IVideoFrameRef, bool, int)>;

inline constexpr TVK::Guid kRenderFrameClassID{"6593E8B4-4082-48a4-A816-D02043C80893"};

// Formats are those that the client accepts, best first. Ids and keys are optional: null asks for none.
class VIDEORENDERER_EXPORT IRenderFrame : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderFrame;

    using Formats = std::vector<norviktypes::PixelFormat>;

    // Asks for a frame without waiting. kRenderFrameCompleted: it was in the frame cache, is in outFrame, and
    // nobody is told. kRenderFrameQueued: the result comes later. kRenderFrameFailed: there is no render
    // service. kRenderFrameOutOfMemory.
    // Contract: "inVideoSegments", "!inRequestedFormats.empty()",
    // "inFrameRate >= norviktypes::kFrameRate_Zero".
    virtual std::int32_t RenderWithCompletion(const norviktypes::TickTime& inTime,
                                              const norviktypes::FrameRate& inFrameRate,
                                              const MF::IRenderableCutlistProviderRef& inVideoSegments,
                                              const Formats& inRequestedFormats, std::uint32_t inPriority,
                                              const RequestCompletionFunction& inCompletion,
                                              MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID,
                                              TVK::Guid* outKey) = 0;
    // The same, or, synchronous, waits for the frame however long it takes. Then kRenderFrameCompleted: it is
    // in outFrame; kRenderFrameFailed: none was made, or the request was cancelled.
    virtual std::int32_t Render(const norviktypes::TickTime& inTime,
                                const norviktypes::FrameRate& inFrameRate,
                                const MF::IRenderableCutlistProviderRef& inVideoSegments,
                                const Formats& inRequestedFormats, bool inSynchronous,
                                std::uint32_t inPriority, std::uint64_t inContext,
                                MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID) = 0;

    // The key under which a frame of the first cutlist is cached; zero if it has none.
    virtual void GetRenderKey(TVK::Guid& outKey, const norviktypes::TickTime& inTime,
                              const norviktypes::FrameRate& inFrameRate,
                              const MF::IRenderableCutlistProviderRef& inVideoSegments,
                              const Formats& inRequestedFormats) = 0;
    // Whether the frame is in the frame cache; it is then in outFrame. Starts nothing.
    // Contract: "inFrameRate >= norviktypes::kFrameRate_Zero".
    virtual bool IsRenderReady(const norviktypes::TickTime& inTime, const norviktypes::FrameRate& inFrameRate,
                               const MF::IRenderableCutlistProviderRef& inVideoSegments,
                               const Formats& inRequestedFormats, MF::IVideoFrameRef& outFrame) = 0;

    // The four below have the media of a frame read ahead, without rendering it; nobody is told of the end.
    // They take the source area from the timeline, never from SetSourceRect. All throw
    // TVK::NullInterfaceException without a timeline.
    // Contract: "inTime >= norviktypes::kTime_Zero".

    // With no formats, which a request for a frame must have: breaks the request's contract
    // "mRequestedFormats.size() > 0".
    virtual void PrefetchMedia(const norviktypes::TickTime& inTime,
                               const MF::IRenderableCutlistProviderRef& inVideoSegments) = 0;
    // Formats and rate are kept for IsPrefetchedMediaReady; an unset rate leaves the one kept before.
    virtual void PrefetchMediaWithRenderParameters(const norviktypes::TickTime& inTime,
                                                   const norviktypes::FrameRate& inFrameRate,
                                                   const MF::IRenderableCutlistProviderRef& inVideoSegments,
                                                   const Formats& inRequestedFormats) = 0;
    // Cancels what the frame wants read, as a timeline tells it afresh. An item that the timeline makes for the
    // question has no share in the read of a prefetch, which goes on; CancelAllRequests ends the prefetches.
    virtual void CancelPrefetchMediaWithRenderParameters(
        const norviktypes::TickTime& inTime, const norviktypes::FrameRate& inFrameRate,
        const MF::IRenderableCutlistProviderRef& inVideoSegments, const Formats& inRequestedFormats) = 0;
    // Does nothing.
    virtual void CancelPrefetchMedia(const MF::IRenderableCutlistProviderRef& inVideoSegments) = 0;
    // Whether all that a frame wants read is there, with formats and rate of the last prefetch. False when
    // nothing was prefetched, whatever the time: that is asked ahead of the contract. A frame that wants
    // nothing read is ready; one whose read failed never is.
    virtual bool IsPrefetchedMediaReady(const norviktypes::TickTime& inTime,
                                        const MF::IRenderableCutlistProviderRef& inVideoSegments) = 0;

    // Of this object, prefetches included.
    virtual void CancelAllRequests() = 0;
    virtual void CancelRequest(std::uint32_t inRequestID) = 0;

    // At first kRenderQuality_High.
    virtual void SetRenderQuality(std::uint32_t inQuality) = 0;
    // At first 0xFFFFFFFF, the quality of the render.
    virtual void SetDeinterlaceQuality(std::uint32_t inQuality) = 0;
    // The picture to be made. Must be set: it is empty at first, and requests for empty pictures break their
    // contract.
    virtual void SetOutputRect(const TVK::Rect& inRect, const norviktypes::PixelAspectRatio& inRatio) = 0;
    // The area of the sequence. All zero, as at first: the timeline's own, with its aspect.
    virtual void SetSourceRect(const TVK::Rect& inRect, const norviktypes::PixelAspectRatio& inRatio) = 0;
    // At first progressive, as which kFieldType_Unknown is taken too.
    // Contract: "inFieldType != norviktypes::kFieldType_Invalid".
    virtual void SetFieldType(norviktypes::FieldType inFieldType) = 0;
    // True: times name fields.
    virtual void SetRenderSingleField(bool inRenderSingleField) = 0;
    // Always kRenderFrameCompleted.
    virtual std::int32_t GetStatus() const = 0;
    // Which frames go into the frame cache: 8 all, 16 those that stand still; and of what they are made of,
    // 1 all, 2 that of media which never changes. At first 10. 0: the cache is not looked into either.
    virtual void SetRenderFlags(std::uint32_t inFlags) = 0;
    // Does nothing.
    virtual void Reserved() = 0;
    // Whether a frame with alpha is laid over black, as at first. Gives what it was before.
    virtual bool SetCompositeOnBlack(bool inCompositeOnBlack) = 0;
    // Where messages come that no client takes.
    virtual void GetStationID(norvik::utility::ImmutableString& outStationID) const = 0;
    // Held weakly.
    // Contract: "inClient != NULL", "TVK::IWeakReferenceCapableRef(inClient) != NULL".
    virtual void SetCompletionClient(const IRenderFrameClientRef& inClient) = 0;
    // Which cutlist of the timeline is rendered: the third at first, the first if told so. The mask makes the
    // second of the third.
    virtual void SetUseFirstCutlist(bool inUseFirstCutlist) = 0;
    virtual void SetSelectCutlistMask(bool inSelectCutlistMask) = 0;
    // Carried.
    virtual void SetRenderContext(std::uint64_t inRenderContext) = 0;
    // Who is offered each frame first; empty for nobody.
    virtual void
    ExchangeAcceleratedRenderer(TVK::InterfaceRef<IAcceleratedSequenceRenderer>& outPrevious,
                                const TVK::InterfaceRef<IAcceleratedSequenceRenderer>& inRenderer) = 0;
    // The stream of the timeline; null, as at first, is its picture.
    virtual void SetCutlistName(const norvik::utility::ImmutableString& inName) = 0;
};
using IRenderFrameRef = TVK::InterfaceRef<IRenderFrame>;

class VIDEORENDERER_EXPORT RenderFrame final : public TVK::Implements<RenderFrame, IRenderFrame>
{
public:
    using Provider = MF::IRenderableCutlistProviderRef;

    RenderFrame();
    ~RenderFrame() override;

    std::int32_t RenderWithCompletion(const norviktypes::TickTime& inTime,
                                      const norviktypes::FrameRate& inFrameRate,
                                      const Provider& inVideoSegments, const Formats& inRequestedFormats,
                                      std::uint32_t inPriority, const RequestCompletionFunction& inCompletion,
                                      MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID,
                                      TVK::Guid* outKey) override;
    std::int32_t Render(const norviktypes::TickTime& inTime, const norviktypes::FrameRate& inFrameRate,
                        const Provider& inVideoSegments, const Formats& inRequestedFormats,
                        bool inSynchronous, std::uint32_t inPriority, std::uint64_t inContext,
                        MF::IVideoFrameRef& outFrame, std::uint32_t* outRequestID) override;
    void GetRenderKey(TVK::Guid& outKey, const norviktypes::TickTime& inTime,
                      const norviktypes::FrameRate& inFrameRate, const Provider& inVideoSegments,
                      const Formats& inRequestedFormats) override;
    bool IsRenderReady(const norviktypes::TickTime& inTime, const norviktypes::FrameRate& inFrameRate,
                       const Provider& inVideoSegments, const Formats& inRequestedFormats,
                       MF::IVideoFrameRef& outFrame) override;
    void PrefetchMedia(const norviktypes::TickTime& inTime, const Provider& inVideoSegments) override;
    void PrefetchMediaWithRenderParameters(const norviktypes::TickTime& inTime,
                                           const norviktypes::FrameRate& inFrameRate,
                                           const Provider& inVideoSegments,
                                           const Formats& inRequestedFormats) override;
    void CancelPrefetchMediaWithRenderParameters(const norviktypes::TickTime& inTime,
                                                 const norviktypes::FrameRate& inFrameRate,
                                                 const Provider& inVideoSegments,
                                                 const Formats& inRequestedFormats) override;
    void CancelPrefetchMedia(const Provider& inVideoSegments) override;
    bool IsPrefetchedMediaReady(const norviktypes::TickTime& inTime,
                                const Provider& inVideoSegments) override;
    void CancelAllRequests() override;
    void CancelRequest(std::uint32_t inRequestID) override;
    void SetRenderQuality(std::uint32_t inQuality) override;
    void SetDeinterlaceQuality(std::uint32_t inQuality) override;
    void SetOutputRect(const TVK::Rect& inRect, const norviktypes::PixelAspectRatio& inRatio) override;
    void SetSourceRect(const TVK::Rect& inRect, const norviktypes::PixelAspectRatio& inRatio) override;
    void SetFieldType(norviktypes::FieldType inFieldType) override;
    void SetRenderSingleField(bool inRenderSingleField) override;
    std::int32_t GetStatus() const override;
    void SetRenderFlags(std::uint32_t inFlags) override;
    void Reserved() override;
    bool SetCompositeOnBlack(bool inCompositeOnBlack) override;
    void GetStationID(norvik::utility::ImmutableString& outStationID) const override;
    void SetCompletionClient(const IRenderFrameClientRef& inClient) override;
    void SetUseFirstCutlist(bool inUseFirstCutlist) override;
    void SetSelectCutlistMask(bool inSelectCutlistMask) override;
    void SetRenderContext(std::uint64_t inRenderContext) override;
    void
    ExchangeAcceleratedRenderer(TVK::InterfaceRef<IAcceleratedSequenceRenderer>& outPrevious,
                                const TVK::InterfaceRef<IAcceleratedSequenceRenderer>& inRenderer) override;
    void SetCutlistName(const norvik::utility::ImmutableString& inName) override;

    // What both forms of Render do.
    std::int32_t RenderInternal(const norviktypes::TickTime& inTime,
                                const norviktypes::FrameRate& inFrameRate, const Provider& inVideoSegments,
                                const Formats& inRequestedFormats, bool inSynchronous,
                                std::uint32_t inPriority, std::uint64_t inContext,
                                const RequestCompletionFunction& inCompletion, MF::IVideoFrameRef& outFrame,
                                std::uint32_t* outRequestID, TVK::Guid* outKey);

private:
    class Impl;

    RenderFrameSettings SettingsFor(const norviktypes::TickTime& inTime,
                                    const norviktypes::FrameRate& inFrameRate,
                                    const Provider& inVideoSegments, const Formats& inRequestedFormats) const;
    RenderFrameSettings PrefetchSettingsFor(const norviktypes::TickTime& inTime,
                                            const norviktypes::FrameRate& inFrameRate,
                                            const Provider& inVideoSegments,
                                            const Formats& inRequestedFormats) const;
    static void TakeSourceRectOf(const Provider& inVideoSegments, RenderFrameSettings& ioSettings);
    std::int32_t Submit(RenderFrameRequest& ioRequest, bool inSynchronous, MF::IVideoFrameRef& outFrame,
                        std::uint32_t* outRequestID);
    void PrepareToWait(RenderFrameRequest& ioRequest);

    const std::unique_ptr<Impl> mImpl;
};

// For the class factory.
TVK::TVKUnknownRef CreateRenderFrame();
TVK::Guid GetRenderFrameClassID();

} // namespace ML
