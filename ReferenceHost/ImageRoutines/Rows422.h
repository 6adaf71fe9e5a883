#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/FieldRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

// Rows of UYVY, YUYV (components in bytes) and v210 (in 16-bit words) to a row each for Y, U and V, and back.
//
// Rows of components have room for six samples behind the width, which both functions may write. Places of the
// last group in memory beyond the width repeat the last sample.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

void Split422Row(const Picture& inPicture, const unsigned char* inRow, const ComponentRows& outRows);
void Join422Row(const Picture& inPicture, const ComponentRows& ioRows, unsigned char* outRow);

}
