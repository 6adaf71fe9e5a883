#pragma once

#include <cstdint>

#include "IR/Motion.h"
#include "ReferenceHost/ImageRoutines/ComposeRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

// Which place of the source a pixel of the target shows, for one drawing of a motion.
//
// A drawing goes over plan rows: all rows of the target or those of one field. Its source is a picture of its
// own too: the whole source, one field of it, or the part of it that holds anything. Places are continuous,
// the middle of pixel k is at k + 0.5, and of a field only its own rows count.
//
// Thread-safety: values and pure functions; safe.
namespace ir
{

enum class MotionFilter : std::uint8_t
{
    kArea, // the mean over a box; bilinear at width 1
    kBicubic,
    kLanczos
};

MotionFilter MotionFilterOf(const IR_MotionSettings& inSettings) noexcept;

// A place along one axis of the source.
struct MotionAxis
{
    double start = 0.0; // at the target's place 0, 0
    double alongX = 0.0;
    double alongY = 0.0;      // for one plan row
    std::int32_t count = 0;   // pixels of the source along this axis
    double coverWidth = 1.0;  // of a target pixel, in source pixels
    double filterWidth = 1.0; // the same for the filter: with anti-flicker, at least 1

    double At(double inX, double inY) const noexcept { return start + alongX * inX + alongY * inY; }
};

// A target pixel that is as wide as the picture so many times over shows its mean; a wider filter tells
// nothing more.
inline constexpr double kMostWidths = 4.0;

struct MotionBox
{
    std::int32_t left = 0;
    std::int32_t top = 0; // plan rows
    std::int32_t right = 0;
    std::int32_t bottom = 0;

    bool IsEmpty() const noexcept { return left >= right || top >= bottom; }
};

struct MotionPlan
{
    Picture source;
    Picture target; // the whole target, also where a field is drawn
    std::int32_t firstRow = 0;
    std::int32_t rowStep = 1; // the target's row of plan row k is firstRow + k * rowStep
    MotionAxis u;             // columns of the source
    MotionAxis v;             // rows of the source
    MotionBox box;            // no pixel outside of it is covered
    MotionFilter filter = MotionFilter::kArea;
    ComposeSettings compose;

    std::int32_t TargetRow(std::int32_t inRow) const noexcept { return firstRow + inRow * rowStep; }

    // Columns go along rows of the source and rows along its columns.
    bool IsUpright() const noexcept { return u.alongY == 0.0 && v.alongX == 0.0; }

    // Every pixel shows exactly one pixel of the source.
    bool IsLattice() const noexcept;

    // Drawing it changes nothing.
    bool IsInvisible() const noexcept
    {
        return box.IsEmpty() || (compose.opacity == 0.0F && compose.targetHasPicture);
    }
};

// A stretch of columns; empty if first >= last.
struct MotionSpan
{
    std::int32_t first = 0;
    std::int32_t last = 0;

    bool IsEmpty() const noexcept { return first >= last; }
};

// The columns of a plan row whose coverage may be above 0, and those of them whose coverage is 1.
MotionSpan CoveredColumns(const MotionPlan& inPlan, std::int32_t inRow) noexcept;
MotionSpan FullColumns(const MotionPlan& inPlan, std::int32_t inRow) noexcept;

// A rectangle of a four-component picture as a picture of its own.
Picture Part(const Picture& inPicture, std::int32_t inLeft, std::int32_t inTop, std::int32_t inRight,
             std::int32_t inBottom) noexcept;

// 0..1.
double CoverageAt(const MotionPlan& inPlan, std::int32_t inColumn, std::int32_t inRow) noexcept;

// Whether numbers, selectors and mode are those of a motion. What the pictures are made of is not looked at.
bool CanBePlanned(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                  const IR_MotionSettings& inSettings, std::uint32_t inBlendMode) noexcept;

ComposeSettings ComposeSettingsFor(const IR_MotionSettings& inSettings, std::uint32_t inBlendMode) noexcept;

// The plan of one drawing. inTargetField: the field whose rows are drawn; inSourceField: the source's field
// that they show, or kIR_WholePicture. inClip: null, or as IR_Motion has it. The pictures are as their
// descriptions say; numbers are finite. An empty box if there is nothing to draw.
MotionPlan PlanMotion(const Picture& inSource, const IR_MotionPicture& inSourceDescription,
                      std::int32_t inSourceField, const Picture& inTarget,
                      const IR_MotionPicture& inTargetDescription, std::int32_t inTargetField,
                      const IR_Rect* inClip, const IR_MotionSettings& inSettings);

}
