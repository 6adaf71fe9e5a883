#include "Tests/Support/Fakes/FakeVideoSource.h"

#include "VF/VideoFrame.h"

#include <cstring>
#include <utility>

namespace TestSupport
{

std::vector<FakeVideoSource::Request> FakeVideoSource::TakeRequests()
{
    const std::lock_guard lock(mMutex);
    return std::exchange(mRequests, {});
}

std::vector<FakeVideoSource::Request> FakeVideoSource::TakeNormalizeCalls()
{
    const std::lock_guard lock(mMutex);
    return std::exchange(mNormalizeCalls, {});
}

std::int32_t FakeVideoSource::GetDuration(norviktypes::TickTime& outDuration) const
{
    outDuration = mDuration;
    return BE::kSourceStatus_OK;
}

std::int32_t FakeVideoSource::GetStillKind(std::uint32_t& outKind) const
{
    outKind = mKind;
    return BE::kSourceStatus_OK;
}

bool FakeVideoSource::GetPulldown(norviktypes::PulldownCadence& outCadence) const
{
    if (mPulldown == norviktypes::kPulldownCadence_None)
    {
        return false;
    }
    outCadence = mPulldown;
    return true;
}

void FakeVideoSource::GetNativePixelFormat(std::vector<norviktypes::PixelFormat>& outFormats) const
{
    outFormats.assign(1, norviktypes::kPixelFormat_BGRA_4444_8u);
}

std::int32_t FakeVideoSource::GetVideoFrame(const norviktypes::TickTime&, const MF::BinaryData&,
                                            const norviktypes::TickTime&, const norviktypes::TickTime&,
                                            const MF::IVideoFrameRef&, norviktypes::RenderQuality,
                                            norviktypes::FieldType, bool, bool, bool, bool, double)
{
    return BE::kSourceStatus_BadMedia;
}

std::int32_t FakeVideoSource::GetCachedFrame(const norviktypes::TickTime&, const BE::FrameDescription&,
                                             const MF::BinaryData&, const norviktypes::ColorProfile&,
                                             MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    return BE::kSourceStatus_PastEnd;
}

std::int32_t FakeVideoSource::GetRenderedFrame(const norviktypes::TickTime& inTime,
                                               const BE::FrameDescription& inFormat,
                                               const MF::BinaryData& inSettings,
                                               const norviktypes::ColorProfile& inProfile, bool,
                                               MF::IVideoFrameRef& outFrame)
{
    const Request request{inTime, inFormat, inSettings, inProfile};
    {
        const std::lock_guard lock(mMutex);
        mRequests.push_back(request);
    }
    if (mFrameFunction)
    {
        return mFrameFunction(request, outFrame);
    }
    const std::int32_t status = VF::CreateVideoFrame(
        outFrame, inFormat.mPixelFormat, static_cast<std::uint32_t>(inFormat.mBounds.Width()),
        static_cast<std::uint32_t>(inFormat.mBounds.Height()), inFormat.mPixelAspectRatio, true, false);
    if (status == VF::kFrameStatus_OK)
    {
        const std::int32_t frame = inTime.ToFrame32(mRate);
        std::memcpy(VF::IVideoFramePixelsRef(outFrame)->GetPixels(), &frame, sizeof(frame));
    }
    return status;
}

std::int32_t FakeVideoSource::GetRenderedFrameInternal(const norviktypes::TickTime& inTime,
                                                       const BE::FrameDescription& inFormat,
                                                       const MF::BinaryData& inSettings,
                                                       const norviktypes::ColorProfile& inProfile,
                                                       bool inAtOnce, MF::IVideoFrameRef& outFrame)
{
    return GetRenderedFrame(inTime, inFormat, inSettings, inProfile, inAtOnce, outFrame);
}

void FakeVideoSource::NormalizeFormat(norviktypes::TickTime& ioTime, BE::FrameDescription& ioFormat,
                                      const MF::BinaryData& inSettings)
{
    {
        const std::lock_guard lock(mMutex);
        mNormalizeCalls.push_back({ioTime, ioFormat, inSettings, {}});
    }
    if (mNormalizeFunction)
    {
        mNormalizeFunction(ioTime, ioFormat);
    }
}

TVK::Guid FakeVideoSource::GetFrameKey(const norviktypes::TickTime&, const BE::FrameDescription&,
                                       const MF::BinaryData&, const norviktypes::ColorProfile&) const
{
    return {};
}

TVK::Guid FakeVideoSource::GetFrameKeyInternal(const norviktypes::TickTime&, const BE::FrameDescription&,
                                               const MF::BinaryData&, const norviktypes::ColorProfile&) const
{
    return {};
}

TVK::Guid FakeVideoSource::GetFrameKeyWithOptions(const norviktypes::TickTime&, const BE::FrameDescription&,
                                                  const MF::BinaryData&, const norviktypes::TickTime&,
                                                  const norviktypes::TickTime&, norviktypes::RenderQuality,
                                                  norviktypes::FieldType, bool, bool, bool, double) const
{
    return {};
}

void FakeVideoSource::AcquireQuietToken(std::shared_ptr<void>& outToken, bool, bool, bool& outMustUnquiet)
{
    outToken.reset();
    outMustUnquiet = false;
}

} // namespace TestSupport
