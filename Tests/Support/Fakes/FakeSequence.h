// A sequence of the tracks that a test gives it.
//
// Thread-safety: fields are set before it is shared.
#pragma once

#include "BE/ISequence.h"
#include "TVK/Allocated.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TestSupport
{

class FakeSequence : public TVK::Implements<FakeSequence, BE::ISequence, BE::ITrackList, BE::ITimeBase>
{
public:
    std::vector<TVK::TVKUnknownRef> mTracks; // bottom first
    norviktypes::FrameRate mFrameRate = norviktypes::FrameRate(norviktypes::kTicksPerSecond / 25);
    TVK::Rect mFrameRect{0, 0, 64, 36};
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    bool mAllowsLinearCompositing = true;
    bool mIsMulticamSource = false;
    norviktypes::TickTime mDuration = norviktypes::TickTime(norviktypes::kTicksPerSecond);
    MF::IRenderableCutlistProviderRef mCutlistProvider;
    std::vector<MF::IRenderableCutlistProviderRef> mTrackCutlistProviders;

    TVK::Rect GetFrameRect() const override { return mFrameRect; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return mPixelAspectRatio; }
    norviktypes::FieldType GetFieldType() const override { return mFieldType; }
    bool AllowsLinearCompositing() const override { return mAllowsLinearCompositing; }
    bool IsMulticamSource() const override { return mIsMulticamSource; }
    norviktypes::TickTime GetDuration() const override { return mDuration; }
    MF::IRenderableCutlistProviderRef GetCutlistProvider() const override { return mCutlistProvider; }
    MF::IRenderableCutlistProviderRef GetTrackCutlistProvider(std::uint64_t inTrack) const override
    {
        return inTrack < mTrackCutlistProviders.size()
                   ? mTrackCutlistProviders[static_cast<std::size_t>(inTrack)]
                   : MF::IRenderableCutlistProviderRef();
    }
    std::uint32_t GetVideoTrackCount() const override { return static_cast<std::uint32_t>(mTracks.size()); }
    TVK::TVKUnknownRef GetVideoTrack(std::uint32_t inIndex) const override
    {
        return inIndex < mTracks.size() ? mTracks[inIndex] : TVK::TVKUnknownRef();
    }
    norviktypes::FrameRate GetFrameRate() const override { return mFrameRate; }
};
using FakeSequenceRef = TVK::InterfaceRef<FakeSequence>;

} // namespace TestSupport
