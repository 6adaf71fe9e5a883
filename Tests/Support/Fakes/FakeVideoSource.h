// A stream in memory that does what a test tells it to, and remembers what it was asked.
//
// By default it gives a fresh opaque-alpha frame of the asked format and bounds, whose first pixel holds
// the frame number of the time in its first bytes. Set the public fields before the first request.
//
// Thread-safety: requests from any thread; fields are set before.
#pragma once

#include "BE/IVideoSource.h"
#include "MF/ISource.h"
#include "TVK/Allocated.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace TestSupport
{

class FakeVideoSource
    : public TVK::Implements<FakeVideoSource, MF::ISource, BE::IVideoSource, BE::IVideoStreamInfo>
{
public:
    struct Request
    {
        norviktypes::TickTime mTime;
        BE::FrameDescription mFormat;
        MF::BinaryData mSettings;
        norviktypes::ColorProfile mProfile;
    };
    // Fills outFrame and gives the status, instead of the default.
    using FrameFunction = std::function<std::int32_t(const Request&, MF::IVideoFrameRef& outFrame)>;
    using NormalizeFunction = std::function<void(norviktypes::TickTime&, BE::FrameDescription&)>;

    norviktypes::FrameRate mRate = norviktypes::FrameRate::FromRational(25, 1);
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::AlphaChannel mAlphaType = norviktypes::kAlphaChannel_Straight;
    TVK::Rect mBounds{0, 0, 64, 36};
    norviktypes::TickTime mDuration = norviktypes::kTime_Max;
    std::uint32_t mKind = MF::kSourceKind_Normal;
    bool mHasNoFrameGrid = false;
    norviktypes::PulldownCadence mPulldown = norviktypes::kPulldownCadence_None; // none: not to be removed
    FrameFunction mFrameFunction;
    NormalizeFunction mNormalizeFunction;

    std::vector<Request> TakeRequests();
    // Times, field orders and settings that the conform request was called with.
    std::vector<Request> TakeNormalizeCalls();

    std::int32_t GetDuration(norviktypes::TickTime& outDuration) const override;
    std::int32_t GetStillKind(std::uint32_t& outKind) const override;
    bool HasNoFrameGrid() const override { return mHasNoFrameGrid; }
    bool GetPulldown(norviktypes::PulldownCadence& outCadence) const override;

    void GetFrameRate(norviktypes::FrameRate& outRate) const override { outRate = mRate; }
    void GetBounds(TVK::Rect& outBounds) const override { outBounds = mBounds; }
    std::uint32_t GetStreamCount() const override { return 1; }
    void GetMaxBounds(TVK::Rect& outBounds) const override { outBounds = mBounds; }
    void GetPixelAspectRatio(norviktypes::PixelAspectRatio& outRatio) const override { outRatio = {}; }
    bool IsDropFrame() const override { return false; }
    norviktypes::FieldType GetFieldType() const override { return mFieldType; }
    norviktypes::FieldType GetFieldTypeForTime(const norviktypes::TickTime&) const override
    {
        return mFieldType;
    }
    std::uint32_t Query1() const override { return 0; }
    std::uint32_t Query2() const override { return 0; }
    std::uint32_t Query3() const override { return 0; }
    std::uint32_t Query4() const override { return 0; }
    std::uint32_t Query5() const override { return 0; }
    std::uint32_t Query6() const override { return 0; }
    std::uint32_t Query7() const override { return 0; }
    norviktypes::AlphaChannel GetAlphaType() const override { return mAlphaType; }
    void GetNativePixelFormat(std::vector<norviktypes::PixelFormat>& outFormats) const override;
    bool IsImageSource() const override { return false; }
    std::int32_t GetVideoFrame(const norviktypes::TickTime&, const MF::BinaryData&,
                               const norviktypes::TickTime&, const norviktypes::TickTime&,
                               const MF::IVideoFrameRef&, norviktypes::RenderQuality, norviktypes::FieldType,
                               bool, bool, bool, bool, double) override;
    std::int32_t GetCachedFrame(const norviktypes::TickTime&, const BE::FrameDescription&,
                                const MF::BinaryData&, const norviktypes::ColorProfile&,
                                MF::IVideoFrameRef&) override;
    std::int32_t GetRenderedFrame(const norviktypes::TickTime&, const BE::FrameDescription&,
                                  const MF::BinaryData&, const norviktypes::ColorProfile&, bool,
                                  MF::IVideoFrameRef&) override;
    std::int32_t GetRenderedFrameInternal(const norviktypes::TickTime&, const BE::FrameDescription&,
                                          const MF::BinaryData&, const norviktypes::ColorProfile&, bool,
                                          MF::IVideoFrameRef&) override;
    void GetStartTime(norviktypes::TickTime& outTime) const override { outTime = norviktypes::kTime_Zero; }
    bool CanRenderFrames(const MF::BinaryData&) const override { return true; }
    void NormalizeFormat(norviktypes::TickTime&, BE::FrameDescription&, const MF::BinaryData&) override;
    TVK::Guid GetFrameKey(const norviktypes::TickTime&, const BE::FrameDescription&, const MF::BinaryData&,
                          const norviktypes::ColorProfile&) const override;
    TVK::Guid GetFrameKeyInternal(const norviktypes::TickTime&, const BE::FrameDescription&,
                                  const MF::BinaryData&, const norviktypes::ColorProfile&) const override;
    TVK::Guid GetFrameKeyWithOptions(const norviktypes::TickTime&, const BE::FrameDescription&,
                                     const MF::BinaryData&, const norviktypes::TickTime&,
                                     const norviktypes::TickTime&, norviktypes::RenderQuality,
                                     norviktypes::FieldType, bool, bool, bool, double) const override;
    void GetSourceID(TVK::Guid& outID) const override { outID = {}; }
    void AcquireQuietToken(std::shared_ptr<void>&, bool, bool, bool&) override;

private:
    std::mutex mMutex;
    std::vector<Request> mRequests;
    std::vector<Request> mNormalizeCalls;
};

} // namespace TestSupport
