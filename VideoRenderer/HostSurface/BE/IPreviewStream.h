// A stream that was rendered before, and takes the place of a span of a timeline.
//
// Thread-safety: safe.
#pragma once

#include "BE/IMediaDescription.h"
#include "BE/IMediaInfo.h"
#include "BE/IVideoSource.h"

#include <cstdint>

namespace BE
{

// All that a node which shows the stream says of it.
struct PreviewStreamDescription
{
    norvik::WString mMediaInstance;
    std::uint32_t mStreamGroup = 0;
    bool mIsDraft = false;
    bool mIsOffline = false;
    bool mIsPending = false;
    TVK::Guid mClipID;
    norviktypes::FrameRate mFrameRate;
    AlphaInterpretation mAlpha;
    bool mRemovesPulldown = false;
    norviktypes::PulldownCadence mPulldownCadence = norviktypes::kPulldownCadence_None;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    MF::BinaryData mOpaqueData;
    MF::BinaryData mModificationState;
    std::uint32_t mVideoSubType = 0;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    bool mBlendsFrames = false;
    double mSpeed = 1.0;
    bool mIsBackwards = false;
    std::uint32_t mScaleToFramePolicy = 0;
    bool mReversesFieldDominance = false;
};

class ML_EXPORT IPreviewStream : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kPreviewStream;

    virtual void Describe(PreviewStreamDescription& outDescription) const = 0;
    virtual IMediaInfoRef GetMedia() const = 0;
    // Empty while the media is offline.
    virtual IVideoSourceRef GetVideoSource() const = 0;
    virtual norviktypes::TickTime GetDuration() const = 0;
};
using IPreviewStreamRef = TVK::InterfaceRef<IPreviewStream>;

} // namespace BE
