#include "CutlistFactory_Content.h"

#include "TVK/Allocated.h"

#include <cstdint>

namespace ML
{

namespace
{

using norviktypes::TickTime;

class MediaStream final : public TVK::Implements<MediaStream, BE::IPreviewStream>
{
public:
    MediaStream(const BE::IMediaInfoRef& inMedia, const MF::ISourceRef& inStream)
        : mMedia(inMedia)
        , mStream(inStream)
    {
    }

    void Describe(BE::PreviewStreamDescription& outDescription) const override;
    BE::IMediaInfoRef GetMedia() const override { return mMedia; }
    BE::IVideoSourceRef GetVideoSource() const override
    {
        return IsOnline() ? BE::IVideoSourceRef(mStream) : BE::IVideoSourceRef();
    }
    TickTime GetDuration() const override;

private:
    bool IsOnline() const { return mMedia->GetAvailability() == BE::MediaAvailability::kOnline; }
    void DescribeMedia(BE::PreviewStreamDescription& ioDescription) const;
    void DescribeStream(BE::PreviewStreamDescription& ioDescription) const;

    const BE::IMediaInfoRef mMedia;
    const MF::ISourceRef mStream;
};

void MediaStream::Describe(BE::PreviewStreamDescription& outDescription) const
{
    outDescription = {};
    outDescription.mMediaInstance = norvik::utility::UTF8to16(mMedia->GetPath().ToString());
    outDescription.mIsOffline = !IsOnline();
    outDescription.mIsPending = mMedia->GetAvailability() == BE::MediaAvailability::kPending;
    DescribeMedia(outDescription);
    DescribeStream(outDescription);
}

void MediaStream::DescribeMedia(BE::PreviewStreamDescription& ioDescription) const
{
    const BE::IMediaDescriptionRef media(mMedia);
    if (!media)
    {
        return;
    }
    TVK::Guid state;
    if (media->GetModificationState(state))
    {
        std::uint8_t bytes[16];
        state.GuidToBytes(bytes);
        ioDescription.mModificationState = MF::BinaryData(bytes, sizeof bytes);
    }
    ioDescription.mStreamGroup = media->GetStreamGroup();
    ioDescription.mAlpha = media->GetAlpha();
    ioDescription.mRemovesPulldown = media->HasPulldownRemoval();
    ioDescription.mPulldownCadence = media->GetPulldownCadence();
    ioDescription.mOpaqueData = media->GetOpaqueData();
    ioDescription.mVideoSubType = media->GetVideoSubType();
}

void MediaStream::DescribeStream(BE::PreviewStreamDescription& ioDescription) const
{
    const BE::IVideoSourceRef source(mStream);
    if (!source)
    {
        return;
    }
    TVK::Rect bounds;
    source->GetBounds(bounds);
    ioDescription.mWidth = bounds.Width();
    ioDescription.mHeight = bounds.Height();
    source->GetPixelAspectRatio(ioDescription.mPixelAspectRatio);
    source->GetFrameRate(ioDescription.mFrameRate);
    ioDescription.mFieldType = source->GetFieldType();
}

// A stream that cannot say leaves it to the media.
TickTime MediaStream::GetDuration() const
{
    TickTime duration;
    if (mStream && mStream->GetDuration(duration) >= 0)
    {
        return duration;
    }
    const BE::IMediaDescriptionRef media(mMedia);
    return media ? media->GetDuration() : norviktypes::kTime_Zero;
}

} // namespace

BE::IPreviewStreamRef PreviewStreamOf(const BE::IMediaInfoRef& inMedia)
{
    const MF::ISourceRef stream = inMedia->GetStream(BE::kMediaType_Video, 0);
    if (const BE::IPreviewStreamRef preview{stream})
    {
        return preview;
    }
    return BE::IPreviewStreamRef(new MediaStream(inMedia, stream));
}

} // namespace ML
