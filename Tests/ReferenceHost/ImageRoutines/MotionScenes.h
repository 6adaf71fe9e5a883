#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "IR/Motion.h"
#include "TestPictures.h"

// A source, a target and what a motion is told, for its checks.
namespace TestPictures
{

// Settings that draw a picture at its size in the middle of the target, over nothing.
IR_MotionSettings PlainMotion();

// Describes a picture of square pixels without fields.
IR_MotionPicture Described(Memory& ioMemory);

struct Scene
{
    Scene(std::uint32_t inSourceCode, std::int32_t inSourceWidth, std::int32_t inSourceHeight,
          std::uint32_t inTargetCode, std::int32_t inTargetWidth, std::int32_t inTargetHeight);
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    std::int32_t Draw() { return IR_Motion(&from, &to, nullptr, &settings); }

    // Lets the source's top left corner lie on a place of the target. Settings other than position and anchor
    // are made before.
    void PutCorner(double inX, double inY);

    // What was drawn with the same settings by the reference, on a copy of the target.
    Memory Reference(const Memory& inTarget) const;

    std::string Text() const;

    Memory source;
    Memory target;
    IR_MotionPicture from;
    IR_MotionPicture to;
    IR_MotionSettings settings;
};

// The largest difference of two pictures of one four-component code, in codes of integers, absolutely for
// floats. A component that is seen through alpha counts as it is or multiplied by it, whichever is less.
double VisibleDifference(const Memory& inOne, const Memory& inOther);

}
