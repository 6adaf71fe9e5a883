// What the library gives away: everything else stays hidden.
#pragma once

#include "Platform.h"

#define VIDEORENDERER_EXPORT ML_EXPORT
