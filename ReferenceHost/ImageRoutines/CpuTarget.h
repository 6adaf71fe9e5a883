#pragma once

#include <string>
#include <vector>

// Which instruction set the pixel kernels run on.
//
// Every kernel is compiled for several and the best that the processor has is used. Forcing a lesser one
// serves tests, measurements and the search for a fault; pictures are the same on all of them.
//
// Thread-safety: SetCpuTarget is called while no image routine runs; the rest is safe.
namespace ir
{

// Names of what this processor and this build have, best first: AVX3 (AVX-512), AVX2, SSE4, SSSE3, SCALAR and
// the like.
std::vector<std::string> CpuTargets();

// inName: one of CpuTargets(), upper or lower case, or "auto" for the best. False, and nothing changed,
// otherwise.
[[nodiscard]] bool SetCpuTarget(const char* inName);

// The name that is in force.
std::string CurrentCpuTarget();

// What the scaler is told to use, as a number of its own interface.
int ScalerCpuType();

}
