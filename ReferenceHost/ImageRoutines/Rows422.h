#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/FieldRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

// Rows of UYVY, YUYV (components in bytes) and v210 (in 16-bit words) to a row each for Y, U and V, and back.
// Places of the last group beyond the width repeat the last sample.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

void Split422Row(const Picture& inPicture, const unsigned char* inRow, const ComponentRows& outRows);
void Join422Row(const Picture& inPicture, const ComponentRows& inRows, unsigned char* outRow);

}
