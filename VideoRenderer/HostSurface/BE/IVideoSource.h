// A readable video stream, and its optional faces.
//
// Statuses: 0 or positive with a frame; negative without one.
//
// Thread-safety: all operations of a stream are called from any number of threads at once.
#pragma once

#include "MF/BinaryData.h"
#include "MF/IVideoFrame.h"
#include "norviktypes/ColorProfile.h"
#include "norviktypes/PulldownCadence.h"
#include "norviktypes/RenderQuality.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace BE
{

// What a frame is asked for as, and what a stream narrows to what it delivers.
struct FrameDescription
{
    norviktypes::PixelFormat mPixelFormat;
    TVK::Rect mBounds;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::AlphaChannel mAlphaType = norviktypes::kAlphaChannel_Any;
    norviktypes::RenderQuality mQuality = norviktypes::kRenderQuality_High;

    friend bool operator==(const FrameDescription&, const FrameDescription&) noexcept = default;
};

inline constexpr std::int32_t kSourceStatus_OK = 0;
// There is no such frame: a time at or past the end.
inline constexpr std::int32_t kSourceStatus_PastEnd = static_cast<std::int32_t>(0xa00f0001u);
// The media is damaged, or cannot be read.
inline constexpr std::int32_t kSourceStatus_BadMedia = static_cast<std::int32_t>(0xa00d0000u);
inline constexpr std::int32_t kSourceStatus_OutOfMemory = static_cast<std::int32_t>(0xa00f0006u);

class ML_EXPORT IVideoSource : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoSource;

    virtual void GetFrameRate(norviktypes::FrameRate& outRate) const = 0;
    virtual void GetBounds(TVK::Rect& outBounds) const = 0;
    virtual std::uint32_t GetStreamCount() const = 0;
    virtual void GetMaxBounds(TVK::Rect& outBounds) const = 0;
    virtual void GetPixelAspectRatio(norviktypes::PixelAspectRatio& outRatio) const = 0;
    virtual bool IsDropFrame() const = 0;
    virtual norviktypes::FieldType GetFieldType() const = 0;
    virtual norviktypes::FieldType GetFieldTypeForTime(const norviktypes::TickTime& inTime) const = 0;

    // Reserved for hosts; the library depends on none of the answers.
    virtual std::uint32_t Query1() const = 0;
    virtual std::uint32_t Query2() const = 0;
    virtual std::uint32_t Query3() const = 0;
    virtual std::uint32_t Query4() const = 0;
    virtual std::uint32_t Query5() const = 0;
    virtual std::uint32_t Query6() const = 0;
    virtual std::uint32_t Query7() const = 0;

    virtual norviktypes::AlphaChannel GetAlphaType() const = 0;
    // The formats that the stream decodes to, the best one first.
    virtual void GetNativePixelFormat(std::vector<norviktypes::PixelFormat>& outFormats) const = 0;
    // True for a still that a frame rate means nothing to.
    virtual bool IsImageSource() const = 0;

    // Reads the frame at inTime into ioFrame, converted to it.
    virtual std::int32_t GetVideoFrame(const norviktypes::TickTime& inTime, const MF::BinaryData& inSettings,
                                       const norviktypes::TickTime& inRangeStart,
                                       const norviktypes::TickTime& inRangeEnd,
                                       const MF::IVideoFrameRef& ioFrame,
                                       norviktypes::RenderQuality inQuality,
                                       norviktypes::FieldType inFieldType, bool inIsProgressive,
                                       bool inOptionA, bool inOptionB, bool inOptionC, double inScale) = 0;
    // A frame that is in hand already; never reads.
    virtual std::int32_t GetCachedFrame(const norviktypes::TickTime& inTime, const FrameDescription& inFormat,
                                        const MF::BinaryData& inSettings,
                                        const norviktypes::ColorProfile& inProfile,
                                        MF::IVideoFrameRef& outFrame) = 0;
    // The frame at inTime as inFormat asks. inAtOnce: only what needs no decoding; else a negative
    // status.
    virtual std::int32_t GetRenderedFrame(const norviktypes::TickTime& inTime,
                                          const FrameDescription& inFormat, const MF::BinaryData& inSettings,
                                          const norviktypes::ColorProfile& inProfile, bool inAtOnce,
                                          MF::IVideoFrameRef& outFrame) = 0;
    virtual std::int32_t GetRenderedFrameInternal(const norviktypes::TickTime& inTime,
                                                  const FrameDescription& inFormat,
                                                  const MF::BinaryData& inSettings,
                                                  const norviktypes::ColorProfile& inProfile, bool inAtOnce,
                                                  MF::IVideoFrameRef& outFrame) = 0;
    virtual void GetStartTime(norviktypes::TickTime& outTime) const = 0;
    virtual bool CanRenderFrames(const MF::BinaryData& inSettings) const = 0;

    // Conforms a request: narrows time and description to what the stream delivers for them.
    virtual void NormalizeFormat(norviktypes::TickTime& ioTime, FrameDescription& ioFormat,
                                 const MF::BinaryData& inSettings) = 0;

    // The key under which the frame may be shared: equal keys are equal pictures. All zero: the stream
    // cannot name its frames.
    virtual TVK::Guid GetFrameKey(const norviktypes::TickTime& inTime, const FrameDescription& inFormat,
                                  const MF::BinaryData& inSettings,
                                  const norviktypes::ColorProfile& inProfile) const = 0;
    virtual TVK::Guid GetFrameKeyInternal(const norviktypes::TickTime& inTime,
                                          const FrameDescription& inFormat, const MF::BinaryData& inSettings,
                                          const norviktypes::ColorProfile& inProfile) const = 0;
    virtual TVK::Guid
    GetFrameKeyWithOptions(const norviktypes::TickTime& inTime, const FrameDescription& inFormat,
                           const MF::BinaryData& inSettings, const norviktypes::TickTime& inRangeStart,
                           const norviktypes::TickTime& inRangeEnd, norviktypes::RenderQuality inQuality,
                           norviktypes::FieldType inFieldType, bool inOptionA, bool inOptionB, bool inOptionC,
                           double inScale) const = 0;
    virtual void GetSourceID(TVK::Guid& outID) const = 0;

    // A token that keeps the stream awake while it is held; null for a stream that never sleeps.
    // outMustUnquiet: the caller has to wake the stream first, and may do so by asking again without
    // inNoWait.
    virtual void AcquireQuietToken(std::shared_ptr<void>& outToken, bool inNoWait, bool inNoWaitForOthers,
                                   bool& outMustUnquiet) = 0;
};
using IVideoSourceRef = TVK::InterfaceRef<IVideoSource>;

