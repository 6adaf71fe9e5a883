// What an EXR file's header promises: its size, and whether the file is all there.
//
// Its decoder leaves pixels black where the file ends too early, and tells nobody. The file itself knows:
// behind the header stands where each chunk of lines or tiles begins, and each chunk begins with its size.
//
// Thread-safety: pure.
#pragma once

#include "ReferenceHost/Media/Stills/DeclaredSize.h"

#include <cstddef>
#include <cstdint>

namespace Media
{

// True if a chunk that the file promises lies beyond its end, or the header does. False for whole files, for
// those of several parts, deep samples or several resolutions, which are not looked into, and for what is no
// EXR file.
bool IsTornExr(const std::uint8_t* inBytes, std::size_t inSize);

// The data window, of the first part where there are several. Zeros for what is no EXR file.
DeclaredSize SizeOfExr(const std::uint8_t* inBytes, std::size_t inSize);

} // namespace Media
