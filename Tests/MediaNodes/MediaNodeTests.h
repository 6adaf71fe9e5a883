// Clips of a stream in memory, on a sequence of a test's choice, and what their nodes say.
//
// Thread-safety: one thread.
#pragma once

#include "RenderableNodeMediaImpl.h"
#include "TVK/Allocated.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"

#include <cstdint>
#include <string>
#include <vector>

namespace MediaNodeTests
{

using namespace norviktypes;
using norvik::utility::ImmutableString;

inline const FrameRate kRate = FrameRate::FromRational(25, 1);

inline TickTime Frames(std::int64_t inNumber)
{
    return TickTime::FromFrame(inNumber, kRate);
}

inline TVK::Rect RectOf(std::int32_t inLeft, std::int32_t inTop, std::int32_t inRight, std::int32_t inBottom)
{
    return {inLeft, inTop, inRight, inBottom};
}

class TestStream final : public TestSupport::FakeVideoSource
{
public:
    bool mCanRender = true;
    bool mDependsOnPrefetches = false;
    std::vector<PixelFormat> mFormats{kPixelFormat_BGRX_4444_8u};
    std::vector<PixelFormat> mSmartFormats;
    int mRefreshes = 0;

    bool CanRenderFrames(const MF::BinaryData&) const override { return mCanRender; }
    void GetNativePixelFormat(std::vector<PixelFormat>& outFormats) const override { outFormats = mFormats; }
    void GetSmartRenderFormats(std::vector<PixelFormat>& ioFormats) const override
    {
        ioFormats.insert(ioFormats.end(), mSmartFormats.begin(), mSmartFormats.end());
    }
    bool FramesDependOnPrefetchState() const override { return mDependsOnPrefetches; }
    void Refresh(bool inWait) override { mRefreshes += inWait ? 1 : 1000; }
};

// A clip of a file, 64 x 36 at 25 frames a second, progressive, on a sequence of the same kind.
struct Scene
{
    TVK::InterfaceRef<TestStream> mStream{new TestStream};
    TestSupport::FakeMediaInfoRef mMedia{new TestSupport::FakeMediaInfo};
    TestSupport::FakeMasterClipRef mMaster{new TestSupport::FakeMasterClip};
    TestSupport::FakeClipRef mClip{new TestSupport::FakeClip};

    ImmutableString mLabel;
    bool mIsMuted = false;
    FieldType mFieldType = kFieldType_Progressive;
    TVK::Rect mRect{0, 0, 64, 36};
    PixelAspectRatio mPixelAspectRatio;
    FrameRate mFrameRate = kRate;
    bool mFlips = false;

    Scene()
    {
        mMedia->mStream = MF::ISourceRef(mStream);
        mMedia->mAlpha.mType = kAlphaChannel_Straight;
        mClip->mMedia = mMedia;
        mClip->mMasterClip = mMaster;
        mClip->mVideoSource = mStream;
    }

    void SetSize(std::int32_t inWidth, std::int32_t inHeight)
    {
        mStream->mBounds = mClip->mFrameRect = {0, 0, inWidth, inHeight};
    }
    // Of stream and clip.
    void SetFieldType(FieldType inType)
    {
        mStream->mFieldType = mClip->mFieldType = mClip->mConformFieldType = inType;
    }

    TVK::InterfaceRef<ML::RenderableNodeMediaImpl> BuildUnfrozen() const
    {
        TVK::InterfaceRef<ML::RenderableNodeMediaImpl> node(new ML::RenderableNodeMediaImpl);
        node->SetVideoClip(mClip, mLabel, mIsMuted, mFieldType, mRect, mPixelAspectRatio, mFrameRate, mFlips);
        return node;
    }
    TVK::InterfaceRef<ML::RenderableNodeMediaImpl> Build() const
    {
        const auto node = BuildUnfrozen();
        node->Finalize();
        return node;
    }
};
using NodeRef = TVK::InterfaceRef<ML::RenderableNodeMediaImpl>;

inline std::string Property(const MF::IRenderableNodeRef& inNode, const char* inKey)
{
    norvik::UTF8String text;
    return inNode->GetProperty(ImmutableString::CreateStatic(inKey), text) < 0 ? "absent" : text.c_str();
}

// Whether a change of the scene changes the node's hash.
template <class Change>
bool ChangesHash(Change&& inChange)
{
    const Scene before;
    Scene after;
    inChange(after);
    return before.Build()->GetHashValue() != after.Build()->GetHashValue();
}

inline ML::CutlistRenderParams Params(std::uint32_t inWidth, std::uint32_t inHeight)
{
    ML::CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = inWidth;
    params.mHeight = params.mSourceHeight = inHeight;
    params.mPixelFormat = kPixelFormat_BGRA_4444_8u;
    params.mFrameRate = kRate;
    return params;
}

inline TVK::Guid FrameHash(const ML::IRenderableNodeProducerRef& inProducer, const MF::FrameTime& inTime,
                           const ML::CutlistRenderParams& inParams, const TVK::Guid& inBase = {})
{
    TVK::Guid hash;
    inProducer->GetFrameHash(hash, inTime, inParams, inBase);
    return hash;
}

// Of a producer made for just this frame.
inline TVK::Guid FrameHashOf(const MF::IRenderableNodeRef& inNode, const MF::FrameTime& inTime,
                             const ML::CutlistRenderParams& inParams)
{
    const ML::IRenderableNodeProducerProviderRef provider(inNode);
    return FrameHash(provider->GetProducerForFrame(inTime, inParams), inTime, inParams);
}

} // namespace MediaNodeTests
