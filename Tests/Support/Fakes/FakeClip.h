// A clip, and a master clip, that say what a test lets them say. By default a clip of one second without media.
//
// Thread-safety: fields are set before it is shared.
#pragma once

#include "BE/IClip.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <vector>

namespace TestSupport
{

class FakeMasterClip : public TVK::Implements<FakeMasterClip, BE::IMasterClip>
{
public:
    norvik::WString mName = u"master";
    norvik::WString mMediaInstance = u"/media/clip.mov";

    norvik::WString GetName() const override { return mName; }
    norvik::WString GetMediaInstanceString() const override { return mMediaInstance; }
};
using FakeMasterClipRef = TVK::InterfaceRef<FakeMasterClip>;

class FakeClip : public TVK::Implements<FakeClip, BE::IClip>
{
public:
    TVK::Rect mFrameRect{0, 0, 64, 36};
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::FieldType mConformFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::TickTime mInPoint;
    norviktypes::TickTime mOutPoint = norviktypes::TickTime(norviktypes::kTicksPerSecond);
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd = norviktypes::TickTime(norviktypes::kTicksPerSecond);
    norviktypes::TickTime mDuration = norviktypes::TickTime(norviktypes::kTicksPerSecond);
    double mSpeed = 1.0;
    bool mIsBackwards = false;
    norviktypes::TickTime mFrameHold = norviktypes::kTime_Max;
    bool mHoldsEffects = false;
    MF::ITimeTransformRef mTimeTransform;
    BE::ITimeRemapParameterRef mTimeRemap;
    std::uint32_t mScaleToFramePolicy = BE::kScaleToFrame_None;
    std::uint32_t mTimeMode = 0;
    bool mDeinterlacesOnTimeMode = false;
    bool mReversesFieldDominance = false;
    std::uint32_t mFieldOption = BE::kFieldOption_None;
    bool mBlendsFrames = false;
    bool mNeedsLowerTracks = false;
    std::uint32_t mKind = BE::kClipKind_Plain;
    TVK::Guid mContentID;
    norvik::WString mName = u"clip";
    BE::IMasterClipRef mMasterClip;
    BE::IMediaInfoRef mMedia;
    TVK::TVKUnknownRef mSequence;
    BE::IVideoSourceRef mVideoSource;
    std::uint32_t mSelectedMulticamTrack = 0;
    std::vector<std::uint64_t> mCameraOrder;

    TVK::Rect GetFrameRect() const override { return mFrameRect; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return mPixelAspectRatio; }
    norviktypes::FieldType GetFieldType() const override { return mFieldType; }
    norviktypes::FieldType GetConformFieldType() const override { return mConformFieldType; }
    norviktypes::TickTime GetInPoint() const override { return mInPoint; }
    norviktypes::TickTime GetOutPoint() const override { return mOutPoint; }
    norviktypes::TickTime GetStart() const override { return mStart; }
    norviktypes::TickTime GetEnd() const override { return mEnd; }
    norviktypes::TickTime GetDuration() const override { return mDuration; }
    double GetSpeed() const override { return mSpeed; }
    bool IsBackwards() const override { return mIsBackwards; }
    void GetFrameHold(norviktypes::TickTime& outTime, bool& outHoldsEffects) const override
    {
        outTime = mFrameHold;
        outHoldsEffects = mHoldsEffects;
    }
    MF::ITimeTransformRef GetTimeTransform() const override { return mTimeTransform; }
    BE::ITimeRemapParameterRef GetTimeRemapParameter() const override { return mTimeRemap; }
    std::uint32_t GetScaleToFramePolicy() const override { return mScaleToFramePolicy; }
    std::uint32_t GetTimeMode() const override { return mTimeMode; }
    bool DeinterlacesOnTimeMode() const override { return mDeinterlacesOnTimeMode; }
    bool ReversesFieldDominance() const override { return mReversesFieldDominance; }
    std::uint32_t GetFieldOption() const override { return mFieldOption; }
    bool BlendsFrames() const override { return mBlendsFrames; }
    bool NeedsLowerTracks() const override { return mNeedsLowerTracks; }
    std::uint32_t GetKind() const override { return mKind; }
    TVK::Guid GetContentID() const override { return mContentID; }
    norvik::WString GetName() const override { return mName; }
    BE::IMasterClipRef GetMasterClip() const override { return mMasterClip; }
    BE::IMediaInfoRef GetMedia() const override { return mMedia; }
    TVK::TVKUnknownRef GetSequence() const override { return mSequence; }
    BE::IVideoSourceRef GetVideoSource() const override { return mVideoSource; }
    std::uint32_t GetSelectedMulticamTrack() const override { return mSelectedMulticamTrack; }
    void GetCameraOrder(std::vector<std::uint64_t>& outTracks) const override { outTracks = mCameraOrder; }
};
using FakeClipRef = TVK::InterfaceRef<FakeClip>;

} // namespace TestSupport
