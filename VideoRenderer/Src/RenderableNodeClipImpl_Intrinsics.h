// A clip's Motion and Opacity as the record by which it is composited.
//
// The parameters of both effects have fixed places. Motion: 0 position, 1 height in percent, 2 width in percent,
// 3 whether the height serves for both, 4 rotation in degrees, 5 anchor, 6 anti-flicker. Opacity: 0 percent,
// 1 blend mode. A parameter that is not there, gives no value or a number that is none leaves the record alone.
//
// Thread-safety: safe; the parameters are frozen.
#pragma once

#include "RenderableNodeParameters.h"

namespace ML
{

void EvaluateMotion(const MF::KeyframeStore& inParameters, const norviktypes::TickTime& inTime,
                    NodeIntrinsicParameters& ioRecord);
void EvaluateOpacity(const MF::KeyframeStore& inParameters, const norviktypes::TickTime& inTime,
                     NodeIntrinsicParameters& ioRecord);

} // namespace ML
