#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/MotionGeometry.h"

// Motions whose source need not lie in memory: its rows are made a few at a time, and drawn while they are in the
// second-level cache.
//
// The pixels are those that IR_Motion draws from the whole picture. Not every motion can be drawn so: taken are those
// in which a row of the target shows one row of the source, or two at half the size, and those of turned bytes that
// are halved first, of which only the halves are kept.
//
// Thread-safety: values; safe on different rows of a target.
namespace ir
{

class IPictureRows
{
public:
    virtual ~IPictureRows() = default;

    // Rows inFirst to inFirst + inCount - 1, counted from the top, and in ioRowBytes how far apart they lie. ioSpace
    // has room for them, ioRowBytes apart as it comes in; rows that lie somewhere already needn't go there. Null if
    // there is no memory to make them.
    virtual const std::uint8_t* Rows(std::int32_t inFirst, std::int32_t inCount, std::uint8_t* ioSpace,
                                     std::ptrdiff_t& ioRowBytes) const = 0;
};

class MotionStrips
{
public:
    // What IR_MotionWithBlendMode is told without a rectangle. The pixels of both are not looked at.
    MotionStrips(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                 const IR_MotionSettings& inSettings, std::uint32_t inBlendMode);

    // False for motions that are drawn otherwise, and for those that are none.
    bool IsTaken() const noexcept { return mWay != Way::kNone; }

    // Whether rows of the target can be drawn without the others.
    bool IsRowByRow() const noexcept { return mWay == Way::kRowByRow || mWay == Way::kNothing; }

    // Whether a target whose alphas are all whole stays so.
    bool KeepsWholeAlpha() const noexcept;

    // Draws rows inFirst to inFirst + inCount - 1 of the target, which is all of them where it isn't row by row.
    // ioPixels: the first of them. kIR_Success or kIR_OutOfMemory, with rows that are undefined then. Throws
    // std::bad_alloc.
    std::int32_t Draw(const IPictureRows& inSource, std::int32_t inFirst, std::int32_t inCount,
                      std::uint8_t* ioPixels, std::ptrdiff_t inRowBytes) const;

private:
    enum class Way : std::uint8_t
    {
        kNone,
        kNothing, // is seen
        kRowByRow,
        kTurned
    };

    Way WayOf(std::uint32_t inSourceCode, std::uint32_t inTargetCode) const;
    std::int32_t DrawRows(const IPictureRows& inSource, std::int32_t inFirst, std::int32_t inCount,
                          std::uint8_t* ioPixels, std::ptrdiff_t inRowBytes) const;

    MotionPlan mPlan;
    Way mWay = Way::kNone;
};

}
