// What tests of effect and transition nodes share: times in frames, params, layers of one colour that remember
// how they were asked, and providers of cutlists.
//
// Thread-safety: one thread at a time.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/CutlistProvider.h"
#include "MF/PixelFormats.h"
#include "RenderableCutlistImpl.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Layers/LayerNode.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace EffectNodeTests
{

using MF::FrameTime;
using MF::kPixelFormat_BGRA_4444_8u;
using norvik::utility::ImmutableString;
using norviktypes::TickTime;

inline constexpr norviktypes::FrameRate kRate{norviktypes::kTicksPerSecond / 25};

constexpr TickTime Frames(std::int64_t inCount)
{
    return TickTime::FromFrame(inCount, kRate);
}
constexpr FrameTime At(std::int64_t inFrame)
{
    return FrameTime(Frames(inFrame));
}

// 16 by 8, progressive, 8 bits, 25 frames a second, at a moment of the sequence.
inline ML::CutlistRenderParams ParamsAt(std::int64_t inFrame = 0)
{
    ML::CutlistRenderParams params;
    params.mFrameTime = At(inFrame);
    params.mWidth = params.mSourceWidth = 16;
    params.mHeight = params.mSourceHeight = 8;
    params.mPixelFormat = kPixelFormat_BGRA_4444_8u;
    params.mFrameRate = kRate;
    return params;
}

inline norvik::UTF8String PropertyOf(const MF::IRenderableNodeRef& inNode, const char* inKey)
{
    norvik::UTF8String value = "(none)";
    inNode->GetProperty(ImmutableString::CreateStatic(inKey), value);
    return value;
}

// Only where the property takes part in the hash: that of a node of its properties alone.
inline MF::NodeProperties PropertiesOf(const MF::IRenderableNodeRef& inNode)
{
    MF::NodeProperties properties;
    inNode->GetProperties(properties);
    return properties;
}

// How often and when a layer was asked for its picture.
struct LayerCalls
{
    std::vector<FrameTime> mTimes;
    std::vector<ML::CutlistRenderParams> mParams;
    std::int32_t mStatus = 0;
    bool mIsEmpty = false;
};
using LayerCallsRef = std::shared_ptr<LayerCalls>;

// A node of one opaque colour, whose first byte is inValue, in frames of inFormat and of the params' size.
inline MF::IRenderableNodeRef MakeLayer(std::uint8_t inValue, const LayerCallsRef& inCalls = nullptr,
                                        TestSupport::IntrinsicsFunction inIntrinsics = nullptr,
                                        const norviktypes::PixelFormat& inFormat = kPixelFormat_BGRA_4444_8u)
{
    const auto picture = [=](const FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                             MF::IVideoFrameRef& outFrame) -> std::int32_t
    {
        if (inCalls)
        {
            inCalls->mTimes.push_back(inTime);
            inCalls->mParams.push_back(inParams);
        }
        if (!inCalls || (inCalls->mStatus >= 0 && !inCalls->mIsEmpty))
        {
            const bool isWide = norviktypes::BytesPerPixel(inFormat.mProperties) == 8;
            outFrame = TestSupport::NewFilledFrame(
                inFormat, inParams.mWidth, inParams.mHeight,
                isWide ? std::vector<std::uint8_t>{inValue, inValue, 20, 20, 30, 30, 255, 255}
                       : std::vector<std::uint8_t>{inValue, 20, 30, 255});
        }
        return inCalls ? inCalls->mStatus : 0;
    };
    return TestSupport::CreateLayerNode("Layer" + std::to_string(inValue), picture, std::move(inIntrinsics));
}

// A cutlist of one node, which plays from inStart to inEnd, its own time zero at inStart.
inline MF::IRenderableCutlistRef CutlistFromTo(std::int64_t inStart, std::int64_t inEnd,
                                               const MF::IRenderableNodeRef& inNode)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(Frames(inStart), Frames(inEnd), norviktypes::kTime_Zero, inNode);
    cutlist->Finalize();
    return MF::IRenderableCutlistRef(cutlist);
}

class FakeCutlistProvider final : public TVK::Implements<FakeCutlistProvider, MF::IRenderableCutlistProvider>
{
public:
    MF::IRenderableCutlistRef mCutlist;
    std::int32_t mStatus = 0;
    std::function<void()> mWhileAsked;
    int mQuestions = 0;

    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                   bool) override
    {
        ++mQuestions;
        if (mWhileAsked)
        {
            mWhileAsked();
        }
        outCutlist = mCutlist;
        return mStatus;
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool) override
    {
        return -1;
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool, bool) override
    {
        return -1;
    }
};
using FakeCutlistProviderRef = TVK::InterfaceRef<FakeCutlistProvider>;

} // namespace EffectNodeTests
