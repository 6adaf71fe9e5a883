// A filter that answers what a test says and remembers how it was called.
//
// Thread-safety: one thread at a time.
#pragma once

#include "ML/VideoFilter.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace TestSupport
{

class FakeVideoFilter final : public TVK::Implements<FakeVideoFilter, ML::IVideoFilter>
{
public:
    norvik::utility::ImmutableString mMatchName =
        norvik::utility::ImmutableString::CreateStatic("Fake Filter");
    std::vector<norviktypes::PixelFormat> mFormats{norviktypes::kPixelFormat_BGRA_4444_8u};
    bool mVariesByItself = false;
    bool mHasOpaqueData = false;
    MF::BinaryData mOpaqueData;
    std::int32_t mOpaqueDataStatus = 0;
    std::uint32_t mRuntimeInstanceID = 0;
    bool mWantsClipNames = false;
    std::vector<norvik::utility::ImmutableString> mStreamLabels;
    bool mKeepsOpaque = false;
    std::int32_t mRenderStatus = 0;
    // Makes the frame; without one the input goes through.
    std::function<std::int32_t(const ML::VideoFilterRender&, const MF::IVideoFrameRef&, MF::IVideoFrameRef&)>
        mRender;

    struct Call
    {
        ML::VideoFilterRender mRender; // mInfo and mParameters point to what may be gone
        ML::EffectRenderInfo mInfo;
        MF::IVideoFrameRef mFrame;
    };
    std::vector<Call> mCalls;
    struct FormatQuestion
    {
        MF::IVideoFrameRef mFrame;
        norviktypes::PixelFormat mFormat;
    };
    mutable std::vector<FormatQuestion> mFormatQuestions;

    norvik::utility::ImmutableString GetMatchName() const override { return mMatchName; }
    void GetPixelFormats(const MF::IVideoFrameRef& inFrame, const norviktypes::PixelFormat& inFormat,
                         std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        mFormatQuestions.push_back({inFrame, inFormat});
        outFormats = mFormats;
    }
    bool VariesByItself() const override { return mVariesByItself; }
    bool HasOpaqueData() const override { return mHasOpaqueData; }
    std::int32_t GetOpaqueData(MF::BinaryData& outData) const override
    {
        outData = mOpaqueData;
        return mOpaqueDataStatus;
    }
    std::uint32_t GetRuntimeInstanceID() const override { return mRuntimeInstanceID; }
    bool WantsClipNames() const override { return mWantsClipNames; }
    void GetStreamLabels(std::vector<norvik::utility::ImmutableString>& outLabels) const override
    {
        outLabels = mStreamLabels;
    }
    bool KeepsOpaque(const MF::KeyframeStore&) const override { return mKeepsOpaque; }
    std::int32_t Render(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                        MF::IVideoFrameRef& outFrame) override
    {
        mCalls.push_back({inRender, inRender.mInfo ? *inRender.mInfo : ML::EffectRenderInfo(), inFrame});
        if (mRender)
        {
            return mRender(inRender, inFrame, outFrame);
        }
        outFrame = inFrame;
        return mRenderStatus;
    }
};
using FakeVideoFilterRef = TVK::InterfaceRef<FakeVideoFilter>;

} // namespace TestSupport
