// What all streams of this host have in common: the answers that follow from a few traits, the conforming of
// requests, keys, and the two ways of asking for a frame, brought down to one operation that makes one.
//
// A request goes through three steps:
//   1. the time becomes the number of a frame (FrameIndexAt), before the first frame the first, past the
//      end a status;
//   2. the description becomes what the stream delivers (ConformDescription);
//   3. MakeFrame makes frame n in that description.
// The key of a frame is made of the results of 1 and 2, so that requests with equal results share a frame: one
// that is in the shared cache is not made again, and one that is being made is waited for.
//
// Ownership: counted, as every interface. Statuses: those of BE/IVideoSource.h and kSourceStatus_NotAtHand.
//
// Thread-safety: safe, since the traits never change; MakeFrame and what it uses must be safe themselves.
#pragma once

#include "BE/IVideoSource.h"
#include "MF/ISource.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Media
{

// An at-once request for a frame that would have to be decoded.
inline constexpr std::int32_t kSourceStatus_NotAtHand = static_cast<std::int32_t>(0xa00f0002u);
// The stream has a frame there by its numbering, but its file is missing.
inline constexpr std::int32_t kSourceStatus_MissingFrame = static_cast<std::int32_t>(0xa00f0003u);

inline constexpr std::int64_t kNoFrame = -1;

struct StreamTraits
{
    norviktypes::FrameRate mFrameRate; // kFrameRate_Zero: a still
    TVK::Rect mBounds;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    // kAlphaChannel_None, or kAlphaChannel_Straight for every stream with alpha, however its file keeps it:
    // frames carry the kind of alpha that their format says, and a caller who was told that the media is
    // premultiplied would divide once more.
    norviktypes::AlphaChannel mAlphaType = norviktypes::kAlphaChannel_None;
    bool mIsDropFrame = false;
    bool mHasNoFrameGrid = false;
    std::vector<norviktypes::PixelFormat> mNativeFormats; // best first; never empty
    std::uint32_t mKind = MF::kSourceKind_Normal;
    norviktypes::TickTime mDuration; // kTime_Max: without an end
    // Differs whenever the pictures may differ; not zero.
    TVK::Guid mContentID;
};

class VideoSourceBase
    : public TVK::Implements<VideoSourceBase, MF::ISource, BE::IVideoSource, BE::IVideoStreamInfo,
                             IFrameFailure, IFrameNumbers, IFrameExpectations>
{
public:
    // MF::ISource
    std::int32_t GetDuration(norviktypes::TickTime& outDuration) const override;
    std::int32_t GetStillKind(std::uint32_t& outKind) const override;

    // BE::IVideoStreamInfo: a stream without a countable rate has no grid either. Whether pulldown is removed
    // is for who uses a stream to say.
    bool HasNoFrameGrid() const override;
    bool GetPulldown(norviktypes::PulldownCadence&) const override { return false; }

    // IFrameFailure: empty unless overridden.
    std::string DescribeFailure(const norviktypes::TickTime& inTime) const override;
    std::string DescribeFieldChange() const override;

    // IFrameNumbers
    std::int64_t GetFrameNumber(const norviktypes::TickTime& inTime) const override;

    // IFrameExpectations: forgotten unless overridden.
    void Expect(const std::vector<MF::TimeRange>&) override {}

    // BE::IVideoSource
    void GetFrameRate(norviktypes::FrameRate& outRate) const override;
    void GetBounds(TVK::Rect& outBounds) const override;
    std::uint32_t GetStreamCount() const override;
    void GetMaxBounds(TVK::Rect& outBounds) const override;
    void GetPixelAspectRatio(norviktypes::PixelAspectRatio& outRatio) const override;
    bool IsDropFrame() const override;
    norviktypes::FieldType GetFieldType() const override;
    norviktypes::FieldType GetFieldTypeForTime(const norviktypes::TickTime& inTime) const override;
    std::uint32_t Query1() const override;
    std::uint32_t Query2() const override;
    std::uint32_t Query3() const override;
    std::uint32_t Query4() const override;
    std::uint32_t Query5() const override;
    std::uint32_t Query6() const override;
    std::uint32_t Query7() const override;
    norviktypes::AlphaChannel GetAlphaType() const override;
    void GetNativePixelFormat(std::vector<norviktypes::PixelFormat>& outFormats) const override;
    bool IsImageSource() const override;
    // Makes the frame as inFrame's format and bounds ask, copies it into it and then applies the options:
    // inOptionA ignores the alpha, inOptionB inverts it (ignoring wins).
    std::int32_t GetVideoFrame(const norviktypes::TickTime& inTime, const MF::BinaryData& inSettings,
                               const norviktypes::TickTime& inRangeStart,
                               const norviktypes::TickTime& inRangeEnd, const MF::IVideoFrameRef& ioFrame,
                               norviktypes::RenderQuality inQuality, norviktypes::FieldType inFieldType,
                               bool inIsProgressive, bool inOptionA, bool inOptionB, bool inOptionC,
                               double inScale) override;
    // From the shared frame cache alone.
    std::int32_t GetCachedFrame(const norviktypes::TickTime& inTime, const BE::FrameDescription& inFormat,
                                const MF::BinaryData& inSettings, const norviktypes::ColorProfile& inProfile,
                                MF::IVideoFrameRef& outFrame) override;
    std::int32_t GetRenderedFrame(const norviktypes::TickTime& inTime, const BE::FrameDescription& inFormat,
                                  const MF::BinaryData& inSettings,
                                  const norviktypes::ColorProfile& inProfile, bool inAtOnce,
                                  MF::IVideoFrameRef& outFrame) override;
    std::int32_t GetRenderedFrameInternal(const norviktypes::TickTime& inTime,
                                          const BE::FrameDescription& inFormat,
                                          const MF::BinaryData& inSettings,
                                          const norviktypes::ColorProfile& inProfile, bool inAtOnce,
                                          MF::IVideoFrameRef& outFrame) override;
    void GetStartTime(norviktypes::TickTime& outTime) const override;
    bool CanRenderFrames(const MF::BinaryData& inSettings) const override;
    // Leaves the time as it is; GetRenderedFrame finds the frame that holds it.
    void NormalizeFormat(norviktypes::TickTime& ioTime, BE::FrameDescription& ioFormat,
                         const MF::BinaryData& inSettings) override;
    TVK::Guid GetFrameKey(const norviktypes::TickTime& inTime, const BE::FrameDescription& inFormat,
                          const MF::BinaryData& inSettings,
                          const norviktypes::ColorProfile& inProfile) const override;
    TVK::Guid GetFrameKeyInternal(const norviktypes::TickTime& inTime, const BE::FrameDescription& inFormat,
                                  const MF::BinaryData& inSettings,
                                  const norviktypes::ColorProfile& inProfile) const override;
    TVK::Guid GetFrameKeyWithOptions(const norviktypes::TickTime& inTime,
                                     const BE::FrameDescription& inFormat, const MF::BinaryData& inSettings,
                                     const norviktypes::TickTime& inRangeStart,
                                     const norviktypes::TickTime& inRangeEnd,
                                     norviktypes::RenderQuality inQuality, norviktypes::FieldType inFieldType,
                                     bool inOptionA, bool inOptionB, bool inOptionC,
                                     double inScale) const override;
    void GetSourceID(TVK::Guid& outID) const override;
    // A null token: these streams never sleep.
    void AcquireQuietToken(std::shared_ptr<void>& outToken, bool inNoWait, bool inNoWaitForOthers,
                           bool& outMustUnquiet) override;

protected:
    // inTraits as they are for the life of the stream.
    explicit VideoSourceBase(StreamTraits inTraits);
    ~VideoSourceBase() override;

    const StreamTraits& Traits() const noexcept { return mTraits; }

    // The frame shown at inTime; kNoFrame at or past the end. By the rate's grid unless overridden; a still
    // has frame 0 for all times.
    virtual std::int64_t FrameIndexAt(const norviktypes::TickTime& inTime) const;
    // Narrows a description to what the stream delivers: a known format or the first native one, bounds that
    // exceed the picture in neither direction, and the pixel aspect, field and alpha type that follow.
    virtual void ConformDescription(BE::FrameDescription& ioFormat) const;

    // Makes frame inIndex as inFormat, which is conformed, describes it. Attributes of a frame that is not
    // frozen are set afterwards by the caller. inAtOnce: kSourceStatus_NotAtHand instead of decoding.
    virtual std::int32_t MakeFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool inAtOnce,
                                   MF::IVideoFrameRef& outFrame) = 0;

    // The key of frame inIndex as inFormat, conformed, describes it.
    TVK::Guid KeyOfFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                         const MF::BinaryData& inSettings, const norviktypes::ColorProfile& inProfile) const;

    // The attributes of a description, set on a frame.
    static void StampFrame(const BE::FrameDescription& inFormat, const MF::IVideoFrameRef& inFrame);

private:
    std::int32_t MakeStamped(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool inAtOnce,
                             MF::IVideoFrameRef& outFrame);

    const StreamTraits mTraits;
};

} // namespace Media
