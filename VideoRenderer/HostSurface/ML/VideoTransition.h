// A transition's picture side.
//
// Statuses: negative is a failure; the render ends with it.
//
// Thread-safety: called from any number of render threads at once.
#pragma once

#include "BE/Effects.h"
#include "MF/BinaryData.h"
#include "MF/IVideoFrame.h"
#include "ML/EffectRenderInfo.h"
#include "ML/SubTreeRender.h"
#include "TVK/ParamTypes.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/PixelFormat.h"

#include <cstdint>
#include <vector>

namespace ML
{

// The settings of a transition. Positions are fractions of the picture, x to the right and y down.
struct TransitionInfo
{
    norvik::utility::ImmutableString mMatchName;
    MF::BinaryData mOpaqueData;
    TVK::ParamPoint<double> mStartPosition;
    TVK::ParamPoint<double> mEndPosition;
    TVK::ParamPoint<double> mCenterPosition;
    double mStartPercent = 0.0; // progress at the start, 0..100
    double mEndPercent = 100.0;
    double mBorderWidth = 0.0; // pixels of the full-size picture
    TVK::ParamColor<std::uint32_t> mBorderColor;
    bool mSwitchSources = false;
    bool mReverse = false;
    std::uint32_t mDirection = 0; // which way, by the transition's own count
    std::uint32_t mAntiAliasQuality = 0;
    norviktypes::TickTime mDuration;
    std::uint32_t mRuntimeInstanceID = 0;
};

inline constexpr std::uint32_t kTransitionFlag_Draft = 1; // below medium quality
inline constexpr std::uint32_t kTransitionFlag_HasB = 2;
inline constexpr std::uint32_t kTransitionFlag_HasA = 4;

// One side of a transition.
struct TransitionInputInfo
{
    EffectRenderInfo mRender;
    SubTreeRenderRef mSubTree; // other moments of that side; may be empty
};

// The moment of one call of a transition.
struct VideoTransitionRender
{
    TransitionInputInfo mInfoB;
    TransitionInputInfo mInfoA;
    std::int64_t mFrame = 0;      // of mFrameCount
    std::int64_t mFrameCount = 0; // length of the transition
    norviktypes::TickTime mStart; // of the transition, on the axis of the times here
    norviktypes::TickTime mEnd;
    norviktypes::TickTime mTime;
    norviktypes::FrameRate mFrameRate;
    std::uint32_t mFlags = 0; // kTransitionFlag_
};

class ML_EXPORT IVideoTransition : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoTransition;

    virtual void GetInfo(TransitionInfo& outInfo) const = 0;
    // Between opaque pictures it is opaque at all times.
    virtual bool KeepsOpaque() const = 0;
    virtual void GetPixelFormats(std::vector<norviktypes::PixelFormat>& outFormats) const = 0;
    // Never null.
    virtual BE::ParameterListRef GetParameters() const = 0;
    // Fills ioFrame from inB, the incoming picture, and inA, the outgoing one. All three are of one format
    // and size; the inputs are never changed.
    virtual std::int32_t Render(const VideoTransitionRender& inRender, const MF::IVideoFrameRef& ioFrame,
                                const MF::IVideoFrameRef& inB, const MF::IVideoFrameRef& inA) = 0;
};
using IVideoTransitionRef = TVK::InterfaceRef<IVideoTransition>;

} // namespace ML
