// A piece of media that says what a test lets it say.
//
// Thread-safety: fields are set before it is shared.
#pragma once

#include "BE/IMasterClip.h"
#include "BE/IMediaDescription.h"
#include "BE/IMediaInfo.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <vector>

namespace TestSupport
{

class FakeMediaInfo : public TVK::Implements<FakeMediaInfo, BE::IMediaInfo, BE::IMediaDescription>
{
public:
    BE::MediaAvailability mAvailability = BE::MediaAvailability::kOnline;
    MF::ISourceRef mStream;
    norvik::WString mName = u"media";
    norvik::utility::ImmutableString mPath =
        norvik::utility::ImmutableString::CreateStatic("/media/clip.mov");
    bool mIsFileSource = true;
    bool mIsStill = false;
    norviktypes::TickTime mStartTimecode;
    norviktypes::ColorProfile mColorProfile;
    norvik::UTF8String mContentHash = "content";

    norvik::UTF8String mImplementationID = "reader";
    std::uint32_t mStreamGroup = 0;
    bool mHasModificationState = false;
    TVK::Guid mModificationState;
    bool mHasContentRange = false;
    MF::TimeRange mContentRange;
    bool mIsRollCrawl = false;
    bool mIsContinuousTime = false;
    bool mIsGrowing = false;
    bool mHasPulldownRemoval = false;
    norviktypes::PulldownCadence mPulldownCadence = norviktypes::kPulldownCadence_None;
    bool mIsProgressiveWithPulldownRemoved = false;
    BE::AlphaInterpretation mAlpha;
    MF::BinaryData mOpaqueData;
    std::uint32_t mVideoSubType = 0;
    norviktypes::TickTime mFirstTime;
    norviktypes::TickTime mDuration;

    BE::MediaAvailability GetAvailability() const override { return mAvailability; }
    bool HasMediaType(const TVK::Guid& inType) const override { return inType == BE::kMediaType_Video; }
    MF::ISourceRef GetStream(const TVK::Guid& inType, std::uint32_t inIndex) override
    {
        return HasMediaType(inType) && inIndex == 0 ? mStream : MF::ISourceRef();
    }
    MF::ISourceRef CreateSourceForStream(const TVK::Guid& inType, std::uint32_t inIndex) override
    {
        return GetStream(inType, inIndex);
    }
    void GetStreamGroupIndices(std::uint32_t, std::vector<std::uint32_t>& outIndices) const override
    {
        outIndices.assign(1, 0);
    }
    void GetTitle(std::uint32_t, norvik::WString& outTitle) const override { outTitle = mName; }
    norvik::WString GetName() const override { return mName; }
    norvik::utility::ImmutableString GetPath() const override { return mPath; }
    bool IsFileSource() const override { return mIsFileSource; }
    bool IsStill() const override { return mIsStill; }
    norviktypes::TickTime GetStartTimecode() const override { return mStartTimecode; }
    norviktypes::ColorProfile GetColorProfile() const override { return mColorProfile; }
    norvik::UTF8String GetContentHash() override { return mContentHash; }
    BE::IMediaInfoRef Clone() override { return BE::IMediaInfoRef(this); }

    norvik::UTF8String GetImplementationID() const override { return mImplementationID; }
    std::uint32_t GetStreamGroup() const override { return mStreamGroup; }
    bool GetModificationState(TVK::Guid& outState) const override
    {
        outState = mHasModificationState ? mModificationState : outState;
        return mHasModificationState;
    }
    bool GetContentRange(MF::TimeRange& outRange) const override
    {
        outRange = mHasContentRange ? mContentRange : outRange;
        return mHasContentRange;
    }
    bool IsRollCrawl() const override { return mIsRollCrawl; }
    bool IsContinuousTime() const override { return mIsContinuousTime; }
    bool IsGrowing() const override { return mIsGrowing; }
    bool HasPulldownRemoval() const override { return mHasPulldownRemoval; }
    norviktypes::PulldownCadence GetPulldownCadence() const override { return mPulldownCadence; }
    bool IsProgressiveWithPulldownRemoved() const override { return mIsProgressiveWithPulldownRemoved; }
    BE::AlphaInterpretation GetAlpha() const override { return mAlpha; }
    MF::BinaryData GetOpaqueData() const override { return mOpaqueData; }
    std::uint32_t GetVideoSubType() const override { return mVideoSubType; }
    norviktypes::TickTime GetFirstTime() const override { return mFirstTime; }
    norviktypes::TickTime GetDuration() const override { return mDuration; }
};
using FakeMediaInfoRef = TVK::InterfaceRef<FakeMediaInfo>;

} // namespace TestSupport
