// A transition that answers what a test says and remembers how it was called.
//
// Thread-safety: one thread at a time.
#pragma once

#include "ML/VideoTransition.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace TestSupport
{

class FakeVideoTransition final : public TVK::Implements<FakeVideoTransition, ML::IVideoTransition>
{
public:
    ML::TransitionInfo mInfo;
    bool mKeepsOpaque = false;
    std::vector<norviktypes::PixelFormat> mFormats{norviktypes::kPixelFormat_BGRA_4444_8u};
    MF::KeyframeStore mParameters;
    std::int32_t mRenderStatus = 0;
    // Fills the frame; without one it stays as it is.
    std::function<std::int32_t(const ML::VideoTransitionRender&, const MF::IVideoFrameRef& ioFrame,
                               const MF::IVideoFrameRef& inB, const MF::IVideoFrameRef& inA)>
        mRender;

    struct Call
    {
        ML::VideoTransitionRender mRender;
        MF::IVideoFrameRef mFrame;
        MF::IVideoFrameRef mB;
        MF::IVideoFrameRef mA;
    };
    std::vector<Call> mCalls;

    FakeVideoTransition()
    {
        mInfo.mMatchName = norvik::utility::ImmutableString::CreateStatic("Fake Transition");
    }

    void GetInfo(ML::TransitionInfo& outInfo) const override { outInfo = mInfo; }
    bool KeepsOpaque() const override { return mKeepsOpaque; }
    void GetPixelFormats(std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        outFormats = mFormats;
    }
    BE::ParameterListRef GetParameters() const override
    {
        return std::make_shared<const MF::KeyframeStore>(mParameters);
    }
    std::int32_t Render(const ML::VideoTransitionRender& inRender, const MF::IVideoFrameRef& ioFrame,
                        const MF::IVideoFrameRef& inB, const MF::IVideoFrameRef& inA) override
    {
        mCalls.push_back({inRender, ioFrame, inB, inA});
        return mRender ? mRender(inRender, ioFrame, inB, inA) : mRenderStatus;
    }
};
using FakeVideoTransitionRef = TVK::InterfaceRef<FakeVideoTransition>;

} // namespace TestSupport
