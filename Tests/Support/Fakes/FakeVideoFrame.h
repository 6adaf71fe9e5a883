// A frame that lacks what others have: its pixels, its row bytes, an identity, or memory for more of its kind.
//
// Everything else is what the frame inside says.
//
// Thread-safety: as of the frame inside.
#pragma once

#include "MF/IVideoFrame.h"
#include "TVK/Allocated.h"

#include <functional>
#include <utility>

namespace TestSupport
{

class FakeVideoFrame final : public TVK::Implements<FakeVideoFrame, MF::IVideoFrame>
{
public:
    bool mHasPixels = true;
    bool mHasRaster = true;
    bool mHasIdentity = true;
    std::int32_t mCompatibleStatus = 0;                   // negative: no frame like this one can be made
    std::function<void(const char* inCall)> mWhileMarked; // frozen, or told its render time; may throw

    explicit FakeVideoFrame(MF::IVideoFrameRef inInner) : mInner(std::move(inInner)) {}

    std::int32_t Query(const TVK::Guid& inID, void** outInterface) const override
    {
        if (IsOwnFace(inID))
        {
            return Implements::Query(inID, outInterface);
        }
        // A face of the inner frame counts the inner frame's references.
        return IsRefused(inID) ? Refuse(outInterface) : mInner->Query(inID, outInterface);
    }

    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override
    {
        if (IsRefused(inID))
        {
            return Refuse(outInterface);
        }
        return IsOwnFace(inID) ? Implements::QueryNoRef(inID, outInterface)
                               : mInner->QueryNoRef(inID, outInterface);
    }

    void GetBounds(TVK::Rect& outBounds) const override { mInner->GetBounds(outBounds); }
    bool SupportsTargetBounds(const TVK::Rect& inBounds) const override
    {
        return mInner->SupportsTargetBounds(inBounds);
    }
    void GetPixelAspectRatio(norviktypes::PixelAspectRatio& outRatio) const override
    {
        mInner->GetPixelAspectRatio(outRatio);
    }
    void GetPixelFormat(norviktypes::PixelFormat& outFormat) const override
    {
        mInner->GetPixelFormat(outFormat);
    }
    bool IsFrozen() const override { return mInner->IsFrozen(); }
    void Freeze() override
    {
        Mark("Freeze");
        mInner->Freeze();
    }
    norviktypes::FieldType GetFieldType() const override { return mInner->GetFieldType(); }
    void SetFieldType(norviktypes::FieldType inType) override { mInner->SetFieldType(inType); }
    norviktypes::AlphaChannel GetAlphaType() const override { return mInner->GetAlphaType(); }
    bool MayHaveTransparency() const override { return mInner->MayHaveTransparency(); }
    void GetOrigin(TVK::Point& outOrigin) const override { mInner->GetOrigin(outOrigin); }
    bool GetContentRect(TVK::Rect& outRect) const override { return mInner->GetContentRect(outRect); }
    void SetContentRect(const TVK::Rect& inRect) override { mInner->SetContentRect(inRect); }
    void ClearContentRect() override { mInner->ClearContentRect(); }
    void SetPixelAspectRatio(const norviktypes::PixelAspectRatio& inRatio) override
    {
        mInner->SetPixelAspectRatio(inRatio);
    }
    void SetAlphaType(norviktypes::AlphaChannel inType) override { mInner->SetAlphaType(inType); }
    void SetOrigin(const TVK::Point& inOrigin) override { mInner->SetOrigin(inOrigin); }
    std::int32_t CreateCompatibleFrame(MF::IVideoFrameRef& outFrame) const override
    {
        return mCompatibleStatus < 0 ? mCompatibleStatus : mInner->CreateCompatibleFrame(outFrame);
    }
    void SetRenderMilliseconds(std::uint32_t inMilliseconds) override
    {
        Mark("SetRenderMilliseconds");
        mInner->SetRenderMilliseconds(inMilliseconds);
    }
    std::uint32_t GetRenderMilliseconds() const override { return mInner->GetRenderMilliseconds(); }
    bool IsPremultiplied() const override { return mInner->IsPremultiplied(); }

private:
    static bool IsOwnFace(const TVK::Guid& inID)
    {
        return inID == TVKUnknown::kInterfaceID || inID == MF::IVideoFrame::kInterfaceID;
    }
    bool IsRefused(const TVK::Guid& inID) const
    {
        return (inID == VF::IVideoFramePixels::kInterfaceID && !mHasPixels) ||
               (inID == VF::IVideoFrameRaster::kInterfaceID && !mHasRaster) ||
               (inID == TVKUnknown::kInterfaceID && !mHasIdentity);
    }
    void Mark(const char* inCall) const
    {
        if (mWhileMarked)
        {
            mWhileMarked(inCall);
        }
    }
    static std::int32_t Refuse(void** outInterface)
    {
        *outInterface = nullptr;
        return TVK::kInterfaceNotSupported;
    }

    const MF::IVideoFrameRef mInner;
};
using FakeVideoFrameRef = TVK::InterfaceRef<FakeVideoFrame>;

} // namespace TestSupport
