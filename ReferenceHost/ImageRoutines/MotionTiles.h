#pragma once

#include "ReferenceHost/ImageRoutines/MotionGeometry.h"

// Turned 8-bit pictures of one coding, drawn tile by tile from grids as MotionTurned.h has them.
//
// Thread-safety: as MotionDraw.h.
namespace ir
{

bool TakesTurnedBytes(const MotionPlan& inPlan) noexcept;

// The plan is one that TakesTurnedBytes. Throws std::bad_alloc.
void DrawTurnedBytes(const MotionPlan& inPlan);

}
