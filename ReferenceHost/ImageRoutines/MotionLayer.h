#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/ComposeBytes.h"
#include "ReferenceHost/ImageRoutines/MotionGeometry.h"

// Where the pixels of a motion in bytes go.
//
// Thread-safety: pure functions and values; safe on different stretches of a target.
namespace ir
{

// Whether what is drawn replaces what it covers or lies over it, without a mode that mixes colours.
bool IsNormal(const ComposeSettings& inSettings) noexcept;

// Whether what is drawn hides all that was there.
bool Hides(const MotionPlan& inPlan, bool inIsOpaque) noexcept;

// Whether bytes of the source can be filtered as they are and mean the same in the target.
bool AreBytesOfOneCoding(const MotionPlan& inPlan) noexcept;

// Premultiplied bytes on their way to the target. The plan must outlive it.
class ByteLayer
{
public:
    explicit ByteLayer(const MotionPlan& inPlan);

    // Where to make pixels: in ioPixels, or at once where they belong if nothing there is needed any more.
    std::uint8_t* PlaceFor(std::int32_t inColumn, std::int32_t inRow, std::uint8_t* ioPixels) const;

    // inMade: what PlaceFor gave. ioPixels: the same as there.
    void Lay(const std::uint8_t* inMade, bool inIsOpaque, std::int32_t inColumn, std::int32_t inRow,
             std::int32_t inCount, std::uint8_t* ioPixels) const;

private:
    std::uint8_t* Place(std::int32_t inColumn, std::int32_t inRow) const;

    const MotionPlan& mPlan;
    bool mSourceIsOpaque;
    ByteLayers mLayers;
};

}
