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

class IPictureRows;

// Those that are halved along both axes before they are filtered, of which nothing but the halves is kept: the
// source's pixels are not looked at, but taken from inRows once each. False if these can't be made.
bool TakesTurnedHalves(const MotionPlan& inPlan) noexcept;
bool DrawTurnedHalves(const MotionPlan& inPlan, const IPictureRows& inRows);

}
