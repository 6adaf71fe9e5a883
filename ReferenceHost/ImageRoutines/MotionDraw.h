#pragma once

#include "ReferenceHost/ImageRoutines/MotionGeometry.h"

// The ways to carry out a plan of motion.
//
// Each draws the pixels of the plan's box row by row or tile by tile and hands them to ComposeRows.h while
// they are in the cache. What a pixel becomes doesn't depend on the box: parts of a drawing, one by one, give
// the whole.
//
// Thread-safety: safe on different rows of a target. Throws std::bad_alloc.
namespace ir
{

// By whichever way is fastest for the plan.
void DrawMotion(const MotionPlan& inPlan);

// Whether it's the way of one row of an upright source, or of two at half the size, for each row, and no other row
// of it is looked at.
bool IsDrawnRowByRow(const MotionPlan& inPlan);

// Any plan, through floats: rows of an upright picture, tiles of a turned one.
void DrawMotionInFloat(const MotionPlan& inPlan);

// Whether the two pictures keep the same numbers for the same colour.
bool HasSameCoding(const Picture& inOne, const Picture& inOther) noexcept;

}