// What a stream can tell beyond its frames; a stream without this face has none of it.
class ML_EXPORT IVideoStreamInfo : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoStreamInfo;

    // True where frames do not lie on the grid of the stream's rate.
    virtual bool HasNoFrameGrid() const = 0;
    // True, with its cadence, where pulldown is to be removed from the stream; else nothing is written.
    virtual bool GetPulldown(norviktypes::PulldownCadence& outCadence) const = 0;
    // True where the picture at a time depends on what has been read ahead, so that the ids of the prefetches
    // belong to the frame's hash.
    virtual bool FramesDependOnPrefetchState() const { return false; }
    // Looks again for media that was not there. inWait is true where the caller can wait for the answer.
    virtual void Refresh(bool /*inWait*/) {}
    // The formats in which the compressed frames can be copied without decoding them.
    virtual void GetSmartRenderFormats(std::vector<norviktypes::PixelFormat>&) const {}
};
using IVideoStreamInfoRef = TVK::InterfaceRef<IVideoStreamInfo>;

// The face of a stream that reads ahead by itself. What it has read, it gives at once by GetRenderedFrame.
class ML_EXPORT IAsyncVideoSource : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kAsyncVideoSource;

    // False: the stream is to be read as one without this face.
    virtual bool IsAsyncEnabled() const = 0;
    // Starts a read and returns; negative: it was not started. Called with locks of the library held: it
    // must neither wait for another thread nor come back into the library.
    virtual std::int32_t IssueAsyncRead(const norviktypes::TickTime& inTime, const FrameDescription& inFormat,
                                        const MF::BinaryData& inSettings,
                                        const norviktypes::ColorProfile& inProfile) = 0;
    virtual void Reserved1() = 0;
    // Takes a read back, as far as it has not been done; one that was never issued is ignored. The same
    // conditions as for IssueAsyncRead.
    virtual void CancelAsyncRead(const norviktypes::TickTime& inTime, const FrameDescription& inFormat,
                                 const MF::BinaryData& inSettings,
                                 const norviktypes::ColorProfile& inProfile) = 0;
    virtual void Reserved2() = 0;
    // Whether the stream, inElapsedSeconds after it was asked, is still working on the read.
    virtual bool IsAsyncReadAlive(const norviktypes::TickTime& inTime, const FrameDescription& inFormat,
                                  double inElapsedSeconds, const MF::BinaryData& inSettings,
                                  const norviktypes::ColorProfile& inProfile) = 0;
};
using IAsyncVideoSourceRef = TVK::InterfaceRef<IAsyncVideoSource>;

} // namespace BE
