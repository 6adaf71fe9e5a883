#pragma once

#include "IR/Motion.h"

// Motion once more, a pixel at a time, in double, straight from what IR/Motion.h says.
//
// Thread-safety: as Reference.h.
namespace ir::reference
{

// Lays the source on the target in the normal mode. Both have four components; the arguments are good ones.
void DrawMotion(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                const IR_MotionSettings& inSettings);

}
