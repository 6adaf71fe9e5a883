#include "ReferenceHost/Project/PreviewStream.h"

#include "TVK/Allocated.h"
#include "norvik/config/Contract.h"
#include "norvik/utility/Strings.h"

namespace Project
{

namespace
{

class PreviewStream final : public TVK::Implements<PreviewStream, BE::IPreviewStream>
{
public:
    PreviewStream(const BE::IMediaInfoRef& inMedia, bool inIsDraft) : mMedia(inMedia), mIsDraft(inIsDraft) {}

    void Describe(BE::PreviewStreamDescription& outDescription) const override
    {
        outDescription = {};
        const norvik::utility::ImmutableString path = mMedia->GetPath();
        outDescription.mMediaInstance = norvik::utility::UTF8to16(path.ToString());
        outDescription.mIsDraft = mIsDraft;
        outDescription.mIsOffline = mMedia->GetAvailability() != BE::MediaAvailability::kOnline;
        outDescription.mIsPending = mMedia->GetAvailability() == BE::MediaAvailability::kPending;
        const norvik::UTF8String content = mMedia->GetContentHash();
        if (!content.empty())
        {
            outDescription.mModificationState = MF::BinaryData(content.data(), content.size());
        }
        if (const BE::IMediaDescriptionRef description = BE::IMediaDescriptionRef(mMedia))
        {
            outDescription.mStreamGroup = description->GetStreamGroup();
            outDescription.mAlpha = description->GetAlpha();
            outDescription.mOpaqueData = description->GetOpaqueData();
            outDescription.mVideoSubType = description->GetVideoSubType();
        }
        if (const BE::IVideoSourceRef source = GetVideoSource())
        {
            TVK::Rect bounds;
            source->GetBounds(bounds);
            outDescription.mWidth = bounds.Width();
            outDescription.mHeight = bounds.Height();
            source->GetFrameRate(outDescription.mFrameRate);
            source->GetPixelAspectRatio(outDescription.mPixelAspectRatio);
            outDescription.mFieldType = source->GetFieldType();
        }
    }

    BE::IMediaInfoRef GetMedia() const override { return mMedia; }
    BE::IVideoSourceRef GetVideoSource() const override
    {
        return BE::IVideoSourceRef(mMedia->GetStream(BE::kMediaType_Video, 0));
    }
    norviktypes::TickTime GetDuration() const override
    {
        norviktypes::TickTime duration;
        const MF::ISourceRef source = mMedia->GetStream(BE::kMediaType_Video, 0);
        return source && source->GetDuration(duration) >= 0 ? duration : norviktypes::TickTime();
    }

private:
    const BE::IMediaInfoRef mMedia;
    const bool mIsDraft;
};

} // namespace

BE::IPreviewStreamRef CreatePreviewStream(const BE::IMediaInfoRef& inMedia, bool inIsDraft)
{
    ML_INPUT_CONTRACT(inMedia, "inMedia", "ReferenceHost/Project/PreviewStream",
                      "Project::CreatePreviewStream", __LINE__);
    return BE::IPreviewStreamRef(new PreviewStream(inMedia, inIsDraft));
}

} // namespace Project
