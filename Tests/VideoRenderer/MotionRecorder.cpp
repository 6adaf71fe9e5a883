#include "Tests/VideoRenderer/MotionRecorder.h"

#include <dlfcn.h>

namespace
{

thread_local MotionRecorder* sRecorder = nullptr;

template <class Function>
Function* HostsOwn(Function*, const char* inName)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, inName));
}

bool Note(const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget, const IR_Rect* inClip,
          const IR_MotionSettings* inSettings, std::optional<std::uint32_t> inBlendMode)
{
    if (!sRecorder)
    {
        return true;
    }
    std::optional<IR_Rect> clip;
    if (inClip)
    {
        clip = *inClip;
    }
    return sRecorder->Note({*inSource, *inTarget, clip, *inSettings, inBlendMode});
}

} // namespace

MotionRecorder::MotionRecorder()
{
    sRecorder = this;
}

MotionRecorder::~MotionRecorder()
{
    sRecorder = nullptr;
}

bool MotionRecorder::Note(const MotionCall& inCall)
{
    mCalls.push_back(inCall);
    return mFailing != mCalls.size() - 1;
}

extern "C" int32_t IR_Motion(const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget,
                             IR_Rect* ioClip, const IR_MotionSettings* inSettings)
{
    static auto* const sHostsOwn = HostsOwn(&IR_Motion, "IR_Motion");
    return Note(inSource, inTarget, ioClip, inSettings, std::nullopt)
               ? sHostsOwn(inSource, inTarget, ioClip, inSettings)
               : kIR_OutOfMemory;
}

extern "C" int32_t IR_MotionWithBlendMode(const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget,
                                          IR_Rect* ioClip, const IR_MotionSettings* inSettings,
                                          uint32_t inBlendMode)
{
    static auto* const sHostsOwn = HostsOwn(&IR_MotionWithBlendMode, "IR_MotionWithBlendMode");
    return Note(inSource, inTarget, ioClip, inSettings, inBlendMode)
               ? sHostsOwn(inSource, inTarget, ioClip, inSettings, inBlendMode)
               : kIR_OutOfMemory;
}
