#include "ReferenceHost/Media/FrameConversion.h"

#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

namespace Media
{

std::int32_t SourceStatusOf(std::int32_t inFrameStatus) noexcept
{
    if (inFrameStatus >= 0)
    {
        return BE::kSourceStatus_OK;
    }
    return inFrameStatus == VF::kFrameStatus_OutOfMemory ? BE::kSourceStatus_OutOfMemory
                                                         : BE::kSourceStatus_BadMedia;
}

std::int32_t ConvertFrame(const MF::IVideoFrameRef& inPicture, const BE::FrameDescription& inFormat,
                          MF::IVideoFrameRef& outFrame)
{
    MF::IVideoFrameRef frame;
    std::int32_t status = VF::CreateVideoFrame(
        frame, inFormat.mPixelFormat, static_cast<std::uint32_t>(inFormat.mBounds.Width()),
        static_cast<std::uint32_t>(inFormat.mBounds.Height()), inFormat.mPixelAspectRatio, false, false);
    if (status >= 0)
    {
        // Both frames name their field order first, so that lines of two moments are not mixed.
        frame->SetFieldType(inFormat.mFieldType);
        status = VF::VideoFrameManipulators::CopyFrameWithFields(inPicture, frame, inFormat.mQuality, 0);
    }
    if (status >= 0)
    {
        outFrame = frame;
    }
    return SourceStatusOf(status);
}

} // namespace Media
