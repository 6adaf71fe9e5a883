#include "Tests/ReferenceHost/Media/OpenedMedia.h"

#include <gtest/gtest.h>

namespace MediaTests
{

BE::IMediaInfoRef OpenOrFail(const std::string& inPath, const Media::OpenOptions& inOptions)
{
    Media::OpenError error;
    const BE::IMediaInfoRef media = Media::OpenMedia(inPath, inOptions, error);
    EXPECT_TRUE(media) << error.mText;
    return media;
}

BE::IVideoSourceRef SourceOf(const BE::IMediaInfoRef& inMedia)
{
    return BE::IVideoSourceRef(inMedia->CreateSourceForStream(MF::kMediaType_Video, 0));
}

std::int32_t FrameAt(const BE::IVideoSourceRef& inSource, const norviktypes::TickTime& inTime,
                     const norviktypes::PixelFormat& inFormat, MF::IVideoFrameRef& outFrame, bool inAtOnce,
                     const TVK::Rect& inBounds)
{
    BE::FrameDescription description;
    description.mPixelFormat = inFormat;
    description.mBounds = inBounds;
    return inSource->GetRenderedFrame(inTime, description, MF::BinaryData(), norviktypes::ColorProfile(),
                                      inAtOnce, outFrame);
}

MF::IVideoFrameRef NativeFrame(const std::string& inPath)
{
    MF::IVideoFrameRef frame;
    const BE::IMediaInfoRef media = OpenOrFail(inPath);
    EXPECT_EQ(FrameAt(SourceOf(media), norviktypes::TickTime(), norviktypes::kPixelFormat_Any, frame), 0);
    return frame;
}

norviktypes::PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame)
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
}

}
