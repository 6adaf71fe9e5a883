// What the library asks of the motion routines, seen from a test.
//
// The two routines of this name in the test program stand before the host's: they note each call of the
// recording thread, let a test make one fail, and go on to the host's own.
//
// Thread-safety: calls are noted for the one thread that made the recorder; others pass through.
#pragma once

#include "IR/Motion.h"

#include <cstdint>
#include <optional>
#include <vector>

struct MotionCall
{
    IR_MotionPicture mSource;
    IR_MotionPicture mTarget;
    std::optional<IR_Rect> mClip; // as on entry
    IR_MotionSettings mSettings;
    std::optional<std::uint32_t> mBlendMode; // none: the routine without
};

// One at a time.
class MotionRecorder
{
public:
    MotionRecorder();
    ~MotionRecorder();
    MotionRecorder(const MotionRecorder&) = delete;
    MotionRecorder& operator=(const MotionRecorder&) = delete;

    const std::vector<MotionCall>& Calls() const noexcept { return mCalls; }
    // The call of this number, from 0, answers kIR_OutOfMemory and draws nothing.
    void FailCall(std::size_t inNumber) noexcept { mFailing = inNumber; }

    // Notes the call; false if it is to fail.
    bool Note(const MotionCall& inCall);

private:
    std::vector<MotionCall> mCalls;
    std::optional<std::size_t> mFailing;
};
