#include "ReferenceHost/ImageRoutines/MotionDraw.h"

namespace ir
{

void DrawMotion(const MotionPlan& inPlan)
{
    DrawMotionInFloat(inPlan);
}

}
