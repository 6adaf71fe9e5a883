// What a RenderFrame holds.
//
// Thread-safety: as told in RenderFrame.h; the values of the last prefetch may be read and written by any
// thread. mLock is held for that alone.
#pragma once

#include "RenderFrame.h"
#include "RenderFrameRequest.h"
#include "TVK/Waitable.h"
#include "norvik/threads/Threads.h"

#include <memory>

namespace ML
{

class RenderFrame::Impl
{
public:
    RenderFrameSettings mSettings; // without what each call says
    bool mUseFirstCutlist = false;
    bool mSelectCutlistMask = false;
    std::unique_ptr<TVK::WaitableObject> mSignal; // from the first wait on

    norvik::threads::RecursiveMutex mLock;
    Formats mPrefetchFormats VR_GUARDED_BY(mLock);
    norviktypes::FrameRate mPrefetchFrameRate VR_GUARDED_BY(mLock) = norviktypes::kFrameRate_Unset;

    std::uint32_t Selector() const noexcept
    {
        const std::uint32_t selector = mUseFirstCutlist ? 0 : 3;
        return mSelectCutlistMask ? selector & 1 : selector;
    }

    bool TakesSourceRectOfSequence() const noexcept { return mSettings.mSourceRect == TVK::Rect{}; }
};

} // namespace ML
